// Hashing the files of a game tree for its checksum: Arg files of Arg bytes each, read through the virtual file
// system and hashed with MD5, then folded into the final digest. Qor hashes them on the task pools (a parallel-for
// over the names, the caller helping); SingleThread is the same call with no pools, so that every file is hashed
// on the calling thread, one after the other. The files stay in the page cache after the first pass, so the
// figures are the hashing and the file system's layers over a memory copy. Both report bytes per second.

#include "qor_core/checksum.h"
#include "qor_core/thread/qor_task.h"
#include "qor_core/virtualfilesystem.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{
// A temporary directory with one tree per shape asked for, removed at exit.
class CTreeWorkload
{
public:
    CTreeWorkload()
        : _Directory( std::filesystem::temp_directory_path() / ( "qor_checksum_bench_" + std::to_string( getpid() ) ) )
    {
        std::filesystem::create_directories( _Directory );
    }
    ~CTreeWorkload()
    {
        std::error_code Error;
        std::filesystem::remove_all( _Directory, Error );
    }
    // The names, relative to the directory, of Count files of Size varied bytes, made on first use.
    CQorArray<CString> Files( int64 Count, int64 Size )
    {
        const std::string Tree = "tree_" + std::to_string( Count ) + "_" + std::to_string( Size );
        CQorArray<CString> Names;
        std::vector<char> Bytes( static_cast<size_t>( Size ) );
        for ( int64 File = 0; File < Count; ++File )
        {
            const std::string Name = Tree + "/file_" + std::to_string( File ) + ".bin";
            if ( !std::filesystem::exists( _Directory / Name ) )
            {
                for ( size_t i = 0; i < Bytes.size(); ++i )
                {
                    Bytes[ i ] = char( ( i + size_t( File ) ) * 2654435761u >> 24 );
                }
                std::filesystem::create_directories( _Directory / Tree );
                std::ofstream( _Directory / Name, std::ios::binary ).write( Bytes.data(), std::streamsize( Size ) );
            }
            Names.Add( CString( Name.c_str() ) );
        }
        return Names;
    }
    const std::filesystem::path& Directory() const { return _Directory; }

private:
    std::filesystem::path _Directory;
};

CTreeWorkload& GetWorkload()
{
    static CTreeWorkload s_Workload;
    return s_Workload;
}

void HashTree( benchmark::State& State, bool bPools )
{
    const CQorArray<CString> Files = GetWorkload().Files( State.range( 0 ), State.range( 1 ) );
    VFSSetAllowMainThreadOpen( true );
    if ( !VFSInit( nullptr, nullptr, false ) || !VFSMountDir( GetWorkload().Directory().c_str() ) )
    {
        State.SkipWithError( "the file system did not start" );
        VFSShutdown();
        return;
    }
    if ( bPools )
    {
        StartTaskThreads( 0xFFFFFFFF );
    }
    for ( auto _ : State )
    {
        CQorArray<MD5> Checksums;
        MD5 Final;
        CString Errors;
        if ( !HashChecksumFiles( Files, Checksums, Final, Errors ) )
        {
            State.SkipWithError( Errors.GetString() );
            break;
        }
        benchmark::DoNotOptimize( Final.hex_digest() );
    }
    if ( bPools )
    {
        ShutdownTaskThreads();
    }
    VFSShutdown();
    State.SetBytesProcessed( State.iterations() * State.range( 0 ) * State.range( 1 ) );
}

void Checksum_Qor( benchmark::State& State )
{
    HashTree( State, true );
}

void Checksum_SingleThread( benchmark::State& State )
{
    HashTree( State, false );
}
} // namespace

BENCHMARK( Checksum_Qor )->Args( { 64, 262144 } )->Args( { 1024, 4096 } )->UseRealTime();
BENCHMARK( Checksum_SingleThread )->Args( { 64, 262144 } )->Args( { 1024, 4096 } )->UseRealTime();
