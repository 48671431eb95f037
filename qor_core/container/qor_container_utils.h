#pragma once

// Range helpers over random-access iterators, and the deterministic workloads the benchmark suite builds.
//
// LowerBound and UpperBound halve the range by a fixed schedule rather than the classic narrowing to the
// upper half: the count of comparisons is floor( log2( N ) ) + 1 whatever the data, and for arithmetic
// elements the pointer update is a conditional select with no data-dependent branch.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_assert.h"

#include <iterator>
#include <string>
#include <type_traits>
#include <utility>

namespace NQorContainerUtils
{
// The halving loop alone, with no argument check: a reversed range runs no step and gives Begin.
template <typename IteratorT, typename ValueT, typename StepT>
IteratorT HalvingSearch( IteratorT Begin, IteratorT End, StepT ShouldStep )
{
    auto Count = End - Begin;
    while ( Count > 0 )
    {
        // Count is positive here: the shift is the halving, without the rounding fix-up of a signed division.
        const auto Step = Count - ( Count >> 1 );
        Count = Count >> 1;
        const IteratorT Mid = Begin + Count;
        if constexpr ( std::is_arithmetic_v<ValueT> )
        {
            // Left to itself GCC sinks the step into a branch on the comparison. The empty asm makes the
            // stepped pointer exist before the compare, so the select is a register move: a cmov on x86.
            // A floating-point compare needs its flag taken the same way.
            IteratorT Stepped = Begin + Step;
            asm( "" : "+r"( Stepped ) );
            bool bStep = ShouldStep( *Mid );
            if constexpr ( std::is_floating_point_v<ValueT> )
            {
                asm( "" : "+r"( bStep ) );
            }
            Begin = bStep ? Stepped : Begin;
        }
        else if ( ShouldStep( *Mid ) )
        {
            Begin += Step;
        }
    }
    return Begin;
}

template <typename IteratorT, typename ValueT, typename StepT>
IteratorT BoundSearch( IteratorT Begin, IteratorT End, StepT ShouldStep )
{
    QOR_CHECK( End >= Begin );
    return HalvingSearch<IteratorT, ValueT>( Begin, End, ShouldStep );
}
} // namespace NQorContainerUtils

// First position in the sorted range whose element is not less than Value. REQUIRES: End >= Begin.
template <typename IteratorT, typename ValueT, typename PredT>
IteratorT LowerBound( IteratorT Begin, IteratorT End, const ValueT& Value, PredT Pred )
{
    return NQorContainerUtils::BoundSearch<IteratorT, ValueT>( Begin, End, [ & ]( const auto& Element )
                                                               { return Pred( Element, Value ); } );
}
template <typename IteratorT, typename ValueT>
IteratorT LowerBound( IteratorT Begin, IteratorT End, const ValueT& Value )
{
    return NQorContainerUtils::BoundSearch<IteratorT, ValueT>( Begin, End, [ & ]( const auto& Element )
                                                               { return Element < Value; } );
}

// First position in the sorted range at which Value is less than the element. REQUIRES: End >= Begin.
template <typename IteratorT, typename ValueT, typename PredT>
IteratorT UpperBound( IteratorT Begin, IteratorT End, const ValueT& Value, PredT Pred )
{
    return NQorContainerUtils::BoundSearch<IteratorT, ValueT>( Begin, End, [ & ]( const auto& Element )
                                                               { return !Pred( Value, Element ); } );
}
template <typename IteratorT, typename ValueT>
IteratorT UpperBound( IteratorT Begin, IteratorT End, const ValueT& Value )
{
    return NQorContainerUtils::BoundSearch<IteratorT, ValueT>( Begin, End, [ & ]( const auto& Element )
                                                               { return !( Value < Element ); } );
}

// A 32-bit noise function: the same position and seed always give the same value.
constexpr uint32 NoiseHash( uint32 nPosition, uint32 nSeed )
{
    uint32 X = nPosition * 0xB5297A4Du + nSeed;
    X ^= X >> 8;
    X += 0x68E31DA4u;
    X ^= X << 8;
    X *= 0x1B56C4E9u;
    X ^= X >> 8;
    X *= 0x92D68CA2u;
    return X ^ ( X >> 8 );
}

// The suite's deterministic generator: a walk along the noise sequence.
class CQorRandom
{
public:
    explicit CQorRandom( uint32 nSeed = 0 ) { Seed( nSeed ); }

    void Seed( uint32 nSeed )
    {
        _nSeed = 0;
        _nPosition = NoiseHash( nSeed, 1587985055u );
    }

    // A value in [0, 0x7FFFFFFF].
    int32 Next() { return static_cast<int32>( NoiseHash( _nPosition++, _nSeed ) & 0x7FFFFFFFu ); }

    // A value in [Low, High], both inclusive; the bounds may come in either order.
    // REQUIRES: High - Low + 1 fits in int32.
    int32 Next( int32 nLow, int32 nHigh )
    {
        if ( nLow > nHigh )
        {
            std::swap( nLow, nHigh );
        }
        return nLow + Next() % ( nHigh - nLow + 1 );
    }

    uint32 GetPosition() const { return _nPosition; }

private:
    uint32 _nPosition = 0;
    uint32 _nSeed = 0;
};

// Fisher-Yates from the top. An array of fewer than two elements consumes no draw.
template <typename ArrayT>
void Shuffle( ArrayT& Array, CQorRandom& Random )
{
    for ( int32 I = static_cast<int32>( Array.GetSize() ) - 1; I >= 1; --I )
    {
        const int32 J = Random.Next( 0, I );
        if ( J != I )
        {
            using std::swap;
            swap( Array[ I ], Array[ J ] );
        }
    }
}

// The three element kinds of the algorithm workloads.
using primitive_type = int32;

// Trivially copyable, yet not zero-initialisable: a default element holds 0xFFFFFFFF.
struct trivial_type
{
    uint32 _nValue = 0xFFFFFFFFu;

    trivial_type() = default;
    trivial_type( uint32 nValue ) : _nValue( nValue ) {}

    friend bool operator<( const trivial_type& Left, const trivial_type& Right ) { return Left._nValue < Right._nValue; }
    friend bool operator==( const trivial_type& Left, const trivial_type& Right ) = default;
};

using complex_type = std::string;

namespace NQorContainerUtils
{
template <typename T>
T MakeValue( int32 nValue )
{
    if constexpr ( std::is_same_v<T, complex_type> )
    {
        return std::to_string( nValue );
    }
    else
    {
        return T( static_cast<std::conditional_t<std::is_same_v<T, trivial_type>, uint32, T>>( nValue ) );
    }
}
} // namespace NQorContainerUtils

// Count elements holding 0, 1, 2 ... in index order (as decimal text for complex_type).
template <typename T>
CQorArray<T> MakeArray( int32 nCount )
{
    CQorArray<T> Array;
    Array.Reserve( nCount );
    Array.Resize( nCount );
    for ( int32 I = 0; I < nCount; ++I )
    {
        Array[ I ] = NQorContainerUtils::MakeValue<T>( I );
    }
    return Array;
}

// Count draws from [0, 50] of a generator seeded with 42, sorted ascending by the element's operator<.
template <typename T>
CQorArray<T> MakeSortedArray( int32 nCount )
{
    CQorArray<T> Array;
    Array.Reserve( nCount );
    CQorRandom Random( 42 );
    for ( int32 I = 0; I < nCount; ++I )
    {
        Array.Add( NQorContainerUtils::MakeValue<T>( Random.Next( 0, 50 ) ) );
    }
    Array.Sort();
    return Array;
}
