#include "qor_core/persistence/qor_persistent_writer.h"

#include "qor_core/cyoencode.h"
#include "qor_core/file.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/token.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_charconv.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

using namespace NToken;

CWriter::CWriter( CFile* pFile, bool bOwnsFile )
    : _pFile( pFile ), _bBinary( pFile->IsBinary() ), _bOwnsFile( bOwnsFile )
{
}

CWriter::~CWriter()
{
    if ( _bOwnsFile )
    {
        delete _pFile;
    }
}

void CWriter::WriteBytes( const void* pData, int32 Size )
{
    if ( Size > 0 )
    {
        _pFile->Write( pData, Size );
    }
}

void CWriter::WriteText( CQorStringView Text )
{
    WriteBytes( Text.GetData(), Text.GetSize() );
}

void CWriter::WriteId( uint32 TokenType )
{
    const uint16 Id = uint16( TokenType );
    WriteBytes( &Id, sizeof( Id ) );
}

void CWriter::WriteToken( uint32 TokenType )
{
    if ( !_bBinary )
    {
        WriteText( GetTokenName( TokenType ) );
        return;
    }
    if ( TokenType == _newline_ || TokenType == _tab_ || TokenType == _space_ )
    {
        return;
    }
    if ( IsDynamicToken( TokenType ) )
    {
        const CString& TokenString = GetTokenName( TokenType );
        QOR_ASSERT( !TokenString.IsEmpty() );
        WriteId( _dynamic_ );
        const uint16 Length = uint16( TokenString.GetSize() );
        WriteBytes( &Length, sizeof( Length ) );
        WriteBytes( TokenString.GetData(), Length );
        return;
    }
    QOR_ASSERT( TokenType > 0 && TokenType <= UINT16_MAX );
    WriteId( TokenType );
}

namespace
{
// A number's text, or its identifier and payload.
template <typename T>
void WriteNumber( CFile& File, bool bBinary, uint32 Id, T Value )
{
    if ( bBinary )
    {
        const uint16 Id16 = uint16( Id );
        File.Write( &Id16, sizeof( Id16 ) );
        File.Write( &Value, sizeof( Value ) );
        return;
    }
    char Text[ 24 ];
    const std::to_chars_result Result = to_chars( Text, Text + sizeof( Text ), Value );
    File.Write( Text, int32( Result.ptr - Text ) );
}
} // namespace

void CWriter::Write( int32 Value )
{
    WriteNumber( *_pFile, _bBinary, _num_, Value );
}

void CWriter::Write( uint32 Value )
{
    WriteNumber( *_pFile, _bBinary, _unsigned_, Value );
}

void CWriter::Write( int64 Value )
{
    WriteNumber( *_pFile, _bBinary, _fixed_, Value );
}

void CWriter::Write( uint64 Value )
{
    WriteNumber( *_pFile, _bBinary, _unsigned64_, Value );
}

void CWriter::Write( CFixedPoint Value )
{
    if ( _bBinary )
    {
        Write( Value.GetRaw() );
        return;
    }
    WriteNumber( *_pFile, false, _float_, Value );
}

void CWriter::Write( bool Value )
{
    if ( _bBinary )
    {
        WriteId( _bool_ );
        const uint8 Byte = Value ? 1 : 0;
        WriteBytes( &Byte, 1 );
        return;
    }
    WriteText( Value ? "yes" : "no" );
}

float CWriter::RoundToGrid( float Value )
{
    const double Scaled = double( Value ) * 100000.0;
    // Outside ±2^62 the grid is finer than the float itself; NaN fails both tests.
    if ( !( Scaled > -4.6e18 && Scaled < 4.6e18 ) )
    {
        return Value;
    }
    const double Half = Scaled + 0.5;
    const int64 Rounded = int64( Value < 0 ? std::floor( Half ) : Half );
    return float( double( Rounded ) / 100000.0 );
}

void CWriter::Write( float Value )
{
    if ( _bBinary )
    {
        WriteId( _float_ );
        const float Stored = RoundToGrid( Value );
        WriteBytes( &Stored, sizeof( Stored ) );
        return;
    }
    // 3.4e38 has 39 digits before the point.
    char Text[ 64 ];
    const int Length = std::snprintf( Text, sizeof( Text ), "%f", double( Value ) );
    WriteBytes( Text, std::clamp( Length, 0, int( sizeof( Text ) ) - 1 ) );
}

void CWriter::WriteString( CQorStringView Text, bool Quote )
{
    if ( _bBinary )
    {
        WriteId( _string_ );
        const uint16 Length = uint16( Text.GetSize() );
        WriteBytes( &Length, sizeof( Length ) );
        WriteBytes( Text.GetData(), Length );
        return;
    }
    if ( !Quote )
    {
        WriteText( Text );
        return;
    }
    // Backslashes first, so that the backslashes escaping the quotes are not doubled.
    CString Escaped( Text );
    Escaped.ReplaceAll( "\\", "\\\\" );
    Escaped.ReplaceAll( "\"", "\\\"" );
    WriteText( "\"" );
    WriteText( Escaped );
    WriteText( "\"" );
}

void CWriter::WriteEnum( int32 Value, uint32 TokenType )
{
    if ( _bEnumsAsText && TokenType != 0 )
    {
        WriteToken( TokenType );
        return;
    }
    Write( Value );
}

