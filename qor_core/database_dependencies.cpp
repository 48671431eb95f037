#include "qor_core/database_dependencies.h"

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/nativefile.h"
#include "qor_core/platform/qor_clock.h"
#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/qor_string.h"
#include "qor_core/thread/qor_parallel_for.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace NDatabase
{
const SCommandLineOption g_LogDatabasesCountOption{ "log_databases_count", "Log the number of databases to debug.log",
                                                    COMMAND_LINE_OPTION_TYPE_NONE };
const SCommandLineOption g_DatabaseTestIndexOption{
    "database_test_index", "Run database tests on the database at the given index", COMMAND_LINE_OPTION_TYPE_INTEGER };
const SCommandLineOption g_DatabaseTestNamedOption{
    "database_test_named", "Run database tests on the database with the given name", COMMAND_LINE_OPTION_TYPE_STRING };

namespace
{
const SCommandLineOptionRegistration g_LogDatabasesCountRegistration( g_LogDatabasesCountOption );
const SCommandLineOptionRegistration g_DatabaseTestIndexRegistration( g_DatabaseTestIndexOption );
const SCommandLineOptionRegistration g_DatabaseTestNamedRegistration( g_DatabaseTestNamedOption );

// Nodes and edges per pool block: a few hundred databases take a handful of blocks.
constexpr int32 NodesPerPool = 128;
constexpr int32 EdgesPerPool = 256;

using CInitDataMap = NQorUnorderedMap::CQorUnorderedMap<SDatabaseId, const CInitData*, SDatabaseIdHasher>;

// The generator of the scheduler's workers: a walk along the noise sequence from the seed, which the log
// tells, so that a shuffle can be made again.
class CShuffleRandom
{
public:
    explicit CShuffleRandom( uint32 Seed ) : _Counter( Seed ) {}

    // Uniform in [Min, Max], both inclusive.
    int32 Random( int32 Min, int32 Max )
    {
        const uint32 Hash = NoiseHash( _Counter++, _Seed );
        return Min + static_cast<int32>( ( Hash & 0x7FFFFFFFu ) % static_cast<uint32>( Max - Min + 1 ) );
    }

private:
    uint32 _Counter;
    uint32 _Seed = 0x13371337;
};

#define QOR_DATABASE_LOG( Category, ... ) LogPrintf( SLogLocation( __FILE__, __LINE__, Category ), __VA_ARGS__ )

// Adds the record at Data and, depth first, those of its dependencies, each once.
void CollectWithDependencies( const CInitData& Data, const CInitDataMap& Map, CQorArray<const CInitData*>& Out )
{
    if ( Out.Find( &Data ) )
    {
        return;
    }
    Out.Add( &Data );
    for ( const SDatabaseId& Dependency : Data._Dependencies )
    {
        const auto Found = Map.Find( Dependency );
        QOR_ASSERT_MSG( Found != Map.end(), "Failed to find dependency" );
        if ( Found != Map.end() )
        {
            CollectWithDependencies( *Found->Value, Map, Out );
        }
    }
}

void BuildGraphOfRecords( CDatabaseGraph& Out, CQorArray<const CInitData*>& Records, uint32 Seed )
{
    QOR_ASSERT( Out.IsEmpty() );
    QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_DEBUG, "Shuffling databases, seed: %u", Seed );
    CShuffleRandom Random( Seed );
    for ( int32 Position = Records.GetSize() - 1; Position >= 1; --Position )
    {
        const int32 Other = Random.Random( 0, Position );
        if ( Other != Position )
        {
            std::swap( Records[Position], Records[Other] );
        }
    }

    CInitDataMap Map;
    for ( int32 Position = 0; Position < Records.GetSize(); ++Position )
    {
        const CInitData* pData = Records[Position];
        if ( !Map.Insert( pData->_Id, pData ).second )
        {
            QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR,
                              "Databases: '%.*s' is registered twice; one of its records is left out of the graph",
                              pData->_Id._Name.GetSize(), pData->_Id._Name.GetData() );
            Records.Remove( Position-- );
        }
    }

    NQorUnorderedMap::CQorUnorderedMap<const CInitData*, CDatabaseNode*> Nodes;
    for ( const CInitData* pData : Records )
    {
        if ( Nodes.Find( pData ) == Nodes.end() )
        {
            Nodes.Insert( pData, Out.AddNode( Out.GetNodeCount(), pData->_Id._Name, pData->_LoadFunction,
                                              pData->_PostLoadFunction ) );
        }
    }

    for ( const CInitData* pData : Records )
    {
        CDatabaseNode* pNode = *Nodes.FindValue( pData );
        for ( const SDatabaseId& Dependency : pData->_Dependencies )
        {
            const CInitData* const* ppDependency = Map.FindValue( Dependency );
            QOR_ASSERT( ppDependency );
            if ( !ppDependency )
            {
                QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR,
                                  "Databases: '%.*s' depends on '%.*s', which isn't registered; it loads without it",
                                  pData->_Id._Name.GetSize(), pData->_Id._Name.GetData(), Dependency._Name.GetSize(),
                                  Dependency._Name.GetData() );
                continue;
            }
            Out.AddEdge( pNode, *Nodes.FindValue( *ppDependency ) );
            pNode->GetData()._RemainingDependencies.fetch_add( 1 );
        }
    }
}

