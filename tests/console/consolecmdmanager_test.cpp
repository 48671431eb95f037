#include "qor_core/console/consolecmdmanager.h"

#include "qor_core/console/tweakablevariable.h"
#include "qor_core/qorfilewatcher.h"
#include "qor_core/thread/qor_task.h"
#include "qor_core/thread/qor_task_scheduler.h"
#include "qor_core/virtualfilesystem.h"
#include "tests/assert_recorder.h"
#include "tests/log_test_utils.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace
{
SConsoleCommand MakeCommand( const char* pName, bool bRelease, int32 nArguments, FConsoleAction Action,
                             const char* pDescription = "" )
{
    SConsoleCommand Command;
    Command._Name = pName;
    Command._bRelease = bRelease;
    Command._NumArguments = nArguments;
    Command._pAction = std::move( Action );
    Command._Description = pDescription;
    return Command;
}

// Answers with the arguments joined by '|'.
void EchoAction( CConsoleArguments Arguments, SConsoleCmdResult& Result )
{
    Result._bSuccess = true;
    for ( int32 I = 0; I < Arguments.GetSize(); ++I )
    {
        Result._Text += I ? "|" : "";
        Result._Text += Arguments[I];
    }
}

std::vector<std::string> Lines( const CString& Text )
{
    EXPECT_TRUE( Text.IsEmpty() || Text.GetStdString().back() == '\n' ) << "every name ends with a line end";
    std::vector<std::string> Result;
    std::istringstream Stream( Text.GetStdString() );
    for ( std::string Line; std::getline( Stream, Line ); )
    {
        Result.push_back( Line );
    }
    return Result;
}

std::vector<std::string> ToStrings( const CQorArray<CString>& Array )
{
    std::vector<std::string> Strings;
    for ( const CString& Element : Array )
    {
        Strings.push_back( Element.GetStdString() );
    }
    return Strings;
}

// Whether the line succeeded, and its answer.
std::tuple<bool, std::string> Outcome( CConsoleCmdManager& Manager, const char* pLine )
{
    const SConsoleCmdResult Result = Manager.ExecuteLine( pLine );
    return { Result._bSuccess, Result._Text.GetStdString() };
}

// A manager of its own with commands of each kind and a tweakable of each type.
struct SConsoleFixture
{
    SConsoleFixture()
    {
        Manager.AddCommand( MakeCommand( "Echo", true, 2, &EchoAction, "Prints its arguments" ) );
        Manager.AddCommand( MakeCommand(
            "Dev.Only", false, 0,
            []( CConsoleArguments, SConsoleCmdResult& Result )
            {
                Result._bSuccess = true;
                Result._Text = "dev ran";
            },
            "Developers only" ) );
        Manager.AddCommand( MakeCommand( "NoAction", true, 0, nullptr, "Has no action" ) );
        Manager.AddCommand( MakeCommand(
            "Fails", true, 0, []( CConsoleArguments, SConsoleCmdResult& Result ) { Result._Text = "refused"; },
            "Always refuses" ) );
        CTweakable::RegisterWith<CTweakableMinMax<int32>>( Manager, &Number, "Number", "An integer", 0, 10 );
        CTweakable::RegisterWith<CTweakableBool>( Manager, &bFlag, "Flag", "A switch" );
        CTweakable::RegisterWith<CTweakableString>( Manager, &Name, "Name", "A text" );
        CTweakable::RegisterWith<CTweakableNumber<float>>( Manager, &Ratio, "Ratio", "A float" );
        CTweakable::RegisterWith<CTweakableNumber<CFixedPoint>>( Manager, &Fixed, "Fixed", "A fixed-point number" );
        CTweakable::RegisterWith<CTweakableNumber<uint32>>( Manager, &Count, "Count", "An unsigned" );
        // Shadowed by the command of the same name.
        CTweakable::RegisterWith<CTweakableNumber<int32>>( Manager, &Shadowed, "Echo", "Never reached" );
    }

    int32 Number = 5;
    bool bFlag = false;
    CString Name;
    float Ratio = 0.0f;
    CFixedPoint Fixed;
    uint32 Count = 0;
    int32 Shadowed = 3;
    CConsoleCmdManager Manager;
};
} // namespace

