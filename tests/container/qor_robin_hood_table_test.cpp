#include "qor_core/container/qor_robin_hood_table.h"

#include "qor_core/qor_hash.h"
#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_set>
#include <vector>

namespace
{
struct SIdentity
{
    template <typename KeyT> uint32 operator()( KeyT nKey ) const { return uint32( nKey ); }
};
struct SMurmur
{
    uint32 operator()( uint32 nKey ) const { return HashBytes( 0, &nKey, 4 ); }
};
using CIdentityTable = CQorRobinHoodTable<uint32, SIdentity>;
using CMurmurTable = CQorRobinHoodTable<uint32, SMurmur>;

// An item aligned to 8, so its entries store the hash; it tracks its lifetime.
struct alignas( 8 ) SBigItem
{
    CTrackedElement Key;
    std::string Payload;

    friend bool operator==( const SBigItem& Left, const SBigItem& Right ) { return Left.Key == Right.Key; }
};
struct SBigItemHasher
{
    uint32 operator()( const SBigItem& Item ) const { return static_cast<uint32>( Item.Key.Value() ) * 0x9E3779B9u; }
};
using CBigItemTable = CQorRobinHoodTable<SBigItem, SBigItemHasher>;

uint32 KeyOf( uint32 nKey )
{
    return nKey;
}
uint32 KeyOf( uint64 nKey )
{
    return uint32( nKey >> 32 ) * 2 + uint32( nKey & 1 );
}
int KeyOf( const SBigItem& Item )
{
    return Item.Key.Value();
}

// Random inserts, removals and finds against std::unordered_set, validating the table after every step.
// MakeItem turns a draw into an item with its hash.
template <typename TableT, typename MakeItemT>
void ExpectAgreementWithStdUnorderedSet( TableT& Table, uint32 nSeed, MakeItemT MakeItem )
{
    std::mt19937 Random( nSeed );
    std::unordered_set<uint32> Model;
    for ( int nStep = 0; nStep < 400; ++nStep )
    {
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", step " << nStep );
        const uint32 nDraw = std::uniform_int_distribution<uint32>( 0, 300 )( Random );
        auto [ nHash, Item ] = MakeItem( nDraw );
        const uint32 nKey = uint32( KeyOf( Item ) );
        const int nOperation = std::uniform_int_distribution<int>( 0, 99 )( Random );
        if ( nOperation < 55 )
        {
            ASSERT_EQ( Table.Insert( nHash, std::move( Item ) ).second, Model.insert( nKey ).second );
        }
        else if ( nOperation < 75 )
        {
            ASSERT_EQ( Table.Remove( nHash, Item ), Model.erase( nKey ) == 1 );
        }
        else if ( nOperation < 99 )
        {
            ASSERT_EQ( Table.Find( nHash, Item ) != Table.end(), Model.count( nKey ) == 1 );
        }
        else
        {
            Table.Clear();
            Model.clear();
        }
        ASSERT_TRUE( Table.Validate() && Table.GetSize() == int32( Model.size() ) );
    }
    std::unordered_set<uint32> Items;
    for ( const auto& Item : Table )
    {
        Items.insert( uint32( KeyOf( Item ) ) );
    }
    EXPECT_EQ( Items, Model );
}
} // namespace

static_assert( sizeof( NQorRobinHoodTable::SEntry<uint32> ) == 8, "the one-byte distance keeps uint32 entries at 8" );
static_assert( !NQorRobinHoodTable::SEntry<uint32>::bStoresHash && NQorRobinHoodTable::SEntry<SBigItem>::bStoresHash );
static_assert( sizeof( NQorRobinHoodTable::SEntry<SBigItem> ) == 8 + sizeof( SBigItem ) );

