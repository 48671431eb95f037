#include "qor_core/benchmarks/double_ended_array_benchmarks.h"

#include "tests/benchmarks/benchmark_runner.h"

#include <gtest/gtest.h>

namespace
{
// The queue of TraitsT, recording the front and the size at each peek.
template <typename TraitsT>
struct SPeeking : TraitsT
{
    static uint32 Peek( typename TraitsT::ContainerType& Container )
    {
        s_Sizes.push_back( TraitsT::Size( Container ) );
        s_Fronts.push_back( TraitsT::Peek( Container ) );
        return s_Fronts.back();
    }
    static inline std::vector<int32> s_Sizes;
    static inline std::vector<uint32> s_Fronts;
};

template <typename TraitsT>
void ExpectFirstInFirstOut( const std::vector<uint32>& Draws )
{
    RunBody( CQorDoubleEndedArray_StableQueueSize<SPeeking<TraitsT>>, { 100, 10 }, 500 );
    EXPECT_EQ( SPeeking<TraitsT>::s_Fronts, Draws );
    EXPECT_EQ( SPeeking<TraitsT>::s_Sizes, std::vector<int32>( 500, 11 ) ) << "standing size plus the one pushed";
}
} // namespace

// The seven queues pass the generator's draws through in the order drawn.
TEST( DoubleEndedArrayBenchmarks, EveryQueueDeliversTheDrawsInOrder )
{
    std::vector<uint32> Draws;
    CQorRandom Random( 38945 );
    for ( int I = 0; I < 500; ++I )
    {
        Draws.push_back( static_cast<uint32>( Random.Next() ) );
    }
    ExpectFirstInFirstOut<SQorDoubleEndedArrayTraits>( Draws );
    ExpectFirstInFirstOut<SQorContiguousQueueTraits>( Draws );
    ExpectFirstInFirstOut<SQorReverseContiguousQueueTraits>( Draws );
    ExpectFirstInFirstOut<SQorArrayTraits>( Draws );
    ExpectFirstInFirstOut<SStdVectorTraits>( Draws );
    ExpectFirstInFirstOut<SStdDequeTraits>( Draws );
    ExpectFirstInFirstOut<SStdListTraits>( Draws );
}