TEST( ConsoleCmdManager, CommandLinesAndTheirResults )
{
    SConsoleFixture Fixture;
    const std::string Longest = "Echo " + std::string( CConsoleCmdManager::c_MaxLineLength - 5, 'x' );
    const std::string Overlong = Longest + "x";
    // Restricted, network game, the line; whether it succeeds, its answer, and the variable's value after it.
    const std::tuple<bool, bool, std::string, bool, std::string, int32> Cases[] = {
        { false, false, "Echo a b", true, "a|b", 5 },
        { false, false, "  Echo\ta   b  ", true, "a|b", 5 },
        { false, false, "Echo", true, "", 5 },
        { false, false, "Echo \"a b\" c", true, "a b|c", 5 },
        { false, false, "Echo x\"a b\"y \"\"", true, "xa by|", 5 },
        { false, false, "Echo a b c", false, "Too many arguments: 'Echo' takes at most 2, got 3.", 5 },
        { false, false, "Echo \"a b", false, "Quote left open in command line.", 5 },
        { false, false, "", false, "Empty command line.", 5 },
        { false, false, " \t \r", false, "Empty command line.", 5 },
        { false, false, Longest, true, Longest.substr( 5 ), 5 },
        { false, false, Overlong, false, "Command line longer than 1024 characters.", 5 },
        { false, false, "Nope", false, "Unknown command", 5 },
        { false, false, "echo a", false, "Unknown command", 5 },
        { false, false, "Dev.Only", true, "dev ran", 5 },
        { false, false, "Dev.Only x", false, "Too many arguments: 'Dev.Only' takes at most 0, got 1.", 5 },
        { false, false, "NoAction", false, "Console Error - command has missing action.", 5 },
        { false, false, "Fails", false, "refused", 5 },
        { false, false, "Number", true, "Value 5", 5 },
        { false, false, "Number 7", true, "Value 7", 7 },
        { false, false, "Number abc", false, "Invalid value 'abc'. Value 7", 7 },
        { false, false, "Number 3x", false, "Invalid value '3x'. Value 7", 7 },
        { false, false, "Number \"\"", false, "Invalid value ''. Value 7", 7 },
        { false, false, "Number 99999999999", false, "Invalid value '99999999999'. Value 7", 7 },
        { false, false, "Number 1 2", false, "Too many arguments: 'Number' takes at most 1, got 2.", 7 },
        { false, false, "Number \"1", false, "Quote left open in command line.", 7 },
        { false, false, "Number 11", true, "Value 10", 10 },
        { false, false, "Number -1", true, "Value 0", 0 },
        { false, false, "Flag", true, "Enabled", 0 },
        { false, false, "Flag", true, "Disabled", 0 },
        { false, false, "Flag yes", true, "Enabled", 0 },
        { false, false, "Flag no", true, "Disabled", 0 },
        { false, false, "Flag FALSE", true, "Enabled", 0 },
        { false, false, "Flag 0", true, "Disabled", 0 },
        { false, false, "Flag a b", false, "Too many arguments: 'Flag' takes at most 1, got 2.", 0 },
        { false, false, "Ratio 1.5", true, "Value 1.5", 0 },
        { false, false, "Ratio 1,5", false, "Invalid value '1,5'. Value 1.5", 0 },
        { false, false, "Ratio inf", false, "Invalid value 'inf'. Value 1.5", 0 },
        { false, false, "Fixed 2.25", true, "Value 2.25", 0 },
        { false, false, "Fixed 2.x", false, "Invalid value '2.x'. Value 2.25", 0 },
        { false, false, "Count 4000000000", true, "Value 4000000000", 0 },
        { false, false, "Count -1", false, "Invalid value '-1'. Value 4000000000", 0 },
        { false, false, "Name \"hello world\"", true, "Value hello world", 0 },
        { true, false, "Echo a", true, "a", 0 },
        { true, false, "Dev.Only", false, "Command available only for developers.", 0 },
        { true, false, "Nope", false, "Unknown command", 0 },
        { true, false, "Number 4", true, "Value 4", 4 },
        { true, true, "Echo a", false, "Console not available in multiplayer or ironman mode.", 4 },
        { true, true, "Number 6", false, "Console not available in multiplayer or ironman mode.", 4 },
        { false, true, "Dev.Only", true, "dev ran", 4 },
    };
    for ( const auto& [ bRestricted, bNetworkGame, Line, bSuccess, Text, Number ] : Cases )
    {
        Fixture.Manager.SetRestricted( bRestricted );
        Fixture.Manager.SetNetworkGame( bNetworkGame );
        EXPECT_EQ( Outcome( Fixture.Manager, Line.c_str() ), std::tuple( bSuccess, Text ) ) << Line;
        EXPECT_EQ( Fixture.Number, Number ) << Line;
    }
    EXPECT_EQ( Fixture.Shadowed, 3 );
    EXPECT_EQ( Fixture.Name.GetStdString(), "hello world" );
}

