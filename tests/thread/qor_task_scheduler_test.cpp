#include "qor_core/thread/qor_task.h"
#include "qor_core/thread/qor_task_scheduler.h"

#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"
#include "tests/thread/task_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <fstream>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace
{
// Switches task threads off for its scope.
class CTaskThreadsDisabled
{
public:
    CTaskThreadsDisabled() { g_bEnableTaskThreads = false; }
    ~CTaskThreadsDisabled() { g_bEnableTaskThreads = true; }
};

// The kernel's state of a thread of this process, the letter behind the name in its stat.
char KernelThreadState( uint32 ThreadId )
{
    std::ifstream Stat( "/proc/self/task/" + std::to_string( ThreadId ) + "/stat" );
    const std::string Text( ( std::istreambuf_iterator<char>( Stat ) ), std::istreambuf_iterator<char>() );
    const size_t NameEnd = Text.rfind( ')' );
    return NameEnd != std::string::npos && NameEnd + 2 < Text.size() ? Text[ NameEnd + 2 ] : '?';
}

// Runs NumTasks tasks of Function on the workers, waiting without running any on the caller; returns how many
// ran on the caller all the same (without workers, all of them).
int RunOnWorkers( CTaskScheduler& Scheduler, int32 NumTasks, const std::function<void()>& Function )
{
    std::atomic<int> NumOnCaller{ 0 };
    const uint32 Caller = CurrentThreadId();
    CJob Job;
    CTaskArray Tasks;
    Scheduler.CreateTasks( QOR_TASK_LABEL,
                           [ & ]
                           {
                               NumOnCaller.fetch_add( CurrentThreadId() == Caller );
                               Function();
                           },
                           NumTasks, Tasks );
    Job.AddTasks( Tasks );
    Job.WaitNoExecuteAndClear();
    return NumOnCaller.load();
}
} // namespace

// Without workers, and with workers but task threads off, every task is done when CreateTasks returns, and ran
// on the caller in creation order.
TEST( CTaskScheduler, WithoutWorkersTasksRunOnTheCallerInCreationOrder )
{
    CTaskScheduler Idle( "Idle" );
    CTaskScheduler Busy( "Busy" );
    ASSERT_TRUE( Busy.Start( 2 ) );
    for ( CTaskScheduler* pScheduler : { &Idle, &Busy } )
    {
        CTaskThreadsDisabled Disabled;
        std::vector<int> Order;
        std::atomic<int> Next{ 0 };
        std::set<uint32> Threads;
        CTaskArray Tasks;
        const char* const pLabel = QOR_TASK_LABEL;
        const int LabelLine = __LINE__ - 1;
        EXPECT_EQ( std::string( pLabel ), std::string( __FILE__ ) + ":" + std::to_string( LabelLine ) );
        pScheduler->CreateTasks(
            pLabel,
            [ & ]
            {
                Order.push_back( Next.fetch_add( 1 ) );
                Threads.insert( CurrentThreadId() );
            },
            5, Tasks );
        ASSERT_EQ( Tasks.GetSize(), 5 );
        EXPECT_TRUE( std::all_of( Tasks.begin(), Tasks.end(), []( const CQorPtr<CTask>& pTask ) { return pTask->IsDone(); } ) )
            << pScheduler->GetName().GetString();
        EXPECT_EQ( Order, ( std::vector<int>{ 0, 1, 2, 3, 4 } ) );
        EXPECT_EQ( Threads, std::set<uint32>{ CurrentThreadId() } );
        EXPECT_EQ( pScheduler->GetGlobalQueueSize(), 0 ) << "tasks that ran at creation are never queued";
        EXPECT_EQ( Tasks[ 4 ]->GetTaskItem()->_pLabel, pLabel );
    }
}

TEST( CTaskScheduler, MoreWorkersThanSignalsMakesNone )
{
    CAssertRecorder Asserts;
    CTaskScheduler Scheduler( "Crowded" );
    const int32 Max = NThreads::GetClampedHardwareThreadCount();
    EXPECT_EQ( Scheduler.GetMaxThreads(), Max );
    EXPECT_FALSE( Scheduler.Start( Max + 1 ) );
    EXPECT_EQ( Scheduler.GetNumThreads(), 0 );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Cannot create more than '" + std::to_string( Max ) + "' number of task threads" } );
}