TEST( CQorRobinHoodTable, GrowsFromEightBucketsByLoadAgainstTheMask )
{
    CCountingAllocator Allocator;
    {
        CIdentityTable Table( &Allocator );
        NQorRobinHoodTable::SStats Stats;
        Table.GetStats( Stats );
        EXPECT_TRUE( Stats.nSize == 0 && Stats.nBuckets == 0 && Stats.nMemory == int32( sizeof( CIdentityTable ) ) );
        EXPECT_TRUE( Table.Find( 3, 3u ) == Table.end() && Table.begin() == Table.end() );
        EXPECT_EQ( Allocator.AllocateCalls(), 0 ) << "an empty table owns no memory";

        EXPECT_TRUE( Table.Insert( 3, 3u ).second );
        EXPECT_TRUE( Table.GetBucketCount() == 8 && Table.GetMaxDistance() == 5 );
        ASSERT_EQ( Allocator.AllocateCalls(), 1 );
        EXPECT_EQ( Allocator.Allocations()[ 0 ].nSize, 14 * sizeof( NQorRobinHoodTable::SEntry<uint32> ) );
        Table.GetStats( Stats );
        EXPECT_TRUE( Stats.nSize == 1 && Stats.nBuckets == 8 );
        EXPECT_EQ( Stats.nMemory, int32( 14 * 8 + sizeof( CIdentityTable ) ) );

        for ( uint32 nKey = 10; nKey < 15; ++nKey )
        {
            Table.Insert( nKey, nKey );
        }
        EXPECT_EQ( Table.GetBucketCount(), 8 ) << "6 / 7 is within the load limit";
        Table.Insert( 20, 20u );
        EXPECT_EQ( Table.GetBucketCount(), 16 ) << "7 / 7 is above it";
        EXPECT_EQ( Table.GetMaxDistance(), 6 );
        EXPECT_EQ( ToVector( Table ), ( std::vector<uint32>{ 3, 20, 10, 11, 12, 13, 14 } ) ) << "bucket order";
    }
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
}

// A chain from the last bucket runs into the tail; erase shifts a chain back by one.
TEST( CQorRobinHoodTable, ChainsRunIntoTheTailAndEraseShiftsThemBack )
{
    CIdentityTable Table;
    Table.Rehash( 4 );
    for ( uint32 I = 0; I < 5; ++I )
    {
        Table.Insert( 15, 15 + 16 * I );
        Table.Insert( 3, 3 + 16 * I );
    }
    auto DistanceOf = [ & ]( uint32 nHash, uint32 nKey )
    { return int( Table.Find( nHash, nKey ).GetEntry()->_nDistance ); };
    EXPECT_EQ( DistanceOf( 15, 79 ), 5 ) << "four places past the last bucket";
    EXPECT_EQ( Table.GetBucketCount(), 16 );

    auto It = Table.Erase( Table.Find( 3, 3u ) );
    EXPECT_EQ( *It, 19u ) << "the follower moves into the erased place";
    EXPECT_TRUE( DistanceOf( 3, 19 ) == 1 && DistanceOf( 3, 67 ) == 4 );
    It = Table.Erase( Table.Find( 3, 67u ) );
    EXPECT_EQ( It.GetEntry()->_nDistance, 0 ) << "the last of a chain only empties its entry";
    EXPECT_TRUE( Table.Remove( 3, 19u ) );
    EXPECT_FALSE( Table.Remove( 3, 19u ) );
    EXPECT_EQ( Table.GetSize(), 7 );
    EXPECT_TRUE( Table.Validate() );
    Table.Clear();
    EXPECT_TRUE( Table.begin() == Table.end() && Table.Find( 15, 15u ) == Table.end() && Table.GetBucketCount() == 16 );
}