TEST( ConsoleCmdManager, FilterAnswersBeforeTheChecks )
{
    SConsoleFixture Fixture;
    std::vector<std::string> Seen;
    Fixture.Manager.SetFilter(
        [&]( const SConsoleCommand& Command, CConsoleArguments Arguments, SConsoleCmdResult& Result )
        {
            Seen.push_back( Command._Name.GetStdString() + "/" + std::to_string( Arguments.GetSize() ) );
            if ( Command._Name == "Dev.Only" )
            {
                Result._Text = "filtered";
                return true;
            }
            return false;
        } );
    Fixture.Manager.SetRestricted( true );
    EXPECT_EQ( Outcome( Fixture.Manager, "Dev.Only" ), std::tuple( false, "filtered" ) );
    EXPECT_EQ( Fixture.Manager.ExecuteLine( "Echo a b" )._Text.GetStdString(), "a|b" );
    EXPECT_EQ( Fixture.Manager.ExecuteLine( "Number" )._Text.GetStdString(), "Value 5" );
    EXPECT_EQ( Seen, ( std::vector<std::string>{ "Dev.Only/0", "Echo/2" } ) );
}

TEST( ConsoleCmdManager, ListingsCompletionsAndGroups )
{
    SConsoleFixture Fixture;
    CConsoleCmdManager& Manager = Fixture.Manager;
    Manager.AddCommand( MakeCommand( "alpha", true, 0, &EchoAction, "First" ) );
    CString Names;
    Manager.GetCommandNames( Names );
    // "Echo" is both a command and a tweakable.
    EXPECT_EQ( Lines( Names ), ( std::vector<std::string>{ "alpha", "Count", "Dev.Only", "Echo", "Echo", "Fails",
                                                           "Fixed", "Flag", "Name", "NoAction", "Number", "Ratio" } ) );
    Manager.GetVariableNames( Names );
    EXPECT_EQ( Lines( Names ),
               ( std::vector<std::string>{ "Count", "Echo", "Fixed", "Flag", "Name", "Number", "Ratio" } ) );
    CQorArray<CString> Completions;
    Manager.GetCompletions( "n", Completions );
    EXPECT_EQ( ToStrings( Completions ), ( std::vector<std::string>{ "Name", "NoAction", "Number" } ) );
    Manager.GetCompletions( "NUM", Completions );
    EXPECT_EQ( ToStrings( Completions ), std::vector<std::string>{ "Number" } );
    Manager.GetCompletions( "zz", Completions );
    EXPECT_TRUE( Completions.IsEmpty() );

    CString Help;
    Manager.GetHelp( Help );
    EXPECT_EQ( Help.GetStdString(), "\n - alpha: First\n - Dev.Only: Developers only\n - Echo: Prints its arguments"
                                    "\n - Fails: Always refuses\n - NoAction: Has no action" );

    Manager.SetRestricted( true );
    Manager.GetCommandNames( Names );
    EXPECT_EQ( Lines( Names ), ( std::vector<std::string>{ "alpha", "Count", "Echo", "Echo", "Fails", "Fixed", "Flag",
                                                           "Name", "NoAction", "Number", "Ratio" } ) );
    Manager.GetHelp( Help );
    EXPECT_EQ( Help.GetStdString().find( "Dev.Only" ), std::string::npos );
    Manager.SetRestricted( false );

    CLogRecorder Log;
    Manager.AddCommandToGroup( "Text", "Echo" );
    Manager.AddCommandToGroup( "Debug", "Dev.Only" );
    Manager.AddCommandToGroup( "Text", "Fails" );
    Manager.AddCommandToGroup( "Text", "Echo" );
    Manager.AddCommandToGroup( "Text", "Number" );
    EXPECT_EQ( Log.Texts(), std::vector<std::string>{ "Adding unknown command to a console group\n" } );
    CQorArray<SConsoleGroup> Groups;
    Manager.GetGroups( Groups );
    ASSERT_EQ( Groups.GetSize(), 3 );
    EXPECT_EQ( Groups[0]._Name.GetStdString(), "Text" );
    EXPECT_EQ( ToStrings( Groups[0]._CommandNames ), ( std::vector<std::string>{ "Echo", "Fails" } ) );
    EXPECT_EQ( Groups[1]._Name.GetStdString(), "Debug" );
    EXPECT_EQ( Groups[2]._Name.GetStdString(), "Other" );
    EXPECT_EQ( ToStrings( Groups[2]._CommandNames ), ( std::vector<std::string>{ "alpha", "NoAction" } ) );
    Manager.SetRestricted( true );
    Manager.GetGroups( Groups );
    EXPECT_TRUE( Groups[1]._CommandNames.IsEmpty() );
}

