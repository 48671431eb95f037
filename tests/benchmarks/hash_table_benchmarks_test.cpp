#include "qor_core/benchmarks/hash_table_benchmarks.h"

#include "tests/benchmarks/benchmark_runner.h"

#include <gtest/gtest.h>

#include <set>

using namespace NHashTableBenchmarks;

namespace
{
template <typename HasherT>
constexpr int32 MemoryOf( int32 nBuckets, int32 nMaxDistance )
{
    return static_cast<int32>( ( nBuckets + nMaxDistance + 1 ) * sizeof( NQorRobinHoodTable::SEntry<uint32> ) +
                               sizeof( CQorRobinHoodTable<uint32, HasherT, std::equal_to<uint32>> ) );
}

struct SKeys
{
    std::set<uint32> Distinct;
    int nDrawn = 0;
};

template <typename GeneratorT>
SKeys Draw()
{
    SKeys Keys;
    for ( GeneratorT Generator; Generator.HasNext(); ++Keys.nDrawn )
    {
        Keys.Distinct.insert( Generator.Next() );
    }
    return Keys;
}
} // namespace

// The counters are the table's statistics per pass: the inline 65536 buckets for the small rows, and 131072
// from the heap for 100000 keys.
TEST( HashTableBenchmarks, CountersReportTheTablesBucketsAndMemory )
{
    const struct
    {
        void ( *pBody )( benchmark::State& );
        int32 nBuckets;
        int32 nMemory;
    } Runs[] = {
        { CQorRobinHoodTable_Insertion<SStandardHasher, SOneCluster<SmallCount, SmallRange, 0>>, 65536,
          MemoryOf<SStandardHasher>( 65536, 18 ) },
        { CQorRobinHoodTable_LookupExisting<SIdentityHasher, STwoClusters<SmallCount, 100, 0, 100, LargeOffset>>, 65536,
          MemoryOf<SIdentityHasher>( 65536, 18 ) },
        { CQorRobinHoodTable_Insertion<SFastMultHasher, SSequential<LargeCount, 0>>, 131072,
          MemoryOf<SFastMultHasher>( 131072, 19 ) },
    };
    for ( const auto& Run : Runs )
    {
        const benchmark::BenchmarkReporter::Run Report = RunBody( Run.pBody, {}, 3 );
        EXPECT_EQ( Report.counters.at( "buckets" ).value, Run.nBuckets );
        EXPECT_EQ( Report.counters.at( "memory" ).value, Run.nMemory );
    }
}

TEST( HashTableBenchmarks, GeneratorsDrawTheirCountFromTheirClusters )
{
    const SKeys OneCluster = Draw<SOneCluster<SmallCount, SmallRange, 0>>();
    EXPECT_EQ( OneCluster.nDrawn, 100 );
    EXPECT_LT( OneCluster.Distinct.size(), 100u ) << "keys repeat";
    EXPECT_LE( *OneCluster.Distinct.rbegin(), 199u );

    const SKeys Sequential = Draw<SSequential<SmallCount, SmallOffset>>();
    EXPECT_EQ( Sequential.Distinct.size(), 100u );
    EXPECT_EQ( *Sequential.Distinct.begin(), 137u );
    EXPECT_EQ( *Sequential.Distinct.rbegin(), 236u );

    // Draws 0 to 99 stand as they are, 100 to 199 move up by 984282.
    const SKeys TwoClusters = Draw<STwoClusters<SmallCount, SmallRange / 2, 0, SmallRange / 2, LargeOffset>>();
    EXPECT_EQ( TwoClusters.nDrawn, 100 );
    for ( uint32 nKey : TwoClusters.Distinct )
    {
        EXPECT_TRUE( nKey < 100 || ( nKey >= 984382 && nKey < 984482 ) ) << nKey;
    }
    EXPECT_LT( *TwoClusters.Distinct.begin(), 100u );
    EXPECT_GE( *TwoClusters.Distinct.rbegin(), 984382u );

    const SKeys Full = Draw<SOneCluster<SmallCount, FullRange, 0>>();
    EXPECT_EQ( Full.Distinct.size(), 100u );
    EXPECT_GT( *Full.Distinct.rbegin(), 1u << 30 ) << "the draws cover all non-negative int32";
}
