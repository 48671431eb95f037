#include "qor_core/qor_string_view.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

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
    for ( int Round = 0; Round < 5000; ++Round )
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
