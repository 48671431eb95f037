#include "qor_core/qor_directed_graph_impl.h"

#include "tests/assert_recorder.h"
#include "tests/test_types.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace NQorDirectedGraph;

static_assert( std::forward_iterator<CNode<int32, void>::OutgoingEdgeRange::iterator> );
static_assert( std::forward_iterator<CQorDirectedGraph<int32>::NodeRange::iterator> );

namespace
{
const std::string DuplicateText =
    "New edge would duplicate an existing edge in the graph, violating the unique edge policy.";
const std::string CycleText = "New edge would create a cycle, violating the acyclic policy.";

// The graph as plain data: the nodes in the order they were added, and the ends of each edge by id. Ids only
// grow, so a node's edges, newest first, are its edges by falling id.
struct SModel
{
    std::vector<int> Nodes;
    std::map<int, std::pair<int, int>> Edges;

    std::vector<int> EdgesOf( int nNode, bool bLeaving ) const
    {
        std::vector<int> Ids;
        for ( auto It = Edges.rbegin(); It != Edges.rend(); ++It )
        {
            if ( ( bLeaving ? It->second.first : It->second.second ) == nNode )
            {
                Ids.push_back( It->first );
            }
        }
        return Ids;
    }
    bool HasEdge( int nFrom, int nTo ) const
    {
        return std::ranges::any_of( Edges, [&]( const auto& Edge ) { return Edge.second == std::pair( nFrom, nTo ); } );
    }
    bool Reaches( int nFrom, int nTo ) const
    {
        std::set<int> Seen;
        std::vector<int> Stack{ nFrom };
        while ( !Stack.empty() && Stack.back() != nTo )
        {
            const int nNode = Stack.back();
            Stack.pop_back();
            for ( const auto& [ nId, Ends ] : Edges )
            {
                if ( Ends.first == nNode && Seen.insert( Ends.second ).second )
                {
                    Stack.push_back( Ends.second );
                }
            }
        }
        return !Stack.empty();
    }
    void RemoveNode( int nNode )
    {
        std::erase_if( Edges, [&]( const auto& E ) { return E.second.first == nNode || E.second.second == nNode; } );
        std::erase( Nodes, nNode );
    }
};

// The payload values of a range of nodes or edges.
template <typename RangeT>
std::vector<int> Ids( const RangeT& Range )
{
    std::vector<int> Ids;
    for ( const auto& Object : Range )
    {
        Ids.push_back( Object.GetData().Value() );
    }
    return Ids;
}
} // namespace

template <typename PolicyT>
class CQorDirectedGraphTyped : public testing::Test
{
};
template <EEdgePolicy PoliciesV>
using SPolicy = std::integral_constant<EEdgePolicy, PoliciesV>;
using Policies =
    testing::Types<SPolicy<EEdgePolicy::None>, SPolicy<EEdgePolicy::UniqueEdges>, SPolicy<EEdgePolicy::Acyclic>,
                   SPolicy<EEdgePolicy::UniqueEdges | EEdgePolicy::Acyclic>>;
TYPED_TEST_SUITE( CQorDirectedGraphTyped, Policies );

