#pragma once

// NQorDirectedGraph: a directed graph whose nodes carry a payload (and edges one too, unless EdgeDataT is
// void). Unlike an adjacency list over arrays, every node and edge is an object of its own from a pool of
// its exact type, and stays at its address until it is removed:
// - a node heads two intrusive lists of edges, those that leave it (toward their targets) and those that
//   reach it (from their sources); an edge sits in both lists, so adding and removing one are O(1), and a
//   new edge goes to the front of both lists;
// - the nodes form one list in the order they were added: the graph order;
// - a node or an edge can carry the back link of one SNodeReference or SEdgeReference, which the object
//   clears when it goes, so a user's handle never dangles;
// - two compile-time policies guard AddEdge: unique edges and acyclic. Their searches run inside the
//   assertion, so they cost nothing while assertions are off or the site is silenced. A violation is
//   reported and the edge is added all the same.
// Nodes and edges come from unsynchronized pools, so the graph is for one thread while it changes; once it
// stands still, any number of threads may walk it at once, and the payloads are theirs to synchronise. The
// allocator given to the graph serves only the scratch of the reachability search.

#include "qor_core/allocator/qor_pool_allocator.h"
#include "qor_core/container/qor_hybrid_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_range_impl.h"

#include <cstddef>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>

namespace NQorDirectedGraph
{
// The checks AddEdge makes, combined with |.
enum class EEdgePolicy : uint32
{
    None = 0,
    // No second edge with the same source and target.
    UniqueEdges = 1,
    // No edge whose target can already reach its source.
    Acyclic = 2,
};
constexpr EEdgePolicy operator|( EEdgePolicy Left, EEdgePolicy Right )
{
    return static_cast<EEdgePolicy>( static_cast<uint32>( Left ) | static_cast<uint32>( Right ) );
}
constexpr bool HasPolicy( EEdgePolicy Policies, EEdgePolicy Policy )
{
    return ( static_cast<uint32>( Policies ) & static_cast<uint32>( Policy ) ) != 0;
}

// The modes of IsReachable.
enum EReachMode : int32
{
    // Follows every path without remembering the nodes it has seen: no memory for a tree-like graph, but a
    // walk over each path of a graph with many joins.
    ReachEveryPath = 1,
    // Visits each node once, with a set of the nodes seen. Any mode other than ReachEveryPath does this.
    ReachEachNodeOnce = 2,
};

template <typename NodeDataT, typename EdgeDataT>
class CNode;
template <typename NodeDataT, typename EdgeDataT>
class CEdge;
template <typename NodeDataT, typename EdgeDataT = void, EEdgePolicy PoliciesV = EEdgePolicy::None>
class CQorDirectedGraph;

namespace NDetail
{
// The links of an object in one doubly linked list: the graph's nodes, or one of a node's edge lists.
template <typename ObjectT>
struct SLinks
{
    ObjectT* pPrevious = nullptr;
    ObjectT* pNext = nullptr;
};

// Walks a list front to back through the links that TraitsT selects.
template <typename ObjectT, typename TraitsT>
class CLinkedIterator
{
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<ObjectT>;
    using difference_type = std::ptrdiff_t;
    using pointer = ObjectT*;
    using reference = ObjectT&;

    CLinkedIterator() = default;
    explicit CLinkedIterator( ObjectT* pObject ) : _pObject( pObject ) {}

