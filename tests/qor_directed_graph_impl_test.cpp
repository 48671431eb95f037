#include "qor_core/qor_directed_graph_impl.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace NQorDirectedGraph;

static_assert( std::forward_iterator<CNode<int32, void>::OutgoingEdgeRange::iterator> );
static_assert( std::forward_iterator<CNode<int32, void>::IncomingEdgeRange::iterator> );
static_assert( std::forward_iterator<CQorDirectedGraph<int32>::NodeRange::iterator> );

namespace
{
const std::string DuplicateText =
    "New edge would duplicate an existing edge in the graph, violating the unique edge policy.";
const std::string CycleText = "New edge would create a cycle, violating the acyclic policy.";

// The graph as plain sets: edge ids per node, newest first, and the nodes in the order they were added.
struct SModel
{
    std::vector<int> Nodes;
    std::map<int, std::pair<int, int>> Edges;
    std::map<int, std::vector<int>> Out, In;

    bool Reaches( int nFrom, int nTo ) const
    {
        std::vector<int> Stack{ nFrom }, Seen{ nFrom };
        while ( !Stack.empty() )
        {
            const int nNode = Stack.back();
            Stack.pop_back();
            if ( nNode == nTo )
            {
                return true;
            }
            for ( const int nEdge : Out.at( nNode ) )
            {
                const int nTarget = Edges.at( nEdge ).second;
                if ( std::find( Seen.begin(), Seen.end(), nTarget ) == Seen.end() )
                {
                    Seen.push_back( nTarget );
                    Stack.push_back( nTarget );
                }
            }
        }
        return false;
    }
    bool HasEdge( int nFrom, int nTo ) const
    {
        return std::ranges::any_of( Out.at( nFrom ), [&]( int nEdge ) { return Edges.at( nEdge ).second == nTo; } );
    }
    void AddEdge( int nEdge, int nSource, int nTarget )
    {
        Edges[ nEdge ] = { nSource, nTarget };
        Out[ nSource ].insert( Out[ nSource ].begin(), nEdge );
        In[ nTarget ].insert( In[ nTarget ].begin(), nEdge );
    }
    void RemoveEdge( int nEdge )
    {
        const auto [ nSource, nTarget ] = Edges.at( nEdge );
        std::erase( Out[ nSource ], nEdge );
        std::erase( In[ nTarget ], nEdge );
        Edges.erase( nEdge );
    }
    void RemoveNode( int nNode )
    {
        while ( !Out[ nNode ].empty() )
        {
            RemoveEdge( Out[ nNode ].front() );
        }
        while ( !In[ nNode ].empty() )
        {
            RemoveEdge( In[ nNode ].front() );
        }
        std::erase( Nodes, nNode );
        Out.erase( nNode );
        In.erase( nNode );
    }
};

template <typename RangeT>
std::vector<int> EdgeIds( const RangeT& Range )
{
    std::vector<int> Ids;
    for ( const auto& Edge : Range )
    {
        Ids.push_back( Edge.GetData().Value() );
    }
    return Ids;
}
} // namespace

template <typename PolicyT>
class CQorDirectedGraphTyped : public testing::Test
{
protected:
    void SetUp() override { CTrackedElement::ResetCounts(); }
    void TearDown() override { EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 ) << "payloads leaked"; }
};
template <EEdgePolicy PoliciesV>
using SPolicy = std::integral_constant<EEdgePolicy, PoliciesV>;
using Policies =
    testing::Types<SPolicy<EEdgePolicy::None>, SPolicy<EEdgePolicy::UniqueEdges>, SPolicy<EEdgePolicy::Acyclic>,
                   SPolicy<EEdgePolicy::UniqueEdges | EEdgePolicy::Acyclic>>;
TYPED_TEST_SUITE( CQorDirectedGraphTyped, Policies );

