#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_assert.h"
#include "qor_core/thread/qor_thread.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

namespace
{
std::atomic<uint32> g_nNextThreadNumber{ 0 };
std::atomic<bool> g_bIsMainThreadSet{ false };
std::atomic<NThreads::FThreadCallbackWrapper> g_ThreadCallbackWrapper{ nullptr };
std::atomic<bool> g_bThreadCallbackWrapperSet{ false };

thread_local STaskThreadInfo t_TaskThreadInfo;

void ThreadEntry( NThreads::FThreadFunction pFunction, void* pArg, const std::string& Name, bool bNamed )
{
    if ( bNamed )
    {
        NThreads::SetThreadName( Name.c_str() );
    }
    if ( NThreads::FThreadCallbackWrapper pWrapper = g_ThreadCallbackWrapper.load() )
    {
        pWrapper( pFunction, pArg );
    }
    else
    {
        pFunction( pArg );
    }
}
} // namespace

SThreadInfo::SThreadInfo() : _nThreadNumber( g_nNextThreadNumber.fetch_add( 1 ) ) {}

namespace NThreads
{
SThreadInfo& GetThreadInfo()
{
    thread_local SThreadInfo t_ThreadInfo;
    return t_ThreadInfo;
}

STaskThreadInfo& GetTaskThreadInfo()
{
    return t_TaskThreadInfo;
}

void SetMainThread()
{
    g_bIsMainThreadSet.store( true );
    GetThreadInfo()._bIsMainThread = true;
    SetThreadName( "Main Thread" );
}

bool IsMainThread()
{
    return g_bIsMainThreadSet.load() && GetThreadInfo()._bIsMainThread;
}

void SetThreadName( const char* pName )
{
    GetThreadInfo()._Name = pName ? pName : "";
    NPlatform::SetDebuggerThreadName( pName );
}

const char* GetThreadName()
{
    return GetThreadInfo()._Name.c_str();
}

uint32 GetThreadNumber()
{
    return GetThreadInfo()._nThreadNumber;
}

int32 GetHardwareThreadCount()
{
    return NDetail::HardwareThreadCountFrom( std::thread::hardware_concurrency() );
}

int32 GetClampedHardwareThreadCount()
{
    return NDetail::ClampHardwareThreadCount( GetHardwareThreadCount() );
}

void SetThreadCallbackWrapper( FThreadCallbackWrapper pWrapper )
{
    const bool bSetBefore = g_bThreadCallbackWrapperSet.exchange( true );
    QOR_ASSERT_MSG( !bSetBefore, "Installing multiple thread callback wrappers is not currently supported" );
    g_ThreadCallbackWrapper.store( pWrapper );
}

ThreadHandle CreateThread( FThreadFunction pFunction, void* pArg, const char* pName )
{
    return new std::thread( ThreadEntry, pFunction, pArg, std::string( pName ? pName : "" ), pName != nullptr );
}

void JoinThread( ThreadHandle Handle )
{
    QOR_ASSERT_MSG( Handle, "Attempting to operate on a NULL thread." );
    if ( !Handle )
    {
        return;
    }
    // A thread joining itself is refused here, not by the platform join: another thread may be joining the same
    // handle meanwhile, and the handle must never be joined from two threads.
    if ( Handle->get_id() == std::this_thread::get_id() )
    {
        throw std::system_error( std::make_error_code( std::errc::resource_deadlock_would_occur ) );
    }
    if ( Handle->joinable() )
    {
        Handle->join();
    }
}

void DestroyThread( ThreadHandle Handle )
{
    JoinThread( Handle );
    delete Handle;
}

namespace NDetail
{
int32 HardwareThreadCountFrom( uint32 nReported )
{
    return nReported == 0 ? 4 : static_cast<int32>( nReported );
}

int32 ClampHardwareThreadCount( int32 nCount )
{
    return std::clamp( nCount, 4, 32 );
}
} // namespace NDetail
} // namespace NThreads
