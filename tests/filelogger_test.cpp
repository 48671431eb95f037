#include "qor_core/filelogger.h"

#include "qor_core/qor_log_categories.h"
#include "qor_core/thread/qor_thread.h"
#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"
#include "tests/log_test_utils.h"
#include "tests/test_threads.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace
{
constexpr uint32 c_AllFlags =
    CFileLogger::LOG_FLAG_FLUSH | CFileLogger::LOG_FLAG_TIMESTAMP | CFileLogger::LOG_FLAG_LOCATION;

// The file's contents after one message through a file logger with the given flags.
std::string LineOf( uint32 Flags, const char* pFile, uint32 Line, const std::string& Message )
{
    CTempPath Path( "line.log" );
    {
        CFileLogger Logger( Path.c_str(), Flags );
        Logger.Log( 1, pFile, Line, CString( Message ) );
    }
    return NVFSTest::ReadRealFile( Path.Path() );
}

// The text with every digit as '9', so that times and line numbers compare by their shape.
std::string Shape( std::string Text )
{
    std::replace_if( Text.begin(), Text.end(), []( char Char ) { return Char >= '0' && Char <= '9'; }, '9' );
    return Text;
}

// Tells each message it sees as "<observer> <logger> <category> <file>:<line> <message>", the logger as "routed"
// when it is the one given and "none" when there is none.
class CRecordingObserver : public CLogObserver
{
public:
    CRecordingObserver( std::vector<std::string>& Seen, const char* pName, CLogger* pRouted )
        : _Seen( Seen ), _pName( pName ), _pRouted( pRouted )
    {
    }
    void OnLog( CLogger* pLogger, uint32 Category, CQorStringView File, uint32 Line, const CString& Message ) override
    {
        const char* pLoggerName = pLogger == _pRouted ? "routed" : pLogger ? "other" : "none";
        _Seen.push_back( std::string( _pName ) + " " + pLoggerName + " " + std::to_string( Category ) + " " +
                         ToStdString( File ) + ":" + std::to_string( Line ) + " " + Message.GetStdString() );
    }

private:
    std::vector<std::string>& _Seen;
    const char* _pName;
    CLogger* _pRouted;
};
} // namespace

TEST( CFileLogger, PrefixesTimeAndLocationByTheFlags )
{
    EXPECT_EQ( LineOf( 0, "src/a.cpp", 12, "plain\n" ), "plain\r\n" );
    EXPECT_EQ( LineOf( CFileLogger::LOG_FLAG_LOCATION, "/full/path/src/a.cpp", 12, "text\n" ),
               "[a.cpp:12]: text\r\n" );
    EXPECT_EQ( LineOf( CFileLogger::LOG_FLAG_LOCATION, "C:\\src\\win.cpp", 3, "x\n" ), "[win.cpp:3]: x\r\n" );
    EXPECT_EQ( LineOf( CFileLogger::LOG_FLAG_LOCATION, "src/dir//", 4, "x\n" ), "[dir:4]: x\r\n" )
        << "trailing separators are trimmed first";
    EXPECT_EQ( Shape( LineOf( CFileLogger::LOG_FLAG_TIMESTAMP, "a.cpp", 1, "t\n" ) ), "[99:99:99]: t\r\n" );
    EXPECT_EQ( Shape( LineOf( c_AllFlags, "x/a.cpp", 77, "both\n" ) ), "[99:99:99][a.cpp:99]: both\r\n" );
    // An empty file name writes no prefix, whatever the flags.
    EXPECT_EQ( LineOf( c_AllFlags, "", 5, "bare\n" ), "bare\r\n" );
    EXPECT_EQ( LineOf( c_AllFlags, "//", 5, "bare\n" ), "bare\r\n" );
}

TEST( CFileLogger, CountsEveryNewlineAndWritesEachAsCarriageReturnLineFeed )
{
    CTempPath Path( "lines.log" );
    {
        CFileLogger Logger( Path.c_str(), CFileLogger::LOG_FLAG_LOCATION );
        Logger.Log( 1, "a.cpp", 1, "one\ntwo\n" );
        Logger.Log( 1, "a.cpp", 2, "no end " );
        Logger.Log( 1, "a.cpp", 3, "three\n" );
        EXPECT_EQ( Logger.GetLineCounter(), 3u );
        EXPECT_EQ( Logger.GetMessageCounter(), 0u ) << "the caller's path counts messages";
    }
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ),
               "[a.cpp:1]: one\r\ntwo\r\n[a.cpp:2]: no end [a.cpp:3]: three\r\n" );
}

