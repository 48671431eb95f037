#include "qor_core/blob.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{
std::string Text( const CBlob& Blob )
{
    return std::string( reinterpret_cast<const char*>( Blob.GetData() ), size_t( Blob.GetSize() ) );
}
} // namespace

TEST( CBlob, AppendGrowsToTheLargerOfTheNewSizeAndTwiceTheOldSize )
{
    CBlob Blob;
    Blob.Append( "abc", 3 );
    EXPECT_EQ( Blob.GetCapacity(), 3 );
    Blob.Append( "d", 1 );
    EXPECT_EQ( Blob.GetCapacity(), 6 );
    Blob.Append( "ef", 2 );
    EXPECT_EQ( Blob.GetCapacity(), 6 );
    Blob.Append( "g", 1 );
    EXPECT_EQ( Blob.GetCapacity(), 12 );
    Blob.Append( "0123456789012345678901234", 25 );
    EXPECT_EQ( Blob.GetCapacity(), 32 );
    EXPECT_EQ( Text( Blob ), "abcdefg0123456789012345678901234" );
}

TEST( CBlob, TravelsAsBase64Text )
{
    const CBlob Blob( "fooba", 5 );
    std::string Encoded( Blob.GetBase64Size(), '?' );
    EXPECT_EQ( Blob.EncodeBase64( Encoded.data() ), 8u );
    EXPECT_EQ( Encoded, "Zm9vYmE=" );

    CBlob Decoded( "old contents", 12 );
    Decoded.DecodeBase64( Encoded.data(), uint32( Encoded.size() ) );
    EXPECT_EQ( Text( Decoded ), "fooba" );

    CBlob Empty;
    EXPECT_EQ( Empty.EncodeBase64( Encoded.data() ), 0u );
    Empty.DecodeBase64( "", 0 );
    EXPECT_EQ( Empty.GetSize(), 0 );
    EXPECT_THROW( Empty.DecodeBase64( "Zm9", 3 ), std::runtime_error );
}

TEST( CBlob, NegativeAppendAssertsAndAddsNothing )
{
    CAssertRecorder Asserts;
    CBlob Blob( "a", 1 );
    Blob.Append( "b", -1 );
    EXPECT_EQ( Blob.GetSize(), 1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Size >= 0 && Size <= c_MaxBlobSize - _nSize" } );
}
