// Five ways of hashing a type's identity, over a primitive, a pair, a plain structure and a template instance:
// the type index (a walk over the type's name, then HashBytes), the same index reached through an any's type
// table, the table's address itself, and the standard library's two hashes. The input passes through
// DoNotOptimize on every iteration, so that no hash is hoisted out of the loop.

#include "qor_core/qor_any.h"
#include "qor_core/qor_hash.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <typeindex>
#include <typeinfo>
#include <utility>

namespace
{
struct SDummyPlain
{
    int32 nValue;
};

template <int I>
struct SDummyTemplate
{
    int32 nValue;
};

template <typename T>
void SQorTypeIndex_Hash( benchmark::State& state )
{
    SQorTypeIndex Index = SQorTypeIndex::Get<T>();
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Index );
        benchmark::DoNotOptimize( Index.GetHash() );
    }
}

template <typename T>
void SQorTypeIndex_HashAnyTypeIndex( benchmark::State& state )
{
    CQorAny<8, true> Any;
    Any.Set( T{} );
    const QorAnyImpl::SAnyType* pType = Any.GetType();
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( pType );
        SQorTypeIndex Index;
        benchmark::DoNotOptimize( pType->GetTypeIndex( Index ).GetHash() );
    }
}

template <typename T>
void SQorTypeIndex_HashAnyTypeHandle( benchmark::State& state )
{
    CQorAny<8, true> Any;
    Any.Set( T{} );
    const QorAnyImpl::SAnyType* pType = Any.GetType();
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( pType );
        benchmark::DoNotOptimize( HashBytes( 0, &pType, sizeof( pType ) ) );
    }
}

template <typename T>
void SQorTypeIndex_HashStdTypeIndex( benchmark::State& state )
{
    std::type_index Index( typeid( T ) );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( Index );
        benchmark::DoNotOptimize( std::hash<std::type_index>()( Index ) );
    }
}

template <typename T>
void SQorTypeIndex_HashStdTypeInfoDirect( benchmark::State& state )
{
    const std::type_info* pTypeInfo = &typeid( T );
    for ( auto _ : state )
    {
        benchmark::DoNotOptimize( pTypeInfo );
        benchmark::DoNotOptimize( pTypeInfo->hash_code() );
    }
}
} // namespace

BENCHMARK( SQorTypeIndex_Hash<int32> );
BENCHMARK( SQorTypeIndex_Hash<std::pair<int32, int32>> );
BENCHMARK( SQorTypeIndex_Hash<SDummyPlain> );
BENCHMARK( SQorTypeIndex_Hash<SDummyTemplate<0>> );
BENCHMARK( SQorTypeIndex_HashAnyTypeIndex<int32> );
BENCHMARK( SQorTypeIndex_HashAnyTypeIndex<std::pair<int32, int32>> );
BENCHMARK( SQorTypeIndex_HashAnyTypeIndex<SDummyPlain> );
BENCHMARK( SQorTypeIndex_HashAnyTypeIndex<SDummyTemplate<0>> );
BENCHMARK( SQorTypeIndex_HashAnyTypeHandle<int32> );
BENCHMARK( SQorTypeIndex_HashAnyTypeHandle<std::pair<int32, int32>> );
BENCHMARK( SQorTypeIndex_HashAnyTypeHandle<SDummyPlain> );
BENCHMARK( SQorTypeIndex_HashAnyTypeHandle<SDummyTemplate<0>> );
BENCHMARK( SQorTypeIndex_HashStdTypeIndex<int32> );
BENCHMARK( SQorTypeIndex_HashStdTypeIndex<std::pair<int32, int32>> );
BENCHMARK( SQorTypeIndex_HashStdTypeIndex<SDummyPlain> );
BENCHMARK( SQorTypeIndex_HashStdTypeIndex<SDummyTemplate<0>> );
BENCHMARK( SQorTypeIndex_HashStdTypeInfoDirect<int32> );
BENCHMARK( SQorTypeIndex_HashStdTypeInfoDirect<std::pair<int32, int32>> );
BENCHMARK( SQorTypeIndex_HashStdTypeInfoDirect<SDummyPlain> );
BENCHMARK( SQorTypeIndex_HashStdTypeInfoDirect<SDummyTemplate<0>> );
