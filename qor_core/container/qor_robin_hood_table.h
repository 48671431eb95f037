#pragma once

// CQorRobinHoodTable: the open-addressing hash table under the library's unordered set and map. It differs
// from std::unordered_set in ways the library relies on:
// - linear probing with Robin Hood displacement and a one-byte probe distance per entry (0 empty, 1 home,
//   255 the end sentinel), so an entry of uint32 is 8 bytes;
// - a power-of-two bucket count, and probes never wrap: an overflow tail of _nMaxDistance entries follows
//   the buckets, then the sentinel. _nMaxDistance = log2( buckets ) + 2 bounds every probe, so a poor hash
//   makes the table grow early rather than probe long;
// - erase shifts the chain back, with no tombstones; the buckets never shrink;
// - an empty table points at a shared static array, owns no memory and needs no branch on lookup;
// - the caller passes the hash with every call (the set and map layers compute it);
// - it never throws: misuse is an assertion, and only a table that can't grow past 2^30 buckets aborts.

#include "qor_core/allocator/qor_inline_buffer_allocator.h"
#include "qor_core/miscmath.h"
#include "qor_core/qor_assert.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <cstdlib>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>

#if defined( __SSE2__ )
#include <emmintrin.h>
#endif

namespace NQorRobinHoodTable
{
constexpr uint8 nEmptyDistance = 0;
constexpr uint8 nSentinelDistance = 255;

// Entries of items aligned below 8 don't store the hash: it is computed again at rehash. Above that the hash
// sits in room that alignment would waste anyway.
template <typename T, bool bStoresHash = ( alignof( T ) >= 8 )>
struct SEntry;

template <typename T>
struct SEntry<T, false>
{
    static constexpr bool bStoresHash = false;
    uint8 _nDistance;
    alignas( T ) unsigned char _Value[ sizeof( T ) ];

    T& Value() { return *std::launder( reinterpret_cast<T*>( _Value ) ); }
    const T& Value() const { return *std::launder( reinterpret_cast<const T*>( _Value ) ); }
    bool IsLive() const { return _nDistance != nEmptyDistance && _nDistance != nSentinelDistance; }
};

template <typename T>
struct SEntry<T, true>
{
    static constexpr bool bStoresHash = true;
    uint32 _nHash;
    uint8 _nDistance;
    alignas( T ) unsigned char _Value[ sizeof( T ) ];