TEST( CFileLogger, ClearTruncatesTheFileAndKeepsLogging )
{
    CTempPath Path( "clear.log" );
    CFileLogger Logger( Path.c_str(), CFileLogger::LOG_FLAG_FLUSH );
    EXPECT_EQ( Logger.GetLogFileName().GetStdString(), Path.Path() );
    Logger.Log( 1, "", 1, "before\n" );
    Logger.Clear();
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), "" );
    Logger.Log( 1, "", 1, "after\n" );
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), "after\r\n" );
    EXPECT_EQ( Logger.GetLogFileName().GetStdString(), Path.Path() );
}

TEST( CFileLogger, AFileThatWontOpenSendsTheLinesToStandardOutput )
{
    const std::string Path = "/nonexistent-folder-of-qor-tests/x.log";
    CAssertRecorder Asserts;
    testing::internal::CaptureStdout();
    CFileLogger Logger( Path.c_str(), CFileLogger::LOG_FLAG_LOCATION );
    Logger.Log( 1, "dir/a.cpp", 9, "lost?\n" );
    Logger.Flush();
    EXPECT_EQ( testing::internal::GetCapturedStdout(),
               "File '" + Path + "' for logger is invalid\n[a.cpp:9]: lost?\r\n\n" );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "File '" + Path + "' for logger is invalid" } );
}

// Every thread logs through the filter, by the stream and the printf path in turn; the file must hold every
// line exactly once, whole.
TEST( CFileLogger, ThreadsLoseAndInterleaveNoLine )
{
    constexpr uint32 c_Category = 1001;
    static const SLogCategory s_Category( c_Category, "File logger threads test" );
    constexpr int nThreads = 4;
    constexpr int nMessages = 150;
    for ( int Round = 0; Round < 4; ++Round )
    {
        CLogGuard Guard( { c_Category } );
        CTempPath Path( "threads.log" );
        CFileLogger FileLogger( Path.c_str(), CFileLogger::LOG_FLAG_LOCATION );
        AddCategoryLogger( c_Category, &FileLogger, false );
        SetLogger( CQorScopedPtr<CLogger>( new CFilterLogger ) );
        RunOnThreads( nThreads, []( int Thread ) {
            for ( int I = 0; I < nMessages; ++I )
            {
                if ( I % 2 == 0 )
                {
                    CLogStream( GetLogger(), __FILE__, __LINE__, c_Category )
                        << "thread " << Thread << " message " << I << " stream" << std::endl;
                }
                else
                {
                    LogPrintf( SLogLocation( __FILE__, __LINE__, c_Category ), "thread %d message %d printf", Thread,
                               I );
                }
            }
        } );
        FileLogger.Flush();

        std::vector<std::vector<int>> Seen( nThreads, std::vector<int>( nMessages, 0 ) );
        const std::string Text = NVFSTest::ReadRealFile( Path.Path() );
        int nLines = 0;
        for ( size_t Start = 0; Start < Text.size(); ++nLines )
        {
            const size_t End = Text.find( "\r\n", Start );
            ASSERT_NE( End, std::string::npos ) << "unterminated tail in round " << Round;
            const std::string Line = Text.substr( Start, End - Start );
            int Thread = -1;
            int Message = -1;
            std::sscanf( Line.c_str(), "[filelogger_test.cpp:%*d]: thread %d message %d", &Thread, &Message );
            ASSERT_TRUE( Thread >= 0 && Thread < nThreads && Message >= 0 && Message < nMessages ) << Line;
            const std::string Expected = "]: thread " + std::to_string( Thread ) + " message " +
                                         std::to_string( Message ) + ( Message % 2 == 0 ? " stream" : " printf" );
            ASSERT_EQ( Line.rfind( "[filelogger_test.cpp:", 0 ), 0u ) << Line;
            ASSERT_EQ( Line.substr( Line.find( ']' ) ), Expected ) << "round " << Round;
            ++Seen[ Thread ][ Message ];
            Start = End + 2;
        }
        EXPECT_EQ( nLines, nThreads * nMessages ) << "round " << Round;
        for ( const std::vector<int>& Counts : Seen )
        {
            EXPECT_EQ( std::count( Counts.begin(), Counts.end(), 1 ), nMessages ) << "round " << Round;
        }
        EXPECT_EQ( FileLogger.GetMessageCounter(), uint32( nThreads * nMessages ) );
        EXPECT_EQ( FileLogger.GetLineCounter(), uint32( nThreads * nMessages ) );
    }
}

