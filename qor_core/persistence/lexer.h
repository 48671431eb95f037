#pragma once

// The token sources of the persistent reader, and the process-wide token tables.
//
// CLexer gives a stream of CTokens; CTextLexer reads the text encoding and CBinLexer the binary one, and both
// give the same stream for the same statements, so a class that loads itself never knows the encoding. A
// lexer opened by file name reads the whole file into memory once, and a file that can't be opened is logged
// and lexed as empty. A lexer belongs to one thread.
//
// The token tables map token names to identifiers and back. The application supplies its static tokens
// through the three functions below; CreateTokens reads them once. Dynamic tokens (names the application
// doesn't know) get identifiers above the static ones as they are created. Names are case-insensitive and
// kept in lower case; LookUp gives each identifier its name. Any thread may use the tables: lookups take
// the read lock, creation the write lock, and GetStaticTokenIdOf, which the text lexer asks for every word,
// takes none, because the static table is only written by CreateTokens and DestroyTokens. A name that
// GetTokenName hands out stays valid until DestroyTokens: LookUp's capacity is fixed, and a filled slot is
// never written again.

#include "qor_core/file.h"
#include "qor_core/memoryfile.h"
#include "qor_core/persistence/token.h"
#include "qor_core/qor_any.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

// The application's static tokens, which every program that links the library defines: the count, and the
// name and identifier of each, for Index from 0 to below the count.
int32 GetStaticTokenCount();
const char* GetStaticTokenName( int32 Index );
uint32 GetStaticTokenId( int32 Index );

// The tables' hash of a name: FNV-1a over 32 bits, with 'A' to 'Z' folded to lower case before each byte is
// mixed in.
uint32 HashTokenName( CQorStringView Name );

// Reads the static tokens into the tables and builds LookUp. REQUIRES: the tables are not initialised (else it
// reports and does nothing), and no other thread uses the tables meanwhile.
void CreateTokens();
// Drops the dynamic tokens, the tables and LookUp. REQUIRES: no other thread uses the tables meanwhile.
void DestroyTokens();
// The identifier of a static or dynamic token; 12 (_num_) when there is none.
uint32 GetTokenId( CQorStringView Name );
// The identifier of a static token, without a lock; 12 (_num_) when there is none.
uint32 GetStaticTokenIdOf( CQorStringView Name );
// The identifier of the token of that name, made a new dynamic token when there is none. A name starting with
// a digit or '-' can't be a keyword: it reports and gives 0. Without Skip, finding the name reports.
uint32 CreateDynamicToken( CQorStringView Name, bool Skip );
// The name of the token: as the application gives it for a static token, in lower case for a dynamic one, the
// text for a fixed punctuation token; "MISSING" for an identifier that names none.
const CString& GetTokenName( uint32 Id );
// GetTokenName for 1 to below the lookup's size; any other identifier reports and gives the empty text.
const CString& GetTokenNameChecked( uint32 Id );
// "num", "float", "bool" and "string" for the value types; otherwise the name, behind "dynamic: " for a
// dynamic token with Decorate.
CString GetTokenTypeName( uint32 Id, bool Decorate );
bool IsDynamicToken( uint32 Id );
int32 GetLookupSize();
// Each dynamic token as a line "name identifier".
void WriteDynamicTokens( CFile& File );

class CLexer
{
public:
    // The values of the encoding.
    enum : int32
    {
        // Any bytes.
        ENCODING_ANY = 0,
        // UTF-8 with its byte order mark: a file without the mark is warned about, and every word and string
        // is checked.
        ENCODING_UTF8 = 1,
    };

    // What the text lexer keeps of the white space and comments in front of a token when row data is captured.
    struct SRowData
    {
        CString _Text;
    };
    using CRowData = CQorAny<sizeof( SRowData )>;

    virtual ~CLexer();
    CLexer( const CLexer& ) = delete;
    CLexer& operator=( const CLexer& ) = delete;

    // Reads the next token into GetToken(); false at the end of the input. After PeekToken it gives the peeked
    // result without reading.
    virtual bool NextToken() = 0;
    // The characters up to Delimiter, which is dropped.
    virtual CString ReadUntil( char Delimiter ) = 0;
    virtual bool IsBinary() const = 0;

    // The reader's one-token look-ahead: reads the next token unless one is peeked already, and keeps its
    // result for the next NextToken. At the end of the input the token's type becomes _eof_.
    bool PeekToken();
    bool IsPeeked() const { return _bPeeked; }

    CToken& GetToken() { return _Token; }
    const CToken& GetToken() const { return _Token; }
    CFile* GetFile() const { return _pFile; }
    int32 GetEncoding() const { return _Encoding; }
    // Holds an SRowData after a token read with capture on; empty otherwise.
    const CRowData& GetRowData() const { return _RowData; }

