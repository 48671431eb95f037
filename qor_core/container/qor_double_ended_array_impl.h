#pragma once

// CQorDoubleEndedArray: elements contiguous in one buffer, starting anywhere inside it, with spare room on
// both sides. Unlike std::deque it is one block, so iteration is a pointer walk and the elements can be
// handed out as a plain range; unlike std::vector, removal at the front is one pointer increment and frees
// nothing. Memory comes from a CQorAllocator held per container; it never throws.
//
// A layout policy decides where spare room goes whenever the buffer must change (reserve, growth at either
// end); the mechanics are shared:
// - SQorContiguousQueueLayout keeps the spare room behind the elements: a queue that slides its elements back
//   to the start of the buffer when it reaches the end, and doubles when less than half the buffer is free.
// - SQorReverseContiguousQueueLayout keeps the spare room at the head, where pushes at the back can't use it:
//   each push slides the elements down one place. Meant for a bounded queue with its capacity reserved.
// - SQorDoubleEndedLayout balances the spare room (an odd free place goes to the head) and triples the size
//   when it grows, so that both ends have room.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/qor_assert.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

// How a policy and the container speak about a buffer. Invariant of every layout made:
// _SpareHeadCapacity + size + _SpareTailCapacity == _Capacity.
struct SLayout
{
    int32 _Capacity;
    int32 _SpareHeadCapacity;
    int32 _SpareTailCapacity;

    friend constexpr bool operator==( const SLayout& Left, const SLayout& Right ) = default;
};

namespace NDetail
{
constexpr int32 LayoutSize( const SLayout& Layout )
{
    return Layout._Capacity - Layout._SpareHeadCapacity - Layout._SpareTailCapacity;
}
} // namespace NDetail

struct SQorContiguousQueueLayout
{
    static constexpr SLayout ForReserve( int32 NewTotalCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 C = std::max( CurrentLayout._Capacity, NewTotalCapacity );
        return { C, 0, C - S };
    }
    // A buffer of at least twice the size only slides.
    static constexpr SLayout ForTailGrowth( int32 NewSpareTailCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 C = std::max( { CurrentLayout._Capacity, 2 * S, S + NewSpareTailCapacity } );
        return { C, 0, C - S };
    }
    static constexpr SLayout ForHeadGrowth( int32 NewSpareHeadCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 C = std::max( { CurrentLayout._Capacity, 2 * S, S + NewSpareHeadCapacity } );
        return { C, C - S, 0 };
    }
};

struct SQorReverseContiguousQueueLayout
{
    static constexpr SLayout ForReserve( int32 NewTotalCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 C = std::max( CurrentLayout._Capacity, NewTotalCapacity );
        return { C, C - S, 0 };
    }
    // Only the room asked for goes to the tail; the rest stays at the head.
    static constexpr SLayout ForTailGrowth( int32 NewSpareTailCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 R = S + NewSpareTailCapacity;
        const int32 C = std::max( { CurrentLayout._Capacity, 2 * S, R } );
        return { C, C - R, NewSpareTailCapacity };
    }
    static constexpr SLayout ForHeadGrowth( int32 NewSpareHeadCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 R = S + NewSpareHeadCapacity;
        const int32 C = std::max( { CurrentLayout._Capacity, 2 * S, R } );
        return { C, NewSpareHeadCapacity, C - R };
    }
};

struct SQorDoubleEndedLayout
{
    static constexpr SLayout ForReserve( int32 NewTotalCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 C = std::max( CurrentLayout._Capacity, NewTotalCapacity );
        return { C, ( C - S ) / 2, C - S - ( C - S ) / 2 };
    }
    // Triples, so that the room left after the requested part splits between both ends.
    static constexpr SLayout ForTailGrowth( int32 NewSpareTailCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 R = S + NewSpareTailCapacity;
        const int32 C = std::max( { CurrentLayout._Capacity, 3 * S, R } );
        return { C, ( C - R ) - ( C - R ) / 2, NewSpareTailCapacity + ( C - R ) / 2 };
    }
    static constexpr SLayout ForHeadGrowth( int32 NewSpareHeadCapacity, const SLayout& CurrentLayout )
    {
        const int32 S = NDetail::LayoutSize( CurrentLayout );
        const int32 R = S + NewSpareHeadCapacity;
        const int32 C = std::max( { CurrentLayout._Capacity, 3 * S, R } );
        return { C, NewSpareHeadCapacity + ( C - R ) / 2, ( C - R ) - ( C - R ) / 2 };
    }
};

