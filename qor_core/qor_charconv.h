#pragma once

// The library's own number and text conversions, used on all its hot paths instead of the standard ones: no
// locale, no allocation, no exceptions, no terminating zero needed, every failure told by a std::errc:
// invalid_argument (no digits), result_out_of_range (the value does not fit), value_too_large (the output
// buffer is too small). A failed from_chars never writes its output.
// The integer forms imitate std::from_chars and std::to_chars in bases 2 to 36, but accept no '+', skip no
// white space and read no base prefix; output is lower case. The fixed-point forms read and write the raw
// CFixedPoint value in base 10 with up to five decimals. FromString and ToString wrap them for views.

#include "qor_core/fixedpoint.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_optional.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>
#include <type_traits>

namespace NDetail
{
inline constexpr char DigitAlphabet[] = "0123456789abcdefghijklmnopqrstuvwxyz";

// The value of each byte as a digit: both cases of a letter count alike, and 255 is "not a digit" in any base.
inline constexpr std::array<uint8, 256> DigitValues = []
{
    std::array<uint8, 256> Table {};
    for ( int32 Char = 0; Char < 256; ++Char )
    {
        Table[ Char ] = 255;
    }
    for ( int32 Digit = 0; Digit < 10; ++Digit )
    {
        Table[ '0' + Digit ] = static_cast<uint8>( Digit );
    }
    for ( int32 Letter = 0; Letter < 26; ++Letter )
    {
        Table[ 'a' + Letter ] = static_cast<uint8>( 10 + Letter );
        Table[ 'A' + Letter ] = static_cast<uint8>( 10 + Letter );
    }
    return Table;
}();

template <typename T>
concept CharConvInteger = std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
                          !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t> &&
                          !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>;

// Digits of Magnitude in a power-of-two base, written backward so that pEnd is behind the last one.
template <int32 BitsT, bool bAlphabetT, typename UnsignedT>
char* WriteDigitsByShift( char* pEnd, UnsignedT Magnitude )
{
    constexpr UnsignedT Mask = ( UnsignedT( 1 ) << BitsT ) - 1;
    do
    {
        const uint32 Digit = static_cast<uint32>( Magnitude & Mask );
        *--pEnd = bAlphabetT ? DigitAlphabet[ Digit ] : static_cast<char>( '0' + Digit );
        Magnitude = static_cast<UnsignedT>( Magnitude >> BitsT );
    } while ( Magnitude != 0 );
    return pEnd;
}

// "00" to "99": base 10 writes two digits per division by 100.
inline constexpr std::array<char, 200> DecimalDigitPairs = []
{
    std::array<char, 200> Table {};
    for ( int32 Value = 0; Value < 100; ++Value )
    {
        Table[ 2 * Value ] = static_cast<char>( '0' + Value / 10 );
        Table[ 2 * Value + 1 ] = static_cast<char>( '0' + Value % 10 );
    }
    return Table;
}();

// The number of decimal digits of Value, 1 for 0: four comparisons per division by 10000. (A count from the bit
// length needs bsr, whose false dependency on its output register chains one conversion to the next.)
template <typename UnsignedT>
[[gnu::always_inline]] inline int32 CountDecimalDigits( UnsignedT Value )
{
    int32 Count = 1;
    for ( ;; )
    {
        if ( Value < 10 )
        {
            return Count;
        }
        if ( Value < 100 )
        {
            return Count + 1;
        }
        if ( Value < 1000 )
        {
            return Count + 2;
        }
        if ( Value < 10000 )
        {
            return Count + 3;
        }
        Value = static_cast<UnsignedT>( Value / 10000 );
        Count += 4;
    }
}

[[gnu::always_inline]] inline void WriteDigitPair( char* pAt, uint32 Pair )
{
    std::memcpy( pAt, &DecimalDigitPairs[ 2 * Pair ], 2 );
}

// The decimal digits of Magnitude, written backward so that the last one lands in front of pEnd: two digits per
// division and remainder by the constant 100, with 32-bit arithmetic where the value fits.
template <typename UnsignedT>
[[gnu::always_inline]] inline void WriteDecimalDigits( char* pEnd, UnsignedT Magnitude )
{
    // 32-bit divisions are the cheaper ones: a value that fits takes them from the start.
    if constexpr ( sizeof( UnsignedT ) > sizeof( uint32 ) )
    {
        if ( Magnitude <= 0xFFFFFFFFu )
        {
            WriteDecimalDigits( pEnd, static_cast<uint32>( Magnitude ) );
            return;
        }
    }
    while ( Magnitude >= 100 )
    {
        const uint32 Pair = static_cast<uint32>( Magnitude % 100 );
        Magnitude = static_cast<UnsignedT>( Magnitude / 100 );
        pEnd -= 2;
        WriteDigitPair( pEnd, Pair );
    }
    if ( Magnitude >= 10 )
    {
        WriteDigitPair( pEnd - 2, static_cast<uint32>( Magnitude ) );
    }
    else
    {
        pEnd[ -1 ] = static_cast<char>( '0' + Magnitude );
    }
}
} // namespace NDetail

