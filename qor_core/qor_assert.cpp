#include "qor_core/qor_assert.h"

#include "qor_core/container/qor_array.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/platform/qor_debugger.h"

#include <cstdarg>
#include <cstdio>

bool g_bAssertsEnabled = true;
bool g_bLogOnly = false;
bool g_bFatalLogOnly = false;

namespace
{
FQorAssertHandler g_pAssertHandler = nullptr;
FQorDumpHandler g_pDumpHandler = nullptr;

// Built on first use: an assertion may fire during another unit's static initialisation.
CQorArray<FQorAssertCallback>& GetAssertCallbacks()
{
    static CQorArray<FQorAssertCallback> s_AssertCallbacks;
    return s_AssertCallbacks;
}

const char* OrPlaceholder( const char* pText, const char* pPlaceholder )
{
    return pText ? pText : pPlaceholder;
}

// Reports go to the error category of the log.
constexpr uint32 c_ErrorCategory = 1;
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
    CQorArray<FQorAssertCallback>& Callbacks = GetAssertCallbacks();
    if ( !Callbacks.Find( pCallback ) )
    {
        Callbacks.Add( pCallback );
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

// A process without a terminal to ask is never blocked: the report is logged and the site silenced, as
// "Always ignore" would do.
bool ShowAssertDialog( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool bOnce )
{
    *pBreak = false;
    if ( bOnce )
    {
        return true;
    }
    bool bOnceAfterLog = false;
    LogAssert( pText, pFile, nLine, pBreak, &bOnceAfterLog );
    return bOnceAfterLog;
}

bool ReportAssert( const char* pText, const char* pFile, uint32 nLine, bool bFatal, bool* pOnce )
{
    bool bBreak = false;
    for ( FQorAssertCallback pCallback : GetAssertCallbacks() )
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
} // namespace NQorAssert
