#include "qor_core/qor_charconv.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace
{
template <typename T>
class CCharConvIntegers : public testing::Test
{
};
using IntegerTypes = testing::Types<int8, uint8, int16, uint16, int32, uint32, int64, uint64>;
TYPED_TEST_SUITE( CCharConvIntegers, IntegerTypes );

// Values of every bit width, so that short and long texts and both limits are all frequent.
template <typename T>
T RandomValue( std::mt19937_64& Generator )
{
    constexpr int32 Bits = std::numeric_limits<std::make_unsigned_t<T>>::digits;
    const int32 Width = static_cast<int32>( Generator() % ( Bits + 1 ) );
    const uint64 Raw = Generator();
    const uint64 Masked = Width == 64 ? Raw : Raw & ( ( uint64( 1 ) << Width ) - 1 );
    const bool bNegate = std::is_signed_v<T> && ( Generator() & 1 ) != 0;
    return static_cast<T>( bNegate ? 0 - Masked : Masked );
}

// Digits of a random base from the whole alphabet in both cases, with stray signs, dots and spaces.
std::string RandomText( std::mt19937_64& Generator )
{
    static const char Alphabet[] = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-+. ";
    const size_t Length = Generator() % 24;
    std::string Text;
    for ( size_t I = 0; I < Length; ++I )
    {
        // Mostly digits, so that long runs occur.
        Text += Generator() % 4 == 0 ? Alphabet[ Generator() % ( sizeof( Alphabet ) - 1 ) ]
                                     : static_cast<char>( '0' + Generator() % 10 );
    }
    return Text;
}

template <typename T>
std::string StdText( T Value, int Base )
{
    char Buffer[ 80 ];
    const std::to_chars_result Result = std::to_chars( Buffer, Buffer + sizeof( Buffer ), Value, Base );
    return std::string( Buffer, Result.ptr );
}

// The text of a magnitude one past what 64 bits hold, too.
std::string WideText( unsigned __int128 Value, int Base )
{
    std::string Text;
    do
    {
        Text.insert( Text.begin(), "0123456789abcdefghijklmnopqrstuvwxyz"[ Value % static_cast<unsigned>( Base ) ] );
        Value /= static_cast<unsigned>( Base );
    } while ( Value != 0 );
    return Text;
}

int Code( std::errc Error )
{
    return static_cast<int>( Error );
}
} // namespace

TYPED_TEST( CCharConvIntegers, ToCharsAgreesWithStandardInEveryBase )
{
    const uint64 nSeed = 977;
    std::mt19937_64 Generator( nSeed );
    for ( int32 Base = 2; Base <= 36; ++Base )
    {
        for ( int Round = 0; Round < 10; ++Round )
        {
            const TypeParam Value = Round == 0   ? std::numeric_limits<TypeParam>::min()
                                    : Round == 1 ? std::numeric_limits<TypeParam>::max()
                                    : Round == 2 ? TypeParam( 0 )
                                                 : RandomValue<TypeParam>( Generator );
            char Buffer[ 80 ];
            const std::to_chars_result Result = to_chars( Buffer, Buffer + sizeof( Buffer ), Value, Base );
            ASSERT_EQ( Result.ec, std::errc {} );
            ASSERT_EQ( std::string( Buffer, Result.ptr ), StdText( Value, Base ) )
                << "seed " << nSeed << ", base " << Base << ", value " << +Value;

            TypeParam Parsed = TypeParam( 1 );
            const std::from_chars_result Back = from_chars( Buffer, Result.ptr, Parsed, Base );
            ASSERT_EQ( Back.ec, std::errc {} );
            ASSERT_EQ( Back.ptr, Result.ptr );
            ASSERT_EQ( Parsed, Value ) << "seed " << nSeed << ", base " << Base;
        }
    }
}

