#include "qor_core/qor_tweakable_helper.h"

#include "qor_core/blob.h"
#include "qor_core/console/consolecmdmanager.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/memoryfile.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/qor_persistent_writer.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/virtualfilesystem.h"

#include <boost/bind/bind.hpp>

#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>

namespace
{
constexpr uint32 c_ErrorCategory = LOG_CATEGORY_HALVORSUND_ERROR;

// Stages the value for a tweakable of type T: false when the tweakable is of another type. bParsed tells whether
// the text was a T.
template <typename T>
bool StageTyped( CTweakable& Tweakable, CQorStringView Text, std::function<void()>& Apply, bool& bParsed )
{
    CTweakableTyped<T>* pTyped = dynamic_cast<CTweakableTyped<T>*>( &Tweakable );
    if ( pTyped == nullptr )
    {
        return false;
    }
    T Value{};
    bParsed = pTyped->ParseValue( Text, Value );
    if ( bParsed )
    {
        Apply = [ pTyped, Value ] { pTyped->Set( Value ); };
    }
    return true;
}

// The write that sets Text, when the tweakable takes it. A kind the library doesn't know is trusted to take it.
bool StageValue( CTweakable& Tweakable, CQorStringView Text, std::function<void()>& Apply )
{
    bool bParsed = false;
    if ( StageTyped<int32>( Tweakable, Text, Apply, bParsed ) || StageTyped<uint32>( Tweakable, Text, Apply, bParsed ) ||
         StageTyped<float>( Tweakable, Text, Apply, bParsed ) ||
         StageTyped<CFixedPoint>( Tweakable, Text, Apply, bParsed ) ||
         StageTyped<bool>( Tweakable, Text, Apply, bParsed ) || StageTyped<CString>( Tweakable, Text, Apply, bParsed ) )
    {
        return bParsed;
    }
    if ( CTweakableColor* pColor = dynamic_cast<CTweakableColor*>( &Tweakable ) )
    {
        CTweakableColor::CColor Value;
        if ( !CTweakableColor::ParseColor( Text, Value ) )
        {
            return false;
        }
        Apply = [ pColor, Value ] { pColor->Set( Value ); };
        return true;
    }
    Apply = [ pTweakable = &Tweakable, Value = CString( Text ) ] { pTweakable->FromString( Value ); };
    return true;
}

// The tweakable's value as text. The console's form of a float keeps three decimals; a file keeps all of it.
CString ValueText( const CTweakable& Tweakable )
{
    if ( const auto* pFloat = dynamic_cast<const CTweakableTyped<float>*>( &Tweakable ) )
    {
        char Buffer[32];
        const std::to_chars_result Result = std::to_chars( Buffer, Buffer + sizeof( Buffer ), pFloat->Get() );
        return CString( std::string( Buffer, Result.ptr ) );
    }
    CString Text;
    Tweakable.ToString( Text );
    return Text;
}

bool IsPlainValue( const CToken& Value )
{
    return !Value.Match( 0 ) && !Value.Match( NToken::_openbrace_ ) && !Value.Match( NToken::_closebrace_ ) &&
           !Value.Match( NToken::_eof_ );
}
} // namespace

CQorTweakVariablesHelper::CQorTweakVariablesHelper( CQorStringView Name, CConsoleCmdManager* pManager )
    : _Name( Name ), _pManager( pManager )
{
}

CConsoleCmdManager& CQorTweakVariablesHelper::GetManager() const
{
    return _pManager ? *_pManager : CConsoleCmdManager::Get();
}

bool CQorTweakVariablesHelper::CheckKeyIsFree( CQorStringView Key ) const
{
    if ( FindVariable( Key ) == nullptr )
    {
        return true;
    }
    const CString KeyText( Key );
    LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "'%s' already contains '%s'", _Name.GetData(),
               KeyText.GetData() );
    return false;
}

