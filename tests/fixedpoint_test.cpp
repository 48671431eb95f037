#include "qor_core/fixedpoint.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace
{
using int128 = __int128;

CFixedPoint Raw( int64 Value )
{
    return CFixedPoint::FromRaw( Value );
}

double ToDouble( CFixedPoint Value )
{
    return static_cast<double>( Value.GetRaw() ) / 100000.0;
}

int64 Draw( std::mt19937_64& Generator, int64 Low, int64 High )
{
    return std::uniform_int_distribution<int64>( Low, High )( Generator );
}

// Magnitudes of every bit width up to nBits, either sign.
int64 DrawWide( std::mt19937_64& Generator, int32 nBits )
{
    const int32 Width = static_cast<int32>( Generator() % static_cast<uint64>( nBits + 1 ) );
    const int64 Magnitude = Width == 0 ? 0 : static_cast<int64>( Generator() >> ( 64 - Width ) );
    return ( Generator() & 1 ) ? -Magnitude : Magnitude;
}

constexpr int64 Int64Max = std::numeric_limits<int64>::max();
constexpr int64 Int64Min = std::numeric_limits<int64>::min();
constexpr int nDraws = 400;
} // namespace

TEST( CFixedPoint, ConstantsAndReciprocalTable )
{
    const std::pair<CFixedPoint, int64> Constants[] = {
        { CFixedPoint::Pi, 314159 },
        { CFixedPoint::TwoPi, 628319 },
        { CFixedPoint::HalfPi, 157080 },
        { CFixedPoint::InverseE, 36788 },
        { CFixedPoint::EToTheEighth, 298095799 },
        { CFixedPoint::NaturalLogOfTen, 230259 },
    };
    for ( const auto& [Constant, nRaw] : Constants )
    {
        EXPECT_EQ( Constant.GetRaw(), nRaw );
    }
    EXPECT_EQ( CFixedPoint::SeriesTermCount, 1000 );
    const int64 FirstRows[] = { 0, 100000, 50000, 33333, 25000, 20000, 16666, 14285, 12500, 11111, 10000 };
    for ( int32 N = 0; N <= 10; ++N )
    {
        EXPECT_EQ( NFixedInt64::Reciprocals[N], FirstRows[N] ) << "row " << N;
    }
    EXPECT_EQ( NFixedInt64::Reciprocals[999], 100 );
}

TEST( CFixedPoint, StatedResults )
{
    const std::pair<CFixedPoint, int64> Cases[] = {
        { CFixedPoint( 1.5 ) * CFixedPoint( 2 ), 300000 },
        { CFixedPoint( 100000 ) * CFixedPoint( 100000 ), 1000000000000000 },
        { CFixedPoint( 1 ) / CFixedPoint( 3 ), 33333 },
        { CFixedPoint( -1 ) / CFixedPoint( 3 ), -33333 },
        // Large divisors lose their fraction: the quotient is by 100000 here, not by 100000.99999.
        { Raw( 1000000000000000000 ) / Raw( 10000099999 ), 10000000000000 },
        { CFixedPoint( -1.5 ).Floor(), -200000 },
        { CFixedPoint( -1.5 ).Ceil(), -100000 },
        { CFixedPoint( 1.00001 ).Ceil(), 200000 },
        { CFixedPoint( 2 ).Floor(), 200000 },
        { CFixedPoint( 7.3 ).RoundToMultiple( CFixedPoint( 2 ) ), 800000 },
        { CFixedPoint( -7.3 ).RoundToMultiple( CFixedPoint( 2 ) ), -800000 },
        { CFixedPoint( 6.8 ).RoundToMultiple( CFixedPoint( 0.25 ) ), 675000 },
        { CFixedPoint( -0.000004f ), 0 },
        { CFixedPoint( -0.000006 ), -1 },
        { Raw( 1 ).Sqrt(), 0 },
        { CFixedPoint::Ln( CFixedPoint() ), 0 },
        { CFixedPoint::Ln( CFixedPoint( -1 ) ), 0 },
        { CFixedPoint::Ln( CFixedPoint( 1 ) ), 0 },
        { CFixedPoint::Exp( CFixedPoint() ), 100000 },
        // 0 over 0 is kept out: the angle of ( 0, 0 ) is that of ( 0.00001, 0 ).
        { CFixedPoint::Atan2( CFixedPoint(), CFixedPoint() ), 157078 },
    };
    CAssertRecorder Asserts;
    for ( size_t I = 0; I < std::size( Cases ); ++I )
    {
        EXPECT_EQ( Cases[I].first.GetRaw(), Cases[I].second ) << "case " << I;
    }
    EXPECT_EQ( CFixedPoint( 2.5 ).ToIntRounded(), 3 );
    EXPECT_EQ( CFixedPoint( -2.5 ).ToIntRounded(), -3 );
    EXPECT_EQ( CFixedPoint( 2.49999 ).ToIntRounded(), 2 );
    EXPECT_FALSE( Raw( 2999999999 ).TooBigToSqrt() );
    EXPECT_TRUE( CFixedPoint( 30000 ).TooBigToSqrt() );
    EXPECT_TRUE( Asserts.Texts().empty() );
    // Power takes its sign from the raw exponent: 1.0 is raw 100000, even, so the result is positive.
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( -2 ), CFixedPoint( 1 ) ) ), 2.0, 0.001 );
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( -2 ), Raw( 200001 ) ) ), -4.0, 0.002 );
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( 9 ), CFixedPoint( 0.5 ) ) ), 3.0, 0.002 );
}

