#pragma once

// The debugger services of the library on Linux.
// - The debugger channel is standard error, written with one write() per message so that messages of
//   different threads never interleave mid-line.
// - A debugger is attached when TracerPid in /proc/self/status is not 0.
// - A debug break raises SIGTRAP, and only when a debugger is attached: without one it would end the process.
// - A deliberate crash writes 47283 through a volatile null pointer and ends in SIGSEGV.
// - A fatal exit ends the process at once with the given status (_exit): no exit handlers, no destructors.

namespace NPlatform
{
void OutputDebugString( const char* pText );
bool IsDebuggerPresent();
void DebugBreak();
[[noreturn]] void CrashDeliberately();
[[noreturn]] void FatalExit( int nExitCode );
} // namespace NPlatform
