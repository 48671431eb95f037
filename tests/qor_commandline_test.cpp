#include "qor_core/qor_commandline.h"

#include "qor_core/qor_commandline_actionmanager.h"
#include "tests/assert_recorder.h"
#include "tests/commandline_test_utils.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace
{
const SCommandLineOption g_TestString{ "test_string", "A text", COMMAND_LINE_OPTION_TYPE_STRING };
const SCommandLineOption g_TestBool{ "test_bool", "A switch", COMMAND_LINE_OPTION_TYPE_BOOL };
const SCommandLineOption g_TestInt{ "test_int", "A count", COMMAND_LINE_OPTION_TYPE_INTEGER };
const SCommandLineOption g_TestUnsigned{ "test_unsigned", "A size", COMMAND_LINE_OPTION_TYPE_UNSIGNED_INTEGER };
const SCommandLineOption g_TestFlag{ "test_flag", "A flag", COMMAND_LINE_OPTION_TYPE_NONE };
const SCommandLineOptionRegistration g_Registrations[] = {
    SCommandLineOptionRegistration( g_TestString ), SCommandLineOptionRegistration( g_TestBool ),
    SCommandLineOptionRegistration( g_TestInt ), SCommandLineOptionRegistration( g_TestUnsigned ),
    SCommandLineOptionRegistration( g_TestFlag ) };

using CPairs = std::vector<std::pair<std::string, std::string>>;

CPairs ArgumentsOf( const CQorCommandLine& CommandLine )
{
    CPairs Pairs;
    for ( const SCommandLineArgument& Argument : CommandLine.GetArguments() )
    {
        Pairs.emplace_back( Argument._Name.GetStdString(), Argument._Value.GetStdString() );
    }
    return Pairs;
}

// The typed query of the option's own type, as text: "unset", the number, "true", "false" or the quoted text.
std::string Query( const CQorCommandLine& CommandLine, const SCommandLineOption& Option )
{
    const auto Shown = []( const auto& Value, auto Show ) { return Value ? Show( Value.GetValue() ) : "unset"; };
    switch ( Option._Type )
    {
    case COMMAND_LINE_OPTION_TYPE_STRING:
        return Shown( CommandLine.GetString( Option ),
                      []( const CString& V ) { return "'" + V.GetStdString() + "'"; } );
    case COMMAND_LINE_OPTION_TYPE_BOOL:
        return Shown( CommandLine.GetBool( Option ), []( bool V ) { return std::string( V ? "true" : "false" ); } );
    case COMMAND_LINE_OPTION_TYPE_INTEGER:
        return Shown( CommandLine.GetInt( Option ), []( int32 V ) { return std::to_string( V ); } );
    default:
        return Shown( CommandLine.GetUnsigned( Option ), []( uint32 V ) { return std::to_string( V ); } );
    }
}
} // namespace

TEST( CQorCommandLine, ParsesTheJoinedArgumentsByTheTable )
{
    const std::pair<std::vector<std::string>, CPairs> Table[] = {
        { { "--a=b" }, { { "a", "b" } } },
        { { "-a", "b" }, { { "a", "b" } } },
        { { "/a", "b" }, { { "a", "b" } } },
        { { "+a" }, { { "a", "" } } },
        { { "word" }, { { "word", "" } } },
        { { "--a", "-b" }, { { "a", "" }, { "b", "" } } },
        { { "--a", "b", "c" }, { { "a", "b c" } } },
        { { "--a=b=c", "--d=/usr/bin" }, { { "a", "b=c" }, { "d", "/usr/bin" } } },
        { { "--a=" }, { { "a=", "" } } },
        { { "--a=", "b" }, { { "a=", "b" } } },
        { { "--n", "-5" }, { { "n", "" }, { "5", "" } } },
        { { "--a=\"x -y  z\"", "--b" }, { { "a", "x -y  z" }, { "b", "" } } },
        { { "--a", "\"b c\"" }, { { "a", "" }, { "b c", "" } } },
        { { "-\"a b\"=c" }, { { "a b", "c" } } },
        { { "---a" }, { { "-a", "" } } },
        { { "--a=\tx\t" }, { { "a", "x" } } },
        { { "", "--a" }, { { "a", "" } } },
        { { "--\xe2\x82\xac=Gr\xc3\xbc\xc3\x9f" "e" }, { { "\xe2\x82\xac", "Gr\xc3\xbc\xc3\x9f" "e" } } },
    };
    CLogRecorder Log;
    for ( const auto& [ Arguments, Expected ] : Table )
    {
        CCommandLineScope CommandLine( Arguments );
        EXPECT_TRUE( CommandLine.IsCreated() );
        EXPECT_EQ( ArgumentsOf( CommandLine.Get() ), Expected ) << ::testing::PrintToString( Arguments );
    }
}