// Past the scheduler's 2 MiB, tasks come from the global allocator after the report, run, and go back to where
// they came from.
TEST( CTaskScheduler, TasksOutgrowingTheFixedAllocatorStillRun )
{
    CTaskScheduler Scheduler( "Full" );
    CAssertRecorder Asserts;
    int NumRuns = 0;
    CTaskArray Tasks;
    Scheduler.CreateTasks( QOR_TASK_LABEL, [ & ] { ++NumRuns; }, 20000, Tasks );
    EXPECT_EQ( NumRuns, 20000 );
    ASSERT_FALSE( Asserts.Texts().empty() );
    EXPECT_EQ( Asserts.Texts().front(), "Out of (fixed) memory" );
}

// Workers carry "<scheduler> <position>" in the library's thread info; the kernel keeps its first 15 characters,
// which is what top -H and a debugger show. Each task waits for all to start, so that every worker runs one.
TEST( CTaskScheduler, WorkersCarryTheirNamesInTheLibraryAndTheKernel )
{
    CTaskScheduler Short( "Short Task" );
    CTaskScheduler Long( "Rather Long Scheduler Name" );
    ASSERT_TRUE( Short.Start( 2 ) && Long.Start( 1 ) );
    std::mutex Mutex;
    std::set<std::string> LibraryNames;
    for ( CTaskScheduler* pScheduler : { &Short, &Long } )
    {
        std::atomic<int> NumStarted{ 0 };
        const int NumWorkers = pScheduler->GetNumThreads();
        EXPECT_EQ( RunOnWorkers( *pScheduler, NumWorkers,
                                 [ & ]
                                 {
                                     {
                                         std::lock_guard<std::mutex> Lock( Mutex );
                                         LibraryNames.insert( NThreads::GetThreadName() );
                                     }
                                     NumStarted.fetch_add( 1 );
                                     while ( NumStarted.load() < NumWorkers )
                                     {
                                         std::this_thread::yield();
                                     }
                                 } ),
                   0 );
    }
    EXPECT_EQ( LibraryNames, ( std::set<std::string>{ "Short Task 1", "Short Task 2", "Rather Long Scheduler Name 1" } ) );
    std::set<std::string> KernelNames;
    for ( const auto& Entry : std::filesystem::directory_iterator( "/proc/self/task" ) )
    {
        std::string Name;
        std::getline( std::ifstream( Entry.path() / "comm" ), Name );
        KernelNames.insert( Name );
    }
    for ( const char* pName : { "Short Task 1", "Short Task 2", "Rather Long Sch" } )
    {
        EXPECT_EQ( KernelNames.count( pName ), 1u ) << pName;
    }
}

// A task running on a worker creates onto that worker's deque; on another scheduler it is a stranger and goes
// to that scheduler's global queue.
TEST( CTaskScheduler, TasksGoToTheCreatorsDequeOnlyOnItsOwnScheduler )
{
    CTaskScheduler First( "First" );
    CTaskScheduler Second( "Second" );
    ASSERT_TRUE( First.Start( 1 ) );
    ASSERT_TRUE( Second.Start( 1 ) );
    CGate SecondGate;
    CQorPtr<CTask> pBlocker = OccupyWorker( Second, SecondGate );

    // The worker's own deque, and the global queues of the first and the second scheduler.
    std::tuple<int32, int32, int32> Sizes;
    CQorPtr<CTask> pChildOnFirst;
    CQorPtr<CTask> pChildOnSecond;
    CQorPtr<CTask> pParent = First.CreateTask(
        QOR_TASK_LABEL,
        [ & ]
        {
            pChildOnFirst = First.CreateTask( QOR_TASK_LABEL, [] {} );
            pChildOnSecond = Second.CreateTask( QOR_TASK_LABEL, [] {} );
            Sizes = { NThreads::GetTaskThreadInfo()._pTaskThread->GetDeque().GetSize(), First.GetGlobalQueueSize(),
                      Second.GetGlobalQueueSize() };
        } );
    pParent->WaitNoExecute();
    EXPECT_EQ( Sizes, std::tuple( 1, 0, 1 ) );
    SecondGate.Open();
    WaitAndClear( pBlocker );
    WaitAndClear( pChildOnFirst );
    WaitAndClear( pChildOnSecond );
    WaitAndClear( pParent );
}

