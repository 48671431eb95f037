#pragma once

// CQorAlloca: an array of a size known only at run time, on the caller's stack. Guard words 0xa110ca7e sit in
// the 4 bytes before and the 4 bytes after the elements; the destructor checks both, so an overrun is reported
// where the array dies. The stack memory must come from the caller's own frame, hence the macro:
//     auto Scratch = QOR_ALLOCA( int32, nCount ); // nCount is evaluated twice
// Elements are default-constructed (trivial ones stay uninitialised) and destroyed with the array.

#include "qor_core/qor_assert.h"

#include <alloca.h>
#include <cstddef>
#include <cstdint>
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
        return 4 + ( nDataAlignment - 1 ) + static_cast<size_t>( Count > 0 ? Count : 0 ) * sizeof( T ) + 3 + 4;
    }

    // REQUIRES: pStack holds BytesFor( Count ) bytes and outlives the array.
    CQorAlloca( void* pStack, int Count ) : _count( Count > 0 ? Count : 0 )
    {
        const uintptr_t nFirst = reinterpret_cast<uintptr_t>( pStack ) + 4;
        _pData = reinterpret_cast<T*>( ( nFirst + nDataAlignment - 1 ) & ~( nDataAlignment - 1 ) );
        *reinterpret_cast<int*>( GuardBefore() ) = static_cast<int>( nGuard );
        *reinterpret_cast<int*>( GuardAfter() ) = static_cast<int>( nGuard );
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
        unsigned char* tmp = GuardBefore();
        QOR_ASSERT( *( reinterpret_cast<int*>( tmp ) ) == (int)0xa110ca7e );
        tmp = GuardAfter();
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
    // The first 4-aligned place behind the elements.
    unsigned char* GuardAfter() const
    {
        const uintptr_t nEnd = reinterpret_cast<uintptr_t>( _pData + _count );
        return reinterpret_cast<unsigned char*>( ( nEnd + 3 ) & ~uintptr_t( 3 ) );
    }

    T* _pData;
    int _count;
};

#define QOR_ALLOCA( T, Count ) CQorAlloca<T>( alloca( CQorAlloca<T>::BytesFor( Count ) ), ( Count ) )
