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

// Row-major double matrices as the reference; the products under test are float.
using CReference = std::vector<std::vector<double>>;

template <typename MatrixT>
CReference ToReference( const MatrixT& Matrix, int32 nRows, int32 nColumns )
{
    CReference Result( 4, std::vector<double>( 4, 0.0 ) );
    Result[3][3] = 1.0;
    for ( int32 Row = 0; Row < nRows; ++Row )
    {
        for ( int32 Column = 0; Column < nColumns; ++Column )
        {
            Result[Row][Column] = Matrix( Row, Column );
        }
    }
    return Result;
}

CReference Multiply( const CReference& Left, const CReference& Right )
{
    CReference Result( 4, std::vector<double>( 4, 0.0 ) );
    for ( int I = 0; I < 4; ++I )
    {
        for ( int J = 0; J < 4; ++J )
        {
            for ( int K = 0; K < 4; ++K )
            {
                Result[I][J] += Left[I][K] * Right[K][J];
            }
        }
    }
    return Result;
}

// Every element within a relative tolerance of the reference's largest magnitude.
template <typename MatrixT>
void ExpectNear( const MatrixT& Matrix, const CReference& Reference, int32 nRows, int32 nColumns,
                 const std::string& What, double Tolerance = 1e-6 )
{
    double Largest = 1.0;
    for ( const auto& Row : Reference )
    {
        for ( double Value : Row )
        {
            Largest = std::max( Largest, std::fabs( Value ) );
        }
    }
    for ( int32 Row = 0; Row < nRows; ++Row )
    {
        for ( int32 Column = 0; Column < nColumns; ++Column )
        {
            ASSERT_NEAR( Matrix( Row, Column ), Reference[Row][Column], Largest * Tolerance )
                << What << " at ( " << Row << ", " << Column << " )";
        }
    }
}

class CRandomMatrices
{
public:
    explicit CRandomMatrices( uint32 nSeedValue ) : _Random( nSeedValue ) {}
    float Next() { return _Distribution( _Random ); }
    CMatrix4x4 Next4x4() { return CMatrix4x4::FromRows( NextValues<16>().Values ); }
    CMatrix3x4 Next3x4() { return CMatrix3x4::FromRows( NextValues<12>().Values ); }
    CMatrix3x3 Next3x3() { return CMatrix3x3::FromRows( NextValues<9>().Values ); }
    CVector3 NextUnit() { return Normalized( CVector3( Next(), Next(), Next() ) ); }

private:
    template <int N>
    struct SValues
    {
        float Values[N];
    };
    template <int N>
    SValues<N> NextValues()
    {
        SValues<N> Result;
        for ( float& Value : Result.Values )
        {
            Value = Next();
        }
        return Result;
    }

    std::mt19937 _Random;
    std::uniform_real_distribution<float> _Distribution{ -10.0f, 10.0f };
};

// The operands of the matrix benchmarks.
CMatrix4x4 Benchmark4x4( float Scale )
{
    return CMatrix4x4::FromRows( { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16 } ) * Scale;
}

// Both forms of every product against the double reference.
void ExpectAllProductsNear( const CMatrix4x4& A4, const CMatrix4x4& B4, const CMatrix3x3& A3, const CMatrix3x3& B3,
                            const std::string& What )
{
    const CMatrix3x4 A34( A4 );
    const CMatrix3x4 B34( B4 );
    const CReference Product4 = Multiply( ToReference( A4, 4, 4 ), ToReference( B4, 4, 4 ) );
    const CReference Product3 = Multiply( ToReference( A3, 3, 3 ), ToReference( B3, 3, 3 ) );
    const CReference Product34 = Multiply( ToReference( A34, 3, 4 ), ToReference( B34, 3, 4 ) );
    ExpectNear( A4 * B4, Product4, 4, 4, What + ": 4x4 scalar" );
    ExpectNear( ( CSimdMatrix4x4( A4 ) * CSimdMatrix4x4( B4 ) ).ToMatrix4x4(), Product4, 4, 4, What + ": 4x4 vector" );
    ExpectNear( A3 * B3, Product3, 3, 3, What + ": 3x3 scalar" );
    ExpectNear( ( CSimdMatrix4x4( A3 ) * CSimdMatrix4x4( B3 ) ).ToMatrix3x3(), Product3, 3, 3, What + ": 3x3 vector" );
    ExpectNear( A34 * B34, Product34, 3, 4, What + ": 3x4 scalar" );
    ExpectNear( ( CSimdMatrix4x4( A34 ) * CSimdMatrix4x4( B34 ) ).ToMatrix3x4(), Product34, 3, 4,
                What + ": 3x4 vector" );
    ExpectNear( ( CSimdMatrix4x4( A34 ) * CSimdMatrix4x4( B4 ) ).ToMatrix4x4(),
                Multiply( ToReference( A34, 3, 4 ), ToReference( B4, 4, 4 ) ), 4, 4, What + ": 3x4 times 4x4" );
    ExpectNear( ( CSimdMatrix4x4( A4 ) * CSimdMatrix4x4( B34 ) ).ToMatrix4x4(),
                Multiply( ToReference( A4, 4, 4 ), ToReference( B34, 3, 4 ) ), 4, 4, What + ": 4x4 times 3x4" );
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

void ExpectNearVector( const CVector3& Actual, const CVector3& Expected, float Tolerance, const std::string& What )
{
    EXPECT_NEAR( Actual.X(), Expected.X(), Tolerance ) << What;
    EXPECT_NEAR( Actual.Y(), Expected.Y(), Tolerance ) << What;
    EXPECT_NEAR( Actual.Z(), Expected.Z(), Tolerance ) << What;
}
} // namespace

