#include "qor_core/persistence/lexer.h"

#include "qor_core/memoryfile.h"
#include "tests/assert_recorder.h"
#include "tests/persistence/persistence_test_utils.h"
#include "tests/test_threads.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
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
    return Stream << "{" << Token.Type << ", \"" << Token.Text << "\"" << ( Token.bQuoted ? ", quoted}" : "}" );
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

// A text or a binary file of the bytes, named "test.txt" or "test.bin", run to the end.
std::vector<SLexed> Lex( const std::string& Bytes, bool bBinary = false, int32 Encoding = CLexer::ENCODING_ANY )
{
    CMemoryFile File( Bytes.data(), int32( Bytes.size() ), bBinary ? 0 : 1 );
    File.SetFileName( bBinary ? "test.bin" : "test.txt" );
    if ( bBinary )
    {
        CBinLexer Lexer( &File, false );
        return LexAll( Lexer );
    }
    CTextLexer Lexer( &File, false, Encoding );
    return LexAll( Lexer );
}

// The binary encoding, as the persistent writer produces it.
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

using CLexerTest = CPersistenceTest;
} // namespace

TEST( HashTokenName, IsFnv1aOfTheLowerCasedBytes )
{
    // The published FNV-1a 32-bit values; only 'A' to 'Z' fold.
    EXPECT_EQ( HashTokenName( "" ), 0x811c9dc5u );
    EXPECT_EQ( HashTokenName( "a" ), 0xe40c292cu );
    EXPECT_EQ( HashTokenName( "FooBAR" ), 0xbf9cf968u );
    EXPECT_NE( HashTokenName( "\xC4" ), HashTokenName( "\xE4" ) );
}

TEST_F( CLexerTest, StaticTokensAreFoundInAnyCaseAndNamedAsGiven )
{
    EXPECT_EQ( LoggedSince( 0 ), std::vector<std::string> { "Creation of token \"größe\" is not ascii, it likely works, "
                                                            "but not guaranteed.\n" } );
    EXPECT_EQ( GetStaticTokenIdOf( "NAME" ), 100u );
    EXPECT_EQ( GetTokenId( "Position" ), 101u );
    EXPECT_EQ( GetTokenId( "nosuch" ), 12u );
    // Of two names that differ in case the first keeps the name; the second keeps its slot in LookUp.
    EXPECT_EQ( GetTokenId( "SPEED" ), 104u );
    const std::vector<std::pair<uint32, const char*>> Names = { { 107, "Speed" }, { 100, "Name" },  { 1, "=" },
                                                                { 2, "\"" },      { 16, "\n" },     { 1372, "!=" },
                                                                { 106, "MISSING" }, { 99999, "MISSING" } };
    for ( const auto& [ Id, pName ] : Names )
    {
        EXPECT_EQ( GetTokenName( Id ), pName ) << Id;
    }
    EXPECT_EQ( GetLookupSize(), 2001 );
    EXPECT_EQ( GetTokenTypeName( 100, true ), "Name" );

    CAssertRecorder Asserts;
    EXPECT_EQ( GetTokenNameChecked( 2000 ), "last" );
    EXPECT_EQ( GetTokenNameChecked( 0 ), "" );
    EXPECT_EQ( GetTokenNameChecked( 2001 ), "" );
    CreateTokens();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Unknown token '0'", "Unknown token '2001'",
                                                             "Static lexer is already initialised, call DestroyTokens "
                                                             "before trying to initialise again" } ) );
    DestroyTokens();
    EXPECT_EQ( GetTokenId( "name" ), 12u );
    EXPECT_EQ( GetLookupSize(), 0 );
}

