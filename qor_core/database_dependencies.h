#pragma once

// The database dependency graph: a game's data live in many databases, each of which names the databases it
// depends on. The records (CInitData) become a directed graph with one node per database and an edge from
// each database to each of its dependencies; the graph is then loaded on the task pools, each database as
// soon as its last dependency has finished.
// - The graph is built in a shuffled order, with a seed from the clock that the log tells, so that a load
//   that works only by luck of the registration order fails sooner or later, and the seed reproduces it.
// - Loading keeps no ready list. Every node counts the dependencies it still waits for; the thread whose
//   decrement brings a count to 0 starts that node. So each database loads exactly once, after all of its
//   dependencies, and a chain of databases stays on one worker.
// - A database that lists a missing dependency is reported and loads without it. Databases in or behind a
//   dependency cycle never start: the load completes without them, and each is reported by name.
// - Load functions run on any worker and must be thread-safe. One that isn't belongs on the serial path
//   (LoadNodeAndDependentsSerial, or InitializeDatabases in abstractgamedatabase.h), which stays on the
//   calling thread.
// - Names are views: their texts (literals, as registrations write them) outlive the records and the graph.
//
// The options "log_databases_count", "database_test_index" and "database_test_named" turn a run into a test of
// the records: RunDatabaseOptions does their work and gives the exit code.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_hybrid_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/qor_commandline.h"
#include "qor_core/qor_directed_graph_impl.h"
#include "qor_core/qor_hash.h"
#include "qor_core/qor_optional.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"
#include "qor_core/thread/qor_task.h"

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>

namespace NDatabase
{
// The identity of a database: its name.
struct SDatabaseId
{
    SDatabaseId() = default;
    SDatabaseId( CQorStringView Name ) : _Name( Name ) {}
    SDatabaseId( const char* pName ) : _Name( pName ) {}

    bool operator==( const SDatabaseId& Other ) const { return _Name == Other._Name; }

    CQorStringView _Name;
};

struct SDatabaseIdHasher
{
    uint32 operator()( const SDatabaseId& Id ) const
    {
        return HashBytes( 0, Id._Name.GetData(), static_cast<uint64>( Id._Name.GetSize() ) );
    }
};

using FDatabaseFunction = std::function<void()>;

// What one database declares.
class CInitData
{
public:
    static constexpr int32 InlineDependencies = 4;

    CInitData() = default;
    CInitData( SDatabaseId Id, std::initializer_list<SDatabaseId> Dependencies, FDatabaseFunction LoadFunction,
               FDatabaseFunction PostLoadFunction = {} )
        : _Id( Id ), _Dependencies( Dependencies ), _LoadFunction( std::move( LoadFunction ) ),
          _PostLoadFunction( std::move( PostLoadFunction ) )
    {
    }

    SDatabaseId _Id;
    CQorHybridArray<SDatabaseId, InlineDependencies> _Dependencies;
    // Either may be empty.
    FDatabaseFunction _LoadFunction;
    FDatabaseFunction _PostLoadFunction;
};

// The records of the registered databases, in registration order.
CQorArray<CInitData>& GetRegisteredDatabases();
// Appends Data to the registered databases. A name registered already is reported by name, and the second
// record is left out: false.
bool RegisterDatabase( CInitData Data );
// Registers a database at static initialisation.
struct SDatabaseRegistration
{
    explicit SDatabaseRegistration( CInitData Data ) { RegisterDatabase( std::move( Data ) ); }
};

enum class ELoadStatus : uint8
{
    NotLoaded = 0,
    Loading = 1,
    Loaded = 2,
};

// The data of one node of the graph.
struct SNodeData
{
    SNodeData( int32 Index, CQorStringView Name, FDatabaseFunction LoadFunction, FDatabaseFunction PostLoadFunction )
        : _Index( Index ), _Name( Name ), _LoadFunction( std::move( LoadFunction ) ),
          _PostLoadFunction( std::move( PostLoadFunction ) )
    {
    }

    // The node's number, 0 to the node count minus 1 in the graph's order.
    int32 _Index;
    CQorStringView _Name;
    FDatabaseFunction _LoadFunction;
    FDatabaseFunction _PostLoadFunction;
    // Written by the thread that loads the node; read by others once the load has been waited for.
    ELoadStatus _LoadStatus = ELoadStatus::NotLoaded;
    // Nanoseconds the load function took.
    uint64 _LoadTime = 0;
    // The dependencies not loaded yet: the only thing threads share while the graph loads.
    std::atomic<int32> _RemainingDependencies{ 0 };
};

// An edge leads from a database to one of its dependencies: a node's outgoing edges are its dependencies, its
// incoming edges its dependents. A dependency listed twice is reported, as the unique edge policy does.
using CDatabaseGraph =
    NQorDirectedGraph::CQorDirectedGraph<SNodeData, void, NQorDirectedGraph::EEdgePolicy::UniqueEdges>;
using CDatabaseNode = CDatabaseGraph::NodeType;

// The tasks of one load, one slot per node number: the thread that makes a node ready starts its task and
// puts it in the node's slot, and the waiter collects the slots. The count of started tasks goes up before a
// task exists, and a task starts its dependents before it ends, so once the waiter has collected as many
// finished tasks as were started, none can follow.
class CDatabaseLoadJob
{
public:
    // Slots for the node numbers 0 to the highest number among Nodes. REQUIRES: !Nodes.IsEmpty().
    explicit CDatabaseLoadJob( const CDatabaseGraph::NodeRange& Nodes );
    // REQUIRES: waited for.
    ~CDatabaseLoadJob();
    CDatabaseLoadJob( const CDatabaseLoadJob& ) = delete;
    CDatabaseLoadJob& operator=( const CDatabaseLoadJob& ) = delete;

