#include "qor_core/qor_string.h"

#include "qor_core/qor_charconv.h"
#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

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
    for ( int Round = 0; Round < 300; ++Round )
    {
        const int64 Raw = Round == 0 ? std::numeric_limits<int64>::min()
                                     : static_cast<int64>( Generator() ) >> ( Generator() % 64 );
        const CFixedPoint Value = CFixedPoint::FromRaw( Raw );
        const std::string Shortest = FixedText( Value );
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", raw " << Raw );
        ASSERT_EQ( Std( CString( Value ) ), Shortest );

        // With a decimal count the text is cut behind that many of the five digits.
        const size_t Dot = Shortest.find( '.' );
        const std::string Whole = Shortest.substr( 0, Dot );
        std::string Digits = Dot == std::string::npos ? "" : Shortest.substr( Dot + 1 );
        Digits.resize( 5, '0' );
        ASSERT_EQ( Std( CString( Value, 0 ) ), Whole );
        for ( int32 Decimals = 1; Decimals <= 5; ++Decimals )
        {
            ASSERT_EQ( Std( CString( Value, Decimals ) ), Whole + "." + Digits.substr( 0, Decimals ) ) << Decimals;
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
    // Texts over a small alphabet, so that searches find partial and repeated matches.
    auto RandomText = [ & ]( uint32 nMaxLength )
    {
        std::string Text( Generator() % ( nMaxLength + 1 ), 'a' );
        for ( char& Char : Text )
        {
            Char = static_cast<char>( 'a' + Generator() % 3 );
        }
        return Text;
    };
    for ( int Round = 0; Round < 400; ++Round )
    {
        const std::string Haystack = RandomText( 11 );
        const std::string Needle = RandomText( 2 );
        const CString Text( Haystack.c_str() );
        const CQorStringView NeedleView( Needle.c_str() );
        const int32 Pos = static_cast<int32>( Generator() % 14 );
        const char Char = static_cast<char>( 'a' + Generator() % 3 );
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", round " << Round );
        ASSERT_EQ( Text.Find( Char, Pos ), static_cast<int32>( Haystack.find( Char, Pos ) ) );
        ASSERT_EQ( Text.Find( NeedleView, Pos ), static_cast<int32>( Haystack.find( Needle, Pos ) ) );
        ASSERT_EQ( Text.ReverseFind( Char, Pos ), static_cast<int32>( Haystack.rfind( Char, Pos ) ) );
        ASSERT_EQ( Text.ReverseFind( NeedleView, Pos ), static_cast<int32>( Haystack.rfind( Needle, Pos ) ) );
        ASSERT_EQ( Text.FindLast( Char ), static_cast<int32>( Haystack.rfind( Char ) ) );
        if ( Pos < Text.GetSize() )
        {
            ASSERT_EQ( Text.FindLast( Char, Pos ), static_cast<int32>( Haystack.rfind( Char, Pos ) ) );
        }
        ASSERT_EQ( Text.FindLast( Needle.c_str() ), static_cast<int32>( Haystack.rfind( Needle ) ) );
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

TEST( CString, NumberTexts )
{
    const std::pair<CString, const char*> Cases[] = {
        { CString( 2.0f ), "2" },
        { CString( 0.125f ), "0.125" },
        { CString( 1.5 ), "1.5" },
        { CString( 1.0 ), "1" },
        { CString( -0.5f ), "-0.5" },
        { CString( 2.0, 2 ), "2.00" },
        { CString( 1.23456f, 3 ), "1.235" },
        { CString( CFixedPoint::FromRaw( 123456 ) ), "1.23456" },
        { CString( CFixedPoint::FromRaw( -50000 ) ), "-0.5" },
        { CString( CFixedPoint::FromRaw( 100000 ) ), "1" },
        { CString( CFixedPoint::FromRaw( 129999 ), 2 ), "1.29" },
        { CString( CFixedPoint::FromRaw( -100001 ), 3 ), "-1.000" },
        { CString( CFixedPoint::FromRaw( 199999 ), 0 ), "1" },
        { CString( 'x' ), "x" },
    };
    for ( const auto& [Text, pExpected] : Cases )
    {
        EXPECT_EQ( Std( Text ), pExpected );
    }
    CAssertRecorder Asserts;
    CString( CFixedPoint::FromRaw( 150000 ), 6 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Decimals > 0 && Decimals <= 5" } );
}

TEST( CString, Classifiers )
{
    struct SCase
    {
        const char* pText;
        bool bBlank, bDigits, bInteger, bHexadecimal, bDecimal, bNonAscii, bLowerCase;
    };
    const SCase Cases[] = {
        { "", true, false, false, false, true, false, true },
        { "   ", true, false, false, false, false, false, true },
        { " \t", false, false, false, false, false, false, true },
        { "0123", false, true, true, true, true, false, true },
        { "-12", false, false, true, false, true, false, true },
        { "-", false, false, false, false, true, false, true },
        { "1-2", false, false, false, false, false, false, true },
        { "deadBEEF", false, false, false, true, false, false, false },
        { "0xff", false, false, false, false, false, false, true },
        { "1.5", false, false, false, false, true, false, true },
        { "abc def!", false, false, false, false, false, false, true },
        { "caf\xe9", false, false, false, false, false, true, true },
        { "Abz", false, false, false, false, false, false, false },
    };
    for ( const SCase& Case : Cases )
    {
        const CString Text( Case.pText );
        EXPECT_EQ( Text.IsBlank(), Case.bBlank ) << "'" << Case.pText << "'";
        EXPECT_EQ( Text.IsDigits(), Case.bDigits ) << "'" << Case.pText << "'";
        EXPECT_EQ( Text.IsInteger(), Case.bInteger ) << "'" << Case.pText << "'";
        EXPECT_EQ( Text.IsHexadecimal(), Case.bHexadecimal ) << "'" << Case.pText << "'";
        EXPECT_EQ( Text.IsDecimalNumber(), Case.bDecimal ) << "'" << Case.pText << "'";
        EXPECT_EQ( Text.HasNonAscii(), Case.bNonAscii ) << "'" << Case.pText << "'";
        EXPECT_EQ( Text.IsLowerCase(), Case.bLowerCase ) << "'" << Case.pText << "'";
    }
    EXPECT_TRUE( CString( "abba" ).ConsistsOf( "ab" ) );
    EXPECT_FALSE( CString( "abc" ).ConsistsOf( "ab" ) );
    EXPECT_TRUE( CString( "" ).ConsistsOf( "ab" ) );
}

TEST( CString, ReplaceCaseAndTrim )
{
    CString Text( "a.b.c" );
    Text.Replace( '.', '/' );
    EXPECT_EQ( Std( Text ), "a/b/c" );

    const std::tuple<const char*, const char*, const char*, int32, bool, const char*> FirstCases[] = {
        { "one two one", "one", "1", 0, true, "1 two one" },
        { "one two one", "one", "1", 1, true, "one two 1" },
        { "one two one", "three", "3", 0, false, "one two one" },
    };
    for ( const auto& [pText, pOld, pNew, nStart, bFound, pExpected] : FirstCases )
    {
        CString Replaced( pText );
        EXPECT_EQ( Replaced.ReplaceFirst( pOld, pNew, nStart ), bFound ) << pText << " " << pOld;
        EXPECT_EQ( Std( Replaced ), pExpected );
    }
    const std::tuple<const char*, const char*, const char*, const char*> AllCases[] = {
        { "aa", "a", "aa", "aaaa" },
        { "a-b-c", "-", "", "abc" },
        { "xyx", "x", "yx", "yxyyx" },
        { "abc", "d", "e", "abc" },
    };
    for ( const auto& [pText, pFrom, pTo, pExpected] : AllCases )
    {
        CString Replaced( pText );
        Replaced.ReplaceAll( pFrom, pTo );
        EXPECT_EQ( Std( Replaced ), pExpected ) << pText << " " << pFrom << " " << pTo;
    }

    CString Mixed( "hELLO wORLD" );
    Mixed.ToLower();
    EXPECT_EQ( Std( Mixed ), "hello world" );
    Mixed.FirstToUpper();
    EXPECT_EQ( Std( Mixed ), "Hello world" );
    Mixed.ToUpper();
    EXPECT_EQ( Std( Mixed ), "HELLO WORLD" );
    Mixed.FirstToLower();
    EXPECT_EQ( Std( Mixed ), "hELLO WORLD" );

    const CString Padded( "--ab-c--" );
    EXPECT_EQ( Std( Padded.Trim( "-" ) ), "ab-c" );
    CString InPlace( " \t x \t" );
    InPlace.TrimInPlace( " \t" );
    EXPECT_EQ( Std( InPlace ), "x" );
}
