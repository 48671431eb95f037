// Archives as modders and downloads deliver them: truncated, corrupted, with names that climb out of the tree,
// absolute names, capitals, very long names, and a small zip bomb. Each is an error result with a text or a
// harmless success; nothing crashes, nothing lands outside the write directory, and nothing written before is
// lost.

#include "qor_core/blob.h"
#include "qor_core/file.h"
#include "qor_core/qor_exception.h"
#include "qor_core/virtualfilesystem.h"
#include "qor_core/virtualfilesystem_physfs.h"
#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace NVFSTest;

namespace
{
// Sets the uncompressed size of every entry, in the local headers and the central directory, to Size.
void PatchUncompressedSizes( std::string& Zip, uint32 Size )
{
    const auto Patch = [ & ]( const char* pSignature, size_t nOffset ) {
        for ( size_t nAt = Zip.find( pSignature ); nAt != std::string::npos; nAt = Zip.find( pSignature, nAt + 4 ) )
        {
            std::memcpy( &Zip[ nAt + nOffset ], &Size, 4 );
        }
    };
    Patch( "PK\x03\x04", 22 );
    Patch( "PK\x01\x02", 24 );
}

// Copies every file the tree lists into the write directory under the same name, as a mod installer would.
// Returns the failures' texts; pListed receives the names the tree listed.
std::vector<std::string> CopyTreeToWriteDir( std::vector<std::string>* pListed = nullptr )
{
    std::vector<std::string> Failures;
    CQorArray<CString> Files;
    VFSEnumerate( "", Files );
    for ( const CString& Name : Files )
    {
        if ( pListed )
        {
            pListed->push_back( Name.GetStdString() );
        }
        try
        {
            CArchiveFile Source( Name, 0, CFile::OPEN_READ );
            CBlob Blob;
            if ( !Source.ReadBlob( Blob ) )
            {
                Failures.push_back( Name.GetStdString() + ": " + VFSGetLastErrorText().GetStdString() );
                continue;
            }
            CArchiveFile Target( CString( "installed/" ) + Name, 0, CFile::OPEN_WRITE );
            Target.WriteBlob( Blob );
        }
        catch ( const CQorFileException& Exception )
        {
            Failures.push_back( Exception.GetDescription().GetStdString() );
        }
    }
    return Failures;
}
} // namespace

class CHostileArchive : public CVFSFixture
{
protected:
    void SetUp() override
    {
        CVFSFixture::SetUp();
        // What the user had saved before the archives came.
        WriteRealFile( WriteDir + "saves/keep.sav", "precious" );
    }
    void TearDown() override
    {
        EXPECT_EQ( ReadRealFile( WriteDir + "saves/keep.sav" ), "precious" );
        CVFSFixture::TearDown();
    }

    // Everything below Root outside the write directory and the archives themselves.
    std::vector<std::string> OutsideWriteDir() const
    {
        std::vector<std::string> Names;
        for ( const std::string& Name : ListRealTree( Root ) )
        {
            if ( Name.rfind( "xdg", 0 ) != 0 && Name.rfind( "archives", 0 ) != 0 )
            {
                Names.push_back( Name );
            }
        }
        return Names;
    }
};

TEST_F( CHostileArchive, TruncatedAndCorruptedArchivesFailWithATextAndNoCrash )
{
    std::string Payload;
    for ( int i = 0; i < 20000; ++i )
    {
        Payload += std::to_string( i * 7919 % 10007 ) + ",";
    }
    const std::filesystem::path Good = Root / "archives/good.zip";
    ASSERT_TRUE( MakeZip( Good, { { "data/table.csv", Payload }, { "data/small.txt", "small" } }, true ) );
    const std::string Bytes = ReadRealFile( Good );

    CLogRecorder Log;
    // Cut off before the central directory: not an archive any more.
    WriteRealFile( Root / "archives/truncated.zip", Bytes.substr( 0, Bytes.size() / 2 ) );
    EXPECT_FALSE( VFSMountDir( ( Root / "archives/truncated.zip" ).c_str() ) );
    ASSERT_EQ( Log.Texts().size(), 1u );
    EXPECT_EQ( Log.Texts()[ 0 ], "Failed to mount '" + ( Root / "archives/truncated.zip" ).string() + "': unsupported\n" );

    // The compressed stream damaged in the middle: the directory reads, the data doesn't.
    std::string Corrupted = Bytes;
    for ( size_t i = 200; i < 400; ++i )
    {
        Corrupted[ i ] = char( Corrupted[ i ] ^ 0x5A );
    }
    WriteRealFile( Root / "archives/corrupted.zip", Corrupted );
    ASSERT_TRUE( VFSMountDir( ( Root / "archives/corrupted.zip" ).c_str() ) );
    CAssertRecorder Asserts;
    const std::vector<std::string> Failures = CopyTreeToWriteDir();
    EXPECT_EQ( Failures, std::vector<std::string>{ "data/table.csv: corrupted" } );
    EXPECT_EQ( ReadRealFile( WriteDir + "installed/data/small.txt" ), "small" );
    EXPECT_FALSE( std::filesystem::exists( WriteDir + "installed/data/table.csv" ) );
}

