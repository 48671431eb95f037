// The array search benchmarks' registrations; the bodies stand in array_find_benchmarks.h.

#include "qor_core/benchmarks/array_find_benchmarks.h"

using namespace NArrayFindBenchmarks;

// clang-format off
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find<SArrayTraits<std::vector<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find<SArrayTraits<std::vector<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find<SArrayTraits<std::vector<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<CString>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<CString>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<CString>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find<SArrayTraits<CQorArray<CString>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find<SArrayTraits<std::vector<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find<SArrayTraits<std::vector<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find<SArrayTraits<std::vector<CString>, true>> )->Arg( 10000 );

BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<std::vector<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<std::vector<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_Find_Pred<SArrayTraits<std::vector<CString>, true>> )->Arg( 10000 );

BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<std::vector<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<std::vector<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_Pred<SArrayTraits<std::vector<CString>, true>> )->Arg( 10000 );

BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<uint64>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<std::vector<uint64>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<CString>, false>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<CQorArray<CString>, true>> )->Arg( 10000 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<std::vector<CString>, true>> )->Arg( 1 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<std::vector<CString>, true>> )->Arg( 100 );
BENCHMARK( CQorArray_FindIf_StatefulPred<SArrayTraits<std::vector<CString>, true>> )->Arg( 10000 );
// clang-format on
