#include "qor_core/qor_commandline.h"

#include "qor_core/filelogger.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_commandline_actionmanager.h"
#include "qor_core/qor_log_categories.h"

#include <cstring>
#include <limits>

constinit CQorScopedPtr<CQorCommandLine> CQorCommandLine::_Instance;

namespace
{
constexpr const char* c_WhiteSpace = " \t\r\n\v\f";
// Unknown arguments listed one by one; the rest are counted in one line.
constexpr int32 c_UnknownArgumentsListed = 16;
// Texts from the command line are cut to this length in messages, so that a huge value stays one short line.
constexpr int32 c_ShownLength = 200;

enum EParseState
{
    PARSE_BETWEEN_ARGUMENTS = 0,
    PARSE_IN_NAME = 1,
    PARSE_IN_VALUE = 2,
};

// A text from the command line as "%.*s%s" shows it: cut, with "..." behind a cut.
struct SShown
{
    explicit SShown( CQorStringView Text )
        : _Length( Text.GetSize() < c_ShownLength ? int( Text.GetSize() ) : int( c_ShownLength ) ),
          _pData( Text.IsEmpty() ? "" : Text.GetData() ), _pEllipsis( Text.GetSize() > c_ShownLength ? "..." : "" )
    {
    }
    int _Length;
    const char* _pData;
    const char* _pEllipsis;
};

CQorArray<const SCommandLineOption*>& AccessOptions()
{
    static CQorArray<const SCommandLineOption*> s_Options;
    return s_Options;
}

CQorArray<const char*>& AccessArgumentNames()
{
    static CQorArray<const char*> s_ArgumentNames;
    return s_ArgumentNames;
}

bool IsKnownArgument( CQorStringView Name )
{
    for ( const SCommandLineOption* pOption : AccessOptions() )
    {
        if ( pOption->_Name == Name )
        {
            return true;
        }
    }
    for ( const SCommandLineAction& Action : CQorCommandLine::GetActions() )
    {
        if ( CQorStringView( Action._Name ) == Name )
        {
            return true;
        }
    }
    for ( const char* pName : AccessArgumentNames() )
    {
        if ( CQorStringView( pName ) == Name )
        {
            return true;
        }
    }
    return false;
}

void LogBadValue( const SCommandLineOption& Option, const CString& Value, const char* pExpected )
{
    const SShown Name( Option._Name );
    const SShown Shown( Value );
    LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
               "Command line option '%.*s' expects %s, got '%.*s%s'", Name._Length, Name._pData, pExpected,
               Shown._Length, Shown._pData, Shown._pEllipsis );
}

template <typename IntegerT>
CQorOptional<IntegerT> ReadInteger( const SCommandLineOption& Option, const CString* pValue, const char* pExpected )
{
    if ( !pValue )
    {
        return {};
    }
    const CQorOptional<IntegerT> Value = FromString<IntegerT>( *pValue );
    if ( !Value )
    {
        LogBadValue( Option, *pValue, pExpected );
    }
    return Value;
}

bool EqualsNoCase( CQorStringView Text, const char* pWord )
{
    return Text.CompareNoCase( pWord ) == 0;
}
} // namespace

const char* GetOptionTypeHelpName( uint32 Type )
{
    switch ( Type )
    {
    case COMMAND_LINE_OPTION_TYPE_NONE:
        return "none";
    case COMMAND_LINE_OPTION_TYPE_STRING:
        return "string";
    case COMMAND_LINE_OPTION_TYPE_BOOL:
        return "bool";
    case COMMAND_LINE_OPTION_TYPE_INTEGER:
        return "integer";
    case COMMAND_LINE_OPTION_TYPE_UNSIGNED_INTEGER:
        return "unsigned_Integer";
    default:
        return "unknown";
    }
}

SCommandLineOptionRegistration::SCommandLineOptionRegistration( const SCommandLineOption& Option )
{
    CQorCommandLine::RegisterOption( Option );
}

