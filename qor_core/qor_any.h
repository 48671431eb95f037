#pragma once

// CQorAny: one value of any type in an object of fixed size. It differs from std::any where the library relies
// on it:
// - the storage size N is a template argument: a value of up to N bytes, aligned no more than a pointer, lives
//   inside the object; a larger one lives on the heap and the storage holds its pointer;
// - a value's type is known by the address of its type table, a stateless constant static per T, N and
//   copyability. A type test is one pointer comparison with no run-time type information, and the same T in
//   two sizes of any has two tables;
// - there is no conversion: GetValue<T> answers null unless the value is exactly a T;
// - a value can be offered to a visitor, which handles the types of the CQorAnyTypedVisitor<T> it derives from;
// - compare and hash are decided per type at compile time; asking a type that has neither asserts.
// CQorMultiAny holds at most one value per type, keyed by the address of the value's type table.

#include "qor_core/allocator/qor_inline_buffer_allocator.h"
#include "qor_core/container/qor_robin_hood_table.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_hash.h"

#include <concepts>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

// What a type table hands a value to. A visitor class also derives from CQorAnyTypedVisitor<T> for each T it
// handles; the table finds that interface by a cross-cast.
class CQorAnyVisitor
{
public:
    virtual ~CQorAnyVisitor() = default;
};

template <typename T>
class CQorAnyTypedVisitor
{
public:
    virtual ~CQorAnyTypedVisitor() = default;
    virtual void Visit( const T& Value ) = 0;
};

// Reads a float or a fixed-point value as a float; an any of another type leaves _fValue as it was.
class CFloatConvertVisitor : public CQorAnyTypedVisitor<CFixedPoint>,
                             public CQorAnyTypedVisitor<float>,
                             public CQorAnyVisitor
{
public:
    void Visit( const CFixedPoint& Value ) override
    {
        _fValue = static_cast<float>( Value.GetRaw() ) / static_cast<float>( CFixedPoint::Scale );
    }
    void Visit( const float& fValue ) override { _fValue = fValue; }

    float _fValue = 0.0f;
};

