#include "qor_core/md5.h"

#include "qor_core/qor_assert.h"

#include <cstdio>
#include <cstring>

namespace
{
constexpr const char* c_NotFinalizedComplaint = "Can't get digest if you haven't finalized the digest!";

// One line on the standard error stream: the operation, then what was wrong.
void Complain( const char* pWhere, const char* pText )
{
    std::fputs( pWhere, stderr );
    std::fputs( pText, stderr );
    std::fputs( "\n", stderr );
}

inline uint32 RotateLeft( uint32 Value, int nBits )
{
    return ( Value << nBits ) | ( Value >> ( 32 - nBits ) );
}

inline uint32 F( uint32 x, uint32 y, uint32 z )
{
    return ( x & y ) | ( ~x & z );
}
inline uint32 G( uint32 x, uint32 y, uint32 z )
{
    return ( x & z ) | ( y & ~z );
}
inline uint32 H( uint32 x, uint32 y, uint32 z )
{
    return x ^ y ^ z;
}
inline uint32 I( uint32 x, uint32 y, uint32 z )
{
    return y ^ ( x | ~z );
}

inline void FF( uint32& a, uint32 b, uint32 c, uint32 d, uint32 x, int s, uint32 ac )
{
    a = RotateLeft( a + F( b, c, d ) + x + ac, s ) + b;
}
inline void GG( uint32& a, uint32 b, uint32 c, uint32 d, uint32 x, int s, uint32 ac )
{
    a = RotateLeft( a + G( b, c, d ) + x + ac, s ) + b;
}
inline void HH( uint32& a, uint32 b, uint32 c, uint32 d, uint32 x, int s, uint32 ac )
{
    a = RotateLeft( a + H( b, c, d ) + x + ac, s ) + b;
}
inline void II( uint32& a, uint32 b, uint32 c, uint32 d, uint32 x, int s, uint32 ac )
{
    a = RotateLeft( a + I( b, c, d ) + x + ac, s ) + b;
}

// Words are little-endian whatever the processor.
void Encode( uint8* pOut, const uint32* pIn, uint32 nBytes )
{
    for ( uint32 i = 0; i < nBytes; ++i )
    {
        pOut[ i ] = uint8( pIn[ i / 4 ] >> ( 8 * ( i % 4 ) ) );
    }
}

void Decode( uint32* pOut, const uint8* pIn, uint32 nBytes )
{
    for ( uint32 i = 0; i < nBytes; i += 4 )
    {
        pOut[ i / 4 ] = uint32( pIn[ i ] ) | uint32( pIn[ i + 1 ] ) << 8 | uint32( pIn[ i + 2 ] ) << 16 |
                        uint32( pIn[ i + 3 ] ) << 24;
    }
}
} // namespace

MD5::MD5() : state{ 0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476 }, count{ 0, 0 }, buffer{}, digest{}, finalized( 0 )
{
}

void MD5::update( const void* pInput, uint32 Length )
{
    if ( finalized )
    {
        Complain( "MD5::update:  ", "Can't update a finalized digest!" );
        return;
    }
    const uint8* pBytes = static_cast<const uint8*>( pInput );
    uint32 nIndex = ( count[ 0 ] >> 3 ) & 0x3f;
    const uint32 nAddedBits = Length << 3;
    count[ 0 ] += nAddedBits;
    if ( count[ 0 ] < nAddedBits )
    {
        ++count[ 1 ];
    }
    count[ 1 ] += Length >> 29;

    const uint32 nBufferSpace = 64 - nIndex;
    uint32 i = 0;
    if ( Length >= nBufferSpace )
    {
        std::memcpy( buffer + nIndex, pBytes, nBufferSpace );
        transform( buffer );
        for ( i = nBufferSpace; i + 63 < Length; i += 64 )
        {
            transform( pBytes + i );
        }
        nIndex = 0;
    }
    std::memcpy( buffer + nIndex, pBytes + i, Length - i );
}

void MD5::update( const char* pString )
{
    update( pString, uint32( std::strlen( pString ) ) );
}