void CWriter::WriteBuffer( uint32 Key, const void* pData, uint32 Size )
{
    if ( _bBinary )
    {
        WriteToken( Key );
        WriteToken( _buffer_ );
        WriteBytes( &Size, sizeof( Size ) );
        WriteBytes( pData, int32( Size ) );
        return;
    }
    QOR_ASSERT_MSG( false, "Non-binary buffer writing is very much untested, and should not be used for large "
                           "buffers e.g., transferring save games" );
    WriteKey( Key );
    WriteToken( _buffer_ );
    CString Encoded;
    Encoded.Resize( int32( Base64EncodeGetLength( Size ) ) );
    if ( Size > 0 )
    {
        Base64Encode( &Encoded[ 0 ], pData, Size );
    }
    const uint32 EncodedSize = uint32( Encoded.GetSize() );
    WriteBytes( &Size, sizeof( Size ) );
    WriteBytes( &EncodedSize, sizeof( EncodedSize ) );
    WriteText( Encoded );
    NewLine();
}

void CWriter::Write( CPersistent& Object )
{
    Object.Write( *this );
}

void CWriter::WriteWithoutBraces( CPersistent& Object )
{
    _nIndent = -1;
    Object.Write( *this );
}

void CWriter::WriteTabs()
{
    if ( _bBinary || _nIndent < 1 )
    {
        return;
    }
    const CString& Tab = GetTokenName( _tab_ );
    const int32 nNumPerBuffer = Tab.IsEmpty() ? 0 : 64 / Tab.GetSize();
    QOR_ASSERT( nNumPerBuffer > 0 );
    if ( nNumPerBuffer <= 0 )
    {
        return;
    }
    char Buffer[ 64 ];
    for ( int32 Index = 0; Index < nNumPerBuffer; ++Index )
    {
        std::memcpy( Buffer + Index * Tab.GetSize(), Tab.GetData(), size_t( Tab.GetSize() ) );
    }
    for ( int32 Left = _nIndent; Left > 0; Left -= nNumPerBuffer )
    {
        WriteBytes( Buffer, std::min( Left, nNumPerBuffer ) * Tab.GetSize() );
    }
}

void CWriter::WriteKey( uint32 TokenType )
{
    WriteTabs();
    WriteToken( TokenType );
    WriteToken( _equals_ );
}

void CWriter::WriteKey( int32 Number )
{
    WriteTabs();
    Write( Number );
    WriteToken( _equals_ );
}

void CWriter::WriteKey( CQorStringView Text )
{
    WriteTabs();
    WriteString( Text, true );
    WriteToken( _equals_ );
}

void CWriter::OpenBrace()
{
    if ( _nIndent >= 0 )
    {
        WriteToken( _openbrace_ );
        WriteToken( _newline_ );
    }
    ++_nIndent;
}

void CWriter::OpenBraceInline()
{
    if ( _nIndent >= 0 )
    {
        WriteToken( _openbrace_ );
        WriteToken( _space_ );
    }
    ++_nIndent;
}

void CWriter::CloseBrace()
{
    --_nIndent;
    WriteTabs();
    if ( _nIndent >= 0 )
    {
        WriteToken( _closebrace_ );
        WriteToken( _newline_ );
    }
}

void CWriter::CloseBraceInline()
{
    --_nIndent;
    if ( _nIndent >= 0 )
    {
        WriteToken( _closebrace_ );
        WriteToken( _newline_ );
    }
}

void CWriter::NewLine()
{
    WriteToken( _newline_ );
}

void CWriter::WriteVector( const CVector<float, 4>& Value )
{
    OpenBrace();
    WriteTabs();
    for ( int32 Index = 0; Index < 3; ++Index )
    {
        Write( Value._Values[ Index ] );
        WriteToken( _space_ );
    }
    Write( Value._Values[ 3 ] );
    WriteToken( _newline_ );
    CloseBrace();
}

void CWriter::WriteInlineList( const float* pValues, int32 Count )
{
    WriteToken( _openbrace_ );
    WriteToken( _space_ );
    for ( int32 Index = 0; Index < Count; ++Index )
    {
        if ( Index > 0 )
        {
            WriteToken( _space_ );
        }
        Write( pValues[ Index ] );
    }
    WriteToken( _closebrace_ );
}

void CWriter::WriteColor( const CVector<float, 4>& Value, bool AsHue )
{
    float Channels[ 3 ] = { Value._Values[ 0 ], Value._Values[ 1 ], Value._Values[ 2 ] };
    if ( AsHue )
    {
        const float Red = Channels[ 0 ];
        const float Green = Channels[ 1 ];
        const float Blue = Channels[ 2 ];
        const float Max = std::max( { Red, Green, Blue } );
        const float Min = std::min( { Red, Green, Blue } );
        const float Delta = Max - Min;
        float Hue = 0.0f;
        if ( Delta > 0.0f )
        {
            if ( Max == Red )
            {
                Hue = ( Green - Blue ) / Delta;
            }
            else if ( Max == Green )
            {
                Hue = 2.0f + ( Blue - Red ) / Delta;
            }
            else
            {
                Hue = 4.0f + ( Red - Green ) / Delta;
            }
            Hue /= 6.0f;
            if ( Hue < 0.0f )
            {
                Hue += 1.0f;
            }
        }
        Channels[ 0 ] = Hue;
        Channels[ 1 ] = Max > 0.0f ? Delta / Max : 0.0f;
        Channels[ 2 ] = Max;
        WriteToken( _colour_hue_ );
        WriteToken( _space_ );
    }
    WriteInlineList( Channels, 3 );
}
