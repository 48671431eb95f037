// Model check of the work-stealing deque: Relacy runs the deque's own code with its atomics replaced by Relacy's,
// over interleavings and weak-memory outcomes of push, pop and steal with two and three threads. Every payload is
// written without atomics before its push, so that a taker reading it without a happens-before edge is a data
// race that Relacy reports. Each scenario checks that every pushed item was taken exactly once.

// The library comes first: Relacy's header redefines new and delete as macros for everything after it.
#include "qor_core/thread/qor_workstealing_deque.h"

#include <relacy/relacy.hpp>

#include <cstdio>
#include <source_location>

namespace
{
// Relacy's atomics behind the deque's atomics interface. The source location of the deque's call becomes the
// location in Relacy's histories.
struct SRelacyAtomics
{
    template <typename T>
    using Atomic = rl::atomic<T>;

    static rl::memory_order ToRelacy( std::memory_order Order )
    {
        switch ( Order )
        {
        case std::memory_order::relaxed: return rl::mo_relaxed;
        case std::memory_order::consume: return rl::mo_consume;
        case std::memory_order::acquire: return rl::mo_acquire;
        case std::memory_order::release: return rl::mo_release;
        case std::memory_order::acq_rel: return rl::mo_acq_rel;
        default: return rl::mo_seq_cst;
        }
    }
    static rl::debug_info Where( const std::source_location& Location )
    {
        return rl::debug_info( Location.function_name(), Location.file_name(), Location.line() );
    }

    template <typename T>
    static T Load( const Atomic<T>& Value, std::memory_order Order,
                   std::source_location Location = std::source_location::current() )
    {
        return Value.load( ToRelacy( Order ), Where( Location ) );
    }
    template <typename T>
    static void Store( Atomic<T>& Value, T NewValue, std::memory_order Order,
                       std::source_location Location = std::source_location::current() )
    {
        Value.store( NewValue, ToRelacy( Order ), Where( Location ) );
    }
    template <typename T>
    static bool CompareExchange( Atomic<T>& Value, T& Expected, T Desired, std::memory_order Success,
                                 std::memory_order Failure, std::source_location Location = std::source_location::current() )
    {
        return Value.compare_exchange_strong( Expected, Desired, ToRelacy( Success ), Where( Location ),
                                              ToRelacy( Failure ), Where( Location ) );
    }
    static void FenceSeqCst( std::source_location Location = std::source_location::current() )
    {
        rl::atomic_thread_fence( rl::mo_seq_cst, Where( Location ) );
    }
};

// Buffers come from Relacy's heap. Relacy also replaces the global delete for the whole program, so the deque
// must not draw on the global allocator, whose new is the standard one.
class CRelacyAllocator : public CQorAllocator
{
public:
    void* Allocate( uint64 nSize, uint32 ) override { return rl::rl_malloc( nSize, $ ); }
    void Deallocate( void* pMemory ) override
    {
        if ( pMemory )
        {
            rl::rl_free( pMemory, $ );
        }
    }
};
CRelacyAllocator g_RelacyAllocator;

struct SPayload
{
    rl::var<int> Value;
};
using CModelDeque = CQorWorkStealingDeque<SPayload*, SRelacyAtomics>;

// A scenario: the deque's first capacity, the items pushed before the threads start, the owner's script
// ('p' pushes the next item, 'o' pops) after which it pops until the deque is empty, and the steals of each
// thief. A scenario whose pushes must outgrow the buffer however early the thieves steal checks that it grew.
struct SScript
{
    int NumThreads;
    int NumItems;
    uint64 Capacity;
    int NumPrefilled;
    char Owner[ 8 ];
    int NumSteals;
    bool bMustGrow;
};

constexpr int MaxItems = 6;
constexpr int MaxThreads = 3;

template <SScript Script>
struct SScenario : rl::test_suite<SScenario<Script>, Script.NumThreads>
{
    static_assert( Script.NumItems <= MaxItems && Script.NumThreads <= MaxThreads );

    CModelDeque Deque{ Script.Capacity, &g_RelacyAllocator };
    SPayload Payloads[ MaxItems ];
    unsigned NumPushed = 0;
    // Written by one thread each, read after all threads ended: rl::var makes Relacy check that too.
    rl::var<int> Taken[ MaxThreads ][ MaxItems ];

    void before()
    {
        for ( int Thread = 0; Thread < MaxThreads; ++Thread )
        {
            for ( int I = 0; I < MaxItems; ++I )
            {
                Taken[ Thread ][ I ]( $ ) = 0;
            }
        }
        while ( NumPushed < static_cast<unsigned>( Script.NumPrefilled ) )
        {
            PushNext();
        }
    }