bool CQorTweakVariablesHelper::AddVariable( CQorStringView Key, CTweakable* pTweakable )
{
    if ( pTweakable == nullptr || !CheckKeyIsFree( Key ) )
    {
        return false;
    }
    _Variables.Add( SVariable{ CString( Key ), pTweakable } );
    return true;
}

CTweakable* CQorTweakVariablesHelper::FindVariable( CQorStringView Key ) const
{
    for ( const SVariable& Variable : _Variables )
    {
        if ( Variable._Key == Key )
        {
            return Variable._pTweakable;
        }
    }
    return nullptr;
}

void CQorTweakVariablesHelper::WriteContents( CWriter& Writer )
{
    for ( const SVariable& Variable : _Variables )
    {
        Writer.WriteStatement( CQorStringView( Variable._Key ), ValueText( *Variable._pTweakable ) );
    }
}

void CQorTweakVariablesHelper::Read( CReader& Reader )
{
    _Staged.Clear();
    if ( Reader.IsBlock() )
    {
        Reader.ReadStatements( *this, true );
    }
    else if ( !Reader.Next() || !Reader.GetCurrent().Match( NToken::_openbrace_ ) )
    {
        Reader.MalformedToken( "Expected {" );
    }
    else
    {
        Reader.ReadStatements( *this, true );
        if ( !Reader.IsAtEof() )
        {
            Reader.Next();
            Reader.UnexpectedToken( "Expected the end of the file" );
        }
    }
    if ( Reader.IsOk() )
    {
        for ( const FApply& Apply : _Staged )
        {
            Apply();
        }
    }
    _Staged.Clear();
}

void CQorTweakVariablesHelper::ReadToken( CReader& Reader, uint32 )
{
    const CString Key( Reader.GetKey().GetText() );
    CTweakable* pTweakable = FindVariable( Key );
    if ( pTweakable == nullptr )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ),
                   "Could not match variable '%s' in '%s', has it been removed?", Key.GetData(),
                   Reader.GetFileName().GetData() );
        Reader.SkipValue();
        return;
    }
    if ( !Reader.GetOperator().Match( NToken::_equals_ ) || !IsPlainValue( Reader.GetValue() ) )
    {
        Reader.UnexpectedToken( CString( "Expected = and a value for '" ) + Key + "'" );
        return;
    }
    CString Text;
    Reader.Read( Text );
    FApply Apply;
    if ( !StageValue( *pTweakable, Text, Apply ) )
    {
        Reader.MalformedToken( CString( "Invalid value for '" ) + Key + "'" );
        return;
    }
    _Staged.Add( std::move( Apply ) );
}

CQorTweakFileHelper::CQorTweakFileHelper( CQorStringView Name, CQorStringView Directory, CQorStringView File,
                                          FReloadFunction Function, CQorFileWatcher* pWatcher,
                                          CConsoleCmdManager* pManager )
    : _Name( Name ), _Path( Directory.IsEmpty() ? CString( File ) : CString( Directory ) + "/" + File ),
      _OnReload( std::move( Function ) ), _pManager( pManager ), _Variables( Name, pManager ), _pWatcher( pWatcher )
{
    CConsoleCmdManager& Manager = _pManager ? *_pManager : CConsoleCmdManager::Get();
    _pResetCommand = CTweakable::RegisterWith<CTweakableCallback>(
        Manager, _Name + ".ResetFromDisk", "Reset", boost::bind( &CQorTweakFileHelper::ResetFromDisk, this ),
        "Read the settings again from their file" );
    _pSaveCommand = CTweakable::RegisterWith<CTweakableCallback>(
        Manager, _Name + ".Save", "Save", boost::bind( &CQorTweakFileHelper::Save, this ),
        "Write the settings to their file" );
    if ( _pWatcher == nullptr )
    {
        return;
    }
    const std::string Path = _Path.GetStdString();
    const size_t Slash = Path.rfind( '/' );
    const std::string Below = Slash == std::string::npos ? std::string() : Path.substr( 0, Slash );
    CString Entry = VFSRealDir( _Path );
    if ( Entry.IsEmpty() )
    {
        Entry = VFSGetWriteDir();
    }
    std::error_code Error;
    const std::filesystem::path Real = std::filesystem::path( Entry.GetStdString() ) / Below;
    if ( Entry.IsEmpty() || !std::filesystem::is_directory( Real, Error ) )
    {
        return;
    }
    _WatchId = _pWatcher->AddListener( CString( Real.lexically_normal().string() ), false,
                                       boost::bind( &CQorTweakFileHelper::OnFileChanged, this,
                                                    boost::placeholders::_1, boost::placeholders::_2 ) );
    if ( _WatchId >= 0 )
    {
        _WatchedDirectory = CString( Real.lexically_normal().string() );
    }
}

