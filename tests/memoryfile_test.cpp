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

struct SRange
{
    const void* pData;
    int32 Size;
    int nCalls = 0;
};

void RecordRange( void* pUser, const void* pData, int32 Size )
{
    SRange& Range = *static_cast<SRange*>( pUser );
    Range.pData = pData;
    Range.Size = Size;
    ++Range.nCalls;
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

TEST( CMemoryFile, UngetAfterANewlineStepsTheLineBack )
{
    CMemoryFile File( "a\nb", 3, c_Text );
    File.GetChar();
    EXPECT_EQ( File.GetChar(), '\n' );
    EXPECT_EQ( File.GetLineNumber(), 1 );
    File.UngetChar( '\n' );
    EXPECT_EQ( File.GetLineNumber(), 0 );
    EXPECT_EQ( File.GetChar(), '\n' );
    EXPECT_EQ( File.GetLineNumber(), 1 );
    EXPECT_EQ( File.GetChar(), 'b' );
    EXPECT_EQ( File.GetLineNumber(), 2 );
    File.UngetChar( 'b' );
    EXPECT_EQ( File.GetChar(), 'b' );
    EXPECT_EQ( File.GetLineNumber(), 2 );
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

TEST( CMemoryFile, TextInterfaceAssertsOnBinaryAndWriteFiles )
{
    CAssertRecorder Asserts;
    CMemoryFile Binary( "x", 1, c_Binary );
    EXPECT_EQ( Binary.GetChar(), 'x' );
    Binary.UngetChar( 'x' );
    CBlob Blob;
    CMemoryFile Writer( &Blob, c_Text, CFile::OPEN_WRITE, false );
    Writer.GetChar();
    Writer.UngetChar( 'x' );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "!IsBinary()", "!IsBinary()", "!IsWriteMode()", "!IsWriteMode()" } ) );
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

TEST( CMemoryFile, ReadModeRefusesWrites )
{
    CBlob Blob( "data", 4 );
    CMemoryFile File( Blob, c_Binary );
    CAssertRecorder Asserts;
    File.Write( "x", 1 );
    EXPECT_EQ( Text( Blob ), "data" );
    EXPECT_EQ( File.GetPosition(), 0 );

    CMemoryFile Constant( "const", 5, c_Binary );
    Constant.Reopen( c_Binary, CFile::OPEN_WRITE_APPEND );
    Constant.Write( "!", 1 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Can't write data on Read Mode",
                                                            "Out of space, will not write the Data." } ) );
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

TEST( CMemoryFile, SeeksWithinTheData )
{
    CMemoryFile File( "0123456789", 10, c_Text );
    EXPECT_TRUE( File.Seek( 10 ) );
    EXPECT_TRUE( File.Seek( 4 ) );
    EXPECT_EQ( File.GetChar(), '4' );
    {
        CAssertRecorder Asserts;
        EXPECT_FALSE( File.Seek( 11 ) );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Seeking out of bounds" } );
    }
    EXPECT_EQ( File.GetPosition(), 5 );
    EXPECT_TRUE( File.SeekEnd() );
    EXPECT_EQ( File.GetPosition(), 10 );
    EXPECT_TRUE( File.Rewind() );
    EXPECT_EQ( File.GetChar(), '0' );
}

TEST( CMemoryFile, ReadRangeHandsOverTheMemoryInOneCall )
{
    CMemoryFile File( "0123456789", 10, c_Binary );
    SRange Range;
    EXPECT_TRUE( File.ReadRange( 2, 7, RecordRange, &Range ) );
    EXPECT_EQ( Range.nCalls, 1 );
    EXPECT_EQ( Range.pData, File.GetData() + 2 );
    EXPECT_EQ( Range.Size, 5 );
    EXPECT_EQ( File.GetPosition(), 7 );

    EXPECT_TRUE( File.ReadRange( 3, -1, RecordRange, &Range ) );
    EXPECT_EQ( Range.Size, 7 );

    CAssertRecorder Asserts;
    EXPECT_FALSE( File.ReadRange( 5, 11, RecordRange, &Range ) );
    EXPECT_FALSE( File.ReadRange( 6, 5, RecordRange, &Range ) );
    EXPECT_EQ( Range.nCalls, 2 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Start >= 0 && Start <= End && End <= GetSize()",
                                                            "Start >= 0 && Start <= End && End <= GetSize()" } ) );
}

TEST( CMemoryFile, ReopenFollowsTheMode )
{
    CAssertRecorder Asserts;
    CMemoryFile Empty( c_Text );
    EXPECT_FALSE( Empty.Reopen( c_Text, CFile::OPEN_READ ) );

    CBlob Blob( "abc", 3 );
    CMemoryFile File( &Blob, c_Text, CFile::OPEN_READ, false );
    File.GetChar();
    EXPECT_TRUE( File.Reopen( c_Text, CFile::OPEN_WRITE_APPEND ) );
    EXPECT_EQ( File.GetPosition(), 3 );
    EXPECT_FALSE( File.Reopen( c_Text, 7 ) );
    EXPECT_TRUE( File.Reopen( c_Text, CFile::OPEN_WRITE ) );
    EXPECT_EQ( Blob.GetSize(), 0 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "No file to reopen", "Not Implemented!" } ) );
}

TEST( CMemoryFile, CopyOwnsACopyOfAnOwnedBlob )
{
    CMemoryFile Original( new CBlob( "abc", 3 ), c_Binary, CFile::OPEN_WRITE_APPEND, true );
    CMemoryFile Copy( Original );
    Copy.Write( "d", 1 );
    EXPECT_EQ( Text( *Original.GetBlob() ), "abc" );
    EXPECT_EQ( Text( *Copy.GetBlob() ), "abcd" );

    CBlob Shared;
    CMemoryFile Writer( &Shared, c_Binary, CFile::OPEN_WRITE, false );
    CMemoryFile SharedCopy( Writer );
    SharedCopy.Write( "x", 1 );
    EXPECT_EQ( Text( Shared ), "x" );
}

TEST( CMemoryFile, ChecksumAgreesWithThePlainSum )
{
    EXPECT_EQ( CMemoryFile( "", 0, c_Binary ).GetChecksum( -1 ), 0u );
    EXPECT_EQ( CMemoryFile( "\x01", 1, c_Binary ).GetChecksum( -1 ), 0x00010001u );

    const uint32 nSeed = 9101;
    std::mt19937 Random( nSeed );
    for ( int nCase = 0; nCase < 40; ++nCase )
    {
        // Runs of 0xff reach 65535 exactly; runs of zeros keep the sums at their edges.
        const int32 nSize = std::uniform_int_distribution<int32>( 0, nCase < 30 ? 3000 : 300000 )( Random );
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
