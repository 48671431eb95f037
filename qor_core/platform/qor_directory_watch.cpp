#include "qor_core/platform/qor_directory_watch.h"

#include <errno.h>
#include <string.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace NPlatform
{
namespace
{
// File names, last writes and creation, and what ends a watched directory.
constexpr uint32 c_WatchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE;

CString JoinPath( const CString& Directory, const char* pName )
{
    return Directory.IsEmpty() ? CString( pName ) : Directory + CQorStringView( "/" ) + CQorStringView( pName );
}

CString ErrnoText( int Error )
{
    return CString( std::error_code( Error, std::generic_category() ).message() );
}
} // namespace

CDirectoryWatch::~CDirectoryWatch()
{
    Close();
}

bool CDirectoryWatch::Open( const CString& Directory, bool bRecursive, CString& ErrorOut, const char** ppFailedCall )
{
    Close();
    _Fd = inotify_init1( IN_NONBLOCK | IN_CLOEXEC );
    if ( _Fd < 0 )
    {
        ErrorOut = ErrnoText( errno );
        *ppFailedCall = "inotify_init1";
        return false;
    }
    _Root = Directory;
    _bRecursive = bRecursive;
    if ( !AddTree( CString(), false, nullptr, ErrorOut ) )
    {
        *ppFailedCall = "inotify_add_watch";
        Close();
        return false;
    }
    return true;
}

void CDirectoryWatch::Close()
{
    if ( _Fd >= 0 )
    {
        close( _Fd );
        _Fd = -1;
    }
    _Paths.clear();
}

bool CDirectoryWatch::AddTree( const CString& Relative, bool bReportFiles, CQorArray<SDirectoryChange>* pOut,
                               CString& ErrorOut )
{
    const std::filesystem::path Full = Relative.IsEmpty() ? std::filesystem::path( _Root.GetStdString() )
                                                          : std::filesystem::path( _Root.GetStdString() ) / Relative.GetStdString();
    const int Wd = inotify_add_watch( _Fd, Full.c_str(), c_WatchMask | IN_ONLYDIR );
    if ( Wd < 0 )
    {
        ErrorOut = ErrnoText( errno );
        return false;
    }
    _Paths[ Wd ] = Relative;
    if ( !_bRecursive && !bReportFiles )
    {
        return true;
    }
    std::error_code Error;
    for ( std::filesystem::directory_iterator It( Full, Error ), End; !Error && It != End; It.increment( Error ) )
    {
        const CString Child = JoinPath( Relative, It->path().filename().c_str() );
        std::error_code TypeError;
        if ( It->is_directory( TypeError ) && !It->is_symlink( TypeError ) )
        {
            if ( _bRecursive )
            {
                // A subdirectory that vanishes meanwhile is no failure of the watch.
                CString Ignored;
                AddTree( Child, bReportFiles, pOut, Ignored );
            }
        }
        else if ( bReportFiles && pOut )
        {
            pOut->Add( SDirectoryChange{ Child, EDirectoryChange::Created } );
        }
    }
    return true;
}

bool CDirectoryWatch::Poll( CQorArray<SDirectoryChange>& Out, CString& ErrorOut )
{
    if ( _Fd < 0 )
    {
        return true;
    }
    alignas( inotify_event ) char Buffer[ 16384 ];
    for ( ;; )
    {
        const ssize_t nRead = read( _Fd, Buffer, sizeof( Buffer ) );
        if ( nRead < 0 )
        {
            if ( errno == EAGAIN || errno == EWOULDBLOCK )
            {
                return true;
            }
            if ( errno == EINTR )
            {
                continue;
            }
            ErrorOut = ErrnoText( errno );
            return false;
        }
        for ( ssize_t nAt = 0; nAt < nRead; )
        {
            inotify_event Event;
            memcpy( &Event, Buffer + nAt, sizeof( Event ) );
            const char* pName = Event.len > 0 ? Buffer + nAt + sizeof( inotify_event ) : "";
            nAt += ssize_t( sizeof( inotify_event ) + Event.len );
            const auto Found = _Paths.find( Event.wd );
            if ( Event.mask & IN_IGNORED )
            {
                if ( Found != _Paths.end() )
                {
                    _Paths.erase( Found );
                }
                continue;
            }
            if ( Found == _Paths.end() || *pName == '\0' )
            {
                continue;
            }
            const CString Path = JoinPath( Found->second, pName );
            if ( ( Event.mask & IN_ISDIR ) && ( Event.mask & ( IN_CREATE | IN_MOVED_TO ) ) )
            {
                if ( _bRecursive )
                {
                    CString Ignored;
                    AddTree( Path, true, &Out, Ignored );
                }
                continue;
            }
            if ( Event.mask & IN_ISDIR )
            {
                continue;
            }
            if ( Event.mask & IN_CREATE )
            {
                Out.Add( SDirectoryChange{ Path, EDirectoryChange::Created } );
            }
            else if ( Event.mask & ( IN_MODIFY | IN_CLOSE_WRITE ) )
            {
                Out.Add( SDirectoryChange{ Path, EDirectoryChange::Written } );
            }
            else if ( Event.mask & ( IN_MOVED_FROM | IN_MOVED_TO ) )
            {
                Out.Add( SDirectoryChange{ Path, EDirectoryChange::Renamed } );
            }
            else if ( Event.mask & IN_DELETE )
            {
                Out.Add( SDirectoryChange{ Path, EDirectoryChange::Deleted } );
            }
        }
    }
}
} // namespace NPlatform
