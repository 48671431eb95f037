#include "qor_core/database_dependencies.h"

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/qor_log_categories.h"
#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"
#include "tests/log_test_utils.h"
#include "tests/thread/task_test_utils.h"
#include "tests/vfs_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using namespace NDatabase;

namespace
{
// Records the log for one scope, with the categories.
class CLogCapture
{
public:
    CLogCapture() : _pLogger( new CRecordingLogger ) { SetLogger( CQorScopedPtr<CLogger>( _pLogger ) ); }
    ~CLogCapture() { SetLogger( {} ); }
    // The texts of the category, without the line end that LogPrintf adds.
    std::vector<std::string> Texts( uint32 Category ) const
    {
        std::vector<std::string> Texts;
        for ( const SLoggedMessage& Message : _pLogger->Messages() )
        {
            if ( Message.Category == Category )
            {
                Texts.push_back( Message.Text.substr( 0, Message.Text.find_last_not_of( '\n' ) + 1 ) );
            }
        }
        return Texts;
    }

private:
    CRecordingLogger* _pLogger;
};

// Databases that record their loads: how often each loaded and ran its post-load function, and how many of
// its dependencies hadn't finished when it started.
class CRecordedDatabases
{
public:
    // bWaitForCompany: loads run on several threads, and the first ones wait for a second to run beside them.
    explicit CRecordedDatabases( int32 Count, bool bWaitForCompany = false )
        : _Dependencies( size_t( Count ) ), _Loads( size_t( Count ) ), _bWaitForCompany( bWaitForCompany )
    {
        for ( int32 Index = 0; Index < Count; ++Index )
        {
            _Names.push_back( "db" + std::to_string( Index ) );
        }
    }

    void AddDependency( int32 Database, int32 Dependency ) { _Dependencies[Database].push_back( Dependency ); }

    CQorArray<CInitData> MakeInitDatas()
    {
        CQorArray<CInitData> InitDatas;
        for ( int32 Index = 0; Index < int32( _Names.size() ); ++Index )
        {
            CInitData Data(
                Id( Index ), {}, [this, Index] { Load( Index ); },
                [this, Index] { _Loads[Index].PostLoads.fetch_add( 1 ); } );
            for ( const int32 Dependency : _Dependencies[Index] )
            {
                Data._Dependencies.Add( Id( Dependency ) );
            }
            InitDatas.Add( std::move( Data ) );
        }
        return InitDatas;
    }

    SDatabaseId Id( int32 Index ) const
    {
        return CQorStringView( _Names[Index].c_str(), int32( _Names[Index].size() ), ENullTerminated::Yes );
    }
    int32 Loads( int32 Index ) const { return _Loads[Index].Count.load(); }
    int32 PostLoads( int32 Index ) const { return _Loads[Index].PostLoads.load(); }
    int32 EarlyStarts( int32 Index ) const { return _Loads[Index].EarlyStarts.load(); }
    int32 MaxThreadsAtOnce() const { return _MaxRunning.load(); }

    // Every database loaded once, after each of its dependencies.
    void ExpectLoadedOnceInOrder() const
    {
        for ( int32 Index = 0; Index < int32( _Names.size() ); ++Index )
        {
            ASSERT_EQ( Loads( Index ), 1 ) << _Names[Index];
            ASSERT_EQ( EarlyStarts( Index ), 0 ) << _Names[Index];
        }
    }

private:
    struct SLoad
    {
        std::atomic<int32> Count{ 0 };
        std::atomic<int32> PostLoads{ 0 };
        std::atomic<int32> EarlyStarts{ 0 };
        std::atomic<bool> bDone{ false };
    };

