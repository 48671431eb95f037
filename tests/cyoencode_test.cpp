#include "qor_core/cyodecode.h"
#include "qor_core/cyoencode.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using FEncode = uint64 ( * )( char*, const void*, uint32 );
using FEncodeGetLength = uint64 ( * )( uint32 );
using FDecode = uint32 ( * )( void*, const char*, uint32 );
using FDecodeGetLength = uint32 ( * )( uint32 );

struct SScheme
{
    const char* pName;
    FEncode Encode;
    FEncodeGetLength EncodeGetLength;
    FDecode Decode;
    FDecodeGetLength DecodeGetLength;
    uint32 nBlock; // the text's block size: decoding takes whole blocks only
};

const SScheme s_Schemes[] = {
    { "base16", Base16Encode, Base16EncodeGetLength, Base16Decode, Base16DecodeGetLength, 2 },
    { "base32", Base32Encode, Base32EncodeGetLength, Base32Decode, Base32DecodeGetLength, 8 },
    { "base64", Base64Encode, Base64EncodeGetLength, Base64Decode, Base64DecodeGetLength, 4 },
};

std::string Encode( const SScheme& Scheme, const std::string& Bytes )
{
    std::string Text( Scheme.EncodeGetLength( uint32( Bytes.size() ) ), '?' );
    const uint64 nWritten = Scheme.Encode( Text.data(), Bytes.data(), uint32( Bytes.size() ) );
    EXPECT_EQ( nWritten, Text.size() ) << Scheme.pName;
    return Text;
}

std::string Decode( const SScheme& Scheme, const std::string& Text )
{
    std::string Bytes( Scheme.DecodeGetLength( uint32( Text.size() ) ), '?' );
    Bytes.resize( Scheme.Decode( Bytes.data(), Text.data(), uint32( Text.size() ) ) );
    return Bytes;
}

std::string ThrownText( auto Call )
{
    try
    {
        Call();
    }
    catch ( const std::runtime_error& Error )
    {
        return Error.what();
    }
    return "nothing thrown";
}
} // namespace

// RFC 4648, section 10.
TEST( CyoEncode, MatchesThePublishedTestVectors )
{
    const std::string Inputs[] = { "", "f", "fo", "foo", "foob", "fooba", "foobar" };
    const std::vector<std::string> Expected[] = {
        { "", "66", "666F", "666F6F", "666F6F62", "666F6F6261", "666F6F626172" },
        { "", "MY======", "MZXQ====", "MZXW6===", "MZXW6YQ=", "MZXW6YTB", "MZXW6YTBOI======" },
        { "", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy" },
    };
    CAssertRecorder Asserts;
    for ( int nScheme = 0; nScheme < 3; ++nScheme )
    {
        for ( int i = 0; i < 7; ++i )
        {
            EXPECT_EQ( Encode( s_Schemes[ nScheme ], Inputs[ i ] ), Expected[ nScheme ][ i ] );
            EXPECT_EQ( Decode( s_Schemes[ nScheme ], Expected[ nScheme ][ i ] ), Inputs[ i ] );
        }
    }
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( CyoEncode, RoundTripsRandomDataOfEveryLength )
{
    const uint32 nSeed = 4648;
    std::mt19937 Random( nSeed );
    CAssertRecorder Asserts;
    for ( const SScheme& Scheme : s_Schemes )
    {
        for ( uint32 nSize = 0; nSize <= 100; ++nSize )
        {
            std::string Bytes( nSize, '\0' );
            for ( char& Byte : Bytes )
            {
                Byte = char( Random() );
            }
            const std::string Text = Encode( Scheme, Bytes );
            ASSERT_EQ( Decode( Scheme, Text ), Bytes ) << Scheme.pName << ", seed " << nSeed << ", size " << nSize;
        }
    }
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( CyoDecode, MisusedArgumentsThrow )
{
    char Text[ 8 ] = {};
    uint8 Bytes[ 8 ] = {};
    for ( const SScheme& Scheme : s_Schemes )
    {
        const std::string NotWhole = "Invalid source, size is not a multiple of " + std::to_string( Scheme.nBlock );
        EXPECT_EQ( ThrownText( [ & ] { Scheme.DecodeGetLength( Scheme.nBlock + 1 ); } ), NotWhole );
        EXPECT_EQ( ThrownText( [ & ] { Scheme.Decode( Bytes, "MZXW6YQ", Scheme.nBlock - 1 ); } ), NotWhole );
        EXPECT_EQ( ThrownText( [ & ] { Scheme.Encode( nullptr, Bytes, 1 ); } ), "Invalid parameter" ) << Scheme.pName;
        EXPECT_EQ( ThrownText( [ & ] { Scheme.Encode( Text, nullptr, 1 ); } ), "Invalid parameter" ) << Scheme.pName;
        EXPECT_EQ( ThrownText( [ & ] { Scheme.Decode( nullptr, Text, 8 ); } ), "Invalid parameter" ) << Scheme.pName;
        EXPECT_EQ( ThrownText( [ & ] { Scheme.Decode( Bytes, nullptr, 8 ); } ), "Invalid parameter" ) << Scheme.pName;
    }
}

TEST( CyoDecode, MalformedCharactersAssertAndDecodingGoesOn )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( Decode( s_Schemes[ 2 ], "Z*9v" ).size(), 3u );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "in2 != 0xff", "0 <= in2 && in2 <= 63" } ) );

    Asserts.Clear();
    // The character's text is split: "\xc3A" would read as one escape.
    EXPECT_EQ( Decode( s_Schemes[ 2 ], "\xc3" "A==" ).size(), 1u );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "c1 < 0x80", "in1 != 0xff", "0 <= in1 && in1 <= 63" } ) );

    Asserts.Clear();
    Decode( s_Schemes[ 1 ], "MZXW6Y==" );
    Decode( s_Schemes[ 1 ], "MZX=====" );
    Decode( s_Schemes[ 1 ], "=ZXW6YTB" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "( in7 == 32 && in6 == 32 ) || ( in7 != 32 )",
                                                            "( in4 == 32 && in3 == 32 ) || ( in4 != 32 )",
                                                            "0 <= in1 && in1 <= 31" } ) );

    Asserts.Clear();
    EXPECT_EQ( Decode( s_Schemes[ 0 ], "6G" ), "\x6f" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "in2 != 0xff" } ) );
}
