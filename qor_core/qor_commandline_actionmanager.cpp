#include "qor_core/qor_commandline_actionmanager.h"

#include "qor_core/log_deprecated.h"
#include "qor_core/platform/qor_console.h"
#include "qor_core/qor_log_categories.h"

#include <cstdio>
#include <cstring>

namespace
{
// The width of the init stage column of the actions table.
constexpr int32 c_StageColumnWidth = 16;

CQorArray<SCommandLineAction>& AccessActions()
{
    static CQorArray<SCommandLineAction> s_Actions;
    return s_Actions;
}

void WriteToStandardOutput( CQorStringView Text )
{
    std::fwrite( Text.GetData(), 1, size_t( Text.GetSize() ), stdout );
    std::fflush( stdout );
}

// A stream that is closed is reopened on the terminal. Attaching to the parent's console can't fail on Linux
// (qor_console.h), so the console is never one of our own. True when a console was connected.
bool ConnectConsole()
{
    const bool bOutputNeedsConsole = !NPlatform::IsStandardStreamConnected( NPlatform::EStandardStream::Output );
    const bool bErrorNeedsConsole = !NPlatform::IsStandardStreamConnected( NPlatform::EStandardStream::Error );
    if ( !bOutputNeedsConsole && !bErrorNeedsConsole )
    {
        return false;
    }
    if ( bOutputNeedsConsole && !NPlatform::ConnectStandardStreamToTerminal( NPlatform::EStandardStream::Output ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Could not connect stdout to console for CLI action." );
    }
    if ( bErrorNeedsConsole && !NPlatform::ConnectStandardStreamToTerminal( NPlatform::EStandardStream::Error ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Could not connect stderr to console for CLI action." );
    }
    // The output starts clear of the shell's prompt.
    WriteToStandardOutput( "\n" );
    return true;
}

// The console is the parent's: the text is shown, but no key is waited for.
void DisconnectConsole()
{
    WriteToStandardOutput( "\n\nPress any key to exit... (use `--no-console` to skip this wait)\n" );
}

int32 PrintHelp( const CQorCommandLine& CommandLine )
{
    CString Usage;
    CommandLine.GetUsage( Usage );
    WriteToStandardOutput( Usage );
    return 0;
}

const SCommandLineActionRegistration g_HelpAction( SCommandLineAction{
    "Output all command line arguments and actions", "command_line_help", COMMAND_LINE_INIT_STAGE_MAIN, &PrintHelp } );
[[maybe_unused]] const bool g_bNoConsoleRegistered = ( CQorCommandLine::RegisterArgumentName( "no-console" ), true );
} // namespace

const char* GetInitStageName( int32 InitStage )
{
    switch ( InitStage )
    {
    case COMMAND_LINE_INIT_STAGE_MAIN:
        return "main";
    case COMMAND_LINE_INIT_STAGE_HALVORSUND:
        return "halvorsund";
    case COMMAND_LINE_INIT_STAGE_APPLICATION:
        return "application";
    default:
        return "Unknown";
    }
}

SCommandLineActionRegistration::SCommandLineActionRegistration( const SCommandLineAction& Action )
{
    CQorCommandLine::RegisterAction( Action );
}

void CQorCommandLine::RegisterAction( const SCommandLineAction& Action )
{
    QOR_ASSERT_MSG( Action._OnExecute, "Commandline action is missing `_OnExecute`" );
    if ( Action._OnExecute )
    {
        AccessActions().Add( Action );
    }
}

const CQorArray<SCommandLineAction>& CQorCommandLine::GetActions()
{
    return AccessActions();
}

void CQorCommandLine::GetActionsHelp( CString& Out )
{
    NCommandLine::AppendActionsHelp( Out, AccessActions() );
}

void CQorCommandLine::GetUsage( CString& Out ) const
{
    NCommandLine::AppendUsage( Out, NCommandLine::GetProgramName( _Argc > 0 ? _ArgvPointers[ 0 ] : "" ),
                               GetOptions(), AccessActions() );
}

CQorOptional<int32> CQorCommandLine::RunActions( int32 InitStage ) const
{
    for ( const SCommandLineAction& Action : AccessActions() )
    {
        if ( Action._InitStage != InitStage || !HasArgument( Action._Name ) )
        {
            continue;
        }
        const bool bConsoleConnected = !HasArgument( "no-console" ) && ConnectConsole();
        const int32 ExitCode = Action._OnExecute( *this );
        if ( bConsoleConnected )
        {
            DisconnectConsole();
        }
        return ExitCode;
    }
    return {};
}

namespace NCommandLine
{
void AppendActionsHelp( CString& Out, const CQorArray<SCommandLineAction>& Actions )
{
    AppendHelpHeader( Out,
                      { { "Action", c_HelpColumn }, { "Init stage", c_StageColumnWidth }, { "Documentation", 0 } } );
    for ( const SCommandLineAction& Action : Actions )
    {
        const int32 LineStart = Out.GetSize();
        AppendHelpCell( Out, CString( "  --" ) + Action._Name, LineStart, c_HelpColumn );
        const char* pStage = GetInitStageName( Action._InitStage );
        Out += pStage;
        Out.Resize( Out.GetSize() + c_StageColumnWidth - int32( std::strlen( pStage ) ), ' ' );
        Out += Action._Documentation;
        Out += '\n';
    }
}

void AppendUsage( CString& Out, CQorStringView ProgramName, const CQorArray<const SCommandLineOption*>& Options,
                  const CQorArray<SCommandLineAction>& Actions )
{
    Out += "Usage: ";
    if ( !ProgramName.IsEmpty() )
    {
        Out += ProgramName;
    }
    Out += " [OPTIONS]... [ACTION]\nRun the program and have fun!\n\nOptionally, add one or more OPTIONS :\n\n";
    AppendOptionsHelp( Out, Options );
    Out += "\n\nOptionally, execute a specific command line ACTION:\n\n";
    AppendActionsHelp( Out, Actions );
    Out += '\n';
}
} // namespace NCommandLine