    reference operator*() const { return *_pObject; }
    pointer operator->() const { return _pObject; }
    CLinkedIterator& operator++()
    {
        _pObject = TraitsT::Links( *_pObject ).pNext;
        return *this;
    }
    CLinkedIterator operator++( int ) { return std::exchange( *this, std::next( *this ) ); }
    friend bool operator==( const CLinkedIterator&, const CLinkedIterator& ) = default;

private:
    ObjectT* _pObject = nullptr;
};

// Selects the list of the graph's nodes.
struct SNodeLinksTraits
{
    template <typename NodeT>
    static auto& Links( NodeT& Node )
    {
        return Node._NodeLinks;
    }
};
} // namespace NDetail

// Selects the list of the edges that leave a node toward their targets: the node is their source.
struct STargetEdgeLinksTraits
{
    template <typename NodeT>
    static auto& Head( NodeT& Node )
    {
        return Node._pFirstTargetEdge;
    }
    template <typename EdgeT>
    static auto& Links( EdgeT& Edge )
    {
        return Edge._TargetLinks;
    }
    // The node whose list holds the edge.
    template <typename EdgeT>
    static auto* Owner( const EdgeT& Edge )
    {
        return Edge._pSource;
    }
};

// Selects the list of the edges that reach a node from their sources: the node is their target.
struct SSourceEdgeLinksTraits
{
    template <typename NodeT>
    static auto& Head( NodeT& Node )
    {
        return Node._pFirstSourceEdge;
    }
    template <typename EdgeT>
    static auto& Links( EdgeT& Edge )
    {
        return Edge._SourceLinks;
    }
    template <typename EdgeT>
    static auto* Owner( const EdgeT& Edge )
    {
        return Edge._pTarget;
    }
};

// Walks one edge list of a node, front to back. The edges are read-only through it; their ends are not.
template <typename NodeDataT, typename EdgeDataT, typename TraitsT>
using CConstLinkedEdgeIterator = NDetail::CLinkedIterator<const CEdge<NodeDataT, EdgeDataT>, TraitsT>;

namespace NDetail
{
// A user's handle on a node or an edge: it stays valid across changes of the graph and is cleared when its
// object goes. An object carries the back link of one handle at most. A handle moves, and never copies.
template <typename ObjectT>
class SLinkedReference
{
public:
    SLinkedReference() = default;
    explicit SLinkedReference( ObjectT* pObject ) { Link( pObject ); }
    SLinkedReference( SLinkedReference&& Other ) { *this = std::move( Other ); }
    SLinkedReference& operator=( SLinkedReference&& Other )
    {
        if ( this != &Other )
        {
            ObjectT* pObject = Other._pObject;
            Other.Unlink();
            Link( pObject );
        }
        return *this;
    }
    ~SLinkedReference() { Unlink(); }

    // Links this handle with pObject (null unlinks it). An object that has a handle already reports that,
    // and the new handle takes its place: the old one is cleared.
    void Link( ObjectT* pObject )
    {
        if ( pObject == _pObject )
        {
            return;
        }
        Unlink();
        if ( !pObject )
        {
            return;
        }
        QOR_ASSERT_MSG( !pObject->_pReference, "%s", ObjectT::SecondReferenceMessage );
        if ( pObject->_pReference )
        {
            pObject->_pReference->_pObject = nullptr;
        }
        pObject->_pReference = this;
        _pObject = pObject;
    }
    void Unlink()
    {
        if ( _pObject )
        {
            _pObject->_pReference = nullptr;
            _pObject = nullptr;
        }
    }

    // Null once the object has gone.
    ObjectT* Get() const { return _pObject; }
    ObjectT* operator->() const { return _pObject; }
    ObjectT& operator*() const { return *_pObject; }
    explicit operator bool() const { return _pObject != nullptr; }

private:
    friend ObjectT;

    ObjectT* _pObject = nullptr;
};

template <typename NodeDataT, typename EdgeDataT>
using SNodeReference = SLinkedReference<CNode<NodeDataT, EdgeDataT>>;
template <typename NodeDataT, typename EdgeDataT>
using SEdgeReference = SLinkedReference<CEdge<NodeDataT, EdgeDataT>>;

// An edge's payload, or nothing for a void one.
template <typename DataT>
struct SPayload
{
    template <typename... ArgsT>
    explicit SPayload( ArgsT&&... Args ) : _Data( std::forward<ArgsT>( Args )... )
    {
    }
    DataT _Data;
};
template <>
struct SPayload<void>
{
};
} // namespace NDetail

// A node of the graph. Made, owned and destroyed by its graph; valid until it is removed.
template <typename NodeDataT, typename EdgeDataT>
class CNode
{
public:
    using EdgeType = CEdge<NodeDataT, EdgeDataT>;
    // The edges that leave this node, newest first.
    using OutgoingEdgeRange = CQorRange<CConstLinkedEdgeIterator<NodeDataT, EdgeDataT, STargetEdgeLinksTraits>>;
    // The edges that reach this node, newest first.
    using IncomingEdgeRange = CQorRange<CConstLinkedEdgeIterator<NodeDataT, EdgeDataT, SSourceEdgeLinksTraits>>;

    static constexpr const char* SecondReferenceMessage =
        "The node is already linked with another SNodeReference, and cannot receive a second link.";

    CNode( const CNode& ) = delete;
    CNode& operator=( const CNode& ) = delete;

    NodeDataT& GetData() { return _Data; }
    const NodeDataT& GetData() const { return _Data; }

