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

// A uniformly drawn raw value in [Low, High].
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

const int64 Int64Max = std::numeric_limits<int64>::max();
const int64 Int64Min = std::numeric_limits<int64>::min();
} // namespace

TEST( CFixedPoint, MultiplicationIsExactWithinItsRange )
{
    const uint64 nSeed = 4711;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 100000; ++Round )
    {
        // The fast path: both factors within the largest magnitude whose square fits in 63 bits.
        const int64 A = Draw( Generator, -NFixedInt64::MaxFastFactor, NFixedInt64::MaxFastFactor );
        const int64 B = Round % 2 ? Draw( Generator, -NFixedInt64::MaxFastFactor, NFixedInt64::MaxFastFactor )
                                  : DrawWide( Generator, 31 );
        ASSERT_EQ( ( Raw( A ) * Raw( B ) ).GetRaw(), static_cast<int64>( int128( A ) * B / 100000 ) )
            << "seed " << nSeed << ": " << A << " * " << B;

        // The split path, where neither of its partial products overflows: still exact, since the whole and
        // the fraction of B carry the same sign.
        const int64 Small = DrawWide( Generator, 36 );
        int64 Large = Draw( Generator, NFixedInt64::MaxFastFactor + 1, int64( 1 ) << 40 );
        Large = Generator() & 1 ? -Large : Large;
        ASSERT_EQ( ( Raw( Small ) * Raw( Large ) ).GetRaw(), static_cast<int64>( int128( Small ) * Large / 100000 ) )
            << "seed " << nSeed << ": " << Small << " * " << Large;
        ASSERT_EQ( ( Raw( Large ) * Raw( Small ) ).GetRaw(), static_cast<int64>( int128( Small ) * Large / 100000 ) )
            << "seed " << nSeed << ": " << Large << " * " << Small;
    }
    EXPECT_EQ( ( CFixedPoint( 1.5 ) * CFixedPoint( 2 ) ).GetRaw(), 300000 );
    EXPECT_EQ( ( CFixedPoint( 100000 ) * CFixedPoint( 100000 ) ).GetRaw(),
               CFixedPoint( int64( 10000000000 ) ).GetRaw() );
}

TEST( CFixedPoint, DivisionAgainstExactQuotients )
{
    const uint64 nSeed = 1234567;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 100000; ++Round )
    {
        int64 B = DrawWide( Generator, 63 );
        B = B == 0 ? 1 : B;
        // Dividends whose scaled value fits: one multiply, one divide, truncated toward zero.
        const int64 A = Draw( Generator, -NFixedInt64::MaxWholePart, NFixedInt64::MaxWholePart );
        ASSERT_EQ( ( Raw( A ) / Raw( B ) ).GetRaw(), static_cast<int64>( int128( A ) * 100000 / B ) )
            << "seed " << nSeed << ": " << A << " / " << B;

        // Larger dividends over divisors below 10^10: whole and fraction apart, so two truncations may leave
        // the result one unit nearer zero.
        int64 Big = Draw( Generator, NFixedInt64::MaxWholePart + 1, Int64Max );
        Big = Generator() & 1 ? -Big : Big;
        int64 Divisor = Draw( Generator, 100000, 9999999999 );
        Divisor = Generator() & 1 ? -Divisor : Divisor;
        const int128 Exact = int128( Big ) * 100000 / Divisor;
        if ( Exact <= Int64Max && Exact >= Int64Min )
        {
            const int128 Difference = Exact - ( Raw( Big ) / Raw( Divisor ) ).GetRaw();
            ASSERT_TRUE( Difference == 0 || Difference == ( Exact > 0 ? 1 : -1 ) )
                << "seed " << nSeed << ": " << Big << " / " << Divisor;
        }
    }
    EXPECT_EQ( ( CFixedPoint( 1 ) / CFixedPoint( 3 ) ).GetRaw(), 33333 );
    EXPECT_EQ( ( CFixedPoint( -1 ) / CFixedPoint( 3 ) ).GetRaw(), -33333 );
    // Large divisors lose their fraction: the quotient is by 100000 here, not by 100000.99999.
    EXPECT_EQ( ( Raw( 1000000000000000000 ) / Raw( 20000000000 ) ).GetRaw(), 5000000000000 );
    EXPECT_EQ( ( Raw( 1000000000000000000 ) / Raw( 10000099999 ) ).GetRaw(), 10000000000000 );
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

