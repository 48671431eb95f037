#include "qor_core/allocator/qor_inline_buffer_allocator.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using CHybrid = CQorHybridInlineBufferAllocator<double, 16>;
using CStatic = CQorStaticInlineBufferAllocator<double, 16>;

template <typename ObjectT>
bool LiesInside( const void* pAddress, const ObjectT& Object )
{
    const auto* pByte = static_cast<const unsigned char*>( pAddress );
    const auto* pBegin = reinterpret_cast<const unsigned char*>( &Object );
    return pByte >= pBegin && pByte + sizeof( double ) <= pBegin + sizeof( ObjectT );
}
} // namespace

TEST( CQorHybridInlineBufferAllocator, GivesItsInlineStorageOnlyThroughGetBuffer )
{
    CCountingAllocator Fallback;
    CHybrid Allocator( &Fallback );

    double* pBuffer = nullptr;
    int32 nCapacity = 0;
    int32& nReturned = Allocator.GetBuffer( pBuffer, nCapacity );
    EXPECT_EQ( &nReturned, &nCapacity );
    EXPECT_EQ( nCapacity, 16 );
    EXPECT_TRUE( LiesInside( pBuffer, Allocator ) );
    EXPECT_EQ( reinterpret_cast<uintptr_t>( pBuffer ) % alignof( double ), 0u );

    const CHybrid& ConstAllocator = Allocator;
    const double* pConstBuffer = nullptr;
    ConstAllocator.GetBuffer( pConstBuffer, nCapacity );
    EXPECT_EQ( pConstBuffer, pBuffer );

    // Allocate always goes to the fall-back, with size and alignment as given.
    void* pHeap = Allocator.Allocate( 40 * sizeof( double ), alignof( double ) );
    ASSERT_EQ( Fallback.AllocateCalls(), 1 );
    EXPECT_TRUE( Fallback.Owns( pHeap ) );
    EXPECT_EQ( Fallback.Allocations()[ 0 ].nSize, 40 * sizeof( double ) );
    EXPECT_EQ( Fallback.Allocations()[ 0 ].nAlignment, alignof( double ) );

    EXPECT_TRUE( Allocator.IsFixedBuffer( pBuffer ) );
    EXPECT_FALSE( Allocator.IsFixedBuffer( pHeap ) );
    EXPECT_FALSE( Allocator.IsFixedBuffer( nullptr ) );

    // The inline storage is released by nobody; null and heap blocks go to the fall-back.
    Allocator.Deallocate( pBuffer );
    EXPECT_EQ( Fallback.DeallocateCalls(), 0 );
    Allocator.Deallocate( nullptr );
    EXPECT_EQ( Fallback.DeallocateCalls(), 1 );
    Allocator.Deallocate( pHeap );
    EXPECT_EQ( Fallback.DeallocateCalls(), 2 );
    EXPECT_EQ( Fallback.LiveBlocks(), 0 );
    EXPECT_EQ( Fallback.ForeignDeallocations(), 0 );

    EXPECT_EQ( Allocator.GetFallbackAllocator(), &Fallback );
    EXPECT_EQ( ConstAllocator.GetFallbackAllocator(), &Fallback );
    EXPECT_EQ( CHybrid().GetFallbackAllocator(), GetGlobalAllocator() );
}

TEST( CQorStaticInlineBufferAllocator, RefusesToGrowAndCallsEverythingFixed )
{
    CAssertRecorder Asserts;
    CStatic Allocator;
    double* pBuffer = nullptr;
    int32 nCapacity = 0;
    Allocator.GetBuffer( pBuffer, nCapacity );
    EXPECT_EQ( nCapacity, 16 );
    EXPECT_TRUE( LiesInside( pBuffer, Allocator ) );

    EXPECT_EQ( Allocator.Allocate( 17 * sizeof( double ), alignof( double ) ), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Tried to reallocate a static buffer" } );

    double Foreign = 0.0;
    EXPECT_TRUE( Allocator.IsFixedBuffer( pBuffer ) );
    EXPECT_TRUE( Allocator.IsFixedBuffer( &Foreign ) );
    Allocator.Deallocate( &Foreign );
    Allocator.Deallocate( nullptr );
    EXPECT_EQ( Allocator.GetFallbackAllocator(), nullptr );
    EXPECT_EQ( static_cast<const CStatic&>( Allocator ).GetFallbackAllocator(), nullptr );
    EXPECT_EQ( Asserts.Texts().size(), 1u );
}
