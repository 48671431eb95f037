#pragma once

// CQorLinearAllocator: an arena that bumps a pointer through a chain of blocks and gives everything back at
// once. A single Deallocate does nothing; Reset rewinds to the first block and keeps every block, so a repeated
// sequence of allocations gets the same addresses again without touching the backing allocator. Free space is
// filled with 0x44 and fresh allocations with 0x30, in every build, so that stale reads stand out.
// Not thread-safe.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/container/qor_array.h"

#include <cstdint>
#include <cstring>

class CQorLinearAllocator : public CQorAllocator
{
public:
    // The bytes handed out from one block: they start at pData and count nUsed, alignment pads included.
    struct SUsedRange
    {
        uint8* pData;
        uint64 nUsed;
    };

    // A first block of nSize bytes, header included, from pAlloc (the global allocator if null).
    // REQUIRES: nSize > 24; a smaller size is reported and raised by 24.
    explicit CQorLinearAllocator( uint64 nSize, CQorAllocator* pAlloc = nullptr );
    // The caller's buffer as first block. It must outlive the allocator, which then cannot be moved. A buffer
    // without room for the block header is reported and replaced by a block from pAlloc.
    CQorLinearAllocator( void* pBuffer, uint64 nSize, CQorAllocator* pAlloc = nullptr );
    // REQUIRES: the first block of each side came from the backing allocator.
    CQorLinearAllocator( CQorLinearAllocator&& Other );
    CQorLinearAllocator& operator=( CQorLinearAllocator&& Other );
    CQorLinearAllocator( const CQorLinearAllocator& ) = delete;
    CQorLinearAllocator& operator=( const CQorLinearAllocator& ) = delete;
    ~CQorLinearAllocator() override;

    // REQUIRES: nAlignment is a power of two; the allocator has not been moved from.
    void* Allocate( uint64 nSize, uint32 nAlignment ) override
    {
        const uintptr_t nMask = nAlignment ? nAlignment - 1 : 0;
        for ( ;; )
        {
            const uint64 nPad = ( 0 - reinterpret_cast<uintptr_t>( _pCurrent ) ) & nMask;
            const uint64 nLeft = static_cast<uint64>( _pEnd - _pCurrent );
            if ( _pCurrentBlock && nLeft >= nPad && nLeft - nPad >= nSize )
            {
                _pCurrent += nPad;
                break;
            }
            if ( !NextBlock( nSize ) )
            {
                return nullptr;
            }
        }
        uint8* pResult = _pCurrent;
        std::memset( pResult, nFreshFill, nSize );
        _pCurrent += nSize;
        _nTotalBytes += nSize;
        _pCurrentBlock->nUsed += nSize;
        return pResult;
    }
    // Single releases have no effect: memory comes back with Reset or destruction.
    void Deallocate( void* ) override {}

    // Rewinds to the first block; no block is released.
    void Reset();
    // One range per block, in chain order.
    void Enumerate( CQorArray<SUsedRange>& Ranges ) const;
    // Bytes handed out since construction or the last Reset, pads not counted.
    uint64 GetTotalBytes() const { return _nTotalBytes; }

private:
    struct SBlock
    {
        SBlock* pNext;
        uint64 nSize; // the whole block, header included
        uint64 nUsed;
    };
    static constexpr uint64 nHeaderSize = sizeof( SBlock );

    static constexpr uint8 nFreeFill = 0x44;
    static constexpr uint8 nFreshFill = 0x30;

    static uint8* DataOf( SBlock* pBlock ) { return reinterpret_cast<uint8*>( pBlock ) + nHeaderSize; }
    SBlock* NewBlock( uint64 nSize );
    // Makes pBlock the block being filled, from its start, and marks its space free.
    void EnterBlock( SBlock* pBlock );
    // Moves on to the next block kept by Reset that has room for nSize, or adds a block. False when moved-from.
    bool NextBlock( uint64 nSize );
    void ReleaseBlocks();
    void TakeOver( CQorLinearAllocator& Other );

    uint8* _pCurrent = nullptr;
    uint8* _pEnd = nullptr;
    SBlock* _pFirstBlock = nullptr;
    SBlock* _pCurrentBlock = nullptr;
    CQorAllocator* _pBackingAlloc;
    uint64 _nTotalBytes = 0;
    bool _bOwnsFirstBlock = true;
};
