#include "qor_core/matrix.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace
{
constexpr uint32 nSeed = 5150;
constexpr float Pi = std::numbers::pi_v<float>;
constexpr float Half = 0.70710678f;

// A 4x4 view of any matrix: the rows and columns it lacks are those of the identity.
template <typename MatrixT> float At( const MatrixT& Matrix, int32 nRows, int32 nColumns, int32 Row, int32 Column )
{
    return Row < nRows && Column < nColumns ? Matrix( Row, Column ) : ( Row == Column ? 1.0f : 0.0f );
}

// Result column j sums A's columns weighted by column j of B: left to right in the scalar form, pairwise (the
// horizontal adds) in the vector form. Both are exact float computations, so the products must match bitwise.
template <typename LeftT, typename RightT, typename ResultT>
void ExpectProductOrder( const LeftT& A, int32 nRowsA, int32 nColsA, const RightT& B, int32 nRowsB, int32 nColsB,
                         const ResultT& Result, int32 nRows, int32 nColumns, bool bPairwise, const std::string& What )
{
    for ( int32 I = 0; I < nRows; ++I )
    {
        for ( int32 J = 0; J < nColumns; ++J )
        {
            float Terms[4];
            for ( int32 K = 0; K < 4; ++K )
            {
                Terms[K] = At( A, nRowsA, nColsA, I, K ) * At( B, nRowsB, nColsB, K, J );
            }
            const float Expected = bPairwise ? ( Terms[0] + Terms[1] ) + ( Terms[2] + Terms[3] )
                                             : ( ( Terms[0] + Terms[1] ) + Terms[2] ) + Terms[3];
            ASSERT_EQ( Result( I, J ), Expected ) << What << " at ( " << I << ", " << J << " )";
        }
    }
}

void CheckAllProducts( const CMatrix4x4& A4, const CMatrix4x4& B4, const CMatrix3x3& A3, const CMatrix3x3& B3,
                       const std::string& What )
{
    const CMatrix3x4 A34( A4 );
    const CMatrix3x4 B34( B4 );
    ExpectProductOrder( A4, 4, 4, B4, 4, 4, A4 * B4, 4, 4, false, What + ": 4x4 scalar" );
    ExpectProductOrder( A4, 4, 4, B4, 4, 4, ( CSimdMatrix4x4( A4 ) * CSimdMatrix4x4( B4 ) ).ToMatrix4x4(), 4, 4, true,
                        What + ": 4x4 vector" );
    // The missing fourth terms are exact zeros, so the 3x3 scalar order is the three-term sum.
    ExpectProductOrder( A3, 3, 3, B3, 3, 3, A3 * B3, 3, 3, false, What + ": 3x3 scalar" );
    ExpectProductOrder( A3, 3, 3, B3, 3, 3, ( CSimdMatrix4x4( A3 ) * CSimdMatrix4x4( B3 ) ).ToMatrix3x3(), 3, 3, true,
                        What + ": 3x3 vector" );
    ExpectProductOrder( A34, 3, 4, B34, 3, 4, A34 * B34, 3, 4, false, What + ": 3x4 scalar" );
    ExpectProductOrder( A34, 3, 4, B34, 3, 4, ( CSimdMatrix4x4( A34 ) * CSimdMatrix4x4( B34 ) ).ToMatrix3x4(), 3, 4,
                        true, What + ": 3x4 vector" );
    ExpectProductOrder( A34, 3, 4, B4, 4, 4, ( CSimdMatrix4x4( A34 ) * CSimdMatrix4x4( B4 ) ).ToMatrix4x4(), 4, 4, true,
                        What + ": 3x4 times 4x4" );
    ExpectProductOrder( A4, 4, 4, B34, 3, 4, ( CSimdMatrix4x4( A4 ) * CSimdMatrix4x4( B34 ) ).ToMatrix4x4(), 4, 4, true,
                        What + ": 4x4 times 3x4" );
}

template <typename MatrixT, int N> MatrixT RandomMatrix( std::mt19937& Random )
{
    float Values[N];
    for ( float& Value : Values )
    {
        Value = std::uniform_real_distribution<float>( -10.0f, 10.0f )( Random );
    }
    return MatrixT::FromRows( Values );
}

// Equal as rotations: q and -q turn alike.
void ExpectSameRotation( const CQuaternion& Actual, const CQuaternion& Expected, const std::string& What )
{
    const float Sign = Dot( Actual, Expected ) < 0.0f ? -1.0f : 1.0f;
    for ( int32 I = 0; I < 4; ++I )
    {
        EXPECT_NEAR( Actual[I] * Sign, Expected[I], 1e-5f ) << What << ", component " << I;
    }
}
} // namespace