template <typename T, typename LayoutPolicyT = SQorDoubleEndedLayout>
class CQorDoubleEndedArray
{
public:
    using ValueType = T;
    using LayoutPolicy = LayoutPolicyT;
    using iterator = T*;
    using const_iterator = const T*;

    // Empty, on the global allocator; allocates nothing.
    CQorDoubleEndedArray() = default;
    // REQUIRES: pAlloc outlives the container.
    explicit CQorDoubleEndedArray( CQorAllocator* pAlloc ) : _Alloc( pAlloc ) {}

    // Takes the buffer and the allocator it came from; Other is left empty, without a buffer.
    CQorDoubleEndedArray( CQorDoubleEndedArray&& Other ) : _Alloc( Other._Alloc ) { TakeBuffer( Other ); }
    CQorDoubleEndedArray& operator=( CQorDoubleEndedArray&& Other )
    {
        if ( this != &Other )
        {
            Release();
            _Alloc = Other._Alloc;
            TakeBuffer( Other );
        }
        return *this;
    }
    CQorDoubleEndedArray( const CQorDoubleEndedArray& ) = delete;
    CQorDoubleEndedArray& operator=( const CQorDoubleEndedArray& ) = delete;

    ~CQorDoubleEndedArray() { Release(); }

    int32 GetSize() const { return _Size; }
    int32 GetCapacity() const { return _Capacity; }
    bool IsEmpty() const { return _Size == 0; }
    CQorAllocator* GetAllocator() const { return _Alloc; }

    T* begin() { return _Data; }
    T* end() { return _Data + _Size; }
    const T* begin() const { return _Data; }
    const T* end() const { return _Data + _Size; }

    SLayout GetCurrentLayout() const
    {
        const int32 Head = static_cast<int32>( _Data - _Buffer );
        return { _Capacity, Head, _Capacity - Head - _Size };
    }

    // Ensures room for NewTotalCapacity elements in all, placed as the policy reserves; never shrinks.
    void Reserve( int32 NewTotalCapacity );

    // Ensures that NewTotalSize elements fit from the first element to the end of the buffer: slides the
    // elements towards the head when the policy keeps the capacity, relayouts otherwise.
    void EnsureTailRoom( int32 NewTotalSize );
    // The mirror image: NewTotalSize elements fit from the start of the buffer to the last element.
    void EnsureHeadRoom( int32 NewTotalSize );

    // Appends and returns the new element. Value may be an element of this container.
    T* PushBack( const T& Value ) { return PushBackConstructed( Value ); }
    T* PushBack( T&& Value ) { return PushBackConstructed( std::move( Value ) ); }
    // Prepends and returns the new element. Value may be an element of this container.
    T* PushFront( const T& Value ) { return PushFrontConstructed( Value ); }
    T* PushFront( T&& Value ) { return PushFrontConstructed( std::move( Value ) ); }

    // REQUIRES: not empty.
    T& Front()
    {
        QOR_CHECK_MSG( _Size > 0, "Cannot get front element of an empty container." );
        return *_Data;
    }
    const T& Front() const
    {
        QOR_CHECK_MSG( _Size > 0, "Cannot get front element of an empty container." );
        return *_Data;
    }

    // Destroys the first element and steps past it: no memory moves or is released.
    // REQUIRES: not empty. On an empty container it reports and goes on, leaving a negative size.
    void PopFront()
    {
        QOR_CHECK_MSG( _Size > 0, "Cannot pop front element of an empty container." );
        // One path for every element: for a trivially destructible one the destruction is empty and the front
        // is its check alone, so the pop still costs only the pointer step.
        std::destroy_at( &FrontToPop() );
        ++_Data;
        --_Size;
    }