    void Load( int32 Index )
    {
        const int32 Running = _Running.fetch_add( 1 ) + 1;
        for ( int32 Seen = _MaxRunning.load(); Seen < Running && !_MaxRunning.compare_exchange_weak( Seen, Running ); )
        {
        }
        const auto Deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds( 2 );
        while ( _bWaitForCompany && _MaxRunning.load() < 2 && std::chrono::steady_clock::now() < Deadline )
        {
            std::this_thread::yield();
        }
        for ( const int32 Dependency : _Dependencies[Index] )
        {
            _Loads[Index].EarlyStarts.fetch_add( _Loads[Dependency].bDone.load() ? 0 : 1 );
        }
        _Loads[Index].Count.fetch_add( 1 );
        _Loads[Index].bDone.store( true );
        _Running.fetch_sub( 1 );
    }

    std::vector<std::string> _Names;
    std::vector<std::vector<int32>> _Dependencies;
    std::deque<SLoad> _Loads;
    std::atomic<int32> _Running{ 0 };
    std::atomic<int32> _MaxRunning{ 0 };
    bool _bWaitForCompany;
};

// Counts assertion reports from any thread, for the stress test, where the recorder's list would race.
class CAssertCounter
{
public:
    CAssertCounter() : _pPrevious( SetAssertHandler( &Count ) ) { s_Count.store( 0 ); }
    ~CAssertCounter() { SetAssertHandler( _pPrevious ); }
    int32 Get() const { return s_Count.load(); }

private:
    static void Count( const char*, const char*, uint32, bool, bool*, bool* ) { s_Count.fetch_add( 1 ); }
    static inline std::atomic<int32> s_Count{ 0 };
    FQorAssertHandler _pPrevious;
};

// Loads the graph on this thread: every node that can load, in node order, with its dependents.
void LoadSerially( CDatabaseGraph& Graph )
{
    CQorArray<CDatabaseNode*> Roots;
    for ( CDatabaseNode& Node : Graph.GetNodes() )
    {
        if ( CanLoadNodeNotThreadSafe( Node ) )
        {
            Roots.Add( &Node );
        }
    }
    for ( CDatabaseNode* pNode : Roots )
    {
        LoadNodeAndDependentsSerial( *pNode );
    }
}

std::vector<std::string> NodeNames( const CDatabaseGraph& Graph )
{
    std::vector<std::string> Names;
    for ( const CDatabaseNode& Node : Graph.GetNodes() )
    {
        Names.push_back( ToStdString( Node.GetData()._Name ) );
    }
    return Names;
}
} // namespace

// The stress test: random acyclic graphs of up to 300 databases, each with up to four dependencies, loaded on
// the pools, on the caller without workers, and by the serial walk: every database exactly once and after all
// of its dependencies. Catches a dependent started by two finishing dependencies or before its last one, a
// waiter that returns while loads still run, and a lost dependent.
TEST( NDatabase, RandomGraphsLoadEveryDatabaseOnceAfterItsDependencies )
{
    CTaskPools Pools( 4 );
    const CAssertCounter Asserts;
    const uint32 Seed = uint32( std::random_device()() );
    SCOPED_TRACE( "seed " + std::to_string( Seed ) );
    CQorRandom Random( Seed );
    int32 MaxThreadsAtOnce = 0;
    for ( int32 Round = 0; Round < 60; ++Round )
    {
        const int32 Count = Random.Next( 1, 300 );
        CRecordedDatabases Databases( Count, Round % 3 == 0 );
        for ( int32 Index = 1; Index < Count; ++Index )
        {
            std::set<int32> Dependencies;
            for ( int32 Draws = Random.Next( 0, 4 ); Draws > 0; --Draws )
            {
                Dependencies.insert( Random.Next( 0, Index - 1 ) );
            }
            for ( const int32 Dependency : Dependencies )
            {
                Databases.AddDependency( Index, Dependency );
            }
        }
        CDatabaseGraph Graph;
        BuildGraph( Graph, Databases.MakeInitDatas(), Seed + uint32( Round ) );
        ASSERT_EQ( Graph.GetNodeCount(), Count );
        SetNumTaskThreads( Round % 3 == 2 ? 0 : 4 );
        if ( Round % 3 == 1 )
        {
            LoadSerially( Graph );
        }
        else
        {
            ASSERT_TRUE( LoadGraph( Graph ) );
        }
        Databases.ExpectLoadedOnceInOrder();
        MaxThreadsAtOnce = std::max( MaxThreadsAtOnce, Databases.MaxThreadsAtOnce() );
        for ( const CDatabaseNode& Node : Graph.GetNodes() )
        {
            ASSERT_EQ( Node.GetData()._LoadStatus, ELoadStatus::Loaded );
        }
    }
    // The loads did overlap: the test saw what threads do, not one thread after another.
    EXPECT_GT( MaxThreadsAtOnce, 1 );
    EXPECT_EQ( Asserts.Get(), 0 );
}

