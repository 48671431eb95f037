#include "qor_core/qor_assert.h"

#include "qor_core/container/qor_array.h"
#include "qor_core/log_deprecated.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
// The test program never waits for a person, whether ctest runs it or someone at a terminal: a report that
// reaches the dialog is logged and the site silenced.
[[maybe_unused]] const int g_nNoPrompt = setenv( "CI", "1", 0 );

int g_nCallbackRuns = 0;
int g_nDumps = 0;

// One site, so that a test sees its once flag over several failures.
void AssertPositive( int nValue )
{
    QOR_ASSERT( nValue > 0 );
}

// A hot-path site, with a once flag of its own.
void CheckPositive( int nValue )
{
    QOR_CHECK( nValue > 0 );
}
int g_nHandlerCalls = 0;

// The default logger puts "[file:line] " of the log call, inside the assertion code, in front of each
// message; what follows is the assertion's own line.
std::string WithoutLogLocation( const std::string& Text )
{
    const size_t nEnd = Text.find( "] " );
    if ( Text.rfind( '[', 0 ) != 0 || nEnd == std::string::npos ||
         Text.substr( 0, nEnd ).find( "qor_assert.cpp:" ) == std::string::npos )
    {
        return "no location of the assertion code in: " + Text;
    }
    return Text.substr( nEnd + 2 );
}

// Restores the process-wide switches a test changes.
struct SSwitchesGuard
{
    bool bEnabled = g_bAssertsEnabled;
    bool bLogOnly = g_bLogOnly;
    ~SSwitchesGuard()
    {
        g_bAssertsEnabled = bEnabled;
        g_bLogOnly = bLogOnly;
    }
};

// Tells on standard error what the faulting store writes, then lets the store run again unhandled. On x86-64
// the value is either the immediate of the faulting instruction or in the register it stores from.
void DescribeCrashStore( int, siginfo_t* pInfo, void* pContext )
{
    bool bStores47283 = false;
#if defined( __x86_64__ )
    const greg_t* pRegisters = static_cast<ucontext_t*>( pContext )->uc_mcontext.gregs;
    const unsigned char* pCode = reinterpret_cast<const unsigned char*>( pRegisters[REG_RIP] );
    const unsigned char Immediate[] = { 0xb3, 0xb8, 0x00, 0x00 };
    for ( int I = 0; I + 4 <= 15; ++I )
    {
        bStores47283 = bStores47283 || std::memcmp( pCode + I, Immediate, 4 ) == 0;
    }
    for ( int I = 0; I < NGREG; ++I )
    {
        bStores47283 = bStores47283 || ( I != REG_RIP && ( pRegisters[I] & 0xffffffff ) == 47283 );
    }
#else
    (void)pContext;
    bStores47283 = true;
#endif
    const char* pText =
        bStores47283 && pInfo->si_addr == nullptr ? "stores 47283 at address 0\n" : "stores another value\n";
    [[maybe_unused]] const ssize_t nWritten = write( 2, pText, std::strlen( pText ) );
    signal( SIGSEGV, SIG_DFL );
}
} // namespace

TEST( QorAssert, ReportsConditionTextFileAndLine )
{
    CAssertRecorder Asserts;
    const int nValue = 3;
    const uint32 nLine = __LINE__ + 1;
    QOR_ASSERT( nValue == 4 && "value must be four" );
    ASSERT_EQ( Asserts.Reports().size(), 1u );
    EXPECT_EQ( Asserts.Reports()[ 0 ].Text, "nValue == 4 && \"value must be four\"" );
    EXPECT_EQ( Asserts.Reports()[ 0 ].File, __FILE__ );
    EXPECT_EQ( Asserts.Reports()[ 0 ].nLine, nLine );

    QOR_ASSERT( nValue == 3 );
    EXPECT_EQ( Asserts.Reports().size(), 1u );
}

