#include "qor_core/thread/qor_thread.h"
#include "qor_core/thread/qor_thread_util.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <system_error>
#include <thread>

TEST( NThreads, HardwareThreadCountsFallBackAndClamp )
{
    EXPECT_EQ( NThreads::NDetail::HardwareThreadCountFrom( 0 ), 4 );
    EXPECT_EQ( NThreads::NDetail::HardwareThreadCountFrom( 6 ), 6 );
    EXPECT_EQ( NThreads::NDetail::ClampHardwareThreadCount( 2 ), 4 );
    EXPECT_EQ( NThreads::NDetail::ClampHardwareThreadCount( 12 ), 12 );
    EXPECT_EQ( NThreads::NDetail::ClampHardwareThreadCount( 64 ), 32 );
    EXPECT_GE( NThreads::GetHardwareThreadCount(), 1 );
    EXPECT_GE( NThreads::GetClampedHardwareThreadCount(), 4 );
}

namespace
{
struct SNamedThreadResult
{
    std::string Name;
    uint32 nNumber = 0;
};

uint32 RecordNameAndNumber( void* pArg )
{
    SNamedThreadResult* pResult = static_cast<SNamedThreadResult*>( pArg );
    pResult->Name = NThreads::GetThreadName();
    pResult->nNumber = NThreads::GetThreadNumber();
    return 0;
}

std::atomic<int> g_nWrappedCalls{ 0 };

struct SSelfJoin
{
    std::atomic<NThreads::ThreadHandle> Handle{ nullptr };
    std::errc eError{};
};

bool CountToFive( void* pArg )
{
    return static_cast<std::atomic<int>*>( pArg )->fetch_add( 1 ) + 1 < 5;
}

bool CountForever( void* pArg )
{
    static_cast<std::atomic<int>*>( pArg )->fetch_add( 1 );
    return true;
}
} // namespace

TEST( NThreads, CreatedThreadsKeepTheirFullNameAndDistinctNumbers )
{
    SNamedThreadResult First;
    SNamedThreadResult Second;
    NThreads::ThreadHandle pFirst =
        NThreads::CreateThread( &RecordNameAndNumber, &First, "A name longer than fifteen" );
    NThreads::ThreadHandle pSecond = NThreads::CreateThread( &RecordNameAndNumber, &Second, nullptr );
    NThreads::DestroyThread( pFirst );
    NThreads::DestroyThread( pSecond );

    EXPECT_EQ( First.Name, "A name longer than fifteen" );
    EXPECT_EQ( Second.Name, "" );
    EXPECT_NE( First.nNumber, Second.nNumber );
    EXPECT_NE( First.nNumber, NThreads::GetThreadNumber() );
}

TEST( NThreads, CallbackWrapperRunsEveryNewThreadAndComplainsWhenReplaced )
{
    CAssertRecorder Asserts;
    NThreads::SetThreadCallbackWrapper(
        []( NThreads::FThreadFunction pFunction, void* pArg )
        {
            g_nWrappedCalls.fetch_add( 1 );
            return pFunction( pArg );
        } );
    g_nWrappedCalls.store( 0 );
    SNamedThreadResult Result;
    NThreads::DestroyThread( NThreads::CreateThread( &RecordNameAndNumber, &Result, "Wrapped" ) );
    EXPECT_EQ( g_nWrappedCalls.load(), 1 );
    EXPECT_EQ( Result.Name, "Wrapped" );
    EXPECT_TRUE( Asserts.Texts().empty() );

    NThreads::SetThreadCallbackWrapper( []( NThreads::FThreadFunction pFunction, void* pArg )
                                        { return pFunction( pArg ); } );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Installing multiple thread callback wrappers is not currently supported" } );
    NThreads::DestroyThread( NThreads::CreateThread( &RecordNameAndNumber, &Result, "Other" ) );
    EXPECT_EQ( g_nWrappedCalls.load(), 1 ) << "the second wrapper replaces the first";

    // Every call after the first reports, also the one that removes the wrapper; each still stores.
    NThreads::SetThreadCallbackWrapper( nullptr );
    EXPECT_EQ( Asserts.Texts().size(), 2u );
    NThreads::DestroyThread( NThreads::CreateThread( &RecordNameAndNumber, &Result, "Unwrapped" ) );
    EXPECT_EQ( Result.Name, "Unwrapped" );
}

TEST( NThreads, JoinRefusesNullAndSelf )
{
    CAssertRecorder Asserts;
    NThreads::JoinThread( nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Attempting to operate on a NULL thread." } );

    SSelfJoin Self;
    const NThreads::FThreadFunction JoinSelf = []( void* pArg ) -> uint32
    {
        SSelfJoin* pSelf = static_cast<SSelfJoin*>( pArg );
        NThreads::ThreadHandle Handle;
        while ( !( Handle = pSelf->Handle.load() ) )
        {
        }
        try
        {
            NThreads::JoinThread( Handle );
        }
        catch ( const std::system_error& Error )
        {
            pSelf->eError = static_cast<std::errc>( Error.code().value() );
        }
        return 0;
    };
    NThreads::ThreadHandle Handle = NThreads::CreateThread( JoinSelf, &Self, "Self joiner" );
    Self.Handle.store( Handle );
    NThreads::DestroyThread( Handle );
    EXPECT_EQ( Self.eError, std::errc::resource_deadlock_would_occur );
}

TEST( CThreadLoop, RunsUntilItsFunctionDeclinesOrItIsStopped )
{
    std::atomic<int> nCalls{ 0 };
    CThreadLoop Finite( "Finite loop" );
    EXPECT_FALSE( Finite.IsRunning() );
    Finite.Start( &CountToFive, &nCalls );
    EXPECT_TRUE( Finite.IsRunning() );
    ASSERT_TRUE( WaitUntil( [&] { return nCalls.load() == 5; } ) );
    std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    EXPECT_TRUE( Finite.IsRunning() ) << "the handle stays until a stop that waits";
    Finite.Stop( true );
    EXPECT_FALSE( Finite.IsRunning() );
    EXPECT_EQ( nCalls.load(), 5 ) << "no call after the function declined";

    std::atomic<int> nForever{ 0 };
    CThreadLoop Endless( "Endless loop" );
    Endless.Start( &CountForever, &nForever );
    ASSERT_TRUE( WaitUntil( [&] { return nForever.load() >= 3; } ) );
    Endless.Stop( true );
    const int nStopped = nForever.load();

    // A stopped loop starts again. A second start reports, then goes on: the running loop is stopped and
    // joined, and the new function runs in its place.
    Endless.Start( &CountForever, &nForever );
    ASSERT_TRUE( WaitUntil( [&] { return nForever.load() > nStopped; } ) );
    CAssertRecorder Asserts;
    std::atomic<int> nReplaced{ 0 };
    Endless.Start( &CountToFive, &nReplaced );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_ThreadHandle == nullptr" } );
    const int nReplacedAt = nForever.load();
    EXPECT_TRUE( WaitUntil( [&] { return nReplaced.load() == 5; } ) );
    EXPECT_EQ( nForever.load(), nReplacedAt ) << "the first loop no longer runs";
}
