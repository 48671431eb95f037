#pragma once

// Files of the operating system, for the library's plain files. On Linux a handle is a POSIX descriptor,
// opened with O_CLOEXEC. Reads and writes loop over partial transfers and interruptions, so a short count
// means the end of the file or an error. Modification times are seconds since 1970, as the virtual file
// system gives them.

#include "qor_core/qor_types.h"

namespace NPlatform
{
using FileHandle = int32;
inline constexpr FileHandle INVALID_FILE_HANDLE = -1;

// Mode 0 reads; 1 writes, creating or truncating; 2 appends, creating. INVALID_FILE_HANDLE on failure.
FileHandle OpenFile( const char* pPath, uint32 Mode );
void CloseFile( FileHandle Handle );
// The bytes read, fewer than Size only at the end or on an error (then -1 if none came).
int64 ReadFile( FileHandle Handle, void* pData, int64 Size );
// The bytes written, fewer than Size only on an error.
int64 WriteFile( FileHandle Handle, const void* pData, int64 Size );
// Moves to an absolute position; false on failure.
bool SeekFile( FileHandle Handle, int64 Position );
// -1 on failure.
int64 GetFileSize( FileHandle Handle );
// 0 on failure.
uint64 GetFileModifiedTime( FileHandle Handle );
bool FileExists( const char* pPath );
} // namespace NPlatform
