// Spawning and running empty tasks: the scheduler's cost per task, against TBB's task group and against one
// thread per task, the naive floor. Tasks go in batches that are waited on as a whole, as a frame's jobs are;
// a batch stays well inside the 2 MiB that the short pool's scheduler has for tasks made off its workers.
// The "per_task" counter is the time per task.

#include "qor_core/thread/qor_task.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/task_group.h>

#include <thread>
#include <vector>

namespace
{
void SetPerTaskCounter( benchmark::State& State, int64_t NumTasks )
{
    State.SetItemsProcessed( State.iterations() * NumTasks );
    State.counters[ "per_task" ] = benchmark::Counter( static_cast<double>( NumTasks ),
                                                       benchmark::Counter::kIsIterationInvariantRate |
                                                           benchmark::Counter::kInvert );
}

void TaskSpawn_Qor( benchmark::State& State )
{
    const int32 NumTasks = static_cast<int32>( State.range( 0 ) );
    const int32 BatchSize = static_cast<int32>( State.range( 1 ) );
    StartTaskThreads( 0xFFFFFFFF );
    const FTaskFunction Empty = [] {};
    CJob Job( BatchSize );
    CTaskArray Tasks;
    for ( auto _ : State )
    {
        for ( int32 Done = 0; Done < NumTasks; Done += BatchSize )
        {
            RunShortTasks( QOR_TASK_LABEL, Empty, BatchSize, Tasks );
            Job.AddTasks( Tasks );
            Job.WaitAndClear();
        }
    }
    ShutdownTaskThreads();
    SetPerTaskCounter( State, NumTasks );
}

void TaskSpawn_Tbb( benchmark::State& State )
{
    const int32 NumTasks = static_cast<int32>( State.range( 0 ) );
    const int32 BatchSize = static_cast<int32>( State.range( 1 ) );
    tbb::task_group Group;
    for ( auto _ : State )
    {
        for ( int32 Done = 0; Done < NumTasks; Done += BatchSize )
        {
            for ( int32 I = 0; I < BatchSize; ++I )
            {
                Group.run( [] {} );
            }
            Group.wait();
        }
    }
    SetPerTaskCounter( State, NumTasks );
}

void TaskSpawn_StdThread( benchmark::State& State )
{
    const int32 NumTasks = static_cast<int32>( State.range( 0 ) );
    const int32 BatchSize = static_cast<int32>( State.range( 1 ) );
    std::vector<std::thread> Threads;
    Threads.reserve( static_cast<size_t>( BatchSize ) );
    for ( auto _ : State )
    {
        for ( int32 Done = 0; Done < NumTasks; Done += BatchSize )
        {
            for ( int32 I = 0; I < BatchSize; ++I )
            {
                Threads.emplace_back( [] {} );
            }
            for ( std::thread& Thread : Threads )
            {
                Thread.join();
            }
            Threads.clear();
        }
    }
    SetPerTaskCounter( State, NumTasks );
}
} // namespace

BENCHMARK( TaskSpawn_Qor )->Args( { 100000, 1000 } )->UseRealTime();
BENCHMARK( TaskSpawn_Tbb )->Args( { 100000, 1000 } )->UseRealTime();
BENCHMARK( TaskSpawn_StdThread )->Args( { 100000, 1000 } )->UseRealTime();
