#include "qor_core/checksumfile.h"

#include "qor_core/blob.h"

#include "tests/assert_recorder.h"
#include "tests/file_test_utils.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

TEST( CChecksumFile, SumsEverythingWrittenAsAFileOfThoseBytesWouldBe )
{
    const uint32 nSeed = 77;
    std::mt19937 Random( nSeed );
    CChecksumFile File;
    EXPECT_EQ( File.GetFileName(), "checksum" );
    EXPECT_TRUE( File.IsGood() );
    std::string Written;
    for ( int nStep = 0; nStep < 300; ++nStep )
    {
        const uint32 nKind = Random() % 4;
        const int32 Value = int32( Random() );
        if ( nKind == 0 )
        {
            File.WriteInt32( Value );
            char Bytes[ 4 ];
            std::memcpy( Bytes, &Value, 4 );
            Written.append( Bytes, 4 );
        }
        else if ( nKind == 1 )
        {
            File.WriteUInt8( uint8( Value ) );
            Written += char( Value );
        }
        else
        {
            // Long runs of 0xff drive the sums across their 65535 edge.
            const std::string Bytes( size_t( Random() % 600 ), nKind == 2 ? char( 0xff ) : char( Value ) );
            if ( nKind == 2 )
            {
                File.Write( Bytes.data(), int32( Bytes.size() ) );
            }
            else
            {
                File.WriteBlob( CBlob( Bytes.data(), int32( Bytes.size() ) ) );
            }
            Written += Bytes;
        }
        ASSERT_EQ( File.GetChecksum( 0 ), ReferenceChecksum( Written ) ) << "seed " << nSeed << ", step " << nStep;
    }
}

TEST( CChecksumFile, RefusesEveryRead )
{
    CChecksumFile File;
    CAssertRecorder Asserts;
    char Byte = 0;
    int32 Value = 0;
    CBlob Blob;
    EXPECT_FALSE( File.Read( &Byte, 1 ) );
    EXPECT_FALSE( File.ReadInt32( &Value ) );
    EXPECT_FALSE( File.ReadBlob( Blob ) );
    EXPECT_FALSE( File.ReadRange( 0, -1, []( void*, const void*, int32 ) {}, nullptr ) );
    File.GetChar();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 5, "Read mode is not allowed." ) );
}

// Every Reopen starts from the state of a file just opened, whatever the mode; the modes decide the sums.
TEST( CChecksumFile, ReopenResetsTheFileFirstInEveryMode )
{
    CAssertRecorder Asserts;
    CChecksumFile File;
    const uint32 Modes[] = { CFile::OPEN_READ, CFile::OPEN_WRITE, CFile::OPEN_WRITE_APPEND, 7 };
    const bool Results[] = { false, true, true, false };
    const uint32 ModesAfter[] = { CFile::OPEN_WRITE, CFile::OPEN_WRITE, CFile::OPEN_WRITE_APPEND, 7 };
    const uint32 SumsAfter[] = { 0, 0, 0x00010001, 0x00010001 };
    for ( int I = 0; I < 4; ++I )
    {
        File.SetType( 1 );
        File.WriteUInt8( 1 );
        EXPECT_EQ( File.Reopen( 0, Modes[I] ), Results[I] ) << I;
        EXPECT_TRUE( File.IsBinary() ) << I;
        EXPECT_EQ( File.GetMode(), ModesAfter[I] ) << I;
        EXPECT_EQ( File.GetChecksum( 0 ), SumsAfter[I] ) << I;
        File.Rewind();
    }
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "OPEN_READ is not allowed, assuming OPEN_WRITE.", "Invalid enum" } ) );
}
