#pragma once

// CQorFileWatcher tells the program that files below watched directories have changed, so that settings and
// resources can reload while it runs. Each listener watches one directory (and, when recursive, the
// subdirectories as they appear) through the platform's directory watch. Update(), on the main thread,
// drains what the listeners saw into a queue, then into pending records, one per listener and file; a record
// is dispatched once its last change is more than "CFilewatcher.NotificationDelay" milliseconds old, so that
// a save that touches a file several times makes one notification, after the last touch, with the last kind.

#include "qor_core/container/qor_array.h"
#include "qor_core/platform/qor_clock.h"
#include "qor_core/platform/qor_directory_watch.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/thread/qor_mutex.h"

#include <boost/function.hpp>

using EFileChange = NPlatform::EDirectoryChange;
// Receives the path below the listener's directory and the kind of the last change.
using FFileChangedFunction = boost::function<void( const CString& Path, EFileChange Change )>;

// The tweakable "CFilewatcher.NotificationDelay": milliseconds a file must stay quiet before it is reported.
extern int32 g_FileWatcherNotificationDelayMs;

class CQorFileWatcher
{
public:
    CQorFileWatcher() = default;
    ~CQorFileWatcher();
    CQorFileWatcher( const CQorFileWatcher& ) = delete;
    CQorFileWatcher& operator=( const CQorFileWatcher& ) = delete;

    // Starts a listener; its id, or -1 after the log line "CQorFileWatcher::AddListener failed: <reason>".
    int32 AddListener( const CString& Directory, bool bRecursive, const FFileChangedFunction& Function );
    // Starts a listener for each directory; the failures are logged together under "Error below for %i
    // directories:", one "Directory: %s" line each. The ids, -1 for those that failed.
    CQorArray<int32> AddListeners( const CQorArray<CString>& Directories, bool bRecursive,
                                   const FFileChangedFunction& Function );
    // REQUIRES: the main thread. Pending changes of the listener are dropped.
    void RemoveListener( int32 Id );
    // Delivers the changes that have been quiet for the delay. REQUIRES: the main thread.
    void Update();

    int32 GetNumListeners() const { return _Listeners.GetSize(); }
    int32 GetNumPending() const { return _Pending.GetSize(); }

private:
    struct SListener
    {
        int32 _Id;
        bool _bRecursive;
        CString _Directory;
        FFileChangedFunction _Function;
        NPlatform::CDirectoryWatch _Watch;
    };
    struct SQueuedChange
    {
        int32 _ListenerId;
        NPlatform::SDirectoryChange _Change;
    };
    struct SPendingFile
    {
        int32 _ListenerId;
        NPlatform::SDirectoryChange _Change;
        uint64 _LastChangeNs;
    };

    SListener* FindListener( int32 Id );
    // Moves what the listeners saw into the queue; a listener whose read fails is logged and stopped.
    void CollectChanges();

    CQorArray<CQorScopedPtr<SListener>> _Listeners;
    CMutex _QueueMutex{ "file_watcher_queue" };
    CQorArray<SQueuedChange> _Queue;
    CQorArray<SPendingFile> _Pending;
    int32 _NextId = 0;
};
