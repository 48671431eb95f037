#include "qor_core/thread/qor_task_scheduler.h"

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/platform/qor_clock.h"
#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_hash.h"
#include "qor_core/thread/qor_task.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <system_error>
#include <utility>

bool g_bEnableTaskThreads = true;

namespace
{
// Adds the time from construction to destruction to a counter, with a flag raised meanwhile.
class CTimedScope
{
public:
    CTimedScope( std::atomic<bool>& bFlag, std::atomic<uint64>& TotalNs )
        : _bFlag( bFlag ), _TotalNs( TotalNs ), _Start( NPlatform::GetHighResolutionTimeNs() )
    {
        _bFlag.store( true, std::memory_order_relaxed );
    }
    ~CTimedScope()
    {
        _TotalNs.fetch_add( NPlatform::GetHighResolutionTimeNs() - _Start, std::memory_order_relaxed );
        _bFlag.store( false, std::memory_order_relaxed );
    }
    CTimedScope( const CTimedScope& ) = delete;
    CTimedScope& operator=( const CTimedScope& ) = delete;

private:
    std::atomic<bool>& _bFlag;
    std::atomic<uint64>& _TotalNs;
    uint64 _Start;
};

CString MakeWorkerName( const CString& SchedulerName, int32 Index )
{
    char Name[ 64 ];
    std::snprintf( Name, sizeof( Name ), "%s %d", SchedulerName.GetString(), Index + 1 );
    return CString( Name );
}

// Runs the item unless a waiter has, then drops the queue's reference. Now is the clock's reading before the
// item, and after it when it ran.
void RunQueuedItem( STaskItem* pItem, uint64& Now )
{
    if ( pItem->TryStart( Now ) )
    {
        Now = pItem->RunStarted();
    }
    STaskItem::Release( pItem );
}

void RunQueuedItem( STaskItem* pItem )
{
    uint64 Now = NPlatform::GetHighResolutionTimeNs();
    RunQueuedItem( pItem, Now );
}

// The layout of a task block: a header with the count of live halves and the allocator the block came from,
// then the item, then the task.
struct STaskBlockHeader
{
    std::atomic<int32> NumLive;
    CQorAllocator* pBacking;
};
constexpr uint64 RoundUp( uint64 Size, uint64 Alignment )
{
    return ( Size + Alignment - 1 ) / Alignment * Alignment;
}
constexpr uint64 TaskBlockAlignment = std::max( { alignof( STaskBlockHeader ), alignof( STaskItem ), alignof( CTask ) } );
constexpr uint64 ItemOffset = RoundUp( sizeof( STaskBlockHeader ), alignof( STaskItem ) );
constexpr uint64 TaskOffset = RoundUp( ItemOffset + sizeof( STaskItem ), alignof( CTask ) );
constexpr uint64 TaskBlockSize = TaskOffset + sizeof( CTask );

// The tasks made where there is no scheduler. Never destroyed: a task may be released during the exit.
CTaskMemory& GetMemoryWithoutScheduler()
{
    static CTaskMemory* const s_pMemory = new CTaskMemory( GetGlobalAllocator() );
    return *s_pMemory;
}

// Runs the tasks from First on, which were never queued, in order on the caller.
void RunOnCaller( CQorArray<CQorPtr<CTask>>& Tasks, int32 First )
{
    for ( int32 Index = First; Index < Tasks.GetSize(); ++Index )
    {
        const bool bStarted = Tasks[ Index ]->TryExecute();
        QOR_ASSERT_MSG( bStarted, "Failed starting task without threads which should not be possible" );
    }
}
} // namespace

// ---- CTaskMemory

CTaskMemory::CTaskMemory( CQorAllocator* pBacking )
    : _pBacking( pBacking ), _ItemHalf( ItemOffset ), _TaskHalf( TaskOffset )
{
}