TEST( QorAssert, MessageFormReportsTheFormattedMessage )
{
    CAssertRecorder Asserts;
    const int nCount = 7;
    QOR_ASSERT_MSG( nCount < 5, "Warning: %d entries in chain '%s'", nCount, "main" );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Warning: 7 entries in chain 'main'" } );
}

TEST( QorAssert, DisabledAssertionsNeitherEvaluateNorReport )
{
    SSwitchesGuard Guard;
    CAssertRecorder Asserts;
    g_bAssertsEnabled = false;
    int nEvaluations = 0;
    QOR_ASSERT( ++nEvaluations < 0 );
    EXPECT_EQ( nEvaluations, 0 );
    EXPECT_TRUE( Asserts.Reports().empty() );
}

// A hot-path check reports as the assertion does: its condition's text or its message, at its line, once per
// site when the handler sets the flag, and nothing with the switch off.
TEST( QorAssert, ChecksReportAsAssertionsDo )
{
    SSwitchesGuard Guard;
    {
        CAssertRecorder Asserts;
        const int nValue = 3;
        const uint32 nLine = __LINE__ + 1;
        QOR_CHECK( nValue == 4 );
        QOR_CHECK( nValue == 3 );
        QOR_CHECK_MSG( nValue < 2, "Warning: %d", nValue );
        QOR_CHECK_MSG( nValue > 2, "never" );
        g_bAssertsEnabled = false;
        QOR_CHECK( nValue == 5 );
        QOR_CHECK_MSG( nValue == 5, "off" );
        g_bAssertsEnabled = true;
        EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "nValue == 4", "Warning: 3" } ) );
        ASSERT_FALSE( Asserts.Reports().empty() );
        EXPECT_EQ( Asserts.Reports()[ 0 ].nLine, nLine );
    }
    g_nHandlerCalls = 0;
    const FQorAssertHandler pPrevious = SetAssertHandler(
        []( const char*, const char*, uint32, bool, bool*, bool* pOnce )
        {
            ++g_nHandlerCalls;
            *pOnce = true;
        } );
    CheckPositive( 0 );
    CheckPositive( -1 );
    SetAssertHandler( pPrevious );
    EXPECT_EQ( g_nHandlerCalls, 1 ) << "a site whose flag was set stays silent";
}

TEST( QorAssert, HandlerOwnsTheOnceFlag )
{
    {
        CAssertRecorder Asserts;
        AssertPositive( 0 );
        AssertPositive( -1 );
        EXPECT_EQ( Asserts.Reports().size(), 2u ) << "the recorder leaves the once flag alone";
    }
    const FQorAssertHandler pPrevious =
        SetAssertHandler( []( const char*, const char*, uint32, bool, bool*, bool* pOnce ) { *pOnce = true; } );
    AssertPositive( 0 );
    SetAssertHandler( pPrevious );
    CAssertRecorder Asserts;
    AssertPositive( 0 );
    EXPECT_TRUE( Asserts.Reports().empty() ) << "a handler that set the once flag silences the site";
}

TEST( QorAssert, CallbacksRunBeforeEachReportAndAreAddedOnce )
{
    CAssertRecorder Asserts;
    const FQorAssertCallback CountCallback = [] { ++g_nCallbackRuns; };
    AddAssertCallback( CountCallback );
    AddAssertCallback( CountCallback );
    EXPECT_EQ( std::count( g_AssertCallbacks.begin(), g_AssertCallbacks.end(), CountCallback ), 1 );
    g_nCallbackRuns = 0;
    for ( int I = 0; I < 3; ++I )
    {
        QOR_ASSERT( I < 0 );
    }
    EXPECT_EQ( g_nCallbackRuns, 3 );
}

