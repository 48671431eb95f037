#include "qor_core/qor_paths.h"

#include "qor_core/persistence/lexer.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

namespace
{
// The test program's path tokens, from its static token table.
constexpr uint32 DataPath = 200;
constexpr uint32 SavePath = 201;
constexpr uint32 ScriptPath = 202;
constexpr uint32 ModsPath = 203;
constexpr uint32 TestPathTokens[] = { DataPath, SavePath, ScriptPath, ModsPath };

// Settings files in a mounted game folder that holds the folders "data" and "scripts"; token tables of the test
// program, its path tokens, and a recording logger.
class CPathsTest : public NVFSTest::CVFSFixture
{
protected:
    void SetUp() override
    {
        NVFSTest::CVFSFixture::SetUp();
        std::filesystem::create_directories( Root / "game" / "data" );
        std::filesystem::create_directories( Root / "game" / "scripts" );
        ASSERT_TRUE( VFSMountDir( ( Root / "game" ).c_str() ) );
        SetLogger( CQorScopedPtr<CLogger>( _pLog ) );
        CreateTokens();
        SetPathTokens( TestPathTokens );
        ClearPaths();
    }
    void TearDown() override
    {
        ClearPaths();
        SetPathTokens( {} );
        DestroyTokens();
        SetLogger( {} );
        NVFSTest::CVFSFixture::TearDown();
    }

    void WriteSettings( const char* pName, const std::string& Text )
    {
        NVFSTest::WriteRealFile( Root / "game" / pName, Text );
    }

    // The messages of the categories from the First on, as "category: text", without the line feed.
    std::vector<std::string> Logged( std::initializer_list<uint32> Categories, size_t First = 0 ) const
    {
        std::vector<std::string> Texts;
        const std::vector<SLoggedMessage> Messages = _pLog->Messages();
        for ( size_t Index = First; Index < Messages.size(); ++Index )
        {
            const SLoggedMessage& Message = Messages[Index];
            if ( std::find( Categories.begin(), Categories.end(), Message.Category ) != Categories.end() )
            {
                Texts.push_back( std::to_string( Message.Category ) + ": " +
                                 Message.Text.substr( 0, Message.Text.find_last_not_of( '\n' ) + 1 ) );
            }
        }
        return Texts;
    }

    CRecordingLogger* _pLog = new CRecordingLogger;
};

TEST_F( CPathsTest, SettingsReportWhatTheyCannotUse )
{
    // The paths afterwards of data_path and save_path are "-" for none; a row logs and asserts one text at most.
    const struct
    {
        const char* pSettings;
        bool bLoaded;
        const char* pDataPath;
        const char* pSavePath;
        const char* pLogged;
        const char* pAssert;
    } Cases[] = {
        { "data_path = \"data\"\nsave_path = data", true, "data", "data", nullptr, nullptr },
        { "health = \"data\"", true, "-", "-",
          "1: unrecognized token [health]. Make sure to only used compile-time tokens", nullptr },
        { "sword = \"data\"\ndata_path = \"data\"", true, "data", "-",
          "1: unrecognized token [sword]. Make sure to only used compile-time tokens", nullptr },
        { "data_path = \"data\"\nDATA_PATH = \"scripts\"", true, "data", "-",
          "1: Path for \"DATA_PATH\" defined multiple times: scripts", nullptr },
        { "save_path = \"saves/slot1\"", true, "-", "saves/slot1", nullptr,
          "paths.settings contains a path that does not exist! [save_path = saves/slot1]" },
        { "data_path = { x = 1 }\nsave_path = \"data\"", false, "-", "data",
          "1: Error: \"Expected a path behind '=': {, near line: 1\" in file: \"paths.settings\" near line: 2",
          nullptr },
        { "data_path = \"\"", false, "-", "-",
          "1: Error: \"Expected a path behind '=': , near line: 1\" in file: \"paths.settings\" near line: 1",
          nullptr },
    };
    for ( const auto& Case : Cases )
    {
        SCOPED_TRACE( Case.pSettings );
        ClearPaths();
        WriteSettings( "paths.settings", Case.pSettings );
        const size_t FirstLog = _pLog->Messages().size();
        CAssertRecorder Asserts;
        EXPECT_EQ( LoadPaths(), Case.bLoaded );
        EXPECT_EQ( Logged( { 1 }, FirstLog ), NVFSTest::NoneOrOne( Case.pLogged ) );
        EXPECT_EQ( Asserts.Texts(), NVFSTest::NoneOrOne( Case.pAssert ) );
        EXPECT_EQ( HasPath( DataPath ) ? GetPath( DataPath ).GetStdString() : "-", Case.pDataPath );
        EXPECT_EQ( HasPath( SavePath ) ? GetPath( SavePath ).GetStdString() : "-", Case.pSavePath );
    }
}

TEST_F( CPathsTest, MissingChecksummedSettingsLeavePathsUsable )
{
    EXPECT_FALSE( LoadPaths() );
    EXPECT_EQ( Logged( { 1, 2 } ),
               std::vector<std::string>{ "1: Could not find \"paths.settings\". Files will fail to load." } );

    WriteSettings( "paths.settings", "data_path = \"data\"\nscript_path = \"scripts\"\n" );
    EXPECT_TRUE( LoadPaths() );
    EXPECT_FALSE( LoadChecksummedPaths() );
    EXPECT_EQ( Logged( { 1, 2 } ),
               ( std::vector<std::string>{ "1: Could not find \"paths.settings\". Files will fail to load.",
                                           "2: Could not find \"paths_checksummed.settings\". No paths will be "
                                           "checksummed." } ) );
    EXPECT_EQ( GetPath( DataPath ), "data" );
    EXPECT_EQ( GetPath( ScriptPath ), "scripts" );
    EXPECT_TRUE( GetChecksummedPathTokens().IsEmpty() );
}

TEST_F( CPathsTest, BothFilesFillOneTableAndTheFirstValueStays )
{
    WriteSettings( "paths.settings", "script_path = \"scripts\"\n# the mods\nmods_path = \"data\"\n" );
    WriteSettings( "paths_checksummed.settings",
                   "data_path = \"data\"\nscript_path = \"data\"\nmods_path = \"scripts\"" );
    EXPECT_TRUE( LoadPaths() );
    EXPECT_TRUE( LoadChecksummedPaths() );
    EXPECT_EQ( GetPath( ScriptPath ), "scripts" );
    EXPECT_EQ( GetPath( ModsPath ), "data" );
    EXPECT_EQ( GetPath( DataPath ), "data" );
    EXPECT_EQ( Logged( { 1 } ),
               ( std::vector<std::string>{ "1: Path for \"script_path\" defined multiple times: data",
                                           "1: Path for \"mods_path\" defined multiple times: scripts" } ) );
    // Only what the checksummed file itself gave counts as checksummed.
    const CQorArray<uint32> Checksummed = GetChecksummedPathTokens();
    EXPECT_EQ( std::vector<uint32>( Checksummed.begin(), Checksummed.end() ), std::vector<uint32>{ DataPath } );

    CAssertRecorder Asserts;
    EXPECT_EQ( GetPath( SavePath ), "" );
    EXPECT_EQ( GetPath( 99999 ), "" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "could not find path for token \"save_path\"",
                                                            "could not find path for token \"99999\"" } ) );

    ClearPaths();
    EXPECT_FALSE( HasPath( ScriptPath ) );
    EXPECT_TRUE( GetChecksummedPathTokens().IsEmpty() );
}

} // namespace