// At 16 buckets the 8-entry window from the last bucket ends on the sentinel: a miss there has read the whole
// chain and must not walk on past the array.
TEST( CQorRobinHoodTable, LookupsFromTheLastBucketStopAtTheSentinel )
{
    auto Check = []<typename KeyT>( KeyT )
    {
        SCOPED_TRACE( sizeof( KeyT ) );
        CQorRobinHoodTable<KeyT, SIdentity> Table;
        for ( uint32 nKey = 0; nKey < 11; ++nKey )
        {
            Table.Insert( nKey, KeyT( nKey ) );
        }
        ASSERT_TRUE( Table.GetBucketCount() == 16 && Table.GetMaxDistance() == 6 );
        EXPECT_TRUE( Table.Find( 15, KeyT( 15 ) ) == Table.end() );
        Table.Insert( 15, KeyT( 31 ) );
        EXPECT_TRUE( Table.Find( 15, KeyT( 15 ) ) == Table.end() );
        EXPECT_EQ( *Table.Find( 15, KeyT( 31 ) ), KeyT( 31 ) );
    };
    Check( uint32() );
    Check( uint64() );
}

TEST( CQorRobinHoodTable, RejectsBadRehashAndBuffers )
{
    CAssertRecorder Asserts;
    CIdentityTable Table;
    Table.Rehash( 0 );
    Table.Rehash( 31 );
    EXPECT_EQ( Table.GetBucketCount(), 0 );

    // The tables go on with buffers they don't own: an allocator that ignores foreign blocks takes them back.
    CCountingAllocator Allocator;
    NQorRobinHoodTable::SEntry<uint32> Buffer[ 40 ];
    NQorRobinHoodTable::SEntry<uint32> Other[ 40 ];
    CIdentityTable Small( &Allocator );
    Small.SetBuffer( Buffer, 18, 16 );
    CIdentityTable Used( &Allocator );
    Used.SetBuffer( Buffer, 40, 32 );
    EXPECT_EQ( Used.GetMaxDistance(), 7 );
    Used.Insert( 1, 1u );
    Used.SetBuffer( Other, 40, 32 );
    EXPECT_TRUE( Used.GetSize() == 0 && Used.Validate() );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{
                                    "Invalid rehash requested for CQorRobinHoodTable (2^0).",
                                    "Invalid rehash requested for CQorRobinHoodTable (2^31).",
                                    "Table should be given a buffer large enough to satisfy the requested bucket count.",
                                    "Table should not be given a buffer after it has already been used." } ) );
}

// A table of 2^nLog2 buckets with nSpread keys in buckets of their own grows by distance when a chain of keys
// with one home bucket runs past the tail: from 512 buckets on, below a tenth of load, that is a warning.
TEST( CQorRobinHoodTable, WarnsWhenAPoorHashGrowsItFast )
{
    const struct
    {
        int32 nLog2;
        uint32 nSpread;
        std::vector<std::string> Texts;
    } Rows[] = {
        { 9, 25, { "Warning: robin hood table growing unexpectedly fast. (Load Factor = 7.0%, Log2( Size ) = 10)" } },
        { 9, 50, {} }, // 61 items of 511 are above a tenth
        { 8, 0, {} },  // growth to 512 buckets is no warning
    };
    for ( const auto& Row : Rows )
    {
        CAssertRecorder Asserts;
        CIdentityTable Table;
        Table.Rehash( Row.nLog2 );
        for ( uint32 nKey = 100; nKey < 100 + Row.nSpread; ++nKey )
        {
            Table.Insert( nKey, nKey );
        }
        // One key more than the distance bound lets in.
        for ( uint32 I = 0; I <= uint32( Table.GetMaxDistance() ); ++I )
        {
            Table.Insert( I << Row.nLog2, I << Row.nLog2 );
        }
        EXPECT_EQ( Table.GetBucketCount(), 2 << Row.nLog2 );
        EXPECT_EQ( Asserts.Texts(), Row.Texts ) << "2^" << Row.nLog2 << " buckets, " << Row.nSpread << " spread keys";
    }
}

