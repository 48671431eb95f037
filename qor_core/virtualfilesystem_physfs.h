#pragma once

// The layer between the virtual file system and PhysFS. PhysFS is called through its published interface
// only; what the file system needs beyond it is kept here:
// - PhysFS's memory comes from one CQorFixedAllocator, installed before PhysFS starts and destroyed after it
//   stops, so that the file system stays within its budget;
// - a copy of the search path, refreshed after each change, so that the index of an entry (0 the front, the
//   entry that wins) can be told without asking PhysFS for a fresh list;
// - a frozen configuration: before FreezeConfig, changes of the search path and write directory and reads of
//   the copy take one recursive mutex; once frozen, a change is refused (asserted as
//   _FrozenConfig.Get() == false) and reads take no lock, since nothing can change under them;
// - enumeration that tells from which search path entry each name came.
// Only this unit and virtualfilesystem.cpp include physfs.h.

#include "qor_core/allocator/qor_fixed_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_types.h"

#include <climits>

namespace NPhysFSLayer
{
// Makes the fixed allocator of nBytes and hands it to PhysFS. REQUIRES: PhysFS not initialised, and no
// allocator installed; otherwise false.
bool InstallAllocator( uint64 nBytes );
// Destroys the allocator. REQUIRES: PhysFS deinitialised, so that nothing of it is live.
void DestroyAllocator();
// Null when none is installed.
CQorFixedAllocator* GetAllocator();

// The text of PhysFS's last error on this thread, or null when there is none.
const char* GetLastErrorText();
// The same, with "<error>" standing in for none.
const char* GetLastErrorTextOrPlaceholder();

// Ends changes of the configuration: afterwards reads take no lock. Unfreeze belongs to shutdown only.
void FreezeConfig();
void UnfreezeConfig();
bool IsConfigFrozen();

// PHYSFS_mount under the configuration's lock; the search path copy is refreshed afterwards. False, with the
// report, when the configuration is frozen.
bool Mount( const char* pPath, const char* pMountPoint, bool bAppend );
// PHYSFS_mountMemory at the root, prepending, with no callback to free the bytes.
bool MountMemory( const void* pData, uint64 Size, const char* pName );
bool Unmount( const char* pPath );
// Takes the entry pReplaced out of the search path and puts pReplacing, also mounted, in its place; the
// entries in front of the two are mounted again behind one another, as they stood. False, with the search path
// as it was, when an entry that has to come out has files open or either isn't mounted.
bool ReplaceEntry( const char* pReplaced, const char* pReplacing );
bool SetWriteDir( const char* pPath );
// Fetches PhysFS's search path into the copy, with every '\\' turned into '/'.
void RefreshSearchPath();
// Empties the copy (shutdown).
void ClearSearchPath();
// The copy, front first.
CQorArray<CString> GetSearchPath();
// The index in the search path of the entry that holds Path, or INT_MAX when none does.
int32 GetOriginIndex( const char* pPath );

// Receives each name of a directory with the index of the search path entry it came from. Return false to stop.
using FEnumerateCallback = bool ( * )( void* pUser, const char* pDir, const char* pName, int32 nArchive );
// Lists Dir through PhysFS's callback enumeration, in search path order, each name once. False when PhysFS
// reports an error (its text stays PhysFS's last error).
bool EnumerateWithOrigin( const char* pDir, FEnumerateCallback Callback, void* pUser );
} // namespace NPhysFSLayer