TEST( ConsoleCmdManager, TweakableRegistrationAndValues )
{
    CConsoleCmdManager Manager;
    CAssertRecorder Asserts;
    int32 First = 1;
    int32 Second = 2;
    CTweakableNumber<int32>* pFirst =
        CTweakable::RegisterWith<CTweakableNumber<int32>>( Manager, &First, "Value", "the first" );
    CTweakableNumber<int32>* pAgain =
        CTweakable::RegisterWith<CTweakableNumber<int32>>( Manager, &Second, "Value", "the second" );
    EXPECT_EQ( pAgain, pFirst );
    EXPECT_EQ( Manager.FindVariable( "Value" ), pFirst );
    EXPECT_EQ( pFirst->GetDescription().GetStdString(), "the second" );
    EXPECT_EQ( Manager.ExecuteLine( "Value 9" )._Text.GetStdString(), "Value 9" );
    EXPECT_EQ( First, 1 );
    EXPECT_EQ( Second, 9 );
    CString Names;
    Manager.GetVariableNames( Names );
    EXPECT_EQ( Names.GetStdString(), "Value\n" );
    EXPECT_TRUE( Asserts.Texts().empty() );

    // Another class under the same name: the old one stays.
    EXPECT_EQ( CTweakable::RegisterWith<CTweakableMinMax<int32>>( Manager, &First, "Value", "", 0, 1 ), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "Old tweakable type differs from new type" } );
    EXPECT_EQ( Manager.FindVariable( "Value" ), pFirst );

    // Without a variable: the default value, and writes go nowhere.
    CTweakableTyped<float>* pUnbound =
        CTweakable::RegisterWith<CTweakableTyped<float>>( Manager, nullptr, "Unbound", "" );
    EXPECT_EQ( Manager.ExecuteLine( "Unbound 2.5" )._Text.GetStdString(), "Value 0" );
    EXPECT_EQ( pUnbound->Get(), 0.0f );
    CTweakableBool* pUnboundBool = CTweakable::RegisterWith<CTweakableBool>( Manager, nullptr, "UnboundBool", "" );
    EXPECT_EQ( Manager.ExecuteLine( "UnboundBool" )._Text.GetStdString(), "Disabled" );
    EXPECT_FALSE( pUnboundBool->Get() );

    // The hook hears of changes only.
    int nChanges = 0;
    pFirst->SetChangeHook( [&]( CTweakable& Tweakable ) { nChanges += &Tweakable == pFirst; } );
    pFirst->Set( 9 );
    EXPECT_EQ( nChanges, 0 );
    EXPECT_TRUE( pFirst->FromString( "4" ) );
    EXPECT_FALSE( pFirst->FromString( "four" ) );
    EXPECT_EQ( nChanges, 1 );
    EXPECT_EQ( Second, 4 );

    // A callback answers with its label and hears all arguments.
    std::vector<std::string> Heard;
    CTweakable::RegisterWith<CTweakableCallback>( Manager, "Files.ResetFromDisk", "Reset",
                                                  [&]( CConsoleArguments Arguments )
                                                  {
                                                      for ( const CString& Argument : Arguments )
                                                      {
                                                          Heard.push_back( Argument.GetStdString() );
                                                      }
                                                  } );
    EXPECT_EQ( Outcome( Manager, "Files.ResetFromDisk a b" ), std::tuple( true, "Called Reset" ) );
    EXPECT_EQ( Heard, ( std::vector<std::string>{ "a", "b" } ) );

    EXPECT_TRUE( Manager.RemoveVariable( "Unbound" ) );
    EXPECT_EQ( Manager.ExecuteLine( "Unbound" )._Text.GetStdString(), "Unknown command" );
}

