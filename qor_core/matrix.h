#pragma once

// Floating-point geometry: the vector template, square and affine matrices in float, quaternion helpers.
//
// Matrices are stored by columns, each column contiguous, and vectors multiply on the right (M * v), so the
// columns are the images of the axes. CMatrix3x4 is affine: its fourth column is the translation and a last
// row 0, 0, 0, 1 is implied.
//
// Products come in two forms. The scalar form sums the products column by column in a fixed order. The
// vector form (CSimdMatrix4x4) holds four aligned 128-bit columns, transposes the left operand into rows and
// sums each product with horizontal adds; its order of additions differs, so the two forms agree within
// rounding, not bit for bit. The 3x3 and 3x4 matrices stay compact and are expanded to the vector form on
// demand. Off x86 the vector form runs a scalar routine with the same order of additions.

#include "qor_core/qor_assert.h"
#include "qor_core/qor_types.h"

#include <cmath>
#include <cstring>
#include <utility>

#if defined( __SSE3__ )
#include <pmmintrin.h>
#endif

// N consecutive values of T and nothing else.
template <typename T, int32 N>
class CVector
{
public:
    T _Values[ N ] = {};

    constexpr CVector() = default;
    template <typename... ArgsT>
        requires( sizeof...( ArgsT ) == N )
    constexpr CVector( ArgsT... Values ) : _Values{ static_cast<T>( Values )... }
    {
    }

    // REQUIRES: 0 <= nIndex < N.
    T& operator[]( int32 nIndex )
    {
        QOR_ASSERT( nIndex > -1 && nIndex < N );
        return _Values[ nIndex ];
    }
    const T& operator[]( int32 nIndex ) const
    {
        QOR_ASSERT( nIndex > -1 && nIndex < N );
        return _Values[ nIndex ];
    }

    constexpr T X() const { return _Values[ 0 ]; }
    constexpr T Y() const { return _Values[ 1 ]; }
    constexpr T Z() const
        requires( N >= 3 )
    {
        return _Values[ 2 ];
    }
    constexpr T W() const
        requires( N >= 4 )
    {
        return _Values[ 3 ];
    }

    // A vector of N values Function( 0 ) ... Function( N - 1 ), written out without a loop, so that the
    // values stay in registers instead of going through memory lane by lane.
    template <typename FunctionT>
    static constexpr CVector Generate( FunctionT Function )
    {
        return GenerateFrom( Function, std::make_integer_sequence<int32, N>() );
    }

    constexpr CVector& operator+=( const CVector& Other ) { return *this = *this + Other; }
    constexpr CVector& operator-=( const CVector& Other ) { return *this = *this - Other; }
    constexpr CVector& operator*=( T Scale ) { return *this = *this * Scale; }

    friend constexpr CVector operator+( const CVector& Left, const CVector& Right )
    {
        return Generate( [ & ]( int32 I ) { return Left._Values[ I ] + Right._Values[ I ]; } );
    }
    friend constexpr CVector operator-( const CVector& Left, const CVector& Right )
    {
        return Generate( [ & ]( int32 I ) { return Left._Values[ I ] - Right._Values[ I ]; } );
    }
    friend constexpr CVector operator*( const CVector& Left, T Scale )
    {
        return Generate( [ & ]( int32 I ) { return Left._Values[ I ] * Scale; } );
    }
    friend constexpr CVector operator*( T Scale, const CVector& Right ) { return Right * Scale; }
    friend constexpr CVector operator-( const CVector& Value )
    {
        return Generate( [ & ]( int32 I ) { return -Value._Values[ I ]; } );
    }
    friend constexpr bool operator==( const CVector& Left, const CVector& Right ) = default;

private:
    template <typename FunctionT, int32... Indices>
    static constexpr CVector GenerateFrom( FunctionT& Function, std::integer_sequence<int32, Indices...> )
    {
        return CVector( Function( Indices )... );
    }
};

using CVector2 = CVector<float, 2>;
using CVector3 = CVector<float, 3>;
using CVector4 = CVector<float, 4>;
// x, y, z the vector part, w the scalar part.
using CQuaternion = CVector<float, 4>;

