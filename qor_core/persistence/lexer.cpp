#include "qor_core/persistence/lexer.h"

#include "qor_core/blob.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_robin_hood_table.h"
#include "qor_core/convert_utf.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/memoryfile.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/thread/qor_mutex.h"
#include "qor_core/virtualfilesystem.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <limits>
#include <utility>

using namespace NToken;

namespace
{
constexpr uint32 c_ErrorCategory = 1;
constexpr uint32 c_TextWarningCategory = 5;

// LookUp's capacity never changes, so that the names GetTokenName hands out never move.
constexpr int32 c_LookUpCapacity = 32768;
constexpr int32 c_DynamicTokenReserve = 8192;

// A message shows at most this much of a token's text, then "...".
constexpr int32 c_ShownTextLength = 1024;

char FoldAscii( char Char )
{
    return Char >= 'A' && Char <= 'Z' ? char( Char + ( 'a' - 'A' ) ) : Char;
}

CString LowerName( CQorStringView Name )
{
    CString Lower( Name );
    for ( int32 Index = 0; Index < Lower.GetSize(); ++Index )
    {
        Lower[ Index ] = FoldAscii( Lower[ Index ] );
    }
    return Lower;
}

bool HasNonAscii( CQorStringView Text )
{
    return std::any_of( Text.begin(), Text.end(), []( char Char ) { return ( uint8( Char ) & 0x80 ) != 0; } );
}

CString ShownText( CQorStringView Text )
{
    if ( Text.GetSize() <= c_ShownTextLength )
    {
        return CString( Text );
    }
    CString Shown( Text.GetData(), c_ShownTextLength );
    Shown += "...";
    return Shown;
}

struct STokenEntry
{
    CString _Name;
    uint32 _Id;
};

struct STokenEntryHasher
{
    uint32 operator()( const STokenEntry& Entry ) const { return HashTokenName( Entry._Name ); }
};

struct STokenEntryEquals
{
    bool operator()( const STokenEntry& Entry, const STokenEntry& Other ) const
    {
        return CQorStringView( Entry._Name ).CompareNoCase( Other._Name ) == 0;
    }
    bool operator()( const STokenEntry& Entry, CQorStringView Name ) const
    {
        return CQorStringView( Entry._Name ).CompareNoCase( Name ) == 0;
    }
};

using CTokenTable = CQorRobinHoodTable<STokenEntry, STokenEntryHasher, STokenEntryEquals>;

struct SDynamicToken
{
    CString _Name;
    uint32 _Id;
};

// The process-wide tables. The lock guards everything but the static table, which only CreateTokens and
// DestroyTokens write.
struct STokenTables
{
    CTokenTable _FullTable;
    CTokenTable _StaticTable;
    bool _bInitialised = false;
    // In identifier order: the record of identifier _LastStaticToken + 1 + i is at i.
    CQorArray<SDynamicToken> _DynamicTokens;
    CQorArray<CString> LookUp;
    int32 _DesiredLookup = 0;
    int32 _PreviousLookupSize = 0;
    int32 _LastStaticToken = 0;
    CReadWriteSpinLock _Lock;
};

STokenTables& GetTokenTables()
{
    static STokenTables s_Lexer;
    return s_Lexer;
}

bool FindInTable( const CTokenTable& Table, uint32 Hash, CQorStringView Name, uint32& Id )
{
    const CTokenTable::const_iterator It = Table.Find( Hash, Name );
    if ( It == Table.end() )
    {
        return false;
    }
    Id = It->_Id;
    return true;
}

bool FindStaticToken( uint32 Hash, CQorStringView Name, uint32& Id )
{
    return FindInTable( GetTokenTables()._StaticTable, Hash, Name, Id );
}

bool FindToken( uint32 Hash, CQorStringView Name, uint32& Id )
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.ReadLock();
    return FindInTable( Lexer._FullTable, Hash, Name, Id );
}