    T& Value() { return *std::launder( reinterpret_cast<T*>( _Value ) ); }
    const T& Value() const { return *std::launder( reinterpret_cast<const T*>( _Value ) ); }
    bool IsLive() const { return _nDistance != nEmptyDistance && _nDistance != nSentinelDistance; }
};

// The entry count of a table of 2^nLog2Buckets buckets: the buckets, the overflow tail and the sentinel.
constexpr int32 EntryCountForLog2( int32 nLog2Buckets )
{
    return ( 1 << nLog2Buckets ) + nLog2Buckets + 3;
}

// Up to this many buckets (half a MiB of compact entries) a table counts as held in a core's cache.
constexpr int32 nCachedBuckets = 1 << 16;

// A windowed lookup reads at least 4 entries from its home bucket on, and an array always holds that many from
// any bucket on: 2^L buckets have L + 4 entries from the last one to the sentinel, both included.
constexpr int32 nSmallWindowEntries = 4;

// The shared array of every unused table of one entry type: one empty entry, then the sentinel. Never written.
// Empty entries stand behind the sentinel only so that a windowed lookup on an unused table reads inside the
// array, with no test for an unused table; nothing else goes past the sentinel.
template <typename EntryT>
EntryT* GetStaticEmptyTable()
{
    static EntryT s_Entries[ nSmallWindowEntries ] = { [] {
                                                          EntryT Entry{};
                                                          Entry._nDistance = nEmptyDistance;
                                                          return Entry;
                                                      }(),
                                                       [] {
                                                           EntryT Entry{};
                                                           Entry._nDistance = nSentinelDistance;
                                                           return Entry;
                                                       }() };
    return s_Entries;
}

namespace NDetail
{
// Keys that are equal exactly when their bytes are: no padding, one representation per value.
template <typename KeyT, typename KeyEqualsT>
constexpr bool bIsBytewiseKey =
    ( std::is_integral_v<KeyT> || std::is_enum_v<KeyT> || std::is_pointer_v<KeyT> ) &&
    ( std::is_same_v<KeyEqualsT, std::equal_to<KeyT>> || std::is_same_v<KeyEqualsT, std::equal_to<>> );

// The key that lookups in a table of items T compare, and its byte offset in an item: a set's item is its own
// key. The map layer describes its entries' key; a lookup by any other type takes the walk.
template <typename T, typename ItemEqualsT>
struct SItemKey
{
    using KeyType = T;
    static constexpr bool bBytewise = bIsBytewiseKey<T, ItemEqualsT>;
    static constexpr size_t nOffset = 0;
};

// A lookup's first entries tested at once, with no exit that depends on the chain's length: the entry at
// offset i holds the key exactly when it holds an equal key at distance i + 1, as the Robin Hood order then
// puts every entry before it at least as far from home. A hit and a short miss each take one branch that goes
// the same way every time, so lookups that miss the cache overlap instead of waiting on each chain's end.
// Enabled for keys that compare as their bytes, in the entries that 4- and 8-byte keys make: 8 and 16 bytes in
// sets, 12 bytes in maps of 4-byte keys and values, 24 bytes in maps of 8-byte keys and 4- or 8-byte values.
// Each layout has its own code: how far GCC inlines a lookup into its caller depends on the size of the code
// it sees before folding, and the set lookups lose their inlining to a generic form.
template <typename EntryT, typename T, typename ItemEqualsT>
class CWindow
{
    using SKey = SItemKey<T, ItemEqualsT>;

public:
    using KeyType = typename SKey::KeyType;

private:
    static constexpr size_t nKeyOffset = offsetof( EntryT, _Value ) + SKey::nOffset;

public:
#if defined( __SSE2__ )
    static constexpr bool bEnabled =
        SKey::bBytewise &&
        ( ( sizeof( KeyType ) == 4 && sizeof( EntryT ) == 8 && nKeyOffset == 4 && !EntryT::bStoresHash ) ||
          ( sizeof( KeyType ) == 4 && sizeof( EntryT ) == 12 && nKeyOffset == 4 && !EntryT::bStoresHash ) ||
          ( sizeof( KeyType ) == 8 && ( sizeof( EntryT ) == 16 || sizeof( EntryT ) == 24 ) &&
            offsetof( EntryT, _nDistance ) == 4 && nKeyOffset == 8 ) );
#else
    static constexpr bool bEnabled = false;
#endif
    // Each entry's 32-bit parts give a bit each: two for a set's compact entry, three for a map's, four for an
    // entry with a hash (a 24-byte entry's mapped value gives none).
    static constexpr uint32 nBitsPerEntry = sizeof( EntryT ) == 24 ? 4 : sizeof( EntryT ) / 4;

#if defined( __SSE2__ )
    // Bit i * nBitsPerEntry set where the entry at offset i < nEntriesT holds Key at distance i + 1. The
    // array's key bytes are never indeterminate (see ResetEntries); the distance test rules out those of
    // empty and erased entries.
    template <uint32 nEntriesT>
    static uint32 Matches( const EntryT* pHome, const KeyType& Key )
    {
        static_assert( nEntriesT == 4 || nEntriesT == 8 );
        const __m128i* pLanes = reinterpret_cast<const __m128i*>( pHome );
        const __m128i KeyParts = KeyInPlace( Key );
        if constexpr ( sizeof( EntryT ) == 24 )
        {
            // A lane per entry: its hash, distance and key. The mapped value behind them is never read.
            const auto Lane = [ pHome ]( uint32 nEntry )
            { return _mm_loadu_si128( reinterpret_cast<const __m128i*>( pHome + nEntry ) ); };
            uint32 nBits = PackedMask( CompareLane<0>( Lane( 0 ), KeyParts ), CompareLane<1>( Lane( 1 ), KeyParts ),
                                       CompareLane<2>( Lane( 2 ), KeyParts ), CompareLane<3>( Lane( 3 ), KeyParts ) );
            if constexpr ( nEntriesT == 8 )
            {
                nBits |= PackedMask( CompareLane<4>( Lane( 4 ), KeyParts ), CompareLane<5>( Lane( 5 ), KeyParts ),
                                     CompareLane<6>( Lane( 6 ), KeyParts ), CompareLane<7>( Lane( 7 ), KeyParts ) )
                         << 16;
            }
            return nBits & ( nBits >> 1 ) & ( nBits >> 2 ) & ( nBits >> 3 ) & 0x11111111u;
        }
        else if constexpr ( sizeof( EntryT ) == 12 )
        {
            // 4 entries fill 3 lanes, 8 fill 6; the lanes past them compare as zero bits.
            const __m128i Lane0 = CompareLane<0>( _mm_loadu_si128( pLanes ), KeyParts );
            const __m128i Lane1 = CompareLane<1>( _mm_loadu_si128( pLanes + 1 ), KeyParts );
            const __m128i Lane2 = CompareLane<2>( _mm_loadu_si128( pLanes + 2 ), KeyParts );
            uint32 nBits = 0;
            if constexpr ( nEntriesT == 4 )
            {
                nBits = PackedMask( Lane0, Lane1, Lane2, _mm_setzero_si128() );
            }
            else
            {
                nBits = PackedMask( Lane0, Lane1, Lane2, CompareLane<3>( _mm_loadu_si128( pLanes + 3 ), KeyParts ) ) |
                        PackedMask( CompareLane<4>( _mm_loadu_si128( pLanes + 4 ), KeyParts ),
                                    CompareLane<5>( _mm_loadu_si128( pLanes + 5 ), KeyParts ), _mm_setzero_si128(),
                                    _mm_setzero_si128() )
                            << 16;
            }
            // Distance, key, then the mapped value (masked, always equal): a match has the first two.
            return nBits & ( nBits >> 1 ) & 0x249249u;
        }
        else
        {
            uint32 nBits = 0;
            if constexpr ( nEntriesT * sizeof( EntryT ) == 32 )
            {
                nBits = PackedMask( CompareLane<0>( _mm_loadu_si128( pLanes ), KeyParts ),
                                    CompareLane<1>( _mm_loadu_si128( pLanes + 1 ), KeyParts ), _mm_setzero_si128(),
                                    _mm_setzero_si128() );
            }
            else
            {
                nBits = PackedMask( CompareLane<0>( _mm_loadu_si128( pLanes ), KeyParts ),
                                    CompareLane<1>( _mm_loadu_si128( pLanes + 1 ), KeyParts ),
                                    CompareLane<2>( _mm_loadu_si128( pLanes + 2 ), KeyParts ),
                                    CompareLane<3>( _mm_loadu_si128( pLanes + 3 ), KeyParts ) );
            }
            if constexpr ( nEntriesT * sizeof( EntryT ) == 128 )
            {
                nBits |= PackedMask( CompareLane<4>( _mm_loadu_si128( pLanes + 4 ), KeyParts ),
                                     CompareLane<5>( _mm_loadu_si128( pLanes + 5 ), KeyParts ),
                                     CompareLane<6>( _mm_loadu_si128( pLanes + 6 ), KeyParts ),
                                     CompareLane<7>( _mm_loadu_si128( pLanes + 7 ), KeyParts ) )
                         << 16;
            }
            if constexpr ( sizeof( EntryT ) == 8 )
            {
                // Distance, then key: a match has both bits.
                return nBits & ( nBits >> 1 ) & 0x5555u;
            }
            else
            {
                // The hash's bit, always set, then distance and the key's halves: a match has all four.
                return nBits & ( nBits >> 1 ) & ( nBits >> 2 ) & ( nBits >> 3 ) & 0x11111111u;
            }
        }
    }

private:
    // One bit for each 32-bit part of four compared 16-byte lanes, in memory order.
    static uint32 PackedMask( __m128i Lane0, __m128i Lane1, __m128i Lane2, __m128i Lane3 )
    {
        return static_cast<uint32>( _mm_movemask_epi8(
            _mm_packs_epi16( _mm_packs_epi32( Lane0, Lane1 ), _mm_packs_epi32( Lane2, Lane3 ) ) ) );
    }

