#include "qor_core/virtualfilesystem_physfs.h"

#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/thread/qor_mutex.h"

#include <physfs.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>

namespace NPhysFSLayer
{
namespace
{
CQorScopedPtr<CQorFixedAllocator> s_pAllocator;

// The frozen flag, read without a lock on every read of the configuration.
struct SFrozenFlag
{
    bool Get() const { return _bFrozen.load( std::memory_order_acquire ); }
    void Set( bool bFrozen ) { _bFrozen.store( bFrozen, std::memory_order_release ); }
    std::atomic<bool> _bFrozen{ false };
};
SFrozenFlag _FrozenConfig;
CRecursiveMutex s_ConfigMutex;
CQorArray<CString> s_SearchPath;

// An archive mounted from memory, by the name it has in the search path: what it takes to mount it again.
struct SMemoryMount
{
    CString _Name;
    const void* _pData;
    uint64 _Size;
};
CQorArray<SMemoryMount> s_MemoryMounts;

int32 FindMemoryMount( const CString& Name )
{
    return s_MemoryMounts.FindIndexIf( [ & ]( const SMemoryMount& Mount ) { return Mount._Name == Name; } );
}

// Takes the configuration's lock unless the configuration is frozen.
class CConfigReadLock
{
public:
    CConfigReadLock() : _bLocked( !_FrozenConfig.Get() )
    {
        if ( _bLocked )
        {
            s_ConfigMutex.Lock();
        }
    }
    ~CConfigReadLock()
    {
        if ( _bLocked )
        {
            s_ConfigMutex.Unlock();
        }
    }
    CConfigReadLock( const CConfigReadLock& ) = delete;
    CConfigReadLock& operator=( const CConfigReadLock& ) = delete;

private:
    bool _bLocked;
};

// A change of the configuration: asserted and refused once frozen.
bool MayChangeConfig()
{
    QOR_ASSERT( _FrozenConfig.Get() == false );
    return _FrozenConfig.Get() == false;
}

// PhysFS's live blocks and their sizes. PhysFS stores pointers and structures in its blocks, so they are aligned
// as malloc's are; the allocator's own reallocation (alignment 1) can't serve, and the sizes tell how much a
// reallocation copies. PhysFS 3.0.2 also loses a few blocks for good (reading from a 7z archive, a memory
// mount): after deinit nothing of PhysFS can reach them, so they are released with the allocator instead of
// keeping its whole buffer alive.
constexpr uint32 c_PhysFSAlignment = 16;
CMutex s_BlocksMutex( "physfs_blocks" );
NQorUnorderedMap::CQorUnorderedMap<void*, uint64> s_LiveBlocks;

void* PhysFSMalloc( PHYSFS_uint64 nBytes )
{
    // PhysFS may ask for 0 bytes; the allocator wants at least one.
    const uint64 nSize = nBytes > 0 ? nBytes : 1;
    void* pBlock = s_pAllocator->Allocate( nSize, c_PhysFSAlignment );
    if ( pBlock != nullptr )
    {
        CScopedLock<CMutex> Lock( &s_BlocksMutex );
        s_LiveBlocks.Insert( pBlock, nSize );
    }
    return pBlock;
}

void PhysFSFree( void* pAddress )
{
    if ( pAddress == nullptr )
    {
        return;
    }
    {
        CScopedLock<CMutex> Lock( &s_BlocksMutex );
        s_LiveBlocks.Remove( pAddress );
    }
    s_pAllocator->Deallocate( pAddress );
}

void* PhysFSRealloc( void* pAddress, PHYSFS_uint64 nBytes )
{
    if ( pAddress == nullptr )
    {
        return PhysFSMalloc( nBytes );
    }
    uint64 nOldSize = 0;
    {
        CScopedLock<CMutex> Lock( &s_BlocksMutex );
        if ( uint64* pSize = s_LiveBlocks.FindValue( pAddress ) )
        {
            nOldSize = *pSize;
        }
    }
    void* pBlock = PhysFSMalloc( nBytes );
    // A failed reallocation leaves the old block as it was.
    if ( pBlock != nullptr )
    {
        memcpy( pBlock, pAddress, std::min<uint64>( nOldSize, nBytes ) );
        PhysFSFree( pAddress );
    }
    return pBlock;
}

void RefreshSearchPathLocked()
{
    s_SearchPath.Clear();
    char** ppList = PHYSFS_getSearchPath();
    if ( ppList == nullptr )
    {
        return;
    }
    for ( char** ppEntry = ppList; *ppEntry != nullptr; ++ppEntry )
    {
        CString Entry( *ppEntry );
        Entry.Replace( '\\', '/' );
        s_SearchPath.Add( std::move( Entry ) );
    }
    PHYSFS_freeList( ppList );
}

struct SMountedEntry
{
    CString _Path;
    CString _MountPoint;
};

// Mounts the entries back at the front of the search path so that the first of them leads; false when one
// of them would not mount.
bool MountAtFront( const CQorArray<SMountedEntry>& Entries )
{
    bool bAll = true;
    for ( int32 i = Entries.GetSize() - 1; i >= 0; --i )
    {
        const SMountedEntry& Entry = Entries[ i ];
        const int32 nMemory = FindMemoryMount( Entry._Path );
        const char* pPath = Entry._Path.GetData();
        const char* pMountPoint = Entry._MountPoint.GetData();
        const bool bMounted = nMemory >= 0 ? PHYSFS_mountMemory( s_MemoryMounts[ nMemory ]._pData,
                                                                 s_MemoryMounts[ nMemory ]._Size, nullptr, pPath,
                                                                 pMountPoint, 0 ) != 0
                                           : PHYSFS_mount( pPath, pMountPoint, 0 ) != 0;
        bAll = bAll && bMounted;
    }
    return bAll;
}

// Runs a change of the search path under the configuration's lock, and refreshes the copy when it took.
template <typename ChangeT>
bool ChangeSearchPath( ChangeT Change )
{
    if ( !MayChangeConfig() )
    {
        return false;
    }
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    const bool bChanged = Change();
    if ( bChanged )
    {
        RefreshSearchPathLocked();
    }
    return bChanged;
}

struct SEnumerateContext
{
    SEnumerateContext( FEnumerateCallback InCallback, void* pInUser ) : Callback( InCallback ), pUser( pInUser ) {}

