#include "qor_core/filelogger.h"

#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/nativefile.h"
#include "qor_core/qor_exception.h"
#include "qor_core/virtualfilesystem.h"
#include "qor_core/platform/qor_debugger.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/thread/qor_thread.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iostream>

namespace
{
using CCategoryLoggers = NQorUnorderedMap::CQorUnorderedMap<uint32, SLoggerEntry>;

// Never destroyed: loggers may still log while other statics go away at exit.
CCategoryLoggers& GetCategoryLoggers()
{
    static CCategoryLoggers* s_pCategoryLoggers = new CCategoryLoggers;
    return *s_pCategoryLoggers;
}

// The length snprintf reports, held to what the buffer took.
int32 TakenLength( int nResult, size_t BufferSize )
{
    return nResult < 0 ? 0 : int32( std::min( size_t( nResult ), BufferSize - 1 ) );
}

CQorStringView Piece( const char* pText, int32 Size )
{
    return CQorStringView( pText, Size, ENullTerminated::No );
}

// Appends Text with every "\n" written as "\r\n"; returns the count of '\n'.
int32 AppendWithLineEnds( CString& Line, CQorStringView Text )
{
    int32 nLineEnds = 0;
    int32 Start = 0;
    for ( int32 NewLine = Text.Find( '\n' ); NewLine != CQorStringView::npos; NewLine = Text.Find( '\n', Start ) )
    {
        Line += Text.Substr( Start, NewLine );
        Line += Piece( "\r\n", 2 );
        ++nLineEnds;
        Start = NewLine + 1;
    }
    Line += Text.Substr( Start );
    return nLineEnds;
}

// The log file opened for writing, or null. A path of the tree goes through the virtual file system once that
// has a write directory; any other path is a file of the operating system.
CFile* OpenLogFile( const CString& Path )
{
    const CQorStringView View( Path );
    const bool bTreePath = !View.IsEmpty() && View[ 0 ] != '/' && View.Find( '\\' ) == CQorStringView::npos;
    if ( bTreePath && !VFSGetWriteDir().IsEmpty() )
    {
        try
        {
            return new CArchiveFile( Path, 0, CFile::OPEN_WRITE );
        }
        catch ( const CQorFileException& )
        {
            return nullptr;
        }
    }
    CQorScopedPtr<CNativeFile> pFile( new CNativeFile( Path.GetData(), 0, CFile::OPEN_WRITE ) );
    return pFile->IsOpen() ? pFile.Release() : nullptr;
}

// A view's text for "%.*s": never a null pointer.
const char* TextOf( CQorStringView View )
{
    return View.IsEmpty() ? "" : View.GetData();
}
} // namespace

namespace NFileLogger
{
CQorStringView GetFileNamePart( CQorStringView Path )
{
    Path.TrimEnd( "/\\" );
    const int32 nSeparator = Path.FindLastOf( "/\\" );
    return nSeparator == CQorStringView::npos ? Path : Path.Substr( nSeparator + 1 );
}

int32 ComposeLine( CString& Line, uint32 Flags, CQorStringView File, uint32 LineNumber, CQorStringView Message )
{
    char Time[ 256 ];
    char Location[ 256 ];
    int32 nTime = 0;
    int32 nLocation = 0;
    const CQorStringView Name = GetFileNamePart( File );
    const bool bPrefix =
        !Name.IsEmpty() && ( Flags & ( CFileLogger::LOG_FLAG_TIMESTAMP | CFileLogger::LOG_FLAG_LOCATION ) );
    if ( bPrefix && ( Flags & CFileLogger::LOG_FLAG_TIMESTAMP ) )
    {
        const std::time_t Now = std::time( nullptr );
        std::tm Local{};
        localtime_r( &Now, &Local );
        nTime = TakenLength( std::snprintf( Time, sizeof( Time ), "[%02d:%02d:%02d]", Local.tm_hour, Local.tm_min,
                                            Local.tm_sec ),
                             sizeof( Time ) );
    }
    if ( bPrefix && ( Flags & CFileLogger::LOG_FLAG_LOCATION ) )
    {
        nLocation = TakenLength( std::snprintf( Location, sizeof( Location ), "[%.*s:%d]", int( Name.GetSize() ),
                                                Name.GetData(), int( LineNumber ) ),
                                 sizeof( Location ) );
    }
    Line.Clear();
    // Room for the text and a few line ends, so that the usual one-line message is built without regrowth.
    Line.Reserve( nTime + nLocation + 2 + Message.GetSize() + 8 );
    Line += Piece( Time, nTime );
    int32 nLineEnds = AppendWithLineEnds( Line, Piece( Location, nLocation ) );
    if ( bPrefix )
    {
        Line += Piece( ": ", 2 );
    }
    return nLineEnds + AppendWithLineEnds( Line, Message );
}
} // namespace NFileLogger

