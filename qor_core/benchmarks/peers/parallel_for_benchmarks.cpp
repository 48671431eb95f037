// Parallel-for of a CPU-bound body over a million elements: each of the library's task types against
// tbb::parallel_for and against the same loop on one thread. The speed-up of a form is the single thread's
// time over its own. The body hashes each element's value a few dozen times, so that memory does not decide.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_container_utils.h"
#include "qor_core/thread/qor_parallel_for.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

namespace
{
struct SElement
{
    uint32 In;
    uint32 Out;
};

inline void Work( SElement& Element )
{
    uint32 Value = Element.In;
    for ( uint32 Round = 0; Round < 48; ++Round )
    {
        Value = NoiseHash( Value, Round );
    }
    Element.Out = Value;
}

CQorArray<SElement> MakeElements( int32 Count )
{
    CQorArray<SElement> Elements;
    Elements.Resize( Count );
    for ( int32 I = 0; I < Count; ++I )
    {
        Elements[ I ] = { static_cast<uint32>( I ), 0 };
    }
    return Elements;
}

template <ETaskType Type>
void ParallelForOver( benchmark::State& State )
{
    CQorArray<SElement> Elements = MakeElements( static_cast<int32>( State.range( 0 ) ) );
    StartTaskThreads( 0xFFFFFFFF );
    for ( auto _ : State )
    {
        ParallelFor( Elements, []( SElement& Element ) { Work( Element ); }, Type );
        benchmark::DoNotOptimize( Elements.GetData() );
    }
    ShutdownTaskThreads();
    State.SetItemsProcessed( State.iterations() * State.range( 0 ) );
}

void ParallelFor_QorShortEven( benchmark::State& State )
{
    ParallelForOver<ETaskType::ShortEven>( State );
}
void ParallelFor_QorLongEven( benchmark::State& State )
{
    ParallelForOver<ETaskType::LongEven>( State );
}
void ParallelFor_QorShortBalanced( benchmark::State& State )
{
    ParallelForOver<ETaskType::ShortBalanced>( State );
}
void ParallelFor_QorLongEach( benchmark::State& State )
{
    ParallelForOver<ETaskType::LongEach>( State );
}
void ParallelFor_QorShortSingle( benchmark::State& State )
{
    ParallelForOver<ETaskType::ShortSingle>( State );
}

void ParallelFor_Tbb( benchmark::State& State )
{
    CQorArray<SElement> Elements = MakeElements( static_cast<int32>( State.range( 0 ) ) );
    for ( auto _ : State )
    {
        tbb::parallel_for( tbb::blocked_range<int32>( 0, Elements.GetSize() ),
                           [ & ]( const tbb::blocked_range<int32>& Range )
                           {
                               for ( int32 I = Range.begin(); I != Range.end(); ++I )
                               {
                                   Work( Elements[ I ] );
                               }
                           } );
        benchmark::DoNotOptimize( Elements.GetData() );
    }
    State.SetItemsProcessed( State.iterations() * State.range( 0 ) );
}

void ParallelFor_SingleThread( benchmark::State& State )
{
    CQorArray<SElement> Elements = MakeElements( static_cast<int32>( State.range( 0 ) ) );
    for ( auto _ : State )
    {
        for ( SElement& Element : Elements )
        {
            Work( Element );
        }
        benchmark::DoNotOptimize( Elements.GetData() );
    }
    State.SetItemsProcessed( State.iterations() * State.range( 0 ) );
}
} // namespace

BENCHMARK( ParallelFor_QorShortEven )->Arg( 1000000 )->UseRealTime();
BENCHMARK( ParallelFor_QorLongEven )->Arg( 1000000 )->UseRealTime();
BENCHMARK( ParallelFor_QorShortBalanced )->Arg( 1000000 )->UseRealTime();
BENCHMARK( ParallelFor_QorLongEach )->Arg( 1000000 )->UseRealTime();
BENCHMARK( ParallelFor_QorShortSingle )->Arg( 1000000 )->UseRealTime();
BENCHMARK( ParallelFor_Tbb )->Arg( 1000000 )->UseRealTime();
BENCHMARK( ParallelFor_SingleThread )->Arg( 1000000 )->UseRealTime();