// The shuffle is a Fisher-Yates walk from the top with the workers' generator: the noise sequence from the
// seed, under the key 0x13371337, each draw uniform in 0 to the position. Nodes are numbered in the shuffled
// order, and the seed is in the log, also when it comes from the clock.
TEST( NDatabase, BuildGraphShufflesWithTheLoggedSeed )
{
    CLogCapture Log;
    for ( uint32 Seed = 0; Seed < 20; ++Seed )
    {
        for ( int32 Count = 1; Count <= 12; ++Count )
        {
            std::vector<std::string> Expected;
            for ( int32 Index = 0; Index < Count; ++Index )
            {
                Expected.push_back( "db" + std::to_string( Index ) );
            }
            uint32 Counter = Seed;
            for ( int32 Position = Count - 1; Position >= 1; --Position )
            {
                const uint32 Draw = ( NoiseHash( Counter++, 0x13371337u ) & 0x7FFFFFFFu ) % uint32( Position + 1 );
                std::swap( Expected[Position], Expected[Draw] );
            }
            CRecordedDatabases Some( Count );
            CDatabaseGraph Graph;
            BuildGraph( Graph, Some.MakeInitDatas(), Seed );
            ASSERT_EQ( NodeNames( Graph ), Expected ) << "seed " << Seed << ", count " << Count;
            ASSERT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_DEBUG ).back(),
                       "Shuffling databases, seed: " + std::to_string( Seed ) );
            int32 Index = 0;
            for ( const CDatabaseNode& Node : Graph.GetNodes() )
            {
                ASSERT_EQ( Node.GetData()._Index, Index++ );
            }
        }
    }
    CRecordedDatabases Databases( 3 );
    CDatabaseGraph FromClock;
    BuildGraph( FromClock, Databases.MakeInitDatas() );
    const std::vector<std::string> Texts = Log.Texts( LOG_CATEGORY_HALVORSUND_DEBUG );
    EXPECT_EQ( Texts.size(), 241u );
    EXPECT_EQ( Texts.back().rfind( "Shuffling databases, seed: ", 0 ), 0u ) << Texts.back();
}

// A hidden order dependency: "Items" reads what "Textures" made without declaring it, and registration order
// hides that. The test load of "Items" finds it at once; so do shuffled loads of the whole graph.
TEST( NDatabase, ShuffledTestLoadsFindAHiddenOrderDependency )
{
    bool bTexturesReady = false;
    int32 ItemsWithoutTextures = 0;
    CQorArray<CInitData> InitDatas;
    InitDatas.Add( CInitData( "Textures", {}, [&] { bTexturesReady = true; } ) );
    InitDatas.Add( CInitData( "Items", {}, [&] { ItemsWithoutTextures += bTexturesReady ? 0 : 1; } ) );
    InitDatas.Add( CInitData( "Level", { "Items", "Textures" }, {} ) );
    CTaskPools Pools( 4 );
    EXPECT_TRUE( TestDatabase( InitDatas, 1 ) );
    EXPECT_EQ( ItemsWithoutTextures, 1 );
    EXPECT_FALSE( bTexturesReady );

    int32 SeedsThatFindIt = 0;
    for ( uint32 Seed = 0; Seed < 16; ++Seed )
    {
        bTexturesReady = false;
        ItemsWithoutTextures = 0;
        CDatabaseGraph Graph;
        BuildGraph( Graph, InitDatas, Seed );
        LoadSerially( Graph );
        SeedsThatFindIt += ItemsWithoutTextures;
    }
    EXPECT_GT( SeedsThatFindIt, 0 );
    EXPECT_LT( SeedsThatFindIt, 16 );
}

