#include "qor_core/qor_log_categories.h"

#include "qor_core/filelogger.h"
#include "qor_core/thread/qor_thread.h"
#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

TEST( SLogCategory, TheLibraryCategoriesAreRegisteredByIdAndByName )
{
    const char* Names[] = { "Halvorsund Error", "Halvorsund Debug", "System Debug",       "Kernel Release",
                            "Text Warnings",    "Profiler Log",     "Messaging debug",    "Executed commands debug",
                            "halvorsund",       "halvorsund_gui",   "halvorsund_graphics", "halvorsund_ecs" };
    for ( uint32 Id = 1; Id <= 12; ++Id )
    {
        ASSERT_NE( FindLogCategoryName( Id ), nullptr ) << Id;
        EXPECT_EQ( *FindLogCategoryName( Id ), Names[ Id - 1 ] );
        EXPECT_EQ( GetCategoriesByName().Find( CString( Names[ Id - 1 ] ) )->Value, Id );
    }
    EXPECT_EQ( FindLogCategoryName( 13 ), nullptr );
}

// A taken id or a taken name is reported, and the first category keeps both of its entries.
TEST( SLogCategory, ADuplicateIdOrNameAssertsAndEntersNeitherTable )
{
    CAssertRecorder Asserts;
    const SLogCategory TakenId( LOG_CATEGORY_SYSTEM_DEBUG, "Test category of a taken id" );
    const SLogCategory TakenName( 9101, "Text Warnings" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Success && \"Trying to add duplicate log category\"",
                                                            "Success && \"Trying to add duplicate log category\"" } ) );
    EXPECT_EQ( *FindLogCategoryName( LOG_CATEGORY_SYSTEM_DEBUG ), "System Debug" );
    EXPECT_FALSE( GetCategoriesByName().Contains( CString( "Test category of a taken id" ) ) );
    EXPECT_EQ( FindLogCategoryName( 9101 ), nullptr );
    EXPECT_EQ( GetCategoriesByName().Find( CString( "Text Warnings" ) )->Value, uint32( LOG_CATEGORY_TEXT_WARNINGS ) );
}

// Rows without arguments stand for a program that makes no command line, as the benchmark program. The folders
// are made, and a log lands in them.
TEST( MakeLogFileName, JoinsFolderPrefixNamePostfixAndExtensionAndMakesTheFolder )
{
    // The arguments, the extension, the subfolder, and the path.
    const std::tuple<std::vector<std::string>, const char*, const char*, const char*> Table[] = {
        { {}, ".log", "", "logs/error.log" },
        { { "--logprefix=run1_" }, ".log", "", "logs/run1_error.log" },
        { { "--logpostfix=_b" }, ".log", "", "logs/error_b.log" },
        { { "--logpostfix=_b", "--logprefix=run1_" }, ".log", "", "logs/run1_error_b.log" },
        { { "--logprefix" }, ".log", "", "logs/error.log" },
        // The quotes keep the blanks inside, but the value is trimmed like any other.
        { { "--logprefix=\" my run \"" }, ".log", "", "logs/my runerror.log" },
        { {}, "txt", "", "logs/error.txt" },
        { {}, "", "", "logs/error" },
        { {}, ".log", "net", "logs/net/error.log" },
        { {}, ".log", "net/", "logs/net/error.log" },
        { {}, ".log", "net\\", "logs/net\\error.log" },
        { { "--logprefix=p_", "--logpostfix=_q" }, "txt", "a/b", "logs/a/b/p_error_q.txt" },
    };
    CTempWorkingDirectory Directory;
    CAssertRecorder Asserts;
    CLogRecorder Log;
    for ( const auto& [ Arguments, pExtension, pSubDir, pExpected ] : Table )
    {
        CQorScopedPtr<CCommandLineScope> pCommandLine( Arguments.empty() ? nullptr : new CCommandLineScope( Arguments ) );
        CString Path;
        MakeLogFileName( Path, "error", pExtension, pSubDir );
        EXPECT_EQ( Path.GetStdString(), pExpected ) << ::testing::PrintToString( Arguments );
    }
    CString Path;
    MakeLogFileName( Path, "error" );
    EXPECT_EQ( Path, "logs/error.log" );
    EXPECT_TRUE( Log.Texts().empty() && Asserts.Texts().empty() );
    {
        CFileLogger Logger( "logs/a/b/p_error_q.txt", CFileLogger::LOG_FLAG_LOCATION );
        Logger.Log( LOG_CATEGORY_HALVORSUND_DEBUG, "src/app.cpp", 12, "started\n" );
    }
    EXPECT_EQ( NVFSTest::ReadRealFile( Directory.Path() / "logs/a/b/p_error_q.txt" ), "[app.cpp:12]: started\r\n" );
}

TEST( CFileLogger, AnUnregisteredCategoryIsReportedAndStillWritten )
{
    CTempPath Path( "category.log" );
    CAssertRecorder Asserts;
    {
        CFileLogger Logger( Path.c_str(), 0 );
        Logger.Log( LOG_CATEGORY_HALVORSUND_ECS, "a.cpp", 1, "known\n" );
        Logger.Log( 4242, "a.cpp", 2, "unknown\n" );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "missing log category 4242" } );
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), "known\r\nunknown\r\n" );
}

// The debugger channel shows the category's name between the location and the thread's name, when it has one.
TEST( CFilterLogger, TheDebuggerChannelNamesTheCategory )
{
    constexpr uint32 c_Unnamed = 9102;
    CLogGuard Guard( { LOG_CATEGORY_MESSAGING_DEBUG, c_Unnamed } );
    CRecordingLogger Target;
    AddCategoryLogger( LOG_CATEGORY_MESSAGING_DEBUG, &Target, true );
    AddCategoryLogger( c_Unnamed, &Target, true );
    CFilterLogger Filter;
    testing::internal::CaptureStderr();
    Filter.Log( LOG_CATEGORY_MESSAGING_DEBUG, "dir/f.cpp", 7, "hello\n" );
    Filter.Log( c_Unnamed, "dir/f.cpp", 8, "there\n" );
    const std::string Thread = std::string( "[" ) + NThreads::GetThreadName() + "] ";
    EXPECT_EQ( testing::internal::GetCapturedStderr(),
               "dir/f.cpp(7): [Messaging debug]" + Thread + "hello\ndir/f.cpp(8): " + Thread + "there\n" );
}
