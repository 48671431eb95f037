#include "qor_core/persistence/lexer.h"

#include "qor_core/memoryfile.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <cstring>
#include <fstream>
#include <ostream>
#include <set>
#include <string>
#include <vector>

using namespace NToken;

namespace
{
struct SLexed
{
    uint32 Type;
    std::string Text;
    bool bQuoted = false;

    bool operator==( const SLexed& ) const = default;
};

[[maybe_unused]] std::ostream& operator<<( std::ostream& Stream, const SLexed& Token )
{
    return Stream << "{" << Token.Type << ", \"" << Token.Text << "\"" << ( Token.bQuoted ? ", quoted" : "" ) << "}";
}

std::string TextOf( const CToken& Token )
{
    const CQorStringView Text = Token.GetText();
    return std::string( Text.GetData() ? Text.GetData() : "", size_t( Text.GetSize() ) );
}

std::vector<SLexed> LexAll( CLexer& Lexer )
{
    std::vector<SLexed> Tokens;
    while ( Lexer.NextToken() )
    {
        Tokens.push_back( { Lexer.GetToken()._Type, TextOf( Lexer.GetToken() ), Lexer.GetToken()._Quoted } );
    }
    return Tokens;
}

std::vector<SLexed> LexText( const std::string& Input, int32 Encoding = CLexer::ENCODING_ANY )
{
    CMemoryFile File( Input.data(), int32( Input.size() ), 1 );
    File.SetFileName( "test.txt" );
    CTextLexer Lexer( &File, false, Encoding );
    return LexAll( Lexer );
}

// The binary encoding of tokens, as the persistent writer produces it.
struct SBinary
{
    std::string Bytes;

    template <typename T>
    SBinary& Raw( T Value )
    {
        Bytes.append( reinterpret_cast<const char*>( &Value ), sizeof( Value ) );
        return *this;
    }
    SBinary& Id( uint16 Id ) { return Raw( Id ); }
    SBinary& Text( uint16 Id, const std::string& Text )
    {
        Raw( Id ).Raw( uint16( Text.size() ) );
        Bytes += Text;
        return *this;
    }
};

// The tables hold the test program's static tokens; each test starts on fresh tables and a recording logger.
class CLexerTest : public ::testing::Test
{
protected:
    CLexerTest() : _pLogger( new CRecordingLogger )
    {
        SetLogger( CQorScopedPtr<CLogger>( _pLogger ) );
        CreateTokens();
    }
    ~CLexerTest() override { DestroyTokens(); }

    std::vector<std::string> Logged() const { return _pLogger->Texts(); }

    CLogGuard _LogGuard;
    CRecordingLogger* _pLogger;
};
} // namespace

TEST( HashTokenName, IsFnv1aOfTheLowerCasedBytes )
{
    // The published FNV-1a 32-bit values.
    EXPECT_EQ( HashTokenName( "" ), 0x811c9dc5u );
    EXPECT_EQ( HashTokenName( "a" ), 0xe40c292cu );
    EXPECT_EQ( HashTokenName( "foobar" ), 0xbf9cf968u );
    EXPECT_EQ( HashTokenName( "FooBAR" ), 0xbf9cf968u );
    EXPECT_NE( HashTokenName( "\xC4" ), HashTokenName( "\xE4" ) );
}

