#pragma once

// CSignal: a one-bit event for one sleeping thread. Signal() leaves a mark that stays until Reset(), so a
// signal given before the wait is never lost, and a wait does not consume it. The state can be read without
// the lock, which lets a waker pick a thread that really sleeps.

#include "qor_core/platform/qor_lock_services.h"
#include "qor_core/thread/qor_mutex.h"

#include <atomic>

enum class ESignalState : uint32
{
    Idle = 0,      // nothing pending
    Waiting = 1,   // a thread sleeps in Wait
    Signalled = 2, // Signal came and no Reset since
};

class CSignal
{
public:
    CSignal() = default;
    // REQUIRES: no thread waits.
    ~CSignal();
    CSignal( const CSignal& ) = delete;
    CSignal& operator=( const CSignal& ) = delete;

    // Marks the signal and wakes the sleeper, if there is one.
    void Signal();
    // Takes back a mark; a sleeper stays asleep.
    void Reset();
    // Sleeps until the signal is marked; returns at once while it is. Meant for one waiting thread.
    void Wait();
    bool IsSignalled() const { return _State.load() == ESignalState::Signalled; }
    ESignalState GetState() const { return _State.load(); }

private:
    CMutex _Mutex;
    NPlatform::CConditionVariable _Condition;
    std::atomic<ESignalState> _State{ ESignalState::Idle };
};
