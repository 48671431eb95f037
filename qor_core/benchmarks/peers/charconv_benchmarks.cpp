// The library's integer conversions in base 10 against std::to_chars and std::from_chars, and against
// fmt::format_int, which formats into a buffer of its own. The argument is the value, as a 64-bit integer.

#include "qor_core/qor_charconv.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <charconv>
#include <string>

namespace
{
void Text_ToChars_Qor( benchmark::State& state )
{
    const int64 Value = state.range( 0 );
    for ( auto _ : state )
    {
        char Buffer[25];
        benchmark::DoNotOptimize( to_chars( Buffer, Buffer + sizeof( Buffer ), Value ) );
    }
}

void Text_ToChars_Std( benchmark::State& state )
{
    const int64 Value = state.range( 0 );
    for ( auto _ : state )
    {
        char Buffer[25];
        benchmark::DoNotOptimize( std::to_chars( Buffer, Buffer + sizeof( Buffer ), Value ) );
    }
}

void Text_ToChars_Fmt( benchmark::State& state )
{
    const int64 Value = state.range( 0 );
    for ( auto _ : state )
    {
        const fmt::format_int Text( Value );
        benchmark::DoNotOptimize( Text.data() );
        benchmark::DoNotOptimize( Text.size() );
    }
}

void Text_FromChars_Qor( benchmark::State& state )
{
    const std::string Text = std::to_string( state.range( 0 ) );
    for ( auto _ : state )
    {
        int64 Value = 0;
        benchmark::DoNotOptimize( from_chars( Text.data(), Text.data() + Text.size(), Value ) );
        benchmark::DoNotOptimize( Value );
    }
}

void Text_FromChars_Std( benchmark::State& state )
{
    const std::string Text = std::to_string( state.range( 0 ) );
    for ( auto _ : state )
    {
        int64 Value = 0;
        benchmark::DoNotOptimize( std::from_chars( Text.data(), Text.data() + Text.size(), Value ) );
        benchmark::DoNotOptimize( Value );
    }
}

// One digit, a short, an int32 and an int64 at full width, each signed both ways.
void Values( benchmark::internal::Benchmark* pBenchmark )
{
    for ( const int64 Value :
          { int64( 7 ), int64( -7 ), int64( 4096 ), int64( -32768 ), int64( 2147483647 ), int64( -2147483647 - 1 ),
            int64( 9223372036854775807 ), int64( -9223372036854775807 - 1 ) } )
    {
        pBenchmark->Arg( Value );
    }
}
} // namespace

BENCHMARK( Text_ToChars_Qor )->Apply( Values );
BENCHMARK( Text_ToChars_Std )->Apply( Values );
BENCHMARK( Text_ToChars_Fmt )->Apply( Values );
BENCHMARK( Text_FromChars_Qor )->Apply( Values );
BENCHMARK( Text_FromChars_Std )->Apply( Values );
