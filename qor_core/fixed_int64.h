#pragma once

// The arithmetic core of CFixedPoint on raw values: an int64 holding the number times 100000. Everything is
// integer arithmetic, so every machine computes the same bits. There is no saturation: a result that does
// not fit wraps around in two's complement, computed in unsigned arithmetic so that the wrap is defined.

#include "qor_core/qor_assert.h"
#include "qor_core/qor_types.h"

#include <array>

namespace NFixedInt64
{
// Raw units per whole number: five decimal digits.
inline constexpr int64 Scale = 100000;
// The largest whole part: INT64_MAX and INT64_MIN scaled down, 92233720368547.75807 and ...547.75808.
inline constexpr int64 MaxWholePart = 92233720368547;
// The largest magnitude whose square fits in 63 bits: below it a product needs no splitting.
inline constexpr int64 MaxFastFactor = 3037000499;
// What a division by zero gives: 42949.67295, a plain 32-bit all-ones value that is not negative.
inline constexpr int64 DivideByZeroResult = 4294967295;
// Length of the reciprocal table; series terms from this index on divide instead.
inline constexpr int32 SeriesTermCount = 1000;

constexpr int64 WrapAdd( int64 A, int64 B )
{
    return static_cast<int64>( static_cast<uint64>( A ) + static_cast<uint64>( B ) );
}
constexpr int64 WrapSubtract( int64 A, int64 B )
{
    return static_cast<int64>( static_cast<uint64>( A ) - static_cast<uint64>( B ) );
}
constexpr int64 WrapMultiply( int64 A, int64 B )
{
    return static_cast<int64>( static_cast<uint64>( A ) * static_cast<uint64>( B ) );
}
constexpr int64 WrapNegate( int64 A )
{
    return static_cast<int64>( 0 - static_cast<uint64>( A ) );
}

// Row n is 1/n as a raw value, truncated (row 0 is 0): a series multiplies by it instead of dividing.
inline constexpr std::array<int64, SeriesTermCount> Reciprocals = []
{
    std::array<int64, SeriesTermCount> Table {};
    for ( int32 N = 1; N < SeriesTermCount; ++N )
    {
        Table[ N ] = Scale / N;
    }
    return Table;
}();

// Small operands (both within MaxFastFactor) take one multiply and one divide. Larger ones are split at the
// decimal point of B, which trades precision and range for fewer overflows instead of 128-bit arithmetic.
constexpr int64 Multiply( int64 A, int64 B )
{
    if ( A >= -MaxFastFactor && A <= MaxFastFactor && B >= -MaxFastFactor && B <= MaxFastFactor )
    {
        return A * B / Scale;
    }
    return WrapAdd( WrapMultiply( A, B / Scale ), WrapMultiply( A, B % Scale ) / Scale );
}

// Truncates toward zero. A zero divisor reports "Div/0. Fix your code" and gives DivideByZeroResult.
inline int64 Divide( int64 A, int64 B )
{
    QOR_ASSERT_MSG( B != 0, "Div/0. Fix your code" );
    if ( B == 0 )
    {
        return DivideByZeroResult;
    }
    if ( A >= -MaxWholePart && A <= MaxWholePart )
    {
        return A * Scale / B;
    }
    const uint64 AbsB = B < 0 ? 0 - static_cast<uint64>( B ) : static_cast<uint64>( B );
    if ( AbsB < 10000000000ull )
    {
        // A does not scale up in 64 bits: divide its whole and its fraction separately.
        const int64 Frac = A % Scale;
        const int64 Whole = A - Frac;
        return WrapAdd( WrapAdd( WrapMultiply( Whole / B, Scale ), ( Whole % B ) * Scale / B ), Frac * Scale / B );
    }
    return A / ( B / Scale );
}
} // namespace NFixedInt64
