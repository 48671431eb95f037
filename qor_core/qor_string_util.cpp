#include "qor_core/qor_string_util.h"

#include "qor_core/log_deprecated.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_log_categories.h"

#include <array>
#include <cstring>
#include <limits>

namespace NQorStringUtil
{
const CString g_ByteSizeSuffixes[c_SuffixTableSize] = { " B", " KB", " MB", " GB", " TB", " PB", " EB" };
const CString g_CountSuffixes[c_SuffixTableSize] = { "", " K", " M", " G", " T", " P", " E" };
const CString g_ByteSizeSuffixesNoBlank[c_SuffixTableSize] = { "", "KB", "MB", "GB", "TB", "PB", "EB" };
const CString g_CountSuffixesNoBlank[c_SuffixTableSize] = { "", "K", "M", "G", "T", "P", "E" };
} // namespace NQorStringUtil

namespace
{
// A sign, 20 digits, the point and the suffixes of the library's tables fit with room to spare.
constexpr int32 c_FormatBufferSize = 64;

uint32 CountDigits( uint64 Value )
{
    uint32 nDigits = 1;
    while ( Value >= 10 )
    {
        Value /= 10;
        ++nDigits;
    }
    return nDigits;
}

uint64 PowerOf10( uint32 Exponent )
{
    uint64 Power = 1;
    while ( Exponent-- > 0 )
    {
        Power *= 10;
    }
    return Power;
}

// Appends to a fixed buffer; a piece that doesn't fit is reported and spoils the whole text.
class CFormatBuffer
{
public:
    bool Append( const char* pData, int32 nSize )
    {
        const bool bFits = _bOk && nSize <= c_FormatBufferSize - _nSize;
        QOR_ASSERT_MSG( bFits, "Formatted value was too large for hard-coded buffer." );
        if ( !bFits )
        {
            _bOk = false;
            return false;
        }
        std::memcpy( _Buffer + _nSize, pData, static_cast<size_t>( nSize ) );
        _nSize += nSize;
        return true;
    }
    bool Append( char Char ) { return Append( &Char, 1 ); }
    bool AppendRepeated( char Char, uint32 nCount )
    {
        for ( uint32 I = 0; I < nCount; ++I )
        {
            if ( !Append( Char ) )
            {
                return false;
            }
        }
        return true;
    }

    CString ToString() const { return _bOk ? CString( _Buffer, _nSize ) : CString(); }
    char* GetData() { return _Buffer; }
    int32 GetSize() const { return _nSize; }
    void SetSize( int32 nSize ) { _nSize = nSize; }

private:
    char _Buffer[c_FormatBufferSize];
    int32 _nSize = 0;
    bool _bOk = true;
};

struct STwoByteForm
{
    uint8 Code;
    uint8 Utf8[2];
};
struct SThreeByteForm
{
    uint8 Code;
    uint8 Utf8[3];
};

// The code points of Windows-1252 whose UTF-8 form has two bytes: the 15 of 0x80 to 0x9F (the five undefined
// positions as the control characters of the same value), then 0xA0 to 0xFF, which equal their code points.
constexpr std::array<STwoByteForm, 111> MakeTwoByteForms()
{
    std::array<STwoByteForm, 111> Forms{ {
        { 0x81, { 0xC2, 0x81 } },
        { 0x83, { 0xC6, 0x92 } },
        { 0x88, { 0xCB, 0x86 } },
        { 0x8A, { 0xC5, 0xA0 } },
        { 0x8C, { 0xC5, 0x92 } },
        { 0x8D, { 0xC2, 0x8D } },
        { 0x8E, { 0xC5, 0xBD } },
        { 0x8F, { 0xC2, 0x8F } },
        { 0x90, { 0xC2, 0x90 } },
        { 0x98, { 0xCB, 0x9C } },
        { 0x9A, { 0xC5, 0xA1 } },
        { 0x9C, { 0xC5, 0x93 } },
        { 0x9D, { 0xC2, 0x9D } },
        { 0x9E, { 0xC5, 0xBE } },
        { 0x9F, { 0xC5, 0xB8 } },
    } };
    for ( int Code = 0xA0; Code <= 0xFF; ++Code )
    {
        Forms[static_cast<size_t>( 15 + Code - 0xA0 )] = {
            static_cast<uint8>( Code ),
            { static_cast<uint8>( 0xC0 | ( Code >> 6 ) ), static_cast<uint8>( 0x80 | ( Code & 0x3F ) ) } };
    }
    return Forms;
}
constexpr std::array<STwoByteForm, 111> c_TwoByteForms = MakeTwoByteForms();

constexpr SThreeByteForm c_ThreeByteForms[17] = {
    { 0x80, { 0xE2, 0x82, 0xAC } }, { 0x82, { 0xE2, 0x80, 0x9A } }, { 0x84, { 0xE2, 0x80, 0x9E } },
    { 0x85, { 0xE2, 0x80, 0xA6 } }, { 0x86, { 0xE2, 0x80, 0xA0 } }, { 0x87, { 0xE2, 0x80, 0xA1 } },
    { 0x89, { 0xE2, 0x80, 0xB0 } }, { 0x8B, { 0xE2, 0x80, 0xB9 } }, { 0x91, { 0xE2, 0x80, 0x98 } },
    { 0x92, { 0xE2, 0x80, 0x99 } }, { 0x93, { 0xE2, 0x80, 0x9C } }, { 0x94, { 0xE2, 0x80, 0x9D } },
    { 0x95, { 0xE2, 0x80, 0xA2 } }, { 0x96, { 0xE2, 0x80, 0x93 } }, { 0x97, { 0xE2, 0x80, 0x94 } },
    { 0x99, { 0xE2, 0x84, 0xA2 } }, { 0x9B, { 0xE2, 0x80, 0xBA } },
};

template <typename FormT, typename TableT> const FormT* FindForm( const TableT& Table, const unsigned char* pSequence )
{
    for ( const FormT& Form : Table )
    {
        if ( std::memcmp( Form.Utf8, pSequence, sizeof( Form.Utf8 ) ) == 0 )
        {
            return &Form;
        }
    }
    return nullptr;
}
} // namespace

