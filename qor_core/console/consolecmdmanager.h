#pragma once

// The developer console's commands. CConsoleCmdManager holds every command by name, finds and runs one from a
// parsed line, and gives sorted listings for help and completion. Commands register from static initialisers
// (CConsoleCommandRegistration) and at run time; a tweakable (consolecmdvariable.h) is reachable by its name
// as well, behind the commands. The console runs on one thread, normally the main one: nothing here locks.
//
// A player's build sets the restricted flag: only release commands run then, and nothing runs at all while a
// network game (multiplayer or ironman) is on.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/qor_hash.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <functional>

class CTweakable;

struct SConsoleCmdResult
{
    bool _bSuccess = false;
    CString _Text;
};

// The arguments of a command, behind its name. A view: the line's words outlive the call.
class CConsoleArguments
{
public:
    CConsoleArguments() = default;
    CConsoleArguments( const CString* pArguments, int32 nSize ) : _pArguments( pArguments ), _nSize( nSize ) {}
    CConsoleArguments( const CQorArray<CString>& Arguments )
        : _pArguments( Arguments.GetData() ), _nSize( Arguments.GetSize() )
    {
    }

    int32 GetSize() const { return _nSize; }
    bool IsEmpty() const { return _nSize == 0; }
    // REQUIRES: 0 <= nIndex < GetSize().
    const CString& operator[]( int32 nIndex ) const { return _pArguments[nIndex]; }
    const CString* begin() const { return _pArguments; }
    const CString* end() const { return _pArguments + _nSize; }
    // The arguments behind the first.
    CConsoleArguments Tail() const { return _nSize > 0 ? CConsoleArguments( _pArguments + 1, _nSize - 1 ) : *this; }

private:
    const CString* _pArguments = nullptr;
    int32 _nSize = 0;
};

using FConsoleAction = std::function<void( CConsoleArguments Arguments, SConsoleCmdResult& Result )>;

struct SConsoleCommand
{
    static constexpr int32 c_MaxArguments = 10;

    // Usable outside developer mode.
    bool _bRelease = false;
    CString _Name;
    // Free for an application's own use; the library's commands leave them empty.
    CString _Extra[3];
    CString _Description;
    FConsoleAction _pAction;
    // The most arguments the action takes.
    int32 _NumArguments = 0;
    CString _ArgumentDescriptions[c_MaxArguments];
};

// A name and the commands listed under it.
struct SConsoleGroup
{
    CString _Name;
    CQorArray<CString> _CommandNames;
};

class CConsoleCmdManager
{
public:
    // A filter sees each command found before it runs; when it answers (returns true), its Result stands.
    using FFilter =
        std::function<bool( const SConsoleCommand& Command, CConsoleArguments Arguments, SConsoleCmdResult& Result )>;

    // The longest line ExecuteLine takes.
    static constexpr int32 c_MaxLineLength = 1024;

    CConsoleCmdManager();
    ~CConsoleCmdManager();
    CConsoleCmdManager( const CConsoleCmdManager& ) = delete;
    CConsoleCmdManager& operator=( const CConsoleCmdManager& ) = delete;

    // Makes the process-wide instance. REQUIRES: there is none yet.
    static void Create();
    // The process-wide instance, made on first use.
    static CConsoleCmdManager& Get();

    // Registers a command; a command of the same name is replaced.
    void AddCommand( const SConsoleCommand& Command );
    bool RemoveCommand( CQorStringView Name );
    const SConsoleCommand* FindCommand( CQorStringView Name ) const;

    // Takes ownership of a tweakable and registers it under its name, unless a tweakable of that name is there:
    // then the caller gets the existing one to update (see CTweakable::Register).
    CTweakable* AddVariable( CQorScopedPtr<CTweakable> pTweakable );
    bool RemoveVariable( CQorStringView Name );
    CTweakable* FindVariable( CQorStringView Name ) const;

    // Runs Arguments[ 0 ] with the arguments behind it; see the checks in the source. A result text is given
    // also on failure. While it runs, with the file system up, files may be opened on the main thread.
    SConsoleCmdResult Execute( CConsoleArguments Arguments );
    // Splits a line into words at blanks and tabs ("double quotes" hold a word with blanks) and runs it. An
    // empty or overlong line, or a quote left open, fails with its own text and runs nothing.
    SConsoleCmdResult ExecuteLine( CQorStringView Line );
    // The words of a line, as ExecuteLine runs them; false with an error text in Error when it can't be split.
    static bool SplitLine( CQorStringView Line, CQorArray<CString>& Words, CString& Error );

    // Command and tweakable names, one per line ("%s\n"), ordered without regard to case; under the restricted
    // flag non-release commands are left out.
    void GetCommandNames( CString& Out ) const;
    // Tweakable names alone, in the same form.
    void GetVariableNames( CString& Out ) const;
    // The names of both kinds that start with Prefix, case ignored, in the same order.
    void GetCompletions( CQorStringView Prefix, CQorArray<CString>& Out ) const;
    // "\n - " with name and description for each command the restricted flag leaves visible.
    void GetHelp( CString& Out ) const;

    // Groups for listing. A name that is no command is logged and left out.
    void AddCommandToGroup( CQorStringView GroupName, CQorStringView CommandName );
    // The groups in the order of their making, then "Other" with every visible command that no group holds.
    void GetGroups( CQorArray<SConsoleGroup>& Out ) const;

    // The failure text of a call with more arguments than its target takes.
    static CString ArgumentCountText( CQorStringView Name, int32 nMaxArguments, int32 nGiven );

    void SetFilter( FFilter Filter ) { _Filter = std::move( Filter ); }
    void SetRestricted( bool bRestricted ) { _bRestricted = bRestricted; }
    bool IsRestricted() const { return _bRestricted; }
    void SetNetworkGame( bool bNetworkGame ) { _bNetworkGame = bNetworkGame; }
    bool IsNetworkGame() const { return _bNetworkGame; }

private:
    struct SNameHasher
    {
        uint32 operator()( const CString& Name ) const
        {
            return HashBytes( 0, Name.GetData(), uint64( Name.GetSize() ) );
        }
    };
    bool IsVisible( const SConsoleCommand& Command ) const { return !_bRestricted || Command._bRelease; }
    // Names of both kinds that pass Accept, ordered by their lower-case form.
    template <typename AcceptT>
    void CollectNames( bool bCommands, bool bVariables, AcceptT Accept, CQorArray<CString>& Out ) const;

    NQorUnorderedMap::CQorUnorderedMap<CString, SConsoleCommand, SNameHasher> _Commands;
    NQorUnorderedMap::CQorUnorderedMap<CString, CTweakable*, SNameHasher> _Variables;
    bool _bRestricted = false;
    bool _bNetworkGame = false;
    FFilter _Filter;
    CQorArray<SConsoleGroup> _Groups;
};

// Registers a command with the process-wide manager when constructed; meant for static initialisers.
class CConsoleCommandRegistration
{
public:
    explicit CConsoleCommandRegistration( const SConsoleCommand& Command )
    {
        CConsoleCmdManager::Get().AddCommand( Command );
    }
};
