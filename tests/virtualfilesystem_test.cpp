#include "qor_core/virtualfilesystem.h"

#include "qor_core/file.h"
#include "qor_core/thread/qor_task.h"
#include "qor_core/thread/qor_thread.h"
#include "qor_core/virtualfilesystem_physfs.h"
#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"
#include "tests/file_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

using namespace NVFSTest;

namespace
{
std::vector<std::string> Sorted( const CQorArray<CString>& Paths )
{
    std::vector<std::string> Names;
    for ( const CString& Path : Paths )
    {
        Names.push_back( Path.GetStdString() );
    }
    std::sort( Names.begin(), Names.end() );
    return Names;
}

bool Contains( const std::vector<std::string>& Texts, const std::string& Text )
{
    return std::find( Texts.begin(), Texts.end(), Text ) != Texts.end();
}

std::string WriteVFSFile( CQorStringView Name, const std::string& Bytes, uint32 Mode = CFile::OPEN_WRITE )
{
    CVFSOpenResult Result = VFSOpen( Name, Mode, 0 );
    if ( Result.IsFailure() )
    {
        return Result.GetError().GetStdString();
    }
    SVFSFile* pFile = Result.MoveValue();
    const uint64 nWritten = VFSWrite( pFile, Bytes.data(), Bytes.size() );
    VFSClose( pFile );
    return nWritten == Bytes.size() ? "" : "short write";
}
} // namespace

class CVirtualFileSystem : public CVFSFixture
{
};

TEST_F( CVirtualFileSystem, UserDirIsUnderQuorlaxAndWritesLandThereWithTheirParents )
{
    EXPECT_EQ( WriteDir, ( Root / "xdg" / "Quorlax" / "vfs_test" ).string() + "/" );
    const uint64 nOpens = GetIOStats().GetTotal( SQorIOStatsTraits::OPENS_FOR_WRITE );
    const uint64 nBytes = GetIOStats().GetTotal( SQorIOStatsTraits::BYTES_WRITTEN );
    EXPECT_EQ( WriteVFSFile( "saves/slot1/state.txt", "hello" ), "" );
    EXPECT_EQ( WriteVFSFile( "saves/slot1/state.txt", " world", CFile::OPEN_WRITE_APPEND ), "" );
    EXPECT_EQ( ReadRealFile( WriteDir + "saves/slot1/state.txt" ), "hello world" );
    EXPECT_EQ( GetIOStats().GetTotal( SQorIOStatsTraits::OPENS_FOR_WRITE ), nOpens + 1 );
    EXPECT_EQ( GetIOStats().GetTotal( SQorIOStatsTraits::BYTES_WRITTEN ), nBytes + 11 );

    // Reads see the write directory once it is mounted, and count what they read.
    ASSERT_TRUE( VFSMountDir( WriteDir.c_str() ) );
    const uint64 nRead = GetIOStats().GetTotal( SQorIOStatsTraits::BYTES_READ );
    EXPECT_EQ( ReadVFSFile( "saves/slot1/state.txt" ), "hello world" );
    EXPECT_EQ( GetIOStats().GetTotal( SQorIOStatsTraits::BYTES_READ ), nRead + 11 );
    EXPECT_TRUE( VFSExists( "saves/slot1" ) );
    EXPECT_TRUE( VFSDeleteDir( "saves" ) );
    EXPECT_FALSE( std::filesystem::exists( WriteDir + "saves" ) );
}

