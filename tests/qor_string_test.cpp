#include "qor_core/qor_string.h"

#include "qor_core/qor_charconv.h"
#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>

namespace
{
std::string Std( const CString& String )
{
    return String.GetStdString();
}

std::string FixedText( CFixedPoint Value )
{
    char Buffer[ 32 ];
    return std::string( Buffer, to_chars( Buffer, Buffer + sizeof( Buffer ), Value ).ptr );
}
} // namespace

TEST( CString, FixedPointTextAgreesWithTheConversion )
{
    const uint64 nSeed = 5150;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 20000; ++Round )
    {
        const int64 Raw = Round == 0 ? std::numeric_limits<int64>::min()
                                     : static_cast<int64>( Generator() ) >> ( Generator() % 64 );
        const CFixedPoint Value = CFixedPoint::FromRaw( Raw );
        const std::string Shortest = FixedText( Value );
        ASSERT_EQ( Std( CString( Value ) ), Shortest ) << "seed " << nSeed << ", raw " << Raw;

        // With a decimal count the text is cut behind that many of the five digits.
        const size_t Dot = Shortest.find( '.' );
        const std::string Whole = Shortest.substr( 0, Dot );
        std::string Digits = Dot == std::string::npos ? "" : Shortest.substr( Dot + 1 );
        Digits.resize( 5, '0' );
        ASSERT_EQ( Std( CString( Value, 0 ) ), Whole ) << "seed " << nSeed << ", raw " << Raw;
        for ( int32 Decimals = 1; Decimals <= 5; ++Decimals )
        {
            ASSERT_EQ( Std( CString( Value, Decimals ) ), Whole + "." + Digits.substr( 0, Decimals ) )
                << "seed " << nSeed << ", raw " << Raw << ", decimals " << Decimals;
        }
    }
}

TEST( CString, IndexingChecksTheCapacity )
{
    CAssertRecorder Asserts;
    CString Text( "abc" );
    const int32 Capacity = static_cast<int32>( Text.GetStdString().capacity() );
    Text[ 0 ] = 'x';
    Text.At( 1u ) = 'y';
    EXPECT_EQ( Std( Text ), "xyc" );
    EXPECT_EQ( Text[ 3 ], '\0' );
    Text[ Capacity ];
    Text.At( static_cast<uint32>( Capacity ) );
    EXPECT_TRUE( Asserts.Texts().empty() );

    const CString& Constant = Text;
    Constant[ Capacity + 1 ];
    Constant[ -1 ];
    Constant.At( static_cast<uint32>( Capacity + 1 ) );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "index <= (int32)_str.capacity() && index >= 0",
                                           "index <= (int32)_str.capacity() && index >= 0",
                                           "index <= _str.capacity()" } ) );
}

TEST( CString, AppendInsertRemove )
{
    CString Text( "ab" );
    Text += CString( "c" );
    Text += CQorStringView( "d" );
    Text += "e";
    Text += 'f';
    EXPECT_EQ( Std( Text ), "abcdef" );
    EXPECT_EQ( Std( Text + CQorStringView( "g" ) ), "abcdefg" );

    Text.Insert( 0, CString( "0" ) );
    Text.Insert( 7, CQorStringView( "7" ) );
    Text.Insert( 1, "1" );
    Text.Insert( 2, "2345", 1 );
    Text.Insert( 3, 2, '-' );
    EXPECT_EQ( Std( Text ), "012--abcdef7" );
    Text.Remove( 3 );
    EXPECT_EQ( Std( Text ), "012-abcdef7" );
    EXPECT_THROW( Text.Remove( 12 ), std::out_of_range );

    CAssertRecorder Asserts;
    EXPECT_THROW( Text.Insert( 20, "x" ), std::out_of_range );
    EXPECT_THROW( Text.Insert( -1, 1, 'x' ), std::out_of_range );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 2, "Index >= 0 && Index <= GetSize()" ) );
}

