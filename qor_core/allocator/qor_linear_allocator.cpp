#include "qor_core/allocator/qor_linear_allocator.h"

#include "qor_core/qor_assert.h"

#include <cstring>
#include <utility>

CQorLinearAllocator::CQorLinearAllocator( uint64 nSize, CQorAllocator* pAlloc )
    : _pBackingAlloc( pAlloc ? pAlloc : GetGlobalAllocator() )
{
    QOR_ASSERT_MSG( nSize > nHeaderSize, "Requested buffer size is too small." );
    if ( nSize <= nHeaderSize )
    {
        nSize += nHeaderSize;
    }
    _pFirstBlock = NewBlock( nSize );
    EnterBlock( _pFirstBlock );
}

CQorLinearAllocator::CQorLinearAllocator( void* pBuffer, uint64 nSize, CQorAllocator* pAlloc )
    : _pBackingAlloc( pAlloc ? pAlloc : GetGlobalAllocator() )
{
    const uintptr_t nAddress = reinterpret_cast<uintptr_t>( pBuffer );
    const uint64 nPad = ( 0 - nAddress ) & 7;
    const bool bFits = pBuffer && nSize >= nPad && nSize - nPad >= nHeaderSize;
    QOR_ASSERT_MSG( bFits, "Provided buffer is too small." );
    if ( bFits )
    {
        _pFirstBlock = reinterpret_cast<SBlock*>( nAddress + nPad );
        *_pFirstBlock = SBlock{ nullptr, nSize - nPad, 0 };
        _bOwnsFirstBlock = false;
    }
    else
    {
        if ( nSize < nHeaderSize )
        {
            nSize += nHeaderSize;
        }
        _pFirstBlock = NewBlock( nSize );
    }
    EnterBlock( _pFirstBlock );
}

CQorLinearAllocator::CQorLinearAllocator( CQorLinearAllocator&& Other ) : _pBackingAlloc( Other._pBackingAlloc )
{
    QOR_ASSERT_MSG( Other._bOwnsFirstBlock, "Inline linear allocators cannot be moved." );
    TakeOver( Other );
}

CQorLinearAllocator& CQorLinearAllocator::operator=( CQorLinearAllocator&& Other )
{
    QOR_ASSERT_MSG( _bOwnsFirstBlock && Other._bOwnsFirstBlock, "Inline linear allocators cannot be moved." );
    if ( this != &Other )
    {
        ReleaseBlocks();
        _pBackingAlloc = Other._pBackingAlloc;
        TakeOver( Other );
    }
    return *this;
}

CQorLinearAllocator::~CQorLinearAllocator()
{
    ReleaseBlocks();
}

void CQorLinearAllocator::Reset()
{
    for ( SBlock* pBlock = _pFirstBlock; pBlock; pBlock = pBlock->pNext )
    {
        pBlock->nUsed = 0;
    }
    // Later blocks are marked free when the allocator reaches them again.
    _pCurrentBlock = _pFirstBlock;
    if ( _pFirstBlock )
    {
        EnterBlock( _pFirstBlock );
    }
    _nTotalBytes = 0;
}

void CQorLinearAllocator::Enumerate( CQorArray<SUsedRange>& Ranges ) const
{
    Ranges.Clear();
    for ( SBlock* pBlock = _pFirstBlock; pBlock; pBlock = pBlock->pNext )
    {
        Ranges.Add( SUsedRange{ DataOf( pBlock ), pBlock->nUsed } );
    }
}

CQorLinearAllocator::SBlock* CQorLinearAllocator::NewBlock( uint64 nSize )
{
    SBlock* pBlock = static_cast<SBlock*>( _pBackingAlloc->Allocate( nSize, 8 ) );
    *pBlock = SBlock{ nullptr, nSize, 0 };
    return pBlock;
}

void CQorLinearAllocator::EnterBlock( SBlock* pBlock )
{
    _pCurrentBlock = pBlock;
    _pCurrent = DataOf( pBlock );
    _pEnd = reinterpret_cast<uint8*>( pBlock ) + pBlock->nSize;
    std::memset( _pCurrent, nFreeFill, static_cast<size_t>( _pEnd - _pCurrent ) );
}

bool CQorLinearAllocator::NextBlock( uint64 nSize )
{
    QOR_ASSERT_MSG( _pCurrentBlock, "A moved-from linear allocator cannot be use for further allocations." );
    if ( !_pCurrentBlock )
    {
        return false;
    }
    // Blocks kept by Reset come first, in order. One that fits the size but not the pad as well only leads
    // the caller on to the next.
    while ( _pCurrentBlock->pNext )
    {
        EnterBlock( _pCurrentBlock->pNext );
        if ( _pCurrentBlock->nSize - nHeaderSize >= nSize )
        {
            return true;
        }
    }
    uint64 nNewSize = _pCurrentBlock->nSize * 2;
    if ( nNewSize < nSize + nHeaderSize )
    {
        nNewSize = nSize * 2 + nHeaderSize;
    }
    SBlock* pBlock = NewBlock( nNewSize );
    _pCurrentBlock->pNext = pBlock;
    EnterBlock( pBlock );
    return true;
}

void CQorLinearAllocator::ReleaseBlocks()
{
    SBlock* pBlock = _pFirstBlock;
    if ( pBlock && !_bOwnsFirstBlock )
    {
        pBlock = pBlock->pNext;
    }
    while ( pBlock )
    {
        SBlock* pNext = pBlock->pNext;
        _pBackingAlloc->Deallocate( pBlock );
        pBlock = pNext;
    }
}

void CQorLinearAllocator::TakeOver( CQorLinearAllocator& Other )
{
    _pCurrent = std::exchange( Other._pCurrent, nullptr );
    _pEnd = std::exchange( Other._pEnd, nullptr );
    _pFirstBlock = std::exchange( Other._pFirstBlock, nullptr );
    _pCurrentBlock = std::exchange( Other._pCurrentBlock, nullptr );
    _nTotalBytes = std::exchange( Other._nTotalBytes, 0 );
    _bOwnsFirstBlock = Other._bOwnsFirstBlock;
}