// The limits and one beyond them in every base first, then random texts.
TYPED_TEST( CCharConvIntegers, FromCharsAgreesWithStandardOnLimitsAndRandomTexts )
{
    using UnsignedT = std::make_unsigned_t<TypeParam>;
    const uint64 nSeed = 31337;
    std::mt19937_64 Generator( nSeed );
    for ( int32 Base = 2; Base <= 36; ++Base )
    {
        const std::string Beyond =
            WideText( static_cast<unsigned __int128>( UnsignedT( std::numeric_limits<TypeParam>::max() ) ) + 1, Base );
        const std::string Limits[] = { StdText( std::numeric_limits<TypeParam>::max(), Base ), Beyond, "-" + Beyond,
                                       StdText( std::numeric_limits<TypeParam>::min(), Base ) };
        for ( int Round = 0; Round < 16; ++Round )
        {
            const std::string Text =
                Round < 4 ? Limits[ Round ] : ( Round % 3 == 0 ? "-" : "" ) + RandomText( Generator );
            const char* const pFirst = Text.data();
            const char* const pLast = pFirst + Text.size();
            TypeParam Ours = TypeParam( 7 );
            TypeParam Theirs = TypeParam( 7 );
            const std::from_chars_result OurResult = from_chars( pFirst, pLast, Ours, Base );
            const std::from_chars_result StdResult = std::from_chars( pFirst, pLast, Theirs, Base );
            ASSERT_TRUE( Code( OurResult.ec ) == Code( StdResult.ec ) && OurResult.ptr == StdResult.ptr &&
                         Ours == Theirs )
                << "seed " << nSeed << ", base " << Base << ", text '" << Text << "': error " << Code( OurResult.ec )
                << " / " << Code( StdResult.ec ) << ", end " << OurResult.ptr - pFirst << " / "
                << StdResult.ptr - pFirst << ", value " << +Ours << " / " << +Theirs;
        }
    }
}

TEST( CharConv, BoundaryTexts )
{
    auto Parse = []( const std::string& Text, int32 Base = 10 )
    {
        int32 Value = -7;
        const std::from_chars_result Result = from_chars( Text.data(), Text.data() + Text.size(), Value, Base );
        return std::make_tuple( Value, Code( Result.ec ), static_cast<int>( Result.ptr - Text.data() ) );
    };
    EXPECT_EQ( Parse( "2147483647" ), std::make_tuple( 2147483647, 0, 10 ) );
    EXPECT_EQ( Parse( "2147483648" ), std::make_tuple( -7, 34, 10 ) );
    EXPECT_EQ( Parse( "-2147483648" ), std::make_tuple( -2147483647 - 1, 0, 11 ) );
    EXPECT_EQ( Parse( "99999999999x" ), std::make_tuple( -7, 34, 11 ) );
    EXPECT_EQ( Parse( "-" ), std::make_tuple( -7, 22, 0 ) );
    EXPECT_EQ( Parse( "" ), std::make_tuple( -7, 22, 0 ) );
    EXPECT_EQ( Parse( "-x" ), std::make_tuple( -7, 22, 0 ) );
    EXPECT_EQ( Parse( "+1" ), std::make_tuple( -7, 22, 0 ) );
    EXPECT_EQ( Parse( " 1" ), std::make_tuple( -7, 22, 0 ) );
    EXPECT_EQ( Parse( "0x10" ), std::make_tuple( 0, 0, 1 ) );
    EXPECT_EQ( Parse( "12ab" ), std::make_tuple( 12, 0, 2 ) );
    EXPECT_EQ( Parse( "12ab", 16 ), std::make_tuple( 0x12ab, 0, 4 ) );
    EXPECT_EQ( Parse( "Z", 36 ), std::make_tuple( 35, 0, 1 ) );
    EXPECT_EQ( Parse( "z", 36 ), std::make_tuple( 35, 0, 1 ) );
    EXPECT_EQ( Parse( "z", 35 ), std::make_tuple( -7, 22, 0 ) );

    uint32 Unsigned = 3;
    const char Negative[] = "-1";
    EXPECT_EQ( from_chars( Negative, Negative + 2, Unsigned ).ec, std::errc::invalid_argument );
    EXPECT_EQ( Unsigned, 3u );
}

