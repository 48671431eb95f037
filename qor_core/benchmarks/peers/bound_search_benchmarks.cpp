// The bound search at both ends of its design. Random: each pass looks up 1024 values drawn at random from the
// array's range, so the outcome of each halving cannot be predicted. The library's search selects with a
// conditional move whose cost does not depend on the data; the standard one branches on every comparison.
// Fixed: as the main program's Algorithms_LowerBound families, every pass looks up the array's largest value,
// which the standard search's branches learn perfectly, so its loads run ahead of its comparisons. Unchecked is
// the library's halving loop and select without the argument check that every call makes. LoadChain is
// the physical floor of any search whose next probe waits for the previous one: the same floor( log2( N ) ) + 1
// loads, at the positions the library's search reads, each address taken from the load before, and nothing else.

#include "qor_core/container/qor_container_utils.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace
{
constexpr int32 LookupCount = 1024;

// The ascending values 0, 2, 4, ...: the random look-ups land on them and between them.
std::vector<int32> MakeEvenValues( int32 nCount )
{
    std::vector<int32> Values( static_cast<size_t>( nCount ) );
    for ( int32 nIndex = 0; nIndex < nCount; ++nIndex )
    {
        Values[static_cast<size_t>( nIndex )] = 2 * nIndex;
    }
    return Values;
}

template <typename SearchT> void RunRandomLowerBound( benchmark::State& state, SearchT Search )
{
    const int32 nCount = static_cast<int32>( state.range( 0 ) );
    const std::vector<int32> Values = MakeEvenValues( nCount );
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

template <typename SearchT> void RunFixedLowerBound( benchmark::State& state, SearchT Search )
{
    const std::vector<int32> Values = MakeEvenValues( static_cast<int32>( state.range( 0 ) ) );
    const int32* pBegin = Values.data();
    const int32* pEnd = pBegin + Values.size();
    const int32& Largest = Values.back();
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Search( pBegin, pEnd, Largest ) );
    }
}

void BoundSearch_FixedLowerBound_Qor( benchmark::State& state )
{
    RunFixedLowerBound( state, []( const int32* pBegin, const int32* pEnd, const int32& Value )
                        { return LowerBound( pBegin, pEnd, Value ); } );
}

void BoundSearch_FixedLowerBound_Std( benchmark::State& state )
{
    RunFixedLowerBound( state, []( const int32* pBegin, const int32* pEnd, const int32& Value )
                        { return std::lower_bound( pBegin, pEnd, Value ); } );
}

void BoundSearch_FixedLowerBound_Unchecked( benchmark::State& state )
{
    RunFixedLowerBound( state, []( const int32* pBegin, const int32* pEnd, const int32& Value )
                        {
                            return NQorContainerUtils::HalvingSearch<const int32*, int32>(
                                pBegin, pEnd, [ & ]( const int32& Element ) { return Element < Value; } );
                        } );
}

void BoundSearch_FixedLowerBound_LoadChain( benchmark::State& state )
{
    const std::vector<int32> Values = MakeEvenValues( static_cast<int32>( state.range( 0 ) ) );
    // The positions the library's search compares at, in its order: each link holds the next one's index.
    std::vector<int32> Links( Values.size(), 0 );
    std::vector<int32> Probes;
    int32 nBegin = 0;
    for ( int32 nCount = static_cast<int32>( Values.size() ); nCount > 0; )
    {
        const int32 nStep = nCount - nCount / 2;
        nCount /= 2;
        Probes.push_back( nBegin + nCount );
        nBegin = Values[static_cast<size_t>( nBegin + nCount )] < Values.back() ? nBegin + nStep : nBegin;
    }
    for ( size_t nProbe = 0; nProbe + 1 < Probes.size(); ++nProbe )
    {
        Links[static_cast<size_t>( Probes[nProbe] )] = Probes[nProbe + 1];
    }
    const int32* pLinks = Links.data();
    const int32 nLoads = static_cast<int32>( Probes.size() );
    const int32 nFirst = Probes.front();
    for ( auto _ : state )
    {
        int32 nIndex = nFirst;
        for ( int32 nLoad = 1; nLoad < nLoads; ++nLoad )
        {
            nIndex = pLinks[nIndex];
        }
        // The last probe's load, as the search's last comparison reads it.
        benchmark::DoNotOptimize( pLinks[nIndex] );
    }
}
} // namespace

BENCHMARK( BoundSearch_FixedLowerBound_Qor )->Arg( 8 )->Arg( 64 )->Arg( 512 );
BENCHMARK( BoundSearch_FixedLowerBound_Std )->Arg( 8 )->Arg( 64 )->Arg( 512 );
BENCHMARK( BoundSearch_FixedLowerBound_Unchecked )->Arg( 8 )->Arg( 64 )->Arg( 512 );
BENCHMARK( BoundSearch_FixedLowerBound_LoadChain )->Arg( 8 )->Arg( 64 )->Arg( 512 );
BENCHMARK( BoundSearch_RandomLowerBound_Qor )->Arg( 8 )->Arg( 64 )->Arg( 512 )->Arg( 4096 );
BENCHMARK( BoundSearch_RandomLowerBound_Std )->Arg( 8 )->Arg( 64 )->Arg( 512 )->Arg( 4096 );
