#include "qor_core/persistence/token.h"

#include "tests/assert_recorder.h"
#include "tests/persistence/persistence_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

using namespace NToken;

namespace
{
// The value of a conversion, or nothing when it fails.
template <typename T>
std::optional<T> Convert( const CToken& Token, bool ( CToken::*Conversion )( T& ) const )
{
    T Value {};
    return ( Token.*Conversion )( Value ) ? std::optional<T>( Value ) : std::nullopt;
}

CToken BinaryToken( uint32 Type, uint64 Value )
{
    CToken Token;
    Token._Type = Type;
    Token.SetBinaryValue( Value );
    return Token;
}
} // namespace

TEST( CToken, ConstructorsGiveTypeTextAndQuoting )
{
    const struct
    {
        CToken Token;
        uint32 Type;
        const char* pText;
        bool bQuoted;
    } Cases[] = {
        { CToken( 5, "(x" ), 5, "(x", false },
        { CToken( "a b" ), _string_, "a b", true },
        { CToken( int32( -2147483647 - 1 ) ), _num_, "-2147483648", false },
        { CToken( uint32( 4000000000u ) ), _unsigned_, "4000000000", false },
        { CToken( 1.5f ), _float_, "1.500000", false },
        { CToken( true ), _bool_, "yes", false },
        { CToken( false ), _bool_, "no", false },
        { CToken( CFixedPoint::FromRaw( -50000 ) ), _float_, "-0.5", false },
        { CToken( std::numeric_limits<int64>::min() ), _unsigned64_, "-9223372036854775808", false },
        { CToken( std::numeric_limits<uint64>::max() ), _unsigned64_, "18446744073709551615", false },
    };
    for ( const auto& Case : Cases )
    {
        EXPECT_EQ( Case.Token._Type, Case.Type ) << Case.pText;
        EXPECT_EQ( TextOf( Case.Token ), Case.pText );
        EXPECT_EQ( Case.Token._Quoted, Case.bQuoted ) << Case.pText;
        // Cut back to the text and its terminator.
        EXPECT_EQ( Case.Token._Text.GetSize(), int32( std::strlen( Case.pText ) ) + 1 ) << Case.pText;
    }
    EXPECT_EQ( CToken()._Type, 0u );
    EXPECT_FALSE( CToken().HasText() );

    // "%f" of a large float, and the longest fixed-point text, leave no room for the terminator.
    CAssertRecorder Asserts;
    EXPECT_EQ( TextOf( CToken( 1125899906842624.0f ) ), "1125899906842624.000" );
    EXPECT_EQ( TextOf( CToken( CFixedPoint::FromRaw( std::numeric_limits<int64>::min() ) ) ), "-92233720368547.7580" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Result.ptr < Last", "Result.ptr < Last" } ) );
}

// Only the error code is looked at: "12x" reads as 12. A failure leaves the value as it was.
TEST( CToken, IntegerConversionsOfText )
{
    const struct
    {
        const char* pText;
        bool bOk;
        int32 Value;
    } Cases[] = { { "12", true, 12 }, { "12x", true, 12 }, { "x", false, 7 }, { "", false, 7 }, { "+1", false, 7 },
                  { "-2147483648", true, -2147483647 - 1 }, { "2147483648", false, 7 } };
    for ( const auto& Case : Cases )
    {
        int32 Value = 7;
        EXPECT_EQ( CToken( _num_, Case.pText ).GetInt32( Value ), Case.bOk ) << Case.pText;
        EXPECT_EQ( Value, Case.Value ) << Case.pText;
    }
    EXPECT_EQ( Convert( CToken( _num_, "40000" ), &CToken::GetInt16 ), std::nullopt );
    EXPECT_EQ( Convert( CToken( _num_, "65535" ), &CToken::GetUInt16 ), 65535 );
    EXPECT_EQ( Convert( CToken( _num_, "-1" ), &CToken::GetUInt32 ), std::nullopt );
    EXPECT_EQ( Convert( CToken( _num_, "-9223372036854775808" ), &CToken::GetInt64 ), std::numeric_limits<int64>::min() );
    EXPECT_EQ( Convert( CToken( _num_, "18446744073709551615" ), &CToken::GetUInt64 ), ~0ull );
    EXPECT_EQ( Convert( CToken( "12" ), &CToken::GetInt32 ), 12 );
    // The 8-bit forms fall back to a character in single quotes.
    EXPECT_EQ( Convert( CToken( _num_, "-128" ), &CToken::GetInt8 ), -128 );
    EXPECT_EQ( Convert( CToken( _string_, "'a'" ), &CToken::GetInt8 ), 'a' );
    EXPECT_EQ( Convert( CToken( _string_, "'z'" ), &CToken::GetUInt8 ), 'z' );
    EXPECT_EQ( Convert( CToken( _string_, "300" ), &CToken::GetInt8 ), std::nullopt );
    EXPECT_EQ( Convert( CToken( _string_, "a" ), &CToken::GetUInt8 ), std::nullopt );
}

TEST( CToken, DecimalBooleanHexadecimalAndStringConversionsOfText )
{
    // The scan takes what the parse refuses ("+3"); the fixed-point form reads only its own texts.
    const struct
    {
        const char* pText;
        bool bFloatOk;
        float Float;
        bool bFixedOk;
        int64 Raw;
    } Decimals[] = { { "1.5", true, 1.5f, true, 150000 }, { ".5", true, 0.5f, false, 0 },   { "-2", true, -2.0f, true, -200000 },
                     { "+3", true, 3.0f, false, 0 },      { "1.000001", true, 1.000001f, false, 0 }, { "abc", false, 0.0f, false, 0 } };
    for ( const auto& Case : Decimals )
    {
        const CToken Token( _num_, Case.pText );
        float Float = 0.0f;
        double Double = 0.0;
        CFixedPoint Fixed;
        EXPECT_EQ( Token.GetFloat( Float ), Case.bFloatOk ) << Case.pText;
        EXPECT_EQ( Token.GetDouble( Double ), Case.bFloatOk ) << Case.pText;
        EXPECT_EQ( Token.GetFixedPoint( Fixed ), Case.bFixedOk ) << Case.pText;
        EXPECT_TRUE( Float == Case.Float && float( Double ) == Case.Float && Fixed.GetRaw() == Case.Raw ) << Case.pText;
    }
    const struct
    {
        const char* pText;
        bool bOk;
        bool Value;
    } Bools[] = { { "yes", true, true }, { "YES", true, true }, { "No", true, false }, { "maybe", false, true } };
    for ( const auto& Case : Bools )
    {
        bool Value = true;
        EXPECT_EQ( CToken( _bool_, Case.pText ).GetBool( Value ), Case.bOk ) << Case.pText;
        EXPECT_EQ( Value, Case.Value ) << Case.pText;
    }
    EXPECT_EQ( Convert( CToken( _num_, "ff" ), &CToken::GetHexadecimal ), 255u );
    EXPECT_EQ( Convert( CToken( _num_, "zz" ), &CToken::GetHexadecimal ), std::nullopt );
    EXPECT_EQ( Convert( CToken( "a b" ), &CToken::GetString ), CString( "a b" ) );
}

// A token without text converts its binary value, every form from its start.
TEST( CToken, TokenWithoutTextConvertsItsBinaryValue )
{
    const CToken Number = BinaryToken( _num_, 0xFFFFFFFEull );
    EXPECT_EQ( Convert( Number, &CToken::GetInt32 ), -2 );
    EXPECT_EQ( Number.AsInt32(), -2 );
    EXPECT_EQ( Convert( Number, &CToken::GetInt8 ), -2 );
    EXPECT_EQ( Convert( Number, &CToken::GetUInt16 ), 0xFFFE );
    EXPECT_EQ( Convert( BinaryToken( _float_, 0x3F000000 ), &CToken::GetFloat ), 0.5f );
    EXPECT_EQ( Convert( BinaryToken( _fixed_, uint64( -150000 ) ), &CToken::GetFixedPoint ), CFixedPoint::FromRaw( -150000 ) );
    EXPECT_EQ( Convert( BinaryToken( _bool_, 0x0100 ), &CToken::GetBool ), false );
    EXPECT_EQ( Convert( BinaryToken( _bool_, 1 ), &CToken::GetBool ), true );
    EXPECT_TRUE( BinaryToken( _bool_, 1 ).AsBool() );
    // The scan of the empty text gives EOF, which is not 0: success, with the value left as it was.
    uint32 Hex = 7;
    EXPECT_TRUE( Number.GetHexadecimal( Hex ) && Hex == 7 );
}

TEST( CToken, AssertingFormsReportAndGiveZero )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( CToken( _num_, "x" ).AsInt32(), 0 );
    EXPECT_EQ( CToken( _num_, "99999999999" ).AsUInt32(), 0u );
    EXPECT_EQ( CToken( _num_, "abc" ).AsFloat(), 0.0f );
    EXPECT_EQ( CToken( _num_, "abc" ).AsDouble(), 0.0 );
    EXPECT_EQ( CToken( _num_, "abc" ).AsFixedPoint().GetRaw(), 0 );
    EXPECT_FALSE( CToken( _bool_, "maybe" ).AsBool() );
    // ParseYesNo compares exactly.
    EXPECT_FALSE( CToken( _bool_, "Yes" ).AsBool() );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Result.ec == std::errc {}", "Result.ec == std::errc {}",
                                                             "ItemsScanned == 1", "ItemsScanned == 1",
                                                             "This is probably not a fixed point token",
                                                             "This is probably not an bool token",
                                                             "This is probably not an bool token" } ) );
    Asserts.Clear();
    EXPECT_EQ( CToken( _num_, "-7" ).AsInt64(), -7 );
    EXPECT_EQ( CToken( _num_, "2.5" ).AsFixedPoint().GetRaw(), 250000 );
    EXPECT_TRUE( CToken( _bool_, "yes" ).AsBool() );
    EXPECT_TRUE( Asserts.Texts().empty() );

    // A zero inside the text makes it shorter than its array, which every conversion reports.
    CToken Token;
    Token.SetText( _num_, "1\0002", 3 );
    int32 Value = 0;
    EXPECT_FALSE( Token.ValidateValStringLength() );
    EXPECT_TRUE( Token.GetInt32( Value ) && Value == 1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "ValidateValStringLength()" } );
}