namespace QorAnyImpl
{
// The type of the empty any: equal to every other empty value, hashing to 0, with nothing to build or destroy.
struct SQorAnyEmpty
{
    friend bool operator==( SQorAnyEmpty, SQorAnyEmpty ) { return true; }
};

// The operations on a value of one type. pStorage is an any's storage; pValue points at the value itself.
struct SAnyType
{
    virtual ~SAnyType() = default;
    virtual SQorTypeIndex& GetTypeIndex( SQorTypeIndex& Out ) const = 0;
    // Builds the value from *pValue in storage that holds none.
    virtual void MoveConstruct( void* pValue, void* pStorage ) const = 0;
    virtual void Destroy( void* pStorage ) const = 0;
    // Assigning a value onto itself changes nothing.
    virtual void MoveAssign( void* pValue, void* pStorage ) const = 0;
    virtual const void* GetConstValue( const void* pStorage ) const = 0;
    virtual void* GetValue( void* pStorage ) const = 0;
    virtual bool IsEqual( const void* pStorageA, const void* pStorageB ) const = 0;
    virtual bool IsEqualToValue( const void* pStorage, const void* pValue ) const = 0;
    virtual uint32 Hash( const void* pStorage ) const = 0;
    // False, doing nothing, when the visitor does not handle the type.
    virtual bool Accept( const void* pStorage, CQorAnyVisitor& Visitor ) const = 0;
};

// The tables of copyable anys.
struct SCopyableAnyType : SAnyType
{
    virtual void CopyConstruct( const void* pValue, void* pStorage ) const = 0;
    virtual void CopyAssign( const void* pValue, void* pStorage ) const = 0;
};

template <typename T>
constexpr bool bIsComparable = requires( const T& Left, const T& Right ) {
    {
        Left == Right
    } -> std::convertible_to<bool>;
};

// Only the primitives hash, over their bytes: a float hashes its bit pattern.
template <typename T>
constexpr bool bIsHashable = std::is_arithmetic_v<T> || std::is_same_v<T, SQorAnyEmpty>;

// A pointer-aligned storage takes no over-aligned type, whatever its size.
template <typename T, int32 N>
constexpr bool bIsStoredInPlace = sizeof( T ) <= N && alignof( T ) <= alignof( void* );

template <typename T>
struct SInPlaceAccess
{
    static T* Value( void* pStorage ) { return std::launder( static_cast<T*>( pStorage ) ); }
    static const T* Value( const void* pStorage ) { return std::launder( static_cast<const T*>( pStorage ) ); }
};

// The storage holds a T*, copied in and out as bytes.
template <typename T>
struct SAllocatedAccess
{
    static T* Value( const void* pStorage )
    {
        T* pValue;
        std::memcpy( &pValue, pStorage, sizeof( pValue ) );
        return std::launder( pValue );
    }
    static void SetPointer( void* pStorage, T* pValue ) { std::memcpy( pStorage, &pValue, sizeof( pValue ) ); }
};

// The operations that differ only in where the value is, which AccessT tells.
template <typename T, typename AccessT, typename BaseT>
struct SAnyTypeOperations : BaseT
{
    SQorTypeIndex& GetTypeIndex( SQorTypeIndex& Out ) const override
    {
        Out = SQorTypeIndex::Get<T>();
        return Out;
    }
    void MoveAssign( void* pValue, void* pStorage ) const override
    {
        Assign( *AccessT::Value( pStorage ), std::move( *static_cast<T*>( pValue ) ) );
    }
    const void* GetConstValue( const void* pStorage ) const override { return AccessT::Value( pStorage ); }
    void* GetValue( void* pStorage ) const override { return AccessT::Value( pStorage ); }
    bool IsEqual( const void* pStorageA, const void* pStorageB ) const override
    {
        return Equal( *AccessT::Value( pStorageA ), *AccessT::Value( pStorageB ) );
    }
    bool IsEqualToValue( const void* pStorage, const void* pValue ) const override
    {
        return Equal( *AccessT::Value( pStorage ), *static_cast<const T*>( pValue ) );
    }
    uint32 Hash( const void* pStorage ) const override
    {
        if constexpr ( std::is_same_v<T, SQorAnyEmpty> )
        {
            return 0;
        }
        else if constexpr ( bIsHashable<T> )
        {
            return HashBytes( 0, AccessT::Value( pStorage ), sizeof( T ) );
        }
        else
        {
            QOR_ASSERT_MSG( false, "Attempting to hash object that does not support hashing" );
            return 0;
        }
    }
    bool Accept( const void* pStorage, CQorAnyVisitor& Visitor ) const override
    {
        auto* pTypedVisitor = dynamic_cast<CQorAnyTypedVisitor<T>*>( &Visitor );
        if ( !pTypedVisitor )
        {
            return false;
        }
        pTypedVisitor->Visit( *AccessT::Value( pStorage ) );
        return true;
    }

protected:
    // A type without the assignment (a lambda, a const member) is rebuilt in place instead.
    template <typename ValueT>
    static void Assign( T& Held, ValueT&& Value )
    {
        if ( std::addressof( Held ) == std::addressof( Value ) )
        {
            return;
        }
        if constexpr ( std::is_assignable_v<T&, ValueT&&> )
        {
            Held = std::forward<ValueT>( Value );
        }
        else
        {
            Held.~T();
            ::new ( static_cast<void*>( std::addressof( Held ) ) ) T( std::forward<ValueT>( Value ) );
        }
    }
    static bool Equal( const T& Left, const T& Right )
    {
        if constexpr ( bIsComparable<T> )
        {
            return Left == Right;
        }
        else
        {
            QOR_ASSERT_MSG( false, "Attempting to compare objects that does not support compare" );
            return false;
        }
    }
};

// T lives in the storage. BaseT is SCopyableAnyType for the copyable form.
template <typename T, int32 N, typename BaseT = SAnyType>
struct SAnyTypeInPlace : SAnyTypeOperations<T, SInPlaceAccess<T>, BaseT>
{
    static_assert( bIsStoredInPlace<T, N>, "The value does not fit in the any's storage" );

