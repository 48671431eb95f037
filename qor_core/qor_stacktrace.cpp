#include "qor_core/qor_stacktrace.h"

#include "qor_core/thread/qor_mutex.h"

#include <boost/stacktrace.hpp>
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace
{
CMutex& GetStackTraceMutex()
{
    static CMutex s_Mutex( "qor_stacktrace" );
    return s_Mutex;
}

// The walker's own frames are this one and WalkCallStack, which calls it: a skip of 2 leaves both out. Neither
// is inlined, nor is this call a tail call, so that both frames are always there to skip.
__attribute__( ( noinline ) ) boost::stacktrace::stacktrace CollectFrames( int64 nSkip, int32 nMaxFrames )
{
    return boost::stacktrace::stacktrace( size_t( nSkip ), size_t( nMaxFrames ) );
}

std::string FormatAddress( const void* pAddress )
{
    char Text[32];
    std::snprintf( Text, sizeof( Text ), "%p", pAddress );
    return Text;
}

// The file name of the module that holds the address, without its folder.
std::string GetModuleName( const void* pAddress )
{
    Dl_info Info;
    if ( ::dladdr( pAddress, &Info ) == 0 || !Info.dli_fname || !*Info.dli_fname )
    {
        return "(module-name not available)";
    }
    const std::string Path = Info.dli_fname;
    return Path.substr( Path.find_last_of( '/' ) + 1 );
}

std::string DescribeFrame( const boost::stacktrace::frame& Frame )
{
    // A frame's address is where its call returns to, which may already belong to the next line, or to the
    // next function behind a call that doesn't return: the call itself lies one byte before.
    const boost::stacktrace::frame CallSite( static_cast<const char*>( Frame.address() ) - 1 );
    std::string Function = CallSite.name();
    if ( Function.empty() )
    {
        Function = "(function-name not available)";
    }
    const std::string File = CallSite.source_file();
    if ( File.empty() )
    {
        return FormatAddress( Frame.address() ) + " (" + GetModuleName( CallSite.address() ) +
               "): (filename not available): " + Function + "\n";
    }
    return File + " (" + std::to_string( CallSite.source_line() ) + "): " + Function + "\n";
}
} // namespace

void WalkCallStack( CString* pOutput, int32 nSkip, int32 nMaxFrames, int32 nMaxRepeats )
{
    if ( !pOutput )
    {
        return;
    }
    CScopedLock<CMutex> Lock( &GetStackTraceMutex() );
    const boost::stacktrace::stacktrace Frames =
        CollectFrames( std::max<int64>( int64( nSkip ) + 2, 0 ), std::max( nMaxFrames, 0 ) );
    const void* pPrevious = nullptr;
    int32 nRepeats = 0;
    for ( const boost::stacktrace::frame& Frame : Frames )
    {
        nRepeats = Frame.address() == pPrevious ? nRepeats + 1 : 1;
        pPrevious = Frame.address();
        if ( nMaxRepeats > 0 && nRepeats > nMaxRepeats )
        {
            *pOutput += ( "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: " +
                          FormatAddress( Frame.address() ) + ")\n" )
                            .c_str();
            return;
        }
        *pOutput += DescribeFrame( Frame ).c_str();
    }
}
