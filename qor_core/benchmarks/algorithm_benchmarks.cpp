// The algorithm benchmarks' registrations; the bodies stand in algorithm_benchmarks.h.

#include "qor_core/benchmarks/algorithm_benchmarks.h"

using namespace NAlgorithmBenchmarks;

BENCHMARK( Alogrithms_Reverse_Naive<primitive_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Alogrithms_Reverse_Naive<trivial_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Alogrithms_Reverse_Naive<complex_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Alogrithms_Reverse_std<primitive_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Alogrithms_Reverse_std<trivial_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Alogrithms_Reverse_std<complex_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_UpperBound_Qor<primitive_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_UpperBound_Qor<trivial_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_UpperBound_Qor<complex_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_UpperBound_std<primitive_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_UpperBound_std<trivial_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_UpperBound_std<complex_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_LowerBound_Qor<primitive_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_LowerBound_Qor<trivial_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_LowerBound_Qor<complex_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_LowerBound_std<primitive_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_LowerBound_std<trivial_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
BENCHMARK( Algorithms_LowerBound_std<complex_type> )->RangeMultiplier( 2 )->Range( 1, 512 );
