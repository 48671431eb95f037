#include "qor_core/log_deprecated.h"

#include "qor_core/filelogger.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <limits>
#include <set>
#include <string>
#include <type_traits>

namespace
{
// Tells whether it was destroyed.
class CWatchedLogger : public CRecordingLogger
{
public:
    explicit CWatchedLogger( bool* pDestroyed ) : _pDestroyed( pDestroyed ) {}
    ~CWatchedLogger() override { *_pDestroyed = true; }

private:
    bool* _pDestroyed;
};

// Logs a second message from inside Log, through the printf path, as a logger that asserts would.
class CReentrantLogger : public CRecordingLogger
{
public:
    void Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) override
    {
        CRecordingLogger::Log( Category, File, Line, Message );
        if ( Category == 7 )
        {
            LogPrintf( SLogLocation( "inner.cpp", 2, 8 ), "inner %d", 2 );
        }
    }
};

} // namespace

TEST( GetLogger, DefaultsToANullLoggerAndSetLoggerReplacesIt )
{
    CLogGuard Guard;
    SetLogger( {} );
    CLogger* pDefault = GetLogger();
    EXPECT_EQ( pDefault->GetLoggerType(), CLogger::LOGGER_TYPE_NULL );
    EXPECT_EQ( GetLogger(), pDefault );

    bool bDestroyed = false;
    CWatchedLogger* pWatched = new CWatchedLogger( &bDestroyed );
    SetLogger( CQorScopedPtr<CLogger>( pWatched ) );
    EXPECT_EQ( GetLogger(), pWatched );
    SetLogger( {} );
    EXPECT_TRUE( bDestroyed );
    EXPECT_EQ( GetLogger()->GetLoggerType(), CLogger::LOGGER_TYPE_NULL );
}

TEST( CLogStream, LogsOnDestructionWithCountsAndRawValues )
{
    CLogRecorder Log;
    const std::string Owned = "owned";
    {
        CLogStream Stream( GetLogger(), "src/unit.cpp", 17, 5 );
        Stream << std::hex << "a " << CQorStringView( "view" ) << ' ' << Owned << ' ' << int32( -255 ) << ' '
               << std::numeric_limits<uint32>::max() << ' ' << 0.1f << '\n'
               << "second" << std::endl;
        EXPECT_TRUE( Log.Logger().Messages().empty() ) << "nothing is logged before the stream dies";
    }
    EXPECT_EQ( Log.Logger().Messages(), ( std::vector<SLoggedMessage>{
                                        { 5, "src/unit.cpp", 17, "a view owned -255 4294967295 0.1\nsecond\n" } } ) )
        << "std::hex must not apply";
    EXPECT_EQ( Log.Logger().GetMessageCounter(), 1u );
    EXPECT_EQ( Log.Logger().GetLineCounter(), 2u );
}

// Every arithmetic operand is written raw and keeps the chain on the log stream, whatever came before it.
TEST( CLogStream, EveryArithmeticTypeIsWrittenRawAndChains )
{
    CLogRecorder Log;
    {
        CLogStream Stream( GetLogger(), "unit.cpp", 1, 5 );
        Stream << std::hex << std::showpos << std::boolalpha << int64( 1 ) << ' ' << int32( 255 ) << ' ' << true << ' '
               << int8( -8 ) << ' ' << uint8( 200 ) << ' ' << int16( -16 ) << ' ' << uint16( 65535 ) << ' '
               << uint64( 18446744073709551615ull ) << ' ' << int64( -9223372036854775807 - 1 ) << ' ' << 2.5 << ' '
               << 0.1 << ' ' << 1.5L << ' ' << -0.25f << ' ' << false << ' ' << 42L << ' ' << 43UL << ' '
               << (long long)( -44 ) << ' ' << (unsigned long long)( 45 ) << ' ' << short( 46 ) << ' '
               << (unsigned short)( 47 ) << ' ' << (signed char)( 48 ) << ' ' << (unsigned char)( 49 ) << ' ' << 50u
               << ' ' << 51;
        static_assert( std::is_same_v<decltype( Stream << int64( 1 ) << uint8( 1 ) << 1.0 << true ), CLogStream&> );
    }
    EXPECT_EQ( Log.Texts(), std::vector<std::string>{ "1 255 1 -8 200 -16 65535 18446744073709551615 "
                                                      "-9223372036854775808 2.5 0.1 1.5 -0.25 0 42 43 -44 45 46 "
                                                      "47 48 49 50 51" } );
}

TEST( LogPrintf, AddsOneLineEndAndLeavesTheCountersAlone )
{
    CLogRecorder Log;
    LogPrintf( SLogLocation( "a/b.cpp", 12, 4 ), "value %d of '%s'", 42, "x" );
    EXPECT_EQ( Log.Logger().Messages(), ( std::vector<SLoggedMessage>{ { 4, "a/b.cpp", 12, "value 42 of 'x'\n" } } ) );
    EXPECT_EQ( Log.Logger().GetMessageCounter(), 0u );
    EXPECT_EQ( Log.Logger().GetLineCounter(), 0u );
}