// A waiter runs a queued item itself; the item stays queued, and the worker that reaches it later only
// releases it. Either way it runs once.
TEST( CTaskScheduler, WaiterRunsAQueuedItemOnceAndTheWorkerOnlyReleasesIt )
{
    CTaskScheduler Scheduler( "Waiter" );
    ASSERT_TRUE( Scheduler.Start( 1 ) );
    CGate Gate;
    CQorPtr<CTask> pBlocker = OccupyWorker( Scheduler, Gate );
    std::atomic<int> Runs{ 0 };
    uint32 RanOn = 0;
    CQorPtr<CTask> pTask = Scheduler.CreateTask( QOR_TASK_LABEL,
                                                 [ & ]
                                                 {
                                                     Runs.fetch_add( 1 );
                                                     RanOn = CurrentThreadId();
                                                 } );
    EXPECT_FALSE( pTask->IsDone() );
    pTask->Wait();
    EXPECT_EQ( Runs.load(), 1 );
    EXPECT_EQ( RanOn, CurrentThreadId() );
    EXPECT_EQ( Scheduler.GetGlobalQueueSize(), 1 ) << "the waiter doesn't take the item out of the queue";
    EXPECT_FALSE( pTask->TryExecute() );

    Gate.Open();
    WaitAndClear( pBlocker );
    while ( Scheduler.GetGlobalQueueSize() != 0 )
    {
        std::this_thread::yield();
    }
    EXPECT_EQ( Runs.load(), 1 );
    WaitAndClear( pTask );
}

// A worker that finds nothing goes to sleep while tasks arrive at random moments around its way there; a wake-up
// lost between its last look and its sleep would leave a task queued with nobody awake to run it. The kernel
// tells when the worker sleeps ('S' in its stat; spinning and yielding it is 'R').
TEST( CTaskScheduler, NoWakeUpIsLostWhileAWorkerGoesToSleep )
{
    CTaskScheduler Scheduler( "Sleepy" );
    ASSERT_TRUE( Scheduler.Start( 1 ) );
    std::atomic<uint32> WorkerId{ 0 };
    CQorPtr<CTask> pFirst = Scheduler.CreateTask( QOR_TASK_LABEL, [ & ] { WorkerId.store( CurrentThreadId() ); } );
    pFirst->WaitNoExecute();
    const auto Finished = std::chrono::steady_clock::now();
    while ( KernelThreadState( WorkerId.load() ) != 'S' )
    {
        std::this_thread::yield();
    }
    // On a loaded machine the way can take long; the rounds keep to a millisecond each.
    const auto ToSleep = std::min<std::chrono::steady_clock::duration>( std::chrono::steady_clock::now() - Finished,
                                                                        std::chrono::milliseconds( 1 ) );
    std::mt19937 Random( 7 );
    for ( int Round = 0; Round < 1000; ++Round )
    {
        const auto Until = std::chrono::steady_clock::now() + ToSleep * ( Random() % 1250 ) / 1000;
        while ( std::chrono::steady_clock::now() < Until )
        {
        }
        CQorPtr<CTask> pTask = Scheduler.CreateTask( QOR_TASK_LABEL, [] {} );
        const auto Deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 2 );
        while ( !pTask->IsDone() && std::chrono::steady_clock::now() < Deadline )
        {
            std::this_thread::yield();
        }
        ASSERT_TRUE( pTask->IsDone() ) << "round " << Round;
    }
}

