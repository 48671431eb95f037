#include "qor_core/allocator/qor_inline_buffer_allocator.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace
{
using CHybrid = CQorHybridInlineBufferAllocator<double, 16>;
using CStatic = CQorStaticInlineBufferAllocator<double, 16>;

// The buffer GetBuffer gives, checked to be 16 aligned doubles inside the allocator object.
template <typename AllocatorT>
double* InlineBufferOf( AllocatorT& Allocator )
{
    double* pBuffer = nullptr;
    int32 nCapacity = 0;
    EXPECT_EQ( &Allocator.GetBuffer( pBuffer, nCapacity ), &nCapacity );
    const double* pConstBuffer = nullptr;
    static_cast<const AllocatorT&>( Allocator ).GetBuffer( pConstBuffer, nCapacity );
    const auto* pBegin = reinterpret_cast<const unsigned char*>( &Allocator );
    const auto* pByte = reinterpret_cast<const unsigned char*>( pBuffer );
    EXPECT_TRUE( nCapacity == 16 && pConstBuffer == pBuffer && pByte >= pBegin &&
                 pByte + 16 * sizeof( double ) <= pBegin + sizeof( AllocatorT ) &&
                 reinterpret_cast<uintptr_t>( pBuffer ) % alignof( double ) == 0 );
    return pBuffer;
}
} // namespace

TEST( CQorHybridInlineBufferAllocator, GivesItsInlineStorageOnlyThroughGetBuffer )
{
    CCountingAllocator Fallback;
    CHybrid Allocator( &Fallback );
    double* pBuffer = InlineBufferOf( Allocator );

    // Allocate always goes to the fall-back, with size and alignment as given.
    void* pHeap = Allocator.Allocate( 40 * sizeof( double ), alignof( double ) );
    ASSERT_EQ( Fallback.AllocateCalls(), 1 );
    EXPECT_TRUE( Fallback.Owns( pHeap ) );
    EXPECT_TRUE( Fallback.Allocations()[ 0 ].nSize == 40 * sizeof( double ) &&
                 Fallback.Allocations()[ 0 ].nAlignment == alignof( double ) );
    EXPECT_TRUE( Allocator.IsFixedBuffer( pBuffer ) && !Allocator.IsFixedBuffer( pHeap ) );

    // The inline storage is released by nobody; null and heap blocks go to the fall-back.
    Allocator.Deallocate( pBuffer );
    EXPECT_EQ( Fallback.DeallocateCalls(), 0 );
    Allocator.Deallocate( nullptr );
    Allocator.Deallocate( pHeap );
    EXPECT_EQ( Fallback.DeallocateCalls(), 2 );
    EXPECT_EQ( Fallback.LiveBlocks() + Fallback.ForeignDeallocations(), 0 );

    EXPECT_EQ( std::as_const( Allocator ).GetFallbackAllocator(), &Fallback );
    EXPECT_EQ( CHybrid().GetFallbackAllocator(), GetGlobalAllocator() );
}

TEST( CQorStaticInlineBufferAllocator, RefusesToGrowAndCallsEverythingFixed )
{
    CAssertRecorder Asserts;
    CStatic Allocator;
    double* pBuffer = InlineBufferOf( Allocator );
    EXPECT_EQ( Allocator.Allocate( 17 * sizeof( double ), alignof( double ) ), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Tried to reallocate a static buffer" } );

    double Foreign = 0.0;
    EXPECT_TRUE( Allocator.IsFixedBuffer( pBuffer ) && Allocator.IsFixedBuffer( &Foreign ) );
    Allocator.Deallocate( &Foreign );
    EXPECT_EQ( std::as_const( Allocator ).GetFallbackAllocator(), nullptr );

    // Without assertions the refusal is the null alone.
    g_bAssertsEnabled = false;
    void* pMemory = Allocator.Allocate( 8, 8 );
    g_bAssertsEnabled = true;
    EXPECT_EQ( pMemory, nullptr );
    EXPECT_EQ( Asserts.Texts().size(), 1u );
}
