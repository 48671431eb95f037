#pragma once

// Settings files of tweakables. CQorTweakVariablesHelper is the contents of one file: keys, each linked to a
// tweakable (normally one of its own, named "<helper>.<key>"), written in the order they were added as quoted
// statements in one block:
//
//     {
//         "Speed" = "2.5"
//         "Title" = "A \"quoted\" word"
//     }
//
// Reading is all or nothing: a file that is truncated (its closing brace is missing), holds stray tokens or a
// value that isn't one of its tweakable's type changes no tweakable, and the reader's errors say where reading
// failed. A key of the file that the helper doesn't know is logged and passed over. Floats are written in their
// shortest exact form, so that a save and a reload give back the same value.
//
// CQorTweakFileHelper keeps one such file in the virtual file system: it reads it through the search path and
// saves it to the write directory (through a temporary file, renamed over the old one, so that a save cut short
// leaves the last good file). The console reaches it as "<name>.ResetFromDisk" and "<name>.Save"; given a file
// watcher, it reads the file again whenever it changes on disk. Everything here runs on the console's thread.
//
// REQUIRES of both: the token tables are created (CreateTokens), and the linked tweakables stay registered while
// the helper lives.

#include "qor_core/console/tweakablevariable.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/persistence/qor_persistent_reader.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"
#include "qor_core/qorfilewatcher.h"

#include <boost/function.hpp>

#include <functional>
#include <utility>

class CConsoleCmdManager;
class CWriter;

class CQorTweakVariablesHelper : public CPersistent
{
public:
    // The tweakables it makes go to pManager, the process-wide manager when null.
    explicit CQorTweakVariablesHelper( CQorStringView Name, CConsoleCmdManager* pManager = nullptr );

    // Makes a TweakableT named "<helper>.<Key>" over pValue (further constructor arguments, such as a range,
    // follow the description) and links it under Key. Null when the key is taken (logged as
    // "'<helper>' already contains '<key>'") or the tweakable can't be registered.
    template <typename TweakableT, typename ValueT, typename... RestT>
    TweakableT* Add( CQorStringView Key, ValueT* pValue, CQorStringView Description, RestT&&... Rest )
    {
        if ( !CheckKeyIsFree( Key ) )
        {
            return nullptr;
        }
        TweakableT* pTweakable = CTweakable::RegisterWith<TweakableT>(
            GetManager(), pValue, GetName() + "." + Key, Description, std::forward<RestT>( Rest )... );
        if ( pTweakable )
        {
            _Variables.Add( SVariable{ CString( Key ), pTweakable } );
        }
        return pTweakable;
    }
    // Links a tweakable that exists under Key. False when the key is taken (logged as above) or pTweakable is null.
    bool AddVariable( CQorStringView Key, CTweakable* pTweakable );
    // The tweakable linked under Key, or null.
    CTweakable* FindVariable( CQorStringView Key ) const;
    int32 GetNumVariables() const { return _Variables.GetSize(); }
    const CString& GetName() const { return _Name; }

    // One statement per variable, in the order of adding.
    void WriteContents( CWriter& Writer ) override;
    // The block that the reader's value opens, or, at the start of a file, the whole file as one block followed
    // by nothing. The values are set only when the reader is still free of errors at the end.
    void Read( CReader& Reader ) override;
    // One statement of the block: checks the key and the value, and keeps the value for the end of the block.
    void ReadToken( CReader& Reader, uint32 Token ) override;

private:
    struct SVariable
    {
        CString _Key;
        CTweakable* _pTweakable;
    };
    using FApply = std::function<void()>;

    bool CheckKeyIsFree( CQorStringView Key ) const;
    CConsoleCmdManager& GetManager() const;

    CString _Name;
    CConsoleCmdManager* _pManager;
    CQorArray<SVariable> _Variables;
    // The values read so far from the block being read, as the writes that set them.
    CQorArray<FApply> _Staged;
};

class CQorTweakFileHelper
{
public:
    // Called after each reload that set the values.
    using FReloadFunction = boost::function<void()>;

    // The file is Directory/File (File alone for an empty Directory), a path of the virtual file system.
    // Registers "<Name>.ResetFromDisk" (label "Reset") and "<Name>.Save" (label "Save") with pManager (the
    // process-wide manager when null). With pWatcher, watches the directory that holds the file: the one of the
    // search path that has it, else the write directory's, when it exists. Reads nothing yet.
    CQorTweakFileHelper( CQorStringView Name, CQorStringView Directory, CQorStringView File,
                         FReloadFunction Function = {}, CQorFileWatcher* pWatcher = nullptr,
                         CConsoleCmdManager* pManager = nullptr );
    // Unregisters both commands and stops watching (on the main thread, as the watcher requires).
    ~CQorTweakFileHelper();
    CQorTweakFileHelper( const CQorTweakFileHelper& ) = delete;
    CQorTweakFileHelper& operator=( const CQorTweakFileHelper& ) = delete;

    CQorTweakVariablesHelper& GetVariables() { return _Variables; }
    template <typename TweakableT, typename ValueT, typename... RestT>
    TweakableT* Add( CQorStringView Key, ValueT* pValue, CQorStringView Description, RestT&&... Rest )
    {
        return _Variables.Add<TweakableT>( Key, pValue, Description, std::forward<RestT>( Rest )... );
    }

    // Reads the file and sets every value of it, then calls the reload function. False, with nothing set, for a
    // missing file ("Could not find '<path>'"), one that can't be opened, or one that can't be read whole.
    bool ResetFromDisk();
    // Writes every value to the file under the write directory. False, logged, when that fails; the file that
    // was there stays.
    bool Save();

    const CString& GetName() const { return _Name; }
    const CString& GetPath() const { return _Path; }
    // The real directory watched, or empty.
    const CString& GetWatchedDirectory() const { return _WatchedDirectory; }

private:
    void OnFileChanged( const CString& Path, EFileChange Change );

    CString _Name;
    CString _Path;
    FReloadFunction _OnReload;
    CConsoleCmdManager* _pManager;
    CQorTweakVariablesHelper _Variables;
    CTweakable* _pResetCommand = nullptr;
    CTweakable* _pSaveCommand = nullptr;
    CQorFileWatcher* _pWatcher;
    int32 _WatchId = -1;
    CString _WatchedDirectory;
};