    // Destroys the elements; the buffer and the place of the first element stay, so the spare head is kept.
    void Clear()
    {
        // A size driven below zero by pops on an empty container is mended here, not walked.
        if ( _Size > 0 )
        {
            std::destroy( _Data, _Data + _Size );
        }
        _Size = 0;
    }

    // Moves the elements nDistance places towards the start of the buffer, at most as far as the spare head.
    void SlideToHead( int32 nDistance );
    // Moves the elements nDistance places towards the end of the buffer, at most as far as the spare tail.
    void SlideToTail( int32 nDistance );
    // Moves the elements to a new buffer laid out as given, and releases the old one.
    void Relayout( const SLayout& Layout );

    // Debug check of the fields against each other and the layout invariant. True when all hold.
    bool Validate() const
    {
        if ( !_Buffer )
        {
            return _Data == nullptr && _Capacity == 0 && _Size == 0;
        }
        const SLayout Layout = GetCurrentLayout();
        return _Size >= 0 && _Capacity > 0 && Layout._SpareHeadCapacity >= 0 && Layout._SpareTailCapacity >= 0 &&
               Layout._SpareHeadCapacity + GetSize() + Layout._SpareTailCapacity == Layout._Capacity;
    }

private:
    // The front for PopFront, with a text of its own.
    T& FrontToPop()
    {
        QOR_CHECK_MSG( _Size > 0, "Cannot access front element of an empty container." );
        return *_Data;
    }

    // std::less orders any two pointers, also those into unrelated objects.
    bool IsElement( const T* pValue ) const
    {
        return !std::less<const T*>()( pValue, _Data ) && std::less<const T*>()( pValue, _Data + _Size );
    }
    bool HasTailRoom( int32 NewTotalSize ) const { return _Capacity - ( _Data - _Buffer ) >= NewTotalSize; }
    bool HasHeadRoom( int32 NewTotalSize ) const { return ( _Data - _Buffer ) + _Size >= NewTotalSize; }

    // The fast paths stay small enough to inline; a push that must make room goes out of line.
    template <typename ArgT>
    T* PushBackConstructed( ArgT&& Value )
    {
        if ( !HasTailRoom( _Size + 1 ) ) [[unlikely]]
        {
            return PushBackGrowing( std::forward<ArgT>( Value ) );
        }
        return ConstructBack( std::forward<ArgT>( Value ) );
    }
    template <typename ArgT>
    T* PushFrontConstructed( ArgT&& Value )
    {
        if ( !HasHeadRoom( _Size + 1 ) ) [[unlikely]]
        {
            return PushFrontGrowing( std::forward<ArgT>( Value ) );
        }
        return ConstructFront( std::forward<ArgT>( Value ) );
    }
    template <typename ArgT>
    [[gnu::noinline]] T* PushBackGrowing( ArgT&& Value );
    template <typename ArgT>
    [[gnu::noinline]] T* PushFrontGrowing( ArgT&& Value );
    template <typename ArgT>
    T* ConstructBack( ArgT&& Value )
    {
        const int32 Size = _Size;
        T* pElement = ::new ( static_cast<void*>( _Data + Size ) ) T( std::forward<ArgT>( Value ) );
        _Size = Size + 1;
        return pElement;
    }
    template <typename ArgT>
    T* ConstructFront( ArgT&& Value )
    {
        T* pElement = ::new ( static_cast<void*>( _Data - 1 ) ) T( std::forward<ArgT>( Value ) );
        _Data = pElement;
        ++_Size;
        return pElement;
    }

    void TakeBuffer( CQorDoubleEndedArray& Other )
    {
        _Buffer = std::exchange( Other._Buffer, nullptr );
        _Data = std::exchange( Other._Data, nullptr );
        _Capacity = std::exchange( Other._Capacity, 0 );
        _Size = std::exchange( Other._Size, 0 );
    }
    void Release()
    {
        Clear();
        if ( _Alloc )
        {
            _Alloc->Deallocate( _Buffer );
        }
        _Buffer = _Data = nullptr;
        _Capacity = 0;
    }

