#include "qor_core/console/stdio_console.h"

#include "qor_core/console/tweakablevariable.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
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

std::string RunShell( const std::string& Command )
{
    std::string Output;
    if ( std::FILE* pPipe = popen( ( Command + " 2>&1" ).c_str(), "r" ) )
    {
        char Buffer[4096];
        size_t nRead;
        while ( ( nRead = std::fread( Buffer, 1, sizeof( Buffer ), pPipe ) ) > 0 )
        {
            Output.append( Buffer, nRead );
        }
        pclose( pPipe );
    }
    return Output;
}

// One detached tmux session on a server of its own, which goes with the object.
class CTmuxSession
{
public:
    explicit CTmuxSession( const std::string& Command )
        : _Tmux( "TERM=xterm tmux -f /dev/null -L qor_console_test_" + std::to_string( ::getpid() ) )
    {
        RunShell( _Tmux + " new-session -d -s console -x 120 -y 40 '" + Command + "'" );
    }
    ~CTmuxSession() { RunShell( _Tmux + " kill-server" ); }

    // Types Text (literally, quotes and all) and Enter.
    void SendLine( const std::string& Text )
    {
        RunShell( _Tmux + " send-keys -t console -l '" + Text + "'" );
        RunShell( _Tmux + " send-keys -t console Enter" );
    }
    std::string Capture() { return RunShell( _Tmux + " capture-pane -p -t console" ); }
    // Polls the pane until Text shows, for ten seconds at most; the pane as it was last seen.
    bool WaitFor( const std::string& Text, std::string& Pane )
    {
        const auto Deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
        do
        {
            Pane = Capture();
            if ( Pane.find( Text ) != std::string::npos )
            {
                return true;
            }
            std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
        } while ( std::chrono::steady_clock::now() < Deadline );
        return false;
    }

private:
    std::string _Tmux;
};
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
    if ( RunShell( "command -v tmux" ).empty() )
    {
        GTEST_SKIP() << "tmux is not installed";
    }
    CTmuxSession Session( std::string( QOR_STDIO_CONSOLE_PROGRAM ) + "; echo program ended $?; sleep 60" );
    std::string Pane;
    // The pane keeps no trailing blanks: the prompt shows as ">".
    ASSERT_TRUE( Session.WaitFor( ">", Pane ) ) << Pane;
    // Each line typed, and the answer the pane must show.
    const std::pair<const char*, const char*> Lines[] = {
        { "Test.Number 42", "Value 42" },
        { "Test.Echo \"a b\" c", "[a b][c]" },
        { "Test.Number 1000", "Value 100" },
        { "Test.Nope", "Unknown command" },
        { "Test.Number \"5", "Quote left open in command line." },
        { "exit", "program ended 0" },
    };
    for ( const auto& [ pLine, pAnswer ] : Lines )
    {
        Session.SendLine( pLine );
        EXPECT_TRUE( Session.WaitFor( pAnswer, Pane ) ) << pLine << "\n" << Pane;
    }
    EXPECT_NE( Pane.find( "Ran 5 lines, number 100" ), std::string::npos ) << Pane;
}
