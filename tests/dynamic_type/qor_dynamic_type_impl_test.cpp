#include "qor_core/dynamic_type/qor_dynamic_type_impl.h"

#include "tests/assert_recorder.h"
#include "tests/test_threads.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

using NQorDynamicType::NBenchmarks::CBenchmarkTypeClass;
using CLibrary = NQorDynamicType::QorDynamicTypeLibrary<CBenchmarkTypeClass>;

namespace
{
template <int I>
struct SEmpty
{
};

// Six libraries alive at once, indices 0 to 5 in their places while no other library of the type class lives.
using CLibraries = std::array<std::optional<CLibrary>, 6>;

void BuildLibraries( CLibraries& Libraries )
{
    for ( std::optional<CLibrary>& Library : Libraries )
    {
        Library.emplace();
    }
}

bool IsInFastLookupBuffer( const CBenchmarkTypeClass* pType, const void* pSlot0 )
{
    const auto* pBegin = static_cast<const CBenchmarkTypeClass*>( pSlot0 );
    return pType >= pBegin && pType < pBegin + NQorDynamicType::nFastLookupSlots;
}
} // namespace

TEST( QorDynamicTypeLibrary, RecycledLibrariesGetOneThenFourInEitherOrderOfRelease )
{
    for ( const bool bOneFirst : { true, false } )
    {
        CLibraries Libraries;
        BuildLibraries( Libraries );
        for ( int32 I = 0; I < 6; ++I )
        {
            ASSERT_EQ( Libraries[ I ]->GetTypeLibraryIndex(), I );
        }
        Libraries[ bOneFirst ? 1 : 4 ].reset();
        Libraries[ bOneFirst ? 4 : 1 ].reset();
        Libraries[ 4 ].emplace();
        Libraries[ 1 ].emplace();
        EXPECT_EQ( Libraries[ 4 ]->GetTypeLibraryIndex(), 1 ) << "released 1 first: " << bOneFirst;
        EXPECT_EQ( Libraries[ 1 ]->GetTypeLibraryIndex(), 4 ) << "released 1 first: " << bOneFirst;
    }
    EXPECT_EQ( CLibrary().GetTypeLibraryIndex(), 0 );
}

TEST( QorDynamicTypeLibrary, FirstThreeLibrariesUseTheFastSlotsAndLaterOnesThePool )
{
    CAssertRecorder Asserts;
    CLibraries Libraries;
    BuildLibraries( Libraries );
    const void* pSlot0 = CLibrary::GetFastLookupSlot<int32>( 0 );
    for ( int32 I = 0; I < 6; ++I )
    {
        Libraries[ I ]->Register<int32>( "Int" );
        Libraries[ I ]->Register<SEmpty<0>>( "Empty" );
    }
    for ( int32 I = 0; I < 6; ++I )
    {
        CBenchmarkTypeClass* pType = Libraries[ I ]->GetStatic<int32>();
        EXPECT_EQ( IsInFastLookupBuffer( pType, pSlot0 ), I < 3 ) << I;
        if ( I < 3 )
        {
            EXPECT_EQ( pType, CLibrary::GetFastLookupSlot<int32>( I ) );
        }
        EXPECT_EQ( pType->_pStaticId, CLibrary::StaticTypeId<int32>() );
        EXPECT_EQ( pType->_nSize, 4 );
        EXPECT_EQ( pType->_nAlignment, 4 );
        EXPECT_EQ( pType->_Name, "Int" );
        EXPECT_NE( Libraries[ I ]->GetStatic<SEmpty<0>>(), pType );
    }
    EXPECT_EQ( ( Libraries[ 1 ]->GetStatic<int32, 1>() ), Libraries[ 1 ]->GetStatic<int32>() );
    EXPECT_EQ( ( Libraries[ 3 ]->GetStatic<int32, 3>() ), Libraries[ 3 ]->GetStatic<int32>() );
    EXPECT_EQ( ( Libraries[ 5 ]->GetStatic<SEmpty<0>, 5>() ), Libraries[ 5 ]->GetStatic<SEmpty<0>>() );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( QorDynamicTypeLibrary, ADestroyedLibrarysSlotReadsAsInvalid )
{
    CAssertRecorder Asserts;
    CBenchmarkTypeClass* pSlot = nullptr;
    {
        CLibrary Library;
        pSlot = Library.Register<SEmpty<1>>( "Probe" );
        ASSERT_EQ( pSlot, CLibrary::GetFastLookupSlot<SEmpty<1>>( 0 ) );
    }
    EXPECT_EQ( pSlot->_pStaticId, nullptr );

    CLibrary Library;
    ASSERT_EQ( Library.GetTypeLibraryIndex(), 0 );
    EXPECT_EQ( Library.GetStatic<SEmpty<1>>(), pSlot );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Type is not statically registered in this library" } );
    Asserts.Clear();
    Library.Register<SEmpty<1>>( "" );
    EXPECT_EQ( ( Library.GetStatic<SEmpty<1>, 0>() ), pSlot );
    EXPECT_EQ( pSlot->_pStaticId, CLibrary::StaticTypeId<SEmpty<1>>() );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( QorDynamicTypeLibrary, FastLookupReportsAWrongIndexAndACorruptSlot )
{
    CAssertRecorder Asserts;
    CLibrary First;
    CLibrary Second;
    First.Register<int32>( "" );
    Second.Register<int32>( "" );
    EXPECT_EQ( ( Second.GetStatic<int32, 0>() ), First.GetStatic<int32>() ) << "goes on with that slot";
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "StaticTypeLibraryIndex == _TypeLibraryIndex" } );
    Asserts.Clear();

    CBenchmarkTypeClass* pSlot = First.GetStatic<int32>();
    pSlot->_pStaticId = nullptr;
    EXPECT_EQ( First.GetStatic<int32>(), pSlot );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Static type in fast lookup buffer is corrupt." } );
    pSlot->_pStaticId = CLibrary::StaticTypeId<int32>();
}

