#include "qor_core/container/qor_double_ended_array_impl.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <deque>
#include <ostream>
#include <random>
#include <string>
#include <vector>

void PrintTo( const SLayout& Layout, std::ostream* pStream )
{
    *pStream << "{ " << Layout._Capacity << ", " << Layout._SpareHeadCapacity << ", " << Layout._SpareTailCapacity
             << " }";
}

namespace
{
template <typename ElementT, typename LayoutT>
struct SCase
{
    using Element = ElementT;
    using Container = CQorDoubleEndedArray<ElementT, LayoutT>;
};

// Capacities seen while pushing nCount elements one at a time from empty, each new one listed once.
template <typename LayoutT>
std::vector<int32> GrowthSequence( int nCount, bool bFront = false )
{
    CQorDoubleEndedArray<uint32, LayoutT> Array;
    std::vector<int32> Capacities;
    for ( int I = 0; I < nCount; ++I )
    {
        bFront ? Array.PushFront( I ) : Array.PushBack( I );
        if ( Capacities.empty() || Capacities.back() != Array.GetCapacity() )
        {
            Capacities.push_back( Array.GetCapacity() );
        }
    }
    return Capacities;
}

template <typename ArrayT>
void Push( ArrayT& Array, int nCount )
{
    for ( int I = 0; I < nCount; ++I )
    {
        Array.PushBack( I );
    }
}
template <typename ArrayT>
void Pop( ArrayT& Array, int nCount )
{
    for ( int I = 0; I < nCount; ++I )
    {
        Array.PopFront();
    }
}

// A queue of nStanding elements in a buffer of ten times that, run for nPasses of one push and one pop.
// Returns the element moves of the slides, beyond the one move of each push.
template <typename LayoutT>
int SteadyQueueSlideMoves( int nStanding, int nPasses, CQorAllocator* pAllocator )
{
    CTrackedElement::ResetCounts();
    CQorDoubleEndedArray<CTrackedElement, LayoutT> Queue( pAllocator );
    Queue.Reserve( 10 * nStanding );
    for ( int I = 0; I < nStanding; ++I )
    {
        Queue.PushBack( CTrackedElement( I ) );
    }
    const int nMovesBefore = CTrackedElement::s_Counts.nMoved;
    for ( int I = 0; I < nPasses; ++I )
    {
        Queue.PushBack( CTrackedElement( I ) );
        Queue.PopFront();
    }
    return CTrackedElement::s_Counts.nMoved - nMovesBefore - nPasses;
}
} // namespace

template <typename CaseT>
class CQorDoubleEndedArrayTyped : public testing::Test
{
};
using Cases = testing::Types<SCase<uint32, SQorContiguousQueueLayout>, SCase<uint32, SQorReverseContiguousQueueLayout>,
                             SCase<uint32, SQorDoubleEndedLayout>, SCase<std::string, SQorContiguousQueueLayout>,
                             SCase<std::string, SQorReverseContiguousQueueLayout>,
                             SCase<std::string, SQorDoubleEndedLayout>>;
TYPED_TEST_SUITE( CQorDoubleEndedArrayTyped, Cases );

// Random operations against std::deque as the oracle, checking the layout after every step.
TYPED_TEST( CQorDoubleEndedArrayTyped, AgreesWithStdDequeOnRandomOperations )
{
    using T = typename TypeParam::Element;
    const uint32 nSeed = 20240611;
    std::mt19937 Random( nSeed );
    auto Draw = [ & ]( int nLow, int nHigh ) { return std::uniform_int_distribution<int>( nLow, nHigh )( Random ); };
    CCountingAllocator Allocator;
    {
        typename TypeParam::Container Array( &Allocator );
        std::deque<T> Model;
        for ( int nStep = 0; nStep < 400; ++nStep )
        {
            SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", step " << nStep );
            const int32 nCapacityBefore = Array.GetCapacity();
            const T Value = ValueOf<T>( Draw( 0, 1000 ) );
            const int nOperation = Draw( 0, 9 );
            if ( nOperation < 3 )
            {
                EXPECT_EQ( *Array.PushBack( Value ), Value );
                Model.push_back( Value );
            }
            else if ( nOperation < 5 )
            {
                EXPECT_EQ( *Array.PushFront( Value ), Value );
                Model.push_front( Value );
            }
            else if ( nOperation < 7 && !Model.empty() )
            {
                EXPECT_EQ( Array.Front(), Model.front() );
                Array.PopFront();
                Model.pop_front();
            }
            else if ( nOperation == 7 && !Model.empty() )
            {
                // The argument lives in the container that may move it while making room.
                Array.PushBack( Array.Front() );
                Array.PushFront( *( Array.end() - 1 ) );
                Model.push_back( Model.front() );
                Model.push_front( Model.front() );
            }
            else if ( nOperation == 8 )
            {
                Array.Reserve( Draw( 0, static_cast<int>( Model.size() ) + 20 ) );
            }
            else if ( Draw( 0, 10 ) == 0 )
            {
                const int32 nHead = Array.GetCurrentLayout()._SpareHeadCapacity;
                Array.Clear();
                Model.clear();
                EXPECT_EQ( Array.GetCurrentLayout()._SpareHeadCapacity, nHead ) << "Clear keeps the spare head";
            }
            ASSERT_TRUE( Array.Validate() );
            ASSERT_GE( Array.GetCapacity(), nCapacityBefore );
            ASSERT_TRUE( std::equal( Array.begin(), Array.end(), Model.begin(), Model.end() ) );
        }
        typename TypeParam::Container Moved( std::move( Array ) );
        EXPECT_TRUE( Array.Validate() && Array.GetCapacity() == 0 );
        EXPECT_TRUE( std::equal( Moved.begin(), Moved.end(), Model.begin(), Model.end() ) );
    }
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    EXPECT_EQ( Allocator.ForeignDeallocations(), 0 );
}