TEST( CFilterLogger, RoutesByCategoryAndDropsWhatHasNoRoute )
{
    CLogGuard Guard( { 1002, 1003 } );
    CRecordingLogger First;
    CRecordingLogger Second;
    AddCategoryLogger( 1002, &First, false );
    AddCategoryLogger( 1003, &Second, false );
    CFilterLogger Filter;
    Filter.Log( 1002, "a.cpp", 1, "to first\n" );
    Filter.Log( 1003, "a.cpp", 2, "to second\n" );
    Filter.Log( 1004, "a.cpp", 3, "nowhere\n" );
    EXPECT_EQ( First.Texts(), std::vector<std::string>{ "to first\n" } );
    EXPECT_EQ( Second.Texts(), std::vector<std::string>{ "to second\n" } );
    EXPECT_EQ( First.GetMessageCounter(), 1u );
    EXPECT_EQ( Second.GetMessageCounter(), 1u );
    EXPECT_EQ( Filter.GetMessageCounter(), 0u );
    EXPECT_EQ( Filter.GetLoggerForCategory( 1002 ), &First );
    EXPECT_EQ( Filter.GetLoggerForCategory( 1004 ), nullptr );
    EXPECT_EQ( Filter.GetMessageCount( 1003 ), 1u );
    EXPECT_EQ( Filter.GetMessageCount( 1004 ), 0u );
    EXPECT_EQ( Filter.GetLineCount( 1004 ), 0u );
}

TEST( CFilterLogger, ObserversSeeEveryMessageInOrderBeforeRouting )
{
    CLogGuard Guard( { 1008 } );
    CRecordingLogger Routed;
    AddCategoryLogger( 1008, &Routed, false );
    std::vector<std::string> Seen;
    CRecordingObserver First( Seen, "first", &Routed );
    CRecordingObserver Second( Seen, "second", &Routed );
    CFilterLogger Filter;
    Filter.AddObserver( &First );
    Filter.AddObserver( &Second );
    Filter.Log( 1008, "a.cpp", 4, "routed" );
    Filter.Log( 1009, "b.cpp", 5, "dropped" );
    Filter.RemoveObserver( &First );
    Filter.Log( 1008, "c.cpp", 6, "later" );
    // A category without a route is observed with no logger.
    EXPECT_EQ( Seen, ( std::vector<std::string>{ "first routed 1008 a.cpp:4 routed", "second routed 1008 a.cpp:4 routed",
                                                 "first none 1009 b.cpp:5 dropped", "second none 1009 b.cpp:5 dropped",
                                                 "second routed 1008 c.cpp:6 later" } ) );
}

TEST( CFilterLogger, ASecondRouteKeepsTheFirstDebuggerFlag )
{
    CLogGuard Guard( { 1010, 1011 } );
    CRecordingLogger Old;
    CRecordingLogger New;
    AddCategoryLogger( 1010, &Old, false );
    AddCategoryLogger( 1010, &New, true );
    AddCategoryLogger( 1011, &Old, true );
    AddCategoryLogger( 1011, &New, false );
    CFilterLogger Filter;
    std::string Quiet;
    std::string Told;
    // On a thread of its own, so that its name shows and no other test's thread is renamed.
    std::thread( [ & ] {
        NThreads::SetThreadName( "Log Test" );
        testing::internal::CaptureStderr();
        Filter.Log( 1010, "src/quiet.cpp", 7, "quiet\n" );
        Quiet = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        Filter.Log( 1011, "src/told.cpp", 8, "told\n" );
        Told = testing::internal::GetCapturedStderr();
    } ).join();
    EXPECT_EQ( New.Texts(), ( std::vector<std::string>{ "quiet\n", "told\n" } ) );
    EXPECT_TRUE( Old.Texts().empty() );
    EXPECT_EQ( Quiet, "" );
    EXPECT_EQ( Told, "src/told.cpp(8): [Log Test] told\n" );
}

TEST( CNullLogger, WritesLocationAndMessageToTheDebuggerChannel )
{
    CNullLogger Logger;
    testing::internal::CaptureStderr();
    Logger.Log( 3, "/src/full/path.cpp", 21, "null\n" );
    EXPECT_EQ( testing::internal::GetCapturedStderr(), "[/src/full/path.cpp:21] null\n" );
    EXPECT_EQ( Logger.GetLoggerType(), CLogger::LOGGER_TYPE_NULL );
}

using CFileLoggerThroughTheFileSystem = NVFSTest::CVFSFixture;

