#include "qor_core/math_parser.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
const char* const c_Mismatch =
    "!OperatorStack.IsEmpty() && OperatorStack.GetTailData()._Type == SToken::LEFT_PARANTHESIS && \"mismatching "
    "paranthesis\"";

struct SCase
{
    const char* pExpression;
    bool bOk;
    int64 Raw;                  // the CFixedPoint result when bOk
    std::vector<std::string> Asserts;
};

// The result of a failed evaluation: Result must keep it.
constexpr int64 c_Untouched = -777;
} // namespace

TEST( NMathParser, EvaluatesTheTable )
{
    const SCase Cases[] = {
        { "1+2*3", true, 700000, {} },
        { "(1+2)*3", true, 900000, {} },
        { "10-2-3", true, 500000, {} },
        { "16/4/2", true, 200000, {} },
        { "2*3-4/2", true, 400000, {} },
        { "-1+2", true, 100000, {} },
        { "2*-3", true, -600000, {} },
        { "2-3", true, -100000, {} },
        { "2--3", true, 500000, {} },
        { "(2)-3", true, -100000, {} },
        { "1.5*2", true, 300000, {} },
        { "0.00001+0.00002", true, 3, {} },
        { "((((7))))", true, 700000, {} },
        { " 1 + 2 ", true, 300000, {} },
        { "1x+y2", true, 300000, {} },
        { "-", false, 0, {} },
        { "1+", false, 0, {} },
        { "*1", false, 0, {} },
        { "", false, 0, {} },
        { "1 2", false, 0, {} },
        { "()", false, 0, {} },
        { "(1", true, 100000, { c_Mismatch } },
        { "1)", true, 100000, { c_Mismatch } },
        { "1/0", true, 4294967295, { "Div/0. Fix your code" } },
        { "1.000001", false, 0, {} },
        { ".", false, 0, {} },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        CFixedPoint Result = CFixedPoint::FromRaw( c_Untouched );
        EXPECT_EQ( NMathParser::Evaluate( CString( Case.pExpression ), Result ), Case.bOk ) << Case.pExpression;
        EXPECT_EQ( Result.GetRaw(), Case.bOk ? Case.Raw : c_Untouched ) << Case.pExpression;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.pExpression;
    }
}

TEST( NMathParser, PrecedenceOfAValueAsserts )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( NMathParser::GetPrecedence( NMathParser::SToken::PLUS ), 2 );
    EXPECT_EQ( NMathParser::GetPrecedence( NMathParser::SToken::DIVIDE ), 3 );
    EXPECT_EQ( NMathParser::GetPrecedence( NMathParser::SToken::LEFT_PARANTHESIS ), 0 );
    EXPECT_EQ( NMathParser::GetPrecedence( NMathParser::SToken::VALUE ), 0 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "false" } );
}

TEST( NMathParser, OtherNumericTypes )
{
    int32 Integer = 0;
    EXPECT_TRUE( NMathParser::Evaluate( CString( "7/2-10" ), Integer ) );
    EXPECT_EQ( Integer, -7 );
    double Double = 0;
    EXPECT_TRUE( NMathParser::Evaluate( CString( "7/2-10" ), Double ) );
    EXPECT_DOUBLE_EQ( Double, -6.5 );
    // Integers wrap instead of overflowing, and a zero divisor reports as the fixed point does.
    int32 Wrapped = 0;
    EXPECT_TRUE( NMathParser::Evaluate( CString( "2147483647+1" ), Wrapped ) );
    EXPECT_EQ( Wrapped, std::numeric_limits<int32>::min() );
    CAssertRecorder Asserts;
    EXPECT_TRUE( NMathParser::Evaluate( CString( "5/0" ), Wrapped ) );
    EXPECT_EQ( Wrapped, 0 );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string> { "Div/0. Fix your code" } );
}

// Far beyond the 128 inline tokens, and nested deeper than any recursion could go.
TEST( NMathParser, LongAndDeepExpressions )
{
    std::string Long = "0";
    for ( int i = 0; i < 1000; ++i )
    {
        Long += "+1";
    }
    int32 Sum = 0;
    EXPECT_TRUE( NMathParser::Evaluate( CString( Long.c_str() ), Sum ) );
    EXPECT_EQ( Sum, 1000 );
    const std::string Deep = std::string( 100000, '(' ) + "3" + std::string( 100000, ')' ) + "*2";
    EXPECT_TRUE( NMathParser::Evaluate( CString( Deep.c_str() ), Sum ) );
    EXPECT_EQ( Sum, 6 );
}