// Summed from the first component up.
template <typename T, int32 N>
constexpr T Dot( const CVector<T, N>& Left, const CVector<T, N>& Right )
{
    return [ & ]<int32... Indices>( std::integer_sequence<int32, Indices...> )
    {
        return ( ... + ( Left._Values[ Indices ] * Right._Values[ Indices ] ) );
    }
    ( std::make_integer_sequence<int32, N>() );
}

template <typename T>
constexpr CVector<T, 3> Cross( const CVector<T, 3>& Left, const CVector<T, 3>& Right )
{
    return { Left.Y() * Right.Z() - Left.Z() * Right.Y(), Left.Z() * Right.X() - Left.X() * Right.Z(),
             Left.X() * Right.Y() - Left.Y() * Right.X() };
}

template <typename T, int32 N>
constexpr T LengthSquared( const CVector<T, N>& Value )
{
    return Dot( Value, Value );
}

template <typename T, int32 N>
T Length( const CVector<T, N>& Value )
{
    return std::sqrt( LengthSquared( Value ) );
}

// REQUIRES: Value is not the zero vector.
template <typename T, int32 N>
CVector<T, N> Normalized( const CVector<T, N>& Value )
{
    return Value * ( T( 1 ) / Length( Value ) );
}

namespace NDetail
{
// What the three matrix shapes share: nColumns columns of nRows floats, stored one after the other.
template <typename DerivedT, int32 nRows, int32 nColumns>
class CColumnMatrix
{
public:
    using ColumnType = CVector<float, nRows>;

    // Ones on the diagonal of the square part; for 3x4 the translation is zero.
    static DerivedT Identity()
    {
        DerivedT Result;
        for ( int32 I = 0; I < nRows && I < nColumns; ++I )
        {
            Result( I, I ) = 1.0f;
        }
        return Result;
    }
    // From the values written row after row, as a matrix is read on paper.
    static DerivedT FromRows( const float ( &Rows )[ nRows * nColumns ] )
    {
        DerivedT Result;
        for ( int32 Row = 0; Row < nRows; ++Row )
        {
            for ( int32 Column = 0; Column < nColumns; ++Column )
            {
                Result( Row, Column ) = Rows[ Row * nColumns + Column ];
            }
        }
        return Result;
    }

    float& operator()( int32 Row, int32 Column ) { return _Columns[ Column ]._Values[ Row ]; }
    float operator()( int32 Row, int32 Column ) const { return _Columns[ Column ]._Values[ Row ]; }
    const ColumnType& GetColumn( int32 Column ) const { return _Columns[ Column ]; }

    // Each column times Scale.
    DerivedT operator*( float Scale ) const
    {
        DerivedT Result;
        for ( int32 J = 0; J < nColumns; ++J )
        {
            Result._Columns[ J ] = _Columns[ J ] * Scale;
        }
        return Result;
    }
    friend bool operator==( const CColumnMatrix& Left, const CColumnMatrix& Right ) = default;

protected:
    // The first nTerms columns weighted by the first nTerms values of Weights, summed from column 0 up:
    // col0 * Weights[ 0 ] + col1 * Weights[ 1 ] + ...
    template <int32 nTerms, int32 N>
    ColumnType Combine( const CVector<float, N>& Weights ) const
    {
        return [ & ]<int32... Indices>( std::integer_sequence<int32, Indices...> )
        {
            return ( ... + ( _Columns[ Indices ] * Weights._Values[ Indices ] ) );
        }
        ( std::make_integer_sequence<int32, nTerms>() );
    }

    // The scalar product with a matrix of the same shape, each result column Combine<nTerms> of Right's.
    template <int32 nTerms>
    DerivedT ProductWith( const DerivedT& Right ) const
    {
        DerivedT Result;
        for ( int32 J = 0; J < nColumns; ++J )
        {
            Result._Columns[ J ] = Combine<nTerms>( Right._Columns[ J ] );
        }
        return Result;
    }

    ColumnType _Columns[ nColumns ];
};
} // namespace NDetail

class CMatrix3x3 : public NDetail::CColumnMatrix<CMatrix3x3, 3, 3>
{
public:
    // The zero matrix.
    CMatrix3x3() = default;

