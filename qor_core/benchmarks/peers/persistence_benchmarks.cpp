// The persistent reader's and writer's throughput: a generated world of entities (a name, a position list, numbers,
// a decimal, a fixed point, a flag, a block of tags and a description with quotes and backslashes) is read back
// into its objects from its text and its binary file, and written to memory in both encodings, each in bytes per
// second of the file. The physical reference is read() of the text file from the page cache into memory: the
// least any reader of the file pays. The argument is the number of entities; 16384 make about 4 MB of text.
//
// The benchmark program's static tokens are all named "dummy" and fill the table, so the keys travel as quoted
// strings, in text and binary alike, and the objects tell them apart by their text. The table's names also win
// over the punctuation's own: a text writer of this program writes "dummy" for '=' and the braces. So the text
// that is read is made here, as the writer makes it with the punctuation named, and the text written is the
// writer's own with this table, somewhat longer; each form counts the bytes of its own file.

#include "qor_core/blob.h"
#include "qor_core/container/qor_container_utils.h"
#include "qor_core/memoryfile.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/qor_persistent_reader.h"
#include "qor_core/persistence/qor_persistent_writer.h"
#include "qor_core/qor_charconv.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{
const char* const c_Words[] = { "ancient", "river", "stone",  "lantern", "quiet",  "ember", "harbour", "copper",
                                "willow",  "frost", "signal", "meadow",  "hollow", "drift", "beacon",  "thistle" };

class CEntity : public CPersistent
{
public:
    void WriteContents( CWriter& Writer ) override
    {
        Writer.WriteStatement( "name", _Name );
        Writer.WriteKey( "position" );
        Writer.WriteInlineList( _Position, 3 );
        Writer.NewLine();
        Writer.WriteStatement( "health", _Health );
        Writer.WriteStatement( "speed", _Speed );
        Writer.WriteStatement( "mass", _Mass );
        Writer.WriteStatement( "enabled", _bEnabled );
        Writer.WriteKey( "tags" );
        Writer.OpenBraceInline();
        for ( const CString& Tag : _Tags )
        {
            Writer.WriteString( Tag, true );
            Writer.WriteToken( NToken::_space_ );
        }
        Writer.CloseBraceInline();
        Writer.WriteStatement( "description", _Description );
    }

    void ReadToken( CReader& Reader, uint32 Token ) override
    {
        const CQorStringView Key = Reader.GetKey().GetText();
        if ( Key == "name" )
        {
            Reader.Read( _Name );
        }
        else if ( Key == "position" )
        {
            Reader.ReadArray( _Position, 3 );
        }
        else if ( Key == "health" )
        {
            Reader.Read( _Health );
        }
        else if ( Key == "speed" )
        {
            Reader.Read( _Speed );
        }
        else if ( Key == "mass" )
        {
            Reader.Read( _Mass );
        }
        else if ( Key == "enabled" )
        {
            Reader.Read( _bEnabled );
        }
        else if ( Key == "tags" )
        {
            _Tags.Clear();
            Reader.ReadStringArray( _Tags );
        }
        else if ( Key == "description" )
        {
            Reader.Read( _Description );
        }
        else
        {
            CPersistent::ReadToken( Reader, Token );
        }
    }

    CString _Name;
    float _Position[ 3 ] = {};
    int32 _Health = 0;
    float _Speed = 0;
    CFixedPoint _Mass;
    bool _bEnabled = false;
    CQorArray<CString> _Tags;
    CString _Description;
};

class CWorld : public CPersistent
{
public:
    void WriteContents( CWriter& Writer ) override
    {
        for ( const std::unique_ptr<CEntity>& pEntity : _Entities )
        {
            Writer.WriteStatement( "entity", *pEntity );
        }
    }

    void ReadToken( CReader& Reader, uint32 Token ) override
    {
        if ( Reader.GetKey().GetText() != CQorStringView( "entity" ) )
        {
            CPersistent::ReadToken( Reader, Token );
            return;
        }
        // Entities read again fill the objects already there, as a reload would.
        if ( _nRead == int32( _Entities.size() ) )
        {
            _Entities.push_back( std::make_unique<CEntity>() );
        }
        Reader.Read( *_Entities[ size_t( _nRead++ ) ] );
    }

    std::vector<std::unique_ptr<CEntity>> _Entities;
    int32 _nRead = 0;
};

struct SPersistenceWorkload
{
    CWorld World;
    std::string Text;
    // What this program's text writer writes.
    std::string WrittenText;
    std::string Binary;
    std::string TextPath;
};

