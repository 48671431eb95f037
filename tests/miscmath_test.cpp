#include "qor_core/miscmath.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace
{
constexpr uint64 nSeed = 20240611;
constexpr int nDraws = 300;

template <typename T>
using UnsignedT = std::make_unsigned_t<T>;
template <typename T>
constexpr int Width = std::numeric_limits<UnsignedT<T>>::digits;

// Reference forms: the slow, obvious computation, in wide arithmetic where the real one relies on bit tricks.
template <typename T>
int ReferenceLeadingZeros( T Value )
{
    int nBits = 0;
    for ( UnsignedT<T> Bits = static_cast<UnsignedT<T>>( Value ); Bits != 0; Bits >>= 1 )
    {
        ++nBits;
    }
    return Width<T> - nBits;
}

template <typename T>
T ReferencePower( T Base, int32 Exponent )
{
    UnsignedT<T> Result = 1;
    for ( int32 I = 0; I < Exponent; ++I )
    {
        Result *= static_cast<UnsignedT<T>>( Base );
    }
    return static_cast<T>( Result );
}

template <typename T>
int32 ReferenceLog2Ceil( T Value )
{
    int32 n = 0;
    while ( static_cast<__int128>( static_cast<unsigned __int128>( 1 ) << n ) < static_cast<__int128>( Value ) )
    {
        ++n;
    }
    return n;
}

template <typename T>
T ReferenceRotLeft( T Value, int32 Shift )
{
    const int32 nSteps = ((Shift % Width<T>)+Width<T>) % Width<T>;
    UnsignedT<T> Bits = static_cast<UnsignedT<T>>( Value );
    for ( int32 I = 0; I < nSteps; ++I )
    {
        Bits = static_cast<UnsignedT<T>>( Bits << 1 | Bits >> ( Width<T> - 1 ) );
    }
    return static_cast<T>( Bits );
}

template <typename T>
T ReferenceSqrt( T Value )
{
    if ( Value < 0 )
    {
        return Value;
    }
    const unsigned __int128 Wide = static_cast<unsigned __int128>( Value );
    unsigned __int128 Root = static_cast<unsigned __int128>( std::sqrt( static_cast<long double>( Value ) ) );
    while ( Root * Root > Wide )
    {
        --Root;
    }
    while ( ( Root + 1 ) * ( Root + 1 ) <= Wide )
    {
        ++Root;
    }
    return static_cast<T>( Root );
}

// Values spread over every bit length, so that small inputs and every top bit are as likely as the largest.
template <typename T>
class CValueSource
{
public:
    explicit CValueSource( uint64 nSeedValue ) : _Random( nSeedValue ) {}

    // A value of a random bit length in [Low, High], rejecting draws outside.
    T Next( T Low = std::numeric_limits<T>::min(), T High = std::numeric_limits<T>::max() )
    {
        for ( ;; )
        {
            const int nBits = std::uniform_int_distribution<int>( 0, Width<T> )( _Random );
            const UnsignedT<T> Mask = nBits == Width<T> ? ~UnsignedT<T>( 0 ) : ( UnsignedT<T>( 1 ) << nBits ) - 1;
            T Value = static_cast<T>( static_cast<UnsignedT<T>>( _Random() ) & Mask );
            if ( std::is_signed_v<T> && nBits < Width<T> && ( _Random() & 1 ) )
            {
                Value = static_cast<T>( UnsignedT<T>( 0 ) - static_cast<UnsignedT<T>>( Value ) );
            }
            if ( Value >= Low && Value <= High )
            {
                return Value;
            }
        }
    }
    int32 NextInt( int32 Low, int32 High ) { return std::uniform_int_distribution<int32>( Low, High )( _Random ); }

private:
    std::mt19937_64 _Random;
};

// The largest input the unguarded loop of Log2Ceil_Legacy ends for: 2^(width - 2) signed, 2^(width - 1) unsigned.
template <typename T>
constexpr T LegacyLimit = std::is_signed_v<T> ? T( 1 ) << ( Width<T> - 2 ) : T( 1 ) << ( Width<T> - 1 );

template <typename T>
constexpr T SqrtOfMax = sizeof( T ) == 4 ? ( std::is_signed_v<T> ? 46340 : 65535 )
                                         : ( std::is_signed_v<T> ? T( 3037000499 ) : T( 4294967295 ) );

// Every form in a constant expression; a call that fell back to run-time code would not compile.
template <typename T>
consteval bool EvaluatesAtCompileTime()
{
    constexpr T Max = std::numeric_limits<T>::max();
    constexpr int Signed = std::is_signed_v<T> ? 1 : 0;
    return LeadingZeroCount( T( 0 ) ) == Width<T> && LeadingZeroCount( T( 1 ) ) == Width<T> - 1 &&
           LeadingZeroCount( Max ) == Signed && Power( T( 3 ), 5 ) == T( 243 ) && Power( T( 7 ), 0 ) == T( 1 ) &&
           Power_Legacy( T( 3 ), 5 ) == T( 243 ) && Power_Legacy( T( 2 ), -1 ) == T( 1 ) &&
           PowerHelper( T( 2 ), 3, T( 5 ) ) == T( 40 ) && Log2Ceil( T( 5 ) ) == 3 &&
           Log2Ceil( Max ) == Width<T> - Signed && Log2Ceil_Legacy( T( 5 ) ) == 3 &&
           Log2Ceil_Legacy( LegacyLimit<T> ) == Width<T> - 1 - Signed && CeilToPowerOf2( T( 5 ) ) == T( 8 ) &&
           CeilToPowerOf2_Legacy( T( 5 ) ) == T( 8 ) && RotLeft( T( 3 ), Width<T> ) == T( 3 ) &&
           RotLeft( T( 1 ), -1 ) == RotLeft_Legacy( T( 1 ), -1 ) && QorSqrti( T( 17 ) ) == T( 4 ) &&
           QorSqrti( Max ) == SqrtOfMax<T>;
}
static_assert( EvaluatesAtCompileTime<int32>() );
static_assert( EvaluatesAtCompileTime<uint32>() );
static_assert( EvaluatesAtCompileTime<int64>() );
static_assert( EvaluatesAtCompileTime<uint64>() );
static_assert( FloorToInt( -1.5f ) == -2 && NPriv::Utility_StdFloorToInt()( -1.5f ) == -2 );
static_assert( RoundUpToPowerOf2( 0 ) == 1 && RoundUpToPowerOf2( 1000 ) == 1024 );
} // namespace

