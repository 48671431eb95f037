#include "qor_core/qor_named_index_impl.h"

#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"
#include "tests/test_threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace
{
// One family per test: the state of a family lives for the whole process.
struct SPassFamily;
struct SDynamicFamily;
struct SLateFamily;
struct SThreadFamily;

const CQorNamedIndex<SPassFamily> g_Pass( "pass", 3 );
const CQorNamedIndex<SPassFamily> g_Light( "light", 1 );
const CQorNamedIndex<SPassFamily> g_PassTwo( "pass2", 2 );
const CQorNamedIndex<SDynamicFamily> g_Fixed( "fixed", 2 );
const CQorNamedIndex<SThreadFamily> g_ThreadStatic( "static", 4 );

template <typename T> using CManager = CQorNamedIndexManager<T>;
} // namespace

TEST( QorNamedIndex, StaticBlocksAndLookUps )
{
    EXPECT_EQ( CManager<SPassFamily>::GetNumIndices(), 6 );
    EXPECT_EQ( g_Pass.GetIndex(), 0 );
    EXPECT_EQ( g_Light.GetIndex(), 3 );
    EXPECT_EQ( g_PassTwo.GetIndex(), 4 );
    EXPECT_FALSE( g_PassTwo.IsDynamicIndex() );

    // The name, its index, and what the look-up logs.
    const std::tuple<const char*, int32, const char*> Cases[] = {
        { "pass", 0, nullptr },
        { "pass0", 0, nullptr },
        { "pass2", 2, nullptr }, // the digits are stripped first: block "pass", never block "pass2"
        { "pass3", -1, "Invalid offset '3' for NamedIndex 'pass3'" },
        { "pass21", -1, "Invalid offset '21' for NamedIndex 'pass21'" },
        { "pass99999999999", -1, "Invalid offset '2147483647' for NamedIndex 'pass99999999999'" },
        { "light", 3, nullptr },
        { "light1", -1, "Invalid offset '1' for NamedIndex 'light1'" },
        { "nothing", -1, "Could not find NamedIndex 'nothing'" },
        { "pas", -1, "Could not find NamedIndex 'pas'" },
        { "", -1, "Could not find NamedIndex ''" },
        { "12", -1, "Could not find NamedIndex '12'" },
    };
    for ( const auto& [ pName, nExpected, pLogged ] : Cases )
    {
        CLogRecorder Log;
        EXPECT_EQ( CManager<SPassFamily>::FindIndex( pName ), nExpected ) << pName;
        EXPECT_EQ( Log.Texts(), pLogged ? std::vector{ std::string( pLogged ) + "\n" } : std::vector<std::string>{} )
            << pName;
    }
    // The view need not be terminated: the text behind it takes no part.
    EXPECT_EQ( CManager<SPassFamily>::FindIndex( CQorStringView( "pass1x", 5, ENullTerminated::No ) ), 1 );
}

TEST( QorNamedIndex, DynamicIndicesAreNamedReleasedAndReused )
{
    using CManagerT = CManager<SDynamicFamily>;
    CAssertRecorder Asserts;
    const CQorNamedIndex<SDynamicFamily> A = CManagerT::CreateDynamicIndex( "alpha" );
    EXPECT_EQ( A.GetIndex(), 2 );
    EXPECT_TRUE( A.IsDynamicIndex() );
    EXPECT_EQ( CManagerT::CreateDynamicIndex( "alpha" ).GetIndex(), 2 );
    EXPECT_EQ( CManagerT::CreateDynamicIndex( "fixed" ).GetIndex(), 0 ); // an existing static name
    EXPECT_EQ( CManagerT::GetDynamicIndexCount(), 1 );
    EXPECT_EQ( CManagerT::FindIndex( "alpha" ), 2 );

    const CQorNamedIndex<SDynamicFamily> Unnamed = CManagerT::CreateDynamicIndex( nullptr );
    EXPECT_EQ( Unnamed.GetIndex(), 3 );
    EXPECT_TRUE( CManagerT::Contains( 3 ) );
    EXPECT_EQ( CQorNamedIndex<SDynamicFamily>( 3 ).GetIndex(), 3 );

    CManagerT::ReleaseDynamicIndex( A );
    EXPECT_FALSE( CManagerT::Contains( 2 ) );
    {
        CLogRecorder Log;
        EXPECT_EQ( CManagerT::FindIndex( "alpha" ), -1 );
    }
    EXPECT_EQ( CManagerT::CreateDynamicIndex( "beta" ).GetIndex(), 2 );
    EXPECT_EQ( CManagerT::FindIndex( "beta" ), 2 );

    // A reused index gets its generated name again, since the old entry went with the release.
    CManagerT::ReleaseDynamicIndex( Unnamed );
    EXPECT_EQ( CManagerT::CreateDynamicIndex( nullptr ).GetIndex(), 3 );
    EXPECT_EQ( CManagerT::CreateDynamicIndex( nullptr ).GetIndex(), 4 );
    EXPECT_EQ( CManagerT::GetDynamicIndexCount(), 3 );
    EXPECT_TRUE( Asserts.Texts().empty() );

    CManagerT::ReleaseDynamicIndex( g_Fixed );
    CManagerT::ReleaseDynamicIndex( CQorNamedIndex<SDynamicFamily>( 5 ) );
    // Index 2 is beta's now: the first release frees it, the second finds no entry.
    CManagerT::ReleaseDynamicIndex( A );
    CManagerT::ReleaseDynamicIndex( A );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "Index.IsDynamicIndex()", "CQorNamedIndexManager<T>::Contains( Index )",
                                           "Index.GetIndex() < GetNumIndices() + Indices._IndexCount", "Iter" } ) );
    EXPECT_EQ( CManagerT::CreateDynamicIndex( "gamma" ).GetIndex(), 2 );
    EXPECT_EQ( CManagerT::GetDynamicIndexCount(), 3 );
}