TEST( Matrix, ProductsSumInTheirStatedOrder )
{
    // The benchmark operands, a case where the two orders give different floats, and random draws.
    const CMatrix4x4 Rows4 = CMatrix4x4::FromRows( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 } );
    const CMatrix3x3 Rows3 = CMatrix3x3::FromRows( { 1, 2, 3, 4, 5, 6, 7, 8, 9 } );
    CheckAllProducts( Rows4 * 3.7f, Rows4 * 0.2f, Rows3 * 3.7f, Rows3 * 0.2f, "benchmark operands" );
    const CMatrix4x4 Cancelling = CMatrix4x4::FromRows( { 1e8f, 1, -1e8f, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1 } );
    EXPECT_EQ( ( Cancelling * CMatrix4x4::Identity() )( 0, 0 ), 1e8f );
    EXPECT_EQ( ( Cancelling * CMatrix4x4::FromRows( { 1, 0, 0, 0, 1, 1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1 } ) )( 0, 0 ),
               1.0f );
    CheckAllProducts( Cancelling, CMatrix4x4::FromRows( { 1, 0, 0, 0, 1, 1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1 } ), Rows3,
                      Rows3, "cancelling terms" );
    std::mt19937 Random( nSeed );
    for ( int I = 0; I < 50; ++I )
    {
        CheckAllProducts( RandomMatrix<CMatrix4x4, 16>( Random ), RandomMatrix<CMatrix4x4, 16>( Random ),
                          RandomMatrix<CMatrix3x3, 9>( Random ), RandomMatrix<CMatrix3x3, 9>( Random ),
                          "seed " + std::to_string( nSeed ) + ", draw " + std::to_string( I ) );
    }
    const CMatrix4x4 Any = RandomMatrix<CMatrix4x4, 16>( Random );
    EXPECT_EQ( CMatrix4x4::Identity() * Any, Any );
    EXPECT_EQ( ( CSimdMatrix4x4( CMatrix4x4::Identity() ) * CSimdMatrix4x4( Any ) ).ToMatrix4x4(), Any );
}

TEST( Matrix, ColumnSetterAndScaleCheckTheColumn )
{
    CMatrix3x4 Matrix = CMatrix3x4::Identity();
    Matrix.SetColumn( 3, 1.0f, 2.0f, 3.0f );
    Matrix.ScaleColumn( 0, 4.0f );
    EXPECT_EQ( Matrix, CMatrix3x4::FromRows( { 4, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3 } ) );

    CAssertRecorder Asserts;
    const CMatrix3x4 Before = Matrix;
    Matrix.SetColumn( 4, 9.0f, 9.0f, 9.0f );
    Matrix.SetColumn( -1, 9.0f, 9.0f, 9.0f );
    Matrix.ScaleColumn( 4, 9.0f );
    Matrix.ScaleColumn( -1, 9.0f );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 4, "Column < 4 && Column >= 0" ) );
    EXPECT_EQ( Matrix, Before );
}