CFileLogger::CFileLogger( const char* pPath, uint32 Flags )
    : _Path( pPath ? pPath : "" ), _pFile( OpenLogFile( _Path ) ), _Flags( Flags )
{
    QOR_ASSERT_MSG( _pFile, "File '%s' for logger is invalid", _Path.GetData() );
    if ( !_pFile )
    {
        std::cout << "File '" << _Path.GetStdString() << "' for logger is invalid" << std::endl;
    }
}

CFileLogger::~CFileLogger() = default;

void CFileLogger::Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message )
{
    QOR_ASSERT_MSG( FindLogCategoryName( Category ), "missing log category %i", int( Category ) );
    CString Text;
    AddLineCount( NFileLogger::ComposeLine( Text, _Flags, File, Line, Message ) );
    CScopedLock<CSpinLock> Lock( &_Lock );
    if ( _pFile )
    {
        try
        {
            _pFile->Write( Text.GetData(), Text.GetSize() );
            if ( _Flags & LOG_FLAG_FLUSH )
            {
                _pFile->Flush();
            }
            return;
        }
        catch ( const CQorFileException& )
        {
            // The line that didn't fit goes where a file that won't open sends it.
        }
    }
    std::cout << Text.GetStdString() << std::endl;
}

void CFileLogger::Flush()
{
    CScopedLock<CSpinLock> Lock( &_Lock );
    if ( _pFile )
    {
        _pFile->Flush();
    }
}

void CFileLogger::Clear()
{
    // Closing and opening may report through the logger, so they stand outside the lock; lines logged
    // meanwhile go to standard output.
    CQorScopedPtr<CFile> pOld;
    {
        CScopedLock<CSpinLock> Lock( &_Lock );
        pOld = std::move( _pFile );
    }
    pOld.Reset();
    CQorScopedPtr<CFile> pNew( OpenLogFile( _Path ) );
    CScopedLock<CSpinLock> Lock( &_Lock );
    _pFile = std::move( pNew );
}

CString CFileLogger::GetLogFileName() const
{
    return _Path;
}

void AddCategoryLogger( uint32 Category, CLogger* pLogger, bool bLogToDebugger )
{
    if ( SLoggerEntry* pEntry = GetCategoryLoggers().FindValue( Category ) )
    {
        pEntry->_pLogger = pLogger;
        return;
    }
    GetCategoryLoggers().Insert( Category, SLoggerEntry{ pLogger, bLogToDebugger } );
}

bool RemoveCategoryLogger( uint32 Category )
{
    return GetCategoryLoggers().Remove( Category );
}

void CFilterLogger::Log( uint32 Category, CQorStringView File, uint32 Line, const CString& Message )
{
    const SLoggerEntry* pEntry = GetCategoryLoggers().FindValue( Category );
    for ( CLogObserver* pObserver : _Observers )
    {
        pObserver->OnLog( pEntry ? pEntry->_pLogger : nullptr, Category, File, Line, Message );
    }
    if ( !pEntry )
    {
        return;
    }
    pEntry->_pLogger->Log( Category, File, Line, Message );
    pEntry->_pLogger->AddMessageCount();
    if ( pEntry->_bLogToDebugger )
    {
        LogToDebugger( Category, File, Line, Message );
    }
}