// The test load takes the database and all of its dependencies, each once, and runs their post-load
// functions, and nothing else.
TEST( NDatabase, TestDatabaseLoadsTheDatabaseWithItsDependenciesOnly )
{
    CTaskPools Pools( 4 );
    CRecordedDatabases Databases( 6 );
    Databases.AddDependency( 4, 2 );
    Databases.AddDependency( 4, 3 );
    Databases.AddDependency( 3, 1 );
    Databases.AddDependency( 2, 1 );
    Databases.AddDependency( 5, 4 );
    const CQorArray<CInitData> InitDatas = Databases.MakeInitDatas();
    CLogCapture Log;
    EXPECT_TRUE( TestDatabase( InitDatas, 4 ) );
    const std::vector<int32> Expected{ 0, 1, 1, 1, 1, 0 };
    for ( int32 Index = 0; Index < 6; ++Index )
    {
        EXPECT_EQ( Databases.Loads( Index ), Expected[Index] ) << Index;
        EXPECT_EQ( Databases.PostLoads( Index ), Expected[Index] ) << Index;
        EXPECT_EQ( Databases.EarlyStarts( Index ), 0 ) << Index;
    }
    const std::vector<std::string> Texts = Log.Texts( LOG_CATEGORY_HALVORSUND_DEBUG );
    ASSERT_EQ( Texts.size(), 2u );
    EXPECT_EQ( Texts[0], "Databases: Load database and its dependencies at index='4' name=db4'" );
}

// The bounds of the test load, with the index equal to the size let through to the array's assertion.
TEST( NDatabase, TestDatabaseIndexBoundsKeepTheirOffByOne )
{
    CRecordedDatabases Databases( 3 );
    const CQorArray<CInitData> InitDatas = Databases.MakeInitDatas();
    const CQorArray<CInitData> NoInitDatas;
    struct SCase
    {
        const CQorArray<CInitData>* pInitDatas;
        int32 Index;
        std::vector<std::string> Errors;
        std::vector<std::string> Asserts;
    };
    const SCase Cases[] = {
        { &InitDatas, -1, { "Databases: Text index '-1' out of bounds" }, {} },
        { &InitDatas, 3, {}, { "nIndex > -1 && nIndex < _nSize" } },
        { &InitDatas, 4, { "Databases: Text index '4' out of bounds" }, {} },
        { &NoInitDatas, 0, { "Databases: Text index '0' out of bounds" }, {} },
    };
    for ( const SCase& Case : Cases )
    {
        CLogCapture Log;
        CAssertRecorder Asserts;
        EXPECT_FALSE( TestDatabase( *Case.pInitDatas, Case.Index ) );
        EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ), Case.Errors ) << Case.Index;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.Index;
        EXPECT_TRUE( Log.Texts( LOG_CATEGORY_HALVORSUND_DEBUG ).empty() ) << Case.Index;
    }
    for ( int32 Index = 0; Index < 3; ++Index )
    {
        EXPECT_EQ( Databases.Loads( Index ), 0 );
    }
}

