#pragma once

// CQorScopedPtr: the unique owner of an object from new (CQorScopedPtrImpl<T, true>: of an array from new[]).
// Unlike std::unique_ptr it has no deleter parameter and never throws: dereferencing an empty pointer and
// resetting a pointer to itself are assertions, after which the operation goes on as asked.

#include "qor_core/qor_assert.h"

#include <type_traits>
#include <utility>

template <typename T, bool bArray>
class CQorScopedPtrImpl
{
public:
    CQorScopedPtrImpl() = default;
    // Takes ownership of pPtr, which came from new (new[] for the array form) or is null.
    explicit CQorScopedPtrImpl( T* pPtr ) : _pPtr( pPtr ) {}
    CQorScopedPtrImpl( CQorScopedPtrImpl&& Other ) noexcept : _pPtr( Other.Release() ) {}
    // An owner of a derived object hands it to an owner of a base with a virtual destructor.
    template <typename DerivedT>
        requires( !bArray && std::is_convertible_v<DerivedT*, T*> )
    CQorScopedPtrImpl( CQorScopedPtrImpl<DerivedT, false>&& Other ) : _pPtr( Other.Release() )
    {
    }
    CQorScopedPtrImpl( const CQorScopedPtrImpl& ) = delete;
    CQorScopedPtrImpl& operator=( const CQorScopedPtrImpl& ) = delete;
    ~CQorScopedPtrImpl() { Delete( _pPtr ); }

    CQorScopedPtrImpl& operator=( CQorScopedPtrImpl&& Other )
    {
        if ( this != &Other )
        {
            Reset( Other.Release() );
        }
        return *this;
    }

    // Deletes the held object, if any, and takes pPtr. A pointer may not replace itself: after the report the
    // object is deleted all the same, and this owner is left holding a dangling pointer.
    void Reset( T* pPtr = nullptr )
    {
        QOR_ASSERT( pPtr == nullptr || _pPtr != pPtr );
        Delete( std::exchange( _pPtr, pPtr ) );
    }
    // Hands the pointer out and owns nothing.
    [[nodiscard]] T* Release() { return std::exchange( _pPtr, nullptr ); }

    T* Get() const { return _pPtr; }
    bool IsEmpty() const { return _pPtr == nullptr; }
    explicit operator bool() const { return _pPtr != nullptr; }

    // REQUIRES: not empty.
    T& operator*() const
        requires( !bArray )
    {
        QOR_ASSERT( _pPtr );
        return *_pPtr;
    }
    T* operator->() const
        requires( !bArray )
    {
        QOR_ASSERT( _pPtr );
        return _pPtr;
    }
    // REQUIRES: not empty, and nIndex within the array.
    T& operator[]( size_t nIndex ) const
        requires bArray
    {
        QOR_ASSERT( _pPtr );
        return _pPtr[ nIndex ];
    }

private:
    static void Delete( T* pPtr )
    {
        if constexpr ( bArray )
        {
            delete[] pPtr;
        }
        else
        {
            delete pPtr;
        }
    }

    T* _pPtr = nullptr;
};

template <typename T>
using CQorScopedPtr = CQorScopedPtrImpl<T, false>;
