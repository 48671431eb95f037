#include "qor_core/file.h"

#include "qor_core/blob.h"
#include "qor_core/checksumfile.h"
#include "qor_core/memoryfile.h"
#include "qor_core/nativefile.h"
#include "qor_core/qor_exception.h"
#include "qor_core/virtualfilesystem.h"
#include "tests/assert_recorder.h"
#include "tests/file_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>
#include <type_traits>
#include <signal.h>
#include <sys/resource.h>

#include <string>
#include <vector>

using namespace NVFSTest;

class CArchiveFileTest : public CVFSFixture
{
protected:
    void SetUp() override
    {
        CVFSFixture::SetUp();
        // Reads see what was written.
        ASSERT_TRUE( VFSMountDir( WriteDir.c_str() ) );
    }
    // The description of the exception that Function throws, or "no exception".
    template <typename FunctionT>
    static std::string ThrownText( FunctionT Function )
    {
        try
        {
            Function();
        }
        catch ( const CQorFileException& Exception )
        {
            return Exception.GetDescription().GetStdString();
        }
        return "no exception";
    }
};

TEST_F( CArchiveFileTest, WritesThenReadsTextWithLineNumbersAndTheEnd )
{
    {
        CArchiveFile File( "notes/today.txt", 1, CFile::OPEN_WRITE );
        WriteString( File, "ab\nc" );
        File.WriteUInt8( '\n' );
        File.Write( "d", 1 );
    }
    EXPECT_EQ( ReadRealFile( WriteDir + "notes/today.txt" ), "ab\nc\nd" );

    CArchiveFile File( "notes/today.txt", 1, CFile::OPEN_READ );
    EXPECT_TRUE( File.Exists() );
    EXPECT_GT( File.GetModifiedTime(), 0u );
    EXPECT_EQ( File.GetSize(), 6 );
    // The line number moves when the character behind a newline is asked for.
    const std::vector<std::pair<char, int32>> Expected = {
        { 'a', 1 }, { 'b', 1 }, { '\n', 1 }, { 'c', 2 }, { '\n', 2 }, { 'd', 3 }, { char( -1 ), 3 } };
    for ( const auto& [ Char, Line ] : Expected )
    {
        EXPECT_EQ( File.GetChar(), Char );
        EXPECT_EQ( File.GetLineNumber(), Line );
    }
    EXPECT_FALSE( File.IsGood() );
    EXPECT_TRUE( File.IsEof() );
    EXPECT_TRUE( File.Rewind() );
    EXPECT_TRUE( File.IsGood() );
    EXPECT_EQ( File.GetChar(), 'a' );
    File.UngetChar( 'a' );
    EXPECT_EQ( File.GetChar(), 'a' );
    EXPECT_EQ( File.GetPosition(), 1 );
    EXPECT_EQ( File.GetChecksum( -1 ), ReferenceChecksum( "ab\nc\nd" ) );
    EXPECT_EQ( File.GetChecksum( 2 ), ReferenceChecksum( "ab" ) );
}

TEST_F( CArchiveFileTest, BinaryBlocksBlobsSeeksAndReopen )
{
    {
        CArchiveFile File( "data/block.bin", 0, CFile::OPEN_WRITE );
        File.WriteInt32( 0x01020304 );
        CBlob Blob( "xyz", 3 );
        File.WriteBlob( Blob );
    }
    CArchiveFile File( "data/block.bin", 0, CFile::OPEN_READ );
    int32 Value = 0;
    EXPECT_TRUE( File.ReadInt32( &Value ) );
    EXPECT_EQ( Value, 0x01020304 );
    char Bytes[ 8 ] = {};
    EXPECT_FALSE( File.Read( Bytes, 4 ) ); // three bytes are left
    EXPECT_FALSE( File.IsGood() );
    EXPECT_TRUE( File.Seek( 4 ) );
    EXPECT_TRUE( File.IsGood() );
    EXPECT_TRUE( File.Read( Bytes, 3 ) );
    EXPECT_EQ( std::string( Bytes, 3 ), "xyz" );
    CBlob Blob;
    EXPECT_TRUE( File.ReadBlob( Blob ) );
    EXPECT_EQ( std::string( reinterpret_cast<const char*>( Blob.GetData() ), size_t( Blob.GetSize() ) ),
               std::string( "\x04\x03\x02\x01xyz", 7 ) );
    EXPECT_TRUE( File.SeekEnd() );
    EXPECT_EQ( File.GetPosition(), 7 );

    // Reopen for appending keeps the contents and writes behind them.
    EXPECT_TRUE( File.Reopen( 0, CFile::OPEN_WRITE_APPEND ) );
    File.WriteUInt8( '!' );
    EXPECT_TRUE( File.Reopen( 0, CFile::OPEN_READ ) );
    EXPECT_EQ( File.GetSize(), 8 );
}

TEST_F( CArchiveFileTest, FailuresThrowOrAssertWithTheirTexts )
{
    EXPECT_EQ( ThrownText( [] { CArchiveFile File( "missing.txt", 1, CFile::OPEN_READ ); } ),
               "Could not open file: missing.txt" );
    {
        CAssertRecorder Asserts;
        EXPECT_EQ( ThrownText( [] { CArchiveFile File( "dir\\name.txt", 1, CFile::OPEN_READ ); } ),
                   "Could not open file: dir\\name.txt" );
        EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "FileName.Find( \"\\\\\" ) == -1 && \"\\\\ is not allowed, "
                                                                "use forward slash\"",
                                                                "dir\\name.txt is not a valid file name or path" } ) );
    }
    {
        CArchiveFile Writer( "text.txt", 1, CFile::OPEN_WRITE );
        CAssertRecorder Asserts;
        const std::string Large( 1024 * 128, 'x' );
        Writer.Write( Large.data(), int32( Large.size() ) );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "IsBinary() || nSize < 1024 * 128" } );
    }
    CArchiveFile Reader( "text.txt", 1, CFile::OPEN_READ );
    CAssertRecorder Asserts;
    Reader.WriteUInt8( 1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "IsWriteMode()" } );
    EXPECT_EQ( Reader.GetSize(), 1024 * 128 );
}

