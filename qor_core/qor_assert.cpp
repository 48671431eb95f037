#include "qor_core/qor_assert.h"

#include "qor_core/container/qor_array.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/platform/qor_debugger.h"
#include "qor_core/platform/qor_terminal_prompt.h"
#include "qor_core/thread/qor_mutex.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

bool g_bAssertsEnabled = true;
bool g_bLogOnly = false;
bool g_bFatalLogOnly = false;

FQorAssertHandler g_pAssertHandler = nullptr;
FQorDumpHandler g_pDumpHandler = nullptr;
// The first priority a program may give: built before, and destroyed after, every static object without one,
// so that assertions and callbacks of any static initialiser or destructor find it alive.
CQorArray<FQorAssertCallback, int32> g_AssertCallbacks __attribute__( ( init_priority( 101 ) ) );

namespace
{
const char* OrPlaceholder( const char* pText, const char* pPlaceholder )
{
    return pText ? pText : pPlaceholder;
}

// Reports go to the error category of the log.
constexpr uint32 c_ErrorCategory = 1;

// The buttons in order, without a debugger and under one.
constexpr const char* c_DialogChoices[ 2 ][ 4 ] = { { "Create Dump", "Ignore", "Always ignore", "Disable Pop-ups" },
                                                     { "Debug", "Ignore", "Always ignore", "Abort" } };
constexpr int c_nDefaultChoice = 2;

CMutex& GetDialogMutex()
{
    static CMutex s_Mutex( "AssertDialog" );
    return s_Mutex;
}

// The fourth button: under a debugger it ends the process; otherwise later reports go to the log only.
void OnDialogHelp( bool bUnderDebugger )
{
    if ( bUnderDebugger )
    {
        NPlatform::FatalExit( 0 );
    }
    g_bLogOnly = true;
}
} // namespace

FQorAssertHandler SetAssertHandler( FQorAssertHandler pHandler )
{
    FQorAssertHandler pPrevious = g_pAssertHandler;
    g_pAssertHandler = pHandler;
    return pPrevious;
}

FQorDumpHandler SetDumpHandler( FQorDumpHandler pHandler )
{
    FQorDumpHandler pPrevious = g_pDumpHandler;
    g_pDumpHandler = pHandler;
    return pPrevious;
}

void AddAssertCallback( FQorAssertCallback pCallback )
{
    if ( !g_AssertCallbacks.Find( pCallback ) )
    {
        g_AssertCallbacks.Add( pCallback );
    }
}

void CallDumpHandler()
{
    if ( g_pDumpHandler )
    {
        g_pDumpHandler();
    }
}

bool LogAssert( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool* pOnce )
{
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Assertion failed: %s:%u (%s)",
               OrPlaceholder( pFile, "<file>" ), nLine, OrPlaceholder( pText, "<assert>" ) );
    *pOnce = true;
    *pBreak = false;
    return true;
}

bool LogAssertFatal( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool* pOnce )
{
    char Line[ 2048 ];
    std::snprintf( Line, sizeof( Line ), "Assertion failed: %s:%u (%s)", OrPlaceholder( pFile, "<file>" ), nLine,
                   OrPlaceholder( pText, "<assert>" ) );
    LogStackTrace( c_ErrorCategory, Line, 0, 100 );
    *pOnce = true;
    *pBreak = false;
    return true;
}

bool ShowAssertDialog( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool bOnce )
{
    *pBreak = false;
    const std::string Expression = OrPlaceholder( pText, "<assert>" );
    const std::string Place = std::string( OrPlaceholder( pFile, "<file>" ) ) + "(" + std::to_string( nLine );
    NPlatform::OutputDebugString( ( "\n\n---------------------------------------------\n"
                                    "Assertion failed:\n"
                                    "Assertion:   " +
                                    Expression + "\nFile:        " + Place +
                                    ").\n"
                                    "---------------------------------------------\n\n" )
                                      .c_str() );
    const std::string DialogText = "Assertion:   " + Expression + "\n\n" + Place + "):\n";
    // LogPrintf ends the line itself.
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "%.*s", int( DialogText.size() - 1 ),
               DialogText.c_str() );

    CScopedLock<CMutex> Lock( &GetDialogMutex() );
    if ( bOnce )
    {
        return true;
    }
    NPlatform::CTerminalPrompt Prompt;
    if ( !Prompt.IsOpen() )
    {
        return true;
    }
    const bool bUnderDebugger = NPlatform::IsDebuggerPresent();
    Prompt.Write( ( "\nAssertion failed.\n" + DialogText + "\n" ).c_str() );
    for ( ;; )
    {
        switch ( Prompt.Choose( c_DialogChoices[ bUnderDebugger ], 4, c_nDefaultChoice ) )
        {
        case 1:
            *pBreak = true;
            return false;
        case 2:
            return false;
        case 4:
            if ( bUnderDebugger )
            {
                // The process ends without unwinding: the terminal gets its mode back first.
                Prompt.Close();
            }
            OnDialogHelp( bUnderDebugger );
            break;
        default:
            // "Always ignore", or the terminal went away while asking.
            return true;
        }
    }
}

bool ReportAssert( const char* pText, const char* pFile, uint32 nLine, bool bFatal, bool* pOnce )
{
    bool bBreak = false;
    for ( FQorAssertCallback pCallback : g_AssertCallbacks )
    {
        pCallback();
    }
    if ( g_pAssertHandler )
    {
        g_pAssertHandler( pText, pFile, nLine, bFatal, &bBreak, pOnce );
        return bBreak;
    }
    if ( bFatal )
    {
        if ( g_bFatalLogOnly )
        {
            LogAssertFatal( pText, pFile, nLine, &bBreak, pOnce );
            *pOnce = true;
            NPlatform::CrashDeliberately();
        }
        *pOnce = ShowAssertDialog( pText, pFile, nLine, &bBreak, *pOnce );
    }
    else if ( g_bLogOnly )
    {
        *pOnce = LogAssert( pText, pFile, nLine, &bBreak, pOnce );
    }
    else
    {
        *pOnce = ShowAssertDialog( pText, pFile, nLine, &bBreak, *pOnce );
    }
    return bBreak;
}

namespace NQorAssert
{
void BreakAfterReport()
{
    NPlatform::DebugBreak();
    CallDumpHandler();
}

bool ReportAssertFormatted( const char* pFile, uint32 nLine, bool bFatal, bool* pOnce, const char* pFormat, ... )
{
    char Message[ 1024 ];
    va_list Args;
    va_start( Args, pFormat );
    std::vsnprintf( Message, sizeof( Message ), pFormat, Args );
    va_end( Args );
    return ReportAssert( Message, pFile, nLine, bFatal, pOnce );
}

const char* ToggleLogOnly( const char* pArgument )
{
    if ( !pArgument )
    {
        g_bLogOnly = !g_bLogOnly;
    }
    else
    {
        g_bLogOnly = std::strcmp( pArgument, "0" ) != 0 && std::strcmp( pArgument, "false" ) != 0 &&
                     std::strcmp( pArgument, "no" ) != 0;
    }
    return g_bLogOnly ? "Enabled" : "Disabled";
}
} // namespace NQorAssert
