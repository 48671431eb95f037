#pragma once

// CQorCommandLine: the library's name and value pairs, parsed once from the program's joined arguments. Code
// that needs an option does not parse: it declares a constant SCommandLineOption at static initialisation and
// asks the command line for it by that record, through a typed query that gives an empty optional when the
// option is absent, so that the caller writes its default beside the call. A few options are asked by name
// only (HasArgument, GetArgument); they have no record and stay out of the help.
//
// The grammar is loose on purpose, for people typing at a prompt: "--a=b", "-a b", "/a b" and "+a" all give
// arguments, a bare word is a name with an empty value, a word behind a blank is the value of the name in
// front of it, and double quotes keep blanks and dashes inside a value. A value that starts with '-' needs the
// '=' form: "--a -1" gives two names. An unmatched quote drops every argument.
//
// The instance is made and destroyed by the application's start-up on the main thread; afterwards it is read
// only, from any thread. A program that never makes it (the benchmark program keeps its command line to the
// runner) leaves every option absent to the code that asks through Find().
//
// Actions, options that run a function at a start-up stage and give an exit code, are declared in
// qor_commandline_actionmanager.h.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/qor_optional.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <initializer_list>
#include <string>
#include <utility>

class CQorCommandLine;
struct SCommandLineAction;

// The kind of value an option takes; the help shows the name of GetOptionTypeHelpName.
enum ECommandLineOptionType : uint32
{
    COMMAND_LINE_OPTION_TYPE_NONE = 0,
    COMMAND_LINE_OPTION_TYPE_STRING = 1,
    COMMAND_LINE_OPTION_TYPE_BOOL = 2,
    COMMAND_LINE_OPTION_TYPE_INTEGER = 3,
    COMMAND_LINE_OPTION_TYPE_UNSIGNED_INTEGER = 4,
};

// "none", "string", "bool", "integer", "unsigned_Integer"; "unknown" for any other value.
const char* GetOptionTypeHelpName( uint32 Type );

// A typed option, declared as a constant at static initialisation and registered with
// SCommandLineOptionRegistration. The views point at literals: the record never owns its texts.
struct SCommandLineOption
{
    CQorStringView _Name;
    CQorStringView _Documentation;
    uint32 _Type;
};

// Registers an option for the help and for the unknown-argument report while the program starts.
struct SCommandLineOptionRegistration
{
    explicit SCommandLineOptionRegistration( const SCommandLineOption& Option );
};

// A name and its value as the command line holds them, both trimmed of white space.
struct SCommandLineArgument
{
    CString _Name;
    CString _Value;
};

class CQorCommandLine
{
public:
    // Makes the instance from the program's arguments and parses argv[1] to argv[Argc - 1]. The instance
    // stays also when the parse fails (it then holds no argument): false, and "Failed creating commandline"
    // in the log. REQUIRES: no instance; otherwise the existing one stays and the result is false.
    static bool Create( int Argc, const char* const* Argv );
    // REQUIRES: an instance, and no thread reading it.
    static void Destroy();
    // REQUIRES: an instance. Without one the report is made and an empty command line stands in.
    static const CQorCommandLine& Get();
    // The instance, or null where the program made none.
    static const CQorCommandLine* Find();

    // Meant for static initialisation: the record must outlive the program's use of the command line.
    static void RegisterOption( const SCommandLineOption& Option );
    // The registered options, in registration order.
    static const CQorArray<const SCommandLineOption*>& GetOptions();
    // Declares a name that is asked by name only (it has no record), so that it isn't reported as unknown.
    static void RegisterArgumentName( const char* pName );
    // Meant for static initialisation (qor_commandline_actionmanager). An action without _OnExecute asserts
    // "Commandline action is missing `_OnExecute`" and isn't registered.
    static void RegisterAction( const SCommandLineAction& Action );
    // The registered actions, in registration order.
    static const CQorArray<SCommandLineAction>& GetActions();

