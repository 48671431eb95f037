// A program of another project, built against the installed package: it uses an array, a table, a string and
// the logger, and checks that the library's static registrations survived linking. Each failed check prints
// what went wrong; the exit status counts them.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/qor_commandline.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/qor_string.h"

#include <cstdio>
#include <string>
#include <vector>

// The application's static token table, which every program that links the library supplies.
int32 GetStaticTokenCount()
{
    return 1;
}
const char* GetStaticTokenName( int32 )
{
    return "consumer";
}
uint32 GetStaticTokenId( int32 )
{
    return 1;
}

namespace
{
struct SMessage
{
    uint32 Category;
    std::string Text;
};

class CRecordingLogger : public CLogger
{
public:
    explicit CRecordingLogger( std::vector<SMessage>& Messages ) : _Messages( Messages ) {}
    void Log( uint32 Category, CQorStringView, uint32, const CString& Message ) override
    {
        _Messages.push_back( { Category, Message.GetStdString() } );
    }
    void Flush() override {}
    int GetLoggerType() const override { return LOGGER_TYPE_NULL; }
    void Clear() override {}

private:
    std::vector<SMessage>& _Messages;
};

int g_nFailures = 0;

void Check( bool bHolds, const std::string& What )
{
    if ( !bHolds )
    {
        std::fprintf( stderr, "qor_core consumer: %s\n", What.c_str() );
        ++g_nFailures;
    }
}
} // namespace

int main()
{
    std::vector<SMessage> Messages;
    SetLogger( CQorScopedPtr<CLogger>( new CRecordingLogger( Messages ) ) );

    // "logprefix" is registered by the log categories' unit and "no-console" by the actions' unit, both from
    // static initialisers that nothing here calls into: a plain archive drops them, and then the command line
    // reports both names as unknown.
    const char* const Argv[] = { "qor_core_consumer", "--logprefix=consumer_", "--no-console" };
    Check( CQorCommandLine::Create( 3, Argv ), "the command line does not parse" );
    for ( const SMessage& Message : Messages )
    {
        Check( false, "a static registration was lost at link time: " + Message.Text );
    }
    CString Prefix;
    Check( CQorCommandLine::Get().GetArgument( "logprefix", Prefix ) && Prefix == "consumer_",
           "--logprefix does not read back" );
    CQorCommandLine::Destroy();

    CQorArray<int32> Squares;
    for ( int32 Value = 5; Value >= 1; --Value )
    {
        Squares.Add( Value * Value );
    }
    Squares.Sort();
    Check( Squares.GetSize() == 5 && Squares[ 0 ] == 1 && Squares.Back() == 25 && Squares.FindIndex( 9 ) == 2,
           "the array does not hold the sorted squares" );

    NQorUnorderedMap::CQorUnorderedMap<int32, CString> Names;
    Names.Insert( 1, CString( "one" ) );
    Names.Insert( 2, CString( "two" ) );
    Names.InsertOrAssign( 1, CString( "uno" ) );
    const CString* pOne = Names.FindValue( 1 );
    Check( Names.GetSize() == 2 && pOne && *pOne == "uno" && !Names.Contains( 3 ),
           "the map does not hold { 1: uno, 2: two }" );

    CString Greeting( "Hello" );
    Greeting += ", ";
    Greeting += *Names.FindValue( 2 );
    Check( Greeting == "Hello, two" && Greeting.GetSize() == 10, "the string is '" + Greeting.GetStdString() + "'" );

    const CString* pCategory = FindLogCategoryName( LOG_CATEGORY_KERNEL_RELEASE );
    Check( pCategory && *pCategory == "Kernel Release", "the library's log categories are not registered" );
    Messages.clear();
    CLogStream( GetLogger(), __FILE__, __LINE__, LOG_CATEGORY_KERNEL_RELEASE ) << Greeting << ' ' << 42 << std::endl;
    Check( Messages.size() == 1 && Messages[ 0 ].Category == LOG_CATEGORY_KERNEL_RELEASE &&
               Messages[ 0 ].Text == "Hello, two 42\n",
           "the logger did not receive \"Hello, two 42\"" );

    SetLogger( {} );
    if ( g_nFailures == 0 )
    {
        std::printf( "qor_core consumer: ok\n" );
    }
    return g_nFailures;
}