// Random additions and removals against the model, with handles on every node and edge ever made held across
// the changes: each policy reports exactly the duplicates and cycles the model finds, and nothing else.
TYPED_TEST( CQorDirectedGraphTyped, AgreesWithAdjacencySetsAndKeepsHandles )
{
    using GraphT = CQorDirectedGraph<CTrackedElement, CTrackedElement, TypeParam::value>;
    for ( uint32 nSeed = 1; nSeed <= 8; ++nSeed )
    {
        SCOPED_TRACE( "seed " + std::to_string( nSeed ) );
        std::mt19937 Random( nSeed );
        auto Draw = [&]( int nHigh ) { return std::uniform_int_distribution<int>( 0, nHigh )( Random ); };
        SModel Model;
        auto SomeNode = [&] { return Model.Nodes.empty() ? -1 : Model.Nodes[ Draw( int( Model.Nodes.size() ) - 1 ) ]; };
        CAssertRecorder Asserts;
        GraphT Graph( 3, 5 );
        // Indexed by id and never shrunk: growth moves every handle.
        std::vector<typename GraphT::SNodeReference> NodeRefs;
        std::vector<typename GraphT::SEdgeReference> EdgeRefs;
        for ( int nStep = 0; nStep < 300; ++nStep )
        {
            const int nOperation = Model.Nodes.empty() ? 0 : Draw( 11 );
            const int nSomeNode = SomeNode();
            if ( nOperation <= 1 )
            {
                const int nId = int( NodeRefs.size() );
                NodeRefs.emplace_back( Graph.AddNode( nId ) );
                Model.Nodes.push_back( nId );
                Model.Out[ nId ];
                Model.In[ nId ];
            }
            else if ( nOperation <= 7 )
            {
                const int nTarget = SomeNode();
                std::vector<std::string> Expected;
                if ( GraphT::bUniqueEdges && Model.HasEdge( nSomeNode, nTarget ) )
                {
                    Expected.push_back( DuplicateText );
                }
                if ( GraphT::bAcyclic && Model.Reaches( nTarget, nSomeNode ) )
                {
                    Expected.push_back( CycleText );
                }
                const int nId = int( EdgeRefs.size() );
                EdgeRefs.emplace_back(
                    Graph.AddEdge( NodeRefs[ nSomeNode ].Get(), NodeRefs[ nTarget ].Get(), nId ) );
                Model.AddEdge( nId, nSomeNode, nTarget );
                EXPECT_EQ( Asserts.Texts(), Expected ) << "edge " << nSomeNode << " -> " << nTarget;
                Asserts.Clear();
                // A refused edge stands; half of them go again, so the graph holds cycles some of the time.
                if ( !Expected.empty() && Draw( 1 ) )
                {
                    Graph.RemoveEdge( EdgeRefs.back().Get() );
                    Model.RemoveEdge( nId );
                }
            }
            else if ( nOperation <= 9 && !Model.Edges.empty() )
            {
                auto It = std::next( Model.Edges.begin(), Draw( int( Model.Edges.size() ) - 1 ) );
                Graph.RemoveEdge( EdgeRefs[ It->first ].Get() );
                Model.RemoveEdge( It->first );
            }
            else if ( nOperation == 10 )
            {
                Graph.RemoveNode( NodeRefs[ nSomeNode ].Get() );
                Model.RemoveNode( nSomeNode );
            }
            else if ( Draw( 20 ) == 0 )
            {
                Draw( 1 ) ? Graph.Clear() : Graph.Reset();
                Model = SModel();
            }

            ASSERT_TRUE( Graph.Validate() ) << "step " << nStep;
            ASSERT_EQ( CTrackedElement::s_Counts.Alive(), int( Model.Nodes.size() + Model.Edges.size() ) );
            std::vector<int> Order;
            for ( const auto& Node : Graph.GetNodes() )
            {
                Order.push_back( Node.GetData().Value() );
            }
            ASSERT_EQ( Order, Model.Nodes ) << "step " << nStep;
            for ( int nId = 0; nId < int( NodeRefs.size() ); ++nId )
            {
                const bool bLive = Model.Out.count( nId ) != 0;
                ASSERT_EQ( bool( NodeRefs[ nId ] ), bLive ) << "node " << nId;
                if ( bLive )
                {
                    ASSERT_EQ( EdgeIds( NodeRefs[ nId ]->GetOutgoingEdges() ), Model.Out[ nId ] ) << "node " << nId;
                    ASSERT_EQ( EdgeIds( NodeRefs[ nId ]->GetIncomingEdges() ), Model.In[ nId ] ) << "node " << nId;
                }
            }
            for ( int nId = 0; nId < int( EdgeRefs.size() ); ++nId )
            {
                const auto It = Model.Edges.find( nId );
                ASSERT_EQ( bool( EdgeRefs[ nId ] ), It != Model.Edges.end() ) << "edge " << nId;
                if ( It != Model.Edges.end() )
                {
                    ASSERT_EQ( EdgeRefs[ nId ]->GetSource()->GetData().Value(), It->second.first );
                    ASSERT_EQ( EdgeRefs[ nId ]->GetTarget()->GetData().Value(), It->second.second );
                }
            }
            if ( !Model.Nodes.empty() )
            {
                const int nFrom = SomeNode();
                const int nTo = SomeNode();
                const bool bReaches = Model.Reaches( nFrom, nTo );
                for ( const int32 nMode : { 1, 2, 7 } )
                {
                    ASSERT_EQ( Graph.IsReachable( NodeRefs[ nFrom ].Get(), NodeRefs[ nTo ].Get(), nMode ), bReaches )
                        << nFrom << " -> " << nTo << " mode " << nMode;
                }
                ASSERT_EQ( Graph.FindEdge( NodeRefs[ nFrom ].Get(), NodeRefs[ nTo ].Get() ) != nullptr,
                           Model.HasEdge( nFrom, nTo ) );
            }
        }
        EXPECT_TRUE( Asserts.Reports().empty() );
    }
}