namespace NDetail
{
// The reading loop of from_chars. Always inlined, so that a constant base folds its divisions.
template <typename IntegerT>
[[gnu::always_inline]] inline std::from_chars_result ReadInteger( const char* First, const char* Last,
                                                                  IntegerT& Value, uint32 Base )
{
    using UnsignedT = std::make_unsigned_t<IntegerT>;
    const char* pNext = First;
    bool bNegative = false;
    if constexpr ( std::is_signed_v<IntegerT> )
    {
        if ( First != Last && *First == '-' )
        {
            bNegative = true;
            ++pNext;
        }
    }
    constexpr UnsignedT Max = static_cast<UnsignedT>( std::numeric_limits<IntegerT>::max() );
    const UnsignedT Limit = bNegative ? static_cast<UnsignedT>( Max + 1 ) : Max;
    const UnsignedT UnsignedBase = static_cast<UnsignedT>( Base );
    const char* const pDigits = pNext;
    UnsignedT Magnitude = 0;
    bool bOverflow = false;
    if constexpr ( sizeof( UnsignedT ) < sizeof( uint64 ) )
    {
        // Narrow types accumulate in 64 bits and compare once per digit: a magnitude past the limit stops
        // growing before it can leave 64 bits, so the result is that of the test before each multiplication.
        uint64 Wide = 0;
        for ( ; pNext != Last; ++pNext )
        {
            const uint32 Digit = DigitValues[ static_cast<unsigned char>( *pNext ) ];
            if ( Digit >= Base )
            {
                break;
            }
            if ( Wide <= Limit )
            {
                Wide = Wide * Base + Digit;
            }
        }
        bOverflow = Wide > Limit;
        Magnitude = static_cast<UnsignedT>( Wide );
    }
    else
    {
        // The largest magnitude allowed, split once so that the loop tests before it multiplies.
        const UnsignedT LimitQuotient = static_cast<UnsignedT>( Limit / UnsignedBase );
        const UnsignedT LimitRemainder = static_cast<UnsignedT>( Limit % UnsignedBase );
        for ( ; pNext != Last; ++pNext )
        {
            const UnsignedT Digit = DigitValues[ static_cast<unsigned char>( *pNext ) ];
            if ( Digit >= UnsignedBase )
            {
                break;
            }
            if ( Magnitude < LimitQuotient || ( Magnitude == LimitQuotient && Digit <= LimitRemainder ) )
            {
                Magnitude = static_cast<UnsignedT>( Magnitude * UnsignedBase + Digit );
            }
            else
            {
                // Keep reading, so that the result stands behind all the digits.
                bOverflow = true;
            }
        }
    }

    if ( pNext == pDigits )
    {
        return { First, std::errc::invalid_argument };
    }
    if ( bOverflow )
    {
        return { pNext, std::errc::result_out_of_range };
    }
    Value = static_cast<IntegerT>( bNegative ? static_cast<UnsignedT>( 0 - Magnitude ) : Magnitude );
    return { pNext, std::errc {} };
}
} // namespace NDetail

namespace NDetail
{
// The other bases, out of line: the base-10 path is the one inlined at the call.
template <typename IntegerT>
std::from_chars_result ReadIntegerInBase( const char* First, const char* Last, IntegerT& Value, uint32 Base )
{
    return ReadInteger( First, Last, Value, Base );
}
} // namespace NDetail

namespace NDetail
{
// Past the reports of a backward range or a base outside 2 to 36, a conversion fails at once with
// invalid_argument at First, having read and written nothing.
inline bool IsMisused( const char* First, const char* Last, int32 Base )
{
    QOR_ASSERT( First <= Last );
    QOR_ASSERT( Base >= 2 && Base <= 36 );
    return First > Last || Base < 2 || Base > 36;
}
} // namespace NDetail

namespace NDetail
{
// to_chars in the bases other than 10, kept apart so that the base-10 path stays small enough to inline.
// Digits are produced backward into a local buffer and copied when they fit.
template <typename UnsignedT>
std::to_chars_result WriteInOtherBase( char* First, char* Last, UnsignedT Magnitude, int32 Base )
{
    char Digits[ std::numeric_limits<UnsignedT>::digits ];
    char* const pEnd = Digits + sizeof( Digits );
    char* pDigit = pEnd;
    switch ( Base )
    {
    case 2:
        pDigit = WriteDigitsByShift<1, false>( pEnd, Magnitude );
        break;
    case 4:
        pDigit = WriteDigitsByShift<2, false>( pEnd, Magnitude );
        break;
    case 8:
        pDigit = WriteDigitsByShift<3, false>( pEnd, Magnitude );
        break;
    case 16:
        pDigit = WriteDigitsByShift<4, true>( pEnd, Magnitude );
        break;
    case 32:
        pDigit = WriteDigitsByShift<5, true>( pEnd, Magnitude );
        break;
    default:
    {
        const UnsignedT UnsignedBase = static_cast<UnsignedT>( Base );
        do
        {
            *--pDigit = DigitAlphabet[ Magnitude % UnsignedBase ];
            Magnitude = static_cast<UnsignedT>( Magnitude / UnsignedBase );
        } while ( Magnitude != 0 );
        break;
    }
    }

    const int64 Count = pEnd - pDigit;
    if ( Last - First < Count )
    {
        return { Last, std::errc::value_too_large };
    }
    std::memcpy( First, pDigit, static_cast<size_t>( Count ) );
    return { First + Count, std::errc {} };
}
} // namespace NDetail

