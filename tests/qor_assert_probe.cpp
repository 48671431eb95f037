// A small program that asserts, for the dialog tests that drive it from a terminal (qor_assert_dialog_test.cpp).
// Without an argument one site fails three times; after each failure the program tells what came of it. With
// "threads", two threads fail at two sites at once. Its last line is "probe end".

#include "qor_core/qor_assert.h"

#include <barrier>
#include <cstdio>
#include <cstring>
#include <thread>

namespace
{
void TellDump()
{
    std::printf( "dump handler called\n" );
    std::fflush( stdout );
}

void FailThreeTimes()
{
    for ( int nRound = 1; nRound <= 3; ++nRound )
    {
        QOR_ASSERT( nRound < 0 );
        std::printf( "round %d done, log-only %d\n", nRound, int( g_bLogOnly ) );
        std::fflush( stdout );
    }
}

void FailOnTwoThreadsAtOnce()
{
    const int nFirst = 1;
    const int nSecond = 2;
    std::barrier Start( 2 );
    std::thread First(
        [&]
        {
            Start.arrive_and_wait();
            QOR_ASSERT( nFirst < 0 );
        } );
    Start.arrive_and_wait();
    QOR_ASSERT( nSecond < 0 );
    First.join();
}
} // namespace

int main( int nArgs, char** ppArgs )
{
    SetDumpHandler( &TellDump );
    if ( nArgs > 1 && std::strcmp( ppArgs[1], "threads" ) == 0 )
    {
        FailOnTwoThreadsAtOnce();
    }
    else
    {
        FailThreeTimes();
    }
    std::printf( "probe end\n" );
    return 0;
}
