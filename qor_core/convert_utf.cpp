#include "qor_core/convert_utf.h"

namespace
{
// The rows of the table of well-formed sequences, by lead byte: the sequence's length, the bits the lead
// brings, and the range of the second byte. Every later byte lies in 80..BF. Length 0 marks a byte that
// can't lead.
struct SLeadByte
{
    uint8 _Length;
    uint8 _PayloadMask;
    uint8 _SecondMin;
    uint8 _SecondMax;
};

constexpr SLeadByte DescribeLead( uint32 Lead )
{
    if ( Lead < 0x80 )
    {
        return { 1, 0x7F, 0, 0 };
    }
    if ( Lead < 0xC2 )
    {
        return { 0, 0, 0, 0 };
    }
    if ( Lead < 0xE0 )
    {
        return { 2, 0x1F, 0x80, 0xBF };
    }
    if ( Lead < 0xF0 )
    {
        // E0 would be overlong below A0; ED would reach the surrogates from A0 on.
        return { 3, 0x0F, uint8( Lead == 0xE0 ? 0xA0 : 0x80 ), uint8( Lead == 0xED ? 0x9F : 0xBF ) };
    }
    if ( Lead < 0xF5 )
    {
        // F0 would be overlong below 90; F4 would pass U+10FFFF from 90 on.
        return { 4, 0x07, uint8( Lead == 0xF0 ? 0x90 : 0x80 ), uint8( Lead == 0xF4 ? 0x8F : 0xBF ) };
    }
    return { 0, 0, 0, 0 };
}

struct SLeadTable
{
    SLeadByte _Rows[ 256 ];
};

constexpr SLeadTable MakeLeadTable()
{
    SLeadTable Table {};
    for ( uint32 Lead = 0; Lead < 256; ++Lead )
    {
        Table._Rows[ Lead ] = DescribeLead( Lead );
    }
    return Table;
}

constexpr SLeadTable c_LeadTable = MakeLeadTable();
} // namespace

EConversionResult ConvertUTF8toUTF32( const uint8** ppSource, const uint8* pSourceEnd, uint32** ppTarget,
                                      uint32* pTargetEnd )
{
    const uint8* pSource = *ppSource;
    uint32* pTarget = *ppTarget;
    EConversionResult Result = EConversionResult::ConversionOK;
    while ( pSource < pSourceEnd )
    {
        const SLeadByte& Lead = c_LeadTable._Rows[ *pSource ];
        if ( Lead._Length == 0 )
        {
            Result = EConversionResult::SourceIllegal;
            break;
        }
        uint32 CodePoint = *pSource & Lead._PayloadMask;
        // Each byte is checked before the next is looked at, so that an illegal byte is told apart from a
        // legal sequence that the end of the source cuts short.
        int32 Index = 1;
        for ( ; Index < Lead._Length && pSource + Index < pSourceEnd; ++Index )
        {
            const uint8 Byte = pSource[ Index ];
            const uint8 Min = Index == 1 ? Lead._SecondMin : uint8( 0x80 );
            const uint8 Max = Index == 1 ? Lead._SecondMax : uint8( 0xBF );
            if ( Byte < Min || Byte > Max )
            {
                Result = EConversionResult::SourceIllegal;
                break;
            }
            CodePoint = ( CodePoint << 6 ) | ( Byte & 0x3F );
        }
        if ( Result != EConversionResult::ConversionOK )
        {
            break;
        }
        if ( Index < Lead._Length )
        {
            Result = EConversionResult::SourceExhausted;
            break;
        }
        if ( pTarget >= pTargetEnd )
        {
            Result = EConversionResult::TargetExhausted;
            break;
        }
        *pTarget++ = CodePoint;
        pSource += Lead._Length;
    }
    *ppSource = pSource;
    *ppTarget = pTarget;
    return Result;
}
