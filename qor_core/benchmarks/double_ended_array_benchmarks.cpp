// A queue of constant length, one element in and one out per pass: the three layouts of the double-ended
// array against the growable array and the standard containers. The reserve is ten times the standing size.

#include "qor_core/benchmarks/double_ended_array_traits.h"

#include <benchmark/benchmark.h>

namespace
{
template <typename TraitsT>
void CQorDoubleEndedArray_StableQueueSize( benchmark::State& state )
{
    typename TraitsT::ContainerType Container;
    CQorRandom Random( NQueueBenchmark::nQueueSeed );
    NQueueBenchmark::FillQueue<TraitsT>( Container, Random, static_cast<int32>( state.range( 0 ) ),
                                         static_cast<int32>( state.range( 1 ) ) );
    for ( auto _ : state )
    {
        NQueueBenchmark::StepQueue<TraitsT>( Container, Random,
                                             []( uint32 nFront ) { benchmark::DoNotOptimize( nFront ); } );
    }
}
} // namespace

BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorDoubleEndedArrayTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorDoubleEndedArrayTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorDoubleEndedArrayTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorDoubleEndedArrayTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorDoubleEndedArrayTraits> )->Args( { 100000, 10000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorContiguousQueueTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorContiguousQueueTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorContiguousQueueTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorContiguousQueueTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorContiguousQueueTraits> )->Args( { 100000, 10000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorReverseContiguousQueueTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorReverseContiguousQueueTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorReverseContiguousQueueTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorReverseContiguousQueueTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorReverseContiguousQueueTraits> )->Args( { 100000, 10000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorArrayTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorArrayTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorArrayTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorArrayTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SQorArrayTraits> )->Args( { 100000, 10000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdVectorTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdVectorTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdVectorTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdVectorTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdVectorTraits> )->Args( { 100000, 10000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdDequeTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdDequeTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdDequeTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdDequeTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdDequeTraits> )->Args( { 100000, 10000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdListTraits> )->Args( { 10, 1 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdListTraits> )->Args( { 100, 10 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdListTraits> )->Args( { 1000, 100 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdListTraits> )->Args( { 10000, 1000 } );
BENCHMARK( CQorDoubleEndedArray_StableQueueSize<SStdListTraits> )->Args( { 100000, 10000 } );