TEST_F( CLexerTest, StaticTokensAreFoundInAnyCaseAndNamedAsGiven )
{
    EXPECT_EQ( GetStaticTokenIdOf( "NAME" ), 100u );
    EXPECT_EQ( GetTokenId( "Position" ), 101u );
    EXPECT_EQ( GetTokenId( "nosuch" ), 12u );
    EXPECT_EQ( GetStaticTokenIdOf( "nosuch" ), 12u );
    // The first of two names that differ in case keeps it; the second keeps its slot in LookUp.
    EXPECT_EQ( GetTokenId( "SPEED" ), 104u );
    EXPECT_EQ( GetTokenName( 107 ), "Speed" );
    EXPECT_EQ( GetTokenName( 100 ), "Name" );
    EXPECT_EQ( GetTokenName( 1 ), "=" );
    EXPECT_EQ( GetTokenName( 2 ), "\"" );
    EXPECT_EQ( GetTokenName( 16 ), "\n" );
    EXPECT_EQ( GetTokenName( 1372 ), "!=" );
    EXPECT_EQ( GetTokenName( 106 ), "MISSING" );
    EXPECT_EQ( GetTokenName( 99999 ), "MISSING" );
    EXPECT_EQ( GetLookupSize(), 2001 );
    EXPECT_FALSE( IsDynamicToken( 2000 ) );
}

TEST_F( CLexerTest, CreatingTwiceReportsAndANonAsciiNameIsLogged )
{
    EXPECT_EQ( Logged(), std::vector<std::string> {
                             "Creation of token \"größe\" is not ascii, it likely works, but not guaranteed.\n" } );
    CAssertRecorder Asserts;
    CreateTokens();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "Static lexer is already initialised, call DestroyTokens "
                                                           "before trying to initialise again" } );
    DestroyTokens();
    EXPECT_EQ( GetTokenId( "name" ), 12u );
    EXPECT_EQ( GetLookupSize(), 0 );
    EXPECT_EQ( GetTokenName( 1 ), "MISSING" );
}

TEST_F( CLexerTest, DynamicTokensNumberOnFromTheLastStaticOne )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( CreateDynamicToken( "Sword", false ), 2001u );
    EXPECT_EQ( CreateDynamicToken( "shield", false ), 2002u );
    EXPECT_EQ( CreateDynamicToken( "sWORD", true ), 2001u );
    EXPECT_TRUE( Asserts.Texts().empty() );
    EXPECT_EQ( CreateDynamicToken( "SWORD", false ), 2001u );
    EXPECT_EQ( CreateDynamicToken( "position", true ), 101u );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "Skip || !nt" } );

    EXPECT_EQ( GetTokenId( "Shield" ), 2002u );
    EXPECT_EQ( GetStaticTokenIdOf( "shield" ), 12u );
    EXPECT_EQ( GetTokenName( 2001 ), "sword" );
    EXPECT_TRUE( IsDynamicToken( 2002 ) );
    EXPECT_FALSE( IsDynamicToken( 2003 ) );
    EXPECT_EQ( GetLookupSize(), 2003 );

    const struct
    {
        uint32 Id;
        bool bDecorate;
        const char* pName;
    } TypeNames[] = { { 12, true, "num" },    { 13, true, "float" },   { 14, true, "bool" },
                      { 15, true, "string" }, { 2001, true, "dynamic: sword" }, { 2001, false, "sword" },
                      { 100, true, "Name" },  { 3, true, "{" } };
    for ( const auto& Case : TypeNames )
    {
        EXPECT_EQ( GetTokenTypeName( Case.Id, Case.bDecorate ), Case.pName );
    }

    CBlob Blob;
    CMemoryFile File( &Blob, 1, CFile::OPEN_WRITE, false );
    WriteDynamicTokens( File );
    EXPECT_EQ( std::string( Blob.begin(), Blob.end() ), "sword 2001\nshield 2002\n" );
}

TEST_F( CLexerTest, DynamicTokenThatCannotBeAKeywordGivesZero )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( CreateDynamicToken( "9lives", true ), 0u );
    EXPECT_EQ( CreateDynamicToken( "-x", true ), 0u );
    EXPECT_EQ( CreateDynamicToken( "ñandú", true ), 2001u );
    const std::vector<std::string> Expected = {
        "Creation of dynamic token \"9lives\" failed, keywords may not start with a digit or '-'.",
        "Creation of dynamic token \"-x\" failed, keywords may not start with a digit or '-'." };
    EXPECT_EQ( Asserts.Texts(), Expected );
    const std::vector<std::string> Log = Logged();
    ASSERT_EQ( Log.size(), 4u );
    EXPECT_EQ( Log[ 1 ], Expected[ 0 ] + "\n" );
    EXPECT_EQ( Log[ 2 ], Expected[ 1 ] + "\n" );
    EXPECT_EQ( Log[ 3 ], "Creation of dynamic token \"ñandú\" is not ascii, it likely works, but not guaranteed.\n" );
    EXPECT_EQ( GetLookupSize(), 2002 );
}