bool CQorCommandLine::Create( int Argc, const char* const* Argv )
{
    QOR_ASSERT( !_Instance );
    if ( _Instance )
    {
        return false;
    }
    _Instance.Reset( new CQorCommandLine );
    CQorCommandLine& CommandLine = *_Instance;

    CommandLine._Argc = Argv && Argc > 0 ? Argc : 0;
    CommandLine._ArgvCopies.Reserve( CommandLine._Argc );
    CommandLine._ArgvPointers.Reserve( CommandLine._Argc + 1 );
    CString Joined;
    for ( int Index = 0; Index < CommandLine._Argc; ++Index )
    {
        const char* pArgument = Argv[ Index ] ? Argv[ Index ] : "";
        const size_t Length = std::strlen( pArgument );
        CQorScopedPtrImpl<char, true> pCopy( new char[ Length + 1 ] );
        std::memcpy( pCopy.Get(), pArgument, Length + 1 );
        CommandLine._ArgvPointers.Add( pCopy.Get() );
        CommandLine._ArgvCopies.Add( std::move( pCopy ) );
        if ( Index > 0 )
        {
            if ( Index > 1 )
            {
                Joined += ' ';
            }
            Joined += pArgument;
        }
    }
    CommandLine._ArgvPointers.Add( nullptr );

    if ( !CommandLine.Parse( Joined ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "Failed creating commandline" );
        return false;
    }
    CommandLine.ReportUnknownArguments();
    return true;
}

void CQorCommandLine::Destroy()
{
    QOR_ASSERT( _Instance );
    _Instance.Reset();
}

const CQorCommandLine& CQorCommandLine::Get()
{
    QOR_ASSERT( _Instance );
    if ( !_Instance )
    {
        static const CQorCommandLine s_Empty;
        return s_Empty;
    }
    return *_Instance;
}

const CQorCommandLine* CQorCommandLine::Find()
{
    return _Instance.Get();
}

void CQorCommandLine::RegisterOption( const SCommandLineOption& Option )
{
    AccessOptions().Add( &Option );
}

const CQorArray<const SCommandLineOption*>& CQorCommandLine::GetOptions()
{
    return AccessOptions();
}

void CQorCommandLine::RegisterArgumentName( const char* pName )
{
    AccessArgumentNames().Add( pName );
}

// The characters of the joined text are read with their terminator, each into the buffer of the present
// state: the name between arguments and in a name, the value in a value.
bool CQorCommandLine::Parse( CQorStringView Text )
{
    const char* const pText = Text.IsEmpty() ? "" : Text.GetData();
    const int32 Size = Text.GetSize();
    const auto CharAt = [ & ]( int32 Index ) { return Index < Size ? pText[ Index ] : '\0'; };
    CString Name;
    CString Value;
    EParseState State = PARSE_BETWEEN_ARGUMENTS;
    for ( int32 Index = 0; Index <= Size; ++Index )
    {
        const char Char = CharAt( Index );
        const char Next = Index < Size ? CharAt( Index + 1 ) : 'a';
        CString& Buffer = State == PARSE_IN_VALUE ? Value : Name;
        switch ( Char )
        {
        case '\0':
            Commit( Name, Value );
            State = PARSE_BETWEEN_ARGUMENTS;
            break;
        case ' ':
            Buffer += ' ';
            if ( Next == '-' || Next == '/' || Next == '+' || Next == '"' )
            {
                Commit( Name, Value );
                State = PARSE_BETWEEN_ARGUMENTS;
            }
            else
            {
                State = PARSE_IN_VALUE;
            }
            break;
        case '"':
        {
            const int32 Closing = Text.Find( '"', Index + 1 );
            if ( Closing == CQorStringView::npos )
            {
                LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                           "String literal with unmatched \" in command line argument, clearing arguments" );
                _Arguments.Clear();
                _ArgumentIndices.Clear();
                return false;
            }
            Buffer += Text.Substr( Index + 1, Closing );
            Index = Closing;
            break;
        }
        case '+':
        case '/':
            if ( State == PARSE_BETWEEN_ARGUMENTS )
            {
                State = PARSE_IN_NAME;
            }
            else
            {
                Buffer += Char;
            }
            break;
        case '-':
            if ( State == PARSE_BETWEEN_ARGUMENTS )
            {
                Index += Next == '-' ? 1 : 0;
                State = PARSE_IN_NAME;
            }
            else
            {
                Buffer += Char;
            }
            break;
        case '=':
            // Behind an '=' at the end or before a blank the value is missing: the '=' stays in the name.
            if ( State == PARSE_IN_NAME && Next != ' ' && Next != '\0' )
            {
                State = PARSE_IN_VALUE;
            }
            else
            {
                Buffer += Char;
            }
            break;
        default:
            if ( State == PARSE_BETWEEN_ARGUMENTS )
            {
                State = PARSE_IN_NAME;
            }
            Buffer += Char;
            break;
        }
    }
    return true;
}

