// The console loop as a program of its own: a number to tweak and a command that echoes, read from standard
// input and answered on standard output. The stdio console test runs it in a terminal.

#include "qor_core/console/stdio_console.h"
#include "qor_core/console/tweakablevariable.h"

#include <cstdio>

namespace
{
int32 g_Number = 5;
}

int main()
{
    CTweakable::Register<CTweakableMinMax<int32>>( &g_Number, "Test.Number", "A number from 0 to 100", 0, 100 );
    SConsoleCommand Echo;
    Echo._Name = "Test.Echo";
    Echo._bRelease = true;
    Echo._NumArguments = 3;
    Echo._Description = "Prints its arguments between brackets";
    Echo._pAction = []( CConsoleArguments Arguments, SConsoleCmdResult& Result )
    {
        Result._bSuccess = true;
        for ( const CString& Argument : Arguments )
        {
            Result._Text += "[";
            Result._Text += Argument;
            Result._Text += "]";
        }
    };
    CConsoleCmdManager::Get().AddCommand( Echo );
    if ( !OpenConsole() )
    {
        return 1;
    }
    const int32 nLines = RunStdioConsole( stdin, stdout, CConsoleCmdManager::Get() );
    std::printf( "Ran %d lines, number %d\n", nLines, g_Number );
    return CloseConsole() ? 0 : 1;
}