    // The key where it stands in 16 bytes of entries, zero elsewhere: two entries of a distance byte's 32-bit
    // part and the key, or one of the stored hash, the distance byte's part and the key. A map's 12-byte
    // entries put the key in a different word of each of three lanes: there it is in every word, and each
    // lane masks it.
    static __m128i KeyInPlace( const KeyType& Key )
    {
        if constexpr ( sizeof( EntryT ) == 12 )
        {
            return _mm_set1_epi32( std::bit_cast<int32>( Key ) );
        }
        else if constexpr ( sizeof( EntryT ) == 8 )
        {
            return _mm_and_si128( _mm_set1_epi32( std::bit_cast<int32>( Key ) ), _mm_set_epi32( -1, 0, -1, 0 ) );
        }
        else
        {
            return _mm_set_epi64x( std::bit_cast<int64>( Key ), 0 );
        }
    }

    // Each 32-bit part of the 16 bytes from nLane * 16 on, all ones where it holds what a match would: the key,
    // and the distance of its offset in the byte that holds one (the hash, the mapped value and the padding are
    // masked off).
    template <int32 nLane>
    static __m128i CompareLane( __m128i Bytes, __m128i KeyParts )
    {
        if constexpr ( sizeof( EntryT ) == 12 )
        {
            // Word w of the window is entry w / 3's distance, key or value as w % 3 is 0, 1 or 2.
            constexpr auto KeyMask = []( int32 nWord ) { return nWord % 3 == 1 ? -1 : 0; };
            constexpr auto Mask = [ KeyMask ]( int32 nWord ) { return nWord % 3 == 0 ? 0xFF : KeyMask( nWord ); };
            constexpr auto Distance = []( int32 nWord ) { return nWord % 3 == 0 ? nWord / 3 + 1 : 0; };
            constexpr int32 nWord = 4 * nLane;
            const __m128i KeyMasks =
                _mm_set_epi32( KeyMask( nWord + 3 ), KeyMask( nWord + 2 ), KeyMask( nWord + 1 ), KeyMask( nWord ) );
            const __m128i Masks = _mm_set_epi32( Mask( nWord + 3 ), Mask( nWord + 2 ), Mask( nWord + 1 ), Mask( nWord ) );
            const __m128i Distances =
                _mm_set_epi32( Distance( nWord + 3 ), Distance( nWord + 2 ), Distance( nWord + 1 ), Distance( nWord ) );
            return _mm_cmpeq_epi32( _mm_and_si128( Bytes, Masks ),
                                    _mm_or_si128( _mm_and_si128( KeyParts, KeyMasks ), Distances ) );
        }
        else if constexpr ( sizeof( EntryT ) == 8 )
        {
            const __m128i Mask = _mm_set_epi32( -1, 0xFF, -1, 0xFF );
            const __m128i Distances = _mm_set_epi32( 0, 2 * nLane + 2, 0, 2 * nLane + 1 );
            return _mm_cmpeq_epi32( _mm_and_si128( Bytes, Mask ), _mm_or_si128( KeyParts, Distances ) );
        }
        else
        {
            const __m128i Mask = _mm_set_epi32( -1, -1, 0xFF, 0 );
            const __m128i Distance = _mm_set_epi32( 0, 0, nLane + 1, 0 );
            return _mm_cmpeq_epi32( _mm_and_si128( Bytes, Mask ), _mm_or_si128( KeyParts, Distance ) );
        }
    }
#endif
};
} // namespace NDetail

// Size, bucket count and bytes used, as GetStats reports them.
struct SStats
{
    int32 nSize = 0;
    int32 nBuckets = 0;
    int32 nMemory = 0;
};

// A pointer to an entry that skips empty entries as it advances. It stops at the sentinel by its non-zero
// distance, so the loop compares no bound.
template <typename EntryT, typename ValueT>
class CIterator
{
public:
    using value_type = std::remove_const_t<ValueT>;
    using reference = ValueT&;
    using pointer = ValueT*;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::forward_iterator_tag;