CQorPtr<CTask> CTaskMemory::CreateTask( const FTaskFunction& Function, const char* pLabel, CTaskScheduler* pScheduler )
{
    CQorAllocator* pBacking = _pBacking;
    void* pBlock = pBacking->Allocate( TaskBlockSize, TaskBlockAlignment );
    if ( !pBlock )
    {
        pBacking = GetGlobalAllocator();
        pBlock = pBacking->Allocate( TaskBlockSize, TaskBlockAlignment );
    }
    uint8* pBytes = static_cast<uint8*>( pBlock );
    ::new ( pBlock ) STaskBlockHeader{ { 2 }, pBacking };
    STaskItem* pItem = ::new ( pBytes + ItemOffset ) STaskItem( Function, pLabel, &_ItemHalf );
    return CQorPtr<CTask>( ::new ( pBytes + TaskOffset ) CTask( &_TaskHalf, pItem, pScheduler ) );
}

void* CTaskMemory::CHalf::Allocate( uint64, uint32 )
{
    QOR_ASSERT_MSG( false, "Task memory is made in whole blocks of an item and its task, never in halves." );
    return nullptr;
}

void CTaskMemory::CHalf::Deallocate( void* pMemory )
{
    if ( !pMemory )
    {
        return;
    }
    uint8* pBlock = static_cast<uint8*>( pMemory ) - _Offset;
    STaskBlockHeader* pHeader = reinterpret_cast<STaskBlockHeader*>( pBlock );
    if ( pHeader->NumLive.fetch_sub( 1 ) == 1 )
    {
        CQorAllocator* pBacking = pHeader->pBacking;
        pHeader->~STaskBlockHeader();
        pBacking->Deallocate( pBlock );
    }
}

// ---- CTaskThread

CTaskThread::CTaskThread( CTaskScheduler* pScheduler, int32 Index, const char* pName )
    : _Deque( CTaskScheduler::InitialQueueCapacity ), _pScheduler( pScheduler ), _Name( pName ), _Index( Index ),
      _Counter( HashBytes( 0, _Name.GetData(), static_cast<uint64>( _Name.GetSize() ) ) ), _Allocator( AllocatorSize )
{
}

CTaskThread::~CTaskThread()
{
    // A worker whose thread never started has had its report already.
    if ( GetState() != ETaskThreadState::NotStarted )
    {
        QOR_ASSERT( IsStopped() );
    }
    Join();
}

bool CTaskThread::Start()
{
    const ETaskThreadState Previous = _State.exchange( ETaskThreadState::Running );
    QOR_ASSERT_MSG( Previous != ETaskThreadState::Running, "SetRunning called when the TaskThread was already running." );
    if ( Previous == ETaskThreadState::Running )
    {
        return true;
    }
    Join();
    try
    {
        _ThreadHandle = NThreads::CreateThread( &ThreadMain, this, _Name.GetString() );
    }
    catch ( const std::system_error& )
    {
        _State.store( Previous );
        return false;
    }
    return true;
}

bool CTaskThread::RequestStop()
{
    ETaskThreadState Expected = ETaskThreadState::Running;
    const bool bWasRunning = _State.compare_exchange_strong( Expected, ETaskThreadState::StopRequested );
    QOR_ASSERT_MSG( bWasRunning, "Should only request a stop when the thread is running" );
    return bWasRunning;
}

void CTaskThread::Join()
{
    if ( _ThreadHandle )
    {
        NThreads::DestroyThread( std::exchange( _ThreadHandle, nullptr ) );
    }
}

void CTaskThread::SetStopped()
{
    const ETaskThreadState Previous = _State.exchange( ETaskThreadState::Stopped );
    QOR_ASSERT_MSG( Previous != ETaskThreadState::NotStarted, "SetStopped called when the TaskThread wasn't started." );
}

int32 CTaskThread::GetRandomInt( int32 Min, int32 Max )
{
    if ( Min > Max )
    {
        std::swap( Min, Max );
    }
    const uint32 Hash = NoiseHash( _Counter++, _Seed );
    return Min + static_cast<int32>( ( Hash & 0x7FFFFFFFu ) % static_cast<uint32>( Max - Min + 1 ) );
}