TEST_F( CLexerTest, CheckedNamesReportUnknownIdentifiers )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( GetTokenNameChecked( 0 ), "" );
    EXPECT_EQ( GetTokenNameChecked( 2001 ), "" );
    EXPECT_EQ( GetTokenNameChecked( 2000 ), "last" );
    EXPECT_EQ( GetTokenNameChecked( 106 ), "MISSING" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Unknown token '0'", "Unknown token '2001'" } ) );
}

// LookUp never grows past its capacity, so a name handed out stays where it is; the identifiers beyond it are
// reported and have no name.
TEST_F( CLexerTest, LookUpKeepsItsCapacityAndTheNamesHandedOut )
{
    const CString& First = GetTokenName( CreateDynamicToken( "first", false ) );
    const char* pFirstData = First.GetData();
    for ( int32 Index = 2002; Index < 32768; ++Index )
    {
        CreateDynamicToken( ( "t" + std::to_string( Index ) ).c_str(), false );
    }
    EXPECT_EQ( GetTokenName( 32767 ), "t32767" );
    CAssertRecorder Asserts;
    EXPECT_EQ( CreateDynamicToken( "beyond", false ), 32768u );
    EXPECT_EQ( GetTokenId( "beyond" ), 32768u );
    EXPECT_EQ( GetTokenName( 32768 ), "MISSING" );
    EXPECT_EQ( GetLookupSize(), 32768 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "LookUp.GetCapacity() >= Lexer._DesiredLookup",
                                                             "Lexer._PreviousLookupSize == Lexer._DesiredLookup" } ) );
    EXPECT_EQ( First.GetData(), pFirstData );
    EXPECT_EQ( First, "first" );
}

// Threads create overlapping names in different orders and cases while they look up what they made.
TEST_F( CLexerTest, ThreadsCreatingAndLookingUpGiveOneIdentifierPerName )
{
    constexpr int nThreads = 4;
    constexpr int nNames = 48;
    for ( int Round = 0; Round < 20; ++Round )
    {
        DestroyTokens();
        CreateTokens();
        std::vector<std::vector<uint32>> Ids( nThreads, std::vector<uint32>( nNames ) );
        std::barrier Start( nThreads );
        RunOnThreads( nThreads,
                      [ & ]( int Thread )
                      {
                          Start.arrive_and_wait();
                          for ( int Step = 0; Step < nNames; ++Step )
                          {
                              const int Name = ( Step * 7 + Thread * 13 ) % nNames;
                              const std::string Text = ( Thread % 2 ? "ITEM" : "item" ) + std::to_string( Name );
                              const uint32 Id = CreateDynamicToken( Text.c_str(), true );
                              Ids[ Thread ][ Name ] = Id;
                              EXPECT_EQ( GetTokenId( Text.c_str() ), Id );
                              EXPECT_EQ( GetTokenName( Id ), ( "item" + std::to_string( Name ) ).c_str() );
                              EXPECT_EQ( GetStaticTokenIdOf( "Position" ), 101u );
                          }
                      } );
        std::set<uint32> Distinct;
        for ( int Name = 0; Name < nNames; ++Name )
        {
            for ( int Thread = 1; Thread < nThreads; ++Thread )
            {
                ASSERT_EQ( Ids[ Thread ][ Name ], Ids[ 0 ][ Name ] ) << "round " << Round << " name " << Name;
            }
            Distinct.insert( Ids[ 0 ][ Name ] );
        }
        ASSERT_EQ( Distinct.size(), size_t( nNames ) );
        EXPECT_EQ( *Distinct.begin(), 2001u );
        EXPECT_EQ( *Distinct.rbegin(), uint32( 2000 + nNames ) );
    }
}