void MD5::finalize()
{
    if ( finalized )
    {
        Complain( "MD5::finalize:  ", "Already finalized this digest!" );
        return;
    }
    static const uint8 s_Padding[ 64 ] = { 0x80 };
    uint8 Bits[ 8 ];
    Encode( Bits, count, 8 );
    const uint32 nIndex = ( count[ 0 ] >> 3 ) & 0x3f;
    const uint32 nPadding = nIndex < 56 ? 56 - nIndex : 120 - nIndex;
    update( s_Padding, nPadding );
    update( Bits, 8 );
    Encode( digest, state, RAW_SIZE );
    // Only the first byte: what is left in the buffer after the last transform is padding and the count.
    buffer[ 0 ] = 0;
    finalized = 1;
}

void MD5::raw_digest( uint8* pOut ) const
{
    QOR_ASSERT( finalized );
    std::memcpy( pOut, digest, RAW_SIZE );
}

std::unique_ptr<uint8[]> MD5::raw_digest() const
{
    std::unique_ptr<uint8[]> pOut( new uint8[ RAW_SIZE ]() );
    if ( !finalized )
    {
        Complain( "MD5::raw_digest:  ", c_NotFinalizedComplaint );
        return pOut;
    }
    std::memcpy( pOut.get(), digest, RAW_SIZE );
    return pOut;
}

const char* MD5::hex_digest( char* pOut ) const
{
    static char s_Text[ HEX_TEXT_SIZE ];
    static constexpr int HEX_SIZE = 2;
    if ( !pOut )
    {
        pOut = s_Text;
    }
    if ( !finalized )
    {
        Complain( "MD5::hex_digest:  ", c_NotFinalizedComplaint );
        pOut[ 0 ] = 0;
        return pOut;
    }
    for ( int i = 0; i < RAW_SIZE; ++i )
    {
        const int CharsWritten = std::snprintf( pOut + i * HEX_SIZE, HEX_SIZE + 1, "%02x", digest[ i ] );
        QOR_ASSERT( CharsWritten == HEX_SIZE );
    }
    return pOut;
}