TEST( CFixedPoint, RoundingOperations )
{
    EXPECT_EQ( CFixedPoint( -1.5 ).Floor(), CFixedPoint( -2 ) );
    EXPECT_EQ( CFixedPoint( -1.5 ).Ceil(), CFixedPoint( -1 ) );
    EXPECT_EQ( CFixedPoint( 1.00001 ).Ceil(), CFixedPoint( 2 ) );
    EXPECT_EQ( CFixedPoint( 2 ).Floor(), CFixedPoint( 2 ) );
    EXPECT_EQ( CFixedPoint( 2.5 ).ToIntRounded(), 3 );
    EXPECT_EQ( CFixedPoint( -2.5 ).ToIntRounded(), -3 );
    EXPECT_EQ( CFixedPoint( 2.49999 ).ToIntRounded(), 2 );
    EXPECT_EQ( CFixedPoint( 7.3 ).RoundToMultiple( CFixedPoint( 2 ) ), CFixedPoint( 8 ) );
    EXPECT_EQ( CFixedPoint( -7.3 ).RoundToMultiple( CFixedPoint( 2 ) ), CFixedPoint( -8 ) );
    EXPECT_EQ( CFixedPoint( 6.9 ).RoundToMultiple( CFixedPoint( 0.25 ) ), CFixedPoint( 7 ) );
    EXPECT_EQ( CFixedPoint( 6.8 ).RoundToMultiple( CFixedPoint( 0.25 ) ), CFixedPoint( 6.75 ) );

    const uint64 nSeed = 99;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 100000; ++Round )
    {
        const int64 Value = Draw( Generator, -NFixedInt64::MaxWholePart * 100000, NFixedInt64::MaxWholePart * 100000 );
        const int128 FloorWhole = Value >= 0 || Value % 100000 == 0 ? Value / 100000 : Value / 100000 - 1;
        const int128 CeilWhole = Value <= 0 || Value % 100000 == 0 ? Value / 100000 : Value / 100000 + 1;
        ASSERT_EQ( Raw( Value ).Floor().GetRaw(), static_cast<int64>( FloorWhole * 100000 ) ) << "seed " << nSeed;
        ASSERT_EQ( Raw( Value ).Ceil().GetRaw(), static_cast<int64>( CeilWhole * 100000 ) ) << "seed " << nSeed;
        const int128 Magnitude = Value < 0 ? -int128( Value ) : int128( Value );
        const int128 Rounded = ( Magnitude + 50000 ) / 100000;
        ASSERT_EQ( Raw( Value ).ToIntRounded(), static_cast<int64>( Value < 0 ? -Rounded : Rounded ) )
            << "seed " << nSeed << ", raw " << Value;
    }
}

TEST( CFixedPoint, SquareRootsAreWithinTheirCoarseTolerance )
{
    EXPECT_FALSE( Raw( 2999999999 ).TooBigToSqrt() );
    EXPECT_TRUE( CFixedPoint( 30000 ).TooBigToSqrt() );
    EXPECT_EQ( Raw( 1 ).Sqrt(), CFixedPoint() );
    EXPECT_EQ( CFixedPoint().Sqrt(), CFixedPoint() );

    const uint64 nSeed = 2718;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 20000; ++Round )
    {
        // Sqrt takes what is below 30000.0; SafeSqrt scales small values up and large ones down.
        const int64 Fast = Round % 2 ? Draw( Generator, 2, 2999999999 ) : Draw( Generator, 2, 10000000 );
        const int64 Safe = Round % 2 ? Draw( Generator, 10001, 9000000000000000 ) : Draw( Generator, 100, 10000 );
        const std::pair<int64, CFixedPoint> Roots[] = { { Fast, Raw( Fast ).Sqrt() },
                                                        { Safe, Raw( Safe ).SafeSqrt() } };
        for ( const auto& [ Value, Root ] : Roots )
        {
            const double Exact = std::sqrt( ToDouble( Raw( Value ) ) );
            // 1% on the square is half a percent on the root; a few units are lost to truncation and scaling.
            ASSERT_NEAR( ToDouble( Root ), Exact, Exact * 0.005 + 0.0001 ) << "seed " << nSeed << ", raw " << Value;
        }
    }
    CAssertRecorder Asserts;
    EXPECT_NEAR( ToDouble( CFixedPoint( 0.0001 ).SafeSqrt() ), 0.01, 0.0001 );
    EXPECT_NEAR( ToDouble( CFixedPoint( 50000 ).SafeSqrt() ), std::sqrt( 50000.0 ), 1.0 );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( CFixedPoint, LogarithmsAndExponential )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( CFixedPoint::Ln( CFixedPoint() ), CFixedPoint() );
    EXPECT_EQ( CFixedPoint::Ln( CFixedPoint( -1 ) ), CFixedPoint() );
    EXPECT_EQ( CFixedPoint::Ln( CFixedPoint( 1 ) ), CFixedPoint() );
    EXPECT_TRUE( Asserts.Texts().empty() );

    const uint64 nSeed = 1618;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 2000; ++Round )
    {
        // From 0.5 up to 10^9: the reductions by e^8 and by e, then a fast series.
        const double X =
            std::exp( std::uniform_real_distribution<double>( std::log( 0.5 ), std::log( 1e9 ) )( Generator ) );
        const CFixedPoint Value( X );
        ASSERT_NEAR( ToDouble( CFixedPoint::Ln( Value ) ), std::log( ToDouble( Value ) ), 0.0005 )
            << "seed " << nSeed << ", x " << X;
        ASSERT_NEAR( ToDouble( CFixedPoint::Log10( Value ) ), std::log10( ToDouble( Value ) ), 0.0005 )
            << "seed " << nSeed << ", x " << X;

        const CFixedPoint Exponent( std::uniform_real_distribution<double>( -5.0, 12.0 )( Generator ) );
        const double Exact = std::exp( ToDouble( Exponent ) );
        ASSERT_NEAR( ToDouble( CFixedPoint::Exp( Exponent ) ), Exact, Exact * 0.0004 + 0.0004 )
            << "seed " << nSeed << ", exponent " << ToDouble( Exponent );
    }
    // Near zero the series is long, but it ends.
    EXPECT_NEAR( ToDouble( CFixedPoint::Ln( CFixedPoint( 0.01 ) ) ), std::log( 0.01 ), 0.01 );
    EXPECT_EQ( CFixedPoint::Exp( CFixedPoint() ), CFixedPoint( 1 ) );
}