std::string Written( CWorld& World, bool bBinary )
{
    CBlob Blob;
    {
        CMemoryFile File( &Blob, bBinary ? 0 : 1, CFile::OPEN_WRITE, false );
        CWriter Writer( &File, false );
        Writer.WriteWithoutBraces( World );
    }
    return std::string( reinterpret_cast<const char*>( Blob.GetData() ), size_t( Blob.GetSize() ) );
}

void AppendQuoted( std::string& Text, const CString& Value )
{
    Text += '"';
    for ( int32 Index = 0; Index < Value.GetSize(); ++Index )
    {
        if ( Value[ Index ] == '"' || Value[ Index ] == '\\' )
        {
            Text += '\\';
        }
        Text += Value[ Index ];
    }
    Text += '"';
}

void AppendFloat( std::string& Text, float Value )
{
    char Buffer[ 64 ];
    std::snprintf( Buffer, sizeof( Buffer ), "%f", double( Value ) );
    Text += Buffer;
}

// The text CWriter writes for the world where the punctuation has its names.
std::string TextOf( const CWorld& World )
{
    std::string Text;
    for ( const std::unique_ptr<CEntity>& pEntity : World._Entities )
    {
        const CEntity& Entity = *pEntity;
        Text += "\"entity\"={\n\t\"name\"=";
        AppendQuoted( Text, Entity._Name );
        Text += "\n\t\"position\"={ ";
        for ( int32 Axis = 0; Axis < 3; ++Axis )
        {
            Text += Axis ? " " : "";
            AppendFloat( Text, Entity._Position[ Axis ] );
        }
        Text += "}\n\t\"health\"=" + std::to_string( Entity._Health ) + "\n\t\"speed\"=";
        AppendFloat( Text, Entity._Speed );
        char Mass[ 32 ];
        Text += "\n\t\"mass\"=";
        Text.append( Mass, size_t( to_chars( Mass, Mass + sizeof( Mass ), Entity._Mass ).ptr - Mass ) );
        Text += Entity._bEnabled ? "\n\t\"enabled\"=yes\n\t\"tags\"={ " : "\n\t\"enabled\"=no\n\t\"tags\"={ ";
        for ( const CString& Tag : Entity._Tags )
        {
            AppendQuoted( Text, Tag );
            Text += ' ';
        }
        Text += "}\n\t\"description\"=";
        AppendQuoted( Text, Entity._Description );
        Text += "\n}\n\n";
    }
    return Text;
}

void MakeWorkload( SPersistenceWorkload& Workload, int32 nEntities )
{
    CQorRandom Random( 1 );
    const auto Sentence = [ & ]( int32 nWords )
    {
        CString Text;
        for ( int32 Word = 0; Word < nWords; ++Word )
        {
            Text += Word ? " " : "";
            Text += c_Words[ Random.Next( 0, 15 ) ];
        }
        return Text;
    };
    for ( int32 Index = 0; Index < nEntities; ++Index )
    {
        std::unique_ptr<CEntity> pEntity = std::make_unique<CEntity>();
        pEntity->_Name = Sentence( 2 );
        for ( float& Axis : pEntity->_Position )
        {
            Axis = float( Random.Next( -100000, 100000 ) ) / 100.0f;
        }
        pEntity->_Health = Random.Next( 0, 1000 );
        pEntity->_Speed = float( Random.Next( 0, 2000 ) ) / 100.0f;
        pEntity->_Mass = CFixedPoint::FromRaw( Random.Next( 0, 100000000 ) );
        pEntity->_bEnabled = Random.Next( 0, 1 ) != 0;
        for ( int32 Tag = Random.Next( 1, 4 ); Tag > 0; --Tag )
        {
            pEntity->_Tags.Add( CString( c_Words[ Random.Next( 0, 15 ) ] ) );
        }
        pEntity->_Description = Sentence( Random.Next( 5, 15 ) ) + " \"" + Sentence( 2 ) + "\" \\o/";
        Workload.World._Entities.push_back( std::move( pEntity ) );
    }
    Workload.Text = TextOf( Workload.World );
    Workload.WrittenText = Written( Workload.World, false );
    Workload.Binary = Written( Workload.World, true );
    Workload.TextPath = "/tmp/qor_persistence_benchmark_" + std::to_string( ::getpid() ) + "_" + std::to_string( nEntities ) + ".txt";
    if ( FILE* pFile = std::fopen( Workload.TextPath.c_str(), "wb" ) )
    {
        std::fwrite( Workload.Text.data(), 1, Workload.Text.size(), pFile );
        std::fclose( pFile );
    }
}

