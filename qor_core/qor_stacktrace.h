#pragma once

// The calling thread's stack as text, for reports that have to say where they came from. Frames are
// collected by Boost.Stacktrace's unwinder and named by GCC's libbacktrace, which reads file, line and
// function from the debug information of the process's own files, in the process. Where a file has no debug
// information, the function still comes from its symbol table and the module from the dynamic linker.
// Nothing has to be loaded by hand, so there is no set-up that can fail: what can't be named gets a
// placeholder.

#include "qor_core/qor_string.h"
#include "qor_core/qor_types.h"

// Appends one line per frame to *pOutput (nothing for a null pOutput), from the caller of WalkCallStack
// outward:
// - "%s (%d): %s\n" with file, line and function where the debug information knows the file;
// - "%p (%s): %s: %s\n" with address, module, "(filename not available)" and function elsewhere;
// "(function-name not available)" and "(module-name not available)" stand in for a name that isn't known.
// nSkip more frames are left out (-2 shows the walker's own two), then at most nMaxFrames lines follow. A
// recursion that doesn't end shows as frames at one address: when more than nMaxRepeats of them follow each
// other, the text ends in "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: %p)\n" instead;
// nMaxRepeats 0 or less sets no such limit. The traces of all threads are serialised on one mutex.
void WalkCallStack( CString* pOutput, int32 nSkip, int32 nMaxFrames, int32 nMaxRepeats );