// Adds the load time of Node's dependencies that Seen doesn't hold yet, and marks them.
uint64 AddDependencyTimes( const CDatabaseNode& Node, NQorUnorderedSet::CQorUnorderedSet<const CDatabaseNode*>& Seen )
{
    uint64 Total = 0;
    for ( const auto& Edge : Node.GetOutgoingEdges() )
    {
        const CDatabaseNode* pDependency = Edge.GetTarget();
        if ( Seen.Insert( pDependency ).second )
        {
            Total += pDependency->GetData()._LoadTime + AddDependencyTimes( *pDependency, Seen );
        }
    }
    return Total;
}

} // namespace

CQorArray<CInitData>& GetRegisteredDatabases()
{
    static CQorArray<CInitData> s_InitDatas;
    return s_InitDatas;
}

bool RegisterDatabase( CInitData Data )
{
    CQorArray<CInitData>& InitDatas = GetRegisteredDatabases();
    if ( InitDatas.FindIf( [&]( const CInitData& Other ) { return Other._Id == Data._Id; } ) )
    {
        QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR,
                          "Databases: '%.*s' is registered twice; the second registration is ignored",
                          Data._Id._Name.GetSize(), Data._Id._Name.GetData() );
        return false;
    }
    InitDatas.Add( std::move( Data ) );
    return true;
}

void BuildGraph( CDatabaseGraph& Out, const CQorArray<CInitData>& InitDatas )
{
    BuildGraph( Out, InitDatas, static_cast<uint32>( NPlatform::GetHighResolutionTimeNs() ) );
}

void BuildGraph( CDatabaseGraph& Out, const CQorArray<CInitData>& InitDatas, uint32 Seed )
{
    // The records are shuffled by address: the caller's array keeps its order.
    CQorArray<const CInitData*> Records;
    Records.Reserve( InitDatas.GetSize() );
    for ( const CInitData& Data : InitDatas )
    {
        Records.Add( &Data );
    }
    BuildGraphOfRecords( Out, Records, Seed );
}

