#include "qor_core/allocator/qor_pool_allocator.h"

#include "qor_core/container/qor_container_utils.h"
#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <set>
#include <string>
#include <vector>

namespace
{
struct STrivialSlot
{
    uint64 nToken;
    uint64 nSpare;
};

// Used by the lifetime test alone, so that no other test has silenced its pool's report site.
struct STrivialLeftSlot
{
    uint64 nValue[ 2 ];
};

struct SNonTrivialSlot
{
    ~SNonTrivialSlot() {}
    uint64 nValue;
    uint64 nSpare;
};

const std::string MoreReleasesText = "More objects were deallocated from this allocator than were allocated.  This "
                                     "could be a double deletion, or using the wrong allocator to delete an object.";
const std::string LiveAtDestructionText = "Non-trivial constructed objects (3) allocated from this allocator were not "
                                          "destroyed before the allocator was destroyed.";

template <typename PoolT>
uint8* SlotOf( PoolT& Pool )
{
    return static_cast<uint8*>( Pool.Allocate( sizeof( STrivialSlot ), 1 ) );
}
} // namespace

template <typename PoolT>
class CQorPoolAllocatorTyped : public testing::Test
{
};
using PoolTypes =
    testing::Types<CQorUnsynchronizedPoolAllocator<STrivialSlot>, CQorSynchronizedPoolAllocator<STrivialSlot>>;
TYPED_TEST_SUITE( CQorPoolAllocatorTyped, PoolTypes );

TYPED_TEST( CQorPoolAllocatorTyped, KeepsPoolsAndReusesSlotsLastInFirstOut )
{
    TypeParam Pool( 3 );
    std::vector<uint8*> Slots;
    for ( int I = 0; I < 10; ++I )
    {
        Slots.push_back( SlotOf( Pool ) );
    }
    EXPECT_EQ( Slots[ 1 ], Slots[ 0 ] + sizeof( STrivialSlot ) ) << "a fresh pool hands out its slots upward";
    EXPECT_EQ( Pool.GetPoolCount(), 4 );
    EXPECT_EQ( std::set<uint8*>( Slots.begin(), Slots.end() ).size(), Slots.size() );
    for ( uint8* pSlot : Slots )
    {
        Pool.Deallocate( pSlot );
    }
    EXPECT_EQ( Pool.GetAllocatedCount(), 0 );
    // Twelve slots now hang in the list: the ten released, newest first, then the two never used.
    for ( auto It = Slots.rbegin(); It != Slots.rend(); ++It )
    {
        ASSERT_EQ( SlotOf( Pool ), *It );
    }
    SlotOf( Pool );
    SlotOf( Pool );
    EXPECT_EQ( Pool.GetPoolCount(), 4 );
    SlotOf( Pool );
    EXPECT_EQ( Pool.GetPoolCount(), 5 );
}

// With one slot per pool there is no list to build: each allocation on an empty list makes a pool.
TYPED_TEST( CQorPoolAllocatorTyped, APoolOfOneSlotBuildsNoFreeList )
{
    CAssertRecorder Asserts;
    TypeParam Pool( 1 );
    uint8* pFirst = SlotOf( Pool );
    uint8* pSecond = SlotOf( Pool );
    EXPECT_NE( pFirst, pSecond );
    EXPECT_EQ( Pool.GetPoolCount(), 2 );
    Pool.Deallocate( pFirst );
    EXPECT_EQ( SlotOf( Pool ), pFirst );
    EXPECT_EQ( Pool.GetPoolCount(), 2 );
    EXPECT_NE( SlotOf( Pool ), pSecond );
    EXPECT_EQ( Pool.GetPoolCount(), 3 );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TYPED_TEST( CQorPoolAllocatorTyped, ReportsMisuseAndGoesOn )
{
    CAssertRecorder Asserts;
    {
        TypeParam Empty( 0 );
        EXPECT_EQ( Asserts.Texts(),
                   std::vector<std::string>{ "Each pool must have storage space for at least one element." } );
        EXPECT_EQ( Empty.GetBackingAllocator(), GetGlobalAllocator() );
    }
    Asserts.Clear();

    TypeParam Pool( 4 );
    uint8* pSlot = static_cast<uint8*>( Pool.Allocate( 3, 16 ) );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Cannot use a pool allocator for a specific type to "
                                                          "allocate a different amount of space than the size of "
                                                          "that type." } );
    Asserts.Clear();

    Pool.Deallocate( nullptr );
    Pool.Deallocate( pSlot );
    Pool.Deallocate( pSlot + sizeof( STrivialSlot ) ); // never handed out
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ MoreReleasesText } );
    EXPECT_EQ( Pool.GetAllocatedCount(), -1 );
    EXPECT_EQ( SlotOf( Pool ), pSlot + sizeof( STrivialSlot ) ) << "the slot was linked in anyway";
}

