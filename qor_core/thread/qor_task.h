#pragma once

// Tasks, jobs and the process-wide task pools.
// - CTask is the creator's reference-counted handle on a queued item. Waiting on it runs the item on the
//   waiter when no worker has started it yet, so a wait never depends on a free worker.
// - CJob is a group of tasks waited on as a whole; its waiter runs queued tasks from the last to the first while
//   the workers take them from the first. It keeps room for 32 tasks inline. One thread adds and waits.
// - The process has two pools of equal size, "Short Task" and "Long Task", from StartTaskThreads until
//   ShutdownTaskThreads. Before and after that, tasks run on their creator.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_commandline.h"
#include "qor_core/qor_ptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/thread/qor_task_item.h"
#include "qor_core/thread/qor_task_scheduler.h"

class CTask : public CQorAllocatedRefCountable
{
public:
    // A handle on nothing: never done, and waits return at once.
    CTask() : CQorAllocatedRefCountable( nullptr ) {}
    // Takes the creator's reference on pItem. pScheduler is null for a task made without a scheduler.
    CTask( CQorAllocator* pAllocator, STaskItem* pItem, CTaskScheduler* pScheduler )
        : CQorAllocatedRefCountable( pAllocator ), _pTaskItem( pItem ), _pScheduler( pScheduler )
    {
    }
    // REQUIRES: done. A task dropped too early is reported, and still waited for (running it here if need
    // be), so that no item outlives its work.
    ~CTask() override;
    CTask( const CTask& ) = delete;
    CTask& operator=( const CTask& ) = delete;

    // Runs the item here unless somebody has started it; true when this call ran it.
    bool TryExecute();
    // False for a handle on nothing.
    bool IsDone() const;
    // TryExecute, then yields until done.
    void Wait();
    // Yields until done, running nothing.
    void WaitNoExecute();
    // Yields until done, calling Pump between the yields when it isn't empty; runs nothing.
    void Wait( const FTaskFunction& Pump );

    STaskItem* GetTaskItem() const { return _pTaskItem; }
    CTaskScheduler* GetScheduler() const { return _pScheduler; }

private:
    STaskItem* _pTaskItem = nullptr;
    CTaskScheduler* _pScheduler = nullptr;
};

using CTaskArray = CQorArray<CQorPtr<CTask>>;

// Wait, then drop the handle. A null handle is left as it is.
void WaitAndClear( CQorPtr<CTask>& pTask );
void WaitAndClear( CQorPtr<CTask>& pTask, const FTaskFunction& Pump );

class CJob
{
public:
    static constexpr int32 InlineTasks = 32;

    explicit CJob( int32 ExpectedNumTasks = 0 );
    // REQUIRES: every task done: "did you forget to call WaitAndClear on the job?"
    virtual ~CJob();
    CJob( const CJob& ) = delete;
    CJob& operator=( const CJob& ) = delete;

    void AddTask( CQorPtr<CTask> pTask );
    // Moves every task of Tasks in, and leaves Tasks empty.
    void AddTasks( CTaskArray& Tasks );

    // Runs here what no worker has started yet, from the last task to the first.
    void TryExecuteAll();
    // TryExecuteAll, then waits for each task from the first to the last.
    void Wait();
    void WaitNoExecute();
    void Wait( const FTaskFunction& Pump );
    // The waits, then the job lets go of its tasks and can be filled again.
    void WaitAndClear();
    void WaitNoExecuteAndClear();
    void WaitAndClear( const FTaskFunction& Pump );

    // True when every task is done, and for an empty job.
    bool IsDone() const;
    int32 GetNumTasks() const { return _Tasks.GetSize(); }

protected:
    // The destructor's check, for a derived job that must wait before its own members go.
    void CheckDoneBeforeDestruction() const;

private:
    CQorHybridArray<CQorPtr<CTask>, InlineTasks> _Tasks;
};

// The process-wide pools.
//
// Starts both pools with Count workers each: 0xFFFFFFFF means one less than the clamped hardware thread count,
// and any count is kept within 4 to 32. REQUIRES: the pools don't exist. Returns true.
bool StartTaskThreads( uint32 Count );
// The option "taskthreads", an integer: the workers per pool that InitTaskThreads asks for.
extern const SCommandLineOption g_TaskThreadsOption;
// StartTaskThreads with the command line's "taskthreads", or 0xFFFFFFFF (-1) without it or without a command
// line.
bool InitTaskThreads();
// Stops and destroys both pools, the short one first. REQUIRES: nobody creates tasks meanwhile.
void ShutdownTaskThreads();
// Null outside StartTaskThreads to ShutdownTaskThreads.
CTaskScheduler* GetShortTaskScheduler();
CTaskScheduler* GetLongTaskScheduler();
// The workers per pool, as StartTaskThreads and SetNumTaskThreads left it; 0 without pools.
uint32 GetNumTaskThreads();
// Resizes both pools: 0xFFFFFFFF means one less than the hardware thread count, unclamped, and 0 removes
// every worker. REQUIRES: the pools' users are idle.
void SetNumTaskThreads( uint32 Count );

// Tasks on the pools; without pools they run on the caller.
void RunShortTask( CQorPtr<CTask>& pTaskOut, const char* pLabel, const FTaskFunction& Function );
void RunLongTask( CQorPtr<CTask>& pTaskOut, const char* pLabel, const FTaskFunction& Function );
// REQUIRES: TasksOut is empty.
void RunShortTasks( const char* pLabel, const FTaskFunction& Function, int32 Count, CTaskArray& TasksOut );
void RunLongTasks( const char* pLabel, const FTaskFunction& Function, int32 Count, CTaskArray& TasksOut );

// The behaviour of the console command "Threading.TaskThreadCount" ("Set or get the number of task threads",
// one optional argument, "The number of task threads"). Arguments are those behind the command's name. No
// argument reads the count; one argument sets it, unless its value is 0 while it isn't all digits. Text gets
// the answer; the result is false when the call was refused.
bool RunTaskThreadCountCommand( const CQorArray<CString>& Arguments, CString& Text );
