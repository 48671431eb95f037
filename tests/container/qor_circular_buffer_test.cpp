#include "qor_core/container/qor_circular_buffer.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <random>
#include <string>
#include <vector>

static_assert( std::random_access_iterator<CQorCircularBuffer<int>::iterator> );
static_assert( std::random_access_iterator<CQorCircularBuffer<int>::const_iterator> );

template <typename T>
class CQorCircularBufferTyped : public testing::Test
{
};
using ElementTypes = testing::Types<CTrackedElement, std::string>;
TYPED_TEST_SUITE( CQorCircularBufferTyped, ElementTypes );

// Pushes well past the capacity, pops at both ends and copies, against a std::deque that drops its front when
// full. Tracked elements count their lives; strings on the heap make a slot used after its destruction show.
TYPED_TEST( CQorCircularBufferTyped, KeepsTheLastItemsLikeABoundedDeque )
{
    using T = TypeParam;
    for ( uint32 nSeed = 1; nSeed <= 10; ++nSeed )
    {
        SCOPED_TRACE( "seed " + std::to_string( nSeed ) );
        std::mt19937 Random( nSeed );
        auto Draw = [&]( int nHigh ) { return std::uniform_int_distribution<int>( 0, nHigh )( Random ); };
        const int32 nCapacity = nSeed % 5 == 0 ? 0 : Draw( 9 ) + 1;
        CTrackedElement::ResetCounts();
        CCountingAllocator Allocator;
        {
            CQorCircularBuffer<T> Buffer( nCapacity, &Allocator );
            std::deque<T> Model;
            auto Push = [&]( const T& Value ) {
                Model.push_back( Value );
                Model.erase( Model.begin(), Model.end() - std::min<int32>( int32( Model.size() ), nCapacity ) );
            };
            for ( int nStep = 0; nStep < 300; ++nStep )
            {
                const int nOperation = Draw( 9 );
                if ( nOperation <= 3 )
                {
                    const T Value = ValueOf<T>( nStep );
                    nOperation <= 1 ? Buffer.PushBack( Value ) : Buffer.EmplaceBack( Value );
                    Push( Value );
                }
                else if ( nOperation <= 6 && !Model.empty() )
                {
                    // The oldest item itself, which a full buffer overwrites with it.
                    const T Front = Model.front();
                    nOperation == 4 ? Buffer.PushBack( Buffer.Front() ) : Buffer.EmplaceBack( Buffer.Front() );
                    Push( Front );
                }
                else if ( nOperation <= 8 && !Model.empty() )
                {
                    Draw( 1 ) ? ( Buffer.PopFront(), Model.pop_front() ) : ( Buffer.PopBack(), Model.pop_back() );
                }
                else if ( nOperation == 9 && Draw( 3 ) == 0 )
                {
                    Buffer.Clear();
                    Model.clear();
                }
                else if ( nOperation == 9 )
                {
                    Buffer = CQorCircularBuffer<T>( Buffer );
                }
                ASSERT_EQ( ToVector( Buffer ), ToVector( Model ) ) << "step " << nStep;
                ASSERT_EQ( Buffer.IsFull(), int32( Model.size() ) == nCapacity );
            }
        }
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
        EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    }
}

TEST( CQorCircularBuffer, IndexWrapsOnceAroundThePhysicalArray )
{
    CQorCircularBuffer<int32> Buffer( 4 );
    for ( int32 I = 0; I < 7; ++I )
    {
        Buffer.PushBack( I );
    }
    ASSERT_EQ( Buffer.GetHead(), 3 );
    EXPECT_EQ( &Buffer[ 2 ], Buffer.GetData() + 1 );
    EXPECT_EQ( &Buffer[ 0 ], Buffer.GetData() + 3 );
}

// Each row: the misuse of a buffer holding 1 and 2, its report, and the size afterwards.
TEST( CQorCircularBuffer, ReportsMisuse )
{
    const struct
    {
        std::function<void( CQorCircularBuffer<int32>& )> Act;
        std::string Text;
        int32 nSizeAfter;
    } Rows[] = {
        { []( auto& Buffer ) { Buffer[ 2 ]; }, "Index < GetSize()", 2 },
        { []( auto& Buffer ) { Buffer[ -1 ]; }, "Index >= 0", 2 },
        { []( auto& Buffer ) { ( Buffer.PopBack(), Buffer.PopBack(), Buffer.PopFront() ); }, "_Size > 0", 0 },
        { []( auto& Buffer ) { ( Buffer = CQorCircularBuffer<int32>( -1 ), Buffer.PushBack( 1 ) ); }, "Capacity >= 0",
          0 },
    };
    for ( const auto& Row : Rows )
    {
        CQorCircularBuffer<int32> Buffer( 3 );
        Buffer.PushBack( 1 );
        Buffer.PushBack( 2 );
        CAssertRecorder Asserts;
        Row.Act( Buffer );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ Row.Text } );
        EXPECT_EQ( Buffer.GetSize(), Row.nSizeAfter ) << Row.Text;
    }
}
