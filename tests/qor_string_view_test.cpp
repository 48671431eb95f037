#include "qor_core/qor_string_view.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace
{
std::string_view ToStd( CQorStringView View )
{
    return std::string_view( View.GetData(), static_cast<size_t>( View.GetSize() ) );
}

// A text over a small alphabet, so that searches find partial and repeated matches.
std::string RandomText( std::mt19937& Generator, int32 nMaxLength )
{
    std::uniform_int_distribution<int32> Length( 0, nMaxLength );
    std::uniform_int_distribution<int32> Letter( 0, 2 );
    std::string Text( static_cast<size_t>( Length( Generator ) ), 'a' );
    for ( char& Char : Text )
    {
        Char = static_cast<char>( 'a' + Letter( Generator ) );
    }
    return Text;
}
} // namespace

TEST( CQorStringView, InvariantIsCheckedWhenPointerSizeAndFlagAreGiven )
{
    CAssertRecorder Asserts;
    const char Buffer[] = { 'a', 'b', 'c', 'd' };
    CQorStringView( Buffer, 2, ENullTerminated::Yes );
    CQorStringView( nullptr, 3, ENullTerminated::No );
    CQorStringView( Buffer, 4, ENullTerminated::No );
    CQorStringView( "abc", 3, ENullTerminated::Yes );
    CQorStringView( nullptr, 0, ENullTerminated::No );
    const std::string Text = "( String != nullptr || Size == 0 ) && ( IsNullTerminated == ENullTerminated::No || "
                             "String[ Size ] == '\\0' )";
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ Text, Text } ) );
}

TEST( CQorStringView, TerminationFlagFollowsTheEnd )
{
    CQorStringView Prefix( "abc" );
    Prefix.RemovePrefix( 1 );
    EXPECT_TRUE( Prefix.IsNullTerminated() );
    EXPECT_EQ( ToStd( Prefix ), "bc" );

    CQorStringView Suffix( "abc" );
    Suffix.RemoveSuffix( 0 );
    EXPECT_TRUE( Suffix.IsNullTerminated() );
    Suffix.RemoveSuffix( 1 );
    EXPECT_FALSE( Suffix.IsNullTerminated() );
    EXPECT_EQ( ToStd( Suffix ), "ab" );

    const CQorStringView Text( "abc" );
    EXPECT_FALSE( Text.Substr( 1, 2 ).IsNullTerminated() );
    EXPECT_TRUE( Text.Substr( 1, 3 ).IsNullTerminated() );
    EXPECT_TRUE( Text.Substr( 1, 99 ).IsNullTerminated() );
    EXPECT_EQ( ToStd( Text.Substr( 1, 99 ) ), "bc" );
    EXPECT_FALSE( Suffix.Substr( 0 ).IsNullTerminated() );
}

TEST( CQorStringView, MisuseReportsItsCondition )
{
    CAssertRecorder Asserts;
    CQorStringView Text( "abc" );
    EXPECT_EQ( Text[ 2 ], 'c' );
    Text[ 3 ];
    Text.RemovePrefix( 4 );
    CQorStringView Short( "ab" );
    Short.RemoveSuffix( 3 );
    CQorStringView().Substr( 1, 1 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Pos < _Size", "Count <= _Size", "Count <= _Size",
                                                             "_String != nullptr || StartPos <= GetSize()" } ) );
}

TEST( CQorStringView, FindAgreesWithStandardSearch )
{
    const uint32 nSeed = 20240611;
    std::mt19937 Generator( nSeed );
    std::uniform_int_distribution<int32> Start( -1, 14 );
    for ( int Round = 0; Round < 400; ++Round )
    {
        const std::string Haystack = RandomText( Generator, 12 );
        const std::string Needle = RandomText( Generator, 3 );
        const int32 StartPos = std::max( 0, Start( Generator ) );
        const CQorStringView View( Haystack.c_str() );
        const size_t Expected = ToStd( View ).find( Needle, static_cast<size_t>( StartPos ) );
        ASSERT_EQ( View.Find( CQorStringView( Needle.c_str() ), StartPos ), static_cast<int32>( Expected ) )
            << "seed " << nSeed << ", round " << Round << ": '" << Needle << "' in '" << Haystack << "' from "
            << StartPos;
        if ( !Needle.empty() )
        {
            ASSERT_EQ( View.Find( Needle[ 0 ], StartPos ),
                       static_cast<int32>( ToStd( View ).find( Needle[ 0 ], static_cast<size_t>( StartPos ) ) ) )
                << "seed " << nSeed << ", round " << Round;
        }
        const int32 LastPos = Start( Generator );
        ASSERT_EQ( View.FindLastOf( CQorStringView( Needle.c_str() ), LastPos ),
                   LastPos < 0
                       ? -1
                       : static_cast<int32>( ToStd( View ).find_last_of( Needle, static_cast<size_t>( LastPos ) ) ) )
            << "seed " << nSeed << ", round " << Round;
    }
}