void CQorCommandLine::Commit( CString& Name, CString& Value )
{
    Name.TrimInPlace( c_WhiteSpace );
    Value.TrimInPlace( c_WhiteSpace );
    if ( !Name.IsEmpty() )
    {
        const auto Inserted = _ArgumentIndices.Insert( Name.GetStdString(), _Arguments.GetSize() );
        if ( Inserted.second )
        {
            _Arguments.Add( SCommandLineArgument{ Name, Value } );
        }
        else
        {
            CString& Current = _Arguments[ Inserted.first->Value ]._Value;
            const SShown ShownName( Name );
            const SShown ShownCurrent( Current );
            const SShown ShownNew( Value );
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ),
                       "A command line arg '%.*s%s' is already present in the CQorCommandLine. Replacing current "
                       "value '%.*s%s' with new value '%.*s%s'",
                       ShownName._Length, ShownName._pData, ShownName._pEllipsis, ShownCurrent._Length,
                       ShownCurrent._pData, ShownCurrent._pEllipsis, ShownNew._Length, ShownNew._pData,
                       ShownNew._pEllipsis );
            Current = Value;
        }
    }
    Name.Clear();
    Value.Clear();
}

void CQorCommandLine::ReportUnknownArguments() const
{
    int32 nUnknown = 0;
    for ( const SCommandLineArgument& Argument : _Arguments )
    {
        if ( IsKnownArgument( Argument._Name ) )
        {
            continue;
        }
        if ( ++nUnknown <= c_UnknownArgumentsListed )
        {
            const SShown Name( Argument._Name );
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                       "Unknown command line argument '%.*s%s': no option or action has this name "
                       "(--command_line_help lists them)",
                       Name._Length, Name._pData, Name._pEllipsis );
        }
    }
    if ( nUnknown > c_UnknownArgumentsListed )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "%d more unknown command line arguments are not listed",
                   int( nUnknown - c_UnknownArgumentsListed ) );
    }
}

const SCommandLineArgument* CQorCommandLine::FindArgument( CQorStringView Name ) const
{
    const auto Found = _ArgumentIndices.Find( std::string( Name.begin(), Name.end() ) );
    return Found == _ArgumentIndices.end() ? nullptr : &_Arguments[ Found->Value ];
}

bool CQorCommandLine::GetArgument( CQorStringView Name, CString& Out ) const
{
    const SCommandLineArgument* pArgument = FindArgument( Name );
    if ( !pArgument )
    {
        return false;
    }
    Out = pArgument->_Value;
    return true;
}

const CString* CQorCommandLine::FindTypedValue( const SCommandLineOption& Option, uint32 Type ) const
{
    QOR_ASSERT_MSG( Option._Type == Type, "Attempting to use command line option '%.*s' as the incorrect type",
                    int( Option._Name.GetSize() ), Option._Name.IsEmpty() ? "" : Option._Name.GetData() );
    if ( Option._Type != Type )
    {
        return nullptr;
    }
    const SCommandLineArgument* pArgument = FindArgument( Option._Name );
    return pArgument ? &pArgument->_Value : nullptr;
}

CQorOptional<CString> CQorCommandLine::GetString( const SCommandLineOption& Option ) const
{
    const CString* pValue = FindTypedValue( Option, COMMAND_LINE_OPTION_TYPE_STRING );
    return pValue ? CQorOptional<CString>( *pValue ) : CQorOptional<CString>();
}