    // The arguments in order of first appearance.
    const CQorArray<SCommandLineArgument>& GetArguments() const { return _Arguments; }
    bool HasArgument( CQorStringView Name ) const { return FindArgument( Name ) != nullptr; }
    // False when absent; otherwise Out takes the value.
    bool GetArgument( CQorStringView Name, CString& Out ) const;
    bool HasOption( const SCommandLineOption& Option ) const { return HasArgument( Option._Name ); }

    // The typed queries: each REQUIRES an option of its own type, else asserts "Attempting to use command line
    // option '%s' as the incorrect type" and is empty. Absent, the result is empty. Present with a value that
    // doesn't read as the type, the result is empty too and one line in the error log names the option, the
    // value and what was expected.
    CQorOptional<CString> GetString( const SCommandLineOption& Option ) const;
    // "true", "yes", "on", "1" and an empty value (the bare flag) are true; "false", "no", "off", "0" false;
    // any letter case.
    CQorOptional<bool> GetBool( const SCommandLineOption& Option ) const;
    // Decimal, with an optional '-'; the whole value must be the number and fit.
    CQorOptional<int32> GetInt( const SCommandLineOption& Option ) const;
    CQorOptional<uint32> GetUnsigned( const SCommandLineOption& Option ) const;

    // Rebuilds an argument text: "--name " for an empty value, "--name="value" " otherwise, in order, with
    // the values of the Excluded names left empty; without the trailing blank.
    void ToString( CString& Out, std::initializer_list<CQorStringView> Excluded = {} ) const;

    // Appends the table of the registered options; GetActionsHelp (qor_commandline_actionmanager) the actions'.
    static void GetOptionsHelp( CString& Out );
    static void GetActionsHelp( CString& Out );
    // The whole usage text of the help action, for the registered options and actions.
    void GetUsage( CString& Out ) const;

    // Runs the first registered action of InitStage that is on the command line, and gives its exit code;
    // empty when there is none. Unless "no-console" is on the command line, a standard stream that is closed
    // is connected to the terminal for the action's time.
    CQorOptional<int32> RunActions( int32 InitStage ) const;

    // The program's arguments, copied: argv[0] and the rest, and a null behind the last.
    int GetArgc() const { return _Argc; }
    const char* const* GetArgv() const { return _ArgvPointers.GetData(); }

    CQorCommandLine( const CQorCommandLine& ) = delete;
    CQorCommandLine& operator=( const CQorCommandLine& ) = delete;

private:
    CQorCommandLine() = default;

    static CQorScopedPtr<CQorCommandLine> _Instance;

    // The arguments of the joined text, or false with none on an unmatched quote.
    bool Parse( CQorStringView Text );
    void Commit( CString& Name, CString& Value );
    // One line for each argument no record, action or registered name asks for.
    void ReportUnknownArguments() const;
    const SCommandLineArgument* FindArgument( CQorStringView Name ) const;
    // The value of an option of Type, or null (asserting on a record of another type).
    const CString* FindTypedValue( const SCommandLineOption& Option, uint32 Type ) const;

    int _Argc = 0;
    CQorArray<CQorScopedPtrImpl<char, true>> _ArgvCopies;
    CQorArray<const char*> _ArgvPointers;
    CQorArray<SCommandLineArgument> _Arguments;
    // Names to their place in _Arguments, so that thousands of arguments parse in linear time.
    NQorUnorderedMap::CQorUnorderedMap<std::string, int32> _ArgumentIndices;
};

namespace NCommandLine
{
// The column where the documentation of the help tables starts.
inline constexpr int32 c_HelpColumn = 48;

// The table of the given records: a header, then one line each, the documentation from column 48.
void AppendOptionsHelp( CString& Out, const CQorArray<const SCommandLineOption*>& Options );
// The titles, each padded with blanks to its width ("%-48s" and the like), then an empty line.
void AppendHelpHeader( CString& Out, std::initializer_list<std::pair<const char*, int32>> Titles );
// Text, then blanks as "%*c" pads with the width from the end of the text to Column, counted from LineStart.
void AppendHelpCell( CString& Out, CQorStringView Text, int32 LineStart, int32 Column );
// The last path component of the program path, for the usage line.
CQorStringView GetProgramName( const char* pArgv0 );
} // namespace NCommandLine
