#pragma once

// The bodies of the pool allocator benchmarks: the pool allocators against the global new and delete under a
// synthetic load, where every allocation or release is followed by a random amount of busy work, so that
// threads do not sit on the allocator all the time. Everything in the loops is timed, busy work included:
// CQorPoolAllocator_BusyLoop gives its cost alone. Each body creates its allocator behind a function-local
// CQorScopedPtr that all threads of a run share, and every step reads it through the pointer's asserting
// access. The program registers the bodies; the tests run them through the runner with allocators that count.

#include "qor_core/allocator/qor_pool_allocator.h"
#include "qor_core/container/qor_container_utils.h"
#include "qor_core/qor_scopedptr.h"

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <new>
#include <type_traits>

#if defined( __SANITIZE_ADDRESS__ )
#include <sanitizer/lsan_interface.h>
#endif

namespace NPoolAllocatorBenchmarks
{
template <int N>
struct SFixedSize
{
    explicit SFixedSize( int32 nValue )
    {
        Bytes[ 0 ] = static_cast<uint8>( nValue );
        for ( int I = 1; I < N; ++I )
        {
            Bytes[ I ] = 0;
        }
    }
    uint8 Bytes[ N ];
};

// The global new and delete, constructed as a pool is.
template <typename T>
class CQorWrappedNewDeleteAllocator : public CQorNewDeleteAllocator
{
public:
    explicit CQorWrappedNewDeleteAllocator( int ) {}
};

using CObjects = CQorArray<SFixedSize<8>*>;

inline uint32 BusyWork( uint32 nSeed, int32 nCount )
{
    uint32 x = nSeed;
    for ( int32 I = 0; I < nCount; ++I )
    {
        x *= 0x596F0DDFu;
    }
    return x;
}

// The read of the allocator that every step makes: the scoped pointer's asserting access.
template <typename AllocatorT>
AllocatorT* ReadAllocator( const CQorScopedPtr<AllocatorT>& Owner )
{
    return Owner.operator->();
}

// One thread's view of a run: its arguments, its generator and the allocation and work steps.
class CWorkload
{
public:
    explicit CWorkload( const benchmark::State& state )
        : nPoolSize( static_cast<int32>( state.range( 0 ) ) ), _Random( static_cast<uint32>( state.thread_index() ) )
    {
        const int32 nWork = static_cast<int32>( state.range( 1 ) );
        _nMinWork = nWork / 2;
        _nMaxWork = ( nWork * 3 + 1 ) / 2;
    }

    void DoWork()
    {
        const int32 nCount = _Random.Next( _nMinWork, _nMaxWork );
        uint32 nResult = BusyWork( static_cast<uint32>( _Random.Next() ), nCount );
        benchmark::DoNotOptimize( nResult );
    }
    template <typename AllocatorT>
    SFixedSize<8>* NewObject( const CQorScopedPtr<AllocatorT>& Owner )
    {
        AllocatorT* pAllocator = ReadAllocator( Owner );
        const int32 nValue = _Random.Next();
        return ::new ( pAllocator->Allocate( sizeof( SFixedSize<8> ), 1 ) ) SFixedSize<8>( nValue );
    }
    template <typename AllocatorT>
    SFixedSize<8>* AllocateOne( const CQorScopedPtr<AllocatorT>& Owner )
    {
        SFixedSize<8>* pObject = NewObject( Owner );
        benchmark::DoNotOptimize( pObject );
        return pObject;
    }
    template <typename AllocatorT>
    static void ReleaseOne( const CQorScopedPtr<AllocatorT>& Owner, SFixedSize<8>* pObject )
    {
        AllocatorT* pAllocator = ReadAllocator( Owner );
        if ( pObject )
        {
            pAllocator->Deallocate( pObject );
        }
    }
    int32 Next( int32 nLow, int32 nHigh ) { return _Random.Next( nLow, nHigh ); }

