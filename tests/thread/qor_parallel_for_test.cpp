#include "qor_core/thread/qor_parallel_for.h"

#include "tests/assert_recorder.h"
#include "tests/thread/task_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <tuple>
#include <vector>

// With 4 workers a range has 5 threads; for 10 elements the types give these chunks and task counts.
TEST( ParallelFor, RangeTableForFourWorkersAndTenElements )
{
    CTaskPools Pools( 4 );
    // First, last, type, requested threads; then the range's threads, chunk size and number of tasks.
    using SRow = std::tuple<int32, int32, ETaskType, int32, int32, int32, int32>;
    const SRow Rows[] = {
        { 0, 10, ETaskType::ShortEven, -1, 5, 2, 5 },     { 0, 10, ETaskType::LongEven, -1, 5, 2, 5 },
        { 0, 10, ETaskType::ShortBalanced, -1, 5, 1, 5 }, { 0, 10, ETaskType::LongEach, -1, 5, 1, 5 },
        { 0, 10, ETaskType::ShortSingle, -1, 5, -1, 1 },  { 0, 3, ETaskType::ShortEven, -1, 5, 1, 3 },
        { 0, 60, ETaskType::ShortBalanced, -1, 5, 4, 5 }, { 20, 31, ETaskType::LongEven, 2, 2, 5, 2 },
        { 0, 10, ETaskType::ShortEven, 100, 5, 2, 5 },
    };
    for ( const auto& [ First, Last, Type, NumThreads, Threads, TaskSize, Tasks ] : Rows )
    {
        const SQorParallelForRange Range = MakeRange( First, Last, Type, NumThreads );
        EXPECT_EQ( std::tuple( Range._First, Range._Last, Range._TaskType, Range._NumThreads, Range._TaskSize,
                               NParallelForImpl::GetNumTasks( Range ) ),
                   std::tuple( First, Last, int32( Type ), Threads, TaskSize, Tasks ) )
            << int( Type ) << " " << Last;
    }

    CAssertRecorder Asserts;
    EXPECT_EQ( MakeRange( 0, 10, ETaskType::ShortEven, 0 )._NumThreads, 1 );
    EXPECT_EQ( MakeRange( 0, 10, static_cast<ETaskType>( 7 ) )._TaskSize, 1 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "NumThreads > 0", "false && \"Unknown jobtype\"" } ) );
}

// Every element is visited exactly once for each type, also when the elements outnumber the chunks many times.
TEST( ParallelFor, EveryTypeVisitsEveryElementOnce )
{
    CTaskPools Pools( 4 );
    for ( const ETaskType Type : { ETaskType::ShortEven, ETaskType::LongEven, ETaskType::ShortBalanced,
                                   ETaskType::LongEach, ETaskType::ShortSingle } )
    {
        CQorArray<std::atomic<int>> Counts;
        Counts.Resize( 1001 );
        ParallelFor( Counts, []( std::atomic<int>& Count ) { Count.fetch_add( 1 ); }, Type );
        int NumWrong = 0;
        for ( const std::atomic<int>& Count : Counts )
        {
            NumWrong += Count.load() != 1;
        }
        EXPECT_EQ( NumWrong, 0 ) << static_cast<int>( Type );

        CQorArray<int32> Indices;
        Indices.Resize( 37 );
        ParallelForWithIndex( Indices, []( int32& Element, int32 Index ) { Element = Index * 2; }, Type );
        for ( int32 I = 0; I < Indices.GetSize(); ++I )
        {
            ASSERT_EQ( Indices[ I ], I * 2 ) << static_cast<int>( Type );
        }
    }
}

// One task over the whole range runs it in order, and so does the caller with task threads off; an empty range
// runs nothing; a type outside the enumeration is reported and runs nothing.
TEST( ParallelFor, SingleTaskDisabledThreadsEmptyRangeAndUnknownType )
{
    CTaskPools Pools( 4 );
    CQorArray<int32> Elements;
    Elements.Resize( 10 );
    std::vector<int32> Order;
    ParallelForWithIndex( Elements, [ & ]( int32&, int32 Index ) { Order.push_back( Index ); }, ETaskType::ShortSingle );
    EXPECT_EQ( Order, ( std::vector<int32>{ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9 } ) );

    Order.clear();
    std::vector<uint32> Threads;
    g_bEnableTaskThreads = false;
    ParallelForWithIndex( Elements,
                          [ & ]( int32&, int32 Index )
                          {
                              Order.push_back( Index );
                              Threads.push_back( CurrentThreadId() );
                          },
                          ETaskType::LongEach );
    g_bEnableTaskThreads = true;
    EXPECT_EQ( Order, ( std::vector<int32>{ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9 } ) );
    EXPECT_EQ( Threads, std::vector<uint32>( 10, CurrentThreadId() ) );

    CQorArray<int32> Empty;
    int Calls = 0;
    ParallelFor( Empty, [ & ]( int32& ) { ++Calls; } );
    EXPECT_EQ( Calls, 0 );

    CAssertRecorder Asserts;
    SQorParallelForRange Range = MakeRange( 0, 10, ETaskType::ShortEven );
    Range._TaskType = 9;
    NParallelForImpl::ParallelForRange( Range, [ & ]( int32 ) { ++Calls; } );
    EXPECT_EQ( Calls, 0 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Unsupported task type" } );
}

// The asynchronous form returns before the work is done. Dropped unfinished, it is reported and still waits: the
// gate stays closed until the caller itself runs a chunk, which it does only inside the dropped job's wait.
TEST( ParallelFor, AsyncJobDroppedUnfinishedReportsAndFinishes )
{
    CTaskPools Pools( 4 );
    CGate Gate;
    const uint32 Caller = CurrentThreadId();
    CQorArray<std::atomic<int>> Counts;
    Counts.Resize( 100 );
    CQorScopedPtr<CJob> pJob;
    ParallelForAsync( pJob, Counts,
                      [ & ]( std::atomic<int>& Count )
                      {
                          if ( CurrentThreadId() == Caller )
                          {
                              Gate.Open();
                          }
                          Gate.WaitOpen();
                          Count.fetch_add( 1 );
                      } );
    ASSERT_TRUE( pJob );
    EXPECT_FALSE( pJob->IsDone() );
    CAssertRecorder Asserts;
    pJob.Reset();
    EXPECT_TRUE( std::all_of( Counts.begin(), Counts.end(), []( const std::atomic<int>& Count ) { return Count.load() == 1; } ) );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Every task should be done before the job is destroyed, did you "
                                                          "forget to call WaitAndClear on the job?" } );
}