TEST( CQorCommandLine, ARepeatedNameKeepsItsFirstPlaceAndTakesTheLastValue )
{
    CLogRecorder Log;
    CCommandLineScope CommandLine( { "--test_int=1", "--test_flag", "--test_int", "2" } );
    EXPECT_EQ( ArgumentsOf( CommandLine.Get() ), ( CPairs{ { "test_int", "2" }, { "test_flag", "" } } ) );
    EXPECT_EQ( Log.Texts(),
               std::vector<std::string>{ "A command line arg 'test_int' is already present in the "
                                         "CQorCommandLine. Replacing current value '1' with new value '2'\n" } );
}

TEST( CQorCommandLine, AnUnmatchedQuoteDropsEveryArgumentAndFails )
{
    CLogRecorder Log;
    CCommandLineScope CommandLine( { "--test_int=1", "--test_string=\"open", "--test_flag" } );
    EXPECT_FALSE( CommandLine.IsCreated() );
    EXPECT_TRUE( CommandLine.Get().GetArguments().IsEmpty() );
    EXPECT_EQ( Log.Texts(), ( std::vector<std::string>{
                                "String literal with unmatched \" in command line argument, clearing arguments\n",
                                "Failed creating commandline\n" } ) );
}

// A value that doesn't read as the option's type is unset, and one line names the option, the value and the type.
TEST( CQorCommandLine, TypedQueriesReadTheirValuesByTheTable )
{
    const auto Expects = []( const char* pOption, const char* pType, const std::string& Got )
    { return std::string( "Command line option '" ) + pOption + "' expects " + pType + ", got '" + Got + "'\n"; };
    const char* pInteger = "an integer from -2147483648 to 2147483647";
    const char* pBoolean = "true, false, yes, no, on, off, 1 or 0";
    // The arguments, the option asked, the answer, and what is logged.
    const std::tuple<std::vector<std::string>, const SCommandLineOption&, std::string, std::string> Table[] = {
        { {}, g_TestInt, "unset", "" },
        { { "--test_int=42" }, g_TestInt, "42", "" },
        { { "--test_int=-2147483648" }, g_TestInt, "-2147483648", "" },
        { { "--test_int=2147483648" }, g_TestInt, "unset", Expects( "test_int", pInteger, "2147483648" ) },
        { { "--test_int=99999999999" }, g_TestInt, "unset", Expects( "test_int", pInteger, "99999999999" ) },
        { { "--test_int=abc" }, g_TestInt, "unset", Expects( "test_int", pInteger, "abc" ) },
        { { "--test_int=12x" }, g_TestInt, "unset", Expects( "test_int", pInteger, "12x" ) },
        { { "--test_int" }, g_TestInt, "unset", Expects( "test_int", pInteger, "" ) },
        { { "--test_int=\xc3\xa9" }, g_TestInt, "unset", Expects( "test_int", pInteger, "\xc3\xa9" ) },
        { { "--test_int=" + std::string( 300, '9' ) }, g_TestInt, "unset",
          Expects( "test_int", pInteger, std::string( 200, '9' ) + "..." ) },
        { { "--test_unsigned=4294967295" }, g_TestUnsigned, "4294967295", "" },
        { { "--test_unsigned=-1" }, g_TestUnsigned, "unset",
          Expects( "test_unsigned", "an unsigned integer from 0 to 4294967295", "-1" ) },
        { { "--test_bool" }, g_TestBool, "true", "" },
        { { "--test_bool=Yes" }, g_TestBool, "true", "" },
        { { "--test_bool=OFF" }, g_TestBool, "false", "" },
        { { "--test_bool=0" }, g_TestBool, "false", "" },
        { { "--test_bool=maybe" }, g_TestBool, "unset", Expects( "test_bool", pBoolean, "maybe" ) },
        { { "--test_string=a b" }, g_TestString, "'a b'", "" },
        { { "--test_string" }, g_TestString, "''", "" },
    };
    for ( const auto& [ Arguments, Option, Expected, Logged ] : Table )
    {
        CLogRecorder Log;
        CCommandLineScope CommandLine( Arguments );
        EXPECT_EQ( Query( CommandLine.Get(), Option ), Expected ) << ::testing::PrintToString( Arguments );
        EXPECT_EQ( Log.Texts(), Logged.empty() ? std::vector<std::string>{} : std::vector{ Logged } );
    }
}

