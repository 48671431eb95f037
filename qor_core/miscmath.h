#pragma once

// Small integer and bit helpers for sizes and hashes. Every template is constant-evaluable and serves int32,
// uint32, int64 and uint64. Arithmetic wraps in the type, signed types included: the products are formed in
// the unsigned type of the same width and converted back.
//
// The _Legacy forms are the algorithms the current ones replaced. They are kept, differences and all, so the
// benchmarks can hold the two generations against each other: Power_Legacy returns 1 for a negative exponent,
// and Log2Ceil_Legacy loops forever above 2^30 (int32), 2^31 (uint32), 2^62 (int64) and 2^63 (uint64).

#include "qor_core/qor_types.h"

#include <bit>
#include <cmath>
#include <concepts>
#include <limits>
#include <type_traits>

namespace NPriv
{
// The 32- and 64-bit integers: int32, uint32, int64, uint64, and their synonyms such as long long.
template <typename T>
concept QorInteger = std::integral<T> && ( sizeof( T ) == 4 || sizeof( T ) == 8 );

template <QorInteger T>
using UnsignedOf = std::make_unsigned_t<T>;

template <QorInteger T>
inline constexpr int32 BitWidth = std::numeric_limits<UnsignedOf<T>>::digits;

template <QorInteger T>
constexpr T WrappingMultiply( T Left, T Right )
{
    return static_cast<T>( static_cast<UnsignedOf<T>>( Left ) * static_cast<UnsignedOf<T>>( Right ) );
}

// 1 << Shift in T, the count masked to the width; for signed types the top bit reads as the sign.
template <QorInteger T>
constexpr T ShiftedOne( int32 Shift )
{
    return static_cast<T>( UnsignedOf<T>( 1 ) << ( Shift & ( BitWidth<T> - 1 ) ) );
}

// The reports live out of line, in the unit miscmath. Being non-constexpr, they also make a compile-time
// call with bad input ill-formed instead of quietly mended.
void AssertExponentNotNegative( int32 Exponent );
void AssertRoundUpInRange( uint32 i );

// Truncates, then steps down when truncation went up (negative non-integers).
struct Utility_QorFloorToInt
{
    constexpr int32 operator()( float Value ) const
    {
        const int32 Truncated = static_cast<int32>( Value );
        return static_cast<float>( Truncated ) > Value ? Truncated - 1 : Truncated;
    }
};

// GCC folds floorf in constant evaluation, so this form is constexpr as well.
struct Utility_StdFloorToInt
{
    constexpr int32 operator()( float Value ) const { return static_cast<int32>( floorf( Value ) ); }
};
} // namespace NPriv

// Zero bits above the highest set bit; the width of the type for 0.
template <NPriv::QorInteger T>
constexpr int32 LeadingZeroCount( T Value )
{
    using UnsignedT = NPriv::UnsignedOf<T>;
    const UnsignedT Bits = static_cast<UnsignedT>( Value );
    if ( std::is_constant_evaluated() )
    {
        int32 Count = 0;
        for ( UnsignedT Mask = UnsignedT( 1 ) << ( NPriv::BitWidth<T> - 1 ); Mask != 0 && !( Bits & Mask ); Mask >>= 1 )
        {
            ++Count;
        }
        return Count;
    }
    if ( Bits == 0 )
    {
        return NPriv::BitWidth<T>;
    }
    if constexpr ( sizeof( T ) == 4 )
    {
        return __builtin_clz( Bits );
    }
    else
    {
        return __builtin_clzll( Bits );
    }
}

// Base to the power Exponent by squaring from the top bit of the exponent down; wraps on overflow.
// REQUIRES: Exponent >= 0. A negative one reports "Exponent >= 0" and gives the greatest value of T.
template <NPriv::QorInteger T>
constexpr T Power( T Base, int32 Exponent )
{
    if ( Exponent >= 2 )
    {
        uint32 Mask = std::bit_floor( static_cast<uint32>( Exponent ) );
        T Result = Base;
        while ( Mask > 1 )
        {
            Mask >>= 1;
            // A factor of 1 for a clear bit: a select and a multiply instead of an unpredictable branch.
            const T Factor = static_cast<uint32>( Exponent ) & Mask ? Base : T( 1 );
            Result = NPriv::WrappingMultiply( NPriv::WrappingMultiply( Result, Result ), Factor );
        }
        return Result;
    }
    if ( Exponent == 1 )
    {
        return Base;
    }
    if ( Exponent == 0 )
    {
        return T( 1 );
    }
    NPriv::AssertExponentNotNegative( Exponent );
    return std::numeric_limits<T>::max();
}