TEST_F( CLexerTest, DynamicTokensNumberOnFromTheLastStaticOne )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( CreateDynamicToken( "Sword", false ), 2001u );
    EXPECT_EQ( CreateDynamicToken( "shield", false ), 2002u );
    EXPECT_EQ( CreateDynamicToken( "sWORD", true ), 2001u );
    EXPECT_EQ( CreateDynamicToken( "position", true ), 101u );
    EXPECT_TRUE( Asserts.Texts().empty() );
    EXPECT_EQ( CreateDynamicToken( "SWORD", false ), 2001u );
    EXPECT_EQ( CreateDynamicToken( "9lives", true ), 0u );
    EXPECT_EQ( CreateDynamicToken( "-x", true ), 0u );
    EXPECT_EQ( CreateDynamicToken( "ñandú", true ), 2003u );
    const std::string NotAKeyword = "Creation of dynamic token \"9lives\" failed, keywords may not start with a digit or '-'.";
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Skip || !nt", NotAKeyword,
                                                             "Creation of dynamic token \"-x\" failed, keywords may not "
                                                             "start with a digit or '-'." } ) );
    EXPECT_EQ( LoggedSince( 1 ).front(), NotAKeyword + "\n" );
    EXPECT_EQ( LoggedSince( 1 ).back(), "Creation of dynamic token \"ñandú\" is not ascii, it likely works, but not guaranteed.\n" );

    EXPECT_EQ( GetTokenId( "Shield" ), 2002u );
    EXPECT_EQ( GetStaticTokenIdOf( "shield" ), 12u );
    EXPECT_EQ( GetTokenName( 2001 ), "sword" );
    EXPECT_TRUE( IsDynamicToken( 2003 ) && !IsDynamicToken( 2000 ) && !IsDynamicToken( 2004 ) );
    EXPECT_EQ( GetLookupSize(), 2004 );
    const std::vector<std::pair<uint32, const char*>> TypeNames = { { 12, "num" },  { 13, "float" }, { 14, "bool" },
                                                                    { 15, "string" }, { 3, "{" },    { 2001, "dynamic: sword" } };
    for ( const auto& [ Id, pName ] : TypeNames )
    {
        EXPECT_EQ( GetTokenTypeName( Id, true ), pName );
    }
    EXPECT_EQ( GetTokenTypeName( 2001, false ), "sword" );

    CBlob Blob;
    CMemoryFile File( &Blob, 1, CFile::OPEN_WRITE, false );
    WriteDynamicTokens( File );
    EXPECT_EQ( std::string( Blob.begin(), Blob.end() ), "sword 2001\nshield 2002\nñandú 2003\n" );
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
    EXPECT_TRUE( First.GetData() == pFirstData && First == "first" );
}