// Fills the slots from From on that are still empty, in this order, so that the first wins: the static tokens
// with their names as the application gives them, the dynamic tokens, the fixed tokens. The slots below From
// were filled by the same rules before, from sources that haven't changed since. Called under the write lock.
void RebuildLookUp( STokenTables& Lexer, int32 From )
{
    CQorArray<CString>& LookUp = Lexer.LookUp;
    QOR_ASSERT( LookUp.GetCapacity() >= Lexer._DesiredLookup );
    // Growing past the capacity would move the names handed out: identifiers beyond it stay without a name.
    LookUp.Resize( std::min( Lexer._DesiredLookup, LookUp.GetCapacity() ) );
    Lexer._PreviousLookupSize = LookUp.GetSize();

    if ( From <= Lexer._LastStaticToken )
    {
        const int32 Count = GetStaticTokenCount();
        for ( int32 StaticIndex = 0; StaticIndex < Count; ++StaticIndex )
        {
            const int64 Index = GetStaticTokenId( StaticIndex );
            QOR_ASSERT( Index < LookUp.GetSize() );
            if ( Index >= From && Index < LookUp.GetSize() && LookUp[ int32( Index ) ].IsEmpty() )
            {
                const char* pName = GetStaticTokenName( StaticIndex );
                LookUp[ int32( Index ) ] = pName ? pName : "";
            }
        }
    }

    const int32 FirstDynamic = std::max( From - Lexer._LastStaticToken - 1, 0 );
    for ( int32 Record = FirstDynamic; Record < Lexer._DynamicTokens.GetSize(); ++Record )
    {
        const SDynamicToken& Token = Lexer._DynamicTokens[ Record ];
        if ( Token._Id < uint32( LookUp.GetSize() ) && LookUp[ int32( Token._Id ) ].IsEmpty() )
        {
            LookUp[ int32( Token._Id ) ] = Token._Name;
        }
    }

    for ( const SFixedToken& Token : FixedTokens )
    {
        QOR_ASSERT( Token._Type < LookUp.GetSize() );
        if ( Token._Type >= From && Token._Type < LookUp.GetSize() && LookUp[ Token._Type ].IsEmpty() )
        {
            LookUp[ Token._Type ] = Token._pText;
        }
    }
}

const CString& GetMissingName()
{
    static const CString s_Missing( "MISSING" );
    return s_Missing;
}

// GetTokenName with the read lock held.
const CString& GetTokenNameLocked( STokenTables& Lexer, uint32 Id )
{
    QOR_ASSERT( Lexer._PreviousLookupSize == Lexer._DesiredLookup );
    if ( Id < uint32( Lexer.LookUp.GetSize() ) && !Lexer.LookUp[ int32( Id ) ].IsEmpty() )
    {
        return Lexer.LookUp[ int32( Id ) ];
    }
    return GetMissingName();
}
} // namespace

uint32 HashTokenName( CQorStringView Name )
{
    uint32 Hash = 0x811c9dc5u;
    for ( const char Char : Name )
    {
        Hash ^= uint8( FoldAscii( Char ) );
        Hash *= 16777619u;
    }
    return Hash;
}

void CreateTokens()
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.WriteLock();
    if ( Lexer._bInitialised )
    {
        Lock.WriteUnlock();
        QOR_ASSERT_MSG( false, "Static lexer is already initialised, call DestroyTokens before trying to initialise again" );
        return;
    }

    const int32 Count = GetStaticTokenCount();
    int64 Highest = 0;
    for ( int32 Index = 0; Index < Count; ++Index )
    {
        const char* pName = GetStaticTokenName( Index );
        const CQorStringView Name( pName ? pName : "" );
        if ( HasNonAscii( Name ) )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, c_TextWarningCategory ),
                       "Creation of token \"%s\" is not ascii, it likely works, but not guaranteed.", Name.GetData() );
        }
        const uint32 Id = GetStaticTokenId( Index );
        CString Lower = LowerName( Name );
        const uint32 Hash = HashTokenName( Lower );
        Lexer._StaticTable.Insert( Hash, STokenEntry { std::move( Lower ), Id } );
        Highest = std::max<int64>( Highest, Id );
    }
    Lexer._FullTable = Lexer._StaticTable;

    for ( const SFixedToken& Token : FixedTokens )
    {
        Highest = std::max<int64>( Highest, Token._Type );
    }
    Lexer._LastStaticToken = int32( std::min<int64>( Highest, std::numeric_limits<int32>::max() - 1 ) );
    Lexer._DesiredLookup = Lexer._LastStaticToken + 1;
    Lexer._bInitialised = true;

    Lexer.LookUp.Reserve( c_LookUpCapacity );
    Lexer._DynamicTokens.Reserve( c_DynamicTokenReserve );
    RebuildLookUp( Lexer, 0 );
}

