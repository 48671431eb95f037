#include "qor_core/qor_hash.h"

#include "qor_core/container/qor_unordered_set.h"

#include <gtest/gtest.h>

#include <string>
#include <random>
#include <vector>

// Published MurmurHash3_x86_32 values.
TEST( HashBytes, MatchesThePublishedReferenceValues )
{
    const struct
    {
        uint32 nSeed;
        std::string Data;
        uint32 nHash;
    } Rows[] = {
        { 0, "", 0 },
        { 1, "", 0x514E28B7u },
        { 0xFFFFFFFFu, "", 0x81F16F39u },
        { 0, std::string( 4, '\0' ), 0x2362F9DEu },
        { 1234, "Hello, world!", 0xFAF6CDB3u },
        { 0, "The quick brown fox jumps over the lazy dog", 0x2E4FF723u },
    };
    for ( const auto& Row : Rows )
    {
        uint32 nResult = 0;
        HashBytes( Row.nSeed, Row.Data.data(), Row.Data.size(), &nResult );
        EXPECT_TRUE( HashBytes( Row.nSeed, Row.Data.data(), Row.Data.size() ) == Row.nHash && nResult == Row.nHash )
            << '"' << Row.Data << "\" with seed " << Row.nSeed;
    }
}

// The verification of the hash test suite: keys 0, 0 1, 0 1 2 ... hashed with seed 256 - length, the 256
// results hashed again with seed 0.
TEST( HashBytes, PassesTheHashSuiteVerification )
{
    uint8 Key[ 256 ];
    uint32 Hashes[ 256 ];
    for ( int I = 0; I < 256; ++I )
    {
        Key[ I ] = static_cast<uint8>( I );
        Hashes[ I ] = HashBytes( 256 - I, Key, I );
    }
    EXPECT_EQ( HashBytes( 0, Hashes, sizeof( Hashes ) ), 0xB0F57EE3u );
}

TEST( HashBytes, ProgressiveFeedingEqualsSingleShotForAnySplit )
{
    const uint32 nSeed = 77;
    std::mt19937 Random( nSeed );
    for ( int nRound = 0; nRound < 300; ++nRound )
    {
        std::vector<uint8> Data( std::uniform_int_distribution<int>( 0, 100 )( Random ) );
        for ( uint8& Byte : Data )
        {
            Byte = static_cast<uint8>( Random() );
        }
        const uint32 nHashSeed = Random();
        NQorHash::CProgressiveHash Hash( nHashSeed );
        size_t nFed = 0;
        while ( nFed < Data.size() )
        {
            const size_t nBlock = std::uniform_int_distribution<size_t>( 0, Data.size() - nFed )( Random );
            Hash.Feed( Data.data() + nFed, nBlock );
            nFed += nBlock;
        }
        ASSERT_EQ( Hash.Finish(), HashBytes( nHashSeed, Data.data(), Data.size() ) )
            << "seed " << nSeed << ", round " << nRound << ", " << Data.size() << " bytes";
    }
}

namespace
{
template <int I>
struct STypeIndexProbe
{
};
} // namespace

TEST( SQorTypeIndex, ComparesByTypeAndHashesTheStandardHashThroughHashBytes )
{
    const SQorTypeIndex IntIndex = SQorTypeIndex::Get<int32>();
    EXPECT_TRUE( IntIndex == SQorTypeIndex( typeid( int32 ) ) );
    EXPECT_FALSE( IntIndex == SQorTypeIndex::Get<uint32>() );
    EXPECT_FALSE( SQorTypeIndex::Get<STypeIndexProbe<0>>() == SQorTypeIndex::Get<STypeIndexProbe<1>>() );
    EXPECT_TRUE( SQorTypeIndex() == SQorTypeIndex::Get<void>() );

    const uint64 nStdHash = typeid( STypeIndexProbe<3> ).hash_code();
    EXPECT_EQ( SQorTypeIndex::Get<STypeIndexProbe<3>>().GetHash(), HashBytes( 0, &nStdHash, 8 ) );
    EXPECT_EQ( SQorTypeIndexHasher()( IntIndex ), IntIndex.GetHash() );

    // The default hasher of the unordered map takes the index as a key.
    NQorUnorderedMap::CQorUnorderedMap<SQorTypeIndex, int32> Map;
    Map.Insert( SQorTypeIndex::Get<STypeIndexProbe<0>>(), 10 );
    Map.Insert( SQorTypeIndex::Get<STypeIndexProbe<1>>(), 11 );
    ASSERT_NE( Map.FindValue( SQorTypeIndex( typeid( STypeIndexProbe<1> ) ) ), nullptr );
    EXPECT_EQ( *Map.FindValue( SQorTypeIndex( typeid( STypeIndexProbe<1> ) ) ), 11 );
    EXPECT_EQ( Map.FindValue( IntIndex ), nullptr );
}
