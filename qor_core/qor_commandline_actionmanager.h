#pragma once

// Command line actions: options that run a function at one of three start-up stages and give an exit code.
// An application calls CQorCommandLine::RunActions( Stage ) at each stage and ends with the code it gets back:
//
//     if ( const CQorOptional<int32> ExitCode = CQorCommandLine::Get().RunActions( COMMAND_LINE_INIT_STAGE_MAIN ) )
//         return ExitCode.GetValue();
//
// Actions are registered by static initialisers (SCommandLineActionRegistration). The library's own action,
// "command_line_help" at the main stage, prints the usage text with every option and action to standard
// output and gives 0.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_commandline.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_types.h"

// The start-up stages, by the names GetInitStageName gives them.
enum ECommandLineInitStage : int32
{
    COMMAND_LINE_INIT_STAGE_MAIN = 0,
    COMMAND_LINE_INIT_STAGE_HALVORSUND = 1,
    COMMAND_LINE_INIT_STAGE_APPLICATION = 2,
};

// "main", "halvorsund", "application"; "Unknown" for any other stage.
const char* GetInitStageName( int32 InitStage );

using FCommandLineAction = int32 ( * )( const CQorCommandLine& CommandLine );

struct SCommandLineAction
{
    CString _Documentation;
    CString _Name;
    int32 _InitStage;
    // Runs the action and gives the program's exit code.
    FCommandLineAction _OnExecute;
};

struct SCommandLineActionRegistration
{
    explicit SCommandLineActionRegistration( const SCommandLineAction& Action );
};

namespace NCommandLine
{
// The table of the given actions: name to column 48, stage name in 16 columns, documentation.
void AppendActionsHelp( CString& Out, const CQorArray<SCommandLineAction>& Actions );
// "Usage: ", the program name, the options table and the actions table, as the help action prints them.
void AppendUsage( CString& Out, CQorStringView ProgramName, const CQorArray<const SCommandLineOption*>& Options,
                  const CQorArray<SCommandLineAction>& Actions );
} // namespace NCommandLine