    FEnumerateCallback Callback;
    void* pUser;
    // PhysFS visits every search path entry that has the directory: a name seen in an earlier entry is
    // shadowed by it.
    NQorUnorderedSet::CQorUnorderedSet<std::string> Seen;
    std::string Path;
    bool bStopped = false;
};

PHYSFS_EnumerateCallbackResult EnumerateOne( void* pData, const char* pOrigDir, const char* pName )
{
    SEnumerateContext& Context = *static_cast<SEnumerateContext*>( pData );
    if ( !Context.Seen.Insert( std::string( pName ) ).second )
    {
        return PHYSFS_ENUM_OK;
    }
    Context.Path.assign( pOrigDir );
    if ( !Context.Path.empty() && Context.Path.back() != '/' )
    {
        Context.Path += '/';
    }
    Context.Path += pName;
    if ( !Context.Callback( Context.pUser, pOrigDir, pName, GetOriginIndex( Context.Path.c_str() ) ) )
    {
        Context.bStopped = true;
        return PHYSFS_ENUM_STOP;
    }
    return PHYSFS_ENUM_OK;
}
} // namespace

bool InstallAllocator( uint64 nBytes )
{
    if ( s_pAllocator || PHYSFS_isInit() )
    {
        return false;
    }
    s_pAllocator.Reset( new CQorFixedAllocator( nBytes ) );
    PHYSFS_Allocator Allocator{ nullptr, nullptr, &PhysFSMalloc, &PhysFSRealloc, &PhysFSFree };
    if ( PHYSFS_setAllocator( &Allocator ) == 0 )
    {
        s_pAllocator.Reset();
        return false;
    }
    return true;
}

void DestroyAllocator()
{
    QOR_ASSERT( !PHYSFS_isInit() );
    if ( !PHYSFS_isInit() )
    {
        // Back to PhysFS's own allocator, so that a later start without the library's finds no dangling hook.
        PHYSFS_setAllocator( nullptr );
        CScopedLock<CMutex> Lock( &s_BlocksMutex );
        if ( !s_LiveBlocks.IsEmpty() && s_pAllocator )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ),
                       "PhysFS left %d blocks behind; they go with its memory", int32( s_LiveBlocks.GetSize() ) );
            for ( const auto& Block : s_LiveBlocks )
            {
                s_pAllocator->Deallocate( Block.Key );
            }
        }
        s_LiveBlocks.Clear();
        s_pAllocator.Reset();
    }
}

CQorFixedAllocator* GetAllocator()
{
    return s_pAllocator.Get();
}

const char* GetLastErrorText()
{
    const PHYSFS_ErrorCode Code = PHYSFS_getLastErrorCode();
    return Code == PHYSFS_ERR_OK ? nullptr : PHYSFS_getErrorByCode( Code );
}

const char* GetLastErrorTextOrPlaceholder()
{
    const char* pText = GetLastErrorText();
    return pText ? pText : "<error>";
}

void FreezeConfig()
{
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    _FrozenConfig.Set( true );
}

void UnfreezeConfig()
{
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    _FrozenConfig.Set( false );
}

bool IsConfigFrozen()
{
    return _FrozenConfig.Get();
}