    void PushNext()
    {
        Payloads[ NumPushed ].Value( $ ) = 100 + NumPushed;
        Deque.Push( &Payloads[ NumPushed ] );
        ++NumPushed;
    }
    // Records what a pop or a steal gave, and reads the payload: a read that is not ordered after the write
    // before the push is a data race.
    void Record( unsigned Thread, SPayload* pItem )
    {
        if ( pItem )
        {
            const int Index = static_cast<int>( pItem - Payloads );
            RL_ASSERT( pItem->Value( $ ) == 100 + Index );
            Taken[ Thread ][ Index ]( $ ) = Taken[ Thread ][ Index ]( $ ) + 1;
        }
    }

    void thread( unsigned Thread )
    {
        if ( Thread != 0 )
        {
            for ( int I = 0; I < Script.NumSteals; ++I )
            {
                Record( Thread, Deque.Steal() );
            }
            return;
        }
        for ( const char* pStep = Script.Owner; *pStep; ++pStep )
        {
            if ( *pStep == 'p' )
            {
                PushNext();
            }
            else
            {
                Record( Thread, Deque.Pop() );
            }
        }
        // The owner takes what the thieves left, so every item must end up taken exactly once.
        while ( !Deque.IsEmpty() )
        {
            Record( Thread, Deque.Pop() );
        }
    }

    void after()
    {
        RL_ASSERT( NumPushed == static_cast<unsigned>( Script.NumItems ) );
        for ( int I = 0; I < Script.NumItems; ++I )
        {
            int Count = 0;
            for ( int Thread = 0; Thread < Script.NumThreads; ++Thread )
            {
                Count += Taken[ Thread ][ I ]( $ );
            }
            RL_ASSERT( Count == 1 );
        }
        RL_ASSERT( Deque.IsEmpty() );
        RL_ASSERT( !Script.bMustGrow || Deque.GetNumRetiredBuffers() >= 1 );
    }
};

// One item, raced by the owner's pop and a thief's steal: exactly one of them gets it.
constexpr SScript PopStealRace{ 2, 1, 4, 0, "po", 1, false };
// Pushes and pops interleaved with two steals.
constexpr SScript PushPopSteal{ 2, 3, 4, 0, "ppop", 2, false };
// Two thieves and the owner race for the same items.
constexpr SScript TwoThieves{ 3, 3, 4, 0, "pppo", 2, false };
// The buffer of two slots is full before the threads start and the owner pushes three more while the thief
// steals twice, so it grows at least once during the steals: a thief that loaded the old buffer still reads a
// valid item from it, one that loaded the new buffer sees the copies, and nothing is taken twice.
constexpr SScript GrowthDuringSteal{ 2, 5, 2, 2, "ppp", 2, true };
// Growth with two thieves: one may read from the retired buffer while the other takes from the new one.
constexpr SScript GrowthTwoThieves{ 3, 5, 2, 2, "pppo", 1, true };

template <typename ScenarioT>
bool Check( const char* pName, rl::scheduler_type_e Search, rl::iteration_t Iterations, unsigned ContextBound )
{
    rl::test_params Params;
    Params.search_type = Search;
    Params.iteration_count = Iterations;
    Params.context_bound = ContextBound;
    const bool bPassed = rl::simulate<ScenarioT>( Params );
    std::printf( "%s: %s\n", pName, bPassed ? "passed" : "FAILED" );
    return bPassed;
}

// The context-bound search covers every schedule with up to ContextBound preemptions; the random one goes deeper.
template <typename ScenarioT>
bool CheckBoth( const char* pName, unsigned ContextBound, rl::iteration_t RandomIterations )
{
    const bool bBound = Check<ScenarioT>( pName, rl::fair_context_bound_scheduler_type, 0, ContextBound );
    const bool bRandom = Check<ScenarioT>( pName, rl::random_scheduler_type, RandomIterations, 0 );
    return bBound && bRandom;
}
} // namespace

int main()
{
    bool bPassed = true;
    bPassed &= CheckBoth<SScenario<PopStealRace>>( "pop and steal race for one item", 3, 100000 );
    bPassed &= CheckBoth<SScenario<PushPopSteal>>( "push, pop and steal, two threads", 2, 100000 );
    bPassed &= CheckBoth<SScenario<GrowthDuringSteal>>( "growth during a steal", 2, 100000 );
    bPassed &= CheckBoth<SScenario<TwoThieves>>( "owner and two thieves", 1, 200000 );
    bPassed &= CheckBoth<SScenario<GrowthTwoThieves>>( "growth with two thieves", 1, 200000 );
    return bPassed ? 0 : 1;
}
