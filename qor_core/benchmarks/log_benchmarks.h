#pragma once

// The logger of the logging benchmarks, and their set-up and tear-down, shared with the test that checks
// them. CBenchmarkTestLogger does all the work of a file logger short of the write: it reduces the file
// name, builds the prefix with the local time and the location, counts and converts the line ends, and
// takes its spin lock to count the message; then it drops the line.

#include "qor_core/filelogger.h"

class CBenchmarkTestLogger : public CLogger
{
public:
    void Log( uint32, CQorStringView File, uint32 Line, const CString& Message ) override
    {
        CString Text;
        AddLineCount( NFileLogger::ComposeLine( Text, _Flags, File, Line, Message ) );
        CScopedLock<CSpinLock> Lock( &_Lock );
        ++_MessageCount;
    }
    void Flush() override {}
    int GetLoggerType() const override { return LOGGER_TYPE_NULL; }
    void Clear() override {}

    // The messages that reached Log.
    uint32 GetLoggedMessageCount() const
    {
        CScopedLock<CSpinLock> Lock( &_Lock );
        return _MessageCount;
    }

private:
    uint32 _MessageCount = 0;
    uint32 _Flags = CFileLogger::LOG_FLAG_FLUSH | CFileLogger::LOG_FLAG_TIMESTAMP | CFileLogger::LOG_FLAG_LOCATION;
    mutable CSpinLock _Lock;
};

namespace NLogBenchmarks
{
// The category the benchmarks log to: the error category.
constexpr uint32 c_Category = 1;

inline CQorScopedPtr<CBenchmarkTestLogger> g_pBenchmarkTestLogger;
// The messages that the test logger counted in the last run, kept by the tear-down for the tests.
inline uint32 g_nLastRunMessageCount = 0;

// On one thread, before the others log: a filter logger becomes the active logger, and routes the category
// to a new test logger without the debugger channel.
inline void SetUpBenchmarkLogging()
{
    CQorScopedPtr<CFilterLogger> pFilterLogger( new CFilterLogger );
    g_pBenchmarkTestLogger.Reset( new CBenchmarkTestLogger );
    AddCategoryLogger( c_Category, g_pBenchmarkTestLogger.Get(), false );
    SetLogger( std::move( pFilterLogger ) );
}

// On one thread, after the others stopped logging. The category's route keeps pointing at the destroyed
// test logger until the next set-up replaces it: nothing logs to the filter in between.
inline void TearDownBenchmarkLogging()
{
    g_nLastRunMessageCount = g_pBenchmarkTestLogger->GetLoggedMessageCount();
    SetLogger( {} );
    g_pBenchmarkTestLogger.Reset();
}
} // namespace NLogBenchmarks
