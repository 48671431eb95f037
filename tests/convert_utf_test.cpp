#include "qor_core/convert_utf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace
{
// A decoded text of up to 8 code points; inputs of the sweeps are shorter, and decoding them allocates nothing.
struct SDecoded
{
    EConversionResult Result = EConversionResult::ConversionOK;
    size_t nConsumed = 0;
    size_t nCodePoints = 0;
    uint32 CodePoints[ 8 ] = {};

    bool operator==( const SDecoded& Other ) const
    {
        return Result == Other.Result && nConsumed == Other.nConsumed && nCodePoints == Other.nCodePoints &&
               std::equal( CodePoints, CodePoints + nCodePoints, Other.CodePoints );
    }
};

// The reference: decodes by the bit patterns alone, then refuses what the standard excludes: forms longer than
// needed, surrogates, and values above U+10FFFF. A source cut inside a sequence is exhausted when some
// completion of its bytes would be legal: the completions span [Low, High] without a gap.
SDecoded ReferenceDecode( const uint8* pBytes, size_t nBytes )
{
    SDecoded Decoded;
    size_t Index = 0;
    while ( Index < nBytes )
    {
        const uint8 Lead = pBytes[ Index ];
        const size_t Length = Lead < 0x80 ? 1 : ( Lead >> 5 ) == 6 ? 2 : ( Lead >> 4 ) == 14 ? 3 : ( Lead >> 3 ) == 30 ? 4 : 0;
        EConversionResult Failure = EConversionResult::SourceIllegal;
        if ( Length != 0 )
        {
            uint32 Value = Length == 1 ? Lead : Lead & ( 0x7Fu >> Length );
            const size_t Available = std::min( Length, nBytes - Index );
            bool bContinuations = true;
            for ( size_t Byte = 1; Byte < Available; ++Byte )
            {
                bContinuations = bContinuations && ( pBytes[ Index + Byte ] & 0xC0 ) == 0x80;
                Value = ( Value << 6 ) | ( pBytes[ Index + Byte ] & 0x3F );
            }
            const uint32 MissingBits = uint32( 6 * ( Length - Available ) );
            const uint32 Shortest = Length == 1 ? 0u : Length == 2 ? 0x80u : Length == 3 ? 0x800u : 0x10000u;
            const uint32 Low = std::max( Value << MissingBits, Shortest );
            const uint32 High = std::min( ( Value << MissingBits ) | ( ( 1u << MissingBits ) - 1 ), 0x10FFFFu );
            const bool bSomeLegal = bContinuations && Low <= High && !( Low >= 0xD800 && High <= 0xDFFF );
            if ( bSomeLegal && Available == Length )
            {
                Decoded.CodePoints[ Decoded.nCodePoints++ ] = Value;
                Index += Length;
                continue;
            }
            if ( bSomeLegal )
            {
                Failure = EConversionResult::SourceExhausted;
            }
        }
        Decoded.Result = Failure;
        break;
    }
    Decoded.nConsumed = Index;
    return Decoded;
}

SDecoded Decode( const uint8* pBytes, size_t nBytes )
{
    SDecoded Decoded;
    const uint8* pSource = pBytes;
    uint32* pTarget = Decoded.CodePoints;
    Decoded.Result = ConvertUTF8toUTF32( &pSource, pBytes + nBytes, &pTarget, Decoded.CodePoints + 8 );
    Decoded.nConsumed = size_t( pSource - pBytes );
    Decoded.nCodePoints = size_t( pTarget - Decoded.CodePoints );
    return Decoded;
}

std::string Hex( const uint8* pBytes, size_t nBytes )
{
    std::string Text;
    for ( size_t Index = 0; Index < nBytes; ++Index )
    {
        char Byte[ 4 ];
        std::snprintf( Byte, sizeof( Byte ), "%02X ", pBytes[ Index ] );
        Text += Byte;
    }
    return Text;
}

void ExpectMatchesReference( const uint8* pBytes, size_t nBytes )
{
    const SDecoded Expected = ReferenceDecode( pBytes, nBytes );
    const SDecoded Actual = Decode( pBytes, nBytes );
    if ( !( Actual == Expected ) )
    {
        ADD_FAILURE() << "bytes " << Hex( pBytes, nBytes ) << ": result " << int( Actual.Result ) << " after "
                      << Actual.nConsumed << ", the reference " << int( Expected.Result ) << " after " << Expected.nConsumed;
    }
}
} // namespace