    CIterator() = default;
    explicit CIterator( EntryT* pEntry ) : _pEntry( pEntry ) {}
    // The mutable iterator converts to the const one.
    template <typename OtherEntryT, typename OtherValueT,
              typename = std::enable_if_t<std::is_convertible_v<OtherEntryT*, EntryT*>>>
    CIterator( const CIterator<OtherEntryT, OtherValueT>& Other ) : _pEntry( Other.GetEntry() )
    {
    }

    reference operator*() const { return _pEntry->Value(); }
    pointer operator->() const { return &_pEntry->Value(); }
    CIterator& operator++()
    {
        ++_pEntry;
        SkipEmpty();
        return *this;
    }
    CIterator operator++( int )
    {
        CIterator Previous = *this;
        ++*this;
        return Previous;
    }
    friend bool operator==( const CIterator& Left, const CIterator& Right ) = default;

    EntryT* GetEntry() const { return _pEntry; }
    void SkipEmpty()
    {
        while ( _pEntry->_nDistance == nEmptyDistance )
        {
            ++_pEntry;
        }
    }

private:
    EntryT* _pEntry = nullptr;
};
} // namespace NQorRobinHoodTable

template <typename T, typename ItemHasherT, typename ItemEqualsT = std::equal_to<T>>
class CQorRobinHoodTable
{
public:
    using EntryType = NQorRobinHoodTable::SEntry<T>;
    using iterator = NQorRobinHoodTable::CIterator<EntryType, T>;
    using const_iterator = NQorRobinHoodTable::CIterator<const EntryType, const T>;
    using InsertResult = std::pair<iterator, bool>;

    // Allocates nothing: the table starts on the shared empty array.
    explicit CQorRobinHoodTable( CQorAllocator* pAlloc = GetGlobalAllocator() ) : _pAlloc( pAlloc )
    {
        QOR_ASSERT( _pAlloc && "Allocator must not be null" );
    }
    // A copy on the source's allocator, sized for about twice its items.
    CQorRobinHoodTable( const CQorRobinHoodTable& Other ) : CQorRobinHoodTable( Other, Other._pAlloc ) {}
    CQorRobinHoodTable( const CQorRobinHoodTable& Other, CQorAllocator* pAlloc ) : CQorRobinHoodTable( pAlloc )
    {
        *this = Other;
    }
    // Takes the source's array when the source's allocator may give it away; else the items move one by one.
    CQorRobinHoodTable( CQorRobinHoodTable&& Other ) : CQorRobinHoodTable( std::move( Other ), Other._pAlloc ) {}
    CQorRobinHoodTable( CQorRobinHoodTable&& Other, CQorAllocator* pAlloc ) : CQorRobinHoodTable( pAlloc )
    {
        *this = std::move( Other );
    }
    ~CQorRobinHoodTable() { Release(); }

    CQorRobinHoodTable& operator=( const CQorRobinHoodTable& Other );
    CQorRobinHoodTable& operator=( CQorRobinHoodTable&& Other );

    // The entry holding an item equal to Key, or end().
    template <typename KeyT>
    iterator Find( uint32 nHash, const KeyT& Key )
    {
        return iterator( FindEntry( nHash, Key ) );
    }
    template <typename KeyT>
    const_iterator Find( uint32 nHash, const KeyT& Key ) const
    {
        return const_iterator( const_cast<CQorRobinHoodTable*>( this )->FindEntry( nHash, Key ) );
    }

    // Inserts Value unless an equal item is present; the bool tells which. REQUIRES: nHash is the hash of Value.
    InsertResult Insert( uint32 nHash, const T& Value ) { return InsertItem( nHash, Value ); }
    InsertResult Insert( uint32 nHash, T&& Value ) { return InsertItem( nHash, std::move( Value ) ); }

    // For map items (a Key and a Value field): inserts { Key, MappedValue }, or overwrites the mapped value
    // of the item with an equal key, returning false.
    template <typename KeyT, typename MappedT>
    InsertResult InsertOrAssign( uint32 nHash, KeyT&& Key, MappedT&& MappedValue )
    {
        EntryType* pEntry = FindEntry( nHash, Key );
        if ( pEntry != EndEntry() )
        {
            pEntry->Value().Value = std::forward<MappedT>( MappedValue );
            return { iterator( pEntry ), false };
        }
        return InsertItem( nHash, T{ std::forward<KeyT>( Key ), std::forward<MappedT>( MappedValue ) } );
    }

    // Removes the item and shifts its chain back. The iterator stays at the same place, which now holds the
    // next item of the chain or is empty: test it before advancing.
    iterator Erase( iterator Where );
    // False, erasing nothing, when no item equals Key.
    template <typename KeyT>
    bool Remove( uint32 nHash, const KeyT& Key )
    {
        EntryType* pEntry = FindEntry( nHash, Key );
        if ( pEntry->_nDistance == NQorRobinHoodTable::nSentinelDistance )
        {
            return false;
        }
        Erase( iterator( pEntry ) );
        return true;
    }
    // Destroys the items and keeps the buckets.
    void Clear();

