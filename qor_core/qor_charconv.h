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

[[gnu::always_inline]] inline void WriteDigitPair( char* pAt, uint32 Pair )
{
    std::memcpy( pAt, &DecimalDigitPairs[ 2 * Pair ], 2 );
}

// The number of decimal digits of Value below 10^8, 1 for 0: three comparisons on every path. (A count from the
// bit length needs bsr, whose false dependency on its output register chains one conversion to the next.)
[[gnu::always_inline]] inline int32 CountDecimalDigitsBelow1e8( uint32 Value )
{
    if ( Value < 10000 )
    {
        if ( Value < 100 )
        {
            return Value < 10 ? 1 : 2;
        }
        return Value < 1000 ? 3 : 4;
    }
    if ( Value < 1000000 )
    {
        return Value < 100000 ? 5 : 6;
    }
    return Value < 10000000 ? 7 : 8;
}

// Exactly four digits of Value below 10^4, leading zeros included: two pairs from one division by 100.
[[gnu::always_inline]] inline void WriteFourDigits( char* pAt, uint32 Value )
{
    WriteDigitPair( pAt, Value / 100 );
    WriteDigitPair( pAt + 2, Value % 100 );
}

// Exactly eight digits of Value below 10^8: the two halves of a division by 10^4 are independent chains.
[[gnu::always_inline]] inline void WriteEightDigits( char* pAt, uint32 Value )
{
    WriteFourDigits( pAt, Value / 10000 );
    WriteFourDigits( pAt + 4, Value % 10000 );
}

// The digits of Value below 10^8, written backward so that the last one lands in front of pEnd: the low four
// digits split off first, so that no chain of divisions is longer than two.
[[gnu::always_inline]] inline void WriteDigitsBelow1e8( char* pEnd, uint32 Value )
{
    if ( Value >= 10000 )
    {
        pEnd -= 4;
        WriteFourDigits( pEnd, Value % 10000 );
        Value /= 10000;
    }
    if ( Value >= 100 )
    {
        pEnd -= 2;
        WriteDigitPair( pEnd, Value % 100 );
        Value /= 100;
    }
    if ( Value >= 10 )
    {
        WriteDigitPair( pEnd - 2, Value );
    }
    else
    {
        pEnd[ -1 ] = static_cast<char>( '0' + Value );
    }
}

// One to four digits of Value below 10^4 into [First, Last), nothing written when they don't fit. Each count is
// its own straight path, from its test of the room to its last store: the short values are the frequent ones.
[[gnu::always_inline]] inline std::to_chars_result WriteBelow1e4( char* First, char* Last, uint32 Value )
{
    if ( Value < 100 )
    {
        if ( Value < 10 )
        {
            if ( First == Last )
            {
                return { Last, std::errc::value_too_large };
            }
            *First = static_cast<char>( '0' + Value );
            return { First + 1, std::errc {} };
        }
        if ( Last - First < 2 )
        {
            return { Last, std::errc::value_too_large };
        }
        WriteDigitPair( First, Value );
        return { First + 2, std::errc {} };
    }
    if ( Value < 1000 )
    {
        if ( Last - First < 3 )
        {
            return { Last, std::errc::value_too_large };
        }
        const uint32 Head = Value / 100;
        First[ 0 ] = static_cast<char>( '0' + Head );
        WriteDigitPair( First + 1, Value - Head * 100 );
        return { First + 3, std::errc {} };
    }
    if ( Last - First < 4 )
    {
        return { Last, std::errc::value_too_large };
    }
    WriteFourDigits( First, Value );
    return { First + 4, std::errc {} };
}