    // Moves [pBegin, pEnd) to pTarget, destroying the sources. Safe for overlap when pTarget is below pBegin
    // (bAscending) or above it (!bAscending): the order of the moves keeps ahead of the overwrites.
    template <bool bAscending>
    static void Relocate( T* pTarget, T* pBegin, T* pEnd );

    CQorAllocator* _Alloc = GetGlobalAllocator();
    T* _Buffer = nullptr;
    T* _Data = nullptr;
    int32 _Capacity = 0;
    int32 _Size = 0;
};

template <typename T>
using CQorContiguousQueue = CQorDoubleEndedArray<T, SQorContiguousQueueLayout>;
template <typename T>
using CQorReverseContiguousQueue = CQorDoubleEndedArray<T, SQorReverseContiguousQueueLayout>;

template <typename T, typename LayoutPolicyT>
template <bool bAscending>
void CQorDoubleEndedArray<T, LayoutPolicyT>::Relocate( T* pTarget, T* pBegin, T* pEnd )
{
    if constexpr ( std::is_trivially_copyable_v<T> )
    {
        if ( pBegin != pEnd )
        {
            std::memmove( static_cast<void*>( pTarget ), static_cast<const void*>( pBegin ),
                          static_cast<size_t>( pEnd - pBegin ) * sizeof( T ) );
        }
    }
    else if constexpr ( bAscending )
    {
        for ( ; pBegin != pEnd; ++pBegin, ++pTarget )
        {
            ::new ( static_cast<void*>( pTarget ) ) T( std::move( *pBegin ) );
            pBegin->~T();
        }
    }
    else
    {
        for ( T* pTargetEnd = pTarget + ( pEnd - pBegin ); pEnd != pBegin; )
        {
            --pEnd;
            --pTargetEnd;
            ::new ( static_cast<void*>( pTargetEnd ) ) T( std::move( *pEnd ) );
            pEnd->~T();
        }
    }
}

template <typename T, typename LayoutPolicyT>
void CQorDoubleEndedArray<T, LayoutPolicyT>::Reserve( int32 NewTotalCapacity )
{
    if ( _Capacity >= NewTotalCapacity )
    {
        return;
    }
    const SLayout DesiredLayout = LayoutPolicyT::ForReserve( NewTotalCapacity, GetCurrentLayout() );
    QOR_ASSERT( DesiredLayout._Capacity >= NewTotalCapacity );
    QOR_ASSERT( DesiredLayout._Capacity ==
                DesiredLayout._SpareHeadCapacity + GetSize() + DesiredLayout._SpareTailCapacity );
    Relayout( DesiredLayout );
}

template <typename T, typename LayoutPolicyT>
void CQorDoubleEndedArray<T, LayoutPolicyT>::EnsureTailRoom( int32 NewTotalSize )
{
    if ( HasTailRoom( NewTotalSize ) )
    {
        return;
    }
    const int32 NewSpareTailCapacity = NewTotalSize - _Size;
    const SLayout CurrentLayout = GetCurrentLayout();
    const SLayout DesiredLayout = LayoutPolicyT::ForTailGrowth( NewSpareTailCapacity, CurrentLayout );
    QOR_ASSERT( DesiredLayout._Capacity >= CurrentLayout._Capacity );
    QOR_ASSERT( DesiredLayout._Capacity ==
                DesiredLayout._SpareHeadCapacity + GetSize() + DesiredLayout._SpareTailCapacity );
    QOR_ASSERT( DesiredLayout._SpareTailCapacity >= NewSpareTailCapacity );
    if ( DesiredLayout._Capacity == CurrentLayout._Capacity )
    {
        SlideToHead( DesiredLayout._SpareTailCapacity - CurrentLayout._SpareTailCapacity );
    }
    else
    {
        Relayout( DesiredLayout );
    }
}

