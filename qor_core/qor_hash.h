#pragma once

// HashBytes: MurmurHash3 in its 32-bit x86 form, written progressively. A state of hash and carry takes the
// data in any number of blocks: a partial word left by the previous block is completed from the new bytes,
// whole little-endian words are mixed in, and the rest waits in the carry. Finishing mixes in the carry and
// the total length, so the result equals the single-shot hash for any split of the data.
//
// SQorTypeIndex: a compile-time type named at run time, stored, compared and hashed. Its hash walks the
// type's name (the standard library's hash_code) and then goes through HashBytes. Where only in-process
// identity is needed, the any's type table address is the cheaper key (qor_any.h).

#include "qor_core/qor_types.h"

#include <bit>
#include <cstring>
#include <typeinfo>

namespace NQorHash
{
constexpr uint32 nMurmurC1 = 0xCC9E2D51u;
constexpr uint32 nMurmurC2 = 0x1B873593u;

inline uint32 MixWord( uint32 nHash, uint32 nWord )
{
    nWord *= nMurmurC1;
    nWord = std::rotl( nWord, 15 );
    nWord *= nMurmurC2;
    nHash ^= nWord;
    nHash = std::rotl( nHash, 13 );
    return nHash * 5 + 0xE6546B64u;
}

// The state of a hash that is fed block by block.
class CProgressiveHash
{
public:
    explicit CProgressiveHash( uint32 nSeed ) : _nHash( nSeed ) {}

    void Feed( const void* pData, uint64 nBytes )
    {
        const uint8* pBytes = static_cast<const uint8*>( pData );
        _nTotalBytes += nBytes;
        // Complete the carried partial word first.
        while ( _nCarryBytes != 0 && nBytes != 0 )
        {
            _nCarry |= static_cast<uint32>( *pBytes++ ) << ( 8 * _nCarryBytes );
            --nBytes;
            if ( ++_nCarryBytes == 4 )
            {
                _nHash = MixWord( _nHash, _nCarry );
                _nCarry = 0;
                _nCarryBytes = 0;
            }
        }
        for ( ; nBytes >= 4; nBytes -= 4, pBytes += 4 )
        {
            uint32 nWord;
            std::memcpy( &nWord, pBytes, 4 );
            if constexpr ( std::endian::native == std::endian::big )
            {
                nWord = __builtin_bswap32( nWord );
            }
            _nHash = MixWord( _nHash, nWord );
        }
        for ( ; nBytes != 0; --nBytes )
        {
            _nCarry |= static_cast<uint32>( *pBytes++ ) << ( 8 * _nCarryBytes++ );
        }
    }

    uint32 Finish() const
    {
        uint32 nHash = _nHash;
        if ( _nCarryBytes != 0 )
        {
            uint32 nTail = _nCarry * nMurmurC1;
            nTail = std::rotl( nTail, 15 );
            nHash ^= nTail * nMurmurC2;
        }
        nHash ^= static_cast<uint32>( _nTotalBytes );
        nHash ^= nHash >> 16;
        nHash *= 0x85EBCA6Bu;
        nHash ^= nHash >> 13;
        nHash *= 0xC2B2AE35u;
        nHash ^= nHash >> 16;
        return nHash;
    }

private:
    uint32 _nHash;
    uint32 _nCarry = 0;
    uint32 _nCarryBytes = 0;
    uint64 _nTotalBytes = 0;
};
} // namespace NQorHash

// The library's generic byte hash; its users pass seed 0.
inline uint32 HashBytes( uint32 nSeed, const void* pData, uint64 nBytes )
{
    NQorHash::CProgressiveHash Hash( nSeed );
    Hash.Feed( pData, nBytes );
    return Hash.Finish();
}

inline void HashBytes( uint32 nSeed, const void* pData, uint64 nBytes, uint32* pResult )
{
    *pResult = HashBytes( nSeed, pData, nBytes );
}

// Equal for the same type wherever the index was taken; the hash is stable within a run only.
struct SQorTypeIndex
{
    // The index of void.
    SQorTypeIndex() = default;
    explicit SQorTypeIndex( const std::type_info& TypeInfo ) : _pTypeInfo( &TypeInfo ) {}

    template <typename T>
    static SQorTypeIndex Get()
    {
        return SQorTypeIndex( typeid( T ) );
    }

    // The type_info objects compare, not their addresses: a type may have one per shared object.
    friend bool operator==( const SQorTypeIndex& Left, const SQorTypeIndex& Right )
    {
        return *Left._pTypeInfo == *Right._pTypeInfo;
    }

    // hash_code walks the type's name on every call.
    uint32 GetHash() const
    {
        const uint64 nStdHash = _pTypeInfo->hash_code();
        return HashBytes( 0, &nStdHash, sizeof( nStdHash ) );
    }

    const std::type_info& GetTypeInfo() const { return *_pTypeInfo; }

    const std::type_info* _pTypeInfo = &typeid( void );
};

struct SQorTypeIndexHasher
{
    uint32 operator()( const SQorTypeIndex& Index ) const { return Index.GetHash(); }
};

// The unordered set and map take SQorTypeIndex keys with their default hasher.
namespace NQorUnorderedSet
{
template <typename KeyT>
struct SDefaultHasher;

template <>
struct SDefaultHasher<SQorTypeIndex> : SQorTypeIndexHasher
{
};
} // namespace NQorUnorderedSet
