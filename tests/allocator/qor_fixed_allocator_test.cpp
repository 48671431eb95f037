#include "qor_core/allocator/qor_fixed_allocator.h"

#include "qor_core/container/qor_container_utils.h"
#include "tests/assert_recorder.h"
#include "tests/test_threads.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <vector>

namespace
{
using SFreeRange = CQorFixedAllocator::SFreeRange;

std::vector<SFreeRange> FreeRanges( const CQorFixedAllocator& Allocator )
{
    CQorArray<SFreeRange> Ranges;
    Allocator.GetFreeRanges( Ranges );
    return ToVector( Ranges );
}

uint64 OffsetOf( const CQorFixedAllocator& Allocator, const void* pAddress )
{
    return static_cast<uint64>( static_cast<const uint8*>( pAddress ) - Allocator.GetBuffer() );
}

// The free list predicted step by step: first fit in address order, the 16-byte header and the alignment in
// front, a split only for a remainder above 16 bytes, and immediate merging with both neighbours.
class CFreeListModel
{
public:
    CFreeListModel( uintptr_t nBase, uint64 nSize ) : _nBase( nBase ), _Free{ { 0, nSize } } {}

    // The offset of the pointer, or -1 when nothing fits; Range receives the whole range taken.
    int64 Allocate( uint64 nBytes, uint64 nAlign, SFreeRange& Range )
    {
        for ( auto It = _Free.begin(); It != _Free.end(); ++It )
        {
            const uint64 nMisalign = ( _nBase + It->nOffset ) % nAlign;
            uint64 nAdjust = nMisalign ? nAlign - nMisalign : 0;
            while ( nAdjust < 16 )
            {
                nAdjust += nAlign;
            }
            if ( It->nSize >= nBytes + nAdjust )
            {
                const bool bSplit = It->nSize - ( nBytes + nAdjust ) > 16;
                Range = { It->nOffset, bSplit ? nBytes + nAdjust : It->nSize };
                if ( bSplit )
                {
                    *It = { It->nOffset + Range.nSize, It->nSize - Range.nSize };
                }
                else
                {
                    _Free.erase( It );
                }
                return static_cast<int64>( Range.nOffset + nAdjust );
            }
        }
        return -1;
    }
    void Release( const SFreeRange& Range )
    {
        auto It = std::find_if( _Free.begin(), _Free.end(),
                                [ & ]( const SFreeRange& Free ) { return Free.nOffset > Range.nOffset; } );
        It = _Free.insert( It, Range );
        if ( It + 1 != _Free.end() && It->nOffset + It->nSize == ( It + 1 )->nOffset )
        {
            It->nSize += ( It + 1 )->nSize;
            _Free.erase( It + 1 );
        }
        if ( It != _Free.begin() && ( It - 1 )->nOffset + ( It - 1 )->nSize == It->nOffset )
        {
            ( It - 1 )->nSize += It->nSize;
            _Free.erase( It );
        }
    }
    const std::vector<SFreeRange>& Free() const { return _Free; }

private:
    uintptr_t _nBase;
    std::vector<SFreeRange> _Free;
};

struct SLiveBlock
{
    uint8* pData;
    uint64 nBytes;
    SFreeRange Range;
    uint8 nMark;
};
} // namespace