TEST_F( CVirtualFileSystem, LaterMountsWinAndDirectoriesAndArchivesShareOneTree )
{
    WriteRealFile( Root / "base/shared.txt", "base" );
    WriteRealFile( Root / "base/only_base.txt", "b" );
    WriteRealFile( Root / "mod/shared.txt", "mod" );
    ASSERT_TRUE( MakeZip( Root / "patch.zip", { { "shared.txt", "zip" }, { "maps/level.txt", "level" } }, true ) );

    ASSERT_TRUE( VFSMountDir( ( Root / "base" ).c_str() ) );
    ASSERT_TRUE( VFSMountDir( ( Root / "mod" ).c_str() ) );
    EXPECT_EQ( ReadVFSFile( "shared.txt" ), "mod" );
    ASSERT_TRUE( VFSMountDir( ( Root / "patch.zip" ).c_str() ) );
    EXPECT_EQ( ReadVFSFile( "shared.txt" ), "zip" );
    EXPECT_EQ( ReadVFSFile( "only_base.txt" ), "b" );
    EXPECT_EQ( ReadVFSFile( "maps/level.txt" ), "level" );
    EXPECT_EQ( VFSRealDir( "only_base.txt" ).GetStdString(), ( Root / "base" ).string() );
    EXPECT_EQ( VFSRealDir( "maps/level.txt" ).GetStdString(), ( Root / "patch.zip" ).string() );

    const CQorArray<CString> SearchPath = VFSGetSearchPath();
    ASSERT_EQ( SearchPath.GetSize(), 3 );
    EXPECT_EQ( SearchPath[ 0 ].GetStdString(), ( Root / "patch.zip" ).string() );
    EXPECT_EQ( SearchPath[ 2 ].GetStdString(), ( Root / "base" ).string() );
    EXPECT_EQ( NPhysFSLayer::GetOriginIndex( "only_base.txt" ), 2 );
    EXPECT_EQ( NPhysFSLayer::GetOriginIndex( "shared.txt" ), 0 );
    EXPECT_EQ( NPhysFSLayer::GetOriginIndex( "missing.txt" ), INT_MAX );

    CQorArray<CString> Files;
    VFSEnumerate( "", Files );
    EXPECT_EQ( Sorted( Files ), ( std::vector<std::string>{ "maps/level.txt", "only_base.txt", "shared.txt" } ) );
}

TEST_F( CVirtualFileSystem, EnumerationFiltersByExtensionMaskAndDepth )
{
    for ( const char* pName : { "top.txt", "top.dat", "sub/a.txt", "sub/b_1.txt", "sub/deeper/c.txt" } )
    {
        WriteRealFile( Root / "tree" / pName, "x" );
    }
    ASSERT_TRUE( VFSMountDir( ( Root / "tree" ).c_str() ) );
    struct SCase
    {
        const char* pDir;
        const char* pExtension;
        const char* pMask;
        int32 MaxDepth;
        std::vector<std::string> Expected;
    };
    const SCase Cases[] = {
        { "", "", "", 0, { "sub/a.txt", "sub/b_1.txt", "sub/deeper/c.txt", "top.dat", "top.txt" } },
        { "", ".txt", "", 0, { "sub/a.txt", "sub/b_1.txt", "sub/deeper/c.txt", "top.txt" } },
        { "", "", "?_*.txt", 0, { "sub/b_1.txt" } },
        { "sub", "", "", 0, { "sub/a.txt", "sub/b_1.txt", "sub/deeper/c.txt" } },
        { "sub/", "", "c*", -1, { "sub/deeper/c.txt" } },
        { "missing", "", "", 0, {} },
    };
    for ( const SCase& Case : Cases )
    {
        CQorArray<CString> Out;
        Out.Add( CString( "stale" ) );
        VFSEnumerate( Case.pDir, Out, Case.pExtension, Case.pMask, Case.MaxDepth );
        EXPECT_EQ( Sorted( Out ), Case.Expected ) << Case.pDir << " " << Case.pExtension << " " << Case.pMask;
    }

    // A depth limit gives the files above it, and reports each subdirectory it leaves out.
    CAssertRecorder Asserts;
    CQorArray<CString> Out;
    VFSEnumerate( "", Out, "", "", 1 );
    EXPECT_EQ( Sorted( Out ), ( std::vector<std::string>{ "top.dat", "top.txt" } ) );
    VFSEnumerate( "", Out, ".txt", "*", 2 );
    EXPECT_EQ( Sorted( Out ), ( std::vector<std::string>{ "sub/a.txt", "sub/b_1.txt", "top.txt" } ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Reached max depth when enumerating files recursive: sub",
                                                            "Reached max depth when enumerating files recursive: sub/deeper" } ) );
}

TEST( CVirtualFileSystemMask, WildcardsMatchAsShellPatterns )
{
    const struct
    {
        const char* pName;
        const char* pMask;
        bool bMatches;
    } Cases[] = {
        { "a.txt", "*.txt", true },  { "a.txt", "*.tx", false }, { "a.txt", "a?txt", true }, { "a.txt", "?", false },
        { "abcabc", "*bc", true },   { "abcab", "*bc", false },  { "", "*", true },          { "", "?", false },
        { "x", "", false },          { "mississippi", "m*iss*i", true },                     { "abc", "a*b*c*", true },
    };
    for ( const auto& Case : Cases )
    {
        EXPECT_EQ( NVFS::MatchesMask( Case.pName, Case.pMask ), Case.bMatches ) << Case.pName << " " << Case.pMask;
    }
}

