#include "qor_core/thread/qor_workstealing_deque.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <random>

namespace
{
// Items are small integers disguised as pointers; 0 stays "nothing".
int* ItemOf( intptr_t Value )
{
    return reinterpret_cast<int*>( Value );
}
intptr_t ValueOf( int* pItem )
{
    return reinterpret_cast<intptr_t>( pItem );
}
} // namespace

// One thread: the owner's end is a stack, the thieves' end a queue, across growth and wrap-around. A standard
// deque is the model; the seed is printed on failure.
TEST( CQorWorkStealingDeque, SingleThreadFollowsTheModel )
{
    const uint32 Seed = 20240611;
    std::mt19937 Random( Seed );
    CQorWorkStealingDeque<int*> Deque( 4 );
    std::deque<intptr_t> Model;
    intptr_t Next = 1;
    for ( int Step = 0; Step < 600; ++Step )
    {
        const uint32 Operation = Random() % 5;
        if ( Operation < 2 )
        {
            Deque.Push( ItemOf( Next ) );
            Model.push_back( Next++ );
        }
        else
        {
            // The owner pops the newest item, a thief steals the oldest.
            const bool bPop = Operation == 2;
            const intptr_t Expected = Model.empty() ? 0 : bPop ? Model.back() : Model.front();
            ASSERT_EQ( ValueOf( bPop ? Deque.Pop() : Deque.Steal() ), Expected ) << "seed " << Seed << ", step " << Step;
            if ( !Model.empty() )
            {
                bPop ? Model.pop_back() : Model.pop_front();
            }
        }
        ASSERT_EQ( Deque.GetSize(), static_cast<int32>( Model.size() ) ) << "seed " << Seed << ", step " << Step;
        ASSERT_EQ( Deque.IsEmpty(), Model.empty() );
        ASSERT_GE( Deque.GetCapacity(), Model.size() );
    }
}

// The buffer doubles only when a push finds every slot taken, and the old buffer stays retired, not freed.
TEST( CQorWorkStealingDeque, GrowsWhenFullAndKeepsTheOldBuffer )
{
    CQorWorkStealingDeque<int*> Deque( 4 );
    // Two steals first, so that the positions wrap around the slots when the buffer is full.
    Deque.Push( ItemOf( 100 ) );
    Deque.Push( ItemOf( 101 ) );
    EXPECT_EQ( ValueOf( Deque.Steal() ), 100 );
    EXPECT_EQ( ValueOf( Deque.Steal() ), 101 );
    for ( intptr_t I = 1; I <= 4; ++I )
    {
        Deque.Push( ItemOf( I ) );
    }
    EXPECT_EQ( Deque.GetCapacity(), 4u );
    EXPECT_EQ( Deque.GetNumRetiredBuffers(), 0 );
    Deque.Push( ItemOf( 5 ) );
    EXPECT_EQ( Deque.GetCapacity(), 8u );
    EXPECT_EQ( Deque.GetNumRetiredBuffers(), 1 );
    EXPECT_EQ( ValueOf( Deque.Steal() ), 1 );
    EXPECT_EQ( ValueOf( Deque.Pop() ), 5 );
    EXPECT_EQ( ValueOf( Deque.Pop() ), 4 );
    EXPECT_EQ( ValueOf( Deque.Steal() ), 2 );
    EXPECT_EQ( ValueOf( Deque.Steal() ), 3 );
    EXPECT_TRUE( Deque.IsEmpty() );

    CQorWorkStealingDeque<int*> Large;
    for ( intptr_t I = 1; I <= 1024; ++I )
    {
        Large.Push( ItemOf( I ) );
    }
    EXPECT_EQ( Large.GetCapacity(), 1024u ) << "1024 items fill the first buffer exactly";
    Large.Push( ItemOf( 1025 ) );
    EXPECT_EQ( Large.GetCapacity(), 2048u );
}

TEST( CQorWorkStealingDeque, CapacityThatIsNoPowerOfTwoIsReportedAndRaised )
{
    CAssertRecorder Asserts;
    CQorWorkStealingDeque<int*> Deque( 1000 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Not power of two" } );
    EXPECT_EQ( Deque.GetCapacity(), 1024u );
}

// The owner's pop and a thief's steal race for a single item, many times over: exactly one of them gets it. The
// two start together on a spinning signal, and the owner waits a varying few cycles, so that the start times
// sweep across each other.
TEST( CQorWorkStealingDeque, PopAndStealOfTheLastItemGoToExactlyOne )
{
#if defined( __SANITIZE_THREAD__ )
    constexpr intptr_t Rounds = 5000;
#else
    constexpr intptr_t Rounds = 30000;
#endif
    CQorWorkStealingDeque<int*> Deque( 4 );
    std::atomic<intptr_t> Go{ 0 };
    std::atomic<intptr_t> Stolen{ -1 };
    int NumBothOrNeither = 0;
    RunOnThreads( 2,
                  [ & ]( int Thread )
                  {
                      for ( intptr_t Round = 1; Round <= Rounds; ++Round )
                      {
                          if ( Thread == 1 )
                          {
                              while ( Go.load() != Round )
                              {
                              }
                              Stolen.store( ValueOf( Deque.Steal() ) );
                              continue;
                          }
                          Deque.Push( ItemOf( Round ) );
                          Go.store( Round );
                          volatile intptr_t Sink = 0;
                          for ( intptr_t Delay = Round % 64; Delay > 0; --Delay )
                          {
                              Sink = Sink + Delay;
                          }
                          const intptr_t Popped = ValueOf( Deque.Pop() );
                          intptr_t StolenNow;
                          while ( ( StolenNow = Stolen.exchange( -1 ) ) == -1 )
                          {
                          }
                          NumBothOrNeither += ( Popped == Round ) == ( StolenNow == Round ) || Popped + StolenNow != Round;
                      }
                  } );
    EXPECT_EQ( NumBothOrNeither, 0 );
    EXPECT_TRUE( Deque.IsEmpty() );
}
