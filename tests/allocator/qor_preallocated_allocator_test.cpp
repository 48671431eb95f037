#include "qor_core/allocator/qor_preallocated_allocator.h"

#include "qor_core/container/qor_array.h"
#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST( CQorPreAllocatedAllocator, HandsOutTheGivenBufferAndNothingElse )
{
    CAssertRecorder Asserts;
    int32 Buffer[ 12 ] = {};
    CQorPreAllocatedAllocator<int32> Allocator( Buffer, 12 );

    int32* pBuffer = nullptr;
    int32 nCapacity = 0;
    EXPECT_EQ( &Allocator.GetBuffer( pBuffer, nCapacity ), &nCapacity );
    EXPECT_EQ( pBuffer, Buffer );
    EXPECT_EQ( nCapacity, 12 );
    const int32* pConstBuffer = nullptr;
    static_cast<const CQorPreAllocatedAllocator<int32>&>( Allocator ).GetBuffer( pConstBuffer, nCapacity );
    EXPECT_EQ( pConstBuffer, Buffer );

    int32 Foreign = 0;
    EXPECT_TRUE( Allocator.IsFixedBuffer( Buffer ) );
    EXPECT_TRUE( Allocator.IsFixedBuffer( &Foreign ) );
    EXPECT_EQ( Allocator.GetFallbackAllocator(), nullptr );
    Allocator.Deallocate( Buffer );
    EXPECT_TRUE( Asserts.Texts().empty() );

    EXPECT_EQ( Allocator.Allocate( 4, 4 ), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Tried to reallocate a pre-allocated buffer" } );

    Asserts.Clear();
    g_bAssertsEnabled = false;
    void* pMemory = Allocator.Allocate( 4, 4 );
    g_bAssertsEnabled = true;
    EXPECT_EQ( pMemory, nullptr );
    EXPECT_TRUE( Asserts.Texts().empty() );
}
