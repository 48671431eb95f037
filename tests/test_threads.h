#pragma once

// Runs one function on several threads at once and joins them all; the function gets the thread's index.

#include <thread>
#include <vector>

template <typename FunctionT>
void RunOnThreads( int nThreads, FunctionT Function )
{
    std::vector<std::thread> Threads;
    Threads.reserve( nThreads );
    for ( int I = 0; I < nThreads; ++I )
    {
        Threads.emplace_back( Function, I );
    }
    for ( std::thread& Thread : Threads )
    {
        Thread.join();
    }
}
