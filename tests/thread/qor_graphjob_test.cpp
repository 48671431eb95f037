#include "qor_core/thread/qor_graphjob.h"

#include "tests/assert_recorder.h"
#include "tests/thread/task_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace NQorGraphJob;

namespace
{
const std::string NotAllCompleted = "The graph job was cleared without all task nodes being scheduled and completed.";
const std::string NotAllCollected = "The graph job was cleared without all scheduled tasks being completed.";
const std::string NoTasksOnceExecuting = "CQorGraphJob tasks cannot be added once the job has begun executing.";
const std::string NoDependenciesOnceExecuting =
    "CQorGraphJob tasks dependencies cannot be added once the job has begun executing.";

// A set of tasks with dependencies, and what happened when they ran: each task records how often it ran and
// the ticks of one shared clock at its start and its end. Tasks are added to the job in a shuffled order, so
// that the graph order is no topological order.
class CRecordedGraph
{
public:
    // Prerequisites[ i ] lists the tasks that task i waits for.
    explicit CRecordedGraph( std::vector<std::vector<int32>> Prerequisites )
        : _Prerequisites( std::move( Prerequisites ) ), _Runs( new std::atomic<int32>[ _Prerequisites.size() ]() ),
          _Start( new std::atomic<int64>[ _Prerequisites.size() ]() ),
          _End( new std::atomic<int64>[ _Prerequisites.size() ]() )
    {
    }

    int32 GetSize() const { return int32( _Prerequisites.size() ); }

    void AddTo( CQorGraphJob& Job, uint32 Seed, int32 WorkPerTask = 0 )
    {
        std::vector<int32> Order( _Prerequisites.size() );
        std::iota( Order.begin(), Order.end(), 0 );
        std::shuffle( Order.begin(), Order.end(), std::mt19937( Seed ) );
        std::vector<CTaskNode*> Nodes( _Prerequisites.size() );
        for ( int32 Index : Order )
        {
            Nodes[ Index ] = Job.AddTask( CString( std::to_string( Index ) ), [ this, Index, WorkPerTask ]
                                          { Run( Index, WorkPerTask ); } );
        }
        for ( int32 Index = 0; Index < GetSize(); ++Index )
        {
            for ( int32 Prerequisite : _Prerequisites[ Index ] )
            {
                Job.AddDependency( Nodes[ Index ], Nodes[ Prerequisite ] );
            }
        }
    }

    // Every task ran once, and started after each of its prerequisites had ended.
    void Check( const std::string& Context ) const
    {
        for ( int32 Index = 0; Index < GetSize(); ++Index )
        {
            ASSERT_EQ( _Runs[ Index ].load(), 1 ) << Context << ", task " << Index;
            for ( int32 Prerequisite : _Prerequisites[ Index ] )
            {
                ASSERT_GT( _Start[ Index ].load(), _End[ Prerequisite ].load() )
                    << Context << ", task " << Index << " after " << Prerequisite;
            }
        }
    }

    int64 GetStart( int32 Index ) const { return _Start[ Index ].load(); }

private:
    void Run( int32 Index, int32 Work )
    {
        _Start[ Index ].store( _Clock.fetch_add( 1 ) );
        _Runs[ Index ].fetch_add( 1 );
        uint32 Value = uint32( Index );
        for ( int32 Round = 0; Round < Work; ++Round )
        {
            Value = Value * 1664525u + 1013904223u;
        }
        _Sink.fetch_add( Value, std::memory_order_relaxed );
        _End[ Index ].store( _Clock.fetch_add( 1 ) );
    }

    std::vector<std::vector<int32>> _Prerequisites;
    std::unique_ptr<std::atomic<int32>[]> _Runs;
    std::unique_ptr<std::atomic<int64>[]> _Start;
    std::unique_ptr<std::atomic<int64>[]> _End;
    std::atomic<int64> _Clock{ 1 };
    std::atomic<uint32> _Sink{ 0 };
};

// A random DAG: each task waits for up to MaxPrerequisites tasks of lower number, most of them close by, so
// that the graph has long chains as well as wide layers.
std::vector<std::vector<int32>> RandomDag( int32 Size, int32 MaxPrerequisites, std::mt19937& Random )
{
    std::vector<std::vector<int32>> Prerequisites( static_cast<size_t>( Size ) );
    for ( int32 Index = 1; Index < Size; ++Index )
    {
        const int32 Count = int32( Random() % uint32( MaxPrerequisites + 1 ) );
        for ( int32 I = 0; I < Count; ++I )
        {
            const int32 Span = std::min( Index, Random() % 4 == 0 ? Index : 16 );
            Prerequisites[ size_t( Index ) ].push_back( Index - 1 - int32( Random() % uint32( Span ) ) );
        }
    }
    return Prerequisites;
}

#if defined( __SANITIZE_THREAD__ )
constexpr int32 LargestDag = 1000;
#else
constexpr int32 LargestDag = 3000;
#endif
} // namespace

