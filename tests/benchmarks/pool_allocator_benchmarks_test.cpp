#include "qor_core/benchmarks/pool_allocator_benchmarks.h"

#include "tests/assert_recorder.h"
#include "tests/benchmarks/benchmark_runner.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace NPoolAllocatorBenchmarks;

namespace
{
// The synchronized pool, counting what a body asks of it and whether the body let it go again.
class CObservedPool : public CQorAllocator
{
public:
    explicit CObservedPool( int nElementsPerPool ) : _Pool( nElementsPerPool ) { ++s_nCreated; }
    ~CObservedPool() override { ++s_nDestroyed; }

    void* Allocate( uint64 nSize, uint32 nAlignment ) override
    {
        ++s_nAllocations;
        return _Pool.Allocate( nSize, nAlignment );
    }
    void Deallocate( void* pMemory ) override
    {
        ++s_nReleases;
        _Pool.Deallocate( pMemory );
    }

    static void ResetCounts() { s_nCreated = s_nDestroyed = s_nAllocations = s_nReleases = 0; }
    static inline std::atomic<int> s_nCreated, s_nDestroyed, s_nAllocations, s_nReleases;

private:
    CQorSynchronizedPoolAllocator<SFixedSize<8>> _Pool;
};

struct SPoolRun
{
    void ( *pBody )( benchmark::State& );
    std::vector<int64_t> Args;
    int nIterations;
    int nThreads;
    int nAllocations; // -1: one allocation or one release per iteration, as the body draws
    int nReleases;
};
} // namespace

// Every timed iteration allocates or releases, and each run makes its allocator once and drops it again.
TEST( PoolAllocatorBenchmarks, EveryIterationAllocatesOrReleasesThroughTheRunsOwnAllocator )
{
    const SPoolRun Runs[] = {
        // Never deleting: 12 objects per thread although the count is 5; all go back after the loop.
        { CQorPoolAllocator_NewAllNeverDelete<CObservedPool>, { 16, 10, 5 }, 12, 1, 12, 12 },
        { CQorPoolAllocator_NewAllNeverDelete<CObservedPool>, { 16, 10, 5 }, 12, 2, 24, 24 },
        { CQorPoolAllocator_NewDeleteImmediately<CObservedPool>, { 16, 10 }, 12, 2, 24, 24 },
        // Fill to 4, drain, fill, drain, fill: the last 4 stay with the pool.
        { CQorPoolAllocator_NewAllThenDeleteAll<CObservedPool>, { 16, 10, 4 }, 20, 1, 12, 8 },
        // Set-up: 4 objects, every second one back; tear-down: the 2 left.
        { CQorPoolAllocator_NewAllThenDeleteAll_HalfAlreadyAllocated<CObservedPool>, { 16, 10, 4 }, 20, 1, 16, 12 },
        { CQorPoolAllocator_NewAllThenDeleteAll_HalfAlreadyAllocated<CObservedPool>, { 16, 10, 4 }, 20, 2, 32, 24 },
        { CQorPoolAllocator_NewDeleteRandomly<CObservedPool>, { 16, 10, 20 }, 300, 2, -1, -1 },
    };
    for ( const SPoolRun& Run : Runs )
    {
        SCOPED_TRACE( "count " + std::to_string( Run.Args.back() ) + ", threads " + std::to_string( Run.nThreads ) );
        CObservedPool::ResetCounts();
        RunBody( Run.pBody, Run.Args, Run.nIterations, Run.nThreads );
        EXPECT_EQ( CObservedPool::s_nCreated, 1 );
        EXPECT_EQ( CObservedPool::s_nDestroyed, 1 );
        if ( Run.nAllocations >= 0 )
        {
            EXPECT_EQ( CObservedPool::s_nAllocations, Run.nAllocations );
            EXPECT_EQ( CObservedPool::s_nReleases, Run.nReleases );
        }
        else
        {
            // Each thread's array stays within 0 and the count.
            EXPECT_EQ( CObservedPool::s_nAllocations + CObservedPool::s_nReleases, Run.nIterations * Run.nThreads );
            EXPECT_GE( CObservedPool::s_nAllocations - CObservedPool::s_nReleases, 0 );
            EXPECT_LE( CObservedPool::s_nAllocations - CObservedPool::s_nReleases, Run.Args[ 2 ] * Run.nThreads );
        }
    }
}

TEST( PoolAllocatorBenchmarks, EveryStepReadsTheAllocatorThroughTheScopedPointer )
{
    CAssertRecorder Asserts;
    const CQorScopedPtr<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>> Empty;
    CWorkload::ReleaseOne( Empty, nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_pPtr" } );
}