uint32 CTaskThread::ThreadMain( void* pWorker )
{
    CTaskThread& Worker = *static_cast<CTaskThread*>( pWorker );
    STaskThreadInfo& Info = NThreads::GetTaskThreadInfo();
    Info._bIsTaskThread = 1;
    Info._TaskThreadIndex = Worker._Index;
    Info._pTaskThread = &Worker;

    CTaskScheduler& Scheduler = *Worker._pScheduler;
    STaskItem* pItem = nullptr;
    do
    {
        Scheduler.RunTasks( Worker, pItem );
    } while ( Scheduler.FindWork( Worker, pItem ) );
    Worker.SetStopped();
    return 0;
}

// ---- CTaskScheduler

CTaskScheduler::CWorkerSlots::CWorkerSlots( int32 Capacity )
{
    _Slots.Resize( Capacity );
}

CTaskScheduler::CTaskScheduler( const char* pName )
    : _NumSignals( NThreads::GetClampedHardwareThreadCount() ), _Name( pName ),
      _GlobalTaskQueue( InitialQueueCapacity ), _Workers( _NumSignals ), _Allocator( AllocatorSize ),
      _MaxSpinBeforeYield( NThreads::GetClampedHardwareThreadCount() )
{
    _Signals.Reset( new CSignal[ _NumSignals ] );
}

CTaskScheduler::~CTaskScheduler()
{
    Stop();
    // Users that were not idle may have left items queued; with no worker left, they run here, so that no
    // work is lost and every item goes back to its allocator before the allocators go.
    for ( int32 Index = 0; Index < _Workers.GetCapacity(); ++Index )
    {
        if ( CTaskThread* pWorker = _Workers[ Index ] )
        {
            while ( STaskItem* pItem = pWorker->_Deque.Steal() )
            {
                RunQueuedItem( pItem );
            }
        }
    }
    while ( STaskItem* pItem = _GlobalTaskQueue.Steal() )
    {
        RunQueuedItem( pItem );
    }
    for ( int32 Index = 0; Index < _Workers.GetCapacity(); ++Index )
    {
        delete _Workers._Slots[ Index ];
    }
}

bool CTaskScheduler::Start( int32 Count )
{
    QOR_ASSERT( _Workers.IsEmpty() );
    _LastSampleTime = NPlatform::GetHighResolutionTimeNs();
    return CreateThreads( Count ) == Count;
}

void CTaskScheduler::Stop()
{
    RemoveThreads( _Workers.GetSize() );
}

void CTaskScheduler::SetNumThreads( int32 Count )
{
    const int32 Current = _Workers.GetSize();
    if ( Count > Current )
    {
        CreateThreads( Count - Current );
    }
    else if ( Count < Current )
    {
        RemoveThreads( Current - Count );
    }
}

int32 CTaskScheduler::CreateThreads( int32 NumThreadsToCreate )
{
    QOR_ASSERT( NumThreadsToCreate >= 0 );
    const int32 Existing = _Workers.GetSize();
    if ( NumThreadsToCreate <= 0 )
    {
        return 0;
    }
    if ( Existing + NumThreadsToCreate > _NumSignals )
    {
        QOR_ASSERT_MSG( false, "Cannot create more than '%d' number of task threads", _NumSignals );
        return 0;
    }
    // Every object exists before the first thread starts; a position used before keeps its worker.
    for ( int32 Index = Existing; Index < Existing + NumThreadsToCreate; ++Index )
    {
        if ( !_Workers._Slots[ Index ] )
        {
            _Workers._Slots[ Index ] = new CTaskThread( this, Index, MakeWorkerName( _Name, Index ).GetString() );
        }
    }
    for ( int32 Index = Existing; Index < Existing + NumThreadsToCreate; ++Index )
    {
        // Counted before it runs, so that the worker finds itself among the workers.
        _Workers._Count.store( Index + 1 );
        if ( !_Workers[ Index ]->Start() )
        {
            _Workers._Count.store( Index );
            QOR_ASSERT_MSG( false, "Failed to start task thread '%d'", Index );
            return Index;
        }
    }
    return NumThreadsToCreate;
}

