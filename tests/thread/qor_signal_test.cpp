#include "qor_core/thread/qor_semaphore.h"
#include "qor_core/thread/qor_signal.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

// Two threads hand a token back and forth: a lost wake-up would leave both asleep.
TEST( CSignal, LosesNoWakeUpInPingPong )
{
    constexpr int nRounds = 5000;
    CSignal Ping;
    CSignal Pong;
    int nHandOvers = 0;
    std::thread Partner(
        [ & ]
        {
            for ( int I = 0; I < nRounds; ++I )
            {
                Ping.Wait();
                Ping.Reset();
                ++nHandOvers;
                Pong.Signal();
            }
        } );
    for ( int I = 0; I < nRounds; ++I )
    {
        Ping.Signal();
        Pong.Wait();
        Pong.Reset();
        ++nHandOvers;
    }
    Partner.join();
    EXPECT_EQ( nHandOvers, 2 * nRounds );
    EXPECT_EQ( Ping.GetState(), ESignalState::Idle );
    EXPECT_EQ( Pong.GetState(), ESignalState::Idle );
}

TEST( CSemaphore, RefusesAReleasePastItsMaximum )
{
    CSemaphore Semaphore( 1, 3, "bounded" );
    EXPECT_TRUE( Semaphore.Release( 2 ) );
    EXPECT_FALSE( Semaphore.Release( 1 ) );
    EXPECT_FALSE( Semaphore.TryAcquire( 4 ) ) << "the refused release changed nothing";
    EXPECT_TRUE( Semaphore.TryAcquire( 3 ) );
    EXPECT_FALSE( Semaphore.TryAcquire( 1 ) );
    EXPECT_TRUE( Semaphore.Release( 3 ) );

    CAssertRecorder Asserts;
    CSemaphore Empty( 0, 0 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_MaxCount > 0" } );
}

TEST( CSemaphore, AcquireWaitsForTheWholeAmount )
{
    CSemaphore Semaphore( 0, 8 );
    std::atomic<bool> bAcquired{ false };
    std::thread Taker(
        [ & ]
        {
            Semaphore.Acquire( 3 );
            bAcquired.store( true );
        } );
    Semaphore.Release( 1 );
    Semaphore.Release( 1 );
    EXPECT_FALSE( bAcquired.load() );
    Semaphore.Release( 1 );
    Taker.join();
    EXPECT_TRUE( bAcquired.load() );
    EXPECT_FALSE( Semaphore.TryAcquire( 1 ) );
}

// Producers release one unit at a time against a small maximum, consumers take them: every unit released
// is taken once, and nobody sleeps through a release.
TEST( CSemaphore, LosesNoWakeUpBetweenProducersAndConsumers )
{
    constexpr int nPerThread = 3000;
    constexpr int nPairs = 2;
    CSemaphore Semaphore( 0, 2 );
    std::atomic<int> nTaken{ 0 };
    RunOnThreads( 2 * nPairs,
                  [ & ]( int nIndex )
                  {
                      for ( int I = 0; I < nPerThread; ++I )
                      {
                          if ( nIndex % 2 == 0 )
                          {
                              while ( !Semaphore.Release( 1 ) )
                              {
                                  std::this_thread::yield();
                              }
                          }
                          else
                          {
                              Semaphore.Acquire( 1 );
                              nTaken.fetch_add( 1 );
                          }
                      }
                  } );
    EXPECT_EQ( nTaken.load(), nPairs * nPerThread );
    EXPECT_FALSE( Semaphore.TryAcquire( 1 ) );
}

// The waker must be done with the semaphore once the waiter has its unit: the waiter destroys it at once.
TEST( CSemaphore, AWaiterMayDestroyTheSemaphoreRightAfterAcquire )
{
    for ( int nRound = 0; nRound < 300; ++nRound )
    {
        CSemaphore* pSemaphore = new CSemaphore( 0, 1 );
        std::thread Waiter(
            [pSemaphore]
            {
                pSemaphore->Acquire( 1 );
                delete pSemaphore;
            } );
        ASSERT_TRUE( pSemaphore->Release( 1 ) );
        Waiter.join();
    }
}
