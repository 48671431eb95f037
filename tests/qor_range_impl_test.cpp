#include "qor_core/qor_range_impl.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <forward_list>
#include <functional>
#include <iterator>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace
{
// A forward iterator over an int array that counts its steps.
struct SCountingIterator
{
    using iterator_category = std::forward_iterator_tag;
    using value_type = int;
    using difference_type = std::ptrdiff_t;
    using pointer = const int*;
    using reference = const int&;

    static inline int s_nSteps = 0;
    const int* p = nullptr;

    reference operator*() const { return *p; }
    SCountingIterator& operator++()
    {
        ++s_nSteps;
        ++p;
        return *this;
    }
    SCountingIterator operator++( int ) { return std::exchange( *this, std::next( *this ) ); }
    friend bool operator==( SCountingIterator, SCountingIterator ) = default;
};
static_assert( std::forward_iterator<SCountingIterator> );

template <typename RangeT>
std::vector<int> Values( const RangeT& Range )
{
    return std::vector<int>( Range.begin(), Range.end() );
}
} // namespace

TEST( CQorRange, StepsOnEveryIteratorKind )
{
    const int Numbers[] = { 1, 2, 3, 4, 5 };
    std::list<int> List( std::begin( Numbers ), std::end( Numbers ) );
    CQorRange ListRange( List.begin(), List.end() );
    EXPECT_EQ( Values( ListRange.Advance( 3 ) ), ( std::vector<int>{ 4, 5 } ) );
    EXPECT_EQ( Values( ListRange.Advance( -2 ) ), ( std::vector<int>{ 2, 3, 4, 5 } ) );
    EXPECT_EQ( ListRange.GetSize(), 4 );
    EXPECT_TRUE( ListRange.Advance( 4 ).IsEmpty() );

    const CQorRange Array( std::begin( Numbers ), std::end( Numbers ) );
    EXPECT_EQ( Values( Array.Next( 2 ) ), ( std::vector<int>{ 3, 4, 5 } ) );
    EXPECT_EQ( Values( Array.Next( 5 ).Next( -1 ) ), ( std::vector<int>{ 5 } ) );
    CAssertRecorder Asserts;
    EXPECT_TRUE( Array.Next( 5 ).IsEmpty() );
    EXPECT_TRUE( Asserts.Reports().empty() );
}

// Misuse reports its text and the range stops at end.
TEST( CQorRange, ReportsStepsOutOfRange )
{
    const int Numbers[] = { 1, 2, 3, 4, 5 };
    std::forward_list<int> List( std::begin( Numbers ), std::end( Numbers ) );
    struct SCase
    {
        std::function<bool()> Act; // true when the range ended at end
        std::string Text;
    } Cases[] = {
        { [&] { return CQorRange( std::begin( Numbers ), std::end( Numbers ) ).Next( 6 ).IsEmpty(); },
          "RandomAccessRange::Next out of range: Dist 6, size 5" },
        { [&] { return CQorRange( std::begin( Numbers ), std::end( Numbers ) ).Advance( 6 ).IsEmpty(); },
          "Iterator::Advance out of range" },
        { [&] { return CQorRange( List.begin(), List.end() ).Advance( 9 ).IsEmpty(); },
          "Iterator::Advance out of range" },
        { [&] { return CQorRange( List.begin(), List.end() ).Advance( -1 ).GetSize() == 5; }, "Distance >= 0" },
        { [&] {
             CQorRange<int*> Empty;
             Empty.PopFront();
             return Empty.IsEmpty();
         },
          "!IsEmpty()" },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        EXPECT_TRUE( Case.Act() ) << Case.Text;
        EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ Case.Text } );
    }
}

// Advance counts the range before it steps only while its report could be shown.
TEST( CQorRange, AdvanceCountsOnlyForALiveSite )
{
    const int Numbers[] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    const CQorRange Range( SCountingIterator{ std::begin( Numbers ) }, SCountingIterator{ std::end( Numbers ) } );
    SCountingIterator::s_nSteps = 0;
    EXPECT_EQ( *CQorRange( Range ).Advance( 3 ).begin(), 4 );
    EXPECT_GT( SCountingIterator::s_nSteps, 3 );

    g_bAssertsEnabled = false;
    SCountingIterator::s_nSteps = 0;
    EXPECT_EQ( *CQorRange( Range ).Advance( 3 ).begin(), 4 );
    EXPECT_EQ( SCountingIterator::s_nSteps, 3 );
    EXPECT_TRUE( CQorRange( Range ).Advance( 20 ).IsEmpty() );
    g_bAssertsEnabled = true;
}