TEST( Matrix, DeterminantAndInverse )
{
    const CMatrix4x4 Small = CMatrix4x4::FromRows( { 1e-6f, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1 } );
    EXPECT_FLOAT_EQ( Small.Determinant(), 1e-6f );
    CMatrix4x4 Output = CMatrix4x4::Identity();
    EXPECT_FALSE( Small.TryInvert( Output ) );
    EXPECT_EQ( Output, CMatrix4x4::Identity() ) << "a refused inverse leaves the output";
    const CMatrix4x4 Scaled = CMatrix4x4::FromRows( { 2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1 } );
    ASSERT_TRUE( Scaled.TryInvert( Output ) );
    EXPECT_EQ( Output, CMatrix4x4::FromRows( { 0.5f, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1 } ) );
    // A permutation with a shear: determinant -6.
    EXPECT_FLOAT_EQ( CMatrix4x4::FromRows( { 0, 2, 0, 0, 1, 0, 0, 5, 0, 0, 3, 0, 0, 0, 0, 1 } ).Determinant(), -6.0f );

    std::mt19937 Random( nSeed );
    for ( int N = 0; N < 100; ++N )
    {
        const CMatrix4x4 M = RandomMatrix<CMatrix4x4, 16>( Random );
        CMatrix4x4 Inverse;
        ASSERT_EQ( M.TryInvert( Inverse ), std::fabs( M.Determinant() ) > 1e-5f );
        const CMatrix4x4 Product = M * Inverse;
        for ( int32 I = 0; I < 16 && std::fabs( M.Determinant() ) > 1.0f; ++I )
        {
            ASSERT_NEAR( Product( I / 4, I % 4 ), I / 4 == I % 4 ? 1.0f : 0.0f, 1e-3f )
                << "seed " << nSeed << ", draw " << N;
        }
    }
}

TEST( Matrix, RotationsTurnCounterClockwiseAboutTheirAxis )
{
    const CVector3 Axes[] = { CVector3( 1, 0, 0 ), CVector3( 0, 1, 0 ), CVector3( 0, 0, 1 ) };
    const CMatrix3x3 Quarter[] = { CMatrix3x3::RotationX( Pi / 2 ), CMatrix3x3::RotationY( Pi / 2 ),
                                   CMatrix3x3::RotationZ( Pi / 2 ) };
    for ( int32 A = 0; A < 3; ++A )
    {
        // x turns y to z, y turns z to x, z turns x to y; the unit-axis forms are the general one's.
        const CVector3 Turned = Quarter[A] * Axes[( A + 1 ) % 3];
        for ( int32 I = 0; I < 3; ++I )
        {
            EXPECT_NEAR( Turned[I], Axes[( A + 2 ) % 3][I], 1e-6f ) << "axis " << A;
            for ( int32 J = 0; J < 3; ++J )
            {
                EXPECT_NEAR( Quarter[A]( I, J ), CMatrix3x3::Rotation( Axes[A], Pi / 2 )( I, J ), 1e-6f );
            }
        }
    }
}