// The layouts the policies ask for: where the spare room goes when the buffer must change.
TEST( CQorDoubleEndedArray, PoliciesPlaceTheSpareRoom )
{
    const struct
    {
        SLayout ( *pPolicy )( int32, const SLayout& );
        int32 nArgument;
        SLayout Current;
        SLayout Expected;
    } Rows[] = {
        // Reserve( 7 ) with 2 elements: an odd free count leaves the extra place at the tail.
        { SQorContiguousQueueLayout::ForReserve, 7, { 2, 0, 0 }, { 7, 0, 5 } },
        { SQorReverseContiguousQueueLayout::ForReserve, 7, { 2, 0, 0 }, { 7, 5, 0 } },
        { SQorDoubleEndedLayout::ForReserve, 7, { 2, 0, 0 }, { 7, 2, 3 } },
        { SQorDoubleEndedLayout::ForReserve, 3, { 8, 1, 2 }, { 8, 1, 2 } },
        // Tail growth by one with 4 elements: doubling, or tripling with the odd place at the head.
        { SQorContiguousQueueLayout::ForTailGrowth, 1, { 4, 0, 0 }, { 8, 0, 4 } },
        { SQorReverseContiguousQueueLayout::ForTailGrowth, 1, { 4, 0, 0 }, { 8, 3, 1 } },
        { SQorDoubleEndedLayout::ForTailGrowth, 1, { 4, 0, 0 }, { 12, 4, 4 } },
        { SQorDoubleEndedLayout::ForTailGrowth, 1, { 5, 0, 0 }, { 15, 5, 5 } },
        // A buffer of twice the size only slides; from empty the first capacity is 1.
        { SQorContiguousQueueLayout::ForTailGrowth, 1, { 8, 5, 0 }, { 8, 0, 5 } },
        { SQorDoubleEndedLayout::ForTailGrowth, 1, { 0, 0, 0 }, { 1, 0, 1 } },
        { SQorDoubleEndedLayout::ForHeadGrowth, 1, { 4, 0, 0 }, { 12, 4, 4 } },
        { SQorReverseContiguousQueueLayout::ForHeadGrowth, 1, { 4, 0, 0 }, { 8, 1, 3 } },
    };
    for ( const auto& Row : Rows )
    {
        EXPECT_EQ( Row.pPolicy( Row.nArgument, Row.Current ), Row.Expected )
            << "argument " << Row.nArgument << " on " << testing::PrintToString( Row.Current );
    }
}

TEST( CQorDoubleEndedArray, GrowthSequencesOfThePolicies )
{
    EXPECT_EQ( GrowthSequence<SQorContiguousQueueLayout>( 17 ), ( std::vector<int32>{ 1, 2, 4, 8, 16, 32 } ) );
    EXPECT_EQ( GrowthSequence<SQorDoubleEndedLayout>( 13 ), ( std::vector<int32>{ 1, 3, 6, 12, 24 } ) );
    EXPECT_EQ( GrowthSequence<SQorReverseContiguousQueueLayout>( 7 ), ( std::vector<int32>{ 1, 2, 4, 6, 8, 10, 12 } ) );
    // Growth at the head mirrors growth at the tail.
    EXPECT_EQ( GrowthSequence<SQorDoubleEndedLayout>( 40, true ), GrowthSequence<SQorDoubleEndedLayout>( 40 ) );
    EXPECT_EQ( GrowthSequence<SQorContiguousQueueLayout>( 40, true ), GrowthSequence<SQorContiguousQueueLayout>( 40 ) );
}

