#pragma once

// The library's log: every message goes to one process-wide CLogger with a category (a small integer: 1 is
// the error category, 2 the debug category), a source location and a text. There are two ways in:
// - the stream path: a temporary CLogStream collects values and logs when it dies. It shares nothing with
//   other threads until the logger's own write, so it scales with the threads that log;
// - the printf path: LogPrintf formats into one shared 8192-byte buffer under one mutex, so it allocates
//   nothing for formatting but serialises every caller.
// GetLogger() never returns null: before any logger is installed, and after SetLogger( {} ), it hands
// out a CNullLogger, which writes to the debugger channel. Installing a logger is start-up work: SetLogger
// must not run while other threads log.

#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <atomic>
#include <sstream>
#include <string>

class CLogger
{
public:
    // The values of GetLoggerType.
    enum : int
    {
        LOGGER_TYPE_FILE = 1,
        LOGGER_TYPE_FILTER = 2,
        LOGGER_TYPE_NULL = 3,
    };

    CLogger() = default;
    CLogger( const CLogger& ) = delete;
    CLogger& operator=( const CLogger& ) = delete;
    virtual ~CLogger() = default;

    // Takes one message. Any thread may call it.
    virtual void Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) = 0;
    virtual void Flush() = 0;
    virtual int GetLoggerType() const = 0;
    // The logger that writes the category's messages: this one, unless the logger routes.
    virtual CLogger* GetLoggerForCategory( uint32 Category );
    // The counts of the category's logger; 0 for a logger that doesn't route.
    virtual uint32 GetMessageCount( uint32 Category );
    virtual uint32 GetLineCount( uint32 Category );
    // Starts the output over, as far as the logger has one.
    virtual void Clear() = 0;

    void AddMessageCount() { _MessageCounter.fetch_add( 1 ); }
    void AddLineCount( int32 Count ) { _LineCounter.fetch_add( uint32( Count ) ); }
    void ResetCounters()
    {
        _LineCounter.store( 0 );
        _MessageCounter.store( 0 );
    }
    // The counters themselves, which a routing logger reads on its targets.
    uint32 GetMessageCounter() const { return _MessageCounter.load(); }
    uint32 GetLineCounter() const { return _LineCounter.load(); }

private:
    std::atomic<uint32> _MessageCounter{ 0 };
    std::atomic<uint32> _LineCounter{ 0 };
};

// Where a message comes from. A null file is the empty text.
struct SLogLocation
{
    SLogLocation( const char* pFile, uint32 Line, uint32 Category )
        : _File( pFile ? pFile : "" ), _Line( Line ), _Category( Category )
    {
    }

    CQorStringView _File;
    uint32 _Line;
    uint32 _Category;
};

// A temporary that collects one message and logs it when destroyed: the text, then the message counter and
// the count of its '\n' characters on the logger, then Log. It adds no line end: callers end their text
// with std::endl. Strings, views, characters and every arithmetic type are written raw to the buffer, without
// the stream's formatting state, and keep the chain on this class: integers in decimal (the 8-bit ones as
// numbers, not characters), bool as 1 or 0, floating point as the shortest text that reads back the same.
// Other types take the standard stream's operators.
class CLogStream : public std::ostringstream
{
public:
    // REQUIRES: pFile, if not null, outlives the stream.
    CLogStream( CLogger* pLogger, const char* pFile, uint32 Line, uint32 Category );
    CLogStream( CLogger* pLogger, const SLogLocation& Location );
    // Copies where the message goes, not the text collected so far.
    CLogStream( const CLogStream& Other );
    CLogStream& operator=( const CLogStream& ) = delete;
    ~CLogStream() override;

    using std::ostringstream::operator<<;
    CLogStream& operator<<( const char* pText );
    CLogStream& operator<<( CQorStringView Text );
    CLogStream& operator<<( const std::string& Text );
    CLogStream& operator<<( char Char );
    CLogStream& operator<<( bool Value );
    CLogStream& operator<<( signed char Value );
    CLogStream& operator<<( unsigned char Value );
    CLogStream& operator<<( short Value );
    CLogStream& operator<<( unsigned short Value );
    CLogStream& operator<<( int Value );
    CLogStream& operator<<( unsigned int Value );
    CLogStream& operator<<( long Value );
    CLogStream& operator<<( unsigned long Value );
    CLogStream& operator<<( long long Value );
    CLogStream& operator<<( unsigned long long Value );
    CLogStream& operator<<( float Value );
    CLogStream& operator<<( double Value );
    CLogStream& operator<<( long double Value );
    // std::endl and the other manipulators, keeping the chain on this class.
    CLogStream& operator<<( std::ostream& ( *pManipulator )( std::ostream& ) );
    CLogStream& operator<<( std::ios_base& ( *pManipulator )( std::ios_base& ) );

private:
    void WriteRaw( const char* pData, size_t Size ) { rdbuf()->sputn( pData, std::streamsize( Size ) ); }
    template <typename ArithmeticT> CLogStream& WriteNumber( ArithmeticT Value );

    CLogger* _pLogger;
    CQorStringView _File;
    uint32 _Line;
    uint32 _Category;
};

// The active logger; installs a CNullLogger first when there is none.
CLogger* GetLogger();
// Installs pLogger and destroys the logger it replaces. An empty pointer ( SetLogger( {} ) ) leaves the next
// GetLogger() to make a fresh CNullLogger. REQUIRES: no other thread logs meanwhile.
void SetLogger( CQorScopedPtr<CLogger> pLogger );

// Formats printf-style and logs the text with one '\n' added. Texts above 8190 characters are cut (the
// formatter asserts); a format error logs the format itself. Serialised on one process-wide mutex; a call
// made from inside another on the same thread (an assertion while formatting, a logger that logs) formats
// into a buffer of its own instead of waiting on itself.
void LogPrintf( const SLogLocation& Location, const char* pFormat, ... ) __attribute__( ( format( printf, 2, 3 ) ) );

// Logs Text, a newline and the text of the present call stack (WalkCallStack), from this function outward:
// Skip frames left out and at most Depth shown.
void LogStackTrace( uint32 Category, CQorStringView Text, int Skip, int Depth );

// The messages of the error category (1) as the active logger counts them.
uint32 GetLoggerErrorCount();
void FlushLog();
