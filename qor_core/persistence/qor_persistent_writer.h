#pragma once

// CWriter: writes the persistence language to a CFile, as text or in the binary encoding, chosen by the file's
// type. A CPersistent writes itself with the same calls either way; the layout operations (tabs, line feeds,
// blanks) only reach a text file.
//
// The binary encoding is a header-less sequence of tokens: a 16-bit identifier, and for the value types a payload
// in the machine's byte order (little-endian here):
//   12 int32 (4 bytes)    20 uint32 (4)        13 float (4, on the five-decimal grid)   14 bool (1 byte, 0 or 1)
//   15 string (uint16 length, bytes)           23 dynamic token (uint16 length, name)
//   359 int64 or raw CFixedPoint (8)           668 uint64 (8)     508 buffer (uint32 count, bytes)
// Every other identifier below 65536 is a static token with no payload. Static identifiers must agree between
// the writing and the reading program; dynamic tokens travel by name for that reason.
//
// Floats go through a grid of five decimals in binary, so that a float written, read and written again gives the
// same bytes. A writer belongs to one thread; write failures are the file's.

#include "qor_core/container/qor_array.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/matrix.h"
#include "qor_core/persistence/qor_persistent_reader.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <type_traits>

class CFile;

class CWriter
{
public:
    // REQUIRES: pFile is open for writing; with bOwnsFile the writer deletes it.
    CWriter( CFile* pFile, bool bOwnsFile );
    virtual ~CWriter();
    CWriter( const CWriter& ) = delete;
    CWriter& operator=( const CWriter& ) = delete;

    bool IsBinary() const { return _bBinary; }
    CFile* GetFile() const { return _pFile; }
    int32 GetIndent() const { return _nIndent; }

    // Whether WriteEnum writes a value's token (true, the default) or its number.
    void SetEnumsAsText( bool bEnumsAsText ) { _bEnumsAsText = bEnumsAsText; }
    bool GetEnumsAsText() const { return _bEnumsAsText; }

    // Text: the token's name. Binary: nothing for the layout tokens 16, 17 and 18, a dynamic token by its name,
    // any other as its identifier. REQUIRES: 0 < TokenType <= 65535 in binary (reported; the low 16 bits go).
    void WriteToken( uint32 TokenType );
    void Write( int32 Value );
    void Write( uint32 Value );
    void Write( int64 Value );
    void Write( uint64 Value );
    // "yes" or "no" in text.
    void Write( bool Value );
    // "%f" in text; rounded to five decimals in binary.
    void Write( float Value );
    // The fewest digits that represent it in text; the raw value in binary, as an int64.
    void Write( CFixedPoint Value );
    // Text: raw, or with Quote in double quotes, backslashes doubled and then quotes escaped. Binary: the length
    // cut to 16 bits, and the bytes; Quote plays no part. REQUIRES: Text is shorter than 65536 bytes in binary.
    void WriteString( CQorStringView Text, bool Quote );
    // The value's token with enums as text, else the number.
    void WriteEnum( int32 Value, uint32 TokenType );
    // Key, the buffer token 508, the size and the bytes. Text files get the size, the base-64 length and the
    // base-64 text, raw: such a file is no longer readable as text, which the report warns of.
    void WriteBuffer( uint32 Key, const void* pData, uint32 Size );
    // The array's bytes as they are.
    template <typename T>
    void WriteRaw( const CQorArray<T>& Array )
    {
        WriteBytes( Array.GetData(), int32( Array.GetSize() * int32( sizeof( T ) ) ) );
    }
    // The object's Write.
    void Write( CPersistent& Object );
    // The object's Write with its outermost braces left out: its contents stand at depth 0. The indent stays -1.
    void WriteWithoutBraces( CPersistent& Object );

    // Layout. The indent counts tabs; a negative indent writes no layout and lets the outermost OpenBrace and
    // its CloseBrace write nothing.
    void WriteTabs();
    void WriteKey( uint32 TokenType );
    void WriteKey( int32 Number );
    void WriteKey( CQorStringView Text );
    void OpenBrace();
    void OpenBraceInline();
    void CloseBrace();
    void CloseBraceInline();
    void Indent() { ++_nIndent; }
    void Unindent() { --_nIndent; }
    void NewLine();

    // Key, value, line feed.
    template <typename KeyT, typename ValueT>
        requires( std::is_arithmetic_v<ValueT> || std::is_same_v<ValueT, CFixedPoint> )
    void WriteStatement( KeyT Key, ValueT Value )
    {
        WriteKey( Key );
        Write( Value );
        NewLine();
    }
    template <typename KeyT>
    void WriteStatement( KeyT Key, CPersistent& Object )
    {
        WriteKey( Key );
        Write( Object );
        NewLine();
    }
    // Strings are quoted.
    template <typename KeyT>
    void WriteStatement( KeyT Key, const CString& Value )
    {
        WriteStringStatement( Key, Value );
    }
    template <typename KeyT>
    void WriteStatement( KeyT Key, const char* pValue )
    {
        WriteStringStatement( Key, CQorStringView( pValue ) );
    }
    template <typename KeyT>
    void WriteTokenStatement( KeyT Key, uint32 TokenType )
    {
        WriteKey( Key );
        WriteToken( TokenType );
        NewLine();
    }

    // Compound values.
    // Four floats as a block, on a line of their own inside it.
    void WriteVector( const CVector<float, 4>& Value );
    // Values on one line: { a b c}.
    void WriteInlineList( const float* pValues, int32 Count );
    // Red, green and blue as an inline list; with AsHue as hue, saturation and value behind the keyword 513,
    // the hue in turns (0 to 1).
    void WriteColor( const CVector<float, 4>& Value, bool AsHue );

    // The value a float has after a binary write: Value * 100000 rounded half up, over 100000. Values whose
    // scaled form doesn't fit an int64 (infinities and NaN among them) pass unchanged.
    static float RoundToGrid( float Value );

private:
    template <typename KeyT>
    void WriteStringStatement( KeyT Key, CQorStringView Value )
    {
        WriteKey( Key );
        WriteString( Value, true );
        NewLine();
    }
    void WriteBytes( const void* pData, int32 Size );
    void WriteId( uint32 TokenType );
    void WriteText( CQorStringView Text );

    CFile* _pFile;
    int32 _nIndent = 0;
    bool _bBinary;
    bool _bOwnsFile;
    bool _bEnumsAsText = true;
};
