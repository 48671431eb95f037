#include "qor_core/qor_result.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
using CParse = CQorResult<std::string, int32>;
}

TEST( CQorResult, HoldsEitherSide )
{
    const CParse Success = CParse::Success( "a value long enough to live on the heap, not inline" );
    EXPECT_TRUE( Success.IsSuccess() );
    EXPECT_FALSE( Success.IsFailure() );
    EXPECT_EQ( Success.GetValue(), "a value long enough to live on the heap, not inline" );

    const CParse Failure = CParse::Failure( 22 );
    EXPECT_TRUE( Failure.IsFailure() );
    EXPECT_EQ( Failure.GetError(), 22 );

    // The same type on both sides: the factory tells which is meant.
    const CQorResult<int32, int32> SameTypes = CQorResult<int32, int32>::Failure( 3 );
    EXPECT_TRUE( SameTypes.IsFailure() );
}

TEST( CQorResult, CopiesAndMovesKeepTheSideAndTheLifetime )
{
    CTrackedElement::ResetCounts();
    {
        using CTracked = CQorResult<CTrackedElement, std::string>;
        CTracked Success = CTracked::Success( 9 );
        CTracked Copy( Success );
        EXPECT_EQ( Copy.GetValue().Value(), 9 );
        CTracked Failure = CTracked::Failure( "failed" );
        Copy = Failure;
        EXPECT_EQ( Copy.GetError(), "failed" );
        Copy = std::move( Success );
        EXPECT_EQ( Copy.GetValue().Value(), 9 );
        CTracked Moved( std::move( Copy ) );
        EXPECT_EQ( Moved.MoveValue().Value(), 9 );
        EXPECT_EQ( Failure.MoveError(), "failed" );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

TEST( CQorResult, ReadingTheMissingSideReports )
{
    CAssertRecorder Asserts;
    CQorResult<int32, int32> Success = CQorResult<int32, int32>::Success( 1 );
    CQorResult<int32, int32> Failure = CQorResult<int32, int32>::Failure( 2 );
    // The storage is given in any case: the assertion is the only guard.
    EXPECT_EQ( Success.GetError(), 1 );
    EXPECT_EQ( Failure.GetValue(), 2 );
    EXPECT_EQ( Success.MoveError(), 1 );
    EXPECT_EQ( Failure.MoveValue(), 2 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Can't access unset error", "Can't access unset success",
                                                            "Can't get unset error", "Can't get unset value" } ) );
}