// Bad records: each is told with its text, and the graph loads what it can.
TEST( NDatabase, BadRecordsAreToldByName )
{
    struct SCase
    {
        const char* pWhat;
        std::vector<CInitData> Records;
        std::vector<std::string> Errors;
        std::vector<std::string> Asserts;
        int32 Nodes;
        int32 Edges;
    };
    const SCase Cases[] = {
        { "missing dependency", { CInitData( "Items", { "Textures", "Sounds" }, {} ), CInitData( "Sounds", {}, {} ) },
          { "Databases: 'Items' depends on 'Textures', which isn't registered; it loads without it" },
          { "ppDependency" }, 2, 1 },
        { "registered twice", { CInitData( "Items", {}, {} ), CInitData( "Items", {}, {} ) },
          { "Databases: 'Items' is registered twice; one of its records is left out of the graph" }, {}, 1, 0 },
        { "dependency listed twice",
          { CInitData( "Items", { "Sounds", "Sounds" }, {} ), CInitData( "Sounds", {}, {} ) }, {},
          { "New edge would duplicate an existing edge in the graph, violating the unique edge policy." }, 2, 2 },
    };
    CTaskPools Pools( 4 );
    for ( const SCase& Case : Cases )
    {
        CQorArray<CInitData> InitDatas;
        for ( const CInitData& Data : Case.Records )
        {
            InitDatas.Add( Data );
        }
        CLogCapture Log;
        CAssertRecorder Asserts;
        CDatabaseGraph Graph;
        BuildGraph( Graph, InitDatas, 3 );
        EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ), Case.Errors ) << Case.pWhat;
        EXPECT_EQ( Asserts.Texts(), Case.Asserts ) << Case.pWhat;
        EXPECT_EQ( Graph.GetNodeCount(), Case.Nodes ) << Case.pWhat;
        EXPECT_EQ( Graph.GetEdgeCount(), Case.Edges ) << Case.pWhat;
        EXPECT_TRUE( LoadGraph( Graph ) ) << Case.pWhat;
    }

    // The test load finds the missing dependency while it collects the dependencies, and loads the rest.
    std::atomic<int32> Loads{ 0 };
    CQorArray<CInitData> InitDatas;
    InitDatas.Add( CInitData( "Items", { "Textures", "Sounds" }, [&] { ++Loads; } ) );
    InitDatas.Add( CInitData( "Sounds", {}, [&] { ++Loads; } ) );
    CLogCapture Log;
    CAssertRecorder Asserts;
    EXPECT_TRUE( TestDatabase( InitDatas, 0 ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "Failed to find dependency", "ppDependency" } ) );
    EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ).size(), 1u );
    EXPECT_EQ( Loads.load(), 2 );
}

// A dependency cycle can't load: the load completes, loads everything outside the cycle and behind it, and
// names each database left. Also when nothing at all can start.
TEST( NDatabase, CycleCompletesTheLoadAndNamesTheDatabasesLeft )
{
    CTaskPools Pools( 4 );
    std::atomic<int32> Loads{ 0 };
    const auto Count = [&] { ++Loads; };
    CQorArray<CInitData> InitDatas;
    InitDatas.Add( CInitData( "A", { "B" }, Count ) );
    InitDatas.Add( CInitData( "B", { "A", "Base" }, Count ) );
    InitDatas.Add( CInitData( "C", { "A" }, Count ) );
    InitDatas.Add( CInitData( "Base", {}, Count ) );
    InitDatas.Add( CInitData( "Lone", {}, Count ) );
    {
        CLogCapture Log;
        CDatabaseGraph Graph;
        BuildGraph( Graph, InitDatas, 0 );
        EXPECT_FALSE( LoadGraph( Graph ) );
        EXPECT_EQ( Loads.load(), 2 );
        std::vector<std::string> Errors = Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR );
        std::sort( Errors.begin(), Errors.end() );
        EXPECT_EQ( Errors, ( std::vector<std::string>{
                               "Databases: 'A' was not loaded: it is in or behind a dependency cycle",
                               "Databases: 'B' was not loaded: it is in or behind a dependency cycle",
                               "Databases: 'C' was not loaded: it is in or behind a dependency cycle" } ) );
    }
    CQorArray<CInitData> OnlyCycle;
    OnlyCycle.Add( CInitData( "X", { "Y" }, Count ) );
    OnlyCycle.Add( CInitData( "Y", { "X" }, Count ) );
    CLogCapture Log;
    CDatabaseGraph Graph;
    BuildGraph( Graph, OnlyCycle, 0 );
    EXPECT_FALSE( LoadGraph( Graph ) );
    EXPECT_EQ( Loads.load(), 2 );
    EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ).size(), 2u );
}

