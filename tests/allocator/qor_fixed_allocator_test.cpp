#include "qor_core/allocator/qor_fixed_allocator.h"

#include "qor_core/container/qor_container_utils.h"
#include "tests/assert_recorder.h"
#include "tests/test_threads.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
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
    return std::vector<SFreeRange>( Ranges.begin(), Ranges.end() );
}

uint64 OffsetOf( const CQorFixedAllocator& Allocator, const void* pAddress )
{
    return static_cast<uint64>( static_cast<const uint8*>( pAddress ) - Allocator.GetBuffer() );
}

bool AllBytesAre( const void* pData, uint64 nSize, uint8 nValue )
{
    const uint8* pBytes = static_cast<const uint8*>( pData );
    return std::all_of( pBytes, pBytes + nSize, [ nValue ]( uint8 nByte ) { return nByte == nValue; } );
}
} // namespace

TEST( CQorFixedAllocator, ReallocateGrowsWithTheContentsAndNeverShrinks )
{
    CQorFixedAllocator Allocator( 1024 );
    uint8* pBlock = static_cast<uint8*>( Allocator.Reallocate( nullptr, 32 ) );
    ASSERT_NE( pBlock, nullptr );
    for ( int I = 0; I < 32; ++I )
    {
        pBlock[ I ] = static_cast<uint8>( I );
    }
    EXPECT_EQ( Allocator.Reallocate( pBlock, 8 ), pBlock );
    EXPECT_EQ( Allocator.Reallocate( pBlock, 32 ), pBlock );

    void* pNeighbour = Allocator.Allocate( 8, 1 ); // keeps the block from growing in place
    uint8* pGrown = static_cast<uint8*>( Allocator.Reallocate( pBlock, 100 ) );
    ASSERT_NE( pGrown, pBlock );
    for ( int I = 0; I < 32; ++I )
    {
        ASSERT_EQ( pGrown[ I ], I );
    }
    EXPECT_TRUE( AllBytesAre( pGrown + 32, 100 - 32, 0xCD ) );
    EXPECT_EQ( Allocator.GetNumAllocations(), 2u );
    EXPECT_EQ( Allocator.Reallocate( pGrown, 0 ), nullptr );
    EXPECT_EQ( Allocator.GetNumAllocations(), 1u );
    EXPECT_TRUE( Allocator.Validate() );
    Allocator.Deallocate( pNeighbour );
}

TEST( CQorFixedAllocator, ReportsMisuse )
{
    CAssertRecorder Asserts;
    CCountingAllocator Backing;
    uint8* pLeaked = nullptr;
    {
        CQorFixedAllocator Small( 8, &Backing );
        EXPECT_EQ( Small.GetBufferSize(), 24u );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Requested buffer size is too small." } );
        Asserts.Clear();

        Small.Deallocate( Small.Allocate( 0, 1 ) );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "NumBytes != 0 && Align != 0" } );
        Asserts.Clear();

        pLeaked = static_cast<uint8*>( Small.Allocate( 4, 1 ) );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Not all allocations are cleaned up (1 left), in response "
                                                          "memory will be leaked. You can debug allocations by "
                                                          "peering into _Allocs" } );
    ASSERT_EQ( Backing.LiveBlocks(), 1 ) << "the buffer stays for the live allocation";
    Backing.Deallocate( pLeaked - 16 );
}

namespace
{
// The allocator's free list predicted step by step: first fit in address order, the header and alignment in
// front, a split only for a remainder above 16 bytes, and immediate merging with both neighbours.
class CFreeListModel
{
public:
    CFreeListModel( uintptr_t nBase, uint64 nSize ) : _nBase( nBase ), _Free{ { 0, nSize } } {}

