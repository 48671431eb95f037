#pragma once

// CTaskScheduler: a fixed pool of worker threads (CTaskThread) that run task items.
// - Every worker owns a lock-free work-stealing deque: tasks that a task creates go there, the worker pops them
//   newest first, and idle workers steal the oldest. Threads that are not workers of this scheduler push to
//   one global queue under the scheduler's mutex; it is only ever stolen from.
// - An idle worker searches for a bounded time, stealing from the global queue and from random victims, then
//   sleeps on its own signal. The wake chain keeps one searcher while work turns up: a worker that finds work
//   as the last searcher, or that starts running while nobody searches, wakes one more; the last searcher
//   sleeps only when nothing runs and every deque is empty.
// - Task memory comes from fixed allocators, never from the general heap on the hot path: 2 MiB for the
//   scheduler (tasks made on other threads), 512 KiB for each worker (tasks made on it).
// - With no workers, or with task threads switched off (g_bEnableTaskThreads), a task runs on its creator at
//   creation, and tasks run in creation order.
// - The pool can grow and shrink between bursts of work (SetNumThreads), while its users are idle. A removed
//   worker's thread ends, but the worker object stays until the scheduler goes, so a thief that still holds
//   its index finds a live, idle deque; adding workers again restarts those objects first.

#include "qor_core/allocator/qor_fixed_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/qor_ptr.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/thread/qor_mutex.h"
#include "qor_core/thread/qor_signal.h"
#include "qor_core/thread/qor_task_item.h"
#include "qor_core/thread/qor_thread.h"
#include "qor_core/thread/qor_workstealing_deque.h"

#include <atomic>

class CTask;
class CTaskScheduler;

// The switch "Threading.EnableTaskThreads": off, every task runs on its creator. Written by the console while
// tasks are not being created; read wherever tasks are created.
extern bool g_bEnableTaskThreads;

// Where a thread's tasks come from. An item and its handle share one block of the backing allocator, which goes
// back when both are released: apart, the handles would leave small holes between the items still queued, and
// the fixed allocator's address-ordered first fit would walk them on every allocation and release.
class CTaskMemory
{
public:
    // REQUIRES: pBacking outlives every task made here.
    explicit CTaskMemory( CQorAllocator* pBacking );
    CTaskMemory( const CTaskMemory& ) = delete;
    CTaskMemory& operator=( const CTaskMemory& ) = delete;

    // A new item of Function, with one reference held by the returned handle. When the backing allocator is out
    // of room (it has reported that by then), the block comes from the global allocator.
    CQorPtr<CTask> CreateTask( const FTaskFunction& Function, const char* pLabel, CTaskScheduler* pScheduler );

private:
    // The two halves of a block, each the allocator its object goes back through.
    class CHalf : public CQorAllocator
    {
    public:
        explicit CHalf( uint64 Offset ) : _Offset( Offset ) {}
        // Blocks are only ever made whole, by CreateTask.
        void* Allocate( uint64 nSize, uint32 nAlignment ) override;
        // Frees the block with the second of its two halves.
        void Deallocate( void* pMemory ) override;

    private:
        uint64 _Offset;
    };

    CQorAllocator* _pBacking;
    CHalf _ItemHalf;
    CHalf _TaskHalf;
};

enum class ETaskThreadState : uint8
{
    NotStarted = 0,
    Running = 1,
    StopRequested = 2,
    Stopped = 3,
};

// One worker of a CTaskScheduler. The deque comes first: it is what other workers touch most.
class CTaskThread
{
public:
    static constexpr uint64 AllocatorSize = 0x80000;

    CTaskThread( CTaskScheduler* pScheduler, int32 Index, const char* pName );
    // REQUIRES: stopped (or never started).
    ~CTaskThread();
    CTaskThread( const CTaskThread& ) = delete;
    CTaskThread& operator=( const CTaskThread& ) = delete;

    // Marks the worker running and starts its thread; false when the platform refused the thread.
    bool Start();
    // Asks a running worker to end its loop; true when it was running, so that it will stop.
    bool RequestStop();
    // Waits for the stopped thread to end and lets go of it.
    void Join();

    ETaskThreadState GetState() const { return _State.load(); }
    bool IsStopRequested() const { return _State.load() == ETaskThreadState::StopRequested; }
    bool IsStopped() const { return _State.load() == ETaskThreadState::Stopped; }
    CTaskScheduler* GetScheduler() const { return _pScheduler; }
    int32 GetIndex() const { return _Index; }
    const CString& GetName() const { return _Name; }
    CQorWorkStealingDeque<STaskItem*>& GetDeque() { return _Deque; }

private:
    friend class CTaskScheduler;

    // Uniform in [Min, Max], both inclusive, the bounds in either order: the victims of the steal loop.
    int32 GetRandomInt( int32 Min, int32 Max );

    static uint32 ThreadMain( void* pWorker );
    void SetStopped();

    CQorWorkStealingDeque<STaskItem*> _Deque;
    CTaskScheduler* _pScheduler;
    NThreads::ThreadHandle _ThreadHandle = nullptr;
    std::atomic<ETaskThreadState> _State{ ETaskThreadState::NotStarted };
    CString _Name;
    int32 _Index;
    uint32 _Counter;
    uint32 _Seed = 0x13371337;
    CQorFixedAllocator _Allocator;
    CTaskMemory _TaskMemory{ &_Allocator };
    // Busy and sleep accounting: what GetUtilization reads from another thread.
    std::atomic<bool> _bBusy{ false };
    std::atomic<bool> _bSleeping{ false };
    std::atomic<uint64> _BusyNs{ 0 };
    std::atomic<uint64> _SleepNs{ 0 };
};

