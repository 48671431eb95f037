#include "qor_core/qor_tweakable_helper.h"

#include "qor_core/console/consolecmdmanager.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/thread/qor_thread.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{
using NVFSTest::ReadRealFile;
using NVFSTest::WriteRealFile;

// The file system over a fresh tree whose write directory is also searched, the token tables, a console of its
// own, a recording logger, and a settings file "settings/game.settings" named "Game" with a variable of each kind.
class CTweakableHelperTest : public NVFSTest::CVFSFixture
{
protected:
    void SetUp() override
    {
        CVFSFixture::SetUp();
        ASSERT_TRUE( VFSMountDir( WriteDir.c_str() ) );
        ASSERT_TRUE( VFSCreateDir( "settings" ) );
        SetLogger( CQorScopedPtr<CLogger>( _pLogger = new CRecordingLogger ) );
        CreateTokens();
        _pHelper.Reset( new CQorTweakFileHelper( "Game", "settings", "game.settings", [ this ] { ++_nReloads; },
                                                 nullptr, &_Manager ) );
        _pHelper->Add<CTweakableNumber<int32>>( "Count", &_Count, "A count" );
        _pHelper->Add<CTweakableNumber<float>>( "Speed", &_Speed, "A speed" );
        _pHelper->Add<CTweakableNumber<CFixedPoint>>( "Gravity", &_Gravity, "A fixed-point value" );
        _pHelper->Add<CTweakableBool>( "Enabled", &_bEnabled, "A switch" );
        _pHelper->Add<CTweakableString>( "Title", &_Title, "A text" );
        _pHelper->Add<CTweakableMinMax<int32>>( "Level", &_Level, "A bounded number", 0, 10 );
        _pHelper->Add<CTweakableColor>( "Tint", &_Tint, "A colour" );
        _Manager.FindVariable( "Game.Count" )->SetChangeHook( [ this ]( CTweakable& ) { ++_nCountChanges; } );
    }
    void TearDown() override
    {
        EXPECT_TRUE( _Asserts.Texts().empty() );
        _pHelper.Reset();
        DestroyTokens();
        CVFSFixture::TearDown();
    }

    std::string RealPath() const { return WriteDir + "settings/game.settings"; }
    // Whether a message from the From-th on holds Needle.
    bool ErrorsLogged( const std::string& Needle, size_t From = 0 ) const
    {
        const std::vector<std::string> Texts = _pLogger->Texts();
        return std::any_of( Texts.begin() + long( std::min( From, Texts.size() ) ), Texts.end(),
                            [ & ]( const std::string& Text ) { return Text.find( Needle ) != std::string::npos; } );
    }
    std::string Run( const char* pLine )
    {
        const SConsoleCmdResult Result = _Manager.ExecuteLine( pLine );
        EXPECT_TRUE( Result._bSuccess ) << pLine;
        return Result._Text.GetStdString();
    }
    void ExpectValues( int32 Count, float Speed, const char* pGravity, bool bEnabled, const char* pTitle, int32 Level,
                       const char* pTint = "1 0.5 0 1" )
    {
        CString Tint;
        _Manager.FindVariable( "Game.Tint" )->ToString( Tint );
        EXPECT_EQ( Tint.GetStdString(), pTint );
        EXPECT_EQ( _Count, Count );
        EXPECT_EQ( _Speed, Speed );
        EXPECT_EQ( CString( _Gravity ).GetStdString(), pGravity );
        EXPECT_EQ( _bEnabled, bEnabled );
        EXPECT_EQ( _Title.GetStdString(), pTitle );
        EXPECT_EQ( _Level, Level );
    }

    // No report may reach the process's handler, which would silence its site for later tests.
    CAssertRecorder _Asserts;
    CLogGuard _LogGuard;
    CRecordingLogger* _pLogger = nullptr;
    CConsoleCmdManager _Manager;
    CQorScopedPtr<CQorTweakFileHelper> _pHelper;
    int32 _nReloads = 0;
    int32 _nCountChanges = 0;

    int32 _Count = 7;
    float _Speed = 0.123456789f;
    CFixedPoint _Gravity = CFixedPoint::FromRaw( 981000 );
    bool _bEnabled = true;
    CString _Title = CString( "A \"quoted\" back\\slash" );
    int32 _Level = 4;
    CTweakableColor::CColor _Tint = CTweakableColor::CColor( 1.0f, 0.5f, 0.0f, 1.0f );
};
} // namespace

