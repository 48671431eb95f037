#pragma once

// The virtual file system: one tree of forward-slash paths over a search path of game directories and
// archives (zip, 7z), with one write directory under the user's folder. PhysFS does the reading, writing and
// archive work; this unit adds the mount policy, the user directory, the opening rules, throttles, recursive
// enumeration with filters, the upper-case check of paths (on a "Verify Path" thread when one runs) and
// pre-enumeration through tasks. Every path is relative to the tree and written with '/' only; paths are
// meant to be lower case.
//
// Later mounts go to the front of the search path and win: game data overrides what was mounted before it.
// Mounting belongs to start-up (the search path must not change while files are enumerated); once the
// configuration is frozen (VFSFreezeConfig) a change is refused with a report and reads take no lock.
//
// On Linux the user's folder is PhysFS's preference directory for the organisation "Quorlax"
// ($XDG_DATA_HOME/Quorlax/<name>/, or ~/.local/share/Quorlax/<name>/), made when missing.
//
// Failures that a caller must expect (a missing file, a hostile archive) come back as error texts; misuse is
// asserted. Handles may be used from any thread, one thread at a time each.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_result.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"
#include "qor_core/stats/qor_memory_stats.h"

struct PHYSFS_File;

// An open file. Allocated by VFSOpen and freed by VFSClose: a closed handle is gone.
struct SVFSFile
{
    PHYSFS_File* _pFile = nullptr;
    bool _bIsWriteMode = false;
};

// The handle, or the text that says why there is none.
using CVFSOpenResult = CQorResult<SVFSFile*, CString>;

// Throughput limits in megabytes (2^20 bytes) per second of VFSRead and VFSWrite; 0 or below is no limit.
// The tweakables "ReadLimit" and "WriteLimit".
extern float g_VFSReadLimit;
extern float g_VFSWriteLimit;

// What the file system has read, written, opened and enumerated, from every thread.
CQorIOStats& GetIOStats();

// Starts PhysFS with its memory from a fixed allocator of max( 32, hardware threads + 32 ) MiB, or of
// max( 32, io_memory_mb ) MiB with that option on the command line. With pUserDirName the write directory is
// the user's folder of that name (nothing is mounted); otherwise, with bMountDefaults, the default game
// directories are mounted. False, with the error logged, when PhysFS can't start or the write directory
// can't be set. REQUIRES: not initialised.
bool VFSInit( const char* pArgv0, const char* pUserDirName, bool bMountDefaults );
// Ends pre-enumeration, forgets the mounts, stops PhysFS and destroys its allocator. Whether PhysFS stopped.
// Stops the verify thread first. REQUIRES: every handle closed (a file logger writing through the file system
// destroyed): otherwise nothing stops, since PhysFS would free handles still in use ("%d files are still open;
// the file system stays up").
bool VFSShutdown();
bool VFSIsInitialised();

// The user's folder of that name under "Quorlax", made when missing, in Out as UTF-8 with a trailing '/'.
// False, after the report "Could not write to user directory", when it can't be made.
bool VFSGetUserDir( const char* pName, CString& Out );
// Mounts "../halvorsund", then "../orlimo", then the first of "../game/", "../../game/", "../../../game/"
// that exists, each relative to pBase (the program's directory when null). Always true.
bool VFSMountDefaultDirs( const char* pBase );
// Mounts pBase (or the program's directory) plus pSubDir when given, else the first candidate that mounts,
// at the front. A miss is logged, not fatal. True when something was mounted.
bool VFSMountGameDataDir( const char* pBase, const CQorArray<CString>& Candidates, const char* pSubDir );
// Mounts a directory or an archive of the real file system at the root, at the front. A failure is logged
// as "Failed to mount '%s': %s" with PhysFS's reason.
bool VFSMountDir( const char* pPath );
// Mounts an archive held in memory (a download, say) at the root, at the front; pName, with its extension,
// names it in the search path. REQUIRES: the bytes stay until VFSUnmount( pName ).
bool VFSMountMemory( const void* pData, uint64 Size, const char* pName );
// Takes an entry out of the search path. False when it isn't there or has files open.
bool VFSUnmount( const char* pPath );
// The game data directories mounted so far, in mount order.
const CQorArray<CString>& VFSGetGameDataDirs();
// The last game data directory. REQUIRES: one is mounted ("No GameDataDirs mounted!"); empty otherwise.
CString VFSGetLastGameDataDir();
// Puts the game data directory at OriginalTailIndex in the place of the one at TailIndex, which is unmounted:
// a mod mounted last replaces the base game where it stood in the search path. Both indices count from the
// last mounted (0, the one that wins). REQUIRES: both in bounds ("Tail index out of bounds of mounted game
// data directory array. Index '%i'", "Original tail index out of bounds of mounted game data directory
// array. Index '%i'"). False, with nothing changed and the reason logged, when a directory that has to be
// mounted anew has files open.
bool VFSReplaceGameDataDir( int32 TailIndex, int32 OriginalTailIndex );
// The search path, front (winning) entry first.
CQorArray<CString> VFSGetSearchPath();
// The write directory as PhysFS has it, or empty.
CString VFSGetWriteDir();
void VFSFreezeConfig();
bool VFSIsConfigFrozen();