    // Whether text lexers keep the white space and comments in front of each token. Off at start.
    static void SetCaptureRowData( bool bCapture );
    static bool IsCapturingRowData();

    // The whole file read through the virtual file system into an owned memory file of the given type (0 binary,
    // 1 text) that carries the name. A text file loses its UTF-8 byte order mark; pbMarked, when given, tells
    // whether it had one. Null, with the file system's reason in Reason, when the file can't be read.
    static CMemoryFile* ReadVFSFile( CQorStringView FileName, uint32 Type, CString& Reason, bool* pbMarked = nullptr );

protected:
    CLexer( CFile* pFile, bool bOwnsFile, int32 Encoding );

    // The file's bytes, read through the virtual file system, in an owned memory file of the given type that
    // carries the file's name. A file that can't be read is logged and gives an empty one. A text file loses its
    // byte order mark.
    static CFile* LoadFile( CQorStringView FileName, uint32 Type, int32 Encoding );

    CFile* _pFile;
    CToken _Token;
    int32 _Encoding;
    CRowData _RowData;
    bool _bPeeked = false;
    bool _bPeekResult = false;
    bool _bOwnsFile;
};

// The text encoding, defined by NextToken:
// - white space (blank, tab, line feed, vertical tab, form feed, carriage return) separates tokens;
// - '#' and ';' start a comment that runs to the end of the line;
// - = " { } ( ) , > < ! are tokens of their own, and >= <= != == are joined;
// - a double quote starts a string that runs to the next unescaped double quote, or to the end of the file;
//   inside it \" is a double quote, \\ a backslash, and a backslash before anything else stays, with a warning;
// - any other run of bytes is a word: a number (_num_) if it starts with a digit or '-', else a keyword of the
//   tables, else a number if it holds only digits, '.' and '-', else an unquoted _string_;
// - a zero byte ends the file.
class CTextLexer : public CLexer
{
public:
    // Reads the whole file of the virtual file system, a text file.
    CTextLexer( CQorStringView FileName, int32 Encoding );
    // REQUIRES: File is a text file in a read mode.
    CTextLexer( CFile* File, bool bOwnsFile, int32 Encoding = ENCODING_ANY );

    bool NextToken() override;
    // Stops at the end of the file too, with what it read.
    CString ReadUntil( char Delimiter ) override;
    bool IsBinary() const override { return false; }

    // What NextToken moved the file forward by, in all, and the part of it that was not token text (white
    // space, comments, quotes and escapes).
    int64 GetBytesRead() const { return _BytesRead; }
    int64 GetNonTokenBytes() const { return _NonTokenBytes; }

private:
    // NextToken less the look-ahead and the counters.
    bool ReadToken();
    // The token behind a double quote: the first pass measures the string and notes where its escapes are,
    // the second reads it in one piece per segment between escapes.
    bool ReadQuotedString();
    bool ReadWord();
    // After '=', '>', '<' or '!': joins a following '=' to the token.
    void ReadOperator( uint32 Class );
    // The type of the word in the token.
    void ClassifyWord();
    void SkipComment( CString* pRowText );
    // With ENCODING_UTF8, logs a token text that is not UTF-8.
    void CheckUTF8();

    int64 _BytesRead = 0;
    int64 _NonTokenBytes = 0;
    // The lengths of the segments of a string between its escapes, kept for the next string.
    CQorArray<int32> _EscapeSegments;
};

// The binary encoding: each token is a 16-bit identifier, followed for the value types by its payload (see the
// persistent writer). Numbers come with no text, so the token's conversions read the binary value; _unsigned_
// comes back as _num_, a dynamic token as the identifier of its name, and any other identifier with its name as
// the text. A file that ends inside a token is logged and ends the stream.
class CBinLexer : public CLexer
{
public:
    // Reads the whole file of the virtual file system, a binary file.
    explicit CBinLexer( CQorStringView FileName );
    // REQUIRES: File is a binary file in a read mode.
    CBinLexer( CFile* File, bool bOwnsFile );

    bool NextToken() override;
    // Not for binary files: reports and gives the empty text.
    CString ReadUntil( char Delimiter ) override;
    bool IsBinary() const override { return true; }

private:
    // The payload of Size bytes into the binary value, with no text.
    bool ReadValue( uint32 Type, int32 Size );
    // A 16-bit length and that many bytes as the text.
    bool ReadText();
    // The end of the file inside the token that starts at Start: logged, and the rest of the file skipped.
    // Returns false, the end of the stream.
    bool EndInsideToken( int64 Start );
};