TEST( Quaternion, HelpersGiveTheStatedRotations )
{
    const CVector3 X( 1, 0, 0 );
    const CVector3 Y( 0, 1, 0 );
    const CVector3 Z( 0, 0, 1 );
    const CQuaternion Identity( 0, 0, 0, 1 );
    const CQuaternion Z90( 0, 0, Half, Half );
    const CQuaternion Z45( 0, 0, std::sin( Pi / 8 ), std::cos( Pi / 8 ) );
    const std::pair<CQuaternion, CQuaternion> Cases[] = {
        { QuaternionFromAxisAngle( Z, Pi / 2 ), Z90 },
        { QuaternionFromEuler( Pi / 2, 0, 0 ), Z90 },
        { QuaternionFromEuler( 0, Pi / 2, 0 ), CQuaternion( 0, Half, 0, Half ) },
        { QuaternionFromEuler( 0, 0, Pi / 2 ), CQuaternion( Half, 0, 0, Half ) },
        // Roll first, then pitch, then yaw.
        { QuaternionFromEuler( Pi / 2, Pi / 2, 0 ), CQuaternion( -0.5f, 0.5f, 0.5f, 0.5f ) },
        { QuaternionBetween( X, Y ), Z90 },
        { QuaternionBetween( CVector3( 2, 0, 0 ), CVector3( 0, 0, 3 ) ), CQuaternion( 0, -Half, 0, Half ) },
        // Opposite vectors: half a turn about a perpendicular axis built from the larger components.
        { QuaternionBetween( X, CVector3( -1, 0, 0 ) ), CQuaternion( 0, 1, 0, 0 ) },
        { QuaternionBetween( Z, CVector3( 0, 0, -2 ) ), CQuaternion( 0, -1, 0, 0 ) },
        { QuaternionFromMatrix( CMatrix3x3::RotationZ( Pi / 2 ) ), Z90 },
        { QuaternionFromMatrix( CMatrix3x3::RotationX( Pi ) ), CQuaternion( 1, 0, 0, 0 ) },
        { QuaternionFromMatrix( CMatrix3x3::RotationY( Pi * 0.999f ) ), QuaternionFromAxisAngle( Y, Pi * 0.999f ) },
        { QuaternionMultiply( Z90, Z90 ), CQuaternion( 0, 0, 1, 0 ) },
        { QuaternionSlerp( Identity, Z90, 0.5f ), Z45 },
        // The shorter arc: the far sign of the target is turned round.
        { QuaternionSlerp( Identity, -Z90, 0.5f ), Z45 },
        { QuaternionSlerp( Identity, CQuaternion( 0, 0, 0, -1 ), 0.5f ), Identity },
        { QuaternionSlerp( Z90, Z90, 0.25f ), Z90 },
    };
    for ( size_t I = 0; I < std::size( Cases ); ++I )
    {
        ExpectSameRotation( Cases[I].first, Cases[I].second, "case " + std::to_string( I ) );
    }
    const CVector3 Turned = RotateByQuaternion( Z90, X );
    EXPECT_NEAR( Turned.X(), 0.0f, 1e-6f );
    EXPECT_NEAR( Turned.Y(), 1.0f, 1e-6f );

    // The quaternion and the matrix of one axis and angle turn alike.
    std::mt19937 Random( nSeed );
    std::uniform_real_distribution<float> Draw( -3.0f, 3.0f );
    for ( int N = 0; N < 50; ++N )
    {
        const CVector3 Axis = Normalized( CVector3( Draw( Random ), Draw( Random ), Draw( Random ) ) );
        const float Angle = Draw( Random );
        const CVector3 Value( Draw( Random ), Draw( Random ), Draw( Random ) );
        const CVector3 ByQuaternion = RotateByQuaternion( QuaternionFromAxisAngle( Axis, Angle ), Value );
        const CVector3 ByMatrix = CMatrix3x3::Rotation( Axis, Angle ) * Value;
        for ( int32 I = 0; I < 3; ++I )
        {
            EXPECT_NEAR( ByQuaternion[I], ByMatrix[I], 1e-4f ) << "seed " << nSeed << ", draw " << N;
        }
    }
}

TEST( Geometry, SegmentsIntersectOnlyStrictlyInside )
{
    const std::pair<CVector4, bool> Cases[] = {
        { CVector4( 0, 4, 4, 0 ), true },   { CVector4( 1, 3, 3, 1 ), true },
        { CVector4( 4, 4, 8, 0 ), false },  // a shared end point
        { CVector4( 2, 2, 6, 0 ), false },  // an end point on the other
        { CVector4( 0, 1, 4, 5 ), false },  // parallel
        { CVector4( 5, 0, 9, -4 ), false }, // crossing beyond the ends
        { CVector4( 2, -1, 2, 5 ), false }, // vertical
    };
    for ( const auto& [Other, bExpected] : Cases )
    {
        EXPECT_EQ( LineSegmentsIntersect( CVector4( 0, 0, 4, 4 ), Other ), bExpected ) << Other[0] << ", " << Other[1];
    }
}
