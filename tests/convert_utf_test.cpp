#include "qor_core/convert_utf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace
{
// A decoded text of up to 8 code points: decoding the short inputs of the sweeps allocates nothing.
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
    std::vector<uint32> Values() const { return std::vector<uint32>( CodePoints, CodePoints + nCodePoints ); }
};

// The reference decodes by the bit patterns alone, then refuses what the standard excludes: forms longer than
// needed, surrogates, values above U+10FFFF. A source cut inside a sequence is exhausted when some completion
// of its bytes would be legal: the completions span [Low, High] without a gap.
SDecoded ReferenceDecode( const uint8* pBytes, size_t nBytes )
{
    SDecoded Decoded;
    while ( Decoded.nConsumed < nBytes )
    {
        const uint8* pLead = pBytes + Decoded.nConsumed;
        const size_t Length = *pLead < 0x80 ? 1 : *pLead >> 5 == 6 ? 2 : *pLead >> 4 == 14 ? 3 : *pLead >> 3 == 30 ? 4 : 0;
        const size_t Available = std::min( Length, nBytes - Decoded.nConsumed );
        uint32 Value = Length == 1 ? *pLead : *pLead & ( 0x7Fu >> Length );
        bool bContinuations = Length != 0;
        for ( size_t Byte = 1; Byte < Available; ++Byte )
        {
            bContinuations = bContinuations && ( pLead[ Byte ] & 0xC0 ) == 0x80;
            Value = ( Value << 6 ) | ( pLead[ Byte ] & 0x3F );
        }
        const uint32 MissingBits = uint32( 6 * ( Length - Available ) );
        const uint32 Low = std::max( Value << MissingBits, Length < 2 ? 0u : Length == 2 ? 0x80u : Length == 3 ? 0x800u : 0x10000u );
        const uint32 High = std::min( ( Value << MissingBits ) | ( ( 1u << MissingBits ) - 1 ), 0x10FFFFu );
        const bool bSomeLegal = bContinuations && Low <= High && !( Low >= 0xD800 && High <= 0xDFFF );
        if ( !bSomeLegal || Available < Length )
        {
            Decoded.Result = bSomeLegal ? EConversionResult::SourceExhausted : EConversionResult::SourceIllegal;
            break;
        }
        Decoded.CodePoints[ Decoded.nCodePoints++ ] = Value;
        Decoded.nConsumed += Length;
    }
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

void ExpectMatchesReference( const uint8* pBytes, size_t nBytes )
{
    if ( !( Decode( pBytes, nBytes ) == ReferenceDecode( pBytes, nBytes ) ) )
    {
        ADD_FAILURE() << "bytes " << ::testing::PrintToString( std::vector<int>( pBytes, pBytes + nBytes ) );
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
        { { 0x41, 0x00, 0x7F }, ConversionOK, 3, { 0x41, 0, 0x7F } },    { { 0xC3, 0xA9 }, ConversionOK, 2, { 0xE9 } },
        { { 0xF0, 0x9F, 0x98, 0x80 }, ConversionOK, 4, { 0x1F600 } },   { { 0xF4, 0x8F, 0xBF, 0xBF }, ConversionOK, 4, { 0x10FFFF } },
        { { 0xED, 0x9F, 0xBF }, ConversionOK, 3, { 0xD7FF } },           { { 0x41, 0xC0, 0xAF }, SourceIllegal, 1, { 0x41 } },
        { { 0xE0, 0x80, 0xAF }, SourceIllegal, 0, {} },                  { { 0xF0, 0x80, 0x80, 0xAF }, SourceIllegal, 0, {} },
        { { 0xED, 0xA0, 0x80 }, SourceIllegal, 0, {} },                  { { 0xF4, 0x90, 0x80, 0x80 }, SourceIllegal, 0, {} },
        { { 0xF8, 0x88, 0x80, 0x80, 0x80 }, SourceIllegal, 0, {} },      { { 0x80 }, SourceIllegal, 0, {} },
        { { 0x41, 0xE2, 0x82 }, SourceExhausted, 1, { 0x41 } },          { { 0xE0, 0x80 }, SourceIllegal, 0, {} },
    };
    for ( const auto& Case : Cases )
    {
        const SDecoded Actual = Decode( Case.Bytes.data(), Case.Bytes.size() );
        EXPECT_TRUE( Actual.Result == Case.Result && Actual.nConsumed == Case.nConsumed && Actual.Values() == Case.CodePoints )
            << ::testing::PrintToString( std::vector<int>( Case.Bytes.begin(), Case.Bytes.end() ) );
    }
}

TEST( ConvertUTF8toUTF32, EveryInputOfOneTwoAndThreeBytesMatchesTheReference )
{
    for ( uint32 Value = 0; Value < ( 1u << 24 ); ++Value )
    {
        const uint8 Bytes[ 3 ] = { uint8( Value >> 16 ), uint8( Value >> 8 ), uint8( Value ) };
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
    for ( uint32 Leading = 0; Leading < ( 1u << 16 ); ++Leading )
    {
        for ( const uint8 Third : Edges )
        {
            for ( const uint8 Fourth : Edges )
            {
                const uint8 Bytes[ 4 ] = { uint8( Leading >> 8 ), uint8( Leading ), Third, Fourth };
                ExpectMatchesReference( Bytes, 4 );
            }
        }
    }
}

// Every scalar value, encoded by its bit layout, decodes in one pass; a full target stops in front of the
// character that didn't fit, and a fresh target goes on from there.
TEST( ConvertUTF8toUTF32, EveryScalarValueRoundTripsThroughTargetsOfAnySize )
{
    std::vector<uint8> Text;
    std::vector<uint32> Expected;
    for ( uint32 CodePoint = 0; CodePoint <= 0x10FFFF; CodePoint = CodePoint == 0xD7FF ? 0xE000 : CodePoint + 1 )
    {
        Expected.push_back( CodePoint );
        const int32 nContinuations = CodePoint < 0x80 ? 0 : CodePoint < 0x800 ? 1 : CodePoint < 0x10000 ? 2 : 3;
        Text.push_back( uint8( ( nContinuations ? 0xFF00u >> ( nContinuations + 1 ) : 0 ) | ( CodePoint >> ( 6 * nContinuations ) ) ) );
        for ( int32 Shift = 6 * ( nContinuations - 1 ); Shift >= 0; Shift -= 6 )
        {
            Text.push_back( uint8( 0x80 | ( ( CodePoint >> Shift ) & 0x3F ) ) );
        }
    }
    for ( const size_t TargetSize : { size_t( 1 ), size_t( 7 ), Expected.size() } )
    {
        std::vector<uint32> Decoded( Expected.size() + TargetSize );
        const uint8* pSource = Text.data();
        uint32* pTarget = Decoded.data();
        uint32* pTargetEnd = pTarget;
        EConversionResult Result;
        do
        {
            pTargetEnd += TargetSize;
            Result = ConvertUTF8toUTF32( &pSource, Text.data() + Text.size(), &pTarget, pTargetEnd );
        } while ( Result == EConversionResult::TargetExhausted && pTarget == pTargetEnd );
        EXPECT_EQ( Result, EConversionResult::ConversionOK );
        EXPECT_EQ( pSource, Text.data() + Text.size() );
        Decoded.resize( size_t( pTarget - Decoded.data() ) );
        EXPECT_TRUE( Decoded == Expected ) << TargetSize;
    }
}
