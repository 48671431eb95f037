#include "qor_core/checksum.h"

#include "qor_core/memoryfile.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/thread/qor_task.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/thread/task_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

namespace
{
// coreutils' md5sum of a real file: 32 lower-case hexadecimal characters.
std::string RealMd5Sum( const std::filesystem::path& Path )
{
    const std::string Command = "md5sum -- '" + Path.string() + "'";
    FILE* pPipe = popen( Command.c_str(), "r" );
    char Hex[33] = {};
    const size_t Read = pPipe ? std::fread( Hex, 1, 32, pPipe ) : 0;
    if ( pPipe )
    {
        pclose( pPipe );
    }
    return std::string( Hex, Read );
}

std::string HexToBytes( const std::string& Hex )
{
    std::string Bytes;
    for ( size_t Index = 0; Index + 1 < Hex.size(); Index += 2 )
    {
        Bytes += char( std::stoi( Hex.substr( Index, 2 ), nullptr, 16 ) );
    }
    return Bytes;
}

// A game folder mounted at the root, token tables of the test program and a recording logger.
class CChecksumTest : public NVFSTest::CVFSFixture
{
protected:
    void SetUp() override
    {
        NVFSTest::CVFSFixture::SetUp();
        Game = Root / "game";
        std::filesystem::create_directories( Game );
        ASSERT_TRUE( VFSMountDir( Game.c_str() ) );
        SetLogger( CQorScopedPtr<CLogger>( _pLog ) );
        CreateTokens();
    }
    void TearDown() override
    {
        DestroyTokens();
        SetLogger( {} );
        NVFSTest::CVFSFixture::TearDown();
    }

    void Write( const std::string& Name, const std::string& Bytes ) { NVFSTest::WriteRealFile( Game / Name, Bytes ); }

