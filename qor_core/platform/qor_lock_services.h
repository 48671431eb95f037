#pragma once

// The blocking lock and the condition of the library on Linux, from the standard library: std::mutex (a
// pthread mutex of the normal kind) and std::condition_variable_any. The lock knows no owner; CMutex keeps
// its own owner word beside it. The condition waits on any lock with lock() and unlock(), so that the lock's
// owner word is cleared and restored by the lock's own operations around the sleep.

#include <condition_variable>
#include <mutex>

namespace NPlatform
{
class CExclusiveLock
{
public:
    void Lock() { _Mutex.lock(); }
    bool TryLock() { return _Mutex.try_lock(); }
    void Unlock() { _Mutex.unlock(); }

private:
    std::mutex _Mutex;
};

class CConditionVariable
{
public:
    // Releases Lock while asleep and holds it again on return. Wakes may be spurious: callers loop.
    template <typename BasicLockableT>
    void Wait( BasicLockableT& Lock )
    {
        _Condition.wait( Lock );
    }
    void NotifyOne() { _Condition.notify_one(); }
    void NotifyAll() { _Condition.notify_all(); }

private:
    std::condition_variable_any _Condition;
};
} // namespace NPlatform