    // Starts Function as a short task under Key. Any thread may call it, each Key once.
    // REQUIRES: 0 <= Key < the slot count; pLabel is a string constant (QOR_TASK_LABEL).
    void RunShortTask( int32 Key, const char* pLabel, const FTaskFunction& Function );
    // Waits for every task started, also those that tasks start meanwhile, running queued ones here; then
    // empties the slots.
    void WaitAndClear();
    int32 GetNumSlots() const { return _NumSlots; }

private:
    struct SSlot
    {
        CQorPtr<CTask> _pTask;
        std::atomic<bool> _bHasTask{ false };
    };

    int32 _NumSlots = 0;
    std::unique_ptr<SSlot[]> _Slots;
    std::atomic<int32> _NumStarted{ 0 };
    int32 _NumCollected = 0;
};

// Makes the node and edge sets of InitDatas in Out, in an order shuffled with a seed from the clock, which
// is logged ("Shuffling databases, seed: %u") to the debug category. A missing dependency is asserted
// ("ppDependency") and told by name; a name that occurs twice is told by name and its second record left out.
// REQUIRES: Out is empty.
void BuildGraph( CDatabaseGraph& Out, const CQorArray<CInitData>& InitDatas );
// The same with the given seed: the same seed gives the same order.
void BuildGraph( CDatabaseGraph& Out, const CQorArray<CInitData>& InitDatas, uint32 Seed );

// Loads the database at Index with its dependencies, in a shuffled order, and then runs their post-load
// functions in node order. An index below 0 or above the size is logged and refused: false. The size itself
// passes that check, and the array reports it.
bool TestDatabase( const CQorArray<CInitData>& InitDatas, int32 Index );

// Whether the node waits for no dependency. Reads the count without synchronising: for the thread that
// starts the node, or before the load.
bool CanLoadNodeNotThreadSafe( const CDatabaseNode& Node );
// Whether none of Nodes waits for a dependency.
bool CanLoadAllNotThreadSafe( const CQorArray<CDatabaseNode*>& Nodes );

// Loads the node on this thread: runs its load function, if any, and notes the time it took.
// REQUIRES: it can load and is not loaded.
void LoadNode( CDatabaseNode& Node );
// Loads the node, then starts each dependent whose last dependency it was as a short task in Job.
void LoadNodeAndDependents( CDatabaseNode& Node, CDatabaseLoadJob& Job );
// The same on this thread: each such dependent is loaded here, depth first.
void LoadNodeAndDependentsSerial( CDatabaseNode& Node );
// Loads every node that can load, on the task pools, and returns when they are loaded. True when every node
// loaded; otherwise each node left, in or behind a dependency cycle, is told by name.
bool LoadGraph( CDatabaseGraph& Graph );
// Runs the post-load functions of the loaded nodes in node order.
void RunPostLoadFunctions( CDatabaseGraph& Graph );

// Logs for each node its load time and that of the node with all of its dependencies, each counted once.
void LogInitTimes( const CDatabaseGraph& Graph );
// Writes the graph to the file "<Name>.gv" in the dot language: every node, without those that have no
// edge unless bIncludeIsolated, and every edge, from a database to its dependency. False when the file
// can't be written, which is told.
bool WriteGraph( const CDatabaseGraph& Graph, CQorStringView Name, bool bIncludeIsolated = true );

// The options of the database tests.
extern const SCommandLineOption g_LogDatabasesCountOption;
extern const SCommandLineOption g_DatabaseTestIndexOption;
extern const SCommandLineOption g_DatabaseTestNamedOption;

// The work of the options on the command line (null: none): "log_databases_count" logs the count,
// "database_test_index" and "database_test_named" load one database with its dependencies. The exit code
// when an option has done its work, 0; empty when the databases are to load as usual, also when no database
// has the name asked for (which is told).
CQorOptional<int32> RunDatabaseOptions( const CQorArray<CInitData>& InitDatas, const CQorCommandLine* pCommandLine );

// Loads the databases of InitDatas as the application's start-up does: the options first, which end the
// process with their exit code; otherwise the graph is built and loaded, the post-load functions run and the
// load times are logged. True when every database loaded.
bool LoadDatabases( const CQorArray<CInitData>& InitDatas );
} // namespace NDatabase