TEST_F( CArchiveFileTest, ShortWritesThrow )
{
    // Files may not grow past the buffer: a block larger than the buffer goes to the system at once and is
    // cut short there (EFBIG rather than the signal).
    const std::string Large( CArchiveFile::c_BufferSize + 1, 'x' );
    rlimit Previous;
    ASSERT_EQ( getrlimit( RLIMIT_FSIZE, &Previous ), 0 );
    rlimit Limit = Previous;
    Limit.rlim_cur = CArchiveFile::c_BufferSize;
    ASSERT_EQ( setrlimit( RLIMIT_FSIZE, &Limit ), 0 );
    const sighandler_t PreviousHandler = signal( SIGXFSZ, SIG_IGN );
    {
        CArchiveFile File( "string.bin", 0, CFile::OPEN_WRITE );
        const CQorStringView Text( Large.data(), int32( Large.size() ), ENullTerminated::Yes );
        EXPECT_EQ( ThrownText( [ & ] { WriteString( File, Text ); } ), "Failed writing full string" );
    }
    {
        CArchiveFile File( "block.bin", 0, CFile::OPEN_WRITE );
        EXPECT_EQ( ThrownText( [ & ] { File.Write( Large.data(), int32( Large.size() ) ); } ), "Failed writing file" );
    }
    signal( SIGXFSZ, PreviousHandler );
    setrlimit( RLIMIT_FSIZE, &Previous );
}

TEST_F( CArchiveFileTest, TakesOverAReadyHandleAsText )
{
    WriteRealFile( WriteDir + "ready.txt", "r" );
    CVFSOpenResult Result = VFSOpen( "ready.txt", CFile::OPEN_READ, 0 );
    ASSERT_TRUE( Result.IsSuccess() );
    CArchiveFile File( Result.MoveValue() );
    EXPECT_FALSE( File.IsBinary() );
    EXPECT_FALSE( File.IsWriteMode() );
    EXPECT_EQ( File.GetChar(), 'r' );
    // Without a name there is nothing to open again; the handle stays.
    CAssertRecorder Asserts;
    EXPECT_FALSE( File.Reopen( 1, CFile::OPEN_READ ) );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "No file to reopen" } );
    EXPECT_TRUE( File.IsGood() );
}

// The typed operations of every kind of file go through its own Read and Write: the same bytes, and the
// same rules of mode and room. (The memory file's typed bytes are pinned by its own tests.)
TEST_F( CArchiveFileTest, TypedReadsAndWritesOfEveryKindOfFileGoThroughItsReadAndWrite )
{
    const CBlob Blob( "blob", 4 );
    const std::string Expected = std::string( "blob" ) + std::string( "\x78\x56\x34\x12", 4 ) + "\xab";
    const auto WriteTyped = [ & ]( CFile& File ) {
        File.WriteBlob( Blob );
        File.WriteInt32( 0x12345678 );
        File.WriteUInt8( 0xab );
    };
    const auto ReadTyped = []( CFile& File ) {
        int32 Value = 0;
        return File.Seek( 4 ) && File.ReadInt32( &Value ) ? Value : -1;
    };
    // Each kind writes the bytes to its file, then reads the integer behind the blob back.
    const auto RoundTrip = [ & ]( auto* pKind, const char* pName, const std::string& RealPath ) {
        using FileT = std::remove_pointer_t<decltype( pKind )>;
        {
            FileT File( pName, 0, CFile::OPEN_WRITE );
            WriteTyped( File );
        }
        EXPECT_EQ( ReadRealFile( RealPath ), Expected ) << pName;
        FileT File( pName, 0, CFile::OPEN_READ );
        EXPECT_EQ( ReadTyped( File ), 0x12345678 ) << pName;
    };
    const std::string NativePath = ( Root / "typed.bin" ).string();
    RoundTrip( static_cast<CNativeFile*>( nullptr ), NativePath.c_str(), NativePath );
    RoundTrip( static_cast<CArchiveFile*>( nullptr ), "typed.bin", WriteDir + "typed.bin" );
    CChecksumFile Checksum;
    WriteTyped( Checksum );
    EXPECT_EQ( Checksum.GetChecksum( int32( Expected.size() ) ), ReferenceChecksum( Expected ) );

    // Write's rules hold for the typed writes: a read mode, a fixed buffer without room for all four bytes.
    CAssertRecorder Asserts;
    CMemoryFile ReadOnly( Expected.data(), int32( Expected.size() ), 0 );
    ReadOnly.WriteUInt8( 1 );
    uint8 Buffer[ 7 ] = {};
    CMemoryFile Fixed( Buffer, 7, 0, CFile::OPEN_WRITE );
    Fixed.WriteBlob( Blob );
    Fixed.WriteInt32( 0x01020304 );
    EXPECT_EQ( Fixed.GetSize(), 4 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Can't write data on Read Mode",
                                                            "Out of space, will not write the Data." } ) );
    EXPECT_EQ( std::string( reinterpret_cast<const char*>( Buffer ), 7 ), std::string( "blob\0\0\0", 7 ) );
}
