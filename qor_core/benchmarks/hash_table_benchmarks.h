#pragma once

// The bodies of the hash table benchmarks: the Robin Hood table of uint32 keys under three hashes and eighteen
// key distributions. The workload lies in the template arguments; the counters show how far a poor hash makes
// the table grow. The program registers the bodies; the tests run them through the runner.

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/container/qor_robin_hood_table.h"
#include "qor_core/qor_hash.h"

#include <benchmark/benchmark.h>

#include <functional>

namespace NHashTableBenchmarks
{
constexpr int32 SmallCount = 100;
constexpr int32 LargeCount = 100000;
constexpr int32 SmallRange = 200;
constexpr int32 LargeRange = 10000;
constexpr int32 FullRange = 2147483647;
constexpr int32 SmallOffset = 137;
constexpr int32 LargeOffset = 984382;

struct SStandardHasher
{
    uint32 operator()( uint32 nKey ) const { return HashBytes( 0, &nKey, 4 ); }
};

struct SFastMultHasher
{
    uint32 operator()( uint32 nKey ) const { return nKey * 0x9E3779B9u; }
};

struct SIdentityHasher
{
    uint32 operator()( uint32 nKey ) const { return nKey; }
};

template <int32 Count, int32 Offset>
struct SSequential
{
    static constexpr int32 nCount = Count;
    int32 _nIndex = 0;

    bool HasNext() const { return _nIndex < Count; }
    uint32 Next() { return static_cast<uint32>( _nIndex++ + Offset ); }
};

template <int32 Count, int32 Range, int32 Offset>
struct SOneCluster
{
    static constexpr int32 nCount = Count;
    int32 _nIndex = 0;
    CQorRandom _Random{ 1 };

    bool HasNext() const { return _nIndex < Count; }
    uint32 Next()
    {
        ++_nIndex;
        return static_cast<uint32>( _Random.Next( 0, Range - 1 ) + Offset );
    }
};

template <int32 Count, int32 Range1, int32 Offset1, int32 Range2, int32 Offset2>
struct STwoClusters
{
    static constexpr int32 nCount = Count;
    int32 _nIndex = 0;
    CQorRandom _Random{ 1 };

    bool HasNext() const { return _nIndex < Count; }
    uint32 Next()
    {
        ++_nIndex;
        const int32 nValue = _Random.Next( 0, Range1 + Range2 - 1 );
        return static_cast<uint32>( nValue < Range1 ? nValue + Offset1 : nValue - Range1 + Offset2 );
    }
};

// 65536 buckets inline: 65555 entries, about 512 KiB on the benchmark's stack.
template <typename HasherT>
using CBenchmarkTable = CQorHybridRobinHoodTable<uint32, HasherT, std::equal_to<uint32>, 16>;

template <typename HasherT, typename GeneratorT>
void CQorRobinHoodTable_Insertion( benchmark::State& state )
{
    CBenchmarkTable<HasherT> Table;
    int64 nTotalBuckets = 0;
    int64 nTotalMemory = 0;
    for ( auto _ : state )
    {
        GeneratorT Generator;
        Table.Clear();
        while ( Generator.HasNext() )
        {
            const uint32 nKey = Generator.Next();
            Table.Insert( HasherT()( nKey ), nKey );
        }
        auto It = Table.begin();
        ++It;
        benchmark::DoNotOptimize( *It );
        NQorRobinHoodTable::SStats Stats;
        Table.GetStats( Stats );
        nTotalBuckets += Stats.nBuckets;
        nTotalMemory += Stats.nMemory;
    }
    state.counters[ "buckets" ] =
        benchmark::Counter( double( nTotalBuckets ), benchmark::Counter::kAvgIterations, benchmark::Counter::kIs1000 );
    state.counters[ "memory" ] =
        benchmark::Counter( double( nTotalMemory ), benchmark::Counter::kAvgIterations, benchmark::Counter::kIs1000 );
}

template <typename HasherT, typename GeneratorT>
void CQorRobinHoodTable_LookupExisting( benchmark::State& state )
{
    CBenchmarkTable<HasherT> Table;
    CQorArray<uint32> Keys;
    Keys.Reserve( GeneratorT::nCount );
    GeneratorT Generator;
    while ( Generator.HasNext() )
    {
        const uint32 nKey = Generator.Next();
        Table.Insert( HasherT()( nKey ), nKey );
        Keys.Add( nKey );
    }
    CQorRandom Random( 1 );
    Shuffle( Keys, Random );
    for ( auto _ : state )
    {
        for ( const uint32 nKey : Keys )
        {
            benchmark::DoNotOptimize( Table.Find( HasherT()( nKey ), nKey ) != Table.end() );
        }
    }
    NQorRobinHoodTable::SStats Stats;
    Table.GetStats( Stats );
    state.counters[ "buckets" ] = benchmark::Counter( double( Stats.nBuckets ) );
    state.counters[ "memory" ] = benchmark::Counter( double( Stats.nMemory ) );
}
} // namespace NHashTableBenchmarks

