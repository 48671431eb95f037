#include "qor_core/stats/qor_memory_stats.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <vector>

namespace
{
const NQorMemoryConsumers::CMemoryConsumer g_Textures( "Test Textures" );
const NQorMemoryConsumers::CMemoryConsumer g_Sounds( "Test Sounds" );
} // namespace

TEST( CQorDebugStats, EachFrameHoldsWhatWasCountedSinceThePreviousEnd )
{
    CQorIOStats Stats;
    EXPECT_STREQ( Stats.GetFrameThreadName(), "I/O Stats Frame Thread" );
    EXPECT_STREQ( CQorMemoryStats().GetFrameThreadName(), "Memory Stats Frame Thread" );
    EXPECT_STREQ( CQorNetStats().GetFrameThreadName(), "Net Stats Frame Thread" );
    Stats.Add( SQorIOStatsTraits::BYTES_READ, 100 );
    Stats.Add( SQorIOStatsTraits::OPENS_FOR_READ );
    Stats.EndFrame();
    Stats.Add( SQorIOStatsTraits::BYTES_READ, 5 );
    EXPECT_EQ( Stats.GetLastFrame( SQorIOStatsTraits::BYTES_READ ), 100u );
    EXPECT_EQ( Stats.GetLastFrame( SQorIOStatsTraits::OPENS_FOR_READ ), 1u );
    Stats.EndFrame();
    EXPECT_EQ( Stats.GetLastFrame( SQorIOStatsTraits::BYTES_READ ), 5u );
    EXPECT_EQ( Stats.GetLastFrame( SQorIOStatsTraits::OPENS_FOR_READ ), 0u );
    EXPECT_EQ( Stats.GetTotal( SQorIOStatsTraits::BYTES_READ ), 105u );
    EXPECT_EQ( Stats.GetFrameCount(), 2u );
}

// Counting threads and the thread that ends frames overlap: every count lands in exactly one frame.
TEST( CQorDebugStats, FramesEndedWhileThreadsCountLoseAndRepeatNothing )
{
    constexpr int nThreads = 4;
    constexpr int nAdds = 20000;
    for ( int Round = 0; Round < 5; ++Round )
    {
        CQorNetStats Stats;
        std::atomic<int> nRunning{ nThreads };
        std::barrier Start( nThreads + 1 );
        uint64 FrameSum = 0;
        RunOnThreads( nThreads + 1, [ & ]( int Thread ) {
            Start.arrive_and_wait();
            while ( Thread == nThreads && nRunning.load() > 0 )
            {
                Stats.EndFrame();
                FrameSum += Stats.GetLastFrame( SQorNetStatsTraits::PACKETS_SENT );
            }
            for ( int I = 0; I < nAdds && Thread < nThreads; ++I )
            {
                Stats.Add( SQorNetStatsTraits::PACKETS_SENT, 3 );
            }
            nRunning.fetch_sub( 1 );
        } );
        Stats.EndFrame();
        FrameSum += Stats.GetLastFrame( SQorNetStatsTraits::PACKETS_SENT );
        EXPECT_EQ( FrameSum, uint64( 3 * nThreads * nAdds ) ) << "round " << Round;
    }
}

// A consumer declared after the statistics were made is reported, and counted all the same.
TEST( CQorMemoryStats, CountsEachConsumerApartAndTheWholeTogether )
{
    CQorMemoryStats Stats;
    CAssertRecorder Asserts;
    const NQorMemoryConsumers::CMemoryConsumer Late( "Test Late" );
    Stats.OnAllocate( g_Textures.GetIndex(), 1000 );
    Stats.OnAllocate( g_Textures.GetIndex(), 500 );
    Stats.OnFree( g_Textures.GetIndex(), 1000 );
    Stats.OnAllocate( Late.GetIndex(), 64 );
    Stats.OnFree( -1, 8 );
    const CQorMemoryStats::SMemoryConsumerStats Textures = Stats.GetConsumerStats( g_Textures.GetIndex() );
    EXPECT_EQ( Textures._Allocations, 2u );
    EXPECT_EQ( Textures._Frees, 1u );
    EXPECT_EQ( Textures._LiveBytes, 500 );
    EXPECT_EQ( Textures._PeakLiveBytes, 1500 );
    EXPECT_EQ( Stats.GetConsumerStats( Late.GetIndex() )._LiveBytes, 64 );
    EXPECT_EQ( Stats.GetConsumerStats( g_Sounds.GetIndex() )._Allocations, 0u );
    EXPECT_EQ( Stats.GetTotal( SQorMemoryStatsTraits::BYTES_ALLOCATED ), 1564u );
    EXPECT_EQ( Stats.GetTotal( SQorMemoryStatsTraits::FREES ), 2u );
    EXPECT_STREQ( NQorMemoryConsumers::GetName( Late.GetIndex() ), "Test Late" );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{
                   "_MemoryConsumerStats.GetSize() == NQorMemoryConsumers::GetNumStaticIndices() && \"Memory consumer "
                   "was registered after memory stats were initialized.\"",
                   "Consumer >= 0 && Consumer < _MemoryConsumerStats.GetSize()" } ) );
}
