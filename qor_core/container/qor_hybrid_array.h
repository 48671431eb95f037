#pragma once

// CQorHybridArray and CQorStaticArray: a CQorArray that brings its first buffer with it. Where a
// small-buffer vector switches between inline and heap storage itself, here the array code doesn't know that
// a buffer is inline: an allocator embedded in the object holds N elements of raw storage, the array's
// _pAlloc points at it, and every buffer change goes through ReplaceBuffer and _pAlloc as in any CQorArray.
// - An array starts with capacity N and no allocator call.
// - A hybrid array grows onto its fall-back allocator (the global allocator unless given another) and never
//   returns to the inline storage: Clear keeps the heap block, ShrinkToFit of an empty array frees it.
// - A static array can't grow past N: growth reports "Tried to reallocate a static buffer" and gets null.
// - A plain CQorArray copied or moved from one never takes the embedded allocator or the inline storage, which
//   die with the source: it draws on the fall-back (the global allocator for a static array).
// Neither adds an element operation.

#include "qor_core/allocator/qor_inline_buffer_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/qor_assert.h"

#include <algorithm>
#include <initializer_list>
#include <type_traits>
#include <utility>

namespace NDetail
{
// The plumbing both forms share, over the embedded allocator AllocatorT.
template <typename T, int32 N, typename AllocatorT>
class CQorInlineBufferArray : public CQorArray<T>
{
    using Base = CQorArray<T>;
    // The hybrid allocator takes its fall-back at construction; the static one has none.
    static constexpr bool bHasFallback = std::is_constructible_v<AllocatorT, CQorAllocator*>;

public:
    // The base is built pointing at the embedded allocator, which is complete before the buffer is taken.
    CQorInlineBufferArray() : Base( &_Allocator ) { ResetToInlineBuffer(); }
    // REQUIRES: pFallback outlives the array.
    explicit CQorInlineBufferArray( CQorAllocator* pFallback )
        requires bHasFallback
        : Base( &_Allocator ), _Allocator( pFallback )
    {
        ResetToInlineBuffer();
    }

    // Inserts the values. A static array that can't hold them all reports it first and keeps the first N.
    CQorInlineBufferArray( std::initializer_list<T> Values ) : CQorInlineBufferArray()
    {
        InsertInitial( Values.begin(), static_cast<int32>( Values.size() ) );
    }
    CQorInlineBufferArray( const T* pValues, int32 nCount ) : CQorInlineBufferArray()
    {
        InsertInitial( pValues, nCount );
    }

    // A copy or a move draws on the source's fall-back, as a CQorArray copy draws on the source's allocator.
    CQorInlineBufferArray( const CQorInlineBufferArray& Other )
        : Base( &_Allocator ), _Allocator( AllocatorLike( Other._Allocator ) )
    {
        ResetToInlineBuffer();
        this->AssignCopied( Other._pData, Other._nSize );
    }
    CQorInlineBufferArray( CQorInlineBufferArray&& Other )
        : Base( &_Allocator ), _Allocator( AllocatorLike( Other._Allocator ) )
    {
        ResetToInlineBuffer();
        *this = std::move( Other );
    }

    // The elements go, and a heap block goes back while the embedded allocator still lives: the base
    // destructor runs after the member is gone and must find no buffer. The inline storage is never released.
    ~CQorInlineBufferArray()
    {
        this->Clear();
        if ( this->_pData && this->_pData != _Allocator.GetInlineBuffer() )
        {
            this->_pAlloc->Deallocate( this->_pData );
        }
        this->_pData = nullptr;
        this->_nCapacity = 0;
    }

    // Keeps this array's buffer and fall-back; raises the capacity exactly to the source's size when needed.
    CQorInlineBufferArray& operator=( const CQorInlineBufferArray& Other )
    {
        Base::operator=( Other );
        return *this;
    }

    // Starts over on the inline storage, then takes Other's elements: by element when Other lives inline
    // (Other keeps its own storage), by buffer when both share a fall-back, else as a CQorArray across
    // allocators.
    CQorInlineBufferArray& operator=( CQorInlineBufferArray&& Other );

    // Destroys the elements, gives a heap buffer back and returns to the inline storage: capacity N again.
    void ResetToInlineBuffer()
    {
        this->Clear();
        this->ReplaceBuffer( nullptr, 0 );
        _Allocator.GetBuffer( this->_pData, this->_nCapacity );
        QOR_ASSERT( this->_pData );
    }

private:
    static AllocatorT AllocatorLike( const AllocatorT& Source )
    {
        if constexpr ( bHasFallback )
        {
            return AllocatorT( Source.GetFallbackAllocator() );
        }
        else
        {
            return AllocatorT();
        }
    }

    void InsertInitial( const T* pValues, int32 nCount )
    {
        if constexpr ( !bHasFallback )
        {
            QOR_ASSERT_MSG( nCount <= N, "Pre-allocated size is not large enough to hold assigned data" );
            nCount = std::min( nCount, N );
        }
        this->Insert( this->_nSize, pValues, nCount );
    }

    AllocatorT _Allocator;
};

template <typename T, int32 N, typename AllocatorT>
CQorInlineBufferArray<T, N, AllocatorT>& CQorInlineBufferArray<T, N, AllocatorT>::operator=(
    CQorInlineBufferArray&& Other )
{
    if ( this == &Other )
    {
        return *this;
    }
    ResetToInlineBuffer();
    if ( Other._pData == Other._Allocator.GetInlineBuffer() )
    {
        // This array is empty on its own inline storage of the same N, so exchanging the elements is moving
        // all of Other's across; Other keeps its storage, empty.
        Base::Relocate( this->_pData, Other._pData, Other._pData + Other._nSize );
        this->_nSize = std::exchange( Other._nSize, 0 );
    }
    else if ( _Allocator.GetFallbackAllocator() &&
              _Allocator.GetFallbackAllocator() == Other._Allocator.GetFallbackAllocator() )
    {
        // The block came from the fall-back both share, so this array's allocator can give it back.
        this->_pData = std::exchange( Other._pData, nullptr );
        this->_nSize = std::exchange( Other._nSize, 0 );
        this->_nCapacity = std::exchange( Other._nCapacity, 0 );
    }
    else
    {
        Base::operator=( std::move( Other ) );
    }
    return *this;
}
} // namespace NDetail

// A CQorArray with inline room for N elements and the heap beyond.
template <typename T, int32 N>
class CQorHybridArray : public NDetail::CQorInlineBufferArray<T, N, CQorHybridInlineBufferAllocator<T, N, int32>>
{
    using Base = NDetail::CQorInlineBufferArray<T, N, CQorHybridInlineBufferAllocator<T, N, int32>>;

public:
    using Base::Base;
};

// A CQorArray of at most N elements, all inline. Growth past N is a programming error with no recovery.
template <typename T, int32 N>
class CQorStaticArray : public NDetail::CQorInlineBufferArray<T, N, CQorStaticInlineBufferAllocator<T, N, int32>>
{
    using Base = NDetail::CQorInlineBufferArray<T, N, CQorStaticInlineBufferAllocator<T, N, int32>>;

public:
    using Base::Base;
};