// Small sequences with a stated outcome, each ending in the container's layout.
TEST( CQorDoubleEndedArray, ReservesPushesAndPopsLeaveTheStatedLayouts )
{
    using CQueue = CQorContiguousQueue<uint32>;
    const struct
    {
        const char* pWhat;
        SLayout ( *pRun )();
        SLayout Expected;
    } Rows[] = {
        { "Reserve( 0 ) on a new container", [] { CQueue Q; Q.Reserve( 0 ); return Q.GetCurrentLayout(); },
          { 0, 0, 0 } },
        { "queue: 4 pushes, 2 pops, 1 push slide to the start (2 * 2 is not above 4)",
          [] { CQueue Q; Q.Reserve( 4 ); Push( Q, 4 ); Pop( Q, 2 ); Push( Q, 1 ); return Q.GetCurrentLayout(); },
          { 4, 0, 1 } },
        { "queue: 4 pushes, 1 pop, 1 push reallocate (2 * 3 is above 4)",
          [] { CQueue Q; Q.Reserve( 4 ); Push( Q, 4 ); Pop( Q, 1 ); Push( Q, 1 ); return Q.GetCurrentLayout(); },
          { 6, 0, 2 } },
        { "queue: Clear at the end of the buffer, then a push slides no element but returns to the start",
          []
          {
              CQueue Q;
              Q.Reserve( 4 );
              Push( Q, 4 );
              Pop( Q, 4 );
              Q.Clear();
              Push( Q, 1 );
              return Q.GetCurrentLayout();
          },
          { 4, 0, 3 } },
        { "reverse queue: Reserve( 8 ) puts the data at the end of the buffer",
          [] { CQorReverseContiguousQueue<uint32> Q; Q.Reserve( 8 ); return Q.GetCurrentLayout(); }, { 8, 8, 0 } },
        { "reverse queue: each push slides the elements down by one",
          [] { CQorReverseContiguousQueue<uint32> Q; Q.Reserve( 8 ); Push( Q, 3 ); return Q.GetCurrentLayout(); },
          { 8, 5, 0 } },
        { "double-ended array: Reserve( 7 ) with 2 elements",
          [] { CQorDoubleEndedArray<uint32> Q; Push( Q, 2 ); Q.Reserve( 7 ); return Q.GetCurrentLayout(); },
          { 7, 2, 3 } },
    };
    for ( const auto& Row : Rows )
    {
        EXPECT_EQ( Row.pRun(), Row.Expected ) << Row.pWhat;
    }
}

// A queue of standing size S in a buffer of 10 * S slides in place and never reallocates: the contiguous queue
// moves its S elements once per 9 * S passes, the double-ended array once per 4.5 * S, the reverse queue in
// every pass.
TEST( CQorDoubleEndedArray, SteadyQueueSlidesInPlaceAtThePoliciesRates )
{
    constexpr int nStanding = 20;
    constexpr int nPasses = 9 * nStanding * 10;
    CCountingAllocator Allocator;
    EXPECT_NEAR( SteadyQueueSlideMoves<SQorContiguousQueueLayout>( nStanding, nPasses, &Allocator ), 10 * nStanding,
                 nStanding );
    EXPECT_NEAR( SteadyQueueSlideMoves<SQorDoubleEndedLayout>( nStanding, nPasses, &Allocator ), 20 * nStanding,
                 2 * nStanding );
    EXPECT_EQ( SteadyQueueSlideMoves<SQorReverseContiguousQueueLayout>( nStanding, nPasses, &Allocator ),
               nStanding * nPasses );
    EXPECT_EQ( Allocator.AllocateCalls(), 3 ) << "one reserve per queue, and no reallocation";
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

TEST( CQorDoubleEndedArray, FrontAndPopFrontOnEmptyReportTheirOwnTexts )
{
    CAssertRecorder Asserts;
    CQorDoubleEndedArray<uint32> Array;
    Array.Reserve( 4 );
    Array.Front();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Cannot get front element of an empty container." } );

    // The pop reaches the front through a check of its own, whatever the element, and goes on.
    Asserts.Clear();
    Array.PopFront();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Cannot pop front element of an empty container.",
                                                            "Cannot access front element of an empty container." } ) );
    EXPECT_EQ( Array.GetSize(), -1 );
    EXPECT_FALSE( Array.Validate() );
    Array.Clear();
    EXPECT_TRUE( Array.Validate() );
}
