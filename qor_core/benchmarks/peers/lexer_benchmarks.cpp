// The lexers' throughput: CTextLexer and CBinLexer each run to the end of a generated data file of realistic
// statements (blocks of keys with numbers, decimals, booleans, quoted strings with escapes, lists and comments),
// and memchr scans the text for a byte it doesn't hold: one pass over every byte at memory speed, the physical
// bound of any reader of the text. The argument is the number of blocks; 16384 blocks make about 4 MB of text.
// All three report bytes per second of their own input. The binary file holds the same statements less the
// comments and layout, its keys as static identifiers and the blocks' names as dynamic tokens. The benchmark
// program's static tokens are all named "dummy", so every word of the text is looked up in both tables and
// found in neither, the most a word costs.

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/memoryfile.h"
#include "qor_core/persistence/lexer.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace
{
struct SLexerWorkload
{
    std::string Text;
    std::string Binary;
};

class CWorkloadWriter
{
public:
    explicit CWorkloadWriter( SLexerWorkload& Workload ) : _Workload( Workload ) {}

    void Key( const char* pName, uint16 StaticId, int32 Depth )
    {
        _Workload.Text.append( size_t( Depth ), '\t' );
        _Workload.Text += pName;
        _Workload.Text += " = ";
        Id( StaticId );
        Id( 1 );
    }
    void Punctuation( const char* pText, uint16 TokenId )
    {
        _Workload.Text += pText;
        Id( TokenId );
    }
    void Integer( int32 Value )
    {
        _Workload.Text += std::to_string( Value );
        Id( 12 );
        Raw( Value );
    }
    void Decimal( int32 Hundredths )
    {
        char Text[ 32 ];
        std::snprintf( Text, sizeof( Text ), "%.2f", Hundredths / 100.0 );
        _Workload.Text += Text;
        Id( 13 );
        Raw( float( Hundredths / 100.0 ) );
    }
    void Bool( bool bValue )
    {
        _Workload.Text += bValue ? "yes" : "no";
        Id( 14 );
        Raw( uint8( bValue ) );
    }
    // Written with its escapes in the text, plain in the binary file.
    void String( const std::string& Value )
    {
        _Workload.Text += '"';
        for ( const char Char : Value )
        {
            if ( Char == '"' || Char == '\\' )
            {
                _Workload.Text += '\\';
            }
            _Workload.Text += Char;
        }
        _Workload.Text += '"';
        Text( 15, Value );
    }
    void DynamicKey( const std::string& Name )
    {
        _Workload.Text += Name + " = ";
        Text( 23, Name );
        Id( 1 );
    }
    void Layout( const char* pText ) { _Workload.Text += pText; }

private:
    template <typename T>
    void Raw( T Value )
    {
        _Workload.Binary.append( reinterpret_cast<const char*>( &Value ), sizeof( Value ) );
    }
    void Id( uint16 TokenId ) { Raw( TokenId ); }
    void Text( uint16 TokenId, const std::string& Value )
    {
        Id( TokenId );
        Raw( uint16( Value.size() ) );
        _Workload.Binary += Value;
    }

    SLexerWorkload& _Workload;
};

const char* const c_Words[] = { "ancient", "river", "stone",  "lantern", "quiet",  "ember", "harbour", "copper",
                                "willow",  "frost", "signal", "meadow",  "hollow", "drift", "beacon",  "thistle" };

SLexerWorkload MakeWorkload( int32 nBlocks )
{
    SLexerWorkload Workload;
    CWorkloadWriter Writer( Workload );
    CQorRandom Random( 1 );
    const auto Sentence = [ & ]( int32 nWords )
    {
        std::string Text;
        for ( int32 Word = 0; Word < nWords; ++Word )
        {
            Text += Word ? " " : "";
            Text += c_Words[ Random.Next( 0, 15 ) ];
        }
        return Text;
    };
    for ( int32 Block = 0; Block < nBlocks; ++Block )
    {
        Writer.Layout( "# " );
        Writer.Layout( Sentence( Random.Next( 3, 8 ) ).c_str() );
        Writer.Layout( "\n" );
        Writer.DynamicKey( "entity_" + std::to_string( Block ) );
        Writer.Punctuation( "{", 3 );
        Writer.Layout( "\n" );
        Writer.Key( "name", 2001, 1 );
        Writer.String( Sentence( 2 ) );
        Writer.Layout( "\n" );
        Writer.Key( "position", 2002, 1 );
        Writer.Punctuation( "{ ", 3 );
        for ( int32 Axis = 0; Axis < 3; ++Axis )
        {
            Writer.Decimal( Random.Next( -100000, 100000 ) );
            Writer.Layout( " " );
        }
        Writer.Punctuation( "}\n", 4 );
        Writer.Key( "health", 2003, 1 );
        Writer.Integer( Random.Next( 0, 1000 ) );
        Writer.Layout( "\n" );
        Writer.Key( "speed", 2004, 1 );
        Writer.Decimal( Random.Next( 0, 2000 ) );
        Writer.Layout( "\n" );
        Writer.Key( "enabled", 2005, 1 );
        Writer.Bool( Random.Next( 0, 1 ) != 0 );
        Writer.Layout( " ; set by the editor\n" );
        Writer.Key( "tags", 2006, 1 );
        Writer.Punctuation( "{ ", 3 );
        for ( int32 Tag = Random.Next( 1, 4 ); Tag > 0; --Tag )
        {
            Writer.String( c_Words[ Random.Next( 0, 15 ) ] );
            Writer.Layout( " " );
        }
        Writer.Punctuation( "}\n", 4 );
        Writer.Key( "description", 2007, 1 );
        Writer.String( Sentence( Random.Next( 5, 15 ) ) + " \"" + Sentence( 2 ) + "\" \\o/" );
        Writer.Layout( "\n" );
        Writer.Punctuation( "}\n", 4 );
    }
    return Workload;
}

// Built once per size, before any timing. The token tables are made here unless another family made them.
const SLexerWorkload& GetWorkload( int32 nBlocks )
{
    static std::map<int32, SLexerWorkload> s_Workloads;
    if ( GetLookupSize() == 0 )
    {
        CreateTokens();
    }
    auto It = s_Workloads.find( nBlocks );
    if ( It == s_Workloads.end() )
    {
        It = s_Workloads.emplace( nBlocks, MakeWorkload( nBlocks ) ).first;
    }
    return It->second;
}

template <typename LexerT>
void LexToTheEnd( benchmark::State& State, const std::string& Bytes, uint32 Type )
{
    int64 nTokens = 0;
    for ( auto _ : State )
    {
        CMemoryFile File( Bytes.data(), int32( Bytes.size() ), Type );
        LexerT Lexer( &File, false );
        nTokens = 0;
        while ( Lexer.NextToken() )
        {
            ++nTokens;
        }
        benchmark::DoNotOptimize( Lexer.GetToken() );
    }
    State.SetBytesProcessed( State.iterations() * int64( Bytes.size() ) );
    State.counters[ "tokens" ] = benchmark::Counter( double( nTokens ) );
}
} // namespace

void Lexer_QorText( benchmark::State& State )
{
    LexToTheEnd<CTextLexer>( State, GetWorkload( int32( State.range( 0 ) ) ).Text, 1 );
}

void Lexer_QorBin( benchmark::State& State )
{
    LexToTheEnd<CBinLexer>( State, GetWorkload( int32( State.range( 0 ) ) ).Binary, 0 );
}

void Lexer_Memchr( benchmark::State& State )
{
    const std::string& Text = GetWorkload( int32( State.range( 0 ) ) ).Text;
    for ( auto _ : State )
    {
        const void* pFound = std::memchr( Text.data(), '\0', Text.size() );
        benchmark::DoNotOptimize( pFound );
    }
    State.SetBytesProcessed( State.iterations() * int64( Text.size() ) );
}

BENCHMARK( Lexer_QorText )->Arg( 16384 );
BENCHMARK( Lexer_QorBin )->Arg( 16384 );
BENCHMARK( Lexer_Memchr )->Arg( 16384 );
