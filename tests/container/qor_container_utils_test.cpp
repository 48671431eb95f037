#include "qor_core/container/qor_container_utils.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
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

// The positions and the number of comparisons: floor( log2( N ) ) + 1 whatever the data, none on an empty range.
TEST( BoundSearch, FindsTheBoundsOnAFixedScheduleOfComparisons )
{
    const struct
    {
        std::vector<int32> Values;
        int32 nValue;
        int nLower;
        int nUpper;
        int nComparisons;
    } Rows[] = {
        { {}, 5, 0, 0, 0 },
        { { 7 }, 5, 0, 0, 1 },
        { { 7 }, 9, 1, 1, 1 },
        { { 1, 2, 2, 3 }, 2, 1, 3, 3 },
        { { 1, 2, 2, 3, 3, 3, 3, 4 }, 3, 3, 7, 4 },
        { { 1, 2, 3, 4, 5, 6, 7, 8, 9 }, 0, 0, 0, 4 },
        { { 1, 2, 3, 4, 5, 6, 7, 8, 9 }, 9, 8, 9, 4 },
    };
    for ( const auto& Row : Rows )
    {
        const int32* pBegin = Row.Values.data();
        const int32* pEnd = pBegin + Row.Values.size();
        int nLowerCount = 0;
        int nUpperCount = 0;
        EXPECT_EQ( LowerBound( pBegin, pEnd, Row.nValue ) - pBegin, Row.nLower );
        EXPECT_EQ( UpperBound( pBegin, pEnd, Row.nValue ) - pBegin, Row.nUpper );
        EXPECT_EQ( LowerBound( pBegin, pEnd, Row.nValue, SCountingLess{ &nLowerCount } ) - pBegin, Row.nLower );
        EXPECT_EQ( UpperBound( pBegin, pEnd, Row.nValue, SCountingLess{ &nUpperCount } ) - pBegin, Row.nUpper );
        EXPECT_EQ( nLowerCount, Row.nComparisons ) << Row.Values.size() << " elements";
        EXPECT_EQ( nUpperCount, Row.nComparisons ) << Row.Values.size() << " elements";
    }
}

TEST( BoundSearch, AgreesWithTheStandardLibraryOnRandomSortedData )
{
    const uint32 nSeed = 20261122;
    std::mt19937 Random( nSeed );
    for ( const int nSize : { 2, 3, 5, 16, 31, 100, 513 } )
    {
        std::vector<int32> Values( nSize );
        for ( int32& Value : Values )
        {
            Value = std::uniform_int_distribution<int32>( -20, 20 )( Random );
        }
        std::sort( Values.begin(), Values.end() );
        const int32* pBegin = Values.data();
        const int32* pEnd = pBegin + nSize;
        for ( int32 Value = -21; Value <= 21; ++Value )
        {
            ASSERT_EQ( LowerBound( pBegin, pEnd, Value ), std::lower_bound( pBegin, pEnd, Value ) )
                << "seed " << nSeed << ", size " << nSize << ", value " << Value;
            ASSERT_EQ( UpperBound( pBegin, pEnd, Value ), std::upper_bound( pBegin, pEnd, Value ) )
                << "seed " << nSeed << ", size " << nSize << ", value " << Value;
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
    EXPECT_EQ( CQorRandom( 1 ).GetPosition(), NoiseHash( 1, 1587985055 ) );
    CQorRandom Random( 42 );
    EXPECT_EQ( Random.GetPosition(), 0x6DA1654Du );
    std::vector<int32> Draws;
    for ( int I = 0; I < 5; ++I )
    {
        Draws.push_back( Random.Next( 0, 50 ) );
    }
    EXPECT_EQ( Draws, ( std::vector<int32>{ 47, 47, 10, 43, 13 } ) );

    // A one-value range still draws; reversed bounds are swapped.
    CQorRandom Left( 9 );
    CQorRandom Right( 9 );
    const uint32 nPosition = Left.GetPosition();
    EXPECT_EQ( Left.Next( 5, 5 ), 5 );
    EXPECT_EQ( Left.GetPosition(), nPosition + 1 );
    Right.Next();
    for ( int I = 0; I < 50; ++I )
    {
        const int32 nValue = Left.Next( 9, 3 );
        EXPECT_EQ( nValue, Right.Next( 3, 9 ) );
        EXPECT_TRUE( nValue >= 3 && nValue <= 9 ) << nValue;
    }
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
    std::vector<int32> Indices( 100 );
    std::iota( Indices.begin(), Indices.end(), 0 );
    EXPECT_EQ( Sorted, Indices );

    CQorArray<int32> One = MakeArray<int32>( 1 );
    CQorArray<int32> None;
    Shuffle( One, Random );
    Shuffle( None, Random );
    EXPECT_EQ( Random.GetPosition(), nStart + 99 ) << "fewer than two elements take no draw";
}

TEST( MakeArray, BuildsTheWorkloadsOfTheAlgorithmFamilies )
{
    const CQorArray<trivial_type> Indices = MakeArray<trivial_type>( 3 );
    EXPECT_EQ( std::vector<trivial_type>( Indices.begin(), Indices.end() ),
               ( std::vector<trivial_type>{ trivial_type( 0 ), trivial_type( 1 ), trivial_type( 2 ) } ) );
    EXPECT_EQ( Indices.GetCapacity(), 3 );

    // Draws from 0 to 50, sorted by the element's order: text order for strings.
    const CQorArray<complex_type> Texts = MakeSortedArray<complex_type>( 100 );
    EXPECT_EQ( Texts.GetCapacity(), 100 );
    EXPECT_TRUE( std::is_sorted( Texts.begin(), Texts.end() ) );
    const CQorArray<int32> Numbers = MakeSortedArray<int32>( 100 );
    EXPECT_TRUE( std::is_sorted( Numbers.begin(), Numbers.end() ) && Numbers[ 0 ] >= 0 && Numbers.Back() <= 50 );
}
