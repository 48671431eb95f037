#include "qor_core/qor_any.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>

namespace
{
// Too large for an any of 8 bytes, so it lives on the heap there.
struct SLargeTracked
{
    CTrackedElement Element;
    char Padding[ 40 ] = {};

    SLargeTracked( int nValue ) : Element( nValue ) {}
    friend bool operator==( const SLargeTracked& Left, const SLargeTracked& Right )
    {
        return Left.Element == Right.Element;
    }
};

struct SNoCompare
{
    int32 nValue;
};

// The storage bytes of an any, behind its type pointer.
template <int32 N>
std::array<unsigned char, N> StorageBytes( const CQorAny<N>& Any )
{
    std::array<unsigned char, N> Bytes;
    std::memcpy( Bytes.data(), reinterpret_cast<const unsigned char*>( &Any ) + sizeof( void* ), N );
    return Bytes;
}

template <typename AnyT>
void ExpectHolds( const AnyT& Any, int nValue )
{
    using ValueT = std::conditional_t<( AnyT::nStorageSize >= 40 ), CTrackedElement, SLargeTracked>;
    const ValueT* pValue = Any.template GetValue<ValueT>();
    ASSERT_NE( pValue, nullptr );
    if constexpr ( std::is_same_v<ValueT, CTrackedElement> )
    {
        EXPECT_EQ( pValue->Value(), nValue );
    }
    else
    {
        EXPECT_EQ( pValue->Element.Value(), nValue );
    }
}
} // namespace

// The same lifetime story in place (CTrackedElement in 40 bytes) and allocated (SLargeTracked in 8 bytes).
template <typename AnyT>
class CQorAnyLifetime : public testing::Test
{
protected:
    void SetUp() override { CTrackedElement::ResetCounts(); }
    void TearDown() override { EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 ); }
};
using LifetimeAnys = testing::Types<CQorAny<40>, CQorAny<8>>;
TYPED_TEST_SUITE( CQorAnyLifetime, LifetimeAnys );

TYPED_TEST( CQorAnyLifetime, SetResetMoveAndCopyBuildAndDestroyEachValueOnce )
{
    using ValueT = std::conditional_t<( TypeParam::nStorageSize >= 40 ), CTrackedElement, SLargeTracked>;
    const SLifetimeCounts& Counts = CTrackedElement::s_Counts;
    const ValueT Source( 7 );
    {
        TypeParam Any;
        Any.Set( Source );
        ExpectHolds( Any, 7 );
        EXPECT_EQ( Counts.nConstructed, 2 );
        EXPECT_EQ( Counts.nCopied, 1 );

        // Same type: assigned onto the held value, nothing built or destroyed.
        Any.Set( ValueT( 8 ) );
        ExpectHolds( Any, 8 );
        EXPECT_EQ( Counts.nConstructed, 3 );
        EXPECT_EQ( Counts.nDestroyed, 1 ) << "only the temporary";
        EXPECT_EQ( Counts.nMoved, 1 );
        Any.Set( Source );
        EXPECT_EQ( Counts.nCopied, 2 );
        EXPECT_EQ( Counts.Alive(), 2 );

        // Moving an any builds the value anew in the target; the source keeps a moved-from value.
        TypeParam Moved( std::move( Any ) );
        ExpectHolds( Moved, 7 );
        ExpectHolds( Any, CTrackedElement::nMovedFrom );
        EXPECT_FALSE( Any.IsEmpty() );
        EXPECT_EQ( Counts.Alive(), 3 );

        TypeParam Copied( Moved );
        ExpectHolds( Copied, 7 );
        EXPECT_EQ( Counts.nCopied, 3 );
        EXPECT_EQ( Counts.Alive(), 4 );

        // Another type resets first: the tracked value goes.
        Any.Set( 1.5f );
        EXPECT_EQ( Counts.Alive(), 3 );
        EXPECT_EQ( *Any.template GetValue<float>(), 1.5f );

        // A float onto a float runs no reset, a tracked value onto a float builds one.
        Any.Set( 2.5f );
        EXPECT_EQ( *Any.template GetValue<float>(), 2.5f );
        Any = Copied;
        ExpectHolds( Any, 7 );
        EXPECT_EQ( Counts.Alive(), 4 );

        // Assignments between two holders of the type assign the values.
        const int nBuiltBefore = Counts.nConstructed;
        Copied = std::move( Moved );
        Any = Copied;
        EXPECT_EQ( Counts.nConstructed, nBuiltBefore );
        ExpectHolds( Copied, 7 );

        Copied.Reset();
        EXPECT_TRUE( Copied.IsEmpty() );
        EXPECT_EQ( Counts.Alive(), 3 );
        Copied.Reset();
        EXPECT_EQ( Counts.Alive(), 3 );
    }
    EXPECT_EQ( Counts.Alive(), 1 ) << "the source only";
}