// Texts longer than the 19 digits that 64 bits take without a test: leading zeros, the limits, one past them.
TEST( CharConv, FromCharsPastNineteenDigits )
{
    auto Parse = []( const std::string& Text, auto Value )
    {
        const std::from_chars_result Result = from_chars( Text.data(), Text.data() + Text.size(), Value );
        return std::make_tuple( std::to_string( Value ), Code( Result.ec ), static_cast<int>( Result.ptr - Text.data() ) );
    };
    const std::string Zeros( 21, '0' );
    EXPECT_EQ( Parse( Zeros + "1", uint64( 7 ) ), std::make_tuple( std::string( "1" ), 0, 22 ) );
    EXPECT_EQ( Parse( Zeros + "18446744073709551615x", uint64( 7 ) ),
               std::make_tuple( std::string( "18446744073709551615" ), 0, 41 ) );
    EXPECT_EQ( Parse( "18446744073709551616", uint64( 7 ) ), std::make_tuple( std::string( "7" ), 34, 20 ) );
    EXPECT_EQ( Parse( "9999999999999999999", uint64( 7 ) ),
               std::make_tuple( std::string( "9999999999999999999" ), 0, 19 ) );
    EXPECT_EQ( Parse( "-" + Zeros + "9223372036854775808", int64( 7 ) ),
               std::make_tuple( std::string( "-9223372036854775808" ), 0, 41 ) );
    EXPECT_EQ( Parse( "9223372036854775808", int64( 7 ) ), std::make_tuple( std::string( "7" ), 34, 19 ) );
    EXPECT_EQ( Parse( Zeros + "2147483647", int32( 7 ) ), std::make_tuple( std::string( "2147483647" ), 0, 31 ) );
    EXPECT_EQ( Parse( std::string( 30, '9' ) + "-", int32( 7 ) ), std::make_tuple( std::string( "7" ), 34, 30 ) );
    EXPECT_EQ( Parse( std::string( 19, '1' ) + "2", int8( 7 ) ), std::make_tuple( std::string( "7" ), 34, 20 ) );
}

// Value, base and buffer size; the buffer's text afterwards ('x' where nothing was written), error and end.
TEST( CharConv, ToCharsSignAndBufferRules )
{
    struct SCase
    {
        int64 nValue;
        int32 nBase;
        int32 nSize;
        const char* pText;
        std::errc eError;
        int32 nEnd;
    };
    const SCase Cases[] = {
        { std::numeric_limits<int64>::min(), 10, 24, "-9223372036854775808xxxx", std::errc {}, 20 },
        // The sign is written before the room for the digits is known.
        { -1, 10, 1, "-", std::errc::value_too_large, 1 },
        { -1, 10, 0, "", std::errc::value_too_large, 0 },
        { 1234, 10, 3, "xxx", std::errc::value_too_large, 3 },
        { 123, 10, 3, "123", std::errc {}, 3 },
        { 35, 36, 2, "zx", std::errc {}, 1 },
        { 0, 3, 2, "0x", std::errc {}, 1 },
        { -255, 16, 4, "-ffx", std::errc {}, 3 },
        { 100, 7, 4, "202x", std::errc {}, 3 },
    };
    for ( const SCase& Case : Cases )
    {
        char Buffer[ 24 ];
        std::memset( Buffer, 'x', sizeof( Buffer ) );
        const std::to_chars_result Result = to_chars( Buffer, Buffer + Case.nSize, Case.nValue, Case.nBase );
        EXPECT_EQ( std::string( Buffer, size_t( Case.nSize ) ), Case.pText ) << Case.nValue << " in base " << Case.nBase;
        EXPECT_EQ( Result.ec, Case.eError ) << Case.nValue;
        EXPECT_EQ( Result.ptr, Buffer + Case.nEnd ) << Case.nValue;
    }
}

