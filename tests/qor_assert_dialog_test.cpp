// The assertion dialog as a person meets it: the probe program (qor_assert_probe.cpp) runs in a terminal of a
// private tmux server; the test reads the screen and types the answers. Every wait is bounded, and the server
// goes with the test.

#include "tests/console/terminal_test_utils.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace
{
const std::string c_Probe = QOR_ASSERT_PROBE;
const std::string c_Prompt = "Choice (1-4, Enter for 2):";
const std::string c_ProbeSource = "qor_assert_probe.cpp";
// The probe, asked in a terminal without CI, whatever the test program's own environment holds.
const std::string c_AskedProbe = "env -u CI " + c_Probe;
} // namespace

// Each row answers the probe's site, which fails in three rounds, and reads what came of it.
TEST( QorAssertDialog, EachChoiceHasItsEffect )
{
    QOR_REQUIRE_TMUX();
    // The answers typed; then the dialogs shown, the dumps, the log-only reports, and log-only mode at the end.
    const std::tuple<std::vector<std::string>, int, int, int, bool> Rows[] = {
        { { "3" }, 1, 0, 0, false },            // "Always ignore": the site falls silent.
        { { "2", "3" }, 2, 0, 0, false },       // "Ignore": the site fires again.
        { { "", "3" }, 2, 0, 0, false },        // Enter takes "Ignore".
        { { "1", "3" }, 2, 1, 0, false },       // "Create Dump": a break is asked for and the dump handler runs.
        { { "x", "12", "3" }, 1, 0, 0, false }, // No choice: asked again.
        { { "4", "2" }, 1, 0, 1, true },        // "Disable Pop-ups": asked again; the next failure is logged once.
    };
    for ( const auto& [ Answers, nDialogs, nDumps, nLogOnlyReports, bLogOnlyAtEnd ] : Rows )
    {
        const std::string Typed = testing::PrintToString( Answers );
        CTerminal Terminal( c_AskedProbe );
        ASSERT_EQ( Terminal.Error(), "" );
        for ( size_t nAnswer = 0; nAnswer < Answers.size(); ++nAnswer )
        {
            const std::string Shown = Terminal.WaitFor( c_Prompt, int( nAnswer + 1 ) );
            ASSERT_EQ( CountOf( Shown, c_Prompt ), int( nAnswer + 1 ) ) << Typed << "\n" << Shown;
            Terminal.Type( Answers[nAnswer] );
        }
        const std::string Shown = Terminal.WaitFor( "command exit " );
        SCOPED_TRACE( Typed + "\n" + Shown );
        EXPECT_EQ( CountOf( Shown, "command exit 0" ), 1 );
        EXPECT_EQ( CountOf( Shown, c_Prompt ), int( Answers.size() ) );
        EXPECT_EQ( CountOf( Shown, "Assertion failed.\nAssertion:   nRound < 0\n\n" ), nDialogs );
        EXPECT_EQ( CountOf( Shown, "[1] Create Dump  [2] Ignore  [3] Always ignore  [4] Disable Pop-ups\n" ),
                   int( Answers.size() ) );
        EXPECT_EQ( CountOf( Shown, "dump handler called" ), nDumps );
        EXPECT_EQ( CountOf( Shown, "Assertion failed: " ), nLogOnlyReports );
        EXPECT_EQ( CountOf( Shown, std::string( "round 3 done, log-only " ) + ( bLogOnlyAtEnd ? "1" : "0" ) ), 1 );
    }
}