    std::filesystem::path Game;
    CRecordingLogger* _pLog = new CRecordingLogger;
};

TEST_F( CChecksumTest, ManifestTexts )
{
    struct SCase
    {
        const char* pManifest;
        bool bOk;
        const char* pErrors;
        int32 Directories;
        int32 Files;
    };
    const SCase Cases[] = {
        { "directory = { name = \"data/\" sub_directories = yes file_extension = \".lua\" }\nfile = \"a.txt\"", true,
          "", 1, 1 },
        { "file = \"a.txt\"", false, "Did not find any directory info in the -dirs file!\n", 0, 1 },
        { "", false, "Did not find any directory info in the -dirs file!\n", 0, 0 },
        { "directory = { name = \"data\" colour = 5 }", false, "Error while reading manifest file\n", 1, 0 },
        { "directory = { sub_directories = yes }\nfile = data", false,
          "Error while reading manifest file\nDid not find any directory info in the -dirs file!\n", 0, 1 },
        { "directory = { name = data sub_directories = maybe }", false, "Error while reading manifest file\n", 1, 0 },
        { "directory = data\nfiles = \"x\"", false,
          "Error while reading manifest file\nDid not find any directory info in the -dirs file!\n", 0, 0 },
    };
    for ( const SCase& Case : Cases )
    {
        SCOPED_TRACE( Case.pManifest );
        CMemoryFile File( Case.pManifest, int32( std::strlen( Case.pManifest ) ), 1 );
        SChecksumManifest Manifest;
        CString Errors;
        EXPECT_EQ( ReadManifest( File, Manifest, Errors ), Case.bOk );
        EXPECT_EQ( Errors.GetStdString(), Case.pErrors );
        EXPECT_EQ( Manifest._Directories.GetSize(), Case.Directories );
        EXPECT_EQ( Manifest._Files.GetSize(), Case.Files );
    }

    const char* pValid = "directory = { name = \"data/\" sub_directories = yes file_extension = \".lua\" }\n"
                         "directory = { name = more }\nfile = \"a.txt\"";
    Write( "manifest.txt", pValid );
    SChecksumManifest Manifest;
    CString Errors;
    ASSERT_TRUE( ReadManifest( "manifest.txt", Manifest, Errors ) );
    ASSERT_EQ( Manifest._Directories.GetSize(), 2 );
    EXPECT_EQ( Manifest._Directories[0]._Name, "data" );
    EXPECT_TRUE( Manifest._Directories[0]._bSubDirectories );
    EXPECT_EQ( Manifest._Directories[0]._FileExtension, ".lua" );
    EXPECT_EQ( Manifest._Directories[1]._Name, "more" );
    EXPECT_FALSE( Manifest._Directories[1]._bSubDirectories );
    EXPECT_EQ( Manifest._Directories[1]._FileExtension, "" );
    EXPECT_EQ( Manifest._Files[0], "a.txt" );

    EXPECT_FALSE( ReadManifest( "nothing.txt", Manifest, Errors ) );
    EXPECT_EQ( Errors.GetStdString(),
               "Could not read manifest file nothing.txt: VFSOpen Error: nothing.txt not found\n" );
}

TEST_F( CChecksumTest, MissingFilesAndDirectoriesAreNamed )
{
    Write( "data/a.txt", "a" );
    struct SCase
    {
        std::vector<const char*> Directories;
        std::vector<const char*> Files;
        const char* pErrors;
    };
    const SCase Cases[] = {
        { { "data" }, { "data/a.txt" }, "" },
        { { "data" },
          { "data/b.txt", "data/a.txt", "c.txt" },
          "Could not find data/b.txt\nCould not find c.txt\nCould not find all files!\n" },
        { { "nope", "data" }, {}, "Could not find directory nope\nCould not find directory info!\n" },
        { { "data/a.txt" },
          { "data" },
          "Could not find directory data/a.txt\nCould not find data\nCould not find all files!\n"
          "Could not find directory info!\n" },
    };
    for ( const SCase& Case : Cases )
    {
        SChecksumManifest Manifest;
        for ( const char* pName : Case.Directories )
        {
            Manifest._Directories.Add( SChecksumDirectory{ pName, false, {} } );
        }
        for ( const char* pName : Case.Files )
        {
            Manifest._Files.Add( pName );
        }
        CChecksumLog Log;
        CString Errors;
        EXPECT_EQ( ComputeChecksum( Manifest, Log, Errors ), *Case.pErrors == 0 ) << Case.pErrors;
        EXPECT_EQ( Errors.GetStdString(), Case.pErrors );
        // Nothing is hashed for a manifest that names what isn't there.
        EXPECT_EQ( Log.GetEntries().GetSize(), *Case.pErrors == 0 ? 1 : 0 ) << Case.pErrors;
    }
}

TEST_F( CChecksumTest, DigestsMatchMd5SumAndFoldInOrder )
{
    std::mt19937 Random( 21 );
    std::string Big( 300000, '\0' );
    for ( char& Byte : Big )
    {
        Byte = char( Random() );
    }
    const std::vector<std::pair<std::string, std::string>> Tree = {
        { "data/a.txt", "The quick brown fox" },
        { "data/big.bin", Big },
        { "data/empty.txt", "" },
        { "data/sub/c.lua", "print( 1 )" },
        { "data/sub/deep/d.lua", "return {}" },
        { "data/sub/e.txt", "not a script" },
        { "data/.svn/entries", "svn" },
        { "data/sub/.svn/text-base/c.lua", "old" },
        { "data/my.svn/f.lua", "holds .svn" },
        { "data/.git/HEAD", "ref: refs/heads/main" },
        { "data/sub/.git/x.lua", "git" },
        { "scripts/main.lua", "main()" },
        { "scripts/lib/util.lua", "util()" },
        { "scripts/readme.txt", "text" },
        { "config.settings", "a = 1" },
    };
    for ( const auto& [Name, Bytes] : Tree )
    {
        Write( Name, Bytes );
    }
    SChecksumManifest Manifest;
    Manifest._Directories.Add( SChecksumDirectory{ "scripts", false, ".lua" } );
    Manifest._Directories.Add( SChecksumDirectory{ "data", true, {} } );
    Manifest._Directories.Add( SChecksumDirectory{ "data/sub", true, ".lua" } );
    Manifest._Files.Add( "config.settings" );
    const std::vector<std::string> Expected = { "config.settings", "data/a.txt",      "data/big.bin",
                                                "data/empty.txt",  "data/sub/c.lua",  "data/sub/deep/d.lua",
                                                "data/sub/e.txt",  "scripts/main.lua" };
    std::string Digests;
    std::string Md5SumText;
    for ( const std::string& Name : Expected )
    {
        const std::string Hex = RealMd5Sum( Game / Name );
        ASSERT_EQ( Hex.size(), 32u ) << Name;
        Digests += HexToBytes( Hex );
        Md5SumText += Hex + "  " + Name + "\n";
    }
    NVFSTest::WriteRealFile( Root / "digests.bin", Digests );
    const std::string FinalHex = RealMd5Sum( Root / "digests.bin" );

    for ( uint32 Workers : { 0u, 3u } )
    {
        SCOPED_TRACE( Workers );
        CTaskPools Pools( Workers );
        CAssertRecorder Asserts;
        CChecksumLog Log;
        CString Errors;
        ASSERT_TRUE( ComputeChecksum( Manifest, Log, Errors ) ) << Errors.GetStdString();
        std::vector<std::string> Names;
        for ( const CChecksumLog::SEntry& Entry : Log.GetEntries() )
        {
            Names.push_back( Entry._FileName.GetStdString() );
        }
        EXPECT_EQ( Names, Expected );
        EXPECT_EQ( Log.GetText().GetStdString(), Md5SumText );
        EXPECT_EQ( Log.GetFinalText().GetStdString(), FinalHex );
        EXPECT_EQ( std::string( reinterpret_cast<const char*>( Log.GetFinalDigest() ), 16 ), HexToBytes( FinalHex ) );
        EXPECT_TRUE( Asserts.Texts().empty() );
    }

    std::vector<std::string> Steps;
    for ( const SLoggedMessage& Message : _pLog->Messages() )
    {
        if ( Message.Category == 6 )
        {
            Steps.push_back( Message.Text.substr( 0, Message.Text.find( ':' ) ) );
        }
    }
    EXPECT_EQ( Steps, ( std::vector<std::string>{ "getting files to checksum", "Checksum hashing",
                                                  "getting files to checksum", "Checksum hashing" } ) );
}

TEST_F( CChecksumTest, UnreadableFilesAreNamedAndStillFinalized )
{
    Write( "a.txt", "abc" );
    CTaskPools Pools( 2 );
    CQorArray<CString> Files;
    Files.Add( "a.txt" );
    Files.Add( "gone.txt" );
    CQorArray<MD5> Checksums;
    MD5 Final;
    CString Errors;
    CAssertRecorder Asserts;
    EXPECT_FALSE( HashChecksumFiles( Files, Checksums, Final, Errors ) );
    EXPECT_EQ( Errors.GetStdString(), "Could not read gone.txt\n" );
    ASSERT_EQ( Checksums.GetSize(), 2 );
    EXPECT_STREQ( Checksums[0].hex_digest(), "900150983cd24fb0d6963f7d28e17f72" );
    // A file that couldn't be opened counts as empty.
    EXPECT_STREQ( Checksums[1].hex_digest(), "d41d8cd98f00b204e9800998ecf8427e" );
    EXPECT_TRUE( Final.isFinalized() );
    EXPECT_TRUE( Asserts.Texts().empty() );
}
} // namespace
