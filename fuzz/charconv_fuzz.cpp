// The integer conversions against the standard library's over any text and base: the same value, the same
// error and the same end pointer; what to_chars writes reads back to the same value. The fixed-point forms
// read any text without harm, and what they write reads back exactly. Misuse (a base outside 2 to 36, a
// backward range) fails with invalid_argument at First, reading and writing nothing.

#include "qor_core/qor_charconv.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{
template <typename IntegerT>
void CheckInteger( const char* First, const char* Last, int32 Base )
{
    IntegerT Value = 7;
    IntegerT Expected = 7;
    const std::from_chars_result Result = from_chars( First, Last, Value, Base );
    const std::from_chars_result Reference = std::from_chars( First, Last, Expected, Base );
    if ( Result.ptr != Reference.ptr || Result.ec != Reference.ec || Value != Expected )
    {
        std::abort();
    }

    char Text[ 80 ];
    const std::to_chars_result Written = to_chars( Text, Text + sizeof( Text ), Expected, Base );
    IntegerT Back = 0;
    const std::from_chars_result Read = from_chars( Text, Written.ptr, Back, Base );
    if ( Written.ec != std::errc {} || Read.ec != std::errc {} || Read.ptr != Written.ptr || Back != Expected )
    {
        std::abort();
    }
}

void CheckFixedPoint( const char* First, const char* Last )
{
    CFixedPoint Value;
    if ( from_chars( First, Last, Value ).ec != std::errc {} )
    {
        return;
    }
    char Text[ 40 ];
    const std::to_chars_result Written = to_chars( Text, Text + sizeof( Text ), Value );
    CFixedPoint Back;
    const std::from_chars_result Read = from_chars( Text, Written.ptr, Back );
    if ( Written.ec != std::errc {} || Read.ec != std::errc {} || Read.ptr != Written.ptr || Back != Value )
    {
        std::abort();
    }
}

void CheckMisuse( const char* First, const char* Last, int32 Base )
{
    auto Refused = [ First ]( const char* pResult, std::errc Error )
    { return pResult == First && Error == std::errc::invalid_argument; };
    int64 Value = 7;
    CFixedPoint Fixed = CFixedPoint::FromRaw( 7 );
    char Text[ 80 ];
    std::memset( Text, 'x', sizeof( Text ) );
    const std::from_chars_result Read = from_chars( First, Last, Value, Base );
    const std::to_chars_result Written = to_chars( Text, Text + sizeof( Text ), int64( Last - First ), Base );
    bool bRefused = Refused( Read.ptr, Read.ec ) && Written.ptr == Text && Written.ec == std::errc::invalid_argument;
    if ( First != Last )
    {
        const std::from_chars_result Backward = from_chars( Last, First, Value );
        const std::from_chars_result FixedBackward = from_chars( Last, First, Fixed );
        bRefused = bRefused && Backward.ptr == Last && Backward.ec == std::errc::invalid_argument &&
                   FixedBackward.ptr == Last && FixedBackward.ec == std::errc::invalid_argument;
    }
    if ( !bRefused || Value != 7 || Fixed.GetRaw() != 7 || Text[ 0 ] != 'x' )
    {
        std::abort();
    }
}
} // namespace

// The first byte chooses the base and the type, or from 0xf0 on misuse with a base of 1 down to -6 or 37 to
// 44; the rest is the text.
extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    if ( Size == 0 )
    {
        return 0;
    }
    if ( pData[ 0 ] >= 0xf0 )
    {
        const int32 Kind = pData[ 0 ] & 7;
        const char* First = reinterpret_cast<const char*>( pData + 1 );
        CheckMisuse( First, First + ( Size - 1 ), ( pData[ 0 ] & 8 ) ? 37 + Kind : 1 - Kind );
        return 0;
    }
    const int32 Base = 2 + pData[ 0 ] % 35;
    const char* First = reinterpret_cast<const char*>( pData + 1 );
    const char* Last = First + ( Size - 1 );
    switch ( pData[ 0 ] / 35 % 5 )
    {
    case 0:
        CheckInteger<int32>( First, Last, Base );
        break;
    case 1:
        CheckInteger<uint32>( First, Last, Base );
        break;
    case 2:
        CheckInteger<int64>( First, Last, Base );
        break;
    case 3:
        CheckInteger<uint64>( First, Last, Base );
        break;
    default:
        CheckFixedPoint( First, Last );
        break;
    }
    return 0;
}
