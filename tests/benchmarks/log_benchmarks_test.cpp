#include "qor_core/benchmarks/log_benchmarks.h"

#include "tests/log_test_utils.h"

#include <gtest/gtest.h>

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
