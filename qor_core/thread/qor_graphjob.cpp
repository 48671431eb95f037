#include "qor_core/thread/qor_graphjob.h"

#include "qor_core/container/qor_hybrid_array.h"
#include "qor_core/platform/qor_clock.h"
#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_assert.h"

#include <utility>

namespace NQorGraphJob
{
namespace
{
// Nodes and edges per pool block: a job of a few hundred tasks takes a handful of blocks.
constexpr int32 NodesPerPool = 128;
constexpr int32 EdgesPerPool = 128;
} // namespace

CQorGraphJob::CQorGraphJob( CTaskScheduler* pScheduler )
    : _pScheduler( pScheduler ? pScheduler : GetLongTaskScheduler() ),
      _pGraph( new CTaskGraph( NodesPerPool, EdgesPerPool ) )
{
}

CQorGraphJob::~CQorGraphJob()
{
    Clear();
}

CTaskNode* CQorGraphJob::AddTask( CString Name, FGraphTaskFunction Function )
{
    const bool bExecuting = _IsExecuting.load();
    QOR_ASSERT_MSG( !bExecuting, "CQorGraphJob tasks cannot be added once the job has begun executing." );
    // Workers walk the graph while the job executes: it can't change under them.
    if ( bExecuting )
    {
        return nullptr;
    }
    return _pGraph->AddNode( std::move( Name ), std::move( Function ) );
}

CTaskNode* CQorGraphJob::AddFinalTask( CString Name, FGraphTaskFunction Function )
{
    const bool bExecuting = _IsExecuting.load();
    QOR_ASSERT_MSG( !bExecuting, "CQorGraphJob tasks cannot be added once the job has begun executing." );
    if ( bExecuting )
    {
        return nullptr;
    }
    CTaskNode* pFinal = _pGraph->AddNode( std::move( Name ), std::move( Function ) );
    // A node that others depend on finishes before they do: the final task needs only the last of each chain.
    for ( CTaskNode& Node : _pGraph->GetNodes() )
    {
        if ( &Node != pFinal && !Node.HasIncomingEdges() )
        {
            AddEdge( pFinal, &Node );
        }
    }
    return pFinal;
}

void CQorGraphJob::AddDependency( CTaskNode* pTask, CTaskNode* pPrerequisite )
{
    const bool bExecuting = _IsExecuting.load();
    QOR_ASSERT_MSG( !bExecuting,
                    "CQorGraphJob tasks dependencies cannot be added once the job has begun executing." );
    if ( !bExecuting )
    {
        AddEdge( pTask, pPrerequisite );
    }
}

void CQorGraphJob::AddDependency( CTaskNode* pPrerequisite, const STaskReference& Task )
{
    const bool bExecuting = _IsExecuting.load();
    QOR_ASSERT_MSG( !bExecuting,
                    "CQorGraphJob tasks dependencies cannot be added once the job has begun executing." );
    if ( !bExecuting )
    {
        AddEdge( Task.Get(), pPrerequisite );
    }
}

void CQorGraphJob::AddEdge( CTaskNode* pTask, CTaskNode* pPrerequisite )
{
    if ( pTask && pPrerequisite )
    {
        pTask->GetData()._RemainingPrerequisiteCount.fetch_add( 1 );
        _pGraph->AddEdge( pTask, pPrerequisite );
    }
}

void CQorGraphJob::Start()
{
    const bool WasExecuting = _IsExecuting.exchange( true );
    QOR_ASSERT( !WasExecuting );
    if ( WasExecuting )
    {
        return;
    }
    // Scheduled roots may complete and schedule their dependents while this walk goes on; those have
    // prerequisites, so the walk never schedules them a second time.
    for ( CTaskNode& Node : _pGraph->GetNodes() )
    {
        if ( !Node.HasOutgoingEdges() )
        {
            ScheduleTask( Node );
        }
    }
}

void CQorGraphJob::StartAndWaitAndClear()
{
    Start();
    WaitAndClear();
}

void CQorGraphJob::ScheduleTask( CTaskNode& TaskNode )
{
    QOR_ASSERT( TaskNode.GetData()._RemainingPrerequisiteCount.Get() == 0 );
    QOR_ASSERT( !TaskNode.GetData()._IsComplete.Get() );
    const int32 PreviousRemainingScheduledTasks = _RemainingScheduledTasks.fetch_add( 1 );
    QOR_ASSERT( PreviousRemainingScheduledTasks >= 0 );

    STaskInfo& Info = TaskNode.GetData();
    const FTaskFunction Function = [ this, pNode = &TaskNode ] { RunTask( *pNode ); };
    // The label is the node's name: the item keeps the pointer for a profiler, and nothing reads it after the
    // node has been collected.
    const char* pLabel = Info._Name.GetString();
    CQorPtr<CTask> pTask;
    if ( _pScheduler )
    {
        pTask = _pScheduler->CreateTask( pLabel, Function );
    }
    else
    {
        CQorHybridArray<CQorPtr<CTask>, 1> Tasks;
        CTaskScheduler::RunTasksWithoutScheduler( pLabel, Function, 1, Tasks );
        pTask = std::move( Tasks[ 0 ] );
    }
    Info._pTask = std::move( pTask );
    Info._bHasTask.store( true, std::memory_order_release );
}

void CQorGraphJob::RunTask( CTaskNode& TaskNode )
{
    STaskInfo& Info = TaskNode.GetData();
    if ( Info._Function )
    {
        Info._Function();
    }
    OnTaskComplete( TaskNode );
    const bool bWasComplete = Info._IsComplete.exchange( true );
    QOR_ASSERT_MSG( !bWasComplete, "Task was executed more than once." );
}

void CQorGraphJob::OnTaskComplete( CTaskNode& TaskNode )
{
    for ( const auto& Edge : TaskNode.GetIncomingEdges() )
    {
        CTaskNode& Waiting = *Edge.GetSource();
        const int32 PreviousRemainingPrerequisiteCount = Waiting.GetData()._RemainingPrerequisiteCount.fetch_sub( 1 );
        QOR_ASSERT( PreviousRemainingPrerequisiteCount > 0 );
        if ( PreviousRemainingPrerequisiteCount == 1 )
        {
            ScheduleTask( Waiting );
        }
    }
}

void CQorGraphJob::ReleaseTask( STaskInfo& Info )
{
    Info._bHasTask.store( false, std::memory_order_relaxed );
    Info._pTask.Reset();
    const int32 PreviousRemainingScheduledTasks = _RemainingScheduledTasks.fetch_sub( 1 );
    QOR_ASSERT( PreviousRemainingScheduledTasks > 0 );
}

void CQorGraphJob::TryExecuteTasks()
{
    bool bRanAny = true;
    while ( bRanAny && _RemainingScheduledTasks.load() > 0 )
    {
        bRanAny = false;
        for ( CTaskNode& Node : _pGraph->GetNodes() )
        {
            STaskInfo& Info = Node.GetData();
            if ( Info._bHasTask.load( std::memory_order_acquire ) && Info._pTask->TryExecute() )
            {
                ReleaseTask( Info );
                bRanAny = true;
            }
        }
    }
}

int32 CQorGraphJob::WaitForTasks()
{
    int32 NumCollected = 0;
    for ( CTaskNode& Node : _pGraph->GetNodes() )
    {
        STaskInfo& Info = Node.GetData();
        if ( Info._bHasTask.load( std::memory_order_acquire ) )
        {
            Info._pTask->Wait();
            ReleaseTask( Info );
            ++NumCollected;
        }
    }
    return NumCollected;
}

void CQorGraphJob::CollectDoneTasks()
{
    for ( CTaskNode& Node : _pGraph->GetNodes() )
    {
        STaskInfo& Info = Node.GetData();
        if ( Info._bHasTask.load( std::memory_order_acquire ) && Info._pTask->IsDone() )
        {
            ReleaseTask( Info );
        }
    }
}

void CQorGraphJob::WaitAndClear()
{
    while ( _RemainingScheduledTasks.load() >= 1 )
    {
        TryExecuteTasks();
        // Nothing to collect: a scheduling thread is between raising the count and publishing the handle.
        if ( WaitForTasks() == 0 )
        {
            NPlatform::SwitchToThread();
        }
    }
    Clear();
}

void CQorGraphJob::WaitNoExecuteAndClear()
{
    while ( _RemainingScheduledTasks.load() >= 1 )
    {
        if ( WaitForTasks() == 0 )
        {
            NPlatform::SwitchToThread();
        }
    }
    Clear();
}

bool CQorGraphJob::WaitFor( std::chrono::nanoseconds Duration )
{
    const uint64 StartNs = NPlatform::GetHighResolutionTimeNs();
    CollectDoneTasks();
    while ( _RemainingScheduledTasks.load() >= 1 )
    {
        if ( std::chrono::nanoseconds( NPlatform::GetHighResolutionTimeNs() - StartNs ) > Duration )
        {
            return false;
        }
        NPlatform::SwitchToThread();
        CollectDoneTasks();
    }
    Clear();
    return true;
}

void CQorGraphJob::Clear()
{
    const int32 PreviousRemainingScheduledTasks = _RemainingScheduledTasks.load();
    QOR_ASSERT_MSG( PreviousRemainingScheduledTasks == 0,
                    "The graph job was cleared without all scheduled tasks being completed." );
    // The nodes can't go from under tasks that run: those are waited for first (and run here if nobody has).
    while ( _RemainingScheduledTasks.load() > 0 )
    {
        if ( WaitForTasks() == 0 )
        {
            NPlatform::SwitchToThread();
        }
    }
    for ( const CTaskNode& Node : _pGraph->GetNodes() )
    {
        const STaskInfo& Info = Node.GetData();
        QOR_ASSERT_MSG( Info._IsComplete.Get() && !Info._bHasTask.load(),
                        "The graph job was cleared without all task nodes being scheduled and completed." );
    }
    _pGraph->Reset();
    _IsExecuting.store( false );
}
} // namespace NQorGraphJob