TEST( CToken, AppendCharSetTextResetTextAndEquality )
{
    CAssertRecorder Asserts;
    CToken Token = BinaryToken( _num_, 42 );
    Token.AppendChar( 0, 'a' );
    EXPECT_EQ( Token.GetBinaryValue(), 0u );
    Token.AppendChar( 1, 'b' );
    Token.AppendChar( 0, 'c' );
    Token.AppendChar( 5, 'd' );
    Token.AppendChar( 3, '\0' );
    EXPECT_EQ( TextOf( Token ), "cbd" );
    EXPECT_EQ( Token._Text.GetSize(), 4 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "Trying to add a char somewhere other than the end of the string" } );

    Token = CToken( "quoted" );
    Token.SetBinaryValue( 9 );
    Token.SetText( _num_, "12345", 2 );
    EXPECT_TRUE( Token._Type == _num_ && !Token._Quoted && Token.GetBinaryValue() == 0 && TextOf( Token ) == "12" );
    EXPECT_EQ( Token._Text.GetSize(), 3 );
    Token.ResetText( 30 );
    EXPECT_EQ( Token._Text.GetSize(), 30 );
    EXPECT_TRUE( std::all_of( Token._Text.begin(), Token._Text.end(), []( char Char ) { return uint8( Char ) == 0xCD; } ) );

    // Equal by type and text up to the first zero; the binary value takes no part.
    CToken Right;
    Right.SetText( _num_, "12\0x", 4 );
    Right.SetBinaryValue( 5 );
    EXPECT_TRUE( CToken( _num_, "12" ) == Right );
    EXPECT_FALSE( CToken( _float_, "12" ) == Right );
    EXPECT_FALSE( CToken( _num_, "13" ) == Right );
}

TEST( CToken, IsComparisonHoldsForTheSixComparisonsOnly )
{
    std::vector<uint32> Comparisons;
    for ( uint32 Type = 0; Type < 2000; ++Type )
    {
        if ( IsComparison( CToken( Type, "" ) ) )
        {
            Comparisons.push_back( Type );
        }
    }
    EXPECT_EQ( Comparisons, ( std::vector<uint32> { 467, 468, 971, 972, 1264, 1372 } ) );
}