TEST_F( CVirtualFileSystem, OpenFailuresGiveTheirTexts )
{
    CAssertRecorder Asserts;
    const struct
    {
        const char* pName;
        uint32 Mode;
        const char* pError;
        const char* pAssert;
    } Cases[] = {
        { "missing.txt", CFile::OPEN_READ, "VFSOpen Error: missing.txt not found", nullptr },
        { "dir\\file.txt", CFile::OPEN_READ, "dir\\file.txt is not a valid file name or path",
          "dir\\file.txt is not a valid file name or path" },
        { "", CFile::OPEN_READ, " is not a valid file name or path", " is not a valid file name or path" },
        { "file.txt", 7, "Operation not implemented", "Operation not implemented" },
        { "/abs/file.txt", CFile::OPEN_WRITE, "VFSOpen Error: /abs/file.txt Attempted create a path with an absolute folder!",
          "Attempted create a path with an absolute folder!" },
        { "../escape/file.txt", CFile::OPEN_WRITE, "VFSOpen Error: ../escape/file.txt filename is illegal or insecure",
          "filename is illegal or insecure" },
    };
    for ( const auto& Case : Cases )
    {
        Asserts.Clear();
        CVFSOpenResult Result = VFSOpen( Case.pName, Case.Mode, 0 );
        ASSERT_TRUE( Result.IsFailure() ) << Case.pName;
        EXPECT_EQ( Result.GetError().GetStdString(), Case.pError );
        EXPECT_EQ( Asserts.Texts(), NoneOrOne( Case.pAssert ) );
    }
    EXPECT_FALSE( std::filesystem::exists( Root / "escape" ) );
}

TEST_F( CVirtualFileSystem, HandleReadsSeeksAndTells )
{
    WriteRealFile( Root / "data/numbers.bin", "0123456789" );
    ASSERT_TRUE( VFSMountDir( ( Root / "data" ).c_str() ) );
    CVFSOpenResult Result = VFSOpen( "numbers.bin", CFile::OPEN_READ, 4 );
    ASSERT_TRUE( Result.IsSuccess() );
    SVFSFile* pFile = Result.MoveValue();
    EXPECT_FALSE( pFile->_bIsWriteMode );
    EXPECT_EQ( VFSFileSize( pFile ), 10 );
    char Buffer[ 16 ] = {};
    EXPECT_EQ( VFSRead( pFile, Buffer, 3 ), 3u );
    EXPECT_EQ( VFSTell( pFile ), 3 );
    EXPECT_TRUE( VFSSeek( pFile, 2, 1 ) );
    EXPECT_EQ( VFSRead( pFile, Buffer, 1 ), 1u );
    EXPECT_EQ( Buffer[ 0 ], '5' );
    EXPECT_TRUE( VFSSeek( pFile, -2, 2 ) );
    EXPECT_EQ( VFSRead( pFile, Buffer, 16 ), 2u );
    EXPECT_EQ( std::string( Buffer, 2 ), "89" );
    EXPECT_TRUE( VFSEof( pFile ) );
    EXPECT_FALSE( VFSSeek( pFile, -11, 2 ) );
    EXPECT_TRUE( VFSSeek( pFile, 0, 0 ) );
    EXPECT_EQ( VFSChecksum( pFile, -1 ), ReferenceChecksum( "0123456789" ) );
    EXPECT_EQ( VFSChecksum( pFile, 4 ), ReferenceChecksum( "0123" ) );

    // Writing to a handle opened for reading is refused.
    CAssertRecorder Asserts;
    EXPECT_EQ( VFSWrite( pFile, "x", 1 ), 0u );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "hFile && hFile->_bIsWriteMode" } );
    VFSClose( pFile );
}

TEST_F( CVirtualFileSystem, ReadLimitHoldsAMegabyteForASecond )
{
    WriteRealFile( Root / "data/big.bin", std::string( 1048576, 'z' ) );
    ASSERT_TRUE( VFSMountDir( ( Root / "data" ).c_str() ) );
    CVFSOpenResult Result = VFSOpen( "big.bin", CFile::OPEN_READ, 0 );
    ASSERT_TRUE( Result.IsSuccess() );
    SVFSFile* pFile = Result.MoveValue();
    std::string Bytes( 1048576, '\0' );
    g_VFSReadLimit = 1.0f;
    const auto Start = std::chrono::steady_clock::now();
    EXPECT_EQ( VFSRead( pFile, Bytes.data(), Bytes.size() ), 1048576u );
    const double Seconds = std::chrono::duration<double>( std::chrono::steady_clock::now() - Start ).count();
    g_VFSReadLimit = 0.0f;
    EXPECT_GE( Seconds, 0.9 );
    VFSClose( pFile );
}