TEST( CFixedPoint, MultiplicationAndDivisionAgainstExactArithmetic )
{
    const uint64 nSeed = 4711;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < nDraws; ++Round )
    {
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", round " << Round );
        // Fast path: both factors within the largest magnitude whose square fits in 63 bits.
        const int64 A = Draw( Generator, -NFixedInt64::MaxFastFactor, NFixedInt64::MaxFastFactor );
        const int64 B = Round % 2 ? Draw( Generator, -NFixedInt64::MaxFastFactor, NFixedInt64::MaxFastFactor )
                                  : DrawWide( Generator, 31 );
        ASSERT_EQ( ( Raw( A ) * Raw( B ) ).GetRaw(), static_cast<int64>( int128( A ) * B / 100000 ) );
        // Split path without overflow of its partial products: still exact, the two parts of B share its sign.
        const int64 Small = DrawWide( Generator, 36 );
        const int64 Large =
            Draw( Generator, NFixedInt64::MaxFastFactor + 1, int64( 1 ) << 40 ) * ( Round % 2 ? -1 : 1 );
        ASSERT_EQ( ( Raw( Large ) * Raw( Small ) ).GetRaw(), static_cast<int64>( int128( Small ) * Large / 100000 ) );

        const int64 Divisor = DrawWide( Generator, 63 ) | 1;
        const int64 Dividend = Draw( Generator, -NFixedInt64::MaxWholePart, NFixedInt64::MaxWholePart );
        ASSERT_EQ( ( Raw( Dividend ) / Raw( Divisor ) ).GetRaw(),
                   static_cast<int64>( int128( Dividend ) * 100000 / Divisor ) );
        // Larger dividends over divisors below 10^10: whole and fraction apart, so the two truncations may
        // leave the result one unit nearer zero.
        const int64 Big = Draw( Generator, NFixedInt64::MaxWholePart + 1, Int64Max ) * ( Generator() & 1 ? -1 : 1 );
        const int64 Medium = Draw( Generator, 100000, 9999999999 ) * ( Generator() & 1 ? -1 : 1 );
        const int128 Exact = int128( Big ) * 100000 / Medium;
        if ( Exact <= Int64Max && Exact >= Int64Min )
        {
            const int128 Difference = Exact - ( Raw( Big ) / Raw( Medium ) ).GetRaw();
            ASSERT_TRUE( Difference == 0 || Difference == ( Exact > 0 ? 1 : -1 ) );
        }
    }
}

TEST( CFixedPoint, DivisionByZeroReportsAndGivesAllOnes )
{
    CAssertRecorder Asserts;
    for ( int64 Dividend : { int64( 0 ), int64( 100000 ), int64( -5 ), Int64Min } )
    {
        EXPECT_EQ( ( Raw( Dividend ) / CFixedPoint() ).GetRaw(), 4294967295 );
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 4, "Div/0. Fix your code" ) );
}

TEST( CFixedPoint, FloorCeilAndRoundingAgainstExactArithmetic )
{
    const uint64 nSeed = 99;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < nDraws; ++Round )
    {
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", round " << Round );
        const int64 Value = Draw( Generator, -NFixedInt64::MaxWholePart * 100000, NFixedInt64::MaxWholePart * 100000 );
        const bool bExact = Value % 100000 == 0;
        ASSERT_EQ( Raw( Value ).Floor().GetRaw(), ( Value / 100000 - ( Value < 0 && !bExact ) ) * 100000 );
        ASSERT_EQ( Raw( Value ).Ceil().GetRaw(), ( Value / 100000 + ( Value > 0 && !bExact ) ) * 100000 );
        const int128 Rounded = ( ( Value < 0 ? -int128( Value ) : int128( Value ) ) + 50000 ) / 100000;
        ASSERT_EQ( Raw( Value ).ToIntRounded(), static_cast<int64>( Value < 0 ? -Rounded : Rounded ) );
    }
}

