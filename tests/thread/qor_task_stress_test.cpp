#include "qor_core/thread/qor_task.h"

#include "tests/thread/task_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <memory>
#include <thread>
#include <vector>

namespace
{
#if defined( __SANITIZE_THREAD__ )
// ThreadSanitizer runs the scheduler some twenty times slower: a quarter of the tasks keeps this test near ten
// seconds on two cores.
constexpr int32 NumTasks = 250000;
#else
constexpr int32 NumTasks = 1000000;
#endif
constexpr int32 NumRounds = 8;
constexpr int32 NumProducers = 3;
constexpr int32 ChildrenPerFamily = 7;
constexpr int32 FamiliesPerJob = 200;
// Pool sizes round by round: removing workers, all of them, and adding them back.
constexpr uint32 PoolSizes[ NumRounds ] = { 4, 2, 0, 3, 1, 4, 0, 2 };

CQorPtr<CTask> Run( bool bShort, const FTaskFunction& Function )
{
    CQorPtr<CTask> pTask;
    ( bShort ? RunShortTask : RunLongTask )( pTask, QOR_TASK_LABEL, Function );
    return pTask;
}

struct SStress
{
    std::unique_ptr<std::atomic<uint8>[]> Runs{ new std::atomic<uint8>[ NumTasks ]() };
    std::atomic<int32> NextIndex{ 0 };

    // A task that marks its own slot when it runs.
    FTaskFunction Leaf()
    {
        const int32 Index = NextIndex.fetch_add( 1 );
        return [ this, Index ] { Runs[ Index ].fetch_add( 1 ); };
    }

    // A task that marks its slot, then creates children on its own pool (onto its worker's deque) and on the
    // other pool (onto that pool's global queue), and waits for them, running what nobody took.
    FTaskFunction Family( bool bShort )
    {
        const int32 Index = NextIndex.fetch_add( 1 );
        return [ this, Index, bShort ]
        {
            Runs[ Index ].fetch_add( 1 );
            CJob Children( ChildrenPerFamily );
            for ( int32 I = 0; I < ChildrenPerFamily; ++I )
            {
                Children.AddTask( Run( ( I % 2 == 0 ) == bShort, Leaf() ) );
            }
            Children.WaitAndClear();
        };
    }

    // One producer's share of a round: families in jobs of FamiliesPerJob, alternating between the pools.
    void Produce( int32 NumFamilies )
    {
        for ( int32 Done = 0; Done < NumFamilies; Done += FamiliesPerJob )
        {
            const int32 InJob = std::min( FamiliesPerJob, NumFamilies - Done );
            CJob Job( InJob );
            for ( int32 I = 0; I < InJob; ++I )
            {
                Job.AddTask( Run( I % 2 == 0, Family( I % 2 == 0 ) ) );
            }
            Job.WaitAndClear();
        }
    }
};
} // namespace

// Tasks made by the main thread, by two other threads, and by tasks on both pools, with the pools resized
// between rounds: every one of them runs exactly once.
TEST( TaskStress, EveryTaskRunsExactlyOnceAcrossPoolsProducersAndResizes )
{
    StartTaskThreads( 4 );
    auto pStress = std::make_unique<SStress>();
    constexpr int32 FamiliesPerRound = NumTasks / ( 1 + ChildrenPerFamily ) / NumRounds;
    constexpr int32 FamiliesPerProducer = FamiliesPerRound / NumProducers;
    static_assert( FamiliesPerProducer * NumProducers * NumRounds * ( 1 + ChildrenPerFamily ) <= NumTasks );

    for ( int32 Round = 0; Round < NumRounds; ++Round )
    {
        SetNumTaskThreads( PoolSizes[ Round ] );
        ASSERT_EQ( GetNumTaskThreads(), PoolSizes[ Round ] );
        std::barrier Barrier( NumProducers );
        std::vector<std::thread> Producers;
        for ( int32 Producer = 1; Producer < NumProducers; ++Producer )
        {
            Producers.emplace_back(
                [ & ]
                {
                    Barrier.arrive_and_wait();
                    pStress->Produce( FamiliesPerProducer );
                } );
        }
        Barrier.arrive_and_wait();
        pStress->Produce( FamiliesPerProducer );
        for ( std::thread& Producer : Producers )
        {
            Producer.join();
        }
    }
    ShutdownTaskThreads();

    const int32 NumMade = pStress->NextIndex.load();
    EXPECT_EQ( NumMade, FamiliesPerProducer * NumProducers * NumRounds * ( 1 + ChildrenPerFamily ) );
    int32 NumWrong = 0;
    for ( int32 Index = 0; Index < NumMade; ++Index )
    {
        NumWrong += pStress->Runs[ Index ].load() != 1;
    }
    EXPECT_EQ( NumWrong, 0 );
}
