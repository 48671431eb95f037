// The bound search where its design pays: each pass looks up 1024 values drawn at random from the array's
// range, so the outcome of each halving cannot be predicted. The library's search selects with a conditional
// move whose cost does not depend on the data; the standard one branches on every comparison. The main
// program's Algorithms_LowerBound families look up the same value on every pass, which the standard search's
// branches learn perfectly: the two families together show both ends.

#include "qor_core/container/qor_container_utils.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace
{
constexpr int32 LookupCount = 1024;

template <typename SearchT> void RunRandomLowerBound( benchmark::State& state, SearchT Search )
{
    const int32 nCount = static_cast<int32>( state.range( 0 ) );
    std::vector<int32> Values( static_cast<size_t>( nCount ) );
    for ( int32 nIndex = 0; nIndex < nCount; ++nIndex )
    {
        Values[static_cast<size_t>( nIndex )] = 2 * nIndex;
    }
    CQorRandom Random( 42 );
    std::vector<int32> Lookups( LookupCount );
    for ( int32& Lookup : Lookups )
    {
        Lookup = Random.Next( 0, 2 * nCount );
    }
    const int32* pBegin = Values.data();
    const int32* pEnd = pBegin + nCount;
    for ( auto _ : state )
    {
        for ( const int32 Lookup : Lookups )
        {
            benchmark::DoNotOptimize( Search( pBegin, pEnd, Lookup ) );
        }
    }
    state.SetItemsProcessed( state.iterations() * LookupCount );
}

void BoundSearch_RandomLowerBound_Qor( benchmark::State& state )
{
    RunRandomLowerBound( state, []( const int32* pBegin, const int32* pEnd, int32 Value )
                         { return LowerBound( pBegin, pEnd, Value ); } );
}

void BoundSearch_RandomLowerBound_Std( benchmark::State& state )
{
    RunRandomLowerBound( state, []( const int32* pBegin, const int32* pEnd, int32 Value )
                         { return std::lower_bound( pBegin, pEnd, Value ); } );
}
} // namespace

BENCHMARK( BoundSearch_RandomLowerBound_Qor )->Arg( 8 )->Arg( 64 )->Arg( 512 )->Arg( 4096 );
BENCHMARK( BoundSearch_RandomLowerBound_Std )->Arg( 8 )->Arg( 64 )->Arg( 512 )->Arg( 4096 );
