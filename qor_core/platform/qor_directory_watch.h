#pragma once

// Directory change notification on Linux: inotify, one watch per directory. A recursive watch adds each
// subdirectory when it appears (and reports the files already in it as created, since they may have come
// before the watch). Changes are read without blocking: the kernel's queue holds them until Poll, which takes
// the place of the completion routine of other systems. The changes asked for are those of file names,
// last writes and creation; each comes with the path below the watched directory and its kind.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_types.h"

#include <unordered_map>

namespace NPlatform
{
enum class EDirectoryChange : uint8
{
    Created,
    Written,
    Renamed,
    Deleted,
};

struct SDirectoryChange
{
    // Below the watched directory, with '/'.
    CString _Path;
    EDirectoryChange _Change;
};

class CDirectoryWatch
{
public:
    CDirectoryWatch() = default;
    ~CDirectoryWatch();
    CDirectoryWatch( const CDirectoryWatch& ) = delete;
    CDirectoryWatch& operator=( const CDirectoryWatch& ) = delete;

    // Starts watching; false with the system's text in ErrorOut (and the failed call's name in pFailedCall).
    bool Open( const CString& Directory, bool bRecursive, CString& ErrorOut, const char** ppFailedCall );
    void Close();
    bool IsOpen() const { return _Fd >= 0; }
    // Appends what changed since the last call. False, with the text, when reading fails.
    bool Poll( CQorArray<SDirectoryChange>& Out, CString& ErrorOut );
    int32 GetNumWatches() const { return int32( _Paths.size() ); }

private:
    // Watches Relative (below the root) and, when recursive, everything below it; reports the files found
    // when bReportFiles.
    bool AddTree( const CString& Relative, bool bReportFiles, CQorArray<SDirectoryChange>* pOut, CString& ErrorOut );

    int _Fd = -1;
    bool _bRecursive = false;
    CString _Root;
    // Watch descriptor to the directory's path below the root ("" for the root).
    std::unordered_map<int, CString> _Paths;
};
} // namespace NPlatform
