#include "qor_core/qorfilewatcher.h"

#include "qor_core/reloadmanager.h"
#include "qor_core/thread/qor_thread.h"
#include "tests/commandline_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{
using SNotification = std::pair<std::string, EFileChange>;

class CFileWatcherTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        NThreads::SetMainThread();
        char Template[] = "/tmp/qor_watch_test_XXXXXX";
        ASSERT_NE( mkdtemp( Template ), nullptr );
        Root = Template;
        _PreviousDelay = g_FileWatcherNotificationDelayMs;
    }
    void TearDown() override
    {
        g_FileWatcherNotificationDelayMs = _PreviousDelay;
        std::filesystem::remove_all( Root );
    }

    int32 Listen( bool bRecursive, const std::filesystem::path& Directory )
    {
        return Watcher.AddListener( CString( Directory.c_str() ), bRecursive,
                                    [ this ]( const CString& Path, EFileChange Change ) {
                                        Notifications.emplace_back( Path.GetStdString(), Change );
                                    } );
    }
    // Updates until Count notifications came, or a few seconds passed.
    void UpdateUntil( size_t Count )
    {
        for ( int i = 0; i < 1000 && Notifications.size() < Count; ++i )
        {
            Watcher.Update();
            std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
        }
    }

    std::filesystem::path Root;
    CQorFileWatcher Watcher;
    std::vector<SNotification> Notifications;

private:
    int32 _PreviousDelay = 0;
};
} // namespace

TEST_F( CFileWatcherTest, TwoWritesWithinTheDelayMakeOneNotificationAfterTheSecond )
{
    g_FileWatcherNotificationDelayMs = 1000;
    ASSERT_GE( Listen( false, Root ), 0 );
    NVFSTest::WriteRealFile( Root / "settings.txt", "one" );
    Watcher.Update();
    std::this_thread::sleep_for( std::chrono::milliseconds( 600 ) );
    NVFSTest::WriteRealFile( Root / "settings.txt", "two" );
    Watcher.Update();
    // The delay of the first write is over, that of the second isn't: the second moved the time forward.
    std::this_thread::sleep_for( std::chrono::milliseconds( 600 ) );
    Watcher.Update();
    EXPECT_TRUE( Notifications.empty() );
    EXPECT_EQ( Watcher.GetNumPending(), 1 );
    UpdateUntil( 1 );
    // Nothing more comes of the burst.
    std::this_thread::sleep_for( std::chrono::milliseconds( 1100 ) );
    Watcher.Update();
    EXPECT_EQ( Notifications, ( std::vector<SNotification>{ { "settings.txt", EFileChange::Written } } ) );
}

// Without a delay each update delivers what is pending; a plain listener ignores subdirectories, and a removed
// one falls silent.
TEST_F( CFileWatcherTest, WithoutDelayPlainListenersDeliverEachUpdateUntilRemoved )
{
    g_FileWatcherNotificationDelayMs = 0;
    std::filesystem::create_directories( Root / "sub" );
    const int32 Id = Listen( false, Root );
    NVFSTest::WriteRealFile( Root / "sub/hidden.txt", "h" );
    NVFSTest::WriteRealFile( Root / "a.txt", "a" );
    Watcher.Update();
    ASSERT_EQ( Notifications.size(), 1u );
    NVFSTest::WriteRealFile( Root / "a.txt", "b" );
    Watcher.Update();
    EXPECT_EQ( Notifications, ( std::vector<SNotification>{ { "a.txt", EFileChange::Written },
                                                            { "a.txt", EFileChange::Written } } ) );
    Watcher.RemoveListener( Id );
    EXPECT_EQ( Watcher.GetNumListeners(), 0 );
    NVFSTest::WriteRealFile( Root / "a.txt", "again" );
    Watcher.Update();
    EXPECT_EQ( Notifications.size(), 2u );
}

