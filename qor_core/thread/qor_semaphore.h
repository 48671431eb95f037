#pragma once

// CSemaphore: a counting semaphore with a ceiling. A release that would lift the value above the ceiling is
// refused as a whole and reported by the return value, so that a caller can tell a surplus release.

#include "qor_core/platform/qor_lock_services.h"
#include "qor_core/thread/qor_mutex.h"

class CSemaphore
{
public:
    // REQUIRES: nMaxCount > 0.
    CSemaphore( int32 nInitialValue, int32 nMaxCount, const char* pName = nullptr );
    CSemaphore( const CSemaphore& ) = delete;
    CSemaphore& operator=( const CSemaphore& ) = delete;

    // Sleeps until the value is at least n, then takes n.
    void Acquire( int32 n );
    // Takes n if the value is at least n; never sleeps.
    bool TryAcquire( int32 n );
    // Adds n and wakes the waiters, unless that would pass the maximum: then changes nothing, returns false.
    bool Release( int32 n );

private:
    int32 _Value;
    int32 _MaxCount;
    CMutex _Mutex;
    NPlatform::CConditionVariable _Condition;
};
