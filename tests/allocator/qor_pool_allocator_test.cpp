#include "qor_core/allocator/qor_pool_allocator.h"

#include "qor_core/container/qor_container_utils.h"
#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

namespace
{
struct STrivialSlot
{
    uint64 nLink;
    uint32 nOwner;
    uint32 nRound;
};

struct SNonTrivialSlot
{
    ~SNonTrivialSlot() {}
    uint64 nValue;
};

const std::string MoreReleasesText = "More objects were deallocated from this allocator than were allocated.  This "
                                     "could be a double deletion, or using the wrong allocator to delete an object.";

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
    EXPECT_EQ( Pool.GetAllocatedCount(), 1 );
    Asserts.Clear();

    Pool.Deallocate( pSlot );
    Pool.Deallocate( pSlot + sizeof( STrivialSlot ) ); // never handed out
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ MoreReleasesText } );
    EXPECT_EQ( Pool.GetAllocatedCount(), -1 );
    EXPECT_EQ( SlotOf( Pool ), pSlot + sizeof( STrivialSlot ) ) << "the slot was linked in anyway";
}

namespace
{
template <typename PoolT>
void ExpectLiveObjectReport()
{
    CAssertRecorder Asserts;
    {
        PoolT Clean( 2 );
        void* pSlot = Clean.Allocate( sizeof( SNonTrivialSlot ), 8 );
        Clean.Deallocate( pSlot );
    }
    EXPECT_TRUE( Asserts.Texts().empty() );
    {
        PoolT Leaky( 2 );
        Leaky.Allocate( sizeof( SNonTrivialSlot ), 8 );
        Leaky.Allocate( sizeof( SNonTrivialSlot ), 8 );
        Leaky.Allocate( sizeof( SNonTrivialSlot ), 8 );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Non-trivial constructed objects (3) allocated from this "
                                                          "allocator were not destroyed before the allocator was "
                                                          "destroyed." } );
}
} // namespace

TEST( CQorPoolAllocator, ReportsNonTrivialObjectsLeftAtDestruction )
{
    ExpectLiveObjectReport<CQorUnsynchronizedPoolAllocator<SNonTrivialSlot>>();
    ExpectLiveObjectReport<CQorSynchronizedPoolAllocator<SNonTrivialSlot>>();
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
    EXPECT_EQ( Target.GetElementsPerPool(), 8 );
    EXPECT_EQ( Target.GetPoolCount(), 1 );
    EXPECT_EQ( Target.GetAllocatedCount(), 1 );
    EXPECT_EQ( Source.GetPoolCount(), 0 );
    EXPECT_EQ( Source.GetAllocatedCount(), 0 );
    void* pNext = Target.Allocate( sizeof( SNonTrivialSlot ), 8 );
    EXPECT_EQ( static_cast<uint8*>( pNext ), static_cast<uint8*>( pFromSource ) + sizeof( SNonTrivialSlot ) )
        << "the source's free list came along";
    Target.Deallocate( pNext );
    Target.Deallocate( pFromSource );

    CQorUnsynchronizedPoolAllocator<SNonTrivialSlot> Moved( std::move( Target ) );
    EXPECT_EQ( Moved.GetAllocatedCount(), 0 );
    EXPECT_EQ( Target.GetPoolCount(), 0 );
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

// Threads allocate and release at random; each marks the slots it holds with its number and the round, and
// checks the mark before release. A slot handed to two threads at once breaks a mark, or shows as a race.
TEST( CQorSynchronizedPoolAllocator, HandsEachSlotToOneThreadAtATimeAndLosesNone )
{
    constexpr int nThreads = 4;
    constexpr int nElementsPerPool = 4;
    CQorSynchronizedPoolAllocator<STrivialSlot> Pool( nElementsPerPool );
    std::array<int, nThreads> BrokenMarks{};
    RunOnThreads( nThreads,
                  [ & ]( int nIndex )
                  {
                      CQorRandom Random( static_cast<uint32>( 7 + nIndex ) );
                      std::vector<STrivialSlot*> Held;
                      for ( uint32 nRound = 0; nRound < 5000; ++nRound )
                      {
                          if ( Held.size() < 12 && ( Held.empty() || Random.Next( 0, 1 ) == 0 ) )
                          {
                              STrivialSlot* pSlot =
                                  static_cast<STrivialSlot*>( Pool.Allocate( sizeof( STrivialSlot ), 1 ) );
                              *pSlot = STrivialSlot{ nRound, static_cast<uint32>( nIndex ), nRound };
                              Held.push_back( pSlot );
                              continue;
                          }
                          const size_t nVictim = static_cast<size_t>( Random.Next( 0, int32( Held.size() ) - 1 ) );
                          STrivialSlot* pSlot = Held[ nVictim ];
                          if ( pSlot->nOwner != static_cast<uint32>( nIndex ) || pSlot->nLink != pSlot->nRound )
                          {
                              ++BrokenMarks[ nIndex ];
                          }
                          Held.erase( Held.begin() + static_cast<std::ptrdiff_t>( nVictim ) );
                          Pool.Deallocate( pSlot );
                      }
                      for ( STrivialSlot* pSlot : Held )
                      {
                          Pool.Deallocate( pSlot );
                      }
                  } );
    EXPECT_EQ( BrokenMarks, ( std::array<int, nThreads>{} ) );
    EXPECT_EQ( Pool.GetAllocatedCount(), 0 );

    // Every slot of every pool is back in the list: all of them can be drawn without a new pool.
    const int32 nPools = Pool.GetPoolCount();
    std::set<uint8*> Drawn;
    for ( int32 I = 0; I < nPools * nElementsPerPool; ++I )
    {
        Drawn.insert( SlotOf( Pool ) );
    }
    EXPECT_EQ( Drawn.size(), static_cast<size_t>( nPools * nElementsPerPool ) );
    EXPECT_EQ( Pool.GetPoolCount(), nPools );
    SlotOf( Pool );
    EXPECT_EQ( Pool.GetPoolCount(), nPools + 1 );
}