TEST_F( CTweakableHelperTest, SaveChangeReloadAndResetRoundTrip )
{
    EXPECT_EQ( Run( "Game.Save" ), "Called Save" );
    EXPECT_EQ( ReadRealFile( RealPath() ), "{\n"
                                           "\t\"Count\"=\"7\"\n"
                                           "\t\"Speed\"=\"0.12345679\"\n"
                                           "\t\"Gravity\"=\"9.81\"\n"
                                           "\t\"Enabled\"=\"true\"\n"
                                           "\t\"Title\"=\"A \\\"quoted\\\" back\\\\slash\"\n"
                                           "\t\"Level\"=\"4\"\n"
                                           "\t\"Tint\"=\"1 0.5 0 1\"\n"
                                           "}\n" );
    EXPECT_FALSE( std::filesystem::exists( RealPath() + ".tmp" ) );

    // Changed from the console, and put back from the file: every kind, the float to its last bit.
    for ( const char* pLine : { "Game.Count 9", "Game.Speed 2.5", "Game.Gravity -1.25", "Game.Enabled",
                                "Game.Title other", "Game.Level 8", "Game.Tint 0x80FF0000" } )
    {
        Run( pLine );
    }
    ExpectValues( 9, 2.5f, "-1.25", false, "other", 8, "1 0 0 0.5019608" );
    EXPECT_EQ( Run( "Game.ResetFromDisk" ), "Called Reset" );
    ExpectValues( 7, 0.123456789f, "9.81", true, "A \"quoted\" back\\slash", 4 );
    EXPECT_EQ( _nReloads, 1 );
    EXPECT_EQ( _nCountChanges, 2 );

    // A save of changed values and a reload of the same file give the saved values back.
    Run( "Game.Count -3" );
    Run( "Game.Speed 1e-7" );
    Run( "Game.Tint 0.1 0.2 0.3" );
    EXPECT_TRUE( _pHelper->Save() );
    _Count = 0;
    _Speed = 0.0f;
    EXPECT_TRUE( _pHelper->ResetFromDisk() );
    ExpectValues( -3, 1e-7f, "9.81", true, "A \"quoted\" back\\slash", 4, "0.1 0.2 0.3 1" );

    // A file written by hand: keys in any order, plain words, a key that is no more, a bounded value out of range.
    WriteRealFile( RealPath(), "{\n  Level = 99\n  \"Removed\" = \"1\"\n  Count = 12 # a comment\n}\n" );
    EXPECT_TRUE( _pHelper->ResetFromDisk() );
    ExpectValues( 12, 1e-7f, "9.81", true, "A \"quoted\" back\\slash", 10, "0.1 0.2 0.3 1" );
    EXPECT_TRUE( ErrorsLogged( "Could not match variable 'Removed' in 'settings/game.settings', has it been removed?" ) );
    EXPECT_EQ( _nReloads, 3 );

    // Adding a key twice; a missing file.
    EXPECT_EQ( _pHelper->Add<CTweakableNumber<int32>>( "Count", &_Level, "again" ), nullptr );
    EXPECT_TRUE( ErrorsLogged( "'Game' already contains 'Count'" ) );
    EXPECT_EQ( _pHelper->GetVariables().GetNumVariables(), 7 );
    std::filesystem::remove( RealPath() );
    EXPECT_EQ( Run( "Game.ResetFromDisk" ), "Called Reset" );
    EXPECT_TRUE( ErrorsLogged( "Could not find 'settings/game.settings'" ) );
    EXPECT_EQ( _nReloads, 3 );

    // The helper's commands go with it; its variables stay with the program's variables.
    _pHelper.Reset();
    EXPECT_EQ( _Manager.FindVariable( "Game.Save" ), nullptr );
    EXPECT_EQ( _Manager.FindVariable( "Game.ResetFromDisk" ), nullptr );
    EXPECT_EQ( Run( "Game.Count 5" ), "Value 5" );
}

