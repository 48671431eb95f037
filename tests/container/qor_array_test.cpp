#include "qor_core/container/qor_array.h"

#include "qor_core/container/qor_container_utils.h"
#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{
template <typename T>
std::vector<T> ToVector( const CQorArray<T>& Array )
{
    return std::vector<T>( Array.begin(), Array.end() );
}

template <typename T>
void ExpectSame( const CQorArray<T>& Array, const std::vector<T>& Model, uint32 nSeed, int nStep )
{
    ASSERT_EQ( Array.GetSize(), static_cast<int32>( Model.size() ) ) << "seed " << nSeed << ", step " << nStep;
    ASSERT_LE( Array.GetSize(), Array.GetCapacity() );
    ASSERT_TRUE( std::equal( Model.begin(), Model.end(), Array.begin() ) ) << "seed " << nSeed << ", step " << nStep;
}
} // namespace

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
        for ( const CCountingAllocator::SAllocation& Allocation : Allocator.Allocations() )
        {
            EXPECT_EQ( Allocation.nAlignment, alignof( TypeParam ) );
        }
        EXPECT_EQ( Allocator.Allocations().back().nSize, 16 * sizeof( TypeParam ) );
        EXPECT_EQ( Allocator.LiveBlocks(), 1 );
        for ( int I = 0; I < 9; ++I )
        {
            EXPECT_EQ( Array[ I ], ValueOf<TypeParam>( I ) );
        }

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
    ASSERT_EQ( Array.GetSize(), Array.GetCapacity() );
    Array.Add( Array[ 0 ] );
    Array.Add( Array.Back() );
    EXPECT_EQ( Array[ 4 ], ValueOf<TypeParam>( 10 ) );
    EXPECT_EQ( Array[ 5 ], ValueOf<TypeParam>( 10 ) );

    while ( Array.GetSize() != Array.GetCapacity() )
    {
        Array.Add( ValueOf<TypeParam>( 0 ) );
    }
    Array.Insert( 1, Array[ 3 ] );
    EXPECT_EQ( Array[ 1 ], ValueOf<TypeParam>( 13 ) );
    EXPECT_EQ( Array[ 2 ], ValueOf<TypeParam>( 11 ) );
    EXPECT_EQ( Array[ 4 ], ValueOf<TypeParam>( 13 ) );
}