// LoadNode's preconditions, with their texts, and what the node then holds.
TEST( NDatabase, LoadNodeAssertsItsPreconditions )
{
    int32 Loads = 0;
    CDatabaseGraph Graph;
    CDatabaseNode* pDependency = Graph.AddNode(
        0, "Dependency", [&] { ++Loads; }, FDatabaseFunction() );
    CDatabaseNode* pNode = Graph.AddNode( 1, "Node", FDatabaseFunction(), FDatabaseFunction() );
    Graph.AddEdge( pNode, pDependency );
    pNode->GetData()._RemainingDependencies.store( 1 );

    CAssertRecorder Asserts;
    EXPECT_FALSE( CanLoadNodeNotThreadSafe( *pNode ) );
    EXPECT_FALSE( CanLoadAllNotThreadSafe( CQorHybridArray<CDatabaseNode*, 2>{ pDependency, pNode } ) );
    EXPECT_TRUE( CanLoadAllNotThreadSafe( CQorHybridArray<CDatabaseNode*, 2>{ pDependency } ) );
    LoadNode( *pNode );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "CanLoadNodeNotThreadSafe( Node )" } );
    EXPECT_EQ( pNode->GetData()._LoadStatus, ELoadStatus::Loaded );

    Asserts.Clear();
    LoadNodeAndDependentsSerial( *pDependency );
    EXPECT_EQ( Loads, 1 );
    EXPECT_EQ( pNode->GetData()._RemainingDependencies.load(), 0 );
    // The dependent was loaded already: the walk reaches it a second time.
    EXPECT_EQ( Asserts.Texts(),
               std::vector<std::string>{ "NodeData._LoadStatus == NDatabase::ELoadStatus::NotLoaded" } );
}

// The init times: each node's own time, and with every dependency counted once, also through a diamond.
TEST( NDatabase, LogInitTimesCountsEachDependencyOnce )
{
    CDatabaseGraph Graph;
    CDatabaseNode* pTop = Graph.AddNode( 0, "Top", FDatabaseFunction(), FDatabaseFunction() );
    CDatabaseNode* pLeft = Graph.AddNode( 1, "Left", FDatabaseFunction(), FDatabaseFunction() );
    CDatabaseNode* pRight = Graph.AddNode( 2, "Right", FDatabaseFunction(), FDatabaseFunction() );
    CDatabaseNode* pBase = Graph.AddNode( 3, "Base", FDatabaseFunction(), FDatabaseFunction() );
    Graph.AddEdge( pTop, pLeft );
    Graph.AddEdge( pTop, pRight );
    Graph.AddEdge( pLeft, pBase );
    Graph.AddEdge( pRight, pBase );
    pTop->GetData()._LoadTime = 1999999;
    pLeft->GetData()._LoadTime = 20000000;
    pRight->GetData()._LoadTime = 300000000;
    pBase->GetData()._LoadTime = 4000000000;
    CLogCapture Log;
    LogInitTimes( Graph );
    EXPECT_EQ(
        Log.Texts( LOG_CATEGORY_HALVORSUND_DEBUG ),
        ( std::vector<std::string>{ "Database Node Init Time: Top - 1 ms - 4321 ms including dependencies",
                                    "Database Node Init Time: Left - 20 ms - 4020 ms including dependencies",
                                    "Database Node Init Time: Right - 300 ms - 4300 ms including dependencies",
                                    "Database Node Init Time: Base - 4000 ms - 4000 ms including dependencies" } ) );
}