    void MoveConstruct( void* pValue, void* pStorage ) const override
    {
        ::new ( pStorage ) T( std::move( *static_cast<T*>( pValue ) ) );
    }
    void Destroy( void* pStorage ) const override { SInPlaceAccess<T>::Value( pStorage )->~T(); }
};

template <typename T, int32 N>
struct SCopyableAnyTypeInPlace : SAnyTypeInPlace<T, N, SCopyableAnyType>
{
    void CopyConstruct( const void* pValue, void* pStorage ) const override
    {
        ::new ( pStorage ) T( *static_cast<const T*>( pValue ) );
    }
    void CopyAssign( const void* pValue, void* pStorage ) const override
    {
        this->Assign( *SInPlaceAccess<T>::Value( pStorage ), *static_cast<const T*>( pValue ) );
    }
};

// T lives on the heap and the storage holds its address.
template <typename T, int32 N, typename BaseT = SAnyType>
struct SAnyTypeAllocated : SAnyTypeOperations<T, SAllocatedAccess<T>, BaseT>
{
    void MoveConstruct( void* pValue, void* pStorage ) const override
    {
        SAllocatedAccess<T>::SetPointer( pStorage, new T( std::move( *static_cast<T*>( pValue ) ) ) );
    }
    // A storage that holds null is left alone.
    void Destroy( void* pStorage ) const override
    {
        if ( T* pValue = SAllocatedAccess<T>::Value( pStorage ) )
        {
            delete pValue;
            SAllocatedAccess<T>::SetPointer( pStorage, nullptr );
        }
    }
};

template <typename T, int32 N>
struct SCopyableAnyTypeAllocated : SAnyTypeAllocated<T, N, SCopyableAnyType>
{
    void CopyConstruct( const void* pValue, void* pStorage ) const override
    {
        SAllocatedAccess<T>::SetPointer( pStorage, new T( *static_cast<const T*>( pValue ) ) );
    }
    void CopyAssign( const void* pValue, void* pStorage ) const override
    {
        this->Assign( *SAllocatedAccess<T>::Value( pStorage ), *static_cast<const T*>( pValue ) );
    }
};

template <typename T, int32 N, bool bCopyable>
using AnyTypeFor =
    std::conditional_t<bCopyable,
                       std::conditional_t<bIsStoredInPlace<T, N>, SCopyableAnyTypeInPlace<T, N>,
                                          SCopyableAnyTypeAllocated<T, N>>,
                       std::conditional_t<bIsStoredInPlace<T, N>, SAnyTypeInPlace<T, N>, SAnyTypeAllocated<T, N>>>;

// The one table of T in anys of N bytes. Being constant-initialised, it costs no guard on the way, and its
// address is a link-time constant that a type test compares against.
template <typename T, int32 N, bool bCopyable>
const AnyTypeFor<T, N, bCopyable>* GetAnyType()
{
    static constexpr AnyTypeFor<T, N, bCopyable> s_Type{};
    return &s_Type;
}
} // namespace QorAnyImpl

// REQUIRES of every operation that takes a T: T is an object type, not const, not a reference.
template <int32 N, bool bCopyable = true>
class CQorAny
{
    static_assert( N >= static_cast<int32>( sizeof( void* ) ), "The storage must hold a pointer to a large value" );

public:
    static constexpr int32 nStorageSize = N;

    // The table that identifies T in this kind of any.
    template <typename T>
    static const QorAnyImpl::SAnyType* GetTypeOf()
    {
        return QorAnyImpl::GetAnyType<T, N, bCopyable>();
    }

    // Empty, with zero-filled storage.
    CQorAny() { std::memset( _Storage, 0, N ); }
    // The value moves over; the source keeps its type and a moved-from value.
    CQorAny( CQorAny&& Other ) : CQorAny() { MoveFrom( Other._pType->GetValue( Other._Storage ), Other._pType ); }
    CQorAny( const CQorAny& Other )
        requires bCopyable
        : CQorAny()
    {
        CopyFrom( Other._pType->GetConstValue( Other._Storage ), Other.GetCopyableType() );
    }
    ~CQorAny() { Reset(); }

    // A value of the same type is assigned onto; any other is destroyed first.
    CQorAny& operator=( CQorAny&& Other )
    {
        MoveFrom( Other._pType->GetValue( Other._Storage ), Other._pType );
        return *this;
    }
    CQorAny& operator=( const CQorAny& Other )
        requires bCopyable
    {
        CopyFrom( Other._pType->GetConstValue( Other._Storage ), Other.GetCopyableType() );
        return *this;
    }
    template <typename ValueT>
        requires( !std::is_same_v<std::remove_cvref_t<ValueT>, CQorAny> )
    CQorAny& operator=( ValueT&& Value )
    {
        Set( std::forward<ValueT>( Value ) );
        return *this;
    }

    // Holds Value, copied or moved in. A value of the same type is assigned onto; any other is reset first.
    // A trivially copyable value that fits is written directly, with no table call to build it.
    template <typename ValueT>
    void Set( ValueT&& Value )
    {
        using T = std::remove_cvref_t<ValueT>;
        const QorAnyImpl::SAnyType* pValueType = GetTypeOf<T>();
        if constexpr ( std::is_trivially_copyable_v<T> && std::is_copy_assignable_v<T> &&
                       QorAnyImpl::bIsStoredInPlace<T, N> )
        {
            if ( _pType == pValueType )
            {
                *static_cast<T*>( _pType->GetValue( _Storage ) ) = Value;
                return;
            }
            Reset();
            ::new ( static_cast<void*>( _Storage ) ) T( Value );
            _pType = GetTypeOf<T>();
            QOR_ASSERT( _pType == pValueType );
        }
        else if constexpr ( std::is_lvalue_reference_v<ValueT> || std::is_const_v<std::remove_reference_t<ValueT>> )
        {
            static_assert( bCopyable, "A non-copyable any takes values by move only" );
            CopyFrom( std::addressof( Value ), QorAnyImpl::GetAnyType<T, N, bCopyable>() );
        }
        else
        {
            MoveFrom( std::addressof( Value ), pValueType );
        }
    }