// Stop with work still queued: the stopping workers finish the queue before they end, nothing runs on the
// caller, and nothing is reported.
TEST( CTaskScheduler, StopLetsTheWorkersFinishTheQueuedWork )
{
    CAssertRecorder Asserts;
    CTaskScheduler Scheduler( "Stopping" );
    ASSERT_TRUE( Scheduler.Start( 2 ) );
    CGate Gate;
    CQorPtr<CTask> pFirst = OccupyWorker( Scheduler, Gate );
    CQorPtr<CTask> pSecond = OccupyWorker( Scheduler, Gate );
    std::atomic<int> NumRuns{ 0 };
    std::atomic<int> NumOnCaller{ 0 };
    const uint32 Caller = CurrentThreadId();
    CTaskArray Tasks;
    Scheduler.CreateTasks( QOR_TASK_LABEL,
                           [ & ]
                           {
                               NumRuns.fetch_add( 1 );
                               NumOnCaller.fetch_add( CurrentThreadId() == Caller );
                           },
                           500, Tasks );
    std::thread Opener(
        [ & ]
        {
            std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
            Gate.Open();
        } );
    Scheduler.Stop();
    Opener.join();
    EXPECT_EQ( Scheduler.GetNumThreads(), 0 );
    EXPECT_EQ( Scheduler.GetGlobalQueueSize(), 0 );
    EXPECT_EQ( NumRuns.load(), 500 );
    EXPECT_EQ( NumOnCaller.load(), 0 );
    EXPECT_TRUE( std::all_of( Tasks.begin(), Tasks.end(), []( const CQorPtr<CTask>& pTask ) { return pTask->IsDone(); } ) );
    Tasks.Clear();
    WaitAndClear( pFirst );
    WaitAndClear( pSecond );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

// Workers removed and added again: the count follows, the restarted workers run the tasks, and with none left the
// tasks run on the caller.
TEST( CTaskScheduler, SetNumThreadsRemovesAndRestartsWorkers )
{
    CTaskScheduler Scheduler( "Resized" );
    ASSERT_TRUE( Scheduler.Start( 3 ) );
    for ( const int32 Count : { 1, 0, 2, 3, 1 } )
    {
        Scheduler.SetNumThreads( Count );
        ASSERT_EQ( Scheduler.GetNumThreads(), Count );
        EXPECT_EQ( RunOnWorkers( Scheduler, 64, [] {} ), Count == 0 ? 64 : 0 ) << Count;
    }
}

TEST( CTaskScheduler, UtilizationTellsBusyFromSleepingWorkers )
{
    CTaskScheduler Scheduler( "Measured" );
    ASSERT_TRUE( Scheduler.Start( 1 ) );
    Scheduler.GetUtilization();
    CGate Gate;
    CQorPtr<CTask> pBusy = OccupyWorker( Scheduler, Gate );
    std::this_thread::sleep_for( std::chrono::milliseconds( 60 ) );
    EXPECT_GT( Scheduler.GetUtilization(), 0.8f );
    Gate.Open();
    WaitAndClear( pBusy );
    std::this_thread::sleep_for( std::chrono::milliseconds( 30 ) );
    Scheduler.GetUtilization();
    std::this_thread::sleep_for( std::chrono::milliseconds( 60 ) );
    EXPECT_LT( Scheduler.GetUtilization(), 0.2f );
}

// The process-wide pools: both of one size, from StartTaskThreads and SetNumTaskThreads.
TEST( TaskThreads, StartAndResizeBothPools )
{
    const uint32 Max = static_cast<uint32>( NThreads::GetClampedHardwareThreadCount() );
    for ( const auto& [ Requested, Expected ] : { std::pair<uint32, uint32>{ 0xFFFFFFFF, std::max<uint32>( Max - 1, 4 ) },
                                                  { 1, 4 },
                                                  { 4, 4 } } )
    {
        EXPECT_TRUE( StartTaskThreads( Requested ) );
        EXPECT_EQ( GetNumTaskThreads(), Expected ) << Requested;
        EXPECT_STREQ( GetShortTaskScheduler()->GetName().GetString(), "Short Task" );
        EXPECT_STREQ( GetLongTaskScheduler()->GetName().GetString(), "Long Task" );
        EXPECT_EQ( GetShortTaskScheduler()->GetNumThreads(), int32( std::min( Expected, Max ) ) ) << Requested;
        EXPECT_EQ( GetLongTaskScheduler()->GetNumThreads(), int32( std::min( Expected, Max ) ) ) << Requested;
        ShutdownTaskThreads();
        EXPECT_EQ( GetShortTaskScheduler(), nullptr );
        EXPECT_EQ( GetNumTaskThreads(), 0u );
    }

    StartTaskThreads( 4 );
    CAssertRecorder Asserts;
    StartTaskThreads( 4 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "ShortTasks == nullptr", "LongTasks == nullptr" } ) );
    SetNumTaskThreads( 0 );
    EXPECT_EQ( GetNumTaskThreads(), 0u );
    EXPECT_EQ( RunOnWorkers( *GetLongTaskScheduler(), 3, [] {} ), 3 );
    SetNumTaskThreads( 0xFFFFFFFF );
    const uint32 HardwareLessOne = static_cast<uint32>( NThreads::GetHardwareThreadCount() - 1 );
    EXPECT_EQ( GetNumTaskThreads(), HardwareLessOne <= Max ? HardwareLessOne : 0u ) << "not clamped to 4";
    ShutdownTaskThreads();

    // Without pools, tasks still run: on the caller.
    CTaskArray Tasks;
    int NumRuns = 0;
    RunShortTasks( QOR_TASK_LABEL, [ & ] { ++NumRuns; }, 3, Tasks );
    EXPECT_EQ( NumRuns, 3 );
    EXPECT_TRUE( Tasks[ 2 ]->IsDone() );
}