void DestroyTokens()
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.WriteLock();
    Lexer._DynamicTokens.Clear();
    Lexer._FullTable.Clear();
    Lexer._StaticTable.Clear();
    Lexer.LookUp.Clear();
    Lexer._DesiredLookup = 0;
    Lexer._PreviousLookupSize = 0;
    Lexer._LastStaticToken = 0;
    Lexer._bInitialised = false;
}

uint32 GetTokenId( CQorStringView Name )
{
    uint32 Id = _num_;
    FindToken( HashTokenName( Name ), Name, Id );
    return Id;
}

uint32 GetStaticTokenIdOf( CQorStringView Name )
{
    uint32 Id = _num_;
    FindStaticToken( HashTokenName( Name ), Name, Id );
    return Id;
}

uint32 CreateDynamicToken( CQorStringView Name, bool Skip )
{
    if ( !Name.IsEmpty() && ( Name[ 0 ] == '-' || ( Name[ 0 ] >= '0' && Name[ 0 ] <= '9' ) ) )
    {
        CString Message( "Creation of dynamic token \"" );
        Message += Name;
        Message += "\" failed, keywords may not start with a digit or '-'.";
        QOR_ASSERT_MSG( false, "%s", Message.GetData() );
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "%s", Message.GetData() );
        return 0;
    }
    if ( HasNonAscii( Name ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_TextWarningCategory ),
                   "Creation of dynamic token \"%s\" is not ascii, it likely works, but not guaranteed.",
                   CString( Name ).GetData() );
    }

    STokenTables& Lexer = GetTokenTables();
    const uint32 Hash = HashTokenName( Name );
    uint32 nt = 0;
    const bool bFound = FindToken( Hash, Name, nt );
    QOR_ASSERT( Skip || !nt );
    if ( bFound )
    {
        return nt;
    }

    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.WriteLock();
    // Another thread may have made it between the two locks.
    uint32 Id = 0;
    if ( FindInTable( Lexer._FullTable, Hash, Name, Id ) )
    {
        return Id;
    }
    Id = uint32( Lexer._LastStaticToken ) + uint32( Lexer._DynamicTokens.GetSize() ) + 1;
    CString Lower = LowerName( Name );
    Lexer._FullTable.Insert( Hash, STokenEntry { Lower, Id } );
    Lexer._DynamicTokens.Add( SDynamicToken { std::move( Lower ), Id } );
    const int32 From = Lexer._PreviousLookupSize;
    Lexer._DesiredLookup = int32( Id ) + 1;
    RebuildLookUp( Lexer, From );
    return Id;
}

const CString& GetTokenName( uint32 Id )
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.ReadLock();
    return GetTokenNameLocked( Lexer, Id );
}

const CString& GetTokenNameChecked( uint32 Id )
{
    static const CString s_Empty;
    STokenTables& Lexer = GetTokenTables();
    {
        CScopedReadWriteLock Lock( &Lexer._Lock );
        Lock.ReadLock();
        if ( Id >= 1 && Id < uint32( Lexer.LookUp.GetSize() ) )
        {
            return GetTokenNameLocked( Lexer, Id );
        }
    }
    QOR_ASSERT_MSG( false, "Unknown token '%d'", int( Id ) );
    return s_Empty;
}

CString GetTokenTypeName( uint32 Id, bool Decorate )
{
    switch ( Id )
    {
    case _num_:
        return CString( "num" );
    case _float_:
        return CString( "float" );
    case _bool_:
        return CString( "bool" );
    case _string_:
        return CString( "string" );
    default:
        break;
    }
    if ( Decorate && IsDynamicToken( Id ) )
    {
        return CString( "dynamic: " ) + GetTokenName( Id );
    }
    return GetTokenName( Id );
}

bool IsDynamicToken( uint32 Id )
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.ReadLock();
    return int64( Id ) > Lexer._LastStaticToken && int64( Id ) < Lexer._DesiredLookup;
}

int32 GetLookupSize()
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.ReadLock();
    return Lexer.LookUp.GetSize();
}

void WriteDynamicTokens( CFile& File )
{
    STokenTables& Lexer = GetTokenTables();
    CScopedReadWriteLock Lock( &Lexer._Lock );
    Lock.ReadLock();
    for ( const SDynamicToken& Token : Lexer._DynamicTokens )
    {
        char Number[ 16 ];
        const std::to_chars_result Written = to_chars( Number, Number + sizeof( Number ), int32( Token._Id ) );
        CString Line( Token._Name.GetData() );
        Line += ' ';
        Line += CQorStringView( Number, int32( Written.ptr - Number ), ENullTerminated::No );
        Line += '\n';
        WriteString( File, Line );
    }
}

