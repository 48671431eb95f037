#include "qor_core/matrix.h"

#include <algorithm>

CMatrix3x3 CMatrix3x3::Rotation( const CVector3& Axis, float Angle )
{
    // R = cos * I + sin * [Axis]x + ( 1 - cos ) * Axis Axis^T.
    const float Cos = cosf( Angle );
    const float Sin = sinf( Angle );
    const float OneMinusCos = 1.0f - Cos;
    const float X = Axis.X();
    const float Y = Axis.Y();
    const float Z = Axis.Z();
    return FromRows( { Cos + OneMinusCos * X * X, OneMinusCos * X * Y - Sin * Z, OneMinusCos * X * Z + Sin * Y,
                       OneMinusCos * Y * X + Sin * Z, Cos + OneMinusCos * Y * Y, OneMinusCos * Y * Z - Sin * X,
                       OneMinusCos * Z * X - Sin * Y, OneMinusCos * Z * Y + Sin * X, Cos + OneMinusCos * Z * Z } );
}

CMatrix3x3 CMatrix3x3::RotationX( float Angle )
{
    const float Cos = cosf( Angle );
    const float Sin = sinf( Angle );
    return FromRows( { 1, 0, 0, 0, Cos, -Sin, 0, Sin, Cos } );
}

CMatrix3x3 CMatrix3x3::RotationY( float Angle )
{
    const float Cos = cosf( Angle );
    const float Sin = sinf( Angle );
    return FromRows( { Cos, 0, Sin, 0, 1, 0, -Sin, 0, Cos } );
}

CMatrix3x3 CMatrix3x3::RotationZ( float Angle )
{
    const float Cos = cosf( Angle );
    const float Sin = sinf( Angle );
    return FromRows( { Cos, -Sin, 0, Sin, Cos, 0, 0, 0, 1 } );
}

CMatrix3x4::CMatrix3x4( const CMatrix4x4& Matrix )
{
    for ( int32 Column = 0; Column < 4; ++Column )
    {
        const CVector4& Source = Matrix.GetColumn( Column );
        _Columns[Column] = CVector3( Source.X(), Source.Y(), Source.Z() );
    }
}

namespace
{
// The 2 by 2 minors of the upper two rows (S) and of the lower two rows (C), by the columns they span.
struct SMinors
{
    float S[ 6 ];
    float C[ 6 ];
};

SMinors MinorsOf( const CMatrix4x4& M )
{
    SMinors Minors;
    Minors.S[ 0 ] = M( 0, 0 ) * M( 1, 1 ) - M( 1, 0 ) * M( 0, 1 );
    Minors.S[ 1 ] = M( 0, 0 ) * M( 1, 2 ) - M( 1, 0 ) * M( 0, 2 );
    Minors.S[ 2 ] = M( 0, 0 ) * M( 1, 3 ) - M( 1, 0 ) * M( 0, 3 );
    Minors.S[ 3 ] = M( 0, 1 ) * M( 1, 2 ) - M( 1, 1 ) * M( 0, 2 );
    Minors.S[ 4 ] = M( 0, 1 ) * M( 1, 3 ) - M( 1, 1 ) * M( 0, 3 );
    Minors.S[ 5 ] = M( 0, 2 ) * M( 1, 3 ) - M( 1, 2 ) * M( 0, 3 );
    Minors.C[ 5 ] = M( 2, 2 ) * M( 3, 3 ) - M( 3, 2 ) * M( 2, 3 );
    Minors.C[ 4 ] = M( 2, 1 ) * M( 3, 3 ) - M( 3, 1 ) * M( 2, 3 );
    Minors.C[ 3 ] = M( 2, 1 ) * M( 3, 2 ) - M( 3, 1 ) * M( 2, 2 );
    Minors.C[ 2 ] = M( 2, 0 ) * M( 3, 3 ) - M( 3, 0 ) * M( 2, 3 );
    Minors.C[ 1 ] = M( 2, 0 ) * M( 3, 2 ) - M( 3, 0 ) * M( 2, 2 );
    Minors.C[ 0 ] = M( 2, 0 ) * M( 3, 1 ) - M( 3, 0 ) * M( 2, 1 );
    return Minors;
}

float DeterminantOf( const SMinors& Minors )
{
    const float* S = Minors.S;
    const float* C = Minors.C;
    return S[ 0 ] * C[ 5 ] - S[ 1 ] * C[ 4 ] + S[ 2 ] * C[ 3 ] + S[ 3 ] * C[ 2 ] - S[ 4 ] * C[ 1 ] + S[ 5 ] * C[ 0 ];
}
} // namespace

float CMatrix4x4::Determinant() const
{
    return DeterminantOf( MinorsOf( *this ) );
}