TEST( CQorCommandLine, AQueryOfAnotherTypeAssertsAndIsUnset )
{
    CCommandLineScope CommandLine( { "--test_string=12", "--test_flag=1" } );
    CAssertRecorder Asserts;
    EXPECT_FALSE( CommandLine.Get().GetInt( g_TestString ) );
    EXPECT_FALSE( CommandLine.Get().GetString( g_TestFlag ) );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{
                                    "Attempting to use command line option 'test_string' as the incorrect type",
                                    "Attempting to use command line option 'test_flag' as the incorrect type" } ) );
    CString Value;
    EXPECT_TRUE( CommandLine.Get().HasOption( g_TestFlag ) && CommandLine.Get().GetArgument( "test_flag", Value ) );
    EXPECT_EQ( Value, "1" );
}

// Names of records, actions and names asked by name are known; the others are told, one line each up to 16.
TEST( CQorCommandLine, ThousandsOfArgumentsParseWholeAndAreToldInFewLines )
{
    std::vector<std::string> Arguments{ "--test_int=1", "--command_line_help", "--no-console", "--logprefix=x" };
    for ( int I = 0; I < 20000; ++I )
    {
        Arguments.push_back( "--arg" + std::to_string( I ) + "=" + std::to_string( I * 7 ) );
    }
    Arguments.push_back( "--arg5=last" );
    CLogRecorder Log;
    CCommandLineScope CommandLine( Arguments );
    ASSERT_EQ( CommandLine.Get().GetArguments().GetSize(), 20004 );
    CString Value;
    EXPECT_TRUE( CommandLine.Get().GetArgument( "arg19999", Value ) && Value == "139993" );
    EXPECT_TRUE( CommandLine.Get().GetArgument( "arg5", Value ) && Value == "last" );
    const std::vector<std::string> Texts = Log.Texts();
    ASSERT_EQ( Texts.size(), 18u );
    EXPECT_EQ( Texts[ 1 ], "Unknown command line argument 'arg0': no option or action has this name "
                           "(--command_line_help lists them)\n" );
    EXPECT_EQ( Texts[ 16 ].substr( 0, 37 ), "Unknown command line argument 'arg15'" );
    EXPECT_EQ( Texts[ 17 ], "19984 more unknown command line arguments are not listed\n" );
}

