#pragma once

// CQorCircularBuffer: the last items of a stream, in a fixed array. Where a standard deque grows, this buffer
// never reallocates after construction: a push into a full buffer overwrites the oldest item, which is what
// a history of samples wants. Physical places wrap by one subtraction of the capacity, never a modulo.
// Memory comes from a CQorAllocator given at construction; it never throws.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/qor_assert.h"

#include <compare>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

template <typename T>
class CQorCircularBuffer
{
    template <typename ValueT, typename BufferT>
    class CIterator;

public:
    using ValueType = T;
    using iterator = CIterator<T, CQorCircularBuffer>;
    using const_iterator = CIterator<const T, const CQorCircularBuffer>;

    // Room for Capacity items; a capacity of 0 keeps nothing. REQUIRES: Capacity >= 0, pAlloc outlives the
    // buffer. A negative capacity is taken as 0.
    explicit CQorCircularBuffer( int32 Capacity, CQorAllocator* pAlloc = GetGlobalAllocator() ) : _pAlloc( pAlloc )
    {
        QOR_ASSERT( Capacity >= 0 );
        _Capacity = Capacity > 0 ? Capacity : 0;
        if ( _Capacity > 0 )
        {
            _pData =
                static_cast<T*>( _pAlloc->Allocate( static_cast<uint64>( _Capacity ) * sizeof( T ), alignof( T ) ) );
        }
    }
    // The same capacity on the source's allocator, with the items from the physical start.
    CQorCircularBuffer( const CQorCircularBuffer& Other ) : CQorCircularBuffer( Other._Capacity, Other._pAlloc )
    {
        for ( const T& Value : Other )
        {
            PushBack( Value );
        }
    }
    // Other keeps its allocator and no storage: a capacity of 0.
    CQorCircularBuffer( CQorCircularBuffer&& Other )
        : _pData( std::exchange( Other._pData, nullptr ) ), _Capacity( std::exchange( Other._Capacity, 0 ) ),
          _Head( std::exchange( Other._Head, 0 ) ), _Size( std::exchange( Other._Size, 0 ) ), _pAlloc( Other._pAlloc )
    {
    }
    // Takes the source's capacity and allocator.
    CQorCircularBuffer& operator=( CQorCircularBuffer Other )
    {
        std::swap( _pData, Other._pData );
        std::swap( _Capacity, Other._Capacity );
        std::swap( _Head, Other._Head );
        std::swap( _Size, Other._Size );
        std::swap( _pAlloc, Other._pAlloc );
        return *this;
    }
    ~CQorCircularBuffer()
    {
        Clear();
        _pAlloc->Deallocate( _pData );
    }

    // The Index-th item from the oldest. REQUIRES: 0 <= Index < GetSize().
    T& operator[]( int32 Index ) { return _pData[ PhysicalIndex( Index ) ]; }
    const T& operator[]( int32 Index ) const { return _pData[ PhysicalIndex( Index ) ]; }

    // The oldest and the newest item. REQUIRES: !IsEmpty().
    T& Front() { return ( *this )[ 0 ]; }
    const T& Front() const { return ( *this )[ 0 ]; }
    T& Back() { return ( *this )[ _Size - 1 ]; }
    const T& Back() const { return ( *this )[ _Size - 1 ]; }

    // Appends as the newest item; a full buffer gives up its oldest one for it. Value may be an item of
    // this buffer. With a capacity of 0 the value is dropped.
    void PushBack( const T& Value ) { Push( Value ); }
    void PushBack( T&& Value ) { Push( std::move( Value ) ); }
    template <typename... ArgsT>
    void EmplaceBack( ArgsT&&... Args )
    {
        if ( _Size < _Capacity )
        {
            ::new ( static_cast<void*>( _pData + PhysicalEnd() ) ) T( std::forward<ArgsT>( Args )... );
            ++_Size;
        }
        else if ( _Capacity > 0 )
        {
            // The arguments may refer to the oldest item, so the new one is made before it is replaced.
            OverwriteOldest( T( std::forward<ArgsT>( Args )... ) );
        }
    }

    // Remove the oldest or the newest item. REQUIRES: !IsEmpty(); an empty buffer stays as it is.
    void PopFront()
    {
        QOR_CHECK( _Size > 0 );
        if ( _Size > 0 )
        {
            _pData[ _Head ].~T();
            _Head = Wrap( _Head + 1 );
            --_Size;
        }
    }
    void PopBack()
    {
        QOR_CHECK( _Size > 0 );
        if ( _Size > 0 )
        {
            --_Size;
            _pData[ PhysicalEnd() ].~T();
        }
    }
    // Destroys the items; the storage stays.
    void Clear()
    {
        if constexpr ( !std::is_trivially_destructible_v<T> )
        {
            for ( T& Value : *this )
            {
                Value.~T();
            }
        }
        _Head = 0;
        _Size = 0;
    }

