#pragma once

// Threads of the library: creation with a name, per-thread information, and the process-wide main thread.
// A thread is a std::thread owned through its handle. A start that fails throws the standard system_error
// (resource unavailable) rather than returning a null handle, and joining a thread from itself throws too.

#include "qor_core/qor_types.h"

#include <string>
#include <thread>

class CTaskThread;

// Built on a thread's first use of NThreads.
struct SThreadInfo
{
    SThreadInfo();

    // The full name: the debugger may be told fewer characters.
    std::string _Name;
    bool _bIsMainThread = false;
    uint32 _nThreadNumber;
};

// Set by a task worker when it starts, and by nobody else.
struct STaskThreadInfo
{
    int _bIsTaskThread = 0;
    int32 _TaskThreadIndex = -1;
    CTaskThread* _pTaskThread = nullptr;
};

namespace NThreads
{
using ThreadHandle = std::thread*;
using FThreadFunction = uint32 ( * )( void* pArg );
// Runs Function( pArg ) on behalf of a new thread, for instance inside an exception frame of the engine's.
using FThreadCallbackWrapper = uint32 ( * )( FThreadFunction pFunction, void* pArg );

// Marks the calling thread as the main thread and names it "Main Thread".
void SetMainThread();
// False on every thread until SetMainThread has run.
bool IsMainThread();

void SetThreadName( const char* pName );
const char* GetThreadName();
// Numbers count up from 0 in the order that threads first use this interface.
uint32 GetThreadNumber();
SThreadInfo& GetThreadInfo();
STaskThreadInfo& GetTaskThreadInfo();

// The processor's hardware threads, or 4 where that is unknown.
int32 GetHardwareThreadCount();
// GetHardwareThreadCount() within [4, 32].
int32 GetClampedHardwareThreadCount();

// Installs the wrapper that every thread created afterwards runs its function through; null removes it.
// Only one call is supported: every later one reports, and still stores.
void SetThreadCallbackWrapper( FThreadCallbackWrapper pWrapper );

// Starts Function( pArg ) on a new thread, named pName unless that is null. The caller owns the handle.
ThreadHandle CreateThread( FThreadFunction pFunction, void* pArg, const char* pName );
// Waits for the thread to end, if it can still be joined.
void JoinThread( ThreadHandle Handle );
// JoinThread, then frees the handle.
void DestroyThread( ThreadHandle Handle );

namespace NDetail
{
int32 HardwareThreadCountFrom( uint32 nReported );
int32 ClampHardwareThreadCount( int32 nCount );
} // namespace NDetail
} // namespace NThreads
