#include "qor_core/memoryfile.h"

#include "tests/assert_recorder.h"
#include "tests/file_test_utils.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace
{
constexpr uint32 c_Text = 1;
constexpr uint32 c_Binary = 0;

std::string Text( const CBlob& Blob )
{
    return std::string( reinterpret_cast<const char*>( Blob.GetData() ), size_t( Blob.GetSize() ) );
}
} // namespace

TEST( CMemoryFile, LineNumberMovesWithTheCharacterAfterTheNewline )
{
    const char Data[] = "ab\nc\n\nd";
    CMemoryFile File( Data, 7, c_Text );
    std::string Seen;
    std::vector<int32> Lines;
    for ( int i = 0; i < 7; ++i )
    {
        Seen += File.GetChar();
        Lines.push_back( File.GetLineNumber() );
    }
    EXPECT_EQ( Seen, "ab\nc\n\nd" );
    EXPECT_EQ( Lines, ( std::vector<int32>{ 1, 1, 1, 2, 2, 3, 4 } ) );
    EXPECT_TRUE( File.IsGood() );
}

TEST( CMemoryFile, TextEndsAtTheEndOrAtAZeroByte )
{
    CMemoryFile File( "ab\0cd", 5, c_Text );
    EXPECT_EQ( File.GetChar(), 'a' );
    EXPECT_EQ( File.GetChar(), 'b' );
    EXPECT_EQ( uint8( File.GetChar() ), 255 );
    EXPECT_FALSE( File.IsGood() );

    CMemoryFile Short( "x", 1, c_Text );
    Short.GetChar();
    EXPECT_TRUE( Short.IsGood() );
    EXPECT_EQ( uint8( Short.GetChar() ), 255 );
    EXPECT_EQ( uint8( Short.GetChar() ), 255 );
    EXPECT_FALSE( Short.IsGood() );
    EXPECT_EQ( Short.GetPosition(), 3 );
    EXPECT_TRUE( Short.IsEof() );
}

TEST( CMemoryFile, BlobWritesOverwriteInsideAndAppendTheOverhang )
{
    CBlob Blob( "old", 3 );
    CMemoryFile File( &Blob, c_Binary, CFile::OPEN_WRITE, false );
    EXPECT_EQ( Blob.GetSize(), 0 );
    File.Write( "hello world", 11 );
    ASSERT_TRUE( File.Seek( 6 ) );
    File.Write( "WORLD!!", 7 );
    EXPECT_EQ( Text( Blob ), "hello WORLD!!" );
    EXPECT_EQ( File.GetPosition(), 13 );
    ASSERT_TRUE( File.Seek( 1 ) );
    File.Write( "EL", 2 );
    EXPECT_EQ( Text( Blob ), "hELlo WORLD!!" );
    EXPECT_EQ( File.GetPosition(), 3 );

    File.WriteInt32( 0x04030201 );
    File.WriteUInt8( 0x7f );
    File.WriteBlob( CBlob( "++", 2 ) );
    EXPECT_EQ( Text( Blob ), std::string( "hEL\x01\x02\x03\x04\x7f++D!!" ) );

    CMemoryFile Appender( &Blob, c_Binary, CFile::OPEN_WRITE_APPEND, false );
    EXPECT_EQ( Appender.GetPosition(), 13 );
    WriteString( Appender, "?!" );
    EXPECT_EQ( Text( Blob ), std::string( "hEL\x01\x02\x03\x04\x7f++D!!?!" ) );
    EXPECT_TRUE( Appender.GetFileName().IsEmpty() );
}

TEST( CMemoryFile, FixedBufferTakesAllOrNothing )
{
    uint8 Buffer[ 8 ];
    std::memset( Buffer, '.', sizeof( Buffer ) );
    CMemoryFile File( Buffer, 8, c_Binary, CFile::OPEN_WRITE );
    File.Write( "12345", 5 );
    EXPECT_EQ( File.GetSize(), 5 );
    {
        CAssertRecorder Asserts;
        File.Write( "6789", 4 );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Out of space, will not write the Data." } );
    }
    EXPECT_EQ( std::string( reinterpret_cast<char*>( Buffer ), 8 ), "12345..." );
    EXPECT_EQ( File.GetPosition(), 5 );
    EXPECT_FALSE( File.IsGood() );
    File.Write( "6", 1 );
    EXPECT_FALSE( File.IsGood() );

    EXPECT_TRUE( File.Rewind() );
    EXPECT_TRUE( File.IsGood() );
    File.Write( "ab", 2 );
    EXPECT_EQ( File.GetSize(), 6 );
    File.SeekEnd();
    File.Write( "78", 2 );
    EXPECT_EQ( File.GetSize(), 8 );
    EXPECT_EQ( std::string( reinterpret_cast<char*>( Buffer ), 8 ), "ab345678" );

    EXPECT_TRUE( File.Reopen( c_Binary, CFile::OPEN_WRITE ) );
    EXPECT_EQ( File.GetSize(), 0 );
}

