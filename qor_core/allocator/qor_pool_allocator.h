#pragma once

// Pool allocators: objects of one size, from blocks ("pools") of a fixed number of slots that are only given
// back when the allocator dies. A free slot's first 8 bytes link it to the next free slot; allocation and
// release pop and push at the head of that one list, so the most recently released slot is reused first,
// across pools. The allocator hands out memory only: constructing and destroying objects is the caller's.
// - CQorUnsynchronizedPoolAllocator: no thread safety at all.
// - CQorSynchronizedPoolAllocator: any number of threads may allocate and release at once. The list head is
//   also the lock: while it holds the address of s_LockSentinel the list is owned, and nobody reads the head
//   without owning it. New pools are made under _PoolsMutex, outside the list lock except for the splice, so
//   the order mutex, then list, is the library's one nesting of locks.
// Pools do not grow geometrically: every pool has _nElementsPerPool slots.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_assert.h"
#include "qor_core/thread/qor_mutex.h"

#include <atomic>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

namespace NQorPoolAllocatorInternal
{
// 1 asks the destructor and the move assignment to report objects still allocated; the library sets nothing
// else.
enum class ELifetimeCheck : int32
{
    ReportLiveObjects = 1,
};

template <typename T>
class CQorPoolAllocatorBase : public CQorAllocator
{
public:
    static_assert( sizeof( T ) >= sizeof( void* ), "a free slot holds the link to the next one" );

    // REQUIRES: nElementsPerPool >= 1. No pool is made before the first allocation. pAllocator is kept for
    // its owner's reference; pools come from the global array new.
    explicit CQorPoolAllocatorBase( int32 nElementsPerPool, CQorAllocator* pAllocator )
        : _nElementsPerPool( nElementsPerPool ), _pBackingAlloc( pAllocator ? pAllocator : GetGlobalAllocator() )
    {
        QOR_ASSERT_MSG( nElementsPerPool >= 1, "Each pool must have storage space for at least one element." );
    }

    int32 GetElementsPerPool() const { return _nElementsPerPool; }
    // Exact only while no pool is being made.
    int32 GetPoolCount() const { return _Pools.GetSize(); }
    CQorAllocator* GetBackingAllocator() const { return _pBackingAlloc; }

protected:
    // Raw slot storage at the alignment of double.
    struct Storage
    {
        alignas( double ) unsigned char Bytes[ sizeof( T ) ];
    };
    using CPoolOwner = std::unique_ptr<Storage[]>;

    // A fresh list of free slots, linked in ascending address order; the tail's link is left for the splice.
    struct SFreeRange
    {
        void* pHead = nullptr;
        void* pTail = nullptr;
    };

    // Slots may sit at any multiple of sizeof( T ), so the link is copied rather than read through a pointer.
    static void* NextOf( void* pSlot )
    {
        void* pNext;
        std::memcpy( &pNext, pSlot, sizeof( pNext ) );
        return pNext;
    }
    static void SetNext( void* pSlot, void* pNext ) { std::memcpy( pSlot, &pNext, sizeof( pNext ) ); }

    static SFreeRange BuildFreeList( unsigned char* pBegin, unsigned char* pEnd )
    {
        QOR_ASSERT_MSG( pBegin != pEnd, "A linked list of free nodes cannot be created out of empty storage." );
        unsigned char* pTail = pEnd - sizeof( T );
        unsigned char* pHead = pTail;
        while ( pHead != pBegin )
        {
            unsigned char* pSlot = pHead - sizeof( T );
            SetNext( pSlot, pHead );
            pHead = pSlot;
        }
        return { pHead, pTail };
    }

    // Makes a pool, hands its first slot to *ppReceiver if given, and returns the rest as a free list (empty
    // for pools of one slot).
    SFreeRange AddPool( void** ppReceiver )
    {
        CPoolOwner Pool( new Storage[ PoolStorageCount() ] );
        unsigned char* pFirst = Pool[ 0 ].Bytes;
        _Pools.Add( std::move( Pool ) );
        unsigned char* pLast = pFirst + static_cast<uint64>( _nElementsPerPool ) * sizeof( T );
        if ( ppReceiver )
        {
            *ppReceiver = pFirst;
            pFirst += sizeof( T );
        }
        if ( pFirst < pLast )
        {
            return BuildFreeList( pFirst, pLast );
        }
        return {};
    }

    static constexpr bool bReportsLiveObjects = !std::is_trivially_destructible_v<T>;