// Base to the power Exponent times Accumulator, from the bottom bit of the exponent up. The call is in tail
// position, so an optimising build runs it as a loop.
template <NPriv::QorInteger T>
constexpr T PowerHelper( T Base, int32 Exponent, T Accumulator )
{
    if ( Exponent < 1 )
    {
        return Accumulator;
    }
    return PowerHelper( NPriv::WrappingMultiply( Base, Base ), Exponent / 2,
                        Exponent % 2 != 0 ? NPriv::WrappingMultiply( Accumulator, Base ) : Accumulator );
}

// The replaced form: no assertion, and 1 for every exponent below 1.
template <NPriv::QorInteger T>
constexpr T Power_Legacy( T Base, int32 Exponent )
{
    if ( Exponent < 1 )
    {
        return T( 1 );
    }
    return PowerHelper( NPriv::WrappingMultiply( Base, Base ), Exponent / 2, Exponent % 2 != 0 ? Base : T( 1 ) );
}

// Smallest n with 2^n not below Value; 0 for every Value below 2 (negative ones included).
template <NPriv::QorInteger T>
constexpr int32 Log2Ceil( T Value )
{
    if ( Value < 2 )
    {
        return 0;
    }
    return NPriv::BitWidth<T> - LeadingZeroCount( static_cast<T>( Value - 1 ) );
}

// The replaced linear search. REQUIRES: Value at most 2^(width - 2) for signed T, 2^(width - 1) for unsigned
// T; above that the shifted one never reaches Value and the loop doesn't end.
template <NPriv::QorInteger T>
constexpr int32 Log2Ceil_Legacy( T Value )
{
    int32 i = 0;
    while ( NPriv::ShiftedOne<T>( i ) < Value )
    {
        ++i;
    }
    return i;
}

// Smallest power of two not below Value; 1 below 2. Unchecked at the top: a uint32 above 2^31 gives 1 (the
// shift count wraps to 0), an int32 above 2^30 gives the type's lowest value, and the same for 64 bits.
template <NPriv::QorInteger T>
constexpr T CeilToPowerOf2( T Value )
{
    if ( Value < 2 )
    {
        return T( 1 );
    }
    return NPriv::ShiftedOne<T>( NPriv::BitWidth<T> - LeadingZeroCount( static_cast<T>( Value - 1 ) ) );
}

// The replaced form, over Log2Ceil_Legacy and its safe range.
template <NPriv::QorInteger T>
constexpr T CeilToPowerOf2_Legacy( T Value )
{
    const int32 n = Log2Ceil_Legacy( Value );
    if ( n < 1 )
    {
        return T( 1 );
    }
    return PowerHelper( T( 4 ), n / 2, n % 2 != 0 ? T( 2 ) : T( 1 ) );
}

// Rotation to the left of the bit pattern; a negative Shift rotates right, counts are taken modulo the width.
template <NPriv::QorInteger T>
constexpr T RotLeft( T Value, int32 Shift )
{
    return static_cast<T>( std::rotl( static_cast<NPriv::UnsignedOf<T>>( Value ), Shift ) );
}

// The replaced form by two shifts. It agrees with RotLeft for every input.
template <NPriv::QorInteger T>
constexpr T RotLeft_Legacy( T Value, int32 Shift )
{
    using UnsignedT = NPriv::UnsignedOf<T>;
    constexpr int32 Width = NPriv::BitWidth<T>;
    const UnsignedT Bits = static_cast<UnsignedT>( Value );
    const int32 n = Shift & ( Width - 1 );
    return static_cast<T>( Bits << n | Bits >> ( ( Width - n ) & ( Width - 1 ) ) );
}

// Integer square root (rounded down) by Newton's iteration. Values below 2, negative ones too, give themselves.
template <NPriv::QorInteger T>
constexpr T QorSqrti( T Value )
{
    if ( Value <= 1 )
    {
        return Value;
    }
    T x = Value / 2;
    T y;
    do
    {
        y = x;
        x = ( y + Value / y ) / 2;
    } while ( x < y );
    return y;
}

// Rounds down to int32. REQUIRES: the result fits in int32.
constexpr int32 FloorToInt( float Value )
{
    return NPriv::Utility_QorFloorToInt()( Value );
}

// The power of two not below i, found by doubling; 0 and 1 give 1. REQUIRES: i < 2147483647; a larger i
// reports "i < UINT32_MAX / 2", and one above 2^31 doubles past the top and gives 0.
constexpr uint32 RoundUpToPowerOf2( uint32 i )
{
    if ( !( i < UINT32_MAX / 2 ) )
    {
        NPriv::AssertRoundUpInRange( i );
    }
    uint32 Value = 1;
    while ( Value < i && Value != 0 )
    {
        Value <<= 1;
    }
    return Value;
}