    OutgoingEdgeRange GetOutgoingEdges() const
    {
        return { typename OutgoingEdgeRange::iterator( _pFirstTargetEdge ), {} };
    }
    IncomingEdgeRange GetIncomingEdges() const
    {
        return { typename IncomingEdgeRange::iterator( _pFirstSourceEdge ), {} };
    }
    bool HasOutgoingEdges() const { return _pFirstTargetEdge != nullptr; }
    bool HasIncomingEdges() const { return _pFirstSourceEdge != nullptr; }

private:
    template <typename, typename, EEdgePolicy>
    friend class CQorDirectedGraph;
    friend struct STargetEdgeLinksTraits;
    friend struct SSourceEdgeLinksTraits;
    friend class NDetail::SLinkedReference<CNode>;
    friend struct NDetail::SNodeLinksTraits;

    template <typename... ArgsT>
    explicit CNode( ArgsT&&... Args ) : _Data( std::forward<ArgsT>( Args )... )
    {
    }
    // A handle on the node is cleared: the node goes.
    ~CNode()
    {
        if ( _pReference )
        {
            _pReference->_pObject = nullptr;
        }
    }

    EdgeType* _pFirstTargetEdge = nullptr;
    EdgeType* _pFirstSourceEdge = nullptr;
    NDetail::SLinkedReference<CNode>* _pReference = nullptr;
    NDetail::SLinks<CNode> _NodeLinks;
    NodeDataT _Data;
};

// An edge from its source node to its target node. Made, owned and destroyed by its graph; valid until it
// or one of its ends is removed. A read-only edge still leads to nodes that may change.
template <typename NodeDataT, typename EdgeDataT>
class CEdge
{
public:
    using NodeType = CNode<NodeDataT, EdgeDataT>;

    static constexpr const char* SecondReferenceMessage =
        "The edge is already linked with another SEdgeReference, and cannot receive a second link.";

    CEdge( const CEdge& ) = delete;
    CEdge& operator=( const CEdge& ) = delete;

    NodeType* GetSource() const { return _pSource; }
    NodeType* GetTarget() const { return _pTarget; }

    template <typename DataT = EdgeDataT>
        requires( !std::is_void_v<DataT> )
    DataT& GetData()
    {
        return _Payload._Data;
    }
    template <typename DataT = EdgeDataT>
        requires( !std::is_void_v<DataT> )
    const DataT& GetData() const
    {
        return _Payload._Data;
    }

private:
    template <typename, typename, EEdgePolicy>
    friend class CQorDirectedGraph;
    friend struct STargetEdgeLinksTraits;
    friend struct SSourceEdgeLinksTraits;
    friend class NDetail::SLinkedReference<CEdge>;

    template <typename... ArgsT>
    CEdge( NodeType* pSource, NodeType* pTarget, ArgsT&&... Args )
        : _pSource( pSource ), _pTarget( pTarget ), _Payload( std::forward<ArgsT>( Args )... )
    {
    }
    ~CEdge()
    {
        if ( _pReference )
        {
            _pReference->_pObject = nullptr;
        }
    }

    NodeType* _pSource;
    NodeType* _pTarget;
    NDetail::SLinks<CEdge> _TargetLinks;
    NDetail::SLinks<CEdge> _SourceLinks;
    NDetail::SLinkedReference<CEdge>* _pReference = nullptr;
    [[no_unique_address]] NDetail::SPayload<EdgeDataT> _Payload;
};

// The graph: owns its nodes and edges and the two pools they come from. Not copyable or movable: handles and
// edges point at its nodes.
template <typename NodeDataT, typename EdgeDataT, EEdgePolicy PoliciesV>
class CQorDirectedGraph
{
public:
    using NodeType = CNode<NodeDataT, EdgeDataT>;
    using EdgeType = CEdge<NodeDataT, EdgeDataT>;
    using SNodeReference = NDetail::SNodeReference<NodeDataT, EdgeDataT>;
    using SEdgeReference = NDetail::SEdgeReference<NodeDataT, EdgeDataT>;
    using NodeRange = CQorRange<NDetail::CLinkedIterator<NodeType, NDetail::SNodeLinksTraits>>;
    using ConstNodeRange = CQorRange<NDetail::CLinkedIterator<const NodeType, NDetail::SNodeLinksTraits>>;

    static constexpr bool bUniqueEdges = HasPolicy( PoliciesV, EEdgePolicy::UniqueEdges );
    static constexpr bool bAcyclic = HasPolicy( PoliciesV, EEdgePolicy::Acyclic );

