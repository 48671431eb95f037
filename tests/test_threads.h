#pragma once

// Helpers of the concurrency tests: threads that start their work together, and a bounded wait.

#include <barrier>
#include <chrono>
#include <thread>
#include <vector>

// Runs one function on several threads and joins them all; the function gets the thread's index. The threads
// meet at a barrier first, so that their work overlaps instead of running one after another.
template <typename FunctionT>
void RunOnThreads( int nThreads, FunctionT Function )
{
    std::barrier Start( nThreads );
    std::vector<std::thread> Threads;
    Threads.reserve( nThreads );
    for ( int I = 0; I < nThreads; ++I )
    {
        Threads.emplace_back(
            [&]( int nIndex )
            {
                Start.arrive_and_wait();
                Function( nIndex );
            },
            I );
    }
    for ( std::thread& Thread : Threads )
    {
        Thread.join();
    }
}

// Spins until Condition holds or ten seconds pass, so that a lost wake-up fails the test instead of hanging it.
template <typename ConditionT> bool WaitUntil( ConditionT Condition )
{
    const auto Deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
    while ( !Condition() )
    {
        if ( std::chrono::steady_clock::now() > Deadline )
        {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}
