#pragma once

// Runs a benchmark body through Google Benchmark's runner, as the benchmark program runs it, with a fixed
// number of iterations per thread, and hands back what the runner reported. The bodies are tested as they
// run, never through copies.

#include <benchmark/benchmark.h>
#include <gtest/gtest.h>

#include <vector>

class CRunRecorder : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext( const Context& ) override { return true; }
    void ReportRuns( const std::vector<Run>& Runs ) override { _Runs.insert( _Runs.end(), Runs.begin(), Runs.end() ); }

    std::vector<Run> _Runs;
};

inline benchmark::BenchmarkReporter::Run RunBody( void ( *pBody )( benchmark::State& ), const std::vector<int64_t>& Args,
                                                   benchmark::IterationCount nIterations, int nThreads = 1 )
{
    benchmark::ClearRegisteredBenchmarks();
    benchmark::internal::Benchmark* pBenchmark = benchmark::RegisterBenchmark( "Body", pBody );
    if ( !Args.empty() )
    {
        pBenchmark->Args( Args );
    }
    pBenchmark->Iterations( nIterations )->Threads( nThreads );
    CRunRecorder Recorder;
    benchmark::RunSpecifiedBenchmarks( &Recorder, "." );
    benchmark::ClearRegisteredBenchmarks();
    EXPECT_EQ( Recorder._Runs.size(), 1u );
    EXPECT_FALSE( Recorder._Runs.empty() || Recorder._Runs[ 0 ].error_occurred );
    return Recorder._Runs.empty() ? benchmark::BenchmarkReporter::Run() : Recorder._Runs[ 0 ];
}
