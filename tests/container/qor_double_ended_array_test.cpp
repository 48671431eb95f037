#include "qor_core/container/qor_double_ended_array_impl.h"

#include "qor_core/benchmarks/double_ended_array_traits.h"
#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <deque>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace
{

template <typename ContainerT>
auto ToVector( const ContainerT& Container )
{
    return std::vector<typename ContainerT::ValueType>( Container.begin(), Container.end() );
}

template <typename ElementT, typename LayoutT>
struct SCase
{
    using Element = ElementT;
    using Container = CQorDoubleEndedArray<ElementT, LayoutT>;
};

// Capacities seen while pushing nCount elements one at a time from empty, each new one listed once.
template <typename LayoutT>
std::vector<int32> GrowthSequence( int nCount, bool bFront )
{
    CQorDoubleEndedArray<uint32, LayoutT> Array;
    std::vector<int32> Capacities;
    for ( int I = 0; I < nCount; ++I )
    {
        bFront ? Array.PushFront( I ) : Array.PushBack( I );
        EXPECT_TRUE( Array.Validate() );
        if ( Capacities.empty() || Capacities.back() != Array.GetCapacity() )
        {
            Capacities.push_back( Array.GetCapacity() );
        }
    }
    return Capacities;
}

// A destructor that touches nothing, so the pop of an empty container can be watched without harm.
struct SNonTrivialDestructor
{
    uint32 nValue = 0;
    ~SNonTrivialDestructor() {}
};
} // namespace

void PrintTo( const SLayout& Layout, std::ostream* pStream )
{
    *pStream << "{ " << Layout._Capacity << ", " << Layout._SpareHeadCapacity << ", " << Layout._SpareTailCapacity
             << " }";
}

template <typename CaseT>
class CQorDoubleEndedArrayTyped : public testing::Test
{
protected:
    using T = typename CaseT::Element;
    using ContainerT = typename CaseT::Container;

    void SetUp() override { CTrackedElement::ResetCounts(); }
    void TearDown() override { EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 ) << "tracked elements leaked"; }
};
using Cases =
    testing::Types<SCase<uint32, SQorContiguousQueueLayout>, SCase<uint32, SQorReverseContiguousQueueLayout>,
                   SCase<uint32, SQorDoubleEndedLayout>, SCase<CTrackedElement, SQorContiguousQueueLayout>,
                   SCase<CTrackedElement, SQorReverseContiguousQueueLayout>,
                   SCase<CTrackedElement, SQorDoubleEndedLayout>, SCase<std::string, SQorContiguousQueueLayout>,
                   SCase<std::string, SQorReverseContiguousQueueLayout>, SCase<std::string, SQorDoubleEndedLayout>>;
TYPED_TEST_SUITE( CQorDoubleEndedArrayTyped, Cases );

