#include "qor_core/thread/qor_workstealing_deque.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
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
        else if ( Operation == 2 )
        {
            const intptr_t Expected = Model.empty() ? 0 : Model.back();
            ASSERT_EQ( ValueOf( Deque.Pop() ), Expected ) << "seed " << Seed << ", step " << Step;
            if ( !Model.empty() )
            {
                Model.pop_back();
            }
        }
        else
        {
            const intptr_t Expected = Model.empty() ? 0 : Model.front();
            ASSERT_EQ( ValueOf( Deque.Steal() ), Expected ) << "seed " << Seed << ", step " << Step;
            if ( !Model.empty() )
            {
                Model.pop_front();
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

// The owner's pop and a thief's steal race for a single item, many times over: exactly one of them gets it.
TEST( CQorWorkStealingDeque, PopAndStealOfTheLastItemGoToExactlyOne )
{
    constexpr int Rounds = 20000;
    CQorWorkStealingDeque<int*> Deque( 4 );
    std::barrier Barrier( 2 );
    std::atomic<intptr_t> Stolen{ 0 };
    int NumBothOrNeither = 0;
    RunOnThreads( 2,
                  [ & ]( int Thread )
                  {
                      for ( int Round = 1; Round <= Rounds; ++Round )
                      {
                          if ( Thread == 0 )
                          {
                              Deque.Push( ItemOf( Round ) );
                              Barrier.arrive_and_wait();
                              const intptr_t Popped = ValueOf( Deque.Pop() );
                              Barrier.arrive_and_wait();
                              const intptr_t StolenNow = Stolen.exchange( 0 );
                              if ( ( Popped == Round ) == ( StolenNow == Round ) || Popped + StolenNow != Round )
                              {
                                  ++NumBothOrNeither;
                              }
                              Barrier.arrive_and_wait();
                          }
                          else
                          {
                              Barrier.arrive_and_wait();
                              Stolen.store( ValueOf( Deque.Steal() ) );
                              Barrier.arrive_and_wait();
                              Barrier.arrive_and_wait();
                          }
                      }
                  } );
    EXPECT_EQ( NumBothOrNeither, 0 );
    EXPECT_TRUE( Deque.IsEmpty() );
}
