#pragma once

// The unordered set and map: thin layers over CQorRobinHoodTable that compute the hash from the item, so
// their users see an ordinary set or map. Probing, growth and failures are the table's. Unlike the standard
// containers they never throw, iterate in bucket order, and an erase may bring the next item to the erased
// place (see CQorRobinHoodTable::Erase). The hybrid forms carry a table of 2^L buckets inline.

#include "qor_core/container/qor_robin_hood_table.h"
#include "qor_core/qor_hash.h"

#include <string>
#include <type_traits>
#include <utility>

namespace NQorUnorderedSet
{
// The default hash: the bytes of an integral, enumeration or pointer key, or the characters of a string.
template <typename KeyT>
struct SDefaultHasher
{
    uint32 operator()( const KeyT& Key ) const
    {
        if constexpr ( std::is_same_v<KeyT, std::string> )
        {
            return HashBytes( 0, Key.data(), Key.size() );
        }
        else
        {
            static_assert( std::is_integral_v<KeyT> || std::is_enum_v<KeyT> || std::is_pointer_v<KeyT>,
                           "Give a hasher for this key type" );
            return HashBytes( 0, &Key, sizeof( Key ) );
        }
    }
};

namespace NDetail
{
// What the set and the map forward to their table unchanged.
template <typename TableT>
class CTableLayer
{
public:
    using iterator = typename TableT::iterator;
    using const_iterator = typename TableT::const_iterator;

    iterator Erase( iterator Where ) { return _Table.Erase( Where ); }
    void Clear() { _Table.Clear(); }
    iterator begin() { return _Table.begin(); }
    iterator end() { return _Table.end(); }
    const_iterator begin() const { return _Table.begin(); }
    const_iterator end() const { return _Table.end(); }
    int32 GetSize() const { return _Table.GetSize(); }
    bool IsEmpty() const { return _Table.IsEmpty(); }
    void GetStats( NQorRobinHoodTable::SStats& Stats ) const { _Table.GetStats( Stats ); }
    const TableT& GetTable() const { return _Table; }

protected:
    explicit CTableLayer( CQorAllocator* pAlloc ) : _Table( pAlloc ) {}

    TableT _Table;
};

// The operations of both set forms over a table type.
template <typename KeyT, typename ItemHasherT, typename ItemEqualsT, typename TableT>
class CSetBase : public CTableLayer<TableT>
{
public:
    using typename CTableLayer<TableT>::iterator;
    using typename CTableLayer<TableT>::const_iterator;

    // False, with the iterator of the item already there, when an equal item is present.
    std::pair<iterator, bool> Insert( const KeyT& Item ) { return _Table.Insert( ItemHasherT()( Item ), Item ); }
    std::pair<iterator, bool> Insert( KeyT&& Item )
    {
        const uint32 nHash = ItemHasherT()( Item );
        return _Table.Insert( nHash, std::move( Item ) );
    }
    // Exchanges a stored item for an equal one in place. REQUIRES: NewValue hashes and compares equal to
    // ExistingValue, which is an item of this set.
    void Replace( KeyT& ExistingValue, const KeyT& NewValue )
    {
        QOR_ASSERT( ItemHasherT()( ExistingValue ) == ItemHasherT()( NewValue ) );
        QOR_ASSERT( ItemEqualsT()( ExistingValue, NewValue ) );
        ExistingValue = NewValue;
    }

    iterator Find( const KeyT& Key ) { return _Table.Find( ItemHasherT()( Key ), Key ); }
    const_iterator Find( const KeyT& Key ) const { return _Table.Find( ItemHasherT()( Key ), Key ); }
    bool Contains( const KeyT& Key ) const { return Find( Key ) != this->end(); }
    bool Remove( const KeyT& Key ) { return _Table.Remove( ItemHasherT()( Key ), Key ); }

protected:
    explicit CSetBase( CQorAllocator* pAlloc ) : CTableLayer<TableT>( pAlloc ) {}
    using CTableLayer<TableT>::_Table;
};
} // namespace NDetail

template <typename KeyT, typename ItemHasherT = SDefaultHasher<KeyT>, typename ItemEqualsT = std::equal_to<KeyT>>
class CQorUnorderedSet
    : public NDetail::CSetBase<KeyT, ItemHasherT, ItemEqualsT, CQorRobinHoodTable<KeyT, ItemHasherT, ItemEqualsT>>
{
public:
    explicit CQorUnorderedSet( CQorAllocator* pAlloc = GetGlobalAllocator() ) : CQorUnorderedSet::CSetBase( pAlloc ) {}
};

// A set whose first table of 2^nLog2Buckets buckets lives inside the object.
template <typename KeyT, int32 nLog2Buckets, typename ItemHasherT = SDefaultHasher<KeyT>,
          typename ItemEqualsT = std::equal_to<KeyT>>
class CQorHybridUnorderedSet
    : public NDetail::CSetBase<KeyT, ItemHasherT, ItemEqualsT,
                               CQorHybridRobinHoodTable<KeyT, ItemHasherT, ItemEqualsT, nLog2Buckets>>
{
public:
    explicit CQorHybridUnorderedSet( CQorAllocator* pFallback = GetGlobalAllocator() )
        : CQorHybridUnorderedSet::CSetBase( pFallback )
    {
    }
};
} // namespace NQorUnorderedSet

