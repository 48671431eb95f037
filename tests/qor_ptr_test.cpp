#include "qor_core/qor_ptr.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ( First->GetRefCount(), 1 );
    {
        CQorPtr<SCountedFromNew> Second = First;
        CQorPtr<CQorRefCountable> AsBase( Second );
        EXPECT_EQ( First->GetRefCount(), 3 );
        EXPECT_TRUE( Second == First );
    }
    EXPECT_EQ( First->GetRefCount(), 1 );
    CQorPtr<SCountedFromNew> Moved( std::move( First ) );
    EXPECT_TRUE( First.IsEmpty() );
    EXPECT_EQ( Moved->GetRefCount(), 1 );
    EXPECT_EQ( nDestroyed, 0 );
    Moved.Reset();
    EXPECT_EQ( nDestroyed, 1 );

    CAssertRecorder Asserts;
    EXPECT_EQ( Moved.operator->(), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "!IsEmpty()" } );
}

TEST( CQorAllocatedRefCountable, IsFreedAtTheMostDerivedAddress )
{
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    CSecondBaseObject* pObject = MakeObject( &Allocator, nDestroyed );
    CQorAllocatedRefCountable* pCounted = pObject;
    ASSERT_NE( static_cast<void*>( pCounted ), static_cast<void*>( pObject ) );
    EXPECT_EQ( pCounted->GetAllocator(), &Allocator );
    {
        CQorPtr<CSecondBaseObject> Holder( pObject );
        CQorPtr<CSecondBaseObject> Copy = Holder;
    }
    EXPECT_EQ( nDestroyed, 1 );
    EXPECT_EQ( Allocator.DeallocateCalls(), 1 );
    EXPECT_EQ( Allocator.ForeignDeallocations(), 0 );
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
}

TEST( CQorAllocatedRefCountable, CountBelowZeroReportsOnce )
{
    CAssertRecorder Asserts;
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    CSecondBaseObject* pObject = MakeObject( &Allocator, nDestroyed );
    pObject->Release();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nRefCount > 0" } );
    EXPECT_EQ( nDestroyed, 0 );
    EXPECT_EQ( pObject->GetRefCount(), -1 );

    Asserts.Clear();
    pObject->AddRef();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nRefCount >= 0" } );
    pObject->AddRef();
    pObject->Release();
    EXPECT_EQ( nDestroyed, 1 );
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
}

// Workers copy and drop a shared pointer concurrently, then drop their last copies together: a lost
// update in the count would free the object early, twice, or never.
TEST( CQorAllocatedRefCountable, ConcurrentCopiesAndDropsDestroyExactlyOnce )
{
    constexpr int nThreads = 4;
    constexpr int nRounds = 200;
    constexpr int nCopiesPerRound = 50;
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    CQorPtr<CSecondBaseObject> Shared;
    std::vector<CQorPtr<CSecondBaseObject>> Handed( nThreads );
    std::barrier Sync( nThreads + 1 );

    std::vector<std::thread> Workers;
    for ( int nThread = 0; nThread < nThreads; ++nThread )
    {
        Workers.emplace_back(
            [ &, nThread ]
            {
                for ( int nRound = 0; nRound < nRounds; ++nRound )
                {
                    Sync.arrive_and_wait();
                    for ( int I = 0; I < nCopiesPerRound; ++I )
                    {
                        CQorPtr<CSecondBaseObject> Copy = Shared;
                        CQorPtr<CSecondBaseObject> Moved = std::move( Copy );
                    }
                    Sync.arrive_and_wait();
                    Sync.arrive_and_wait();
                    Handed[ nThread ].Reset();
                    Sync.arrive_and_wait();
                }
            } );
    }
    const std::thread::id MainId = std::this_thread::get_id();
    for ( int nRound = 0; nRound < nRounds; ++nRound )
    {
        Shared = CQorPtr<CSecondBaseObject>( MakeObject( &Allocator, nDestroyed ) );
        for ( CQorPtr<CSecondBaseObject>& Copy : Handed )
        {
            Copy = Shared;
        }
        Sync.arrive_and_wait();
        Sync.arrive_and_wait();
        // The workers' copies are all gone again; the main thread drops first, the workers last.
        EXPECT_EQ( Shared->GetRefCount(), nThreads + 1 ) << "round " << nRound;
        Shared.Reset();
        Sync.arrive_and_wait();
        Sync.arrive_and_wait();
        EXPECT_EQ( nDestroyed, nRound + 1 ) << "round " << nRound;
        EXPECT_NE( CSecondBaseObject::_DestroyedOn, MainId ) << "round " << nRound;
    }
    for ( std::thread& Worker : Workers )
    {
        Worker.join();
    }
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    EXPECT_EQ( Allocator.ForeignDeallocations(), 0 );
}

TEST( CQorAllocatedRefCountable, GoesBackToItsAllocatorThroughAPointerToTheBase )
{
    CCountingAllocator Allocator;
    std::atomic<int> nDestroyed = 0;
    {
        CQorPtr<CQorRefCountable> Holder( MakeObject( &Allocator, nDestroyed ) );
    }
    EXPECT_EQ( nDestroyed, 1 );
    EXPECT_EQ( Allocator.DeallocateCalls(), 1 );
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
}
