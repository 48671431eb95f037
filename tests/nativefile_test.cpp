#include "qor_core/nativefile.h"

#include "qor_core/blob.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace
{
constexpr uint32 c_Text = 1;
constexpr uint32 c_Binary = 0;

void WriteText( const std::string& Path, const std::string& Text )
{
    CNativeFile File( Path.c_str(), c_Binary, CFile::OPEN_WRITE );
    File.Write( Text.data(), int32( Text.size() ) );
}
} // namespace

// Random chunks that straddle the 64 KB buffer in both directions, against the bytes written.
TEST( CNativeFile, WritesAndReadsBackAcrossTheBuffer )
{
    const uint32 nSeed = 20240611;
    std::mt19937 Random( nSeed );
    std::string Bytes( 300000, '\0' );
    for ( char& Byte : Bytes )
    {
        Byte = char( Random() );
    }
    CTempPath Path( "roundtrip.bin" );
    {
        CNativeFile File( Path.c_str(), c_Binary, CFile::OPEN_WRITE );
        for ( size_t Done = 0; Done < Bytes.size(); )
        {
            const size_t Size = std::min<size_t>( Random() % 100000, Bytes.size() - Done );
            File.Write( Bytes.data() + Done, int32( Size ) );
            Done += Size;
            ASSERT_EQ( File.GetPosition(), int64( Done ) ) << "seed " << nSeed;
            ASSERT_EQ( File.GetSize(), int64( Done ) ) << "buffered bytes count, seed " << nSeed;
        }
        EXPECT_TRUE( File.IsGood() );
    }
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), Bytes ) << "seed " << nSeed;

    CNativeFile File( Path.c_str(), c_Binary, CFile::OPEN_READ );
    ASSERT_EQ( File.GetSize(), int64( Bytes.size() ) );
    std::string Read( Bytes.size(), '\0' );
    for ( size_t Done = 0; Done < Bytes.size(); )
    {
        const size_t Size = std::min<size_t>( Random() % 100000, Bytes.size() - Done );
        ASSERT_TRUE( File.Read( Read.data() + Done, int32( Size ) ) ) << "seed " << nSeed;
        Done += Size;
        ASSERT_EQ( File.GetPosition(), int64( Done ) ) << "seed " << nSeed;
    }
    EXPECT_EQ( Read, Bytes ) << "seed " << nSeed;
    EXPECT_TRUE( File.IsEof() );
    char Extra;
    EXPECT_FALSE( File.Read( &Extra, 1 ) );
}

TEST( CNativeFile, TextInterfaceCountsLinesAndEndsAtAZeroByte )
{
    CTempPath Path( "text.txt" );
    WriteText( Path.Path(), std::string( "a\nb", 3 ) + '\0' + "c" );
    CNativeFile File( Path.c_str(), c_Text, CFile::OPEN_READ );
    EXPECT_EQ( File.GetChar(), 'a' );
    EXPECT_EQ( File.GetChar(), '\n' );
    EXPECT_EQ( File.GetLineNumber(), 1 ) << "the line moves with the character after the newline";
    EXPECT_EQ( File.GetChar(), 'b' );
    EXPECT_EQ( File.GetLineNumber(), 2 );
    EXPECT_TRUE( File.IsGood() );
    EXPECT_EQ( File.GetChar(), char( 255 ) );
    EXPECT_FALSE( File.IsGood() );
    EXPECT_TRUE( File.Rewind() );
    EXPECT_TRUE( File.IsGood() );
    EXPECT_EQ( File.GetChar(), 'a' );
    File.UngetChar( 'a' );
    EXPECT_EQ( File.GetChar(), 'a' );
}

TEST( CNativeFile, ModesTruncateAppendAndReopen )
{
    CTempPath Path( "modes.txt" );
    WriteText( Path.Path(), "first" );
    {
        CNativeFile File( Path.c_str(), c_Binary, CFile::OPEN_WRITE_APPEND );
        EXPECT_EQ( File.GetPosition(), 5 );
        File.Write( "+more", 5 );
    }
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), "first+more" );

    CNativeFile File( Path.c_str(), c_Binary, CFile::OPEN_READ );
    CBlob Blob;
    EXPECT_TRUE( File.ReadBlob( Blob ) );
    EXPECT_EQ( std::string( reinterpret_cast<const char*>( Blob.GetData() ), size_t( Blob.GetSize() ) ), "first+more" );
    EXPECT_TRUE( File.Reopen( c_Binary, CFile::OPEN_WRITE ) );
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), "" );
    File.WriteInt32( 0x64636261 );
    File.WriteUInt8( 'e' );
    EXPECT_TRUE( File.Flush() );
    EXPECT_EQ( NVFSTest::ReadRealFile( Path.Path() ), "abcde" );
    EXPECT_EQ( std::string( File.GetFileName().GetData() ), Path.Path() );
    EXPECT_TRUE( File.Exists() );
}

TEST( CNativeFile, AFailedOpenLeavesAFileThatIsNotOpen )
{
    CNativeFile File( "/nonexistent-folder-of-qor-tests/x", c_Binary, CFile::OPEN_WRITE );
    EXPECT_FALSE( File.IsOpen() );
    EXPECT_FALSE( File.IsGood() );
    EXPECT_FALSE( File.Flush() );
    File.Write( "x", 1 );
    EXPECT_EQ( File.GetSize(), 0 );
    EXPECT_FALSE( File.Exists() );

    CNativeFile Missing( "/nonexistent-folder-of-qor-tests/y", c_Binary, CFile::OPEN_READ );
    char Byte;
    EXPECT_FALSE( Missing.Read( &Byte, 1 ) );
}
