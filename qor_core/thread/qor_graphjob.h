#pragma once

// CQorGraphJob: named tasks with dependencies between them, run on a task scheduler in dependency order.
// - The tasks are the nodes of a directed graph whose nodes and edges come from pools of their exact types. An
//   edge points from the task that waits to its prerequisite.
// - The job keeps no ready list. Each node counts the prerequisites it still waits for; the thread whose
//   completion brings a count to 0 puts that node on the scheduler at once, so a worker hands a dependent to
//   its own deque and every node is scheduled exactly once. A dependent may thus start before its last
//   prerequisite has marked itself complete.
// - The waiter only collects task handles (running queued tasks itself while it passes over them). The count
//   of scheduled tasks goes up before a task exists, so a waiter that passes a node a moment before its handle
//   is published comes round again.
// - A task in a cycle never reaches a count of 0: it stays unscheduled, the wait returns with the rest done,
//   and Clear reports every node that didn't complete.
// - Building (AddTask, AddDependency) is for one thread, before Start; Clear makes the job ready to be built
//   anew. A task's function may not add tasks to its own job, and the waiter may not be one of its tasks.

#include "qor_core/qor_directed_graph_impl.h"
#include "qor_core/qor_ptr.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/thread/qor_task.h"

#include <atomic>
#include <chrono>
#include <functional>

namespace NQorGraphJob
{
// An atomic that reads through Get(), sequentially consistent like every other access to it.
template <typename T>
class CAtomicValue : public std::atomic<T>
{
public:
    using std::atomic<T>::atomic;
    T Get() const { return this->load(); }
};

using FGraphTaskFunction = std::function<void()>;

// The data of one task node.
struct STaskInfo
{
    STaskInfo( CString Name, FGraphTaskFunction Function )
        : _Name( std::move( Name ) ), _Function( std::move( Function ) )
    {
    }

    // The label of the scheduled task.
    CString _Name;
    // Set when the function has run and the dependents have been told.
    CAtomicValue<bool> _IsComplete{ false };
    // The prerequisites that haven't completed yet.
    CAtomicValue<int32> _RemainingPrerequisiteCount{ 0 };
    FGraphTaskFunction _Function;
    // Set by the thread that schedules the node, cleared by the waiter that collects it. The waiter touches it
    // only once _bHasTask tells it that the handle is there.
    CQorPtr<CTask> _pTask;
    std::atomic<bool> _bHasTask{ false };
};

using CTaskGraph = NQorDirectedGraph::CQorDirectedGraph<STaskInfo, void>;
using CTaskNode = CTaskGraph::NodeType;
using STaskReference = CTaskGraph::SNodeReference;

class CQorGraphJob
{
public:
    // Tasks go to pScheduler; null takes the long-task pool as it stands now (and where there is none, the tasks
    // run on the thread that schedules them). REQUIRES: the scheduler outlives the job.
    explicit CQorGraphJob( CTaskScheduler* pScheduler = nullptr );
    // Clear: a job destroyed while its tasks run is reported, and waits for them.
    ~CQorGraphJob();
    CQorGraphJob( const CQorGraphJob& ) = delete;
    CQorGraphJob& operator=( const CQorGraphJob& ) = delete;

    // A new task. The node stays valid until Clear. An empty Function makes a task that only joins its
    // prerequisites.
    // REQUIRES: the job is not executing ("CQorGraphJob tasks cannot be added once the job has begun
    // executing."); otherwise the result is null and nothing is added.
    CTaskNode* AddTask( CString Name, FGraphTaskFunction Function );
    // A new task that depends on every existing task on which nothing depends yet, so it runs last. Same
    // REQUIRES as AddTask.
    CTaskNode* AddFinalTask( CString Name, FGraphTaskFunction Function );
    // pTask waits for pPrerequisite. Null for either does nothing. Adding the same dependency twice is harmless.
    // REQUIRES: the job is not executing ("CQorGraphJob tasks dependencies cannot be added once the job has
    // begun executing."); otherwise nothing is added.
    void AddDependency( CTaskNode* pTask, CTaskNode* pPrerequisite );
    // The same, the other way round: the task that waits is held by a handle.
    void AddDependency( CTaskNode* pPrerequisite, const STaskReference& Task );

    // Schedules every task without prerequisites; the rest follow as their prerequisites complete.
    // REQUIRES: not executing already ("!WasExecuting").
    void Start();
    void StartAndWaitAndClear();
    // Runs scheduled tasks that no worker has started, waits until every scheduled task is done, and clears.
    void WaitAndClear();
    // Waits for each scheduled task in turn (running the one it waits on if nobody has), and clears.
    void WaitNoExecuteAndClear();
    // Polls without running anything until the scheduled tasks are done: then clears and returns true. After
    // Duration returns false, and the job goes on running; wait for it again later.
    bool WaitFor( std::chrono::nanoseconds Duration );
    // Drops every task and makes the job ready to be built again. Reports scheduled tasks not yet collected
    // ("...without all scheduled tasks being completed.", after which it waits for them) and, one report each,
    // the nodes that didn't complete ("...without all task nodes being scheduled and completed.").
    void Clear();

    CTaskScheduler* GetScheduler() const { return _pScheduler; }
    bool IsExecuting() const { return _IsExecuting.load(); }
    int32 GetNumTasks() const { return _pGraph->GetNodeCount(); }
    const CTaskGraph& GetGraph() const { return *_pGraph; }

private:
    void ScheduleTask( CTaskNode& TaskNode );
    // The body of every scheduled task.
    void RunTask( CTaskNode& TaskNode );
    void OnTaskComplete( CTaskNode& TaskNode );
    void ReleaseTask( STaskInfo& Info );
    // Passes over the nodes running what nobody has started, while a pass runs something.
    void TryExecuteTasks();
    // One pass: waits for and collects every published task; returns how many.
    int32 WaitForTasks();
    // One pass: collects the tasks that are done.
    void CollectDoneTasks();
    void AddEdge( CTaskNode* pTask, CTaskNode* pPrerequisite );

    CTaskScheduler* _pScheduler;
    CQorScopedPtr<CTaskGraph> _pGraph;
    // Scheduled and not yet collected.
    std::atomic<int32> _RemainingScheduledTasks{ 0 };
    std::atomic<bool> _IsExecuting{ false };
};
} // namespace NQorGraphJob
