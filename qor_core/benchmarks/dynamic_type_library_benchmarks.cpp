// GetStatic on the dynamic type library along its three paths: the fast slot of libraries 0 to 2, the hash
// table fallback of libraries 3 and above, and both in turn; each with the library index given at compile time
// (bStaticIndex) or read at run time. Six libraries of up to 256 empty types are built before the timing; the
// recycled forms rebuild two of them first, so that the timed library holds a recycled index.

#include "qor_core/dynamic_type/qor_dynamic_type_impl.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

namespace
{
using NQorDynamicType::NBenchmarks::CBenchmarkTypeClass;
using CBenchmarkLibrary = NQorDynamicType::QorDynamicTypeLibrary<CBenchmarkTypeClass>;

// BenchmarkType_I: an empty type, registered with size 0 and alignment 1.
template <int I>
struct SBenchmarkType
{
};

// Registers BenchmarkType_( nCount - 1 ) down to BenchmarkType_0, one function per type.
template <int nCount>
void RegisterBenchmarkTypes( CBenchmarkLibrary& Library )
{
    if constexpr ( nCount > 0 )
    {
        char Name[ 32 ];
        std::snprintf( Name, sizeof( Name ), "BenchmarkType_%d", nCount - 1 );
        Library.Register<SBenchmarkType<nCount - 1>>( Name );
        RegisterBenchmarkTypes<nCount - 1>( Library );
    }
}

// The six libraries, each with the first N types. Being the only libraries of their type class, they take the
// indices 0 to 5. Recycling destroys those of indices 1 and 4, in that order, and rebuilds the one that stood at
// 4 first: it receives index 1, the smallest free one, and the other one index 4.
template <int N>
class CLibrarySetUp
{
public:
    explicit CLibrarySetUp( bool bRecycle )
    {
        for ( std::optional<CBenchmarkLibrary>& Library : _Libraries )
        {
            Build( Library );
        }
        if ( bRecycle )
        {
            _Libraries[ 1 ].reset();
            _Libraries[ 4 ].reset();
            Build( _Libraries[ 4 ] );
            Build( _Libraries[ 1 ] );
        }
    }

    // Null when no library has the index, which another live library of the type class would cause.
    CBenchmarkLibrary* Find( int32 nIndex )
    {
        for ( std::optional<CBenchmarkLibrary>& Library : _Libraries )
        {
            if ( Library->GetTypeLibraryIndex() == nIndex )
            {
                return &*Library;
            }
        }
        return nullptr;
    }

private:
    static void Build( std::optional<CBenchmarkLibrary>& Library )
    {
        Library.emplace( CQorStringView() );
        RegisterBenchmarkTypes<N>( *Library );
    }

    std::array<std::optional<CBenchmarkLibrary>, 6> _Libraries;
};

template <typename T, int32 nLibraryIndex, bool bStaticIndex>
CBenchmarkTypeClass* GetStatic( CBenchmarkLibrary& Library )
{
    if constexpr ( bStaticIndex )
    {
        return Library.GetStatic<T, nLibraryIndex>();
    }
    else
    {
        return Library.GetStatic<T>();
    }
}

// The static ids of the first N types, combined by ^.
template <int32 nLibraryIndex, bool bStaticIndex, size_t... Is>
uintptr_t FoldStaticIds( CBenchmarkLibrary& Library, std::index_sequence<Is...> )
{
    return (
        reinterpret_cast<uintptr_t>(
            GetStatic<SBenchmarkType<static_cast<int>( Is )>, nLibraryIndex, bStaticIndex>( Library )->_pStaticId ) ^
        ... );
}

template <int N, bool bStaticIndex, int32 nLibraryIndex, bool bRecycle>
void GetStaticOneType( benchmark::State& state )
{
    static_assert( N > 21, "The type looked up is BenchmarkType_21" );
    CLibrarySetUp<N> SetUp( bRecycle );
    CBenchmarkLibrary* pTarget = SetUp.Find( nLibraryIndex );
    if ( !pTarget )
    {
        state.SkipWithError( "The libraries did not receive the indices 0 to 5" );
        return;
    }
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( GetStatic<SBenchmarkType<21>, nLibraryIndex, bStaticIndex>( *pTarget ) );
    }
}

// 256 / N rounds, each a fold over the first N types in every target library, in the order given.
template <int N, bool bStaticIndex, int32... nLibraryIndices>
void GetStaticAllTypes( benchmark::State& state )
{
    CLibrarySetUp<N> SetUp( false );
    CBenchmarkLibrary* Targets[] = { SetUp.Find( nLibraryIndices )... };
    for ( CBenchmarkLibrary* pTarget : Targets )
    {
        if ( !pTarget )
        {
            state.SkipWithError( "The libraries did not receive the indices 0 to 5" );
            return;
        }
    }
    for ( auto _ : state )
    {
        for ( int32 nRound = 0; nRound < 256 / N; ++nRound )
        {
            int32 nTarget = 0;
            ( benchmark::DoNotOptimize( FoldStaticIds<nLibraryIndices, bStaticIndex>( *Targets[ nTarget++ ],
                                                                                      std::make_index_sequence<N>() ) ),
              ... );
        }
    }
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_OneType_Optimized( benchmark::State& state )
{
    GetStaticOneType<N, bStaticIndex, 0, false>( state );
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_OneType_Fallback( benchmark::State& state )
{
    GetStaticOneType<N, bStaticIndex, 3, false>( state );
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_OneType_Optimized_Recycled( benchmark::State& state )
{
    GetStaticOneType<N, bStaticIndex, 1, true>( state );
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_OneType_Fallback_Recycled( benchmark::State& state )
{
    GetStaticOneType<N, bStaticIndex, 4, true>( state );
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized( benchmark::State& state )
{
    GetStaticAllTypes<N, bStaticIndex, 0, 1, 2>( state );
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback( benchmark::State& state )
{
    GetStaticAllTypes<N, bStaticIndex, 3, 4, 5>( state );
}

template <int N, bool bStaticIndex>
void QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed( benchmark::State& state )
{
    GetStaticAllTypes<N, bStaticIndex, 0, 3, 1, 4, 2, 5>( state );
}
} // namespace

BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Optimized<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Optimized<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Fallback<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Fallback<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Optimized_Recycled<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Optimized_Recycled<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Fallback_Recycled<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_OneType_Fallback_Recycled<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<4, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<4, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<16, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<16, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<256, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<256, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<4, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<4, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<16, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<16, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<256, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<256, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<4, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<4, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<16, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<16, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<64, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<64, false> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<256, true> );
BENCHMARK( QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<256, false> );