TEST_F( CHostileArchive, NamesThatClimbOrAreAbsoluteStayInsideTheTree )
{
    const std::vector<std::string> Before = OutsideWriteDir();
    ASSERT_TRUE( MakeZip( Root / "archives/names.zip",
                          { { "../escape.txt", "climb" },
                            { "../../../../../../tmp/qor_vfs_escape.txt", "climb far" },
                            { "/abs/evil.txt", "absolute" },
                            { "ok/../../up.txt", "inner climb" },
                            { "fine/plain.txt", "plain" } },
                          false ) );
    CLogRecorder Log;
    CAssertRecorder Asserts;
    ASSERT_TRUE( VFSMountDir( ( Root / "archives/names.zip" ).c_str() ) );
    // The tree never lists a name that climbs or is absolute.
    std::vector<std::string> Listed;
    EXPECT_EQ( CopyTreeToWriteDir( &Listed ), std::vector<std::string>{} );
    EXPECT_EQ( Listed, std::vector<std::string>{ "fine/plain.txt" } );
    // Opening by the hostile names is refused by name.
    for ( const char* pName : { "../escape.txt", "ok/../../up.txt" } )
    {
        CVFSOpenResult Result = VFSOpen( pName, CFile::OPEN_READ, 0 );
        ASSERT_TRUE( Result.IsFailure() );
        EXPECT_EQ( Result.GetError().GetStdString(),
                   std::string( "VFSOpen Error: " ) + pName + " filename is illegal or insecure" );
    }
    EXPECT_EQ( ReadRealFile( WriteDir + "installed/fine/plain.txt" ), "plain" );
    EXPECT_EQ( OutsideWriteDir(), Before );
    EXPECT_FALSE( std::filesystem::exists( "/tmp/qor_vfs_escape.txt" ) );
    for ( const std::string& Name : ListRealTree( WriteDir ) )
    {
        EXPECT_EQ( Name.find( ".." ), std::string::npos ) << Name;
    }
}

TEST_F( CHostileArchive, CapitalAndLongNamesAreServedOrRefused )
{
    const std::string Long( 250, 'n' );
    std::string VeryLong;
    for ( int i = 0; i < 40; ++i )
    {
        VeryLong += std::string( 100, char( 'a' + i % 26 ) ) + "/";
    }
    VeryLong += "deep.txt";
    ASSERT_TRUE( MakeZip( Root / "archives/names.zip",
                          { { "Textures/Wall.PNG", "wall" }, { Long + ".txt", "long" }, { VeryLong, "very long" } },
                          true ) );
    ASSERT_TRUE( VFSMountDir( ( Root / "archives/names.zip" ).c_str() ) );
    // The report of capitals is the path check's, whatever serves the file: the file system tests pin it.
    EXPECT_EQ( ReadVFSFile( "Textures/Wall.PNG" ), "wall" );
    EXPECT_EQ( ReadVFSFile( CString( ( Long + ".txt" ).c_str() ) ), "long" );
    EXPECT_EQ( ReadVFSFile( CString( VeryLong.c_str() ) ), "very long" );

    // Installing them: the system refuses what it can't hold, with a text, and keeps the rest.
    CAssertRecorder Asserts;
    const std::vector<std::string> Failures = CopyTreeToWriteDir();
    for ( const std::string& Failure : Failures )
    {
        EXPECT_EQ( Failure.rfind( "Could not open file: installed/", 0 ), 0u ) << Failure;
    }
    EXPECT_EQ( ReadRealFile( WriteDir + "installed/" + Long + ".txt" ), "long" );
    EXPECT_EQ( ReadRealFile( WriteDir + "installed/Textures/Wall.PNG" ), "wall" );
}