    // Bucket order.
    iterator begin()
    {
        iterator It( _pEntries );
        It.SkipEmpty();
        return It;
    }
    iterator end() { return iterator( EndEntry() ); }
    const_iterator begin() const { return const_cast<CQorRobinHoodTable*>( this )->begin(); }
    const_iterator end() const { return const_cast<CQorRobinHoodTable*>( this )->end(); }

    // Moves the items to a fresh array of 2^nLog2Buckets buckets. REQUIRES: 1 <= nLog2Buckets <= 30.
    void Rehash( int32 nLog2Buckets );
    // Gives an unused table an outside array of nBufferSize entries for nBuckets buckets.
    // REQUIRES: the table is unused, nBuckets is a power of two, and nBufferSize >= 2^L + L + 3, L = log2.
    void SetBuffer( EntryType* pBuffer, int32 nBufferSize, int32 nBuckets );
    void GetStats( NQorRobinHoodTable::SStats& Stats ) const;
    void Swap( CQorRobinHoodTable& Other );

    int32 GetSize() const { return _nSize; }
    bool IsEmpty() const { return _nSize == 0; }
    int32 GetBucketCount() const { return IsUnused() ? 0 : _nMask + 1; }
    int32 GetMaxDistance() const { return _nMaxDistance; }
    CQorAllocator* GetAllocator() const { return _pAlloc; }

    // Checks the table's invariants: every live item within _nMaxDistance of its home at the distance it
    // records, no entry more than one closer to home than its predecessor, the last tail entry empty, the
    // sentinel in place, the live count equal to the size.
    bool Validate() const;

protected:
    bool IsUnused() const { return _pEntries == NQorRobinHoodTable::GetStaticEmptyTable<EntryType>(); }
    EntryType* EndEntry() const { return _pEntries + _nMask + _nMaxDistance + 1; }
    // Destroys the items and gives the array back; the table is unused afterwards.
    void Release();

private:
    using CWindow = NQorRobinHoodTable::NDetail::CWindow<EntryType, T, ItemEqualsT>;

    static uint32 HashOf( const EntryType& Entry )
    {
        if constexpr ( EntryType::bStoresHash )
        {
            return Entry._nHash;
        }
        else
        {
            return static_cast<uint32>( ItemHasherT()( Entry.Value() ) );
        }
    }
    static void SetHash( [[maybe_unused]] EntryType& Entry, [[maybe_unused]] uint32 nHash )
    {
        if constexpr ( EntryType::bStoresHash )
        {
            Entry._nHash = nHash;
        }
    }
    static void CopyHash( [[maybe_unused]] EntryType& Target, [[maybe_unused]] const EntryType& Source )
    {
        if constexpr ( EntryType::bStoresHash )
        {
            Target._nHash = Source._nHash;
        }
    }
    // Marks every entry below the sentinel empty and writes the sentinel. Where lookups read whole windows, the
    // value bytes are cleared too, so that an entry that never held an item reads as a determinate value.
    void ResetEntries()
    {
        EntryType* pSentinel = EndEntry();
        if constexpr ( CWindow::bEnabled )
        {
            std::memset( static_cast<void*>( _pEntries ), 0,
                         static_cast<size_t>( pSentinel - _pEntries ) * sizeof( EntryType ) );
        }
        else
        {
            for ( EntryType* pEntry = _pEntries; pEntry != pSentinel; ++pEntry )
            {
                pEntry->_nDistance = NQorRobinHoodTable::nEmptyDistance;
            }
        }
        pSentinel->_nDistance = NQorRobinHoodTable::nSentinelDistance;
    }

    // The probe walks from the home bucket while the entry stands at least as far from its own home as the key
    // would, and stops at the first entry closer to home.
    // Inlined into the caller's loop, lookups stay short enough that the core keeps many of them in flight,
    // which is what a table beyond its caches lives on.
    template <typename KeyT>
    [[gnu::always_inline]] EntryType* FindEntry( uint32 nHash, const KeyT& Key )
    {
        EntryType* pHome = _pEntries + ( nHash & static_cast<uint32>( _nMask ) );
        if constexpr ( std::is_same_v<KeyT, typename CWindow::KeyType> && CWindow::bEnabled )
        {
            // Chains lengthen with the load: above 5/8 a lookup reads 8 entries (they lie inside the array from
            // any home bucket on when _nMaxDistance is 6 or more, 16 buckets). Below it 4 hold nearly every hit,
            // but in a table larger than a core's cache the cache lines a window crosses cost more than the
            // walk's mispredictions, and the walk alone reads the home entry's line and rarely more. The tests
            // give the same answers for every lookup between two insertions, so they are always predicted.
            if ( _nSize > ( _nMask >> 1 ) + ( _nMask >> 3 ) && _nMaxDistance >= 6 )
            {
                return FindInWindow<8>( pHome, Key );
            }
            if ( _nMask < NQorRobinHoodTable::nCachedBuckets )
            {
                return FindInWindow<NQorRobinHoodTable::nSmallWindowEntries>( pHome, Key );
            }
        }
        return FindFrom( pHome, 1, Key );
    }