// Base-10 digits of a 32-bit magnitude into [First, Last), nothing written when they don't fit. Every division
// is by a constant; a value of nine or ten digits splits by 10^8 into a head of one or two digits and an
// eight-digit tail.
[[gnu::always_inline]] inline std::to_chars_result WriteDecimal( char* First, char* Last, uint32 Magnitude )
{
    if ( Magnitude < 10000 )
    {
        return WriteBelow1e4( First, Last, Magnitude );
    }
    if ( Magnitude < 100000000 )
    {
        const int32 Count = CountDecimalDigitsBelow1e8( Magnitude );
        if ( Last - First < Count )
        {
            return { Last, std::errc::value_too_large };
        }
        WriteDigitsBelow1e8( First + Count, Magnitude );
        return { First + Count, std::errc {} };
    }
    const uint32 Head = Magnitude / 100000000;
    const int32 Count = Head < 10 ? 9 : 10;
    if ( Last - First < Count )
    {
        return { Last, std::errc::value_too_large };
    }
    WriteDigitsBelow1e8( First + Count - 8, Head );
    WriteEightDigits( First + Count - 8, Magnitude % 100000000 );
    return { First + Count, std::errc {} };
}

// Base-10 digits of a magnitude beyond 32 bits: split by 10^8 in 64-bit arithmetic once or twice (a magnitude
// of 17 to 20 digits), then every piece in 32 bits. Out of line: the short values are the frequent ones.
inline std::to_chars_result WriteLongDecimal( char* First, char* Last, uint64 Magnitude )
{
    const uint64 High = Magnitude / 100000000;
    const uint32 Low = static_cast<uint32>( Magnitude % 100000000 );
    if ( High < 100000000 )
    {
        const uint32 Head = static_cast<uint32>( High );
        const int32 Count = CountDecimalDigitsBelow1e8( Head ) + 8;
        if ( Last - First < Count )
        {
            return { Last, std::errc::value_too_large };
        }
        WriteDigitsBelow1e8( First + Count - 8, Head );
        WriteEightDigits( First + Count - 8, Low );
        return { First + Count, std::errc {} };
    }
    // At most 1844: UINT64_MAX has 20 digits.
    const uint32 Head = static_cast<uint32>( High / 100000000 );
    const uint32 Middle = static_cast<uint32>( High % 100000000 );
    const int32 Count = CountDecimalDigitsBelow1e8( Head ) + 16;
    if ( Last - First < Count )
    {
        return { Last, std::errc::value_too_large };
    }
    WriteDigitsBelow1e8( First + Count - 16, Head );
    WriteEightDigits( First + Count - 16, Middle );
    WriteEightDigits( First + Count - 8, Low );
    return { First + Count, std::errc {} };
}

[[gnu::always_inline]] inline std::to_chars_result WriteDecimal( char* First, char* Last, uint64 Magnitude )
{
    if ( Magnitude <= 0xFFFFFFFFu ) [[likely]]
    {
        return WriteDecimal( First, Last, static_cast<uint32>( Magnitude ) );
    }
    return WriteLongDecimal( First, Last, Magnitude );
}
} // namespace NDetail

namespace NDetail
{
// The value of Char as a digit, Base or above when it is none. Up to base 10 only '0' and what follows it can be
// digits, and the distance from '0' tells without a look-up: anything else lands at Base or above.
[[gnu::always_inline]] inline uint32 DigitValue( char Char, uint32 Base )
{
    if ( Base <= 10 )
    {
        return static_cast<uint32>( static_cast<unsigned char>( Char ) ) - '0';
    }
    return DigitValues[ static_cast<unsigned char>( Char ) ];
}

// The digits of each base that a 64-bit accumulator takes whatever they are: n with Base^n <= UINT64_MAX, so
// that n digits, worth at most Base^n - 1, never wrap. 19 in base 10.
inline constexpr std::array<uint8, 37> UncheckedDigitCounts = []
{
    std::array<uint8, 37> Table {};
    for ( uint64 Base = 2; Base <= 36; ++Base )
    {
        for ( uint64 Power = Base; Power <= std::numeric_limits<uint64>::max() / Base; Power *= Base )
        {
            ++Table[ Base ];
        }
        ++Table[ Base ];
    }
    return Table;
}();

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
    // The first digit is read apart: without one there is nothing to convert.
    if ( pNext == Last || DigitValue( *pNext, Base ) >= Base )
    {
        return { First, std::errc::invalid_argument };
    }
    constexpr UnsignedT Max = static_cast<UnsignedT>( std::numeric_limits<IntegerT>::max() );
    const uint64 Limit = bNegative ? uint64( Max ) + 1 : uint64( Max );