// Random DAGs up to a few thousand tasks, on both pools at once: two threads start behind a barrier and each
// runs its jobs on one pool, in all three ways of waiting. Every task runs once, never before a prerequisite.
TEST( CQorGraphJob, RandomDagsRunEveryTaskOnceAfterItsPrerequisites )
{
    CTaskPools Pools( 4 );
    const uint32 Seed = std::random_device()();
    SCOPED_TRACE( "seed " + std::to_string( Seed ) );
    CAssertRecorder Asserts;
    std::barrier Start( 2 );
    auto RunJobs = [ & ]( CTaskScheduler* pScheduler, uint32 ThreadSeed )
    {
        std::mt19937 Random( ThreadSeed );
        Start.arrive_and_wait();
        for ( const auto& [ Size, MaxPrerequisites ] : { std::pair{ 1, 0 }, { 2, 1 }, { 60, 3 }, { 400, 1 },
                                                          { 400, 6 }, { LargestDag, 3 } } )
        {
            for ( int32 Wait = 0; Wait < 3; ++Wait )
            {
                CRecordedGraph Graph( RandomDag( Size, MaxPrerequisites, Random ) );
                CQorGraphJob Job( pScheduler );
                // Tasks long enough for idle workers to steal a dependent while its prerequisite still runs.
                Graph.AddTo( Job, Random(), 2000 );
                Job.Start();
                if ( Wait == 0 )
                {
                    Job.WaitAndClear();
                }
                else if ( Wait == 1 )
                {
                    Job.WaitNoExecuteAndClear();
                }
                else
                {
                    while ( !Job.WaitFor( std::chrono::milliseconds( 1 ) ) )
                    {
                    }
                }
                EXPECT_FALSE( Job.IsExecuting() );
                EXPECT_EQ( Job.GetNumTasks(), 0 );
                Graph.Check( std::string( pScheduler->GetName().GetString() ) + ", " + std::to_string( Size ) +
                             " tasks, wait " + std::to_string( Wait ) );
            }
        }
    };
    std::thread Other( RunJobs, GetLongTaskScheduler(), Seed + 1 );
    RunJobs( GetShortTaskScheduler(), Seed );
    Other.join();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}