int32 CTaskScheduler::RemoveThreads( int32 NumThreadsToRemove )
{
    const int32 NumOriginalThreads = _Workers.GetSize();
    QOR_ASSERT( NumThreadsToRemove >= 0 && NumThreadsToRemove <= NumOriginalThreads );
    NumThreadsToRemove = std::clamp( NumThreadsToRemove, 0, NumOriginalThreads );
    const int32 First = NumOriginalThreads - NumThreadsToRemove;
    for ( int32 Index = First; Index < NumOriginalThreads; ++Index )
    {
        _Workers[ Index ]->RequestStop();
    }
    WakeAll();
    for ( int32 Index = First; Index < NumOriginalThreads; ++Index )
    {
        CTaskThread* pWorker = _Workers[ Index ];
        while ( pWorker->GetState() == ETaskThreadState::StopRequested )
        {
            NPlatform::SwitchToThread();
        }
        _Signals[ Index ].Reset();
        pWorker->Join();
    }
    QOR_ASSERT( _GlobalTaskQueue.GetSize() == 0 );
    _Workers._Count.store( First );
    return NumThreadsToRemove;
}

CQorPtr<CTask> CTaskScheduler::CreateTask( const char* pLabel, const FTaskFunction& Function )
{
    constexpr int32 NumTasks = 1;
    CQorHybridArray<CQorPtr<CTask>, 1> TasksOut;
    CreateTasks( pLabel, Function, NumTasks, TasksOut );
    QOR_ASSERT( TasksOut.GetSize() == NumTasks );
    return TasksOut.IsEmpty() ? CQorPtr<CTask>() : std::move( TasksOut[ 0 ] );
}

void CTaskScheduler::CreateTasks( const char* pLabel, const FTaskFunction& Function, int32 NumTasks,
                                  CQorArray<CQorPtr<CTask>>& TasksOut )
{
    QOR_ASSERT( TasksOut.GetSize() == 0 );
    if ( NumTasks <= 0 )
    {
        return;
    }
    // After the report, tasks that were in TasksOut already stay there, in front of the new ones.
    const int32 First = TasksOut.GetSize();
    TasksOut.Reserve( First + NumTasks );
    const bool bHasThreads = g_bEnableTaskThreads && GetNumThreads() > 0;

    const STaskThreadInfo& Info = NThreads::GetTaskThreadInfo();
    if ( Info._bIsTaskThread && Info._pTaskThread->GetScheduler() == this )
    {
        // A worker is busy running the task that creates these: no signal, the wake chain brings in others.
        CTaskThread& Worker = *Info._pTaskThread;
        for ( int32 I = 0; I < NumTasks; ++I )
        {
            MakeTask( Worker._TaskMemory, pLabel, Function, bHasThreads, Worker._Deque, TasksOut );
        }
        TrimDoneTasks( Worker._Deque );
    }
    else
    {
        CScopedLock<CMutex> Lock( &_Mutex );
        for ( int32 I = 0; I < NumTasks; ++I )
        {
            MakeTask( _TaskMemory, pLabel, Function, bHasThreads, _GlobalTaskQueue, TasksOut );
        }
        Wake( NumTasks );
        if ( !TrimDoneTasks( _GlobalTaskQueue ) )
        {
            WakeOne();
        }
    }

    if ( !bHasThreads )
    {
        RunOnCaller( TasksOut, First );
    }
}

void CTaskScheduler::RunTasksWithoutScheduler( const char* pLabel, const FTaskFunction& Function, int32 NumTasks,
                                               CQorArray<CQorPtr<CTask>>& TasksOut )
{
    QOR_ASSERT( TasksOut.GetSize() == 0 );
    if ( NumTasks <= 0 )
    {
        return;
    }
    // After the report, tasks that were in TasksOut already stay there, in front of the new ones.
    const int32 First = TasksOut.GetSize();
    TasksOut.Reserve( First + NumTasks );
    for ( int32 I = 0; I < NumTasks; ++I )
    {
        TasksOut.Add( GetMemoryWithoutScheduler().CreateTask( Function, pLabel, nullptr ) );
    }
    RunOnCaller( TasksOut, First );
}

