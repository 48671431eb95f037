#include "qor_core/benchmarks/log_benchmarks.h"

#include "tests/log_test_utils.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <barrier>
#include <ostream>

namespace
{
enum class EPath
{
    Stream,
    Printf,
};

// Runs the benchmark bodies' pattern on real threads: set-up on thread 0, a start barrier, nIterations
// logs per thread, a stop barrier, tear-down on thread 0. Returns the test logger's count before tear-down.
uint32 DriveLikeTheBenchmark( EPath Path, int nThreads, int nIterations )
{
    std::barrier Barrier( nThreads );
    uint32 nCounted = 0;
    RunOnThreads( nThreads, [ & ]( int Thread ) {
        if ( Thread == 0 )
        {
            NLogBenchmarks::SetUpBenchmarkLogging();
        }
        Barrier.arrive_and_wait();
        for ( int I = 0; I < nIterations; ++I )
        {
            if ( Path == EPath::Stream )
            {
                CLogStream( GetLogger(), __FILE__, __LINE__, NLogBenchmarks::c_Category )
                    << "Logging: " << "THIS IS A TEST LOG VALUE" << std::endl;
            }
            else
            {
                LogPrintf( SLogLocation( __FILE__, __LINE__, NLogBenchmarks::c_Category ), "Logging: %s",
                           "THIS IS A TEST LOG VALUE" );
            }
        }
        Barrier.arrive_and_wait();
        if ( Thread == 0 )
        {
            nCounted = NLogBenchmarks::g_pBenchmarkTestLogger->GetLoggedMessageCount();
            // The filter counts each routed message on the test logger, which counts the lines itself.
            EXPECT_EQ( NLogBenchmarks::g_pBenchmarkTestLogger->GetMessageCounter(), uint32( nThreads * nIterations ) );
            EXPECT_EQ( NLogBenchmarks::g_pBenchmarkTestLogger->GetLineCounter(), uint32( nThreads * nIterations ) );
            NLogBenchmarks::TearDownBenchmarkLogging();
        }
    } );
    return nCounted;
}
} // namespace

TEST( LogBenchmarks, EveryIterationOfEveryThreadReachesTheTestLogger )
{
    CLogGuard Guard( { NLogBenchmarks::c_Category } );
    for ( int nThreads : { 1, 2, 4 } )
    {
        for ( int Round = 0; Round < 5; ++Round )
        {
            const int nIterations = 100 + 37 * Round;
            EXPECT_EQ( DriveLikeTheBenchmark( EPath::Stream, nThreads, nIterations ), uint32( nThreads * nIterations ) )
                << nThreads << " threads";
            EXPECT_EQ( DriveLikeTheBenchmark( EPath::Printf, nThreads, nIterations ), uint32( nThreads * nIterations ) )
                << nThreads << " threads";
        }
    }
}

TEST( LogBenchmarks, TearDownLeavesANewNullLogger )
{
    CLogGuard Guard( { NLogBenchmarks::c_Category } );
    NLogBenchmarks::SetUpBenchmarkLogging();
    EXPECT_EQ( GetLogger()->GetLoggerType(), CLogger::LOGGER_TYPE_FILTER );
    EXPECT_EQ( GetLogger()->GetLoggerForCategory( NLogBenchmarks::c_Category ),
               NLogBenchmarks::g_pBenchmarkTestLogger.Get() );
    NLogBenchmarks::TearDownBenchmarkLogging();
    EXPECT_TRUE( NLogBenchmarks::g_pBenchmarkTestLogger.IsEmpty() );
    EXPECT_EQ( GetLogger()->GetLoggerType(), CLogger::LOGGER_TYPE_NULL );
}