TEST_F( CLexerTest, TextTokens )
{
    CreateDynamicToken( "sword", false );
    const struct
    {
        const char* pInput;
        std::vector<SLexed> Tokens;
    } Cases[] = {
        { "a=b", { { 15, "a" }, { 1, "=" }, { 15, "b" } } },
        { "a;b", { { 15, "a" } } },
        { "x#y\nz", { { 15, "x" }, { 15, "z" } } },
        { "a<=b", { { 15, "a" }, { 972, "<=" }, { 15, "b" } } },
        { "a< =b", { { 15, "a" }, { 468, "<" }, { 1, "=" }, { 15, "b" } } },
        { "!x", { { 1371, "!" }, { 15, "x" } } },
        { "= =", { { 1, "=" }, { 1, "=" } } },
        { "==>=!=><", { { 1264, "==" }, { 971, ">=" }, { 1372, "!=" }, { 467, ">" }, { 468, "<" } } },
        { "{}(),", { { 3, "{" }, { 4, "}" }, { 5, "(" }, { 6, ")" }, { 8, "," } } },
        { "12abc -foo .5 a.5 1.5 --", { { 12, "12abc" }, { 12, "-foo" }, { 12, ".5" }, { 15, "a.5" }, { 12, "1.5" }, { 12, "--" } } },
        { "yes No NAME position sword Sword hsv", { { 14, "yes" }, { 14, "No" }, { 100, "NAME" }, { 101, "position" }, { 2001, "sword" }, { 2001, "Sword" }, { 513, "hsv" } } },
        { "@[x*2] a/b:c+d", { { 15, "@[x*2]" }, { 15, "a/b:c+d" } } },
        { " a\tb\r\nc\v\fd ", { { 15, "a" }, { 15, "b" }, { 15, "c" }, { 15, "d" } } },
        { "\"hello world\"", { { 15, "hello world", true } } },
        { "\"a\\\"b\" \"a\\\\b\" \"\\\\\"", { { 15, "a\"b", true }, { 15, "a\\b", true }, { 15, "\\", true } } },
        { "\"two\nlines\"x", { { 15, "two\nlines", true }, { 15, "x" } } },
        { "\"\"\"@x\"", { { 15, "", true }, { 15, "@x", true } } },
        { "a=\"unterminated", { { 15, "a" }, { 1, "=" }, { 15, "unterminated", true } } },
        { "a # comment to the end", { { 15, "a" } } },
        { "", {} },
    };
    for ( const auto& Case : Cases )
    {
        EXPECT_EQ( LexText( Case.pInput ), Case.Tokens ) << Case.pInput;
    }
}

// A zero byte ends a text file wherever it stands.
TEST_F( CLexerTest, ZeroByteEndsTheText )
{
    const struct
    {
        std::string Input;
        std::vector<SLexed> Tokens;
    } Cases[] = {
        { std::string( "a\0b", 3 ), { { 15, "a" } } },
        { std::string( "a \0 b", 5 ), { { 15, "a" } } },
        { std::string( "\"ab\0cd\" e", 9 ), { { 15, "ab", true } } },
        { std::string( "# x\0\ny", 6 ), {} },
        { std::string( "=\0=", 3 ), { { 1, "=" } } },
    };
    for ( const auto& Case : Cases )
    {
        EXPECT_EQ( LexText( Case.Input ), Case.Tokens ) << Case.Input;
    }
}

TEST_F( CLexerTest, BackslashBeforeAnotherCharacterStaysAndWarns )
{
    EXPECT_EQ( LexText( "x\n\"a\\nb\"" ), ( std::vector<SLexed> { { 15, "x" }, { 15, "a\\nb", true } } ) );
    EXPECT_EQ( Logged().back(), "Location: test.txt(2): Backslash followed by neither quote nor backslash, if you meant "
                                "to write a single backslash, write two backslashes.\n\n" );
}

