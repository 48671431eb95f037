#include "qor_core/persistence/token.h"

#include "qor_core/qor_assert.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace NToken;

// Out of line: inlined into a constructor of another class, the hybrid array's start on its inline buffer
// draws a false -Wnonnull warning from GCC 12.
CToken::CToken() = default;

CToken::CToken( uint32 Type, CQorStringView Text )
{
    SetText( Type, Text.GetData(), Text.GetSize() );
}

CToken::CToken( CQorStringView String )
{
    SetText( _string_, String.GetData(), String.GetSize() );
    _Quoted = true;
}

CToken::CToken( int32 Value )
{
    WriteNumberText( _num_, 12, [Value]( char* First, char* Last ) { return to_chars( First, Last, Value ); } );
}

CToken::CToken( uint32 Value )
{
    WriteNumberText( _unsigned_, 12, [Value]( char* First, char* Last ) { return to_chars( First, Last, Value ); } );
}

CToken::CToken( float Value )
{
    WriteNumberText( _float_, 21,
                     [Value]( char* First, char* Last )
                     {
                         // A text that didn't fit ends at Last, where its terminator should have gone.
                         const int Written = std::snprintf( First, size_t( Last - First ), "%f", double( Value ) );
                         const bool bFits = Written >= 0 && Written < Last - First;
                         return std::to_chars_result { bFits ? First + Written : Last, std::errc {} };
                     } );
}

CToken::CToken( bool Value )
{
    WriteNumberText( _bool_, 4,
                     [Value]( char* First, char* )
                     {
                         const char* pWord = Value ? "yes" : "no";
                         const size_t Length = std::strlen( pWord );
                         std::memcpy( First, pWord, Length );
                         return std::to_chars_result { First + Length, std::errc {} };
                     } );
}

CToken::CToken( CFixedPoint Value )
{
    WriteNumberText( _float_, 21, [Value]( char* First, char* Last ) { return to_chars( First, Last, Value ); } );
}

CToken::CToken( int64 Value )
{
    WriteNumberText( _unsigned64_, 21, [Value]( char* First, char* Last ) { return to_chars( First, Last, Value ); } );
}

CToken::CToken( uint64 Value )
{
    WriteNumberText( _unsigned64_, 21, [Value]( char* First, char* Last ) { return to_chars( First, Last, Value ); } );
}

template <typename WriterT>
void CToken::WriteNumberText( uint32 Type, int32 Capacity, WriterT Writer )
{
    _Type = Type;
    ResetText( Capacity );
    char* First = _Text.GetData();
    char* Last = First + Capacity;
    const std::to_chars_result Result = Writer( First, Last );
    QOR_ASSERT( Result.ec == std::errc {} );
    QOR_ASSERT( Result.ptr < Last );
    // A text that filled the buffer loses its last character to the terminator; a failed one is empty.
    const int32 Length = Result.ec == std::errc {} ? int32( std::min( Result.ptr, Last - 1 ) - First ) : 0;
    First[ Length ] = '\0';
    _Text.Resize( Length + 1 );
}

bool CToken::operator==( const CToken& Other ) const
{
    return _Type == Other._Type && GetText() == Other.GetText();
}

CQorStringView CToken::GetText() const
{
    const int32 Size = _Text.GetSize();
    if ( Size == 0 )
    {
        return CQorStringView();
    }
    const int32 Length = int32( strnlen( _Text.GetData(), size_t( Size ) ) );
    return CQorStringView( _Text.GetData(), Length, Length < Size ? ENullTerminated::Yes : ENullTerminated::No );
}

bool CToken::ValidateValStringLength() const
{
    const int32 Size = _Text.GetSize();
    return Size > 0 && int32( strnlen( _Text.GetData(), size_t( Size ) ) ) == Size - 1;
}

const char* CToken::TerminatedText( CString& Scratch ) const
{
    const int32 Size = _Text.GetSize();
    if ( Size == 0 )
    {
        return "";
    }
    if ( _Text.GetData()[ Size - 1 ] == '\0' )
    {
        return _Text.GetData();
    }
    Scratch = CString( _Text.GetData(), Size );
    return Scratch.GetData();
}

template <typename ByteT>
bool CToken::GetByte( ByteT& Value ) const
{
    if ( ReadInteger( Value ).ec == std::errc {} )
    {
        return true;
    }
    CString Scratch;
    char Char = 0;
    if ( std::sscanf( TerminatedText( Scratch ), "'%c'", &Char ) != 1 )
    {
        return false;
    }
    Value = ByteT( Char );
    return true;
}

bool CToken::GetInt8( int8& Value ) const
{
    return GetByte( Value );
}

bool CToken::GetUInt8( uint8& Value ) const
{
    return GetByte( Value );
}

