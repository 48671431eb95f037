#pragma once

// The thread services of the library on Linux.
// - A thread id is the kernel's gettid(): non-zero and unique among live threads. It is read once per thread
//   and kept, so that owner checks on every lock cost no system call.
// - The debugger learns a thread's name through pthread_setname_np. The kernel keeps 15 characters; the
//   full name stays in the library's own thread info.
// - Giving up the time slice is sched_yield().
// - The processor pause of spin loops is the x86 pause instruction, and nothing elsewhere.

#include "qor_core/qor_types.h"

#if defined( __x86_64__ ) || defined( __i386__ )
#include <immintrin.h>
#endif

namespace NPlatform
{
uint32 GetCurrentThreadId();
// Names the calling thread for the debugger; a longer name is cut to what the kernel keeps.
void SetDebuggerThreadName( const char* pName );
void SwitchToThread();

inline void CpuPause()
{
#if defined( __x86_64__ ) || defined( __i386__ )
    _mm_pause();
#endif
}
} // namespace NPlatform