    static void CheckSize( uint64 nSize )
    {
        QOR_CHECK_MSG( nSize == sizeof( T ), "Cannot use a pool allocator for a specific type to allocate a different "
                                             "amount of space than the size of that type." );
    }
    // nCountBefore: the allocations counted before this release.
    static void CheckRelease( int32 nCountBefore )
    {
        QOR_CHECK_MSG( nCountBefore >= 1, "More objects were deallocated from this allocator than were allocated.  "
                                          "This could be a double deletion, or using the wrong allocator to delete an "
                                          "object." );
    }
    // Objects of a trivially destructible type need no destruction, so leaving them is no error.
    static void CheckNothingLiveAtDestruction( ELifetimeCheck eCheck, int32 nAllocatedCount )
    {
        if constexpr ( bReportsLiveObjects )
        {
            QOR_ASSERT_MSG( eCheck != ELifetimeCheck::ReportLiveObjects || nAllocatedCount == 0,
                            "Non-trivial constructed objects (%d) allocated from this allocator were not destroyed "
                            "before the allocator was destroyed.",
                            nAllocatedCount );
        }
    }

    int32 _nElementsPerPool;
    CQorAllocator* _pBackingAlloc;
    CQorArray<CPoolOwner> _Pools;

private:
    // Storage units for _nElementsPerPool slots of sizeof( T ) bytes. A negative count or an overflow asks for
    // the largest size there is, so that new fails rather than hand out a short pool.
    size_t PoolStorageCount() const
    {
        uint64 nBytes = 0;
        if ( _nElementsPerPool < 0 ||
             __builtin_mul_overflow( static_cast<uint64>( _nElementsPerPool ), sizeof( T ), &nBytes ) )
        {
            return std::numeric_limits<size_t>::max();
        }
        return static_cast<size_t>( ( nBytes + sizeof( Storage ) - 1 ) / sizeof( Storage ) );
    }
};

template <typename T, bool bSynchronized>
class CQorPoolAllocator;

template <typename T>
class CQorPoolAllocator<T, false> final : public CQorPoolAllocatorBase<T>
{
    using Base = CQorPoolAllocatorBase<T>;

public:
    explicit CQorPoolAllocator( int32 nElementsPerPool, CQorAllocator* pAllocator = nullptr )
        : Base( nElementsPerPool, pAllocator )
    {
    }
    CQorPoolAllocator( CQorPoolAllocator&& Other )
        : Base( Other._nElementsPerPool, Other._pBackingAlloc ), _eLifetimeCheck( Other._eLifetimeCheck )
    {
        _pFreeList = std::exchange( Other._pFreeList, nullptr );
        this->_Pools = std::move( Other._Pools );
        _nAllocatedCount = std::exchange( Other._nAllocatedCount, 0 );
    }
    // The destination's pools go, and with them any objects still in them: those are reported.
    CQorPoolAllocator& operator=( CQorPoolAllocator&& Other )
    {
        if ( this == &Other )
        {
            return *this;
        }
        this->_nElementsPerPool = Other._nElementsPerPool;
        this->_pBackingAlloc = Other._pBackingAlloc;
        _pFreeList = std::exchange( Other._pFreeList, nullptr );
        this->_Pools = std::move( Other._Pools );
        if constexpr ( Base::bReportsLiveObjects )
        {
            QOR_ASSERT_MSG( _eLifetimeCheck != ELifetimeCheck::ReportLiveObjects || _nAllocatedCount == 0,
                            "Non-trivial constructed objects (%d) allocated from this allocator were not destroyed "
                            "before the allocator was move-assigned from another allocator.",
                            _nAllocatedCount );
        }
        _nAllocatedCount = std::exchange( Other._nAllocatedCount, 0 );
        _eLifetimeCheck = Other._eLifetimeCheck;
        return *this;
    }
    ~CQorPoolAllocator() override { Base::CheckNothingLiveAtDestruction( _eLifetimeCheck, _nAllocatedCount ); }

    // One slot; the alignment is that of the slots. REQUIRES: nSize == sizeof( T ).
    void* Allocate( uint64 nSize, uint32 ) override
    {
        Base::CheckSize( nSize );
        ++_nAllocatedCount;
        if ( void* pSlot = _pFreeList )
        {
            _pFreeList = Base::NextOf( pSlot );
            return pSlot;
        }
        void* pSlot = nullptr;
        const typename Base::SFreeRange Range = this->AddPool( &pSlot );
        if ( Range.pHead )
        {
            Base::SetNext( Range.pTail, _pFreeList );
            _pFreeList = Range.pHead;
        }
        return pSlot;
    }
    // Null is ignored. A release beyond the allocations is reported, and the slot is linked in anyway.
    void Deallocate( void* pMemory ) override
    {
        if ( !pMemory )
        {
            return;
        }
        Base::CheckRelease( _nAllocatedCount-- );
        Base::SetNext( pMemory, _pFreeList );
        _pFreeList = pMemory;
    }

