// Archives from outside (mods, downloads) through the virtual file system: the input is written to a file and
// mounted as an archive (a file, not memory: PhysFS 3.0.2 keeps a record of every memory mount), and when
// PhysFS takes it, every file the tree lists is opened, sized, read to its end in blocks, sought in and closed, and the archive taken out again. Nothing may crash or read out of bounds; a file never
// gives more bytes than its stated size; and the archive always comes out of the search path again (no handle
// is left open).

#include "fuzz/fuzz_support.h"
#include "qor_core/file.h"
#include "qor_core/qor_assert.h"
#include "qor_core/virtualfilesystem.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
// Hostile data may trip the enumeration's reports (a symbolic link in an archive): they are reports, not faults.
void IgnoreAssert( const char*, const char*, uint32, bool, bool* pBreak, bool* )
{
    *pBreak = false;
}

void Check( bool bCondition, const char* pWhat )
{
    if ( !bCondition )
    {
        std::fprintf( stderr, "archive fuzz: %s\n", pWhat );
        std::abort();
    }
}

std::string g_ArchivePath;

void Shutdown()
{
    VFSShutdown();
    std::remove( g_ArchivePath.c_str() );
}

bool Initialise()
{
    NFuzz::DropLogLines();
    SetAssertHandler( &IgnoreAssert );
    VFSSetAllowMainThreadOpen( true );
    g_ArchivePath = "/tmp/qor_archive_fuzz_" + std::to_string( getpid() ) + ".zip";
    std::atexit( &Shutdown );
    return VFSInit( nullptr, nullptr, false );
}

// Enough to pass the inflater's window many times over; a bomb's remainder is left unread.
constexpr uint64 c_MaxBytesPerFile = 4 << 20;
} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bInitialised = Initialise();
    Check( s_bInitialised, "the file system did not start" );
    FILE* pArchive = std::fopen( g_ArchivePath.c_str(), "wb" );
    Check( pArchive != nullptr && std::fwrite( pData, 1, Size, pArchive ) == Size && std::fclose( pArchive ) == 0,
           "the input could not be written" );
    if ( !VFSMountDir( g_ArchivePath.c_str() ) )
    {
        return 0;
    }
    CQorArray<CString> Files;
    VFSEnumerate( "", Files, "", "", 16 );
    std::vector<uint8_t> Block( 65536 );
    for ( const CString& Name : Files )
    {
        CVFSOpenResult Result = VFSOpen( Name, CFile::OPEN_READ, Name.GetSize() % 2 ? CArchiveFile::c_BufferSize : 0 );
        if ( Result.IsFailure() )
        {
            continue;
        }
        SVFSFile* pFile = Result.MoveValue();
        const int64 nStated = VFSFileSize( pFile );
        uint64 nTotal = 0;
        for ( uint64 nRead; nTotal < c_MaxBytesPerFile && ( nRead = VFSRead( pFile, Block.data(), Block.size() ) ) > 0; )
        {
            nTotal += nRead;
        }
        Check( nStated < 0 || nTotal <= uint64( nStated ), "a file gave more than its stated size" );
        if ( nStated > 0 && VFSSeek( pFile, nStated / 2, 0 ) )
        {
            VFSRead( pFile, Block.data(), 16 );
        }
        VFSChecksum( pFile, 4096 );
        VFSClose( pFile );
    }
    Check( VFSUnmount( g_ArchivePath.c_str() ), "the archive could not be taken out of the search path" );
    return 0;
}