TEST_F( CLexerTest, Utf8CheckLogsIllegalTextOnlyWithTheUtf8Encoding )
{
    const size_t nLogged = Logged().size();
    const std::string Legal = "caf\xC3\xA9 \"\xE2\x82\xAC \xF0\x9F\x98\x80\"";
    EXPECT_EQ( LexText( Legal, CLexer::ENCODING_UTF8 ).size(), 2u );
    const std::string Illegal = "a\n\xC3" "A \"\xED\xA0\x80\" end\xE2\x82";
    EXPECT_EQ( LexText( Illegal, CLexer::ENCODING_ANY ).size(), 4u );
    EXPECT_EQ( Logged().size(), nLogged );
    const std::vector<SLexed> Tokens = LexText( Illegal, CLexer::ENCODING_UTF8 );
    EXPECT_EQ( Tokens, ( std::vector<SLexed> { { 15, "a" }, { 15, "\xC3" "A" }, { 15, "\xED\xA0\x80", true }, { 15, "end\xE2\x82" } } ) );
    const std::vector<std::string> Log = Logged();
    EXPECT_EQ( std::vector<std::string>( Log.begin() + long( nLogged ), Log.end() ),
               ( std::vector<std::string> { "Failed conversion of utf8 string: \xC3" "A in file 'test.txt' (line:2)\n",
                                            "Failed conversion of utf8 string: \xED\xA0\x80 in file 'test.txt' (line:2)\n",
                                            "Failed conversion of utf8 string: end\xE2\x82 in file 'test.txt' (line:2)\n" } ) );
}

// Lines far longer than any stack: the check converts in pieces, and a message shows the start of the text.
TEST_F( CLexerTest, LongLinesLexWhole )
{
    const std::string Word = std::string( 5 << 20, 'w' ) + "\xC3";
    const std::string String = std::string( 5 << 20, 's' );
    const std::string Input = Word + " \"\\\"" + String + "\\\\\" #" + std::string( 5 << 20, 'c' ) + "\nend";
    const std::vector<SLexed> Tokens = LexText( Input, CLexer::ENCODING_UTF8 );
    ASSERT_EQ( Tokens.size(), 3u );
    EXPECT_TRUE( Tokens[ 0 ].Text == Word );
    EXPECT_TRUE( Tokens[ 1 ].Text == "\"" + String + "\\" );
    EXPECT_EQ( Tokens[ 2 ], ( SLexed { 15, "end" } ) );
    EXPECT_EQ( Logged().back(), "Failed conversion of utf8 string: " + std::string( 1024, 'w' ) +
                                    "... in file 'test.txt' (line:1)\n" );
}

TEST_F( CLexerTest, CountersSplitTokenTextFromTheRest )
{
    const std::string Input = "a = \"b\\\"c\"";
    CMemoryFile File( Input.data(), int32( Input.size() ), 1 );
    CTextLexer Lexer( &File, false );
    for ( int Token = 0; Token < 3; ++Token )
    {
        ASSERT_TRUE( Lexer.NextToken() );
    }
    EXPECT_EQ( Lexer.GetBytesRead(), int64( Input.size() ) );
    EXPECT_EQ( Lexer.GetNonTokenBytes(), int64( Input.size() ) - 5 );
}