namespace
{
std::atomic<bool> g_bCaptureRowData { false };

// The text format's white space: the C locale's, whatever the process's locale.
constexpr std::array<bool, 256> c_WhiteSpace = []
{
    std::array<bool, 256> Table {};
    for ( const char Char : { ' ', '\t', '\n', '\v', '\f', '\r' } )
    {
        Table[ uint8( Char ) ] = true;
    }
    return Table;
}();

// The token each character stands for; 0 for a word character.
constexpr std::array<uint32, 256> c_CharacterClass = []
{
    std::array<uint32, 256> Table {};
    Table[ '=' ] = _equals_;
    Table[ '"' ] = _quote_;
    Table[ '{' ] = _openbrace_;
    Table[ '}' ] = _closebrace_;
    Table[ '(' ] = _openparen_;
    Table[ ')' ] = _closeparen_;
    Table[ ',' ] = _comma_;
    Table[ '#' ] = _comment_;
    Table[ ';' ] = _comment_;
    Table[ '>' ] = _greater_;
    Table[ '<' ] = _less_;
    Table[ '!' ] = _not_;
    return Table;
}();

bool IsWhiteSpace( char Char )
{
    return c_WhiteSpace[ uint8( Char ) ];
}

uint32 CharacterClass( char Char )
{
    return c_CharacterClass[ uint8( Char ) ];
}

// A file gives 255 at its end (and a memory or native file for a zero byte too): only then can it have stopped
// being good, so the virtual test waits for that character.
bool IsEndOfFile( CFile& File, char Char )
{
    return uint8( Char ) == 255 && !File.IsGood();
}

// Digits, '.' and '-' alone make a number: ".5" is one.
bool IsNumberText( CQorStringView Text )
{
    return std::all_of( Text.begin(), Text.end(),
                        []( char Char ) { return ( Char >= '0' && Char <= '9' ) || Char == '.' || Char == '-'; } );
}
} // namespace

CLexer::CLexer( CFile* pFile, bool bOwnsFile, int32 Encoding )
    : _pFile( pFile ), _Encoding( Encoding ), _bOwnsFile( bOwnsFile )
{
}

CLexer::~CLexer()
{
    if ( _bOwnsFile )
    {
        delete _pFile;
    }
}

bool CLexer::PeekToken()
{
    if ( !_bPeeked )
    {
        _bPeekResult = NextToken();
        if ( !_bPeekResult )
        {
            _Token._Type = _eof_;
        }
        _bPeeked = true;
    }
    return _bPeekResult;
}

void CLexer::SetCaptureRowData( bool bCapture )
{
    g_bCaptureRowData.store( bCapture, std::memory_order_relaxed );
}

bool CLexer::IsCapturingRowData()
{
    return g_bCaptureRowData.load( std::memory_order_relaxed );
}

CMemoryFile* CLexer::ReadVFSFile( CQorStringView FileName, uint32 Type, CString& Reason, bool* pbMarked )
{
    CVFSOpenResult Opened = VFSOpen( FileName, CFile::OPEN_READ, 0 );
    if ( Opened.IsFailure() )
    {
        Reason = Opened.GetError();
        return nullptr;
    }
    SVFSFile* pFile = Opened.MoveValue();
    const int64 Size = VFSFileSize( pFile );
    CBlob* pBlob = new CBlob();
    bool bRead = Size >= 0 && Size <= INT32_MAX;
    if ( bRead )
    {
        pBlob->Resize( int32( Size ) );
        bRead = VFSRead( pFile, pBlob->GetData(), uint64( Size ) ) == uint64( Size );
    }
    VFSClose( pFile );
    if ( !bRead )
    {
        Reason = Size > INT32_MAX ? CString( "larger than 2 GiB" ) : VFSGetLastErrorText();
        delete pBlob;
        return nullptr;
    }
    static constexpr uint8 c_ByteOrderMark[ 3 ] = { 0xEF, 0xBB, 0xBF };
    // A binary file's bytes are all data.
    const bool bMarked = Type != 0 && pBlob->GetSize() >= 3 && std::memcmp( pBlob->GetData(), c_ByteOrderMark, 3 ) == 0;
    if ( bMarked )
    {
        pBlob->RemoveRange( 0, 3 );
    }
    if ( pbMarked )
    {
        *pbMarked = bMarked;
    }
    CMemoryFile* pMemoryFile = new CMemoryFile( pBlob, Type, CFile::OPEN_READ, true );
    pMemoryFile->SetFileName( CString( FileName ) );
    return pMemoryFile;
}