    int32 GetAllocatedCount() const { return _nAllocatedCount; }

private:
    void* _pFreeList = nullptr;
    int32 _nAllocatedCount = 0;
    ELifetimeCheck _eLifetimeCheck = ELifetimeCheck::ReportLiveObjects;
};

template <typename T>
class CQorPoolAllocator<T, true> final : public CQorPoolAllocatorBase<T>
{
    using Base = CQorPoolAllocatorBase<T>;

public:
    // Construction, destruction and moves must not overlap with any other call.
    explicit CQorPoolAllocator( int32 nElementsPerPool, CQorAllocator* pAllocator = nullptr )
        : Base( nElementsPerPool, pAllocator )
    {
    }
    CQorPoolAllocator( const CQorPoolAllocator& ) = delete;
    CQorPoolAllocator& operator=( const CQorPoolAllocator& ) = delete;
    ~CQorPoolAllocator() override
    {
        Base::CheckNothingLiveAtDestruction( _eLifetimeCheck, _nAllocatedCount.load() );
    }

    // One slot; the alignment is that of the slots. REQUIRES: nSize == sizeof( T ).
    void* Allocate( uint64 nSize, uint32 ) override
    {
        Base::CheckSize( nSize );
        void* pHead = LockFreeList();
        _nAllocatedCount.fetch_add( 1 );
        if ( pHead )
        {
            UnlockFreeList( Base::NextOf( pHead ) );
            return pHead;
        }
        // The list is free for others at once. Two threads that find it empty together each make a pool.
        UnlockFreeList( nullptr );
        CScopedLock<CMutex> PoolsLock( &_PoolsMutex );
        void* pSlot = nullptr;
        const typename Base::SFreeRange Range = this->AddPool( &pSlot );
        if ( Range.pHead )
        {
            Base::SetNext( Range.pTail, LockFreeList() );
            UnlockFreeList( Range.pHead );
        }
        return pSlot;
    }
    // Null is ignored without taking the lock. A release beyond the allocations is reported, and the slot is
    // linked in anyway.
    void Deallocate( void* pMemory ) override
    {
        if ( !pMemory )
        {
            return;
        }
        Base::SetNext( pMemory, LockFreeList() );
        Base::CheckRelease( _nAllocatedCount.fetch_sub( 1 ) );
        UnlockFreeList( pMemory );
    }

    // Takes the free list and returns its head. Spins with a processor pause, without bound or back-off: the
    // list is held for a handful of instructions at a time.
    void* LockFreeList()
    {
        for ( ;; )
        {
            void* pHead = _pFreeList.exchange( LockSentinel() );
            if ( pHead != LockSentinel() )
            {
                return pHead;
            }
            NPlatform::CpuPause();
        }
    }
    // Gives the list back with pNewHead as its head. REQUIRES: the caller holds the list (LockFreeList).
    void UnlockFreeList( void* pNewHead )
    {
        QOR_CHECK_MSG( pNewHead != LockSentinel(), "Attempted to unlock pool allocator free list with the lock "
                                                   "sentinel.  A race condition bug must have occurred." );
        // An exchange rather than a store: what it returns proves that the list was held.
        void* pPrevious = _pFreeList.exchange( pNewHead );
        QOR_CHECK_MSG( pPrevious == LockSentinel(),
                       "Attempted to unlock pool allocator free list when it wasn't locked." );
    }

    // Read without the lock: exact only while no other thread allocates or releases.
    int32 GetAllocatedCount() const { return _nAllocatedCount.load(); }
    // What the head holds while the list is locked.
    static void* LockSentinel() { return &s_LockSentinel; }

private:
    // Only its address is used: no slot can have it, and it is neither null nor a real head.
    static inline char s_LockSentinel = 0;

    std::atomic<void*> _pFreeList{ nullptr };
    CMutex _PoolsMutex;
    std::atomic<int32> _nAllocatedCount{ 0 };
    ELifetimeCheck _eLifetimeCheck = ELifetimeCheck::ReportLiveObjects;
};
} // namespace NQorPoolAllocatorInternal

template <typename T>
using CQorSynchronizedPoolAllocator = NQorPoolAllocatorInternal::CQorPoolAllocator<T, true>;
template <typename T>
using CQorUnsynchronizedPoolAllocator = NQorPoolAllocatorInternal::CQorPoolAllocator<T, false>;