    template <uint32 nEntriesT>
    EntryType* FindInWindow( EntryType* pHome, const typename CWindow::KeyType& Key )
    {
        const uint32 nMatches = CWindow::template Matches<nEntriesT>( pHome, Key );
        if ( nMatches != 0 )
        {
            return pHome + std::countr_zero( nMatches ) / CWindow::nBitsPerEntry;
        }
        // The walk goes on past the window only past a last entry at least that far from home. A window that ends
        // on the sentinel (8 entries from the last of 16 buckets) has read the whole chain.
        const uint8 nLastDistance = pHome[ nEntriesT - 1 ]._nDistance;
        if ( nLastDistance < nEntriesT || nLastDistance == NQorRobinHoodTable::nSentinelDistance )
        {
            return EndEntry();
        }
        return FindFrom( pHome + nEntriesT, nEntriesT + 1, Key );
    }

    // The walk from pEntry, which stands nDistance - 1 places past the key's home bucket.
    template <typename KeyT>
    [[gnu::always_inline]] EntryType* FindFrom( EntryType* pEntry, uint32 nDistance, const KeyT& Key )
    {
        for ( ; nDistance <= pEntry->_nDistance; ++nDistance, ++pEntry )
        {
            if ( _Equals( pEntry->Value(), Key ) )
            {
                return pEntry;
            }
        }
        return EndEntry();
    }

    template <typename ValueT>
    InsertResult InsertItem( uint32 nHash, ValueT&& Value );
    void Grow();

    [[no_unique_address]] ItemHasherT _Hasher;
    [[no_unique_address]] ItemEqualsT _Equals;
    EntryType* _pEntries = NQorRobinHoodTable::GetStaticEmptyTable<EntryType>();
    int32 _nSize = 0;
    int32 _nMask = 0;
    uint8 _nMaxDistance = 0;
    float _fMaxLoadFactor = 0.9f;
    CQorAllocator* _pAlloc;
};

// A table that starts in inline storage of 2^nLog2Buckets buckets placed right behind it, and moves to the
// fall-back allocator (the global one by default) only when it must grow.
template <typename T, typename ItemHasherT, typename ItemEqualsT, int32 nLog2Buckets>
class CQorHybridRobinHoodTable : public CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>
{
    using BaseType = CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>;

public:
    using EntryType = typename BaseType::EntryType;
    static constexpr int32 nInlineEntries = NQorRobinHoodTable::EntryCountForLog2( nLog2Buckets );
    using AllocatorType = CQorHybridInlineBufferAllocator<EntryType, nInlineEntries, int>;

    explicit CQorHybridRobinHoodTable( CQorAllocator* pFallback = GetGlobalAllocator() )
        : BaseType( &_Allocator ), _Allocator( pFallback )
    {
        UseInlineBuffer();
    }
    CQorHybridRobinHoodTable( const CQorHybridRobinHoodTable& Other )
        : BaseType( &_Allocator ), _Allocator( Other._Allocator.GetFallbackAllocator() )
    {
        UseInlineBuffer();
        BaseType::operator=( Other );
    }
    CQorHybridRobinHoodTable& operator=( const CQorHybridRobinHoodTable& Other )
    {
        BaseType::operator=( Other );
        return *this;
    }
    CQorHybridRobinHoodTable& operator=( CQorHybridRobinHoodTable&& Other )
    {
        BaseType::operator=( std::move( Other ) );
        return *this;
    }
    // The allocator member dies before the base: the array is given back here, while it still lives.
    ~CQorHybridRobinHoodTable() { this->Release(); }

private:
    void UseInlineBuffer()
    {
        EntryType* pBuffer = nullptr;
        int nCapacity = 0;
        _Allocator.GetBuffer( pBuffer, nCapacity );
        this->SetBuffer( pBuffer, nCapacity, 1 << nLog2Buckets );
    }

    AllocatorType _Allocator;
};

