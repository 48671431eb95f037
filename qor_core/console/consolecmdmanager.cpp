#include "qor_core/console/consolecmdmanager.h"

#include "qor_core/console/consolecmdvariable.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/thread/qor_task.h"
#include "qor_core/virtualfilesystem.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace
{
CQorScopedPtr<CConsoleCmdManager>& AccessInstance()
{
    // Function-local: static initialisers of any unit register commands, in the linker's order.
    static CQorScopedPtr<CConsoleCmdManager> s_pInstance;
    return s_pInstance;
}

bool IsBlank( char Char )
{
    return Char == ' ' || Char == '\t' || Char == '\r' || Char == '\n';
}

// Console work is not a frame, so while a command runs files may be opened on the main thread without the
// stall report. Commands may run commands: the outermost call raises the file system's flag and puts back what
// it found, and the file system being down leaves it alone.
class CMainThreadOpenScope
{
public:
    CMainThreadOpenScope() : _bRaised( VFSIsInitialised() )
    {
        if ( _bRaised && s_nDepth++ == 0 )
        {
            s_bFound = VFSGetAllowMainThreadOpen();
            VFSSetAllowMainThreadOpen( true );
        }
    }
    ~CMainThreadOpenScope()
    {
        if ( _bRaised && --s_nDepth == 0 )
        {
            VFSSetAllowMainThreadOpen( s_bFound );
        }
    }
    CMainThreadOpenScope( const CMainThreadOpenScope& ) = delete;
    CMainThreadOpenScope& operator=( const CMainThreadOpenScope& ) = delete;

private:
    // The console runs on one thread.
    static inline int32 s_nDepth = 0;
    static inline bool s_bFound = false;
    bool _bRaised;
};

SConsoleCmdResult Failure( CString Text )
{
    SConsoleCmdResult Result;
    Result._bSuccess = false;
    Result._Text = std::move( Text );
    return Result;
}

CString ToLower( const CString& Text )
{
    CString Lower( Text );
    Lower.ToLower();
    return Lower;
}

void JoinLines( const CQorArray<CString>& Names, CString& Out )
{
    Out.Clear();
    for ( const CString& Name : Names )
    {
        Out += Name;
        Out += '\n';
    }
}
} // namespace

CConsoleCmdManager::CConsoleCmdManager() = default;

CConsoleCmdManager::~CConsoleCmdManager()
{
    for ( auto& Entry : _Variables )
    {
        delete Entry.Value;
    }
}

void CConsoleCmdManager::Create()
{
    CQorScopedPtr<CConsoleCmdManager>& pInstance = AccessInstance();
    QOR_ASSERT_MSG( pInstance.Get() == nullptr, "_pInstance == 0" );
    if ( pInstance.Get() == nullptr )
    {
        pInstance.Reset( new CConsoleCmdManager );
    }
}

CConsoleCmdManager& CConsoleCmdManager::Get()
{
    CQorScopedPtr<CConsoleCmdManager>& pInstance = AccessInstance();
    if ( pInstance.Get() == nullptr )
    {
        pInstance.Reset( new CConsoleCmdManager );
    }
    return *pInstance.Get();
}

void CConsoleCmdManager::AddCommand( const SConsoleCommand& Command )
{
    _Commands.InsertOrAssign( Command._Name, Command );
}

bool CConsoleCmdManager::RemoveCommand( CQorStringView Name )
{
    return _Commands.Remove( CString( Name ) );
}

const SConsoleCommand* CConsoleCmdManager::FindCommand( CQorStringView Name ) const
{
    const auto Iter = _Commands.Find( CString( Name ) );
    return Iter == _Commands.end() ? nullptr : &Iter->Value;
}

CTweakable* CConsoleCmdManager::AddVariable( CQorScopedPtr<CTweakable> pTweakable )
{
    if ( pTweakable.Get() == nullptr )
    {
        return nullptr;
    }
    if ( CTweakable** ppExisting = _Variables.FindValue( pTweakable->GetName() ) )
    {
        CTweakable* pExisting = *ppExisting;
        QOR_ASSERT_MSG( pExisting->GetTypeTag() == pTweakable->GetTypeTag(),
                        "Old tweakable type differs from new type" );
        if ( pExisting->GetTypeTag() != pTweakable->GetTypeTag() )
        {
            return nullptr;
        }
        pExisting->TakeBinding( *pTweakable );
        return pExisting;
    }
    CTweakable* pAdded = pTweakable.Release();
    _Variables.Insert( pAdded->GetName(), pAdded );
    return pAdded;
}

