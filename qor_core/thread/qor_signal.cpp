#include "qor_core/thread/qor_signal.h"

CSignal::~CSignal()
{
    QOR_ASSERT( _State != ESignalState::Waiting );
}

void CSignal::Signal()
{
    _Mutex.Lock();
    const ESignalState ePrevious = _State.exchange( ESignalState::Signalled );
    _Mutex.Unlock();
    // The sleeper marked itself Waiting under the mutex before it slept, so no wake-up falls between.
    if ( ePrevious == ESignalState::Waiting )
    {
        _Condition.NotifyAll();
    }
}

void CSignal::Reset()
{
    CScopedLock<CMutex> Lock( &_Mutex );
    ESignalState eExpected = ESignalState::Signalled;
    _State.compare_exchange_strong( eExpected, ESignalState::Idle );
}

void CSignal::Wait()
{
    NDetail::SBasicLockableMutex Lockable{ _Mutex };
    CScopedLock<CMutex> Lock( &_Mutex );
    while ( _State.load() != ESignalState::Signalled )
    {
        _State.store( ESignalState::Waiting );
        _Condition.Wait( Lockable );
    }
}
