#include "qor_core/platform/qor_native_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace NPlatform
{
FileHandle OpenFile( const char* pPath, uint32 Mode )
{
    int Flags = O_CLOEXEC;
    switch ( Mode )
    {
    case 0:
        Flags |= O_RDONLY;
        break;
    case 1:
        Flags |= O_WRONLY | O_CREAT | O_TRUNC;
        break;
    case 2:
        Flags |= O_WRONLY | O_CREAT | O_APPEND;
        break;
    default:
        errno = EINVAL;
        return INVALID_FILE_HANDLE;
    }
    int Handle;
    do
    {
        Handle = ::open( pPath, Flags, 0644 );
    } while ( Handle < 0 && errno == EINTR );
    return Handle < 0 ? INVALID_FILE_HANDLE : Handle;
}

void CloseFile( FileHandle Handle )
{
    // Linux releases the descriptor even when close reports EINTR: retrying could close another file's.
    ::close( Handle );
}

int64 ReadFile( FileHandle Handle, void* pData, int64 Size )
{
    int64 nDone = 0;
    while ( nDone < Size )
    {
        const ssize_t nRead = ::read( Handle, static_cast<char*>( pData ) + nDone, size_t( Size - nDone ) );
        if ( nRead < 0 && errno == EINTR )
        {
            continue;
        }
        if ( nRead <= 0 )
        {
            return nRead < 0 && nDone == 0 ? -1 : nDone;
        }
        nDone += nRead;
    }
    return nDone;
}

int64 WriteFile( FileHandle Handle, const void* pData, int64 Size )
{
    int64 nDone = 0;
    while ( nDone < Size )
    {
        const ssize_t nWritten =
            ::write( Handle, static_cast<const char*>( pData ) + nDone, size_t( Size - nDone ) );
        if ( nWritten < 0 && errno == EINTR )
        {
            continue;
        }
        if ( nWritten <= 0 )
        {
            break;
        }
        nDone += nWritten;
    }
    return nDone;
}

bool SeekFile( FileHandle Handle, int64 Position )
{
    return ::lseek( Handle, off_t( Position ), SEEK_SET ) == off_t( Position );
}

int64 GetFileSize( FileHandle Handle )
{
    struct stat Stat;
    return ::fstat( Handle, &Stat ) == 0 ? int64( Stat.st_size ) : -1;
}

uint64 GetFileModifiedTime( FileHandle Handle )
{
    struct stat Stat;
    return ::fstat( Handle, &Stat ) == 0 ? uint64( Stat.st_mtime ) : 0;
}

bool FileExists( const char* pPath )
{
    struct stat Stat;
    return ::stat( pPath, &Stat ) == 0;
}
} // namespace NPlatform
