#include "qor_core/container/qor_container_utils.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace
{
// Counts the comparisons a bound search makes.
struct SCountingLess
{
    int* pCount;
    bool operator()( int32 Left, int32 Right ) const
    {
        ++*pCount;
        return Left < Right;
    }
};
} // namespace

TEST( BoundSearch, AgreesWithTheStandardLibraryOnRandomSortedData )
{
    const uint32 nSeed = 20261122;
    std::mt19937 Random( nSeed );
    for ( int nSize = 0; nSize <= 600; nSize += 1 + nSize / 16 )
    {
        std::vector<int32> Values( nSize );
        for ( int32& Value : Values )
        {
            Value = std::uniform_int_distribution<int32>( -50, 50 )( Random );
        }
        std::sort( Values.begin(), Values.end() );
        const int32* pBegin = Values.data();
        const int32* pEnd = Values.data() + nSize;
        for ( int32 Value = -52; Value <= 52; ++Value )
        {
            ASSERT_EQ( LowerBound( pBegin, pEnd, Value ), std::lower_bound( pBegin, pEnd, Value ) )
                << "seed " << nSeed << ", size " << nSize << ", value " << Value;
            ASSERT_EQ( UpperBound( pBegin, pEnd, Value ), std::upper_bound( pBegin, pEnd, Value ) )
                << "seed " << nSeed << ", size " << nSize << ", value " << Value;

            int nLowerCount = 0;
            int nUpperCount = 0;
            ASSERT_EQ( LowerBound( pBegin, pEnd, Value, SCountingLess{ &nLowerCount } ),
                       std::lower_bound( pBegin, pEnd, Value ) );
            ASSERT_EQ( UpperBound( pBegin, pEnd, Value, SCountingLess{ &nUpperCount } ),
                       std::upper_bound( pBegin, pEnd, Value ) );
            const int nExpected = nSize == 0 ? 0 : static_cast<int>( std::floor( std::log2( nSize ) ) ) + 1;
            ASSERT_EQ( nLowerCount, nExpected ) << "size " << nSize;
            ASSERT_EQ( nUpperCount, nExpected ) << "size " << nSize;
        }
    }
}

TEST( BoundSearch, ReversedRangeAssertsAndReturnsBegin )
{
    CAssertRecorder Asserts;
    const int32 Values[] = { 1, 2, 3 };
    EXPECT_EQ( LowerBound( Values + 2, Values, 2 ), Values + 2 );
    EXPECT_EQ( UpperBound( Values + 2, Values, 2 ), Values + 2 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "End >= Begin", "End >= Begin" } ) );
}

// Reference values worked out by hand from the noise function's eight steps.
TEST( NoiseHash, MatchesHandComputedValues )
{
    EXPECT_EQ( NoiseHash( 0, 0 ), 0xEFBE2FBAu );
    EXPECT_EQ( NoiseHash( 1, 1587985055 ), 0xE5F10AFAu );
    EXPECT_EQ( NoiseHash( 12345, 678 ), 0x7AFE25A5u );
    static_assert( NoiseHash( 0, 0 ) == 0xEFBE2FBAu, "usable in constant expressions" );
}

TEST( CQorRandom, SeedsAndDrawsAsSpecified )
{
    CQorRandom One( 1 );
    EXPECT_EQ( One.GetPosition(), NoiseHash( 1, 1587985055 ) );

    CQorRandom Random( 42 );
    EXPECT_EQ( Random.GetPosition(), 0x6DA1654Du );
    std::vector<int32> Draws;
    for ( int I = 0; I < 5; ++I )
    {
        Draws.push_back( Random.Next( 0, 50 ) );
    }
    EXPECT_EQ( Draws, ( std::vector<int32>{ 47, 47, 10, 43, 13 } ) );

    CQorRandom Left( 9 );
    CQorRandom Right( 9 );
    for ( int I = 0; I < 100; ++I )
    {
        const int32 nValue = Left.Next();
        EXPECT_GE( nValue, 0 );
        EXPECT_EQ( nValue, Right.Next() );
    }

    const uint32 nPosition = Left.GetPosition();
    EXPECT_EQ( Left.Next( 5, 5 ), 5 );
    EXPECT_EQ( Left.GetPosition(), nPosition + 1 );
    Right.Next();
    for ( int I = 0; I < 100; ++I )
    {
        const int32 nValue = Left.Next( 9, 3 );
        EXPECT_EQ( nValue, Right.Next( 3, 9 ) );
        EXPECT_TRUE( nValue >= 3 && nValue <= 9 ) << nValue;
    }
    EXPECT_EQ( Left.Next( -10, -10 ), -10 );
}

TEST( Shuffle, PermutesAndDrawsOncePerStep )
{
    CQorRandom Random( 1 );
    CQorArray<int32> Array = MakeArray<int32>( 100 );
    const uint32 nStart = Random.GetPosition();
    Shuffle( Array, Random );
    EXPECT_EQ( Random.GetPosition(), nStart + 99 );
    std::vector<int32> Sorted( Array.begin(), Array.end() );
    EXPECT_FALSE( std::is_sorted( Sorted.begin(), Sorted.end() ) );
    std::sort( Sorted.begin(), Sorted.end() );
    for ( int32 I = 0; I < 100; ++I )
    {
        EXPECT_EQ( Sorted[ I ], I );
    }

    CQorArray<int32> One = MakeArray<int32>( 1 );
    const uint32 nBefore = Random.GetPosition();
    Shuffle( One, Random );
    CQorArray<int32> None;
    Shuffle( None, Random );
    EXPECT_EQ( Random.GetPosition(), nBefore );
    EXPECT_EQ( One[ 0 ], 0 );
}
