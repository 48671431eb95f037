#include "qor_core/benchmarks/algorithm_benchmarks.h"

#include "tests/benchmarks/benchmark_runner.h"

#include <gtest/gtest.h>

using namespace NAlgorithmBenchmarks;

namespace
{
// An element that counts its comparisons and its moves.
struct SCounted
{
    static inline int s_nCompares = 0;
    static inline int s_nMoves = 0;

    SCounted() = default;
    SCounted( int32 nInitial ) : nValue( nInitial ) {}
    SCounted( const SCounted& ) = default;
    SCounted( SCounted&& Other ) noexcept : nValue( Other.nValue ) { ++s_nMoves; }
    SCounted& operator=( const SCounted& ) = default;
    SCounted& operator=( SCounted&& Other ) noexcept
    {
        nValue = Other.nValue;
        ++s_nMoves;
        return *this;
    }
    friend bool operator<( const SCounted& Left, const SCounted& Right )
    {
        ++s_nCompares;
        return Left.nValue < Right.nValue;
    }

    int32 nValue = 0;
};
} // namespace

// What one pass of a body costs in comparisons and moves: the difference between runs of 11 and 1 passes.
TEST( AlgorithmBenchmarks, EachPassSearchesOnceOnTheFixedScheduleOrReversesOnce )
{
    const struct
    {
        void ( *pBody )( benchmark::State& );
        int64_t nCount;
        int nComparesPerPass; // floor( log2( N ) ) + 1 for the library's searches, whatever the data
        int nMovesPerPass;    // three per swap, N / 2 swaps per reversal
    } Runs[] = {
        { Algorithms_LowerBound_Qor<SCounted>, 1, 1, 0 },     { Algorithms_LowerBound_Qor<SCounted>, 8, 4, 0 },
        { Algorithms_LowerBound_Qor<SCounted>, 100, 7, 0 },   { Algorithms_LowerBound_Qor<SCounted>, 512, 10, 0 },
        { Algorithms_UpperBound_Qor<SCounted>, 8, 4, 0 },     { Algorithms_UpperBound_Qor<SCounted>, 512, 10, 0 },
        { Alogrithms_Reverse_Naive<SCounted>, 7, 0, 9 },      { Alogrithms_Reverse_Naive<SCounted>, 8, 0, 12 },
        { Alogrithms_Reverse_std<SCounted>, 7, 0, 9 },
    };
    for ( const auto& Run : Runs )
    {
        SCOPED_TRACE( "count " + std::to_string( Run.nCount ) );
        SCounted::s_nCompares = SCounted::s_nMoves = 0;
        RunBody( Run.pBody, { Run.nCount }, 1 );
        const int nCompares = SCounted::s_nCompares;
        const int nMoves = SCounted::s_nMoves;
        SCounted::s_nCompares = SCounted::s_nMoves = 0;
        RunBody( Run.pBody, { Run.nCount }, 11 );
        EXPECT_EQ( SCounted::s_nCompares - nCompares, 10 * Run.nComparesPerPass );
        EXPECT_EQ( SCounted::s_nMoves - nMoves, 10 * Run.nMovesPerPass );
    }
}
