#include "qor_core/qor_result.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST( CQorResult, CopiesAndMovesKeepTheSideAndTheLifetime )
{
    CTrackedElement::ResetCounts();
    {
        using CTracked = CQorResult<CTrackedElement, std::string>;
        const std::string Error = "an error long enough to live on the heap, not inline";
        CTracked Success = CTracked::Success( 9 );
        CTracked Copy( Success );
        EXPECT_TRUE( Copy.IsSuccess() && !Copy.IsFailure() && Copy.GetValue().Value() == 9 );
        CTracked Failure = CTracked::Failure( Error );
        Copy = Failure;
        EXPECT_TRUE( Copy.IsFailure() && !Copy.IsSuccess() && Copy.GetError() == Error );
        Copy = std::move( Success );
        EXPECT_EQ( Copy.GetValue().Value(), 9 );
        CTracked Moved( std::move( Copy ) );
        EXPECT_EQ( Moved.MoveValue().Value(), 9 );
        EXPECT_EQ( Failure.MoveError(), Error );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

TEST( CQorResult, ReadingTheMissingSideReports )
{
    CAssertRecorder Asserts;
    // The same type on both sides: the factory tells which is meant. The storage is given in any case: the
    // assertion is the only guard.
    CQorResult<int32, int32> Success = CQorResult<int32, int32>::Success( 1 );
    CQorResult<int32, int32> Failure = CQorResult<int32, int32>::Failure( 2 );
    EXPECT_EQ( Success.GetError(), 1 );
    EXPECT_EQ( Failure.GetValue(), 2 );
    EXPECT_EQ( Success.MoveError(), 1 );
    EXPECT_EQ( Failure.MoveValue(), 2 );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Can't access unset error", "Can't access unset success",
                                                            "Can't get unset error", "Can't get unset value" } ) );
}
