#pragma once

// CQorWorkStealingDeque: a lock-free deque of one owner and any number of thieves. The owner pushes and pops
// at the bottom, last in first out; thieves steal the oldest item at the top. Unlike a locked queue:
// - a pop and a steal that race for the last item are settled by one compare-and-exchange on _Top, and a
//   steal that loses any race returns nothing at once instead of retrying: the caller looks elsewhere;
// - the ring buffer only grows, doubling when full, and the buffers it leaves behind are kept until the deque
//   dies, because a thief may still be reading one. There is no reclamation scheme;
// - the memory orders are part of the design: relaxed wherever the protocol allows, a full fence between the
//   owner's store of _Bottom and its load of _Top (and between the thieves' loads), and a sequentially
//   consistent compare-and-exchange where two sides race for one item.
// T is a pointer or another trivially copyable value whose T() means "nothing": an empty pop or steal gives T().
//
// AtomicsT supplies the atomic type and its operations. The library uses the standard ones; the model checker
// of the tests substitutes its own, so that the code it checks is this very code.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/qor_assert.h"

#include <atomic>
#include <bit>
#include <new>
#include <type_traits>

namespace NQorWorkStealing
{
// The standard atomics, as the deque uses them.
//
// ThreadSanitizer does not model fences, so it would see no order where the deque relies on one. Under it every
// operation becomes sequentially consistent and the fences go, which orders at least as much: the sanitizer then
// checks the code around the deque without false reports, and the orders themselves are the model checker's to
// prove.
struct SStandardAtomics
{
    template <typename T>
    using Atomic = std::atomic<T>;

#if defined( __SANITIZE_THREAD__ )
    static constexpr std::memory_order Checked( std::memory_order ) { return std::memory_order_seq_cst; }
    static void FenceSeqCst() {}
#else
    static constexpr std::memory_order Checked( std::memory_order Order ) { return Order; }
    static void FenceSeqCst() { std::atomic_thread_fence( std::memory_order_seq_cst ); }
#endif

    template <typename T>
    static T Load( const Atomic<T>& Value, std::memory_order Order )
    {
        return Value.load( Checked( Order ) );
    }
    template <typename T>
    static void Store( Atomic<T>& Value, T NewValue, std::memory_order Order )
    {
        Value.store( NewValue, Checked( Order ) );
    }
    template <typename T>
    static bool CompareExchange( Atomic<T>& Value, T& Expected, T Desired, std::memory_order Success,
                                 std::memory_order Failure )
    {
        return Value.compare_exchange_strong( Expected, Desired, Checked( Success ), Checked( Failure ) );
    }
};
} // namespace NQorWorkStealing

template <typename T, typename AtomicsT = NQorWorkStealing::SStandardAtomics>
class CQorWorkStealingDeque
{
    static_assert( std::is_trivially_copyable_v<T>, "The deque holds pointers or other plain values" );

    template <typename U>
    using Atomic = typename AtomicsT::template Atomic<U>;

    // Positions grow without end; position I lives in slot I & _Mask.
    struct SRingBuffer
    {
        uint64 _Capacity;
        uint64 _Mask;

        Atomic<T>* GetSlots() { return reinterpret_cast<Atomic<T>*>( reinterpret_cast<uint8*>( this ) + SlotsOffset ); }
        Atomic<T>& At( int64 Position ) { return GetSlots()[ static_cast<uint64>( Position ) & _Mask ]; }
    };
    static constexpr uint64 SlotsOffset = ( sizeof( SRingBuffer ) + alignof( Atomic<T> ) - 1 ) & ~( alignof( Atomic<T> ) - 1 );

public:
    // REQUIRES: Capacity is a power of two; another is reported and raised to the next one.
    explicit CQorWorkStealingDeque( uint64 Capacity = 1024, CQorAllocator* pAlloc = GetGlobalAllocator() )
        : _pBuffer( nullptr ), _RetiredBuffers( pAlloc ), _pAlloc( pAlloc )
    {
        AtomicsT::Store( _pBuffer, CreateBuffer( Capacity ), std::memory_order_relaxed );
        _RetiredBuffers.Reserve( 4 );
    }
    // REQUIRES: no thread uses the deque any more. Items still inside are forgotten, not released.
    ~CQorWorkStealingDeque()
    {
        DestroyBuffer( AtomicsT::Load( _pBuffer, std::memory_order_relaxed ) );
        for ( SRingBuffer* pRetired : _RetiredBuffers )
        {
            DestroyBuffer( pRetired );
        }
    }
    CQorWorkStealingDeque( const CQorWorkStealingDeque& ) = delete;
    CQorWorkStealingDeque& operator=( const CQorWorkStealingDeque& ) = delete;

    // REQUIRES: the owner's thread (for a shared queue: under the lock that makes its pushers one owner).
    void Push( T Item )
    {
        const int64 Bottom = AtomicsT::Load( _Bottom, std::memory_order_relaxed );
        const int64 Top = AtomicsT::Load( _Top, std::memory_order_acquire );
        SRingBuffer* pBuffer = AtomicsT::Load( _pBuffer, std::memory_order_relaxed );
        if ( static_cast<int64>( pBuffer->_Capacity ) - 1 < Bottom - Top )
        {
            pBuffer = Grow( pBuffer, Top, Bottom );
        }
        AtomicsT::Store( pBuffer->At( Bottom ), Item, std::memory_order_relaxed );
        // The item must be visible before the bottom that publishes it, to thieves and to a racing pop alike.
        AtomicsT::FenceSeqCst();
        AtomicsT::Store( _Bottom, Bottom + 1, std::memory_order_relaxed );
    }

