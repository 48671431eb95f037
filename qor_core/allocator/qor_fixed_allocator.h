#pragma once

// CQorFixedAllocator: a general allocator inside one buffer that never grows, for subsystems that must stay
// within a budget (per-thread task storage, the file system's buffers). First fit over a free list kept in
// address order; each block carries a 16-byte header in front of the pointer, released neighbours merge at
// once. Fresh allocations are filled with 0xCD in every build. Thread-safe: one mutex guards everything.
// Free nodes and headers may sit at any byte address (sizes are not rounded), so they are read and written
// by copy, never through a typed pointer.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/thread/qor_mutex.h"

class CQorFixedAllocator : public CQorAllocator
{
public:
    // A free range as an offset into the buffer and a size.
    struct SFreeRange
    {
        uint64 nOffset;
        uint64 nSize;
        friend bool operator==( const SFreeRange&, const SFreeRange& ) = default;
    };

    // A buffer of nSize bytes from pAlloc (the global allocator if null).
    // REQUIRES: nSize > 16; a smaller size is reported and raised by 16.
    explicit CQorFixedAllocator( uint64 nSize, CQorAllocator* pAlloc = nullptr );
    CQorFixedAllocator( const CQorFixedAllocator& ) = delete;
    CQorFixedAllocator& operator=( const CQorFixedAllocator& ) = delete;
    // With allocations still live, reports them and keeps the buffer rather than pull it from under them.
    ~CQorFixedAllocator() override;

    // REQUIRES: NumBytes > 0, Align a power of two. Null, after a report, when no free range fits.
    void* Allocate( uint64 NumBytes, uint32 Align ) override;
    // REQUIRES: pAddress null or live from this allocator.
    void Deallocate( void* pAddress ) override;
    // Grows into a new block (alignment 1) with the contents copied; a block never shrinks, and a size within
    // the block returns pAddress. NumBytes 0 releases and returns null; a null pAddress allocates.
    void* Reallocate( void* pAddress, uint64 NumBytes );

    const uint8* GetBuffer() const { return _pBuffer; }
    uint64 GetBufferSize() const { return _nBufferSize; }
    uint64 GetAllocatedBytes() const;
    uint64 GetNumAllocations() const;
    // The free list in list order, for inspection.
    void GetFreeRanges( CQorArray<SFreeRange>& Ranges ) const;
    // Checks the free list: inside the buffer, in address order, no two ranges touching (they would have
    // merged), and free plus allocated bytes adding up to the buffer.
    bool Validate() const;

private:
    struct SFreeNode
    {
        uint64 nSize; // the whole range
        uint8* pNext;
    };
    struct SAllocationHeader
    {
        uint64 nTotalSize; // the whole range: adjustment, data and any remainder too small to split
        uint16 nAlign;
        uint16 nAdjustment; // from the range start to the pointer handed out
        int32 nRecord;      // the pointer's place in _Allocs, so that a release finds its record at once
    };
    static_assert( sizeof( SFreeNode ) == 16 && sizeof( SAllocationHeader ) == 16 );
    static constexpr uint64 nHeaderSize = sizeof( SAllocationHeader );

    static SFreeNode ReadNode( const uint8* pNode );
    static void WriteNode( uint8* pNode, const SFreeNode& Node );
    static SAllocationHeader ReadHeader( const uint8* pAddress );
    // Takes the record of pAddress out of _Allocs; the record moved into its place learns its new place.
    void RemoveRecord( void* pAddress, int32 nRecord );
    void SetNext( uint8* pPrevious, uint8* pNext );
    void CollectFreeRanges( CQorArray<SFreeRange>& Ranges ) const;

    CQorAllocator* _pBackingAlloc;
    uint8* _pBuffer;
    uint8* _pFreeList;
    uint64 _nBufferSize;
    uint64 _nAllocatedBytes = 0;
    uint64 _NumAllocations = 0;
    mutable CMutex _Mutex;
    // The live allocations, for a look from the debugger.
    CQorArray<void*> _Allocs;
};