template <typename T, typename ItemHasherT, typename ItemEqualsT>
template <typename ValueT>
auto CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::InsertItem( uint32 nHash, ValueT&& Value ) -> InsertResult
{
    using namespace NQorRobinHoodTable;
    EntryType* pEntry = _pEntries + ( nHash & static_cast<uint32>( _nMask ) );
    uint32 nDistance = 1;
    for ( ; nDistance <= pEntry->_nDistance; ++nDistance, ++pEntry )
    {
        if ( _Equals( pEntry->Value(), Value ) )
        {
            return { iterator( pEntry ), false };
        }
    }
    // The divisor is the mask, not the bucket count. On the shared empty array the distance test decides
    // first, so the mask of 0 is never divided by.
    if ( nDistance > _nMaxDistance || float( _nSize + 1 ) / float( _nMask ) > _fMaxLoadFactor )
    {
        Grow();
        return InsertItem( nHash, std::forward<ValueT>( Value ) );
    }
    if ( pEntry->_nDistance == nEmptyDistance )
    {
        ::new ( static_cast<void*>( pEntry->_Value ) ) T( std::forward<ValueT>( Value ) );
        pEntry->_nDistance = static_cast<uint8>( nDistance );
        SetHash( *pEntry, nHash );
        ++_nSize;
        return { iterator( pEntry ), true };
    }
    EntryType* pNext = pEntry + 1;
    if ( pNext->_nDistance == nEmptyDistance )
    {
        // The common two-entry case: the displaced item steps aside by one.
        ::new ( static_cast<void*>( pNext->_Value ) ) T( std::move( pEntry->Value() ) );
        pNext->_nDistance = static_cast<uint8>( pEntry->_nDistance + 1 );
        CopyHash( *pNext, *pEntry );
        pEntry->Value() = std::forward<ValueT>( Value );
        pEntry->_nDistance = static_cast<uint8>( nDistance );
        SetHash( *pEntry, nHash );
        ++_nSize;
        return { iterator( pEntry ), true };
    }

    // The new item takes this place; the displaced one is carried along the chain, swapping with every item
    // closer to its home than the carried one would be. Only the entries with a stored hash carry one.
    T Carried( std::move( pEntry->Value() ) );
    EntryType CarriedHash;
    CopyHash( CarriedHash, *pEntry );
    uint32 nCarriedDistance = pEntry->_nDistance + 1u;
    pEntry->Value() = std::forward<ValueT>( Value );
    pEntry->_nDistance = static_cast<uint8>( nDistance );
    SetHash( *pEntry, nHash );
    EntryType* const pInserted = pEntry;
    for ( ;; )
    {
        ++pEntry;
        if ( pEntry->_nDistance == nEmptyDistance )
        {
            ::new ( static_cast<void*>( pEntry->_Value ) ) T( std::move( Carried ) );
            pEntry->_nDistance = static_cast<uint8>( nCarriedDistance );
            CopyHash( *pEntry, CarriedHash );
            ++_nSize;
            return { iterator( pInserted ), true };
        }
        if ( pEntry->_nDistance < nCarriedDistance )
        {
            using std::swap;
            swap( Carried, pEntry->Value() );
            if constexpr ( EntryType::bStoresHash )
            {
                swap( CarriedHash._nHash, pEntry->_nHash );
            }
            const uint32 nEntryDistance = pEntry->_nDistance;
            pEntry->_nDistance = static_cast<uint8>( nCarriedDistance );
            nCarriedDistance = nEntryDistance + 1;
            continue;
        }
        if ( ++nCarriedDistance > _nMaxDistance )
        {
            break;
        }
    }
    // The chain ran out of distance. The new item goes back into the carry and the old one it displaced
    // returns to its place; its recorded distance no longer matters, as the growth rebuilds every entry.
    using std::swap;
    swap( Carried, pInserted->Value() );
    CopyHash( *pInserted, CarriedHash );
    Grow();
    return InsertItem( nHash, std::move( Carried ) );
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Grow()
{
    const int32 nBuckets = _nMask + 1;
    const int32 nNewLog2 = std::max<int32>( Log2Ceil( nBuckets ) + 1, 3 );
    if ( nNewLog2 >= 31 )
    {
        QOR_ASSERT_MSG( false, "CQorRobinHoodTable can't grow from from %d buckets.", nBuckets );
        std::abort();
    }
    if ( nNewLog2 >= 10 )
    {
        QOR_ASSERT_MSG( float( _nSize ) / float( _nMask ) >= 0.1f,
                        "Warning: robin hood table growing unexpectedly fast. (Load Factor = %0.1f%%, Log2( Size ) = %d)",
                        100.0 * _nSize / _nMask, nNewLog2 );
    }
    Rehash( nNewLog2 );
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Rehash( int32 nLog2Buckets )
{
    if ( nLog2Buckets < 1 || nLog2Buckets > 30 )
    {
        QOR_ASSERT_MSG( false, "Invalid rehash requested for CQorRobinHoodTable (2^%d).", nLog2Buckets );
        return;
    }
    EntryType* const pOld = _pEntries;
    const bool bOldIsStatic = IsUnused();
    const int32 nOldSize = _nSize;
    _nSize = 0;
    _nMask = ( 1 << nLog2Buckets ) - 1;
    _nMaxDistance = static_cast<uint8>( nLog2Buckets + 2 );
    const uint64 nEntries = static_cast<uint64>( _nMask ) + _nMaxDistance + 2;
    _pEntries = static_cast<EntryType*>( _pAlloc->Allocate( nEntries * sizeof( EntryType ), alignof( EntryType ) ) );
    ResetEntries();
    if ( bOldIsStatic )
    {
        return;
    }
    // An insertion here may grow the table again; the walk goes on over the old array all the same.
    int32 nSeen = 0;
    for ( EntryType* pEntry = pOld; nSeen < nOldSize; ++pEntry )
    {
        if ( pEntry->IsLive() )
        {
            ++nSeen;
            InsertItem( HashOf( *pEntry ), std::move( pEntry->Value() ) );
            pEntry->Value().~T();
        }
    }
    _pAlloc->Deallocate( pOld );
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::SetBuffer( EntryType* pBuffer, int32 nBufferSize, int32 nBuckets )
{
    QOR_ASSERT_MSG( IsUnused(), "Table should not be given a buffer after it has already been used." );
    const int32 nLog2 = Log2Ceil( nBuckets );
    QOR_ASSERT_MSG( nBufferSize >= NQorRobinHoodTable::EntryCountForLog2( nLog2 ),
                    "Table should be given a buffer large enough to satisfy the requested bucket count." );
    // A table that was used already loses its old array with its items: it starts over empty.
    _pEntries = pBuffer;
    _nSize = 0;
    _nMask = nBuckets - 1;
    _nMaxDistance = static_cast<uint8>( nLog2 + 2 );
    ResetEntries();
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
auto CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Erase( iterator Where ) -> iterator
{
    EntryType* pCurrent = Where.GetEntry();
    for ( EntryType* pNext = pCurrent + 1; pNext->_nDistance >= 2; ++pCurrent, ++pNext )
    {
        pCurrent->Value() = std::move( pNext->Value() );
        pCurrent->_nDistance = static_cast<uint8>( pNext->_nDistance - 1 );
        CopyHash( *pCurrent, *pNext );
    }
    pCurrent->Value().~T();
    pCurrent->_nDistance = NQorRobinHoodTable::nEmptyDistance;
    --_nSize;
    return Where;
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Clear()
{
    for ( EntryType* pEntry = _pEntries; _nSize > 0; ++pEntry )
    {
        if ( pEntry->IsLive() )
        {
            pEntry->Value().~T();
            pEntry->_nDistance = NQorRobinHoodTable::nEmptyDistance;
            --_nSize;
        }
    }
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Release()
{
    if ( IsUnused() )
    {
        return;
    }
    Clear();
    _pAlloc->Deallocate( _pEntries );
    _pEntries = NQorRobinHoodTable::GetStaticEmptyTable<EntryType>();
    _nMask = 0;
    _nMaxDistance = 0;
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
auto CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::operator=( const CQorRobinHoodTable& Other ) -> CQorRobinHoodTable&
{
    if ( this == &Other )
    {
        return *this;
    }
    Clear();
    _fMaxLoadFactor = Other._fMaxLoadFactor;
    if ( Other._nSize > 0 )
    {
        const int32 nWanted = int32( float( Other._nSize ) * std::max( 1.0f / _fMaxLoadFactor, 1.9f ) + 1.0f );
        Rehash( std::max<int32>( Log2Ceil( nWanted ), 3 ) );
        for ( const EntryType* pEntry = Other._pEntries; _nSize < Other._nSize; ++pEntry )
        {
            if ( pEntry->IsLive() )
            {
                InsertItem( HashOf( *pEntry ), pEntry->Value() );
            }
        }
    }
    return *this;
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
auto CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::operator=( CQorRobinHoodTable&& Other ) -> CQorRobinHoodTable&
{
    if ( this == &Other )
    {
        return *this;
    }
    // An array that lives in its allocator's own storage can't change hands.
    if ( _pAlloc == Other._pAlloc && !Other.IsUnused() && !_pAlloc->IsFixedBuffer( Other._pEntries ) )
    {
        Release();
        _fMaxLoadFactor = Other._fMaxLoadFactor;
        Swap( Other );
        return *this;
    }
    Clear();
    _fMaxLoadFactor = Other._fMaxLoadFactor;
    if ( Other._nSize > 0 )
    {
        if ( IsUnused() || float( Other._nSize ) / float( _nMask ) > _fMaxLoadFactor )
        {
            const int32 nWanted = int32( float( Other._nSize ) * std::max( 1.0f / _fMaxLoadFactor, 1.9f ) + 1.0f );
            Rehash( std::max<int32>( Log2Ceil( nWanted ), 3 ) );
        }
        for ( EntryType* pEntry = Other._pEntries; Other._nSize > 0; ++pEntry )
        {
            if ( pEntry->IsLive() )
            {
                InsertItem( HashOf( *pEntry ), std::move( pEntry->Value() ) );
                pEntry->Value().~T();
                pEntry->_nDistance = NQorRobinHoodTable::nEmptyDistance;
                --Other._nSize;
            }
        }
    }
    return *this;
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Swap( CQorRobinHoodTable& Other )
{
    QOR_ASSERT( _pAlloc == Other._pAlloc );
    std::swap( _pEntries, Other._pEntries );
    std::swap( _nSize, Other._nSize );
    std::swap( _nMask, Other._nMask );
    std::swap( _nMaxDistance, Other._nMaxDistance );
    std::swap( _fMaxLoadFactor, Other._fMaxLoadFactor );
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
void CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::GetStats( NQorRobinHoodTable::SStats& Stats ) const
{
    if ( IsUnused() )
    {
        Stats = { 0, 0, static_cast<int32>( sizeof( *this ) ) };
        return;
    }
    Stats.nSize = _nSize;
    Stats.nBuckets = _nMask + 1;
    Stats.nMemory = static_cast<int32>( ( _nMask + _nMaxDistance + 2 ) * sizeof( EntryType ) + sizeof( *this ) );
}

template <typename T, typename ItemHasherT, typename ItemEqualsT>
bool CQorRobinHoodTable<T, ItemHasherT, ItemEqualsT>::Validate() const
{
    const EntryType* pSentinel = EndEntry();
    if ( pSentinel->_nDistance != NQorRobinHoodTable::nSentinelDistance )
    {
        return false;
    }
    if ( IsUnused() )
    {
        return _nSize == 0 && _nMask == 0 && _nMaxDistance == 0;
    }
    if ( ( pSentinel - 1 )->_nDistance != NQorRobinHoodTable::nEmptyDistance )
    {
        return false;
    }
    int32 nLive = 0;
    uint32 nPreviousDistance = 0;
    for ( const EntryType* pEntry = _pEntries; pEntry != pSentinel; ++pEntry )
    {
        const uint32 nDistance = pEntry->_nDistance;
        if ( nDistance > _nMaxDistance || nDistance > nPreviousDistance + 1 )
        {
            return false;
        }
        if ( nDistance != 0 )
        {
            const int64 nHome = HashOf( *pEntry ) & static_cast<uint32>( _nMask );
            if ( pEntry - _pEntries - nHome + 1 != nDistance )
            {
                return false;
            }
            ++nLive;
        }
        nPreviousDistance = nDistance;
    }
    return nLive == _nSize;
}
