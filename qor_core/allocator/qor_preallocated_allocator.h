#pragma once

// A single-buffer allocator over memory that somebody else owns: the container takes the buffer through
// GetBuffer and can never leave it. Growth asserts and gets null; nothing is released.

#include "qor_core/allocator/qor_inline_buffer_allocator.h"
#include "qor_core/qor_assert.h"

template <typename T, typename SizeType = int32>
class CQorPreAllocatedAllocator : public CQorSmallSingleBufferAllocator<T, SizeType>
{
public:
    // REQUIRES: pBuffer holds nCapacity elements and outlives every container on this allocator.
    CQorPreAllocatedAllocator( T* pBuffer, SizeType nCapacity ) : _pBuffer( pBuffer ), _nCapacity( nCapacity ) {}

    // There is no recovery: a caller that goes on writes through null.
    void* Allocate( uint64, uint32 ) override
    {
        QOR_ASSERT_MSG( false, "Tried to reallocate a pre-allocated buffer" );
        return nullptr;
    }
    void Deallocate( void* ) override {}
    bool IsFixedBuffer( const void* ) const override { return true; }

    SizeType& GetBuffer( T*& pBuffer, SizeType& nCapacity ) override
    {
        pBuffer = _pBuffer;
        nCapacity = _nCapacity;
        return nCapacity;
    }
    SizeType& GetBuffer( const T*& pBuffer, SizeType& nCapacity ) const override
    {
        pBuffer = _pBuffer;
        nCapacity = _nCapacity;
        return nCapacity;
    }

private:
    T* _pBuffer;
    SizeType _nCapacity;
};
