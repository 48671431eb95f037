#include <benchmark/benchmark.h>

// Everything that runs was registered by static initialisers; main only hands over to the runner.
int main( int argc, char** argv )
{
    benchmark::Initialize( &argc, argv );
    if ( benchmark::ReportUnrecognizedArguments( argc, argv ) )
    {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
