#pragma once

// The loggers that GetLogger() hands out:
// - CFileLogger writes each message as a line of a file: an optional prefix of local time and source
//   location, then the text with every "\n" written as "\r\n". The line is built outside any lock; only the
//   write stands under the logger's spin lock. A path of the tree ("logs/error.log": relative, '/' only) is a
//   file of the virtual file system under its write directory once the file system has one; before that, and
//   for an absolute path, the file is one of the operating system. A file that can't be opened sends the
//   lines to standard output instead, and so does a write that fails (a full disk): logging never throws.
// - CFilterLogger routes each message by its category to the logger registered for it. The routing table
//   is process-wide and shared by all filters, outlives them, and owns none of the loggers in it.
// - CNullLogger, the default, sends each message to the debugger channel only.
// The routing table and the observers are filled during start-up, before any thread logs: they take no lock.

#include "qor_core/container/qor_array.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/thread/qor_mutex.h"

class CFile;

namespace NFileLogger
{
// The last component of a path: trailing '/' and '\\' are trimmed, then the text after the last of them.
CQorStringView GetFileNamePart( CQorStringView Path );
// Builds in Line the file line of a message under the flags of CFileLogger: "[hh:mm:ss]" for the time,
// "[name:line]" for the location, ": " behind either, and no prefix at all when the file name is empty.
// Every "\n" becomes "\r\n". Returns the count of '\n' in the line.
int32 ComposeLine( CString& Line, uint32 Flags, CQorStringView File, uint32 LineNumber, CQorStringView Message );
} // namespace NFileLogger

class CFileLogger : public CLogger
{
public:
    enum : uint32
    {
        // Flush the file after every line.
        LOG_FLAG_FLUSH = 1,
        // Put the local time in front of the line.
        LOG_FLAG_TIMESTAMP = 2,
        // Put the source file name and line in front of the line.
        LOG_FLAG_LOCATION = 4,
    };

    // Creates or truncates the file. If it can't be opened, asserts and tells standard output, and the
    // logger writes its lines there. A file of the virtual file system keeps a handle open: the logger must go
    // before VFSShutdown.
    CFileLogger( const char* pPath, uint32 Flags );
    ~CFileLogger() override;

    // Counts the message's lines; every category is written, and one that isn't registered is reported.
    void Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) override;
    void Flush() override;
    int GetLoggerType() const override { return LOGGER_TYPE_FILE; }
    // Truncates the file and goes on writing to it. The counters stay.
    void Clear() override;

    CString GetLogFileName() const;

private:
    // The path as given; the file may have failed to open.
    const CString _Path;
    // Null when the file could not be opened.
    CQorScopedPtr<CFile> _pFile;
    uint32 _Flags;
    mutable CSpinLock _Lock;
};

// Sees every message a filter logger gets, before it is routed.
class CLogObserver
{
public:
    virtual ~CLogObserver() = default;
    // pLogger is the category's logger, or null when the category has none and the message is dropped.
    virtual void OnLog( CLogger* pLogger, uint32 Category, CQorStringView File, uint32 Line,
                        const CString& Message ) = 0;
};

// One route of the process-wide table.
struct SLoggerEntry
{
    // Not owned: its owner keeps it alive while it is registered.
    CLogger* _pLogger;
    // The message also goes to the debugger channel.
    bool _bLogToDebugger;
};

// Routes Category to pLogger. A category already routed gets the new logger but keeps its debugger flag.
void AddCategoryLogger( uint32 Category, CLogger* pLogger, bool bLogToDebugger );
// Takes the category's route out of the table; false when it had none.
bool RemoveCategoryLogger( uint32 Category );

class CFilterLogger : public CLogger
{
public:
    // The observers see the message, then the category's logger writes it and counts it; a category with
    // no route drops it silently.
    void Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) override;
    // Flushes the logger of every route.
    void Flush() override;
    int GetLoggerType() const override { return LOGGER_TYPE_FILTER; }
    // The routed logger, or null.
    CLogger* GetLoggerForCategory( uint32 Category ) override;
    // The counters of the routed logger; 0 without a route.
    uint32 GetMessageCount( uint32 Category ) override;
    uint32 GetLineCount( uint32 Category ) override;
    // Clears the logger of every route and resets its counters.
    void Clear() override;

    // The path of the category's logger if it is a file logger, else empty.
    CString GetCategoryLogFileName( uint32 Category );
    // REQUIRES: pObserver outlives its registration; no thread logs meanwhile.
    void AddObserver( CLogObserver* pObserver );
    void RemoveObserver( CLogObserver* pObserver );

private:
    // "file(line): ", the category's name and the thread's name in brackets, then the message.
    static void LogToDebugger( uint32 Category, CQorStringView File, uint32 Line, const CString& Message );

    CQorArray<CLogObserver*> _Observers;
};

// Takes every line and writes it nowhere: for programs whose runs would spend their time in the log (fuzzing,
// measuring).
class CDroppingLogger : public CLogger
{
public:
    void Log( uint32, CQorStringView, uint32, const CString& ) override {}
    void Flush() override {}
    int GetLoggerType() const override { return LOGGER_TYPE_NULL; }
    void Clear() override {}
};

class CNullLogger : public CLogger
{
public:
    // "[file:line] " and the message, to the debugger channel.
    void Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) override;
    void Flush() override {}
    int GetLoggerType() const override { return LOGGER_TYPE_NULL; }
    void Clear() override {}
};
