#pragma once

// CQorArray: the library's contiguous growable array. It differs from std::vector where the rest of the
// library relies on it:
// - sizes and indices are the signed SizeT (int32), and -1 stands for "no index";
// - memory comes from a CQorAllocator held per array and fixed by the constructor, so a buffer can live in
//   an embedded allocator (hybrid and static arrays) and two arrays of one type can use different allocators;
// - a buffer can be handed in from outside (ReplaceBuffer);
// - it never throws: misuse is an assertion, after which the operation goes on with what it was given.
// Growth doubles from 1 (1, 2, 4, 8 ...), with no minimum capacity; Reserve allocates exactly what it is asked.
// Trivially copyable elements relocate by byte copy, others by move construction and destruction of the source.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/allocator/qor_inline_buffer_allocator.h"
#include "qor_core/qor_assert.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

template <typename T, typename SizeT = int32>
class CQorArray
{
public:
    using ValueType = T;
    using SizeType = SizeT;
    using UnsignedSizeT = std::make_unsigned_t<SizeT>;
    using iterator = T*;
    using const_iterator = const T*;

    // What RemoveRange did: the count removed and the place at the start index.
    struct SRemoveResult
    {
        SizeT nRemoved;
        T* pWhere;
    };

    // On the global allocator.
    CQorArray() : _pAlloc( GetGlobalAllocator() ) {}

    // REQUIRES: pAlloc is not null and outlives the array.
    explicit CQorArray( CQorAllocator* pAlloc ) : _pAlloc( pAlloc )
    {
        QOR_ASSERT( _pAlloc && "Allocator must not be null" );
    }

    // A copy on the source's allocator (see SharedAllocatorOf), or on a given one.
    CQorArray( const CQorArray& Other ) : CQorArray( Other, SharedAllocatorOf( Other._pAlloc ) ) {}
    CQorArray( const CQorArray& Other, CQorAllocator* pAlloc ) : CQorArray( pAlloc ) { AssignCopied( Other._pData, Other._nSize ); }

    // On the source's allocator the buffer changes hands; on another one the elements move one by one. The
    // buffer of an inline or static array never leaves it: its elements move.
    CQorArray( CQorArray&& Other ) : CQorArray( std::move( Other ), SharedAllocatorOf( Other._pAlloc ) ) {}
    CQorArray( CQorArray&& Other, CQorAllocator* pAlloc ) : CQorArray( pAlloc ) { *this = std::move( Other ); }

    ~CQorArray()
    {
        if ( _pData )
        {
            Clear();
            _pAlloc->Deallocate( _pData );
        }
    }

    // Keeps the target's allocator; raises the capacity exactly to the source's size when needed.
    CQorArray& operator=( const CQorArray& Other )
    {
        if ( this != &Other )
        {
            AssignCopied( Other._pData, Other._nSize );
        }
        return *this;
    }

    // Same allocator: the buffer changes hands and Other is left without one. Different allocators: the
    // elements are relocated in, and Other keeps its (now empty) buffer.
    CQorArray& operator=( CQorArray&& Other );

    // REQUIRES: 0 <= nIndex < GetSize().
    T& operator[]( SizeT nIndex )
    {
        QOR_CHECK( nIndex > -1 && nIndex < _nSize );
        return _pData[ nIndex ];
    }
    const T& operator[]( SizeT nIndex ) const
    {
        QOR_CHECK( nIndex > -1 && nIndex < _nSize );
        return _pData[ nIndex ];
    }
    // clang-format off
    T& operator[]( UnsignedSizeT nIndex )
    {
        QOR_CHECK( nIndex < (UnsignedSizeT)_nSize );
        return _pData[ nIndex ];
    }
    const T& operator[]( UnsignedSizeT nIndex ) const
    {
        QOR_CHECK( nIndex < (UnsignedSizeT)_nSize );
        return _pData[ nIndex ];
    }
    // clang-format on

    // REQUIRES: the array is not empty.
    T& Back()
    {
        QOR_CHECK( _nSize > 0 );
        return _pData[ _nSize - 1 ];
    }
    const T& Back() const
    {
        QOR_CHECK( _nSize > 0 );
        return _pData[ _nSize - 1 ];
    }
    // REQUIRES: the array is not empty.
    T& Front()
    {
        QOR_CHECK( _nSize > 0 );
        return _pData[ 0 ];
    }
    const T& Front() const
    {
        QOR_CHECK( _nSize > 0 );
        return _pData[ 0 ];
    }