TEST( CString, SearchesAgreeWithTheStandardString )
{
    const uint32 nSeed = 777;
    std::mt19937 Generator( nSeed );
    for ( int Round = 0; Round < 5000; ++Round )
    {
        std::string Haystack( Generator() % 12, 'a' );
        for ( char& Char : Haystack )
        {
            Char = static_cast<char>( 'a' + Generator() % 3 );
        }
        std::string Needle( Generator() % 3, 'a' );
        for ( char& Char : Needle )
        {
            Char = static_cast<char>( 'a' + Generator() % 3 );
        }
        const CString Text( Haystack.c_str() );
        const int32 Pos = static_cast<int32>( Generator() % 14 );
        const char Char = static_cast<char>( 'a' + Generator() % 3 );
        ASSERT_EQ( Text.Find( Char, Pos ), static_cast<int32>( Haystack.find( Char, Pos ) ) ) << "seed " << nSeed;
        ASSERT_EQ( Text.Find( CQorStringView( Needle.c_str() ), Pos ),
                   static_cast<int32>( Haystack.find( Needle, Pos ) ) )
            << "seed " << nSeed;
        ASSERT_EQ( Text.ReverseFind( Char, Pos ), static_cast<int32>( Haystack.rfind( Char, Pos ) ) )
            << "seed " << nSeed;
        ASSERT_EQ( Text.ReverseFind( CQorStringView( Needle.c_str() ), Pos ),
                   static_cast<int32>( Haystack.rfind( Needle, Pos ) ) )
            << "seed " << nSeed;
        ASSERT_EQ( Text.FindLast( Char ), static_cast<int32>( Haystack.rfind( Char ) ) ) << "seed " << nSeed;
        if ( Pos < Text.GetSize() )
        {
            ASSERT_EQ( Text.FindLast( Char, Pos ), static_cast<int32>( Haystack.rfind( Char, Pos ) ) )
                << "seed " << nSeed;
        }
        ASSERT_EQ( Text.FindLast( Needle.c_str() ), static_cast<int32>( Haystack.rfind( Needle ) ) )
            << "seed " << nSeed;
        ASSERT_EQ( Text.Count( Char ), static_cast<int32>( std::count( Haystack.begin(), Haystack.end(), Char ) ) );
    }
}

TEST( CString, SubstrMendsItsArguments )
{
    const CString Text( "abcdef" );
    EXPECT_EQ( Std( Text.Substr( 1, 3 ) ), "bc" );
    EXPECT_EQ( Std( Text.Substr( 2 ) ), "cdef" );
    EXPECT_EQ( Std( Text.Substr( 4, 99 ) ), "ef" );

    CAssertRecorder Asserts;
    EXPECT_EQ( Std( CString( "abc" ).Substr( 5, 2 ) ), "" );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "Substring start position out of bounds", "nEndPos >= nStartPos" } ) );
    Asserts.Clear();
    EXPECT_EQ( Std( Text.Substr( -2, 2 ) ), "ab" );
    EXPECT_EQ( Std( Text.Substr( 3, 1 ) ), "" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "nStartPos >= 0", "nEndPos >= nStartPos" } ) );

    const CString Zero( "ab\0cd", 5 );
    EXPECT_EQ( Zero.GetSize(), 5 );
    EXPECT_EQ( Std( Zero.Substr( 0, 5 ) ), "ab" );
}

TEST( CString, RemoveDiacriticsFoldsLatin1 )
{
    std::string AllHigh;
    for ( int32 Code = 128; Code < 256; ++Code )
    {
        AllHigh += static_cast<char>( Code );
    }
    CString Text( ( "ok" + AllHigh ).c_str() );
    Text.RemoveDiacritics();
    const std::string Folded = Std( Text );
    ASSERT_EQ( Folded.size(), 130u );
    EXPECT_EQ( Folded.substr( 0, 2 ), "ok" );
    EXPECT_EQ( Folded.substr( 2, 64 ), std::string( 64, '?' ) );
    EXPECT_EQ( Folded.substr( 66 ), "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo?ouuuuyty" );
}

TEST( CString, ConversionsToNumbers )
{
    EXPECT_EQ( CString( "-2.5" ).ToFixedPoint().GetRaw(), -250000 );
    EXPECT_EQ( CString( "-123" ).ToInt(), -123 );
    EXPECT_EQ( CString( "4294967295" ).ToUnsigned(), 4294967295u );
    EXPECT_EQ( CString( "-9223372036854775808" ).ToInt64(), std::numeric_limits<int64>::min() );
    EXPECT_EQ( CString( "18446744073709551615" ).ToUnsigned64(), std::numeric_limits<uint64>::max() );
    EXPECT_EQ( CString( "2.5" ).ToFloat(), 2.5f );
    EXPECT_EQ( CString( "-0.25" ).ToDouble(), -0.25 );
    EXPECT_EQ( CString( " 42abc" ).ToIntAtoi(), 42 );

    CAssertRecorder Asserts;
    EXPECT_EQ( CString( "1.000001" ).ToFixedPoint(), CFixedPoint() );
    EXPECT_EQ( CString( "x" ).ToFixedPoint(), CFixedPoint() );
    CString( "-1" ).ToUnsigned();
    CString( "2147483648" ).ToInt();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 4, "Result.ec == std::errc {}" ) );
}