TEST_F( CVirtualFileSystem, UpperCasePathsAreLoggedOutsideTheExemptParts )
{
    WriteRealFile( Root / "data/Textures/Wall.png", "w" );
    ASSERT_TRUE( VFSMountDir( ( Root / "data" ).c_str() ) );
    const struct
    {
        const char* pPath;
        bool bSkip;
        bool bLogged;
    } Cases[] = {
        { "Textures/Wall.png", false, true },      { "Textures/Wall.png", true, false },
        { "textures/wall.png", false, false },     { "effects/FX/Fire.fx", false, false },
        { "effects/FXFire.fx", false, false },     { "shadercache/Blob.bin", false, false },
        { "save games/Slot1.sav", false, false },  { "Save Games/Slot1.sav", false, true },
        { "effects/fx/Fire.fx", false, true },
    };
    for ( const auto& Case : Cases )
    {
        CLogRecorder Log;
        VFSSetSkipPathVerify( Case.bSkip );
        EXPECT_TRUE( VFSVerifyPath( Case.pPath ) );
        const std::string Expected = std::string( "File '" ) + Case.pPath + "' contains uppercase characters\n";
        EXPECT_EQ( Log.Texts(), Case.bLogged ? std::vector<std::string>{ Expected } : std::vector<std::string>{} )
            << Case.pPath;
    }
    // A capital is reported, never refused.
    CLogRecorder Log;
    VFSSetSkipPathVerify( false );
    EXPECT_EQ( ReadVFSFile( "Textures/Wall.png" ), "w" );
    EXPECT_EQ( Log.Texts(), std::vector<std::string>{ "File 'Textures/Wall.png' contains uppercase characters\n" } );
}

TEST_F( CVirtualFileSystem, VerifyThreadChecksQueuedPathsWithTheFlagOfTheirTime )
{
    CLogRecorder Log;
    ASSERT_TRUE( VFSStartVerifyThread() );
    EXPECT_FALSE( VFSStartVerifyThread() );
    EXPECT_TRUE( VFSIsVerifyThreadRunning() );
    VFSSetSkipPathVerify( true );
    EXPECT_TRUE( VFSVerifyPath( "Skipped/Path.txt" ) );
    VFSSetSkipPathVerify( false );
    EXPECT_TRUE( VFSVerifyPath( "Queued/Path.txt" ) );
    const std::string Expected = "File 'Queued/Path.txt' contains uppercase characters\n";
    for ( int i = 0; i < 2000 && !Contains( Log.Texts(), Expected ); ++i )
    {
        std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    }
    VFSStopVerifyThread();
    EXPECT_FALSE( VFSIsVerifyThreadRunning() );
    EXPECT_EQ( Log.Texts(), std::vector<std::string>{ Expected } );
    // Stopped, the check runs on the caller again.
    EXPECT_TRUE( VFSVerifyPath( "Direct/Path.txt" ) );
    EXPECT_EQ( Log.Texts().size(), 2u );
}

TEST_F( CVirtualFileSystem, OpeningOnTheMainThreadIsReportedAndGoesOn )
{
    WriteRealFile( Root / "data/a.txt", "a" );
    ASSERT_TRUE( VFSMountDir( ( Root / "data" ).c_str() ) );
    NThreads::SetMainThread();
    VFSSetAllowMainThreadOpen( false );
    CAssertRecorder Asserts;
    EXPECT_EQ( ReadVFSFile( "a.txt" ), "a" );
    VFSSetAllowMainThreadOpen( true );
    EXPECT_EQ( ReadVFSFile( "a.txt" ), "a" );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Opening file on main thread, this will cause stalls and should be avoided" } );
}