// Reads an integer from [First, Last): an optional '-' for signed types, then the longest run of digits of
// Base. The returned pointer stands behind the digits, also after an overflow; with no digit it is First.
// REQUIRES: First <= Last, 2 <= Base <= 36 (reported, then invalid_argument).
template <NDetail::CharConvInteger IntegerT>
[[gnu::always_inline]] inline std::from_chars_result from_chars( const char* First, const char* Last, IntegerT& Value,
                                                                 int32 Base = 10 )
{
    if ( NDetail::IsMisused( First, Last, Base ) ) [[unlikely]]
    {
        return { First, std::errc::invalid_argument };
    }
    // Base 10 gets its own copy of the loop with constant divisors, also where this call is not inlined.
    if ( Base == 10 )
    {
        return NDetail::ReadInteger( First, Last, Value, 10 );
    }
    return NDetail::ReadIntegerInBase( First, Last, Value, static_cast<uint32>( Base ) );
}

// Writes Value into [First, Last) in Base, lower case, with no terminator. A buffer too small gives Last and
// value_too_large, and nothing but a '-' that was already written. REQUIRES: First <= Last, 2 <= Base <= 36
// (reported, then invalid_argument with nothing written).
template <NDetail::CharConvInteger IntegerT>
[[gnu::always_inline]] inline std::to_chars_result to_chars( char* First, char* Last, IntegerT Value, int32 Base = 10 )
{
    using UnsignedT = std::make_unsigned_t<IntegerT>;
    if ( NDetail::IsMisused( First, Last, Base ) ) [[unlikely]]
    {
        return { First, std::errc::invalid_argument };
    }

    UnsignedT Magnitude = static_cast<UnsignedT>( Value );
    if constexpr ( std::is_signed_v<IntegerT> )
    {
        if ( Value < 0 )
        {
            if ( First == Last )
            {
                return { Last, std::errc::value_too_large };
            }
            *First++ = '-';
            // Negated as unsigned, so that the type's minimum has its magnitude too.
            Magnitude = static_cast<UnsignedT>( 0 - Magnitude );
        }
    }

    if ( Base == 10 )
    {
        // The count is known before a digit is made, so the digits go straight to their place.
        const int32 Count = NDetail::CountDecimalDigits( Magnitude );
        if ( Last - First < Count )
        {
            return { Last, std::errc::value_too_large };
        }
        NDetail::WriteDecimalDigits( First + Count, Magnitude );
        return { First + Count, std::errc {} };
    }

    return NDetail::WriteInOtherBase( First, Last, Magnitude, Base );
}

// Reads "[-]digits[.decimals]" in base 10 as the raw value. Up to five decimals; a sixth is out of range, not
// rounded. The decimals are not validated: "1.2x" reads as 1.00002 and "1.-5" as 0.95, consuming the whole
// input; a trailing "1." reads as 1 with the pointer left on the '.'. REQUIRES: First <= Last (reported, then
// invalid_argument with Value untouched).
std::from_chars_result from_chars( const char* First, const char* Last, CFixedPoint& Value );
// Writes the fewest digits that represent the value exactly: "1", "-0.5", "0.00001".
std::to_chars_result to_chars( char* First, char* Last, CFixedPoint Value );

// The value of the whole view in base 10; unset when the view is empty, holds anything else or overflows.
template <typename T>
CQorOptional<T> FromString( CQorStringView Text )
{
    T Value {};
    const std::from_chars_result Result = from_chars( Text.begin(), Text.end(), Value );
    if ( Result.ec == std::errc {} && Result.ptr == Text.end() )
    {
        return CQorOptional<T>( Value );
    }
    return CQorOptional<T>();
}

// The text of Value in [First, Last) as an unterminated view, or the empty view when it does not fit.
template <typename T>
CQorStringView ToString( char* First, char* Last, T Value )
{
    const std::to_chars_result Result = to_chars( First, Last, Value );
    if ( Result.ec != std::errc {} )
    {
        return CQorStringView();
    }
    return CQorStringView( First, static_cast<int32>( Result.ptr - First ), ENullTerminated::No );
}