TEST( QorAssertDialog, TwoThreadsAreAskedOneAtATime )
{
    QOR_REQUIRE_TMUX();
    CTerminal Terminal( c_AskedProbe + " threads" );
    ASSERT_EQ( Terminal.Error(), "" );
    // Both reports reach the debugger channel before the dialog's lock.
    Terminal.WaitFor( "File:        " );
    std::string Shown = Terminal.WaitFor( "File:        ", 2 );
    ASSERT_EQ( CountOf( Shown, "File:        " ), 2 ) << Shown;
    Shown = Terminal.WaitFor( c_Prompt );
    std::this_thread::sleep_for( std::chrono::milliseconds( 300 ) );
    Shown = Terminal.Screen();
    EXPECT_EQ( CountOf( Shown, c_Prompt ), 1 ) << Shown;
    Terminal.Type( "3" );
    Shown = Terminal.WaitFor( c_Prompt, 2 );
    EXPECT_EQ( CountOf( Shown, c_Prompt ), 2 ) << Shown;
    Terminal.Type( "3" );
    Shown = Terminal.WaitFor( "command exit " );
    EXPECT_EQ( CountOf( Shown, "probe end\ncommand exit 0" ), 1 ) << Shown;
    EXPECT_EQ( CountOf( Shown, "Assertion:   nFirst < 0\n\n" ), 2 ) << "the log line and the dialog\n" << Shown;
    EXPECT_EQ( CountOf( Shown, "Assertion:   nSecond < 0\n\n" ), 2 ) << "the log line and the dialog\n" << Shown;
}

TEST( QorAssertDialog, UnderADebuggerTheButtonsReadDebugAndAbort )
{
    QOR_REQUIRE_TMUX();
    if ( std::system( "command -v gdb >/dev/null 2>&1" ) != 0 )
    {
        GTEST_SKIP() << "gdb is not installed";
    }
    CTerminal Terminal( "env -u CI gdb -q -batch -ex \"set disable-randomization off\" -ex run --args " + c_Probe );
    ASSERT_EQ( Terminal.Error(), "" );
    std::string Shown = Terminal.WaitFor( c_Prompt );
    if ( CountOf( Shown, c_Prompt ) == 0 && CountOf( Shown, "ptrace" ) > 0 )
    {
        GTEST_SKIP() << "the debugger can't attach here:\n" << Shown;
    }
    ASSERT_EQ( CountOf( Shown, "[1] Debug  [2] Ignore  [3] Always ignore  [4] Abort\n" ), 1 ) << Shown;
    // "Abort" ends the program at once, with status 0, before the round is over.
    Terminal.Type( "4" );
    Shown = Terminal.WaitFor( "command exit " );
    EXPECT_EQ( CountOf( Shown, "exited normally]" ), 1 ) << Shown;
    EXPECT_EQ( CountOf( Shown, "round 1 done" ), 0 ) << Shown;
    EXPECT_EQ( CountOf( Shown, c_Prompt ), 1 ) << Shown;
}

TEST( QorAssertDialog, WithCISetATerminalIsNotAsked )
{
    QOR_REQUIRE_TMUX();
    CTerminal Terminal( "env CI=1 " + c_Probe );
    ASSERT_EQ( Terminal.Error(), "" );
    const std::string Shown = Terminal.WaitFor( "command exit " );
    EXPECT_EQ( CountOf( Shown, "probe end\ncommand exit 0" ), 1 ) << Shown;
    EXPECT_EQ( CountOf( Shown, c_Prompt ), 0 ) << Shown;
    EXPECT_EQ( CountOf( Shown, "Assertion failed:\n" ), 1 ) << "reported once, then silent\n" << Shown;
}

// No terminal to open: the report is logged, the site silenced, and the program goes on.
TEST( QorAssertDialog, WithoutATerminalNobodyIsAsked )
{
    bool bSucceeded = false;
    const std::string Output = RunShell( "setsid -w env -u CI timeout 60 " + c_Probe + " </dev/null", &bSucceeded );
    EXPECT_TRUE( bSucceeded ) << Output;
    EXPECT_EQ( CountOf( Output, "Assertion failed:\n" ), 1 ) << Output;
    EXPECT_EQ( CountOf( Output, "] Assertion:   nRound < 0\n\n" ), 1 ) << Output;
    EXPECT_EQ( CountOf( Output, c_ProbeSource + "(" ), 2 ) << "the debugger text and the log line\n" << Output;
    EXPECT_EQ( CountOf( Output, "Choice" ), 0 ) << Output;
    EXPECT_EQ( CountOf( Output, "round 3 done, log-only 0\nprobe end\n" ), 1 ) << Output;
}