void CFilterLogger::LogToDebugger( uint32 Category, CQorStringView File, uint32 Line, const CString& Message )
{
    char Location[ 512 ];
    char CategoryName[ 512 ];
    char Thread[ 512 ];
    const int32 nLocation = TakenLength(
        std::snprintf( Location, sizeof( Location ), "%.*s(%d): ", int( File.GetSize() ), TextOf( File ), int( Line ) ),
        sizeof( Location ) );
    const CString* pCategoryName = FindLogCategoryName( Category );
    const int32 nCategoryName =
        pCategoryName ? TakenLength( std::snprintf( CategoryName, sizeof( CategoryName ), "[%s]",
                                                    pCategoryName->GetData() ),
                                     sizeof( CategoryName ) )
                      : 0;
    const int32 nThread =
        TakenLength( std::snprintf( Thread, sizeof( Thread ), "[%s] ", NThreads::GetThreadName() ), sizeof( Thread ) );
    CString Text;
    Text.Reserve( nLocation + nCategoryName + nThread + Message.GetSize() );
    Text += Piece( Location, nLocation );
    Text += Piece( CategoryName, nCategoryName );
    Text += Piece( Thread, nThread );
    Text += Message;
    NPlatform::OutputDebugString( Text.GetData() );
}

void CFilterLogger::Flush()
{
    for ( auto& Entry : GetCategoryLoggers() )
    {
        Entry.Value._pLogger->Flush();
    }
}

CLogger* CFilterLogger::GetLoggerForCategory( uint32 Category )
{
    const SLoggerEntry* pEntry = GetCategoryLoggers().FindValue( Category );
    return pEntry ? pEntry->_pLogger : nullptr;
}

uint32 CFilterLogger::GetMessageCount( uint32 Category )
{
    const CLogger* pLogger = GetLoggerForCategory( Category );
    return pLogger ? pLogger->GetMessageCounter() : 0;
}

uint32 CFilterLogger::GetLineCount( uint32 Category )
{
    const CLogger* pLogger = GetLoggerForCategory( Category );
    return pLogger ? pLogger->GetLineCounter() : 0;
}

void CFilterLogger::Clear()
{
    for ( auto& Entry : GetCategoryLoggers() )
    {
        Entry.Value._pLogger->Clear();
        Entry.Value._pLogger->ResetCounters();
    }
}

CString CFilterLogger::GetCategoryLogFileName( uint32 Category )
{
    CLogger* pLogger = GetLoggerForCategory( Category );
    if ( !pLogger || pLogger->GetLoggerType() != LOGGER_TYPE_FILE )
    {
        return {};
    }
    return static_cast<CFileLogger*>( pLogger )->GetLogFileName();
}

void CFilterLogger::AddObserver( CLogObserver* pObserver )
{
    _Observers.Add( pObserver );
}

void CFilterLogger::RemoveObserver( CLogObserver* pObserver )
{
    const int32 nIndex = _Observers.FindIndex( pObserver );
    if ( nIndex >= 0 )
    {
        _Observers.Remove( nIndex );
    }
}

void CNullLogger::Log( uint32, CQorStringView File, uint32 Line, const CString& Message )
{
    char Digits[ 16 ];
    const std::to_chars_result LineEnd = ::to_chars( Digits, Digits + sizeof( Digits ), int32( Line ) );
    const int32 nDigits = int32( LineEnd.ptr - Digits );
    CString Text;
    Text.Reserve( File.GetSize() + nDigits + 4 + Message.GetSize() );
    Text += '[';
    Text += File;
    Text += ':';
    Text += Piece( Digits, nDigits );
    Text += Piece( "] ", 2 );
    Text += Message;
    NPlatform::OutputDebugString( Text.GetData() );
}
