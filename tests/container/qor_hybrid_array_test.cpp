#include "qor_core/container/qor_hybrid_array.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr int32 nInline = 8;

template <typename T>
std::vector<T> Elements( int nFirst, int nCount )
{
    std::vector<T> Values;
    for ( int I = nFirst; I < nFirst + nCount; ++I )
    {
        Values.push_back( ValueOf<T>( I ) );
    }
    return Values;
}

template <typename ArrayT>
void Fill( ArrayT& Array, int nFirst, int nCount )
{
    for ( int I = nFirst; I < nFirst + nCount; ++I )
    {
        Array.Add( ValueOf<typename ArrayT::ValueType>( I ) );
    }
}

// Inline storage is part of the array object.
template <typename ArrayT>
bool IsInline( const ArrayT& Array )
{
    const auto* pData = reinterpret_cast<const unsigned char*>( Array.GetData() );
    const auto* pObject = reinterpret_cast<const unsigned char*>( &Array );
    return pData >= pObject && pData < pObject + sizeof( ArrayT );
}

// A plain array made from an inline one draws on the allocator behind it, never on the one embedded in the
// source: that allocator and its storage die with the source.
template <typename SourceT>
void ExpectPlainCopiesOwnTheirBuffers( CQorAllocator* pExpected, SourceT& Source )
{
    CQorArray<std::string> Copy( Source );
    CQorArray<std::string> Moved( std::move( Source ) );
    for ( const CQorArray<std::string>* pArray : { &Copy, &Moved } )
    {
        EXPECT_EQ( pArray->GetAllocator(), pExpected );
        EXPECT_EQ( ToVector( *pArray ), Elements<std::string>( 0, 5 ) );
    }
}

CQorArray<std::string> ReturnedFromAnInlineArray()
{
    CQorHybridArray<std::string, nInline> Hybrid;
    Fill( Hybrid, 0, 5 );
    return Hybrid;
}
} // namespace

TEST( CQorHybridArray, AppendsStayInlineUntilNAndNeverReturnThere )
{
    CCountingAllocator Fallback;
    {
        CQorHybridArray<int32, 256> Array( &Fallback );
        EXPECT_TRUE( IsInline( Array ) && Array.GetCapacity() == 256 );
        const int nReleasesAtBirth = Fallback.DeallocateCalls();
        Fill( Array, 0, 256 );
        EXPECT_EQ( Fallback.AllocateCalls(), 0 );
        Array.Add( 256 );
        EXPECT_EQ( Fallback.AllocateCalls(), 1 );
        EXPECT_EQ( Fallback.DeallocateCalls(), nReleasesAtBirth ) << "leaving the inline storage releases nothing";
        EXPECT_EQ( Array.GetCapacity(), 512 );
        EXPECT_EQ( ToVector( Array ), Elements<int32>( 0, 257 ) );

        const int32* pHeap = Array.GetData();
        Array.Clear();
        EXPECT_EQ( Array.GetData(), pHeap );
        Array.ShrinkToFit();
        EXPECT_TRUE( Array.GetCapacity() == 0 && Array.GetData() == nullptr && Fallback.LiveBlocks() == 0 );
        Array.Add( 7 );
        EXPECT_EQ( Fallback.AllocateCalls(), 2 );
        EXPECT_FALSE( IsInline( Array ) );
    }
    EXPECT_EQ( Fallback.LiveBlocks(), 0 );
    EXPECT_EQ( Fallback.ForeignDeallocations(), 0 );
}

TEST( CQorHybridArray, ResetToInlineBufferGivesTheHeapBlockBack )
{
    CTrackedElement::ResetCounts();
    CCountingAllocator Fallback;
    {
        CQorHybridArray<CTrackedElement, nInline> Array( &Fallback );
        Fill( Array, 0, 20 );
        Array.ResetToInlineBuffer();
        const int nAllocations = Fallback.AllocateCalls();
        EXPECT_EQ( Fallback.LiveBlocks(), 0 );
        EXPECT_TRUE( Array.IsEmpty() && IsInline( Array ) && Array.GetCapacity() == nInline );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );

        // Shrink-to-fit keeps the inline storage while the array lives in it.
        Fill( Array, 0, 3 );
        Array.ShrinkToFit();
        EXPECT_TRUE( IsInline( Array ) && Array.GetCapacity() == nInline );
        EXPECT_EQ( Fallback.AllocateCalls(), nAllocations );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

template <typename T>
class CQorHybridArrayTyped : public testing::Test
{
protected:
    void SetUp() override { CTrackedElement::ResetCounts(); }
    void TearDown() override
    {
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 ) << "tracked elements leaked";
        EXPECT_EQ( _FallbackA.LiveBlocks() + _FallbackB.LiveBlocks(), 0 );
        EXPECT_EQ( _FallbackA.ForeignDeallocations() + _FallbackB.ForeignDeallocations(), 0 )
            << "inline storage given to a fall-back";
    }

    using CArray = CQorHybridArray<T, nInline>;
    CCountingAllocator _FallbackA;
    CCountingAllocator _FallbackB;
};
using ElementTypes = testing::Types<int32, CTrackedElement, std::string>;
TYPED_TEST_SUITE( CQorHybridArrayTyped, ElementTypes );

