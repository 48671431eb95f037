#pragma once

// CQorResult: either a value or an error, for operations whose failure is expected and told to the caller.
// There are no exceptions and no checked access: reading the side that isn't there is an assertion, after
// which the access goes on and yields the raw storage. T and E may be the same type; the factories say which
// side is meant.

#include "qor_core/qor_assert.h"

#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

template <typename T, typename E>
class [[nodiscard]] CQorResult
{
public:
    template <typename... ArgsT>
    static CQorResult Success( ArgsT&&... Args )
    {
        return CQorResult( std::in_place_index<nSuccess>, std::forward<ArgsT>( Args )... );
    }
    template <typename... ArgsT>
    static CQorResult Failure( ArgsT&&... Args )
    {
        return CQorResult( std::in_place_index<nFailure>, std::forward<ArgsT>( Args )... );
    }

    CQorResult( const CQorResult& Other ) { CopyFrom( Other ); }
    CQorResult( CQorResult&& Other ) noexcept( std::is_nothrow_move_constructible_v<T> &&
                                              std::is_nothrow_move_constructible_v<E> )
    {
        MoveFrom( Other );
    }
    CQorResult& operator=( const CQorResult& Other )
    {
        if ( this != &Other )
        {
            Destroy();
            CopyFrom( Other );
        }
        return *this;
    }
    CQorResult& operator=( CQorResult&& Other )
    {
        if ( this != &Other )
        {
            Destroy();
            MoveFrom( Other );
        }
        return *this;
    }
    ~CQorResult() { Destroy(); }

    bool IsSuccess() const { return _nFlag == nSuccess; }
    bool IsFailure() const { return _nFlag == nFailure; }

    // The value or the error in place. REQUIRES: that side is there.
    const T& GetValue() const
    {
        QOR_ASSERT_MSG( IsSuccess(), "Can't access unset success" );
        return *Value();
    }
    const E& GetError() const
    {
        QOR_ASSERT_MSG( IsFailure(), "Can't access unset error" );
        return *Error();
    }
    // Gives the value or the error up; the result keeps a moved-from object. REQUIRES: that side is there.
    T MoveValue()
    {
        QOR_ASSERT_MSG( IsSuccess(), "Can't get unset value" );
        return std::move( *Value() );
    }
    E MoveError()
    {
        QOR_ASSERT_MSG( IsFailure(), "Can't get unset error" );
        return std::move( *Error() );
    }

private:
    static constexpr uint8 nSuccess = 0;
    static constexpr uint8 nFailure = 1;

    template <typename... ArgsT>
    CQorResult( std::in_place_index_t<nSuccess>, ArgsT&&... Args ) : _nFlag( nSuccess )
    {
        ::new ( static_cast<void*>( _Storage ) ) T( std::forward<ArgsT>( Args )... );
    }
    template <typename... ArgsT>
    CQorResult( std::in_place_index_t<nFailure>, ArgsT&&... Args ) : _nFlag( nFailure )
    {
        ::new ( static_cast<void*>( _Storage ) ) E( std::forward<ArgsT>( Args )... );
    }

    T* Value() { return std::launder( reinterpret_cast<T*>( _Storage ) ); }
    const T* Value() const { return std::launder( reinterpret_cast<const T*>( _Storage ) ); }
    E* Error() { return std::launder( reinterpret_cast<E*>( _Storage ) ); }
    const E* Error() const { return std::launder( reinterpret_cast<const E*>( _Storage ) ); }

    void CopyFrom( const CQorResult& Other )
    {
        if ( Other.IsSuccess() )
        {
            ::new ( static_cast<void*>( _Storage ) ) T( *Other.Value() );
        }
        else
        {
            ::new ( static_cast<void*>( _Storage ) ) E( *Other.Error() );
        }
        _nFlag = Other._nFlag;
    }
    // Other keeps a moved-from object of its side.
    void MoveFrom( CQorResult& Other )
    {
        if ( Other.IsSuccess() )
        {
            ::new ( static_cast<void*>( _Storage ) ) T( std::move( *Other.Value() ) );
        }
        else
        {
            ::new ( static_cast<void*>( _Storage ) ) E( std::move( *Other.Error() ) );
        }
        _nFlag = Other._nFlag;
    }
    void Destroy()
    {
        if ( IsSuccess() )
        {
            std::destroy_at( Value() );
        }
        else
        {
            std::destroy_at( Error() );
        }
    }

    alignas( T ) alignas( E ) unsigned char _Storage[ std::max( sizeof( T ), sizeof( E ) ) ];
    uint8 _nFlag;
};
