#include "qor_core/allocator/qor_linear_allocator.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace
{
bool AllBytesAre( const void* pData, uint64 nSize, uint8 nValue )
{
    const uint8* pBytes = static_cast<const uint8*>( pData );
    for ( uint64 I = 0; I < nSize; ++I )
    {
        if ( pBytes[ I ] != nValue )
        {
            return false;
        }
    }
    return true;
}

std::vector<uint64> BlockSizes( const CCountingAllocator& Backing )
{
    std::vector<uint64> Sizes;
    for ( const CCountingAllocator::SAllocation& Allocation : Backing.Allocations() )
    {
        EXPECT_EQ( Allocation.nAlignment, 8u );
        Sizes.push_back( Allocation.nSize );
    }
    return Sizes;
}

CQorArray<CQorLinearAllocator::SUsedRange> UsedRanges( const CQorLinearAllocator& Allocator )
{
    CQorArray<CQorLinearAllocator::SUsedRange> Ranges;
    Allocator.Enumerate( Ranges );
    return Ranges;
}
} // namespace

TEST( CQorLinearAllocator, GrowsByDoublingOrByTheRequest )
{
    CCountingAllocator Backing;
    {
        CQorLinearAllocator Allocator( 64, &Backing );
        Allocator.Allocate( 30, 1 );
        Allocator.Allocate( 30, 1 );
        Allocator.Allocate( 1000, 1 );
        EXPECT_EQ( BlockSizes( Backing ), ( std::vector<uint64>{ 64, 128, 2024 } ) );
        const CQorArray<CQorLinearAllocator::SUsedRange> Ranges = UsedRanges( Allocator );
        ASSERT_EQ( Ranges.GetSize(), 3 );
        EXPECT_EQ( Ranges[ 0 ].nUsed, 30u );
        EXPECT_EQ( Ranges[ 1 ].nUsed, 30u );
        EXPECT_EQ( Ranges[ 2 ].nUsed, 1000u );
    }
    EXPECT_EQ( Backing.LiveBlocks(), 0 );
}

TEST( CQorLinearAllocator, ResetReplaysTheSameAddressesInTheKeptBlocks )
{
    CCountingAllocator Backing;
    CQorLinearAllocator Allocator( 64, &Backing );
    const std::vector<std::pair<uint64, uint32>> Requests{ { 40, 1 }, { 104, 1 }, { 50, 1 }, { 7, 4 }, { 16, 16 } };
    std::vector<void*> First;
    for ( const auto& [ nSize, nAlignment ] : Requests )
    {
        First.push_back( Allocator.Allocate( nSize, nAlignment ) );
    }
    const int nBlocks = Backing.AllocateCalls();

    Allocator.Reset();
    EXPECT_EQ( Allocator.GetTotalBytes(), 0u );
    for ( const CQorLinearAllocator::SUsedRange& Range : UsedRanges( Allocator ) )
    {
        EXPECT_EQ( Range.nUsed, 0u );
    }
    EXPECT_TRUE( AllBytesAre( First[ 0 ], 40, 0x44 ) ) << "the first block is marked free at once";
    EXPECT_TRUE( AllBytesAre( First[ 1 ], 104, 0x30 ) ) << "later blocks are marked when reached";
    for ( size_t I = 0; I < Requests.size(); ++I )
    {
        EXPECT_EQ( Allocator.Allocate( Requests[ I ].first, Requests[ I ].second ), First[ I ] ) << "request " << I;
    }
    EXPECT_EQ( Backing.AllocateCalls(), nBlocks );
}

TEST( CQorLinearAllocator, MovesTakeTheChainAndRefuseInlineBuffers )
{
    CAssertRecorder Asserts;
    CCountingAllocator Backing;
    {
        CQorLinearAllocator Source( 64, &Backing );
        void* pFirst = Source.Allocate( 8, 8 );
        CQorLinearAllocator Moved( std::move( Source ) );
        EXPECT_EQ( Moved.GetTotalBytes(), 8u );
        EXPECT_EQ( Source.GetTotalBytes(), 0u );
        EXPECT_EQ( static_cast<uint8*>( Moved.Allocate( 8, 8 ) ), static_cast<uint8*>( pFirst ) + 8 );
        EXPECT_TRUE( Asserts.Texts().empty() );

        EXPECT_EQ( Source.Allocate( 8, 8 ), nullptr );
        EXPECT_EQ( Asserts.Texts(),
                   std::vector<std::string>{ "A moved-from linear allocator cannot be use for further allocations." } );

        CQorLinearAllocator Target( 512, &Backing );
        Target = std::move( Moved );
        EXPECT_EQ( Backing.LiveBlocks(), 1 ) << "the target's own block went back";
        EXPECT_EQ( Target.GetTotalBytes(), 16u );

        Asserts.Clear();
        alignas( 8 ) uint8 Buffer[ 64 ];
        CQorLinearAllocator Inline( Buffer, sizeof( Buffer ), &Backing );
        CQorLinearAllocator FromInline( std::move( Inline ) );
        Target = std::move( FromInline );
        EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Inline linear allocators cannot be moved.",
                                                                "Inline linear allocators cannot be moved." } ) );
    }
    EXPECT_EQ( Backing.LiveBlocks(), 0 );
}