// A diamond: the last task waits for two, and whichever of them finishes last schedules it, once.
TEST( CQorGraphJob, DiamondRunsTheJoinOnceAfterBothSides )
{
    CTaskPools Pools( 4 );
    CAssertRecorder Asserts;
    for ( int32 Round = 0; Round < 200; ++Round )
    {
        CRecordedGraph Graph( { {}, { 0 }, { 0 }, { 1, 2 } } );
        CQorGraphJob Job;
        Graph.AddTo( Job, uint32( Round ), 2000 );
        Job.StartAndWaitAndClear();
        Graph.Check( "round " + std::to_string( Round ) );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}

// A chain runs strictly one task after the other, each scheduled by the end of the one before.
TEST( CQorGraphJob, ChainRunsInOrder )
{
    CTaskPools Pools( 4 );
    constexpr int32 Length = 500;
    std::vector<std::vector<int32>> Prerequisites( Length );
    for ( int32 Index = 1; Index < Length; ++Index )
    {
        Prerequisites[ Index ] = { Index - 1 };
    }
    CRecordedGraph Graph( Prerequisites );
    CQorGraphJob Job( GetShortTaskScheduler() );
    Graph.AddTo( Job, 7, 20000 );
    Job.StartAndWaitAndClear();
    Graph.Check( "chain" );
    for ( int32 Index = 0; Index < Length; ++Index )
    {
        EXPECT_EQ( Graph.GetStart( Index ), 1 + 2 * Index );
    }
}

// A wide fan-out: one root, a thousand tasks that wait for it, and a final task over all of them. The first
// three of the fan wait for one another before they end, so the job finishes only if they run on three
// threads at the same time: dependents go on the scheduler, not into a queue of the job's own.
TEST( CQorGraphJob, WideFanOutRunsOnManyThreadsAndTheFinalTaskLast )
{
    CTaskPools Pools( 4 );
    CAssertRecorder Asserts;
    constexpr int32 Width = 1000;
    constexpr int32 Meeting = 3;
    std::atomic<int32> Arrived{ 0 };
    std::atomic<int32> NumMissed{ 0 };
    std::atomic<int32> NumRun{ 0 };
    std::atomic<int32> RunBeforeFinal{ -1 };
    CQorGraphJob Job;
    auto Meet = [ & ]
    {
        Arrived.fetch_add( 1 );
        const auto Deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 20 );
        while ( Arrived.load() < Meeting && std::chrono::steady_clock::now() < Deadline )
        {
            std::this_thread::yield();
        }
        NumMissed.fetch_add( Arrived.load() < Meeting );
    };
    CTaskNode* pRoot = Job.AddTask( "root", [ & ] { NumRun.fetch_add( 1 ); } );
    for ( int32 Index = 0; Index < Width; ++Index )
    {
        CTaskNode* pTask = Job.AddTask( CString( std::to_string( Index ) ), [ &, Index ]
                                        {
                                            if ( Index < Meeting )
                                            {
                                                Meet();
                                            }
                                            NumRun.fetch_add( 1 );
                                        } );
        Job.AddDependency( pTask, pRoot );
    }
    CTaskNode* pFinal = Job.AddFinalTask( "final", [ & ] { RunBeforeFinal.store( NumRun.load() ); } );
    EXPECT_EQ( pFinal->GetData()._RemainingPrerequisiteCount.Get(), Width );
    Job.StartAndWaitAndClear();
    EXPECT_EQ( NumMissed.load(), 0 );
    EXPECT_EQ( RunBeforeFinal.load(), Width + 1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}

// Tasks in a cycle never become ready: the wait returns with the rest done, and the clear reports each node
// that didn't run, the cycle's two and the one behind it. Then the job is reused.
TEST( CQorGraphJob, CycleLeavesItsTasksUnscheduledAndIsReported )
{
    CTaskPools Pools( 4 );
    std::vector<int32> Runs( 5, 0 );
    CQorGraphJob Job;
    std::vector<CTaskNode*> Nodes;
    for ( int32 Index = 0; Index < 5; ++Index )
    {
        Nodes.push_back( Job.AddTask( CString( std::to_string( Index ) ), [ &Runs, Index ] { ++Runs[ Index ]; } ) );
    }
    // 1 and 2 wait for each other and for 0; 3 waits for 2; 4 waits for 0 only.
    for ( const auto& [ Task, Prerequisite ] : { std::pair{ 1, 0 }, { 1, 2 }, { 2, 1 }, { 3, 2 }, { 4, 0 } } )
    {
        Job.AddDependency( Nodes[ Task ], Nodes[ Prerequisite ] );
    }
    CAssertRecorder Asserts;
    Job.StartAndWaitAndClear();
    EXPECT_EQ( Runs, ( std::vector<int32>{ 1, 0, 0, 0, 1 } ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ NotAllCompleted, NotAllCompleted, NotAllCompleted } ) );
    EXPECT_FALSE( Job.IsExecuting() );

    // The job is built anew after the clear. Empty, it starts and finishes at once; the final task of an empty
    // job has no prerequisites.
    Asserts.Clear();
    Job.Start();
    EXPECT_TRUE( Job.IsExecuting() );
    Job.WaitAndClear();
    int32 NumRun = 0;
    EXPECT_EQ( Job.AddFinalTask( "alone", [ & ] { ++NumRun; } )->GetData()._RemainingPrerequisiteCount.Get(), 0 );
    Job.StartAndWaitAndClear();
    EXPECT_EQ( NumRun, 1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}

// A dependency on nothing (a null node, or a handle whose node went with the last clear) is no dependency:
// the task runs, and nothing is reported.
TEST( CQorGraphJob, DependencyOnAMissingTaskIsIgnored )
{
    CTaskPools Pools( 4 );
    CAssertRecorder Asserts;
    CQorGraphJob Job;
    STaskReference Gone( Job.AddTask( "gone", {} ) );
    Job.StartAndWaitAndClear();
    ASSERT_FALSE( Gone );

    int32 NumRun = 0;
    CTaskNode* pTask = Job.AddTask( "task", [ & ] { ++NumRun; } );
    Job.AddDependency( pTask, nullptr );
    Job.AddDependency( nullptr, pTask );
    Job.AddDependency( pTask, Gone );
    Job.AddDependency( nullptr, STaskReference( pTask ) );
    EXPECT_EQ( pTask->GetData()._RemainingPrerequisiteCount.Get(), 0 );
    EXPECT_EQ( Job.GetGraph().GetEdgeCount(), 0 );
    Job.StartAndWaitAndClear();
    EXPECT_EQ( NumRun, 1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}

// While the job executes, nothing can be added and it can't start again; each refusal is reported and leaves
// the graph as it was. The mirror form of AddDependency makes the same edge as the first.
TEST( CQorGraphJob, BuildingWhileExecutingIsRefused )
{
    CTaskPools Pools( 4 );
    CGate Gate;
    CQorGraphJob Job;
    CTaskNode* pHeld = Job.AddTask( "held", [ & ] { Gate.WaitOpen(); } );
    CTaskNode* pAfter = Job.AddTask( "after", {} );
    STaskReference After( pAfter );
    Job.AddDependency( pHeld, After );
    EXPECT_EQ( pAfter->GetData()._RemainingPrerequisiteCount.Get(), 1 );
    ASSERT_EQ( Job.GetGraph().GetEdgeCount(), 1 );
    EXPECT_EQ( Job.GetGraph().GetNodes().begin()->GetIncomingEdges().begin()->GetSource(), pAfter );
    Job.Start();

    CAssertRecorder Asserts;
    EXPECT_EQ( Job.AddTask( "late", {} ), nullptr );
    EXPECT_EQ( Job.AddFinalTask( "late final", {} ), nullptr );
    Job.AddDependency( pHeld, pAfter );
    Job.AddDependency( pAfter, After );
    Job.Start();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ NoTasksOnceExecuting, NoTasksOnceExecuting,
                                                             NoDependenciesOnceExecuting, NoDependenciesOnceExecuting,
                                                             "!WasExecuting" } ) );
    EXPECT_EQ( Job.GetNumTasks(), 2 );
    EXPECT_EQ( Job.GetGraph().GetEdgeCount(), 1 );
    Gate.Open();
    Job.WaitAndClear();
    EXPECT_EQ( Asserts.Texts().size(), 5u );
}