class CTaskScheduler
{
public:
    static constexpr uint64 AllocatorSize = 0x200000;
    static constexpr uint64 InitialQueueCapacity = 1024;

    // Room for GetClampedHardwareThreadCount() workers; none runs before Start.
    explicit CTaskScheduler( const char* pName );
    // Stops every worker. Items still queued then (the users were not idle) are run here, so none is lost.
    ~CTaskScheduler();
    CTaskScheduler( const CTaskScheduler& ) = delete;
    CTaskScheduler& operator=( const CTaskScheduler& ) = delete;

    // Starts Count workers. REQUIRES: no workers yet. True when all of them started.
    bool Start( int32 Count );
    // Removes every worker.
    void Stop();

    // Makes NumTasks tasks that run Function and appends their handles to TasksOut. From a worker of this
    // scheduler they go to its own deque, from any other thread to the global queue; without workers, or with
    // task threads off, each runs here before this returns, in order.
    // REQUIRES: TasksOut is empty; pLabel is a string constant (QOR_TASK_LABEL).
    void CreateTasks( const char* pLabel, const FTaskFunction& Function, int32 NumTasks,
                      CQorArray<CQorPtr<CTask>>& TasksOut );
    CQorPtr<CTask> CreateTask( const char* pLabel, const FTaskFunction& Function );
    // Runs the item on the caller if nobody has started it; true when the caller ran it. Any thread.
    static bool TryExecute( STaskItem* pItem );

    int32 GetNumThreads() const { return _Workers.GetSize(); }
    // The most workers the scheduler can hold: one signal each.
    int32 GetMaxThreads() const { return _NumSignals; }
    // Adds or removes workers at the end. REQUIRES: the scheduler's users are idle.
    void SetNumThreads( int32 Count );
    // The share of the time since the last call that the workers spent running tasks, from 0 to 1.
    float GetUtilization();

    const CString& GetName() const { return _Name; }
    int32 GetGlobalQueueSize() const { return _GlobalTaskQueue.GetSize(); }

    // What CreateTasks does without workers, where there is no scheduler at all: the tasks run on the caller,
    // in order, from the global allocator.
    static void RunTasksWithoutScheduler( const char* pLabel, const FTaskFunction& Function, int32 NumTasks,
                                          CQorArray<CQorPtr<CTask>>& TasksOut );

private:
    friend class CTaskThread;

    // The workers by position. A slot is filled the first time its position is used and keeps its worker until
    // the scheduler goes; only the count changes while workers run, so a reader never sees a slot move.
    class CWorkerSlots
    {
    public:
        explicit CWorkerSlots( int32 Capacity );
        bool IsEmpty() const { return GetSize() == 0; }
        int32 GetSize() const { return _Count.load(); }
        int32 GetCapacity() const { return _Slots.GetSize(); }
        // REQUIRES: 0 <= Index < GetCapacity().
        CTaskThread* operator[]( int32 Index ) const { return _Slots.GetData()[ Index ]; }

    private:
        friend class CTaskScheduler;
        CQorArray<CTaskThread*> _Slots;
        std::atomic<int32> _Count{ 0 };
    };

    // Returns Count, or the index of the worker that failed to start, or 0 when Count doesn't fit.
    int32 CreateThreads( int32 NumThreadsToCreate );
    int32 RemoveThreads( int32 NumThreadsToRemove );

    // Makes one task in Memory; queues its item when bQueue.
    void MakeTask( CTaskMemory& Memory, const char* pLabel, const FTaskFunction& Function, bool bQueue,
                   CQorWorkStealingDeque<STaskItem*>& Queue, CQorArray<CQorPtr<CTask>>& TasksOut );
    // Clears done items off the top of a deque that is half full or more. False when an undone item had to
    // move from the top to the bottom, so that a worker must be woken for it.
    bool TrimDoneTasks( CQorWorkStealingDeque<STaskItem*>& Deque );

    // The worker's life: run what it has, look for more, sleep when there is none.
    void RunTasks( CTaskThread& Worker, STaskItem* pItem );
    bool FindWork( CTaskThread& Worker, STaskItem*& pItemOut );
    STaskItem* StealLoop( CTaskThread& Worker );
    void Sleep( CTaskThread& Worker, bool bLastSpinner );
    bool AnyWorkerHasWork() const;

    void WakeOne();
    void WakeAll();
    void Wake( int32 Count );

    // The signals base: one signal per possible worker, made once, so sleepers and wakers never see it move.
    CQorScopedPtrImpl<CSignal, true> _Signals;
    int32 _NumSignals;
    CString _Name;
    CMutex _Mutex;
    CQorWorkStealingDeque<STaskItem*> _GlobalTaskQueue;
    CWorkerSlots _Workers;
    CQorFixedAllocator _Allocator;
    CTaskMemory _TaskMemory{ &_Allocator };
    std::atomic<int32> _NumRunning{ 0 };
    std::atomic<int32> _NumSpinning{ 0 };
    int32 _MaxSpinBeforeYield;
    uint64 _LastSampleTime = 0;
};
