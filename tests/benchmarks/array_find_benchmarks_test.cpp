#include "qor_core/benchmarks/array_find_benchmarks.h"

#include "tests/benchmarks/benchmark_runner.h"

#include <gtest/gtest.h>

#include <string>

using namespace NArrayFindBenchmarks;

namespace
{
// The search path of TraitsT, recording what each search found: its index and its text, or -1.
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
        if constexpr ( std::is_same_v<ValueType, CString> )
        {
            s_Texts.push_back( pFound ? pFound->GetString() : "" );
        }
        else
        {
            s_Texts.push_back( pFound ? std::to_string( *pFound ) : "" );
        }
        return pFound;
    }
    static inline std::vector<std::ptrdiff_t> s_Found;
    static inline std::vector<std::string> s_Texts;
};

// Every pass of every family finds the last element. Returns what the plain searches found, per count.
template <typename TraitsT>
std::vector<std::string> ExpectEverySearchFindsTheLastElement()
{
    using CRecording = SRecording<TraitsT>;
    std::vector<std::string> Targets;
    for ( const int64_t nCount : { 1, 100 } )
    {
        for ( void ( *pBody )( benchmark::State& ) : { CQorArray_Find<CRecording>, CQorArray_Find_Pred<CRecording>,
                                                        CQorArray_FindIf_Pred<CRecording>,
                                                        CQorArray_FindIf_StatefulPred<CRecording> } )
        {
            CRecording::s_Found.clear();
            CRecording::s_Texts.clear();
            RunBody( pBody, { nCount }, 3 );
            EXPECT_EQ( CRecording::s_Found, std::vector<std::ptrdiff_t>( 3, nCount - 1 ) );
        }
        RunBody( CQorArray_Find<CRecording>, { nCount }, 1 );
        Targets.push_back( CRecording::s_Texts.back() );
    }
    return Targets;
}
} // namespace

// The six paths search the same values: the containers hold the same draws.
TEST( ArrayFindBenchmarks, EveryPathFindsTheSameLastElement )
{
    const std::vector<std::string> Numbers = ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<uint64>, false>>();
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<uint64>, true>>() ), Numbers );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<std::vector<uint64>, true>>() ), Numbers );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<CString>, false>>() ), Numbers );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<CQorArray<CString>, true>>() ), Numbers );
    EXPECT_EQ( ( ExpectEverySearchFindsTheLastElement<SArrayTraits<std::vector<CString>, true>>() ), Numbers );
}
