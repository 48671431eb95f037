#include "qor_core/allocator/qor_fixed_allocator.h"

#include "qor_core/qor_assert.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace
{
constexpr uint8 nFreshFill = 0xCD;

// From the range start to an aligned address with room for the header in front of it.
uint64 AdjustmentFor( const uint8* pNode, uint64 Align )
{
    uint64 nAdjustment = Align - ( reinterpret_cast<uintptr_t>( pNode ) & ( Align - 1 ) );
    if ( nAdjustment == Align )
    {
        nAdjustment = 0;
    }
    if ( nAdjustment < 16 )
    {
        const uint64 nNeeded = 16 - nAdjustment;
        nAdjustment += Align * ( nNeeded / Align );
        if ( nNeeded % Align )
        {
            nAdjustment += Align;
        }
    }
    return nAdjustment;
}
} // namespace

CQorFixedAllocator::CQorFixedAllocator( uint64 nSize, CQorAllocator* pAlloc )
    : _pBackingAlloc( pAlloc ? pAlloc : GetGlobalAllocator() )
{
    QOR_ASSERT_MSG( nSize > 16, "Requested buffer size is too small." );
    if ( nSize <= 16 )
    {
        nSize += 16;
    }
    _nBufferSize = nSize;
    _pBuffer = static_cast<uint8*>( _pBackingAlloc->Allocate( nSize, 1 ) );
    _pFreeList = _pBuffer;
    WriteNode( _pFreeList, SFreeNode{ _nBufferSize, nullptr } );
}

CQorFixedAllocator::~CQorFixedAllocator()
{
    QOR_ASSERT_MSG( _NumAllocations == 0,
                    "Not all allocations are cleaned up (%d left), in response memory will be leaked. You can debug "
                    "allocations by peering into _Allocs",
                    static_cast<int>( _NumAllocations ) );
    if ( _NumAllocations != 0 )
    {
        return;
    }
    QOR_ASSERT_MSG( _NumAllocations == 0, "Not all allocations cleaned up" );
    _pBackingAlloc->Deallocate( _pBuffer );
}

void* CQorFixedAllocator::Allocate( uint64 NumBytes, uint32 Align )
{
    QOR_ASSERT( NumBytes != 0 && Align != 0 );
    if ( Align == 0 )
    {
        Align = 1;
    }
    CScopedLock<CMutex> Lock( &_Mutex );

    uint8* pPrevious = nullptr;
    uint8* pNode = _pFreeList;
    SFreeNode Node{};
    uint64 AdjustmentSize = 0;
    uint64 nTotal = 0;
    for ( ; pNode; pPrevious = pNode, pNode = Node.pNext )
    {
        Node = ReadNode( pNode );
        AdjustmentSize = AdjustmentFor( pNode, Align );
        nTotal = NumBytes + AdjustmentSize;
        if ( Node.nSize >= nTotal )
        {
            break;
        }
    }
    QOR_ASSERT_MSG( pNode, "Out of (fixed) memory" );
    if ( !pNode )
    {
        return nullptr;
    }

    // A remainder must hold a free node of its own, or it stays with the block.
    if ( Node.nSize - nTotal > sizeof( SFreeNode ) )
    {
        uint8* pRest = pNode + nTotal;
        WriteNode( pRest, SFreeNode{ Node.nSize - nTotal, Node.pNext } );
        SetNext( pPrevious, pRest );
    }
    else
    {
        nTotal = Node.nSize;
        SetNext( pPrevious, Node.pNext );
    }

    uint8* pResult = pNode + AdjustmentSize;
    const SAllocationHeader Header{ nTotal, static_cast<uint16>( Align ), static_cast<uint16>( AdjustmentSize ),
                                    _Allocs.GetSize() };
    std::memcpy( pResult - nHeaderSize, &Header, sizeof( Header ) );
    _nAllocatedBytes += nTotal;
    ++_NumAllocations;

    const uintptr_t pAlignedAddress = reinterpret_cast<uintptr_t>( pResult );
    QOR_ASSERT( Align <= 0xffff && AdjustmentSize <= 0xffff );
    QOR_ASSERT( ( pAlignedAddress & ( Align - 1 ) ) == 0 );

    std::memset( pResult, nFreshFill, NumBytes );
    _Allocs.Add( pResult );
    return pResult;
}

void CQorFixedAllocator::Deallocate( void* pAddress )
{
    if ( !pAddress )
    {
        return;
    }
    CScopedLock<CMutex> Lock( &_Mutex );

    const SAllocationHeader Header = ReadHeader( static_cast<uint8*>( pAddress ) );
    RemoveRecord( pAddress, Header.nRecord );
    uint8* pStart = static_cast<uint8*>( pAddress ) - Header.nAdjustment;
    uint8* pEnd = pStart + Header.nTotalSize;

    uint8* pPrevious = nullptr;
    uint8* pFollowing = _pFreeList;
    while ( pFollowing && pFollowing < pEnd )
    {
        pPrevious = pFollowing;
        pFollowing = ReadNode( pFollowing ).pNext;
    }

    uint8* pMerged = pStart;
    SFreeNode Merged{ Header.nTotalSize, pFollowing };
    if ( pPrevious )
    {
        const SFreeNode Previous = ReadNode( pPrevious );
        if ( pPrevious + Previous.nSize == pStart )
        {
            pMerged = pPrevious;
            Merged.nSize += Previous.nSize;
        }
    }
    if ( pMerged == pStart )
    {
        SetNext( pPrevious, pStart );
    }
    if ( pFollowing && pMerged + Merged.nSize == pFollowing )
    {
        const SFreeNode Following = ReadNode( pFollowing );
        Merged = SFreeNode{ Merged.nSize + Following.nSize, Following.pNext };
    }
    WriteNode( pMerged, Merged );

    --_NumAllocations;
    _nAllocatedBytes -= Header.nTotalSize;
}