// A copy gets about twice its items as buckets: Log2Ceil( int( items * 1.9 + 1 ) ), and at least 8.
TEST( CQorRobinHoodTable, CopyTakesBucketsForAlmostTwiceItsItems )
{
    const std::pair<uint32, int32> Rows[] = { { 1, 8 },     { 3, 8 },     { 67, 128 },
                                              { 68, 256 }, { 100, 256 }, { 200, 512 } };
    for ( const auto& [ nItems, nBuckets ] : Rows )
    {
        CMurmurTable Table;
        for ( uint32 nKey = 0; nKey < nItems; ++nKey )
        {
            Table.Insert( SMurmur()( nKey ), nKey );
        }
        CMurmurTable Copy;
        Copy.Insert( 1, 1u );
        Copy = Table;
        EXPECT_TRUE( Copy.GetBucketCount() == nBuckets && Copy.GetSize() == int32( nItems ) ) << nItems << " items";
        EXPECT_EQ( CMurmurTable( Table ).GetBucketCount(), nBuckets ) << nItems << " items";
    }
}

// Clustered keys under an identity hash run long chains, into the tail, and grow the table by distance.
TEST( CQorRobinHoodTable, AgreesWithStdUnorderedSetOnRandomOperations )
{
    for ( const uint32 nStride : { 1u, 64u, 512u } )
    {
        CAssertRecorder GrowthWarnings;
        CCountingAllocator Allocator;
        {
            CIdentityTable Table( &Allocator );
            ExpectAgreementWithStdUnorderedSet( Table, 1000 + nStride, [ = ]( uint32 nDraw )
                                                { return std::pair{ nDraw * nStride, nDraw * nStride }; } );
        }
        EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    }
}

// 8-byte keys are looked up in windows of entries with a stored hash. Twelve keys share each home bucket, so
// chains run past a window, and keys of a chain repeat each half: a key equal in one half only must not be
// found.
TEST( CQorRobinHoodTable, WideKeysAgreeWithStdUnorderedSetInLongChains )
{
    CAssertRecorder GrowthWarnings;
    CQorRobinHoodTable<uint64, SIdentity> Table;
    ExpectAgreementWithStdUnorderedSet( Table, 23, []( uint32 nDraw )
                                        {
                                            const uint64 nKey = ( uint64( nDraw / 2 ) << 32 ) | ( nDraw % 2 );
                                            return std::pair{ nDraw / 12 * 16, nKey };
                                        } );
}

TEST( CQorRobinHoodTable, ItemsWithStoredHashesLiveAndDieOnce )
{
    CTrackedElement::ResetCounts();
    {
        CBigItemTable Table;
        ExpectAgreementWithStdUnorderedSet( Table, 5, []( uint32 nDraw )
                                            {
                                                SBigItem Item{ int( nDraw ), "payload " + std::to_string( nDraw ) };
                                                return std::pair{ SBigItemHasher()( Item ), Item };
                                            } );
        for ( const SBigItem& Item : Table )
        {
            EXPECT_EQ( Item.Payload, "payload " + std::to_string( Item.Key.Value() ) );
        }
        const int nItems = Table.GetSize();
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), nItems );
        CBigItemTable Copy( Table );
        Table = CBigItemTable();
        EXPECT_TRUE( CTrackedElement::s_Counts.Alive() == nItems && Copy.GetSize() == nItems );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

TEST( CQorHybridRobinHoodTable, StartsInlineAndGrowsToTheFallback )
{
    CCountingAllocator Fallback;
    {
        CQorHybridRobinHoodTable<uint32, SMurmur, std::equal_to<uint32>, 4> Table( &Fallback );
        EXPECT_TRUE( Table.GetBucketCount() == 16 && Table.GetMaxDistance() == 6 );
        for ( uint32 nKey = 0; nKey < 100; ++nKey )
        {
            Table.Insert( SMurmur()( nKey ), nKey );
            EXPECT_EQ( Fallback.AllocateCalls() > 0, nKey >= 13 ) << "13 of 15 keys stay inline";
        }
        EXPECT_EQ( Fallback.LiveBlocks(), 1 );
        EXPECT_TRUE( Table.Validate() );
    }
    EXPECT_EQ( Fallback.LiveBlocks(), 0 );
    EXPECT_EQ( Fallback.ForeignDeallocations(), 0 ) << "the inline storage is never handed to the fall-back";
}
