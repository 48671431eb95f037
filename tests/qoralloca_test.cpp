#include "qor_core/qoralloca.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace
{
const std::string GuardText = "*( reinterpret_cast<int*>( tmp ) ) == (int)0xa110ca7e";

// Writes Count values, reads them back, and returns their sum.
int64 FillAndSum( int Count )
{
    auto Values = QOR_ALLOCA( int32, Count );
    for ( int I = 0; I < Values.GetSize(); ++I )
    {
        Values[ I ] = I + 1;
    }
    int64 nSum = 0;
    for ( int32 nValue : Values )
    {
        nSum += nValue;
    }
    return nSum;
}
} // namespace

TEST( CQorAlloca, HoldsItsElementsBetweenIntactGuards )
{
    CAssertRecorder Asserts;
    EXPECT_EQ( FillAndSum( 100 ), 5050 );
    EXPECT_EQ( FillAndSum( 0 ), 0 );
    {
        auto Wide = QOR_ALLOCA( double, 3 );
        EXPECT_EQ( reinterpret_cast<uintptr_t>( Wide.GetData() ) % alignof( double ), 0u );
    }
    CTrackedElement::ResetCounts();
    {
        auto Tracked = QOR_ALLOCA( CTrackedElement, 5 );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 5 );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
    EXPECT_TRUE( Asserts.Texts().empty() );
}

TEST( CQorAlloca, ReportsIndicesOutOfRange )
{
    CAssertRecorder Asserts;
    auto Values = QOR_ALLOCA( int32, 4 );
    static_cast<void>( &Values[ 4 ] );
    static_cast<void>( &Values[ -1 ] );
    EXPECT_EQ( Asserts.Texts(),
               ( std::vector<std::string>{ "index >= 0 && index < _count", "index >= 0 && index < _count" } ) );
}

// One byte overwritten right behind the data, whatever the element size, or right before it: each guard
// reports once.
TEST( CQorAlloca, ReportsOverwrittenGuards )
{
    CAssertRecorder Asserts;
    {
        auto Values = QOR_ALLOCA( int32, 4 );
        reinterpret_cast<unsigned char*>( Values.GetData() + 4 )[ 0 ] ^= 0xFF;
    }
    {
        auto Text = QOR_ALLOCA( char, 5 );
        Text.GetData()[ 5 ] = 'x';
    }
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ GuardText, GuardText } ) );
    Asserts.Clear();
    {
        auto Values = QOR_ALLOCA( int32, 4 );
        reinterpret_cast<unsigned char*>( Values.GetData() )[ -1 ] ^= 0xFF;
        reinterpret_cast<unsigned char*>( Values.GetData() + 4 )[ 3 ] ^= 0xFF;
    }
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ GuardText, GuardText } ) );
}
