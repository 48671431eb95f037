// Loading databases: the library's graph load on the task pools against the same loads on one thread, in a
// topological order. 1000 databases with short loads in ten layers of a hundred, each database depending on
// three of the layer below. Every pass builds the graph from the records, outside the timing, and loads it;
// the shuffle's log line goes to a logger that drops it. The "per_database" counter is the time per database.

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/database_dependencies.h"
#include "qor_core/filelogger.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <string>
#include <vector>

namespace
{
// Each load hashes its index a few thousand times: a short load, some 20 microseconds, where a real database
// takes milliseconds.
constexpr uint32 WorkRounds = 8192;
constexpr int32 LayerWidth = 100;

inline void Work( std::atomic<uint32>& Sink, int32 Index )
{
    uint32 Value = static_cast<uint32>( Index );
    for ( uint32 Round = 0; Round < WorkRounds; ++Round )
    {
        Value = NoiseHash( Value, Round );
    }
    Sink.fetch_add( Value, std::memory_order_relaxed );
}

// The databases: Names[ i ] depends on three distinct databases of the layer below; the numbering is a
// topological order.
struct SDatabases
{
    explicit SDatabases( int32 Count, std::atomic<uint32>& Sink )
    {
        for ( int32 Index = 0; Index < Count; ++Index )
        {
            Names.push_back( "database " + std::to_string( Index ) );
        }
        for ( int32 Index = 0; Index < Count; ++Index )
        {
            NDatabase::CInitData Data;
            Data._Id = NDatabase::SDatabaseId( Names[Index].c_str() );
            if ( Index >= LayerWidth )
            {
                const int32 Below = ( Index / LayerWidth - 1 ) * LayerWidth;
                for ( const int32 Offset : { 0, 1, 7 } )
                {
                    Data._Dependencies.Add(
                        NDatabase::SDatabaseId( Names[Below + ( Index % LayerWidth + Offset ) % LayerWidth].c_str() ) );
                }
            }
            Data._LoadFunction = [&Sink, Index] { Work( Sink, Index ); };
            InitDatas.Add( std::move( Data ) );
        }
    }

    std::vector<std::string> Names;
    CQorArray<NDatabase::CInitData> InitDatas;
};

void SetPerDatabaseCounter( benchmark::State& State, int64_t Count )
{
    State.SetItemsProcessed( State.iterations() * Count );
    State.counters["per_database"] = benchmark::Counter(
        static_cast<double>( Count ), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert );
}

void DatabaseLoad_Qor( benchmark::State& State )
{
    const int32 Count = static_cast<int32>( State.range( 0 ) );
    std::atomic<uint32> Sink{ 0 };
    const SDatabases Databases( Count, Sink );
    SetLogger( CQorScopedPtr<CLogger>( new CDroppingLogger ) );
    StartTaskThreads( 0xFFFFFFFF );
    uint32 Seed = 0;
    NDatabase::CDatabaseGraph Graph( 128, 256 );
    for ( auto _ : State )
    {
        State.PauseTiming();
        Graph.Clear();
        NDatabase::BuildGraph( Graph, Databases.InitDatas, Seed++ );
        State.ResumeTiming();
        if ( !NDatabase::LoadGraph( Graph ) )
        {
            State.SkipWithError( "Not every database loaded" );
            break;
        }
    }
    ShutdownTaskThreads();
    SetLogger( {} );
    benchmark::DoNotOptimize( Sink.load() );
    SetPerDatabaseCounter( State, Count );
}

void DatabaseLoad_SingleThread( benchmark::State& State )
{
    const int32 Count = static_cast<int32>( State.range( 0 ) );
    std::atomic<uint32> Sink{ 0 };
    const SDatabases Databases( Count, Sink );
    for ( auto _ : State )
    {
        for ( const NDatabase::CInitData& Data : Databases.InitDatas )
        {
            Data._LoadFunction();
        }
    }
    benchmark::DoNotOptimize( Sink.load() );
    SetPerDatabaseCounter( State, Count );
}
} // namespace

BENCHMARK( DatabaseLoad_Qor )->Arg( 1000 )->UseRealTime();
BENCHMARK( DatabaseLoad_SingleThread )->Arg( 1000 )->UseRealTime();