    int32 GetSize() const { return _Size; }
    int32 GetCapacity() const { return _Capacity; }
    bool IsEmpty() const { return _Size == 0; }
    bool IsFull() const { return _Size == _Capacity; }
    // The physical array and the place of the oldest item in it: the items are the _Head..end part of the
    // array, then its start.
    T* GetData() { return _pData; }
    const T* GetData() const { return _pData; }
    int32 GetHead() const { return _Head; }

    // Oldest to newest.
    iterator begin() { return iterator( this, 0 ); }
    iterator end() { return iterator( this, _Size ); }
    const_iterator begin() const { return const_iterator( this, 0 ); }
    const_iterator end() const { return const_iterator( this, _Size ); }

private:
    // Random access by logical index, so an iterator stays on its item's rank as the buffer is read.
    template <typename ValueT, typename BufferT>
    class CIterator
    {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = std::remove_const_t<ValueT>;
        using difference_type = std::ptrdiff_t;
        using pointer = ValueT*;
        using reference = ValueT&;

        CIterator() = default;
        CIterator( BufferT* pBuffer, int32 Index ) : _pBuffer( pBuffer ), _Index( Index ) {}

        reference operator*() const { return ( *_pBuffer )[ _Index ]; }
        pointer operator->() const { return &**this; }
        reference operator[]( difference_type Offset ) const { return ( *_pBuffer )[ _Index + Offset ]; }

        CIterator& operator++() { return *this += 1; }
        CIterator& operator--() { return *this -= 1; }
        CIterator operator++( int ) { return std::exchange( *this, *this + 1 ); }
        CIterator operator--( int ) { return std::exchange( *this, *this - 1 ); }
        CIterator& operator+=( difference_type Offset )
        {
            _Index += static_cast<int32>( Offset );
            return *this;
        }
        CIterator& operator-=( difference_type Offset ) { return *this += -Offset; }
        friend CIterator operator+( CIterator It, difference_type Offset ) { return It += Offset; }
        friend CIterator operator+( difference_type Offset, CIterator It ) { return It += Offset; }
        friend CIterator operator-( CIterator It, difference_type Offset ) { return It -= Offset; }
        friend difference_type operator-( const CIterator& Left, const CIterator& Right )
        {
            return Left._Index - Right._Index;
        }
        friend bool operator==( const CIterator& Left, const CIterator& Right ) { return Left._Index == Right._Index; }
        friend auto operator<=>( const CIterator& Left, const CIterator& Right )
        {
            return Left._Index <=> Right._Index;
        }

    private:
        BufferT* _pBuffer = nullptr;
        int32 _Index = 0;
    };

    // The place of the Index-th item: one subtraction of the capacity, which needs Index < _Capacity.
    int32 PhysicalIndex( int32 Index ) const
    {
        QOR_CHECK( Index >= 0 );
        QOR_CHECK( Index < GetSize() );
        return Wrap( _Head + Index );
    }
    int32 Wrap( int32 Index ) const { return Index >= _Capacity ? Index - _Capacity : Index; }
    // The free place behind the newest item. REQUIRES: _Size < _Capacity.
    int32 PhysicalEnd() const { return Wrap( _Head + _Size ); }

    template <typename ValueT>
    void Push( ValueT&& Value )
    {
        if ( _Size < _Capacity )
        {
            ::new ( static_cast<void*>( _pData + PhysicalEnd() ) ) T( std::forward<ValueT>( Value ) );
            ++_Size;
        }
        else if ( _Capacity > 0 )
        {
            OverwriteOldest( std::forward<ValueT>( Value ) );
        }
    }
    // The oldest place takes the value and becomes the newest. Assignment copes with a value that is the
    // oldest item itself.
    template <typename ValueT>
    void OverwriteOldest( ValueT&& Value )
    {
        _pData[ _Head ] = std::forward<ValueT>( Value );
        _Head = Wrap( _Head + 1 );
    }

    T* _pData = nullptr;
    int32 _Capacity = 0;
    int32 _Head = 0;
    int32 _Size = 0;
    CQorAllocator* _pAlloc;
};
