#include "qor_core/thread/qor_task.h"

#include "qor_core/qor_commandline.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/thread/qor_thread.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>

// ---- CTask

CTask::~CTask()
{
    QOR_ASSERT( _pTaskItem == nullptr || IsDone() );
    if ( _pTaskItem )
    {
        Wait();
        STaskItem::Release( _pTaskItem );
    }
}

bool CTask::TryExecute()
{
    return _pTaskItem && CTaskScheduler::TryExecute( _pTaskItem );
}

bool CTask::IsDone() const
{
    return _pTaskItem && _pTaskItem->IsDone();
}

void CTask::Wait()
{
    if ( _pTaskItem )
    {
        TryExecute();
        STaskItem::Wait( _pTaskItem );
    }
}

void CTask::WaitNoExecute()
{
    if ( _pTaskItem )
    {
        STaskItem::Wait( _pTaskItem );
    }
}

void CTask::Wait( const FTaskFunction& Pump )
{
    if ( _pTaskItem )
    {
        STaskItem::Wait( _pTaskItem, Pump );
    }
}

void WaitAndClear( CQorPtr<CTask>& pTask )
{
    if ( pTask )
    {
        pTask->Wait();
        pTask.Reset();
    }
}

void WaitAndClear( CQorPtr<CTask>& pTask, const FTaskFunction& Pump )
{
    if ( pTask )
    {
        pTask->Wait( Pump );
        pTask.Reset();
    }
}

// ---- CJob

CJob::CJob( int32 ExpectedNumTasks )
{
    _Tasks.Reserve( ExpectedNumTasks );
}

CJob::~CJob()
{
    CheckDoneBeforeDestruction();
}

void CJob::CheckDoneBeforeDestruction() const
{
    QOR_ASSERT_MSG( IsDone(), "Every task should be done before the job is destroyed, did you forget to call "
                              "WaitAndClear on the job?" );
}

void CJob::AddTask( CQorPtr<CTask> pTask )
{
    _Tasks.Add( std::move( pTask ) );
}

void CJob::AddTasks( CTaskArray& Tasks )
{
    _Tasks.Reserve( _Tasks.GetSize() + Tasks.GetSize() );
    for ( CQorPtr<CTask>& pTask : Tasks )
    {
        _Tasks.Add( std::move( pTask ) );
    }
    Tasks.Clear();
}

void CJob::TryExecuteAll()
{
    for ( int32 Index = _Tasks.GetSize() - 1; Index >= 0; --Index )
    {
        _Tasks[ Index ]->TryExecute();
    }
}

void CJob::Wait()
{
    TryExecuteAll();
    for ( CQorPtr<CTask>& pTask : _Tasks )
    {
        pTask->Wait();
    }
}

void CJob::WaitNoExecute()
{
    for ( CQorPtr<CTask>& pTask : _Tasks )
    {
        pTask->WaitNoExecute();
    }
}

void CJob::Wait( const FTaskFunction& Pump )
{
    for ( CQorPtr<CTask>& pTask : _Tasks )
    {
        pTask->Wait( Pump );
    }
}

void CJob::WaitAndClear()
{
    Wait();
    _Tasks.Clear();
}

void CJob::WaitNoExecuteAndClear()
{
    WaitNoExecute();
    _Tasks.Clear();
}

void CJob::WaitAndClear( const FTaskFunction& Pump )
{
    Wait( Pump );
    _Tasks.Clear();
}

bool CJob::IsDone() const
{
    return std::all_of( _Tasks.begin(), _Tasks.end(), []( const CQorPtr<CTask>& pTask ) { return pTask->IsDone(); } );
}

// ---- The process-wide pools

const SCommandLineOption g_TaskThreadsOption{ "taskthreads",
                                              "Override the number of task/worker threads that should be created",
                                              COMMAND_LINE_OPTION_TYPE_INTEGER };

namespace
{
CQorScopedPtr<CTaskScheduler> g_pShortTaskScheduler;
CQorScopedPtr<CTaskScheduler> g_pLongTaskScheduler;
// Read by parallel-fors on any thread; written by start-up and by the console's thread.
std::atomic<uint32> g_NumTaskThreads{ 0 };

constexpr uint32 DefaultTaskThreadCount = 0xFFFFFFFF;

const SCommandLineOptionRegistration g_TaskThreadsRegistration( g_TaskThreadsOption );

void RunTasksOn( CTaskScheduler* pScheduler, const char* pLabel, const FTaskFunction& Function, int32 Count,
                 CTaskArray& TasksOut )
{
    if ( pScheduler )
    {
        pScheduler->CreateTasks( pLabel, Function, Count, TasksOut );
    }
    else
    {
        CTaskScheduler::RunTasksWithoutScheduler( pLabel, Function, Count, TasksOut );
    }
}

void RunTaskOn( CTaskScheduler* pScheduler, CQorPtr<CTask>& pTaskOut, const char* pLabel,
                const FTaskFunction& Function )
{
    if ( pScheduler )
    {
        pTaskOut = pScheduler->CreateTask( pLabel, Function );
        return;
    }
    CQorHybridArray<CQorPtr<CTask>, 1> Tasks;
    CTaskScheduler::RunTasksWithoutScheduler( pLabel, Function, 1, Tasks );
    pTaskOut = std::move( Tasks[ 0 ] );
}
} // namespace