// InitTaskThreads asks the command line's "taskthreads" for the pool size; absent, -1, or without a command line
// it is the machine's count. The option is registered with its help text.
TEST( TaskThreads, InitTaskThreadsReadsTheTaskThreadsOption )
{
    const auto& Options = CQorCommandLine::GetOptions();
    ASSERT_NE( std::find( Options.begin(), Options.end(), &g_TaskThreadsOption ), Options.end() );
    const SCommandLineOption& Option = g_TaskThreadsOption;
    EXPECT_EQ( std::string( Option._Name.GetData(), Option._Name.GetSize() ), "taskthreads" );
    EXPECT_EQ( std::string( Option._Documentation.GetData(), Option._Documentation.GetSize() ),
               "Override the number of task/worker threads that should be created" );
    EXPECT_EQ( Option._Type, uint32( COMMAND_LINE_OPTION_TYPE_INTEGER ) );

    const uint32 Max = uint32( NThreads::GetClampedHardwareThreadCount() );
    const uint32 Default = std::max<uint32>( Max - 1, 4 );
    const std::pair<std::vector<std::string>, uint32> Cases[] = {
        { { "--taskthreads=6" }, 6 },   { { "--taskthreads", "5" }, 5 },       { { "--taskthreads=2" }, 4 },
        { { "--taskthreads=99" }, 32 }, { { "--taskthreads=-1" }, Default }, { { "--other" }, Default },
    };
    for ( const auto& [ Arguments, Expected ] : Cases )
    {
        CCommandLineScope CommandLine( Arguments );
        // A count beyond the machine's signals is stored, and each pool reports that it can't grow so far.
        CAssertRecorder Asserts;
        EXPECT_TRUE( InitTaskThreads() );
        EXPECT_EQ( GetNumTaskThreads(), Expected ) << Arguments[ 0 ];
        EXPECT_EQ( Asserts.Texts().size(), Expected > Max ? 2u : 0u ) << Arguments[ 0 ];
        ShutdownTaskThreads();
    }
    EXPECT_TRUE( InitTaskThreads() );
    EXPECT_EQ( GetNumTaskThreads(), Default ) << "without a command line";
    ShutdownTaskThreads();
}

TEST( TaskThreads, TaskThreadCountCommand )
{
    StartTaskThreads( 4 );
    const std::string Usage = "Use Threading.TaskThreadCount [count].";
    // The arguments; whether the command succeeds, its answer, and the count after it.
    const std::tuple<std::vector<const char*>, bool, std::string, uint32> Cases[] = {
        { {}, true, "4", 4 },          { { "2" }, true, "2", 2 }, { { "3", "1" }, false, Usage, 2 },
        { { "abc" }, false, Usage, 2 }, { { "0" }, true, "0", 0 }, { { "3rd" }, true, "3", 3 },
        { { "" }, false, Usage, 3 },
    };
    for ( const auto& [ ArgumentTexts, bSuccess, ExpectedText, CountAfter ] : Cases )
    {
        CQorArray<CString> Arguments;
        for ( const char* pArgument : ArgumentTexts )
        {
            Arguments.Add( CString( pArgument ) );
        }
        CString Text;
        const bool bResult = RunTaskThreadCountCommand( Arguments, Text );
        EXPECT_EQ( std::tuple( bResult, std::string( Text.GetString() ), GetNumTaskThreads() ),
                   std::tuple( bSuccess, ExpectedText, CountAfter ) );
    }
    ShutdownTaskThreads();
}

// A throw from a task crosses the thread's no-throw boundary and ends the program; so does an empty function.
TEST( CTaskSchedulerDeathTest, ThrowingTaskEndsTheProgram )
{
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    EXPECT_DEATH(
        {
            CTaskScheduler Scheduler( "Throwing" );
            Scheduler.Start( 1 );
            CQorPtr<CTask> pTask =
                Scheduler.CreateTask( QOR_TASK_LABEL, [] { throw std::runtime_error( "task failed" ); } );
            pTask->WaitNoExecute();
        },
        "terminate called after throwing an instance of 'std::runtime_error'" );
    EXPECT_DEATH(
        {
            CTaskScheduler Scheduler( "Empty" );
            CQorPtr<CTask> pTask = Scheduler.CreateTask( QOR_TASK_LABEL, FTaskFunction() );
        },
        "bad_function_call" );
}
