// The integer math against its replaced (_Legacy) forms and the standard library. Each body draws 1024 inputs
// per argument range before timing and walks them in a ring, one computation per iteration.

#include "qor_core/container/qor_array.h"
#include "qor_core/miscmath.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

namespace
{
constexpr int32 nInputCount = 1024;
constexpr int32 nInputMask = nInputCount - 1;

template <typename T>
CQorArray<T> MakeInputs( std::mt19937& Engine, int64 Low, int64 High )
{
    std::uniform_int_distribution<T> Distribution( static_cast<T>( Low ), static_cast<T>( High ) );
    CQorArray<T> Inputs;
    Inputs.Reserve( nInputCount );
    for ( int32 I = 0; I < nInputCount; ++I )
    {
        Inputs.Add( Distribution( Engine ) );
    }
    return Inputs;
}

// Arguments: lowest and highest input.
template <typename T, typename FunctionT>
void RunUnary( benchmark::State& state, FunctionT Function )
{
    std::mt19937 Engine( 42 );
    const CQorArray<T> Values = MakeInputs<T>( Engine, state.range( 0 ), state.range( 1 ) );
    int32 Index = 0;
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Function( Values[Index] ) );
        Index = ( Index + 1 ) & nInputMask;
    }
}

// Arguments: lowest and highest value, then lowest and highest int32 second operand (exponent or shift).
template <typename T, typename FunctionT>
void RunBinary( benchmark::State& state, FunctionT Function )
{
    std::mt19937 Engine( 42 );
    const CQorArray<T> Values = MakeInputs<T>( Engine, state.range( 0 ), state.range( 1 ) );
    const CQorArray<int32> Operands = MakeInputs<int32>( Engine, state.range( 2 ), state.range( 3 ) );
    int32 Index = 0;
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Function( Values[Index], Operands[Index] ) );
        Index = ( Index + 1 ) & nInputMask;
    }
}

template <typename T>
void MiscMath_Power( benchmark::State& state )
{
    RunBinary<T>( state, []( T Base, int32 Exponent ) { return Power( Base, Exponent ); } );
}

template <typename T>
void MiscMath_Power_Legacy( benchmark::State& state )
{
    RunBinary<T>( state, []( T Base, int32 Exponent ) { return Power_Legacy( Base, Exponent ); } );
}

template <typename T>
void MiscMath_Log2Ceil( benchmark::State& state )
{
    RunUnary<T>( state, []( T Value ) { return Log2Ceil( Value ); } );
}

template <typename T>
void MiscMath_Log2Ceil_Legacy( benchmark::State& state )
{
    RunUnary<T>( state, []( T Value ) { return Log2Ceil_Legacy( Value ); } );
}

template <typename T>
void MiscMath_CeilToPowerOf2( benchmark::State& state )
{
    RunUnary<T>( state, []( T Value ) { return CeilToPowerOf2( Value ); } );
}

template <typename T>
void MiscMath_CeilToPowerOf2_Legacy( benchmark::State& state )
{
    RunUnary<T>( state, []( T Value ) { return CeilToPowerOf2_Legacy( Value ); } );
}

template <typename T>
void MiscMath_RotLeft( benchmark::State& state )
{
    RunBinary<T>( state, []( T Value, int32 Shift ) { return RotLeft( Value, Shift ); } );
}

template <typename T>
void MiscMath_RotLeft_Legacy( benchmark::State& state )
{
    RunBinary<T>( state, []( T Value, int32 Shift ) { return RotLeft_Legacy( Value, Shift ); } );
}

template <typename T>
void MiscMath_QorSqrti( benchmark::State& state )
{
    RunUnary<T>( state, []( T Value ) { return QorSqrti( Value ); } );
}

template <typename T>
void MiscMath_StdSqrti( benchmark::State& state )
{
    RunUnary<T>( state, []( T Value ) { return std::sqrt( static_cast<double>( Value ) ); } );
}

template <typename FunctorT>
void MiscMath_FloorToInt( benchmark::State& state )
{
    std::mt19937 Engine( 42 );
    std::uniform_real_distribution<float> Distribution( -200000.0f, 200000.0f );
    CQorArray<float> Values;
    Values.Reserve( 1000 );
    for ( int32 I = 0; I < 1000; ++I )
    {
        Values.Add( Distribution( Engine ) );
    }
    for ( auto _ : state )
    {
        for ( const float Value : Values )
        {
            benchmark::DoNotOptimize( FunctorT()( Value ) );
        }
    }
}
} // namespace