TEST_F( CFileWatcherTest, RecursiveListenersWatchNewSubdirectoriesAndReportRenamesAndDeletions )
{
    // Long enough that each file's creation and writes make one burst however the updates fall.
    g_FileWatcherNotificationDelayMs = 200;
    std::filesystem::create_directories( Root / "old" );
    NVFSTest::WriteRealFile( Root / "keep.txt", "k" );
    ASSERT_GE( Listen( true, Root ), 0 );
    std::filesystem::create_directories( Root / "new" );
    Watcher.Update();
    NVFSTest::WriteRealFile( Root / "new/inside.txt", "i" );
    NVFSTest::WriteRealFile( Root / "old/deep.txt", "d" );
    UpdateUntil( 2 );
    std::filesystem::rename( Root / "keep.txt", Root / "kept.txt" );
    std::filesystem::remove( Root / "old/deep.txt" );
    UpdateUntil( 5 );
    std::sort( Notifications.begin(), Notifications.end() );
    EXPECT_EQ( Notifications, ( std::vector<SNotification>{ { "keep.txt", EFileChange::Renamed },
                                                            { "kept.txt", EFileChange::Renamed },
                                                            { "new/inside.txt", EFileChange::Written },
                                                            { "old/deep.txt", EFileChange::Written },
                                                            { "old/deep.txt", EFileChange::Deleted } } ) );
}

TEST_F( CFileWatcherTest, FailedStartsAreLoggedWithTheirDirectories )
{
    CLogRecorder Log;
    EXPECT_EQ( Listen( true, Root / "missing" ), -1 );
    CQorArray<CString> Directories;
    Directories.Add( CString( ( Root / "gone" ).c_str() ) );
    Directories.Add( CString( Root.c_str() ) );
    const CQorArray<int32> Ids = Watcher.AddListeners( Directories, false, []( const CString&, EFileChange ) {} );
    ASSERT_EQ( Ids.GetSize(), 2 );
    EXPECT_EQ( Ids[ 0 ], -1 );
    EXPECT_GE( Ids[ 1 ], 0 );
    EXPECT_EQ( Log.Texts(), ( std::vector<std::string>{ "CQorFileWatcher::AddListener failed: No such file or directory\n",
                                                        "CQorFileWatcher::AddListener failed: No such file or directory\n",
                                                        "Error below for 1 directories:\n",
                                                        "Directory: " + ( Root / "gone" ).string() + "\n" } ) );
}

namespace
{
class CRecordingDispatcher : public CReloadDispatcher
{
public:
    void OnFileCreated( const CString& Path ) override { Calls.push_back( "created " + Path.GetStdString() ); }
    void OnFileChanged( const CString& Path ) override { Calls.push_back( "changed " + Path.GetStdString() ); }
    void OnFileRemoved( const CString& Path ) override { Calls.push_back( "removed " + Path.GetStdString() ); }
    std::vector<std::string> Calls;
};

class CCountingReloadable : public CReloadableInterface
{
public:
    bool Reload( const CString& ) override
    {
        ++Reloads;
        return true;
    }
    int Reloads = 0;
};
} // namespace

TEST( CReloadDispatcher, DispatchesEachKindToItsOperation )
{
    CRecordingDispatcher Dispatcher;
    for ( const EFileChange Change :
          { EFileChange::Created, EFileChange::Written, EFileChange::Renamed, EFileChange::Deleted } )
    {
        Dispatcher.Dispatch( "a", Change );
    }
    EXPECT_EQ( Dispatcher.Calls, ( std::vector<std::string>{ "created a", "changed a", "changed a", "removed a" } ) );

    std::vector<std::string> Paths;
    CBoostFuncReloadDispatcher Function( [ & ]( const CString& Path ) { Paths.push_back( Path.GetStdString() ); } );
    Function.Dispatch( "x", EFileChange::Created );
    Function.Dispatch( "y", EFileChange::Deleted );
    EXPECT_EQ( Paths, ( std::vector<std::string>{ "x", "y" } ) );

    CCountingReloadable Settings, Other;
    CReloadableDispatcher Reloads;
    Reloads.Register( "settings.txt", &Settings );
    Reloads.Register( "other.txt", &Other );
    Reloads.Dispatch( "settings.txt", EFileChange::Written );
    Reloads.Dispatch( "settings.txt", EFileChange::Deleted );
    Reloads.Unregister( &Settings );
    Reloads.Dispatch( "settings.txt", EFileChange::Written );
    EXPECT_EQ( Settings.Reloads, 1 );
    EXPECT_EQ( Other.Reloads, 0 );
}