bool TestDatabase( const CQorArray<CInitData>& InitDatas, int32 Index )
{
    // The check lets the size itself through, as it always has: the array's own check reports that index. An
    // empty array has no storage to point into, so it refuses every index here.
    if ( Index < 0 || Index > InitDatas.GetSize() || InitDatas.IsEmpty() )
    {
        QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR, "Databases: Text index '%d' out of bounds", Index );
        return false;
    }
    // At the size this points behind the last element, and nothing is read through it.
    const CInitData* pData = &InitDatas[Index];
    if ( Index == InitDatas.GetSize() )
    {
        return false;
    }
    QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_DEBUG,
                      "Databases: Load database and its dependencies at index='%d' name=%.*s'", Index,
                      pData->_Id._Name.GetSize(), pData->_Id._Name.GetData() );

    CInitDataMap Map;
    for ( const CInitData& Data : InitDatas )
    {
        Map.Insert( Data._Id, &Data );
    }
    CQorArray<const CInitData*> Records;
    CollectWithDependencies( *pData, Map, Records );

    CDatabaseGraph Graph( NodesPerPool, EdgesPerPool );
    BuildGraphOfRecords( Graph, Records, static_cast<uint32>( NPlatform::GetHighResolutionTimeNs() ) );
    const bool bLoaded = LoadGraph( Graph );
    RunPostLoadFunctions( Graph );
    return bLoaded;
}

bool CanLoadNodeNotThreadSafe( const CDatabaseNode& Node )
{
    return Node.GetData()._RemainingDependencies.load( std::memory_order_relaxed ) == 0;
}

bool CanLoadAllNotThreadSafe( const CQorArray<CDatabaseNode*>& Nodes )
{
    for ( const CDatabaseNode* pNode : Nodes )
    {
        if ( !CanLoadNodeNotThreadSafe( *pNode ) )
        {
            return false;
        }
    }
    return true;
}

void LoadNode( CDatabaseNode& Node )
{
    SNodeData& NodeData = Node.GetData();
    QOR_ASSERT( CanLoadNodeNotThreadSafe( Node ) );
    QOR_ASSERT( NodeData._LoadStatus == NDatabase::ELoadStatus::NotLoaded );
    NodeData._LoadStatus = ELoadStatus::Loading;
    const uint64 StartNs = NPlatform::GetHighResolutionTimeNs();
    if ( NodeData._LoadFunction )
    {
        NodeData._LoadFunction();
    }
    NodeData._LoadTime = NPlatform::GetHighResolutionTimeNs() - StartNs;
    NodeData._LoadStatus = ELoadStatus::Loaded;
}

void LoadNodeAndDependents( CDatabaseNode& Node, CDatabaseLoadJob& Job )
{
    LoadNode( Node );
    for ( const auto& Edge : Node.GetIncomingEdges() )
    {
        CDatabaseNode& Dependent = *Edge.GetSource();
        if ( Dependent.GetData()._RemainingDependencies.fetch_sub( 1 ) == 1 )
        {
            Job.RunShortTask( Dependent.GetData()._Index, QOR_TASK_LABEL,
                              [pDependent = &Dependent, pJob = &Job] { LoadNodeAndDependents( *pDependent, *pJob ); } );
        }
    }
}

void LoadNodeAndDependentsSerial( CDatabaseNode& Node )
{
    LoadNode( Node );
    for ( const auto& Edge : Node.GetIncomingEdges() )
    {
        CDatabaseNode& Dependent = *Edge.GetSource();
        if ( Dependent.GetData()._RemainingDependencies.fetch_sub( 1 ) == 1 )
        {
            LoadNodeAndDependentsSerial( Dependent );
        }
    }
}

CDatabaseLoadJob::CDatabaseLoadJob( const CDatabaseGraph::NodeRange& Nodes )
{
    QOR_ASSERT( !Nodes.IsEmpty() );
    for ( const CDatabaseNode& Node : Nodes )
    {
        _NumSlots = std::max( _NumSlots, Node.GetData()._Index + 1 );
    }
    _Slots.reset( new SSlot[static_cast<size_t>( _NumSlots )] );
}

CDatabaseLoadJob::~CDatabaseLoadJob()
{
    QOR_ASSERT_MSG( _NumCollected == _NumStarted.load(),
                    "Every database load should be waited for before the load job is destroyed" );
    if ( _NumCollected != _NumStarted.load() )
    {
        WaitAndClear();
    }
}