TEST_F( CVirtualFileSystem, PreEnumerationIsTakenOnceByTheSameArguments )
{
    WriteRealFile( Root / "data/levels/one.lvl", "1" );
    ASSERT_TRUE( VFSMountDir( ( Root / "data" ).c_str() ) );
    for ( const bool bPools : { false, true } )
    {
        if ( bPools )
        {
            StartTaskThreads( 4 );
        }
        CLogRecorder Log;
        VFSPreEnumerate( "levels", ".lvl" );
        VFSPreEnumerate( "levels", ".lvl" );
        CQorArray<CString> Out;
        // Before the consumer asks, the tree changes: the pre-enumerated result doesn't know the new file.
        VFSEnumerate( "levels", Out, "", "", 0 );
        WriteRealFile( Root / "data/levels/two.lvl", "2" );
        VFSEnumerate( "levels", Out, ".lvl" );
        const std::vector<std::string> PreEnumerated = Sorted( Out );
        VFSEnumerate( "levels", Out, ".lvl" );
        if ( bPools )
        {
            ShutdownTaskThreads();
        }
        // With pools the task may run before or after the change; without them it ran at once.
        if ( !bPools )
        {
            EXPECT_EQ( PreEnumerated, std::vector<std::string>{ "levels/one.lvl" } );
        }
        EXPECT_EQ( Sorted( Out ), ( std::vector<std::string>{ "levels/one.lvl", "levels/two.lvl" } ) );
        const std::vector<std::string> Texts = Log.Texts();
        ASSERT_EQ( Texts.size(), 2u );
        EXPECT_EQ( Texts[ 0 ], "Starting pre-enumerating 'levels'(.lvl, NULL, 0)\n" );
        EXPECT_EQ( Texts[ 1 ].rfind( "Done enumerating 'levels'(.lvl, NULL, 0) in ", 0 ), 0u ) << Texts[ 1 ];
        std::filesystem::remove( Root / "data/levels/two.lvl" );
    }
}

TEST_F( CVirtualFileSystem, FrozenConfigurationRefusesChanges )
{
    WriteRealFile( Root / "data/a.txt", "a" );
    ASSERT_TRUE( VFSMountDir( ( Root / "data" ).c_str() ) );
    VFSFreezeConfig();
    EXPECT_TRUE( VFSIsConfigFrozen() );
    CAssertRecorder Asserts;
    EXPECT_FALSE( VFSMountDir( ( Root / "xdg" ).c_str() ) );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_FrozenConfig.Get() == false" } );
    EXPECT_EQ( VFSGetSearchPath().GetSize(), 1 );
    EXPECT_EQ( ReadVFSFile( "a.txt" ), "a" );
}

TEST( CVirtualFileSystemInit, DefaultMountsTakeTheFirstCandidateOfEachGroupAndLogTheMisses )
{
    char Template[] = "/tmp/qor_vfs_init_XXXXXX";
    ASSERT_NE( mkdtemp( Template ), nullptr );
    const std::filesystem::path Root = Template;
    std::filesystem::create_directories( Root / "a/b/c" );
    std::filesystem::create_directories( Root / "a/game" );
    std::filesystem::create_directories( Root / "a/b/orlimo" );
    CLogRecorder Log;
    ASSERT_TRUE( VFSInit( nullptr, nullptr, false ) );
    EXPECT_TRUE( VFSMountDefaultDirs( ( Root / "a/b/c" ).c_str() ) );
    const std::string Base = ( Root / "a/b/c" ).string() + "/";
    EXPECT_EQ( Log.Texts(), ( std::vector<std::string>{ "Failed to mount game dir from candidates: ../halvorsund\n",
                                                         "Mounted Data: " + Base + "../orlimo\n",
                                                         "Mounted Data: " + Base + "../../game/\n" } ) );
    ASSERT_EQ( VFSGetGameDataDirs().GetSize(), 2 );
    EXPECT_EQ( VFSGetLastGameDataDir().GetStdString(), Base + "../../game/" );
    // With nothing found, one line lists every candidate.
    CQorArray<CString> Missing;
    Missing.Add( CString( "x/" ) );
    Missing.Add( CString( "y/" ) );
    EXPECT_FALSE( VFSMountGameDataDir( Base.c_str(), Missing, nullptr ) );
    EXPECT_EQ( Log.Texts().back(), "Failed to mount game dir from candidates: x/, y/\n" );
    EXPECT_TRUE( VFSMountGameDataDir( ( Root / "a" ).c_str(), Missing, "b\\c" ) );
    EXPECT_EQ( Log.Texts().back(), "Mounted Data: " + ( Root / "a" ).string() + "/b/c\n" );
    EXPECT_TRUE( VFSShutdown() );
    EXPECT_EQ( VFSGetGameDataDirs().GetSize(), 0 );
    std::filesystem::remove_all( Root );
}

