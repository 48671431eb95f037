#pragma once

// Assertions stay compiled in, in every build: they are the library's only reaction to a programming error.
// A failed site reports once through ReportAssert and execution goes on behind the macro with whatever
// values the caller mends. A passing site costs a load of g_bAssertsEnabled, a load of its once flag and
// the condition; everything else is out of line. The hot-path checks (QOR_CHECK) cost their condition alone.

#include "qor_core/qor_types.h"

// Every assertion site reads it first. Nothing in the library changes it.
extern bool g_bAssertsEnabled;
// Non-fatal reports go to the log only.
extern bool g_bLogOnly;
// Fatal reports go to the log only, then the process crashes on purpose.
extern bool g_bFatalLogOnly;

// Replaces all built-in reporting. It may ask for a debug break through pBreak; the once flag is its to set.
using FQorAssertHandler = void ( * )( const char* pText, const char* pFile, uint32 nLine, bool bFatal, bool* pBreak,
                                      bool* pOnce );
using FQorAssertCallback = void ( * )();
using FQorDumpHandler = void ( * )();

template <typename T, typename SizeT> class CQorArray;

// Set by SetAssertHandler; null means the built-in reporting below.
extern FQorAssertHandler g_pAssertHandler;
// Set by SetDumpHandler; writes a crash dump when a report asks for a break.
extern FQorDumpHandler g_pDumpHandler;
// Run in order before each report. Filled through AddAssertCallback during start-up; not locked. It is built
// before every other static object of the program, so a static initialiser may add to it.
extern CQorArray<FQorAssertCallback, int32> g_AssertCallbacks;

// Installs a handler (null restores built-in reporting) and returns the one it replaces.
FQorAssertHandler SetAssertHandler( FQorAssertHandler pHandler );
FQorDumpHandler SetDumpHandler( FQorDumpHandler pHandler );
// Adds a function to run before each report, unless it is present already. Meant for start-up: not locked.
void AddAssertCallback( FQorAssertCallback pCallback );

// Runs the callbacks, then the handler or the built-in path. Returns true when a debug break is wanted.
bool ReportAssert( const char* pText, const char* pFile, uint32 nLine, bool bFatal, bool* pOnce );
// One error line "Assertion failed: %s:%u (%s)"; sets *pOnce, clears *pBreak, returns true.
bool LogAssert( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool* pOnce );
// As LogAssert, with the call stack behind the line.
bool LogAssertFatal( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool* pOnce );
// Tells the debugger channel and the log (one error line) of the report, then asks the person at the terminal,
// one dialog at a time in the process:
//   [1] "Create Dump", or "Debug" under a debugger: *pBreak becomes true, and the site can fire again;
//   [2] "Ignore" (the default): the site can fire again;
//   [3] "Always ignore": the site falls silent;
//   [4] "Disable Pop-ups": later reports go to the log only (g_bLogOnly), and the question stays; under a
//       debugger the button reads "Abort" and ends the process at once.
// Without a terminal, or with CI set in the environment, nobody is asked: the site falls silent, as "Always
// ignore" would have it. The result is the new value of the site's once flag; with bOnce set it is true at
// once.
bool ShowAssertDialog( const char* pText, const char* pFile, uint32 nLine, bool* pBreak, bool bOnce );
void CallDumpHandler();

namespace NQorAssert
{
// After a report that asked for it: a debug break under a debugger, then the dump handler.
void BreakAfterReport();
// The message form: formats into a buffer of 1024 characters and reports the result as the text.
bool ReportAssertFormatted( const char* pFile, uint32 nLine, bool bFatal, bool* pOnce, const char* pFormat, ... )
    __attribute__( ( format( printf, 5, 6 ) ) );
} // namespace NQorAssert

#define QOR_ASSERT_REPORT_( Condition, ReportCall )                                                                   \
    do                                                                                                                 \
    {                                                                                                                  \
        static bool s_bQorAssertOnce = false;                                                                          \
        if ( g_bAssertsEnabled && !s_bQorAssertOnce && !( Condition ) ) [[unlikely]]                                  \
        {                                                                                                              \
            if ( ReportCall )                                                                                          \
            {                                                                                                          \
                NQorAssert::BreakAfterReport();                                                                        \
            }                                                                                                          \
        }                                                                                                              \
    } while ( false )

// Reports the condition's own text.
#define QOR_ASSERT( Condition )                                                                                        \
    QOR_ASSERT_REPORT_( Condition, ReportAssert( #Condition, __FILE__, __LINE__, false, &s_bQorAssertOnce ) )

// Reports a printf-style message instead of the condition's text.
#define QOR_ASSERT_MSG( Condition, ... )                                                                               \
    QOR_ASSERT_REPORT_( Condition, NQorAssert::ReportAssertFormatted( __FILE__, __LINE__, false, &s_bQorAssertOnce,   \
                                                                      __VA_ARGS__ ) )

// The hot-path forms, for a condition with no side effects: it is tested first, and only when it fails are the
// switch and the once flag read, so a passing check costs the condition alone. The report, and when it comes,
// are those of QOR_ASSERT and QOR_ASSERT_MSG: with the switch off a failing condition reports nothing.
#define QOR_CHECK( Condition )                                                                                         \
    do                                                                                                                 \
    {                                                                                                                  \
        if ( !( Condition ) ) [[unlikely]]                                                                             \
        {                                                                                                              \
            QOR_ASSERT_REPORT_( false, ReportAssert( #Condition, __FILE__, __LINE__, false, &s_bQorAssertOnce ) );     \
        }                                                                                                              \
    } while ( false )

#define QOR_CHECK_MSG( Condition, ... )                                                                                \
    do                                                                                                                 \
    {                                                                                                                  \
        if ( !( Condition ) ) [[unlikely]]                                                                             \
        {                                                                                                              \
            QOR_ASSERT_MSG( false, __VA_ARGS__ );                                                                      \
        }                                                                                                              \
    } while ( false )