    T* begin() { return _pData; }
    T* end() { return _pData + _nSize; }
    const T* begin() const { return _pData; }
    const T* end() const { return _pData + _nSize; }

    T* GetData() { return _pData; }
    const T* GetData() const { return _pData; }
    SizeT GetSize() const { return _nSize; }
    SizeT GetCapacity() const { return _nCapacity; }
    bool IsEmpty() const { return _nSize == 0; }
    CQorAllocator* GetAllocator() const { return _pAlloc; }

    // Allocates exactly nCapacity when it exceeds the capacity; never shrinks.
    void Reserve( SizeT nCapacity );
    // Grows by default-constructed elements in ascending order, or destroys the tail. Keeps the capacity.
    void Resize( SizeT nNewSize );
    // Gives back unused capacity; an empty array lets go of its buffer. A buffer the allocator calls fixed
    // (inline or static storage) is kept.
    void ShrinkToFit();

    // Appends and returns the new element. Value may be an element of this array, also when it must grow.
    T* Add( const T& Value ) { return AddConstructed( Value ); }
    T* Add( T&& Value ) { return AddConstructed( std::move( Value ) ); }
    template <typename... ArgsT>
    T* Emplace( ArgsT&&... Args )
    {
        return AddConstructed( std::forward<ArgsT>( Args )... );
    }

    // REQUIRES: 0 <= nWhere <= GetSize(). Returns the new element.
    T* Insert( SizeT nWhere, const T& Value ) { return InsertConstructed( nWhere, Value ); }
    T* Insert( SizeT nWhere, T&& Value ) { return InsertConstructed( nWhere, std::move( Value ) ); }
    // Copies nInsertNum values in at nWhere. REQUIRES: 0 <= nWhere <= GetSize(), nInsertNum >= 0, and
    // pValues does not point into this array.
    void Insert( SizeT nWhere, const T* pValues, SizeT nInsertNum );

    // Removes [nStartIndex, nEndIndex), shifting the rest down in order.
    // REQUIRES: 0 <= nStartIndex <= nEndIndex <= GetSize().
    SRemoveResult RemoveRange( SizeT nStartIndex, SizeT nEndIndex );
    SRemoveResult Remove( SizeT nIndex ) { return RemoveRange( nIndex, nIndex + 1 ); }
    // Moves the last element into nIndex and drops the last place: order is not kept.
    // REQUIRES: 0 <= nIndex < GetSize().
    void RemoveSwap( SizeT nIndex );
    // Does nothing on an empty array.
    void PopBack()
    {
        if ( _nSize != 0 )
        {
            RemoveRange( _nSize - 1, _nSize );
        }
    }
    // Destroys the elements and keeps the buffer, so a reused array allocates nothing.
    void Clear()
    {
        DestroyRange( _pData, _pData + _nSize );
        _nSize = 0;
    }

    // Index of the first element equal to Value (or for which Pred( Element, Value ) holds), or -1.
    SizeT FindIndex( const T& Value ) const
    {
        for ( SizeT I = 0; I < _nSize; ++I )
        {
            if ( _pData[ I ] == Value )
            {
                return I;
            }
        }
        return -1;
    }
    template <typename ValueT, typename PredT>
    SizeT FindIndex( const ValueT& Value, PredT Pred ) const
    {
        for ( SizeT I = 0; I < _nSize; ++I )
        {
            if ( Pred( _pData[ I ], Value ) )
            {
                return I;
            }
        }
        return -1;
    }
    // Index of the first element for which Pred( Element ) holds, or -1.
    template <typename PredT>
    SizeT FindIndexIf( PredT Pred ) const
    {
        for ( SizeT I = 0; I < _nSize; ++I )
        {
            if ( Pred( _pData[ I ] ) )
            {
                return I;
            }
        }
        return -1;
    }

