// The fixed-size matrix products in their vector form (128-bit columns, horizontal adds) and their scalar
// form, on six operands built once by static initialisation.

#include "qor_core/matrix.h"

#include <benchmark/benchmark.h>

namespace
{
CMatrix4x4 MakeMatrix4x4( float Scale )
{
    return CMatrix4x4::FromRows( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 } ) * Scale;
}

CMatrix3x3 MakeMatrix3x3( float Scale )
{
    return CMatrix3x3::FromRows( { 1, 2, 3, 4, 5, 6, 7, 8, 9 } ) * Scale;
}

// Not const: the timed loops must read them afresh on every pass.
CMatrix4x4 s_Matrix4x4A = MakeMatrix4x4( 3.7f );
CMatrix4x4 s_Matrix4x4B = MakeMatrix4x4( 0.2f );
CMatrix3x4 s_Matrix3x4A( s_Matrix4x4A );
CMatrix3x4 s_Matrix3x4B( s_Matrix4x4B );
CMatrix3x3 s_Matrix3x3A = MakeMatrix3x3( 3.7f );
CMatrix3x3 s_Matrix3x3B = MakeMatrix3x3( 0.2f );

// The product is formed and stored in every pass; the sink keeps the stored result.
template <typename ProductT>
void RunProduct( benchmark::State& state, ProductT Product )
{
    for ( auto _ : state )
    {
        auto Result = Product();
        benchmark::DoNotOptimize( Result );
    }
}

// Copies both operands into the vector form, multiplies, and copies the result out.
void Matrix4x4_SimdMultiply( benchmark::State& state )
{
    RunProduct( state,
                [] { return ( CSimdMatrix4x4( s_Matrix4x4A ) * CSimdMatrix4x4( s_Matrix4x4B ) ).ToMatrix4x4(); } );
}

void Matrix4x4_ScalarMultiply( benchmark::State& state )
{
    RunProduct( state, [] { return s_Matrix4x4A * s_Matrix4x4B; } );
}

void Matrix3x3_SimdMultiply( benchmark::State& state )
{
    RunProduct( state,
                [] { return ( CSimdMatrix4x4( s_Matrix3x3A ) * CSimdMatrix4x4( s_Matrix3x3B ) ).ToMatrix3x3(); } );
}

void Matrix3x3_ScalarMultiply( benchmark::State& state )
{
    RunProduct( state, [] { return s_Matrix3x3A * s_Matrix3x3B; } );
}

void Matrix3x4_SimdMultiply( benchmark::State& state )
{
    RunProduct( state,
                [] { return ( CSimdMatrix4x4( s_Matrix3x4A ) * CSimdMatrix4x4( s_Matrix3x4B ) ).ToMatrix3x4(); } );
}

void Matrix3x4_ScalarMultiply( benchmark::State& state )
{
    RunProduct( state, [] { return s_Matrix3x4A * s_Matrix3x4B; } );
}

void Matrix3x4_4x4_SimdMultiply( benchmark::State& state )
{
    RunProduct( state,
                [] { return ( CSimdMatrix4x4( s_Matrix3x4A ) * CSimdMatrix4x4( s_Matrix4x4B ) ).ToMatrix4x4(); } );
}

void Matrix4x4_3x4_SimdMultiply( benchmark::State& state )
{
    RunProduct( state,
                [] { return ( CSimdMatrix4x4( s_Matrix4x4A ) * CSimdMatrix4x4( s_Matrix3x4B ) ).ToMatrix4x4(); } );
}

} // namespace

BENCHMARK( Matrix4x4_SimdMultiply );
BENCHMARK( Matrix4x4_ScalarMultiply );
BENCHMARK( Matrix3x3_SimdMultiply );
BENCHMARK( Matrix3x3_ScalarMultiply );
BENCHMARK( Matrix3x4_SimdMultiply );
BENCHMARK( Matrix3x4_ScalarMultiply );
BENCHMARK( Matrix3x4_4x4_SimdMultiply );
BENCHMARK( Matrix4x4_3x4_SimdMultiply );
