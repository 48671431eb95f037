#pragma once

// CQorOptional: a value that may be missing, the return of lookups and conversions that can fail without it
// being a programming error. Unlike std::optional, reading an unset value is an assertion, not an exception:
// after the report the access goes on and yields the raw storage. For a trivially copyable T the optional is
// trivially copyable too, so it travels in registers.

#include "qor_core/qor_assert.h"

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

template <typename T>
class CQorOptional
{
public:
    CQorOptional() = default;
    CQorOptional( const T& Value ) { Emplace( Value ); }
    CQorOptional( T&& Value ) { Emplace( std::move( Value ) ); }

    CQorOptional( const CQorOptional& ) = default;
    CQorOptional( const CQorOptional& Other )
        requires( !std::is_trivially_copy_constructible_v<T> )
    {
        if ( Other._IsSet )
        {
            Emplace( *Other.Pointer() );
        }
    }
    CQorOptional( CQorOptional&& ) = default;
    CQorOptional( CQorOptional&& Other ) noexcept( std::is_nothrow_move_constructible_v<T> )
        requires( !std::is_trivially_move_constructible_v<T> )
    {
        if ( Other._IsSet )
        {
            Emplace( std::move( *Other.Pointer() ) );
        }
    }
    CQorOptional& operator=( const CQorOptional& ) = default;
    CQorOptional& operator=( const CQorOptional& Other )
        requires( !std::is_trivially_copyable_v<T> )
    {
        if ( this != &Other )
        {
            Assign( Other );
        }
        return *this;
    }
    CQorOptional& operator=( CQorOptional&& ) = default;
    CQorOptional& operator=( CQorOptional&& Other )
        requires( !std::is_trivially_copyable_v<T> )
    {
        if ( this != &Other )
        {
            Assign( std::move( Other ) );
        }
        return *this;
    }
    ~CQorOptional() = default;
    ~CQorOptional()
        requires( !std::is_trivially_destructible_v<T> )
    {
        Reset();
    }

    bool IsSet() const { return _IsSet; }
    explicit operator bool() const { return _IsSet; }

    // REQUIRES: set. Unset, the report is made and the storage is returned as it is.
    T& GetValue()
    {
        QOR_ASSERT_MSG( _IsSet, "Can't get unset value for optional" );
        return *Pointer();
    }
    const T& GetValue() const
    {
        QOR_ASSERT_MSG( _IsSet, "Can't get unset value for optional" );
        return *Pointer();
    }
    // The value if set, else Default.
    T GetValueOr( T Default ) const { return _IsSet ? *Pointer() : std::move( Default ); }

    // Destroys a held value and builds a new one in place.
    template <typename... ArgsT>
    T& Emplace( ArgsT&&... Args )
    {
        Reset();
        ::new ( static_cast<void*>( _Storage ) ) T( std::forward<ArgsT>( Args )... );
        _IsSet = true;
        return *Pointer();
    }
    void Reset()
    {
        if ( _IsSet )
        {
            std::destroy_at( Pointer() );
            _IsSet = false;
        }
    }

private:
    T* Pointer() { return std::launder( reinterpret_cast<T*>( _Storage ) ); }
    const T* Pointer() const { return std::launder( reinterpret_cast<const T*>( _Storage ) ); }

    template <typename OptionalT>
    void Assign( OptionalT&& Other )
    {
        if ( !Other._IsSet )
        {
            Reset();
        }
        else if ( _IsSet )
        {
            *Pointer() = std::forward<OptionalT>( Other ).Forwarded();
        }
        else
        {
            Emplace( std::forward<OptionalT>( Other ).Forwarded() );
        }
    }
    const T& Forwarded() const& { return *Pointer(); }
    T&& Forwarded() && { return std::move( *Pointer() ); }

    bool _IsSet = false;
    alignas( T ) unsigned char _Storage[ sizeof( T ) ];
};