    // Rotation by Angle (radians, counter-clockwise seen against the axis) about a unit axis: Rodrigues' form.
    static CMatrix3x3 Rotation( const CVector3& Axis, float Angle );
    static CMatrix3x3 RotationX( float Angle );
    static CMatrix3x3 RotationY( float Angle );
    static CMatrix3x3 RotationZ( float Angle );

    using CColumnMatrix::operator*;
    // The scalar product: result column j is A.col0 * B( 0, j ) + A.col1 * B( 1, j ) + A.col2 * B( 2, j ).
    CMatrix3x3 operator*( const CMatrix3x3& Right ) const { return ProductWith<3>( Right ); }
    CVector3 operator*( const CVector3& Value ) const { return Combine<3>( Value ); }
};

class CMatrix4x4;

class CMatrix3x4 : public NDetail::CColumnMatrix<CMatrix3x4, 3, 4>
{
public:
    // The zero matrix (with the implied last row 0, 0, 0, 1).
    CMatrix3x4() = default;
    // The first three values of each of the four columns.
    explicit CMatrix3x4( const CMatrix4x4& Matrix );

    // REQUIRES: 0 <= Column < 4. Out of range it reports and leaves the matrix as it was.
    void SetColumn( int32 Column, float X, float Y, float Z )
    {
        QOR_ASSERT( Column < 4 && Column >= 0 );
        if ( Column < 4 && Column >= 0 )
        {
            _Columns[ Column ] = CVector3( X, Y, Z );
        }
    }
    void ScaleColumn( int32 Column, float Scale )
    {
        QOR_ASSERT( Column < 4 && Column >= 0 );
        if ( Column < 4 && Column >= 0 )
        {
            _Columns[ Column ] *= Scale;
        }
    }

    using CColumnMatrix::operator*;
    // The scalar product of two affine maps: the linear columns as for 3x3, and the translation column of
    // Right carried through the linear part of this, plus this translation.
    CMatrix3x4 operator*( const CMatrix3x4& Right ) const
    {
        CMatrix3x4 Result = ProductWith<3>( Right );
        Result._Columns[ 3 ] += _Columns[ 3 ];
        return Result;
    }
    CVector3 TransformPoint( const CVector3& Point ) const { return Combine<3>( Point ) + _Columns[ 3 ]; }
};

class CMatrix4x4 : public NDetail::CColumnMatrix<CMatrix4x4, 4, 4>
{
public:
    // The zero matrix.
    CMatrix4x4() = default;

    const float* GetData() const { return _Columns[ 0 ]._Values; }
    float* GetData() { return _Columns[ 0 ]._Values; }

    using CColumnMatrix::operator*;
    // The scalar product: result column j is A.col0 * B( 0, j ) + ... + A.col3 * B( 3, j ), summed in that order.
    CMatrix4x4 operator*( const CMatrix4x4& Right ) const { return ProductWith<4>( Right ); }
    CVector4 operator*( const CVector4& Value ) const { return Combine<4>( Value ); }

    // By 2 by 2 minors of the upper and the lower two rows.
    float Determinant() const;
    // With a determinant of absolute value above 1e-5, stores the inverse (the adjugate divided by the
    // determinant) in Result and returns true; otherwise returns false and leaves Result alone.
    bool TryInvert( CMatrix4x4& Result ) const;
};

namespace NDetail
{
// The vector form's product in plain arithmetic, on 16 floats stored by columns, with the additions of the
// horizontal adds: Out( i, j ) = ( A( i, 0 ) * B( 0, j ) + A( i, 1 ) * B( 1, j ) )
//                              + ( A( i, 2 ) * B( 2, j ) + A( i, 3 ) * B( 3, j ) ).
// It is the product off x86, and the reference the x86 form is tested against.
inline void MultiplyColumnsPairwise( const float* pA, const float* pB, float* pOut )
{
    for ( int32 J = 0; J < 4; ++J )
    {
        const float* pColumn = pB + 4 * J;
        for ( int32 I = 0; I < 4; ++I )
        {
            pOut[ 4 * J + I ] =
                ( pA[ I ] * pColumn[ 0 ] + pA[ 4 + I ] * pColumn[ 1 ] ) + ( pA[ 8 + I ] * pColumn[ 2 ] + pA[ 12 + I ] * pColumn[ 3 ] );
        }
    }
}
} // namespace NDetail