CFile* CLexer::LoadFile( CQorStringView FileName, uint32 Type, int32 Encoding )
{
    CString Reason;
    bool bMarked = false;
    if ( CMemoryFile* pFile = ReadVFSFile( FileName, Type, Reason, &bMarked ) )
    {
        if ( Type != 0 && !bMarked && Encoding == ENCODING_UTF8 )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, c_TextWarningCategory ),
                       "File '%s' should be in utf8-bom encoding (will try to use it anyways)", pFile->GetFileName().GetData() );
        }
        return pFile;
    }
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "%s due to '%s'", "Could not create lexer from file",
               Reason.GetData() );
    CMemoryFile* pEmpty = new CMemoryFile( new CBlob(), Type, CFile::OPEN_READ, true );
    pEmpty->SetFileName( CString( FileName ) );
    return pEmpty;
}

CTextLexer::CTextLexer( CQorStringView FileName, int32 Encoding )
    : CLexer( LoadFile( FileName, 1, Encoding ), true, Encoding )
{
}

CTextLexer::CTextLexer( CFile* File, bool bOwnsFile, int32 Encoding ) : CLexer( File, bOwnsFile, Encoding )
{
    QOR_ASSERT( !File->IsBinary() );
}

bool CTextLexer::NextToken()
{
    if ( _bPeeked )
    {
        _bPeeked = false;
        return _bPeekResult;
    }
    const int64 Start = _pFile->GetPosition();
    const bool bResult = ReadToken();
    const int64 Moved = _pFile->GetPosition() - Start;
    _BytesRead += Moved;
    _NonTokenBytes += Moved - ( bResult ? std::max( _Token._Text.GetSize() - 1, 0 ) : 0 );
    return bResult;
}

bool CTextLexer::ReadToken()
{
    CFile& File = *_pFile;
    CString* pRowText = nullptr;
    if ( IsCapturingRowData() )
    {
        if ( !_RowData.GetValue<SRowData>() )
        {
            _RowData.Set( SRowData() );
        }
        pRowText = &_RowData.GetValue<SRowData>()->_Text;
        pRowText->Clear();
    }

    char Char = 0;
    uint32 Class = 0;
    for ( ;; )
    {
        Char = File.GetChar();
        while ( IsWhiteSpace( Char ) )
        {
            if ( pRowText )
            {
                *pRowText += Char;
            }
            Char = File.GetChar();
        }
        if ( IsEndOfFile( File, Char ) )
        {
            return false;
        }
        Class = CharacterClass( Char );
        if ( Class != _comment_ )
        {
            break;
        }
        if ( pRowText )
        {
            *pRowText += Char;
        }
        SkipComment( pRowText );
    }

    _Token.SetText( Class, &Char, 1 );
    switch ( Class )
    {
    case 0:
        return ReadWord();
    case _quote_:
        return ReadQuotedString();
    case _equals_:
    case _greater_:
    case _less_:
    case _not_:
        ReadOperator( Class );
        return true;
    default:
        return true;
    }
}

void CTextLexer::SkipComment( CString* pRowText )
{
    CFile& File = *_pFile;
    for ( ;; )
    {
        const char Char = File.GetChar();
        if ( IsEndOfFile( File, Char ) )
        {
            // The next token meets the end again, also when a zero byte ended the comment.
            File.UngetChar( Char );
            return;
        }
        if ( pRowText )
        {
            *pRowText += Char;
        }
        if ( Char == '\n' )
        {
            return;
        }
    }
}

void CTextLexer::ReadOperator( uint32 Class )
{
    CFile& File = *_pFile;
    const char Next = File.GetChar();
    if ( Next != '=' )
    {
        File.UngetChar( Next );
        return;
    }
    uint32 Joined = _equalequal_;
    switch ( Class )
    {
    case _greater_:
        Joined = _greaterequal_;
        break;
    case _less_:
        Joined = _lessequal_;
        break;
    case _not_:
        Joined = _notequal_;
        break;
    default:
        break;
    }
    const char Text[ 2 ] = { _Token.GetText()[ 0 ], '=' };
    _Token.SetText( Joined, Text, 2 );
}