template <typename T>
class CMiscMathTyped : public testing::Test
{
};
using IntegerTypes = testing::Types<int32, uint32, int64, uint64>;
TYPED_TEST_SUITE( CMiscMathTyped, IntegerTypes );

// One spread value per draw through every form, against the references.
TYPED_TEST( CMiscMathTyped, EveryFormMatchesItsReferenceOnSpreadValues )
{
    using T = TypeParam;
    CValueSource<T> Source( nSeed );
    for ( int I = 0; I < nDraws; ++I )
    {
        const T Value = Source.Next();
        SCOPED_TRACE( testing::Message() << "seed " << nSeed << ", draw " << I << ", value " << Value );
        ASSERT_EQ( LeadingZeroCount( Value ), ReferenceLeadingZeros( Value ) );
        ASSERT_EQ( QorSqrti( Value ), ReferenceSqrt( Value ) );
        ASSERT_EQ( Log2Ceil( Value ), ReferenceLog2Ceil( Value ) );
        if ( Value <= LegacyLimit<T> )
        {
            const T Expected = static_cast<T>( UnsignedT<T>( 1 ) << ReferenceLog2Ceil( Value ) );
            ASSERT_EQ( Log2Ceil_Legacy( Value ), Log2Ceil( Value ) );
            ASSERT_EQ( CeilToPowerOf2( Value ), Expected );
            ASSERT_EQ( CeilToPowerOf2_Legacy( Value ), Expected );
        }
        else
        {
            // The power doesn't fit: the shift count wraps to 0 (unsigned) or lands on the sign bit (signed).
            ASSERT_EQ( CeilToPowerOf2( Value ), std::is_signed_v<T> ? std::numeric_limits<T>::min() : T( 1 ) );
        }
        const int32 Shift =
            I % 50 ? Source.NextInt( -3 * Width<T>, 3 * Width<T> ) : Source.NextInt( INT32_MIN, INT32_MAX );
        ASSERT_EQ( RotLeft( Value, Shift ), ReferenceRotLeft( Value, Shift ) ) << "by " << Shift;
        ASSERT_EQ( RotLeft_Legacy( Value, Shift ), ReferenceRotLeft( Value, Shift ) ) << "by " << Shift;
        // Small bases keep the product short of wrapping more often; the wide ones check the wrap itself.
        const T Base = I % 2 ? Value : static_cast<T>( Source.NextInt( std::is_signed_v<T> ? -9 : 0, 9 ) );
        const int32 Exponent = Source.NextInt( 0, I % 3 ? 70 : 1000 );
        ASSERT_EQ( Power( Base, Exponent ), ReferencePower( Base, Exponent ) ) << Base << "^" << Exponent;
        ASSERT_EQ( Power_Legacy( Base, Exponent ), ReferencePower( Base, Exponent ) ) << Base << "^" << Exponent;
    }
    for ( const T Value : { T( 0 ), T( 1 ), LegacyLimit<T>, T( LegacyLimit<T> - 1 ), T( LegacyLimit<T> / 2 + 1 ) } )
    {
        EXPECT_EQ( Log2Ceil_Legacy( Value ), ReferenceLog2Ceil( Value ) ) << Value;
    }
}

