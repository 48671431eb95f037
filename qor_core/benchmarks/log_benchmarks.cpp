#include "qor_core/benchmarks/log_benchmarks.h"

#include <benchmark/benchmark.h>

#include <ostream>

// The stream and the printf path against each other, from one thread up to one per processor. Printf
// threads meet on the mutex of the shared format buffer for the whole call; stream threads meet only on
// the test logger's spin lock and the atomic counters.

namespace
{
constexpr const char c_LogValue[] = "THIS IS A TEST LOG VALUE";

void LogStream( benchmark::State& state )
{
    if ( state.thread_index() == 0 )
    {
        NLogBenchmarks::SetUpBenchmarkLogging();
    }
    for ( auto _ : state )
    {
        CLogStream( GetLogger(), __FILE__, __LINE__, NLogBenchmarks::c_Category )
            << "Logging: " << c_LogValue << std::endl;
    }
    if ( state.thread_index() == 0 )
    {
        NLogBenchmarks::TearDownBenchmarkLogging();
    }
}

void LogPrintf( benchmark::State& state )
{
    if ( state.thread_index() == 0 )
    {
        NLogBenchmarks::SetUpBenchmarkLogging();
    }
    for ( auto _ : state )
    {
        ::LogPrintf( SLogLocation( __FILE__, __LINE__, NLogBenchmarks::c_Category ), "Logging: %s", c_LogValue );
    }
    if ( state.thread_index() == 0 )
    {
        NLogBenchmarks::TearDownBenchmarkLogging();
    }
}
} // namespace

BENCHMARK( LogStream )->ThreadRange( 1, benchmark::CPUInfo::Get().num_cpus );
BENCHMARK( LogPrintf )->ThreadRange( 1, benchmark::CPUInfo::Get().num_cpus );