// Named cases, so that a fault shared by the routine and the reference still shows.
TEST( ConvertUTF8toUTF32, WellKnownSequences )
{
    using enum EConversionResult;
    const struct
    {
        std::vector<uint8> Bytes;
        EConversionResult Result;
        size_t nConsumed;
        std::vector<uint32> CodePoints;
    } Cases[] = {
        { {}, ConversionOK, 0, {} },
        { { 0x41, 0x00, 0x7F }, ConversionOK, 3, { 0x41, 0, 0x7F } },
        { { 0xC3, 0xA9 }, ConversionOK, 2, { 0xE9 } },
        { { 0xE2, 0x82, 0xAC }, ConversionOK, 3, { 0x20AC } },
        { { 0xF0, 0x9F, 0x98, 0x80 }, ConversionOK, 4, { 0x1F600 } },
        { { 0xF4, 0x8F, 0xBF, 0xBF }, ConversionOK, 4, { 0x10FFFF } },
        { { 0xEF, 0xBF, 0xBF }, ConversionOK, 3, { 0xFFFF } },
        { { 0xED, 0x9F, 0xBF }, ConversionOK, 3, { 0xD7FF } },
        { { 0x41, 0xC0, 0xAF }, SourceIllegal, 1, { 0x41 } },
        { { 0xC1, 0xBF }, SourceIllegal, 0, {} },
        { { 0xE0, 0x80, 0xAF }, SourceIllegal, 0, {} },
        { { 0xF0, 0x80, 0x80, 0xAF }, SourceIllegal, 0, {} },
        { { 0xED, 0xA0, 0x80 }, SourceIllegal, 0, {} },
        { { 0xED, 0xBF, 0xBF }, SourceIllegal, 0, {} },
        { { 0xF4, 0x90, 0x80, 0x80 }, SourceIllegal, 0, {} },
        { { 0xF5, 0x80, 0x80, 0x80 }, SourceIllegal, 0, {} },
        { { 0xF8, 0x88, 0x80, 0x80, 0x80 }, SourceIllegal, 0, {} },
        { { 0x80 }, SourceIllegal, 0, {} },
        { { 0xC3, 0x28 }, SourceIllegal, 0, {} },
        { { 0xFF }, SourceIllegal, 0, {} },
        { { 0x41, 0xE2, 0x82 }, SourceExhausted, 1, { 0x41 } },
        { { 0xF0, 0x9F, 0x98 }, SourceExhausted, 0, {} },
        { { 0xC3 }, SourceExhausted, 0, {} },
        { { 0xE0, 0x80 }, SourceIllegal, 0, {} },
        { { 0xED, 0xA0 }, SourceIllegal, 0, {} },
        { { 0xF4, 0x90 }, SourceIllegal, 0, {} },
    };
    for ( const auto& Case : Cases )
    {
        const SDecoded Actual = Decode( Case.Bytes.data(), Case.Bytes.size() );
        EXPECT_EQ( int( Actual.Result ), int( Case.Result ) ) << Hex( Case.Bytes.data(), Case.Bytes.size() );
        EXPECT_EQ( Actual.nConsumed, Case.nConsumed ) << Hex( Case.Bytes.data(), Case.Bytes.size() );
        EXPECT_EQ( std::vector<uint32>( Actual.CodePoints, Actual.CodePoints + Actual.nCodePoints ), Case.CodePoints )
            << Hex( Case.Bytes.data(), Case.Bytes.size() );
    }
}