// Base 10 around every digit count and every split by 10^4 and 10^8 (zeros inside a piece included), in a buffer
// of exactly the text's length and in one a character shorter, where nothing may be written.
TEST( CharConv, ToCharsBase10AtEveryDigitCountAndSplit )
{
    std::vector<uint64> Values = { 0, 0xFFFFFFFFu, 0x100000000u, 100000001u, 1000000007u, 10000000000000005u,
                                   12345678900000000u, 100000000000000000u, std::numeric_limits<uint64>::max() };
    for ( uint64 Power = 10; Power <= 10000000000000000000u; Power *= 10 )
    {
        Values.insert( Values.end(), { Power - 1, Power, Power + 1 } );
        if ( Power > std::numeric_limits<uint64>::max() / 10 )
        {
            break;
        }
    }
    auto Check = []( auto Value )
    {
        const std::string Expected = StdText( Value, 10 );
        const int32 Size = static_cast<int32>( Expected.size() );
        char Buffer[ 24 ];
        std::memset( Buffer, 'x', sizeof( Buffer ) );
        std::to_chars_result Result = to_chars( Buffer, Buffer + Size, Value );
        EXPECT_EQ( Result.ec, std::errc {} ) << +Value;
        EXPECT_EQ( Result.ptr, Buffer + Size ) << +Value;
        EXPECT_EQ( std::string( Buffer, sizeof( Buffer ) ), Expected + std::string( 24 - Expected.size(), 'x' ) );

        std::memset( Buffer, 'x', sizeof( Buffer ) );
        Result = to_chars( Buffer, Buffer + Size - 1, Value );
        EXPECT_EQ( Result.ec, std::errc::value_too_large ) << +Value;
        EXPECT_EQ( Result.ptr, Buffer + Size - 1 ) << +Value;
        // A negative value keeps its sign, and nothing else is written.
        const std::string Kept = Expected[ 0 ] == '-' ? "-" : "";
        EXPECT_EQ( std::string( Buffer, sizeof( Buffer ) ), Kept + std::string( 24 - Kept.size(), 'x' ) ) << +Value;
    };
    for ( const uint64 Value : Values )
    {
        Check( Value );
        if ( Value <= 0xFFFFFFFFu )
        {
            Check( static_cast<uint32>( Value ) );
        }
        if ( Value <= uint64( std::numeric_limits<int64>::max() ) + 1 && Value != 0 )
        {
            Check( static_cast<int64>( 0 - Value ) );
        }
    }
}

namespace
{
struct SFixedParse
{
    int64 Raw;
    int Error;
    int Consumed;
    bool operator==( const SFixedParse& ) const = default;
};

std::ostream& operator<<( std::ostream& Stream, const SFixedParse& Parse )
{
    return Stream << "{ raw " << Parse.Raw << ", error " << Parse.Error << ", consumed " << Parse.Consumed << " }";
}

SFixedParse ParseFixed( const std::string& Text )
{
    CFixedPoint Value = CFixedPoint::FromRaw( 424242 );
    const std::from_chars_result Result = from_chars( Text.data(), Text.data() + Text.size(), Value );
    return { Value.GetRaw(), Code( Result.ec ), static_cast<int>( Result.ptr - Text.data() ) };
}

std::string FixedText( int64 Raw )
{
    char Buffer[ 64 ];
    const std::to_chars_result Result = to_chars( Buffer, Buffer + sizeof( Buffer ), CFixedPoint::FromRaw( Raw ) );
    return std::string( Buffer, Result.ptr );
}

// The shortest exact decimal text of a raw value, built from the standard library's integer text.
std::string ExpectedFixedText( int64 Raw )
{
    const __int128 Wide = Raw;
    const __int128 Magnitude = Wide < 0 ? -Wide : Wide;
    std::string Text = ( Raw < 0 ? "-" : "" ) + std::to_string( static_cast<uint64>( Magnitude / 100000 ) );
    std::string Fraction = std::to_string( static_cast<uint64>( Magnitude % 100000 ) );
    Fraction = std::string( 5 - Fraction.size(), '0' ) + Fraction;
    while ( !Fraction.empty() && Fraction.back() == '0' )
    {
        Fraction.pop_back();
    }
    return Fraction.empty() ? Text : Text + "." + Fraction;
}
} // namespace

TEST( CharConvFixedPoint, TextRoundTripsOverRandomRawValues )
{
    const uint64 nSeed = 8675309;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 500; ++Round )
    {
        const int64 Raw = Round == 0   ? std::numeric_limits<int64>::min()
                          : Round == 1 ? std::numeric_limits<int64>::max()
                          : Round == 2 ? 0
                                       : RandomValue<int64>( Generator );
        const std::string Text = FixedText( Raw );
        ASSERT_EQ( Text, ExpectedFixedText( Raw ) ) << "seed " << nSeed << ", raw " << Raw;
        ASSERT_EQ( ParseFixed( Text ), ( SFixedParse{ Raw, 0, static_cast<int>( Text.size() ) } ) )
            << "seed " << nSeed << ", text " << Text;
    }
}