void CDatabaseLoadJob::RunShortTask( int32 Key, const char* pLabel, const FTaskFunction& Function )
{
    QOR_ASSERT( Key >= 0 && Key < _NumSlots );
    const bool bKeyValid = Key >= 0 && Key < _NumSlots;
    const bool bSlotFree = bKeyValid && !_Slots[Key]._bHasTask.load();
    QOR_ASSERT_MSG( !bKeyValid || bSlotFree, "A database load was started twice" );
    // Counted before the task exists: the waiter can't finish while this task is on its way.
    _NumStarted.fetch_add( 1 );
    CQorPtr<CTask> pTask;
    ::RunShortTask( pTask, pLabel, Function );
    if ( !bSlotFree )
    {
        // No slot to hold it: waited for here, so that no task is lost and the count still holds.
        pTask->Wait();
        _NumStarted.fetch_sub( 1 );
        return;
    }
    SSlot& Slot = _Slots[Key];
    Slot._pTask = std::move( pTask );
    Slot._bHasTask.store( true, std::memory_order_release );
}

void CDatabaseLoadJob::WaitAndClear()
{
    while ( _NumCollected < _NumStarted.load() )
    {
        int32 NumCollected = 0;
        for ( int32 Key = 0; Key < _NumSlots; ++Key )
        {
            SSlot& Slot = _Slots[Key];
            if ( Slot._bHasTask.load( std::memory_order_acquire ) )
            {
                Slot._pTask->Wait();
                Slot._pTask.Reset();
                Slot._bHasTask.store( false, std::memory_order_relaxed );
                ++NumCollected;
            }
        }
        _NumCollected += NumCollected;
        // Nothing to collect: a task is between counting itself and being put in its slot.
        if ( NumCollected == 0 )
        {
            NPlatform::SwitchToThread();
        }
    }
}

bool LoadGraph( CDatabaseGraph& Graph )
{
    if ( Graph.IsEmpty() )
    {
        return true;
    }
    CQorArray<CDatabaseNode*> Isolated;
    CQorArray<CDatabaseNode*> Nodes;
    for ( CDatabaseNode& Node : Graph.GetNodes() )
    {
        if ( CanLoadNodeNotThreadSafe( Node ) )
        {
            ( Node.HasIncomingEdges() ? Nodes : Isolated ).Add( &Node );
        }
    }

    CDatabaseLoadJob Job( Graph.GetNodes() );
    QOR_ASSERT( CanLoadAllNotThreadSafe( Nodes ) );
    for ( CDatabaseNode* pNode : Nodes )
    {
        Job.RunShortTask( pNode->GetData()._Index, QOR_TASK_LABEL,
                          [pNode, pJob = &Job] { LoadNodeAndDependents( *pNode, *pJob ); } );
    }
    // Nothing follows these: no task of their own is needed.
    ParallelFor(
        Isolated, []( CDatabaseNode* pNode ) { LoadNode( *pNode ); }, ETaskType::ShortBalanced );
    Job.WaitAndClear();

    bool bAllLoaded = true;
    for ( const CDatabaseNode& Node : Graph.GetNodes() )
    {
        const SNodeData& NodeData = Node.GetData();
        if ( NodeData._LoadStatus != ELoadStatus::Loaded )
        {
            QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR,
                              "Databases: '%.*s' was not loaded: it is in or behind a dependency cycle",
                              NodeData._Name.GetSize(), NodeData._Name.GetData() );
            bAllLoaded = false;
        }
    }
    return bAllLoaded;
}

void RunPostLoadFunctions( CDatabaseGraph& Graph )
{
    for ( CDatabaseNode& Node : Graph.GetNodes() )
    {
        SNodeData& NodeData = Node.GetData();
        if ( NodeData._LoadStatus == ELoadStatus::Loaded && NodeData._PostLoadFunction )
        {
            NodeData._PostLoadFunction();
        }
    }
}

