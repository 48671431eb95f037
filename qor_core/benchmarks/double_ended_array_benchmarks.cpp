// The steady-state queue benchmark's registrations; the body stands in double_ended_array_benchmarks.h.

#include "qor_core/benchmarks/double_ended_array_benchmarks.h"

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
