#pragma once

// Helpers of the scheduler tests: the process-wide pools for one test, a gate that holds workers inside a task
// until the test opens it, and the thread ids that tell where a task ran.

#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/thread/qor_task.h"

#include <atomic>
#include <thread>

class CTaskPools
{
public:
    explicit CTaskPools( uint32 Count ) { StartTaskThreads( Count ); }
    ~CTaskPools() { ShutdownTaskThreads(); }
};

class CGate
{
public:
    void Open() { _bOpen.store( true ); }
    void WaitOpen() const
    {
        while ( !_bOpen.load() )
        {
            std::this_thread::yield();
        }
    }

private:
    std::atomic<bool> _bOpen{ false };
};

// Occupies one worker of Scheduler until Gate opens: returns once a worker has started the task, which the
// caller must not wait on before opening the gate.
inline CQorPtr<CTask> OccupyWorker( CTaskScheduler& Scheduler, CGate& Gate )
{
    std::atomic<bool> bStarted{ false };
    CQorPtr<CTask> pTask = Scheduler.CreateTask( QOR_TASK_LABEL,
                                                 [ &bStarted, &Gate ]
                                                 {
                                                     bStarted.store( true );
                                                     Gate.WaitOpen();
                                                 } );
    while ( !bStarted.load() )
    {
        std::this_thread::yield();
    }
    return pTask;
}

inline uint32 CurrentThreadId()
{
    return NPlatform::GetCurrentThreadId();
}
