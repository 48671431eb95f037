#include "qor_core/qor_string.h"

#include "qor_core/qor_charconv.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
// Latin-1 codes 128 to 255 folded to plain ASCII. The multiplication sign gives 'x', the division sign '?',
// and thorn 'T' and 't'.
constexpr char DiacriticFolding[ 128 + 1 ] = "????????????????????????????????" // 128 to 159
                                             "????????????????????????????????" // 160 to 191
                                             "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTs" // 192 to 223
                                             "aaaaaaaceeeeiiiidnooooo?ouuuuyty"; // 224 to 255

template <typename PredicateT>
bool AllOf( const std::string& Text, PredicateT Predicate )
{
    for ( char Char : Text )
    {
        if ( !Predicate( Char ) )
        {
            return false;
        }
    }
    return true;
}

bool IsDigit( char Char )
{
    return Char >= '0' && Char <= '9';
}

// Applies Transform to each byte up to the size or the first zero byte.
template <typename TransformT>
void TransformUntilZero( std::string& Text, TransformT Transform )
{
    for ( char& Char : Text )
    {
        if ( Char == '\0' )
        {
            break;
        }
        Char = static_cast<char>( Transform( static_cast<unsigned char>( Char ) ) );
    }
}
} // namespace

CString::CString( double Value )
{
    // Wide enough for the largest double with three decimals.
    char Buffer[ 512 ];
    int32 Length = std::snprintf( Buffer, sizeof( Buffer ), "%.3f", Value );
    for ( int32 Zeros = 0; Zeros < 3 && Length > 0 && Buffer[ Length - 1 ] == '0'; ++Zeros )
    {
        --Length;
    }
    if ( Length > 0 && Buffer[ Length - 1 ] == '.' )
    {
        --Length;
    }
    _str.assign( Buffer, static_cast<size_t>( Length ) );
}

CString::CString( double Value, int32 Decimals )
{
    char Buffer[ 32 ];
    std::snprintf( Buffer, sizeof( Buffer ), "%.*f", Decimals, Value );
    _str = Buffer;
}

CString::CString( CFixedPoint Value, int32 Decimals )
{
    char Buffer[ 32 ];
    char* pText = Buffer;
    const int64 Raw = Value.GetRaw();
    if ( Raw < 0 )
    {
        *pText++ = '-';
    }
    const uint64 Magnitude = Raw < 0 ? 0 - static_cast<uint64>( Raw ) : static_cast<uint64>( Raw );
    char* const pEnd = Buffer + sizeof( Buffer );
    pText = to_chars( pText, pEnd, Magnitude / NFixedInt64::Scale ).ptr;
    if ( Decimals != 0 )
    {
        // Six digits with a leading '1' keep the fraction's leading zeros; the '1' becomes the '.'.
        char* const pDot = pText;
        pText = to_chars( pText, pEnd, Magnitude % NFixedInt64::Scale + NFixedInt64::Scale ).ptr;
        *pDot = '.';
        if ( Decimals > 0 )
        {
            QOR_ASSERT( Decimals > 0 && Decimals <= 5 );
            if ( Decimals < 5 )
            {
                pText = pDot + 1 + Decimals;
            }
        }
        else
        {
            int32 Safety = 100;
            while ( pText > pDot && ( pText[ -1 ] == '0' || pText[ -1 ] == '.' ) )
            {
                const bool bDot = pText[ -1 ] == '.';
                --pText;
                --Safety;
                QOR_ASSERT( Safety > 0 );
                if ( bDot || Safety <= 0 )
                {
                    break;
                }
            }
        }
    }
    _str.assign( Buffer, static_cast<size_t>( pText - Buffer ) );
}

void CString::Insert( int32 Index, const char* pOther )
{
    QOR_ASSERT( Index >= 0 && Index <= GetSize() );
    _str.insert( static_cast<size_t>( Index ), pOther );
}