// The vector form of a 4x4 matrix: four aligned 128-bit columns. Built from a CMatrix4x4, or expanded from
// a CMatrix3x3 (fourth column 0, 0, 0, 1) or a CMatrix3x4 (translation with lane four 1); the first three lanes
// of each column are the compact matrix's column, lane four 0. Columns are built in registers, not lane by
// lane in memory, so that the product can load them without a stall.
class CSimdMatrix4x4
{
public:
    explicit CSimdMatrix4x4( const CMatrix4x4& Matrix )
    {
        for ( int32 J = 0; J < 4; ++J )
        {
            _Columns[ J ] = LoadColumn( Matrix.GetColumn( J )._Values );
        }
    }
    explicit CSimdMatrix4x4( const CMatrix3x3& Matrix ) { Expand( Matrix, CVector3() ); }
    explicit CSimdMatrix4x4( const CMatrix3x4& Matrix ) { Expand( Matrix, Matrix.GetColumn( 3 ) ); }

    CMatrix4x4 ToMatrix4x4() const
    {
        CMatrix4x4 Result;
        for ( int32 J = 0; J < 4; ++J )
        {
            StoreColumn( Result.GetData() + 4 * J, _Columns[ J ] );
        }
        return Result;
    }
    // Cut back: the first three lanes of the first three columns, and of the fourth for 3x4.
    CMatrix3x3 ToMatrix3x3() const { return CutBack<CMatrix3x3, 3>(); }
    CMatrix3x4 ToMatrix3x4() const { return CutBack<CMatrix3x4, 4>(); }

    friend CSimdMatrix4x4 operator*( const CSimdMatrix4x4& Left, const CSimdMatrix4x4& Right )
    {
        CSimdMatrix4x4 Result;
#if defined( __SSE3__ )
        const __m128* pColumns = Left._Columns;
        // Transpose into rows: lanes 0, 1 and 2, 3 of column pairs first, then the even and odd lanes of those.
        const __m128 Low01 = _mm_shuffle_ps( pColumns[ 0 ], pColumns[ 1 ], _MM_SHUFFLE( 1, 0, 1, 0 ) );
        const __m128 High01 = _mm_shuffle_ps( pColumns[ 0 ], pColumns[ 1 ], _MM_SHUFFLE( 3, 2, 3, 2 ) );
        const __m128 Low23 = _mm_shuffle_ps( pColumns[ 2 ], pColumns[ 3 ], _MM_SHUFFLE( 1, 0, 1, 0 ) );
        const __m128 High23 = _mm_shuffle_ps( pColumns[ 2 ], pColumns[ 3 ], _MM_SHUFFLE( 3, 2, 3, 2 ) );
        const __m128 Row0 = _mm_shuffle_ps( Low01, Low23, _MM_SHUFFLE( 2, 0, 2, 0 ) );
        const __m128 Row1 = _mm_shuffle_ps( Low01, Low23, _MM_SHUFFLE( 3, 1, 3, 1 ) );
        const __m128 Row2 = _mm_shuffle_ps( High01, High23, _MM_SHUFFLE( 2, 0, 2, 0 ) );
        const __m128 Row3 = _mm_shuffle_ps( High01, High23, _MM_SHUFFLE( 3, 1, 3, 1 ) );
        // Unrolled, the columns of Right stay in registers instead of passing through the stack.
#pragma GCC unroll 4
        for ( int32 J = 0; J < 4; ++J )
        {
            const __m128 Column = Right._Columns[ J ];
            const __m128 Sum01 = _mm_hadd_ps( _mm_mul_ps( Row0, Column ), _mm_mul_ps( Row1, Column ) );
            const __m128 Sum23 = _mm_hadd_ps( _mm_mul_ps( Row2, Column ), _mm_mul_ps( Row3, Column ) );
            Result._Columns[ J ] = _mm_hadd_ps( Sum01, Sum23 );
        }
#else
        NDetail::MultiplyColumnsPairwise( reinterpret_cast<const float*>( Left._Columns ),
                                          reinterpret_cast<const float*>( Right._Columns ),
                                          reinterpret_cast<float*>( Result._Columns ) );
#endif
        return Result;
    }

private:
#if defined( __SSE3__ )
    using SColumn = __m128;
    static SColumn LoadColumn( const float* pValues )
    {
        return _mm_loadu_ps( pValues );
    }
    static SColumn MakeColumn( const CVector3& Column, float Lane4 )
    {
        return _mm_setr_ps( Column.X(), Column.Y(), Column.Z(), Lane4 );
    }
    static void StoreColumn( float* pValues, SColumn Column )
    {
        _mm_storeu_ps( pValues, Column );
    }
#else
    struct alignas( 16 ) SColumn
    {
        float Lanes[ 4 ];
    };
    static SColumn LoadColumn( const float* pValues )
    {
        return { { pValues[ 0 ], pValues[ 1 ], pValues[ 2 ], pValues[ 3 ] } };
    }
    static SColumn MakeColumn( const CVector3& Column, float Lane4 )
    {
        return { { Column.X(), Column.Y(), Column.Z(), Lane4 } };
    }
    static void StoreColumn( float* pValues, SColumn Column )
    {
        std::memcpy( pValues, Column.Lanes, sizeof( Column.Lanes ) );
    }
#endif