bool CConsoleCmdManager::RemoveVariable( CQorStringView Name )
{
    const CString Key( Name );
    CTweakable** ppTweakable = _Variables.FindValue( Key );
    if ( !ppTweakable )
    {
        return false;
    }
    delete *ppTweakable;
    return _Variables.Remove( Key );
}

CTweakable* CConsoleCmdManager::FindVariable( CQorStringView Name ) const
{
    const auto Iter = _Variables.Find( CString( Name ) );
    return Iter == _Variables.end() ? nullptr : Iter->Value;
}

CString CConsoleCmdManager::ArgumentCountText( CQorStringView Name, int32 nMaxArguments, int32 nGiven )
{
    char Buffer[128];
    std::snprintf( Buffer, sizeof( Buffer ), "' takes at most %d, got %d.", nMaxArguments, nGiven );
    return CString( "Too many arguments: '" ) + Name + Buffer;
}

SConsoleCmdResult CConsoleCmdManager::Execute( CConsoleArguments Arguments )
{
    if ( _bRestricted && _bNetworkGame )
    {
        return Failure( "Console not available in multiplayer or ironman mode." );
    }
    const CMainThreadOpenScope AllowOpen;
    if ( Arguments.IsEmpty() )
    {
        return Failure( "Empty command line." );
    }
    const CConsoleArguments CommandArguments = Arguments.Tail();
    SConsoleCmdResult Result;
    if ( const SConsoleCommand* pCommand = FindCommand( Arguments[0] ) )
    {
        if ( _Filter && _Filter( *pCommand, CommandArguments, Result ) )
        {
            return Result;
        }
        if ( !pCommand->_bRelease && _bRestricted )
        {
            return Failure( "Command available only for developers." );
        }
        if ( !pCommand->_pAction )
        {
            return Failure( "Console Error - command has missing action." );
        }
        if ( CommandArguments.GetSize() > pCommand->_NumArguments )
        {
            return Failure( ArgumentCountText( pCommand->_Name, pCommand->_NumArguments, CommandArguments.GetSize() ) );
        }
        // The action may run further commands, which may replace this one: it runs on a copy.
        const FConsoleAction Action = pCommand->_pAction;
        Action( CommandArguments, Result );
        return Result;
    }
    if ( CTweakable* pTweakable = FindVariable( Arguments[0] ) )
    {
        pTweakable->Execute( Result, CommandArguments );
        return Result;
    }
    return Failure( "Unknown command" );
}

bool CConsoleCmdManager::SplitLine( CQorStringView Line, CQorArray<CString>& Words, CString& Error )
{
    Words.Clear();
    if ( Line.GetSize() > c_MaxLineLength )
    {
        char Buffer[96];
        std::snprintf( Buffer, sizeof( Buffer ), "Command line longer than %d characters.", c_MaxLineLength );
        Error = Buffer;
        return false;
    }
    int32 nPos = 0;
    const int32 nSize = Line.GetSize();
    while ( true )
    {
        while ( nPos < nSize && IsBlank( Line[nPos] ) )
        {
            ++nPos;
        }
        if ( nPos == nSize )
        {
            break;
        }
        CString Word;
        // A word runs to the next blank outside quotes; quotes group and are dropped ("a b"c is one word).
        bool bInQuotes = false;
        while ( nPos < nSize && ( bInQuotes || !IsBlank( Line[nPos] ) ) )
        {
            if ( Line[nPos] == '"' )
            {
                bInQuotes = !bInQuotes;
            }
            else
            {
                Word += Line[nPos];
            }
            ++nPos;
        }
        if ( bInQuotes )
        {
            Words.Clear();
            Error = "Quote left open in command line.";
            return false;
        }
        Words.Add( std::move( Word ) );
    }
    if ( Words.IsEmpty() )
    {
        Error = "Empty command line.";
        return false;
    }
    return true;
}

SConsoleCmdResult CConsoleCmdManager::ExecuteLine( CQorStringView Line )
{
    CQorArray<CString> Words;
    CString Error;
    if ( !SplitLine( Line, Words, Error ) )
    {
        return Failure( std::move( Error ) );
    }
    return Execute( Words );
}

