#include "qor_core/reloadmanager.h"

void CReloadDispatcher::Dispatch( const CString& Path, EFileChange Change )
{
    switch ( Change )
    {
    case EFileChange::Created:
        OnFileCreated( Path );
        break;
    case EFileChange::Written:
    case EFileChange::Renamed:
        OnFileChanged( Path );
        break;
    case EFileChange::Deleted:
        OnFileRemoved( Path );
        break;
    }
}

void CReloadableDispatcher::Register( const CString& Path, CReloadableInterface* pReloadable )
{
    _Entries.Add( SEntry{ Path, pReloadable } );
}

void CReloadableDispatcher::Unregister( CReloadableInterface* pReloadable )
{
    for ( int32 i = _Entries.GetSize() - 1; i >= 0; --i )
    {
        if ( _Entries[ i ]._pReloadable == pReloadable )
        {
            _Entries.Remove( i );
        }
    }
}

void CReloadableDispatcher::ReloadAll( const CString& Path )
{
    for ( const SEntry& Entry : _Entries )
    {
        if ( Entry._Path == Path )
        {
            Entry._pReloadable->Reload( Path );
        }
    }
}
