#include "qor_core/container/qor_circular_buffer.h"

#include "qor_core/qor_range_impl.h"
#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

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
protected:
    void SetUp() override { CTrackedElement::ResetCounts(); }
    void TearDown() override { EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 ) << "tracked elements leaked"; }
};
using ElementTypes = testing::Types<uint32, CTrackedElement, std::string>;
TYPED_TEST_SUITE( CQorCircularBufferTyped, ElementTypes );

// Pushes well past the capacity, pops at both ends and copies, against a std::deque that drops its front
// when full.
TYPED_TEST( CQorCircularBufferTyped, KeepsTheLastItemsLikeABoundedDeque )
{
    using T = TypeParam;
    for ( uint32 nSeed = 1; nSeed <= 10; ++nSeed )
    {
        SCOPED_TRACE( "seed " + std::to_string( nSeed ) );
        std::mt19937 Random( nSeed );
        auto Draw = [&]( int nHigh ) { return std::uniform_int_distribution<int>( 0, nHigh )( Random ); };
        const int32 nCapacity = int32( nSeed % 5 == 0 ? 0 : Draw( 9 ) + 1 );
        CCountingAllocator Allocator;
        {
            CQorCircularBuffer<T> Buffer( nCapacity, &Allocator );
            std::deque<T> Model;
            auto Push = [&]( const T& Value ) {
                if ( nCapacity > 0 && int32( Model.size() ) == nCapacity )
                {
                    Model.pop_front();
                }
                if ( nCapacity > 0 )
                {
                    Model.push_back( Value );
                }
            };
            for ( int nStep = 0; nStep < 300; ++nStep )
            {
                const T Value = ValueOf<T>( Draw( 1000 ) );
                switch ( Draw( 9 ) )
                {
                case 0:
                case 1:
                case 2:
                    Buffer.PushBack( Value );
                    Push( Value );
                    break;
                case 3:
                    Buffer.EmplaceBack( ValueOf<T>( nStep ) );
                    Push( ValueOf<T>( nStep ) );
                    break;
                case 4:
                    // The oldest item itself, which a full buffer overwrites with it.
                    if ( !Model.empty() )
                    {
                        const T Front = Model.front();
                        Draw( 1 ) ? Buffer.PushBack( Buffer.Front() ) : Buffer.EmplaceBack( Buffer.Front() );
                        Push( Front );
                    }
                    break;
                case 5:
                case 6:
                    if ( !Model.empty() )
                    {
                        Draw( 1 ) ? ( Buffer.PopFront(), Model.pop_front() ) : ( Buffer.PopBack(), Model.pop_back() );
                    }
                    break;
                case 7:
                    Buffer = CQorCircularBuffer<T>( Buffer );
                    break;
                default:
                    if ( Draw( 8 ) == 0 )
                    {
                        Buffer.Clear();
                        Model.clear();
                    }
                }
                ASSERT_EQ( Buffer.GetSize(), int32( Model.size() ) ) << "step " << nStep;
                ASSERT_EQ( Buffer.IsFull(), int32( Model.size() ) == nCapacity );
                ASSERT_EQ( std::vector<T>( Buffer.begin(), Buffer.end() ),
                           std::vector<T>( Model.begin(), Model.end() ) );
                for ( int32 I = 0; I < Buffer.GetSize(); ++I )
                {
                    ASSERT_EQ( Buffer[ I ], Model[ I ] ) << "step " << nStep << " index " << I;
                }
            }
        }
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
    EXPECT_EQ( Buffer[ 0 ], 3 );
    EXPECT_EQ( &Buffer[ 0 ], Buffer.GetData() + 3 );
    // Its iterators make a random-access range.
    const CQorRange Range( Buffer.begin(), Buffer.end() );
    EXPECT_EQ( std::vector<int32>( Range.Next( 1 ).begin(), Range.end() ), ( std::vector<int32>{ 4, 5, 6 } ) );
}

TEST( CQorCircularBuffer, ReportsMisuse )
{
    struct SCase
    {
        std::function<void( CQorCircularBuffer<int32>& )> Act;
        std::string Text;
        int32 nSizeAfter;
    } Cases[] = {
        { []( auto& Buffer ) { Buffer[ 2 ]; }, "Index < GetSize()", 2 },
        { []( auto& Buffer ) { Buffer[ -1 ]; }, "Index >= 0", 2 },
        { []( auto& Buffer ) { ( Buffer.PopBack(), Buffer.PopBack(), Buffer.PopFront() ); }, "_Size > 0", 0 },
        { []( auto& Buffer ) { ( Buffer.PopFront(), Buffer.PopFront(), Buffer.PopBack() ); }, "_Size > 0", 0 },
        { []( auto& Buffer ) { ( Buffer = CQorCircularBuffer<int32>( -1 ), Buffer.PushBack( 1 ) ); }, "Capacity >= 0",
          0 },
    };
    for ( const SCase& Case : Cases )
    {
        CQorCircularBuffer<int32> Buffer( 3 );
        Buffer.PushBack( 1 );
        Buffer.PushBack( 2 );
        CAssertRecorder Asserts;
        Case.Act( Buffer );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ Case.Text } );
        EXPECT_EQ( Buffer.GetSize(), Case.nSizeAfter ) << Case.Text;
    }
}