    // The value if it is a T, else null. No conversion: a float answers null to GetValue<double>.
    template <typename T>
    T* GetValue()
    {
        if ( _pType != GetTypeOf<T>() )
        {
            return nullptr;
        }
        return static_cast<T*>( _pType->GetValue( _Storage ) );
    }
    template <typename T>
    const T* GetValue() const
    {
        if ( _pType != GetTypeOf<T>() )
        {
            return nullptr;
        }
        return static_cast<const T*>( _pType->GetConstValue( _Storage ) );
    }

    // Destroys the value and zero-fills the storage; an empty any is left untouched.
    void Reset()
    {
        if ( _pType == EmptyType() )
        {
            return;
        }
        _pType->Destroy( _Storage );
        _pType = EmptyType();
        std::memset( _Storage, 0, N );
    }

    // Offers the value to Visitor; false when the visitor does not handle its type.
    bool Accept( CQorAnyVisitor& Visitor ) const { return _pType->Accept( _Storage, Visitor ); }

    bool IsEmpty() const { return _pType == EmptyType(); }
    // The type table: the value's identity, good for in-process keys.
    const QorAnyImpl::SAnyType* GetType() const { return _pType; }
    SQorTypeIndex GetTypeIndex() const
    {
        SQorTypeIndex Index;
        return _pType->GetTypeIndex( Index );
    }
    // REQUIRES: the type hashes (primitives only; the empty any hashes to 0).
    uint32 GetHash() const { return _pType->Hash( _Storage ); }
    // False for another type. REQUIRES: T has operator==.
    template <typename T>
    bool IsEqualToValue( const T& Value ) const
    {
        return _pType == GetTypeOf<T>() && _pType->IsEqualToValue( _Storage, std::addressof( Value ) );
    }
    // Values of different types differ. REQUIRES: the type has operator==.
    friend bool operator==( const CQorAny& Left, const CQorAny& Right )
    {
        return Left._pType == Right._pType && Left._pType->IsEqual( Left._Storage, Right._Storage );
    }

private:
    static const QorAnyImpl::SAnyType* EmptyType() { return GetTypeOf<QorAnyImpl::SQorAnyEmpty>(); }
    // Every table of a copyable any is a copyable one.
    const QorAnyImpl::SCopyableAnyType* GetCopyableType() const
    {
        return static_cast<const QorAnyImpl::SCopyableAnyType*>( _pType );
    }

    // The value is built before the type is switched, so a failed construction leaves an empty any.
    void CopyFrom( const void* pValue, const QorAnyImpl::SCopyableAnyType* pValueType )
    {
        if ( _pType != pValueType )
        {
            Reset();
            pValueType->CopyConstruct( pValue, _Storage );
            _pType = pValueType;
            return;
        }
        pValueType->CopyAssign( pValue, _Storage );
    }
    void MoveFrom( void* pValue, const QorAnyImpl::SAnyType* pValueType )
    {
        if ( _pType != pValueType )
        {
            Reset();
            pValueType->MoveConstruct( pValue, _Storage );
            _pType = pValueType;
            return;
        }
        pValueType->MoveAssign( pValue, _Storage );
    }

    const QorAnyImpl::SAnyType* _pType = EmptyType();
    alignas( void* ) unsigned char _Storage[ N ];
};

namespace NQorMultiAny
{
// An item's key is the address of its type table: 8 bytes through the hash, no name touched. The hash varies
// from run to run.
struct SAnyTypeHandleHasher
{
    uint32 operator()( const QorAnyImpl::SAnyType* pType ) const { return HashBytes( 0, &pType, sizeof( pType ) ); }
    template <int32 N>
    uint32 operator()( const CQorAny<N, true>& Any ) const
    {
        return ( *this )( Any.GetType() );
    }
};

struct SAnyTypeHandleEquals
{
    template <int32 N>
    bool operator()( const CQorAny<N, true>& Left, const CQorAny<N, true>& Right ) const
    {
        return Left.GetType() == Right.GetType();
    }
    template <int32 N>
    bool operator()( const CQorAny<N, true>& Item, const QorAnyImpl::SAnyType* pType ) const
    {
        return Item.GetType() == pType;
    }
};

template <int32 N>
using CTable = CQorRobinHoodTable<CQorAny<N, true>, SAnyTypeHandleHasher, SAnyTypeHandleEquals>;

// Stands in for the embedded allocator of the plain form, taking no room.
struct SNoEmbeddedAllocator
{
    explicit SNoEmbeddedAllocator( CQorAllocator* ) {}
};
} // namespace NQorMultiAny

