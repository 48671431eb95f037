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

TEST( CQorLinearAllocator, MarksFreshAndFreeBytes )
{
    CQorLinearAllocator Allocator( 256 );
    uint8* pFirst = static_cast<uint8*>( Allocator.Allocate( 10, 1 ) );
    EXPECT_TRUE( AllBytesAre( pFirst, 10, 0x30 ) );
    // The rest of the block's 232 bytes of space is still marked free.
    EXPECT_TRUE( AllBytesAre( pFirst + 10, 232 - 10, 0x44 ) );

    uint8* pAligned = static_cast<uint8*>( Allocator.Allocate( 8, 8 ) );
    EXPECT_EQ( reinterpret_cast<uintptr_t>( pAligned ) % 8, 0u );
    EXPECT_EQ( pAligned, pFirst + 16 ) << "the block's space starts 8-aligned, so 6 bytes of pad";
    EXPECT_EQ( Allocator.GetTotalBytes(), 18u ) << "pads are not counted";
    Allocator.Deallocate( pFirst );
    EXPECT_EQ( Allocator.GetTotalBytes(), 18u ) << "a single release changes nothing";
    EXPECT_FALSE( Allocator.IsFixedBuffer( pFirst ) );
}

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

// Block data starts at 8 past a 16-aligned block, so a 16-aligned request needs 8 bytes of pad.
TEST( CQorLinearAllocator, AKeptBlockWithoutRoomForThePadLeadsToTheNext )
{
    CCountingAllocator Backing;
    CQorLinearAllocator Allocator( 64, &Backing );
    Allocator.Allocate( 40, 1 );
    Allocator.Allocate( 104, 1 ); // a block of 128: exactly 104 bytes of space
    Allocator.Allocate( 50, 1 );  // a block of 256
    ASSERT_EQ( BlockSizes( Backing ), ( std::vector<uint64>{ 64, 128, 256 } ) );

    Allocator.Reset();
    Allocator.Allocate( 40, 1 );
    uint8* pAligned = static_cast<uint8*>( Allocator.Allocate( 104, 16 ) );
    EXPECT_EQ( reinterpret_cast<uintptr_t>( pAligned ) % 16, 0u );
    const CQorArray<CQorLinearAllocator::SUsedRange> Ranges = UsedRanges( Allocator );
    EXPECT_EQ( Ranges[ 1 ].nUsed, 0u );
    EXPECT_EQ( Ranges[ 2 ].nUsed, 104u );
    EXPECT_GE( pAligned, Ranges[ 2 ].pData );
    EXPECT_EQ( Backing.AllocateCalls(), 3 );
}

TEST( CQorLinearAllocator, UsesAProvidedBufferWithoutReleasingIt )
{
    CCountingAllocator Backing;
    alignas( 8 ) uint8 Buffer[ 131 ];
    {
        CQorLinearAllocator Allocator( Buffer + 3, 128, &Backing );
        uint8* pData = static_cast<uint8*>( Allocator.Allocate( 96, 8 ) );
        EXPECT_EQ( pData, Buffer + 8 + 24 ) << "aligned up to 8, then the header";
        Allocator.Allocate( 64, 1 );
        EXPECT_EQ( BlockSizes( Backing ), ( std::vector<uint64>{ 2 * 123 } ) ) << "twice the 123 bytes after the pad";
    }
    EXPECT_EQ( Backing.DeallocateCalls(), 1 ) << "only the block of its own goes back";
    EXPECT_EQ( Backing.LiveBlocks(), 0 );
}

TEST( CQorLinearAllocator, RaisesSizesTooSmall )
{
    CAssertRecorder Asserts;
    CCountingAllocator Backing;
    {
        CQorLinearAllocator Allocator( 20, &Backing );
        EXPECT_NE( Allocator.Allocate( 20, 1 ), nullptr );
        uint8 Tiny[ 10 ];
        CQorLinearAllocator FromTiny( Tiny, sizeof( Tiny ), &Backing );
        EXPECT_NE( FromTiny.Allocate( 10, 1 ), nullptr );
        // Both blocks of their own, the second replacing the buffer.
        EXPECT_EQ( BlockSizes( Backing ), ( std::vector<uint64>{ 44, 34 } ) );
    }
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "Requested buffer size is too small.", "Provided buffer is too small." } ) );
    EXPECT_EQ( Backing.LiveBlocks(), 0 );
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