bool CMatrix4x4::TryInvert( CMatrix4x4& Result ) const
{
    const SMinors Minors = MinorsOf( *this );
    const float Determinant = DeterminantOf( Minors );
    if ( !( std::fabs( Determinant ) > 1e-5f ) )
    {
        return false;
    }
    const float* S = Minors.S;
    const float* C = Minors.C;
    const CMatrix4x4& M = *this;
    const float Scale = 1.0f / Determinant;
    Result = FromRows( {
        ( M( 1, 1 ) * C[ 5 ] - M( 1, 2 ) * C[ 4 ] + M( 1, 3 ) * C[ 3 ] ) * Scale,
        ( -M( 0, 1 ) * C[ 5 ] + M( 0, 2 ) * C[ 4 ] - M( 0, 3 ) * C[ 3 ] ) * Scale,
        ( M( 3, 1 ) * S[ 5 ] - M( 3, 2 ) * S[ 4 ] + M( 3, 3 ) * S[ 3 ] ) * Scale,
        ( -M( 2, 1 ) * S[ 5 ] + M( 2, 2 ) * S[ 4 ] - M( 2, 3 ) * S[ 3 ] ) * Scale,

        ( -M( 1, 0 ) * C[ 5 ] + M( 1, 2 ) * C[ 2 ] - M( 1, 3 ) * C[ 1 ] ) * Scale,
        ( M( 0, 0 ) * C[ 5 ] - M( 0, 2 ) * C[ 2 ] + M( 0, 3 ) * C[ 1 ] ) * Scale,
        ( -M( 3, 0 ) * S[ 5 ] + M( 3, 2 ) * S[ 2 ] - M( 3, 3 ) * S[ 1 ] ) * Scale,
        ( M( 2, 0 ) * S[ 5 ] - M( 2, 2 ) * S[ 2 ] + M( 2, 3 ) * S[ 1 ] ) * Scale,

        ( M( 1, 0 ) * C[ 4 ] - M( 1, 1 ) * C[ 2 ] + M( 1, 3 ) * C[ 0 ] ) * Scale,
        ( -M( 0, 0 ) * C[ 4 ] + M( 0, 1 ) * C[ 2 ] - M( 0, 3 ) * C[ 0 ] ) * Scale,
        ( M( 3, 0 ) * S[ 4 ] - M( 3, 1 ) * S[ 2 ] + M( 3, 3 ) * S[ 0 ] ) * Scale,
        ( -M( 2, 0 ) * S[ 4 ] + M( 2, 1 ) * S[ 2 ] - M( 2, 3 ) * S[ 0 ] ) * Scale,

        ( -M( 1, 0 ) * C[ 3 ] + M( 1, 1 ) * C[ 1 ] - M( 1, 2 ) * C[ 0 ] ) * Scale,
        ( M( 0, 0 ) * C[ 3 ] - M( 0, 1 ) * C[ 1 ] + M( 0, 2 ) * C[ 0 ] ) * Scale,
        ( -M( 3, 0 ) * S[ 3 ] + M( 3, 1 ) * S[ 1 ] - M( 3, 2 ) * S[ 0 ] ) * Scale,
        ( M( 2, 0 ) * S[ 3 ] - M( 2, 1 ) * S[ 1 ] + M( 2, 2 ) * S[ 0 ] ) * Scale,
    } );
    return true;
}

CQuaternion QuaternionFromEuler( float Yaw, float Pitch, float Roll )
{
    const float CosYaw = cosf( Yaw * 0.5f );
    const float SinYaw = sinf( Yaw * 0.5f );
    const float CosPitch = cosf( Pitch * 0.5f );
    const float SinPitch = sinf( Pitch * 0.5f );
    const float CosRoll = cosf( Roll * 0.5f );
    const float SinRoll = sinf( Roll * 0.5f );
    return { SinRoll * CosPitch * CosYaw - CosRoll * SinPitch * SinYaw,
             CosRoll * SinPitch * CosYaw + SinRoll * CosPitch * SinYaw,
             CosRoll * CosPitch * SinYaw - SinRoll * SinPitch * CosYaw,
             CosRoll * CosPitch * CosYaw + SinRoll * SinPitch * SinYaw };
}

CQuaternion QuaternionBetween( const CVector3& From, const CVector3& To )
{
    // With both lengths folded into NormProduct, the unnormalised half-way quaternion is
    // ( From x To, NormProduct + From . To ).
    const float NormProduct = std::sqrt( LengthSquared( From ) * LengthSquared( To ) );
    float RealPart = NormProduct + Dot( From, To );
    CVector3 Axis;
    if ( RealPart < 1e-7f * NormProduct )
    {
        // Opposite: any axis perpendicular to From, built from its two larger components.
        RealPart = 0.0f;
        Axis = std::fabs( From.X() ) > std::fabs( From.Z() ) ? CVector3( -From.Y(), From.X(), 0.0f )
                                                             : CVector3( 0.0f, -From.Z(), From.Y() );
    }
    else
    {
        Axis = Cross( From, To );
    }
    return Normalized( CQuaternion( Axis.X(), Axis.Y(), Axis.Z(), RealPart ) );
}

