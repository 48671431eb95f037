#include "qor_core/qor_charconv.h"

namespace
{
constexpr int32 FixedPointDecimals = 5;
// The fraction allowed beside the largest whole part: INT64_MAX ends in .75807, INT64_MIN in .75808.
constexpr int64 MaxFractionAtLimit = 75807;
} // namespace

std::from_chars_result from_chars( const char* First, const char* Last, CFixedPoint& Value )
{
    if ( NDetail::IsMisused( First, Last, 10 ) ) [[unlikely]]
    {
        return { First, std::errc::invalid_argument };
    }
    // The sign is noted apart: "-0.5" has the whole part 0.
    const bool bNegative = First != Last && *First == '-';
    int64 IntegerPart = 0;
    const std::from_chars_result IntegerResult = from_chars( First, Last, IntegerPart );
    const bool bIntegerInRange = IntegerPart >= -NFixedInt64::MaxWholePart && IntegerPart <= NFixedInt64::MaxWholePart;
    const char* const pStop = IntegerResult.ptr;

    if ( pStop != Last && pStop + 1 != Last && *pStop == '.' )
    {
        const char* const pDecimals = pStop + 1;
        const int32 NumberDecimalDigits = static_cast<int32>( Last - pDecimals );
        QOR_ASSERT( NumberDecimalDigits > 0 );

        // Right-padded with zeros to exactly five places; whatever follows is read by the integer rules and
        // may stop early with success.
        char Decimals[ FixedPointDecimals ] = { '0', '0', '0', '0', '0' };
        std::memcpy( Decimals, pDecimals,
                     static_cast<size_t>( NumberDecimalDigits < FixedPointDecimals ? NumberDecimalDigits
                                                                                   : FixedPointDecimals ) );
        int64 Fraction = 0;
        const std::from_chars_result FractionResult =
            from_chars( Decimals, Decimals + FixedPointDecimals, Fraction );
        // Where the fraction stopped, in the input; a stop inside the padding lies at the input's end.
        const int64 Consumed = FractionResult.ptr - Decimals;
        const char* const pReport = Consumed < NumberDecimalDigits ? pDecimals + Consumed : Last;

        if ( IntegerResult.ec != std::errc {} )
        {
            return { pReport, IntegerResult.ec };
        }
        if ( !bIntegerInRange )
        {
            return { pReport, std::errc::result_out_of_range };
        }
        if ( FractionResult.ec != std::errc {} )
        {
            return { pReport, FractionResult.ec };
        }
        if ( NumberDecimalDigits > FixedPointDecimals )
        {
            return { pReport, std::errc::result_out_of_range };
        }
        if ( bNegative )
        {
            QOR_ASSERT( IntegerPart <= 0 );
            Fraction = -Fraction;
            if ( IntegerPart == -NFixedInt64::MaxWholePart && Fraction < -( MaxFractionAtLimit + 1 ) )
            {
                return { pReport, std::errc::result_out_of_range };
            }
        }
        else if ( IntegerPart == NFixedInt64::MaxWholePart && Fraction > MaxFractionAtLimit )
        {
            return { pReport, std::errc::result_out_of_range };
        }
        Value = CFixedPoint::FromRaw( IntegerPart * NFixedInt64::Scale + Fraction );
        return { Last, std::errc {} };
    }

    if ( IntegerResult.ec != std::errc {} )
    {
        return IntegerResult;
    }
    if ( !bIntegerInRange )
    {
        return { pStop, std::errc::result_out_of_range };
    }
    Value = CFixedPoint::FromRaw( IntegerPart * NFixedInt64::Scale );
    return IntegerResult;
}

std::to_chars_result to_chars( char* First, char* Last, CFixedPoint Value )
{
    // Sign, 19 digits of the whole part, '.', five decimals.
    char Text[ 1 + 19 + 1 + FixedPointDecimals ];
    char* pText = Text;
    const int64 Raw = Value.GetRaw();
    if ( Raw < 0 )
    {
        *pText++ = '-';
    }
    const int64 IntegerPart = Raw / NFixedInt64::Scale;
    const uint64 AbsIntegerPart = IntegerPart < 0 ? 0 - static_cast<uint64>( IntegerPart ) : IntegerPart;
    pText = to_chars( pText, Text + sizeof( Text ), AbsIntegerPart ).ptr;

    const int64 SignedFraction = Raw - IntegerPart * NFixedInt64::Scale;
    const int64 Fraction = SignedFraction < 0 ? -SignedFraction : SignedFraction;
    if ( Fraction != 0 )
    {
        *pText++ = '.';
        // Exactly five digits, leading zeros included, then the trailing zeros go.
        int64 Rest = Fraction;
        for ( int32 Digit = FixedPointDecimals - 1; Digit >= 0; --Digit )
        {
            pText[ Digit ] = static_cast<char>( '0' + Rest % 10 );
            Rest /= 10;
        }
        pText += FixedPointDecimals;
        while ( pText[ -1 ] == '0' )
        {
            --pText;
        }
    }

    const int64 Count = pText - Text;
    if ( Last - First < Count )
    {
        return { Last, std::errc::value_too_large };
    }
    std::memcpy( First, Text, static_cast<size_t>( Count ) );
    return { First + Count, std::errc {} };
}