// The standard library's decimal parse, which is exact and ignores the locale; the scan is the fall-back.
template <typename DecimalT>
bool CToken::GetDecimal( DecimalT& Value, const char* pScanFormat ) const
{
    if ( !HasText() )
    {
        std::memcpy( &Value, &_BinaryValue, sizeof( Value ) );
        return true;
    }
    QOR_ASSERT( ValidateValStringLength() );
    const char* First = _Text.GetData();
    if ( std::from_chars( First, First + ( _Text.GetSize() - 1 ), Value ).ec == std::errc {} )
    {
        return true;
    }
    CString Scratch;
    return std::sscanf( TerminatedText( Scratch ), pScanFormat, &Value ) == 1;
}

bool CToken::GetFloat( float& Value ) const
{
    return GetDecimal( Value, "%f" );
}

bool CToken::GetDouble( double& Value ) const
{
    return GetDecimal( Value, "%lf" );
}

bool CToken::GetFixedPoint( CFixedPoint& Value ) const
{
    if ( !HasText() )
    {
        int64 Raw = 0;
        std::memcpy( &Raw, &_BinaryValue, sizeof( Raw ) );
        Value = CFixedPoint::FromRaw( Raw );
        return true;
    }
    QOR_ASSERT( ValidateValStringLength() );
    const char* First = _Text.GetData();
    return from_chars( First, First + ( _Text.GetSize() - 1 ), Value ).ec == std::errc {};
}

bool CToken::GetBool( bool& Value ) const
{
    if ( !HasText() )
    {
        Value = ( _BinaryValue & 0xFF ) != 0;
        return true;
    }
    QOR_ASSERT( ValidateValStringLength() );
    const CQorStringView Text = GetText();
    if ( Text.CompareNoCase( "yes" ) == 0 )
    {
        Value = true;
        return true;
    }
    if ( Text.CompareNoCase( "no" ) == 0 )
    {
        Value = false;
        return true;
    }
    return false;
}

bool CToken::GetHexadecimal( uint32& Value ) const
{
    if ( HasText() )
    {
        QOR_ASSERT( ValidateValStringLength() );
    }
    CString Scratch;
    unsigned int Scanned = 0;
    const int Result = std::sscanf( TerminatedText( Scratch ), "%x", &Scanned );
    if ( Result == 1 )
    {
        Value = Scanned;
    }
    return Result != 0;
}

bool CToken::GetString( CString& Value ) const
{
    Value = CString( GetText() );
    return true;
}

float CToken::AsFloat() const
{
    float Value = 0.0f;
    const int ItemsScanned = GetFloat( Value ) ? 1 : 0;
    QOR_ASSERT( ItemsScanned == 1 );
    return ItemsScanned == 1 ? Value : 0.0f;
}

double CToken::AsDouble() const
{
    double Value = 0.0;
    const int ItemsScanned = GetDouble( Value ) ? 1 : 0;
    QOR_ASSERT( ItemsScanned == 1 );
    return ItemsScanned == 1 ? Value : 0.0;
}

CFixedPoint CToken::AsFixedPoint() const
{
    CFixedPoint Value;
    if ( !GetFixedPoint( Value ) )
    {
        QOR_ASSERT_MSG( false, "This is probably not a fixed point token" );
        return CFixedPoint();
    }
    return Value;
}

bool CToken::AsBool() const
{
    if ( !HasText() )
    {
        return ( _BinaryValue & 0xFF ) != 0;
    }
    const CQorOptional<bool> Value = GetText().ParseYesNo();
    if ( !Value.IsSet() )
    {
        QOR_ASSERT_MSG( false, "This is probably not an bool token" );
        return false;
    }
    return Value.GetValue();
}

void CToken::AppendChar( int32 Index, char Char )
{
    _BinaryValue = 0;
    if ( Index >= 0 && Index < _Text.GetSize() )
    {
        _Text[ Index ] = Char;
        return;
    }
    if ( Index != _Text.GetSize() )
    {
        QOR_ASSERT_MSG( false, "Trying to add a char somewhere other than the end of the string" );
    }
    _Text.Add( Char );
}

void CToken::SetText( uint32 Type, const char* pData, int32 Length )
{
    QOR_ASSERT( Length >= 0 );
    Length = std::max( Length, 0 );
    // A text from this token's own array would move with it as it grows.
    CString Copy;
    if ( Length > 0 && pData >= _Text.begin() && pData < _Text.end() )
    {
        Copy = CString( pData, Length );
        pData = Copy.GetData();
    }
    _Quoted = false;
    _Type = Type;
    _Text.Resize( Length + 1 );
    if ( Length > 0 )
    {
        std::memcpy( _Text.GetData(), pData, size_t( Length ) );
    }
    _Text[ Length ] = '\0';
    _BinaryValue = 0;
}

void CToken::ResetText( int32 Size )
{
    QOR_ASSERT( Size >= 0 );
    Size = std::max( Size, 0 );
    _Text.Resize( Size );
    std::memset( _Text.GetData(), 0xCD, size_t( Size ) );
}

bool IsComparison( const CToken& Token )
{
    switch ( Token._Type )
    {
    case _greaterequal_:
    case _greater_:
    case _lessequal_:
    case _less_:
    case _equalequal_:
    case _notequal_:
        return true;
    default:
        return false;
    }
}