CQorOptional<bool> CQorCommandLine::GetBool( const SCommandLineOption& Option ) const
{
    const CString* pValue = FindTypedValue( Option, COMMAND_LINE_OPTION_TYPE_BOOL );
    if ( !pValue )
    {
        return {};
    }
    for ( const char* pTrue : { "", "true", "yes", "on", "1" } )
    {
        if ( EqualsNoCase( *pValue, pTrue ) )
        {
            return true;
        }
    }
    for ( const char* pFalse : { "false", "no", "off", "0" } )
    {
        if ( EqualsNoCase( *pValue, pFalse ) )
        {
            return false;
        }
    }
    LogBadValue( Option, *pValue, "true, false, yes, no, on, off, 1 or 0" );
    return {};
}

CQorOptional<int32> CQorCommandLine::GetInt( const SCommandLineOption& Option ) const
{
    return ReadInteger<int32>( Option, FindTypedValue( Option, COMMAND_LINE_OPTION_TYPE_INTEGER ),
                               "an integer from -2147483648 to 2147483647" );
}

CQorOptional<uint32> CQorCommandLine::GetUnsigned( const SCommandLineOption& Option ) const
{
    return ReadInteger<uint32>( Option, FindTypedValue( Option, COMMAND_LINE_OPTION_TYPE_UNSIGNED_INTEGER ),
                                "an unsigned integer from 0 to 4294967295" );
}

void CQorCommandLine::ToString( CString& Out, std::initializer_list<CQorStringView> Excluded ) const
{
    Out.Clear();
    for ( const SCommandLineArgument& Argument : _Arguments )
    {
        Out += "--";
        Out += Argument._Name;
        if ( Argument._Value.IsEmpty() )
        {
            Out += ' ';
            continue;
        }
        bool bExcluded = false;
        for ( CQorStringView Name : Excluded )
        {
            bExcluded = bExcluded || Name == Argument._Name;
        }
        Out += "=\"";
        if ( !bExcluded )
        {
            Out += Argument._Value;
        }
        Out += "\" ";
    }
    Out.TrimInPlace( c_WhiteSpace );
}

void CQorCommandLine::GetOptionsHelp( CString& Out )
{
    NCommandLine::AppendOptionsHelp( Out, AccessOptions() );
}

namespace NCommandLine
{
void AppendHelpHeader( CString& Out, std::initializer_list<std::pair<const char*, int32>> Titles )
{
    for ( const auto& [ pTitle, Width ] : Titles )
    {
        const int32 Length = int32( std::strlen( pTitle ) );
        Out += pTitle;
        Out.Resize( Out.GetSize() + ( Width > Length ? Width - Length : 0 ), ' ' );
    }
    Out += "\n\n";
}

void AppendHelpCell( CString& Out, CQorStringView Text, int32 LineStart, int32 Column )
{
    if ( !Text.IsEmpty() )
    {
        Out += Text;
    }
    // "%*c" with the width to the column: one blank at least, and a negative width, behind a text past the
    // column, pads as far again.
    const int32 Width = Column - ( Out.GetSize() - LineStart );
    Out.Resize( Out.GetSize() + ( Width < 0 ? -Width : ( Width == 0 ? 1 : Width ) ), ' ' );
}

void AppendOptionsHelp( CString& Out, const CQorArray<const SCommandLineOption*>& Options )
{
    AppendHelpHeader( Out, { { "Option", c_HelpColumn }, { "Documentation", 0 } } );
    for ( const SCommandLineOption* pOption : Options )
    {
        const int32 LineStart = Out.GetSize();
        CString Name( "  --" );
        Name += pOption->_Name;
        if ( pOption->_Type != COMMAND_LINE_OPTION_TYPE_NONE )
        {
            Name += "=<";
            Name += GetOptionTypeHelpName( pOption->_Type );
            Name += '>';
        }
        AppendHelpCell( Out, Name, LineStart, c_HelpColumn );
        if ( !pOption->_Documentation.IsEmpty() )
        {
            Out += pOption->_Documentation;
        }
        Out += '\n';
    }
}

CQorStringView GetProgramName( const char* pArgv0 )
{
    return NFileLogger::GetFileNamePart( pArgv0 );
}
} // namespace NCommandLine