TEST( CQorFixedAllocator, FollowsTheFreeListModelOnRandomSequences )
{
    constexpr uint64 nBufferSize = 4096;
    const uint32 nSeed = 20240611;
    CAssertRecorder Asserts; // exhaustion is part of the sequence
    CQorFixedAllocator Allocator( nBufferSize );
    CFreeListModel Model( reinterpret_cast<uintptr_t>( Allocator.GetBuffer() ), nBufferSize );
    CQorRandom Random( nSeed );
    std::vector<SLiveBlock> Live;
    for ( int nStep = 0; nStep < 500; ++nStep )
    {
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", step " << nStep );
        const int32 nAction = Random.Next( 0, 9 );
        const uint64 nBytes = static_cast<uint64>( Random.Next( 1, 300 ) );
        SFreeRange Range{};
        if ( nAction < 5 || Live.empty() )
        {
            const uint64 nAlign = uint64( 1 ) << Random.Next( 0, 6 );
            const int64 nExpected = Model.Allocate( nBytes, nAlign, Range );
            uint8* pData = static_cast<uint8*>( Allocator.Allocate( nBytes, static_cast<uint32>( nAlign ) ) );
            ASSERT_EQ( pData ? int64( OffsetOf( Allocator, pData ) ) : -1, nExpected );
            if ( pData )
            {
                ASSERT_TRUE( AllBytesAre( pData, nBytes, 0xCD ) );
                std::memset( pData, nStep, nBytes );
                Live.push_back( { pData, nBytes, Range, uint8( nStep ) } );
            }
            continue;
        }
        const size_t nVictim = static_cast<size_t>( Random.Next( 0, static_cast<int32>( Live.size() ) - 1 ) );
        SLiveBlock& Block = Live[ nVictim ];
        ASSERT_TRUE( AllBytesAre( Block.pData, Block.nBytes, Block.nMark ) );
        if ( nAction < 8 )
        {
            Allocator.Deallocate( Block.pData );
            Model.Release( Block.Range );
            Live.erase( Live.begin() + static_cast<std::ptrdiff_t>( nVictim ) );
        }
        else if ( nBytes <= Block.Range.nSize - ( OffsetOf( Allocator, Block.pData ) - Block.Range.nOffset ) )
        {
            ASSERT_EQ( Allocator.Reallocate( Block.pData, nBytes ), Block.pData ) << "a block never shrinks";
            Block.nBytes = std::min( Block.nBytes, nBytes );
        }
        else
        {
            const int64 nExpected = Model.Allocate( nBytes, 1, Range );
            uint8* pGrown = static_cast<uint8*>( Allocator.Reallocate( Block.pData, nBytes ) );
            ASSERT_EQ( pGrown ? int64( OffsetOf( Allocator, pGrown ) ) : -1, nExpected );
            if ( pGrown )
            {
                ASSERT_TRUE( AllBytesAre( pGrown, Block.nBytes, Block.nMark ) ) << "contents lost at step " << nStep;
                Model.Release( Block.Range );
                Block = { pGrown, Block.nBytes, Range, Block.nMark };
            }
        }
        ASSERT_EQ( FreeRanges( Allocator ), Model.Free() );
        ASSERT_TRUE( Allocator.Validate() );
    }
    for ( const SLiveBlock& Block : Live )
    {
        Allocator.Deallocate( Block.pData );
    }
    EXPECT_EQ( FreeRanges( Allocator ), ( std::vector<SFreeRange>{ { 0, nBufferSize } } ) );
    EXPECT_EQ( Allocator.GetNumAllocations(), 0u );
}

// A remainder of 16 bytes stays with the block; three neighbours released in any order merge into one range.
TEST( CQorFixedAllocator, KeepsSmallRemaindersAndMergesNeighbours )
{
    CQorFixedAllocator Allocator( 4 * 48 );
    std::vector<void*> Blocks;
    for ( int I = 0; I < 3; ++I )
    {
        Blocks.push_back( Allocator.Allocate( 32, 1 ) );
    }
    EXPECT_EQ( Allocator.GetAllocatedBytes(), 3 * 48u );
    void* pLast = Allocator.Allocate( 16, 1 );
    EXPECT_TRUE( pLast && Allocator.GetAllocatedBytes() == 4 * 48u ) << "the remainder of 16 bytes is not split off";
    EXPECT_TRUE( FreeRanges( Allocator ).empty() );
    EXPECT_EQ( Allocator.Reallocate( Blocks[ 0 ], 32 ), Blocks[ 0 ] ) << "a block never shrinks nor moves in place";
    EXPECT_EQ( Allocator.Reallocate( Blocks[ 0 ], 8 ), Blocks[ 0 ] );
    for ( const int I : { 2, 0, 1 } )
    {
        Allocator.Deallocate( Blocks[ I ] );
    }
    EXPECT_EQ( FreeRanges( Allocator ), ( std::vector<SFreeRange>{ { 0, 3 * 48 } } ) );
    // Reallocate of nothing allocates, and to no size releases.
    void* pNew = Allocator.Reallocate( nullptr, 8 );
    EXPECT_EQ( OffsetOf( Allocator, pNew ), 16u );
    EXPECT_EQ( Allocator.Reallocate( pLast, 0 ), nullptr );
    EXPECT_EQ( Allocator.GetNumAllocations(), 1u );
    Allocator.Deallocate( pNew );
}