CString FormatMagnitude( int64 Value, uint32 MinDigits, uint32 MinFractionalDigits, int64 MagnitudeSize,
                         CQorSuffixTableView Suffixes )
{
    QOR_ASSERT( MinDigits <= 19 );
    QOR_ASSERT( MinFractionalDigits <= 18 );
    QOR_ASSERT( MagnitudeSize >= 2 );
    QOR_ASSERT( Suffixes.GetSize() >= 2 );
    if ( MagnitudeSize < 2 || Suffixes.GetSize() < 1 )
    {
        return CString();
    }
    MinDigits = MinDigits <= 19 ? MinDigits : 19;
    MinFractionalDigits = MinFractionalDigits <= 18 ? MinFractionalDigits : 18;

    CFormatBuffer Buffer;
    if ( Value == 0 )
    {
        const uint32 nZeros =
            MinDigits > 1 && MinDigits - 1 > MinFractionalDigits ? MinDigits - 1 : MinFractionalDigits;
        Buffer.Append( '0' );
        if ( nZeros != 0 )
        {
            Buffer.Append( '.' );
            Buffer.AppendRepeated( '0', nZeros );
        }
        Buffer.Append( Suffixes[0].GetData(), Suffixes[0].GetSize() );
        return Buffer.ToString();
    }

    int64 ScaledValue = Value;
    int64 Divisor = 1;
    int32 Index = 0;
    while ( Index < Suffixes.GetSize() - 1 &&
            ( ScaledValue > 0 ? ScaledValue >= MagnitudeSize : ScaledValue <= -MagnitudeSize ) )
    {
        ScaledValue /= MagnitudeSize;
        Divisor *= MagnitudeSize;
        ++Index;
    }
    QOR_ASSERT( ScaledValue != std::numeric_limits<int64>::min() );
    if ( ScaledValue == std::numeric_limits<int64>::min() )
    {
        return CString();
    }
    // The part below the row's magnitude, which the decimals show. Same sign as Value, so no overflow.
    const int64 SignedRemainder = Value - ScaledValue * Divisor;
    uint64 Remainder = static_cast<uint64>( SignedRemainder < 0 ? -SignedRemainder : SignedRemainder );
    const uint64 Scaled = static_cast<uint64>( ScaledValue < 0 ? -ScaledValue : ScaledValue );
    uint64 RemainderDivisor = static_cast<uint64>( Divisor );

    const uint32 WantedDigits = MinDigits > MinFractionalDigits + 1 ? MinDigits : MinFractionalDigits + 1;
    const uint32 IntegerDigits = CountDigits( Scaled );
    const uint32 FractionDigits = WantedDigits > IntegerDigits ? WantedDigits - IntegerDigits : MinFractionalDigits;
    const uint64 Power = PowerOf10( FractionDigits );
    // Remainder * Power must stay below 10^19; dropping the low digits of both keeps their ratio.
    while ( CountDigits( Remainder ) + FractionDigits >= 19 &&
            RemainderDivisor >= static_cast<uint64>( MagnitudeSize ) )
    {
        Remainder /= static_cast<uint64>( MagnitudeSize );
        RemainderDivisor /= static_cast<uint64>( MagnitudeSize );
    }
    uint64 Combined = 0;
    const bool bOverflow = __builtin_mul_overflow( Scaled, Power, &Combined ) ||
                           __builtin_add_overflow( Combined, ( Remainder * Power ) / RemainderDivisor, &Combined );
    QOR_ASSERT_MSG( !bOverflow, "Formatted value was too large for hard-coded buffer." );
    if ( bOverflow )
    {
        return CString();
    }

    if ( Value < 0 )
    {
        Buffer.Append( '-' );
    }
    char Digits[24];
    const std::to_chars_result Written = to_chars( Digits, Digits + sizeof( Digits ), Combined );
    const CQorStringView DigitsSegment( Digits, static_cast<int32>( Written.ptr - Digits ), ENullTerminated::No );
    const uint32 TotalDigits = IntegerDigits + FractionDigits;
    QOR_ASSERT( TotalDigits == static_cast<uint32>( DigitsSegment.GetSize() ) );
    const int32 nIntegerPart = DigitsSegment.GetSize() - static_cast<int32>( FractionDigits );
    if ( nIntegerPart < 1 )
    {
        return CString();
    }
    Buffer.Append( DigitsSegment.GetData(), nIntegerPart );
    if ( FractionDigits != 0 )
    {
        Buffer.Append( '.' );
        Buffer.Append( DigitsSegment.GetData() + nIntegerPart, static_cast<int32>( FractionDigits ) );
    }
    Buffer.Append( Suffixes[Index].GetData(), Suffixes[Index].GetSize() );
    return Buffer.ToString();
}

