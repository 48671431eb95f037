#pragma once

// Runs a benchmark body through Google Benchmark's runner, as the benchmark program runs it, with a fixed
// number of iterations per thread, and hands back what the runner reported. The bodies are tested as they
// run, never through copies.

#include <benchmark/benchmark.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

class CRunRecorder : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext( const Context& ) override { return true; }
    void ReportRuns( const std::vector<Run>& Runs ) override { _Runs.insert( _Runs.end(), Runs.begin(), Runs.end() ); }

    std::vector<Run> _Runs;
};

// The body is registered under a name of its own (the program's registrations stand beside it) and run alone.
inline benchmark::BenchmarkReporter::Run RunBody( void ( *pBody )( benchmark::State& ), const std::vector<int64_t>& Args,
                                                   benchmark::IterationCount nIterations, int nThreads = 1 )
{
    static int s_nBodies = 0;
    const std::string Name = "TestedBody" + std::to_string( ++s_nBodies );
    benchmark::internal::Benchmark* pBenchmark = benchmark::RegisterBenchmark( Name.c_str(), pBody );
    if ( !Args.empty() )
    {
        pBenchmark->Args( Args );
    }
    pBenchmark->Iterations( nIterations )->Threads( nThreads );
    CRunRecorder Recorder;
    benchmark::RunSpecifiedBenchmarks( &Recorder, "^" + Name + "(/|$)" );
    EXPECT_EQ( Recorder._Runs.size(), 1u );
    EXPECT_FALSE( Recorder._Runs.empty() || Recorder._Runs[ 0 ].error_occurred );
    return Recorder._Runs.empty() ? benchmark::BenchmarkReporter::Run() : Recorder._Runs[ 0 ];
}