TEST( CQorAny, TablesDifferAcrossSizesWhileTypeIndicesAgree )
{
    CQorAny<8> Small;
    CQorAny<32> Large;
    Small.Set( int32( 3 ) );
    Large.Set( int32( 3 ) );
    EXPECT_NE( Small.GetType(), Large.GetType() );
    EXPECT_EQ( Small.GetType(), CQorAny<8>::GetTypeOf<int32>() );
    EXPECT_NE( CQorAny<8>::GetTypeOf<int32>(), ( CQorAny<8, false>::GetTypeOf<int32>() ) );
    EXPECT_TRUE( Small.GetTypeIndex() == Large.GetTypeIndex() );
    EXPECT_TRUE( Small.GetTypeIndex() == SQorTypeIndex::Get<int32>() );
    EXPECT_EQ( Small.GetTypeIndex().GetHash(), SQorTypeIndex::Get<int32>().GetHash() );
}

TEST( CQorAny, HashAndCompareFollowTheTypesCapabilities )
{
    CAssertRecorder Asserts;
    CQorAny<32> Any;
    Any.Set( int32( 1234 ) );
    const int32 nValue = 1234;
    EXPECT_EQ( Any.GetHash(), HashBytes( 0, &nValue, 4 ) );
    EXPECT_TRUE( Any.IsEqualToValue( int32( 1234 ) ) );
    EXPECT_FALSE( Any.IsEqualToValue( 1234.0f ) );

    const float fValue = -0.0f;
    Any.Set( fValue );
    EXPECT_EQ( Any.GetHash(), HashBytes( 0, &fValue, 4 ) ) << "a float hashes its bit pattern";
    Any.Set( std::nanf( "" ) );
    EXPECT_FALSE( Any == Any ) << "NaN is not equal to itself";

    CQorAny<32> Other;
    Any.Set( std::string( "abc" ) );
    Other.Set( std::string( "abc" ) );
    EXPECT_TRUE( Any == Other );
    Other.Set( std::string( "abd" ) );
    EXPECT_FALSE( Any == Other );
    Other.Set( 3.0 );
    EXPECT_FALSE( Any == Other ) << "different types";
    EXPECT_TRUE( Asserts.Texts().empty() );

    EXPECT_EQ( Any.GetHash(), 0u );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Attempting to hash object that does not support hashing" } );
    Asserts.Clear();
    Any.Set( SNoCompare{ 1 } );
    Other.Set( SNoCompare{ 1 } );
    EXPECT_FALSE( Any == Other );
    EXPECT_FALSE( Any.IsEqualToValue( SNoCompare{ 1 } ) );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "Attempting to compare objects that does not support compare",
                                           "Attempting to compare objects that does not support compare" } ) );
}

namespace
{
// Handles int32 and std::string, nothing else.
class CIntAndStringVisitor : public CQorAnyTypedVisitor<int32>,
                             public CQorAnyTypedVisitor<std::string>,
                             public CQorAnyVisitor
{
public:
    void Visit( const int32& nValue ) override { Seen = "int " + std::to_string( nValue ); }
    void Visit( const std::string& Value ) override { Seen = "string " + Value; }

    std::string Seen = "nothing";
};
} // namespace