namespace NQorUnorderedMap
{
namespace NDetail
{
template <typename KeyT, typename ValueT>
struct SMapEntry
{
    KeyT Key;
    ValueT Value;
};

// Hash and equality look at the key only; a bare key compares against an entry.
template <typename KeyT, typename ValueT, typename KeyHasherT>
struct SEntryHasher
{
    uint32 operator()( const SMapEntry<KeyT, ValueT>& Entry ) const { return KeyHasherT()( Entry.Key ); }
    uint32 operator()( const KeyT& Key ) const { return KeyHasherT()( Key ); }
};

template <typename KeyT, typename ValueT, typename KeyEqualsT>
struct SEntryEquals
{
    bool operator()( const SMapEntry<KeyT, ValueT>& Entry, const SMapEntry<KeyT, ValueT>& Other ) const
    {
        return KeyEqualsT()( Entry.Key, Other.Key );
    }
    bool operator()( const SMapEntry<KeyT, ValueT>& Entry, const KeyT& Key ) const
    {
        return KeyEqualsT()( Entry.Key, Key );
    }
};

} // namespace NDetail
} // namespace NQorUnorderedMap

// A map entry's key is its first field, at the start of the standard-layout entry: lookups by key compare it
// in windows, never the mapped value.
template <typename KeyT, typename ValueT, typename KeyEqualsT>
struct NQorRobinHoodTable::NDetail::SItemKey<NQorUnorderedMap::NDetail::SMapEntry<KeyT, ValueT>,
                                             NQorUnorderedMap::NDetail::SEntryEquals<KeyT, ValueT, KeyEqualsT>>
{
    using KeyType = KeyT;
    static constexpr bool bBytewise = bIsBytewiseKey<KeyT, KeyEqualsT> &&
                                      std::is_standard_layout_v<NQorUnorderedMap::NDetail::SMapEntry<KeyT, ValueT>>;
    static constexpr size_t nOffset = 0;
};

namespace NQorUnorderedMap
{
namespace NDetail
{
// The operations of both map forms over a table type.
template <typename KeyT, typename ValueT, typename KeyHasherT, typename TableT>
class CMapBase : public NQorUnorderedSet::NDetail::CTableLayer<TableT>
{
    using LayerType = NQorUnorderedSet::NDetail::CTableLayer<TableT>;

public:
    using EntryType = SMapEntry<KeyT, ValueT>;
    using typename LayerType::iterator;
    using typename LayerType::const_iterator;

    // An existing key keeps its old value; the bool is false then.
    std::pair<iterator, bool> Insert( const KeyT& Key, const ValueT& Value )
    {
        return _Table.Insert( KeyHasherT()( Key ), EntryType{ Key, Value } );
    }
    std::pair<iterator, bool> Insert( KeyT&& Key, ValueT&& Value )
    {
        const uint32 nHash = KeyHasherT()( Key );
        return _Table.Insert( nHash, EntryType{ std::move( Key ), std::move( Value ) } );
    }
    // An existing key gets the new value; the bool is false then.
    template <typename MappedT>
    std::pair<iterator, bool> InsertOrAssign( const KeyT& Key, MappedT&& Value )
    {
        return _Table.InsertOrAssign( KeyHasherT()( Key ), Key, std::forward<MappedT>( Value ) );
    }

    iterator Find( const KeyT& Key ) { return _Table.Find( KeyHasherT()( Key ), Key ); }
    const_iterator Find( const KeyT& Key ) const { return _Table.Find( KeyHasherT()( Key ), Key ); }
    // The value of Key, or null.
    ValueT* FindValue( const KeyT& Key )
    {
        const iterator It = Find( Key );
        return It == this->end() ? nullptr : &It->Value;
    }
    bool Contains( const KeyT& Key ) const { return Find( Key ) != this->end(); }
    bool Remove( const KeyT& Key ) { return _Table.Remove( KeyHasherT()( Key ), Key ); }

protected:
    explicit CMapBase( CQorAllocator* pAlloc ) : LayerType( pAlloc ) {}
    using LayerType::_Table;
};
} // namespace NDetail

template <typename KeyT, typename ValueT, typename KeyHasherT = NQorUnorderedSet::SDefaultHasher<KeyT>,
          typename KeyEqualsT = std::equal_to<KeyT>>
class CQorUnorderedMap
    : public NDetail::CMapBase<KeyT, ValueT, KeyHasherT,
                               CQorRobinHoodTable<NDetail::SMapEntry<KeyT, ValueT>,
                                                  NDetail::SEntryHasher<KeyT, ValueT, KeyHasherT>,
                                                  NDetail::SEntryEquals<KeyT, ValueT, KeyEqualsT>>>
{
public:
    explicit CQorUnorderedMap( CQorAllocator* pAlloc = GetGlobalAllocator() ) : CQorUnorderedMap::CMapBase( pAlloc ) {}
};

// A map whose first table of 2^nLog2Buckets buckets lives inside the object.
template <typename KeyT, typename ValueT, int32 nLog2Buckets,
          typename KeyHasherT = NQorUnorderedSet::SDefaultHasher<KeyT>, typename KeyEqualsT = std::equal_to<KeyT>>
class CQorHybridUnorderedMap
    : public NDetail::CMapBase<KeyT, ValueT, KeyHasherT,
                               CQorHybridRobinHoodTable<NDetail::SMapEntry<KeyT, ValueT>,
                                                        NDetail::SEntryHasher<KeyT, ValueT, KeyHasherT>,
                                                        NDetail::SEntryEquals<KeyT, ValueT, KeyEqualsT>, nLog2Buckets>>
{
public:
    explicit CQorHybridUnorderedMap( CQorAllocator* pFallback = GetGlobalAllocator() )
        : CQorHybridUnorderedMap::CMapBase( pFallback )
    {
    }
};
} // namespace NQorUnorderedMap
