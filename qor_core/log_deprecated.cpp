#include "qor_core/log_deprecated.h"

#include "qor_core/filelogger.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_stacktrace.h"
#include "qor_core/thread/qor_mutex.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{
// Owns the active logger. Constant-initialised, so logging works during any static initialiser; atomic,
// because the first log calls of the process may come from several threads that all find it empty.
class CLoggerOwner
{
public:
    constexpr CLoggerOwner() = default;
    ~CLoggerOwner() { delete _pLogger.exchange( nullptr ); }

    std::atomic<CLogger*> _pLogger{ nullptr };
};

constinit CLoggerOwner g_pLogger;

constexpr int c_LogPrintfBufferSize = 8192;
char g_LogPrintfBuffer[ c_LogPrintfBufferSize ];

CMutex& GetLogPrintfMutex()
{
    static CMutex s_LogPrintfMutex( "LogPrintf" );
    return s_LogPrintfMutex;
}

// vsnprintf with its size check: the result is the full length of the text, or negative on a format error.
int FormatBounded( char* pBuffer, int nLimit, const char* pFormat, va_list Args )
{
    const int nResult = std::vsnprintf( pBuffer, size_t( nLimit ), pFormat, Args );
    QOR_ASSERT( nResult >= 0 && nResult < nLimit );
    return nResult;
}

// The formatted text always ends in one '\n', which takes the place of the last character of a text cut at
// the end of the buffer.
void FormatAndLog( CLogger* pLogger, const SLogLocation& Location, char* pBuffer, const char* pFormat,
                   va_list Args )
{
    const int nResult = FormatBounded( pBuffer, c_LogPrintfBufferSize, pFormat, Args );
    if ( nResult < 0 )
    {
        pLogger->Log( Location._Category, Location._File, Location._Line, CString( pFormat ) );
        return;
    }
    const int nEnd = std::min( nResult, c_LogPrintfBufferSize - 2 );
    pBuffer[ nEnd ] = '\n';
    pBuffer[ nEnd + 1 ] = '\0';
    pLogger->Log( Location._Category, Location._File, Location._Line, CString( pBuffer, nEnd + 1 ) );
}
} // namespace

CLogger* CLogger::GetLoggerForCategory( uint32 )
{
    return this;
}

uint32 CLogger::GetMessageCount( uint32 )
{
    return 0;
}

uint32 CLogger::GetLineCount( uint32 )
{
    return 0;
}

CLogStream::CLogStream( CLogger* pLogger, const char* pFile, uint32 Line, uint32 Category )
    : _pLogger( pLogger ), _File( pFile ? pFile : "" ), _Line( Line ), _Category( Category )
{
}

CLogStream::CLogStream( CLogger* pLogger, const SLogLocation& Location )
    : _pLogger( pLogger ), _File( Location._File ), _Line( Location._Line ), _Category( Location._Category )
{
}

CLogStream::CLogStream( const CLogStream& Other )
    : std::basic_ios<char>(), std::ostringstream(), _pLogger( Other._pLogger ), _File( Other._File ),
      _Line( Other._Line ), _Category( Other._Category )
{
}

CLogStream::~CLogStream()
{
    if ( !_pLogger )
    {
        return;
    }
    const CString Text( std::move( *this ).str() );
    _pLogger->AddMessageCount();
    _pLogger->AddLineCount( Text.Count( '\n' ) );
    _pLogger->Log( _Category, _File, _Line, Text );
}

CLogStream& CLogStream::operator<<( const char* pText )
{
    if ( pText )
    {
        WriteRaw( pText, std::strlen( pText ) );
    }
    return *this;
}

CLogStream& CLogStream::operator<<( CQorStringView Text )
{
    WriteRaw( Text.GetData(), size_t( Text.GetSize() ) );
    return *this;
}

CLogStream& CLogStream::operator<<( const std::string& Text )
{
    WriteRaw( Text.data(), Text.size() );
    return *this;
}

CLogStream& CLogStream::operator<<( char Char )
{
    WriteRaw( &Char, 1 );
    return *this;
}

// Decimal integers through the library's conversion (widened to 64 bits), floating point through the
// standard shortest form: no locale and no formatting state either way.
template <typename ArithmeticT> CLogStream& CLogStream::WriteNumber( ArithmeticT Value )
{
    char Digits[64];
    std::to_chars_result Result;
    if constexpr ( std::is_floating_point_v<ArithmeticT> )
    {
        Result = std::to_chars( Digits, Digits + sizeof( Digits ), Value );
    }
    else if constexpr ( std::is_signed_v<ArithmeticT> )
    {
        Result = ::to_chars( Digits, Digits + sizeof( Digits ), int64( Value ) );
    }
    else
    {
        Result = ::to_chars( Digits, Digits + sizeof( Digits ), uint64( Value ) );
    }
    WriteRaw( Digits, size_t( Result.ptr - Digits ) );
    return *this;
}

CLogStream& CLogStream::operator<<( bool Value )
{
    return *this << ( Value ? '1' : '0' );
}

CLogStream& CLogStream::operator<<( signed char Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( unsigned char Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( short Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( unsigned short Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( int Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( unsigned int Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( long Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( unsigned long Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( long long Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( unsigned long long Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( float Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( double Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( long double Value )
{
    return WriteNumber( Value );
}

CLogStream& CLogStream::operator<<( std::ostream& ( *pManipulator )( std::ostream& ) )
{
    pManipulator( *this );
    return *this;
}

CLogStream& CLogStream::operator<<( std::ios_base& ( *pManipulator )( std::ios_base& ) )
{
    pManipulator( *this );
    return *this;
}

CLogger* GetLogger()
{
    CLogger* pLogger = g_pLogger._pLogger.load();
    if ( pLogger )
    {
        return pLogger;
    }
    CLogger* pNullLogger = new CNullLogger;
    if ( g_pLogger._pLogger.compare_exchange_strong( pLogger, pNullLogger ) )
    {
        return pNullLogger;
    }
    delete pNullLogger;
    return pLogger;
}

void SetLogger( CQorScopedPtr<CLogger> pLogger )
{
    delete g_pLogger._pLogger.exchange( pLogger.Release() );
}

void LogPrintf( const SLogLocation& Location, const char* pFormat, ... )
{
    CLogger* pLogger = GetLogger();
    va_list Args;
    va_start( Args, pFormat );
    CMutex& Mutex = GetLogPrintfMutex();
    if ( Mutex.IsLockedByMe() )
    {
        char Buffer[ c_LogPrintfBufferSize ];
        FormatAndLog( pLogger, Location, Buffer, pFormat, Args );
    }
    else
    {
        CScopedLock<CMutex> Lock( &Mutex );
        FormatAndLog( pLogger, Location, g_LogPrintfBuffer, pFormat, Args );
    }
    va_end( Args );
}

void LogStackTrace( uint32 Category, CQorStringView Text, int Skip, int Depth )
{
    // A recursion that doesn't end has told all there is to tell after this many frames.
    constexpr int32 c_nMaxRepeatedFrames = 16;
    CString Stack;
    WalkCallStack( &Stack, Skip, Depth, c_nMaxRepeatedFrames );
    CLogStream( GetLogger(), __FILE__, __LINE__, Category ) << Text << '\n' << CQorStringView( Stack );
}

uint32 GetLoggerErrorCount()
{
    return GetLogger()->GetMessageCount( 1 );
}

void FlushLog()
{
    GetLogger()->Flush();
}
