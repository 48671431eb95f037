#pragma once

// CToken: the unit of the persistence language, in its text and its binary encoding alike. A token carries its
// type (an identifier of the table below) and either a text (from a text file, or built from a value) or a
// binary value of up to 8 bytes (from a binary file). Every conversion of a token to a number lives here, so
// that a reader converts the same way whatever the encoding: a token with text converts its text, a token
// without text its binary value.
//
// The identifiers are also the type codes of the binary format: they never change.

#include "qor_core/container/qor_hybrid_array.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <charconv>
#include <cstring>

// The identifiers in a namespace of their own: at global scope a leading underscore is the implementation's.
// Users of the persistence layer write "using namespace NToken;".
namespace NToken
{
enum ETokenId : uint32
{
    _equals_ = 1,
    // Only the text lexer sees it, as the start of a quoted string.
    _quote_ = 2,
    _openbrace_ = 3,
    _closebrace_ = 4,
    _openparen_ = 5,
    _closeparen_ = 6,
    _comma_ = 8,
    // The comment start ('#' or ';'), text only.
    _comment_ = 9,
    // A signed 32-bit number.
    _num_ = 12,
    // A decimal number.
    _float_ = 13,
    _bool_ = 14,
    _string_ = 15,
    // The layout tokens, text only.
    _newline_ = 16,
    _tab_ = 17,
    _space_ = 18,
    _eof_ = 19,
    // An unsigned 32-bit number, binary only; read back as _num_.
    _unsigned_ = 20,
    // A dynamic token travelling by name, binary only.
    _dynamic_ = 23,
    // A 64-bit signed value: a raw CFixedPoint or an int64.
    _fixed_ = 359,
    _greater_ = 467,
    _less_ = 468,
    // Marks a raw data buffer; its name comes from the application's table.
    _buffer_ = 508,
    _unsigned64_ = 668,
    _greaterequal_ = 971,
    _lessequal_ = 972,
    _equalequal_ = 1264,
    _not_ = 1371,
    _notequal_ = 1372,
};

// The application's keywords that the library knows by number only (their names are the application's):
// those that open the colour forms (the writer opens the hue form with the first), those that open the
// spherical, cylindrical and plain vector forms, and the two boolean words.
enum EKeywordId : uint32
{
    _colour_hue_ = 513,
    _colour_second_ = 579,
    _colour_third_ = 580,
    _vector_spherical_ = 1009,
    _vector_cylindrical_ = 1010,
    _vector_plain_ = 1011,
    _bool_word_first_ = 1038,
    _bool_word_second_ = 1039,
};

// A token with a built-in text. The row's type is signed so that it compares with sizes without a cast.
struct SFixedToken
{
    int32 _Type;
    const char* _pText;
};

// The only tokens with a text of their own, in this order.
inline constexpr SFixedToken FixedTokens[ 18 ] = {
    { _equals_, "=" },      { _quote_, "\"" },         { _openbrace_, "{" },    { _closebrace_, "}" },
    { _openparen_, "(" },   { _closeparen_, ")" },     { _comment_, "#" },      { _comma_, "," },
    { _newline_, "\n" },    { _tab_, "\t" },           { _space_, " " },        { _greater_, ">" },
    { _less_, "<" },        { _lessequal_, "<=" },     { _greaterequal_, ">=" }, { _equalequal_, "==" },
    { _not_, "!" },         { _notequal_, "!=" },
};
} // namespace NToken

class CToken
{
public:
    // The inline room holds every number text: 21 bytes fit an int64 with its sign and terminator.
    using CTextArray = CQorHybridArray<char, 21>;

    // Type 0, no text.
    CToken();
    // The given type and text.
    CToken( uint32 Type, CQorStringView Text );
    // A string value: type _string_, quoted.
    explicit CToken( CQorStringView String );
    explicit CToken( const char* pString ) : CToken( CQorStringView( pString ) ) {}
    explicit CToken( const CString& String ) : CToken( CQorStringView( String ) ) {}
    // Numbers carry their text: _num_, _unsigned_, _float_ ("%f"), _bool_ ("yes" or "no"), _float_ (the
    // fewest digits of the fixed-point value), and _unsigned64_ for both 64-bit forms.
    explicit CToken( int32 Value );
    explicit CToken( uint32 Value );
    explicit CToken( float Value );
    explicit CToken( bool Value );
    explicit CToken( CFixedPoint Value );
    explicit CToken( int64 Value );
    explicit CToken( uint64 Value );

    // Same type, and the same text up to its first zero. The binary value takes no part.
    bool operator==( const CToken& Other ) const;

    uint32 GetType() const { return _Type; }
    bool Match( uint32 Type ) const { return _Type == Type; }
    bool IsQuoted() const { return _Quoted; }
    // False for a token of a binary file's value: its conversions read the binary value.
    bool HasText() const { return _Text.GetSize() > 0; }
    // The text up to its first zero; empty without text.
    CQorStringView GetText() const;
    uint64 GetBinaryValue() const { return _BinaryValue; }

