#include "qor_core/md5.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
std::string HexDigest( const std::string& Message )
{
    MD5 Digest;
    Digest.update( Message.data(), uint32( Message.size() ) );
    Digest.finalize();
    char Text[ MD5::HEX_TEXT_SIZE ];
    return Digest.hex_digest( Text );
}
} // namespace

// The test suite of RFC 1321, appendix A.5, and the million-'a' message.
TEST( MD5, MatchesThePublishedDigests )
{
    EXPECT_EQ( HexDigest( "" ), "d41d8cd98f00b204e9800998ecf8427e" );
    EXPECT_EQ( HexDigest( "a" ), "0cc175b9c0f1b6a831c399e269772661" );
    EXPECT_EQ( HexDigest( "abc" ), "900150983cd24fb0d6963f7d28e17f72" );
    EXPECT_EQ( HexDigest( "message digest" ), "f96b697d7cb7938d525a2f31aaf161d0" );
    EXPECT_EQ( HexDigest( "abcdefghijklmnopqrstuvwxyz" ), "c3fcd3d76192e4007dfb496cca67e13b" );
    EXPECT_EQ( HexDigest( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789" ),
               "d174ab98d277d9f5a5611c2c9f419d9f" );
    EXPECT_EQ( HexDigest( "12345678901234567890123456789012345678901234567890123456789012345678901234567890" ),
               "57edf4a22be3c955ac49da2e2107b67a" );
    EXPECT_EQ( HexDigest( std::string( 1000000, 'a' ) ), "7707d6ae4e027c70eea2a935c2296f21" );
}

TEST( MD5, PiecesGiveTheDigestOfTheWhole )
{
    std::string Message;
    for ( int i = 0; i < 300; ++i )
    {
        Message += char( 'A' + i * 7 % 26 );
    }
    const std::string Whole = HexDigest( Message );
    for ( uint32 nSplit = 0; nSplit <= Message.size(); ++nSplit )
    {
        MD5 Digest;
        Digest.update( Message.substr( 0, nSplit ).c_str() );
        Digest.update( Message.data() + nSplit, uint32( Message.size() - nSplit ) );
        Digest.finalize();
        ASSERT_EQ( Digest.hex_digest(), Whole ) << "split at " << nSplit;
    }
}

TEST( MD5, MisorderedCallsComplainAndChangeNothing )
{
    MD5 Digest;
    CAssertRecorder Asserts;
    testing::internal::CaptureStderr();
    EXPECT_STREQ( Digest.hex_digest(), "" );
    EXPECT_EQ( Digest.raw_digest()[ 0 ], 0 );
    uint8 Raw[ MD5::RAW_SIZE ];
    Digest.raw_digest( Raw );
    EXPECT_FALSE( Digest.isFinalized() );
    Digest.finalize();
    Digest.finalize();
    Digest.update( "more" );
    EXPECT_EQ( testing::internal::GetCapturedStderr(),
               "MD5::hex_digest:  Can't get digest if you haven't finalized the digest!\n"
               "MD5::raw_digest:  Can't get digest if you haven't finalized the digest!\n"
               "MD5::finalize:  Already finalized this digest!\n"
               "MD5::update:  Can't update a finalized digest!\n" );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "finalized" } );
    EXPECT_STREQ( Digest.hex_digest(), "d41d8cd98f00b204e9800998ecf8427e" );
}