TEST( CQorStringView, FormatCheckPassesOnlyTerminatedText )
{
    CAssertRecorder Asserts;
    const char* pText = "abc";
    EXPECT_EQ( QorStrFmtCheck( CQorStringView( pText ) ), pText );

    const char* pEmpty = QorStrFmtCheck( CQorStringView() );
    EXPECT_STREQ( pEmpty, "" );
    EXPECT_TRUE( Asserts.Texts().empty() );

    const char* pCut = QorStrFmtCheck( CQorStringView( pText, 2, ENullTerminated::No ) );
    EXPECT_STREQ( pCut, "" );
    EXPECT_EQ( pCut, pEmpty );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Non empty, non null terminated string views not valid for QorStrFmtCheck. "
                                         "To format a non-null terminated string, use \"%.*s\", [length], "
                                         "[data pointer]" } );
}

TEST( CQorStringView, IsDecimalNumberHasNoMinimum )
{
    const std::pair<const char*, bool> Cases[] = {
        { "", true },     { "-", true },   { ".", true },      { "-.", true },   { "-.5", true },
        { "12.5", true }, { "1.", true },  { "1.2.3", false }, { "1-2", false }, { "--1", false },
        { "+1", false },  { " 1", false }, { "1e5", false },
    };
    for ( const auto& [pText, bExpected] : Cases )
    {
        EXPECT_EQ( CQorStringView( pText ).IsDecimalNumber(), bExpected ) << "'" << pText << "'";
    }
}

TEST( CQorStringView, ParseYesNoTakesExactlyYesOrNo )
{
    const std::pair<const char*, int> Cases[] = { { "yes", 1 },   { "no", 0 }, { "Yes", -1 }, { "NO", -1 },
                                                  { "yes ", -1 }, { "y", -1 }, { "", -1 },    { "nope", -1 } };
    for ( const auto& [pText, nExpected] : Cases )
    {
        const CQorOptional<bool> Result = CQorStringView( pText ).ParseYesNo();
        EXPECT_EQ( Result.IsSet() ? int( Result.GetValue() ) : -1, nExpected ) << "'" << pText << "'";
    }
}

TEST( CQorStringView, CaseInsensitiveComparisons )
{
    struct SCase
    {
        const char* pText;
        const char* pOther;
        int32 nCompare;
        bool bStartsWith, bEndsWith, bContains;
    };
    const SCase Cases[] = {
        { "Hello", "hello", 0, true, true, true },   { "Hello", "HELLO!", -1, false, false, false },
        { "Hello!", "hello", 1, true, false, true }, { "abc", "ABD", -1, false, false, false },
        { "abd", "ABC", 1, false, false, false },    { "", "", 0, true, true, false },
        { "xHeLLo", "llo", 1, false, true, true },   { "a", "", 1, true, true, true },
    };
    for ( const SCase& Case : Cases )
    {
        const CQorStringView Text( Case.pText );
        EXPECT_EQ( Text.CompareNoCase( Case.pOther ), Case.nCompare ) << Case.pText << " / " << Case.pOther;
        EXPECT_EQ( Text.StartsWithNoCase( Case.pOther ), Case.bStartsWith ) << Case.pText << " / " << Case.pOther;
        EXPECT_EQ( Text.EndsWithNoCase( Case.pOther ), Case.bEndsWith ) << Case.pText << " / " << Case.pOther;
        EXPECT_EQ( Text.ContainsNoCase( Case.pOther ), Case.bContains ) << Case.pText << " / " << Case.pOther;
    }
    EXPECT_TRUE( CQorStringView( "Hello" ).StartsWith( "He" ) );
    EXPECT_FALSE( CQorStringView( "Hello" ).StartsWith( "he" ) );
    EXPECT_TRUE( CQorStringView( "Hello" ).EndsWith( "llo" ) );
    EXPECT_FALSE( CQorStringView( "lo" ).EndsWith( "llo" ) );
    EXPECT_EQ( CQorStringView( "banana" ).Count( 'a' ), 3 );
}

TEST( CQorStringView, TrimsRemoveFromTheirEnds )
{
    using FTrim = CQorStringView& ( CQorStringView::* )( CQorStringView );
    const FTrim Start = &CQorStringView::TrimStart, End = &CQorStringView::TrimEnd, Both = &CQorStringView::Trim,
                StartUntil = &CQorStringView::TrimStartUntil, EndUntil = &CQorStringView::TrimEndUntil;
    const struct
    {
        FTrim pTrim;
        const char* pText;
        const char* pSet;
        const char* pExpected;
        bool bTerminated;
    } Cases[] = {
        { Start, "  ab  ", " ", "ab  ", true },
        { End, "  ab  ", " ", "  ab", false },
        { Both, " \tab\t ", " \t", "ab", false },
        { Both, "xxxx", "x", "", true },
        { Both, "ab", "", "ab", true },
        { End, "ab", "xy", "ab", true },
        { StartUntil, "--key=value", "=", "=value", true },
        { EndUntil, "a.b.txt", ".", "a.b.", false },
        { StartUntil, "abc", "x", "", true },
        { EndUntil, "", "x", "", true },
    };
    for ( const auto& Case : Cases )
    {
        CQorStringView Text( Case.pText );
        EXPECT_EQ( &( Text.*Case.pTrim )( Case.pSet ), &Text );
        EXPECT_EQ( ToStd( Text ), Case.pExpected ) << "'" << Case.pText << "' by '" << Case.pSet << "'";
        EXPECT_EQ( Text.IsNullTerminated(), Case.bTerminated ) << "'" << Case.pText << "' by '" << Case.pSet << "'";
    }
}