TEST( CQorCommandLine, ToStringRebuildsTheArgumentsAndLeavesOutExcludedValues )
{
    CLogRecorder Log;
    CCommandLineScope CommandLine( { "--a=1", "--flag", "--secret=pw", "/b", "x y" } );
    CString Text;
    CommandLine.Get().ToString( Text, { "secret" } );
    EXPECT_EQ( Text, "--a=\"1\" --flag --secret=\"\" --b=\"x y\"" );
    CommandLine.Get().ToString( Text );
    EXPECT_EQ( Text, "--a=\"1\" --flag --secret=\"pw\" --b=\"x y\"" );
}

TEST( CQorCommandLine, TheInstanceIsMadeOnceAndKeepsItsOwnCopyOfTheArguments )
{
    CAssertRecorder Asserts;
    EXPECT_TRUE( CQorCommandLine::Get().GetArguments().IsEmpty() );
    CQorCommandLine::Destroy();
    EXPECT_EQ( CQorCommandLine::Find(), nullptr );
    {
        std::string Program = "/usr/bin/app";
        CCommandLineScope CommandLine( { "--test_flag" }, Program );
        Program.assign( Program.size(), 'x' );
        const char* Argv[] = { "prog", "--test_int=1" };
        EXPECT_FALSE( CQorCommandLine::Create( 2, Argv ) );
        EXPECT_EQ( CQorCommandLine::Find(), &CommandLine.Get() );
        EXPECT_FALSE( CommandLine.Get().HasOption( g_TestInt ) );
        ASSERT_EQ( CommandLine.Get().GetArgc(), 2 );
        EXPECT_STREQ( CommandLine.Get().GetArgv()[ 0 ], "/usr/bin/app" );
        EXPECT_STREQ( CommandLine.Get().GetArgv()[ 1 ], "--test_flag" );
        EXPECT_EQ( CommandLine.Get().GetArgv()[ 2 ], nullptr );
    }
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "_Instance", "_Instance", "!_Instance" } ) );
}

// The options of the library and one of each kind of line: every type, a name that ends on the column, one
// past it, a type and a stage that have no name.
TEST( CQorCommandLine, TheHelpTextIsTheExpectedOne )
{
    const SCommandLineOption Options[] = {
        { "taskthreads", "Override the number of task/worker threads that should be created",
          COMMAND_LINE_OPTION_TYPE_INTEGER },
        { "log_databases_count", "Log the number of databases to debug.log", COMMAND_LINE_OPTION_TYPE_NONE },
        { "database_test_named", "Run database tests on the database with the given name",
          COMMAND_LINE_OPTION_TYPE_STRING },
        { "verbose", "Tell every step", COMMAND_LINE_OPTION_TYPE_BOOL },
        { "max_frames", "Stop after this many frames", COMMAND_LINE_OPTION_TYPE_UNSIGNED_INTEGER },
        { "a_name_with_a_type_that_runs_past_the_documentation_column", "Padded as far again",
          COMMAND_LINE_OPTION_TYPE_STRING },
        { "a_name_that_ends_right_on_the_column_forty_8", "One blank", COMMAND_LINE_OPTION_TYPE_NONE },
        { "odd", "A type the help doesn't know", 9 },
    };
    CQorArray<const SCommandLineOption*> OptionList;
    for ( const SCommandLineOption& Option : Options )
    {
        OptionList.Add( &Option );
    }
    const FCommandLineAction Run = []( const CQorCommandLine& ) { return 0; };
    CQorArray<SCommandLineAction> Actions;
    Actions.Add( { "Output all command line arguments and actions", "command_line_help", 0, Run } );
    Actions.Add( { "Load one level and stop", "load_level", 1, Run } );
    Actions.Add( { "Bake the assets", "bake_assets", 2, Run } );
    Actions.Add( { "Runs at no stage", "stray", 3, Run } );
    CString Usage;
    NCommandLine::AppendUsage( Usage, "qor_app", OptionList, Actions );
    std::ifstream File( QOR_TESTS_SOURCE_DIR "/qor_commandline_help.txt", std::ios::binary );
    std::ostringstream Expected;
    Expected << File.rdbuf();
    EXPECT_EQ( Usage.GetStdString(), Expected.str() );
}
