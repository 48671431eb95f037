#include "qor_core/thread/qor_semaphore.h"

CSemaphore::CSemaphore( int32 nInitialValue, int32 nMaxCount, const char* pName )
    : _Value( nInitialValue ), _MaxCount( nMaxCount ), _Mutex( pName )
{
    QOR_ASSERT( _MaxCount > 0 );
}

void CSemaphore::Acquire( int32 n )
{
    NDetail::SBasicLockableMutex Lockable{ _Mutex };
    CScopedLock<CMutex> Lock( &_Mutex );
    while ( _Value < n )
    {
        _Condition.Wait( Lockable );
    }
    _Value -= n;
    QOR_ASSERT( _Value >= 0 );
}

bool CSemaphore::TryAcquire( int32 n )
{
    CScopedLock<CMutex> Lock( &_Mutex );
    if ( _Value < n )
    {
        return false;
    }
    _Value -= n;
    return true;
}

bool CSemaphore::Release( int32 n )
{
    CScopedLock<CMutex> Lock( &_Mutex );
    if ( _Value + n > _MaxCount )
    {
        return false;
    }
    _Value += n;
    // Under the lock: a waiter that takes the units may destroy the semaphore as soon as the lock is free.
    // Waiters may want different amounts: each looks for itself.
    _Condition.NotifyAll();
    return true;
}