void* CQorFixedAllocator::Reallocate( void* pAddress, uint64 NumBytes )
{
    if ( NumBytes == 0 )
    {
        Deallocate( pAddress );
        return nullptr;
    }
    if ( !pAddress )
    {
        return Allocate( NumBytes, 1 );
    }
    // The bytes behind the pointer: the range less its adjustment. A block of alignment 1 has an adjustment
    // of exactly the header; a stricter alignment may leave more in front, which is not the caller's.
    const SAllocationHeader Header = ReadHeader( static_cast<uint8*>( pAddress ) );
    const uint64 OriginalSize = Header.nTotalSize - Header.nAdjustment;
    if ( NumBytes <= OriginalSize )
    {
        return pAddress;
    }
    QOR_ASSERT( ( pAddress ) && ( NumBytes > OriginalSize ) );
    void* pNew = Allocate( NumBytes, 1 );
    if ( pNew )
    {
        std::memcpy( pNew, pAddress, OriginalSize );
        Deallocate( pAddress );
    }
    return pNew;
}

uint64 CQorFixedAllocator::GetAllocatedBytes() const
{
    CScopedLock<CMutex> Lock( &_Mutex );
    return _nAllocatedBytes;
}

uint64 CQorFixedAllocator::GetNumAllocations() const
{
    CScopedLock<CMutex> Lock( &_Mutex );
    return _NumAllocations;
}

void CQorFixedAllocator::GetFreeRanges( CQorArray<SFreeRange>& Ranges ) const
{
    CScopedLock<CMutex> Lock( &_Mutex );
    CollectFreeRanges( Ranges );
}

void CQorFixedAllocator::CollectFreeRanges( CQorArray<SFreeRange>& Ranges ) const
{
    Ranges.Clear();
    for ( const uint8* pNode = _pFreeList; pNode; )
    {
        const SFreeNode Node = ReadNode( pNode );
        Ranges.Add( SFreeRange{ static_cast<uint64>( pNode - _pBuffer ), Node.nSize } );
        pNode = Node.pNext;
    }
}

bool CQorFixedAllocator::Validate() const
{
    CQorArray<SFreeRange> Ranges;
    CScopedLock<CMutex> Lock( &_Mutex );
    CollectFreeRanges( Ranges );
    uint64 nFreeBytes = 0;
    uint64 nPreviousEnd = 0;
    for ( int32 I = 0; I < Ranges.GetSize(); ++I )
    {
        const SFreeRange& Range = Ranges[ I ];
        const bool bAfterPrevious = I == 0 ? true : Range.nOffset > nPreviousEnd;
        if ( !bAfterPrevious || Range.nSize < sizeof( SFreeNode ) || Range.nOffset + Range.nSize > _nBufferSize )
        {
            return false;
        }
        nPreviousEnd = Range.nOffset + Range.nSize;
        nFreeBytes += Range.nSize;
    }
    return nFreeBytes + _nAllocatedBytes == _nBufferSize && _Allocs.GetSize() == static_cast<int32>( _NumAllocations );
}

CQorFixedAllocator::SFreeNode CQorFixedAllocator::ReadNode( const uint8* pNode )
{
    SFreeNode Node;
    std::memcpy( &Node, pNode, sizeof( Node ) );
    return Node;
}

void CQorFixedAllocator::WriteNode( uint8* pNode, const SFreeNode& Node )
{
    std::memcpy( pNode, &Node, sizeof( Node ) );
}

CQorFixedAllocator::SAllocationHeader CQorFixedAllocator::ReadHeader( const uint8* pAddress )
{
    SAllocationHeader Header;
    std::memcpy( &Header, pAddress - nHeaderSize, sizeof( Header ) );
    return Header;
}

void CQorFixedAllocator::RemoveRecord( void* pAddress, int32 nRecord )
{
    // A pointer released twice, or never handed out here, has no trustworthy header: its record is searched.
    if ( nRecord < 0 || nRecord >= _Allocs.GetSize() || _Allocs[ nRecord ] != pAddress )
    {
        nRecord = _Allocs.FindIndex( pAddress );
        if ( nRecord < 0 )
        {
            return;
        }
    }
    _Allocs.RemoveSwap( nRecord );
    if ( nRecord < _Allocs.GetSize() )
    {
        uint8* pMoved = static_cast<uint8*>( _Allocs[ nRecord ] );
        std::memcpy( pMoved - nHeaderSize + offsetof( SAllocationHeader, nRecord ), &nRecord, sizeof( nRecord ) );
    }
}

void CQorFixedAllocator::SetNext( uint8* pPrevious, uint8* pNext )
{
    if ( !pPrevious )
    {
        _pFreeList = pNext;
        return;
    }
    SFreeNode Previous = ReadNode( pPrevious );
    Previous.pNext = pNext;
    WriteNode( pPrevious, Previous );
}