TEST( ConsoleCmdManager, LibraryCommandsReachTheProcessConsole )
{
    CConsoleCmdManager& Manager = CConsoleCmdManager::Get();
    const SConsoleCommand* pCount = Manager.FindCommand( "Threading.TaskThreadCount" );
    ASSERT_NE( pCount, nullptr );
    EXPECT_EQ( pCount->_Description.GetStdString(), "Set or get the number of task threads" );
    EXPECT_EQ( pCount->_ArgumentDescriptions[0].GetStdString(), "The number of task threads" );
    EXPECT_EQ( Outcome( Manager, "Threading.TaskThreadCount" ),
               std::tuple( true, std::to_string( GetNumTaskThreads() ) ) );
    EXPECT_FALSE( Manager.ExecuteLine( "Threading.TaskThreadCount many" )._bSuccess );

    const bool bBefore = g_bEnableTaskThreads;
    EXPECT_EQ( Manager.ExecuteLine( "Threading.EnableTaskThreads" )._Text.GetStdString(),
               bBefore ? "Disabled" : "Enabled" );
    EXPECT_NE( g_bEnableTaskThreads, bBefore );
    Manager.ExecuteLine( "Threading.EnableTaskThreads" );
    EXPECT_EQ( g_bEnableTaskThreads, bBefore );

    const bool bLogOnlyBefore = g_bLogOnly;
    EXPECT_EQ( Manager.ExecuteLine( "Asserts.ToggleLogOnly 1" )._Text.GetStdString(), "Enabled" );
    EXPECT_TRUE( g_bLogOnly );
    EXPECT_EQ( Manager.ExecuteLine( "Asserts.ToggleLogOnly" )._Text.GetStdString(), "Disabled" );
    EXPECT_FALSE( g_bLogOnly );
    g_bLogOnly = bLogOnlyBefore;

    const int32 DelayBefore = g_FileWatcherNotificationDelayMs;
    EXPECT_EQ( Manager.ExecuteLine( "CFilewatcher.NotificationDelay 250" )._Text.GetStdString(), "Value 250" );
    EXPECT_EQ( g_FileWatcherNotificationDelayMs, 250 );
    g_FileWatcherNotificationDelayMs = DelayBefore;

    // The file system's throttles: floats over the whole range, a bad value keeps the old one.
    // The line; whether it succeeds, its answer, and both limits after it.
    const std::tuple<const char*, bool, std::string, float, float> LimitLines[] = {
        { "ReadLimit", true, "Value 0", 0.0f, 0.0f },
        { "ReadLimit 1.5", true, "Value 1.5", 1.5f, 0.0f },
        { "WriteLimit -3", true, "Value -3", 1.5f, -3.0f },
        { "WriteLimit 1e6", true, "Value 1000000", 1.5f, 1e6f },
        { "ReadLimit fast", false, "Invalid value 'fast'. Value 1.5", 1.5f, 1e6f },
        { "ReadLimit 0", true, "Value 0", 0.0f, 1e6f },
        { "WriteLimit 0", true, "Value 0", 0.0f, 0.0f },
    };
    for ( const auto& [ pLine, bSuccess, Text, Read, Write ] : LimitLines )
    {
        EXPECT_EQ( Outcome( Manager, pLine ), std::tuple( bSuccess, Text ) ) << pLine;
        EXPECT_EQ( std::tuple( g_VFSReadLimit, g_VFSWriteLimit ), std::tuple( Read, Write ) ) << pLine;
    }
    for ( const char* pName : { "ReadLimit", "WriteLimit" } )
    {
        const auto* pLimit = dynamic_cast<const CTweakableMinMax<float>*>( Manager.FindVariable( pName ) );
        ASSERT_NE( pLimit, nullptr ) << pName;
        EXPECT_EQ( pLimit->GetMin(), std::numeric_limits<float>::lowest() );
        EXPECT_EQ( pLimit->GetMax(), std::numeric_limits<float>::max() );
    }

    CAssertRecorder Asserts;
    CConsoleCmdManager::Create();
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_pInstance == 0" } );
    EXPECT_EQ( &CConsoleCmdManager::Get(), &Manager );
}

