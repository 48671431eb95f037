#include "qor_core/allocator/qor_linear_allocator.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace
{
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

std::vector<uint64> UsedBytes( const CQorLinearAllocator& Allocator )
{
    CQorArray<CQorLinearAllocator::SUsedRange> Ranges;
    Allocator.Enumerate( Ranges );
    std::vector<uint64> Used;
    for ( const CQorLinearAllocator::SUsedRange& Range : Ranges )
    {
        Used.push_back( Range.nUsed );
    }
    return Used;
}
} // namespace

TEST( CQorLinearAllocator, GrowsByDoublingOrByTheRequest )
{
    CCountingAllocator Backing;
    {
        CQorLinearAllocator Allocator( 64, &Backing );
        EXPECT_TRUE( AllBytesAre( Allocator.Allocate( 30, 1 ), 30, 0x30 ) );
        Allocator.Allocate( 30, 1 );
        Allocator.Allocate( 1000, 1 );
        Allocator.Deallocate( nullptr );
        EXPECT_EQ( BlockSizes( Backing ), ( std::vector<uint64>{ 64, 128, 2024 } ) );
        EXPECT_EQ( UsedBytes( Allocator ), ( std::vector<uint64>{ 30, 30, 1000 } ) );
        EXPECT_EQ( Allocator.GetTotalBytes(), 1060u ) << "a release changes nothing";
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
    EXPECT_EQ( UsedBytes( Allocator ), std::vector<uint64>( nBlocks, 0 ) );
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

        // Too small a size or buffer is raised by the 24 bytes of a block header.
        Asserts.Clear();
        CQorLinearAllocator Tiny( 24, &Backing );
        alignas( 8 ) uint8 Small[ 20 ];
        CQorLinearAllocator OnSmall( Small, sizeof( Small ), &Backing );
        EXPECT_EQ( BlockSizes( Backing ).back(), 44u );
        EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Requested buffer size is too small.",
                                                                "Provided buffer is too small." } ) );

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