TEST( CVirtualFileSystemInit, PhysFSMemoryComesFromTheFixedAllocatorSizedByIoMemoryMb )
{
    {
        ASSERT_TRUE( VFSInit( nullptr, nullptr, false ) );
        CQorFixedAllocator* pAllocator = NPhysFSLayer::GetAllocator();
        ASSERT_NE( pAllocator, nullptr );
        EXPECT_EQ( pAllocator->GetBufferSize(),
                   uint64( std::max( 32, NThreads::GetHardwareThreadCount() + 32 ) ) << 20 );
        EXPECT_GT( pAllocator->GetNumAllocations(), 0u );
        EXPECT_TRUE( VFSShutdown() );
        EXPECT_EQ( NPhysFSLayer::GetAllocator(), nullptr );
    }
    for ( const auto& [ pArgument, nMb ] : { std::pair{ "--io_memory_mb=40", 40 }, std::pair{ "--io_memory_mb=8", 32 } } )
    {
        CCommandLineScope CommandLine( { pArgument } );
        ASSERT_TRUE( VFSInit( nullptr, nullptr, false ) );
        EXPECT_EQ( NPhysFSLayer::GetAllocator()->GetBufferSize(), uint64( nMb ) << 20 ) << pArgument;
        EXPECT_TRUE( VFSShutdown() );
    }
}

TEST_F( CVirtualFileSystem, CopiesFilesInAndReportsEachFailureWithItsText )
{
    const std::string Source = ( Root / "outside/level.dat" ).string();
    const std::string Missing = ( Root / "outside/missing.dat" ).string();
    const std::string Folder = ( Root / "outside" ).string();
    WriteRealFile( Source, std::string( 3 << 20, 'L' ) );
    // The large copy meets a file size limit of 1 MiB: its second block fails.
    struct SRow
    {
        std::string Source;
        const char* pDest;
        bool bSizeLimit;
        bool bCopied;
        std::string Log;
        const char* pAssert;
    };
    const SRow Table[] = {
        { Source, "copies/level.dat", false, true, "", nullptr },
        { "relative/level.dat", "copies/a.dat", false, false, "", "File Path is not absolute" },
        { Missing, "copies/b.dat", false, false,
          "Failed to open file '" + Missing + "' for reading while copying file due to 'No such file or directory'",
          nullptr },
        { Source, "../c.dat", false, false,
          "Failed to open file '../c.dat' for writing while copying file due to 'VFSOpen Error: ../c.dat filename is "
          "illegal or insecure'",
          "filename is illegal or insecure" },
        { Folder, "copies/d.dat", false, false, "Failed to read from file '" + Folder + "' while copying file",
          nullptr },
        { Source, "copies/e.dat", true, false, "Failed to write to file 'copies/e.dat' while copying file", nullptr },
    };
    rlimit Previous;
    ASSERT_EQ( getrlimit( RLIMIT_FSIZE, &Previous ), 0 );
    const sighandler_t PreviousHandler = signal( SIGXFSZ, SIG_IGN );
    for ( const SRow& Row : Table )
    {
        CLogRecorder Log;
        CAssertRecorder Asserts;
        rlimit Limit = Previous;
        Limit.rlim_cur = Row.bSizeLimit ? rlim_t( 1 << 20 ) : Previous.rlim_cur;
        ASSERT_EQ( setrlimit( RLIMIT_FSIZE, &Limit ), 0 );
        const bool bCopied = VFSCopyFile( Row.Source.c_str(), Row.pDest );
        setrlimit( RLIMIT_FSIZE, &Previous );
        EXPECT_EQ( bCopied, Row.bCopied ) << Row.pDest;
        EXPECT_EQ( Log.Texts(), NoneOrOne( Row.Log.empty() ? nullptr : ( Row.Log + "\n" ).c_str() ) );
        EXPECT_EQ( Asserts.Texts(), NoneOrOne( Row.pAssert ) );
    }
    signal( SIGXFSZ, PreviousHandler );
    EXPECT_TRUE( ReadRealFile( WriteDir + "copies/level.dat" ) == std::string( 3 << 20, 'L' ) );
    EXPECT_FALSE( std::filesystem::exists( WriteDir + "copies/a.dat" ) );
    EXPECT_FALSE( std::filesystem::exists( Root / "xdg/Quorlax/c.dat" ) );
}