// Long random operation sequences against std::vector as the oracle.
TYPED_TEST( CQorArrayTyped, AgreesWithStdVectorOnRandomOperations )
{
    for ( uint32 nSeed = 1; nSeed <= 20; ++nSeed )
    {
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
                switch ( Draw( 0, 11 ) )
                {
                case 0:
                case 1:
                    EXPECT_EQ( *Array.Add( Value ), Value );
                    Model.push_back( Value );
                    break;
                case 2:
                {
                    const int nWhere = Draw( 0, nSize );
                    EXPECT_EQ( *Array.Insert( nWhere, Value ), Value );
                    Model.insert( Model.begin() + nWhere, Value );
                    break;
                }
                case 3:
                {
                    const int nWhere = Draw( 0, nSize );
                    std::vector<TypeParam> Values;
                    for ( int I = Draw( 0, 6 ); I > 0; --I )
                    {
                        Values.push_back( ValueOf<TypeParam>( Draw( 0, 1000 ) ) );
                    }
                    Array.Insert( nWhere, Values.data(), static_cast<int32>( Values.size() ) );
                    Model.insert( Model.begin() + nWhere, Values.begin(), Values.end() );
                    break;
                }
                case 4:
                {
                    const int nStart = Draw( 0, nSize );
                    const int nEnd = Draw( nStart, std::min( nSize, nStart + 5 ) );
                    const auto Result = Array.RemoveRange( nStart, nEnd );
                    EXPECT_EQ( Result.nRemoved, nEnd - nStart );
                    EXPECT_EQ( Result.pWhere, Array.GetData() + nStart );
                    Model.erase( Model.begin() + nStart, Model.begin() + nEnd );
                    break;
                }
                case 5:
                    if ( nSize > 0 )
                    {
                        const int nIndex = Draw( 0, nSize - 1 );
                        Array.RemoveSwap( nIndex );
                        Model[ nIndex ] = Model.back();
                        Model.pop_back();
                    }
                    break;
                case 6:
                    Array.PopBack();
                    if ( !Model.empty() )
                    {
                        Model.pop_back();
                    }
                    break;
                case 7:
                {
                    const int nNewSize = Draw( 0, nSize + 8 );
                    Array.Resize( nNewSize );
                    Model.resize( nNewSize );
                    break;
                }
                case 8:
                    Array.ShrinkToFit();
                    EXPECT_EQ( Array.GetCapacity(), nSize );
                    EXPECT_EQ( Array.GetData() == nullptr, nSize == 0 );
                    break;
                case 9:
                    if ( nSize > 0 )
                    {
                        const int nIndex = Draw( 0, nSize - 1 );
                        Array.Remove( nIndex );
                        Model.erase( Model.begin() + nIndex );
                    }
                    break;
                case 10:
                {
                    const TypeParam* pFound = Array.Find( Value );
                    const auto It = std::find( Model.begin(), Model.end(), Value );
                    EXPECT_EQ( pFound ? pFound - Array.GetData() : -1,
                               It == Model.end() ? -1 : It - Model.begin() );
                    break;
                }
                default:
                    if ( Draw( 0, 20 ) == 0 )
                    {
                        Array.Clear();
                        Model.clear();
                    }
                    break;
                }
                ExpectSame( Array, Model, nSeed, nStep );
            }
        }
        EXPECT_EQ( Allocator.LiveBlocks(), 0 ) << "seed " << nSeed;
        EXPECT_EQ( Allocator.ForeignDeallocations(), 0 ) << "seed " << nSeed;
    }
}

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
        const CTrackedElement* pSourceBuffer = Source.GetData();
        const int32 nSourceCapacity = Source.GetCapacity();

        // The three paths: more elements than the target's capacity, more than its size, fewer than its size.
        for ( const auto& [ nTargetCapacity, nTargetSize ] : { std::pair{ 2, 0 }, std::pair{ 8, 3 }, std::pair{ 8, 7 } } )
        {
            CQorArray<CTrackedElement> Target( &TargetAllocator );
            Target.Reserve( nTargetCapacity );
            for ( int I = 0; I < nTargetSize; ++I )
            {
                Target.Add( CTrackedElement( 100 + I ) );
            }
            CQorArray<CTrackedElement> Copy( Source );
            CTrackedElement::s_Counts.nCopied = 0;
            Target = std::move( Copy );
            EXPECT_EQ( CTrackedElement::s_Counts.nCopied, 0 );
            EXPECT_EQ( Target.GetAllocator(), &TargetAllocator );
            EXPECT_EQ( Copy.GetSize(), 0 );
            EXPECT_NE( Copy.GetData(), nullptr ) << "the source keeps its buffer";
            ASSERT_EQ( Target.GetSize(), 5 );
            for ( int I = 0; I < 5; ++I )
            {
                EXPECT_EQ( Target[ I ].Value(), I );
            }
            EXPECT_TRUE( TargetAllocator.Owns( Target.GetData() ) );
        }
        CQorArray<CTrackedElement> Moved( std::move( Source ), &TargetAllocator );
        EXPECT_EQ( Moved.GetSize(), 5 );
        EXPECT_EQ( Source.GetData(), pSourceBuffer );
        EXPECT_EQ( Source.GetCapacity(), nSourceCapacity );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 5 );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
    EXPECT_EQ( SourceAllocator.LiveBlocks(), 0 );
    EXPECT_EQ( TargetAllocator.LiveBlocks(), 0 );
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
    EXPECT_EQ( ToVector( Right ), ( std::vector<int32>{ 1 } ) );

    CCountingAllocator LeftAllocator;
    CCountingAllocator RightAllocator;
    {
        CQorArray<std::string> Empty( &LeftAllocator );
        CQorArray<std::string> Full( &RightAllocator );
        std::vector<std::string> Values;
        for ( int I = 0; I < 300; ++I )
        {
            Values.push_back( ValueOf<std::string>( I ) );
            Full.Add( Values.back() );
        }
        Empty.Swap( Full );
        EXPECT_EQ( ToVector( Empty ), Values );
        EXPECT_EQ( Full.GetSize(), 0 );
        EXPECT_EQ( Empty.GetAllocator(), &LeftAllocator );
        EXPECT_EQ( Full.GetAllocator(), &RightAllocator );
        EXPECT_TRUE( LeftAllocator.Owns( Empty.GetData() ) );

        Empty.Swap( Full );
        EXPECT_EQ( ToVector( Full ), Values );
        EXPECT_EQ( Empty.GetSize(), 0 );
        EXPECT_TRUE( RightAllocator.Owns( Full.GetData() ) );
    }
    EXPECT_EQ( LeftAllocator.LiveBlocks(), 0 );
    EXPECT_EQ( RightAllocator.LiveBlocks(), 0 );
}

