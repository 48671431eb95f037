#pragma once

// The library's locks.
// - CMutex: exclusive and not recursive, over the platform's blocking lock. It keeps an owner word of its own
//   so that locking twice from one thread and unlocking from a stranger are reported instead of hanging.
// - CRecursiveMutex: re-entrant, with a lock count and the same owner word.
// - CSpinLock: one word, for sections of a few instructions. It never pauses, yields or sleeps.
// - CReadWriteSpinLock: many readers or one writer, spinning. A writer that has announced itself holds off
//   every reader that comes after it, so writers cannot starve.
// - CScopedLock and CScopedReadWriteLock release what they hold when they leave scope.
// Owner words are sequentially consistent: a thread reads only its own id back from them, so they need no
// more, and they cost no more than a plain store on the lock path.

#include "qor_core/platform/qor_lock_services.h"
#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_assert.h"

#include <atomic>
#include <mutex>

class CMutex
{
public:
    // The name is only kept, for a debugger to show.
    explicit CMutex( const char* pName = nullptr ) : _pName( pName ) {}
    CMutex( const CMutex& ) = delete;
    CMutex& operator=( const CMutex& ) = delete;

    // REQUIRES: the calling thread does not hold the mutex.
    void Lock()
    {
        QOR_ASSERT( !IsLockedByMe() && "Mutex was already locked from this thread" );
        _Lock.Lock();
        _OwnerThreadId.store( NPlatform::GetCurrentThreadId() );
    }
    // REQUIRES: the calling thread does not hold the mutex. True when the mutex is now held.
    bool TryLock()
    {
        QOR_ASSERT( !IsLockedByMe() && "Mutex was already locked from this thread" );
        if ( !_Lock.TryLock() )
        {
            return false;
        }
        _OwnerThreadId.store( NPlatform::GetCurrentThreadId() );
        return true;
    }
    // REQUIRES: the calling thread holds the mutex.
    void Unlock()
    {
        QOR_ASSERT( IsLockedByMe() && "Mutex was not locked from this thread" );
        // The owner goes first: once released, another thread may write its own id.
        _OwnerThreadId.store( 0 );
        _Lock.Unlock();
    }
    bool IsLockedByMe() const { return _OwnerThreadId.load() == NPlatform::GetCurrentThreadId(); }
    const char* GetName() const { return _pName; }

private:
    NPlatform::CExclusiveLock _Lock;
    const char* _pName;
    std::atomic<uint32> _OwnerThreadId{ 0 };
};

class CRecursiveMutex
{
public:
    CRecursiveMutex() = default;
    CRecursiveMutex( const CRecursiveMutex& ) = delete;
    CRecursiveMutex& operator=( const CRecursiveMutex& ) = delete;

    void Lock()
    {
        _Mutex.lock();
        ++_LockCount;
        _OwnerThreadId.store( NPlatform::GetCurrentThreadId() );
    }
    // REQUIRES: the calling thread holds the mutex. The last unlock clears the owner.
    void Unlock()
    {
        QOR_ASSERT( IsLockedByMe() );
        if ( --_LockCount == 0 )
        {
            _OwnerThreadId.store( 0 );
        }
        _Mutex.unlock();
    }
    bool IsLockedByMe() const { return _OwnerThreadId.load() == NPlatform::GetCurrentThreadId(); }

private:
    std::recursive_timed_mutex _Mutex;
    // Changed only by the holder.
    int32 _LockCount = 0;
    std::atomic<uint32> _OwnerThreadId{ 0 };
};

class CSpinLock
{
public:
    void Lock()
    {
        // Reading first keeps waiters on a shared copy of the line until the holder lets go.
        for ( ;; )
        {
            uint32 nExpected = 0;
            if ( _Word.load() == 0 && _Word.compare_exchange_weak( nExpected, 1, std::memory_order_acq_rel ) )
            {
                return;
            }
        }
    }
    void Unlock() { _Word.store( 0 ); }

private:
    std::atomic<uint32> _Word{ 0 };
};

class CReadWriteSpinLock
{
public:
    void ReadLock()
    {
        for ( ;; )
        {
            if ( TryReadLock() )
            {
                return;
            }
            while ( _WriterCount.load() > 0 )
            {
            }
        }
    }
    // One round of ReadLock: false while a writer holds the lock or waits for it.
    bool TryReadLock()
    {
        _ReaderCount.fetch_add( 1 );
        if ( _WriterCount.load() < 1 )
        {
            return true;
        }
        _ReaderCount.fetch_sub( 1 );
        return false;
    }
    void ReadUnlock() { _ReaderCount.fetch_sub( 1 ); }