TEST( QorDirectedGraph, ReportsMisuseAndCarriesOn )
{
    using GraphT = CQorDirectedGraph<int32, void, EEdgePolicy::UniqueEdges | EEdgePolicy::Acyclic>;
    const std::string SecondNodeLink =
        "The node is already linked with another SNodeReference, and cannot receive a second link.";
    const std::string SecondEdgeLink =
        "The edge is already linked with another SEdgeReference, and cannot receive a second link.";
    struct SCase
    {
        const char* pWhat;
        std::function<void( GraphT&, GraphT::NodeType*, GraphT::NodeType* )> Act;
        std::vector<std::string> Texts;
        int32 nEdges;
    };
    const SCase Cases[] = {
        { "self-edge", []( GraphT& G, auto* pA, auto* ) { G.AddEdge( pA, pA ); }, { CycleText }, 1 },
        { "second self-edge", []( GraphT& G, auto* pA, auto* ) { G.AddEdge( pA, pA );
                                                   G.AddEdge( pA, pA ); },
          { CycleText, DuplicateText, CycleText }, 2 },
        { "same ends twice", []( GraphT& G, auto* pA, auto* pB ) { G.AddEdge( pA, pB );
                                                   G.AddEdge( pA, pB ); },
          { DuplicateText }, 2 },
        { "closing a cycle", []( GraphT& G, auto* pA, auto* pB ) { G.AddEdge( pA, pB );
                                                   G.AddEdge( pB, pA ); },
          { CycleText }, 2 },
        { "null end", []( GraphT& G, auto* pA, auto* ) { EXPECT_EQ( G.AddEdge( pA, nullptr ), nullptr ); },
          { "pSource && pTarget" }, 0 },
        { "second node handle",
          []( GraphT&, auto* pA, auto* ) {
              GraphT::SNodeReference First( pA ), Second( pA );
              EXPECT_FALSE( First );
              EXPECT_EQ( Second.Get(), pA );
          },
          { SecondNodeLink }, 0 },
        { "second edge handle",
          []( GraphT& G, auto* pA, auto* pB ) {
              GraphT::EdgeType* pEdge = G.AddEdge( pA, pB );
              GraphT::SEdgeReference First( pEdge ), Second( pEdge );
              EXPECT_FALSE( First );
              EXPECT_EQ( Second.Get(), pEdge );
              G.RemoveEdge( pEdge );
              EXPECT_FALSE( Second );
          },
          { SecondEdgeLink }, 0 },
    };
    for ( const SCase& Case : Cases )
    {
        CAssertRecorder Asserts;
        GraphT Graph;
        GraphT::NodeType* pA = Graph.AddNode( 1 );
        Case.Act( Graph, pA, Graph.AddNode( 2 ) );
        EXPECT_EQ( Asserts.Texts(), Case.Texts ) << Case.pWhat;
        EXPECT_EQ( Graph.GetEdgeCount(), Case.nEdges ) << Case.pWhat;
        EXPECT_TRUE( Graph.Validate() ) << Case.pWhat;
    }
}

namespace
{
// Sets the once flag, as "Always ignore" would, and remembers it so that the test can clear it again.
bool* g_pSilencedSite = nullptr;
void SilenceSite( const char*, const char*, uint32, bool, bool*, bool* pOnce )
{
    *pOnce = true;
    g_pSilencedSite = pOnce;
}
} // namespace

// The cycle search of a long chain needs more than the stack's inline room, so each search shows as an
// allocation: none while assertions are off or the site is silenced.
TEST( QorDirectedGraph, CycleSearchRunsOnlyForALiveSite )
{
    CCountingAllocator Scratch;
    CQorDirectedGraph<int32, void, EEdgePolicy::Acyclic> Graph( 16, 16, &Scratch );
    std::vector<CNode<int32, void>*> Chain;
    for ( int32 I = 0; I < 100; ++I )
    {
        Chain.push_back( Graph.AddNode( I ) );
        if ( I > 0 )
        {
            Graph.AddEdge( Chain[ I - 1 ], Chain[ I ] );
        }
    }
    ASSERT_EQ( Scratch.AllocateCalls(), 0 );

    g_bAssertsEnabled = false;
    Graph.RemoveEdge( Graph.AddEdge( Chain.back(), Chain.front() ) );
    g_bAssertsEnabled = true;
    EXPECT_EQ( Scratch.AllocateCalls(), 0 );

    const FQorAssertHandler pPrevious = SetAssertHandler( &SilenceSite );
    Graph.RemoveEdge( Graph.AddEdge( Chain.back(), Chain.front() ) );
    const int nSearchAllocations = Scratch.AllocateCalls();
    EXPECT_GT( nSearchAllocations, 0 );
    Graph.RemoveEdge( Graph.AddEdge( Chain.back(), Chain.front() ) );
    SetAssertHandler( pPrevious );
    EXPECT_EQ( Scratch.AllocateCalls(), nSearchAllocations );
    ASSERT_NE( g_pSilencedSite, nullptr );
    *g_pSilencedSite = false;
    EXPECT_EQ( Scratch.LiveBlocks(), 0 );
}
