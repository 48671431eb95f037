#include "qor_core/platform/qor_console.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace NPlatform
{
namespace
{
int DescriptorOf( EStandardStream Stream )
{
    return Stream == EStandardStream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

FILE* FileOf( EStandardStream Stream )
{
    return Stream == EStandardStream::Output ? stdout : stderr;
}
} // namespace

bool IsStandardStreamConnected( EStandardStream Stream )
{
    return ::fcntl( DescriptorOf( Stream ), F_GETFD ) != -1;
}

bool ConnectStandardStreamToTerminal( EStandardStream Stream )
{
    const int Descriptor = DescriptorOf( Stream );
    std::fflush( FileOf( Stream ) );
    // The lowest free descriptor comes back: that may be the stream's own, when it is the one that is closed.
    const int Terminal = ::open( "/dev/tty", O_WRONLY | O_NOCTTY );
    if ( Terminal == -1 )
    {
        return false;
    }
    bool bConnected = true;
    if ( Terminal != Descriptor )
    {
        bConnected = ::dup2( Terminal, Descriptor ) == Descriptor;
        ::close( Terminal );
    }
    std::clearerr( FileOf( Stream ) );
    return bConnected;
}
} // namespace NPlatform
