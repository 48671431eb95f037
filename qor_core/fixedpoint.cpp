#include "qor_core/fixedpoint.h"

#include "qor_core/qor_assert.h"

#include <cmath>

namespace
{
int64 RoundToRaw( double Value )
{
    return static_cast<int64>( std::floor( Value * 100000.0 + 0.5 ) );
}

// Sin on R folded into one turn: the half turn decides the sign, the quarter turn mirrors.
CFixedPoint SinOfReduced( CFixedPoint R )
{
    if ( R < 0 )
    {
        R += CFixedPoint::TwoPi;
    }
    bool bNegate = false;
    if ( R > CFixedPoint::Pi )
    {
        R -= CFixedPoint::Pi;
        bNegate = true;
    }
    if ( R > CFixedPoint::HalfPi )
    {
        R = CFixedPoint::HalfPi - ( R - CFixedPoint::HalfPi );
    }
    // R - R^3 / 3! + R^5 / 5!
    constexpr int32 Factorials[] = { 1, 6, 120 };
    CFixedPoint Sum;
    CFixedPoint Power = R;
    bool bSubtract = false;
    for ( int32 Factorial : Factorials )
    {
        const CFixedPoint Term = Power / CFixedPoint( Factorial );
        Sum = bSubtract ? Sum - Term : Sum + Term;
        bSubtract = !bSubtract;
        Power = Power * R * R;
    }
    return bNegate ? -Sum : Sum;
}
} // namespace

CFixedPoint::CFixedPoint( float Value ) : _Value( RoundToRaw( Value ) ) {}

CFixedPoint::CFixedPoint( double Value ) : _Value( RoundToRaw( Value ) ) {}

CFixedPoint CFixedPoint::Sqrt() const
{
    QOR_ASSERT( !TooBigToSqrt() &&
                "Trying to square root a number that is too big for fast square rooting. Use SafeSqrt instead" );
    QOR_ASSERT( _Value >= 0 && "Trying to square root a negative number" );
    if ( TooBigToSqrt() )
    {
        // The square would overflow here: the scaled form answers instead.
        return SafeSqrt();
    }
    if ( _Value <= 1 )
    {
        return CFixedPoint();
    }
    CFixedPoint X = *this / CFixedPoint( 2 );
    const CFixedPoint Tolerance = *this * FromRaw( 1000 );
    CFixedPoint Error;
    CFixedPoint Step;
    do
    {
        Error = X * X - *this;
        Step = Error / ( X * CFixedPoint( 2 ) );
        X = X - Step;
    } while ( ( Error < -Tolerance || Error > Tolerance ) && Step != CFixedPoint() );
    return X;
}

CFixedPoint CFixedPoint::SafeSqrt() const
{
    QOR_ASSERT( _Value >= 0 && "Trying to square root a negative number" );
    if ( _Value < 0 )
    {
        return CFixedPoint();
    }
    if ( _Value <= 10000 )
    {
        return ( *this * CFixedPoint( 100 ) ).Sqrt() * FromRaw( 10000 );
    }
    CFixedPoint Scaled = *this;
    int32 Count = 0;
    while ( Scaled.TooBigToSqrt() )
    {
        // Times 0.01 on the raw value itself: the multiplication would split the factor and wrap from 9.2e10 up.
        Scaled = FromRaw( Scaled._Value / 100 );
        ++Count;
    }
    CFixedPoint Root = Scaled.Sqrt();
    for ( ; Count > 0; --Count )
    {
        Root = Root * CFixedPoint( 10 );
    }
    return Root;
}

CFixedPoint CFixedPoint::Ln( CFixedPoint X )
{
    const CFixedPoint One( 1 );
    if ( X <= CFixedPoint() || X == One )
    {
        return CFixedPoint();
    }
    // ln( X ) = K + ln( X / e^K ), with X / e^K brought below 2 for the series of ln( 1 + Y ).
    int32 K = 0;
    while ( X >= EToTheEighth * CFixedPoint( 2 ) )
    {
        X = X / EToTheEighth;
        K += 8;
    }
    while ( X >= CFixedPoint( 2 ) )
    {
        X = X * InverseE;
        K += 1;
    }
    const CFixedPoint Y = X - One;
    const CFixedPoint MinusY = CFixedPoint() - Y;
    CFixedPoint Sum = Y;
    CFixedPoint Power = Y;
    CFixedPoint Term = Y;
    int32 N = 2;
    for ( ; Term != CFixedPoint() && N < SeriesTermCount; ++N )
    {
        Power = Power * MinusY;
        Term = Power * FromRaw( NFixedInt64::Reciprocals[ N ] );
        Sum += Term;
    }
    for ( ; Term != CFixedPoint(); ++N )
    {
        Power = Power * MinusY;
        Term = Power / CFixedPoint( N );
        Sum += Term;
    }
    return Sum + CFixedPoint( K );
}

CFixedPoint CFixedPoint::Log10( CFixedPoint X )
{
    return Ln( X ) / NaturalLogOfTen;
}

CFixedPoint CFixedPoint::Exp( CFixedPoint X )
{
    CFixedPoint Term( 1 );
    CFixedPoint Sum( 1 );
    for ( int32 N = 1; Term != CFixedPoint(); ++N )
    {
        Term = N < SeriesTermCount ? Term * X * FromRaw( NFixedInt64::Reciprocals[ N ] ) : Term * X / CFixedPoint( N );
        Sum += Term;
    }
    return Sum;
}

CFixedPoint CFixedPoint::Power( CFixedPoint Base, CFixedPoint Exponent )
{
    const CFixedPoint Result = Exp( Exponent * Ln( Base.Abs() ) );
    return Base < CFixedPoint() && ( Exponent._Value & 1 ) != 0 ? -Result : Result;
}

CFixedPoint CFixedPoint::Sin( CFixedPoint X )
{
    return SinOfReduced( X % TwoPi );
}

CFixedPoint CFixedPoint::Cos( CFixedPoint X )
{
    return SinOfReduced( ( X + HalfPi ) % TwoPi );
}

CFixedPoint CFixedPoint::Tan( CFixedPoint X )
{
    return Sin( X ) / Cos( X );
}

CFixedPoint CFixedPoint::Atan2( CFixedPoint Y, CFixedPoint X )
{
    const CFixedPoint QuarterPi = Pi / CFixedPoint( 4 );
    const CFixedPoint ThreeQuarterPi = ( Pi * CFixedPoint( 3 ) ) / CFixedPoint( 4 );
    CFixedPoint AbsY = Y.Abs();
    if ( AbsY < FromRaw( 1 ) )
    {
        // Keeps 0 over 0 out of the ratio.
        AbsY = FromRaw( 1 );
    }
    CFixedPoint Angle;
    if ( X >= CFixedPoint() )
    {
        const CFixedPoint R = ( X - AbsY ) / ( X + AbsY );
        Angle = QuarterPi - QuarterPi * R;
    }
    else
    {
        const CFixedPoint R = ( X + AbsY ) / ( AbsY - X );
        Angle = ThreeQuarterPi - QuarterPi * R;
    }
    return Y < CFixedPoint() ? -Angle : Angle;
}
