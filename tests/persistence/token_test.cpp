#include "qor_core/persistence/token.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace NToken;

namespace
{
std::string TextOf( const CToken& Token )
{
    const CQorStringView Text = Token.GetText();
    return std::string( Text.GetData() ? Text.GetData() : "", size_t( Text.GetSize() ) );
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
        { CToken(), 0, "", false },
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
        // Numbers are cut back to their text and terminator.
        if ( Case.Type != 0 )
        {
            EXPECT_EQ( Case.Token._Text.GetSize(), int32( std::strlen( Case.pText ) ) + 1 ) << Case.pText;
        }
    }
}

// "%f" of a large float and the longest fixed-point text don't leave room for the terminator.
TEST( CToken, NumberTooLongForItsBufferReportsAndIsCut )
{
    CAssertRecorder Asserts;
    const CToken Float( 1125899906842624.0f );
    const CToken Fixed( CFixedPoint::FromRaw( std::numeric_limits<int64>::min() ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Result.ptr < Last", "Result.ptr < Last" } ) );
    EXPECT_EQ( TextOf( Float ), "1125899906842624.000" );
    EXPECT_EQ( TextOf( Fixed ), "-92233720368547.7580" );
}

TEST( CToken, IntegerConversionsOfText )
{
    const struct
    {
        const char* pText;
        bool bOk;
        int32 Value;
    } Cases[] = {
        { "12", true, 12 },         { "12x", true, 12 },        { "x", false, 7 },
        { "", false, 7 },           { "-2147483648", true, -2147483647 - 1 },
        { "2147483648", false, 7 }, { "+1", false, 7 },         { " 1", false, 7 },
    };
    for ( const auto& Case : Cases )
    {
        int32 Value = 7;
        EXPECT_EQ( CToken( _num_, Case.pText ).GetInt32( Value ), Case.bOk ) << Case.pText;
        EXPECT_EQ( Value, Case.Value ) << Case.pText;
    }
    int16 Int16 = 0;
    EXPECT_FALSE( CToken( _num_, "40000" ).GetInt16( Int16 ) );
    uint16 UInt16 = 0;
    EXPECT_TRUE( CToken( _num_, "65535" ).GetUInt16( UInt16 ) && UInt16 == 65535 );
    uint64 UInt64 = 0;
    EXPECT_TRUE( CToken( _num_, "18446744073709551615" ).GetUInt64( UInt64 ) && UInt64 == ~0ull );
    uint32 UInt32 = 0;
    EXPECT_FALSE( CToken( _num_, "-1" ).GetUInt32( UInt32 ) );
    int64 Int64 = 0;
    EXPECT_TRUE( CToken( _num_, "-9223372036854775808" ).GetInt64( Int64 ) && Int64 == std::numeric_limits<int64>::min() );
    // A quoted number converts all the same.
    int32 Quoted = 0;
    EXPECT_TRUE( CToken( "12" ).GetInt32( Quoted ) && Quoted == 12 );
}

// The 8-bit forms fall back to a character in single quotes.
TEST( CToken, EightBitConversionsReadQuotedCharacters )
{
    int8 Int8 = 0;
    uint8 UInt8 = 0;
    EXPECT_TRUE( CToken( _num_, "-128" ).GetInt8( Int8 ) && Int8 == -128 );
    EXPECT_TRUE( CToken( _string_, "'a'" ).GetInt8( Int8 ) && Int8 == 'a' );
    EXPECT_TRUE( CToken( _string_, "'z'" ).GetUInt8( UInt8 ) && UInt8 == 'z' );
    EXPECT_FALSE( CToken( _string_, "300" ).GetInt8( Int8 ) );
    EXPECT_FALSE( CToken( _string_, "a" ).GetUInt8( UInt8 ) );
}

TEST( CToken, DecimalBooleanAndHexadecimalConversionsOfText )
{
    const struct
    {
        const char* pText;
        bool bFloatOk;
        float Float;
        bool bFixedOk;
        int64 Raw;
    } Decimals[] = {
        { "1.5", true, 1.5f, true, 150000 },     { ".5", true, 0.5f, false, 0 },
        { "-2", true, -2.0f, true, -200000 },    { "+3", true, 3.0f, false, 0 },
        { "1.000001", true, 1.000001f, false, 0 }, { "abc", false, 0.0f, false, 0 },
    };
    for ( const auto& Case : Decimals )
    {
        const CToken Token( _num_, Case.pText );
        float Float = 0.0f;
        double Double = 0.0;
        CFixedPoint Fixed;
        EXPECT_EQ( Token.GetFloat( Float ), Case.bFloatOk ) << Case.pText;
        EXPECT_EQ( Token.GetDouble( Double ), Case.bFloatOk ) << Case.pText;
        EXPECT_EQ( Token.GetFixedPoint( Fixed ), Case.bFixedOk ) << Case.pText;
        EXPECT_EQ( Float, Case.Float ) << Case.pText;
        EXPECT_EQ( float( Double ), Case.Float ) << Case.pText;
        EXPECT_EQ( Fixed.GetRaw(), Case.Raw ) << Case.pText;
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

    uint32 Hex = 7;
    EXPECT_TRUE( CToken( _num_, "ff" ).GetHexadecimal( Hex ) && Hex == 255 );
    EXPECT_FALSE( CToken( _num_, "zz" ).GetHexadecimal( Hex ) );
    CString String;
    EXPECT_TRUE( CToken( "a b" ).GetString( String ) && String == "a b" );
}

// A token without text converts its binary value, and every form reads from its start.
TEST( CToken, TokenWithoutTextConvertsItsBinaryValue )
{
    const CToken Number = BinaryToken( _num_, 0xFFFFFFFEull );
    int32 Int32 = 0;
    int8 Int8 = 0;
    uint16 UInt16 = 0;
    EXPECT_TRUE( Number.GetInt32( Int32 ) && Int32 == -2 );
    EXPECT_TRUE( Number.GetInt8( Int8 ) && Int8 == -2 );
    EXPECT_TRUE( Number.GetUInt16( UInt16 ) && UInt16 == 0xFFFE );
    EXPECT_EQ( Number.AsInt32(), -2 );

    float Float = 0.0f;
    uint32 Bits = 0;
    const float Half = 0.5f;
    std::memcpy( &Bits, &Half, sizeof( Bits ) );
    EXPECT_TRUE( BinaryToken( _float_, Bits ).GetFloat( Float ) && Float == 0.5f );

    CFixedPoint Fixed;
    EXPECT_TRUE( BinaryToken( _fixed_, uint64( -150000 ) ).GetFixedPoint( Fixed ) && Fixed.GetRaw() == -150000 );
    bool Bool = false;
    EXPECT_TRUE( BinaryToken( _bool_, 0x0100 ).GetBool( Bool ) && !Bool );
    EXPECT_TRUE( BinaryToken( _bool_, 1 ).GetBool( Bool ) && Bool );
    EXPECT_TRUE( BinaryToken( _bool_, 1 ).AsBool() );
    // The scan of the empty text gives EOF, which counts as success, and leaves the value.
    uint32 Hex = 7;
    EXPECT_TRUE( Number.GetHexadecimal( Hex ) );
    EXPECT_EQ( Hex, 7u );
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
}

// A zero inside the text makes it shorter than its array: every conversion reports that.
TEST( CToken, TextWithAZeroInsideFailsTheLengthCheck )
{
    CAssertRecorder Asserts;
    CToken Token;
    Token.SetText( _num_, "1\0002", 3 );
    EXPECT_FALSE( Token.ValidateValStringLength() );
    int32 Value = 0;
    EXPECT_TRUE( Token.GetInt32( Value ) );
    EXPECT_EQ( Value, 1 );
    EXPECT_EQ( TextOf( Token ), "1" );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "ValidateValStringLength()" } );
}

TEST( CToken, AppendCharOverwritesAppendsAndReportsAGap )
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
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string> { "Trying to add a char somewhere other than the end of the string" } );
}

TEST( CToken, SetTextResetTextAndEquality )
{
    CToken Token( "quoted" );
    Token.SetBinaryValue( 9 );
    Token.SetText( _num_, "12345", 2 );
    EXPECT_EQ( Token._Type, uint32( _num_ ) );
    EXPECT_FALSE( Token._Quoted );
    EXPECT_EQ( Token.GetBinaryValue(), 0u );
    EXPECT_EQ( TextOf( Token ), "12" );
    EXPECT_EQ( Token._Text.GetSize(), 3 );

    Token.ResetText( 30 );
    EXPECT_EQ( Token._Text.GetSize(), 30 );
    EXPECT_TRUE( std::all_of( Token._Text.begin(), Token._Text.end(), []( char Char ) { return uint8( Char ) == 0xCD; } ) );

    // Equal by type and text up to the first zero; the binary value takes no part.
    CToken Left( _num_, "12" );
    CToken Right;
    Right.SetText( _num_, "12\0x", 4 );
    Right.SetBinaryValue( 5 );
    EXPECT_TRUE( Left == Right );
    EXPECT_FALSE( Left == CToken( _float_, "12" ) );
    EXPECT_FALSE( Left == CToken( _num_, "13" ) );
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