TEST( CFixedPoint, PowerTakesItsSignFromTheRawExponent )
{
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( 2 ), CFixedPoint( 3 ) ) ), 8.0, 0.002 );
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( 9 ), CFixedPoint( 0.5 ) ) ), 3.0, 0.002 );
    // 1.0 is raw 100000, even: positive.
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( -2 ), CFixedPoint( 1 ) ) ), 2.0, 0.001 );
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( -2 ), Raw( 200001 ) ) ), -4.0, 0.002 );
    EXPECT_NEAR( ToDouble( CFixedPoint::Power( CFixedPoint( 2 ), Raw( 200001 ) ) ), 4.0, 0.002 );
}

TEST( CFixedPoint, TrigonometryFollowsTheStandardClosely )
{
    const uint64 nSeed = 360;
    std::mt19937_64 Generator( nSeed );
    for ( int Round = 0; Round < 20000; ++Round )
    {
        const CFixedPoint Angle = Raw( Draw( Generator, -5000000, 5000000 ) );
        const double X = ToDouble( Angle );
        // The quintic is off by 0.0045 at a quarter turn, and pi has five decimals.
        ASSERT_NEAR( ToDouble( CFixedPoint::Sin( Angle ) ), std::sin( X ), 0.006 ) << "seed " << nSeed << ", x " << X;
        ASSERT_NEAR( ToDouble( CFixedPoint::Cos( Angle ) ), std::cos( X ), 0.006 ) << "seed " << nSeed << ", x " << X;
        if ( std::abs( std::cos( X ) ) > 0.5 )
        {
            ASSERT_NEAR( ToDouble( CFixedPoint::Tan( Angle ) ), std::tan( X ), 0.03 )
                << "seed " << nSeed << ", x " << X;
        }

        const CFixedPoint Y = Raw( DrawWide( Generator, 30 ) );
        const CFixedPoint XRaw = Raw( DrawWide( Generator, 30 ) );
        // The rational approximation: never more than 0.075 from the true angle, in the right quadrant.
        const double Exact = std::atan2( ToDouble( Y ), ToDouble( XRaw ) );
        if ( Y != CFixedPoint() )
        {
            ASSERT_NEAR( ToDouble( CFixedPoint::Atan2( Y, XRaw ) ), Exact, 0.075 )
                << "seed " << nSeed << ": " << Y.GetRaw() << ", " << XRaw.GetRaw();
        }
    }
    // 0 over 0 is kept out: the angle of ( 0, 0 ) is that of ( 0.00001, 0 ).
    CAssertRecorder Asserts;
    EXPECT_EQ( CFixedPoint::Atan2( CFixedPoint(), CFixedPoint() ), Raw( 157078 ) );
    EXPECT_TRUE( Asserts.Texts().empty() );
    EXPECT_NEAR( ToDouble( CFixedPoint::Atan2( CFixedPoint( 1 ), CFixedPoint( -1 ) ) ), 3 * M_PI / 4, 0.0001 );
    EXPECT_NEAR( ToDouble( CFixedPoint::Atan2( CFixedPoint( -1 ), CFixedPoint( 0 ) ) ), -M_PI / 2, 0.0001 );
}