// Objects left at destruction are reported only for a type that needs destroying.
TEST( CQorPoolAllocator, ReportsLiveObjectsOfNonTrivialTypesAtDestruction )
{
    CAssertRecorder Asserts;
    auto Leave = []( auto Pool, int nLeft, int nReleased )
    {
        for ( int I = 0; I < nLeft + nReleased; ++I )
        {
            void* pSlot = Pool.Allocate( 16, 8 );
            if ( I < nReleased )
            {
                Pool.Deallocate( pSlot );
            }
        }
    };
    Leave( CQorUnsynchronizedPoolAllocator<SNonTrivialSlot>( 2 ), 0, 3 );
    Leave( CQorUnsynchronizedPoolAllocator<STrivialLeftSlot>( 2 ), 3, 1 );
    Leave( CQorSynchronizedPoolAllocator<STrivialLeftSlot>( 2 ), 3, 1 );
    EXPECT_TRUE( Asserts.Texts().empty() );
    Leave( CQorUnsynchronizedPoolAllocator<SNonTrivialSlot>( 2 ), 3, 1 );
    Leave( CQorSynchronizedPoolAllocator<SNonTrivialSlot>( 2 ), 3, 1 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ LiveAtDestructionText, LiveAtDestructionText } ) );
}

TEST( CQorUnsynchronizedPoolAllocator, MoveAssignmentTakesOverAndReportsTheTargetsObjects )
{
    CAssertRecorder Asserts;
    CQorUnsynchronizedPoolAllocator<SNonTrivialSlot> Source( 8 );
    void* pFromSource = Source.Allocate( sizeof( SNonTrivialSlot ), 8 );
    Source.Deallocate( pFromSource );
    Source.Allocate( sizeof( SNonTrivialSlot ), 8 );

    CQorUnsynchronizedPoolAllocator<SNonTrivialSlot> Target( 2 );
    Target.Allocate( sizeof( SNonTrivialSlot ), 8 );
    Target.Allocate( sizeof( SNonTrivialSlot ), 8 );
    Target = std::move( Source );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Non-trivial constructed objects (2) allocated from this "
                                                          "allocator were not destroyed before the allocator was "
                                                          "move-assigned from another allocator." } );
    EXPECT_TRUE( Target.GetElementsPerPool() == 8 && Target.GetPoolCount() == 1 && Target.GetAllocatedCount() == 1 );
    EXPECT_TRUE( Source.GetPoolCount() == 0 && Source.GetAllocatedCount() == 0 );
    void* pNext = Target.Allocate( sizeof( SNonTrivialSlot ), 8 );
    EXPECT_EQ( static_cast<uint8*>( pNext ), static_cast<uint8*>( pFromSource ) + sizeof( SNonTrivialSlot ) )
        << "the source's free list came along";
    Target.Deallocate( pNext );
    Target.Deallocate( pFromSource );

    CQorUnsynchronizedPoolAllocator<SNonTrivialSlot> Moved( std::move( Target ) );
    EXPECT_TRUE( Moved.GetAllocatedCount() == 0 && Target.GetPoolCount() == 0 );
}

