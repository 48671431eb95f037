#pragma once

// CFixedPoint: the library's deterministic decimal number, for game logic that must compute the same results
// on every machine. One int64 holds the number times 100000: five decimal digits, a unit in the last place of
// 0.00001, a range of -92233720368547.75808 to 92233720368547.75807. Every operation, the transcendental ones
// included, is integer arithmetic; only the conversions from and to float touch the floating-point unit.
// There is no "not a number" and no saturation: overflow wraps. Text forms live in qor_charconv.

#include "qor_core/fixed_int64.h"
#include "qor_core/qor_types.h"

#include <compare>

class CFixedPoint
{
public:
    static constexpr int64 Scale = NFixedInt64::Scale;
    // A plain integer: the length of the reciprocal table the series use.
    static constexpr int32 SeriesTermCount = NFixedInt64::SeriesTermCount;

    static const CFixedPoint Pi;              // 3.14159
    static const CFixedPoint TwoPi;           // 6.28319
    static const CFixedPoint HalfPi;          // 1.5708
    static const CFixedPoint InverseE;        // 0.36788
    static const CFixedPoint EToTheEighth;    // 2980.95799
    static const CFixedPoint NaturalLogOfTen; // 2.30259

    constexpr CFixedPoint() = default;
    constexpr CFixedPoint( int32 Value ) : _Value( static_cast<int64>( Value ) * Scale ) {}
    constexpr CFixedPoint( int64 Value ) : _Value( NFixedInt64::WrapMultiply( Value, Scale ) ) {}
    // Rounds half up to the nearest raw unit: floor( Value * 100000.0 + 0.5 ).
    explicit CFixedPoint( float Value );
    explicit CFixedPoint( double Value );

    static constexpr CFixedPoint FromRaw( int64 Raw )
    {
        CFixedPoint Result;
        Result._Value = Raw;
        return Result;
    }
    constexpr int64 GetRaw() const { return _Value; }
    float ToFloat() const { return static_cast<float>( _Value ) / 100000.0f; }

    constexpr CFixedPoint operator+( CFixedPoint Other ) const
    {
        return FromRaw( NFixedInt64::WrapAdd( _Value, Other._Value ) );
    }
    constexpr CFixedPoint operator-( CFixedPoint Other ) const
    {
        return FromRaw( NFixedInt64::WrapSubtract( _Value, Other._Value ) );
    }
    constexpr CFixedPoint operator-() const { return FromRaw( NFixedInt64::WrapNegate( _Value ) ); }
    constexpr CFixedPoint operator*( CFixedPoint Other ) const
    {
        return FromRaw( NFixedInt64::Multiply( _Value, Other._Value ) );
    }
    // A zero divisor reports "Div/0. Fix your code" and gives the raw value 4294967295.
    CFixedPoint operator/( CFixedPoint Other ) const { return FromRaw( NFixedInt64::Divide( _Value, Other._Value ) ); }
    // The raw remainder, with the sign of the dividend. REQUIRES: Other is not 0.
    constexpr CFixedPoint operator%( CFixedPoint Other ) const { return FromRaw( _Value % Other._Value ); }

    CFixedPoint& operator+=( CFixedPoint Other ) { return *this = *this + Other; }
    CFixedPoint& operator-=( CFixedPoint Other ) { return *this = *this - Other; }
    CFixedPoint& operator*=( CFixedPoint Other ) { return *this = *this * Other; }
    CFixedPoint& operator/=( CFixedPoint Other ) { return *this = *this / Other; }

    constexpr bool operator==( const CFixedPoint& Other ) const = default;
    constexpr auto operator<=>( const CFixedPoint& Other ) const = default;

    constexpr CFixedPoint Floor() const
    {
        const int64 Whole = _Value / Scale;
        return CFixedPoint( Whole - ( Whole * Scale != _Value && _Value < 0 ? 1 : 0 ) );
    }
    constexpr CFixedPoint Ceil() const
    {
        const int64 Whole = _Value / Scale;
        return CFixedPoint( Whole + ( Whole * Scale != _Value && _Value > 0 ? 1 : 0 ) );
    }
    // Rounds half away from zero.
    constexpr int64 ToIntRounded() const
    {
        const int64 Half = Scale / 2;
        return ( _Value >= 0 ? NFixedInt64::WrapAdd( _Value, Half ) : NFixedInt64::WrapSubtract( _Value, Half ) ) /
               Scale;
    }
    // Half a step toward the value's sign, then down to a multiple of Step. REQUIRES: Step is not 0.
    CFixedPoint RoundToMultiple( CFixedPoint Step ) const
    {
        const CFixedPoint HalfStep = Step / CFixedPoint( 2 );
        const CFixedPoint Shifted = _Value >= 0 ? *this + HalfStep : *this - HalfStep;
        return Shifted - Shifted % Step;
    }
    constexpr CFixedPoint Abs() const { return _Value < 0 ? -*this : *this; }

    // From 30000.0 on, the square inside Sqrt no longer fits the fast multiplication.
    constexpr bool TooBigToSqrt() const { return _Value >= 3000000000; }
    // Newton's method, stopped when the square is within 1% of the value: cheap and coarse, not the best
    // representable root. REQUIRES: 0 <= value < 30000.0. Past the report, a negative value gives 0 and a
    // value too big the root of SafeSqrt.
    CFixedPoint Sqrt() const;
    // Any non-negative value, up to the largest: small ones are scaled up by 100 for digits, large ones down by
    // 100 until Sqrt takes them, and the root is scaled back. A negative value reports and gives 0.
    CFixedPoint SafeSqrt() const;

    // Natural logarithm; 0 for X <= 0, without a report.
    static CFixedPoint Ln( CFixedPoint X );
    static CFixedPoint Log10( CFixedPoint X );
    static CFixedPoint Exp( CFixedPoint X );
    // Exp( Exponent * Ln( |Base| ) ), negated when the raw Exponent is odd: the parity is that of the raw
    // integer, so the exponent 1.0 (raw 100000) counts as even.
    static CFixedPoint Power( CFixedPoint Base, CFixedPoint Exponent );
    // Three-term polynomials after folding into [0, HalfPi].
    static CFixedPoint Sin( CFixedPoint X );
    static CFixedPoint Cos( CFixedPoint X );
    // Sin over Cos, with the division's rule for a zero cosine.
    static CFixedPoint Tan( CFixedPoint X );
    // The fast rational approximation, not a series.
    static CFixedPoint Atan2( CFixedPoint Y, CFixedPoint X );

private:
    int64 _Value = 0;
};

inline constexpr CFixedPoint CFixedPoint::Pi = CFixedPoint::FromRaw( 314159 );
inline constexpr CFixedPoint CFixedPoint::TwoPi = CFixedPoint::FromRaw( 628319 );
inline constexpr CFixedPoint CFixedPoint::HalfPi = CFixedPoint::FromRaw( 157080 );
inline constexpr CFixedPoint CFixedPoint::InverseE = CFixedPoint::FromRaw( 36788 );
inline constexpr CFixedPoint CFixedPoint::EToTheEighth = CFixedPoint::FromRaw( 298095799 );
inline constexpr CFixedPoint CFixedPoint::NaturalLogOfTen = CFixedPoint::FromRaw( 230259 );