CQuaternion QuaternionFromAxisAngle( const CVector3& Axis, float Angle )
{
    const float Sin = sinf( Angle * 0.5f );
    return { Axis.X() * Sin, Axis.Y() * Sin, Axis.Z() * Sin, cosf( Angle * 0.5f ) };
}

CQuaternion QuaternionFromMatrix( const CMatrix3x3& R )
{
    const float Trace = R( 0, 0 ) + R( 1, 1 ) + R( 2, 2 );
    if ( Trace > 0.0f )
    {
        const float S = 0.5f / std::sqrt( Trace + 1.0f );
        return { ( R( 2, 1 ) - R( 1, 2 ) ) * S, ( R( 0, 2 ) - R( 2, 0 ) ) * S, ( R( 1, 0 ) - R( 0, 1 ) ) * S,
                 0.25f / S };
    }
    // The largest diagonal element gives the best conditioned branch.
    if ( R( 0, 0 ) > R( 1, 1 ) && R( 0, 0 ) > R( 2, 2 ) )
    {
        const float S = 2.0f * std::sqrt( 1.0f + R( 0, 0 ) - R( 1, 1 ) - R( 2, 2 ) );
        return { 0.25f * S, ( R( 0, 1 ) + R( 1, 0 ) ) / S, ( R( 0, 2 ) + R( 2, 0 ) ) / S,
                 ( R( 2, 1 ) - R( 1, 2 ) ) / S };
    }
    if ( R( 1, 1 ) > R( 2, 2 ) )
    {
        const float S = 2.0f * std::sqrt( 1.0f + R( 1, 1 ) - R( 0, 0 ) - R( 2, 2 ) );
        return { ( R( 0, 1 ) + R( 1, 0 ) ) / S, 0.25f * S, ( R( 1, 2 ) + R( 2, 1 ) ) / S,
                 ( R( 0, 2 ) - R( 2, 0 ) ) / S };
    }
    const float S = 2.0f * std::sqrt( 1.0f + R( 2, 2 ) - R( 0, 0 ) - R( 1, 1 ) );
    return { ( R( 0, 2 ) + R( 2, 0 ) ) / S, ( R( 1, 2 ) + R( 2, 1 ) ) / S, 0.25f * S, ( R( 1, 0 ) - R( 0, 1 ) ) / S };
}

CQuaternion QuaternionSlerp( const CQuaternion& From, CQuaternion To, float T )
{
    float Cos = Dot( From, To );
    if ( Cos < 0.0f )
    {
        To = -To;
        Cos = -Cos;
    }
    // Nearly parallel: the sine below would divide by almost nothing.
    if ( Cos > 0.9995f )
    {
        return Normalized( From + ( To - From ) * T );
    }
    const float Angle = std::acos( Cos );
    const float SinAngle = std::sin( Angle );
    const float FromWeight = std::sin( ( 1.0f - T ) * Angle ) / SinAngle;
    const float ToWeight = std::sin( T * Angle ) / SinAngle;
    return From * FromWeight + To * ToWeight;
}

CQuaternion QuaternionMultiply( const CQuaternion& L, const CQuaternion& R )
{
    return { L.W() * R.X() + L.X() * R.W() + L.Y() * R.Z() - L.Z() * R.Y(),
             L.W() * R.Y() - L.X() * R.Z() + L.Y() * R.W() + L.Z() * R.X(),
             L.W() * R.Z() + L.X() * R.Y() - L.Y() * R.X() + L.Z() * R.W(),
             L.W() * R.W() - L.X() * R.X() - L.Y() * R.Y() - L.Z() * R.Z() };
}

CVector3 RotateByQuaternion( const CQuaternion& Rotation, const CVector3& Value )
{
    const CVector3 Vector( Rotation.X(), Rotation.Y(), Rotation.Z() );
    const CVector3 Twice = Cross( Vector, Value ) * 2.0f;
    return Value + Twice * Rotation.W() + Cross( Vector, Twice );
}

bool LineSegmentsIntersect( const CVector4& First, const CVector4& Second )
{
    const float Slope1 = ( First.W() - First.Y() ) / ( First.Z() - First.X() );
    const float Slope2 = ( Second.W() - Second.Y() ) / ( Second.Z() - Second.X() );
    if ( Slope1 - Slope2 == 0.0f )
    {
        return false;
    }
    const float Offset1 = First.Y() - Slope1 * First.X();
    const float Offset2 = Second.Y() - Slope2 * Second.X();
    const float CrossingX = ( Offset2 - Offset1 ) / ( Slope1 - Slope2 );
    auto StrictlyInside = []( float Value, float End1, float End2 )
    { return Value > std::min( End1, End2 ) && Value < std::max( End1, End2 ); };
    return StrictlyInside( CrossingX, First.X(), First.Z() ) && StrictlyInside( CrossingX, Second.X(), Second.Z() );
}