bool Mount( const char* pPath, const char* pMountPoint, bool bAppend )
{
    return ChangeSearchPath( [ & ] { return PHYSFS_mount( pPath, pMountPoint, bAppend ? 1 : 0 ) != 0; } );
}

bool MountMemory( const void* pData, uint64 Size, const char* pName )
{
    return ChangeSearchPath( [ & ] {
        if ( PHYSFS_mountMemory( pData, Size, nullptr, pName, nullptr, 0 ) == 0 )
        {
            return false;
        }
        if ( FindMemoryMount( CString( pName ) ) < 0 )
        {
            s_MemoryMounts.Add( SMemoryMount{ CString( pName ), pData, Size } );
        }
        return true;
    } );
}

bool Unmount( const char* pPath )
{
    return ChangeSearchPath( [ & ] {
        if ( PHYSFS_unmount( pPath ) == 0 )
        {
            return false;
        }
        if ( const int32 nMemory = FindMemoryMount( CString( pPath ) ); nMemory >= 0 )
        {
            s_MemoryMounts.Remove( nMemory );
        }
        return true;
    } );
}

bool ReplaceEntry( const char* pReplaced, const char* pReplacing )
{
    if ( !MayChangeConfig() )
    {
        return false;
    }
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    const int32 nReplaced = s_SearchPath.FindIndex( CString( pReplaced ) );
    const int32 nReplacing = s_SearchPath.FindIndex( CString( pReplacing ) );
    if ( nReplaced < 0 || nReplacing < 0 )
    {
        PHYSFS_setErrorCode( PHYSFS_ERR_NOT_MOUNTED );
        return false;
    }
    // PhysFS mounts only at either end: the entries down to the deeper of the two come out, front first,
    // and go back in at the front in their new order.
    const int32 nCount = std::max( nReplaced, nReplacing ) + 1;
    CQorArray<SMountedEntry> Removed;
    for ( int32 i = 0; i < nCount; ++i )
    {
        const char* pMountPoint = PHYSFS_getMountPoint( s_SearchPath[ i ].GetData() );
        SMountedEntry Entry{ s_SearchPath[ i ], CString( pMountPoint ? pMountPoint : "/" ) };
        if ( PHYSFS_unmount( Entry._Path.GetData() ) == 0 )
        {
            // An entry with files open stays; the ones already out go back as they were.
            const PHYSFS_ErrorCode Error = PHYSFS_getLastErrorCode();
            MountAtFront( Removed );
            RefreshSearchPathLocked();
            PHYSFS_setErrorCode( Error );
            return false;
        }
        Removed.Add( std::move( Entry ) );
    }
    CQorArray<SMountedEntry> Order;
    for ( int32 i = 0; i < nCount; ++i )
    {
        if ( i != nReplacing )
        {
            Order.Add( Removed[ i == nReplaced ? nReplacing : i ] );
        }
    }
    const bool bMounted = MountAtFront( Order );
    if ( const int32 nMemory = FindMemoryMount( Removed[ nReplaced ]._Path ); nMemory >= 0 )
    {
        s_MemoryMounts.Remove( nMemory );
    }
    RefreshSearchPathLocked();
    return bMounted;
}

bool SetWriteDir( const char* pPath )
{
    if ( !MayChangeConfig() )
    {
        return false;
    }
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    return PHYSFS_setWriteDir( pPath ) != 0;
}

void RefreshSearchPath()
{
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    RefreshSearchPathLocked();
}

void ClearSearchPath()
{
    CScopedLock<CRecursiveMutex> Lock( &s_ConfigMutex );
    s_SearchPath.Clear();
    s_SearchPath.ShrinkToFit();
    s_MemoryMounts.Clear();
    s_MemoryMounts.ShrinkToFit();
}

CQorArray<CString> GetSearchPath()
{
    CConfigReadLock Lock;
    return s_SearchPath;
}

int32 GetOriginIndex( const char* pPath )
{
    CConfigReadLock Lock;
    const char* pRealDir = PHYSFS_getRealDir( pPath );
    if ( pRealDir == nullptr )
    {
        return INT_MAX;
    }
    CString RealDir( pRealDir );
    RealDir.Replace( '\\', '/' );
    const int32 nIndex = s_SearchPath.FindIndex( RealDir );
    return nIndex < 0 ? INT_MAX : nIndex;
}

bool EnumerateWithOrigin( const char* pDir, FEnumerateCallback Callback, void* pUser )
{
    CConfigReadLock Lock;
    SEnumerateContext Context( Callback, pUser );
    const int Result = PHYSFS_enumerate( pDir, &EnumerateOne, &Context );
    // A stop asked for by the callback is no error, though PhysFS reports it as one.
    return Result != 0 || Context.bStopped;
}
} // namespace NPhysFSLayer