    const int32 nPoolSize;

private:
    CQorRandom _Random;
    int32 _nMinWork;
    int32 _nMaxWork;
};

// One iteration of filling the array up to nCount objects and draining it again.
template <typename AllocatorT>
void FillOrDrain( CWorkload& Work, const CQorScopedPtr<AllocatorT>& Owner, CObjects& Objects, int32 nCount,
                  bool& bFilling )
{
    if ( bFilling )
    {
        Objects.Add( Work.AllocateOne( Owner ) );
        Work.DoWork();
        bFilling = Objects.GetSize() < nCount;
        return;
    }
    CWorkload::ReleaseOne( Owner, Objects.Back() );
    Objects.PopBack();
    Work.DoWork();
    bFilling = Objects.IsEmpty();
}

// Objects left at the end stay unreleased. A pool frees them with its pools; from new they stay allocated to
// the end of the process, which the leak checker is told.
template <typename AllocatorT>
void LeaveUnreleased( [[maybe_unused]] const CObjects& Objects )
{
#if defined( __SANITIZE_ADDRESS__ )
    if constexpr ( std::is_base_of_v<CQorNewDeleteAllocator, AllocatorT> )
    {
        for ( SFixedSize<8>* pObject : Objects )
        {
            __lsan_ignore_object( pObject );
        }
    }
#endif
}

inline void CQorPoolAllocator_BusyLoop( benchmark::State& state )
{
    const int32 nCount = static_cast<int32>( state.range( 0 ) );
    CQorRandom Random( static_cast<uint32>( state.range( 0 ) ) );
    for ( auto _ : state )
    {
        uint32 nResult = BusyWork( static_cast<uint32>( Random.Next() ), nCount );
        benchmark::DoNotOptimize( nResult );
    }
}

template <typename AllocatorT>
void CQorPoolAllocator_NewAllNeverDelete( benchmark::State& state )
{
    static CQorScopedPtr<AllocatorT> s_pAllocator;
    static std::atomic<int> s_nThreads{ 0 };
    CWorkload Work( state );
    // Every timed iteration allocates, so the array holds as many objects as the runner asks iterations of
    // when that is more than the count. An early end of the loop is no way out: Google Benchmark 1.7.1 aborts
    // a body that returns before the runner's iterations are done.
    CObjects Objects;
    Objects.Reserve( static_cast<int32>( std::max<int64>( state.range( 2 ), state.max_iterations ) ) );
    if ( s_nThreads.fetch_add( 1 ) == 0 )
    {
        s_pAllocator.Reset( new AllocatorT( Work.nPoolSize ) );
    }
    for ( auto _ : state )
    {
        Objects.Add( Work.AllocateOne( s_pAllocator ) );
        Work.DoWork();
    }
    for ( SFixedSize<8>* pObject : Objects )
    {
        CWorkload::ReleaseOne( s_pAllocator, pObject );
    }
    if ( s_nThreads.fetch_sub( 1 ) == 1 )
    {
        s_pAllocator.Reset();
    }
}

template <typename AllocatorT>
void CQorPoolAllocator_NewDeleteImmediately( benchmark::State& state )
{
    static CQorScopedPtr<AllocatorT> s_pAllocator;
    CWorkload Work( state );
    if ( state.thread_index() == 0 )
    {
        s_pAllocator.Reset( new AllocatorT( Work.nPoolSize ) );
    }
    for ( auto _ : state )
    {
        SFixedSize<8>* pObject = Work.AllocateOne( s_pAllocator );
        Work.DoWork();
        CWorkload::ReleaseOne( s_pAllocator, pObject );
        Work.DoWork();
    }
    if ( state.thread_index() == 0 )
    {
        s_pAllocator.Reset();
    }
}

template <typename AllocatorT>
void CQorPoolAllocator_NewAllThenDeleteAll( benchmark::State& state )
{
    static CQorScopedPtr<AllocatorT> s_pAllocator;
    CWorkload Work( state );
    const int32 nCount = static_cast<int32>( state.range( 2 ) );
    CObjects Objects;
    Objects.Reserve( nCount );
    if ( state.thread_index() == 0 )
    {
        s_pAllocator.Reset( new AllocatorT( Work.nPoolSize ) );
    }
    bool bFilling = true;
    for ( auto _ : state )
    {
        FillOrDrain( Work, s_pAllocator, Objects, nCount, bFilling );
    }
    LeaveUnreleased<AllocatorT>( Objects );
    if ( state.thread_index() == 0 )
    {
        s_pAllocator.Reset();
    }
}

template <typename AllocatorT>
void CQorPoolAllocator_NewAllThenDeleteAll_HalfAlreadyAllocated( benchmark::State& state )
{
    static CQorScopedPtr<AllocatorT> s_pAllocator;
    static std::atomic<int> s_nThreads{ 0 };
    static CObjects s_Shared;
    CWorkload Work( state );
    const int32 nCount = static_cast<int32>( state.range( 2 ) );
    CObjects Objects;
    Objects.Reserve( nCount );
    if ( s_nThreads.fetch_add( 1 ) == 0 )
    {
        s_pAllocator.Reset( new AllocatorT( Work.nPoolSize ) );
        const int32 nTotal = nCount * state.threads();
        s_Shared.Reserve( nTotal );
        for ( int32 I = 0; I < nTotal; ++I )
        {
            s_Shared.Add( Work.NewObject( s_pAllocator ) );
        }
        // Every second object goes back, so the free list starts out interleaved with live objects.
        for ( int32 I = 0; I < s_Shared.GetSize(); ++I )
        {
            CWorkload::ReleaseOne( s_pAllocator, s_Shared[ I ] );
            s_Shared.Remove( I );
        }
    }
    bool bFilling = true;
    for ( auto _ : state )
    {
        FillOrDrain( Work, s_pAllocator, Objects, nCount, bFilling );
    }
    LeaveUnreleased<AllocatorT>( Objects );
    if ( s_nThreads.fetch_sub( 1 ) == 1 )
    {
        for ( SFixedSize<8>* pObject : s_Shared )
        {
            CWorkload::ReleaseOne( s_pAllocator, pObject );
        }
        s_Shared.Clear();
        s_pAllocator.Reset();
    }
}

template <typename AllocatorT>
void CQorPoolAllocator_NewDeleteRandomly( benchmark::State& state )
{
    static CQorScopedPtr<AllocatorT> s_pAllocator;
    CWorkload Work( state );
    const int32 nCount = static_cast<int32>( state.range( 2 ) );
    CObjects Objects;
    Objects.Reserve( nCount );
    if ( state.thread_index() == 0 )
    {
        s_pAllocator.Reset( new AllocatorT( Work.nPoolSize ) );
    }
    int32 nTarget = Work.Next( 1, nCount );
    for ( auto _ : state )
    {
        if ( nTarget <= Objects.GetSize() )
        {
            const int32 nVictim = Work.Next( 0, Objects.GetSize() - 1 );
            CWorkload::ReleaseOne( s_pAllocator, Objects[ nVictim ] );
            Objects.RemoveSwap( nVictim );
            Work.DoWork();
            if ( Objects.GetSize() <= nTarget )
            {
                nTarget = Work.Next( Objects.GetSize() + 1, nCount );
            }
        }
        else
        {
            Objects.Add( Work.AllocateOne( s_pAllocator ) );
            Work.DoWork();
            if ( Objects.GetSize() >= nTarget )
            {
                nTarget = Work.Next( 0, Objects.GetSize() - 1 );
            }
        }
    }
    LeaveUnreleased<AllocatorT>( Objects );
    if ( state.thread_index() == 0 )
    {
        s_pAllocator.Reset();
    }
}
} // namespace NPoolAllocatorBenchmarks