    static_assert( alignof( NodeType ) <= alignof( double ) && alignof( EdgeType ) <= alignof( double ),
                   "Pool slots are aligned for double only" );

    // Pools of nNodesPerPool nodes and nEdgesPerPool edges, made on first use. pAlloc (the global allocator
    // when null) serves the reachability search; the pools keep it as their backing allocator.
    explicit CQorDirectedGraph( int32 nNodesPerPool = 64, int32 nEdgesPerPool = 64, CQorAllocator* pAlloc = nullptr )
        : _NodePool( nNodesPerPool, pAlloc ), _EdgePool( nEdgesPerPool, pAlloc )
    {
    }
    CQorDirectedGraph( const CQorDirectedGraph& ) = delete;
    CQorDirectedGraph& operator=( const CQorDirectedGraph& ) = delete;
    ~CQorDirectedGraph() { Clear(); }

    // A new node at the end of the graph order, its payload made from Args.
    template <typename... ArgsT>
    NodeType* AddNode( ArgsT&&... Args )
    {
        NodeType* pNode = Construct<NodeType>( _NodePool, std::forward<ArgsT>( Args )... );
        pNode->_NodeLinks.pPrevious = _pLastNode;
        ( _pLastNode ? _pLastNode->_NodeLinks.pNext : _pFirstNode ) = pNode;
        _pLastNode = pNode;
        ++_nNodeCount;
        return pNode;
    }

    // A new edge from pSource to pTarget, its payload made from Args, at the front of both lists. The policies
    // of the graph report a duplicate and then a cycle; the edge is made in any case.
    // REQUIRES: pSource and pTarget are nodes of this graph; with null the result is null.
    template <typename... ArgsT>
    EdgeType* AddEdge( NodeType* pSource, NodeType* pTarget, ArgsT&&... Args )
    {
        QOR_ASSERT( pSource && pTarget );
        if ( !pSource || !pTarget )
        {
            return nullptr;
        }
        if constexpr ( bUniqueEdges )
        {
            QOR_ASSERT_MSG( !FindEdge( pSource, pTarget ), "New edge would duplicate an existing edge in the graph, "
                                                           "violating the unique edge policy." );
        }
        if constexpr ( bAcyclic )
        {
            QOR_ASSERT_MSG( !IsReachable( pTarget, pSource, ReachEveryPath ),
                            "New edge would create a cycle, violating the acyclic policy." );
        }
        EdgeType* pEdge = Construct<EdgeType>( _EdgePool, pSource, pTarget, std::forward<ArgsT>( Args )... );
        LinkAtFront<STargetEdgeLinksTraits>( *pSource, *pEdge );
        LinkAtFront<SSourceEdgeLinksTraits>( *pTarget, *pEdge );
        ++_nEdgeCount;
        return pEdge;
    }

    // Removes the edge; its handle is cleared. Null is ignored.
    void RemoveEdge( EdgeType* pEdge )
    {
        if ( pEdge )
        {
            Unlink<STargetEdgeLinksTraits>( *pEdge );
            Unlink<SSourceEdgeLinksTraits>( *pEdge );
            DestroyEdge( pEdge );
        }
    }

    // Removes the node with every edge that leaves or reaches it; their handles are cleared. Null is ignored.
    // An iterator on the node is invalid afterwards: step past it first.
    void RemoveNode( NodeType* pNode )
    {
        if ( !pNode )
        {
            return;
        }
        while ( EdgeType* pEdge = pNode->_pFirstTargetEdge )
        {
            RemoveEdge( pEdge );
        }
        while ( EdgeType* pEdge = pNode->_pFirstSourceEdge )
        {
            RemoveEdge( pEdge );
        }
        const NDetail::SLinks<NodeType>& Links = pNode->_NodeLinks;
        ( Links.pPrevious ? Links.pPrevious->_NodeLinks.pNext : _pFirstNode ) = Links.pNext;
        ( Links.pNext ? Links.pNext->_NodeLinks.pPrevious : _pLastNode ) = Links.pPrevious;
        DestroyNode( pNode );
    }

