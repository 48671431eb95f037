// The command line parser over any arguments: the input's bytes, split at zero bytes, are argv[1] onward. No
// assertion may fire. A parse fails only on a quote, and then holds no argument; otherwise every argument has
// a trimmed, non-empty name of its own, found again by name. The typed queries agree with std::from_chars,
// and the text that ToString rebuilds parses back to the same arguments wherever names hold no blank or '='.

#include "fuzz/fuzz_support.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_commandline.h"

#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace
{
const SCommandLineOption g_FuzzInt{ "i", "", COMMAND_LINE_OPTION_TYPE_INTEGER };
const SCommandLineOption g_FuzzUnsigned{ "u", "", COMMAND_LINE_OPTION_TYPE_UNSIGNED_INTEGER };
const SCommandLineOption g_FuzzBool{ "b", "", COMMAND_LINE_OPTION_TYPE_BOOL };
const SCommandLineOption g_FuzzString{ "s", "", COMMAND_LINE_OPTION_TYPE_STRING };
const SCommandLineOptionRegistration g_Registrations[] = {
    SCommandLineOptionRegistration( g_FuzzInt ), SCommandLineOptionRegistration( g_FuzzUnsigned ),
    SCommandLineOptionRegistration( g_FuzzBool ), SCommandLineOptionRegistration( g_FuzzString ) };

void Check( bool bCondition )
{
    if ( !bCondition )
    {
        std::abort();
    }
}

bool IsTrimmed( const CString& Text )
{
    return Text.IsEmpty() || ( !std::strchr( " \t\r\n\v\f", Text.GetData()[ 0 ] ) &&
                               !std::strchr( " \t\r\n\v\f", Text.GetData()[ Text.GetSize() - 1 ] ) );
}

template <typename IntegerT>
void CheckInteger( const CQorCommandLine& CommandLine, const CQorOptional<IntegerT>& Value, CQorStringView Name )
{
    CString Text;
    if ( !CommandLine.GetArgument( Name, Text ) )
    {
        Check( !Value );
        return;
    }
    IntegerT Expected = 0;
    const std::from_chars_result Result = std::from_chars( Text.GetData(), Text.GetData() + Text.GetSize(), Expected );
    const bool bWhole = Result.ec == std::errc() && Result.ptr == Text.GetData() + Text.GetSize();
    Check( bool( Value ) == bWhole && ( !bWhole || Value.GetValue() == Expected ) );
}

void CheckBool( const CQorCommandLine& CommandLine )
{
    CString Text;
    const CQorOptional<bool> Value = CommandLine.GetBool( g_FuzzBool );
    if ( !CommandLine.GetArgument( g_FuzzBool._Name, Text ) )
    {
        Check( !Value );
        return;
    }
    std::string Lower = Text.GetStdString();
    for ( char& Char : Lower )
    {
        Char = char( std::tolower( static_cast<unsigned char>( Char ) ) );
    }
    const std::set<std::string> True{ "", "true", "yes", "on", "1" };
    const std::set<std::string> False{ "false", "no", "off", "0" };
    Check( bool( Value ) == ( True.count( Lower ) || False.count( Lower ) ) );
    Check( !Value || Value.GetValue() == bool( True.count( Lower ) ) );
}

std::vector<std::pair<std::string, std::string>> ArgumentsOf( const CQorCommandLine& CommandLine )
{
    std::vector<std::pair<std::string, std::string>> Pairs;
    for ( const SCommandLineArgument& Argument : CommandLine.GetArguments() )
    {
        Pairs.emplace_back( Argument._Name.GetStdString(), Argument._Value.GetStdString() );
    }
    return Pairs;
}

bool Create( const std::vector<std::string>& Arguments )
{
    std::vector<const char*> Argv{ "fuzz" };
    for ( const std::string& Argument : Arguments )
    {
        Argv.push_back( Argument.c_str() );
    }
    return CQorCommandLine::Create( int( Argv.size() ), Argv.data() );
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bSetUp = []
    {
        SetAssertHandler( []( const char*, const char*, uint32, bool, bool*, bool* ) { std::abort(); } );
        NFuzz::DropLogLines();
        return true;
    }();
    (void)s_bSetUp;

    std::vector<std::string> Arguments( 1 );
    for ( size_t Index = 0; Index < Size; ++Index )
    {
        if ( pData[ Index ] == 0 )
        {
            Arguments.emplace_back();
        }
        else
        {
            Arguments.back() += char( pData[ Index ] );
        }
    }
    const bool bHasQuote = std::memchr( pData, '"', Size ) != nullptr;

    const bool bCreated = Create( Arguments );
    const CQorCommandLine& CommandLine = CQorCommandLine::Get();
    Check( bCreated || bHasQuote );
    Check( bCreated || CommandLine.GetArguments().IsEmpty() );

    bool bRoundTrips = true;
    for ( int32 Index = 0; Index < CommandLine.GetArguments().GetSize(); ++Index )
    {
        const SCommandLineArgument& Argument = CommandLine.GetArguments()[ Index ];
        Check( !Argument._Name.IsEmpty() && IsTrimmed( Argument._Name ) && IsTrimmed( Argument._Value ) );
        CString Value;
        Check( CommandLine.GetArgument( Argument._Name, Value ) && Value == Argument._Value );
        bRoundTrips = bRoundTrips && Argument._Name.Find( ' ' ) < 0 && Argument._Name.Find( '=' ) < 0;
    }
    const std::vector<std::pair<std::string, std::string>> Parsed = ArgumentsOf( CommandLine );
    std::set<std::string> Names;
    for ( const auto& [ Name, Value ] : Parsed )
    {
        Check( Names.insert( Name ).second );
    }

    CheckInteger( CommandLine, CommandLine.GetInt( g_FuzzInt ), g_FuzzInt._Name );
    CheckInteger( CommandLine, CommandLine.GetUnsigned( g_FuzzUnsigned ), g_FuzzUnsigned._Name );
    CheckBool( CommandLine );
    CQorOptional<CString> String = CommandLine.GetString( g_FuzzString );
    Check( bool( String ) == CommandLine.HasOption( g_FuzzString ) );
    CString Usage;
    CommandLine.GetUsage( Usage );

    CString Text;
    CommandLine.ToString( Text );
    CQorCommandLine::Destroy();

    if ( bCreated && bRoundTrips )
    {
        Check( Create( { Text.GetStdString() } ) );
        Check( ArgumentsOf( CQorCommandLine::Get() ) == Parsed );
        CQorCommandLine::Destroy();
    }
    return 0;
}
