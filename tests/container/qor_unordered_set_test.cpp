#include "qor_core/container/qor_unordered_set.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <unordered_map>

namespace
{
struct SPoint
{
    int32 nX;
    int32 nY;
    std::string Label;
};
// Hash and equality look at the coordinates only, so an item can be exchanged for an equal one.
struct SPointHasher
{
    uint32 operator()( const SPoint& Point ) const
    {
        const int32 Coordinates[ 2 ] = { Point.nX, Point.nY };
        return HashBytes( 0, Coordinates, sizeof( Coordinates ) );
    }
};
struct SPointEquals
{
    bool operator()( const SPoint& Left, const SPoint& Right ) const
    {
        return Left.nX == Right.nX && Left.nY == Right.nY;
    }
};
} // namespace

TEST( CQorUnorderedSet, ReplaceExchangesAnEqualItemAndAssertsOtherwise )
{
    NQorUnorderedSet::CQorUnorderedSet<SPoint, SPointHasher, SPointEquals> Set;
    Set.Insert( SPoint{ 1, 2, "old" } );
    SPoint& Stored = *Set.Find( SPoint{ 1, 2, "" } );
    Set.Replace( Stored, SPoint{ 1, 2, "new" } );
    EXPECT_EQ( Set.Find( SPoint{ 1, 2, "" } )->Label, "new" );

    CAssertRecorder Asserts;
    Set.Replace( *Set.Find( SPoint{ 1, 2, "" } ), SPoint{ 3, 4, "moved" } );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "ItemHasherT()( ExistingValue ) == ItemHasherT()( NewValue )",
                                                            "ItemEqualsT()( ExistingValue, NewValue )" } ) );
    EXPECT_EQ( Set.Find( SPoint{ 3, 4, "" } ), Set.end() ) << "the item now stands under the wrong hash";
}

// An existing key keeps its value on Insert and takes the new one on InsertOrAssign; both report false.
TEST( CQorUnorderedMap, InsertKeepsAndInsertOrAssignReplacesAnExistingValue )
{
    NQorUnorderedMap::CQorUnorderedMap<int32, std::string> Map;
    EXPECT_TRUE( Map.InsertOrAssign( 7, std::string( "first" ) ).second );
    const auto Kept = Map.Insert( 7, std::string( "second" ) );
    EXPECT_TRUE( !Kept.second && Kept.first->Value == "first" );
    const auto Assigned = Map.InsertOrAssign( 7, std::string( "third" ) );
    EXPECT_TRUE( !Assigned.second && Assigned.first->Value == "third" );
    EXPECT_TRUE( *Map.FindValue( 7 ) == "third" && Map.GetSize() == 1 );

    NQorUnorderedSet::CQorUnorderedSet<std::string> Set;
    const std::string* pStored = &*Set.Insert( "item" ).first;
    const auto Again = Set.Insert( "item" );
    EXPECT_TRUE( !Again.second && &*Again.first == pStored );
}

TEST( CQorUnorderedMap, AgreesWithStdUnorderedMapOnRandomOperations )
{
    const uint32 nSeed = 31;
    std::mt19937 Random( nSeed );
    CTrackedElement::ResetCounts();
    {
        NQorUnorderedMap::CQorUnorderedMap<uint64, CTrackedElement> Map;
        std::unordered_map<uint64, int> Model;
        for ( int nStep = 0; nStep < 400; ++nStep )
        {
            const uint64 nKey = std::uniform_int_distribution<uint64>( 0, 150 )( Random ) << 20;
            const int nValue = std::uniform_int_distribution<int>( 0, 1000000 )( Random );
            switch ( std::uniform_int_distribution<int>( 0, 3 )( Random ) )
            {
            case 0:
                ASSERT_EQ( Map.Insert( nKey, CTrackedElement( nValue ) ).second, Model.emplace( nKey, nValue ).second );
                break;
            case 1:
                ASSERT_EQ( Map.InsertOrAssign( nKey, CTrackedElement( nValue ) ).second, Model.count( nKey ) == 0 );
                Model[ nKey ] = nValue;
                break;
            case 2:
                ASSERT_EQ( Map.Remove( nKey ), Model.erase( nKey ) == 1 ) << "seed " << nSeed << ", step " << nStep;
                break;
            default:
                const CTrackedElement* pValue = Map.FindValue( nKey );
                ASSERT_EQ( pValue ? pValue->Value() : -1, Model.count( nKey ) ? Model[ nKey ] : -1 ) << nStep;
            }
            ASSERT_TRUE( Map.GetTable().Validate() ) << "seed " << nSeed << ", step " << nStep;
        }
        std::map<uint64, int> Items;
        for ( const auto& Entry : Map )
        {
            Items[ Entry.Key ] = Entry.Value.Value();
        }
        EXPECT_EQ( Items, ( std::map<uint64, int>( Model.begin(), Model.end() ) ) );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), static_cast<int>( Model.size() ) );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

TEST( CQorHybridUnorderedMap, StaysInlineWithinItsLoadLimit )
{
    CCountingAllocator Fallback;
    {
        NQorUnorderedMap::CQorHybridUnorderedMap<int32, int32, 10> Map( &Fallback );
        NQorRobinHoodTable::SStats Stats;
        Map.GetStats( Stats );
        EXPECT_EQ( Stats.nBuckets, 1024 );
        for ( int32 I = 0; I < 2000; ++I )
        {
            Map.Insert( I, -I );
            EXPECT_TRUE( I >= 700 || Fallback.AllocateCalls() == 0 ) << "700 keys stay inline";
        }
        EXPECT_TRUE( Fallback.AllocateCalls() > 0 && Map.GetSize() == 2000 && *Map.FindValue( 1999 ) == -1999 );

        NQorUnorderedSet::CQorHybridUnorderedSet<void*, 10> Set( &Fallback );
        int Anchor = 0;
        EXPECT_TRUE( Set.Insert( &Anchor ).second && Set.Contains( &Anchor ) );
    }
    EXPECT_EQ( Fallback.LiveBlocks(), 0 );
    EXPECT_EQ( Fallback.ForeignDeallocations(), 0 );
}