// Random additions and removals against the model, with handles on every node and edge ever made held across
// the changes: each policy reports exactly the duplicates and cycles the model finds, and nothing else.
TYPED_TEST( CQorDirectedGraphTyped, AgreesWithAdjacencyListsAndKeepsHandles )
{
    using GraphT = CQorDirectedGraph<CTrackedElement, CTrackedElement, TypeParam::value>;
    for ( uint32 nSeed = 1; nSeed <= 8; ++nSeed )
    {
        SCOPED_TRACE( "seed " + std::to_string( nSeed ) );
        std::mt19937 Random( nSeed );
        auto Draw = [&]( int nHigh ) { return std::uniform_int_distribution<int>( 0, nHigh )( Random ); };
        SModel Model;
        auto SomeNode = [&] { return Model.Nodes.empty() ? -1 : Model.Nodes[ Draw( int( Model.Nodes.size() ) - 1 ) ]; };
        CTrackedElement::ResetCounts();
        CAssertRecorder Asserts;
        GraphT Graph( 3, 5 );
        // Indexed by id and never shrunk: growth moves every handle.
        std::vector<typename GraphT::SNodeReference> NodeRefs;
        std::vector<typename GraphT::SEdgeReference> EdgeRefs;
        for ( int nStep = 0; nStep < 300; ++nStep )
        {
            const int nOperation = Model.Nodes.empty() ? 0 : Draw( 11 );
            const int nSource = SomeNode(), nTarget = SomeNode();
            if ( nOperation <= 1 )
            {
                Model.Nodes.push_back( int( NodeRefs.size() ) );
                NodeRefs.emplace_back( Graph.AddNode( Model.Nodes.back() ) );
            }
            else if ( nOperation <= 7 )
            {
                std::vector<std::string> Expected;
                if ( GraphT::bUniqueEdges && Model.HasEdge( nSource, nTarget ) )
                {
                    Expected.push_back( DuplicateText );
                }
                if ( GraphT::bAcyclic && Model.Reaches( nTarget, nSource ) )
                {
                    Expected.push_back( CycleText );
                }
                const int nId = int( EdgeRefs.size() );
                EdgeRefs.emplace_back( Graph.AddEdge( NodeRefs[ nSource ].Get(), NodeRefs[ nTarget ].Get(), nId ) );
                Model.Edges[ nId ] = { nSource, nTarget };
                EXPECT_EQ( Asserts.Texts(), Expected ) << "edge " << nSource << " -> " << nTarget;
                Asserts.Clear();
                // A refused edge stands; half of them go again, so the graph holds cycles some of the time.
                if ( !Expected.empty() && Draw( 1 ) )
                {
                    Graph.RemoveEdge( EdgeRefs.back().Get() );
                    Model.Edges.erase( nId );
                }
            }
            else if ( nOperation <= 9 && !Model.Edges.empty() )
            {
                const int nId = std::next( Model.Edges.begin(), Draw( int( Model.Edges.size() ) - 1 ) )->first;
                Graph.RemoveEdge( EdgeRefs[ nId ].Get() );
                Model.Edges.erase( nId );
            }
            else if ( nOperation == 10 )
            {
                Graph.RemoveNode( NodeRefs[ nSource ].Get() );
                Model.RemoveNode( nSource );
            }
            else if ( Draw( 20 ) == 0 )
            {
                Draw( 1 ) ? Graph.Clear() : Graph.Reset();
                Model = SModel();
            }

            ASSERT_TRUE( Graph.Validate() ) << "step " << nStep;
            ASSERT_EQ( CTrackedElement::s_Counts.Alive(), int( Model.Nodes.size() + Model.Edges.size() ) );
            ASSERT_EQ( Ids( Graph.GetNodes() ), Model.Nodes ) << "step " << nStep;
            for ( int nId = 0; nId < int( NodeRefs.size() ); ++nId )
            {
                ASSERT_EQ( bool( NodeRefs[ nId ] ), std::ranges::count( Model.Nodes, nId ) == 1 ) << "node " << nId;
                ASSERT_TRUE( !NodeRefs[ nId ] ||
                             ( Ids( NodeRefs[ nId ]->GetOutgoingEdges() ) == Model.EdgesOf( nId, true ) &&
                               Ids( NodeRefs[ nId ]->GetIncomingEdges() ) == Model.EdgesOf( nId, false ) ) )
                    << "node " << nId;
            }
            for ( int nId = 0; nId < int( EdgeRefs.size() ); ++nId )
            {
                ASSERT_EQ( bool( EdgeRefs[ nId ] ), Model.Edges.count( nId ) == 1 ) << "edge " << nId;
            }
            if ( !Model.Nodes.empty() )
            {
                const int nFrom = SomeNode(), nTo = SomeNode();
                for ( const int32 nMode : { 1, 2, 7 } )
                {
                    ASSERT_EQ( Graph.IsReachable( NodeRefs[ nFrom ].Get(), NodeRefs[ nTo ].Get(), nMode ),
                               Model.Reaches( nFrom, nTo ) )
                        << nFrom << " -> " << nTo << " mode " << nMode;
                }
                ASSERT_EQ( Graph.FindEdge( NodeRefs[ nFrom ].Get(), NodeRefs[ nTo ].Get() ) != nullptr,
                           Model.HasEdge( nFrom, nTo ) );
            }
        }
        EXPECT_TRUE( Asserts.Reports().empty() );
    }
    EXPECT_EQ( CTrackedElement::s_Counts.Alive(), 0 );
}