TEST( CQorFixedAllocator, ReportsMisuse )
{
    CAssertRecorder Asserts;
    CCountingAllocator Backing;
    uint8* pLeaked = nullptr;
    {
        CQorFixedAllocator Small( 8, &Backing );
        EXPECT_EQ( Small.GetBufferSize(), 24u );
        Small.Deallocate( Small.Allocate( 0, 1 ) );
        EXPECT_EQ( Small.Allocate( 64, 1 ), nullptr );
        pLeaked = static_cast<uint8*>( Small.Allocate( 4, 1 ) );
    }
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Requested buffer size is too small.",
                                                            "NumBytes != 0 && Align != 0", "Out of (fixed) memory",
                                                            "Not all allocations are cleaned up (1 left), in response "
                                                            "memory will be leaked. You can debug allocations by "
                                                            "peering into _Allocs" } ) );
    ASSERT_EQ( Backing.LiveBlocks(), 1 ) << "the buffer stays for the live allocation";
    Backing.Deallocate( pLeaked - 16 );
}

// Threads start together behind RunOnThreads' barrier and share one allocator: each block keeps its owner's mark until it
// is released, and everything merges back into one range.
TEST( CQorFixedAllocator, ServesSeveralThreadsWithoutOverlap )
{
    constexpr int nThreads = 4;
    CQorFixedAllocator Allocator( 64 * 1024 );
    std::atomic<int> nFailures = 0;
    RunOnThreads( nThreads,
                  [ & ]( int nIndex )
                  {
                      CQorRandom Random( static_cast<uint32>( 100 + nIndex ) );
                      const uint8 nMark = static_cast<uint8>( 0x10 + nIndex );
                      std::vector<std::pair<uint8*, uint64>> Blocks;
                      for ( int nStep = 0; nStep < 3000; ++nStep )
                      {
                          if ( Blocks.size() < 16 && ( Blocks.empty() || Random.Next( 0, 1 ) == 0 ) )
                          {
                              const uint64 nBytes = static_cast<uint64>( Random.Next( 1, 200 ) );
                              const uint32 nAlign = 1u << Random.Next( 0, 4 );
                              Blocks.push_back( { static_cast<uint8*>( Allocator.Allocate( nBytes, nAlign ) ), nBytes } );
                              std::memset( Blocks.back().first, nMark, nBytes );
                              continue;
                          }
                          const size_t nVictim = size_t( Random.Next( 0, int32( Blocks.size() ) - 1 ) );
                          nFailures += !AllBytesAre( Blocks[ nVictim ].first, Blocks[ nVictim ].second, nMark );
                          Allocator.Deallocate( Blocks[ nVictim ].first );
                          Blocks.erase( Blocks.begin() + static_cast<std::ptrdiff_t>( nVictim ) );
                      }
                      for ( const auto& [ pData, nBytes ] : Blocks )
                      {
                          Allocator.Deallocate( pData );
                      }
                  } );
    EXPECT_EQ( nFailures, 0 );
    EXPECT_EQ( Allocator.GetNumAllocations(), 0u );
    EXPECT_EQ( FreeRanges( Allocator ), ( std::vector<SFreeRange>{ { 0, 64 * 1024 } } ) );
}
