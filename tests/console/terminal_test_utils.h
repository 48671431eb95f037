#pragma once

// Helpers of the tests that drive a program as a person at a terminal would: a shell command's output, and one
// command in a terminal of a private tmux server whose screen the test reads and into which it types.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

// Runs a shell command; its standard output and error, and whether it exited with status 0.
inline std::string RunShell( const std::string& Command, bool* pSucceeded = nullptr )
{
    std::string Output;
    FILE* pPipe = popen( ( Command + " 2>&1" ).c_str(), "r" );
    if ( !pPipe )
    {
        return Output;
    }
    char Buffer[4096];
    for ( size_t nRead; ( nRead = std::fread( Buffer, 1, sizeof( Buffer ), pPipe ) ) > 0; )
    {
        Output.append( Buffer, nRead );
    }
    const int nStatus = pclose( pPipe );
    if ( pSucceeded )
    {
        *pSucceeded = nStatus == 0;
    }
    return Output;
}

inline int CountOf( const std::string& Text, const std::string& Part )
{
    int nCount = 0;
    for ( size_t nAt = Text.find( Part ); nAt != std::string::npos; nAt = Text.find( Part, nAt + Part.size() ) )
    {
        ++nCount;
    }
    return nCount;
}

inline bool HasTmux()
{
    return std::system( "command -v tmux >/dev/null 2>&1" ) == 0;
}

// One command in a terminal of its own, 160 columns wide. The pane stays after the command so that its last
// words can be read; the server ends with the object.
class CTerminal
{
public:
    explicit CTerminal( const std::string& Command )
    {
        char Folder[] = "/tmp/qor_terminal_XXXXXX";
        if ( !mkdtemp( Folder ) )
        {
            _Error = "no temporary folder";
            return;
        }
        _Folder = Folder;
        _Tmux = "tmux -f /dev/null -S '" + _Folder + "/socket' ";
        bool bStarted = false;
        _Error = RunShell( _Tmux + "new-session -d -s probe -x 160 -y 50 '" + Command +
                               "; echo \"command exit $?\"; sleep 120'",
                           &bStarted );
        _Error = bStarted ? "" : "tmux could not start a session: " + _Error;
    }
    ~CTerminal()
    {
        if ( !_Folder.empty() )
        {
            RunShell( _Tmux + "kill-server" );
            RunShell( "rm -rf '" + _Folder + "'" );
        }
    }
    CTerminal( const CTerminal& ) = delete;
    CTerminal& operator=( const CTerminal& ) = delete;

    // Empty when the terminal runs.
    const std::string& Error() const { return _Error; }

    std::string Screen() const { return RunShell( _Tmux + "capture-pane -p -J -S -2000 -t probe" ); }

    // Waits, at most 30 seconds, until the screen shows Text at least nCount times; returns the screen.
    std::string WaitFor( const std::string& Text, int nCount = 1 ) const
    {
        const auto Deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 30 );
        std::string Shown = Screen();
        while ( CountOf( Shown, Text ) < nCount && std::chrono::steady_clock::now() < Deadline )
        {
            std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
            Shown = Screen();
        }
        return Shown;
    }

    // Types the text (literally, quotes and all) and Enter.
    void Type( const std::string& Text ) const
    {
        if ( !Text.empty() )
        {
            RunShell( _Tmux + "send-keys -t probe -l '" + Text + "'" );
        }
        RunShell( _Tmux + "send-keys -t probe Enter" );
    }

private:
    std::string _Folder;
    std::string _Tmux;
    std::string _Error;
};

#define QOR_REQUIRE_TMUX()                                                                                             \
    if ( !HasTmux() )                                                                                                  \
    {                                                                                                                  \
        GTEST_SKIP() << "tmux is not installed: the program can't be driven from a terminal";                          \
    }
