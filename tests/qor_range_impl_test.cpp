#include "qor_core/qor_range_impl.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <forward_list>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace
{
const int Numbers[] = { 1, 2, 3, 4, 5 };

// A forward iterator over Numbers that counts its steps.
struct SCountingIterator
{
    using iterator_category = std::forward_iterator_tag;
    using value_type = int;
    using difference_type = std::ptrdiff_t;
    static inline int s_nSteps = 0;
    const int* p = nullptr;

    const int& operator*() const { return *p; }
    SCountingIterator& operator++() { return ++s_nSteps, ++p, *this; }
    SCountingIterator operator++( int ) { return std::exchange( *this, std::next( *this ) ); }
    friend bool operator==( SCountingIterator, SCountingIterator ) = default;
};
} // namespace

// Each row: what the range holds afterwards, and the report on the way.
TEST( CQorRange, StepsAndReportsStepsOutOfRange )
{
    const std::list<int> List( std::begin( Numbers ), std::end( Numbers ) );
    const std::forward_list<int> ForwardList( std::begin( Numbers ), std::end( Numbers ) );
    const CQorRange Array( std::begin( Numbers ), std::end( Numbers ) );
    const CQorRange Forward( ForwardList.begin(), ForwardList.end() );
    const auto Values = []( auto Range ) { return std::vector<int>( Range.begin(), Range.end() ); };
    const struct
    {
        std::function<std::vector<int>()> Act;
        std::vector<int> Values;
        std::vector<std::string> Texts;
    } Rows[] = {
        { [&] { return Values( CQorRange( List.begin(), List.end() ).Advance( 3 ).Advance( -2 ) ); },
          { 2, 3, 4, 5 },
          {} },
        { [&] { return Values( Array.Next( 2 ) ); }, { 3, 4, 5 }, {} },
        { [&] { return Values( Array.Next( 6 ) ); }, {}, { "RandomAccessRange::Next out of range: Dist 6, size 5" } },
        { [&] { return Values( CQorRange( Array ).Advance( 6 ) ); }, {}, { "Iterator::Advance out of range" } },
        { [&] { return Values( CQorRange( Forward ).Advance( 9 ) ); }, {}, { "Iterator::Advance out of range" } },
        { [&] { return Values( CQorRange( Forward ).Advance( -1 ) ); }, { 1, 2, 3, 4, 5 }, { "Distance >= 0" } },
        { [&] { return Values( Array.Next( 5 ) ); }, {}, {} },
    };
    for ( const auto& Row : Rows )
    {
        CAssertRecorder Asserts;
        EXPECT_EQ( Row.Act(), Row.Values );
        EXPECT_EQ( Asserts.Texts(), Row.Texts );
    }
}

// Advance counts the range before it steps only while its report could be shown.
TEST( CQorRange, AdvanceCountsOnlyForALiveSite )
{
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