    // Announces the writer first, which turns new readers away, then waits for the readers inside to leave.
    void WriteLock()
    {
        for ( ;; )
        {
            int32 nExpected = 0;
            if ( _WriterCount.compare_exchange_weak( nExpected, 1 ) )
            {
                break;
            }
        }
        while ( _ReaderCount.load() > 0 )
        {
        }
    }
    // Fails at once when another writer is there; once announced, waits for the readers, yielding meanwhile.
    bool TryWriteLock()
    {
        int32 nExpected = 0;
        if ( !_WriterCount.compare_exchange_strong( nExpected, 1 ) )
        {
            return false;
        }
        while ( _ReaderCount.load() > 0 )
        {
            NPlatform::SwitchToThread();
        }
        return true;
    }
    void WriteUnlock() { _WriterCount.fetch_add( -1 ); }

private:
    std::atomic<int32> _ReaderCount{ 0 };
    std::atomic<int32> _WriterCount{ 0 };
};

// Holds LockT (CMutex, CRecursiveMutex, CSpinLock) until scope exit. Locking what this object holds already,
// or unlocking what it doesn't hold, does nothing.
template <typename LockT>
class CScopedLock
{
public:
    explicit CScopedLock( LockT* pLock, bool bLockNow = true ) : _pLock( pLock )
    {
        if ( bLockNow )
        {
            Lock();
        }
    }
    ~CScopedLock() { Unlock(); }
    CScopedLock( const CScopedLock& ) = delete;
    CScopedLock& operator=( const CScopedLock& ) = delete;

    void Lock()
    {
        if ( !_bIsLocked )
        {
            _pLock->Lock();
            _bIsLocked = true;
        }
        QOR_ASSERT( _bIsLocked );
    }
    void Unlock()
    {
        if ( _bIsLocked )
        {
            _pLock->Unlock();
            _bIsLocked = false;
        }
        QOR_ASSERT( !_bIsLocked );
    }
    bool IsLocked() const { return _bIsLocked; }

private:
    LockT* _pLock;
    bool _bIsLocked = false;
};

// Holds a read or a write lock of a CReadWriteSpinLock until scope exit.
class CScopedReadWriteLock
{
public:
    explicit CScopedReadWriteLock( CReadWriteSpinLock* pLock ) : _pLock( pLock ) {}
    ~CScopedReadWriteLock()
    {
        if ( _eHeld == EHeld::Read )
        {
            ReadUnlock();
        }
        else if ( _eHeld == EHeld::Write )
        {
            WriteUnlock();
        }
    }
    CScopedReadWriteLock( const CScopedReadWriteLock& ) = delete;
    CScopedReadWriteLock& operator=( const CScopedReadWriteLock& ) = delete;

    // REQUIRES: nothing held through this object.
    void ReadLock()
    {
        _pLock->ReadLock();
        _eHeld = EHeld::Read;
    }
    void WriteLock()
    {
        _pLock->WriteLock();
        _eHeld = EHeld::Write;
    }
    // REQUIRES: a read lock held through this object; otherwise nothing is released.
    void ReadUnlock()
    {
        if ( _eHeld != EHeld::Read )
        {
            QOR_ASSERT( false && "Trying to read-unlock when not holding a read-lock" );
            return;
        }
        _pLock->ReadUnlock();
        _eHeld = EHeld::None;
    }
    // REQUIRES: a write lock held through this object; otherwise nothing is released.
    void WriteUnlock()
    {
        if ( _eHeld != EHeld::Write )
        {
            QOR_ASSERT( false && "Trying to write-unlock when not holding a write-lock" );
            return;
        }
        _pLock->WriteUnlock();
        _eHeld = EHeld::None;
    }

private:
    enum class EHeld : uint8
    {
        None = 0,
        Read = 1,
        Write = 2,
    };

    CReadWriteSpinLock* _pLock;
    EHeld _eHeld = EHeld::None;
};

namespace NDetail
{
// CMutex seen as a standard BasicLockable, for the platform condition: the condition's wait goes through
// Lock and Unlock, which keep the owner word right across the sleep.
struct SBasicLockableMutex
{
    CMutex& Mutex;
    void lock() { Mutex.Lock(); }
    void unlock() { Mutex.Unlock(); }
};
} // namespace NDetail
