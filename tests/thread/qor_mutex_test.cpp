#include "qor_core/thread/qor_mutex.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr int nThreads = 4;
constexpr int nRounds = 2000;

// Each thread adds to a plain counter under the lock; a lost update or a data race shows.
template <typename LockT>
void ExpectExclusive( LockT& Lock )
{
    int nCounter = 0;
    RunOnThreads( nThreads,
                  [ & ]( int )
                  {
                      for ( int I = 0; I < nRounds; ++I )
                      {
                          CScopedLock<LockT> Scoped( &Lock );
                          nCounter = nCounter + 1;
                      }
                  } );
    EXPECT_EQ( nCounter, nThreads * nRounds );
}
} // namespace

TEST( CMutex, ExcludesAndKnowsItsOwner )
{
    CMutex Mutex( "counter" );
    EXPECT_STREQ( Mutex.GetName(), "counter" );
    ExpectExclusive( Mutex );

    EXPECT_FALSE( Mutex.IsLockedByMe() );
    Mutex.Lock();
    EXPECT_TRUE( Mutex.IsLockedByMe() );
    bool bStrangerGotIt = true;
    bool bStrangerOwns = true;
    RunOnThreads( 1,
                  [ & ]( int )
                  {
                      bStrangerGotIt = Mutex.TryLock();
                      bStrangerOwns = Mutex.IsLockedByMe();
                  } );
    EXPECT_FALSE( bStrangerGotIt );
    EXPECT_FALSE( bStrangerOwns );
    Mutex.Unlock();
    EXPECT_FALSE( Mutex.IsLockedByMe() );
    ASSERT_TRUE( Mutex.TryLock() );
    EXPECT_TRUE( Mutex.IsLockedByMe() );
    Mutex.Unlock();
}

TEST( CMutex, ReportsASecondLockFromTheOwner )
{
    CAssertRecorder Asserts;
    CMutex Mutex;
    Mutex.Lock();
    EXPECT_FALSE( Mutex.TryLock() );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "!IsLockedByMe() && \"Mutex was already locked from this thread\"" } );
    EXPECT_TRUE( Mutex.IsLockedByMe() );
    Mutex.Unlock();
}

TEST( CMutex, ReportsAnUnlockByAStranger )
{
#if defined( __SANITIZE_THREAD__ )
    GTEST_SKIP() << "the thread sanitizer rightly stops a release from a thread that does not hold the lock";
#endif
    CAssertRecorder Asserts;
    CMutex Mutex;
    Mutex.Lock();
    std::thread Stranger( [ & ] { Mutex.Unlock(); } );
    Stranger.join();
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "IsLockedByMe() && \"Mutex was not locked from this thread\"" } );
    // The stranger's unlock still cleared the owner and released the lock.
    EXPECT_FALSE( Mutex.IsLockedByMe() );
    EXPECT_TRUE( Mutex.TryLock() );
    Mutex.Unlock();
}

TEST( CSpinLock, Excludes )
{
    CSpinLock Lock;
    ExpectExclusive( Lock );
}

TEST( CReadWriteSpinLock, AdmitsNoReaderBesideAWriter )
{
    CReadWriteSpinLock Lock;
    std::atomic<int> nReadersInside{ 0 };
    std::atomic<int> nWritersInside{ 0 };
    std::atomic<int> nViolations{ 0 };
    // Guarded by the lock alone: writers make it odd and even again, readers must only see it even.
    int nGuarded = 0;
    RunOnThreads( nThreads,
                  [ & ]( int nIndex )
                  {
                      const bool bWriter = nIndex % 2 == 0;
                      for ( int I = 0; I < nRounds; ++I )
                      {
                          if ( bWriter )
                          {
                              CScopedReadWriteLock Scoped( &Lock );
                              Scoped.WriteLock();
                              if ( nWritersInside.fetch_add( 1 ) != 0 || nReadersInside.load() != 0 )
                              {
                                  nViolations.fetch_add( 1 );
                              }
                              nGuarded = nGuarded + 1;
                              nGuarded = nGuarded + 1;
                              nWritersInside.fetch_sub( 1 );
                          }
                          else
                          {
                              CScopedReadWriteLock Scoped( &Lock );
                              Scoped.ReadLock();
                              nReadersInside.fetch_add( 1 );
                              if ( nWritersInside.load() != 0 || nGuarded % 2 != 0 )
                              {
                                  nViolations.fetch_add( 1 );
                              }
                              nReadersInside.fetch_sub( 1 );
                          }
                      }
                  } );
    EXPECT_EQ( nViolations.load(), 0 );
    EXPECT_EQ( nGuarded, 2 * nRounds * ( nThreads / 2 ) );
}

TEST( CReadWriteSpinLock, AWaitingWriterHoldsOffNewReaders )
{
    CReadWriteSpinLock Lock;
    Lock.ReadLock();
    std::atomic<bool> bWriterIn{ false };
    std::thread Writer(
        [ & ]
        {
            Lock.WriteLock();
            bWriterIn.store( true );
            Lock.WriteUnlock();
        } );
    // Until the writer announces itself, probing readers get in and leave again.
    while ( Lock.TryReadLock() )
    {
        Lock.ReadUnlock();
    }
    EXPECT_FALSE( bWriterIn.load() ) << "a reader is still inside";
    EXPECT_FALSE( Lock.TryWriteLock() ) << "one writer at a time";
    Lock.ReadUnlock();
    Writer.join();
    EXPECT_TRUE( bWriterIn.load() );

    EXPECT_TRUE( Lock.TryWriteLock() );
    EXPECT_FALSE( Lock.TryReadLock() );
    Lock.WriteUnlock();
    EXPECT_TRUE( Lock.TryReadLock() );
    Lock.ReadUnlock();
}

TEST( CScopedReadWriteLock, ReportsUnlocksOfWhatItDoesNotHoldAndReleasesOnExit )
{
    CAssertRecorder Asserts;
    CReadWriteSpinLock Lock;
    {
        CScopedReadWriteLock Scoped( &Lock );
        Scoped.ReadUnlock();
        Scoped.ReadLock();
        Scoped.WriteUnlock();
    }
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "false && \"Trying to read-unlock when not holding a read-lock\"",
                                           "false && \"Trying to write-unlock when not holding a write-lock\"" } ) );
    ASSERT_TRUE( Lock.TryWriteLock() ) << "the read lock went with the scope";
    Lock.WriteUnlock();
    {
        CScopedReadWriteLock Scoped( &Lock );
        Scoped.WriteLock();
        EXPECT_FALSE( Lock.TryReadLock() );
    }
    EXPECT_TRUE( Lock.TryReadLock() ) << "the write lock went with the scope";
    Lock.ReadUnlock();
}
