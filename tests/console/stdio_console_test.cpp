#include "qor_core/console/stdio_console.h"

#include "qor_core/console/tweakablevariable.h"

#include "tests/console/terminal_test_utils.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace
{
// Runs Input through the loop over memory streams and returns what it wrote.
std::string RunOver( CConsoleCmdManager& Manager, const std::string& Input, int32& nLines )
{
    std::FILE* pIn = fmemopen( const_cast<char*>( Input.data() ), Input.size(), "r" );
    char* pOutput = nullptr;
    size_t nOutput = 0;
    std::FILE* pOut = open_memstream( &pOutput, &nOutput );
    nLines = RunStdioConsole( pIn, pOut, Manager );
    std::fclose( pIn );
    std::fclose( pOut );
    std::string Output( pOutput, nOutput );
    std::free( pOutput );
    return Output;
}
} // namespace

TEST( StdioConsole, AnswersEachLineUntilExit )
{
    CConsoleCmdManager Manager;
    int32 Number = 5;
    CTweakable::RegisterWith<CTweakableMinMax<int32>>( Manager, &Number, "Number", "", 0, 10 );
    const std::string Overlong( CConsoleCmdManager::c_MaxLineLength + 500, 'x' );
    int32 nLines = 0;
    const std::string Output =
        RunOver( Manager, "Number 7\r\nNope\n\n" + Overlong + "\nNumber x\n\"open\nexit\nNumber 1\n", nLines );
    EXPECT_EQ( Output, "> Value 7\n> Unknown command\n> Empty command line.\n> Command line longer than 1024 "
                       "characters.\n> Invalid value 'x'. Value 7\n> Quote left open in command line.\n> \n" );
    EXPECT_EQ( nLines, 6 );
    EXPECT_EQ( Number, 7 );

    // The end of the input ends the loop as "exit" does, also behind a line without its end.
    EXPECT_EQ( RunOver( Manager, "Number 3", nLines ), "> Value 3\n> \n" );
    EXPECT_EQ( nLines, 1 );
    EXPECT_EQ( RunOver( Manager, "", nLines ), "> \n" );
    EXPECT_EQ( nLines, 0 );
    EXPECT_TRUE( OpenConsole() );
    EXPECT_TRUE( CloseConsole() );
}

TEST( StdioConsole, RunsInATerminal )
{
    QOR_REQUIRE_TMUX();
    CTerminal Terminal( QOR_STDIO_CONSOLE_PROGRAM );
    ASSERT_EQ( Terminal.Error(), "" );
    // The pane keeps no trailing blanks: the prompt shows as ">".
    ASSERT_GE( CountOf( Terminal.WaitFor( ">" ), ">" ), 1 ) << Terminal.Screen();
    // Each line typed, and the answer the pane must show.
    const std::pair<const char*, const char*> Lines[] = {
        { "Test.Number 42", "Value 42" },
        { "Test.Echo \"a b\" c", "[a b][c]" },
        { "Test.Number 1000", "Value 100" },
        { "Test.Nope", "Unknown command" },
        { "Test.Number \"5", "Quote left open in command line." },
        { "exit", "command exit 0" },
    };
    std::string Shown;
    for ( const auto& [ pLine, pAnswer ] : Lines )
    {
        Terminal.Type( pLine );
        Shown = Terminal.WaitFor( pAnswer );
        EXPECT_EQ( CountOf( Shown, pAnswer ), 1 ) << pLine << "\n" << Shown;
    }
    EXPECT_EQ( CountOf( Shown, "Ran 5 lines, number 100" ), 1 ) << Shown;
}