    // The element searches: a pointer to the first match, or null.
    T* Find( const T& Value ) { return PointerAt( FindIndex( Value ) ); }
    const T* Find( const T& Value ) const { return PointerAt( FindIndex( Value ) ); }
    template <typename ValueT, typename PredT>
    T* Find( const ValueT& Value, PredT Pred )
    {
        return PointerAt( FindIndex( Value, Pred ) );
    }
    template <typename ValueT, typename PredT>
    const T* Find( const ValueT& Value, PredT Pred ) const
    {
        return PointerAt( FindIndex( Value, Pred ) );
    }
    template <typename PredT>
    T* FindIf( PredT Pred )
    {
        return PointerAt( FindIndexIf( Pred ) );
    }
    template <typename PredT>
    const T* FindIf( PredT Pred ) const
    {
        return PointerAt( FindIndexIf( Pred ) );
    }

    // Not stable.
    template <typename PredT = std::less<>>
    void Sort( PredT Pred = PredT() )
    {
        std::sort( begin(), end(), Pred );
    }

    // Same allocator: the buffers change hands. Different allocators: the contents cross element by element
    // through a scratch array, and each array stays on its own allocator.
    void Swap( CQorArray& Other );

    // Relocates the elements to pNewData (capacity nNewCapacity), releases the old buffer through the
    // allocator (also when it is null) and adopts the new one. The size is kept.
    // REQUIRES: nNewCapacity >= GetSize().
    void ReplaceBuffer( T* pNewData, SizeT nNewCapacity );

protected:
    struct SGrowth
    {
        T* pData;
        SizeT nCapacity;
    };

    // The allocator a new array takes from a source on pAlloc. A single-buffer allocator belongs to its
    // container (it is embedded in a hybrid or static array, or serves one outside buffer), and dies or stays
    // with it: the new array draws on the allocator behind it, or on the global one when there is none.
    static CQorAllocator* SharedAllocatorOf( CQorAllocator* pAlloc )
    {
        if ( pAlloc == GetGlobalAllocator() )
        {
            return pAlloc;
        }
        if ( const auto* pSingle = dynamic_cast<const CQorSmallSingleBufferAllocator<T, SizeT>*>( pAlloc ) )
        {
            CQorAllocator* pFallback = pSingle->GetFallbackAllocator();
            return pFallback ? pFallback : GetGlobalAllocator();
        }
        return pAlloc;
    }

    T* PointerAt( SizeT nIndex ) { return nIndex < 0 ? nullptr : _pData + nIndex; }
    const T* PointerAt( SizeT nIndex ) const { return nIndex < 0 ? nullptr : _pData + nIndex; }

    T* AllocateBuffer( SizeT nCapacity )
    {
        return static_cast<T*>( _pAlloc->Allocate( static_cast<uint64>( nCapacity ) * sizeof( T ), alignof( T ) ) );
    }
    // A new buffer for nRequired elements: exactly that for Reserve, at least double the capacity for growth.
    SGrowth CalculateGrowth( SizeT nRequired, bool bGeometric )
    {
        const SizeT nCapacity = bGeometric ? std::max<SizeT>( 2 * _nCapacity, nRequired ) : nRequired;
        return { AllocateBuffer( nCapacity ), nCapacity };
    }
    // Releases the old buffer and adopts a grown one whose elements are all in place already.
    void AdoptGrown( const SGrowth& Growth, SizeT nNewSize )
    {
        _nSize = 0;
        ReplaceBuffer( Growth.pData, Growth.nCapacity );
        _nSize = nNewSize;
    }

    // Moves [pBegin, pEnd) to pTarget upward, destroying the sources. A target below the source is legal.
    static void Relocate( T* pTarget, T* pBegin, T* pEnd );
    static void DestroyRange( T* pBegin, T* pEnd )
    {
        if constexpr ( !std::is_trivially_destructible_v<T> )
        {
            for ( ; pBegin != pEnd; ++pBegin )
            {
                pBegin->~T();
            }
        }
    }

    template <typename... ArgsT>
    T* AddConstructed( ArgsT&&... Args );
    template <typename... ArgsT>
    T* InsertConstructed( SizeT nWhere, ArgsT&&... Args );

    // Takes nCount elements that may be overwritten; they are relocated or move-assigned in and each source
    // is destroyed, so the caller forgets them without destructors.
    void AssignMoved( T* pValues, SizeT nCount );
    void AssignCopied( const T* pValues, SizeT nCount );

    T* _pData = nullptr;
    SizeT _nCapacity = 0;
    SizeT _nSize = 0;
    CQorAllocator* _pAlloc;
};

#include "qor_core/container/qor_array_impl.h"
#include "qor_core/container/qor_hybrid_array.h"
