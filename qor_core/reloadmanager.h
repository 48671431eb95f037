#pragma once

// What connects a changed file to what must reload. A CReloadDispatcher is told of created, changed and
// removed files (the base does nothing with them); CBoostFuncReloadDispatcher hands each to one function.
// A CReloadableInterface is a thing that can load itself again; CReloadableDispatcher reloads the ones
// registered for a path when that file changes.

#include "qor_core/container/qor_array.h"
#include "qor_core/qorfilewatcher.h"
#include "qor_core/qor_string.h"

#include <boost/function.hpp>

class CReloadDispatcher
{
public:
    virtual ~CReloadDispatcher() = default;
    virtual void OnFileCreated( const CString& ) {}
    virtual void OnFileChanged( const CString& ) {}
    virtual void OnFileRemoved( const CString& ) {}

    // Created to OnFileCreated, written and renamed to OnFileChanged, deleted to OnFileRemoved.
    void Dispatch( const CString& Path, EFileChange Change );
};

class CBoostFuncReloadDispatcher : public CReloadDispatcher
{
public:
    using FReloadFunction = boost::function<void( const CString& Path )>;

    explicit CBoostFuncReloadDispatcher( FReloadFunction Function ) : _Function( std::move( Function ) ) {}
    void OnFileCreated( const CString& Path ) override { _Function( Path ); }
    void OnFileChanged( const CString& Path ) override { _Function( Path ); }
    void OnFileRemoved( const CString& Path ) override { _Function( Path ); }

private:
    FReloadFunction _Function;
};

class CReloadableInterface
{
public:
    virtual ~CReloadableInterface() = default;
    // Loads again from Path; false when that failed (the old state should stay).
    virtual bool Reload( const CString& Path ) = 0;
};

// Reloads the things registered for a path when the file is created or changed; removal reloads nothing.
class CReloadableDispatcher : public CReloadDispatcher
{
public:
    // REQUIRES: pReloadable outlives its registration.
    void Register( const CString& Path, CReloadableInterface* pReloadable );
    void Unregister( CReloadableInterface* pReloadable );
    void OnFileCreated( const CString& Path ) override { ReloadAll( Path ); }
    void OnFileChanged( const CString& Path ) override { ReloadAll( Path ); }

private:
    void ReloadAll( const CString& Path );

    struct SEntry
    {
        CString _Path;
        CReloadableInterface* _pReloadable;
    };
    CQorArray<SEntry> _Entries;
};