TEST( QorNamedIndex, StaticBlockAfterADynamicIndexAsserts )
{
    CAssertRecorder Asserts;
    CManager<SLateFamily>::CreateDynamicIndex( "early" );
    const CQorNamedIndex<SLateFamily> Late( "late", 2 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "AccessDynamicIndices()._IndexCount == 0" } );
}

TEST( QorNamedIndex, ThreadsCreateFindAndReleaseAtOnce )
{
    using CManagerT = CManager<SThreadFamily>;
    constexpr int nThreads = 4;
    constexpr int nRounds = 300;
    constexpr int nKeptEvery = 3;
    std::vector<std::vector<int32>> Kept( nThreads );
    std::vector<int32> Shared( nThreads );
    std::vector<int> Mismatches( nThreads, 0 );
    RunOnThreads( nThreads,
                  [&]( int nThread )
                  {
                      Shared[nThread] = CManagerT::CreateDynamicIndex( "shared" ).GetIndex();
                      for ( int Round = 0; Round < nRounds; ++Round )
                      {
                          const std::string Name =
                              "t" + std::to_string( nThread ) + "_" + std::to_string( Round ) + "x";
                          const CQorNamedIndex<SThreadFamily> Named = CManagerT::CreateDynamicIndex( Name.c_str() );
                          const CQorNamedIndex<SThreadFamily> Unnamed = CManagerT::CreateDynamicIndex( nullptr );
                          Mismatches[nThread] += CManagerT::FindIndex( Name.c_str() ) != Named.GetIndex();
                          Mismatches[nThread] += CManagerT::FindIndex( "static3" ) != 3;
                          Mismatches[nThread] += !CManagerT::Contains( Unnamed.GetIndex() );
                          CManagerT::ReleaseDynamicIndex( Unnamed );
                          if ( Round % nKeptEvery == 0 )
                          {
                              Kept[nThread].push_back( Named.GetIndex() );
                          }
                          else
                          {
                              CManagerT::ReleaseDynamicIndex( Named );
                          }
                      }
                  } );
    std::set<int32> Live;
    size_t nLive = 0;
    for ( int T = 0; T < nThreads; ++T )
    {
        EXPECT_EQ( Mismatches[T], 0 ) << T;
        EXPECT_EQ( Shared[T], Shared[0] );
        for ( int32 Index : Kept[T] )
        {
            EXPECT_TRUE( CManagerT::Contains( Index ) ) << Index;
            Live.insert( Index );
            ++nLive;
        }
    }
    Live.insert( Shared[0] );
    EXPECT_EQ( Live.size(), nLive + 1 ) << "an index was handed out twice";
    EXPECT_GE( *Live.begin(), 4 );
    // Each thread holds its kept indices and two more at most; without reuse the count would be ~2400.
    EXPECT_LE( CManagerT::GetDynamicIndexCount(), nThreads * ( nRounds / nKeptEvery + 2 ) + 1 );
}
