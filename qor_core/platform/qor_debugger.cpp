#include "qor_core/platform/qor_debugger.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace NPlatform
{
void OutputDebugString( const char* pText )
{
    if ( !pText )
    {
        return;
    }
    size_t nLeft = std::strlen( pText );
    while ( nLeft > 0 )
    {
        const ssize_t nWritten = ::write( STDERR_FILENO, pText, nLeft );
        if ( nWritten <= 0 )
        {
            return;
        }
        pText += nWritten;
        nLeft -= static_cast<size_t>( nWritten );
    }
}

bool IsDebuggerPresent()
{
    FILE* pStatus = std::fopen( "/proc/self/status", "r" );
    if ( !pStatus )
    {
        return false;
    }
    char Line[ 256 ];
    bool bTraced = false;
    while ( std::fgets( Line, sizeof( Line ), pStatus ) )
    {
        int nTracerPid = 0;
        if ( std::sscanf( Line, "TracerPid: %d", &nTracerPid ) == 1 )
        {
            bTraced = nTracerPid != 0;
            break;
        }
    }
    std::fclose( pStatus );
    return bTraced;
}

void DebugBreak()
{
    if ( IsDebuggerPresent() )
    {
        std::raise( SIGTRAP );
    }
}

// The null check of the undefined behaviour sanitizer would end the process with a report of its own: the
// crash is the point here, so it is left out.
__attribute__( ( no_sanitize( "undefined" ) ) ) void CrashDeliberately()
{
    // The pointer itself is volatile: the compiler can't see that it is null, so it keeps the store of 47283
    // instead of rewriting a known null store.
    volatile int* volatile pNull = nullptr;
    *pNull = 47283;
    __builtin_trap();
}

void FatalExit( int nExitCode )
{
    ::_exit( nExitCode );
}
} // namespace NPlatform