    // Removes every node and edge; all handles are cleared. The pools keep their blocks for the next nodes.
    void Clear()
    {
        NodeType* pNode = _pFirstNode;
        while ( pNode )
        {
            // Every edge leaves exactly one node, so this meets each edge once, and no list needs mending.
            for ( EdgeType* pEdge = pNode->_pFirstTargetEdge; pEdge; )
            {
                EdgeType* pNext = pEdge->_TargetLinks.pNext;
                DestroyEdge( pEdge );
                pEdge = pNext;
            }
            NodeType* pNext = pNode->_NodeLinks.pNext;
            DestroyNode( pNode );
            pNode = pNext;
        }
        _pFirstNode = nullptr;
        _pLastNode = nullptr;
    }
    // Clear, then give the pools' blocks back.
    void Reset()
    {
        Clear();
        _NodePool = CQorUnsynchronizedPoolAllocator<NodeType>( _NodePool.GetElementsPerPool(), GetAllocator() );
        _EdgePool = CQorUnsynchronizedPoolAllocator<EdgeType>( _EdgePool.GetElementsPerPool(), GetAllocator() );
    }

    // The newest edge from pSource to pTarget, or null. Walks both ends' lists together, so the shorter list
    // bounds the search.
    EdgeType* FindEdge( const NodeType* pSource, const NodeType* pTarget ) const
    {
        const EdgeType* pOut = pSource->_pFirstTargetEdge;
        const EdgeType* pIn = pTarget->_pFirstSourceEdge;
        for ( ; pOut && pIn; pOut = pOut->_TargetLinks.pNext, pIn = pIn->_SourceLinks.pNext )
        {
            if ( pOut->_pTarget == pTarget )
            {
                return const_cast<EdgeType*>( pOut );
            }
            if ( pIn->_pSource == pSource )
            {
                return const_cast<EdgeType*>( pIn );
            }
        }
        return nullptr;
    }

    // Whether a path of edges leads from pFrom to pTo; a node reaches itself. nMode: ReachEveryPath, or any
    // other value for ReachEachNodeOnce. A ReachEveryPath walk that grows deeper than the graph has nodes has
    // gone round a cycle, and starts over visiting each node once.
    bool IsReachable( const NodeType* pFrom, const NodeType* pTo, int32 nMode ) const
    {
        if ( pFrom == pTo )
        {
            return true;
        }
        // Most searches in a sparse graph end here.
        if ( !pFrom->HasOutgoingEdges() || !pTo->HasIncomingEdges() )
        {
            return false;
        }
        return nMode == ReachEveryPath ? Walk<false>( pFrom, pTo ) : Walk<true>( pFrom, pTo );
    }

    NodeRange GetNodes() { return { typename NodeRange::iterator( _pFirstNode ), {} }; }
    ConstNodeRange GetNodes() const { return { typename ConstNodeRange::iterator( _pFirstNode ), {} }; }
    int32 GetNodeCount() const { return _nNodeCount; }
    int32 GetEdgeCount() const { return _nEdgeCount; }
    bool IsEmpty() const { return _nNodeCount == 0; }
    CQorAllocator* GetAllocator() const { return _NodePool.GetBackingAllocator(); }

    // Checks the structure: the node list linked both ways and as long as the node count; every edge in
    // the outgoing list of its source and the incoming list of its target, each list linked both ways; the
    // edges as many as the edge count; every handle's back link.
    bool Validate() const
    {
        int32 nNodes = 0;
        int32 nOutgoing = 0;
        int32 nIncoming = 0;
        const NodeType* pPrevious = nullptr;
        for ( const NodeType* pNode = _pFirstNode; pNode; pPrevious = pNode, pNode = pNode->_NodeLinks.pNext, ++nNodes )
        {
            if ( pNode->_NodeLinks.pPrevious != pPrevious || !ValidReference( pNode ) ||
                 !ValidList<STargetEdgeLinksTraits>( *pNode, nOutgoing ) ||
                 !ValidList<SSourceEdgeLinksTraits>( *pNode, nIncoming ) )
            {
                return false;
            }
        }
        return pPrevious == _pLastNode && nNodes == _nNodeCount && nOutgoing == _nEdgeCount &&
               nIncoming == _nEdgeCount;
    }

private:
    using OutgoingEdgeRange = typename NodeType::OutgoingEdgeRange;
    // Edge ranges kept on the search's stack before it needs the heap.
    static constexpr int32 nInlineSearchDepth = 32;
    using CSeenSet = NQorUnorderedSet::CQorHybridUnorderedSet<const NodeType*, 5>;
    struct SNothingSeen
    {
        explicit SNothingSeen( CQorAllocator* ) {}
    };

