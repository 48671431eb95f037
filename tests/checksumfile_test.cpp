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
    for ( int nStep = 0; nStep < 2000; ++nStep )
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