BENCHMARK( MiscMath_Power<int32> )->Args( { 2, 2, 0, 30 } );
BENCHMARK( MiscMath_Power<int32> )->Args( { 3, 7, 0, 11 } );
BENCHMARK( MiscMath_Power<int32> )->Args( { -2, 7, -2, 11 } );
BENCHMARK( MiscMath_Power<uint32> )->Args( { 2, 2, 0, 31 } );
BENCHMARK( MiscMath_Power<uint32> )->Args( { 3, 7, 0, 11 } );
BENCHMARK( MiscMath_Power<int64> )->Args( { 2, 2, 0, 62 } );
BENCHMARK( MiscMath_Power<int64> )->Args( { 3, 11, 0, 15 } );
BENCHMARK( MiscMath_Power<int64> )->Args( { -2, 11, -2, 15 } );
BENCHMARK( MiscMath_Power<uint64> )->Args( { 2, 2, 0, 63 } );
BENCHMARK( MiscMath_Power<uint64> )->Args( { 3, 11, 0, 15 } );
BENCHMARK( MiscMath_Power_Legacy<int32> )->Args( { 2, 2, 0, 30 } );
BENCHMARK( MiscMath_Power_Legacy<int32> )->Args( { 3, 7, 0, 11 } );
BENCHMARK( MiscMath_Power_Legacy<int32> )->Args( { -2, 7, -2, 11 } );
BENCHMARK( MiscMath_Power_Legacy<uint32> )->Args( { 2, 2, 0, 31 } );
BENCHMARK( MiscMath_Power_Legacy<uint32> )->Args( { 3, 7, 0, 11 } );
BENCHMARK( MiscMath_Power_Legacy<int64> )->Args( { 2, 2, 0, 62 } );
BENCHMARK( MiscMath_Power_Legacy<int64> )->Args( { 3, 11, 0, 15 } );
BENCHMARK( MiscMath_Power_Legacy<int64> )->Args( { -2, 11, -2, 15 } );
BENCHMARK( MiscMath_Power_Legacy<uint64> )->Args( { 2, 2, 0, 63 } );
BENCHMARK( MiscMath_Power_Legacy<uint64> )->Args( { 3, 11, 0, 15 } );
BENCHMARK( MiscMath_Log2Ceil<int32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_Log2Ceil<int32> )->Args( { 1, 1073741823 } );
BENCHMARK( MiscMath_Log2Ceil<int32> )->Args( { -33554432, 1073741823 } );
BENCHMARK( MiscMath_Log2Ceil<uint32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_Log2Ceil<uint32> )->Args( { 1, 2147483647 } );
BENCHMARK( MiscMath_Log2Ceil<int64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_Log2Ceil<int64> )->Args( { 1, 4611686018427387903 } );
BENCHMARK( MiscMath_Log2Ceil<int64> )->Args( { -144115188075855872, 4611686018427387903 } );
BENCHMARK( MiscMath_Log2Ceil<uint64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_Log2Ceil<uint64> )->Args( { 1, 9223372036854775807 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<int32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<int32> )->Args( { 1, 1073741823 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<int32> )->Args( { -33554432, 1073741823 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<uint32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<uint32> )->Args( { 1, 2147483647 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<int64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<int64> )->Args( { 1, 4611686018427387903 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<int64> )->Args( { -144115188075855872, 4611686018427387903 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<uint64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_Log2Ceil_Legacy<uint64> )->Args( { 1, 9223372036854775807 } );
BENCHMARK( MiscMath_CeilToPowerOf2<int32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_CeilToPowerOf2<int32> )->Args( { 1, 1073741823 } );
BENCHMARK( MiscMath_CeilToPowerOf2<int32> )->Args( { -33554432, 1073741823 } );
BENCHMARK( MiscMath_CeilToPowerOf2<uint32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_CeilToPowerOf2<uint32> )->Args( { 1, 2147483647 } );
BENCHMARK( MiscMath_CeilToPowerOf2<int64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_CeilToPowerOf2<int64> )->Args( { 1, 4611686018427387903 } );
BENCHMARK( MiscMath_CeilToPowerOf2<int64> )->Args( { -144115188075855872, 4611686018427387903 } );
BENCHMARK( MiscMath_CeilToPowerOf2<uint64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_CeilToPowerOf2<uint64> )->Args( { 1, 9223372036854775807 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<int32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<int32> )->Args( { 1, 1073741823 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<int32> )->Args( { -33554432, 1073741823 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<uint32> )->Args( { 2, 2000 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<uint32> )->Args( { 1, 2147483647 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<int64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<int64> )->Args( { 1, 4611686018427387903 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<int64> )->Args( { -144115188075855872, 4611686018427387903 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<uint64> )->Args( { 2, 200000 } );
BENCHMARK( MiscMath_CeilToPowerOf2_Legacy<uint64> )->Args( { 1, 9223372036854775807 } );
BENCHMARK( MiscMath_RotLeft<uint32> )->Args( { 0, 2147483647, 0, 32 } );
BENCHMARK( MiscMath_RotLeft<uint32> )->Args( { 0, 2147483647, -60, 60 } );
BENCHMARK( MiscMath_RotLeft<uint64> )->Args( { 0, 2147483647, 0, 64 } );
BENCHMARK( MiscMath_RotLeft<uint64> )->Args( { 0, 2147483647, -120, 120 } );
BENCHMARK( MiscMath_RotLeft_Legacy<uint32> )->Args( { 0, 2147483647, 0, 32 } );
BENCHMARK( MiscMath_RotLeft_Legacy<uint32> )->Args( { 0, 2147483647, -60, 60 } );
BENCHMARK( MiscMath_RotLeft_Legacy<uint64> )->Args( { 0, 2147483647, 0, 64 } );
BENCHMARK( MiscMath_RotLeft_Legacy<uint64> )->Args( { 0, 2147483647, -120, 120 } );
BENCHMARK( MiscMath_FloorToInt<NPriv::Utility_QorFloorToInt> );
BENCHMARK( MiscMath_FloorToInt<NPriv::Utility_StdFloorToInt> );
BENCHMARK( MiscMath_QorSqrti<int32> )->Args( { 0, 2147483647 } );
BENCHMARK( MiscMath_StdSqrti<int32> )->Args( { 0, 2147483647 } );
