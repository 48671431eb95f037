#pragma once

// CReader: the statement-level parser over a CLexer, in either encoding. A statement is a key, an operator
// ('=' or a comparison) and a value; a value '{' opens a block of statements that ends at its '}'. Beside the
// lexer's tokens the reader knows two things of its own:
// - variables: "@name = value" defines one, and "@name" as a value stands for it;
// - advanced statements: "@[ expression ]" as a value is arithmetic over numbers and variables, evaluated in
//   CFixedPoint, so that every machine reads the same value.
//
// Errors are data: a malformed or unexpected token is recorded (message, line, the token's text) and reading goes
// on; IsOk() tells the caller, ReportErrors() logs what was recorded, and the destructor logs what is left.
// Skipping is iterative and reads each token once, so neither a deep nesting nor a long file recurses.
//
// CPersistent: the base of everything that reads and writes itself. The default Write writes the contents in
// braces; the default Read reads the statements of a block and hands each key to ReadToken.
//
// A reader belongs to one thread.

#include "qor_core/container/qor_array.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/matrix.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/token.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

class CReader;
class CWriter;

class CPersistent
{
public:
    virtual ~CPersistent() = default;
    // OpenBrace, WriteContents, CloseBrace.
    virtual void Write( CWriter& Writer );
    // Nothing by default.
    virtual void WriteContents( CWriter& Writer );
    // REQUIRES: the reader's value is the '{' of this object's block (else it records "Expected {"). Reads the
    // block's statements up to its '}', each handed to ReadToken with the key's type.
    virtual void Read( CReader& Reader );
    // A statement of the block: records "Unexpected token" and skips its value by default.
    virtual void ReadToken( CReader& Reader, uint32 Token );
    virtual void OnReadEnd( CQorStringView File, int32 FirstLine, int32 LastLine );
    virtual void OnReadBegin();
};

class CReader
{
public:
    struct SError
    {
        CString _Message;
        int32 _Line = 0;
        CString _Text;
    };

    struct SVariable
    {
        CString _Name;
        uint32 _NameHash = 0;
        CToken _Value;
    };

    // Asked first by MalformedToken: returning true takes the error off the reader's hands.
    class CErrorHandler
    {
    public:
        virtual ~CErrorHandler() = default;
        virtual bool Handle( CReader& Reader ) = 0;

        bool _bCalled = false;
        bool _bHandled = false;
    };

    // REQUIRES: pLexer is not null; with bOwnsLexer the reader deletes it.
    CReader( CLexer* pLexer, bool bOwnsLexer );
    // Reports the errors left (ReportErrors).
    virtual ~CReader();
    CReader( const CReader& ) = delete;
    CReader& operator=( const CReader& ) = delete;

    // The next statement into GetKey(), GetOperator() and GetValue(), defining the variables before it. At the end
    // of the input all three are the default token; a key without an operator leaves the other two so. A value '}'
    // is left for the enclosing block, with a value of type 4.
    void ReadStatement();
    // The next token, a variable or an advanced statement resolved in place. False at the end of the input.
    bool Next();
    CToken& GetCurrent() { return _pLexer->GetToken(); }
    // These peek one token, which becomes the current one.
    bool IsAtBlockEnd();
    bool IsAtEof();
    bool Peek( uint32 Type );
    bool IsBlock() const { return _Value.Match( NToken::_openbrace_ ); }
    bool IsOk() const { return _Errors.IsEmpty(); }
    bool HasFailed() const { return _bFailed; }

    const CToken& GetKey() const { return _Key; }
    const CToken& GetOperator() const { return _Operator; }
    const CToken& GetValue() const { return _Value; }
    CLexer* GetLexer() const { return _pLexer; }
    const CQorArray<SError>& GetErrors() const { return _Errors; }
    const CQorArray<SVariable>& GetVariables() const { return _Variables; }
    // The handler stays the caller's. Null for none.
    void SetErrorHandler( CErrorHandler* pErrorHandler ) { _pErrorHandler = pErrorHandler; }

    // Skips the block the current '{' opens, to its '}'; any other current token is left. The nesting counts on
    // a depth shared by the whole process, which reports from 16 levels on.
    void SkipBlock();
    // Skips to the '}' that closes the block the reader is in, consuming it, by plain lexer tokens.
    void SkipToEndOfBlock();
    // Skips to the '}' that closes the block the reader is in, leaving it unconsumed, or to the end of the input.
    void SkipToBlockEnd();
    // Skips the value's block, if the value is '{'.
    void SkipValue();