TEST( LogPrintf, CutsALongTextTo8190CharactersAndANewline )
{
    CLogRecorder Log;
    CAssertRecorder Asserts;
    const std::string Long( 9000, 'x' );
    LogPrintf( SLogLocation( "f.cpp", 1, 1 ), "%s", Long.c_str() );
    EXPECT_EQ( Log.Texts(), std::vector<std::string>{ std::string( 8190, 'x' ) + "\n" } );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nResult >= 0 && nResult < nLimit" } );
}

TEST( LogPrintf, AFormatErrorLogsTheFormatItself )
{
    CLogRecorder Log;
    CAssertRecorder Asserts;
    // A wide character with no narrow form in the C locale fails the conversion.
    LogPrintf( SLogLocation( "f.cpp", 1, 1 ), "wide %ls", L"\u00e9" );
    EXPECT_EQ( Log.Texts(), std::vector<std::string>{ "wide %ls" } );
    EXPECT_EQ( Asserts.Reports().size(), 1u );
}

TEST( LogPrintf, ACallFromInsideLogDoesNotWaitOnItself )
{
    CLogGuard Guard;
    CReentrantLogger* pReentrant = new CReentrantLogger;
    SetLogger( CQorScopedPtr<CLogger>( pReentrant ) );
    LogPrintf( SLogLocation( "outer.cpp", 1, 7 ), "outer %d", 1 );
    LogPrintf( SLogLocation( "after.cpp", 3, 9 ), "after %d", 3 );
    EXPECT_EQ( pReentrant->Texts(), ( std::vector<std::string>{ "outer 1\n", "inner 2\n", "after 3\n" } ) );
}

TEST( LogPrintf, ThreadsSharingTheBufferLoseAndMixNoMessage )
{
    constexpr int nThreads = 4;
    constexpr int nMessages = 200;
    for ( int Round = 0; Round < 5; ++Round )
    {
        CLogRecorder Log;
        RunOnThreads( nThreads, []( int Thread ) {
            for ( int I = 0; I < nMessages; ++I )
            {
                LogPrintf( SLogLocation( "t.cpp", uint32( Thread ), 1 ), "thread %d message %d", Thread, I );
            }
        } );
        std::set<std::string> Seen;
        for ( const SLoggedMessage& Message : Log.Logger().Messages() )
        {
            EXPECT_EQ( Message.Text.rfind( "thread " + std::to_string( Message.Line ) + " message ", 0 ), 0u )
                << Message.Text;
            EXPECT_TRUE( Seen.insert( Message.Text ).second ) << "twice: " << Message.Text;
        }
        EXPECT_EQ( Seen.size(), size_t( nThreads * nMessages ) ) << "round " << Round;
    }
}

TEST( LogAssert, WritesOneErrorLineToTheActiveLogger )
{
    CLogRecorder Log;
    bool bBreak = true;
    bool bOnce = false;
    EXPECT_TRUE( LogAssert( "x > 0", "src/file.cpp", 31, &bBreak, &bOnce ) );
    EXPECT_TRUE( bOnce );
    EXPECT_FALSE( bBreak );
    bOnce = false;
    LogAssertFatal( "y", nullptr, 5, &bBreak, &bOnce );
    EXPECT_TRUE( bOnce );
    const std::vector<SLoggedMessage> Messages = Log.Logger().Messages();
    ASSERT_EQ( Messages.size(), 2u );
    EXPECT_EQ( Messages[ 0 ].Category, 1u );
    EXPECT_EQ( Messages[ 0 ].Text, "Assertion failed: src/file.cpp:31 (x > 0)\n" );
    EXPECT_EQ( Messages[ 1 ].Category, 1u );
    EXPECT_EQ( Messages[ 1 ].Text.rfind( "Assertion failed: <file>:5 (y)\n", 0 ), 0u ) << "then the stack text";
}

TEST( GetLoggerErrorCount, CountsTheErrorCategoryOfTheRoutedLogger )
{
    CLogGuard Guard( { 1, 2 } );
    CRecordingLogger Errors;
    CRecordingLogger Debug;
    AddCategoryLogger( 1, &Errors, false );
    AddCategoryLogger( 2, &Debug, false );
    SetLogger( CQorScopedPtr<CLogger>( new CFilterLogger ) );
    bool bBreak = false;
    bool bOnce = false;
    LogAssert( "a", "f.cpp", 1, &bBreak, &bOnce );
    LogAssert( "b", "f.cpp", 2, &bBreak, &bOnce );
    LogPrintf( SLogLocation( "f.cpp", 3, 2 ), "debug" );
    EXPECT_EQ( GetLoggerErrorCount(), 2u );
    EXPECT_EQ( Debug.GetMessageCounter(), 1u );
    FlushLog();
    EXPECT_EQ( Errors.Flushes(), 1 );
    EXPECT_EQ( Debug.Flushes(), 1 );
}