// Long random operation sequences against std::deque as the oracle, checking the layout after every step.
TYPED_TEST( CQorDoubleEndedArrayTyped, AgreesWithStdDequeOnRandomOperations )
{
    using T = typename TestFixture::T;
    using ContainerT = typename TestFixture::ContainerT;
    for ( uint32 nSeed = 1; nSeed <= 12; ++nSeed )
    {
        std::mt19937 Random( nSeed );
        auto Draw = [&]( int nLow, int nHigh ) { return std::uniform_int_distribution<int>( nLow, nHigh )( Random ); };
        CCountingAllocator Allocator;
        {
            ContainerT Array( &Allocator );
            std::deque<T> Model;
            for ( int nStep = 0; nStep < 600; ++nStep )
            {
                const int32 nCapacityBefore = Array.GetCapacity();
                const T Value = ValueOf<T>( Draw( 0, 1000 ) );
                switch ( Draw( 0, 9 ) )
                {
                case 0:
                case 1:
                case 2:
                    EXPECT_EQ( *Array.PushBack( Value ), Value );
                    Model.push_back( Value );
                    break;
                case 3:
                case 4:
                    EXPECT_EQ( *Array.PushFront( Value ), Value );
                    Model.push_front( Value );
                    break;
                case 5:
                case 6:
                    if ( !Model.empty() )
                    {
                        EXPECT_EQ( Array.Front(), Model.front() );
                        Array.PopFront();
                        Model.pop_front();
                    }
                    break;
                case 7:
                    // The argument lives in the container that may move it while making room.
                    if ( !Model.empty() )
                    {
                        const T Front = Model.front();
                        Array.PushBack( Array.Front() );
                        Array.PushFront( *( Array.end() - 1 ) );
                        Array.PushFront( std::as_const( Array ).Front() );
                        Model.insert( Model.end(), Front );
                        Model.insert( Model.begin(), 2, Front );
                    }
                    break;
                case 8:
                    Array.Reserve( Draw( 0, static_cast<int>( Model.size() ) + 20 ) );
                    break;
                default:
                    if ( Draw( 0, 10 ) == 0 )
                    {
                        const SLayout Before = Array.GetCurrentLayout();
                        Array.Clear();
                        Model.clear();
                        EXPECT_EQ( Array.GetCurrentLayout()._SpareHeadCapacity, Before._SpareHeadCapacity );
                    }
                    else if ( Draw( 0, 3 ) == 0 )
                    {
                        ContainerT Moved( std::move( Array ) );
                        EXPECT_TRUE( Array.Validate() && Array.IsEmpty() && Array.GetCapacity() == 0 );
                        Array = std::move( Moved );
                    }
                    break;
                }
                ASSERT_TRUE( Array.Validate() ) << "seed " << nSeed << ", step " << nStep;
                ASSERT_GE( Array.GetCapacity(), nCapacityBefore ) << "seed " << nSeed << ", step " << nStep;
                ASSERT_EQ( ToVector( Array ), std::vector<T>( Model.begin(), Model.end() ) )
                    << "seed " << nSeed << ", step " << nStep;
            }
        }
        EXPECT_EQ( Allocator.LiveBlocks(), 0 ) << "seed " << nSeed;
        EXPECT_EQ( Allocator.ForeignDeallocations(), 0 ) << "seed " << nSeed;
    }
}

TEST( CQorDoubleEndedArray, GrowthSequencesOfThePolicies )
{
    EXPECT_EQ( GrowthSequence<SQorContiguousQueueLayout>( 17, false ), ( std::vector<int32>{ 1, 2, 4, 8, 16, 32 } ) );
    EXPECT_EQ( GrowthSequence<SQorDoubleEndedLayout>( 13, false ), ( std::vector<int32>{ 1, 3, 6, 12, 24 } ) );
    EXPECT_EQ( GrowthSequence<SQorReverseContiguousQueueLayout>( 7, false ),
               ( std::vector<int32>{ 1, 2, 4, 6, 8, 10, 12 } ) );
}

TEST( CQorDoubleEndedArray, PushFrontGrowsAsTheMirrorOfPushBack )
{
    EXPECT_EQ( GrowthSequence<SQorContiguousQueueLayout>( 40, true ),
               GrowthSequence<SQorContiguousQueueLayout>( 40, false ) );
    EXPECT_EQ( GrowthSequence<SQorDoubleEndedLayout>( 40, true ), GrowthSequence<SQorDoubleEndedLayout>( 40, false ) );
    EXPECT_EQ( GrowthSequence<SQorReverseContiguousQueueLayout>( 40, true ),
               GrowthSequence<SQorReverseContiguousQueueLayout>( 40, false ) );

    // A double-ended array that grew at the tail has room at the head, and the other way round.
    CQorDoubleEndedArray<uint32> Array;
    for ( uint32 I = 0; I < 7; ++I )
    {
        Array.PushBack( I );
    }
    const int32 nCapacity = Array.GetCapacity();
    Array.PushFront( 100 );
    EXPECT_EQ( Array.GetCapacity(), nCapacity );
    EXPECT_EQ( ToVector( Array ), ( std::vector<uint32>{ 100, 0, 1, 2, 3, 4, 5, 6 } ) );
}

