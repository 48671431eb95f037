// The bodies of the text, dynamic type, logging and math families, run by the runner itself with the least
// time: every registration runs without an error, the bodies report no assertion but the ones they are made
// to, and what a body leaves behind matches the iterations the runner counted.

#include "qor_core/benchmarks/log_benchmarks.h"

#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"

#include <benchmark/benchmark.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace
{
class CCollectingReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext( const Context& ) override { return true; }
    void ReportRuns( const std::vector<Run>& Runs ) override { _Runs.insert( _Runs.end(), Runs.begin(), Runs.end() ); }
    std::vector<Run> _Runs;
};

// Runs the registrations that Filter selects; each must have run without an error.
std::vector<benchmark::BenchmarkReporter::Run> RunBodies( const std::string& Filter )
{
    static const bool s_bInitialised = []
    {
        static char Program[] = "qor_core_tests";
        static char MinTime[] = "--benchmark_min_time=0.000001";
        char* Arguments[] = { Program, MinTime, nullptr };
        int nArguments = 2;
        benchmark::Initialize( &nArguments, Arguments );
        return true;
    }();
    ( void )s_bInitialised;
    CCollectingReporter Reporter;
    benchmark::RunSpecifiedBenchmarks( &Reporter, Filter );
    for ( const benchmark::BenchmarkReporter::Run& Run : Reporter._Runs )
    {
        EXPECT_FALSE( Run.error_occurred ) << Run.benchmark_name() << ": " << Run.error_message;
        EXPECT_GT( Run.iterations, 0 ) << Run.benchmark_name();
    }
    return Reporter._Runs;
}

std::set<std::string> DistinctTexts( const CAssertRecorder& Asserts )
{
    const std::vector<std::string> Texts = Asserts.Texts();
    return std::set<std::string>( Texts.begin(), Texts.end() );
}
} // namespace

TEST( BenchmarkBodies, TextConversionsRunCleanly )
{
    CAssertRecorder Asserts;
    const auto Runs =
        RunBodies( "^(StringToInteger_|StringToFixedPoint_|IntegerToString_|FixedPointToString_|StringCreation$|StringCopy$)" );
    std::set<std::string> Families;
    for ( const auto& Run : Runs )
    {
        Families.insert( Run.run_name.function_name.substr( 0, Run.run_name.function_name.find( '/' ) ) );
    }
    EXPECT_EQ( Families.size(), 10u );
    EXPECT_TRUE( Asserts.Texts().empty() ) << *DistinctTexts( Asserts ).begin();
}

// A library that misses its index, a recycled library that is not the one timed, or a type looked up where it
// is not registered all report; the set-up refuses indices other than 0 to 5 with an error.
TEST( BenchmarkBodies, DynamicTypeFamiliesRunCleanly )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( RunBodies( "^QorDynamicTypeLibrary_GetStatic_" ).size(), 32u );
    EXPECT_EQ( RunBodies( "^(CQorAny_|SQorTypeIndex_|CQorMultiAny_InsertAndAccess)" ).size(), 8u + 20u + 36u );
    EXPECT_TRUE( Asserts.Texts().empty() ) << *DistinctTexts( Asserts ).begin();
}

// The negative exponents of the current Power report, as they are meant to (whether a short run draws one
// depends on how many iterations the runner takes); nothing else reports.
TEST( BenchmarkBodies, MathFamiliesReportOnlyTheNegativeExponents )
{
    CAssertRecorder Asserts;
    const auto Runs = RunBodies( "^(MiscMath_|Matrix)" );
    EXPECT_EQ( Runs.size(), 80u );
    for ( const std::string& Text : DistinctTexts( Asserts ) )
    {
        EXPECT_EQ( Text, "Exponent >= 0" );
    }
}

TEST( BenchmarkBodies, EveryLoggedIterationReachesTheTestLogger )
{
    CLogGuard Guard( { NLogBenchmarks::c_Category } );
    for ( const std::string Name : { "LogStream/threads:1", "LogStream/threads:2", "LogPrintf/threads:2" } )
    {
        const auto Run = RunBodies( "^" + Name + "$" );
        ASSERT_EQ( Run.size(), 1u ) << Name;
        // The runner counts the iterations of all threads together.
        EXPECT_EQ( NLogBenchmarks::g_nLastRunMessageCount, uint32( Run[ 0 ].iterations ) ) << Name;
    }
    EXPECT_EQ( GetLogger()->GetLoggerType(), CLogger::LOGGER_TYPE_NULL );
}
