// The library's text conversions against the standard library's, and construction and copy of the owned
// string. The range value is the number converted; the text to read is prepared before the timed loop.

#include "qor_core/qor_charconv.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <string>

namespace
{
void StringToInteger_atoi( benchmark::State& state )
{
    const std::string Text = std::to_string( state.range( 0 ) );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( std::atoi( Text.c_str() ) );
    }
}

void StringToInteger_from_chars( benchmark::State& state )
{
    const std::string Text = std::to_string( state.range( 0 ) );
    for ( auto _ : state )
    {
        // Set, so that the sink never reads an unwritten value (a failed parse leaves it untouched).
        int32 Value = 0;
        benchmark::DoNotOptimize( from_chars( Text.data(), Text.data() + Text.size(), Value ) );
        benchmark::DoNotOptimize( Value );
    }
}

void StringToInteger_FromString( benchmark::State& state )
{
    const std::string Text = std::to_string( state.range( 0 ) );
    const CQorStringView View( Text.data(), static_cast<int32>( Text.size() ), ENullTerminated::No );
    for ( auto _ : state )
    {
        const CQorOptional<int32> Value = FromString<int32>( View );
        benchmark::DoNotOptimize( Value.GetValue() );
        benchmark::DoNotOptimize( Value.IsSet() );
    }
}

void StringToFixedPoint_from_chars( benchmark::State& state )
{
    char Buffer[ 64 ];
    const CQorStringView Text = ToString( Buffer, Buffer + sizeof( Buffer ), CFixedPoint::FromRaw( state.range( 0 ) ) );
    for ( auto _ : state )
    {
        CFixedPoint Value = CFixedPoint::FromRaw( 0 );
        benchmark::DoNotOptimize( from_chars( Text.begin(), Text.end(), Value ) );
        benchmark::DoNotOptimize( Value );
    }
}

void IntegerToString_to_string( benchmark::State& state )
{
    const int64 Value = state.range( 0 );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( std::to_string( Value ) );
    }
}

void IntegerToString_to_chars( benchmark::State& state )
{
    const int64 Value = state.range( 0 );
    for ( auto _ : state )
    {
        char Buffer[ 25 ];
        benchmark::DoNotOptimize( to_chars( Buffer, Buffer + sizeof( Buffer ), Value ) );
    }
}

void IntegerToString_ToString( benchmark::State& state )
{
    const int64 Value = state.range( 0 );
    for ( auto _ : state )
    {
        char Buffer[ 25 ];
        benchmark::DoNotOptimize( ToString( Buffer, Buffer + sizeof( Buffer ), Value ) );
    }
}

void FixedPointToString_to_chars( benchmark::State& state )
{
    const CFixedPoint Value = CFixedPoint::FromRaw( state.range( 0 ) );
    for ( auto _ : state )
    {
        char Buffer[ 64 ];
        benchmark::DoNotOptimize( to_chars( Buffer, Buffer + sizeof( Buffer ), Value ) );
    }
}

void StringCreation( benchmark::State& state )
{
    for ( auto _ : state )
    {
        CString String( "hello" );
        benchmark::DoNotOptimize( String );
    }
}

void StringCopy( benchmark::State& state )
{
    const CString Original( "hello" );
    for ( auto _ : state )
    {
        CString Copy( Original );
        benchmark::DoNotOptimize( Copy );
    }
}
} // namespace

BENCHMARK( StringToInteger_atoi )->Range( -2147483648, 2147483647 );
BENCHMARK( StringToInteger_from_chars )->Range( -2147483648, 2147483647 );
BENCHMARK( StringToInteger_FromString )->Range( -2147483648, 2147483647 );
BENCHMARK( StringToFixedPoint_from_chars )->Range( -9223372036854775807 - 1, 9223372036854775807 );
BENCHMARK( IntegerToString_to_string )->Range( -2147483648, 2147483647 );
BENCHMARK( IntegerToString_to_chars )->Range( -2147483648, 2147483647 );
BENCHMARK( IntegerToString_ToString )->Range( -2147483648, 2147483647 );
BENCHMARK( FixedPointToString_to_chars )->Range( -9223372036854775807 - 1, 9223372036854775807 );
BENCHMARK( StringCreation );
BENCHMARK( StringCopy );