// The ".gv" text, with and without the nodes that have no edge, and Graphviz's dot accepts it.
TEST( NDatabase, WriteGraphWritesTheDotTextThatDotRenders )
{
    CDatabaseGraph Graph;
    CDatabaseNode* pLevel = Graph.AddNode( 0, "Level", FDatabaseFunction(), FDatabaseFunction() );
    CDatabaseNode* pItems = Graph.AddNode( 1, "Items", FDatabaseFunction(), FDatabaseFunction() );
    CDatabaseNode* pTextures = Graph.AddNode( 2, "Textures", FDatabaseFunction(), FDatabaseFunction() );
    Graph.AddNode( 3, "Lone", FDatabaseFunction(), FDatabaseFunction() );
    Graph.AddEdge( pItems, pTextures );
    Graph.AddEdge( pLevel, pTextures );
    Graph.AddEdge( pLevel, pItems );
    // A node's edges come newest first; "Textures" has edges, though none of its own.
    const std::string Connected = "strict digraph {\n\t\"Level\"\n\t\"Level\"->\"Items\"\n\t\"Level\"->\"Textures\"\n"
                                  "\t\"Items\"\n\t\"Items\"->\"Textures\"\n\t\"Textures\"\n";

    const CTempPath Base( "database_graph" );
    const std::string GraphPath = Base.Path() + ".gv";
    const std::string ImagePath = Base.Path() + ".png";
    ASSERT_TRUE( WriteGraph( Graph, Base.c_str(), false ) );
    EXPECT_EQ( NVFSTest::ReadRealFile( GraphPath ), Connected + "}" );
    ASSERT_TRUE( WriteGraph( Graph, Base.c_str() ) );
    EXPECT_EQ( NVFSTest::ReadRealFile( GraphPath ), Connected + "\t\"Lone\"\n}" );

    const std::string Command = "dot -Tpng -o '" + ImagePath + "' '" + GraphPath + "'";
    EXPECT_EQ( std::system( Command.c_str() ), 0 ) << Command;
    EXPECT_GT( std::filesystem::file_size( ImagePath ), 0u );
    std::filesystem::remove( ImagePath );
    std::filesystem::remove( GraphPath );

    CLogCapture Log;
    EXPECT_FALSE( WriteGraph( Graph, "/nonexistent_folder_of_the_test/graph" ) );
    EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ),
               std::vector<std::string>{
                   "Databases: could not write the graph file '/nonexistent_folder_of_the_test/graph.gv'" } );
}

