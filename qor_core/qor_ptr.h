#pragma once

// Intrusive sharing. An object keeps its own reference count (CQorRefCountable); CQorPtr is the shared owner
// that adds and drops references. Unlike std::shared_ptr there is no control block: an object from an
// allocator (CQorAllocatedRefCountable) goes back to that allocator, and a raw pointer can be turned into a
// new owner at any time. The last Release ends the object through a virtual hook, so an allocated object
// goes back to its allocator also when it is held as a plain CQorRefCountable.
//
// The count is the only shared state; increments and decrements are sequentially consistent, and the thread
// that brings the count from 1 to 0 destroys the object.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/qor_assert.h"

#include <atomic>
#include <type_traits>
#include <utility>

// The count of an object from new; the last Release deletes it.
class CQorRefCountable
{
public:
    CQorRefCountable() = default;
    // A copy is a new object: nobody refers to it yet.
    CQorRefCountable( const CQorRefCountable& ) {}
    CQorRefCountable& operator=( const CQorRefCountable& ) { return *this; }
    virtual ~CQorRefCountable() = default;

    void AddRef()
    {
        const int32 nRefCount = _nRefCount.fetch_add( 1 );
        QOR_ASSERT( nRefCount >= 0 );
    }
    void Release()
    {
        if ( DropReference() )
        {
            Destroy();
        }
    }

    int32 GetRefCount() const { return _nRefCount.load(); }

protected:
    // How the last reference ends the object: an object from new is deleted.
    virtual void Destroy() { delete this; }

    // True for the caller that took the last reference. A count at zero already reports and stays alive.
    bool DropReference()
    {
        const int32 nRefCount = _nRefCount.fetch_sub( 1 );
        QOR_ASSERT( nRefCount > 0 );
        return nRefCount == 1;
    }

private:
    std::atomic<int32> _nRefCount = 0;
};

// The count of an object placed in memory from an allocator; the last Release destroys it and gives the
// memory back to that allocator.
class CQorAllocatedRefCountable : public CQorRefCountable
{
public:
    // REQUIRES: the object lives at the start of a block from pAllocator, which outlives it.
    explicit CQorAllocatedRefCountable( CQorAllocator* pAllocator ) : _pAllocator( pAllocator ) {}

    CQorAllocator* GetAllocator() const { return _pAllocator; }

protected:
    void Destroy() override
    {
        // Read while the object lives. The block starts at the most-derived object, which need not be where
        // this base is.
        CQorAllocator* pAllocator = _pAllocator;
        QOR_ASSERT( pAllocator );
        void* pBlock = dynamic_cast<void*>( this );
        this->~CQorAllocatedRefCountable();
        pAllocator->Deallocate( pBlock );
    }

private:
    CQorAllocator* _pAllocator;
};

// Shares ownership of a T derived from CQorRefCountable. Taking a raw pointer adds a reference.
template <typename T>
class CQorPtr
{
public:
    CQorPtr() = default;
    CQorPtr( T* pPtr ) : _pPtr( pPtr )
    {
        if ( _pPtr )
        {
            _pPtr->AddRef();
        }
    }
    CQorPtr( const CQorPtr& Other ) : CQorPtr( Other._pPtr ) {}
    CQorPtr( CQorPtr&& Other ) noexcept : _pPtr( std::exchange( Other._pPtr, nullptr ) ) {}
    template <typename DerivedT>
        requires std::is_convertible_v<DerivedT*, T*>
    CQorPtr( const CQorPtr<DerivedT>& Other ) : CQorPtr( Other.Get() )
    {
    }
    ~CQorPtr()
    {
        if ( _pPtr )
        {
            _pPtr->Release();
        }
    }

    // The new reference is taken before the old one is dropped: Other may live only through the old object.
    CQorPtr& operator=( const CQorPtr& Other )
    {
        CQorPtr Copy( Other );
        std::swap( _pPtr, Copy._pPtr );
        return *this;
    }
    CQorPtr& operator=( CQorPtr&& Other ) noexcept
    {
        CQorPtr Taken( std::move( Other ) );
        std::swap( _pPtr, Taken._pPtr );
        return *this;
    }

    // Drops the reference, if any, and holds nothing.
    void Reset() { CQorPtr Dropped( std::move( *this ) ); }

    T* Get() const { return _pPtr; }
    bool IsEmpty() const { return _pPtr == nullptr; }
    explicit operator bool() const { return _pPtr != nullptr; }

    // REQUIRES: not empty.
    T& operator*() const
    {
        QOR_ASSERT( !IsEmpty() );
        return *_pPtr;
    }
    T* operator->() const
    {
        QOR_ASSERT( !IsEmpty() );
        return _pPtr;
    }

    friend bool operator==( const CQorPtr& Left, const CQorPtr& Right ) { return Left._pPtr == Right._pPtr; }

private:
    T* _pPtr = nullptr;
};