// The slide rates of a queue of standing size S in a buffer of 10 * S: the contiguous queue moves its S
// elements once per 9 * S passes, the double-ended array once per 4.5 * S, the reverse queue in every pass.
TEST( CQorDoubleEndedArray, SteadyQueueSlideRatesOfThePolicies )
{
    constexpr int nStanding = 20;
    constexpr int nPasses = 9 * nStanding * 10;
    auto SlideMoves = [&]( auto Queue )
    {
        CTrackedElement::ResetCounts();
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
        // Every push moves its own temporary in once.
        return CTrackedElement::s_Counts.nMoved - nMovesBefore - nPasses;
    };
    EXPECT_NEAR( SlideMoves( CQorContiguousQueue<CTrackedElement>() ), nStanding * nPasses / ( 9 * nStanding ),
                 nStanding );
    EXPECT_NEAR( SlideMoves( CQorDoubleEndedArray<CTrackedElement>() ), nStanding * nPasses * 2 / ( 9 * nStanding ),
                 2 * nStanding );
    EXPECT_EQ( SlideMoves( CQorReverseContiguousQueue<CTrackedElement>() ), nStanding * nPasses );
}

TEST( CQorDoubleEndedArray, FrontAndPopFrontOnEmptyReportTheirOwnTexts )
{
    CAssertRecorder Asserts;
    CQorDoubleEndedArray<uint32> Array;
    Array.Reserve( 4 );
    Array.Front();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Cannot get front element of an empty container." } );

    Asserts.Clear();
    Array.PopFront();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Cannot pop front element of an empty container.",
                                                            "Cannot access front element of an empty container." } ) );
    EXPECT_EQ( Array.GetSize(), -1 );
    EXPECT_FALSE( Array.Validate() );
    Array.Clear();
    EXPECT_TRUE( Array.Validate() );

    // An element with a destructor is reached through the front, which has a text of its own.
    Asserts.Clear();
    CQorContiguousQueue<SNonTrivialDestructor> Queue;
    Queue.Reserve( 2 );
    Queue.PopFront();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Cannot pop front element of an empty container.",
                                                            "Cannot access front element of an empty container." } ) );
    EXPECT_EQ( Queue.GetCurrentLayout()._SpareHeadCapacity, 1 ) << "the pop goes on and steps past the buffer start";
}

// The seven queues of the benchmark pass the same draws through in the same order.
TEST( CQorDoubleEndedArray, AllBenchmarkQueuesDeliverTheSameValuesInOrder )
{
    auto Run = []<typename TraitsT>( TraitsT )
    {
        typename TraitsT::ContainerType Container;
        CQorRandom Random( NQueueBenchmark::nQueueSeed );
        NQueueBenchmark::FillQueue<TraitsT>( Container, Random, 100, 10 );
        std::vector<uint32> Values;
        for ( int I = 0; I < 1000; ++I )
        {
            NQueueBenchmark::StepQueue<TraitsT>( Container, Random,
                                                 [&]( uint32 nFront ) { Values.push_back( nFront ); } );
        }
        EXPECT_EQ( TraitsT::Size( Container ), 10 );
        return Values;
    };
    std::vector<uint32> Draws;
    CQorRandom Random( NQueueBenchmark::nQueueSeed );
    for ( int I = 0; I < 1000; ++I )
    {
        Draws.push_back( static_cast<uint32>( Random.Next() ) );
    }
    EXPECT_EQ( Run( SQorDoubleEndedArrayTraits() ), Draws );
    EXPECT_EQ( Run( SQorContiguousQueueTraits() ), Draws );
    EXPECT_EQ( Run( SQorReverseContiguousQueueTraits() ), Draws );
    EXPECT_EQ( Run( SQorArrayTraits() ), Draws );
    EXPECT_EQ( Run( SStdVectorTraits() ), Draws );
    EXPECT_EQ( Run( SStdDequeTraits() ), Draws );
    EXPECT_EQ( Run( SStdListTraits() ), Draws );
}