void CTaskScheduler::MakeTask( CTaskMemory& Memory, const char* pLabel, const FTaskFunction& Function, bool bQueue,
                               CQorWorkStealingDeque<STaskItem*>& Queue, CQorArray<CQorPtr<CTask>>& TasksOut )
{
    CQorPtr<CTask>* pTask = TasksOut.Add( Memory.CreateTask( Function, pLabel, this ) );
    if ( bQueue )
    {
        STaskItem* pItem = ( *pTask )->GetTaskItem();
        pItem->_RefCount.fetch_add( 1 );
        Queue.Push( pItem );
    }
}

bool CTaskScheduler::TrimDoneTasks( CQorWorkStealingDeque<STaskItem*>& Deque )
{
    if ( static_cast<uint64>( Deque.GetSize() ) < Deque.GetCapacity() / 2 )
    {
        return true;
    }
    while ( !Deque.IsEmpty() )
    {
        STaskItem* pItem = Deque.Steal();
        if ( !pItem )
        {
            continue;
        }
        if ( !pItem->IsDone() )
        {
            Deque.Push( pItem );
            return false;
        }
        STaskItem::Release( pItem );
    }
    return true;
}

bool CTaskScheduler::TryExecute( STaskItem* pItem )
{
    return pItem->TryExecute();
}

void CTaskScheduler::RunTasks( CTaskThread& Worker, STaskItem* pItem )
{
    if ( !pItem )
    {
        return;
    }
    const int32 Previous = _NumRunning.fetch_add( 1 );
    if ( Previous == 0 && _NumSpinning.load() == 0 )
    {
        WakeOne();
    }
    // One reading of the clock per item: each item's end is the next one's start, and the last one's end is
    // the end of the busy time.
    Worker._bBusy.store( true, std::memory_order_relaxed );
    const uint64 Start = NPlatform::GetHighResolutionTimeNs();
    uint64 Now = Start;
    while ( pItem )
    {
        RunQueuedItem( pItem, Now );
        pItem = Worker._Deque.IsEmpty() ? nullptr : Worker._Deque.Pop();
    }
    Worker._BusyNs.fetch_add( Now - Start, std::memory_order_relaxed );
    Worker._bBusy.store( false, std::memory_order_relaxed );
    _NumRunning.fetch_sub( 1 );
}

bool CTaskScheduler::FindWork( CTaskThread& Worker, STaskItem*& pItemOut )
{
    pItemOut = nullptr;
    _NumSpinning.fetch_add( 1 );
    STaskItem* pItem = StealLoop( Worker );
    if ( !pItem && !_GlobalTaskQueue.IsEmpty() )
    {
        pItem = _GlobalTaskQueue.Steal();
    }
    if ( pItem )
    {
        // The last searcher to find work hands the search on: there is a next searcher while work turns up.
        if ( _NumSpinning.fetch_sub( 1 ) == 1 )
        {
            WakeOne();
        }
        pItemOut = pItem;
        return true;
    }
    if ( Worker.IsStopRequested() )
    {
        WakeAll();
        _NumSpinning.fetch_sub( 1 );
        return false;
    }
    const bool bLastSpinner = _NumSpinning.fetch_sub( 1 ) == 1;
    // The last searcher stays up while anything runs, as the one searcher for the work that creates.
    if ( bLastSpinner && ( _NumRunning.load() != 0 || AnyWorkerHasWork() ) )
    {
        return true;
    }
    Sleep( Worker, bLastSpinner );
    return true;
}