TEST_F( CVirtualFileSystem, CreatesDirectoriesWithTheirParentsOrTellsWhichFailed )
{
    WriteRealFile( WriteDir + "plain.txt", "x" );
    const struct
    {
        const char* pPath;
        bool bMade;
    } Table[] = {
        { "made/below", true }, { "made", true }, { "../climb", false }, { "plain.txt", false },
        { "plain.txt/sub", false },
    };
    for ( const auto& Row : Table )
    {
        CLogRecorder Log;
        EXPECT_EQ( VFSCreateDir( Row.pPath ), Row.bMade ) << Row.pPath;
        const std::string Text = std::string( "Could not create or read directory: " ) + Row.pPath + "\n";
        EXPECT_EQ( Log.Texts(), NoneOrOne( Row.bMade ? nullptr : Text.c_str() ) );
    }
    EXPECT_TRUE( std::filesystem::is_directory( WriteDir + "made/below" ) );
    EXPECT_FALSE( std::filesystem::exists( Root / "xdg/Quorlax/climb" ) );
    EXPECT_EQ( ReadRealFile( WriteDir + "plain.txt" ), "x" );
}

TEST_F( CVirtualFileSystem, ListsTheDirectoriesOfTheWriteDirectoryAndRefusesNamesTheTreeCantAddress )
{
    for ( const char* pDir : { "slot2", "slot1", "Profile", "a b", "saves/x", "saves/y/z", "bad/ok", "bad/\xff\xfe",
                               "colon/a:b", "slash/a\\b" } )
    {
        std::filesystem::create_directories( WriteDir + pDir );
    }
    WriteRealFile( WriteDir + "notes.txt", "not a directory" );
    const struct
    {
        const char* pDir;
        std::vector<std::string> Names;
        const char* pError;
        const char* pAssert;
    } Table[] = {
        { "", { "Profile", "a b", "bad", "colon", "saves", "slash", "slot1", "slot2" }, nullptr, nullptr },
        { "saves", { "x", "y" }, nullptr, nullptr },
        { "saves/y/z", {}, nullptr, nullptr },
        { "missing", {}, "Could not read directory: missing", nullptr },
        { "notes.txt", {}, "Could not read directory: notes.txt", nullptr },
        { "../vfs_test", {}, "../vfs_test is not a valid file name or path",
          "../vfs_test is not a valid file name or path" },
        { "saves/./x", {}, "saves/./x is not a valid file name or path", "saves/./x is not a valid file name or path" },
        { "/tmp", {}, "/tmp is not a valid file name or path", "/tmp is not a valid file name or path" },
        { "bad", {}, "Invalid directory name found: \xff\xfe", "Invalid directory name found" },
        { "colon", {}, "Invalid directory name found: a:b", "Invalid directory name found" },
        { "slash", {}, "Invalid directory name found: a\\b", "Invalid directory name found" },
    };
    for ( const auto& Row : Table )
    {
        CAssertRecorder Asserts;
        const CVFSListResult Result = VFSListWriteDir( Row.pDir );
        EXPECT_EQ( NoneOrOne( Result.IsFailure() ? Result.GetError().GetData() : nullptr ), NoneOrOne( Row.pError ) )
            << Row.pDir;
        EXPECT_EQ( Result.IsSuccess() ? Sorted( Result.GetValue() ) : std::vector<std::string>{}, Row.Names )
            << Row.pDir;
        EXPECT_EQ( Asserts.Texts(), NoneOrOne( Row.pAssert ) );
    }
    // The order is the listing's own, not the test's sorting.
    EXPECT_EQ( VFSListWriteDir( "" ).GetValue()[ 7 ].GetStdString(), "slot2" );
    EXPECT_TRUE( VFSShutdown() );
    EXPECT_EQ( VFSListWriteDir( "" ).GetError(), "No write directory" );
    ASSERT_TRUE( VFSInit( nullptr, "vfs_test", false ) );
}