TEST( ConsoleCmdManager, ColourTextsAndForms )
{
    CConsoleCmdManager Manager;
    CTweakableColor::CColor Tint( 1.0f, 0.5f, 0.0f, 1.0f );
    int32 nChanges = 0;
    CTweakable::RegisterWith<CTweakableColor>( Manager, &Tint, "Tint", "A colour" )
        ->SetChangeHook( [ & ]( CTweakable& ) { ++nChanges; } );
    // The line; whether it succeeds, and its answer.
    const std::tuple<const char*, bool, std::string> Lines[] = {
        { "Tint", true, "Value 1 0.5 0 1" },
        { "Tint 0 0 1", true, "Value 0 0 1 1" },
        { "Tint \"255 0 51 0.25\"", true, "Value 1 0 0.2 0.25" },
        { "Tint 0.5,0.25,1,0", true, "Value 0.5 0.25 1 0" },
        { "Tint 0x80FF0000", true, "Value 1 0 0 0.5019608" },
        { "Tint 0XFF00ff00", true, "Value 0 1 0 1" },
        { "Tint 0x", false, "Invalid value '0x'. Value 0 1 0 1" },
        { "Tint 0x1FF00FF00", false, "Invalid value '0x1FF00FF00'. Value 0 1 0 1" },
        { "Tint 0x-1", false, "Invalid value '0x-1'. Value 0 1 0 1" },
        { "Tint 1 0", false, "Invalid value '1 0'. Value 0 1 0 1" },
        { "Tint \"1 0 0 1 1\"", false, "Invalid value '1 0 0 1 1'. Value 0 1 0 1" },
        { "Tint red green blue", false, "Invalid value 'red green blue'. Value 0 1 0 1" },
        { "Tint inf 0 0", false, "Invalid value 'inf 0 0'. Value 0 1 0 1" },
        { "Tint 1 0 0 1 1", false, "Too many arguments: 'Tint' takes at most 4, got 5." },
        { "Tint 0 1 0 1", true, "Value 0 1 0 1" },
    };
    for ( const auto& [ pLine, bSuccess, Text ] : Lines )
    {
        EXPECT_EQ( Outcome( Manager, pLine ), std::tuple( bSuccess, Text ) ) << pLine;
    }
    // Five changes: the last line wrote the colour it held.
    EXPECT_EQ( nChanges, 5 );

    CTweakableColor Unbound( nullptr, "Unbound", "" );
    EXPECT_TRUE( Unbound.FromString( "1 1 1" ) );
    CString Text;
    Unbound.ToString( Text );
    EXPECT_EQ( Text.GetStdString(), "0 0 0 0" );
}