template <typename AcceptT>
void CConsoleCmdManager::CollectNames( bool bCommands, bool bVariables, AcceptT Accept, CQorArray<CString>& Out ) const
{
    std::vector<std::pair<CString, CString>> Keyed;
    if ( bCommands )
    {
        for ( const auto& Entry : _Commands )
        {
            if ( IsVisible( Entry.Value ) && Accept( Entry.Key ) )
            {
                Keyed.emplace_back( ToLower( Entry.Key ), Entry.Key );
            }
        }
    }
    if ( bVariables )
    {
        for ( const auto& Entry : _Variables )
        {
            if ( Accept( Entry.Key ) )
            {
                Keyed.emplace_back( ToLower( Entry.Key ), Entry.Key );
            }
        }
    }
    // Ties of the lower-case form fall back to the names themselves, so the order never depends on the tables.
    std::sort( Keyed.begin(), Keyed.end() );
    Out.Clear();
    for ( auto& Pair : Keyed )
    {
        Out.Add( std::move( Pair.second ) );
    }
}

void CConsoleCmdManager::GetCommandNames( CString& Out ) const
{
    CQorArray<CString> Names;
    CollectNames(
        true, true, []( const CString& ) { return true; }, Names );
    JoinLines( Names, Out );
}

void CConsoleCmdManager::GetVariableNames( CString& Out ) const
{
    CQorArray<CString> Names;
    CollectNames(
        false, true, []( const CString& ) { return true; }, Names );
    JoinLines( Names, Out );
}

void CConsoleCmdManager::GetCompletions( CQorStringView Prefix, CQorArray<CString>& Out ) const
{
    CollectNames(
        true, true, [Prefix]( const CString& Name ) { return CQorStringView( Name ).StartsWithNoCase( Prefix ); },
        Out );
}

void CConsoleCmdManager::GetHelp( CString& Out ) const
{
    CQorArray<CString> Names;
    CollectNames(
        true, false, []( const CString& ) { return true; }, Names );
    Out.Clear();
    for ( const CString& Name : Names )
    {
        Out += "\n - ";
        Out += Name;
        Out += ": ";
        Out += FindCommand( Name )->_Description;
    }
}

void CConsoleCmdManager::AddCommandToGroup( CQorStringView GroupName, CQorStringView CommandName )
{
    if ( !FindCommand( CommandName ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Adding unknown command to a console group" );
        return;
    }
    SConsoleGroup* pGroup =
        _Groups.FindIf( [GroupName]( const SConsoleGroup& Group ) { return Group._Name == GroupName; } );
    if ( !pGroup )
    {
        pGroup = _Groups.Add( SConsoleGroup{ CString( GroupName ), {} } );
    }
    const CString Name( CommandName );
    if ( pGroup->_CommandNames.FindIndex( Name ) == -1 )
    {
        pGroup->_CommandNames.Add( Name );
    }
}

void CConsoleCmdManager::GetGroups( CQorArray<SConsoleGroup>& Out ) const
{
    Out.Clear();
    SConsoleGroup Other{ CString( "Other" ), {} };
    CQorArray<CString> Names;
    CollectNames(
        true, false, []( const CString& ) { return true; }, Names );
    for ( const SConsoleGroup& Group : _Groups )
    {
        SConsoleGroup& Listed = *Out.Add( SConsoleGroup{ Group._Name, {} } );
        for ( const CString& Name : Group._CommandNames )
        {
            const SConsoleCommand* pCommand = FindCommand( Name );
            if ( pCommand && IsVisible( *pCommand ) )
            {
                Listed._CommandNames.Add( Name );
            }
        }
    }
    for ( const CString& Name : Names )
    {
        const bool bGrouped = _Groups.FindIf( [&Name]( const SConsoleGroup& Group )
                                              { return Group._CommandNames.FindIndex( Name ) != -1; } ) != nullptr;
        if ( !bGrouped )
        {
            Other._CommandNames.Add( Name );
        }
    }
    Out.Add( std::move( Other ) );
}

namespace
{
// The library's own command: the scheduler's worker count.
const CConsoleCommandRegistration g_TaskThreadCountCommand(
    []
    {
        SConsoleCommand Command;
        Command._Name = "Threading.TaskThreadCount";
        Command._Description = "Set or get the number of task threads";
        Command._NumArguments = 1;
        Command._ArgumentDescriptions[0] = "The number of task threads";
        Command._pAction = []( CConsoleArguments Arguments, SConsoleCmdResult& Result )
        {
            CQorArray<CString> Copied;
            for ( const CString& Argument : Arguments )
            {
                Copied.Add( Argument );
            }
            Result._bSuccess = RunTaskThreadCountCommand( Copied, Result._Text );
        };
        return Command;
    }() );
} // namespace
