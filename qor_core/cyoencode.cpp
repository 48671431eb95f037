#include "qor_core/cyoencode.h"

#include "qor_core/qor_assert.h"

#include <algorithm>
#include <stdexcept>

namespace
{
void CheckParameters( const void* pDest, const void* pSrc )
{
    if ( !pDest || !pSrc )
    {
        throw std::runtime_error( "Invalid parameter" );
    }
}

// One block of 1 to 3 bytes becomes four characters; the groups beyond the data are the pad.
inline void EncodeBlock64( char* pDest, const uint8* pSrc, uint32 dwBlockSize )
{
    QOR_ASSERT( 1 <= dwBlockSize && dwBlockSize <= BASE64_INPUT );
    uint32 Bits = uint32( pSrc[ 0 ] ) << 16;
    if ( dwBlockSize > 1 )
    {
        Bits |= uint32( pSrc[ 1 ] ) << 8;
    }
    if ( dwBlockSize > 2 )
    {
        Bits |= pSrc[ 2 ];
    }
    int n1 = int( Bits >> 18 ) & 0x3f;
    int n2 = int( Bits >> 12 ) & 0x3f;
    int n3 = int( Bits >> 6 ) & 0x3f;
    int n4 = int( Bits ) & 0x3f;
    QOR_ASSERT( 0 <= n1 && n1 <= 63 );
    QOR_ASSERT( 0 <= n2 && n2 <= 63 );
    QOR_ASSERT( 0 <= n3 && n3 <= 63 );
    QOR_ASSERT( 0 <= n4 && n4 <= 63 );
    if ( dwBlockSize < 2 )
    {
        n3 = 64;
    }
    if ( dwBlockSize < 3 )
    {
        n4 = 64;
    }
    pDest[ 0 ] = BASE64_ALPHABET[ n1 ];
    pDest[ 1 ] = BASE64_ALPHABET[ n2 ];
    pDest[ 2 ] = BASE64_ALPHABET[ n3 ];
    pDest[ 3 ] = BASE64_ALPHABET[ n4 ];
}

// One block of 1 to 5 bytes becomes eight characters; the groups beyond the data are the pad.
inline void EncodeBlock32( char* pDest, const uint8* pSrc, uint32 dwBlockSize )
{
    QOR_ASSERT( 1 <= dwBlockSize && dwBlockSize <= BASE32_INPUT );
    uint64 Bits = 0;
    for ( uint32 i = 0; i < BASE32_INPUT; ++i )
    {
        Bits = ( Bits << 8 ) | ( i < dwBlockSize ? pSrc[ i ] : 0 );
    }
    int n1 = int( Bits >> 35 ) & 0x1f;
    int n2 = int( Bits >> 30 ) & 0x1f;
    int n3 = int( Bits >> 25 ) & 0x1f;
    int n4 = int( Bits >> 20 ) & 0x1f;
    int n5 = int( Bits >> 15 ) & 0x1f;
    int n6 = int( Bits >> 10 ) & 0x1f;
    int n7 = int( Bits >> 5 ) & 0x1f;
    int n8 = int( Bits ) & 0x1f;
    QOR_ASSERT( 0 <= n1 && n1 <= 31 );
    QOR_ASSERT( 0 <= n2 && n2 <= 31 );
    QOR_ASSERT( 0 <= n3 && n3 <= 31 );
    QOR_ASSERT( 0 <= n4 && n4 <= 31 );
    QOR_ASSERT( 0 <= n5 && n5 <= 31 );
    QOR_ASSERT( 0 <= n6 && n6 <= 31 );
    QOR_ASSERT( 0 <= n7 && n7 <= 31 );
    QOR_ASSERT( 0 <= n8 && n8 <= 31 );
    const int Groups[ BASE32_OUTPUT ] = { n1, n2, n3, n4, n5, n6, n7, n8 };
    // Each byte takes 8 bits of the 5-bit groups: the last group with data is the one that holds its low bit.
    const uint32 nDataGroups = ( dwBlockSize * 8 + 4 ) / 5;
    for ( uint32 i = 0; i < BASE32_OUTPUT; ++i )
    {
        pDest[ i ] = BASE32_ALPHABET[ i < nDataGroups ? Groups[ i ] : 32 ];
    }
}

template <uint32 InputT, uint32 OutputT, typename EncodeBlockT>
uint64 EncodeBlocks( char* pDest, const void* pSrc, uint32 Size, EncodeBlockT EncodeBlock )
{
    CheckParameters( pDest, pSrc );
    const uint8* pBytes = static_cast<const uint8*>( pSrc );
    char* pOut = pDest;
    while ( Size > 0 )
    {
        const uint32 dwBlockSize = std::min( Size, InputT );
        EncodeBlock( pOut, pBytes, dwBlockSize );
        pOut += OutputT;
        pBytes += dwBlockSize;
        Size -= dwBlockSize;
    }
    return uint64( pOut - pDest );
}
} // namespace

uint64 Base16EncodeGetLength( uint32 Size )
{
    return ( uint64( Size ) + BASE16_INPUT - 1 ) / BASE16_INPUT * BASE16_OUTPUT;
}

uint64 Base32EncodeGetLength( uint32 Size )
{
    return ( uint64( Size ) + BASE32_INPUT - 1 ) / BASE32_INPUT * BASE32_OUTPUT;
}

uint64 Base64EncodeGetLength( uint32 Size )
{
    return ( uint64( Size ) + BASE64_INPUT - 1 ) / BASE64_INPUT * BASE64_OUTPUT;
}

uint64 Base16Encode( char* pDest, const void* pSrc, uint32 Size )
{
    return EncodeBlocks<BASE16_INPUT, BASE16_OUTPUT>( pDest, pSrc, Size,
                                                      []( char* pOut, const uint8* pByte, uint32 )
                                                      {
                                                          pOut[ 0 ] = BASE16_ALPHABET[ *pByte >> 4 ];
                                                          pOut[ 1 ] = BASE16_ALPHABET[ *pByte & 0xf ];
                                                      } );
}

uint64 Base32Encode( char* pDest, const void* pSrc, uint32 Size )
{
    return EncodeBlocks<BASE32_INPUT, BASE32_OUTPUT>( pDest, pSrc, Size, EncodeBlock32 );
}

uint64 Base64Encode( char* pDest, const void* pSrc, uint32 Size )
{
    return EncodeBlocks<BASE64_INPUT, BASE64_OUTPUT>( pDest, pSrc, Size, EncodeBlock64 );
}