bool CTextLexer::ReadWord()
{
    CFile& File = *_pFile;
    // The first character and its terminator are in place.
    int32 Length = 1;
    for ( ;; )
    {
        const char Char = File.GetChar();
        if ( IsWhiteSpace( Char ) || CharacterClass( Char ) != 0 || IsEndOfFile( File, Char ) )
        {
            File.UngetChar( Char );
            break;
        }
        _Token.AppendChar( Length++, Char );
    }
    _Token.AppendChar( Length, '\0' );
    CheckUTF8();
    ClassifyWord();
    return uint8( _Token._Text[ Length - 1 ] ) != 255;
}

void CTextLexer::ClassifyWord()
{
    const CQorStringView Word = _Token.GetText();
    const char First = Word.IsEmpty() ? '\0' : Word[ 0 ];
    if ( ( First >= '0' && First <= '9' ) || First == '-' )
    {
        _Token._Type = _num_;
        return;
    }
    // One hash serves both tables.
    const uint32 Hash = HashTokenName( Word );
    uint32 Id = 0;
    if ( FindStaticToken( Hash, Word, Id ) )
    {
        _Token._Type = ( Id == _bool_word_first_ || Id == _bool_word_second_ ) ? uint32( _bool_ ) : Id;
        return;
    }
    if ( FindToken( Hash, Word, Id ) )
    {
        _Token._Type = Id;
        return;
    }
    _Token._Type = IsNumberText( Word ) ? _num_ : _string_;
}

bool CTextLexer::ReadQuotedString()
{
    CFile& File = *_pFile;
    const int64 Start = File.GetPosition();

    // First pass: the length, and the segments between escapes. Count counts every byte of the string, the
    // backslashes of escapes too.
    _EscapeSegments.Clear();
    int32 Count = 0;
    int32 SegmentStart = 0;
    char Previous = 0;
    bool bClosed = false;
    for ( ;; )
    {
        const char Char = File.GetChar();
        if ( IsEndOfFile( File, Char ) )
        {
            break;
        }
        if ( Char == '"' && Previous != '\\' )
        {
            bClosed = true;
            break;
        }
        if ( Previous == '\\' )
        {
            if ( Char == '"' || Char == '\\' )
            {
                _EscapeSegments.Add( Count - 1 - SegmentStart );
                SegmentStart = Count;
                Previous = 0;
                ++Count;
                continue;
            }
            LogPrintf( SLogLocation( __FILE__, __LINE__, c_TextWarningCategory ),
                       "Location: %s(%d): Backslash followed by neither quote nor backslash, if you meant to write a "
                       "single backslash, write two backslashes.\n",
                       File.GetFileName().GetData(), File.GetLineNumber() );
        }
        Previous = Char;
        ++Count;
    }
    // Behind the closing quote; or, for a string cut by the end of the file (or a zero byte), on the byte that
    // ended it, so that the next token meets the end again.
    const int64 End = Start + Count + ( bClosed ? 1 : 0 );

    // Second pass: one read per segment, skipping the backslash behind each.
    const int32 Length = Count - _EscapeSegments.GetSize();
    _Token.ResetText( Length + 1 );
    char* pText = _Token.GetTextBuffer();
    int64 Position = Start;
    int32 Written = 0;
    bool Result = File.Seek( uint64( Start ) );
    QOR_ASSERT( Result );
    for ( const int32 Segment : _EscapeSegments )
    {
        Result = File.Read( pText + Written, Segment );
        QOR_ASSERT( Result && "Unable to read from file" );
        Written += Segment;
        Position += Segment + 1;
        Result = File.Seek( uint64( Position ) );
        QOR_ASSERT( Result );
    }
    Result = File.Read( pText + Written, Length - Written );
    QOR_ASSERT( Result && "Unable to read from file" );
    pText[ Length ] = '\0';
    Result = File.Seek( uint64( End ) );
    QOR_ASSERT( Result );

    _Token._Type = _string_;
    _Token._Quoted = true;
    CheckUTF8();
    return true;
}

