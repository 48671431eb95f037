#pragma once

// The bodies of the algorithm benchmarks: the library's range algorithms against the standard library's, on
// the three workload element kinds. The program registers the bodies; the tests run them through the runner.

#include "qor_core/container/qor_container_utils.h"

#include <algorithm>
#include <benchmark/benchmark.h>

namespace NAlgorithmBenchmarks
{
// Swaps the ends inwards until they meet.
template <typename T>
void ReverseNaive( T* pFirst, T* pLast )
{
    while ( pFirst != pLast )
    {
        --pLast;
        if ( pFirst == pLast )
        {
            break;
        }
        std::swap( *pFirst, *pLast );
        ++pFirst;
    }
}

template <typename T>
void Alogrithms_Reverse_Naive( benchmark::State& state )
{
    CQorArray<T> Array = MakeArray<T>( static_cast<int32>( state.range( 0 ) ) );
    for ( auto _ : state )
    {
        ReverseNaive( Array.begin(), Array.end() );
    }
}

template <typename T>
void Alogrithms_Reverse_std( benchmark::State& state )
{
    CQorArray<T> Array = MakeArray<T>( static_cast<int32>( state.range( 0 ) ) );
    for ( auto _ : state )
    {
        std::reverse( Array.begin(), Array.end() );
    }
}

// The bound families search for the largest value, which lives at the back of the array.
template <typename T, typename SearchT>
void RunBoundSearch( benchmark::State& state, SearchT Search )
{
    const CQorArray<T> Array = MakeSortedArray<T>( static_cast<int32>( state.range( 0 ) ) );
    const T& Value = Array.Back();
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Search( Array.begin(), Array.end(), Value ) );
    }
}

template <typename T>
void Algorithms_LowerBound_Qor( benchmark::State& state )
{
    RunBoundSearch<T>( state, []( const T* pBegin, const T* pEnd, const T& Value )
                       { return LowerBound( pBegin, pEnd, Value ); } );
}

template <typename T>
void Algorithms_UpperBound_Qor( benchmark::State& state )
{
    RunBoundSearch<T>( state, []( const T* pBegin, const T* pEnd, const T& Value )
                       { return UpperBound( pBegin, pEnd, Value ); } );
}

template <typename T>
void Algorithms_LowerBound_std( benchmark::State& state )
{
    RunBoundSearch<T>( state, []( const T* pBegin, const T* pEnd, const T& Value )
                       { return std::lower_bound( pBegin, pEnd, Value ); } );
}

template <typename T>
void Algorithms_UpperBound_std( benchmark::State& state )
{
    RunBoundSearch<T>( state, []( const T* pBegin, const T* pEnd, const T& Value )
                       { return std::upper_bound( pBegin, pEnd, Value ); } );
}
} // namespace NAlgorithmBenchmarks

