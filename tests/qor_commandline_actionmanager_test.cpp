#include "qor_core/qor_commandline_actionmanager.h"

#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

namespace
{
const SCommandLineOption g_ExitCode{ "test_exit_code", "The code the test actions give",
                                    COMMAND_LINE_OPTION_TYPE_INTEGER };
const SCommandLineOptionRegistration g_ExitCodeRegistration( g_ExitCode );

// The actions give the code of the command line they are handed, so a wrong command line shows.
int32 ExitWithOption( const CQorCommandLine& CommandLine )
{
    return CommandLine.GetInt( g_ExitCode ).GetValueOr( 3 );
}
int32 ExitWithFour( const CQorCommandLine& )
{
    return 4;
}
const SCommandLineActionRegistration g_Actions[] = {
    SCommandLineActionRegistration(
        { "Gives the code", "test_action_main", COMMAND_LINE_INIT_STAGE_MAIN, &ExitWithOption } ),
    SCommandLineActionRegistration(
        { "Gives the code", "test_action_application", COMMAND_LINE_INIT_STAGE_APPLICATION, &ExitWithOption } ),
    SCommandLineActionRegistration(
        { "Gives 4", "test_action_application_second", COMMAND_LINE_INIT_STAGE_APPLICATION, &ExitWithFour } ),
};

// In a child process with standard output closed and no controlling terminal: runs the application stage, tells
// on standard error what the log got, and ends with the action's exit code.
void RunWithStandardOutputClosed( const std::vector<std::string>& Arguments )
{
    ::setsid();
    ::close( STDOUT_FILENO );
    CLogRecorder Log;
    CCommandLineScope CommandLine( Arguments );
    const int32 ExitCode = CommandLine.Get().RunActions( COMMAND_LINE_INIT_STAGE_APPLICATION ).GetValueOr( 99 );
    std::string Logged = "logged " + std::to_string( Log.Texts().size() ) + ":";
    for ( const std::string& Text : Log.Texts() )
    {
        Logged += " " + Text;
    }
    std::fputs( Logged.c_str(), stderr );
    std::_Exit( ExitCode );
}
} // namespace

TEST( CQorCommandLineActions, RunTheFirstActionOfTheStageThatIsOnTheCommandLine )
{
    // The arguments, the stage, and the exit code of the action run.
    const std::tuple<std::vector<std::string>, int32, std::string> Table[] = {
        { {}, COMMAND_LINE_INIT_STAGE_MAIN, "none" },
        { { "--test_action_main", "--test_exit_code=7" }, COMMAND_LINE_INIT_STAGE_MAIN, "7" },
        { { "--test_action_main" }, COMMAND_LINE_INIT_STAGE_HALVORSUND, "none" },
        { { "--test_action_application_second" }, COMMAND_LINE_INIT_STAGE_APPLICATION, "4" },
        { { "--test_action_application_second", "--test_action_application" }, COMMAND_LINE_INIT_STAGE_APPLICATION,
          "3" },
        { { "--test_action_application", "--test_action_main", "--test_exit_code=0" }, COMMAND_LINE_INIT_STAGE_MAIN,
          "0" },
    };
    for ( const auto& [ Arguments, Stage, Expected ] : Table )
    {
        CCommandLineScope CommandLine( Arguments );
        const CQorOptional<int32> ExitCode = CommandLine.Get().RunActions( Stage );
        EXPECT_EQ( ExitCode ? std::to_string( ExitCode.GetValue() ) : "none", Expected )
            << ::testing::PrintToString( Arguments ) << " at stage " << Stage;
    }
}

TEST( CQorCommandLineActions, TheExitCodeEndsTheProgram )
{
    EXPECT_EXIT(
        {
            CCommandLineScope CommandLine( { "--test_action_application", "--test_exit_code=42" } );
            std::exit( CommandLine.Get().RunActions( COMMAND_LINE_INIT_STAGE_APPLICATION ).GetValueOr( 1 ) );
        },
        ::testing::ExitedWithCode( 42 ), "" );
}

// The help action prints the usage of every registered option and action, under the program's file name, and
// nothing else: with both streams open, no console is connected.
TEST( CQorCommandLineActions, HelpPrintsTheUsageToStandardOutputAndGivesZero )
{
    CString Expected;
    NCommandLine::AppendUsage( Expected, "qor_app", CQorCommandLine::GetOptions(), CQorCommandLine::GetActions() );
    CCommandLineScope CommandLine( { "--command_line_help" }, "/opt/games/bin/qor_app" );
    testing::internal::CaptureStdout();
    const CQorOptional<int32> ExitCode = CommandLine.Get().RunActions( COMMAND_LINE_INIT_STAGE_MAIN );
    const std::string Printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ( ExitCode.GetValueOr( -1 ), 0 );
    EXPECT_EQ( Printed, Expected.GetStdString() );
    EXPECT_NE( Printed.find( "\n  --command_line_help                           main            Output all command "
                             "line arguments and actions\n" ),
               std::string::npos );
}

TEST( CQorCommandLineActions, AnActionWithoutAFunctionIsRefused )
{
    const int32 nActions = CQorCommandLine::GetActions().GetSize();
    CAssertRecorder Asserts;
    CQorCommandLine::RegisterAction( { "Does nothing", "test_action_empty", COMMAND_LINE_INIT_STAGE_MAIN, nullptr } );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Commandline action is missing `_OnExecute`" } );
    EXPECT_EQ( CQorCommandLine::GetActions().GetSize(), nActions );
}

// Standard output is closed: the action connects it to the terminal, and there is none to connect to.
TEST( CQorCommandLineActions, AClosedStandardOutputIsConnectedUnlessNoConsoleIsGiven )
{
    EXPECT_EXIT( RunWithStandardOutputClosed( { "--test_action_application" } ), ::testing::ExitedWithCode( 3 ),
                 "logged 1: Could not connect stdout to console for CLI action\\.\n" );
    EXPECT_EXIT( RunWithStandardOutputClosed( { "--test_action_application", "--no-console" } ),
                 ::testing::ExitedWithCode( 3 ), "logged 0:" );
}
