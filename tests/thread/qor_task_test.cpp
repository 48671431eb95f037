#include "qor_core/thread/qor_task.h"

#include "tests/assert_recorder.h"
#include "tests/thread/task_test_utils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

TEST( CTask, HandleOnNothingIsNeverDoneAndNeverWaits )
{
    CTask Task;
    EXPECT_FALSE( Task.IsDone() );
    EXPECT_FALSE( Task.TryExecute() );
    Task.Wait();
    Task.WaitNoExecute();
    CQorPtr<CTask> pNone;
    WaitAndClear( pNone );
    EXPECT_TRUE( pNone.IsEmpty() );

    CJob Empty;
    EXPECT_TRUE( Empty.IsDone() );
    Empty.WaitAndClear();
}

// The job's waiter runs what no worker has taken, from the last task to the first, while the only worker is
// held up: the order shows the direction.
TEST( CJob, WaitRunsQueuedTasksFromTheLastToTheFirst )
{
    CTaskScheduler Scheduler( "Job" );
    ASSERT_TRUE( Scheduler.Start( 1 ) );
    CGate Gate;
    CQorPtr<CTask> pBlocker = OccupyWorker( Scheduler, Gate );
    std::vector<int> Order;
    CJob Job( 4 );
    for ( int I = 0; I < 4; ++I )
    {
        Job.AddTask( Scheduler.CreateTask( QOR_TASK_LABEL, [ &Order, I ] { Order.push_back( I ); } ) );
    }
    EXPECT_FALSE( Job.IsDone() );
    Job.WaitAndClear();
    EXPECT_EQ( Order, ( std::vector<int>{ 3, 2, 1, 0 } ) );
    EXPECT_EQ( Job.GetNumTasks(), 0 );
    Gate.Open();
    WaitAndClear( pBlocker );
}

// Waiting without executing leaves the work to the workers; the pump runs meanwhile, and here it is what lets
// the worker go on.
TEST( CJob, WaitsWithoutExecutingLeaveTheWorkToTheWorkers )
{
    CTaskScheduler Scheduler( "Pumped" );
    ASSERT_TRUE( Scheduler.Start( 1 ) );
    CGate Gate;
    CQorPtr<CTask> pBlocker = OccupyWorker( Scheduler, Gate );
    const uint32 Caller = CurrentThreadId();
    std::atomic<int> NumOnCaller{ 0 };
    CJob Job;
    CTaskArray Tasks;
    Scheduler.CreateTasks( QOR_TASK_LABEL, [ & ] { NumOnCaller.fetch_add( CurrentThreadId() == Caller ); }, 40, Tasks );
    Job.AddTasks( Tasks );
    EXPECT_TRUE( Tasks.IsEmpty() );
    Job.AddTask( std::move( pBlocker ) );
    int NumPumps = 0;
    Job.WaitAndClear(
        [ & ]
        {
            if ( ++NumPumps == 3 )
            {
                Gate.Open();
            }
        } );
    EXPECT_GE( NumPumps, 3 );
    EXPECT_EQ( NumOnCaller.load(), 0 );

    CQorPtr<CTask> pTask = Scheduler.CreateTask( QOR_TASK_LABEL, [ & ] { NumOnCaller.fetch_add( CurrentThreadId() == Caller ); } );
    pTask->WaitNoExecute();
    EXPECT_TRUE( pTask->IsDone() );
    EXPECT_EQ( NumOnCaller.load(), 0 );
}

// A job or a task handle dropped before its work is done is reported, and still waits, running the work on the
// caller when no worker took it.
TEST( CJob, DroppedUnfinishedReportsAndStillWaits )
{
    CTaskScheduler Scheduler( "Dropped" );
    ASSERT_TRUE( Scheduler.Start( 1 ) );
    CGate Gate;
    CQorPtr<CTask> pBlocker = OccupyWorker( Scheduler, Gate );
    std::atomic<int> Runs{ 0 };
    {
        CAssertRecorder Asserts;
        {
            CJob Job;
            Job.AddTask( Scheduler.CreateTask( QOR_TASK_LABEL, [ & ] { Runs.fetch_add( 1 ); } ) );
        }
        EXPECT_EQ( Runs.load(), 1 );
        EXPECT_EQ( Asserts.Texts(),
                   ( std::vector<std::string>{ "Every task should be done before the job is destroyed, did you forget to "
                                               "call WaitAndClear on the job?",
                                               "_pTaskItem == nullptr || IsDone()" } ) );
    }
    Gate.Open();
    WaitAndClear( pBlocker );
}