bool StartTaskThreads( uint32 Count )
{
    if ( Count == DefaultTaskThreadCount )
    {
        Count = static_cast<uint32>( NThreads::GetClampedHardwareThreadCount() - 1 );
    }
    Count = std::clamp<uint32>( Count, 4, 32 );
    g_NumTaskThreads.store( Count );

    CTaskScheduler* ShortTasks = g_pShortTaskScheduler.Get();
    CTaskScheduler* LongTasks = g_pLongTaskScheduler.Get();
    QOR_ASSERT( ShortTasks == nullptr );
    QOR_ASSERT( LongTasks == nullptr );
    // A pool that exists already keeps its workers: taking it down under its users' feet would lose work.
    if ( !ShortTasks )
    {
        g_pShortTaskScheduler.Reset( new CTaskScheduler( "Short Task" ) );
        g_pShortTaskScheduler->Start( static_cast<int32>( Count ) );
    }
    if ( !LongTasks )
    {
        g_pLongTaskScheduler.Reset( new CTaskScheduler( "Long Task" ) );
        g_pLongTaskScheduler->Start( static_cast<int32>( Count ) );
    }
    return true;
}

bool InitTaskThreads()
{
    // -1, the option's default, is the same request as the absent option: as many as the machine suggests.
    const CQorCommandLine* pCommandLine = CQorCommandLine::Find();
    const int32 Count = pCommandLine ? pCommandLine->GetInt( g_TaskThreadsOption ).GetValueOr( -1 ) : -1;
    return StartTaskThreads( static_cast<uint32>( Count ) );
}

void ShutdownTaskThreads()
{
    g_pShortTaskScheduler.Reset();
    g_pLongTaskScheduler.Reset();
    g_NumTaskThreads.store( 0 );
}

CTaskScheduler* GetShortTaskScheduler()
{
    return g_pShortTaskScheduler.Get();
}

CTaskScheduler* GetLongTaskScheduler()
{
    return g_pLongTaskScheduler.Get();
}

uint32 GetNumTaskThreads()
{
    return g_NumTaskThreads.load();
}

void SetNumTaskThreads( uint32 Count )
{
    if ( Count == DefaultTaskThreadCount )
    {
        Count = static_cast<uint32>( NThreads::GetHardwareThreadCount() - 1 );
    }
    CTaskScheduler* pShort = g_pShortTaskScheduler.Get();
    CTaskScheduler* pLong = g_pLongTaskScheduler.Get();
    if ( !pShort || !pLong )
    {
        return;
    }
    const int32 Requested = static_cast<int32>( std::min<uint32>( Count, 0x7FFFFFFF ) );
    pShort->SetNumThreads( Requested );
    pLong->SetNumThreads( Requested );
    g_NumTaskThreads.store( static_cast<uint32>( std::min( pShort->GetNumThreads(), pLong->GetNumThreads() ) ) );
}

void RunShortTask( CQorPtr<CTask>& pTaskOut, const char* pLabel, const FTaskFunction& Function )
{
    RunTaskOn( g_pShortTaskScheduler.Get(), pTaskOut, pLabel, Function );
}

void RunLongTask( CQorPtr<CTask>& pTaskOut, const char* pLabel, const FTaskFunction& Function )
{
    RunTaskOn( g_pLongTaskScheduler.Get(), pTaskOut, pLabel, Function );
}

void RunShortTasks( const char* pLabel, const FTaskFunction& Function, int32 Count, CTaskArray& TasksOut )
{
    RunTasksOn( g_pShortTaskScheduler.Get(), pLabel, Function, Count, TasksOut );
}

void RunLongTasks( const char* pLabel, const FTaskFunction& Function, int32 Count, CTaskArray& TasksOut )
{
    RunTasksOn( g_pLongTaskScheduler.Get(), pLabel, Function, Count, TasksOut );
}

bool RunTaskThreadCountCommand( const CQorArray<CString>& Arguments, CString& Text )
{
    if ( Arguments.GetSize() > 1 )
    {
        Text = "Use Threading.TaskThreadCount [count].";
        return false;
    }
    if ( Arguments.GetSize() == 1 )
    {
        const char* pArgument = Arguments[ 0 ].GetString();
        const int Value = std::atoi( pArgument );
        const bool bAllDigits = *pArgument != '\0' && std::all_of( pArgument, pArgument + Arguments[ 0 ].GetSize(),
                                                                     []( char C ) { return C >= '0' && C <= '9'; } );
        if ( Value == 0 && !bAllDigits )
        {
            Text = "Use Threading.TaskThreadCount [count].";
            return false;
        }
        SetNumTaskThreads( static_cast<uint32>( Value ) );
    }
    Text = CString( std::to_string( GetNumTaskThreads() ) );
    return true;
}
