#include "qor_core/qor_optional.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

static_assert( std::is_trivially_copyable_v<CQorOptional<int32>>, "a trivial value keeps the optional trivial" );
static_assert( !std::is_trivially_copyable_v<CQorOptional<std::string>> );

TEST( CQorOptional, KeepsTheLifetimeOfItsValue )
{
    CTrackedElement::ResetCounts();
    {
        CQorOptional<CTrackedElement> First( CTrackedElement( 1 ) );
        CQorOptional<CTrackedElement> Copy( First );
        CQorOptional<CTrackedElement> Moved( std::move( First ) );
        EXPECT_EQ( Copy.GetValue().Value(), 1 );
        EXPECT_EQ( Moved.GetValue().Value(), 1 );
        EXPECT_TRUE( First.IsSet() );

        CQorOptional<CTrackedElement> Empty;
        EXPECT_EQ( Empty.GetValueOr( CTrackedElement( 5 ) ).Value(), 5 );
        Copy = Empty;
        EXPECT_FALSE( static_cast<bool>( Copy ) );
        Copy = Moved;
        EXPECT_EQ( Copy.GetValue().Value(), 1 );
        Moved.Emplace( 7 );
        Copy = std::move( Moved );
        EXPECT_EQ( Copy.GetValue().Value(), 7 );
        Empty = Copy;
        EXPECT_EQ( Empty.GetValueOr( CTrackedElement( 5 ) ).Value(), 7 );
        EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 4 );
        Empty.Reset();
        EXPECT_TRUE( !Empty.IsSet() && CTrackedElement::s_Counts.Alive() == 3 );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

TEST( CQorOptional, ReadingAnUnsetValueReports )
{
    CAssertRecorder Asserts;
    CQorOptional<std::string> Unset;
    const CQorOptional<std::string>& ConstUnset = Unset;
    EXPECT_EQ( &Unset.GetValue(), &ConstUnset.GetValue() );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Can't get unset value for optional",
                                                            "Can't get unset value for optional" } ) );
}