void LogInitTimes( const CDatabaseGraph& Graph )
{
    constexpr uint64 NsPerMs = 1000000;
    NQorUnorderedSet::CQorUnorderedSet<const CDatabaseNode*> Seen;
    for ( const CDatabaseNode& Node : Graph.GetNodes() )
    {
        Seen.Clear();
        const SNodeData& NodeData = Node.GetData();
        const uint64 Total = NodeData._LoadTime + AddDependencyTimes( Node, Seen );
        const CString Name( NodeData._Name );
        QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_DEBUG,
                          "Database Node Init Time: %s - %d ms - %d ms including dependencies", Name.GetString(),
                          static_cast<int32>( NodeData._LoadTime / NsPerMs ), static_cast<int32>( Total / NsPerMs ) );
    }
}

bool WriteGraph( const CDatabaseGraph& Graph, CQorStringView Name, bool bIncludeIsolated )
{
    const CString Path = CString( Name ) + ".gv";
    CNativeFile File( Path.GetString(), 0, CFile::OPEN_WRITE );
    CString Text( "strict digraph {\n" );
    for ( const CDatabaseNode& Node : Graph.GetNodes() )
    {
        if ( !bIncludeIsolated && !Node.HasOutgoingEdges() && !Node.HasIncomingEdges() )
        {
            continue;
        }
        const CQorStringView NodeName = Node.GetData()._Name;
        Text += "\t\"";
        Text += NodeName;
        Text += "\"\n";
        for ( const auto& Edge : Node.GetOutgoingEdges() )
        {
            Text += "\t\"";
            Text += NodeName;
            Text += "\"->\"";
            Text += Edge.GetTarget()->GetData()._Name;
            Text += "\"\n";
        }
    }
    Text += "}";
    File.Write( Text.GetData(), Text.GetSize() );
    if ( !File.IsOpen() || !File.Flush() )
    {
        QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR, "Databases: could not write the graph file '%s'",
                          Path.GetString() );
        return false;
    }
    return true;
}

CQorOptional<int32> RunDatabaseOptions( const CQorArray<CInitData>& InitDatas, const CQorCommandLine* pCommandLine )
{
    if ( !pCommandLine )
    {
        return {};
    }
    if ( pCommandLine->HasOption( g_LogDatabasesCountOption ) )
    {
        QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_DEBUG, "Database Count: %d", InitDatas.GetSize() );
        return 0;
    }
    if ( const CQorOptional<int32> Index = pCommandLine->GetInt( g_DatabaseTestIndexOption ) )
    {
        TestDatabase( InitDatas, Index.GetValue() );
        return 0;
    }
    if ( const CQorOptional<CString> Name = pCommandLine->GetString( g_DatabaseTestNamedOption ) )
    {
        const SDatabaseId Id( CQorStringView( Name.GetValue() ) );
        const int32 Index = InitDatas.FindIndexIf( [&]( const CInitData& Data ) { return Data._Id == Id; } );
        if ( Index >= 0 )
        {
            TestDatabase( InitDatas, Index );
            return 0;
        }
        QOR_DATABASE_LOG( LOG_CATEGORY_HALVORSUND_ERROR,
                          "Databases: no database is named '%s'; the databases load as usual",
                          Name.GetValue().GetString() );
    }
    return {};
}

bool LoadDatabases( const CQorArray<CInitData>& InitDatas )
{
    if ( const CQorOptional<int32> ExitCode = RunDatabaseOptions( InitDatas, CQorCommandLine::Find() ) )
    {
        FlushLog();
        std::exit( ExitCode.GetValue() );
    }
    CDatabaseGraph Graph( NodesPerPool, EdgesPerPool );
    BuildGraph( Graph, InitDatas );
    const bool bLoaded = LoadGraph( Graph );
    RunPostLoadFunctions( Graph );
    LogInitTimes( Graph );
    return bLoaded;
}
} // namespace NDatabase