// Opens Name for OPEN_READ, OPEN_WRITE or OPEN_WRITE_APPEND (CFile's modes); writing creates the parent
// directories under the write directory. A non-zero BufferSize buffers the handle. Failure texts:
// "<name> is not a valid file name or path", "VFSOpen Error: <name> <PhysFS error>",
// "Error setting buffer for file.", "Operation not implemented".
CVFSOpenResult VFSOpen( CQorStringView Name, uint32 Mode, uint64 BufferSize );
// Closes and frees the handle; a null handle is ignored.
void VFSClose( SVFSFile* pFile );
// The bytes read, 0 at the end or on an error; held back to g_VFSReadLimit.
uint64 VFSRead( SVFSFile* pFile, void* pData, uint64 Size );
// Size when all was written, else 0; held back to g_VFSWriteLimit. REQUIRES: a handle opened for writing.
uint64 VFSWrite( SVFSFile* pFile, const void* pData, uint64 Size );
// Writes out what the handle's buffer holds. False when that failed or there is no handle.
bool VFSFlush( SVFSFile* pFile );
// Why the last call of this thread failed, as PhysFS tells it ("corrupted", "not found", ...); empty when
// nothing failed since the last question. Asking clears it.
CString VFSGetLastErrorText();
// Origin 0 the start, 1 the present position, 2 the end. False outside the file.
bool VFSSeek( SVFSFile* pFile, int64 Offset, int32 Origin );
int64 VFSTell( SVFSFile* pFile );
bool VFSEof( SVFSFile* pFile );
// REQUIRES: pFile. -1 when the size can't be told.
int64 VFSFileSize( SVFSFile* pFile );
// The Fletcher-style file checksum of the first MaxSize bytes (-1: all), read from the start.
uint32 VFSChecksum( SVFSFile* pFile, int32 MaxSize );

// Whether a file or directory of that path exists. REQUIRES: a non-empty path.
bool VFSExists( CQorStringView Path );
// The search path entry that holds Path, or empty.
CString VFSRealDir( CQorStringView Path );
// The last write time in seconds since 1970, or 0; whether the path is a directory. False when it doesn't exist.
bool VFSStat( CQorStringView Path, uint64* pModifiedTime, bool* pbIsDirectory );

// Changes under the write directory.
bool VFSMakeDir( CQorStringView Path );
bool VFSDelete( CQorStringView Path );
// Removes the directory and everything below it; failures are logged as "Failed to delete directory '%s': %s".
bool VFSDeleteDir( CQorStringView Path );
// Makes the directory and its parents, or logs "Could not create or read directory: <path>".
bool VFSCreateDir( CQorStringView Path );
// Copies a file of the operating system into the write directory under DestName; failures are logged with the
// file's name and the reason. REQUIRES: an absolute source path ("File Path is not absolute").
bool VFSCopyFile( const char* pSourcePath, CQorStringView DestName );
// The names of the directories, or the text that says why there are none.
using CVFSListResult = CQorResult<CQorArray<CString>, CString>;
// The names of the directories right below Dir in the write directory (empty Dir: the write directory
// itself), sorted byte-wise: save slots, profiles. A name the tree can't address (not UTF-8, or holding '\\'
// or ':') fails the listing with "Invalid directory name found: <name>", asserted as "Invalid directory name
// found". Other failures: "No write directory", "<dir> is not a valid file name or path" (absolute, '\\',
// '.' or '..' parts), "Could not read directory: <dir>".
CVFSListResult VFSListWriteDir( CQorStringView Dir );
// Renames a file of the write directory. REQUIRES: NewName with '/' only, and no longer than OldName.
bool VFSRename( CQorStringView OldName, CQorStringView NewName );

// Fills Out with the paths of the files below Dir ("dir/sub/name"), in search path order per directory,
// those ending with Extension (when not empty) whose name matches the wildcard Mask ('*' and '?', when not
// empty). MaxDepth 0 or less is no limit; a subdirectory at MaxDepth is reported and left out. Takes the
// result of a pre-enumeration of the same arguments when there is one.
void VFSEnumerate( CQorStringView Dir, CQorArray<CString>& Out, CQorStringView Extension = {},
                   CQorStringView Mask = {}, int32 MaxDepth = 0 );
// Starts the same enumeration as a task of the long pool; a later VFSEnumerate with the same arguments
// waits for it and takes its result.
void VFSPreEnumerate( CQorStringView Dir, CQorStringView Extension = {}, CQorStringView Mask = {},
                      int32 MaxDepth = 0 );
// Waits for every pre-enumeration and drops the results.
void VFSClearPreEnumerations();

// The upper-case check: with the skip flag off, a path with a capital letter outside "/FX", "shadercache"
// and "save games" is logged as "File '%s' contains uppercase characters". It never refuses a path. Runs
// on the "Verify Path" thread while that runs.
bool VFSVerifyPath( CQorStringView Path );
void VFSSetSkipPathVerify( bool bSkip );
bool VFSGetSkipPathVerify();
bool VFSStartVerifyThread();
// Ends the thread after the checks already queued. Nothing happens when it isn't running.
void VFSStopVerifyThread();
bool VFSIsVerifyThreadRunning();

// Opening a file on the main thread is reported, since it stalls a frame, unless allowed here.
void VFSSetAllowMainThreadOpen( bool bAllow );
bool VFSGetAllowMainThreadOpen();

namespace NVFS
{
// Whether Name matches the wildcard Mask: '*' any run of characters, '?' any one character.
bool MatchesMask( CQorStringView Name, CQorStringView Mask );
} // namespace NVFS