TEST_F( CVirtualFileSystem, ReplacesAGameDataDirectoryByItsPositionFromTheTail )
{
    for ( const char* pName : { "base", "patch", "mod" } )
    {
        WriteRealFile( Root / pName / "who.txt", pName );
        WriteRealFile( Root / pName / ( std::string( pName ) + "_only.txt" ), pName );
    }
    ASSERT_TRUE( MakeZip( Root / "extra.zip", { { "extra.txt", "extra" } }, false ) );
    const std::string Extra = ReadRealFile( Root / "extra.zip" );
    // Last components of the search path (front, winning, first) or of the game data directories.
    const auto LastNames = []( const CQorArray<CString>& Paths ) {
        std::vector<std::string> Names;
        for ( const CString& Path : Paths )
        {
            Names.push_back( std::filesystem::path( Path.GetStdString() ).filename().string() );
        }
        return Names;
    };
    const auto SearchPathNames = [ & ] { return LastNames( VFSGetSearchPath() ); };
    const auto GameDataNames = [ & ] { return LastNames( VFSGetGameDataDirs() ); };
    const struct
    {
        int32 TailIndex;
        int32 OriginalTailIndex;
        bool bReplaced;
        std::vector<std::string> GameData;
        std::vector<std::string> SearchPath;
        const char* pAssert;
    } Table[] = {
        { 2, 0, true, { "mod", "patch" }, { "extra.zip", "patch", "mod" }, nullptr },
        { 0, 2, true, { "patch", "base" }, { "extra.zip", "base", "patch" }, nullptr },
        { 1, 0, true, { "base", "mod" }, { "extra.zip", "mod", "base" }, nullptr },
        { 0, 1, true, { "base", "patch" }, { "extra.zip", "patch", "base" }, nullptr },
        { 1, 1, true, { "base", "patch", "mod" }, { "extra.zip", "mod", "patch", "base" }, nullptr },
        { 3, 0, false, { "base", "patch", "mod" }, { "extra.zip", "mod", "patch", "base" },
          "Tail index out of bounds of mounted game data directory array. Index '3'" },
        { -1, 0, false, { "base", "patch", "mod" }, { "extra.zip", "mod", "patch", "base" },
          "Tail index out of bounds of mounted game data directory array. Index '-1'" },
        { 0, 3, false, { "base", "patch", "mod" }, { "extra.zip", "mod", "patch", "base" },
          "Original tail index out of bounds of mounted game data directory array. Index '3'" },
    };
    for ( const auto& Row : Table )
    {
        ASSERT_TRUE( VFSShutdown() );
        ASSERT_TRUE( VFSInit( nullptr, "vfs_test", false ) );
        for ( const char* pName : { "base", "patch", "mod" } )
        {
            ASSERT_TRUE( VFSMountGameDataDir( Root.c_str(), {}, pName ) );
        }
        ASSERT_TRUE( VFSMountMemory( Extra.data(), Extra.size(), "extra.zip" ) );
        CAssertRecorder Asserts;
        EXPECT_EQ( VFSReplaceGameDataDir( Row.TailIndex, Row.OriginalTailIndex ), Row.bReplaced ) << Row.TailIndex;
        EXPECT_EQ( GameDataNames(), Row.GameData ) << Row.TailIndex << " " << Row.OriginalTailIndex;
        EXPECT_EQ( SearchPathNames(), Row.SearchPath ) << Row.TailIndex << " " << Row.OriginalTailIndex;
        EXPECT_EQ( Asserts.Texts(), NoneOrOne( Row.pAssert ) );
        // The tree follows the search path: the winner's file, the replaced one's files gone, the archive served.
        EXPECT_EQ( ReadVFSFile( "who.txt" ), SearchPathNames()[ 1 ] );
        for ( const char* pName : { "base", "patch", "mod" } )
        {
            const bool bMounted = std::find( Row.GameData.begin(), Row.GameData.end(), pName ) != Row.GameData.end();
            EXPECT_EQ( VFSExists( CString( std::string( pName ) + "_only.txt" ) ), bMounted ) << pName;
        }
        EXPECT_EQ( ReadVFSFile( "extra.txt" ), "extra" );
    }
    // A directory that has to come out with a file open keeps everything as it was.
    CVFSOpenResult Open = VFSOpen( "patch_only.txt", CFile::OPEN_READ, 0 );
    ASSERT_TRUE( Open.IsSuccess() );
    SVFSFile* pOpen = Open.MoveValue();
    {
        CLogRecorder Log;
        EXPECT_FALSE( VFSReplaceGameDataDir( 1, 0 ) );
        EXPECT_EQ( Log.Texts(), std::vector<std::string>{ "Failed to replace game data dir '" +
                                                          ( Root / "patch" ).string() + "' by '" +
                                                          ( Root / "mod" ).string() + "': files still open\n" } );
    }
    EXPECT_EQ( GameDataNames(), ( std::vector<std::string>{ "base", "patch", "mod" } ) );
    EXPECT_EQ( SearchPathNames(), ( std::vector<std::string>{ "extra.zip", "mod", "patch", "base" } ) );
    VFSClose( pOpen );
}
