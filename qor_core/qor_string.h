#pragma once

// CString: the library's owned text, a wrapper of one std::string. It has no storage scheme of its own (the
// short-string buffer, growth and the terminator are the standard string's); what it adds is the library's
// interface to text:
// - sizes and positions are int32, and -1 (npos) stands for "not found";
// - it converts to a terminated CQorStringView, and takes views wherever it takes text;
// - misuse is an assertion, after which the operation goes on with mended values where a member says so.
//   The standard string's own out-of-range and allocation failures pass through unchanged.

#include "qor_core/fixedpoint.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <limits>
#include <string>
#include <utility>

class CString
{
public:
    static constexpr int32 npos = -1;

    CString() = default;
    CString( const char* pString ) : _str( pString ) {}
    CString( const char* pString, int32 Length ) : _str( pString, static_cast<size_t>( Length ) ) {}
    explicit CString( CQorStringView View ) : _str( View.GetData(), static_cast<size_t>( View.GetSize() ) ) {}
    explicit CString( std::string String ) : _str( std::move( String ) ) {}
    explicit CString( char Char ) : _str( 1, Char ) {}
    // "%.3f" without trailing zeros: 1.0 gives "1", 1.5 gives "1.5".
    explicit CString( float Value ) : CString( static_cast<double>( Value ) ) {}
    explicit CString( double Value );
    // "%.*f", at most 31 characters.
    CString( float Value, int32 Decimals ) : CString( static_cast<double>( Value ), Decimals ) {}
    CString( double Value, int32 Decimals );
    // Decimals 0 gives the whole part alone; 1 to 5 cut (not round) the decimals; -1 keeps the significant ones.
    explicit CString( CFixedPoint Value, int32 Decimals = -1 );

    operator CQorStringView() const { return CQorStringView( _str.data(), GetSize(), ENullTerminated::Yes ); }

    int32 GetSize() const { return static_cast<int32>( _str.size() ); }
    bool IsEmpty() const { return _str.empty(); }
    const char* GetData() const { return _str.c_str(); }
    const char* GetString() const { return _str.c_str(); }

    void Reserve( int32 Size ) { _str.reserve( static_cast<size_t>( Size ) ); }
    void Resize( int32 Size, char Fill = '\0' ) { _str.resize( static_cast<size_t>( Size ), Fill ); }
    // Truncates to 0 and keeps the capacity.
    void Clear() { _str.clear(); }

    // The bound checked is the capacity, not the size: bytes between the two are reachable.
    char& operator[]( uint32 index )
    {
        QOR_ASSERT( index <= _str.capacity() );
        return _str.data()[ index ];
    }
    const char& operator[]( uint32 index ) const
    {
        QOR_ASSERT( index <= _str.capacity() );
        return _str.data()[ index ];
    }
    char& At( uint32 index ) { return ( *this )[ index ]; }
    const char& At( uint32 index ) const { return ( *this )[ index ]; }
    char& operator[]( int32 index )
    {
        QOR_ASSERT( index <= (int32)_str.capacity() && index >= 0 );
        return _str.data()[ index ];
    }
    const char& operator[]( int32 index ) const
    {
        QOR_ASSERT( index <= (int32)_str.capacity() && index >= 0 );
        return _str.data()[ index ];
    }
    char& At( int32 index ) { return ( *this )[ index ]; }
    const char& At( int32 index ) const { return ( *this )[ index ]; }

    CString& operator+=( const CString& Other )
    {
        _str += Other._str;
        return *this;
    }
    CString& operator+=( CQorStringView Other )
    {
        _str.append( Other.GetData(), static_cast<size_t>( Other.GetSize() ) );
        return *this;
    }
    CString& operator+=( const char* pOther )
    {
        _str += pOther;
        return *this;
    }
    CString& operator+=( char Char )
    {
        _str += Char;
        return *this;
    }
    friend CString operator+( CString Left, CQorStringView Right ) { return std::move( Left += Right ); }

    // All REQUIRE 0 <= Index <= GetSize().
    void Insert( int32 Index, const CString& Other ) { Insert( Index, Other.GetData(), Other.GetSize() ); }
    void Insert( int32 Index, CQorStringView Other ) { Insert( Index, Other.GetData(), Other.GetSize() ); }
    void Insert( int32 Index, const char* pOther );
    void Insert( int32 Index, const char* pOther, int32 Length );
    void Insert( int32 Index, int32 Count, char Char );
    // Removes the character at Index; an Index beyond the size is the standard string's std::out_of_range.
    void Remove( int32 Index ) { _str.erase( static_cast<size_t>( Index ), 1 ); }