TEST_F( CLexerTest, PeekCaptureAndReadUntil )
{
    const std::string Input = "  # note\n\tkey = x * 2 ] rest";
    CMemoryFile File( Input.data(), int32( Input.size() ), 1 );
    CTextLexer Lexer( &File, false );
    CLexer::SetCaptureRowData( true );
    ASSERT_TRUE( Lexer.PeekToken() );
    CLexer::SetCaptureRowData( false );
    ASSERT_NE( Lexer.GetRowData().GetValue<CLexer::SRowData>(), nullptr );
    EXPECT_EQ( Lexer.GetRowData().GetValue<CLexer::SRowData>()->_Text, "  # note\n\t" );
    EXPECT_TRUE( Lexer.IsPeeked() );
    ASSERT_TRUE( Lexer.NextToken() );
    EXPECT_EQ( TextOf( Lexer.GetToken() ), "key" );
    EXPECT_FALSE( Lexer.IsPeeked() );
    ASSERT_TRUE( Lexer.NextToken() );
    EXPECT_EQ( Lexer.ReadUntil( ']' ), " x * 2 " );
    ASSERT_TRUE( Lexer.NextToken() );
    EXPECT_EQ( TextOf( Lexer.GetToken() ), "rest" );
    EXPECT_EQ( Lexer.ReadUntil( ']' ), "" );
    EXPECT_FALSE( Lexer.PeekToken() );
    EXPECT_EQ( Lexer.GetToken()._Type, uint32( _eof_ ) );
    EXPECT_FALSE( Lexer.NextToken() );
    EXPECT_EQ( File.GetLineNumber(), 2 );
}

TEST_F( CLexerTest, LexerByFileNameReadsTheWholeFileAndItsMark )
{
    const CTempPath Marked( "marked.txt" );
    const CTempPath Plain( "plain.txt" );
    std::ofstream( Marked.Path(), std::ios::binary ) << "\xEF\xBB\xBF" << "a = 1";
    std::ofstream( Plain.Path(), std::ios::binary ) << "\xEF\xBB" << "a";
    {
        CTextLexer Lexer( CQorStringView( Marked.c_str() ), CLexer::ENCODING_UTF8 );
        EXPECT_EQ( LexAll( Lexer ), ( std::vector<SLexed> { { 15, "a" }, { 1, "=" }, { 12, "1" } } ) );
        EXPECT_EQ( Lexer.GetFile()->GetFileName(), Marked.c_str() );
    }
    {
        CTextLexer Lexer( CQorStringView( Plain.c_str() ), CLexer::ENCODING_ANY );
        EXPECT_EQ( LexAll( Lexer ), ( std::vector<SLexed> { { 15, "\xEF\xBB" "a" } } ) );
    }
    const size_t nLogged = Logged().size();
    {
        CTextLexer Lexer( CQorStringView( Plain.c_str() ), CLexer::ENCODING_UTF8 );
        EXPECT_EQ( LexAll( Lexer ).size(), 1u );
    }
    {
        CTextLexer Lexer( CQorStringView( "/nonexistent/qor_lexer_test.txt" ), CLexer::ENCODING_UTF8 );
        EXPECT_FALSE( Lexer.NextToken() );
    }
    {
        // A binary file keeps every byte.
        CBinLexer Lexer( CQorStringView( Marked.c_str() ) );
        EXPECT_EQ( Lexer.GetFile()->GetSize(), 8 );
    }
    const std::vector<std::string> Log = Logged();
    EXPECT_EQ( std::vector<std::string>( Log.begin() + long( nLogged ), Log.begin() + long( nLogged ) + 3 ),
               ( std::vector<std::string> {
                   "File '" + Plain.Path() + "' should be in utf8-bom encoding (will try to use it anyways)\n",
                   "Failed conversion of utf8 string: \xEF\xBB" "a in file '" + Plain.Path() + "' (line:1)\n",
                   "Could not create lexer from file due to 'No such file or directory'\n" } ) );
}

TEST_F( CLexerTest, LexerOverTheWrongKindOfFileReports )
{
    CAssertRecorder Asserts;
    CBlob Blob;
    CMemoryFile Binary( Blob, 0 );
    CMemoryFile Text( Blob, 1 );
    CTextLexer TextLexer( &Binary, false );
    CBinLexer BinLexer( &Text, false );
    EXPECT_EQ( BinLexer.ReadUntil( ']' ), "" );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "!File->IsBinary()", "File->IsBinary()",
                                                             "function is not valid for binary files" } ) );
}

