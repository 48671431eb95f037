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

namespace NDetail
{
// The flag and the raw storage, with the special members a held value needs. Chosen by the value's
// triviality in a base rather than by constrained special members, which not every compiler picks alike.
template <typename T, bool bTrivial = std::is_trivially_copyable_v<T>>
struct SOptionalStorage
{
    bool _IsSet = false;
    alignas( T ) unsigned char _Storage[ sizeof( T ) ];

    T* Pointer() { return std::launder( reinterpret_cast<T*>( _Storage ) ); }
    const T* Pointer() const { return std::launder( reinterpret_cast<const T*>( _Storage ) ); }

    template <typename... ArgsT>
    void Construct( ArgsT&&... Args )
    {
        ::new ( static_cast<void*>( _Storage ) ) T( std::forward<ArgsT>( Args )... );
        _IsSet = true;
    }
    void Destroy()
    {
        if ( _IsSet )
        {
            std::destroy_at( Pointer() );
            _IsSet = false;
        }
    }
};

template <typename T>
struct SOptionalStorage<T, false> : SOptionalStorage<T, true>
{
    using SBase = SOptionalStorage<T, true>;

    SOptionalStorage() = default;
    SOptionalStorage( const SOptionalStorage& Other )
    {
        if ( Other._IsSet )
        {
            SBase::Construct( *Other.Pointer() );
        }
    }
    SOptionalStorage( SOptionalStorage&& Other ) noexcept( std::is_nothrow_move_constructible_v<T> )
    {
        if ( Other._IsSet )
        {
            SBase::Construct( std::move( *Other.Pointer() ) );
        }
    }
    SOptionalStorage& operator=( const SOptionalStorage& Other )
    {
        if ( this != &Other )
        {
            Assign( Other );
        }
        return *this;
    }
    SOptionalStorage& operator=( SOptionalStorage&& Other )
    {
        if ( this != &Other )
        {
            Assign( std::move( Other ) );
        }
        return *this;
    }
    ~SOptionalStorage() { SBase::Destroy(); }

private:
    template <typename StorageT>
    void Assign( StorageT&& Other )
    {
        if ( !Other._IsSet )
        {
            SBase::Destroy();
        }
        else if ( SBase::_IsSet )
        {
            *SBase::Pointer() = std::forward<StorageT>( Other ).Forwarded();
        }
        else
        {
            SBase::Construct( std::forward<StorageT>( Other ).Forwarded() );
        }
    }
    const T& Forwarded() const& { return *SBase::Pointer(); }
    T&& Forwarded() && { return std::move( *SBase::Pointer() ); }
};
} // namespace NDetail

template <typename T>
class CQorOptional
{
public:
    CQorOptional() = default;
    CQorOptional( const T& Value ) { Emplace( Value ); }
    CQorOptional( T&& Value ) { Emplace( std::move( Value ) ); }

    bool IsSet() const { return _Value._IsSet; }
    explicit operator bool() const { return _Value._IsSet; }

    // REQUIRES: set. Unset, the report is made and the storage is returned as it is.
    T& GetValue()
    {
        QOR_ASSERT_MSG( _Value._IsSet, "Can't get unset value for optional" );
        return *_Value.Pointer();
    }
    const T& GetValue() const
    {
        QOR_ASSERT_MSG( _Value._IsSet, "Can't get unset value for optional" );
        return *_Value.Pointer();
    }
    // The value if set, else Default.
    T GetValueOr( T Default ) const { return _Value._IsSet ? *_Value.Pointer() : std::move( Default ); }

    // Destroys a held value and builds a new one in place.
    template <typename... ArgsT>
    T& Emplace( ArgsT&&... Args )
    {
        _Value.Destroy();
        _Value.Construct( std::forward<ArgsT>( Args )... );
        return *_Value.Pointer();
    }
    void Reset() { _Value.Destroy(); }

private:
    NDetail::SOptionalStorage<T> _Value;
};
