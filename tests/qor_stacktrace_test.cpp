// Built with debug information and without optimisation in every preset (tests/CMakeLists.txt), so that the
// chains below keep their frames and their lines.

#include "qor_core/qor_stacktrace.h"

#include "qor_core/log_deprecated.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace
{
struct SWalk
{
    int32 nSkip;
    int32 nMaxFrames;
    int32 nMaxRepeats;
    CString Trace;
    // The source line of each call in the chain, outermost first.
    std::vector<int> Lines;
};

__attribute__( ( noinline ) ) void ChainInner( SWalk& Walk )
{
    Walk.Lines.push_back( __LINE__ + 1 );
    WalkCallStack( &Walk.Trace, Walk.nSkip, Walk.nMaxFrames, Walk.nMaxRepeats );
}

__attribute__( ( noinline ) ) void ChainMiddle( SWalk& Walk )
{
    Walk.Lines.push_back( __LINE__ + 1 );
    ChainInner( Walk );
}

__attribute__( ( noinline ) ) void ChainOuter( SWalk& Walk )
{
    Walk.Lines.push_back( __LINE__ + 1 );
    ChainMiddle( Walk );
}

__attribute__( ( noinline ) ) void Recurse( SWalk& Walk, int nDepth )
{
    if ( nDepth == 0 )
    {
        WalkCallStack( &Walk.Trace, Walk.nSkip, Walk.nMaxFrames, Walk.nMaxRepeats );
        return;
    }
    Recurse( Walk, nDepth - 1 );
}

std::vector<std::string> LinesOf( const std::string& Text )
{
    std::vector<std::string> Lines;
    std::istringstream Stream( Text );
    for ( std::string Line; std::getline( Stream, Line ); )
    {
        Lines.push_back( Line );
    }
    return Lines;
}

bool EndsWith( const std::string& Text, const std::string& End )
{
    return Text.size() >= End.size() && Text.compare( Text.size() - End.size(), End.size(), End ) == 0;
}

// "<this file> (<line>): (anonymous namespace)::<function>(" opens the frame's line.
::testing::AssertionResult IsFrame( const std::string& Line, int nLine, const std::string& Function )
{
    const std::string Opening =
        std::string( __FILE__ ) + " (" + std::to_string( nLine ) + "): (anonymous namespace)::" + Function + "(";
    if ( Line.rfind( Opening, 0 ) == 0 )
    {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "\"" << Line << "\" doesn't open with \"" << Opening << "\"";
}
} // namespace

// Skip and the frame limit choose a window of the chain, innermost first.
TEST( QorStackTrace, KnownChainNamesItsFunctionsInOrderWithFileAndLine )
{
    // Skip, the frame limit, and the functions of the trace.
    const std::tuple<int32, int32, std::vector<std::string>> Rows[] = {
        { 0, 3, { "ChainInner", "ChainMiddle", "ChainOuter" } },
        { 1, 2, { "ChainMiddle", "ChainOuter" } },
        { 2, 1, { "ChainOuter" } },
        { 0, 0, {} },
    };
    const std::vector<std::string> Chain = { "ChainInner", "ChainMiddle", "ChainOuter" };
    for ( const auto& [ nSkip, nMaxFrames, Functions ] : Rows )
    {
        SWalk Walk{ nSkip, nMaxFrames, 0, {}, {} };
        ChainOuter( Walk );
        const std::vector<std::string> Frames = LinesOf( Walk.Trace.GetString() );
        ASSERT_EQ( Frames.size(), Functions.size() ) << Walk.Trace.GetString();
        for ( size_t nFrame = 0; nFrame < Frames.size(); ++nFrame )
        {
            const size_t nInChain = nFrame + size_t( nSkip );
            EXPECT_TRUE( IsFrame( Frames[nFrame], Walk.Lines[2 - nInChain], Functions[nFrame] ) );
            EXPECT_EQ( Chain[nInChain], Functions[nFrame] );
        }
    }
}

TEST( QorStackTrace, WithoutALimitTheWalkReachesTheProgramsStart )
{
    SWalk Walk{ 0, 200, 0, {}, {} };
    ChainOuter( Walk );
    const std::vector<std::string> Frames = LinesOf( Walk.Trace.GetString() );
    ASSERT_GT( Frames.size(), 5u ) << Walk.Trace.GetString();
    EXPECT_TRUE( IsFrame( Frames[0], Walk.Lines[2], "ChainInner" ) );
    // The start-up code has no debug information: address, module, the file's placeholder, and the function
    // from the symbol table.
    const std::string& Start = Frames.back();
    const std::string Rest = " (qor_core_tests): (filename not available): _start";
    const size_t nHexEnd = Start.find_first_not_of( "0123456789abcdef", 2 );
    EXPECT_TRUE( Start.rfind( "0x", 0 ) == 0 && nHexEnd > 2 && Start.substr( nHexEnd ) == Rest )
        << Walk.Trace.GetString();
}

// Frames that repeat one address are a recursion: past the limit, the walk ends with the error line.
TEST( QorStackTrace, EndlessRecursionStopsAtTheRepeatLimit )
{
    SWalk Walk{ 0, 200, 5, {}, {} };
    Recurse( Walk, 20 );
    const std::vector<std::string> Frames = LinesOf( Walk.Trace.GetString() );
    ASSERT_EQ( Frames.size(), 7u ) << Walk.Trace.GetString();
    for ( size_t nFrame = 0; nFrame < 6; ++nFrame )
    {
        EXPECT_NE( Frames[nFrame].find( "(anonymous namespace)::Recurse(" ), std::string::npos ) << Frames[nFrame];
    }
    EXPECT_EQ( Frames[6].rfind( "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: 0x", 0 ), 0u )
        << Frames[6];

    SWalk Unlimited{ 0, 200, 0, {}, {} };
    Recurse( Unlimited, 20 );
    EXPECT_EQ( Unlimited.Trace.Find( "ERROR" ), -1 ) << Unlimited.Trace.GetString();
}

TEST( QorStackTrace, LogStackTraceWritesTheTextThenTheCallersFrames )
{
    SetLogger( {} );
    testing::internal::CaptureStderr();
    const int nLine = __LINE__ + 1;
    LogStackTrace( 2, "Where are we", 1, 1 );
    const std::vector<std::string> Lines = LinesOf( testing::internal::GetCapturedStderr() );
    ASSERT_EQ( Lines.size(), 2u );
    EXPECT_TRUE( EndsWith( Lines[0], "] Where are we" ) ) << Lines[0];
    const std::string Function = "QorStackTrace_LogStackTraceWritesTheTextThenTheCallersFrames_Test::TestBody()";
    EXPECT_TRUE( EndsWith( Lines[1], " (" + std::to_string( nLine ) + "): " + Function ) ) << Lines[1];
}
