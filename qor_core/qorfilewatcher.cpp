#include "qor_core/qorfilewatcher.h"

#include "qor_core/log_deprecated.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/thread/qor_thread.h"

int32 g_FileWatcherNotificationDelayMs = 100;

CQorFileWatcher::~CQorFileWatcher() = default;

int32 CQorFileWatcher::AddListener( const CString& Directory, bool bRecursive, const FFileChangedFunction& Function )
{
    CQorScopedPtr<SListener> pListener( new SListener{ _NextId, bRecursive, Directory, Function, {} } );
    CString Error;
    const char* pFailedCall = "";
    if ( !pListener->_Watch.Open( Directory, bRecursive, Error, &pFailedCall ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "%s failed: %s",
                   "CQorFileWatcher::AddListener", Error.GetData() );
        return -1;
    }
    _Listeners.Add( std::move( pListener ) );
    return _NextId++;
}

CQorArray<int32> CQorFileWatcher::AddListeners( const CQorArray<CString>& Directories, bool bRecursive,
                                                const FFileChangedFunction& Function )
{
    CQorArray<int32> Ids;
    CQorArray<CString> Failed;
    for ( const CString& Directory : Directories )
    {
        Ids.Add( AddListener( Directory, bRecursive, Function ) );
        if ( Ids.Back() < 0 )
        {
            Failed.Add( Directory );
        }
    }
    if ( !Failed.IsEmpty() )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "Error below for %i directories:",
                   Failed.GetSize() );
        for ( const CString& Directory : Failed )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "Directory: %s",
                       Directory.GetData() );
        }
    }
    return Ids;
}

void CQorFileWatcher::RemoveListener( int32 Id )
{
    QOR_ASSERT( NThreads::IsMainThread() );
    const int32 Index = _Listeners.FindIndexIf( [ Id ]( const CQorScopedPtr<SListener>& p ) { return p->_Id == Id; } );
    if ( Index < 0 )
    {
        return;
    }
    _Listeners.Remove( Index );
    for ( int32 i = _Pending.GetSize() - 1; i >= 0; --i )
    {
        if ( _Pending[ i ]._ListenerId == Id )
        {
            _Pending.Remove( i );
        }
    }
    CScopedLock<CMutex> Lock( &_QueueMutex );
    for ( int32 i = _Queue.GetSize() - 1; i >= 0; --i )
    {
        if ( _Queue[ i ]._ListenerId == Id )
        {
            _Queue.Remove( i );
        }
    }
}

CQorFileWatcher::SListener* CQorFileWatcher::FindListener( int32 Id )
{
    for ( CQorScopedPtr<SListener>& pListener : _Listeners )
    {
        if ( pListener->_Id == Id )
        {
            return pListener.Get();
        }
    }
    return nullptr;
}

void CQorFileWatcher::CollectChanges()
{
    CQorArray<NPlatform::SDirectoryChange> Changes;
    for ( CQorScopedPtr<SListener>& pListener : _Listeners )
    {
        Changes.Clear();
        CString Error;
        if ( !pListener->_Watch.Poll( Changes, Error ) )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "%s failed: %s", "read",
                       Error.GetData() );
            pListener->_Watch.Close();
        }
        CScopedLock<CMutex> Lock( &_QueueMutex );
        for ( NPlatform::SDirectoryChange& Change : Changes )
        {
            _Queue.Add( SQueuedChange{ pListener->_Id, std::move( Change ) } );
        }
    }
}

void CQorFileWatcher::Update()
{
    QOR_ASSERT( NThreads::IsMainThread() );
    CollectChanges();
    const uint64 NowNs = NPlatform::GetHighResolutionTimeNs();
    {
        CScopedLock<CMutex> Lock( &_QueueMutex );
        for ( SQueuedChange& Queued : _Queue )
        {
            SPendingFile* pPending = _Pending.FindIf( [ & ]( const SPendingFile& Pending ) {
                return Pending._ListenerId == Queued._ListenerId && Pending._Change._Path == Queued._Change._Path;
            } );
            if ( pPending )
            {
                // A new change of a pending file moves its time forward: a burst gives one notification.
                pPending->_Change._Change = Queued._Change._Change;
                pPending->_LastChangeNs = NowNs;
            }
            else
            {
                _Pending.Add( SPendingFile{ Queued._ListenerId, std::move( Queued._Change ), NowNs } );
            }
        }
        _Queue.Clear();
    }
    const uint64 DelayNs = uint64( std::max( g_FileWatcherNotificationDelayMs, 0 ) ) * 1000000u;
    CQorArray<SPendingFile> Due;
    for ( int32 i = 0; i < _Pending.GetSize(); )
    {
        if ( NowNs - _Pending[ i ]._LastChangeNs >= DelayNs )
        {
            Due.Add( std::move( _Pending[ i ] ) );
            _Pending.Remove( i );
        }
        else
        {
            ++i;
        }
    }
    // Listeners may add or remove listeners from their function: they are looked up again for each record.
    for ( const SPendingFile& File : Due )
    {
        if ( SListener* pListener = FindListener( File._ListenerId ) )
        {
            const FFileChangedFunction Function = pListener->_Function;
            Function( File._Change._Path, File._Change._Change );
        }
    }
}