void MD5::transform( const uint8* pBlock )
{
    uint32 a = state[ 0 ];
    uint32 b = state[ 1 ];
    uint32 c = state[ 2 ];
    uint32 d = state[ 3 ];
    uint32 x[ 16 ];
    Decode( x, pBlock, 64 );

    // Round 1
    FF( a, b, c, d, x[ 0 ], 7, 0xd76aa478 );
    FF( d, a, b, c, x[ 1 ], 12, 0xe8c7b756 );
    FF( c, d, a, b, x[ 2 ], 17, 0x242070db );
    FF( b, c, d, a, x[ 3 ], 22, 0xc1bdceee );
    FF( a, b, c, d, x[ 4 ], 7, 0xf57c0faf );
    FF( d, a, b, c, x[ 5 ], 12, 0x4787c62a );
    FF( c, d, a, b, x[ 6 ], 17, 0xa8304613 );
    FF( b, c, d, a, x[ 7 ], 22, 0xfd469501 );
    FF( a, b, c, d, x[ 8 ], 7, 0x698098d8 );
    FF( d, a, b, c, x[ 9 ], 12, 0x8b44f7af );
    FF( c, d, a, b, x[ 10 ], 17, 0xffff5bb1 );
    FF( b, c, d, a, x[ 11 ], 22, 0x895cd7be );
    FF( a, b, c, d, x[ 12 ], 7, 0x6b901122 );
    FF( d, a, b, c, x[ 13 ], 12, 0xfd987193 );
    FF( c, d, a, b, x[ 14 ], 17, 0xa679438e );
    FF( b, c, d, a, x[ 15 ], 22, 0x49b40821 );

    // Round 2
    GG( a, b, c, d, x[ 1 ], 5, 0xf61e2562 );
    GG( d, a, b, c, x[ 6 ], 9, 0xc040b340 );
    GG( c, d, a, b, x[ 11 ], 14, 0x265e5a51 );
    GG( b, c, d, a, x[ 0 ], 20, 0xe9b6c7aa );
    GG( a, b, c, d, x[ 5 ], 5, 0xd62f105d );
    GG( d, a, b, c, x[ 10 ], 9, 0x02441453 );
    GG( c, d, a, b, x[ 15 ], 14, 0xd8a1e681 );
    GG( b, c, d, a, x[ 4 ], 20, 0xe7d3fbc8 );
    GG( a, b, c, d, x[ 9 ], 5, 0x21e1cde6 );
    GG( d, a, b, c, x[ 14 ], 9, 0xc33707d6 );
    GG( c, d, a, b, x[ 3 ], 14, 0xf4d50d87 );
    GG( b, c, d, a, x[ 8 ], 20, 0x455a14ed );
    GG( a, b, c, d, x[ 13 ], 5, 0xa9e3e905 );
    GG( d, a, b, c, x[ 2 ], 9, 0xfcefa3f8 );
    GG( c, d, a, b, x[ 7 ], 14, 0x676f02d9 );
    GG( b, c, d, a, x[ 12 ], 20, 0x8d2a4c8a );

    // Round 3
    HH( a, b, c, d, x[ 5 ], 4, 0xfffa3942 );
    HH( d, a, b, c, x[ 8 ], 11, 0x8771f681 );
    HH( c, d, a, b, x[ 11 ], 16, 0x6d9d6122 );
    HH( b, c, d, a, x[ 14 ], 23, 0xfde5380c );
    HH( a, b, c, d, x[ 1 ], 4, 0xa4beea44 );
    HH( d, a, b, c, x[ 4 ], 11, 0x4bdecfa9 );
    HH( c, d, a, b, x[ 7 ], 16, 0xf6bb4b60 );
    HH( b, c, d, a, x[ 10 ], 23, 0xbebfbc70 );
    HH( a, b, c, d, x[ 13 ], 4, 0x289b7ec6 );
    HH( d, a, b, c, x[ 0 ], 11, 0xeaa127fa );
    HH( c, d, a, b, x[ 3 ], 16, 0xd4ef3085 );
    HH( b, c, d, a, x[ 6 ], 23, 0x04881d05 );
    HH( a, b, c, d, x[ 9 ], 4, 0xd9d4d039 );
    HH( d, a, b, c, x[ 12 ], 11, 0xe6db99e5 );
    HH( c, d, a, b, x[ 15 ], 16, 0x1fa27cf8 );
    HH( b, c, d, a, x[ 2 ], 23, 0xc4ac5665 );

    // Round 4
    II( a, b, c, d, x[ 0 ], 6, 0xf4292244 );
    II( d, a, b, c, x[ 7 ], 10, 0x432aff97 );
    II( c, d, a, b, x[ 14 ], 15, 0xab9423a7 );
    II( b, c, d, a, x[ 5 ], 21, 0xfc93a039 );
    II( a, b, c, d, x[ 12 ], 6, 0x655b59c3 );
    II( d, a, b, c, x[ 3 ], 10, 0x8f0ccc92 );
    II( c, d, a, b, x[ 10 ], 15, 0xffeff47d );
    II( b, c, d, a, x[ 1 ], 21, 0x85845dd1 );
    II( a, b, c, d, x[ 8 ], 6, 0x6fa87e4f );
    II( d, a, b, c, x[ 15 ], 10, 0xfe2ce6e0 );
    II( c, d, a, b, x[ 6 ], 15, 0xa3014314 );
    II( b, c, d, a, x[ 13 ], 21, 0x4e0811a1 );
    II( a, b, c, d, x[ 4 ], 6, 0xf7537e82 );
    II( d, a, b, c, x[ 11 ], 10, 0xbd3af235 );
    II( c, d, a, b, x[ 2 ], 15, 0x2ad7d2bb );
    II( b, c, d, a, x[ 9 ], 21, 0xeb86d391 );

    state[ 0 ] += a;
    state[ 1 ] += b;
    state[ 2 ] += c;
    state[ 3 ] += d;
}
