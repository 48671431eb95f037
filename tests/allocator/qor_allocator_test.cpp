#include "qor_core/allocator/qor_allocator.h"

#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

TEST( CQorNewDeleteAllocator, HandsOutWritableBlocksAndAcceptsNull )
{
    CQorNewDeleteAllocator Allocator;
    void* pBlock = Allocator.Allocate( 100, 8 );
    ASSERT_NE( pBlock, nullptr );
    std::memset( pBlock, 0xAB, 100 );
    EXPECT_FALSE( Allocator.IsFixedBuffer( pBlock ) );
    EXPECT_FALSE( Allocator.IsFixedBuffer( nullptr ) );
    Allocator.Deallocate( pBlock );
    Allocator.Deallocate( nullptr );
}

TEST( GetGlobalAllocator, IsOneObjectForEveryThread )
{
    std::vector<CQorAllocator*> Seen( 8, nullptr );
    RunOnThreads( 8, [ & ]( int nIndex ) { Seen[ nIndex ] = GetGlobalAllocator(); } );
    EXPECT_EQ( Seen, std::vector<CQorAllocator*>( 8, GetGlobalAllocator() ) );
    EXPECT_NE( dynamic_cast<CQorNewDeleteAllocator*>( GetGlobalAllocator() ), nullptr );
}