TEST( CQorAny, VisitorsAcceptExactlyTheTypesTheyList )
{
    CIntAndStringVisitor Visitor;
    CQorAny<8> Any;
    EXPECT_FALSE( Any.Accept( Visitor ) );
    Any.Set( int32( 4 ) );
    EXPECT_TRUE( Any.Accept( Visitor ) );
    EXPECT_EQ( Visitor.Seen, "int 4" );
    Any.Set( std::string( "on the heap in 8 bytes" ) );
    EXPECT_TRUE( Any.Accept( Visitor ) );
    EXPECT_EQ( Visitor.Seen, "string on the heap in 8 bytes" );
    for ( auto Set : { +[]( CQorAny<8>& A ) { A.Set( 4.0f ); }, +[]( CQorAny<8>& A ) { A.Set( uint32( 4 ) ); },
                       +[]( CQorAny<8>& A ) { A.Set( int64( 4 ) ); } } )
    {
        Visitor.Seen = "nothing";
        Set( Any );
        EXPECT_FALSE( Any.Accept( Visitor ) );
        EXPECT_EQ( Visitor.Seen, "nothing" );
    }
}

TEST( CFloatConvertVisitor, ReadsFloatsAndFixedPointsAndNothingElse )
{
    CFloatConvertVisitor Visitor;
    CQorAny<32> Any;
    Any.Set( 25.789f );
    EXPECT_TRUE( Any.Accept( Visitor ) );
    EXPECT_EQ( Visitor._fValue, 25.789f );
    Any.Set( CFixedPoint::FromRaw( 5744000 ) );
    EXPECT_TRUE( Any.Accept( Visitor ) );
    EXPECT_EQ( Visitor._fValue, 57.44f );
    Any.Set( CFixedPoint::FromRaw( -150000 ) );
    EXPECT_TRUE( Any.Accept( Visitor ) );
    EXPECT_EQ( Visitor._fValue, -1.5f );
    for ( auto Set : { +[]( CQorAny<32>& A ) { A.Set( int32( 4 ) ); }, +[]( CQorAny<32>& A ) { A.Set( 4.0 ); },
                       +[]( CQorAny<32>& A ) { A.Set( std::string( "4" ) ); }, +[]( CQorAny<32>& A ) { A.Reset(); } } )
    {
        Set( Any );
        EXPECT_FALSE( Any.Accept( Visitor ) );
        EXPECT_EQ( Visitor._fValue, -1.5f );
    }
}

TEST( CQorAny, NonCopyableAnyMovesValuesThatCannotBeCopied )
{
    CQorAny<8, false> Any;
    Any.Set( std::make_unique<int32>( 9 ) );
    CQorAny<8, false> Moved( std::move( Any ) );
    ASSERT_NE( Moved.GetValue<std::unique_ptr<int32>>(), nullptr );
    EXPECT_EQ( **Moved.GetValue<std::unique_ptr<int32>>(), 9 );
    EXPECT_EQ( *Any.GetValue<std::unique_ptr<int32>>(), nullptr ) << "moved from, not reset";
    // A lambda with a capture has no assignment: it is rebuilt in place.
    int32 nCalls = 0;
    auto Count = [ &nCalls ]() { ++nCalls; };
    Any.Set( decltype( Count )( Count ) );
    Any.Set( decltype( Count )( Count ) );
    ( *Any.GetValue<decltype( Count )>() )();
    EXPECT_EQ( nCalls, 1 );
}

namespace
{
template <int I>
struct SDummy
{
    int32 nValue;
};

using CTestMultiAny = CQorMultiAny<8>;

// Set and Get of the type numbered I, through its int32 field.
template <typename MultiAnyT>
struct SAccess
{
    int32 ( *Set )( MultiAnyT&, int32 );
    const int32* ( *Get )( const MultiAnyT& );
};
template <typename MultiAnyT, size_t... Is>
auto MakeAccessors( std::index_sequence<Is...> )
{
    return std::array<SAccess<MultiAnyT>, sizeof...( Is )>{ SAccess<MultiAnyT>{
        +[]( MultiAnyT& Multi, int32 nValue ) { return Multi.Set( SDummy<Is>{ nValue } ).nValue; },
        +[]( const MultiAnyT& Multi ) -> const int32*
        {
            const SDummy<Is>* pDummy = Multi.template Get<SDummy<Is>>();
            return pDummy ? &pDummy->nValue : nullptr;
        } }... };
}
} // namespace