CQorTweakFileHelper::~CQorTweakFileHelper()
{
    CConsoleCmdManager& Manager = _pManager ? *_pManager : CConsoleCmdManager::Get();
    // Only the helper's own commands: a name that another class holds was never ours.
    for ( CTweakable* pCommand : { _pResetCommand, _pSaveCommand } )
    {
        if ( pCommand && Manager.FindVariable( pCommand->GetName() ) == pCommand )
        {
            Manager.RemoveVariable( CString( pCommand->GetName() ) );
        }
    }
    if ( _WatchId >= 0 )
    {
        _pWatcher->RemoveListener( _WatchId );
    }
}

bool CQorTweakFileHelper::ResetFromDisk()
{
    if ( !VFSExists( _Path ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Could not find '%s'", _Path.GetData() );
        return false;
    }
    CString Reason;
    CMemoryFile* pFile = CLexer::ReadVFSFile( _Path, 1, Reason );
    if ( !pFile )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Could not read '%s': %s", _Path.GetData(),
                   Reason.GetData() );
        return false;
    }
    bool bApplied = false;
    {
        CReader Reader( new CTextLexer( pFile, true ), true );
        _Variables.Read( Reader );
        bApplied = Reader.IsOk();
        if ( !bApplied )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ),
                       "Kept every value of '%s': reading failed near line %d", _Path.GetData(),
                       Reader.GetErrors()[0]._Line );
        }
        // The reader logs its errors as it goes.
    }
    if ( bApplied && _OnReload )
    {
        _OnReload();
    }
    return bApplied;
}

bool CQorTweakFileHelper::Save()
{
    CBlob Text;
    {
        CMemoryFile File( &Text, 1, CFile::OPEN_WRITE, false );
        CWriter Writer( &File, false );
        Writer.Write( _Variables );
    }
    const CString Temporary = _Path + ".tmp";
    CVFSOpenResult Opened = VFSOpen( Temporary, CFile::OPEN_WRITE, 0 );
    if ( Opened.IsFailure() )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Could not save '%s': %s", _Path.GetData(),
                   Opened.GetError().GetData() );
        return false;
    }
    SVFSFile* pHandle = Opened.MoveValue();
    const bool bWritten = VFSWrite( pHandle, Text.GetData(), uint64( Text.GetSize() ) ) == uint64( Text.GetSize() );
    VFSClose( pHandle );
    if ( !bWritten || !VFSRename( Temporary, _Path ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, c_ErrorCategory ), "Could not save '%s': %s", _Path.GetData(),
                   bWritten ? "the new file could not replace the old one" : "writing failed" );
        VFSDelete( Temporary );
        return false;
    }
    return true;
}

void CQorTweakFileHelper::OnFileChanged( const CString& Path, EFileChange Change )
{
    const std::string Name = _Path.GetStdString();
    const size_t Slash = Name.rfind( '/' );
    if ( Change != EFileChange::Deleted && Path.GetStdString() == Name.substr( Slash == std::string::npos ? 0 : Slash + 1 ) )
    {
        ResetFromDisk();
    }
}