TEST_F( CLexerTest, BinaryTokens )
{
    CreateDynamicToken( "sword", false );
    SBinary Input;
    Input.Id( 12 ).Raw( int32( -5 ) ).Id( 20 ).Raw( uint32( 4000000000u ) ).Id( 13 ).Raw( 0.25f ).Id( 14 ).Raw( uint8( 1 ) );
    Input.Id( 359 ).Raw( int64( -150000 ) ).Id( 668 ).Raw( uint64( 1 ) << 40 );
    Input.Text( 15, "a \"b\"" ).Text( 23, "SWORD" ).Text( 23, "unknown" );
    Input.Id( 1 ).Id( 3 ).Id( 100 ).Id( 508 ).Id( 16 ).Id( 1372 );
    CMemoryFile File( Input.Bytes.data(), int32( Input.Bytes.size() ), 0 );
    CBinLexer Lexer( &File, false );
    const std::vector<SLexed> Tokens = LexAll( Lexer );
    EXPECT_EQ( Tokens, ( std::vector<SLexed> { { 12, "" }, { 12, "" }, { 13, "" }, { 14, "" }, { 359, "" }, { 668, "" },
                                               { 15, "a \"b\"", true }, { 2001, "SWORD" }, { 12, "unknown" },
                                               { 1, "=" }, { 3, "{" }, { 100, "Name" }, { 508, "buffer" }, { 16, "\n" },
                                               { 1372, "!=" } } ) );

    // The values, token by token.
    File.Rewind();
    Lexer.NextToken();
    EXPECT_EQ( Lexer.GetToken().AsInt32(), -5 );
    Lexer.NextToken();
    EXPECT_EQ( Lexer.GetToken().AsUInt32(), 4000000000u );
    Lexer.NextToken();
    EXPECT_EQ( Lexer.GetToken().AsFloat(), 0.25f );
    Lexer.NextToken();
    EXPECT_TRUE( Lexer.GetToken().AsBool() );
    Lexer.NextToken();
    EXPECT_EQ( Lexer.GetToken().AsFixedPoint().GetRaw(), -150000 );
    Lexer.NextToken();
    EXPECT_EQ( Lexer.GetToken().AsUInt64(), uint64( 1 ) << 40 );
}