TEST( CMemoryFile, ReadsBlocksOnlyWhenTheyFit )
{
    CMemoryFile File( "\x01\x00\x00\x00xyz", 7, c_Binary );
    int32 Value = 0;
    EXPECT_TRUE( File.ReadInt32( &Value ) );
    EXPECT_EQ( Value, 1 );
    char Bytes[ 4 ] = {};
    EXPECT_FALSE( File.Read( Bytes, 4 ) );
    EXPECT_EQ( File.GetPosition(), 4 );
    EXPECT_TRUE( File.Read( Bytes, 3 ) );
    EXPECT_EQ( std::string( Bytes, 3 ), "xyz" );
    EXPECT_TRUE( File.IsEof() );

    CBlob Blob( "stale", 5 );
    EXPECT_TRUE( File.Rewind() );
    File.Seek( 2 );
    EXPECT_TRUE( File.ReadBlob( Blob ) );
    EXPECT_EQ( Text( Blob ), std::string( "\x01\x00\x00\x00xyz", 7 ) );
    EXPECT_EQ( File.GetPosition(), 9 );
}

TEST( CMemoryFile, ChecksumAgreesWithThePlainSum )
{
    EXPECT_EQ( CMemoryFile( "", 0, c_Binary ).GetChecksum( -1 ), 0u );
    EXPECT_EQ( CMemoryFile( "\x01", 1, c_Binary ).GetChecksum( -1 ), 0x00010001u );

    const uint32 nSeed = 9101;
    std::mt19937 Random( nSeed );
    for ( int nCase = 0; nCase < 12; ++nCase )
    {
        // Runs of 0xff reach 65535 exactly; runs of zeros keep the sums at their edges.
        const int32 nSize = std::uniform_int_distribution<int32>( 0, nCase < 9 ? 3000 : 300000 )( Random );
        const int nKind = nCase % 3;
        std::string Bytes( size_t( nSize ), '\0' );
        for ( char& Byte : Bytes )
        {
            Byte = nKind == 0 ? char( Random() ) : nKind == 1 ? char( 0xff ) : char( Random() % 4 == 0 ? 0xff : 0 );
        }
        CMemoryFile File( Bytes.data(), nSize, c_Binary );
        ASSERT_EQ( File.GetChecksum( -1 ), ReferenceChecksum( Bytes ) ) << "seed " << nSeed << ", case " << nCase;
        const int32 nPart = nSize / 3;
        ASSERT_EQ( File.GetChecksum( nPart ), ReferenceChecksum( Bytes.substr( 0, size_t( nPart ) ) ) )
            << "seed " << nSeed << ", case " << nCase;
        ASSERT_EQ( File.GetPosition(), nPart );
    }

    // A total that is a positive multiple of 65535 stays 65535: 257 bytes of 0xff sum to 65535 exactly.
    const std::string Edge( 257, char( 0xff ) );
    EXPECT_EQ( CMemoryFile( Edge.data(), 257, c_Binary ).GetChecksum( -1 ), 0xffffffffu );
    const std::string EdgeThenZeros = Edge + std::string( 70000, '\0' );
    EXPECT_EQ( CMemoryFile( EdgeThenZeros.data(), int32( EdgeThenZeros.size() ), c_Binary ).GetChecksum( -1 ),
               ReferenceChecksum( EdgeThenZeros ) );

    CAssertRecorder Asserts;
    CMemoryFile File( "ab", 2, c_Binary );
    EXPECT_EQ( File.GetChecksum( 3 ), ReferenceChecksum( "ab" ) );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "GetSize() >= MaxSize && \"Provided size is bigger than the size of file.\"" } );
}

// A file over a const blob or a constant block never writes: write modes are refused and it stays readable.
TEST( CMemoryFile, ReadOnlyFilesRefuseWriteModes )
{
    const CBlob Blob( "kept", 4 );
    CMemoryFile OverBlob( Blob, c_Text );
    CMemoryFile OverBlock( "kept", 4, c_Text );
    for ( CMemoryFile* pFile : { &OverBlob, &OverBlock } )
    {
        CAssertRecorder Asserts;
        EXPECT_EQ( pFile->GetChar(), 'k' );
        for ( const uint32 Mode : { CFile::OPEN_WRITE, CFile::OPEN_WRITE_APPEND } )
        {
            EXPECT_FALSE( pFile->Reopen( c_Binary, Mode ) );
            EXPECT_FALSE( pFile->IsWriteMode() );
            EXPECT_TRUE( pFile->IsBinary() );
            EXPECT_EQ( pFile->GetPosition(), 0 );
            EXPECT_EQ( pFile->GetSize(), 4 );
            pFile->Write( "xx", 2 );
        }
        EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "A read-only memory file can't be opened for writing",
                                                                "Can't write data on Read Mode",
                                                                "A read-only memory file can't be opened for writing",
                                                                "Can't write data on Read Mode" } ) );
        EXPECT_TRUE( pFile->Reopen( c_Text, CFile::OPEN_READ ) );
        EXPECT_EQ( pFile->GetChar(), 'k' );
    }
    EXPECT_EQ( Text( Blob ), "kept" );
}
