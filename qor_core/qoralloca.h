#pragma once

// CQorAlloca: an array of a size known only at run time, on the caller's stack. Guard words 0xa110ca7e sit in
// the 4 bytes before and the 4 bytes right after the elements, whatever the element size; the destructor checks
// both, so an overrun by even one byte is reported where the array dies. The stack memory must come from the
// caller's own frame, hence the macro:
//     auto Scratch = QOR_ALLOCA( int32, nCount ); // nCount is evaluated twice
// Elements are default-constructed (trivial ones stay uninitialised) and destroyed with the array.

#include "qor_core/qor_assert.h"

#include <alloca.h>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

template <typename T>
class CQorAlloca
{
public:
    static constexpr size_t nDataAlignment = alignof( T ) > 4 ? alignof( T ) : 4;

    // The stack bytes for Count elements, both guards and the alignment slack.
    static constexpr size_t BytesFor( int Count )
    {
        return 4 + ( nDataAlignment - 1 ) + static_cast<size_t>( Count > 0 ? Count : 0 ) * sizeof( T ) + 4;
    }

    // REQUIRES: pStack holds BytesFor( Count ) bytes and outlives the array.
    CQorAlloca( void* pStack, int Count ) : _count( Count > 0 ? Count : 0 )
    {
        const uintptr_t nFirst = reinterpret_cast<uintptr_t>( pStack ) + 4;
        _pData = reinterpret_cast<T*>( ( nFirst + nDataAlignment - 1 ) & ~( nDataAlignment - 1 ) );
        std::memcpy( GuardBefore(), &nGuard, 4 );
        std::memcpy( GuardAfter(), &nGuard, 4 );
        for ( int I = 0; I < _count; ++I )
        {
            ::new ( static_cast<void*>( _pData + I ) ) T;
        }
    }
    ~CQorAlloca()
    {
        if constexpr ( !std::is_trivially_destructible_v<T> )
        {
            for ( int I = 0; I < _count; ++I )
            {
                _pData[ I ].~T();
            }
        }
        // The trailing guard may be unaligned: each guard is read through an aligned copy.
        int nGuardValue;
        unsigned char* tmp = reinterpret_cast<unsigned char*>( &nGuardValue );
        std::memcpy( tmp, GuardBefore(), 4 );
        QOR_ASSERT( *( reinterpret_cast<int*>( tmp ) ) == (int)0xa110ca7e );
        std::memcpy( tmp, GuardAfter(), 4 );
        QOR_ASSERT( *( reinterpret_cast<int*>( tmp ) ) == (int)0xa110ca7e );
    }
    CQorAlloca( const CQorAlloca& ) = delete;
    CQorAlloca& operator=( const CQorAlloca& ) = delete;

    T& operator[]( int index )
    {
        QOR_ASSERT( index >= 0 && index < _count );
        return _pData[ index ];
    }
    const T& operator[]( int index ) const
    {
        QOR_ASSERT( index >= 0 && index < _count );
        return _pData[ index ];
    }
    T* GetData() { return _pData; }
    int GetSize() const { return _count; }
    T* begin() { return _pData; }
    T* end() { return _pData + _count; }

private:
    static constexpr uint32_t nGuard = 0xa110ca7e;

    unsigned char* GuardBefore() const { return reinterpret_cast<unsigned char*>( _pData ) - 4; }
    unsigned char* GuardAfter() const { return reinterpret_cast<unsigned char*>( _pData + _count ); }

    T* _pData;
    int _count;
};

#define QOR_ALLOCA( T, Count ) CQorAlloca<T>( alloca( CQorAlloca<T>::BytesFor( Count ) ), ( Count ) )
