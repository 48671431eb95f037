#include "qor_core/container/qor_array.h"

#include "qor_core/container/qor_container_utils.h"
#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

template <typename T>
class CQorArrayTyped : public testing::Test
{
protected:
    void SetUp() override { CTrackedElement::ResetCounts(); }
    void TearDown() override { EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 ) << "tracked elements leaked"; }
};
using ElementTypes = testing::Types<int32, trivial_type, CTrackedElement, std::string>;
TYPED_TEST_SUITE( CQorArrayTyped, ElementTypes );

TYPED_TEST( CQorArrayTyped, GrowsGeometricallyFromOneThroughItsAllocator )
{
    CCountingAllocator Allocator;
    {
        CQorArray<TypeParam> Array( &Allocator );
        std::vector<int32> Capacities;
        for ( int I = 0; I < 9; ++I )
        {
            Array.Add( ValueOf<TypeParam>( I ) );
            Capacities.push_back( Array.GetCapacity() );
        }
        EXPECT_EQ( Capacities, ( std::vector<int32>{ 1, 2, 4, 4, 8, 8, 8, 8, 16 } ) );
        ASSERT_EQ( Allocator.AllocateCalls(), 5 );
        EXPECT_EQ( Allocator.Allocations().back().nSize, 16 * sizeof( TypeParam ) );
        EXPECT_EQ( Allocator.Allocations().back().nAlignment, alignof( TypeParam ) );
        EXPECT_EQ( Allocator.LiveBlocks(), 1 );

        Array.Clear();
        Array.Reserve( 100 );
        EXPECT_EQ( Array.GetCapacity(), 100 );
        for ( int I = 0; I < 101; ++I )
        {
            Array.Add( ValueOf<TypeParam>( I ) );
        }
        EXPECT_EQ( Array.GetCapacity(), 200 ) << "growth doubles the capacity, it doesn't add one";
    }
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    EXPECT_EQ( Allocator.ForeignDeallocations(), 0 );
}

TYPED_TEST( CQorArrayTyped, AddOfOwnElementOnFullArrayCopiesTheRightValue )
{
    CQorArray<TypeParam> Array;
    for ( int I = 0; I < 4; ++I )
    {
        Array.Add( ValueOf<TypeParam>( I + 10 ) );
    }
    Array.Add( Array[ 0 ] );
    EXPECT_EQ( Array[ 4 ], ValueOf<TypeParam>( 10 ) );
    Array.Resize( Array.GetCapacity() );
    Array.Insert( 1, Array[ 3 ] );
    EXPECT_EQ( ToVector( Array ),
               ( std::vector<TypeParam>{ ValueOf<TypeParam>( 10 ), ValueOf<TypeParam>( 13 ), ValueOf<TypeParam>( 11 ),
                                         ValueOf<TypeParam>( 12 ), ValueOf<TypeParam>( 13 ), ValueOf<TypeParam>( 10 ),
                                         TypeParam(), TypeParam(), TypeParam() } ) );
}