// Each row: the misuse on a graph of nodes A and B with both policies, its reports, and the edges afterwards.
TEST( QorDirectedGraph, ReportsMisuseAndCarriesOn )
{
    using GraphT = CQorDirectedGraph<int32, void, EEdgePolicy::UniqueEdges | EEdgePolicy::Acyclic>;
    using NodeT = GraphT::NodeType;
    const struct
    {
        std::function<void( GraphT&, NodeT*, NodeT* )> Act;
        std::vector<std::string> Texts;
        int32 nEdges;
    } Rows[] = {
        { []( GraphT& G, NodeT* pA, NodeT* ) { G.AddEdge( pA, pA ); }, { CycleText }, 1 },
        { []( GraphT& G, NodeT* pA, NodeT* ) { G.AddEdge( G.AddEdge( pA, pA )->GetSource(), pA ); },
          { CycleText, DuplicateText, CycleText },
          2 },
        { []( GraphT& G, NodeT* pA, NodeT* pB ) { G.AddEdge( G.AddEdge( pA, pB )->GetSource(), pB ); },
          { DuplicateText },
          2 },
        { []( GraphT& G, NodeT* pA, NodeT* pB ) { G.AddEdge( pB, G.AddEdge( pA, pB )->GetSource() ); },
          { CycleText },
          2 },
        { []( GraphT& G, NodeT* pA, NodeT* ) { EXPECT_EQ( G.AddEdge( pA, nullptr ), nullptr ); },
          { "pSource && pTarget" },
          0 },
        { []( GraphT&, NodeT* pA, NodeT* ) {
             GraphT::SNodeReference First( pA ), Second( pA );
             EXPECT_TRUE( !First && Second.Get() == pA ) << "the new handle takes the node";
         },
          { "The node is already linked with another SNodeReference, and cannot receive a second link." },
          0 },
        { []( GraphT& G, NodeT* pA, NodeT* pB ) {
             GraphT::SEdgeReference First( G.AddEdge( pA, pB ) ), Second( First.Get() );
             EXPECT_TRUE( !First && Second ) << "the new handle takes the edge";
             G.RemoveNode( pB );
             EXPECT_FALSE( Second );
         },
          { "The edge is already linked with another SEdgeReference, and cannot receive a second link." },
          0 },
    };
    for ( const auto& Row : Rows )
    {
        CAssertRecorder Asserts;
        GraphT Graph;
        NodeT* pA = Graph.AddNode( 1 );
        Row.Act( Graph, pA, Graph.AddNode( 2 ) );
        EXPECT_EQ( Asserts.Texts(), Row.Texts );
        EXPECT_EQ( Graph.GetEdgeCount(), Row.nEdges );
        EXPECT_TRUE( Graph.Validate() );
    }
}

// The cycle search of a long chain needs more than the stack's inline room, so each search shows as an
// allocation: none while assertions are off or the site is silenced.
TEST( QorDirectedGraph, CycleSearchRunsOnlyForALiveSite )
{
    CCountingAllocator Scratch;
    CQorDirectedGraph<int32, void, EEdgePolicy::Acyclic> Graph( 16, 16, &Scratch );
    std::vector<CNode<int32, void>*> Chain{ Graph.AddNode( 0 ) };
    while ( Chain.size() < 100 )
    {
        Chain.push_back( Graph.AddEdge( Chain.back(), Graph.AddNode( int32( Chain.size() ) ) )->GetTarget() );
    }
    const auto CloseAndOpenTheCycle = [&] { Graph.RemoveEdge( Graph.AddEdge( Chain.back(), Chain.front() ) ); };
    g_bAssertsEnabled = false;
    CloseAndOpenTheCycle();
    g_bAssertsEnabled = true;
    EXPECT_EQ( Scratch.AllocateCalls(), 0 );

    // Sets the once flag, as "Always ignore" would, and keeps it so that the test can clear it again.
    static bool* s_pSilencedSite = nullptr;
    const FQorAssertHandler pPrevious = SetAssertHandler( []( const char*, const char*, uint32, bool, bool*, bool* pOnce )
                                                          { *( s_pSilencedSite = pOnce ) = true; } );
    CloseAndOpenTheCycle();
    const int nSearchAllocations = Scratch.AllocateCalls();
    CloseAndOpenTheCycle();
    SetAssertHandler( pPrevious );
    ASSERT_NE( s_pSilencedSite, nullptr );
    *s_pSilencedSite = false;
    EXPECT_GT( nSearchAllocations, 0 );
    EXPECT_EQ( Scratch.AllocateCalls(), nSearchAllocations );
}