TYPED_TEST( CQorHybridArrayTyped, MoveOfAnInlineArrayExchangesElements )
{
    typename TestFixture::CArray Source( &this->_FallbackA );
    Fill( Source, 0, 5 );
    typename TestFixture::CArray Target( &this->_FallbackB );
    Fill( Target, 100, 30 );
    const TypeParam* pSourceStorage = Source.GetData();

    Target = std::move( Source );
    EXPECT_EQ( ToVector( Target ), Elements<TypeParam>( 0, 5 ) );
    EXPECT_TRUE( IsInline( Target ) );
    EXPECT_EQ( this->_FallbackB.LiveBlocks(), 0 ) << "the target's heap block was not given back";
    EXPECT_TRUE( Source.IsEmpty() && Source.GetData() == pSourceStorage && Source.GetCapacity() == nInline );

    typename TestFixture::CArray Constructed( std::move( Target ) );
    EXPECT_EQ( ToVector( Constructed ), Elements<TypeParam>( 0, 5 ) );
    EXPECT_TRUE( IsInline( Constructed ) && Target.IsEmpty() );
}

TYPED_TEST( CQorHybridArrayTyped, MoveOfAHeapArrayTakesTheBlockOnlyFromTheSameFallback )
{
    typename TestFixture::CArray Source( &this->_FallbackA );
    Fill( Source, 0, 20 );
    const TypeParam* pBlock = Source.GetData();

    typename TestFixture::CArray SameFallback( &this->_FallbackA );
    SameFallback = std::move( Source );
    EXPECT_EQ( SameFallback.GetData(), pBlock );
    EXPECT_TRUE( Source.GetData() == nullptr && Source.GetSize() == 0 && Source.GetCapacity() == 0 );

    // On another fall-back the elements cross one by one and the source keeps its block.
    typename TestFixture::CArray OtherFallback( &this->_FallbackB );
    OtherFallback = std::move( SameFallback );
    EXPECT_EQ( ToVector( OtherFallback ), Elements<TypeParam>( 0, 20 ) );
    EXPECT_TRUE( this->_FallbackB.Owns( OtherFallback.GetData() ) );
    EXPECT_TRUE( SameFallback.GetData() == pBlock && SameFallback.IsEmpty() );

    // A move construction draws on the source's fall-back, so the block changes hands.
    const TypeParam* pOtherBlock = OtherFallback.GetData();
    typename TestFixture::CArray Constructed( std::move( OtherFallback ) );
    EXPECT_EQ( Constructed.GetData(), pOtherBlock );
    EXPECT_EQ( ToVector( Constructed ), Elements<TypeParam>( 0, 20 ) );
}

TEST( CQorHybridArray, PlainArraysMadeFromInlineArraysKeepNoEmbeddedBuffer )
{
    CAssertRecorder Asserts;
    CCountingAllocator Fallback;
    CQorHybridArray<std::string, nInline> Hybrid( &Fallback );
    Fill( Hybrid, 0, 5 );
    ExpectPlainCopiesOwnTheirBuffers( &Fallback, Hybrid );
    CQorStaticArray<std::string, nInline> Static;
    Fill( Static, 0, 5 );
    ExpectPlainCopiesOwnTheirBuffers( GetGlobalAllocator(), Static );

    CQorArray<std::string> Returned = ReturnedFromAnInlineArray();
    EXPECT_EQ( Returned.GetAllocator(), GetGlobalAllocator() );
    Fill( Returned, 5, 20 );
    EXPECT_EQ( ToVector( Returned ), Elements<std::string>( 0, 25 ) );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( CQorStaticArray, StartsInlineAndNeverLeaves )
{
    CAssertRecorder Asserts;
    CQorStaticArray<int32, nInline> Array{ 1, 2, 3 };
    Fill( Array, 4, nInline - 3 );
    Array.RemoveRange( 1, nInline );
    Array.ShrinkToFit();
    EXPECT_TRUE( IsInline( Array ) && Array.GetCapacity() == nInline );

    // A move between static arrays always exchanges elements; a copy is inline too.
    CQorStaticArray<int32, nInline> Target{ 9, 9, 9, 9 };
    Target = std::move( Array );
    EXPECT_EQ( ToVector( Target ), std::vector<int32>{ 1 } );
    EXPECT_TRUE( IsInline( Target ) && IsInline( Array ) && Array.IsEmpty() );
    const CQorStaticArray<int32, nInline> Copy( Target );
    EXPECT_TRUE( IsInline( Copy ) && ToVector( Copy ) == std::vector<int32>{ 1 } );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( CQorStaticArray, ConstructionFromTooManyValuesReportsAndKeepsTheFirstN )
{
    CAssertRecorder Asserts;
    const std::vector<std::string> Values = Elements<std::string>( 0, nInline + 3 );
    CQorStaticArray<std::string, nInline> Array( Values.data(), nInline + 3 );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "Pre-allocated size is not large enough to hold assigned data" } );
    EXPECT_EQ( ToVector( Array ), Elements<std::string>( 0, nInline ) );
    EXPECT_TRUE( IsInline( Array ) );
}