    // As many digits as 64 bits hold go in without a test; a magnitude only grows, so one comparison with the
    // limit afterwards tells what a test before each multiplication would. Two digits per step: the pair's value
    // is formed beside the running magnitude, which waits for one multiplication and one addition per pair.
    const size_t UncheckedCount = UncheckedDigitCounts[ Base ];
    const char* const pUncheckedEnd =
        static_cast<size_t>( Last - pNext ) > UncheckedCount ? pNext + UncheckedCount : Last;
    uint64 Magnitude = DigitValue( *pNext, Base );
    ++pNext;
    const uint64 BaseSquared = uint64( Base ) * Base;
    for ( ;; )
    {
        if ( pUncheckedEnd - pNext >= 2 )
        {
            const uint32 High = DigitValue( pNext[ 0 ], Base );
            const uint32 Low = DigitValue( pNext[ 1 ], Base );
            if ( High < Base && Low < Base )
            {
                Magnitude = Magnitude * BaseSquared + ( High * Base + Low );
                pNext += 2;
                continue;
            }
        }
        // One digit left, or a pair that ends early.
        if ( pNext != pUncheckedEnd )
        {
            const uint32 Digit = DigitValue( *pNext, Base );
            if ( Digit < Base )
            {
                Magnitude = Magnitude * Base + Digit;
                ++pNext;
            }
        }
        break;
    }
    bool bOverflow = Magnitude > Limit;
    if ( pNext == pUncheckedEnd && pNext != Last ) [[unlikely]]
    {
        // A longer text: the limit split once by the base, so that each further digit is tested before it is
        // multiplied in. Past the limit the loop keeps reading, so that the result stands behind all the digits.
        const uint64 LimitQuotient = Limit / Base;
        const uint64 LimitRemainder = Limit % Base;
        for ( ; pNext != Last; ++pNext )
        {
            const uint32 Digit = DigitValue( *pNext, Base );
            if ( Digit >= Base )
            {
                break;
            }
            if ( Magnitude < LimitQuotient || ( Magnitude == LimitQuotient && Digit <= LimitRemainder ) )
            {
                Magnitude = Magnitude * Base + Digit;
            }
            else
            {
                bOverflow = true;
            }
        }
    }

    if ( bOverflow )
    {
        return { pNext, std::errc::result_out_of_range };
    }
    const UnsignedT Result = static_cast<UnsignedT>( Magnitude );
    Value = static_cast<IntegerT>( bNegative ? static_cast<UnsignedT>( 0 - Result ) : Result );
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
// The reports of a misused conversion, out of line: a good call tests its arguments once and never comes here.
[[gnu::cold, gnu::noinline]] inline void ReportMisuse( const char* First, const char* Last, int32 Base )
{
    QOR_ASSERT( First <= Last );
    QOR_ASSERT( Base >= 2 && Base <= 36 );
}

// Past the reports of a backward range or a base outside 2 to 36, a conversion fails at once with
// invalid_argument at First, having read and written nothing.
[[gnu::always_inline]] inline bool IsMisused( const char* First, const char* Last, int32 Base )
{
    if ( First > Last || Base < 2 || Base > 36 ) [[unlikely]]
    {
        ReportMisuse( First, Last, Base );
        return true;
    }
    return false;
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
        using WordT = std::conditional_t<sizeof( UnsignedT ) <= sizeof( uint32 ), uint32, uint64>;
        return NDetail::WriteDecimal( First, Last, static_cast<WordT>( Magnitude ) );
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