template <typename T, typename LayoutPolicyT>
void CQorDoubleEndedArray<T, LayoutPolicyT>::EnsureHeadRoom( int32 NewTotalSize )
{
    if ( HasHeadRoom( NewTotalSize ) )
    {
        return;
    }
    const int32 NewSpareHeadCapacity = NewTotalSize - _Size;
    const SLayout CurrentLayout = GetCurrentLayout();
    const SLayout DesiredLayout = LayoutPolicyT::ForHeadGrowth( NewSpareHeadCapacity, CurrentLayout );
    QOR_ASSERT( DesiredLayout._Capacity >= CurrentLayout._Capacity );
    QOR_ASSERT( DesiredLayout._Capacity ==
                DesiredLayout._SpareHeadCapacity + GetSize() + DesiredLayout._SpareTailCapacity );
    QOR_ASSERT( DesiredLayout._SpareHeadCapacity >= NewSpareHeadCapacity );
    if ( DesiredLayout._Capacity == CurrentLayout._Capacity )
    {
        SlideToTail( DesiredLayout._SpareHeadCapacity - CurrentLayout._SpareHeadCapacity );
    }
    else
    {
        Relayout( DesiredLayout );
    }
}

template <typename T, typename LayoutPolicyT>
template <typename ArgT>
T* CQorDoubleEndedArray<T, LayoutPolicyT>::PushBackGrowing( ArgT&& Value )
{
    if ( IsElement( std::addressof( Value ) ) )
    {
        // Value is one of the elements that the slide or relayout is about to move.
        T Saved( std::forward<ArgT>( Value ) );
        EnsureTailRoom( _Size + 1 );
        return ConstructBack( std::move( Saved ) );
    }
    EnsureTailRoom( _Size + 1 );
    return ConstructBack( std::forward<ArgT>( Value ) );
}

template <typename T, typename LayoutPolicyT>
template <typename ArgT>
T* CQorDoubleEndedArray<T, LayoutPolicyT>::PushFrontGrowing( ArgT&& Value )
{
    if ( IsElement( std::addressof( Value ) ) )
    {
        T Saved( std::forward<ArgT>( Value ) );
        EnsureHeadRoom( _Size + 1 );
        return ConstructFront( std::move( Saved ) );
    }
    EnsureHeadRoom( _Size + 1 );
    return ConstructFront( std::forward<ArgT>( Value ) );
}

template <typename T, typename LayoutPolicyT>
void CQorDoubleEndedArray<T, LayoutPolicyT>::SlideToHead( int32 nDistance )
{
    nDistance = std::min( nDistance, static_cast<int32>( _Data - _Buffer ) );
    if ( nDistance != 0 )
    {
        Relocate<true>( _Data - nDistance, _Data, _Data + _Size );
        _Data -= nDistance;
    }
}

template <typename T, typename LayoutPolicyT>
void CQorDoubleEndedArray<T, LayoutPolicyT>::SlideToTail( int32 nDistance )
{
    nDistance = std::min( nDistance, GetCurrentLayout()._SpareTailCapacity );
    if ( nDistance != 0 )
    {
        Relocate<false>( _Data + nDistance, _Data, _Data + _Size );
        _Data += nDistance;
    }
}

template <typename T, typename LayoutPolicyT>
void CQorDoubleEndedArray<T, LayoutPolicyT>::Relayout( const SLayout& Layout )
{
    QOR_ASSERT( Layout._SpareHeadCapacity + GetSize() + Layout._SpareTailCapacity == Layout._Capacity );
    T* pNew =
        static_cast<T*>( _Alloc->Allocate( static_cast<uint64>( Layout._Capacity ) * sizeof( T ), alignof( T ) ) );
    Relocate<true>( pNew + Layout._SpareHeadCapacity, _Data, _Data + _Size );
    _Alloc->Deallocate( _Buffer );
    _Buffer = pNew;
    _Data = pNew + Layout._SpareHeadCapacity;
    _Capacity = Layout._Capacity;
}
