#include "qor_core/benchmarks/array_find_benchmarks.h"

#include "tests/benchmarks/benchmark_runner.h"

#include <gtest/gtest.h>

#include <string>


using namespace NArrayFindBenchmarks;

namespace
{
std::string TextOf( uint64 nValue )
{
    return std::to_string( nValue );
}
std::string TextOf( const CString& Value )
{
    return Value.GetString();
}

// The search path of TraitsT, recording where each search ended: the index found, or -1.
template <typename TraitsT>
struct SRecording : TraitsT
{
    using typename TraitsT::ContainerType;
    using typename TraitsT::ValueType;

    static ValueType* Find( ContainerType& Container, const ValueType& Value )
    {
        return Record( Container, TraitsT::Find( Container, Value ) );
    }
    template <typename PredT>
    static ValueType* Find( ContainerType& Container, const ValueType& Value, PredT Pred )
    {
        return Record( Container, TraitsT::Find( Container, Value, Pred ) );
    }
    template <typename PredT>
    static ValueType* FindIf( ContainerType& Container, PredT Pred )
    {
        return Record( Container, TraitsT::FindIf( Container, Pred ) );
    }
    static ValueType* Record( ContainerType& Container, ValueType* pFound )
    {
        s_Found.push_back( pFound ? pFound - &*Container.begin() : -1 );
        s_LastFound = pFound ? TextOf( *pFound ) : "";
        return pFound;
    }
    static inline std::vector<std::ptrdiff_t> s_Found;
    static inline std::string s_LastFound;
};

// Every pass of every family finds the target, the last element, also when it is the only one. Returns the
// text of the last of 100 elements.
template <typename TraitsT>
std::string ExpectEverySearchFindsTheLastElement()
{
    using CRecording = SRecording<TraitsT>;
    for ( const int64_t nCount : { 1, 100 } )
    {
        for ( void ( *pBody )( benchmark::State& ) : { CQorArray_Find<CRecording>, CQorArray_Find_Pred<CRecording>,
                                                        CQorArray_FindIf_Pred<CRecording>,
                                                        CQorArray_FindIf_StatefulPred<CRecording> } )
        {
            CRecording::s_Found.clear();
            RunBody( pBody, { nCount }, 3 );
            EXPECT_EQ( CRecording::s_Found, std::vector<std::ptrdiff_t>( 3, nCount - 1 ) ) << nCount << " elements";
        }
    }
    return CRecording::s_LastFound;
}
} // namespace

// All six paths search containers of the same draws of the generator seeded with 42.
TEST( ArrayFindBenchmarks, EveryPathFindsTheSameLastElement )
{
    const std::string Last = ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<uint64>, false>>();
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<uint64>, true>>() ), Last );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<std::vector<uint64>, true>>() ), Last );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<CString>, false>>() ), Last );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<CString>, true>>() ), Last );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<std::vector<CString>, true>>() ), Last );
}
