#pragma once

// Instrumented types for container tests: an element that counts its constructions, copies, moves and
// destructions, and an allocator that records every call it receives.

#include "qor_core/allocator/qor_allocator.h"

#include <algorithm>
#include <compare>
#include <string>
#include <type_traits>
#include <vector>

struct SLifetimeCounts
{
    int nConstructed = 0; // every constructor, copies and moves included
    int nCopied = 0;      // copy constructions and copy assignments
    int nMoved = 0;       // move constructions and move assignments
    int nDestroyed = 0;

    int Alive() const { return nConstructed - nDestroyed; }
};

// The element numbered nValue, for tests typed over element kinds. Strings are long enough to live on the
// heap, so a wrong relocation shows under the sanitizers.
template <typename T>
T ValueOf( int nValue )
{
    if constexpr ( std::is_same_v<T, std::string> )
    {
        return "element number " + std::to_string( nValue ) + " of the container under test";
    }
    else
    {
        return T( nValue );
    }
}

// The elements of a container, in its order, to compare with a model.
template <typename ContainerT>
auto ToVector( const ContainerT& Container )
{
    return std::vector<std::decay_t<decltype( *Container.begin() )>>( Container.begin(), Container.end() );
}

inline bool AllBytesAre( const void* pData, uint64 nSize, uint8 nValue )
{
    const uint8* pBytes = static_cast<const uint8*>( pData );
    return std::all_of( pBytes, pBytes + nSize, [ nValue ]( uint8 nByte ) { return nByte == nValue; } );
}

// Not trivially copyable, so containers take their element-wise paths. A destroyed or moved-from element
// is marked, so a read of one shows.
class CTrackedElement
{
public:
    static inline SLifetimeCounts s_Counts;
    static void ResetCounts() { s_Counts = SLifetimeCounts(); }

    static constexpr int nMovedFrom = -1;
    static constexpr int nDestroyedValue = -2;

    CTrackedElement() : _nValue( 0 ) { ++s_Counts.nConstructed; }
    CTrackedElement( int nValue ) : _nValue( nValue ) { ++s_Counts.nConstructed; }
    CTrackedElement( const CTrackedElement& Other ) : _nValue( Other._nValue )
    {
        ++s_Counts.nConstructed;
        ++s_Counts.nCopied;
    }
    CTrackedElement( CTrackedElement&& Other ) noexcept : _nValue( Other._nValue )
    {
        Other._nValue = nMovedFrom;
        ++s_Counts.nConstructed;
        ++s_Counts.nMoved;
    }
    CTrackedElement& operator=( const CTrackedElement& Other )
    {
        _nValue = Other._nValue;
        ++s_Counts.nCopied;
        return *this;
    }
    CTrackedElement& operator=( CTrackedElement&& Other ) noexcept
    {
        _nValue = Other._nValue;
        if ( this != &Other )
        {
            Other._nValue = nMovedFrom;
        }
        ++s_Counts.nMoved;
        return *this;
    }
    ~CTrackedElement()
    {
        _nValue = nDestroyedValue;
        ++s_Counts.nDestroyed;
    }

    int Value() const { return _nValue; }
    friend bool operator==( const CTrackedElement& Left, const CTrackedElement& Right ) = default;
    friend auto operator<=>( const CTrackedElement& Left, const CTrackedElement& Right ) = default;

private:
    int _nValue;
};

// Forwards to the global allocator and records each call; reports blocks not given back.
class CCountingAllocator : public CQorAllocator
{
public:
    struct SAllocation
    {
        uint64 nSize;
        uint32 nAlignment;
    };

    void* Allocate( uint64 nSize, uint32 nAlignment ) override
    {
        void* pMemory = GetGlobalAllocator()->Allocate( nSize, nAlignment );
        _Allocations.push_back( { nSize, nAlignment } );
        _Live.push_back( pMemory );
        return pMemory;
    }
    void Deallocate( void* pMemory ) override
    {
        ++_nDeallocateCalls;
        if ( pMemory )
        {
            const auto It = std::find( _Live.begin(), _Live.end(), pMemory );
            if ( It == _Live.end() )
            {
                ++_nForeignDeallocations;
                return;
            }
            _Live.erase( It );
        }
        GetGlobalAllocator()->Deallocate( pMemory );
    }

    int AllocateCalls() const { return static_cast<int>( _Allocations.size() ); }
    int DeallocateCalls() const { return _nDeallocateCalls; }
    // Blocks handed back that this allocator never gave out.
    int ForeignDeallocations() const { return _nForeignDeallocations; }
    int LiveBlocks() const { return static_cast<int>( _Live.size() ); }
    const std::vector<SAllocation>& Allocations() const { return _Allocations; }
    bool Owns( const void* pMemory ) const { return std::find( _Live.begin(), _Live.end(), pMemory ) != _Live.end(); }

private:
    std::vector<SAllocation> _Allocations;
    std::vector<void*> _Live;
    int _nDeallocateCalls = 0;
    int _nForeignDeallocations = 0;
};