// Threads create the same names at once, each in a case of its own, while they look up what they made: a step
// starts behind a barrier, so that the threads meet between the read and the write lock of the creation.
TEST_F( CLexerTest, ThreadsCreatingAndLookingUpGiveOneIdentifierPerName )
{
    constexpr int nThreads = 4;
    constexpr int nNames = 48;
    for ( int Round = 0; Round < 20; ++Round )
    {
        DestroyTokens();
        CreateTokens();
        std::vector<std::vector<uint32>> Ids( nThreads, std::vector<uint32>( nNames ) );
        std::barrier Step( nThreads );
        RunOnThreads( nThreads,
                      [ & ]( int Thread )
                      {
                          for ( int Name = 0; Name < nNames; ++Name )
                          {
                              const std::string Text = ( Thread % 2 ? "ITEM" : "item" ) + std::to_string( Name );
                              Step.arrive_and_wait();
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
        EXPECT_TRUE( *Distinct.begin() == 2001u && *Distinct.rbegin() == uint32( 2000 + nNames ) );
    }
}

TEST_F( CLexerTest, TextTokens )
{
    CreateDynamicToken( "sword", false );
    const struct
    {
        std::string Input;
        std::vector<SLexed> Tokens;
    } Cases[] = {
        { "a=b", { { 15, "a" }, { 1, "=" }, { 15, "b" } } },
        { "a;b", { { 15, "a" } } },
        { "x#y\nz", { { 15, "x" }, { 15, "z" } } },
        { "a<=b", { { 15, "a" }, { 972, "<=" }, { 15, "b" } } },
        { "a< =b", { { 15, "a" }, { 468, "<" }, { 1, "=" }, { 15, "b" } } },
        { "!x = =", { { 1371, "!" }, { 15, "x" }, { 1, "=" }, { 1, "=" } } },
        { "==>=!=><", { { 1264, "==" }, { 971, ">=" }, { 1372, "!=" }, { 467, ">" }, { 468, "<" } } },
        { "{}(),", { { 3, "{" }, { 4, "}" }, { 5, "(" }, { 6, ")" }, { 8, "," } } },
        { "12abc -foo .5 a.5 1.5 --", { { 12, "12abc" }, { 12, "-foo" }, { 12, ".5" }, { 15, "a.5" }, { 12, "1.5" }, { 12, "--" } } },
        { "yes No NAME sword Sword hsv", { { 14, "yes" }, { 14, "No" }, { 100, "NAME" }, { 2001, "sword" }, { 2001, "Sword" }, { 513, "hsv" } } },
        { "@[x*2] a/b:c+d", { { 15, "@[x*2]" }, { 15, "a/b:c+d" } } },
        { " a\tb\r\nc\v\fd ", { { 15, "a" }, { 15, "b" }, { 15, "c" }, { 15, "d" } } },
        { "\"hello world\"x", { { 15, "hello world", true }, { 15, "x" } } },
        { "\"a\\\"b\" \"a\\\\b\" \"\\\\\"", { { 15, "a\"b", true }, { 15, "a\\b", true }, { 15, "\\", true } } },
        { "\"two\nlines\"\"\"\"@x\"", { { 15, "two\nlines", true }, { 15, "", true }, { 15, "@x", true } } },
        { "a=\"unterminated", { { 15, "a" }, { 1, "=" }, { 15, "unterminated", true } } },
        // A zero byte ends the text wherever it stands.
        { std::string( "a\0b", 3 ), { { 15, "a" } } },
        { std::string( "\"ab\0cd\" e", 9 ), { { 15, "ab", true } } },
        { std::string( "# x\0\ny", 6 ), {} },
        { std::string( "=\0=", 3 ), { { 1, "=" } } },
    };
    for ( const auto& Case : Cases )
    {
        EXPECT_EQ( Lex( Case.Input ), Case.Tokens ) << Case.Input;
    }
}

TEST_F( CLexerTest, BackslashAndUtf8Reports )
{
    EXPECT_EQ( Lex( "x\n\"a\\nb\"" ), ( std::vector<SLexed> { { 15, "x" }, { 15, "a\\nb", true } } ) );
    EXPECT_EQ( LoggedSince( 1 ), std::vector<std::string> { "Location: test.txt(2): Backslash followed by neither quote "
                                                            "nor backslash, if you meant to write a single backslash, "
                                                            "write two backslashes.\n\n" } );
    // The check runs on words and strings with the UTF-8 encoding only.
    EXPECT_EQ( Lex( "caf\xC3\xA9 \"\xE2\x82\xAC \xF0\x9F\x98\x80\"", false, CLexer::ENCODING_UTF8 ).size(), 2u );
    const std::string Illegal = "a\n\xC3" "A \"\xED\xA0\x80\" end\xE2\x82";
    EXPECT_EQ( Lex( Illegal ).size(), 4u );
    EXPECT_EQ( LoggedSince( 2 ), std::vector<std::string> {} );
    EXPECT_EQ( Lex( Illegal, false, CLexer::ENCODING_UTF8 ),
               ( std::vector<SLexed> { { 15, "a" }, { 15, "\xC3" "A" }, { 15, "\xED\xA0\x80", true }, { 15, "end\xE2\x82" } } ) );
    EXPECT_EQ( LoggedSince( 2 ), ( std::vector<std::string> { "Failed conversion of utf8 string: \xC3" "A in file 'test.txt' (line:2)\n",
                                                              "Failed conversion of utf8 string: \xED\xA0\x80 in file 'test.txt' (line:2)\n",
                                                              "Failed conversion of utf8 string: end\xE2\x82 in file 'test.txt' (line:2)\n" } ) );
}

// Lines far longer than any stack: the check converts in pieces, and the message shows the text's start.
TEST_F( CLexerTest, LongLinesLexWhole )
{
    const std::string Word = std::string( 3 << 20, 'w' ) + "\xC3";
    const std::string String = std::string( 3 << 20, 's' );
    const std::vector<SLexed> Tokens =
        Lex( Word + " \"\\\"" + String + "\\\\\" #" + std::string( 3 << 20, 'c' ) + "\nend", false, CLexer::ENCODING_UTF8 );
    ASSERT_EQ( Tokens.size(), 3u );
    EXPECT_TRUE( Tokens[ 0 ].Text == Word && Tokens[ 1 ].Text == "\"" + String + "\\" && Tokens[ 2 ].Text == "end" );
    EXPECT_EQ( LoggedSince( 1 ), std::vector<std::string> { "Failed conversion of utf8 string: " + std::string( 1024, 'w' ) +
                                                            "... in file 'test.txt' (line:1)\n" } );
}

TEST_F( CLexerTest, CountersPeekCaptureAndReadUntil )
{
    const std::string Input = "  # note\n\tkey = \"b\\\"c\" x * 2 ] rest";
    CMemoryFile File( Input.data(), int32( Input.size() ), 1 );
    CTextLexer Lexer( &File, false );
    CLexer::SetCaptureRowData( true );
    ASSERT_TRUE( Lexer.PeekToken() );
    CLexer::SetCaptureRowData( false );
    ASSERT_NE( Lexer.GetRowData().GetValue<CLexer::SRowData>(), nullptr );
    EXPECT_EQ( Lexer.GetRowData().GetValue<CLexer::SRowData>()->_Text, "  # note\n\t" );
    ASSERT_TRUE( Lexer.IsPeeked() && Lexer.NextToken() && !Lexer.IsPeeked() );
    EXPECT_EQ( TextOf( Lexer.GetToken() ), "key" );
    ASSERT_TRUE( Lexer.NextToken() && Lexer.NextToken() );
    // Of the 22 bytes so far, "key", "=" and b"c are token text.
    EXPECT_EQ( Lexer.GetBytesRead(), 22 );
    EXPECT_EQ( Lexer.GetNonTokenBytes(), 15 );
    EXPECT_EQ( Lexer.ReadUntil( ']' ), " x * 2 " );
    ASSERT_TRUE( Lexer.NextToken() );
    EXPECT_EQ( TextOf( Lexer.GetToken() ), "rest" );
    EXPECT_EQ( Lexer.ReadUntil( ']' ), "" );
    EXPECT_FALSE( Lexer.PeekToken() );
    EXPECT_EQ( Lexer.GetToken()._Type, uint32( _eof_ ) );
    EXPECT_FALSE( Lexer.NextToken() );
    EXPECT_EQ( File.GetLineNumber(), 2 );
}

// Data files in a mounted game folder, read by name through the file system.
class CLexerFileTest : public NVFSTest::CVFSFixture
{
protected:
    void SetUp() override
    {
        NVFSTest::CVFSFixture::SetUp();
        NVFSTest::WriteRealFile( Root / "game" / "data" / "marked.txt", "\xEF\xBB\xBF" "a = 1" );
        NVFSTest::WriteRealFile( Root / "game" / "data" / "plain.txt", "\xEF\xBB" "a" );
        ASSERT_TRUE( VFSMountDir( ( Root / "game" ).c_str() ) );
        SetLogger( CQorScopedPtr<CLogger>( _pLogger ) );
        CreateTokens();
        _nSetUpLines = _pLogger->Texts().size();
    }
    void TearDown() override
    {
        DestroyTokens();
        SetLogger( {} );
        NVFSTest::CVFSFixture::TearDown();
    }

    // What the test logged, without the token tables' reports.
    std::vector<std::string> Logged() const
    {
        const std::vector<std::string> Texts = _pLogger->Texts();
        return std::vector<std::string>( Texts.begin() + long( _nSetUpLines ), Texts.end() );
    }

    CRecordingLogger* _pLogger = new CRecordingLogger;
    size_t _nSetUpLines = 0;
};

TEST_F( CLexerFileTest, LexerByFileNameReadsTheWholeFileAndItsMark )
{
    CTextLexer MarkedLexer( "data/marked.txt", CLexer::ENCODING_UTF8 );
    EXPECT_EQ( LexAll( MarkedLexer ), ( std::vector<SLexed> { { 15, "a" }, { 1, "=" }, { 12, "1" } } ) );
    EXPECT_EQ( MarkedLexer.GetFile()->GetFileName(), "data/marked.txt" );
    CTextLexer PlainLexer( "data/plain.txt", CLexer::ENCODING_ANY );
    EXPECT_EQ( LexAll( PlainLexer ), ( std::vector<SLexed> { { 15, "\xEF\xBB" "a" } } ) );
    EXPECT_EQ( Logged(), std::vector<std::string> {} );

    CTextLexer CheckedLexer( "data/plain.txt", CLexer::ENCODING_UTF8 );
    EXPECT_EQ( LexAll( CheckedLexer ).size(), 1u );
    CTextLexer MissingLexer( "data/missing.txt", CLexer::ENCODING_UTF8 );
    EXPECT_FALSE( MissingLexer.NextToken() );
    EXPECT_EQ( MissingLexer.GetFile()->GetFileName(), "data/missing.txt" );
    // A name is a path of the file system's tree, never of the real one.
    CTextLexer NativeLexer( ( Root / "game" / "data" / "marked.txt" ).c_str(), CLexer::ENCODING_ANY );
    EXPECT_FALSE( NativeLexer.NextToken() );
    // A binary file keeps every byte.
    CBinLexer BinLexer( "data/marked.txt" );
    EXPECT_EQ( BinLexer.GetFile()->GetSize(), 8 );
    EXPECT_EQ( Logged(), ( std::vector<std::string> {
                                      "File 'data/plain.txt' should be in utf8-bom encoding (will try to use it anyways)\n",
                                      "Failed conversion of utf8 string: \xEF\xBB" "a in file 'data/plain.txt' (line:1)\n",
                                      "Could not create lexer from file due to 'VFSOpen Error: data/missing.txt not found'\n",
                                      "Could not create lexer from file due to 'VFSOpen Error: " +
                                          ( Root / "game" / "data" / "marked.txt" ).string() + " not found'\n" } ) );
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
    Input.Id( 14 ).Raw( uint8( 0 ) );
    Input.Id( 359 ).Raw( int64( -150000 ) ).Id( 668 ).Raw( uint64( 1 ) << 40 );
    Input.Text( 15, "a \"b\"" ).Text( 23, "SWORD" ).Text( 23, "unknown" ).Id( 1 ).Id( 100 ).Id( 508 ).Id( 16 ).Id( 0 ).Id( 40000 );
    CAssertRecorder Asserts;
    EXPECT_EQ( Lex( Input.Bytes, true ), ( std::vector<SLexed> { { 12, "" }, { 12, "" }, { 13, "" }, { 14, "" }, { 14, "" },
                                                                 { 359, "" }, { 668, "" }, { 15, "a \"b\"", true }, { 2001, "SWORD" },
                                                                 { 12, "unknown" }, { 1, "=" }, { 100, "Name" },
                                                                 { 508, "buffer" }, { 16, "\n" }, { 0, "" }, { 40000, "" } } ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string> { "Unknown token '0'", "Unknown token '40000'" } ) );

    // The values, with no text: 20 arrives as 12 and still reads as unsigned.
    CMemoryFile File( Input.Bytes.data(), int32( Input.Bytes.size() ), 0 );
    CBinLexer Lexer( &File, false );
    const CToken& Token = Lexer.GetToken();
    EXPECT_TRUE( Lexer.NextToken() && Token.AsInt32() == -5 );
    EXPECT_TRUE( Lexer.NextToken() && Token.AsUInt32() == 4000000000u );
    EXPECT_TRUE( Lexer.NextToken() && Token.AsFloat() == 0.25f );
    EXPECT_TRUE( Lexer.NextToken() && Token.AsBool() );
    EXPECT_TRUE( Lexer.NextToken() && !Token.AsBool() );
    EXPECT_TRUE( Lexer.NextToken() && Token.AsFixedPoint().GetRaw() == -150000 );
    EXPECT_TRUE( Lexer.NextToken() && Token.AsUInt64() == uint64( 1 ) << 40 );
}

// Every cut of a binary stream gives the tokens before the cut, and a report when it falls inside a token.
TEST_F( CLexerTest, BinaryFileCutAnywhereEndsCleanly )
{
    SBinary Input;
    Input.Id( 100 ).Id( 1 ).Id( 12 ).Raw( int32( 7 ) ).Text( 15, "abc" ).Id( 668 ).Raw( uint64( 9 ) );
    const std::vector<size_t> TokenEnds = { 0, 2, 4, 10, 17, 27 };
    for ( size_t Cut = 0; Cut <= Input.Bytes.size(); ++Cut )
    {
        const std::string Bytes = Input.Bytes.substr( 0, Cut );
        CMemoryFile File( Bytes.data(), int32( Bytes.size() ), 0 );
        File.SetFileName( "cut.bin" );
        CBinLexer Lexer( &File, false );
        const size_t nLogged = LoggedSince( 0 ).size();
        const size_t nWhole = size_t( std::count_if( TokenEnds.begin(), TokenEnds.end(), [ & ]( size_t End ) { return End <= Cut; } ) );
        EXPECT_EQ( LexAll( Lexer ).size(), nWhole - 1 ) << Cut;
        EXPECT_FALSE( Lexer.NextToken() );
        const bool bInside = TokenEnds[ nWhole - 1 ] != Cut;
        EXPECT_EQ( LoggedSince( nLogged ), bInside ? std::vector<std::string> { "Binary file 'cut.bin' ends inside the token at byte " +
                                                                                 std::to_string( TokenEnds[ nWhole - 1 ] ) + "\n" }
                                                   : std::vector<std::string> {} )
            << Cut;
    }
}