TEST( CQorArray, AccessorsAssertAndGoOn )
{
    CAssertRecorder Asserts;
    CQorArray<int32> Array;
    Array.Reserve( 8 );
    Array.Add( 1 );
    Array.Add( 2 );

    Array[ 2 ] = 7; // inside the buffer, outside the elements
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nIndex > -1 && nIndex < _nSize" } );
    Asserts.Clear();
    Array[ 2u ] = 7;
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nIndex < (UnsignedSizeT)_nSize" } );
    Asserts.Clear();

    Array.RemoveSwap( 3 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_nSize > 0 && nIndex > -1 && nIndex < _nSize" } );
    EXPECT_EQ( Array.GetSize(), 1 );
    Asserts.Clear();

    CQorArray<int32> Empty;
    Empty.PopBack();
    Empty.Reserve( 4 ); // the accessors go on after their report: keep that inside a buffer
    EXPECT_TRUE( Asserts.Reports().empty() ) << "PopBack on an empty array is silent";
    const CQorArray<int32>& ConstEmpty = Empty;
    (void)&ConstEmpty.Back();
    (void)&Empty.Front();
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "_nSize > 0", "_nSize > 0" } ) );
}

TEST( CQorArray, RangeOperationsAssertOnBadArguments )
{
    CAssertRecorder Asserts;
    CQorArray<int32> Array;
    for ( int32 I = 0; I < 4; ++I )
    {
        Array.Add( I );
    }
    const int32 Values[] = { 9 };
    Array.Insert( 1, Values, -1 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nWhere > -1 && nWhere <= _nSize && nInsertNum >= 0" } );
    Asserts.Clear();

    const auto Result = Array.RemoveRange( 3, 1 );
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "nStartIndex >= 0 && nStartIndex <= nEndIndex && nEndIndex <= _nSize" } );
    EXPECT_EQ( Result.nRemoved, 0 );
    EXPECT_EQ( ToVector( Array ), ( std::vector<int32>{ 0, 1, 2, 3 } ) );
    Asserts.Clear();

    // A buffer large enough for the elements, announced as too small.
    int32* pBuffer = static_cast<int32*>( GetGlobalAllocator()->Allocate( 4 * sizeof( int32 ), alignof( int32 ) ) );
    Array.ReplaceBuffer( pBuffer, 3 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "nNewCapacity >= _nSize" } );
    EXPECT_EQ( Array.GetData(), pBuffer );
    EXPECT_EQ( ToVector( Array ), ( std::vector<int32>{ 0, 1, 2, 3 } ) );
}