    // The newest item, or T() when the deque is empty or a thief took the last item first.
    // REQUIRES: the owner's thread.
    T Pop()
    {
        const int64 Bottom = AtomicsT::Load( _Bottom, std::memory_order_relaxed ) - 1;
        SRingBuffer* pBuffer = AtomicsT::Load( _pBuffer, std::memory_order_relaxed );
        AtomicsT::Store( _Bottom, Bottom, std::memory_order_relaxed );
        // Claims the bottom before looking at the top: a thief that comes later sees the smaller bottom.
        AtomicsT::FenceSeqCst();
        int64 Top = AtomicsT::Load( _Top, std::memory_order_relaxed );
        if ( Top > Bottom )
        {
            AtomicsT::Store( _Bottom, Bottom + 1, std::memory_order_relaxed );
            return T();
        }
        T Item = AtomicsT::Load( pBuffer->At( Bottom ), std::memory_order_relaxed );
        if ( Top == Bottom )
        {
            // The last item: whoever moves the top first has it.
            if ( !AtomicsT::CompareExchange( _Top, Top, Top + 1, std::memory_order_seq_cst, std::memory_order_relaxed ) )
            {
                Item = T();
            }
            AtomicsT::Store( _Bottom, Bottom + 1, std::memory_order_relaxed );
        }
        return Item;
    }

    // The oldest item, or T() when the deque is empty or another thief or the owner won the race for it.
    // Any thread.
    T Steal()
    {
        int64 Top = AtomicsT::Load( _Top, std::memory_order_acquire );
        AtomicsT::FenceSeqCst();
        const int64 Bottom = AtomicsT::Load( _Bottom, std::memory_order_acquire );
        if ( Top >= Bottom )
        {
            return T();
        }
        // A buffer that the owner has just retired still holds the item: retired buffers are never written.
        SRingBuffer* pBuffer = AtomicsT::Load( _pBuffer, std::memory_order_consume );
        const T Item = AtomicsT::Load( pBuffer->At( Top ), std::memory_order_relaxed );
        if ( !AtomicsT::CompareExchange( _Top, Top, Top + 1, std::memory_order_seq_cst, std::memory_order_relaxed ) )
        {
            return T();
        }
        return Item;
    }

    // A snapshot: exact only while no other thread works on the deque.
    bool IsEmpty() const
    {
        return AtomicsT::Load( _Bottom, std::memory_order_relaxed ) <= AtomicsT::Load( _Top, std::memory_order_relaxed );
    }
    int32 GetSize() const
    {
        const int64 Size =
            AtomicsT::Load( _Bottom, std::memory_order_relaxed ) - AtomicsT::Load( _Top, std::memory_order_relaxed );
        return Size > 0 ? static_cast<int32>( Size ) : 0;
    }
    // Slots of the current buffer. REQUIRES: the owner's thread.
    uint64 GetCapacity() const { return AtomicsT::Load( _pBuffer, std::memory_order_relaxed )->_Capacity; }
    int32 GetNumRetiredBuffers() const { return _RetiredBuffers.GetSize(); }

private:
    SRingBuffer* CreateBuffer( uint64 Capacity )
    {
        QOR_ASSERT_MSG( std::has_single_bit( Capacity ), "Not power of two" );
        Capacity = std::bit_ceil( Capacity );
        void* pMemory = _pAlloc->Allocate( SlotsOffset + Capacity * sizeof( Atomic<T> ),
                                           alignof( SRingBuffer ) > alignof( Atomic<T> ) ? alignof( SRingBuffer )
                                                                                         : alignof( Atomic<T> ) );
        SRingBuffer* pBuffer = ::new ( pMemory ) SRingBuffer{ Capacity, Capacity - 1 };
        // A thief that lost the race for a position may read a slot that was never written before its
        // compare-and-exchange fails: every slot holds T() from the start.
        Atomic<T>* pSlots = pBuffer->GetSlots();
        for ( uint64 I = 0; I < Capacity; ++I )
        {
            ::new ( static_cast<void*>( pSlots + I ) ) Atomic<T>( T() );
        }
        return pBuffer;
    }
    void DestroyBuffer( SRingBuffer* pBuffer )
    {
        Atomic<T>* pSlots = pBuffer->GetSlots();
        for ( uint64 I = 0; I < pBuffer->_Capacity; ++I )
        {
            pSlots[ I ].~Atomic<T>();
        }
        _pAlloc->Deallocate( pBuffer );
    }
    // Copies the live positions to the same positions of a buffer twice the size and publishes it. The old one
    // is retired, not freed: a thief that loaded it before the switch reads its item from there.
    SRingBuffer* Grow( SRingBuffer* pOld, int64 Top, int64 Bottom )
    {
        SRingBuffer* pNew = CreateBuffer( pOld->_Capacity * 2 );
        for ( int64 Position = Top; Position < Bottom; ++Position )
        {
            AtomicsT::Store( pNew->At( Position ), AtomicsT::Load( pOld->At( Position ), std::memory_order_relaxed ),
                             std::memory_order_relaxed );
        }
        _RetiredBuffers.Add( pOld );
        // Release, not relaxed: a thief whose bottom came from a push before the growth may still load the new
        // buffer, and must then see the copies in it, not empty slots. On x86 both are the same plain store.
        AtomicsT::Store( _pBuffer, pNew, std::memory_order_release );
        return pNew;
    }

    Atomic<int64> _Top{ 0 };
    Atomic<int64> _Bottom{ 0 };
    Atomic<SRingBuffer*> _pBuffer;
    CQorArray<SRingBuffer*> _RetiredBuffers;
    CQorAllocator* _pAlloc;
};
