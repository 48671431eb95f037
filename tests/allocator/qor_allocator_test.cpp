#include "qor_core/allocator/qor_allocator.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
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
    std::vector<std::thread> Threads;
    for ( size_t I = 0; I < Seen.size(); ++I )
    {
        Threads.emplace_back( [ &Seen, I ] { Seen[ I ] = GetGlobalAllocator(); } );
    }
    for ( std::thread& Thread : Threads )
    {
        Thread.join();
    }
    for ( CQorAllocator* pAllocator : Seen )
    {
        EXPECT_EQ( pAllocator, GetGlobalAllocator() );
    }
    EXPECT_NE( dynamic_cast<CQorNewDeleteAllocator*>( GetGlobalAllocator() ), nullptr );
}
