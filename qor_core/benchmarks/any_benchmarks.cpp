// Reading a CQorAny<32, true> by type test against reading it by visitor. A type test is one pointer
// comparison and, on a hit, one table call; a visitor pays for a dynamic_cast on top. The any passes through
// DoNotOptimize on every iteration, so that each test reads its type anew.

#include "qor_core/fixedpoint.h"
#include "qor_core/qor_any.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{
using CBenchmarkAny = CQorAny<32, true>;

CFixedPoint MakeFixedPoint( float fValue )
{
    return CFixedPoint::FromRaw( static_cast<int64>( fValue * 100000.0f + 0.5f ) );
}

template <typename T>
CBenchmarkAny MakeAny( T Value )
{
    CBenchmarkAny Any;
    Any.Set( Value );
    return Any;
}

void AcceptEachIteration( benchmark::State& state, CBenchmarkAny& Any )
{
    CFloatConvertVisitor Visitor;
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Any );
        benchmark::DoNotOptimize( Any.Accept( Visitor ) );
    }
}

void CQorAny_ConverterVisitor_FixedPoint( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( MakeFixedPoint( 45.85f ) );
    AcceptEachIteration( state, Any );
}

void CQorAny_ConverterVisitor_Float( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( 25.789f );
    AcceptEachIteration( state, Any );
}

void CQorAny_GetValue_Float( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( 25.789f );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Any );
        benchmark::DoNotOptimize( Any.GetValue<float>() );
    }
}

// The same body as CQorAny_GetValue_Float, kept so: it holds and reads a float.
void CQorAny_GetValue_FixedPoint( benchmark::State& state )
{
    CQorAny_GetValue_Float( state );
}

void CQorAny_GetValue_FailOnFloat_SuccessOnFixedPoint( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( MakeFixedPoint( 57.44f ) );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Any );
        benchmark::DoNotOptimize( Any.GetValue<float>() );
        benchmark::DoNotOptimize( Any.GetValue<CFixedPoint>() );
    }
}

void CQorAny_GetValue_FailOnFixedPoint_SuccessOnFloat( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( 25.789f );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Any );
        benchmark::DoNotOptimize( Any.GetValue<CFixedPoint>() );
        benchmark::DoNotOptimize( Any.GetValue<float>() );
    }
}

void CQorAny_GetValue_MultipleValues( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( 25.789f );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Any );
        benchmark::DoNotOptimize( Any.GetValue<uint32>() );
        benchmark::DoNotOptimize( Any.GetValue<int32>() );
        benchmark::DoNotOptimize( Any.GetValue<double>() );
        benchmark::DoNotOptimize( Any.GetValue<CFixedPoint>() );
        benchmark::DoNotOptimize( Any.GetValue<char>() );
        benchmark::DoNotOptimize( Any.GetValue<std::string>() );
        benchmark::DoNotOptimize( Any.GetValue<float>() );
    }
}

void CQorAny_GetValue_FailGetValueFloat_SucceedVisitorFixedPoint( benchmark::State& state )
{
    CBenchmarkAny Any = MakeAny( CFixedPoint::FromRaw( 0 ) );
    CFloatConvertVisitor Visitor;
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Any );
        benchmark::DoNotOptimize( Any.GetValue<float>() );
        benchmark::DoNotOptimize( Any.Accept( Visitor ) );
    }
}
} // namespace

BENCHMARK( CQorAny_ConverterVisitor_FixedPoint );
BENCHMARK( CQorAny_ConverterVisitor_Float );
BENCHMARK( CQorAny_GetValue_Float );
BENCHMARK( CQorAny_GetValue_FixedPoint );
BENCHMARK( CQorAny_GetValue_FailOnFloat_SuccessOnFixedPoint );
BENCHMARK( CQorAny_GetValue_FailOnFixedPoint_SuccessOnFloat );
BENCHMARK( CQorAny_GetValue_MultipleValues );
BENCHMARK( CQorAny_GetValue_FailGetValueFloat_SucceedVisitorFixedPoint );
