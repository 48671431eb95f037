#include "qor_core/console/stdio_console.h"

#include "qor_core/qor_string.h"

namespace
{
// Reads one line without its end into Line, keeping at most nKeep characters of it. False at the end of the
// input with nothing read.
bool ReadLine( std::FILE* pIn, CString& Line, int32 nKeep )
{
    Line.Clear();
    int Char = std::fgetc( pIn );
    if ( Char == EOF )
    {
        return false;
    }
    for ( ; Char != EOF && Char != '\n'; Char = std::fgetc( pIn ) )
    {
        if ( Line.GetSize() < nKeep )
        {
            Line += static_cast<char>( Char );
        }
    }
    if ( !Line.IsEmpty() && Line.GetData()[Line.GetSize() - 1] == '\r' )
    {
        Line.Resize( Line.GetSize() - 1 );
    }
    return true;
}
} // namespace

bool OpenConsole()
{
    return true;
}

bool CloseConsole()
{
    return true;
}

int32 RunStdioConsole( std::FILE* pIn, std::FILE* pOut, CConsoleCmdManager& Manager )
{
    int32 nLines = 0;
    CString Line;
    while ( true )
    {
        std::fputs( "> ", pOut );
        std::fflush( pOut );
        // One character more than the manager takes, so that an overlong line stays overlong.
        if ( !ReadLine( pIn, Line, CConsoleCmdManager::c_MaxLineLength + 1 ) || Line == "exit" )
        {
            break;
        }
        const SConsoleCmdResult Result = Manager.ExecuteLine( Line );
        std::fwrite( Result._Text.GetData(), 1, static_cast<size_t>( Result._Text.GetSize() ), pOut );
        std::fputc( '\n', pOut );
        std::fflush( pOut );
        ++nLines;
    }
    std::fputc( '\n', pOut );
    std::fflush( pOut );
    return nLines;
}
