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

template <typename T>
std::vector<T> ToVector( const CQorArray<T>& Array )
{
    return std::vector<T>( Array.begin(), Array.end() );
}

// Inline storage is part of the array object.
template <typename ArrayT>
bool IsInline( const ArrayT& Array )
{
    const auto* pData = reinterpret_cast<const unsigned char*>( Array.GetData() );
    const auto* pObject = reinterpret_cast<const unsigned char*>( &Array );
    return pData >= pObject && pData < pObject + sizeof( ArrayT );
}
} // namespace

TEST( CQorHybridArray, AppendsStayInlineUntilNAndNeverReturnThere )
{
    CCountingAllocator Fallback;
    {
        CQorHybridArray<int32, 256> Array( &Fallback );
        EXPECT_EQ( Array.GetCapacity(), 256 );
        EXPECT_TRUE( IsInline( Array ) );
        const int nDeallocateCallsAtBirth = Fallback.DeallocateCalls();

        Fill( Array, 0, 256 );
        EXPECT_EQ( Fallback.AllocateCalls(), 0 );
        EXPECT_EQ( Fallback.DeallocateCalls(), nDeallocateCallsAtBirth );

        Array.Add( 256 );
        EXPECT_EQ( Fallback.AllocateCalls(), 1 );
        // Leaving the inline storage releases nothing on the fall-back.
        EXPECT_EQ( Fallback.DeallocateCalls(), nDeallocateCallsAtBirth );
        EXPECT_EQ( Array.GetCapacity(), 512 );
        EXPECT_TRUE( Fallback.Owns( Array.GetData() ) );
        EXPECT_EQ( ToVector( Array ), Elements<int32>( 0, 257 ) );

        const int32* pHeap = Array.GetData();
        Array.Clear();
        EXPECT_EQ( Array.GetData(), pHeap );
        Array.ShrinkToFit();
        EXPECT_EQ( Array.GetCapacity(), 0 );
        EXPECT_EQ( Array.GetData(), nullptr );
        EXPECT_EQ( Fallback.LiveBlocks(), 0 );

        Array.Add( 7 );
        EXPECT_EQ( Fallback.AllocateCalls(), 2 );
        EXPECT_EQ( Array.GetCapacity(), 1 );
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
        ASSERT_EQ( Fallback.LiveBlocks(), 1 );
        const int nAllocateCalls = Fallback.AllocateCalls();
        Array.ResetToInlineBuffer();
        EXPECT_EQ( Fallback.LiveBlocks(), 0 );
        EXPECT_EQ( Array.GetSize(), 0 );
        EXPECT_EQ( Array.GetCapacity(), nInline );
        EXPECT_TRUE( IsInline( Array ) );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );

        // Shrink-to-fit keeps the inline storage while the array lives in it.
        Fill( Array, 0, 3 );
        Array.ShrinkToFit();
        EXPECT_TRUE( IsInline( Array ) );
        EXPECT_EQ( Array.GetCapacity(), nInline );
        EXPECT_EQ( Fallback.AllocateCalls(), nAllocateCalls );
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
        for ( const CCountingAllocator* pFallback : { &_FallbackA, &_FallbackB } )
        {
            EXPECT_EQ( pFallback->LiveBlocks(), 0 );
            EXPECT_EQ( pFallback->ForeignDeallocations(), 0 ) << "inline storage given to the fall-back";
        }
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
    EXPECT_EQ( Source.GetSize(), 0 );
    EXPECT_EQ( Source.GetData(), pSourceStorage );
    EXPECT_EQ( Source.GetCapacity(), nInline );

    typename TestFixture::CArray Constructed( std::move( Target ) );
    EXPECT_EQ( ToVector( Constructed ), Elements<TypeParam>( 0, 5 ) );
    EXPECT_TRUE( IsInline( Constructed ) );
    EXPECT_TRUE( Target.IsEmpty() );
}

TYPED_TEST( CQorHybridArrayTyped, MoveOfAHeapArrayTakesTheBlockOnlyFromTheSameFallback )
{
    typename TestFixture::CArray Source( &this->_FallbackA );
    Fill( Source, 0, 20 );
    const TypeParam* pBlock = Source.GetData();
    const int nMoved = CTrackedElement::s_Counts.nMoved;

    typename TestFixture::CArray SameFallback( &this->_FallbackA );
    SameFallback = std::move( Source );
    EXPECT_EQ( CTrackedElement::s_Counts.nMoved, nMoved );
    EXPECT_EQ( SameFallback.GetData(), pBlock );
    EXPECT_EQ( ToVector( SameFallback ), Elements<TypeParam>( 0, 20 ) );
    EXPECT_TRUE( Source.GetData() == nullptr && Source.GetSize() == 0 && Source.GetCapacity() == 0 );

    // On another fall-back the elements cross one by one and the source keeps its block.
    typename TestFixture::CArray OtherFallback( &this->_FallbackB );
    OtherFallback = std::move( SameFallback );
    EXPECT_EQ( ToVector( OtherFallback ), Elements<TypeParam>( 0, 20 ) );
    EXPECT_TRUE( this->_FallbackB.Owns( OtherFallback.GetData() ) );
    EXPECT_EQ( SameFallback.GetData(), pBlock );
    EXPECT_EQ( SameFallback.GetSize(), 0 );

    // A move construction draws on the source's fall-back, so the block changes hands.
    const TypeParam* pOtherBlock = OtherFallback.GetData();
    typename TestFixture::CArray Constructed( std::move( OtherFallback ) );
    EXPECT_EQ( Constructed.GetData(), pOtherBlock );
    EXPECT_EQ( ToVector( Constructed ), Elements<TypeParam>( 0, 20 ) );
}

TEST( CQorStaticArray, StartsInlineAndNeverLeaves )
{
    CAssertRecorder Asserts;
    CQorStaticArray<int32, nInline> Array{ 1, 2, 3 };
    EXPECT_TRUE( IsInline( Array ) );
    EXPECT_EQ( Array.GetCapacity(), nInline );
    Fill( Array, 4, nInline - 3 );
    Array.RemoveRange( 1, nInline );
    Array.ShrinkToFit();
    EXPECT_TRUE( IsInline( Array ) );
    EXPECT_EQ( Array.GetCapacity(), nInline );
    EXPECT_TRUE( Asserts.Texts().empty() );

    // A move between static arrays always exchanges elements.
    CQorStaticArray<int32, nInline> Target{ 9, 9, 9, 9 };
    Target = std::move( Array );
    EXPECT_EQ( ToVector( Target ), std::vector<int32>{ 1 } );
    EXPECT_TRUE( IsInline( Target ) && IsInline( Array ) );
    EXPECT_TRUE( Array.IsEmpty() );

    const CQorStaticArray<int32, nInline> Copy( Target );
    EXPECT_EQ( ToVector( Copy ), std::vector<int32>{ 1 } );
    EXPECT_TRUE( IsInline( Copy ) );
    EXPECT_TRUE( Asserts.Texts().empty() );
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

TEST( CQorStaticArray, ConstructionFromTooManyValuesReportsAndKeepsTheFirstN )
{
    CAssertRecorder Asserts;
    const std::vector<std::string> Values = Elements<std::string>( 0, nInline + 3 );
    CQorStaticArray<std::string, nInline> Array( Values.data(), nInline + 3 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Pre-allocated size is not large enough to hold assigned data" } );
    EXPECT_EQ( ToVector( Array ), Elements<std::string>( 0, nInline ) );
    EXPECT_TRUE( IsInline( Array ) );
}