    bool operator==( const CString& Other ) const { return _str == Other._str; }
    bool operator==( CQorStringView Other ) const { return CQorStringView( *this ) == Other; }
    bool operator==( const char* pOther ) const { return _str == pOther; }
    // Byte-wise order; the other three follow from operator< alone.
    bool operator<( const CString& Other ) const { return _str < Other._str; }
    bool operator>( const CString& Other ) const { return Other < *this; }
    bool operator<=( const CString& Other ) const { return !( Other < *this ); }
    bool operator>=( const CString& Other ) const { return !( *this < Other ); }

    // Forward searches from nStartPos. REQUIRES: nStartPos >= 0.
    int32 Find( char Char, int32 nStartPos = 0 ) const;
    int32 Find( CQorStringView Needle, int32 nStartPos = 0 ) const;
    // Backward searches for an occurrence starting at or before nEndPos. REQUIRES: nEndPos >= 0.
    int32 ReverseFind( char Char, int32 nEndPos ) const;
    int32 ReverseFind( CQorStringView Needle, int32 nEndPos ) const;
    // Backward from nStartPos, or from the very end for npos (any negative start searches from the end).
    // REQUIRES: nStartPos is npos or a valid index.
    int32 FindLast( char Char, int32 nStartPos = npos ) const;
    int32 FindLast( const char* pNeedle ) const;
    int32 Count( char Char ) const { return CQorStringView( *this ).Count( Char ); }

    // The characters [nStartPos, nEndPos). An end beyond the size is lowered silently; a start beyond the size
    // is reported and lowered; an end before the start is reported and raised. A zero byte inside the range
    // ends the result there.
    CString Substr( int32 nStartPos, int32 nEndPos = std::numeric_limits<int32>::max() ) const;

    // Every From becomes To, in place.
    void Replace( char From, char To );
    // The first occurrence of Old at or behind nStartPos; returns whether there was one.
    bool ReplaceFirst( CQorStringView Old, CQorStringView New, int32 nStartPos = 0 );
    // Every occurrence of From, left to right; a replacement is never searched again. An empty From replaces
    // nothing.
    void ReplaceAll( const char* pFrom, const char* pTo );

    // Every character is ' ' (tabs and line ends are not blank); true when empty.
    bool IsBlank() const;
    // At least one character, all '0' to '9'.
    bool IsDigits() const;
    // At least one digit, with an optional '-' in front.
    bool IsInteger() const;
    // At least one character, all hexadecimal digits of either case.
    bool IsHexadecimal() const;
    // The view's rule: "" is a decimal number.
    bool IsDecimalNumber() const { return CQorStringView( *this ).IsDecimalNumber(); }
    // Every character is found in pSet by strchr (so a zero byte always is).
    bool ConsistsOf( const char* pSet ) const;
    bool HasNonAscii() const;
    // No letter before the first zero byte is upper case by the standard library's tests; true when empty.
    bool IsLowerCase() const;

    // In place, byte by byte, up to the size or the first zero byte.
    void ToLower();
    void ToUpper();
    void FirstToUpper();
    void FirstToLower();
    CString Trim( CQorStringView Set ) const { return CString( CQorStringView( *this ).Trim( Set ) ); }
    void TrimInPlace( CQorStringView Set ) { *this = Trim( Set ); }
    // Folds each Latin-1 byte above 127 to plain ASCII in place; the length never changes.
    void RemoveDiacritics();

    // The whole text as a fixed-point number; a failure reports and gives 0.
    CFixedPoint ToFixedPoint() const;
    // Base 10 over the whole text; a failure reports and the value is unspecified. The unsigned forms take
    // no sign.
    int32 ToInt() const;
    uint32 ToUnsigned() const;
    int64 ToInt64() const;
    uint64 ToUnsigned64() const;
    // The standard library's atof and atoi, with their leniency.
    float ToFloat() const;
    double ToDouble() const;
    int32 ToIntAtoi() const;

    const std::string& GetStdString() const { return _str; }

private:
    template <typename T>
    T ToInteger() const;

    std::string _str;
};

static_assert( CString::npos == -1 );