CString FormatByteSize( int64 Value )
{
    return FormatMagnitude( Value, 1, 0, 1024, NQorStringUtil::g_ByteSizeSuffixes );
}

CString FormatByteSize( int64 Value, uint32 MinDigits, uint32 MinFractionalDigits )
{
    return FormatMagnitude( Value, MinDigits, MinFractionalDigits, 1024, NQorStringUtil::g_ByteSizeSuffixes );
}

CString FormatCount( int64 Value, uint32 MinDigits, uint32 MinFractionalDigits )
{
    return FormatMagnitude( Value, MinDigits, MinFractionalDigits, 1000, NQorStringUtil::g_CountSuffixes );
}

int32 WriteTerminated( CQorStringView Text, int32 DestinationBufferSize, char* pDestination )
{
    QOR_ASSERT( DestinationBufferSize > 0 );
    const int32 AmountToWrite = Text.GetSize() < DestinationBufferSize - 1 ? Text.GetSize() : DestinationBufferSize - 1;
    QOR_ASSERT( AmountToWrite >= 0 );
    if ( AmountToWrite < 0 || !pDestination )
    {
        return -1;
    }
    if ( AmountToWrite > 0 )
    {
        std::memcpy( pDestination, Text.GetData(), static_cast<size_t>( AmountToWrite ) );
    }
    pDestination[AmountToWrite] = '\0';
    QOR_ASSERT( std::strlen( pDestination ) == static_cast<std::size_t>( AmountToWrite ) );
    return AmountToWrite;
}

void Utf8ToLatin1( const char* pSource, char* pDestination )
{
    const unsigned char* pIn = reinterpret_cast<const unsigned char*>( pSource );
    while ( *pIn != 0 )
    {
        const unsigned char Lead = *pIn;
        if ( Lead < 0x80 )
        {
            *pDestination++ = static_cast<char>( Lead );
            ++pIn;
            continue;
        }
        *pDestination = '?';
        int32 nLength = 2;
        for ( unsigned char Bit = 0x20; Bit != 0 && ( Lead & Bit ) != 0; Bit >>= 1 )
        {
            ++nLength;
        }
        // The terminator may come inside the sequence: the table compare and the step stop short of it.
        int32 nAvailable = 1;
        while ( nAvailable < nLength && pIn[nAvailable] != 0 )
        {
            ++nAvailable;
        }
        if ( nLength > 3 )
        {
            QOR_ASSERT_MSG( false, "Couldn't find Latin1 character" );
        }
        else
        {
            const uint8* pCode = nullptr;
            if ( nAvailable == 2 && nLength == 2 )
            {
                const STwoByteForm* pForm = FindForm<STwoByteForm>( c_TwoByteForms, pIn );
                pCode = pForm ? &pForm->Code : nullptr;
            }
            else if ( nAvailable == 3 )
            {
                const SThreeByteForm* pForm = FindForm<SThreeByteForm>( c_ThreeByteForms, pIn );
                pCode = pForm ? &pForm->Code : nullptr;
            }
            if ( pCode )
            {
                *pDestination = static_cast<char>( *pCode );
            }
            else
            {
                LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                           "Couldn't find Latin1 character" );
            }
        }
        ++pDestination;
        pIn += nAvailable;
    }
    *pDestination = '\0';
}

CQorArray<CString> Split( CQorStringView Text, CQorStringView Separator, int32 MaxElements )
{
    QOR_ASSERT_MSG( MaxElements >= 1, "Max element count for splitting a string should be positive, but was %d.",
                    MaxElements );
    CQorArray<CString> Elements;
    if ( MaxElements <= 1 || Separator.IsEmpty() )
    {
        Elements.Add( CString( Text ) );
        return Elements;
    }
    int32 nCut = 0;
    while ( Elements.GetSize() < MaxElements - 1 )
    {
        const int32 nHit = Text.Find( Separator, nCut );
        if ( nHit == CQorStringView::npos )
        {
            break;
        }
        Elements.Add( CString( Text.GetData() + nCut, nHit - nCut ) );
        nCut = nHit + Separator.GetSize();
    }
    Elements.Add( CString( Text.GetData() + nCut, Text.GetSize() - nCut ) );
    return Elements;
}