    template <typename ObjectT, typename PoolT, typename... ArgsT>
    static ObjectT* Construct( PoolT& Pool, ArgsT&&... Args )
    {
        void* pSlot = Pool.Allocate( sizeof( ObjectT ), alignof( ObjectT ) );
        try
        {
            return ::new ( pSlot ) ObjectT( std::forward<ArgsT>( Args )... );
        }
        catch ( ... )
        {
            Pool.Deallocate( pSlot );
            throw;
        }
    }
    void DestroyEdge( EdgeType* pEdge )
    {
        pEdge->~EdgeType();
        _EdgePool.Deallocate( pEdge );
        --_nEdgeCount;
    }
    void DestroyNode( NodeType* pNode )
    {
        pNode->~NodeType();
        _NodePool.Deallocate( pNode );
        --_nNodeCount;
    }

    template <typename TraitsT>
    static void LinkAtFront( NodeType& Owner, EdgeType& Edge )
    {
        EdgeType*& pHead = TraitsT::Head( Owner );
        TraitsT::Links( Edge ).pNext = pHead;
        if ( pHead )
        {
            TraitsT::Links( *pHead ).pPrevious = &Edge;
        }
        pHead = &Edge;
    }
    template <typename TraitsT>
    static void Unlink( EdgeType& Edge )
    {
        NDetail::SLinks<EdgeType>& Links = TraitsT::Links( Edge );
        ( Links.pPrevious ? TraitsT::Links( *Links.pPrevious ).pNext : TraitsT::Head( *TraitsT::Owner( Edge ) ) ) =
            Links.pNext;
        if ( Links.pNext )
        {
            TraitsT::Links( *Links.pNext ).pPrevious = Links.pPrevious;
        }
        Links = {};
    }

    // A depth-first walk with a stack of the edge ranges still to follow, one per node on the current path.
    // Walking every path, it keeps no other memory; in an acyclic graph the path never holds as many nodes as
    // the graph, so a deeper one has gone round a cycle.
    template <bool bEachNodeOnce>
    bool Walk( const NodeType* pFrom, const NodeType* pTo ) const
    {
        CQorHybridArray<OutgoingEdgeRange, nInlineSearchDepth> Stack( GetAllocator() );
        [[maybe_unused]] std::conditional_t<bEachNodeOnce, CSeenSet, SNothingSeen> Seen( GetAllocator() );
        if constexpr ( bEachNodeOnce )
        {
            Seen.Insert( pFrom );
        }
        Stack.Add( pFrom->GetOutgoingEdges() );
        while ( !Stack.IsEmpty() )
        {
            OutgoingEdgeRange& Edges = Stack.Back();
            if ( Edges.IsEmpty() )
            {
                Stack.PopBack();
                continue;
            }
            const NodeType* pNode = Edges.begin()->_pTarget;
            Edges.PopFront();
            if ( pNode == pTo )
            {
                return true;
            }
            if ( !pNode->HasOutgoingEdges() )
            {
                continue;
            }
            if constexpr ( bEachNodeOnce )
            {
                if ( !Seen.Insert( pNode ).second )
                {
                    continue;
                }
            }
            else if ( Stack.GetSize() >= _nNodeCount )
            {
                return Walk<true>( pFrom, pTo );
            }
            Stack.Add( pNode->GetOutgoingEdges() );
        }
        return false;
    }

    static bool ValidReference( const auto* pObject )
    {
        return !pObject->_pReference || pObject->_pReference->Get() == pObject;
    }
    // Counts the list's edges into nEdges.
    template <typename TraitsT>
    static bool ValidList( const NodeType& Owner, int32& nEdges )
    {
        const EdgeType* pPrevious = nullptr;
        for ( const EdgeType* pEdge = TraitsT::Head( Owner ); pEdge; pEdge = TraitsT::Links( *pEdge ).pNext )
        {
            if ( TraitsT::Links( *pEdge ).pPrevious != pPrevious || TraitsT::Owner( *pEdge ) != &Owner ||
                 !ValidReference( pEdge ) )
            {
                return false;
            }
            pPrevious = pEdge;
            ++nEdges;
        }
        return true;
    }

    CQorUnsynchronizedPoolAllocator<NodeType> _NodePool;
    CQorUnsynchronizedPoolAllocator<EdgeType> _EdgePool;
    NodeType* _pFirstNode = nullptr;
    NodeType* _pLastNode = nullptr;
    int32 _nNodeCount = 0;
    int32 _nEdgeCount = 0;
};
} // namespace NQorDirectedGraph
