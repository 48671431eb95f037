#pragma once

// The one allocation interface of the library. Containers hold a CQorAllocator* per instance rather than an
// allocator type parameter, so two arrays of one type can draw on different allocators. The interface has no
// failure return: an allocator hands out memory, throws what the global new throws, or asserts.

#include "qor_core/qor_types.h"

class CQorAllocator
{
public:
    virtual ~CQorAllocator() = default;

    // nSize counts bytes, not elements. Never returns null for a size the allocator supports.
    virtual void* Allocate( uint64 nSize, uint32 nAlignment ) = 0;
    // Must accept null: containers release without a test of their own.
    virtual void Deallocate( void* pMemory ) = 0;
    // True for storage the allocator owns that may not be traded for a smaller block (shrink-to-fit skips it).
    virtual bool IsFixedBuffer( const void* pBuffer ) const;
};

// Forwards to the global operator new and delete. The alignment is ignored: blocks are aligned only as the
// global new aligns them.
class CQorNewDeleteAllocator : public CQorAllocator
{
public:
    void* Allocate( uint64 nSize, uint32 nAlignment ) override;
    void Deallocate( void* pMemory ) override;
};

// The process-wide default allocator: built on first use (also during static initialisation), never
// destroyed, the same address for the life of the process.
CQorAllocator* GetGlobalAllocator();
