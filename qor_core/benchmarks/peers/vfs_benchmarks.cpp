// Read throughput of the virtual file system: one file of Arg MiB, read from start to end in 1 MiB blocks per
// iteration, through VFSOpen / VFSRead with the 1 MiB buffer CArchiveFile uses (Qor), through CArchiveFile
// itself (QorArchiveFile), through PhysFS called directly without a buffer (PhysFS) and with the same buffer
// (PhysFSBuffered), and through plain read(2) on the same file (Read), the physical reference. The file lives
// in the temporary directory and stays in the page cache after the first pass, so the figures are the cost of
// the layers over a memory copy. All report bytes per second; open and close are inside the loop, as a loader
// opens each file once.

#include "qor_core/file.h"
#include "qor_core/virtualfilesystem.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <physfs.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace
{
constexpr int64 c_BlockSize = 1 << 20;

// The directory with one file per size asked for, removed at exit.
class CReadWorkload
{
public:
    CReadWorkload() : _Directory( std::filesystem::temp_directory_path() / ( "qor_vfs_bench_" + std::to_string( getpid() ) ) )
    {
        std::filesystem::create_directories( _Directory );
    }
    ~CReadWorkload()
    {
        std::error_code Error;
        std::filesystem::remove_all( _Directory, Error );
    }
    // The name of a file of MiB mebibytes of varied bytes, made on first use.
    std::string FileName( int64 MiB )
    {
        const std::string Name = "read_" + std::to_string( MiB ) + ".bin";
        if ( !std::filesystem::exists( _Directory / Name ) )
        {
            std::vector<char> Block( c_BlockSize );
            for ( size_t i = 0; i < Block.size(); ++i )
            {
                Block[ i ] = char( i * 2654435761u >> 24 );
            }
            std::ofstream Stream( _Directory / Name, std::ios::binary );
            for ( int64 i = 0; i < MiB; ++i )
            {
                Stream.write( Block.data(), std::streamsize( Block.size() ) );
            }
        }
        return Name;
    }
    std::string Path( const std::string& Name ) const { return ( _Directory / Name ).string(); }
    const std::filesystem::path& Directory() const { return _Directory; }

private:
    std::filesystem::path _Directory;
};

CReadWorkload& GetWorkload()
{
    static CReadWorkload s_Workload;
    return s_Workload;
}

// The file system over the workload's directory for one run of a body.
class CFileSystemSession
{
public:
    CFileSystemSession()
    {
        VFSSetAllowMainThreadOpen( true );
        _bStarted = VFSInit( nullptr, nullptr, false ) && VFSMountDir( GetWorkload().Directory().c_str() );
    }
    ~CFileSystemSession() { VFSShutdown(); }
    bool IsStarted() const { return _bStarted; }

private:
    bool _bStarted;
};

void VfsRead_Qor( benchmark::State& State )
{
    const std::string Name = GetWorkload().FileName( State.range( 0 ) );
    CFileSystemSession Session;
    std::vector<char> Block( c_BlockSize );
    for ( auto _ : State )
    {
        CVFSOpenResult Result = VFSOpen( CQorStringView( Name.c_str() ), CFile::OPEN_READ, CArchiveFile::c_BufferSize );
        if ( Result.IsFailure() )
        {
            State.SkipWithError( Result.GetError().GetData() );
            break;
        }
        SVFSFile* pFile = Result.MoveValue();
        while ( VFSRead( pFile, Block.data(), Block.size() ) > 0 )
        {
            benchmark::DoNotOptimize( Block.data() );
        }
        VFSClose( pFile );
    }
    State.SetBytesProcessed( State.iterations() * State.range( 0 ) * c_BlockSize );
}

void VfsRead_QorArchiveFile( benchmark::State& State )
{
    const std::string Name = GetWorkload().FileName( State.range( 0 ) );
    CFileSystemSession Session;
    std::vector<char> Block( c_BlockSize );
    for ( auto _ : State )
    {
        CArchiveFile File( CString( Name.c_str() ), 0, CFile::OPEN_READ );
        while ( File.Read( Block.data(), int32( Block.size() ) ) )
        {
            benchmark::DoNotOptimize( Block.data() );
        }
    }
    State.SetBytesProcessed( State.iterations() * State.range( 0 ) * c_BlockSize );
}

// PhysFS called directly; a buffer of nBufferSize copies each byte once into it and once out of it.
void ReadThroughPhysFS( benchmark::State& State, uint64 nBufferSize )
{
    const std::string Name = GetWorkload().FileName( State.range( 0 ) );
    CFileSystemSession Session;
    std::vector<char> Block( c_BlockSize );
    for ( auto _ : State )
    {
        PHYSFS_File* pFile = PHYSFS_openRead( Name.c_str() );
        if ( nBufferSize != 0 )
        {
            PHYSFS_setBuffer( pFile, nBufferSize );
        }
        while ( PHYSFS_readBytes( pFile, Block.data(), Block.size() ) > 0 )
        {
            benchmark::DoNotOptimize( Block.data() );
        }
        PHYSFS_close( pFile );
    }
    State.SetBytesProcessed( State.iterations() * State.range( 0 ) * c_BlockSize );
}

void VfsRead_PhysFS( benchmark::State& State )
{
    ReadThroughPhysFS( State, 0 );
}

void VfsRead_PhysFSBuffered( benchmark::State& State )
{
    ReadThroughPhysFS( State, CArchiveFile::c_BufferSize );
}

void VfsRead_Read( benchmark::State& State )
{
    const std::string Path = GetWorkload().Path( GetWorkload().FileName( State.range( 0 ) ) );
    std::vector<char> Block( c_BlockSize );
    for ( auto _ : State )
    {
        const int Fd = open( Path.c_str(), O_RDONLY | O_CLOEXEC );
        while ( read( Fd, Block.data(), Block.size() ) > 0 )
        {
            benchmark::DoNotOptimize( Block.data() );
        }
        close( Fd );
    }
    State.SetBytesProcessed( State.iterations() * State.range( 0 ) * c_BlockSize );
}
} // namespace

BENCHMARK( VfsRead_Qor )->Arg( 64 )->Unit( benchmark::kMillisecond );
BENCHMARK( VfsRead_QorArchiveFile )->Arg( 64 )->Unit( benchmark::kMillisecond );
BENCHMARK( VfsRead_PhysFS )->Arg( 64 )->Unit( benchmark::kMillisecond );
BENCHMARK( VfsRead_PhysFSBuffered )->Arg( 64 )->Unit( benchmark::kMillisecond );
BENCHMARK( VfsRead_Read )->Arg( 64 )->Unit( benchmark::kMillisecond );