void CTextLexer::CheckUTF8()
{
    if ( _Encoding != ENCODING_UTF8 )
    {
        return;
    }
    const CQorStringView Text = _Token.GetText();
    const uint8* pSource = reinterpret_cast<const uint8*>( Text.GetData() );
    const uint8* const pSourceEnd = pSource + Text.GetSize();
    // The converted text is not kept: a small buffer takes it piece by piece, whatever the text's length.
    uint32 Scratch[ 256 ];
    EConversionResult Result = EConversionResult::TargetExhausted;
    while ( Result == EConversionResult::TargetExhausted )
    {
        uint32* pTarget = Scratch;
        Result = ConvertUTF8toUTF32( &pSource, pSourceEnd, &pTarget, Scratch + 256 );
    }
    if ( Result != EConversionResult::ConversionOK )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_TextWarningCategory ),
                   "Failed conversion of utf8 string: %s in file '%s' (line:%d)", ShownText( Text ).GetData(),
                   _pFile->GetFileName().GetData(), _pFile->GetLineNumber() );
    }
}

CString CTextLexer::ReadUntil( char Delimiter )
{
    CString Text;
    for ( ;; )
    {
        const char Char = _pFile->GetChar();
        if ( Char == Delimiter )
        {
            break;
        }
        if ( IsEndOfFile( *_pFile, Char ) )
        {
            // A missing delimiter ends at the end of the file, which the next token meets again.
            _pFile->UngetChar( Char );
            break;
        }
        Text += Char;
    }
    return Text;
}

CBinLexer::CBinLexer( CQorStringView FileName ) : CLexer( LoadFile( FileName, 0, ENCODING_ANY ), true, ENCODING_ANY )
{
}

CBinLexer::CBinLexer( CFile* File, bool bOwnsFile ) : CLexer( File, bOwnsFile, ENCODING_ANY )
{
    QOR_ASSERT( File->IsBinary() );
}

bool CBinLexer::NextToken()
{
    if ( _bPeeked )
    {
        _bPeeked = false;
        return _bPeekResult;
    }
    CFile& File = *_pFile;
    if ( !File.IsGood() )
    {
        return false;
    }
    const int64 Start = File.GetPosition();
    uint16 Id = 0;
    if ( !File.Read( &Id, sizeof( Id ) ) )
    {
        return File.GetPosition() < File.GetSize() ? EndInsideToken( Start ) : false;
    }
    _Token._Quoted = false;
    switch ( Id )
    {
    case _num_:
    case _unsigned_:
        return ReadValue( _num_, 4 ) || EndInsideToken( Start );
    case _float_:
        return ReadValue( _float_, 4 ) || EndInsideToken( Start );
    case _bool_:
        return ReadValue( _bool_, 1 ) || EndInsideToken( Start );
    case _fixed_:
    case _unsigned64_:
        return ReadValue( Id, 8 ) || EndInsideToken( Start );
    case _string_:
        if ( !ReadText() )
        {
            return EndInsideToken( Start );
        }
        _Token._Type = _string_;
        _Token._Quoted = true;
        return true;
    case _dynamic_:
        if ( !ReadText() )
        {
            return EndInsideToken( Start );
        }
        _Token._Type = GetTokenId( _Token.GetText() );
        return true;
    default:
    {
        const CString& Name = GetTokenNameChecked( Id );
        _Token.SetText( Id, Name.GetData(), Name.GetSize() );
        return true;
    }
    }
}

bool CBinLexer::ReadValue( uint32 Type, int32 Size )
{
    uint64 Value = 0;
    if ( !_pFile->Read( &Value, Size ) )
    {
        return false;
    }
    _Token._Type = Type;
    _Token.ClearText();
    _Token.SetBinaryValue( Value );
    return true;
}

bool CBinLexer::ReadText()
{
    uint16 Length = 0;
    if ( !_pFile->Read( &Length, sizeof( Length ) ) )
    {
        return false;
    }
    _Token.ResetText( Length + 1 );
    _Token.SetBinaryValue( 0 );
    char* pText = _Token.GetTextBuffer();
    pText[ Length ] = '\0';
    return _pFile->Read( pText, Length );
}

bool CBinLexer::EndInsideToken( int64 Start )
{
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Binary file '%s' ends inside the token at byte %lld",
               _pFile->GetFileName().GetData(), static_cast<long long>( Start ) );
    _pFile->SeekEnd();
    return false;
}

CString CBinLexer::ReadUntil( char )
{
    QOR_ASSERT_MSG( false, "function is not valid for binary files" );
    return CString();
}
