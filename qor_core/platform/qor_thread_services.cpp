#include "qor_core/platform/qor_thread_services.h"

#include <cstring>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace NPlatform
{
uint32 GetCurrentThreadId()
{
    thread_local const uint32 s_nThreadId = static_cast<uint32>( ::gettid() );
    return s_nThreadId;
}

void SetDebuggerThreadName( const char* pName )
{
    // 15 characters and the terminator: pthread_setname_np refuses anything longer outright.
    char Name[ 16 ];
    std::strncpy( Name, pName ? pName : "", sizeof( Name ) - 1 );
    Name[ sizeof( Name ) - 1 ] = '\0';
    ::pthread_setname_np( ::pthread_self(), Name );
}

void SwitchToThread()
{
    ::sched_yield();
}
} // namespace NPlatform
