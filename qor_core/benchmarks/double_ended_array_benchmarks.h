#pragma once

// The body of the steady-state queue benchmark and the seven queues it runs on, each behind one set of
// operations: filled to a standing size from one generator, then one push, one peek and one pop per pass. The
// program registers the body; the tests run it through the runner.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_container_utils.h"
#include "qor_core/container/qor_double_ended_array_impl.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <list>
#include <vector>

namespace NQueueBenchmark
{
constexpr uint32 nQueueSeed = 38945;

template <typename LayoutT>
struct SDoubleEndedArrayTraitsOf
{
    using ContainerType = CQorDoubleEndedArray<uint32, LayoutT>;
    static void Reserve( ContainerType& Container, int32 nCapacity ) { Container.Reserve( nCapacity ); }
    static void Push( ContainerType& Container, uint32 nValue ) { Container.PushBack( nValue ); }
    static uint32 Peek( ContainerType& Container ) { return Container.Front(); }
    static void Pop( ContainerType& Container ) { Container.PopFront(); }
    static int32 Size( const ContainerType& Container ) { return Container.GetSize(); }
};

// The standard containers, with or without a reserve.
template <typename ContainerT, bool bReserves>
struct SStdTraitsOf
{
    using ContainerType = ContainerT;
    static void Reserve( ContainerType& Container, int32 nCapacity )
    {
        if constexpr ( bReserves )
        {
            Container.reserve( static_cast<size_t>( nCapacity ) );
        }
    }
    static void Push( ContainerType& Container, uint32 nValue ) { Container.push_back( nValue ); }
    static uint32 Peek( ContainerType& Container ) { return Container.front(); }
    static int32 Size( const ContainerType& Container ) { return static_cast<int32>( Container.size() ); }
};
} // namespace NQueueBenchmark

struct SQorDoubleEndedArrayTraits : NQueueBenchmark::SDoubleEndedArrayTraitsOf<SQorDoubleEndedLayout>
{
};
struct SQorContiguousQueueTraits : NQueueBenchmark::SDoubleEndedArrayTraitsOf<SQorContiguousQueueLayout>
{
};
struct SQorReverseContiguousQueueTraits : NQueueBenchmark::SDoubleEndedArrayTraitsOf<SQorReverseContiguousQueueLayout>
{
};

// Removal at the front is an ordered removal that shifts every element down.
struct SQorArrayTraits
{
    using ContainerType = CQorArray<uint32>;
    static void Reserve( ContainerType& Container, int32 nCapacity ) { Container.Reserve( nCapacity ); }
    static void Push( ContainerType& Container, uint32 nValue ) { Container.Add( nValue ); }
    static uint32 Peek( ContainerType& Container ) { return Container.Front(); }
    static void Pop( ContainerType& Container ) { Container.Remove( 0 ); }
    static int32 Size( const ContainerType& Container ) { return Container.GetSize(); }
};

struct SStdVectorTraits : NQueueBenchmark::SStdTraitsOf<std::vector<uint32>, true>
{
    static void Pop( ContainerType& Container ) { Container.erase( Container.begin() ); }
};
struct SStdDequeTraits : NQueueBenchmark::SStdTraitsOf<std::deque<uint32>, false>
{
    static void Pop( ContainerType& Container ) { Container.pop_front(); }
};
struct SStdListTraits : NQueueBenchmark::SStdTraitsOf<std::list<uint32>, false>
{
    static void Pop( ContainerType& Container ) { Container.pop_front(); }
};

// A queue of constant length, one element in and one out per pass. range( 0 ) is the capacity reserved,
// range( 1 ) the standing size.
template <typename TraitsT>
void CQorDoubleEndedArray_StableQueueSize( benchmark::State& state )
{
    typename TraitsT::ContainerType Container;
    CQorRandom Random( NQueueBenchmark::nQueueSeed );
    TraitsT::Reserve( Container, static_cast<int32>( state.range( 0 ) ) );
    while ( TraitsT::Size( Container ) < state.range( 1 ) )
    {
        TraitsT::Push( Container, static_cast<uint32>( Random.Next() ) );
    }
    for ( auto _ : state )
    {
        TraitsT::Push( Container, static_cast<uint32>( Random.Next() ) );
        benchmark::DoNotOptimize( TraitsT::Peek( Container ) );
        TraitsT::Pop( Container );
    }
}