// Built once per size, before any timing. The token tables are made here unless another family made them; the
// text file of the reference goes when the program ends.
SPersistenceWorkload& GetWorkload( int32 nEntities )
{
    struct SWorkloads
    {
        std::map<int32, std::unique_ptr<SPersistenceWorkload>> Sizes;
        ~SWorkloads()
        {
            for ( const auto& Entry : Sizes )
            {
                std::remove( Entry.second->TextPath.c_str() );
            }
        }
    };
    static SWorkloads s_Workloads;
    if ( GetLookupSize() == 0 )
    {
        CreateTokens();
    }
    std::unique_ptr<SPersistenceWorkload>& pWorkload = s_Workloads.Sizes[ nEntities ];
    if ( !pWorkload )
    {
        pWorkload = std::make_unique<SPersistenceWorkload>();
        MakeWorkload( *pWorkload, nEntities );
    }
    return *pWorkload;
}

void ReadWorld( benchmark::State& State, const std::string& Bytes, bool bBinary )
{
    CWorld World;
    for ( auto _ : State )
    {
        CMemoryFile File( Bytes.data(), int32( Bytes.size() ), bBinary ? 0 : 1 );
        CLexer* pLexer = bBinary ? static_cast<CLexer*>( new CBinLexer( &File, false ) )
                                 : static_cast<CLexer*>( new CTextLexer( &File, false ) );
        CReader Reader( pLexer, true );
        World._nRead = 0;
        Reader.ReadWithoutBraces( World );
        if ( !Reader.IsOk() )
        {
            State.SkipWithError( "the reader reported errors" );
            break;
        }
        benchmark::DoNotOptimize( World._Entities.back()->_Mass );
    }
    State.SetBytesProcessed( State.iterations() * int64( Bytes.size() ) );
    State.counters[ "entities" ] = benchmark::Counter( double( World._nRead ) );
}

void WriteWorld( benchmark::State& State, CWorld& World, size_t nExpectedSize, bool bBinary )
{
    // The blob keeps its memory between passes, as a writer's file buffer would.
    CBlob Blob;
    Blob.Reserve( int32( nExpectedSize ) );
    for ( auto _ : State )
    {
        CMemoryFile File( &Blob, bBinary ? 0 : 1, CFile::OPEN_WRITE, false );
        CWriter Writer( &File, false );
        Writer.WriteWithoutBraces( World );
        benchmark::DoNotOptimize( Blob.GetData() );
    }
    if ( size_t( Blob.GetSize() ) != nExpectedSize )
    {
        State.SkipWithError( "the writer wrote another size" );
    }
    State.SetBytesProcessed( State.iterations() * int64( nExpectedSize ) );
}
} // namespace

void Persistence_QorReadText( benchmark::State& State )
{
    ReadWorld( State, GetWorkload( int32( State.range( 0 ) ) ).Text, false );
}

void Persistence_QorReadBin( benchmark::State& State )
{
    ReadWorld( State, GetWorkload( int32( State.range( 0 ) ) ).Binary, true );
}

void Persistence_QorWriteText( benchmark::State& State )
{
    SPersistenceWorkload& Workload = GetWorkload( int32( State.range( 0 ) ) );
    WriteWorld( State, Workload.World, Workload.WrittenText.size(), false );
}

void Persistence_QorWriteBin( benchmark::State& State )
{
    SPersistenceWorkload& Workload = GetWorkload( int32( State.range( 0 ) ) );
    WriteWorld( State, Workload.World, Workload.Binary.size(), true );
}

void Persistence_Read( benchmark::State& State )
{
    const SPersistenceWorkload& Workload = GetWorkload( int32( State.range( 0 ) ) );
    std::vector<char> Buffer( Workload.Text.size() );
    for ( auto _ : State )
    {
        const int Handle = ::open( Workload.TextPath.c_str(), O_RDONLY );
        size_t nRead = 0;
        while ( Handle >= 0 && nRead < Buffer.size() )
        {
            const ssize_t nResult = ::read( Handle, Buffer.data() + nRead, Buffer.size() - nRead );
            if ( nResult <= 0 )
            {
                break;
            }
            nRead += size_t( nResult );
        }
        if ( Handle >= 0 )
        {
            ::close( Handle );
        }
        if ( nRead != Buffer.size() )
        {
            State.SkipWithError( "read() fell short" );
            break;
        }
        benchmark::DoNotOptimize( Buffer.data() );
    }
    State.SetBytesProcessed( State.iterations() * int64( Workload.Text.size() ) );
}

BENCHMARK( Persistence_QorReadText )->Arg( 16384 );
BENCHMARK( Persistence_QorReadBin )->Arg( 16384 );
BENCHMARK( Persistence_QorWriteText )->Arg( 16384 );
BENCHMARK( Persistence_QorWriteBin )->Arg( 16384 );
BENCHMARK( Persistence_Read )->Arg( 16384 );