TEST( QorDynamicTypeLibraryDeathTest, FallbackOfAnUnregisteredTypeReportsAndEndsTheProcess )
{
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    CLibraries Libraries;
    BuildLibraries( Libraries );
    EXPECT_DEATH(
        {
            SetAssertHandler( []( const char* pText, const char*, uint32, bool, bool*, bool* ) {
                std::fprintf( stderr, "%s\n", pText );
            } );
            Libraries[ 4 ]->GetStatic<int32>();
        },
        "Type is not statically registered in this library" );
}

TEST( QorDynamicTypeLibrary, NamesAndDataIndicesAreCheckedAsTypesAreAdded )
{
    CAssertRecorder Asserts;
    CLibrary Library;
    EXPECT_EQ( Library.Register<SEmpty<2>>( "Empty" )->_nDataIndex, 0 );
    EXPECT_EQ( Library.Register<int32>( "Int beyond the inline text" )->_nDataIndex, 1 );
    EXPECT_EQ( Library.Register<double>( "Double" )->_nDataIndex, 2 );
    EXPECT_TRUE( Asserts.Texts().empty() );

    auto* pOther = ::new ( Library.AllocateType() )
        CBenchmarkTypeClass( 8, 8, "Double", NQorDynamicType::MakeTypeFunctions<CBenchmarkTypeClass, int64>() );
    Library.AddType( pOther );
    EXPECT_EQ( pOther->_nDataIndex, 3 );
    EXPECT_EQ( pOther->_pStaticId, nullptr );
    // Registered again under the name of the description that the fast slot holds: the name outlives it.
    Library.Register<int32>( Library.GetStatic<int32>()->_Name );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{
                                    "There is already a type registered with name Double", "This type already exists",
                                    "There is already a type registered with name Int beyond the inline text" } ) );
    EXPECT_EQ( Library.GetStatic<int32>()->_Name, "Int beyond the inline text" );
}

TEST( QorDynamicTypeLibrary, StrideChecksReportSizeAlignmentAndAddress )
{
    CAssertRecorder Asserts;
    CLibrary Library;
    CBenchmarkTypeClass* pInt = Library.Register<int32>( "Int" );
    alignas( 8 ) unsigned char Buffer[ 64 ] = {};
    pInt->_Functions.Construct( pInt, Buffer, 2, 4 );
    pInt->_Functions.Destruct( pInt, Buffer, 2, 4 );
    EXPECT_TRUE( Asserts.Texts().empty() ) << "a stride equal to the size";

    pInt->_Functions.Construct( pInt, Buffer, 1, 3 );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "Stride 3 for type \"Int\" of size 4 is too small.",
                                           "Stride 3 for type \"Int\" of alignment 4 is misaligned." } ) );
    Asserts.Clear();
    pInt->_Functions.CopyAssign( pInt, Buffer, Buffer + 32, 1, 6 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Stride 6 for type \"Int\" of alignment 4 is misaligned." } );
    Asserts.Clear();
    // A count of 0: the checks run, and nothing is built at the misaligned address.
    pInt->_Functions.MoveConstruct( pInt, Buffer, Buffer + 34, 0, 8 );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Memory address for type \"Int\" of alignment 4 is misaligned." } );
    Asserts.Clear();
    pInt->_Functions.Destruct( pInt, Buffer + 2, 0, 8 );
    pInt->_Functions.MoveAssign( pInt, Buffer + 2, Buffer + 34, 0, 8 );
    EXPECT_TRUE( Asserts.Texts().empty() ) << "destruction and assignment don't check the address";

    CBenchmarkTypeClass* pEmpty = Library.Register<SEmpty<3>>( "Empty" );
    EXPECT_EQ( pEmpty->_nSize, 0 );
    EXPECT_EQ( pEmpty->_nAlignment, 1 );
    pEmpty->_Functions.Construct( pEmpty, Buffer + 1, 4, 0 );
    pEmpty->_Functions.CopyConstruct( pEmpty, Buffer, Buffer + 3, 4, 7 );
    EXPECT_TRUE( Asserts.Texts().empty() );
    pEmpty->_Functions.Destruct( pEmpty, Buffer, 1, -1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Stride -1 for type \"Empty\" of size 0 is too small." } );
}

TEST( QorDynamicTypeLibrary, LibrariesOnManyThreadsNeverShareAnIndex )
{
    std::array<std::atomic<bool>, 16> InUse{};
    std::atomic<int32> nFailures{ 0 };
    RunOnThreads( 4,
                  [ & ]( int )
                  {
                      for ( int32 nRound = 0; nRound < 300; ++nRound )
                      {
                          CLibrary Library;
                          const int32 nIndex = Library.GetTypeLibraryIndex();
                          if ( nIndex < 0 || nIndex >= 16 || InUse[ nIndex ].exchange( true ) )
                          {
                              ++nFailures;
                              continue;
                          }
                          Library.Register<SEmpty<4>>( "" );
                          Library.Register<int32>( "" );
                          if ( Library.GetStatic<int32>()->_nSize != 4 || Library.GetStatic<SEmpty<4>>()->_nSize != 0 )
                          {
                              ++nFailures;
                          }
                          InUse[ nIndex ] = false;
                      }
                  } );
    EXPECT_EQ( nFailures.load(), 0 );
    EXPECT_EQ( CLibrary().GetTypeLibraryIndex(), 0 ) << "every index came back";
}