TYPED_TEST( CMiscMathTyped, NegativeExponentAssertsInTheCurrentFormOnly )
{
    using T = TypeParam;
    CAssertRecorder Asserts;
    for ( const int32 Exponent : { -1, -2, -31, std::numeric_limits<int32>::min() } )
    {
        Asserts.Clear();
        EXPECT_EQ( Power( T( 2 ), Exponent ), std::numeric_limits<T>::max() );
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Exponent >= 0" } );
        ASSERT_EQ( Asserts.Reports().size(), 1u );
        EXPECT_NE( Asserts.Reports()[0].File.find( "miscmath" ), std::string::npos );

        Asserts.Clear();
        EXPECT_EQ( Power_Legacy( T( 2 ), Exponent ), T( 1 ) );
        EXPECT_TRUE( Asserts.Texts().empty() );
    }
}

TEST( MiscMath, FloorToIntMatchesStdFloorOnRandomFloats )
{
    EXPECT_EQ( FloorToInt( -1.5f ), -2 );
    EXPECT_EQ( FloorToInt( 1.5f ), 1 );
    EXPECT_EQ( FloorToInt( -2.0f ), -2 );
    EXPECT_EQ( FloorToInt( -0.25f ), -1 );
    std::mt19937 Random( static_cast<uint32>( nSeed ) );
    std::uniform_real_distribution<float> Distribution( -200000.0f, 200000.0f );
    for ( int I = 0; I < nDraws; ++I )
    {
        // Every fourth value is whole or a half, where truncation and flooring part most visibly.
        float Value = Distribution( Random );
        if ( I % 4 == 0 )
        {
            Value = std::round( Value * 2.0f ) / 2.0f;
        }
        const int32 Expected = static_cast<int32>( std::floor( Value ) );
        ASSERT_EQ( FloorToInt( Value ), Expected ) << "seed " << nSeed << ", value " << Value;
        ASSERT_EQ( NPriv::Utility_QorFloorToInt()( Value ), Expected ) << "seed " << nSeed << ", value " << Value;
        ASSERT_EQ( NPriv::Utility_StdFloorToInt()( Value ), Expected ) << "seed " << nSeed << ", value " << Value;
    }
}

TEST( MiscMath, RoundUpToPowerOf2DoublesUpToTheTopAndAssertsBeyond )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( RoundUpToPowerOf2( 0 ), 1u );
    EXPECT_EQ( RoundUpToPowerOf2( 1 ), 1u );
    EXPECT_EQ( RoundUpToPowerOf2( 2147483646u ), 0x80000000u );
    std::mt19937 Random( static_cast<uint32>( nSeed ) );
    for ( int I = 0; I < nDraws; ++I )
    {
        const uint32 Value = std::uniform_int_distribution<uint32>( 2, 2147483646u )( Random ) >> ( I % 31 );
        ASSERT_EQ( RoundUpToPowerOf2( Value ), CeilToPowerOf2( Value ) ) << "seed " << nSeed << ", value " << Value;
    }
    EXPECT_TRUE( Asserts.Texts().empty() );

    EXPECT_EQ( RoundUpToPowerOf2( 2147483647u ), 0x80000000u );
    EXPECT_EQ( RoundUpToPowerOf2( 0x80000000u ), 0x80000000u );
    EXPECT_EQ( RoundUpToPowerOf2( 0x80000001u ), 0u );
    EXPECT_EQ( RoundUpToPowerOf2( UINT32_MAX ), 0u );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>( 4, "i < UINT32_MAX / 2" ) );
}
