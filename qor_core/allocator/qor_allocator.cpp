#include "qor_core/allocator/qor_allocator.h"

#include <new>

bool CQorAllocator::IsFixedBuffer( const void* ) const
{
    return false;
}

void* CQorNewDeleteAllocator::Allocate( uint64 nSize, uint32 )
{
    return ::operator new( nSize );
}

void CQorNewDeleteAllocator::Deallocate( void* pMemory )
{
    if ( pMemory )
    {
        ::operator delete( pMemory );
    }
}

CQorAllocator* GetGlobalAllocator()
{
    // Placement into static storage: containers destroyed late at exit may still release through it.
    alignas( CQorNewDeleteAllocator ) static unsigned char s_Storage[ sizeof( CQorNewDeleteAllocator ) ];
    static CQorAllocator* const s_pAllocator = new ( s_Storage ) CQorNewDeleteAllocator();
    return s_pAllocator;
}