void CString::Insert( int32 Index, const char* pOther, int32 Length )
{
    QOR_ASSERT( Index >= 0 && Index <= GetSize() );
    _str.insert( static_cast<size_t>( Index ), pOther, static_cast<size_t>( Length ) );
}

void CString::Insert( int32 Index, int32 Count, char Char )
{
    QOR_ASSERT( Index >= 0 && Index <= GetSize() );
    _str.insert( static_cast<size_t>( Index ), static_cast<size_t>( Count ), Char );
}

int32 CString::Find( char Char, int32 nStartPos ) const
{
    QOR_ASSERT( nStartPos >= 0 );
    return static_cast<int32>( _str.find( Char, static_cast<size_t>( nStartPos ) ) );
}

int32 CString::Find( CQorStringView Needle, int32 nStartPos ) const
{
    QOR_ASSERT( nStartPos >= 0 );
    return static_cast<int32>(
        _str.find( Needle.GetData(), static_cast<size_t>( nStartPos ), static_cast<size_t>( Needle.GetSize() ) ) );
}

int32 CString::ReverseFind( char Char, int32 nEndPos ) const
{
    QOR_ASSERT( nEndPos >= 0 );
    return static_cast<int32>( _str.rfind( Char, static_cast<size_t>( nEndPos ) ) );
}

int32 CString::ReverseFind( CQorStringView Needle, int32 nEndPos ) const
{
    QOR_ASSERT( nEndPos >= 0 );
    return static_cast<int32>(
        _str.rfind( Needle.GetData(), static_cast<size_t>( nEndPos ), static_cast<size_t>( Needle.GetSize() ) ) );
}

int32 CString::FindLast( char Char, int32 nStartPos ) const
{
    QOR_ASSERT_MSG( nStartPos == CString::npos || ( nStartPos >= 0 && nStartPos < GetSize() ),
                    "nStartPos == CString::npos || ( nStartPos >= 0 && nStartPos < GetSize() ) && \"Search start "
                    "position must either be a valid index within the string, or the special npos value to "
                    "indicate searching from the very end.\"" );
    return static_cast<int32>(
        _str.rfind( Char, nStartPos >= 0 ? static_cast<size_t>( nStartPos ) : std::string::npos ) );
}

int32 CString::FindLast( const char* pNeedle ) const
{
    return static_cast<int32>( _str.rfind( pNeedle ) );
}

CString CString::Substr( int32 nStartPos, int32 nEndPos ) const
{
    QOR_ASSERT( nStartPos >= 0 );
    const int32 Size = GetSize();
    if ( nEndPos > Size )
    {
        nEndPos = Size;
    }
    QOR_ASSERT_MSG( nStartPos <= Size, "Substring start position out of bounds" );
    if ( nStartPos > Size )
    {
        nStartPos = Size;
    }
    if ( nStartPos < 0 )
    {
        nStartPos = 0;
    }
    QOR_ASSERT( nEndPos >= nStartPos );
    if ( nEndPos < nStartPos )
    {
        nEndPos = nStartPos;
    }
    const std::string Range =
        _str.substr( static_cast<size_t>( nStartPos ), static_cast<size_t>( nEndPos - nStartPos ) );
    return CString( Range.c_str() );
}

void CString::Replace( char From, char To )
{
    for ( char& Char : _str )
    {
        if ( Char == From )
        {
            Char = To;
        }
    }
}

bool CString::ReplaceFirst( CQorStringView Old, CQorStringView New, int32 nStartPos )
{
    const int32 Pos = Find( Old, nStartPos );
    if ( Pos == npos )
    {
        return false;
    }
    _str.replace( static_cast<size_t>( Pos ), static_cast<size_t>( Old.GetSize() ), New.GetData(),
                  static_cast<size_t>( New.GetSize() ) );
    return true;
}

void CString::ReplaceAll( const char* pFrom, const char* pTo )
{
    const size_t FromLength = std::strlen( pFrom );
    const size_t ToLength = std::strlen( pTo );
    if ( FromLength == 0 )
    {
        return;
    }
    for ( size_t Pos = _str.find( pFrom ); Pos != std::string::npos; Pos = _str.find( pFrom, Pos + ToLength ) )
    {
        _str.replace( Pos, FromLength, pTo, ToLength );
    }
}