// A small bag of typed values: at most one value per type, found by the type itself. An empty one owns no
// memory. nHybridCount > 0 is the hybrid form (CQorHybridMultiAny): an allocator with room for nHybridCount
// values follows the table, and the table allocates through it. The table never asks it for its buffer, so
// every allocation goes on to the fall-back, the global allocator, one virtual call later.
template <int32 N, int32 nHybridCount = 0>
class CQorMultiAny : protected NQorMultiAny::CTable<N>
{
    using TableType = NQorMultiAny::CTable<N>;
    using ItemHasherT = NQorMultiAny::SAnyTypeHandleHasher;
    using ItemEqualsT = NQorMultiAny::SAnyTypeHandleEquals;
    static constexpr bool bIsHybrid = nHybridCount > 0;

public:
    using AnyType = CQorAny<N, true>;
    using AllocatorType = std::conditional_t<bIsHybrid, CQorHybridInlineBufferAllocator<AnyType, nHybridCount, int>,
                                             NQorMultiAny::SNoEmbeddedAllocator>;
    using typename TableType::const_iterator;
    using typename TableType::iterator;

    // pAlloc serves the table; in the hybrid form it is the embedded allocator's fall-back. The embedded
    // allocator is built after the table, which only keeps its address until then.
    explicit CQorMultiAny( CQorAllocator* pAlloc = GetGlobalAllocator() )
        : TableType( TableAllocator( pAlloc ) ), _Allocator( pAlloc )
    {
    }
    // The hybrid table points into its own object: multi-anys are neither copied nor moved.
    CQorMultiAny( const CQorMultiAny& ) = delete;
    CQorMultiAny& operator=( const CQorMultiAny& ) = delete;
    // The embedded allocator dies before the table: the buckets go back here, while it still lives.
    ~CQorMultiAny()
    {
        if constexpr ( bIsHybrid )
        {
            this->Release();
        }
    }

    // Inserts Value, or assigns it onto the value of type T held already, and returns the held value. The
    // reference stays valid through further Sets of T only: the insertion of another type may move the values
    // even when the table does not grow (a Robin Hood insertion displaces), after which Get finds them.
    template <typename T>
    T& Set( T Value )
    {
        AnyType NewValue;
        NewValue.Set( std::move( Value ) );
        const auto Inserted = this->Insert( ItemHasherT()( NewValue ), std::move( NewValue ) );
        if ( !Inserted.second )
        {
            AnyType& ExistingValue = *Inserted.first;
            QOR_ASSERT( ItemHasherT()( ExistingValue ) == ItemHasherT()( NewValue ) );
            QOR_ASSERT( ItemEqualsT()( ExistingValue, NewValue ) );
            ExistingValue = std::move( NewValue );
        }
        NewValue.Reset();
        return *Inserted.first->template GetValue<T>();
    }

    // The value of type T, or null. A hit costs one hash, a probe, a comparison and one table call.
    template <typename T>
    T* Get()
    {
        return FindValue<T>( *this );
    }
    template <typename T>
    const T* Get() const
    {
        return FindValue<T>( *this );
    }

    using TableType::begin;
    using TableType::end;
    using TableType::GetAllocator;
    using TableType::GetBucketCount;
    using TableType::GetSize;
    using TableType::IsEmpty;
    using TableType::Validate;

private:
    CQorAllocator* TableAllocator( CQorAllocator* pAlloc )
    {
        if constexpr ( bIsHybrid )
        {
            return &_Allocator;
        }
        else
        {
            return pAlloc;
        }
    }

    template <typename T, typename SelfT>
    static auto FindValue( SelfT& Self )
    {
        const QorAnyImpl::SAnyType* pType = AnyType::template GetTypeOf<T>();
        const auto It = Self.Find( ItemHasherT()( pType ), pType );
        return It == Self.end() ? nullptr : It->template GetValue<T>();
    }

    [[no_unique_address]] AllocatorType _Allocator;
};

template <int32 N, int32 nInline>
using CQorHybridMultiAny = CQorMultiAny<N, nInline>;