// Random operations against std::vector as the oracle.
TYPED_TEST( CQorArrayTyped, AgreesWithStdVectorOnRandomOperations )
{
    const uint32 nSeed = 20240611;
    std::mt19937 Random( nSeed );
    auto Draw = [ & ]( int nLow, int nHigh ) { return std::uniform_int_distribution<int>( nLow, nHigh )( Random ); };
    CCountingAllocator Allocator;
    {
        CQorArray<TypeParam> Array( &Allocator );
        std::vector<TypeParam> Model;
        for ( int nStep = 0; nStep < 400; ++nStep )
        {
            const int nSize = static_cast<int>( Model.size() );
            const TypeParam Value = ValueOf<TypeParam>( Draw( 0, 1000 ) );
            const int nWhere = Draw( 0, nSize );
            const int nEnd = Draw( nWhere, std::min( nSize, nWhere + 5 ) );
            switch ( Draw( 0, 9 ) )
            {
            case 0:
            case 1:
                EXPECT_EQ( *Array.Add( Value ), Value );
                Model.push_back( Value );
                break;
            case 2:
                EXPECT_EQ( *Array.Insert( nWhere, Value ), Value );
                Model.insert( Model.begin() + nWhere, Value );
                break;
            case 3:
            {
                const std::vector<TypeParam> Values( Draw( 0, 6 ), Value );
                Array.Insert( nWhere, Values.data(), static_cast<int32>( Values.size() ) );
                Model.insert( Model.begin() + nWhere, Values.begin(), Values.end() );
                break;
            }
            case 4:
            {
                const auto Result = Array.RemoveRange( nWhere, nEnd );
                EXPECT_TRUE( Result.nRemoved == nEnd - nWhere && Result.pWhere == Array.GetData() + nWhere );
                Model.erase( Model.begin() + nWhere, Model.begin() + nEnd );
                break;
            }
            case 5:
                if ( nWhere < nSize )
                {
                    Array.RemoveSwap( nWhere );
                    Model[ nWhere ] = Model.back();
                    Model.pop_back();
                }
                break;
            case 6:
                Array.PopBack();
                Model.resize( std::max( nSize - 1, 0 ) );
                break;
            case 7:
                Array.Resize( nEnd + Draw( 0, 8 ) );
                Model.resize( Array.GetSize() );
                break;
            case 8:
                Array.ShrinkToFit();
                EXPECT_TRUE( Array.GetCapacity() == nSize && ( Array.GetData() == nullptr ) == ( nSize == 0 ) );
                break;
            default:
            {
                const TypeParam* pFound = Array.Find( Value );
                const auto It = std::find( Model.begin(), Model.end(), Value );
                EXPECT_EQ( pFound ? pFound - Array.GetData() : -1, It == Model.end() ? -1 : It - Model.begin() );
            }
            }
            ASSERT_EQ( ToVector( Array ), Model ) << "seed " << nSeed << ", step " << nStep;
            ASSERT_LE( Array.GetSize(), Array.GetCapacity() );
        }
    }
    EXPECT_EQ( Allocator.LiveBlocks(), 0 );
    EXPECT_EQ( Allocator.ForeignDeallocations(), 0 );
}

