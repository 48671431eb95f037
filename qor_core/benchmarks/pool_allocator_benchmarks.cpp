// The pool allocator benchmarks' registrations; the bodies stand in pool_allocator_benchmarks.h.

#include "qor_core/benchmarks/pool_allocator_benchmarks.h"

using namespace NPoolAllocatorBenchmarks;

namespace
{
int CpuCount()
{
    return benchmark::CPUInfo::Get().num_cpus;
}
} // namespace

BENCHMARK( CQorPoolAllocator_BusyLoop )->ArgsProduct( { { 10, 100, 1000, 10000 } } );

BENCHMARK( CQorPoolAllocator_NewAllNeverDelete<CQorSynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16, 64 }, { 10, 100, 1000, 10000 }, { 20000000 } } )
    ->ThreadRange( 1, CpuCount() );
BENCHMARK( CQorPoolAllocator_NewAllNeverDelete<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16, 64 }, { 10, 100, 1000, 10000 }, { 20000000 } } )
    ->Threads( 1 );
BENCHMARK( CQorPoolAllocator_NewAllNeverDelete<CQorWrappedNewDeleteAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16, 64 }, { 10, 100, 1000, 10000 }, { 20000000 } } )
    ->ThreadRange( 1, CpuCount() );

BENCHMARK( CQorPoolAllocator_NewDeleteImmediately<CQorSynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 } } )
    ->ThreadRange( 1, CpuCount() );
BENCHMARK( CQorPoolAllocator_NewDeleteImmediately<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 } } )
    ->Threads( 1 );
BENCHMARK( CQorPoolAllocator_NewDeleteImmediately<CQorWrappedNewDeleteAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 } } )
    ->ThreadRange( 1, CpuCount() );

BENCHMARK( CQorPoolAllocator_NewAllThenDeleteAll<CQorSynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 250, 10000 } } )
    ->ThreadRange( 1, CpuCount() );
BENCHMARK( CQorPoolAllocator_NewAllThenDeleteAll<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 250, 10000 } } )
    ->Threads( 1 );
BENCHMARK( CQorPoolAllocator_NewAllThenDeleteAll<CQorWrappedNewDeleteAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 250, 10000 } } )
    ->ThreadRange( 1, CpuCount() );

BENCHMARK( CQorPoolAllocator_NewAllThenDeleteAll_HalfAlreadyAllocated<CQorSynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 250, 10000 } } )
    ->ThreadRange( 1, CpuCount() );
BENCHMARK( CQorPoolAllocator_NewAllThenDeleteAll_HalfAlreadyAllocated<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 250, 10000 } } )
    ->Threads( 1 );
BENCHMARK( CQorPoolAllocator_NewAllThenDeleteAll_HalfAlreadyAllocated<CQorWrappedNewDeleteAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 250, 10000 } } )
    ->ThreadRange( 1, CpuCount() );

BENCHMARK( CQorPoolAllocator_NewDeleteRandomly<CQorSynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 500, 50000 } } )
    ->ThreadRange( 1, CpuCount() );
BENCHMARK( CQorPoolAllocator_NewDeleteRandomly<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 500, 50000 } } )
    ->Threads( 1 );
BENCHMARK( CQorPoolAllocator_NewDeleteRandomly<CQorWrappedNewDeleteAllocator<SFixedSize<8>>> )
    ->ArgsProduct( { { 16 }, { 10, 100, 1000, 10000 }, { 500, 50000 } } )
    ->ThreadRange( 1, CpuCount() );