    // The value converted; a failure records "Malformed token" (or leaves it to the error handler) and returns
    // false, with Value as the conversion left it.
    bool Read( bool& Value );
    bool Read( int64& Value );
    bool Read( uint64& Value );
    bool Read( int32& Value );
    bool Read( uint32& Value );
    bool Read( uint16& Value );
    bool Read( int16& Value );
    bool Read( int8& Value );
    bool Read( uint8& Value );
    bool Read( float& Value );
    bool ReadHexadecimal( uint32& Value );
    // The raw 64-bit value in a binary file, the text form in a text file.
    bool Read( CFixedPoint& Value );
    // The value's text. Without AllowNewline a line feed in it is malformed, and gives "Unreadable String".
    bool Read( CString& Value, bool AllowNewline );
    bool Read( CString& Value ) { return Read( Value, true ); }
    bool Read( std::string& Value );
    // Reads the object (its Read) from the value's block.
    void Read( CPersistent& Object ) { Object.Read( *this ); }
    // Reads the object's statements up to the end of the input: the counterpart of WriteWithoutBraces. A stray
    // '}' is recorded and passed over.
    void ReadWithoutBraces( CPersistent& Object );
    // The statements of a block up to its '}' (or the end of the input), each handed to the object's ReadToken;
    // with bBraced, the '}' is consumed and its absence recorded.
    void ReadStatements( CPersistent& Object, bool bBraced );

    // The items of the value's block { a b c }, converted as Read converts a value. Items from Count on are
    // recorded as unexpected and dropped.
    template <typename T>
    void ReadArray( T* pValues, int32 Count );
    // A hexadecimal number 0xAARRGGBB, or channels in a block: { r g b [a] }, optionally behind a colour keyword
    // (513: hue, saturation, value). Channels above 1 are on the 0 to 255 scale. The alpha defaults to 1.
    bool ReadColor( CVector<float, 4>& Value );
    // { x y z }, or behind the keywords 1009 (radius, two angles in degrees), 1010 (radius, height, angle) or
    // 1011 (plain).
    bool ReadVector( CVector<float, 3>& Value );
    // The bytes behind the buffer token just read: a 32-bit count and the bytes in a binary file; the decoded
    // size, the encoded size and base 64 in a text file (reported: text buffers are for small data only).
    bool ReadBuffer( CQorArray<uint8>& Data );
    // The strings of the value's block.
    void ReadStringArray( CQorArray<CString>& Strings );
    // The raw bytes of the quoted string that ends right before the text file's position, escapes kept.
    bool GetRawStringBackward( CString& Text );

    // Records "Unexpected token" (or the message) with the current token, and skips the block it opens.
    void UnexpectedToken();
    void UnexpectedToken( CQorStringView Message );
    // The error handler's, if it handles it (true); else recorded with the current token (false).
    bool MalformedToken();
    bool MalformedToken( CQorStringView Message );

    int32 GetLine() const;
    const CString& GetFileName() const;
    // " file: <name> line: <line>" (the name alone for a negative line), valid on this thread until its next call.
    const char* GetLocation() const;
    // Logs the errors recorded, one line each, and forgets them.
    void ReportErrors();
    // Path taken relative to the directory of the file read, with "/../" collapsed.
    void MakePathRelativeToFile( CQorStringView Path, CString& Out ) const;

    // The process-wide depth of SkipBlock, and its reset for a program that left it raised.
    static int32 GetSkipBlockDepth();
    static void ResetSkipBlockDepth();

private:
    void ResetStatement( bool bKeepKey );
    void DefineVariable();
    CToken ResolveVariable( const CToken& Token );
    CToken EvaluateAdvancedStatement( const CToken& Token );
    const SVariable* FindVariable( CQorStringView Name ) const;
    void RecordError( CQorStringView Message );
    // The channels or components of a block, after its '{': up to MaxCount numbers, at least MinCount, then '}'.
    int32 ReadFloats( float* pValues, int32 MinCount, int32 MaxCount );

    CQorArray<SError> _Errors;
    bool _bFailed = false;
    CLexer* _pLexer;
    CToken _Key;
    CToken _Operator;
    CToken _Value;
    bool _bOwnsLexer;
    CErrorHandler* _pErrorHandler = nullptr;
    CQorArray<SVariable> _Variables;
};

template <typename T>
void CReader::ReadArray( T* pValues, int32 Count )
{
    if ( !GetCurrent().Match( NToken::_openbrace_ ) && !_Value.Match( NToken::_openbrace_ ) )
    {
        CString Message( "expected { after \"" );
        Message += _Key.GetText();
        Message += "\", got";
        MalformedToken( Message );
        return;
    }
    int32 Index = 0;
    while ( !IsAtBlockEnd() )
    {
        Next();
        _Value = GetCurrent();
        if ( Index >= Count )
        {
            UnexpectedToken( "Cannot read this many items into array" );
        }
        else
        {
            Read( pValues[ Index ] );
        }
        ++Index;
    }
    Next();
}
