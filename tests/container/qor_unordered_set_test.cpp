#include "qor_core/container/qor_unordered_set.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

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

namespace
{
int64 ValueOf( const CTrackedElement& Value )
{
    return Value.Value();
}
int64 ValueOf( uint64 nValue )
{
    return int64( nValue );
}

// Random inserts (nInsertWeight times as many as each other operation), assignments, removals and finds of
// nDraws keys against std::unordered_map, validating the table after every step. MakeKey turns a draw into a
// key, MakeValue the key's draw and another into a value.
template <typename MapT, typename MakeKeyT, typename MakeValueT>
void ExpectAgreementWithStdUnorderedMap( uint32 nSeed, uint32 nDraws, int nInsertWeight, MakeKeyT MakeKey,
                                         MakeValueT MakeValue )
{
    std::mt19937 Random( nSeed );
    MapT Map;
    std::unordered_map<decltype( MakeKey( 0u ) ), int64> Model;
    auto Draw = [ & ] { return std::uniform_int_distribution<uint32>( 0, nDraws - 1 )( Random ); };
    for ( int nStep = 0; nStep < 500; ++nStep )
    {
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", step " << nStep );
        const uint32 nDraw = Draw();
        const auto Key = MakeKey( nDraw );
        const auto Value = MakeValue( nDraw, Draw() );
        switch ( std::uniform_int_distribution<int>( 0, 2 + nInsertWeight )( Random ) )
        {
        case 0:
            ASSERT_EQ( Map.InsertOrAssign( Key, Value ).second, Model.count( Key ) == 0 );
            Model[ Key ] = ValueOf( Value );
            break;
        case 1:
            ASSERT_EQ( Map.Remove( Key ), Model.erase( Key ) == 1 );
            ASSERT_FALSE( Map.Contains( Key ) ) << "an erased entry keeps its bytes, but not its key";
            break;
        case 2:
        {
            const auto* pValue = Map.FindValue( Key );
            ASSERT_EQ( pValue ? ValueOf( *pValue ) : -1, Model.count( Key ) ? Model[ Key ] : -1 );
            break;
        }
        default:
            ASSERT_EQ( Map.Insert( Key, Value ).second, Model.emplace( Key, ValueOf( Value ) ).second );
        }
        ASSERT_TRUE( Map.GetTable().Validate() );
    }
    std::unordered_map<decltype( MakeKey( 0u ) ), int64> Items;
    for ( const auto& Entry : Map )
    {
        Items[ Entry.Key ] = ValueOf( Entry.Value );
    }
    EXPECT_EQ( Items, Model );
}

// Each 12 draws run one chain from nHomesT home buckets, 16 buckets apart from the next 12. An 8-byte key holds
// half the draw in its high half and the draw's parity in its low one, so keys of one chain repeat each half.
template <typename KeyT>
KeyT ChainKey( uint32 nDraw )
{
    return sizeof( KeyT ) == 8 ? KeyT( ( uint64( nDraw / 2 ) << 32 ) | ( nDraw % 2 * 7 ) ) : KeyT( nDraw );
}
template <uint32 nHomesT>
struct SChainHasher
{
    uint32 operator()( uint64 nKey ) const { return Home( uint32( nKey >> 32 ) * 2 + ( nKey & 1 ) ); }
    uint32 operator()( uint32 nKey ) const { return Home( nKey ); }
    static uint32 Home( uint32 nDraw ) { return nDraw / 12 * 16 + nDraw % 12 * nHomesT / 12; }
};

// Chains of 12 from one home (past every window, in a table of 1024 buckets at low load), and from four homes
// whose last keys stand 9 from home (in a table of 128 buckets at over 5/8 load: inserts outweigh removals).
// Values are keys of the same chain, so a lookup that compared a value would find the wrong entry.
template <typename KeyT, typename ValueT>
void ExpectAgreementInLongChains( uint32 nSeed )
{
    CAssertRecorder GrowthWarnings;
    auto MakeValue = []( uint32 nKeyDraw, uint32 nDraw ) { return ValueT( ChainKey<KeyT>( nKeyDraw ^ nDraw % 4 ) ); };
    ExpectAgreementWithStdUnorderedMap<NQorUnorderedMap::CQorUnorderedMap<KeyT, ValueT, SChainHasher<1>>>(
        nSeed, 300, 3, ChainKey<KeyT>, MakeValue );
    ExpectAgreementWithStdUnorderedMap<NQorUnorderedMap::CQorUnorderedMap<KeyT, ValueT, SChainHasher<4>>>(
        nSeed + 1, 96, 12, ChainKey<KeyT>, MakeValue );
}
} // namespace

TEST( CQorUnorderedMap, AgreesWithStdUnorderedMapOnRandomOperations )
{
    CTrackedElement::ResetCounts();
    ExpectAgreementWithStdUnorderedMap<NQorUnorderedMap::CQorUnorderedMap<uint64, CTrackedElement>>(
        31, 151, 1, []( uint32 nDraw ) { return uint64( nDraw ) << 20; },
        []( uint32, uint32 nDraw ) { return CTrackedElement( int( nDraw ) ); } );
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
    ExpectAgreementInLongChains<uint32, uint32>( 32 );
    ExpectAgreementInLongChains<uint64, uint64>( 34 );
    ExpectAgreementInLongChains<uint64, uint32>( 36 );
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
