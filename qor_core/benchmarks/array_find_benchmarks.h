#pragma once

// The bodies of the array search benchmarks: the searches of CQorArray against the standard algorithms, over
// CQorArray and std::vector, on an integer and a string element. Every search walks the whole container: the
// target is the last element. The program registers the bodies; the tests run them through the runner.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_string.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <string>
#include <vector>

namespace NArrayFindBenchmarks
{
// A container and the way it is searched: the array's own members, or the standard algorithms over begin()
// and end(). Every path gives a pointer to the element found, or null.
template <typename ContainerT, bool bStdAlgorithm>
struct SArrayTraits
{
    using ContainerType = ContainerT;
    using ValueType = std::remove_cvref_t<decltype( *std::declval<ContainerT&>().begin() )>;

    template <typename PredT>
    static ValueType* FindIf( ContainerT& Container, PredT Pred )
    {
        if constexpr ( bStdAlgorithm )
        {
            const auto Found = std::find_if( Container.begin(), Container.end(), Pred );
            return Found == Container.end() ? nullptr : &*Found;
        }
        else
        {
            return Container.FindIf( Pred );
        }
    }
    static ValueType* Find( ContainerT& Container, const ValueType& Value )
    {
        if constexpr ( bStdAlgorithm )
        {
            const auto Found = std::find( Container.begin(), Container.end(), Value );
            return Found == Container.end() ? nullptr : &*Found;
        }
        else
        {
            return Container.Find( Value );
        }
    }
    template <typename PredT>
    static ValueType* Find( ContainerT& Container, const ValueType& Value, PredT Pred )
    {
        if constexpr ( bStdAlgorithm )
        {
            return FindIf( Container, [ & ]( const ValueType& Element ) { return Pred( Element, Value ); } );
        }
        else
        {
            return Container.Find( Value, Pred );
        }
    }
};

template <typename T>
T MakeElement( uint64 Draw )
{
    if constexpr ( std::is_same_v<T, CString> )
    {
        return CString( std::to_string( Draw ) );
    }
    else
    {
        return Draw;
    }
}

template <typename T>
constexpr bool IsStdVector = false;
template <typename T>
constexpr bool IsStdVector<std::vector<T>> = true;

template <typename ContainerT>
auto& LastElement( ContainerT& Container )
{
    if constexpr ( IsStdVector<ContainerT> )
    {
        return Container.back();
    }
    else
    {
        return Container.Back();
    }
}

// N draws of a generator seeded with 42 over the whole range of uint64, so that every container of a
// family holds the same values.
template <typename TraitsT>
typename TraitsT::ContainerType MakeContainer( benchmark::State& state )
{
    using ValueType = typename TraitsT::ValueType;
    const int32 Count = static_cast<int32>( state.range( 0 ) );
    typename TraitsT::ContainerType Container;
    if constexpr ( IsStdVector<typename TraitsT::ContainerType> )
    {
        Container.reserve( static_cast<size_t>( Count ) );
        Container.resize( static_cast<size_t>( Count ) );
    }
    else
    {
        Container.Reserve( Count );
        Container.Resize( Count );
    }
    std::mt19937 Generator( 42 );
    std::uniform_int_distribution<uint64> Distribution( 0, 0xFFFFFFFFFFFFFFFFull );
    std::generate_n( Container.begin(), Count, [ & ] { return MakeElement<ValueType>( Distribution( Generator ) ); } );
    return Container;
}

// The element no draw produces, written over the last one for the predicate searches.
template <typename T>
T MakeMarker()
{
    if constexpr ( std::is_same_v<T, CString> )
    {
        return CString();
    }
    else
    {
        return 0xFFFFFFFFFFFFFFFFull;
    }
}

template <typename TraitsT>
void CQorArray_Find( benchmark::State& state )
{
    auto Container = MakeContainer<TraitsT>( state );
    const typename TraitsT::ValueType Target = LastElement( Container );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( TraitsT::Find( Container, Target ) );
    }
}

template <typename TraitsT>
void CQorArray_Find_Pred( benchmark::State& state )
{
    using ValueType = typename TraitsT::ValueType;
    auto Container = MakeContainer<TraitsT>( state );
    const ValueType Target = LastElement( Container );
    const auto Pred = []( const ValueType& A, const ValueType& B ) { return A == B; };
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( TraitsT::Find( Container, Target, Pred ) );
    }
}

template <typename TraitsT>
void CQorArray_FindIf_Pred( benchmark::State& state )
{
    using ValueType = typename TraitsT::ValueType;
    auto Container = MakeContainer<TraitsT>( state );
    LastElement( Container ) = MakeMarker<ValueType>();
    // For CString the marker is built on every call, and that cost is part of the measurement.
    const auto Pred = []( const ValueType& Element ) { return Element == MakeMarker<ValueType>(); };
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( TraitsT::FindIf( Container, Pred ) );
    }
}

template <typename TraitsT>
void CQorArray_FindIf_StatefulPred( benchmark::State& state )
{
    using ValueType = typename TraitsT::ValueType;
    auto Container = MakeContainer<TraitsT>( state );
    const ValueType Target = LastElement( Container );
    const auto Pred = [ &Target ]( const ValueType& Element ) { return Element == Target; };
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( TraitsT::FindIf( Container, Pred ) );
    }
}
} // namespace NArrayFindBenchmarks