TEST( CharConvFixedPoint, ParsesTheLimitsRefusesBeyondAndKeepsTheFractionsQuirks )
{
    EXPECT_EQ( ParseFixed( "1.5" ), ( SFixedParse{ 150000, 0, 3 } ) );
    EXPECT_EQ( ParseFixed( "-0.00001" ), ( SFixedParse{ -1, 0, 8 } ) );
    EXPECT_EQ( ParseFixed( "-0.5" ), ( SFixedParse{ -50000, 0, 4 } ) );
    EXPECT_EQ( ParseFixed( "42" ), ( SFixedParse{ 4200000, 0, 2 } ) );
    EXPECT_EQ( ParseFixed( "1.000000" ).Error, 34 );
    EXPECT_EQ( ParseFixed( "92233720368547.75807" ), ( SFixedParse{ std::numeric_limits<int64>::max(), 0, 20 } ) );
    EXPECT_EQ( ParseFixed( "92233720368547.75808" ).Error, 34 );
    EXPECT_EQ( ParseFixed( "-92233720368547.75808" ), ( SFixedParse{ std::numeric_limits<int64>::min(), 0, 21 } ) );
    EXPECT_EQ( ParseFixed( "-92233720368547.75809" ).Error, 34 );
    EXPECT_EQ( ParseFixed( "92233720368548" ), ( SFixedParse{ 424242, 34, 14 } ) );
    EXPECT_EQ( ParseFixed( "-92233720368548" ), ( SFixedParse{ 424242, 34, 15 } ) );
    EXPECT_EQ( ParseFixed( "92233720368548.5" ).Error, 34 );
    EXPECT_EQ( ParseFixed( "99999999999999999999.5" ).Error, 34 );
    EXPECT_EQ( ParseFixed( "" ), ( SFixedParse{ 424242, 22, 0 } ) );
    EXPECT_EQ( ParseFixed( "-" ), ( SFixedParse{ 424242, 22, 0 } ) );
    EXPECT_EQ( ParseFixed( ".5" ).Error, 22 );
    EXPECT_EQ( ParseFixed( "1.x" ), ( SFixedParse{ 424242, 22, 2 } ) );
    // Kept quirks of the fraction.
    EXPECT_EQ( ParseFixed( "1.2x" ), ( SFixedParse{ 100002, 0, 4 } ) );
    EXPECT_EQ( ParseFixed( "1.-5" ), ( SFixedParse{ 95000, 0, 4 } ) );
    EXPECT_EQ( ParseFixed( "1." ), ( SFixedParse{ 100000, 0, 1 } ) );
    EXPECT_EQ( ParseFixed( "1.5 " ), ( SFixedParse{ 100005, 0, 4 } ) );
    EXPECT_EQ( ParseFixed( "7 .5" ), ( SFixedParse{ 700000, 0, 1 } ) );
}

TEST( CharConv, FromStringTakesOnlyTheWholeView )
{
    const std::pair<const char*, CQorOptional<int32>> Int32Cases[] = {
        { "12", 12 },         { "-2147483648", -2147483647 - 1 },
        { "12 ", {} },        { "", {} },
        { "2147483648", {} }, { "+1", {} },
        { "-", {} },          { "0x10", {} },
    };
    for ( const auto& [pText, Expected] : Int32Cases )
    {
        const CQorOptional<int32> Result = FromString<int32>( pText );
        EXPECT_EQ( Result.IsSet(), Expected.IsSet() ) << pText;
        EXPECT_EQ( Result.GetValueOr( -7 ), Expected.GetValueOr( -7 ) ) << pText;
    }
    EXPECT_EQ( FromString<uint8>( "255" ).GetValueOr( 0 ), 255 );
    EXPECT_FALSE( FromString<uint8>( "256" ).IsSet() );
    EXPECT_FALSE( FromString<uint32>( "-1" ).IsSet() );
    EXPECT_EQ( FromString<CFixedPoint>( "1.5" ).GetValueOr( CFixedPoint() ).GetRaw(), 150000 );
    EXPECT_FALSE( FromString<CFixedPoint>( "1." ).IsSet() ) << "the '.' is left over";
}