TEST_F( CHostileArchive, ZipBombsInflateWithinTheBudgetOrStopAtTheirStatedSize )
{
    const std::string Zeros( 32 << 20, '\0' );
    ASSERT_TRUE( MakeZip( Root / "archives/bomb.zip", { { "bomb.bin", Zeros } }, true ) );
    EXPECT_LT( std::filesystem::file_size( Root / "archives/bomb.zip" ), 64u << 10 );
    std::string Lying = ReadRealFile( Root / "archives/bomb.zip" );
    PatchUncompressedSizes( Lying, 1024 );
    WriteRealFile( Root / "archives/lying.zip", Lying );

    ASSERT_TRUE( VFSMountDir( ( Root / "archives/bomb.zip" ).c_str() ) );
    CQorFixedAllocator* pAllocator = NPhysFSLayer::GetAllocator();
    const uint64 nBefore = pAllocator->GetAllocatedBytes();
    {
        CArchiveFile File( "bomb.bin", 0, CFile::OPEN_READ );
        EXPECT_EQ( File.GetSize(), int64( Zeros.size() ) );
        std::string Chunk( 1 << 20, 'x' );
        uint64 nTotal = 0;
        uint64 nPeak = 0;
        while ( File.Read( Chunk.data(), int32( Chunk.size() ) ) )
        {
            nTotal += Chunk.size();
            nPeak = std::max( nPeak, pAllocator->GetAllocatedBytes() );
            ASSERT_EQ( Chunk.find_first_not_of( '\0' ), std::string::npos );
        }
        EXPECT_EQ( nTotal, Zeros.size() );
        // The buffer of the file and the inflater's state, never the inflated whole.
        EXPECT_LT( nPeak - nBefore, 4u << 20 );
    }
    ASSERT_TRUE( VFSUnmount( ( Root / "archives/bomb.zip" ).c_str() ) );

    // A stated size below the stream's: reading stops at the stated size.
    ASSERT_TRUE( VFSMountDir( ( Root / "archives/lying.zip" ).c_str() ) );
    CArchiveFile File( "bomb.bin", 0, CFile::OPEN_READ );
    EXPECT_EQ( File.GetSize(), 1024 );
    std::string Chunk( 4096, 'x' );
    EXPECT_FALSE( File.Read( Chunk.data(), int32( Chunk.size() ) ) );
    EXPECT_FALSE( File.IsGood() );
}

TEST_F( CHostileArchive, SevenZipArchivesAreServedAndTruncatedOnesRefused )
{
    WriteRealFile( Root / "content/maps/level.txt", "level one" );
    WriteRealFile( Root / "content/readme.txt", std::string( 100000, 'r' ) );
    ASSERT_TRUE( MakeSevenZip( Root / "archives/pack.7z", Root / "content" ) );
    std::filesystem::remove_all( Root / "content" );
    const std::string Bytes = ReadRealFile( Root / "archives/pack.7z" );
    WriteRealFile( Root / "archives/truncated.7z", Bytes.substr( 0, Bytes.size() - 20 ) );

    CLogRecorder Log;
    EXPECT_FALSE( VFSMountDir( ( Root / "archives/truncated.7z" ).c_str() ) );
    ASSERT_EQ( Log.Texts().size(), 1u );
    EXPECT_EQ( Log.Texts()[ 0 ].rfind( "Failed to mount '" + ( Root / "archives/truncated.7z" ).string() + "': ", 0 ), 0u );

    ASSERT_TRUE( VFSMountDir( ( Root / "archives/pack.7z" ).c_str() ) );
    std::vector<std::string> Listed;
    EXPECT_EQ( CopyTreeToWriteDir( &Listed ), std::vector<std::string>{} );
    std::sort( Listed.begin(), Listed.end() );
    EXPECT_EQ( Listed, ( std::vector<std::string>{ "maps/level.txt", "readme.txt" } ) );
    EXPECT_EQ( ReadRealFile( WriteDir + "installed/maps/level.txt" ), "level one" );
    EXPECT_EQ( ReadRealFile( WriteDir + "installed/readme.txt" ), std::string( 100000, 'r' ) );
}
