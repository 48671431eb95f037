#pragma once

// CQorRange: a pair of iterators, begin and end, handed out wherever the library gives a view of a sequence
// (the edges of a graph node, for one). Unlike a standard range view it is a plain value of two iterators
// with no adaptors; its operations step begin and leave end alone, and stepping past end is an assertion
// after which the range stops at end. Distances and sizes are int32, as everywhere in the library.

#include "qor_core/qor_assert.h"
#include "qor_core/qor_types.h"

#include <iterator>
#include <utility>

template <typename IteratorT>
class CQorRange
{
public:
    using iterator = IteratorT;

    CQorRange() = default;
    // REQUIRES: End is reachable from Begin.
    CQorRange( IteratorT Begin, IteratorT End ) : _Begin( std::move( Begin ) ), _End( std::move( End ) ) {}

    IteratorT begin() const { return _Begin; }
    IteratorT end() const { return _End; }
    bool IsEmpty() const { return _Begin == _End; }
    // Walks the range unless the iterators can subtract.
    int32 GetSize() const { return static_cast<int32>( std::distance( _Begin, _End ) ); }

    // Drops the first element. REQUIRES: !IsEmpty(); an empty range stays empty.
    void PopFront()
    {
        QOR_ASSERT( !IsEmpty() );
        if ( _Begin != _End )
        {
            ++_Begin;
        }
    }

    // Moves begin by Distance elements: forward for a positive Distance, backward for a negative one, one
    // step at a time. REQUIRES: Distance <= GetSize(); Distance >= 0 unless the iterator can step back.
    // The size is only counted while the report could be shown; forward steps stop at end in any case.
    CQorRange& Advance( int32 Distance )
    {
        QOR_ASSERT_MSG( HasAtLeast( Distance ), "Iterator::Advance out of range" );
        for ( ; Distance > 0 && _Begin != _End; --Distance )
        {
            ++_Begin;
        }
        if constexpr ( std::bidirectional_iterator<IteratorT> )
        {
            for ( ; Distance < 0; ++Distance )
            {
                --_Begin;
            }
        }
        else
        {
            QOR_ASSERT( Distance >= 0 );
        }
        return *this;
    }

    // The range from begin + Distance to end. REQUIRES: Distance <= GetSize(); past that the result is the
    // empty range at end.
    CQorRange Next( int32 Distance ) const
        requires std::random_access_iterator<IteratorT>
    {
        const int32 Size = static_cast<int32>( _End - _Begin );
        QOR_ASSERT_MSG( Distance <= Size, "RandomAccessRange::Next out of range: Dist %d, size %d", Distance, Size );
        return CQorRange( _Begin + ( Distance <= Size ? Distance : Size ), _End );
    }

private:
    // Stops counting at Distance: the answer is the same as from the whole size.
    bool HasAtLeast( int32 Distance ) const
    {
        IteratorT It = _Begin;
        for ( int32 Count = 0; Count < Distance; ++Count, ++It )
        {
            if ( It == _End )
            {
                return false;
            }
        }
        return true;
    }

    IteratorT _Begin{};
    IteratorT _End{};
};