TEST( CQorMultiAny, DestroysItsValuesAndGivesItsBucketsBack )
{
    CTrackedElement::ResetCounts();
    CCountingAllocator Allocator;
    {
        CQorHybridMultiAny<8, 2> Multi( &Allocator );
        Multi.Set( CTrackedElement( 1 ) );
        EXPECT_EQ( Allocator.AllocateCalls(), 1 ) << "the hybrid's inline room stays unused";
        EXPECT_NE( Multi.GetAllocator(), &Allocator );
        Multi.Set( CTrackedElement( 2 ) );
        Multi.Set( SLargeTracked( 3 ) );
        EXPECT_EQ( Multi.Get<CTrackedElement>()->Value(), 2 );
        EXPECT_EQ( Multi.Get<SLargeTracked>()->Element.Value(), 3 );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 2 );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    EXPECT_EQ( Allocator.ForeignDeallocations(), 0 );
}

// Set of a type held already assigns in place: the reference from the first Set reads the second value.
// Another type's Set may move the values (a Robin Hood insertion displaces), so only Get finds them then.
TEST( CQorMultiAny, SetOfAHeldTypeKeepsItsReference )
{
    CTestMultiAny Multi;
    EXPECT_EQ( Multi.Get<int32>(), nullptr );
    int32& Value = Multi.Set( int32( 1 ) );
    EXPECT_EQ( &Multi.Set( int32( 2 ) ), &Value );
    EXPECT_EQ( Value, 2 );
    EXPECT_EQ( Multi.GetSize(), 1 );
    Multi.Set( SDummy<0>{ 3 } );
    Multi.Set( SDummy<1>{ 4 } );
    EXPECT_EQ( *Multi.Get<int32>(), 2 );
    EXPECT_EQ( Multi.Get<SDummy<0>>()->nValue, 3 );
    EXPECT_EQ( Multi.GetSize(), 3 ) << "two types of one size take two buckets";
}

// Random Set and Get over 64 types against a map keyed by the type's number.
template <typename MultiAnyT>
class CQorMultiAnyModel : public testing::Test
{
};
using ModelledMultiAnys = testing::Types<CQorMultiAny<8>, CQorHybridMultiAny<8, 2>>;
TYPED_TEST_SUITE( CQorMultiAnyModel, ModelledMultiAnys );

TYPED_TEST( CQorMultiAnyModel, MatchesAnUnorderedMapOnRandomSequences )
{
    const auto Types = MakeAccessors<TypeParam>( std::make_index_sequence<64>() );
    for ( uint32 nSeed = 1; nSeed <= 4; ++nSeed )
    {
        std::mt19937 Random( nSeed );
        const int32 nTypeCount = std::uniform_int_distribution<int32>( 1, 64 )( Random );
        TypeParam Multi;
        std::unordered_map<int32, int32> Model;
        for ( int32 nStep = 0; nStep < 150; ++nStep )
        {
            SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", step " << nStep );
            const int32 nType = std::uniform_int_distribution<int32>( 0, nTypeCount - 1 )( Random );
            if ( Random() % 2 == 0 )
            {
                const int32 nValue = static_cast<int32>( Random() );
                ASSERT_EQ( Types[ nType ].Set( Multi, nValue ), nValue );
                Model[ nType ] = nValue;
                ASSERT_TRUE( Multi.Validate() );
            }
            const auto It = Model.find( nType );
            const int32* pValue = Types[ nType ].Get( Multi );
            ASSERT_EQ( pValue != nullptr, It != Model.end() );
            if ( pValue )
            {
                ASSERT_EQ( *pValue, It->second );
            }
        }
        ASSERT_EQ( Multi.GetSize(), static_cast<int32>( Model.size() ) ) << "seed " << nSeed;
    }
}
