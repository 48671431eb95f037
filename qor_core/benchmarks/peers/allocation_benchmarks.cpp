// The pools against general allocators: mimalloc called by its own names, and glibc's malloc. Two patterns
// of 32-byte blocks: a pair (allocate one block, free it) and a burst (allocate 1000 blocks, then free them in
// the order they came). One thread runs the unsynchronized pool; two threads share one synchronized pool,
// while mimalloc and malloc serve each thread from their own per-thread heaps.
//
// mimalloc is loaded with dlopen( RTLD_LOCAL ) and called through function pointers. Debian's libmimalloc.so
// exports malloc and free itself: linked into the program it would replace the allocator of everything,
// the library and the other peers included, and every other figure of the run would change with it. Loaded
// locally, its symbols resolve nothing outside itself.

#include "qor_core/allocator/qor_pool_allocator.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace
{
constexpr uint64 BlockSize = 32;
constexpr int32 BurstCount = 1000;

struct SBlock
{
    char Bytes[BlockSize];
};

struct SMimalloc
{
    void* ( *pMalloc )( size_t ) = nullptr;
    void ( *pFree )( void* ) = nullptr;
    std::string Error;

    SMimalloc()
    {
        void* pLibrary = dlopen( "libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL );
        if ( pLibrary == nullptr )
        {
            Error = std::string( "mimalloc is not loaded: " ) + dlerror() + " (./scripts/setup installs it)";
            return;
        }
        pMalloc = reinterpret_cast<void* (*)( size_t )>( dlsym( pLibrary, "mi_malloc" ) );
        pFree = reinterpret_cast<void ( * )( void* )>( dlsym( pLibrary, "mi_free" ) );
        if ( pMalloc == nullptr || pFree == nullptr )
        {
            Error = "libmimalloc.so.2 has no mi_malloc or mi_free";
        }
    }
};

const SMimalloc& Mimalloc()
{
    static const SMimalloc s_Mimalloc;
    return s_Mimalloc;
}

// Allocate and Free of one form, and whether it can run at all.
struct SMallocForm
{
    static bool Ready( benchmark::State& ) { return true; }
    static void* Allocate() { return std::malloc( BlockSize ); }
    static void Free( void* pBlock ) { std::free( pBlock ); }
};

struct SMimallocForm
{
    static bool Ready( benchmark::State& state )
    {
        if ( !Mimalloc().Error.empty() )
        {
            state.SkipWithError( Mimalloc().Error.c_str() );
            return false;
        }
        return true;
    }
    static void* Allocate() { return Mimalloc().pMalloc( BlockSize ); }
    static void Free( void* pBlock ) { Mimalloc().pFree( pBlock ); }
};

// The pool of the form's kind; the synchronized one is shared by the threads of a run.
template <bool bSynchronizedT> struct SPoolForm
{
    using PoolT = std::conditional_t<bSynchronizedT, CQorSynchronizedPoolAllocator<SBlock>,
                                     CQorUnsynchronizedPoolAllocator<SBlock>>;
    static PoolT& Pool()
    {
        static PoolT s_Pool( BurstCount );
        return s_Pool;
    }
    static bool Ready( benchmark::State& ) { return true; }
    static void* Allocate() { return Pool().Allocate( BlockSize, alignof( SBlock ) ); }
    static void Free( void* pBlock ) { Pool().Deallocate( pBlock ); }
};

template <typename FormT> void RunPair( benchmark::State& state )
{
    if ( !FormT::Ready( state ) )
    {
        return;
    }
    for ( auto _ : state )
    {
        void* pBlock = FormT::Allocate();
        benchmark::DoNotOptimize( pBlock );
        FormT::Free( pBlock );
    }
    state.SetItemsProcessed( state.iterations() );
}

template <typename FormT> void RunBurst( benchmark::State& state )
{
    if ( !FormT::Ready( state ) )
    {
        return;
    }
    std::vector<void*> Blocks( BurstCount );
    for ( auto _ : state )
    {
        for ( void*& pBlock : Blocks )
        {
            pBlock = FormT::Allocate();
        }
        benchmark::DoNotOptimize( Blocks.data() );
        for ( void* pBlock : Blocks )
        {
            FormT::Free( pBlock );
        }
    }
    state.SetItemsProcessed( state.iterations() * BurstCount );
}

void Allocation_Pair_QorUnsynchronizedPool( benchmark::State& state )
{
    RunPair<SPoolForm<false>>( state );
}
void Allocation_Pair_QorSynchronizedPool( benchmark::State& state )
{
    RunPair<SPoolForm<true>>( state );
}
void Allocation_Pair_Mimalloc( benchmark::State& state )
{
    RunPair<SMimallocForm>( state );
}
void Allocation_Pair_Malloc( benchmark::State& state )
{
    RunPair<SMallocForm>( state );
}
void Allocation_Burst_QorUnsynchronizedPool( benchmark::State& state )
{
    RunBurst<SPoolForm<false>>( state );
}
void Allocation_Burst_QorSynchronizedPool( benchmark::State& state )
{
    RunBurst<SPoolForm<true>>( state );
}
void Allocation_Burst_Mimalloc( benchmark::State& state )
{
    RunBurst<SMimallocForm>( state );
}
void Allocation_Burst_Malloc( benchmark::State& state )
{
    RunBurst<SMallocForm>( state );
}
} // namespace

BENCHMARK( Allocation_Pair_QorUnsynchronizedPool )->Threads( 1 );
BENCHMARK( Allocation_Pair_QorSynchronizedPool )->Threads( 1 )->Threads( 2 );
BENCHMARK( Allocation_Pair_Mimalloc )->Threads( 1 )->Threads( 2 );
BENCHMARK( Allocation_Pair_Malloc )->Threads( 1 )->Threads( 2 );
BENCHMARK( Allocation_Burst_QorUnsynchronizedPool )->Threads( 1 );
BENCHMARK( Allocation_Burst_QorSynchronizedPool )->Threads( 1 )->Threads( 2 );
BENCHMARK( Allocation_Burst_Mimalloc )->Threads( 1 )->Threads( 2 );
BENCHMARK( Allocation_Burst_Malloc )->Threads( 1 )->Threads( 2 );