TEST( QorAssert, BreakRequestCallsTheDumpHandler )
{
    const FQorDumpHandler CountDump = [] { ++g_nDumps; };
    const FQorAssertHandler AskForBreak = []( const char*, const char*, uint32, bool, bool* pBreak, bool* )
    { *pBreak = true; };
    const FQorDumpHandler pPreviousDump = SetDumpHandler( CountDump );
    const FQorAssertHandler pPrevious = SetAssertHandler( AskForBreak );
    EXPECT_EQ( g_pDumpHandler, CountDump );
    EXPECT_EQ( g_pAssertHandler, AskForBreak );
    g_nDumps = 0;
    for ( int I = 0; I < 2; ++I )
    {
        QOR_ASSERT( I < 0 );
    }
    SetAssertHandler( pPrevious );
    SetDumpHandler( pPreviousDump );
    EXPECT_EQ( g_nDumps, 2 );
}

TEST( QorAssert, LogOnlyModeLogsEachSiteOnce )
{
    SSwitchesGuard Guard;
    g_bLogOnly = true;
    SetLogger( {} );
    testing::internal::CaptureStderr();
    const int nLine = __LINE__ + 3;
    for ( int I = 0; I < 3; ++I )
    {
        QOR_ASSERT( I > 5 );
    }
    const std::string Expected =
        std::string( "Assertion failed: " ) + __FILE__ + ":" + std::to_string( nLine ) + " (I > 5)\n";
    EXPECT_EQ( WithoutLogLocation( testing::internal::GetCapturedStderr() ), Expected );
}

// The test program runs with CI set: the dialog asks nobody, tells the debugger channel (standard error) and the
// log, and silences the site as "Always ignore" would.
TEST( QorAssert, DialogWithoutAPersonLogsOnceAndSilencesTheSite )
{
    SSwitchesGuard Guard;
    g_bLogOnly = false;
    SetLogger( {} );
    testing::internal::CaptureStderr();
    const int nLine = __LINE__ + 3;
    for ( int I = 0; I < 3; ++I )
    {
        QOR_ASSERT( I > 5 );
    }
    const std::string Place = std::string( __FILE__ ) + "(" + std::to_string( nLine );
    const std::string Captured = testing::internal::GetCapturedStderr();
    const std::string DebuggerText = "\n\n---------------------------------------------\nAssertion failed:\n"
                                     "Assertion:   I > 5\nFile:        " +
                                     Place + ").\n---------------------------------------------\n\n";
    ASSERT_EQ( Captured.substr( 0, DebuggerText.size() ), DebuggerText );
    EXPECT_EQ( WithoutLogLocation( Captured.substr( DebuggerText.size() ) ),
               "Assertion:   I > 5\n\n" + Place + "):\n" );
}

TEST( QorAssert, LogAssertPrintsPlaceholdersForNullStrings )
{
    bool bBreak = true;
    bool bOnce = false;
    SetLogger( {} );
    testing::internal::CaptureStderr();
    EXPECT_TRUE( LogAssert( nullptr, nullptr, 42, &bBreak, &bOnce ) );
    EXPECT_EQ( WithoutLogLocation( testing::internal::GetCapturedStderr() ),
               "Assertion failed: <file>:42 (<assert>)\n" );
    EXPECT_TRUE( bOnce );
    EXPECT_FALSE( bBreak );
}

TEST( QorAssertDeathTest, FatalLogOnlyReportStores47283AtAddressZero )
{
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    EXPECT_EXIT(
        {
            struct sigaction Action = {};
            Action.sa_sigaction = &DescribeCrashStore;
            Action.sa_flags = SA_SIGINFO;
            sigaction( SIGSEGV, &Action, nullptr );
            g_bFatalLogOnly = true;
            static bool s_bOnce = false;
            ReportAssert( "fatal condition", "file.cpp", 12, true, &s_bOnce );
        },
        testing::KilledBySignal( SIGSEGV ),
        "Assertion failed: file.cpp:12 \\(fatal condition\\)\n.*LogAssertFatal.*\n.*ReportAssert.*\n.*"
        "QorAssertDeathTest_FatalLogOnlyReportStores47283AtAddressZero_Test::TestBody.*stores 47283 at address 0" );
}