bool CString::IsBlank() const
{
    return AllOf( _str, []( char Char ) { return Char == ' '; } );
}

bool CString::IsDigits() const
{
    return !_str.empty() && AllOf( _str, IsDigit );
}

bool CString::IsInteger() const
{
    const size_t First = !_str.empty() && _str[ 0 ] == '-' ? 1 : 0;
    if ( First == _str.size() )
    {
        return false;
    }
    for ( size_t Pos = First; Pos < _str.size(); ++Pos )
    {
        if ( !IsDigit( _str[ Pos ] ) )
        {
            return false;
        }
    }
    return true;
}

bool CString::IsHexadecimal() const
{
    return !_str.empty() && AllOf( _str, []( char Char )
                                   { return IsDigit( Char ) || ( Char >= 'A' && Char <= 'F' ) ||
                                            ( Char >= 'a' && Char <= 'f' ); } );
}

bool CString::ConsistsOf( const char* pSet ) const
{
    return AllOf( _str, [ pSet ]( char Char ) { return std::strchr( pSet, Char ) != nullptr; } );
}

bool CString::HasNonAscii() const
{
    return !AllOf( _str, []( char Char ) { return ( static_cast<unsigned char>( Char ) & 0x80 ) == 0; } );
}

bool CString::IsLowerCase() const
{
    for ( char Char : _str )
    {
        const unsigned char Byte = static_cast<unsigned char>( Char );
        if ( Byte == 0 )
        {
            break;
        }
        if ( std::isalpha( Byte ) && !std::islower( Byte ) )
        {
            return false;
        }
    }
    return true;
}

void CString::ToLower()
{
    TransformUntilZero( _str, []( unsigned char Byte ) { return std::tolower( Byte ); } );
}

void CString::ToUpper()
{
    TransformUntilZero( _str, []( unsigned char Byte ) { return std::toupper( Byte ); } );
}

void CString::FirstToUpper()
{
    if ( !_str.empty() )
    {
        _str[ 0 ] = static_cast<char>( std::toupper( static_cast<unsigned char>( _str[ 0 ] ) ) );
    }
}

void CString::FirstToLower()
{
    if ( !_str.empty() )
    {
        _str[ 0 ] = static_cast<char>( std::tolower( static_cast<unsigned char>( _str[ 0 ] ) ) );
    }
}

void CString::RemoveDiacritics()
{
    for ( char& Char : _str )
    {
        const unsigned char Byte = static_cast<unsigned char>( Char );
        if ( Byte & 0x80 )
        {
            Char = DiacriticFolding[ Byte - 128 ];
        }
    }
}

CFixedPoint CString::ToFixedPoint() const
{
    CFixedPoint Value;
    const std::from_chars_result Result = from_chars( _str.data(), _str.data() + _str.size(), Value );
    QOR_ASSERT( Result.ec == std::errc {} );
    return Value;
}

template <typename T>
T CString::ToInteger() const
{
    T Value = 0;
    const std::from_chars_result Result = from_chars( _str.data(), _str.data() + _str.size(), Value );
    QOR_ASSERT( Result.ec == std::errc {} );
    return Value;
}

int32 CString::ToInt() const
{
    return ToInteger<int32>();
}

uint32 CString::ToUnsigned() const
{
    return ToInteger<uint32>();
}

int64 CString::ToInt64() const
{
    return ToInteger<int64>();
}

uint64 CString::ToUnsigned64() const
{
    return ToInteger<uint64>();
}

float CString::ToFloat() const
{
    return static_cast<float>( std::atof( _str.c_str() ) );
}

double CString::ToDouble() const
{
    return std::atof( _str.c_str() );
}

int32 CString::ToIntAtoi() const
{
    return std::atoi( _str.c_str() );
}