    // The conversions: true on success. A failure leaves Value as it was, except where a scan fails midway.
    // With text, the integers read base 10 and look at the error code only: "12x" reads as 12 with success.
    bool GetInt8( int8& Value ) const;
    bool GetUInt8( uint8& Value ) const;
    bool GetInt16( int16& Value ) const { return ReadInteger( Value ).ec == std::errc {}; }
    bool GetUInt16( uint16& Value ) const { return ReadInteger( Value ).ec == std::errc {}; }
    bool GetInt32( int32& Value ) const { return ReadInteger( Value ).ec == std::errc {}; }
    bool GetUInt32( uint32& Value ) const { return ReadInteger( Value ).ec == std::errc {}; }
    bool GetInt64( int64& Value ) const { return ReadInteger( Value ).ec == std::errc {}; }
    bool GetUInt64( uint64& Value ) const { return ReadInteger( Value ).ec == std::errc {}; }
    bool GetFloat( float& Value ) const;
    bool GetDouble( double& Value ) const;
    bool GetFixedPoint( CFixedPoint& Value ) const;
    // "yes" or "no" in any case; without text, a first byte other than 0 is true.
    bool GetBool( bool& Value ) const;
    // "%x"; true whenever the scan's result is not 0, so also for the empty text, where the scan gives EOF
    // and Value stays as it was.
    bool GetHexadecimal( uint32& Value ) const;
    // Always true.
    bool GetString( CString& Value ) const;

    // The asserting forms: the value, or 0 (false) after a reported failure.
    int8 AsInt8() const { return AsInteger<int8>(); }
    uint8 AsUInt8() const { return AsInteger<uint8>(); }
    int16 AsInt16() const { return AsInteger<int16>(); }
    uint16 AsUInt16() const { return AsInteger<uint16>(); }
    int32 AsInt32() const { return AsInteger<int32>(); }
    uint32 AsUInt32() const { return AsInteger<uint32>(); }
    int64 AsInt64() const { return AsInteger<int64>(); }
    uint64 AsUInt64() const { return AsInteger<uint64>(); }
    float AsFloat() const;
    double AsDouble() const;
    CFixedPoint AsFixedPoint() const;
    // Exactly "yes" or "no" with text: "Yes" reports.
    bool AsBool() const;

    // Grows a word by one character: Index may overwrite a place or append at the end; any other index
    // reports and appends. Clears the binary value.
    void AppendChar( int32 Index, char Char );
    // The type and a copy of Length bytes, terminated; not quoted, no binary value.
    void SetText( uint32 Type, const char* pData, int32 Length );
    // Room for Size bytes of text, filled with 0xCD, to be written by the caller. REQUIRES: Size >= 0.
    void ResetText( int32 Size );
    // The text array for a caller that writes into ResetText's room.
    char* GetTextBuffer() { return _Text.GetData(); }
    // No text: the conversions take the binary value.
    void ClearText() { _Text.Clear(); }
    void SetBinaryValue( uint64 Value ) { _BinaryValue = Value; }

    // The text's length up to its first zero is the array's size less its terminator.
    bool ValidateValStringLength() const;

    uint32 _Type = 0;
    bool _Quoted = false;
    // The text with its terminating zero counted in the size; size 0 means no text.
    CTextArray _Text;
    // The value of a binary file's token at its start; otherwise 0.
    uint64 _BinaryValue = 0;

private:
    // The text of a number written by Writer into ResetText( Capacity ): cut back to the text and its
    // terminator, after the checks that it fit.
    template <typename WriterT>
    void WriteNumberText( uint32 Type, int32 Capacity, WriterT Writer );
    // Base 10 over the text less its terminator, or the first bytes of the binary value.
    template <typename IntegerT>
    std::from_chars_result ReadInteger( IntegerT& Value ) const
    {
        if ( !HasText() )
        {
            std::memcpy( &Value, &_BinaryValue, sizeof( Value ) );
            return { nullptr, std::errc {} };
        }
        QOR_ASSERT( ValidateValStringLength() );
        const char* First = _Text.GetData();
        return from_chars( First, First + ( _Text.GetSize() - 1 ), Value );
    }
    // The 8-bit forms: base 10, or else a character in single quotes, 'c'.
    template <typename ByteT>
    bool GetByte( ByteT& Value ) const;
    // GetFloat and GetDouble, with the scan format of the type.
    template <typename DecimalT>
    bool GetDecimal( DecimalT& Value, const char* pScanFormat ) const;
    template <typename IntegerT>
    IntegerT AsInteger() const
    {
        IntegerT Value = 0;
        const std::from_chars_result Result = ReadInteger( Value );
        QOR_ASSERT( Result.ec == std::errc {} );
        return Result.ec == std::errc {} ? Value : IntegerT( 0 );
    }
    // The text terminated, for the scanf family: in place when it is, else a copy in Scratch.
    const char* TerminatedText( CString& Scratch ) const;
};

// True for the comparisons >=, >, <=, <, == and !=; the assignment '=' is not one.
bool IsComparison( const CToken& Token );