TEST( CQorSynchronizedPoolAllocator, ReportsUnlocksOfAListNotHeldOrWithTheSentinel )
{
    CAssertRecorder Asserts;
    CQorSynchronizedPoolAllocator<STrivialSlot> Pool( 4 );
    uint8* pSlot = SlotOf( Pool );
    Pool.Deallocate( pSlot );

    void* pHead = Pool.LockFreeList();
    EXPECT_EQ( pHead, pSlot );
    Pool.UnlockFreeList( Pool.LockSentinel() );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Attempted to unlock pool allocator free list with the lock "
                                                          "sentinel.  A race condition bug must have occurred." } );
    Asserts.Clear();
    Pool.UnlockFreeList( pHead ); // the list was still locked by the sentinel
    EXPECT_TRUE( Asserts.Texts().empty() );

    Pool.UnlockFreeList( pHead );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Attempted to unlock pool allocator free list when it wasn't locked." } );
    EXPECT_EQ( SlotOf( Pool ), pSlot ) << "the new head stands";
}

// Threads start each round together behind a barrier and allocate and release at random on small pools. Each
// writes a token of its own into the slots it holds and checks it before the release: a slot handed to two
// threads at once breaks a token, and a lost or doubled slot shows in the final count of free slots.
TEST( CQorSynchronizedPoolAllocator, HandsEachSlotToOneThreadAtATimeAndLosesNone )
{
    constexpr int nThreads = 8;
    constexpr int nRounds = 100;
    constexpr int nElementsPerPool = 4;
    CQorSynchronizedPoolAllocator<STrivialSlot> Pool( nElementsPerPool );
    std::barrier Start( nThreads );
    std::atomic<int> nBrokenTokens = 0;
    // A lock that lets two threads in is also reported by the unlock that finds the list not held.
    static std::atomic<int> s_nReports = 0;
    const FQorAssertHandler pPrevious = SetAssertHandler( []( const char*, const char*, uint32, bool, bool*, bool* )
                                                          { ++s_nReports; } );
    RunOnThreads( nThreads,
                  [ & ]( int nIndex )
                  {
                      CQorRandom Random( static_cast<uint32>( 7 + nIndex ) );
                      std::vector<STrivialSlot*> Held;
                      uint64 nToken = uint64( nIndex ) << 32;
                      for ( int nRound = 0; nRound < nRounds; ++nRound )
                      {
                          Start.arrive_and_wait();
                          for ( int nStep = 0; nStep < 4000; ++nStep )
                          {
                              if ( Held.size() < 6 && ( Held.empty() || Random.Next( 0, 1 ) == 0 ) )
                              {
                                  Held.push_back( static_cast<STrivialSlot*>( Pool.Allocate( 16, 1 ) ) );
                                  Held.back()->nToken = Held.back()->nSpare = ++nToken;
                                  continue;
                              }
                              const size_t nVictim = static_cast<size_t>( Random.Next( 0, int32( Held.size() ) - 1 ) );
                              STrivialSlot* pSlot = Held[ nVictim ];
                              nBrokenTokens += pSlot->nToken != pSlot->nSpare || pSlot->nToken >> 32 != uint32( nIndex );
                              Held.erase( Held.begin() + static_cast<std::ptrdiff_t>( nVictim ) );
                              Pool.Deallocate( pSlot );
                          }
                      }
                      for ( STrivialSlot* pSlot : Held )
                      {
                          Pool.Deallocate( pSlot );
                      }
                  } );
    SetAssertHandler( pPrevious );
    EXPECT_EQ( s_nReports, 0 );
    EXPECT_EQ( nBrokenTokens, 0 );
    EXPECT_EQ( Pool.GetAllocatedCount(), 0 );

    // Every slot of every pool is back in the list, once: all of them can be drawn without a new pool.
    const int32 nSlots = Pool.GetPoolCount() * nElementsPerPool;
    std::set<uint8*> Drawn;
    for ( int32 I = 0; I < nSlots; ++I )
    {
        Drawn.insert( SlotOf( Pool ) );
    }
    EXPECT_EQ( Drawn.size(), static_cast<size_t>( nSlots ) );
    EXPECT_EQ( Pool.GetPoolCount() * nElementsPerPool, nSlots );
}