TEST( CharConv, ToStringGivesAnUnterminatedViewOrTheEmptyOne )
{
    const std::pair<int64, const char*> FixedCases[] = {
        { 150000, "1.5" },
        { -50000, "-0.5" },
        { 100000, "1" },
        { 1, "0.00001" },
        { 0, "0" },
        { std::numeric_limits<int64>::min(), "-92233720368547.75808" },
        { std::numeric_limits<int64>::max(), "92233720368547.75807" },
    };
    char Buffer[25];
    for ( const auto& [nRaw, pText] : FixedCases )
    {
        const CQorStringView Text = ToString( Buffer, Buffer + sizeof( Buffer ), CFixedPoint::FromRaw( nRaw ) );
        EXPECT_EQ( std::string( Text.begin(), Text.end() ), pText );
        EXPECT_EQ( Text.GetData(), Buffer );
        EXPECT_EQ( Text.GetNullTerminated(), ENullTerminated::No );
    }
    const CQorStringView Int = ToString( Buffer, Buffer + sizeof( Buffer ), int64( -9223372036854775807 - 1 ) );
    EXPECT_EQ( std::string( Int.begin(), Int.end() ), "-9223372036854775808" );
    EXPECT_EQ( Int.GetNullTerminated(), ENullTerminated::No );
    const CQorStringView TooLong = ToString( Buffer, Buffer + 2, uint32( 123 ) );
    EXPECT_EQ( TooLong.GetData(), nullptr );
    EXPECT_EQ( TooLong.GetSize(), 0 );
    EXPECT_EQ( TooLong.GetNullTerminated(), ENullTerminated::No );
    EXPECT_EQ( ToString( Buffer, Buffer + 3, CFixedPoint::FromRaw( -50000 ) ).GetData(), nullptr );
}

// Misuse reports, then fails cleanly: invalid_argument at First, nothing written, the value untouched.
TEST( CharConv, MisuseReportsAndFailsWithoutTouchingAnything )
{
    const std::string Base = "Base >= 2 && Base <= 36";
    const std::string Order = "First <= Last";
    const char Text[] = "-12.5";
    char Buffer[8] = "xxxxxxx";
    CAssertRecorder Asserts;
    for ( const int32 nBase : { 1, 0, -10, 37 } )
    {
        int64 Value = 7;
        const std::from_chars_result Read = from_chars( Text, Text + 3, Value, nBase );
        EXPECT_EQ( Read.ec, std::errc::invalid_argument );
        EXPECT_EQ( Read.ptr, Text );
        EXPECT_EQ( Value, 7 );
        const std::to_chars_result Written = to_chars( Buffer, Buffer + sizeof( Buffer ), int64( -5 ), nBase );
        EXPECT_EQ( Written.ec, std::errc::invalid_argument );
        EXPECT_EQ( Written.ptr, Buffer );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 8, Base ) );
    Asserts.Clear();

    int32 Value = 7;
    const std::from_chars_result Backward = from_chars( Text + 3, Text, Value );
    EXPECT_EQ( Backward.ec, std::errc::invalid_argument );
    EXPECT_EQ( Backward.ptr, Text + 3 );
    EXPECT_EQ( Value, 7 );
    CFixedPoint Fixed = CFixedPoint::FromRaw( 7 );
    // The backward range starts on the '.', so a careless parse would take the fraction branch.
    const std::from_chars_result FixedBackward = from_chars( Text + 3, Text + 1, Fixed );
    EXPECT_EQ( FixedBackward.ec, std::errc::invalid_argument );
    EXPECT_EQ( FixedBackward.ptr, Text + 3 );
    EXPECT_EQ( Fixed.GetRaw(), 7 );
    EXPECT_EQ( to_chars( Buffer + 4, Buffer, int32( 5 ) ).ec, std::errc::invalid_argument );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 3, Order ) );
    EXPECT_EQ( std::string( Buffer ), "xxxxxxx" );
}
