#include "qor_core/qor_ptr.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace
{
// Something in front of the counted base, so that base does not start the object.
struct SLeadingPayload
{
    virtual ~SLeadingPayload() = default;
    int64 Words[ 3 ] = { 1, 2, 3 };
};

class CSecondBaseObject : public SLeadingPayload, public CQorAllocatedRefCountable
{
public:
    CSecondBaseObject( CQorAllocator* pAllocator, std::atomic<int>& nDestroyed )
        : CQorAllocatedRefCountable( pAllocator ), _nDestroyed( nDestroyed )
    {
    }
    ~CSecondBaseObject() override
    {
        _DestroyedOn = std::this_thread::get_id();
        ++_nDestroyed;
    }

    static inline std::thread::id _DestroyedOn;
    std::string Text = "a text long enough to own a heap block";

private:
    std::atomic<int>& _nDestroyed;
};

// Creates the object in a block from pAllocator, as the library's allocated objects are made.
CSecondBaseObject* MakeObject( CQorAllocator* pAllocator, std::atomic<int>& nDestroyed )
{
    void* pBlock = pAllocator->Allocate( sizeof( CSecondBaseObject ), alignof( CSecondBaseObject ) );
    return ::new ( pBlock ) CSecondBaseObject( pAllocator, nDestroyed );
}

struct SCountedFromNew : CQorRefCountable
{
    explicit SCountedFromNew( int& nDestroyed ) : _nDestroyed( nDestroyed ) {}
    ~SCountedFromNew() override { ++_nDestroyed; }
    int& _nDestroyed;
};
} // namespace

TEST( CQorPtr, LastReleaseDeletesAnObjectFromNewAndEmptyDereferenceReports )
{
    int nDestroyed = 0;
    CQorPtr<SCountedFromNew> First( new SCountedFromNew( nDestroyed ) );
    {
        CQorPtr<SCountedFromNew> Second = First;
        CQorPtr<CQorRefCountable> AsBase( Second );
        EXPECT_TRUE( First->GetRefCount() == 3 && Second == First );
    }
    CQorPtr<SCountedFromNew> Moved( std::move( First ) );
    EXPECT_TRUE( First.IsEmpty() && Moved->GetRefCount() == 1 && nDestroyed == 0 );
    Moved.Reset();
    EXPECT_EQ( nDestroyed, 1 );

    CAssertRecorder Asserts;
    EXPECT_EQ( Moved.operator->(), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "!IsEmpty()" } );
}

// The block goes back to the object's allocator at the most-derived address, whatever the pointer's type.
TEST( CQorAllocatedRefCountable, GoesBackToItsAllocatorAtTheMostDerivedAddress )
{
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    CSecondBaseObject* pObject = MakeObject( &Allocator, nDestroyed );
    ASSERT_NE( static_cast<void*>( static_cast<CQorAllocatedRefCountable*>( pObject ) ), static_cast<void*>( pObject ) )
        << "the counted base does not start the object";
    EXPECT_EQ( pObject->GetAllocator(), &Allocator );
    {
        CQorPtr<CSecondBaseObject> Holder( pObject );
        CQorPtr<CSecondBaseObject> Copy = Holder;
    }
    {
        CQorPtr<CQorRefCountable> AsBase( MakeObject( &Allocator, nDestroyed ) );
    }
    EXPECT_EQ( nDestroyed, 2 );
    EXPECT_EQ( Allocator.DeallocateCalls(), 2 );
    EXPECT_EQ( Allocator.ForeignDeallocations() + Allocator.LiveBlocks(), 0 );
}

TEST( CQorAllocatedRefCountable, CountBelowZeroReportsOnce )
{
    CAssertRecorder Asserts;
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    CSecondBaseObject* pObject = MakeObject( &Allocator, nDestroyed );
    pObject->Release();
    EXPECT_TRUE( nDestroyed == 0 && pObject->GetRefCount() == -1 );
    pObject->AddRef();
    pObject->AddRef();
    pObject->Release();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "nRefCount > 0", "nRefCount >= 0" } ) );
    EXPECT_TRUE( nDestroyed == 1 && Allocator.LiveBlocks() == 0 );
}

// Each round the workers start together behind a barrier, copy and drop the shared pointer, then drop their
// last copies together after the main thread's: a lost update in the count frees the object early, twice or
// never, and the last drop runs the destructor on a worker.
TEST( CQorAllocatedRefCountable, ConcurrentCopiesAndDropsDestroyExactlyOnce )
{
    constexpr int nThreads = 4;
    constexpr int nRounds = 200;
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    CQorPtr<CSecondBaseObject> Shared;
    std::vector<CQorPtr<CSecondBaseObject>> Handed( nThreads );
    std::barrier Sync( nThreads + 1 );
    auto Worker = [ & ]( int nThread )
    {
        for ( int nRound = 0; nRound < nRounds; ++nRound )
        {
            Sync.arrive_and_wait();
            for ( int I = 0; I < 50; ++I )
            {
                CQorPtr<CSecondBaseObject> Copy = Shared;
                CQorPtr<CSecondBaseObject> Moved = std::move( Copy );
            }
            Sync.arrive_and_wait();
            Sync.arrive_and_wait();
            Handed[ nThread ].Reset();
            Sync.arrive_and_wait();
        }
    };
    std::vector<std::thread> Workers;
    for ( int nThread = 0; nThread < nThreads; ++nThread )
    {
        Workers.emplace_back( Worker, nThread );
    }
    for ( int nRound = 0; nRound < nRounds; ++nRound )
    {
        Shared = CQorPtr<CSecondBaseObject>( MakeObject( &Allocator, nDestroyed ) );
        std::fill( Handed.begin(), Handed.end(), Shared );
        Sync.arrive_and_wait();
        Sync.arrive_and_wait();
        EXPECT_EQ( Shared->GetRefCount(), nThreads + 1 ) << "round " << nRound;
        Shared.Reset();
        Sync.arrive_and_wait();
        Sync.arrive_and_wait();
        EXPECT_EQ( nDestroyed, nRound + 1 ) << "round " << nRound;
        EXPECT_NE( CSecondBaseObject::_DestroyedOn, std::this_thread::get_id() ) << "round " << nRound;
    }
    for ( std::thread& Thread : Workers )
    {
        Thread.join();
    }
    EXPECT_EQ( Allocator.LiveBlocks() + Allocator.ForeignDeallocations(), 0 );
}