// A path of the tree lands under the write directory, and nowhere else; an absolute one stays a file of the
// operating system, also while the file system runs.
TEST_F( CFileLoggerThroughTheFileSystem, TreePathsLandInTheWriteDirectoryAndAbsolutePathsStayOutside )
{
    const std::string Absolute = ( Root / "native.log" ).string();
    CTempWorkingDirectory WorkingDirectory;
    CString Made;
    MakeLogFileName( Made, "made", ".log", "net" );
    const struct
    {
        std::string Path;
        std::string RealPath;
    } Table[] = {
        { "logs/game_error.log", WriteDir + "logs/game_error.log" },
        { Made.GetStdString(), WriteDir + "logs/net/made.log" },
        { Absolute, Absolute },
    };
    for ( const auto& Row : Table )
    {
        CAssertRecorder Asserts;
        {
            CFileLogger Logger( Row.Path.c_str(), CFileLogger::LOG_FLAG_LOCATION | CFileLogger::LOG_FLAG_FLUSH );
            Logger.Log( 1, "src/game.cpp", 7, "started\n" );
            // Flushed line by line: the 1 MiB buffer of the file system's handle holds nothing back.
            EXPECT_EQ( NVFSTest::ReadRealFile( Row.RealPath ), "[game.cpp:7]: started\r\n" ) << Row.Path;
            EXPECT_EQ( Logger.GetLogFileName().GetStdString(), Row.Path );
        }
        EXPECT_TRUE( Asserts.Texts().empty() ) << Row.Path;
    }
    // Nothing of it in the working directory, not even the folder.
    EXPECT_TRUE( std::filesystem::is_empty( WorkingDirectory.Path() ) );
}

TEST_F( CFileLoggerThroughTheFileSystem, FlushClearAndShutdownKeepTheHandleSafe )
{
    CFileLogger Logger( "logs/error.log", 0 );
    Logger.Log( 1, "a.cpp", 1, "first\n" );
    EXPECT_EQ( NVFSTest::ReadRealFile( WriteDir + "logs/error.log" ), "" );
    Logger.Flush();
    EXPECT_EQ( NVFSTest::ReadRealFile( WriteDir + "logs/error.log" ), "first\r\n" );
    Logger.Clear();
    Logger.Log( 1, "a.cpp", 2, "second\n" );
    Logger.Flush();
    EXPECT_EQ( NVFSTest::ReadRealFile( WriteDir + "logs/error.log" ), "second\r\n" );
    {
        // PhysFS would free the logger's handle under it: the file system stays up while it is open.
        CAssertRecorder Asserts;
        EXPECT_FALSE( VFSShutdown() );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "1 files are still open; the file system stays up" } );
    }
    Logger.Log( 1, "a.cpp", 3, "third\n" );
    Logger.Flush();
    EXPECT_EQ( NVFSTest::ReadRealFile( WriteDir + "logs/error.log" ), "second\r\nthird\r\n" );
}

TEST_F( CFileLoggerThroughTheFileSystem, ARefusedPathAndAFullDiskSendTheLinesToStandardOutput )
{
    {
        CAssertRecorder Asserts;
        testing::internal::CaptureStdout();
        CFileLogger Logger( "../escape.log", 0 );
        Logger.Log( 1, "a.cpp", 1, "kept\n" );
        EXPECT_EQ( testing::internal::GetCapturedStdout(), "File '../escape.log' for logger is invalid\nkept\r\n\n" );
        EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "filename is illegal or insecure",
                                                                "File '../escape.log' for logger is invalid" } ) );
    }
    // A line longer than the handle's buffer goes straight to the disk, which is full 1.5 MiB into the log;
    // standard output (gtest's capture, a file too) starts at 0 and takes the line.
    const std::string Long( ( 1 << 20 ) + ( 1 << 17 ), 'x' );
    rlimit Previous;
    ASSERT_EQ( getrlimit( RLIMIT_FSIZE, &Previous ), 0 );
    rlimit Limit = Previous;
    Limit.rlim_cur = ( 3 << 20 ) / 2;
    const sighandler_t PreviousHandler = signal( SIGXFSZ, SIG_IGN );
    {
        CFileLogger Logger( "logs/full.log", CFileLogger::LOG_FLAG_FLUSH );
        Logger.Log( 1, "a.cpp", 1, CString( std::string( 900 << 10, 'y' ) ) );
        ASSERT_EQ( setrlimit( RLIMIT_FSIZE, &Limit ), 0 );
        testing::internal::CaptureStdout();
        EXPECT_NO_THROW( Logger.Log( 1, "a.cpp", 2, CString( Long ) ) );
        const std::string Output = testing::internal::GetCapturedStdout();
        setrlimit( RLIMIT_FSIZE, &Previous );
        EXPECT_TRUE( Output == Long + "\n" ) << Output.size();
    }
    signal( SIGXFSZ, PreviousHandler );
}