TEST( Matrix, VectorAndScalarProductsAgreeOnRandomMatrices )
{
    CRandomMatrices Random( nSeed );
    for ( int I = 0; I < 200; ++I )
    {
        ExpectAllProductsNear( Random.Next4x4(), Random.Next4x4(), Random.Next3x3(), Random.Next3x3(),
                               "seed " + std::to_string( nSeed ) + ", draw " + std::to_string( I ) );
    }
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

TEST( Matrix, DeterminantAndInverseAgainstTheReference )
{
    CRandomMatrices Random( nSeed );
    for ( int N = 0; N < 200; ++N )
    {
        const CMatrix4x4 M = Random.Next4x4();
        // Laplace expansion along the first row, in double.
        const CReference R = ToReference( M, 4, 4 );
        double Expected = 0.0;
        for ( int Column = 0; Column < 4; ++Column )
        {
            double Minor[3][3];
            for ( int Row = 1; Row < 4; ++Row )
            {
                for ( int C = 0, Target = 0; C < 4; ++C )
                {
                    if ( C != Column )
                    {
                        Minor[Row - 1][Target++] = R[Row][C];
                    }
                }
            }
            const double MinorDeterminant = Minor[0][0] * ( Minor[1][1] * Minor[2][2] - Minor[1][2] * Minor[2][1] ) -
                                            Minor[0][1] * ( Minor[1][0] * Minor[2][2] - Minor[1][2] * Minor[2][0] ) +
                                            Minor[0][2] * ( Minor[1][0] * Minor[2][1] - Minor[1][1] * Minor[2][0] );
            Expected += ( Column % 2 ? -1.0 : 1.0 ) * R[0][Column] * MinorDeterminant;
        }
        ASSERT_NEAR( M.Determinant(), Expected, 1e-3 * std::max( 1.0, std::fabs( Expected ) ) )
            << "seed " << nSeed << ", draw " << N;

        CMatrix4x4 Inverse;
        ASSERT_EQ( M.TryInvert( Inverse ), std::fabs( M.Determinant() ) > 1e-5f );
        if ( std::fabs( Expected ) > 1.0 )
        {
            ExpectNear( M * Inverse, ToReference( CMatrix4x4::Identity(), 4, 4 ), 4, 4,
                        "M * M^-1, seed " + std::to_string( nSeed ) + ", draw " + std::to_string( N ), 1e-3 );
        }
    }
}

TEST( Matrix, TryInvertRefusesANearlySingularMatrixAndLeavesTheOutput )
{
    const CMatrix4x4 Small = CMatrix4x4::FromRows( { 1e-6f, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1 } );
    EXPECT_FLOAT_EQ( Small.Determinant(), 1e-6f );
    CMatrix4x4 Output = Benchmark4x4( 1.0f );
    EXPECT_FALSE( Small.TryInvert( Output ) );
    EXPECT_EQ( Output, Benchmark4x4( 1.0f ) );

    const CMatrix4x4 Scaled = CMatrix4x4::FromRows( { 2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1 } );
    ASSERT_TRUE( Scaled.TryInvert( Output ) );
    EXPECT_EQ( Output, CMatrix4x4::FromRows( { 0.5f, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1 } ) );
}

TEST( Matrix, RotationsTurnCounterClockwiseAboutTheirAxis )
{
    const CVector3 X( 1, 0, 0 );
    const CVector3 Y( 0, 1, 0 );
    const CVector3 Z( 0, 0, 1 );
    ExpectNearVector( CMatrix3x3::RotationZ( Pi / 2 ) * X, Y, 1e-6f, "z turns x to y" );
    ExpectNearVector( CMatrix3x3::RotationX( Pi / 2 ) * Y, Z, 1e-6f, "x turns y to z" );
    ExpectNearVector( CMatrix3x3::RotationY( Pi / 2 ) * Z, X, 1e-6f, "y turns z to x" );

    CRandomMatrices Random( nSeed );
    for ( int N = 0; N < 100; ++N )
    {
        const float Angle = Random.Next();
        const std::string What = "seed " + std::to_string( nSeed ) + ", angle " + std::to_string( Angle );
        for ( int32 I = 0; I < 3; ++I )
        {
            for ( int32 J = 0; J < 3; ++J )
            {
                EXPECT_NEAR( CMatrix3x3::RotationX( Angle )( I, J ), CMatrix3x3::Rotation( X, Angle )( I, J ), 1e-6f );
                EXPECT_NEAR( CMatrix3x3::RotationY( Angle )( I, J ), CMatrix3x3::Rotation( Y, Angle )( I, J ), 1e-6f );
                EXPECT_NEAR( CMatrix3x3::RotationZ( Angle )( I, J ), CMatrix3x3::Rotation( Z, Angle )( I, J ), 1e-6f );
            }
        }
        const CVector3 Axis = Random.NextUnit();
        const CMatrix3x3 Rotation = CMatrix3x3::Rotation( Axis, Angle );
        ExpectNearVector( Rotation * Axis, Axis, 1e-5f, "the axis stays, " + What );
        // Orthonormal: R * R^T is the identity.
        for ( int32 I = 0; I < 3; ++I )
        {
            for ( int32 J = 0; J < 3; ++J )
            {
                EXPECT_NEAR( Dot( CVector3( Rotation( I, 0 ), Rotation( I, 1 ), Rotation( I, 2 ) ),
                                  CVector3( Rotation( J, 0 ), Rotation( J, 1 ), Rotation( J, 2 ) ) ),
                             I == J ? 1.0f : 0.0f, 1e-5f )
                    << What;
            }
        }
    }
}

TEST( Quaternion, AxisAngleMatrixAndEulerFormsAgree )
{
    CRandomMatrices Random( nSeed );
    const CVector3 X( 1, 0, 0 );
    const CVector3 Y( 0, 1, 0 );
    const CVector3 Z( 0, 0, 1 );
    for ( int N = 0; N < 200; ++N )
    {
        const std::string What = "seed " + std::to_string( nSeed ) + ", draw " + std::to_string( N );
        const CVector3 Axis = Random.NextUnit();
        const float Angle = Random.Next() * 0.3f;
        const CQuaternion Rotation = QuaternionFromAxisAngle( Axis, Angle );
        const CVector3 Value( Random.Next(), Random.Next(), Random.Next() );
        ExpectNearVector( RotateByQuaternion( Rotation, Value ), CMatrix3x3::Rotation( Axis, Angle ) * Value, 1e-4f,
                          What );
        ExpectSameRotation( QuaternionFromMatrix( CMatrix3x3::Rotation( Axis, Angle ) ), Rotation, What );

        const float Yaw = Random.Next() * 0.3f;
        const float Pitch = Random.Next() * 0.3f;
        const float Roll = Random.Next() * 0.3f;
        ExpectSameRotation( QuaternionFromEuler( Yaw, Pitch, Roll ),
                            QuaternionMultiply( QuaternionFromAxisAngle( Z, Yaw ),
                                                QuaternionMultiply( QuaternionFromAxisAngle( Y, Pitch ),
                                                                    QuaternionFromAxisAngle( X, Roll ) ) ),
                            What );
    }
    // Half turns have a trace of -1 and take the branches of the largest diagonal element.
    for ( const CVector3& Axis : { X, Y, Z, Normalized( CVector3( 1, 2, 3 ) ), Normalized( CVector3( 3, -1, 2 ) ) } )
    {
        ExpectSameRotation( QuaternionFromMatrix( CMatrix3x3::Rotation( Axis, Pi * 0.999f ) ),
                            QuaternionFromAxisAngle( Axis, Pi * 0.999f ), "half turn" );
    }
}

TEST( Geometry, SegmentsIntersectOnlyStrictlyInside )
{
    EXPECT_TRUE( LineSegmentsIntersect( CVector4( 0, 0, 4, 4 ), CVector4( 0, 4, 4, 0 ) ) );
    EXPECT_TRUE( LineSegmentsIntersect( CVector4( 4, 4, 0, 0 ), CVector4( 1, 3, 3, 1 ) ) );
    EXPECT_FALSE( LineSegmentsIntersect( CVector4( 0, 0, 4, 4 ), CVector4( 4, 4, 8, 0 ) ) ) << "shared end point";
    EXPECT_FALSE( LineSegmentsIntersect( CVector4( 0, 0, 4, 4 ), CVector4( 2, 2, 6, 0 ) ) ) << "end point on the other";
    EXPECT_FALSE( LineSegmentsIntersect( CVector4( 0, 0, 4, 4 ), CVector4( 0, 1, 4, 5 ) ) ) << "parallel";
    EXPECT_FALSE( LineSegmentsIntersect( CVector4( 0, 0, 4, 4 ), CVector4( 5, 0, 9, -4 ) ) ) << "crossing beyond";
    EXPECT_FALSE( LineSegmentsIntersect( CVector4( 2, -1, 2, 5 ), CVector4( 0, 0, 4, 4 ) ) ) << "vertical";
}
