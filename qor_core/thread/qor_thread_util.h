#pragma once

// CThreadLoop: a named thread that calls one function again and again until the function returns false or
// the loop is stopped. The stop request is seen between two calls, never inside one.

#include "qor_core/thread/qor_thread.h"

#include <atomic>
#include <string>

class CThreadLoop
{
public:
    using FLoopFunction = bool ( * )( void* pArg );

    explicit CThreadLoop( const char* pName );
    // Stops and joins.
    ~CThreadLoop();
    CThreadLoop( const CThreadLoop& ) = delete;
    CThreadLoop& operator=( const CThreadLoop& ) = delete;

    // REQUIRES: no thread of this loop exists (never started, or stopped with Wait). Past the report, the
    // running thread is stopped and joined, and the new function runs in its place.
    void Start( FLoopFunction pFunction, void* pArg );
    // Asks the thread to end after its current call; with bWait, joins it and lets go of it.
    void Stop( bool bWait );
    // True from Start until a Stop that waited.
    bool IsRunning() const { return _ThreadHandle != nullptr; }

private:
    static uint32 Run( void* pLoop );

    FLoopFunction _pFunction = nullptr;
    void* _pArg = nullptr;
    std::atomic<bool> _bStop{ false };
    NThreads::ThreadHandle _ThreadHandle = nullptr;
    std::string _Name;
};