// WaitFor returns false while a task runs and leaves the job valid; a later wait finishes it.
TEST( CQorGraphJob, WaitForTimesOutAndWaitsAgainLater )
{
    CTaskPools Pools( 4 );
    CAssertRecorder Asserts;
    CGate Gate;
    std::atomic<int32> NumRun{ 0 };
    CQorGraphJob Job( GetShortTaskScheduler() );
    CTaskNode* pHeld = Job.AddTask( "held", [ & ] { Gate.WaitOpen(); NumRun.fetch_add( 1 ); } );
    Job.AddDependency( Job.AddTask( "next", [ & ] { NumRun.fetch_add( 1 ); } ), pHeld );
    Job.Start();
    EXPECT_FALSE( Job.WaitFor( std::chrono::nanoseconds( 0 ) ) );
    EXPECT_FALSE( Job.WaitFor( std::chrono::milliseconds( 5 ) ) );
    EXPECT_TRUE( Job.IsExecuting() );
    Gate.Open();
    EXPECT_TRUE( Job.WaitFor( std::chrono::seconds( 60 ) ) );
    EXPECT_EQ( NumRun.load(), 2 );
    EXPECT_FALSE( Job.IsExecuting() );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}

// Cleared or destroyed while its tasks run, the job reports that, and still waits for them before the nodes go.
TEST( CQorGraphJob, ClearWhileRunningReportsAndWaits )
{
    CTaskPools Pools( 4 );
    CAssertRecorder Asserts;
    CGate Gate;
    std::atomic<bool> bFinished{ false };
    std::thread Opener;
    {
        CQorGraphJob Job;
        Job.AddTask( "held", [ & ] { Gate.WaitOpen(); bFinished.store( true ); } );
        Job.Start();
        Opener = std::thread( [ & ] { std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) ); Gate.Open(); } );
    }
    EXPECT_TRUE( bFinished.load() );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ NotAllCollected } );
    Opener.join();
}

// Without pools, and with task threads off, every task runs on the caller as soon as it is ready, in
// dependency order.
TEST( CQorGraphJob, WithoutWorkersTasksRunOnTheCaller )
{
    CAssertRecorder Asserts;
    const uint32 Caller = CurrentThreadId();
    std::mt19937 Random( 5 );
    for ( const bool bPools : { false, true } )
    {
        std::unique_ptr<CTaskPools> pPools;
        if ( bPools )
        {
            pPools.reset( new CTaskPools( 4 ) );
            g_bEnableTaskThreads = false;
        }
        std::atomic<int32> NumOnOthers{ 0 };
        CQorGraphJob Job;
        EXPECT_EQ( Job.GetScheduler(), GetLongTaskScheduler() );
        CRecordedGraph Graph( RandomDag( 1000, 2, Random ) );
        Graph.AddTo( Job, 3 );
        Job.AddFinalTask( "where", [ & ] { NumOnOthers.fetch_add( CurrentThreadId() != Caller ); } );
        Job.StartAndWaitAndClear();
        g_bEnableTaskThreads = true;
        Graph.Check( bPools ? "task threads off" : "no pools" );
        EXPECT_EQ( NumOnOthers.load(), 0 );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{} );
}