TEST_F( CTweakableHelperTest, TruncatedAndCorruptFilesChangeNothing )
{
    ASSERT_TRUE( _pHelper->Save() );
    const std::string Saved = ReadRealFile( RealPath() );
    _Count = 1;
    _Speed = 2.0f;
    _Level = 3;
    const size_t Closing = Saved.rfind( '}' );
    for ( size_t Length = 0; Length <= Closing; ++Length )
    {
        WriteRealFile( RealPath(), Saved.substr( 0, Length ) );
        EXPECT_FALSE( _pHelper->ResetFromDisk() ) << Length;
        ExpectValues( 1, 2.0f, "9.81", true, "A \"quoted\" back\\slash", 3 );
    }
    EXPECT_EQ( _nReloads, 0 );
    EXPECT_EQ( _nCountChanges, 0 );

    struct SCase
    {
        const char* pFile;
        const char* pReported;
    };
    const SCase Cases[] = {
        { "", "Kept every value of 'settings/game.settings': reading failed near line 1" },
        { "{\n\"Count\"=\"5\"\n\"Level\"=\"2\"\n", "Missing } at the end of the file" },
        { "{\n\"Count\"=\"5\"\n\"Level\"=\"two\"\n}\n", "Invalid value for 'Level'" },
        { "{\n\"Count\"=\"5\"\n\"Level\"=\"2\"\n\"Speed\"=\"fast\"\n}\n",
          "Kept every value of 'settings/game.settings': reading failed near line 4" },
        { "{\n\"Count\"=\"5\"\n\"Speed\"={ 1 }\n}\n", "Expected = and a value for 'Speed'" },
        { "{\n\"Count\"=\"5\"\n\"Enabled\">\"no\"\n}\n", "Expected = and a value for 'Enabled'" },
        { "{\n\"Count\"=\"5\"\n}\n}\n", "Expected the end of the file" },
        { "\"Count\"=\"5\"\n", "Expected {" },
        { "{\n\"Count\"=\"2147483648\"\n}\n", "Invalid value for 'Count'" },
        { "{\n\"Count\"=\"5\"\n\"Tint\"=\"1 0\"\n}\n", "Invalid value for 'Tint'" },
        { "\x01\xfe{\n\"Count\"=\"5\"\n}\n", "Expected {" },
    };
    for ( const SCase& Case : Cases )
    {
        const size_t nLogged = _pLogger->Texts().size();
        WriteRealFile( RealPath(), Case.pFile );
        EXPECT_FALSE( _pHelper->ResetFromDisk() ) << Case.pFile;
        ExpectValues( 1, 2.0f, "9.81", true, "A \"quoted\" back\\slash", 3 );
        EXPECT_TRUE( ErrorsLogged( Case.pReported, nLogged ) ) << Case.pFile;
    }
    EXPECT_EQ( _nReloads, 0 );

    // The good file reads again after all that.
    WriteRealFile( RealPath(), Saved );
    EXPECT_TRUE( _pHelper->ResetFromDisk() );
    ExpectValues( 7, 0.123456789f, "9.81", true, "A \"quoted\" back\\slash", 4 );
}

TEST_F( CTweakableHelperTest, ConsoleCommandsMayOpenFilesOnTheMainThread )
{
    NThreads::SetMainThread();
    VFSSetAllowMainThreadOpen( false );
    // A command that runs the save, then opens a file itself: the nested call must not lower the flag.
    SConsoleCommand Command;
    Command._Name = "SaveAndRead";
    Command._pAction = [ this ]( CConsoleArguments, SConsoleCmdResult& Result )
    {
        Result = _Manager.ExecuteLine( "Game.Save" );
        Result._bSuccess = !ReadVFSFile( "settings/game.settings" ).empty();
    };
    _Manager.AddCommand( Command );
    CAssertRecorder Asserts;
    EXPECT_TRUE( _Manager.ExecuteLine( "SaveAndRead" )._bSuccess );
    EXPECT_TRUE( _Manager.ExecuteLine( "Game.ResetFromDisk" )._bSuccess );
    EXPECT_EQ( _nReloads, 1 );
    EXPECT_TRUE( Asserts.Texts().empty() );
    // Outside the console the flag is down again, as it was found.
    EXPECT_TRUE( _pHelper->ResetFromDisk() );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Opening file on main thread, this will cause stalls and should be avoided" } );
    // An application's own setting outlives a command.
    VFSSetAllowMainThreadOpen( true );
    EXPECT_TRUE( _Manager.ExecuteLine( "Game.ResetFromDisk" )._bSuccess );
    EXPECT_TRUE( VFSGetAllowMainThreadOpen() );
}

TEST_F( CTweakableHelperTest, AWatchedFileReloadsWhenItChanges )
{
    NThreads::SetMainThread();
    const int32 PreviousDelay = g_FileWatcherNotificationDelayMs;
    g_FileWatcherNotificationDelayMs = 0;
    ASSERT_TRUE( _pHelper->Save() );
    CQorFileWatcher Watcher;
    int32 nReloads = 0;
    int32 Watched = 0;
    {
        CQorTweakFileHelper Helper( "Watched", "settings", "game.settings", [ & ] { ++nReloads; }, &Watcher,
                                    &_Manager );
        Helper.Add<CTweakableNumber<int32>>( "Count", &Watched, "A count" );
        EXPECT_EQ( Helper.GetWatchedDirectory().GetStdString(), WriteDir + "settings" );
        EXPECT_EQ( Watcher.GetNumListeners(), 1 );
        // Another file of the directory changes nothing; the file itself reloads.
        WriteRealFile( WriteDir + "settings/other.settings", "{\n}\n" );
        WriteRealFile( RealPath(), "{\n\"Count\"=\"42\"\n}\n" );
        for ( int i = 0; i < 1000 && nReloads == 0; ++i )
        {
            Watcher.Update();
            std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
        }
        EXPECT_EQ( nReloads, 1 );
        EXPECT_EQ( Watched, 42 );
    }
    EXPECT_EQ( Watcher.GetNumListeners(), 0 );
    g_FileWatcherNotificationDelayMs = PreviousDelay;
}