STaskItem* CTaskScheduler::StealLoop( CTaskThread& Worker )
{
    int32 Attempt = 0;
    int32 Yields = 0;
    int32 Victim = Worker._Index;
    for ( ;; )
    {
        // The worker's own index stands for the global queue: its own deque is for popping.
        CQorWorkStealingDeque<STaskItem*>& Target =
            Victim == Worker._Index ? _GlobalTaskQueue : _Workers[ Victim ]->_Deque;
        if ( STaskItem* pItem = Target.Steal() )
        {
            return pItem;
        }
        if ( Attempt++ > _MaxSpinBeforeYield )
        {
            NPlatform::SwitchToThread();
            if ( Yields > 50 )
            {
                return nullptr;
            }
            ++Yields;
        }
        Victim = Worker.GetRandomInt( 0, std::max( _Workers.GetSize(), 1 ) - 1 );
        if ( Worker.IsStopRequested() )
        {
            return nullptr;
        }
    }
}

void CTaskScheduler::Sleep( CTaskThread& Worker, bool bLastSpinner )
{
    CSignal& Signal = _Signals[ Worker._Index ];
    // The mark goes before the last look: a wake from here on leaves its mark and Wait returns at once, and
    // whatever was pushed or requested before the reset is seen by the look.
    Signal.Reset();
    if ( Worker.IsStopRequested() || !_GlobalTaskQueue.IsEmpty() ||
         ( bLastSpinner && ( _NumRunning.load() != 0 || AnyWorkerHasWork() ) ) )
    {
        return;
    }
    CTimedScope Sleeping( Worker._bSleeping, Worker._SleepNs );
    Signal.Wait();
}

bool CTaskScheduler::AnyWorkerHasWork() const
{
    const int32 NumWorkers = _Workers.GetSize();
    for ( int32 Index = 0; Index < NumWorkers; ++Index )
    {
        if ( !_Workers[ Index ]->_Deque.IsEmpty() )
        {
            return true;
        }
    }
    return false;
}

void CTaskScheduler::WakeOne()
{
    for ( int32 Index = 0; Index < _NumSignals; ++Index )
    {
        if ( _Signals[ Index ].GetState() == ESignalState::Waiting )
        {
            _Signals[ Index ].Signal();
            return;
        }
    }
    // Nobody sleeps yet: the mark stays with whoever is about to.
    WakeAll();
}

void CTaskScheduler::WakeAll()
{
    for ( int32 Index = 0; Index < _NumSignals; ++Index )
    {
        _Signals[ Index ].Signal();
    }
}

void CTaskScheduler::Wake( int32 Count )
{
    if ( Count >= _NumSignals )
    {
        WakeAll();
    }
    // Each wake picks the next sleeper; past the number of signals there is none left to pick.
    Count = std::min( Count, _NumSignals );
    for ( int32 I = 0; I < Count; ++I )
    {
        WakeOne();
    }
}

float CTaskScheduler::GetUtilization()
{
    const uint64 Now = NPlatform::GetHighResolutionTimeNs();
    const double Elapsed = static_cast<double>( Now - _LastSampleTime );
    _LastSampleTime = Now;
    const int32 NumWorkers = _Workers.GetSize();
    if ( NumWorkers == 0 || Elapsed <= 0.0 )
    {
        return 0.0f;
    }
    double TotalBusy = 0.0;
    for ( int32 Index = 0; Index < NumWorkers; ++Index )
    {
        CTaskThread& Worker = *_Workers[ Index ];
        double Busy = std::clamp( static_cast<double>( Worker._BusyNs.exchange( 0 ) ) / Elapsed, 0.0, 1.0 );
        double Sleep = std::clamp( static_cast<double>( Worker._SleepNs.exchange( 0 ) ) / Elapsed, 0.0, 1.0 );
        const double Spin = std::clamp( 1.0 - Busy - Sleep, 0.0, 1.0 );
        // The scope that is open now hasn't been added yet: it takes the time unaccounted for.
        if ( Worker._bSleeping.load( std::memory_order_relaxed ) )
        {
            Sleep += Spin;
        }
        else if ( Worker._bBusy.load( std::memory_order_relaxed ) )
        {
            Busy += Spin;
        }
        TotalBusy += Busy;
    }
    return static_cast<float>( TotalBusy / NumWorkers );
}
