#include "qor_core/platform/qor_terminal_prompt.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace NPlatform
{
namespace
{
bool IsBlank( char Char )
{
    return Char == ' ' || Char == '\t' || Char == '\r';
}
} // namespace

CTerminalPrompt::CTerminalPrompt()
{
    if ( std::getenv( "CI" ) )
    {
        return;
    }
    _nFile = ::open( "/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC );
    if ( _nFile >= 0 && ::tcgetpgrp( _nFile ) != ::getpgrp() )
    {
        // A job in the background of its terminal would be stopped by the first read until someone brings it
        // forward.
        Close();
    }
    if ( _nFile < 0 || ::tcgetattr( _nFile, &_SavedMode ) != 0 )
    {
        return;
    }
    _bModeSaved = true;
    termios LineMode = _SavedMode;
    LineMode.c_lflag |= ICANON | ECHO | ECHOE;
    LineMode.c_iflag |= ICRNL;
    // TCSANOW, not TCSAFLUSH: an answer typed ahead of the question stays.
    ::tcsetattr( _nFile, TCSANOW, &LineMode );
}

CTerminalPrompt::~CTerminalPrompt()
{
    Close();
}

void CTerminalPrompt::Close()
{
    if ( _nFile < 0 )
    {
        return;
    }
    if ( _bModeSaved )
    {
        ::tcsetattr( _nFile, TCSANOW, &_SavedMode );
    }
    ::close( _nFile );
    _nFile = -1;
}

void CTerminalPrompt::Write( const char* pText )
{
    size_t nLeft = std::strlen( pText );
    while ( nLeft > 0 )
    {
        const ssize_t nWritten = ::write( _nFile, pText, nLeft );
        if ( nWritten < 0 && errno == EINTR )
        {
            continue;
        }
        if ( nWritten <= 0 )
        {
            return;
        }
        pText += nWritten;
        nLeft -= size_t( nWritten );
    }
}

int CTerminalPrompt::Choose( const char* const* ppChoices, int nChoices, int nDefault )
{
    std::string Question;
    for ( int nChoice = 1; nChoice <= nChoices; ++nChoice )
    {
        Question += ( nChoice > 1 ? "  [" : "[" ) + std::to_string( nChoice ) + "] " + ppChoices[nChoice - 1];
    }
    Question += "\nChoice (1-" + std::to_string( nChoices ) + ", Enter for " + std::to_string( nDefault ) + "): ";
    for ( ;; )
    {
        Write( Question.c_str() );
        // The answer's first character and how many there are, blanks left out; two stand for any more.
        char First = 0;
        int nLength = 0;
        for ( ;; )
        {
            char Char = 0;
            const ssize_t nRead = ::read( _nFile, &Char, 1 );
            if ( nRead < 0 && errno == EINTR )
            {
                continue;
            }
            if ( nRead <= 0 )
            {
                return 0;
            }
            if ( Char == '\n' )
            {
                break;
            }
            if ( !IsBlank( Char ) )
            {
                First = nLength == 0 ? Char : First;
                nLength = nLength == 0 ? 1 : 2;
            }
        }
        if ( nLength == 0 )
        {
            return nDefault;
        }
        if ( nLength == 1 && First >= '1' && First < '1' + nChoices )
        {
            return First - '0';
        }
    }
}
} // namespace NPlatform
