// Graph jobs of short tasks: the library's graph job against tbb::flow_graph with continue nodes, and against
// the same work run on one thread in a topological order. Two shapes of 1000 tasks: layers (each task waits for
// three tasks of the layer before it) and one deep chain. Every pass builds the graph, runs it and lets it go,
// as a frame's graph job is built and run; the tbb graph is built anew in each pass too. The "per_task" counter
// is the time per task.

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/thread/qor_graphjob.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/flow_graph.h>

#include <atomic>
#include <deque>
#include <string>
#include <vector>

namespace
{
// Each task hashes its index a few dozen times: a short task, a little longer than the scheduling around it.
constexpr uint32 WorkRounds = 32;

struct SShape
{
    // Prerequisites[ i ] are tasks of lower number: the numbering is a topological order.
    std::vector<std::vector<int32>> Prerequisites;
    std::vector<std::string> Names;
};

SShape MakeShape( int32 NumTasks, int32 Width )
{
    SShape Shape;
    Shape.Prerequisites.resize( static_cast<size_t>( NumTasks ) );
    for ( int32 Index = 0; Index < NumTasks; ++Index )
    {
        Shape.Names.push_back( "task " + std::to_string( Index ) );
        if ( Index < Width )
        {
            continue;
        }
        std::vector<int32>& Prerequisites = Shape.Prerequisites[ static_cast<size_t>( Index ) ];
        if ( Width == 1 )
        {
            Prerequisites.push_back( Index - 1 );
            continue;
        }
        // Three distinct tasks of the layer before, for layers wider than 7.
        const int32 Previous = ( Index / Width - 1 ) * Width;
        for ( const int32 Offset : { 0, 1, 7 } )
        {
            Prerequisites.push_back( Previous + ( Index % Width + Offset ) % Width );
        }
    }
    return Shape;
}

inline void Work( std::atomic<uint32>& Sink, int32 Index )
{
    uint32 Value = static_cast<uint32>( Index );
    for ( uint32 Round = 0; Round < WorkRounds; ++Round )
    {
        Value = NoiseHash( Value, Round );
    }
    Sink.fetch_add( Value, std::memory_order_relaxed );
}

void SetPerTaskCounter( benchmark::State& State, int64_t NumTasks )
{
    State.SetItemsProcessed( State.iterations() * NumTasks );
    State.counters[ "per_task" ] = benchmark::Counter( static_cast<double>( NumTasks ),
                                                       benchmark::Counter::kIsIterationInvariantRate |
                                                           benchmark::Counter::kInvert );
}

void RunQor( benchmark::State& State, int32 Width )
{
    const int32 NumTasks = static_cast<int32>( State.range( 0 ) );
    const SShape Shape = MakeShape( NumTasks, Width );
    std::atomic<uint32> Sink{ 0 };
    StartTaskThreads( 0xFFFFFFFF );
    {
        NQorGraphJob::CQorGraphJob Job;
        std::vector<NQorGraphJob::CTaskNode*> Nodes( static_cast<size_t>( NumTasks ) );
        for ( auto _ : State )
        {
            for ( int32 Index = 0; Index < NumTasks; ++Index )
            {
                Nodes[ Index ] = Job.AddTask( CString( Shape.Names[ Index ].c_str() ),
                                              [ &Sink, Index ] { Work( Sink, Index ); } );
                for ( const int32 Prerequisite : Shape.Prerequisites[ Index ] )
                {
                    Job.AddDependency( Nodes[ Index ], Nodes[ Prerequisite ] );
                }
            }
            Job.StartAndWaitAndClear();
        }
    }
    ShutdownTaskThreads();
    benchmark::DoNotOptimize( Sink.load() );
    SetPerTaskCounter( State, NumTasks );
}

void RunTbb( benchmark::State& State, int32 Width )
{
    using CContinueNode = tbb::flow::continue_node<tbb::flow::continue_msg>;
    const int32 NumTasks = static_cast<int32>( State.range( 0 ) );
    const SShape Shape = MakeShape( NumTasks, Width );
    std::atomic<uint32> Sink{ 0 };
    for ( auto _ : State )
    {
        tbb::flow::graph Graph;
        std::deque<CContinueNode> Nodes;
        for ( int32 Index = 0; Index < NumTasks; ++Index )
        {
            Nodes.emplace_back( Graph, [ &Sink, Index ]( const tbb::flow::continue_msg& ) { Work( Sink, Index ); } );
            for ( const int32 Prerequisite : Shape.Prerequisites[ Index ] )
            {
                tbb::flow::make_edge( Nodes[ Prerequisite ], Nodes[ Index ] );
            }
        }
        for ( int32 Index = 0; Index < NumTasks; ++Index )
        {
            if ( Shape.Prerequisites[ Index ].empty() )
            {
                Nodes[ Index ].try_put( tbb::flow::continue_msg() );
            }
        }
        Graph.wait_for_all();
    }
    benchmark::DoNotOptimize( Sink.load() );
    SetPerTaskCounter( State, NumTasks );
}

void RunSingleThread( benchmark::State& State, int32 Width )
{
    const int32 NumTasks = static_cast<int32>( State.range( 0 ) );
    const SShape Shape = MakeShape( NumTasks, Width );
    std::atomic<uint32> Sink{ 0 };
    for ( auto _ : State )
    {
        for ( int32 Index = 0; Index < NumTasks; ++Index )
        {
            Work( Sink, Index );
        }
    }
    benchmark::DoNotOptimize( Sink.load() );
    SetPerTaskCounter( State, NumTasks );
}

// Ten layers of a hundred.
constexpr int32 LayerWidth = 100;

void GraphJobLayers_Qor( benchmark::State& State )
{
    RunQor( State, LayerWidth );
}
void GraphJobLayers_Tbb( benchmark::State& State )
{
    RunTbb( State, LayerWidth );
}
void GraphJobLayers_SingleThread( benchmark::State& State )
{
    RunSingleThread( State, LayerWidth );
}
void GraphJobChain_Qor( benchmark::State& State )
{
    RunQor( State, 1 );
}
void GraphJobChain_Tbb( benchmark::State& State )
{
    RunTbb( State, 1 );
}
void GraphJobChain_SingleThread( benchmark::State& State )
{
    RunSingleThread( State, 1 );
}
} // namespace

BENCHMARK( GraphJobLayers_Qor )->Arg( 1000 )->UseRealTime();
BENCHMARK( GraphJobLayers_Tbb )->Arg( 1000 )->UseRealTime();
BENCHMARK( GraphJobLayers_SingleThread )->Arg( 1000 )->UseRealTime();
BENCHMARK( GraphJobChain_Qor )->Arg( 1000 )->UseRealTime();
BENCHMARK( GraphJobChain_Tbb )->Arg( 1000 )->UseRealTime();
BENCHMARK( GraphJobChain_SingleThread )->Arg( 1000 )->UseRealTime();