TEST( CFixedPoint, SquareRootsAreWithinTheirCoarseToleranceUpToTheTop )
{
    const uint64 nSeed = 2718;
    std::mt19937_64 Generator( nSeed );
    std::vector<std::pair<int64, bool>> Values = { { 10, true },
                                                   { 10000, true },
                                                   { 10001, true },
                                                   { 2999999999, false },
                                                   { 3000000000, true },
                                                   { 9220000000000000, true },
                                                   { 100000000000000000, true },
                                                   { Int64Max, true } };
    for ( int Round = 0; Round < nDraws; ++Round )
    {
        Values.push_back( { Draw( Generator, 2, Round % 2 ? 2999999999 : 10000000 ), false } );
        // Every bit width up to the top, for SafeSqrt.
        Values.push_back( { DrawWide( Generator, 63 ) & Int64Max, true } );
    }
    for ( const auto& [Value, bSafe] : Values )
    {
        const double Exact = std::sqrt( ToDouble( Raw( Value ) ) );
        const CFixedPoint Root = bSafe ? Raw( Value ).SafeSqrt() : Raw( Value ).Sqrt();
        // 1% on the square is half a percent on the root; a few units go to truncation and scaling.
        ASSERT_NEAR( ToDouble( Root ), Exact, Exact * 0.005 + 0.0002 ) << "seed " << nSeed << ", raw " << Value;
    }
}

TEST( CFixedPoint, SquareRootRefusalsReportAndReturnPromptly )
{
    const char* const pTooBig = "!TooBigToSqrt() && \"Trying to square root a number that is too big for fast square "
                                "rooting. Use SafeSqrt instead\"";
    const char* const pNegative = "_Value >= 0 && \"Trying to square root a negative number\"";
    CAssertRecorder Asserts;
    EXPECT_EQ( CFixedPoint( -4 ).Sqrt(), CFixedPoint() );
    EXPECT_EQ( CFixedPoint( -4 ).SafeSqrt(), CFixedPoint() );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ pNegative, pNegative } ) );
    Asserts.Clear();
    // Past the report, the root of a value too big is the safe one.
    for ( const int64 Value : { int64( 3000000000 ), int64( 1000000000000000 ), Int64Max } )
    {
        EXPECT_EQ( Raw( Value ).Sqrt(), Raw( Value ).SafeSqrt() ) << Value;
    }
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 3, pTooBig ) );
}

TEST( CFixedPoint, TranscendentalsFollowTheStandardClosely )
{
    const uint64 nSeed = 1618;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < nDraws; ++Round )
    {
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", round " << Round );
        // From 0.01 up to 10^9: the reductions by e^8 and by e, then the series.
        const CFixedPoint X(
            std::exp( std::uniform_real_distribution<double>( std::log( 0.01 ), std::log( 1e9 ) )( Generator ) ) );
        ASSERT_NEAR( ToDouble( CFixedPoint::Ln( X ) ), std::log( ToDouble( X ) ),
                     X < CFixedPoint( 0.5 ) ? 0.01 : 0.0005 );
        ASSERT_NEAR( ToDouble( CFixedPoint::Log10( X ) ), std::log10( ToDouble( X ) ),
                     X < CFixedPoint( 0.5 ) ? 0.01 : 0.0005 );
        const CFixedPoint Exponent( std::uniform_real_distribution<double>( -5.0, 12.0 )( Generator ) );
        const double ExactExp = std::exp( ToDouble( Exponent ) );
        ASSERT_NEAR( ToDouble( CFixedPoint::Exp( Exponent ) ), ExactExp, ExactExp * 0.0004 + 0.0004 );

        const CFixedPoint Angle = Raw( Draw( Generator, -5000000, 5000000 ) );
        const double A = ToDouble( Angle );
        // The quintic is off by 0.0045 at a quarter turn, and pi has five decimals.
        ASSERT_NEAR( ToDouble( CFixedPoint::Sin( Angle ) ), std::sin( A ), 0.006 );
        ASSERT_NEAR( ToDouble( CFixedPoint::Cos( Angle ) ), std::cos( A ), 0.006 );
        if ( std::abs( std::cos( A ) ) > 0.5 )
        {
            ASSERT_NEAR( ToDouble( CFixedPoint::Tan( Angle ) ), std::tan( A ), 0.03 );
        }
        // The rational approximation of Atan2: within 0.075 of the true angle, in the right quadrant.
        const CFixedPoint Y = Raw( DrawWide( Generator, 30 ) | 1 );
        const CFixedPoint XRaw = Raw( DrawWide( Generator, 30 ) );
        ASSERT_NEAR( ToDouble( CFixedPoint::Atan2( Y, XRaw ) ), std::atan2( ToDouble( Y ), ToDouble( XRaw ) ), 0.075 );
    }
}
