#pragma once

// Allocators that live inside the container they serve and bring its first buffer with them, so that a small
// array or table costs no heap allocation. Each serves exactly one container and one buffer at a time.
//
// The container's side of the contract: it points its _pAlloc at the embedded allocator and takes its first
// buffer from GetBuffer, at construction only. Growth goes through Allocate as for any allocator; once a
// container has left the inline storage it never returns there. Shrink-to-fit asks IsFixedBuffer first, so
// inline storage is never traded for a smaller block.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/qor_assert.h"

// The buffer and fall-back queries of a single-buffer allocator. SizeType is the container's size type.
template <typename T, typename SizeType = int32>
class CQorSmallSingleBufferAllocator : public CQorAllocator
{
public:
    // Each child decides all three again, IsFixedBuffer included.
    void* Allocate( uint64 nSize, uint32 nAlignment ) override = 0;
    void Deallocate( void* pMemory ) override = 0;
    bool IsFixedBuffer( const void* pBuffer ) const override = 0;

    // The buffer a container starts on, and its capacity in elements. Returns a reference to nCapacity.
    virtual SizeType& GetBuffer( T*& pBuffer, SizeType& nCapacity ) = 0;
    virtual SizeType& GetBuffer( const T*& pBuffer, SizeType& nCapacity ) const = 0;

    // Where allocations beyond the buffer go; null when there is no way out of it.
    virtual CQorAllocator* GetFallbackAllocator() const { return nullptr; }
    virtual CQorAllocator* GetFallbackAllocator() { return nullptr; }
};

// Raw storage for N elements, directly behind the virtual table pointer. No constructor runs for the slots.
template <typename T, int32 N, typename SizeType = int32>
class CQorBaseInlineBufferAllocator : public CQorSmallSingleBufferAllocator<T, SizeType>
{
    static_assert( N > 0, "An inline buffer holds at least one element" );

public:
    CQorBaseInlineBufferAllocator() = default;
    // The storage belongs to one container for the allocator's whole life.
    CQorBaseInlineBufferAllocator( const CQorBaseInlineBufferAllocator& ) = delete;
    CQorBaseInlineBufferAllocator& operator=( const CQorBaseInlineBufferAllocator& ) = delete;

    SizeType& GetBuffer( T*& pBuffer, SizeType& nCapacity ) override
    {
        pBuffer = GetInlineBuffer();
        nCapacity = N;
        return nCapacity;
    }
    SizeType& GetBuffer( const T*& pBuffer, SizeType& nCapacity ) const override
    {
        pBuffer = GetInlineBuffer();
        nCapacity = N;
        return nCapacity;
    }

    T* GetInlineBuffer() { return reinterpret_cast<T*>( _Storage ); }
    const T* GetInlineBuffer() const { return reinterpret_cast<const T*>( _Storage ); }

private:
    alignas( T ) unsigned char _Storage[ sizeof( T ) * N ];
};

// Inline storage first, then the fall-back allocator for everything beyond N. The inline storage is never
// handed out by Allocate: a container reaches it only through GetBuffer.
template <typename T, int32 N, typename SizeType = int32>
class CQorHybridInlineBufferAllocator : public CQorBaseInlineBufferAllocator<T, N, SizeType>
{
public:
    // REQUIRES: pFallback outlives the allocator, or is null for a buffer with no way out (the static form).
    explicit CQorHybridInlineBufferAllocator( CQorAllocator* pFallback = GetGlobalAllocator() )
        : _pFallback( pFallback )
    {
    }

    void* Allocate( uint64 nSize, uint32 nAlignment ) override { return _pFallback->Allocate( nSize, nAlignment ); }
    // The inline storage is released by nobody; anything else, null included, goes to the fall-back.
    void Deallocate( void* pMemory ) override
    {
        if ( pMemory == this->GetInlineBuffer() )
        {
            return;
        }
        _pFallback->Deallocate( pMemory );
    }
    bool IsFixedBuffer( const void* pBuffer ) const override { return pBuffer == this->GetInlineBuffer(); }

    CQorAllocator* GetFallbackAllocator() const override { return _pFallback; }
    CQorAllocator* GetFallbackAllocator() override { return _pFallback; }

private:
    CQorAllocator* _pFallback;
};

// An inline buffer with no way out of it: growth past N asserts and gets null, and nothing is ever released.
// Its fall-back is null, so a container sees no allocator to share with another.
template <typename T, int32 N, typename SizeType = int32>
class CQorStaticInlineBufferAllocator : public CQorHybridInlineBufferAllocator<T, N, SizeType>
{
public:
    CQorStaticInlineBufferAllocator() : CQorHybridInlineBufferAllocator<T, N, SizeType>( nullptr ) {}

    // There is no recovery: a caller that goes on writes through null.
    void* Allocate( uint64, uint32 ) override
    {
        QOR_ASSERT_MSG( false, "Tried to reallocate a static buffer" );
        return nullptr;
    }
    void Deallocate( void* ) override {}
    // Also for a foreign pointer: a static container never trades its buffer.
    bool IsFixedBuffer( const void* ) const override { return true; }
};