    CSimdMatrix4x4() = default;

    template <typename MatrixT>
    void Expand( const MatrixT& Matrix, const CVector3& LastColumn )
    {
        for ( int32 J = 0; J < 3; ++J )
        {
            _Columns[ J ] = MakeColumn( Matrix.GetColumn( J ), 0.0f );
        }
        _Columns[ 3 ] = MakeColumn( LastColumn, 1.0f );
    }

    template <typename MatrixT, int32 nColumns>
    MatrixT CutBack() const
    {
        alignas( 16 ) float Lanes[ 4 ][ 4 ];
        StoreAll( Lanes );
        MatrixT Result;
        for ( int32 J = 0; J < nColumns; ++J )
        {
            for ( int32 I = 0; I < 3; ++I )
            {
                Result( I, J ) = Lanes[ J ][ I ];
            }
        }
        return Result;
    }

    void StoreAll( float ( &Lanes )[ 4 ][ 4 ] ) const
    {
        for ( int32 J = 0; J < 4; ++J )
        {
            StoreColumn( Lanes[ J ], _Columns[ J ] );
        }
    }

    SColumn _Columns[ 4 ];
};

// Quaternion helpers. Angles are in radians; rotations are counter-clockwise seen against the axis.

// Yaw about z, pitch about y, roll about x, from half angles; the rotation applies roll first, then pitch,
// then yaw.
CQuaternion QuaternionFromEuler( float Yaw, float Pitch, float Roll );
// The shortest rotation that turns the direction of From into the direction of To. Opposite vectors turn by
// half a turn about an axis perpendicular to From. REQUIRES: neither vector is zero.
CQuaternion QuaternionBetween( const CVector3& From, const CVector3& To );
// REQUIRES: Axis has unit length.
CQuaternion QuaternionFromAxisAngle( const CVector3& Axis, float Angle );
// REQUIRES: Rotation is a rotation matrix.
CQuaternion QuaternionFromMatrix( const CMatrix3x3& Rotation );
// Interpolation along the shorter arc between two unit quaternions; T in [ 0, 1 ].
CQuaternion QuaternionSlerp( const CQuaternion& From, CQuaternion To, float T );
// The Hamilton product: the rotation Right, then Left.
CQuaternion QuaternionMultiply( const CQuaternion& Left, const CQuaternion& Right );
// REQUIRES: Rotation has unit length.
CVector3 RotateByQuaternion( const CQuaternion& Rotation, const CVector3& Value );

// Two 2D segments given as x1, y1, x2, y2. True only when they cross strictly inside both: a crossing at an
// end point, or parallel segments, give false. Works by slopes, so vertical segments give false.
bool LineSegmentsIntersect( const CVector4& First, const CVector4& Second );