// The three options: their texts, what they load, and their exit codes.
TEST( NDatabase, OptionsLogOrLoadOneDatabaseAndGiveTheirExitCode )
{
    CTaskPools Pools( 4 );
    struct SCase
    {
        std::vector<std::string> Arguments;
        bool bExits;
        std::vector<int32> Loads;
        std::vector<std::string> Debug;
        std::vector<std::string> Errors;
    };
    const SCase Cases[] = {
        { {}, false, { 0, 0, 0 }, {}, {} },
        { { "--log_databases_count" }, true, { 0, 0, 0 }, { "Database Count: 3" }, {} },
        { { "--database_test_index=2" }, true, { 1, 0, 1 }, {}, {} },
        { { "--database_test_index=3" }, true, { 0, 0, 0 }, {}, {} },
        { { "--database_test_index=4" }, true, { 0, 0, 0 }, {}, { "Databases: Text index '4' out of bounds" } },
        { { "--database_test_named=db1" }, true, { 0, 1, 0 }, {}, {} },
        { { "--database_test_named=db9" }, false, { 0, 0, 0 }, {},
          { "Databases: no database is named 'db9'; the databases load as usual" } },
    };
    for ( const SCase& Case : Cases )
    {
        const std::string What = Case.Arguments.empty() ? "no option" : Case.Arguments[0];
        CRecordedDatabases Databases( 3 );
        Databases.AddDependency( 2, 0 );
        const CQorArray<CInitData> InitDatas = Databases.MakeInitDatas();
        CCommandLineScope CommandLine( Case.Arguments );
        CLogCapture Log;
        CAssertRecorder Asserts;
        const CQorOptional<int32> ExitCode = RunDatabaseOptions( InitDatas, &CommandLine.Get() );
        ASSERT_EQ( ExitCode.IsSet(), Case.bExits ) << What;
        if ( Case.bExits )
        {
            EXPECT_EQ( ExitCode.GetValue(), 0 ) << What;
        }
        for ( int32 Index = 0; Index < 3; ++Index )
        {
            EXPECT_EQ( Databases.Loads( Index ), Case.Loads[Index] ) << What << " db" << Index;
        }
        std::vector<std::string> Debug;
        for ( const std::string& Text : Log.Texts( LOG_CATEGORY_HALVORSUND_DEBUG ) )
        {
            if ( Text.rfind( "Shuffling", 0 ) != 0 && Text.rfind( "Databases: Load database", 0 ) != 0 )
            {
                Debug.push_back( Text );
            }
        }
        EXPECT_EQ( Debug, Case.Debug ) << What;
        EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ), Case.Errors ) << What;
    }
    EXPECT_FALSE( RunDatabaseOptions( CQorArray<CInitData>(), nullptr ).IsSet() );

    // The records are registered, with their help texts and types.
    const std::tuple<const SCommandLineOption*, std::string, std::string, uint32> Records[] = {
        { &g_LogDatabasesCountOption, "log_databases_count", "Log the number of databases to debug.log",
          COMMAND_LINE_OPTION_TYPE_NONE },
        { &g_DatabaseTestIndexOption, "database_test_index", "Run database tests on the database at the given index",
          COMMAND_LINE_OPTION_TYPE_INTEGER },
        { &g_DatabaseTestNamedOption, "database_test_named", "Run database tests on the database with the given name",
          COMMAND_LINE_OPTION_TYPE_STRING },
    };
    const CQorArray<const SCommandLineOption*>& Options = CQorCommandLine::GetOptions();
    for ( const auto& [pOption, Name, Documentation, Type] : Records )
    {
        EXPECT_NE( std::find( Options.begin(), Options.end(), pOption ), Options.end() ) << Name;
        EXPECT_EQ( ToStdString( pOption->_Name ), Name );
        EXPECT_EQ( ToStdString( pOption->_Documentation ), Documentation );
        EXPECT_EQ( pOption->_Type, Type ) << Name;
    }
}

// The options end the process with their exit code; without one the databases load and the run goes on.
TEST( NDatabase, LoadDatabasesEndsTheProcessForAnOption )
{
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    CRecordedDatabases Databases( 3 );
    Databases.AddDependency( 1, 0 );
    const CQorArray<CInitData> InitDatas = Databases.MakeInitDatas();
    EXPECT_EXIT(
        {
            CCommandLineScope CommandLine( { "--log_databases_count" } );
            LoadDatabases( InitDatas );
            std::exit( 7 );
        },
        ::testing::ExitedWithCode( 0 ), "" );
    {
        CCommandLineScope CommandLine( {} );
        EXPECT_TRUE( LoadDatabases( InitDatas ) );
    }
    Databases.ExpectLoadedOnceInOrder();
    EXPECT_EQ( Databases.PostLoads( 0 ), 1 );
}

// Registration keeps the first record of a name and tells the second.
TEST( NDatabase, RegisteringANameTwiceKeepsTheFirst )
{
    const int32 Before = GetRegisteredDatabases().GetSize();
    CLogCapture Log;
    EXPECT_TRUE( RegisterDatabase( CInitData( "RegisteredOnceByTheTest", {}, {} ) ) );
    const SDatabaseRegistration Second( CInitData( "RegisteredOnceByTheTest", { "Other" }, {} ) );
    ASSERT_EQ( GetRegisteredDatabases().GetSize(), Before + 1 );
    EXPECT_TRUE( GetRegisteredDatabases().Back()._Dependencies.IsEmpty() );
    EXPECT_EQ( Log.Texts( LOG_CATEGORY_HALVORSUND_ERROR ),
               std::vector<std::string>{
                   "Databases: 'RegisteredOnceByTheTest' is registered twice; the second registration is ignored" } );
    GetRegisteredDatabases().PopBack();
}