TEST_F( CLexerTest, BinaryUnknownIdentifiersReport )
{
    CAssertRecorder Asserts;
    SBinary Input;
    Input.Id( 0 ).Id( 40000 );
    CMemoryFile File( Input.Bytes.data(), int32( Input.Bytes.size() ), 0 );
    CBinLexer Lexer( &File, false );
    EXPECT_EQ( LexAll( Lexer ), ( std::vector<SLexed> { { 0, "" }, { 40000, "" } } ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Unknown token '0'", "Unknown token '40000'" } ) );
}

// Every cut of a binary stream gives the tokens before the cut, and a report when it falls inside a token.
TEST_F( CLexerTest, BinaryFileCutAnywhereEndsCleanly )
{
    SBinary Input;
    Input.Id( 100 ).Id( 1 ).Id( 12 ).Raw( int32( 7 ) ).Text( 15, "abc" ).Id( 668 ).Raw( uint64( 9 ) );
    const std::vector<size_t> TokenEnds = { 2, 4, 10, 17, 27 };
    for ( size_t Cut = 0; Cut <= Input.Bytes.size(); ++Cut )
    {
        const std::string Bytes = Input.Bytes.substr( 0, Cut );
        CMemoryFile File( Bytes.data(), int32( Bytes.size() ), 0 );
        File.SetFileName( "cut.bin" );
        CBinLexer Lexer( &File, false );
        const size_t nLogged = Logged().size();
        const size_t nWhole = size_t( std::count_if( TokenEnds.begin(), TokenEnds.end(), [ & ]( size_t End ) { return End <= Cut; } ) );
        EXPECT_EQ( LexAll( Lexer ).size(), nWhole ) << Cut;
        EXPECT_FALSE( Lexer.NextToken() );
        const bool bInside = std::find( TokenEnds.begin(), TokenEnds.end(), Cut ) == TokenEnds.end() && Cut != 0;
        ASSERT_EQ( Logged().size(), nLogged + ( bInside ? 1 : 0 ) ) << Cut;
        if ( bInside )
        {
            EXPECT_EQ( Logged().back(), "Binary file 'cut.bin' ends inside the token at byte " +
                                            std::to_string( nWhole == 0 ? 0 : TokenEnds[ nWhole - 1 ] ) + "\n" );
        }
    }
}

// The same statements in both encodings give the same tokens: the same types, and the same values by the
// conversion of the type. A decimal number is the one difference: the text lexer calls every number _num_
// (the reader converts it by the type it reads), the binary one keeps _float_.
TEST_F( CLexerTest, TextAndBinaryGiveTheSameTokens )
{
    CreateDynamicToken( "sword", false );
    std::string Text;
    SBinary Binary;
    const auto Word = [ & ]( const char* pText, uint16 Id )
    {
        Text += std::string( pText ) + " ";
        Binary.Id( Id );
    };
    const auto Number = [ & ]( int32 Value )
    {
        Text += std::to_string( Value ) + "\n";
        Binary.Id( 12 ).Raw( Value );
    };
    Word( "position", 101 );
    Word( "=", 1 );
    Word( "{", 3 );
    Number( -12 );
    Number( 2147483647 );
    Text += "0.25 ";
    Binary.Id( 13 ).Raw( 0.25f );
    Word( "}", 4 );
    Word( "health", 103 );
    Word( ">=", 971 );
    Text += "yes no\t";
    Binary.Id( 14 ).Raw( uint8( 1 ) ).Id( 14 ).Raw( uint8( 0 ) );
    Text += "sword = \"say \\\"hi\\\" \\\\o/\" # a comment\n";
    Binary.Text( 23, "sword" ).Id( 1 ).Text( 15, "say \"hi\" \\o/" );
    Number( 0 );

    CMemoryFile TextFile( Text.data(), int32( Text.size() ), 1 );
    CMemoryFile BinaryFile( Binary.Bytes.data(), int32( Binary.Bytes.size() ), 0 );
    CTextLexer TextLexer( &TextFile, false );
    CBinLexer BinLexer( &BinaryFile, false );
    int nTokens = 0;
    for ( ; TextLexer.NextToken(); ++nTokens )
    {
        ASSERT_TRUE( BinLexer.NextToken() ) << nTokens;
        const CToken& FromText = TextLexer.GetToken();
        const CToken& FromBinary = BinLexer.GetToken();
        EXPECT_EQ( FromText._Quoted, FromBinary._Quoted ) << nTokens;
        switch ( FromBinary._Type )
        {
        case _num_:
            EXPECT_EQ( FromText._Type, uint32( _num_ ) );
            EXPECT_EQ( FromText.AsInt32(), FromBinary.AsInt32() );
            break;
        case _float_:
            EXPECT_EQ( FromText._Type, uint32( _num_ ) );
            EXPECT_EQ( FromText.AsFloat(), FromBinary.AsFloat() );
            break;
        case _bool_:
            EXPECT_EQ( FromText._Type, uint32( _bool_ ) );
            EXPECT_EQ( FromText.AsBool(), FromBinary.AsBool() );
            break;
        default:
            EXPECT_EQ( FromText._Type, FromBinary._Type ) << nTokens;
            EXPECT_EQ( TextOf( FromText ), TextOf( FromBinary ) ) << nTokens;
            break;
        }
    }
    EXPECT_FALSE( BinLexer.NextToken() );
    EXPECT_EQ( nTokens, 15 );
}
