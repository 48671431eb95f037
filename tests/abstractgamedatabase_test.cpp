#include "qor_core/abstractgamedatabase.h"

#include "qor_core/qor_log_categories.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

using namespace NDatabase;

namespace
{
// Records of named databases whose ready test asks that the databases they read are up, and whose init
// records the order; Failing names a database whose init fails.
class CSerialDatabases
{
public:
    void Add( const char* pName, std::vector<std::string> Reads, bool bFails = false )
    {
        SGameDatabaseRecord Record;
        Record._pName = pName;
        if ( !Reads.empty() )
        {
            const auto IsUp = [this]( const std::string& Read ) { return _Up.count( Read ) > 0; };
            Record._IsReady = [Reads, IsUp] { return std::all_of( Reads.begin(), Reads.end(), IsUp ); };
        }
        const std::string Name = pName ? pName : "";
        Record._InitFunctions.Add( [this, Name] { return ++_Calls[Name] > 0; } );
        Record._InitFunctions.Add(
            [this, Name, bFails]
            {
                if ( !bFails )
                {
                    _Up.insert( { Name, static_cast<int32>( _Up.size() ) } );
                }
                return !bFails;
            } );
        _Records.Add( std::move( Record ) );
    }

    const CQorArray<SGameDatabaseRecord>& Records() const { return _Records; }
    // The order the databases came up in, by name.
    std::vector<std::string> Order() const
    {
        std::vector<std::string> Order( _Up.size() );
        for ( const auto& [Name, Position] : _Up )
        {
            Order[static_cast<size_t>( Position )] = Name;
        }
        return Order;
    }
    int32 Calls( const std::string& Name ) const { return _Calls.count( Name ) ? _Calls.at( Name ) : 0; }

private:
    CQorArray<SGameDatabaseRecord> _Records;
    std::map<std::string, int32> _Up;
    std::map<std::string, int32> _Calls;
};

std::vector<std::string> ErrorTexts( const CRecordingLogger& Logger )
{
    std::vector<std::string> Texts;
    for ( const SLoggedMessage& Message : Logger.Messages() )
    {
        if ( Message.Category == LOG_CATEGORY_HALVORSUND_ERROR )
        {
            Texts.push_back( Message.Text );
        }
    }
    return Texts;
}
} // namespace

// Records that become ready only after later ones come up need more passes; each initialises once, in an
// order its ready test allows, and nothing is reported.
TEST( InitializeDatabases, PassesInitializeEveryRecordOnceInAReadyOrder )
{
    CSerialDatabases Databases;
    Databases.Add( "Level", { "Items", "Textures" } );
    Databases.Add( "Items", { "Textures" } );
    Databases.Add( "Sounds", {} );
    Databases.Add( "Textures", {} );
    CRecordingLogger* pLogger = new CRecordingLogger;
    SetLogger( CQorScopedPtr<CLogger>( pLogger ) );
    const CLogGuard Guard;
    CAssertRecorder Asserts;
    EXPECT_TRUE( InitializeDatabases( Databases.Records() ) );
    EXPECT_EQ( Databases.Order(), ( std::vector<std::string>{ "Sounds", "Textures", "Items", "Level" } ) );
    for ( const char* pName : { "Level", "Items", "Sounds", "Textures" } )
    {
        EXPECT_EQ( Databases.Calls( pName ), 1 ) << pName;
    }
    EXPECT_TRUE( ErrorTexts( *pLogger ).empty() );
    EXPECT_TRUE( Asserts.Texts().empty() );
    EXPECT_TRUE( InitializeDatabases( CQorArray<SGameDatabaseRecord>() ) );
}

// What can't proceed is told, one line per record, then once for all; a failing init is called once and is
// told with the records that wait for it; a record without a name is "<name>".
TEST( InitializeDatabases, RecordsThatCantProceedAreToldByName )
{
    CSerialDatabases Databases;
    Databases.Add( "Weapons", { "Items" } );
    Databases.Add( "Items", {}, true );
    Databases.Add( nullptr, { "Nowhere" } );
    Databases.Add( "Sounds", {} );
    Databases.Add( "Cycle", { "Cycle" } );
    CRecordingLogger* pLogger = new CRecordingLogger;
    SetLogger( CQorScopedPtr<CLogger>( pLogger ) );
    const CLogGuard Guard;
    CAssertRecorder Asserts;
    EXPECT_FALSE( InitializeDatabases( Databases.Records() ) );
    EXPECT_EQ( ErrorTexts( *pLogger ), ( std::vector<std::string>{ "Failed to initialize database: Weapons\n",
                                                                   "Failed to initialize database: Items\n",
                                                                   "Failed to initialize database: <name>\n",
                                                                   "Failed to initialize database: Cycle\n" } ) );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Failed to initialize some databases!" } );
    EXPECT_EQ( Databases.Order(), std::vector<std::string>{ "Sounds" } );
    EXPECT_EQ( Databases.Calls( "Items" ), 1 );
    EXPECT_EQ( Databases.Calls( "Weapons" ), 0 );
}