TEST( ConvertUTF8toUTF32, EveryInputOfOneTwoAndThreeBytesMatchesTheReference )
{
    uint8 Bytes[ 3 ];
    for ( uint32 Value = 0; Value < ( 1u << 24 ); ++Value )
    {
        Bytes[ 0 ] = uint8( Value >> 16 );
        Bytes[ 1 ] = uint8( Value >> 8 );
        Bytes[ 2 ] = uint8( Value );
        ExpectMatchesReference( Bytes, 3 );
        if ( Value < ( 1u << 16 ) )
        {
            ExpectMatchesReference( Bytes + 1, 2 );
        }
        if ( Value < 256 )
        {
            ExpectMatchesReference( Bytes + 2, 1 );
        }
    }
}

// Every lead and second byte, with the later bytes drawn from the edges of every byte range.
TEST( ConvertUTF8toUTF32, FourByteSweepMatchesTheReference )
{
    const uint8 Edges[] = { 0x00, 0x41, 0x7F, 0x80, 0x81, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xE0, 0xF0, 0xF4, 0xFF };
    for ( uint32 Lead = 0; Lead < 256; ++Lead )
    {
        for ( uint32 Second = 0; Second < 256; ++Second )
        {
            for ( const uint8 Third : Edges )
            {
                for ( const uint8 Fourth : Edges )
                {
                    const uint8 Bytes[ 4 ] = { uint8( Lead ), uint8( Second ), Third, Fourth };
                    ExpectMatchesReference( Bytes, 4 );
                }
            }
        }
    }
}

TEST( ConvertUTF8toUTF32, EveryScalarValueRoundTrips )
{
    std::vector<uint8> Text;
    std::vector<uint32> Expected;
    for ( uint32 CodePoint = 0; CodePoint <= 0x10FFFF; ++CodePoint )
    {
        if ( CodePoint >= 0xD800 && CodePoint <= 0xDFFF )
        {
            continue;
        }
        Expected.push_back( CodePoint );
        if ( CodePoint < 0x80 )
        {
            Text.push_back( uint8( CodePoint ) );
            continue;
        }
        const int32 nContinuations = CodePoint < 0x800 ? 1 : CodePoint < 0x10000 ? 2 : 3;
        Text.push_back( uint8( ( 0xFF00u >> ( nContinuations + 1 ) ) | ( CodePoint >> ( 6 * nContinuations ) ) ) );
        for ( int32 Shift = 6 * ( nContinuations - 1 ); Shift >= 0; Shift -= 6 )
        {
            Text.push_back( uint8( 0x80 | ( ( CodePoint >> Shift ) & 0x3F ) ) );
        }
    }
    std::vector<uint32> Decoded( Expected.size() );
    const uint8* pSource = Text.data();
    uint32* pTarget = Decoded.data();
    EXPECT_EQ( ConvertUTF8toUTF32( &pSource, Text.data() + Text.size(), &pTarget, Decoded.data() + Decoded.size() ),
               EConversionResult::ConversionOK );
    EXPECT_EQ( pSource, Text.data() + Text.size() );
    EXPECT_TRUE( Decoded == Expected );
}

// A full target stops in front of the character that didn't fit, and a fresh target goes on from there.
TEST( ConvertUTF8toUTF32, FullTargetStopsBeforeTheCharacterAndResumes )
{
    const uint8 Bytes[] = { 0x41, 0xC3, 0xA9, 0xE2, 0x82, 0xAC };
    const uint8* pSource = Bytes;
    uint32 Target[ 2 ];
    uint32* pTarget = Target;
    EXPECT_EQ( ConvertUTF8toUTF32( &pSource, Bytes + 6, &pTarget, Target + 2 ), EConversionResult::TargetExhausted );
    EXPECT_EQ( pSource - Bytes, 3 );
    EXPECT_EQ( Target[ 1 ], 0xE9u );
    pTarget = Target;
    EXPECT_EQ( ConvertUTF8toUTF32( &pSource, Bytes + 6, &pTarget, Target + 2 ), EConversionResult::ConversionOK );
    EXPECT_EQ( pTarget - Target, 1 );
    EXPECT_EQ( Target[ 0 ], 0x20ACu );
}
