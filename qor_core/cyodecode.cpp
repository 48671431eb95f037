#include "qor_core/cyodecode.h"

#include "qor_core/qor_assert.h"

#include <array>
#include <stdexcept>
#include <string>

namespace
{
using CDecodeTable = std::array<uint8, 128>;

// Character to value: the value of each alphabet character, the pad's index for the pad, 0xff for all else.
constexpr CDecodeTable MakeDecodeTable( const char* pAlphabet, bool bBothCases )
{
    CDecodeTable Table{};
    for ( uint8& Value : Table )
    {
        Value = 0xff;
    }
    for ( uint8 i = 0; pAlphabet[ i ]; ++i )
    {
        const char Char = pAlphabet[ i ];
        Table[ uint8( Char ) ] = i;
        if ( bBothCases && Char >= 'A' && Char <= 'Z' )
        {
            Table[ uint8( Char - 'A' + 'a' ) ] = i;
        }
    }
    return Table;
}

constexpr CDecodeTable s_Base16Table = MakeDecodeTable( BASE16_ALPHABET, true );
constexpr CDecodeTable s_Base32Table = MakeDecodeTable( BASE32_ALPHABET, false );
constexpr CDecodeTable s_Base64Table = MakeDecodeTable( BASE64_ALPHABET, false );

// A character beyond the table reads as a character outside the alphabet.
inline int Lookup( const CDecodeTable& Table, int Char )
{
    return Char < 0x80 ? Table[ Char ] : 0xff;
}

template <uint32 OutputT>
void CheckSize( uint32 Size )
{
    if ( Size % OutputT != 0 )
    {
        throw std::runtime_error( "Invalid source, size is not a multiple of " + std::to_string( OutputT ) );
    }
}

inline uint32 DecodeBlock16( uint8* pDest, const char* pSrc )
{
    const int c1 = uint8( pSrc[ 0 ] );
    const int c2 = uint8( pSrc[ 1 ] );
    QOR_ASSERT( c1 < 0x80 );
    QOR_ASSERT( c2 < 0x80 );
    const int in1 = Lookup( s_Base16Table, c1 );
    const int in2 = Lookup( s_Base16Table, c2 );
    QOR_ASSERT( in1 != 0xff );
    QOR_ASSERT( in2 != 0xff );
    pDest[ 0 ] = uint8( ( in1 << 4 ) | ( in2 & 0xf ) );
    return 1;
}

// The pad may stand in the third and fourth place only; it counts as zero bits.
inline uint32 DecodeBlock64( uint8* pDest, const char* pSrc )
{
    const int c1 = uint8( pSrc[ 0 ] );
    const int c2 = uint8( pSrc[ 1 ] );
    const int c3 = uint8( pSrc[ 2 ] );
    const int c4 = uint8( pSrc[ 3 ] );
    QOR_ASSERT( c1 < 0x80 );
    QOR_ASSERT( c2 < 0x80 );
    QOR_ASSERT( c3 < 0x80 );
    QOR_ASSERT( c4 < 0x80 );
    const int in1 = Lookup( s_Base64Table, c1 );
    const int in2 = Lookup( s_Base64Table, c2 );
    const int in3 = Lookup( s_Base64Table, c3 );
    const int in4 = Lookup( s_Base64Table, c4 );
    QOR_ASSERT( in1 != 0xff );
    QOR_ASSERT( in2 != 0xff );
    QOR_ASSERT( in3 != 0xff );
    QOR_ASSERT( in4 != 0xff );
    QOR_ASSERT( 0 <= in1 && in1 <= 63 );
    QOR_ASSERT( 0 <= in2 && in2 <= 63 );
    QOR_ASSERT( 0 <= in3 && in3 <= 64 );
    QOR_ASSERT( 0 <= in4 && in4 <= 64 );
    const uint32 Bits = uint32( in1 & 0x3f ) << 18 | uint32( in2 & 0x3f ) << 12 | uint32( in3 & 0x3f ) << 6 |
                        uint32( in4 & 0x3f );
    const uint32 nBytes = in4 != 64 ? 3 : in3 != 64 ? 2 : 1;
    for ( uint32 i = 0; i < nBytes; ++i )
    {
        pDest[ i ] = uint8( Bits >> ( 16 - 8 * i ) );
    }
    return nBytes;
}

// The pad may stand in the third to eighth place, where a whole number of bytes ends; it counts as zero bits.
inline uint32 DecodeBlock32( uint8* pDest, const char* pSrc )
{
    const int c1 = uint8( pSrc[ 0 ] );
    const int c2 = uint8( pSrc[ 1 ] );
    const int c3 = uint8( pSrc[ 2 ] );
    const int c4 = uint8( pSrc[ 3 ] );
    const int c5 = uint8( pSrc[ 4 ] );
    const int c6 = uint8( pSrc[ 5 ] );
    const int c7 = uint8( pSrc[ 6 ] );
    const int c8 = uint8( pSrc[ 7 ] );
    QOR_ASSERT( c1 < 0x80 );
    QOR_ASSERT( c2 < 0x80 );
    QOR_ASSERT( c3 < 0x80 );
    QOR_ASSERT( c4 < 0x80 );
    QOR_ASSERT( c5 < 0x80 );
    QOR_ASSERT( c6 < 0x80 );
    QOR_ASSERT( c7 < 0x80 );
    QOR_ASSERT( c8 < 0x80 );
    const int in1 = Lookup( s_Base32Table, c1 );
    const int in2 = Lookup( s_Base32Table, c2 );
    const int in3 = Lookup( s_Base32Table, c3 );
    const int in4 = Lookup( s_Base32Table, c4 );
    const int in5 = Lookup( s_Base32Table, c5 );
    const int in6 = Lookup( s_Base32Table, c6 );
    const int in7 = Lookup( s_Base32Table, c7 );
    const int in8 = Lookup( s_Base32Table, c8 );
    QOR_ASSERT( in1 != 0xff );
    QOR_ASSERT( in2 != 0xff );
    QOR_ASSERT( in3 != 0xff );
    QOR_ASSERT( in4 != 0xff );
    QOR_ASSERT( in5 != 0xff );
    QOR_ASSERT( in6 != 0xff );
    QOR_ASSERT( in7 != 0xff );
    QOR_ASSERT( in8 != 0xff );
    QOR_ASSERT( 0 <= in1 && in1 <= 31 );
    QOR_ASSERT( 0 <= in2 && in2 <= 31 );
    QOR_ASSERT( 0 <= in3 && in3 <= 32 );
    QOR_ASSERT( 0 <= in4 && in4 <= 32 );
    QOR_ASSERT( 0 <= in5 && in5 <= 32 );
    QOR_ASSERT( 0 <= in6 && in6 <= 32 );
    QOR_ASSERT( 0 <= in7 && in7 <= 32 );
    QOR_ASSERT( 0 <= in8 && in8 <= 32 );
    QOR_ASSERT( ( in7 == 32 && in6 == 32 ) || ( in7 != 32 ) );
    QOR_ASSERT( ( in4 == 32 && in3 == 32 ) || ( in4 != 32 ) );
    const int Values[ BASE32_OUTPUT ] = { in1, in2, in3, in4, in5, in6, in7, in8 };
    uint64 Bits = 0;
    for ( int Value : Values )
    {
        Bits = ( Bits << 5 ) | uint64( Value & 0x1f );
    }
    const uint32 nBytes = in8 != 32 ? 5 : in7 != 32 ? 4 : in5 != 32 ? 3 : in4 != 32 ? 2 : 1;
    for ( uint32 i = 0; i < nBytes; ++i )
    {
        pDest[ i ] = uint8( Bits >> ( 32 - 8 * i ) );
    }
    return nBytes;
}

template <uint32 OutputT, typename DecodeBlockT>
uint32 DecodeBlocks( void* pDest, const char* pSrc, uint32 Size, DecodeBlockT DecodeBlock )
{
    if ( !pDest || !pSrc )
    {
        throw std::runtime_error( "Invalid parameter" );
    }
    CheckSize<OutputT>( Size );
    uint8* pOut = static_cast<uint8*>( pDest );
    for ( const char* pEnd = pSrc + Size; pSrc != pEnd; pSrc += OutputT )
    {
        pOut += DecodeBlock( pOut, pSrc );
    }
    return uint32( pOut - static_cast<uint8*>( pDest ) );
}

template <uint32 InputT, uint32 OutputT>
uint32 DecodeGetLength( uint32 Size )
{
    CheckSize<OutputT>( Size );
    return ( Size + OutputT - 1 ) / OutputT * InputT;
}
} // namespace

uint32 Base16DecodeGetLength( uint32 Size )
{
    return DecodeGetLength<BASE16_INPUT, BASE16_OUTPUT>( Size );
}

uint32 Base32DecodeGetLength( uint32 Size )
{
    return DecodeGetLength<BASE32_INPUT, BASE32_OUTPUT>( Size );
}

uint32 Base64DecodeGetLength( uint32 Size )
{
    return DecodeGetLength<BASE64_INPUT, BASE64_OUTPUT>( Size );
}

uint32 Base16Decode( void* pDest, const char* pSrc, uint32 Size )
{
    return DecodeBlocks<BASE16_OUTPUT>( pDest, pSrc, Size, DecodeBlock16 );
}

uint32 Base32Decode( void* pDest, const char* pSrc, uint32 Size )
{
    return DecodeBlocks<BASE32_OUTPUT>( pDest, pSrc, Size, DecodeBlock32 );
}

uint32 Base64Decode( void* pDest, const char* pSrc, uint32 Size )
{
    return DecodeBlocks<BASE64_OUTPUT>( pDest, pSrc, Size, DecodeBlock64 );
}