    // The predicted offset of the pointer, or -1 when nothing fits; nStart and nTotal give the whole range.
    int64 Allocate( uint64 nBytes, uint64 nAlign, uint64& nStart, uint64& nTotal )
    {
        for ( size_t I = 0; I < _Free.size(); ++I )
        {
            const uint64 nMisalign = ( _nBase + _Free[ I ].nOffset ) % nAlign;
            uint64 nAdjust = nMisalign ? nAlign - nMisalign : 0;
            while ( nAdjust < 16 )
            {
                nAdjust += nAlign;
            }
            nTotal = nBytes + nAdjust;
            if ( _Free[ I ].nSize < nTotal )
            {
                continue;
            }
            nStart = _Free[ I ].nOffset;
            if ( _Free[ I ].nSize - nTotal > 16 )
            {
                _Free[ I ] = { nStart + nTotal, _Free[ I ].nSize - nTotal };
            }
            else
            {
                nTotal = _Free[ I ].nSize;
                _Free.erase( _Free.begin() + static_cast<std::ptrdiff_t>( I ) );
            }
            return static_cast<int64>( nStart + nAdjust );
        }
        return -1;
    }
    void Release( uint64 nStart, uint64 nTotal )
    {
        _Free.push_back( { nStart, nTotal } );
        std::sort( _Free.begin(), _Free.end(), []( const SFreeRange& A, const SFreeRange& B )
                   { return A.nOffset < B.nOffset; } );
        std::vector<SFreeRange> Merged;
        for ( const SFreeRange& Range : _Free )
        {
            if ( !Merged.empty() && Merged.back().nOffset + Merged.back().nSize == Range.nOffset )
            {
                Merged.back().nSize += Range.nSize;
            }
            else
            {
                Merged.push_back( Range );
            }
        }
        _Free = Merged;
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
    uint64 nStart; // offset of the whole range
    uint64 nTotal;
    uint8 nMark;
};
} // namespace

namespace
{
// One step of the random sequence on both the allocator and the model; false when nothing fitted.
bool AllocateBoth( CQorFixedAllocator& Allocator, CFreeListModel& Model, uint64 nBytes, uint64 nAlign,
                   SLiveBlock& Block, const std::string& Where )
{
    uint64 nStart = 0;
    uint64 nTotal = 0;
    const int64 nExpected = Model.Allocate( nBytes, nAlign, nStart, nTotal );
    uint8* pData = static_cast<uint8*>( Allocator.Allocate( nBytes, static_cast<uint32>( nAlign ) ) );
    EXPECT_EQ( pData ? static_cast<int64>( OffsetOf( Allocator, pData ) ) : -1, nExpected ) << Where;
    Block = { pData, nBytes, nStart, nTotal, 0 };
    return pData != nullptr;
}
} // namespace

TEST( CQorFixedAllocator, FollowsTheFreeListModelOnRandomSequences )
{
    constexpr uint64 nBufferSize = 4096;
    for ( uint32 nSeed = 1; nSeed <= 20; ++nSeed )
    {
        CAssertRecorder Asserts; // exhaustion is part of the sequence
        CQorFixedAllocator Allocator( nBufferSize );
        CFreeListModel Model( reinterpret_cast<uintptr_t>( Allocator.GetBuffer() ), nBufferSize );
        CQorRandom Random( nSeed );
        std::vector<SLiveBlock> Live;
        for ( int nStep = 0; nStep < 400; ++nStep )
        {
            const std::string Where = "seed " + std::to_string( nSeed ) + ", step " + std::to_string( nStep );
            const int32 nAction = Random.Next( 0, 9 );
            const uint64 nBytes = static_cast<uint64>( Random.Next( 1, 300 ) );
            const uint8 nMark = static_cast<uint8>( nStep );
            if ( nAction < 5 || Live.empty() )
            {
                SLiveBlock Block;
                if ( AllocateBoth( Allocator, Model, nBytes, uint64( 1 ) << Random.Next( 0, 6 ), Block, Where ) )
                {
                    Block.nMark = nMark;
                    std::memset( Block.pData, nMark, nBytes );
                    Live.push_back( Block );
                }
            }
            else
            {
                const size_t nVictim = static_cast<size_t>( Random.Next( 0, static_cast<int32>( Live.size() ) - 1 ) );
                SLiveBlock Old = Live[ nVictim ];
                ASSERT_TRUE( AllBytesAre( Old.pData, Old.nBytes, Old.nMark ) ) << "a block was overwritten; " << Where;
                const uint64 nAdjustment = OffsetOf( Allocator, Old.pData ) - Old.nStart;
                const uint64 nCapacity = Old.nTotal - nAdjustment;
                if ( nAction < 8 )
                {
                    Live.erase( Live.begin() + static_cast<std::ptrdiff_t>( nVictim ) );
                    Allocator.Deallocate( Old.pData );
                    Model.Release( Old.nStart, Old.nTotal );
                }
                else if ( nBytes <= nCapacity )
                {
                    ASSERT_EQ( Allocator.Reallocate( Old.pData, nBytes ), Old.pData ) << Where;
                    Live[ nVictim ].nBytes = std::min( Old.nBytes, nBytes );
                }
                else
                {
                    uint64 nStart = 0;
                    uint64 nTotal = 0;
                    const int64 nExpected = Model.Allocate( nBytes, 1, nStart, nTotal );
                    uint8* pGrown = static_cast<uint8*>( Allocator.Reallocate( Old.pData, nBytes ) );
                    ASSERT_EQ( pGrown ? static_cast<int64>( OffsetOf( Allocator, pGrown ) ) : -1, nExpected ) << Where;
                    if ( pGrown )
                    {
                        ASSERT_TRUE( AllBytesAre( pGrown, Old.nBytes, Old.nMark ) ) << "contents lost; " << Where;
                        Model.Release( Old.nStart, Old.nTotal );
                        Live[ nVictim ] = { pGrown, Old.nBytes, nStart, nTotal, Old.nMark };
                    }
                }
            }
            ASSERT_EQ( FreeRanges( Allocator ), Model.Free() ) << Where;
            ASSERT_TRUE( Allocator.Validate() ) << Where;
        }
        for ( const SLiveBlock& Block : Live )
        {
            Allocator.Deallocate( Block.pData );
        }
        EXPECT_EQ( FreeRanges( Allocator ), ( std::vector<SFreeRange>{ { 0, nBufferSize } } ) ) << "seed " << nSeed;
    }
}

// Threads share one allocator: each block keeps its owner's mark until released, and everything merges back.
TEST( CQorFixedAllocator, ServesSeveralThreadsWithoutOverlap )
{
    constexpr int nThreads = 4;
    CQorFixedAllocator Allocator( 64 * 1024 );
    std::array<int, nThreads> Failures{};
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
                              uint8* pData = static_cast<uint8*>(
                                  Allocator.Allocate( nBytes, static_cast<uint32>( 1 << Random.Next( 0, 4 ) ) ) );
                              std::memset( pData, nMark, nBytes );
                              Blocks.push_back( { pData, nBytes } );
                              continue;
                          }
                          const size_t nVictim =
                              static_cast<size_t>( Random.Next( 0, static_cast<int32>( Blocks.size() ) - 1 ) );
                          if ( !AllBytesAre( Blocks[ nVictim ].first, Blocks[ nVictim ].second, nMark ) )
                          {
                              ++Failures[ nIndex ];
                          }
                          Allocator.Deallocate( Blocks[ nVictim ].first );
                          Blocks.erase( Blocks.begin() + static_cast<std::ptrdiff_t>( nVictim ) );
                      }
                      for ( const auto& [ pData, nBytes ] : Blocks )
                      {
                          Allocator.Deallocate( pData );
                      }
                  } );
    EXPECT_EQ( Failures, ( std::array<int, nThreads>{} ) );
    EXPECT_EQ( Allocator.GetNumAllocations(), 0u );
    EXPECT_EQ( FreeRanges( Allocator ), ( std::vector<SFreeRange>{ { 0, 64 * 1024 } } ) );
    EXPECT_TRUE( Allocator.Validate() );
}