// Across allocators the buffers can't change hands: the elements move one by one (more than the target's
// capacity, more than its size, fewer than its size), and the source keeps its buffer.
TEST( CQorArray, MoveAcrossAllocatorsMovesElementsAndLeavesTheSourceBuffer )
{
    CTrackedElement::ResetCounts();
    CCountingAllocator SourceAllocator;
    CCountingAllocator TargetAllocator;
    {
        CQorArray<CTrackedElement> Source( &SourceAllocator );
        for ( int I = 0; I < 5; ++I )
        {
            Source.Add( CTrackedElement( I ) );
        }
        for ( const auto& [ nCapacity, nTargetSize ] : { std::pair{ 2, 0 }, std::pair{ 8, 3 }, std::pair{ 8, 7 } } )
        {
            CQorArray<CTrackedElement> Target( &TargetAllocator );
            Target.Reserve( nCapacity );
            Target.Resize( nTargetSize );
            CQorArray<CTrackedElement> Copy( Source );
            CTrackedElement::s_Counts.nCopied = 0;
            Target = std::move( Copy );
            EXPECT_EQ( CTrackedElement::s_Counts.nCopied, 0 );
            EXPECT_EQ( ToVector( Target ), ToVector( Source ) );
            EXPECT_TRUE( TargetAllocator.Owns( Target.GetData() ) );
            EXPECT_TRUE( Copy.GetSize() == 0 && Copy.GetData() != nullptr ) << "the source keeps its buffer";
        }
        const CTrackedElement* pSourceBuffer = Source.GetData();
        CQorArray<CTrackedElement> Moved( std::move( Source ), &TargetAllocator );
        EXPECT_EQ( Moved.GetSize(), 5 );
        EXPECT_EQ( Source.GetData(), pSourceBuffer );
        CQorArray<CTrackedElement> SameAllocator( std::move( Moved ) );
        EXPECT_TRUE( SameAllocator.GetSize() == 5 && Moved.GetData() == nullptr ) << "on one allocator the buffer goes";
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
    EXPECT_EQ( SourceAllocator.LiveBlocks() + TargetAllocator.LiveBlocks(), 0 );
}

TEST( CQorArray, SwapExchangesBuffersOrElements )
{
    CQorArray<int32> Left;
    CQorArray<int32> Right;
    Left.Add( 1 );
    Right.Add( 2 );
    Right.Add( 3 );
    const int32* pLeftBuffer = Left.GetData();
    Left.Swap( Right );
    EXPECT_EQ( Right.GetData(), pLeftBuffer );
    EXPECT_EQ( ToVector( Left ), ( std::vector<int32>{ 2, 3 } ) );

    // Across allocators, with sizes 0 and 300: each array stays on its own allocator.
    CCountingAllocator LeftAllocator;
    CCountingAllocator RightAllocator;
    {
        CQorArray<std::string> Empty( &LeftAllocator );
        CQorArray<std::string> Full( &RightAllocator );
        for ( int I = 0; I < 300; ++I )
        {
            Full.Add( ValueOf<std::string>( I ) );
        }
        const std::vector<std::string> Values = ToVector( Full );
        Empty.Swap( Full );
        EXPECT_EQ( ToVector( Empty ), Values );
        EXPECT_EQ( Full.GetSize(), 0 );
        EXPECT_TRUE( LeftAllocator.Owns( Empty.GetData() ) && Full.GetAllocator() == &RightAllocator );
        Empty.Swap( Full );
        EXPECT_EQ( ToVector( Full ), Values );
        EXPECT_TRUE( RightAllocator.Owns( Full.GetData() ) && Empty.IsEmpty() );
    }
    EXPECT_EQ( LeftAllocator.LiveBlocks() + RightAllocator.LiveBlocks(), 0 );
}

// Each misuse reports its text and goes on with what it was given; the array holds 0, 1, 2, 3 in a buffer of 8.
TEST( CQorArray, MisuseReportsItsTextAndGoesOn )
{
    const struct
    {
        const char* pText;
        std::function<void( CQorArray<int32>& )> Misuse;
        std::vector<int32> After;
    } Rows[] = {
        { "nIndex > -1 && nIndex < _nSize", []( CQorArray<int32>& A ) { A[ 4 ] = 7; }, { 0, 1, 2, 3 } },
        { "nIndex < (UnsignedSizeT)_nSize", []( CQorArray<int32>& A ) { A[ 4u ] = 7; }, { 0, 1, 2, 3 } },
        { "_nSize > 0 && nIndex > -1 && nIndex < _nSize", []( CQorArray<int32>& A ) { A.RemoveSwap( 5 ); },
          { 0, 1, 2 } },
        { "nWhere > -1 && nWhere <= _nSize && nInsertNum >= 0",
          []( CQorArray<int32>& A ) { A.Insert( 1, A.GetData(), -1 ); }, { 0, 1, 2, 3 } },
        { "nStartIndex >= 0 && nStartIndex <= nEndIndex && nEndIndex <= _nSize",
          []( CQorArray<int32>& A ) { A.RemoveRange( 3, 1 ); }, { 0, 1, 2, 3 } },
        { "nNewCapacity >= _nSize",
          []( CQorArray<int32>& A )
          { A.ReplaceBuffer( static_cast<int32*>( GetGlobalAllocator()->Allocate( 16, 4 ) ), 3 ); },
          { 0, 1, 2, 3 } },
    };
    for ( const auto& Row : Rows )
    {
        CQorArray<int32> Array;
        Array.Reserve( 8 );
        for ( int32 I = 0; I < 4; ++I )
        {
            Array.Add( I );
        }
        CAssertRecorder Asserts;
        Row.Misuse( Array );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ Row.pText } );
        EXPECT_EQ( ToVector( Array ), Row.After ) << Row.pText;
    }

    // Back and Front of an empty array report; PopBack on it is silent.
    CAssertRecorder Asserts;
    CQorArray<int32> Empty;
    Empty.PopBack();
    Empty.Reserve( 1 );
    (void)&std::as_const( Empty ).Back();
    (void)&Empty.Front();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "_nSize > 0", "_nSize > 0" } ) );
    CQorArray<int32> NoAllocator( nullptr );
    EXPECT_EQ( Asserts.Texts().back(), "_pAlloc && \"Allocator must not be null\"" );
}
