#pragma once

// CTweakable: a name bound to a variable of the program, so that the console can read and change it while the
// program runs. This is the interface the console manager knows; the typed kinds are in tweakablevariable.h.
// Tweakables are made with CTweakable::Register, normally from static initialisers, and belong to the manager.
// They are written on the console's thread and read anywhere without a lock: the variables are plain.

#include "qor_core/console/consolecmdmanager.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"

#include <functional>
#include <utility>

class CTweakable
{
public:
    // Called after a write changed the value.
    using FChangeHook = std::function<void( CTweakable& Tweakable )>;

    // pValue may be null: the tweakable then reads as its type's default and ignores writes.
    CTweakable( void* pValue, CQorStringView Name, CQorStringView Description, const void* pTypeTag )
        : _pValue( pValue ), _Name( Name ), _Description( Description ), _pTypeTag( pTypeTag )
    {
    }
    virtual ~CTweakable() = default;
    CTweakable( const CTweakable& ) = delete;
    CTweakable& operator=( const CTweakable& ) = delete;

    virtual void ToString( CString& Out ) const = 0;
    // False, with the value kept, when Text is no value of the tweakable's type.
    virtual bool FromString( CQorStringView Text ) = 0;
    // No argument reads, one writes and reads back: "Value " and the value. A value that doesn't parse, or
    // more than one argument, fails with the value kept.
    virtual void Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments );

    const CString& GetName() const { return _Name; }
    const CString& GetDescription() const { return _Description; }
    // Identifies the concrete class: one address per class.
    const void* GetTypeTag() const { return _pTypeTag; }
    void SetChangeHook( FChangeHook Hook ) { _OnChanged = std::move( Hook ); }

    // Makes a TweakableT from Args and registers it with the manager (the process-wide one by default). A name
    // registered before with the same class keeps its object, which takes the new variable, name and description
    // and is returned, so that a header included twice makes one tweakable. With another class: reported, null.
    template <typename TweakableT, typename... ArgsT> static TweakableT* Register( ArgsT&&... Args )
    {
        return RegisterWith<TweakableT>( CConsoleCmdManager::Get(), std::forward<ArgsT>( Args )... );
    }
    template <typename TweakableT, typename... ArgsT>
    static TweakableT* RegisterWith( CConsoleCmdManager& Manager, ArgsT&&... Args )
    {
        return static_cast<TweakableT*>(
            Manager.AddVariable( CQorScopedPtr<CTweakable>( new TweakableT( std::forward<ArgsT>( Args )... ) ) ) );
    }

    // The variable, name and description of Other, of the same class; the manager's answer to a second
    // registration.
    virtual void TakeBinding( CTweakable& Other );

protected:
    template <typename T> struct STypeTag
    {
        static inline const char s_Tag = 0;
    };
    template <typename T> static const void* TypeTagOf() { return &STypeTag<T>::s_Tag; }

    void NotifyChanged()
    {
        if ( _OnChanged )
        {
            _OnChanged( *this );
        }
    }
    // The count check every Execute makes first; false with the result filled when there are too many.
    bool CheckArgumentCount( SConsoleCmdResult& Result, CConsoleArguments Arguments, int32 nMaxArguments ) const;
    // "Value " and the value.
    void AnswerValue( SConsoleCmdResult& Result ) const;

    void* _pValue;
    FChangeHook _OnChanged;
    CString _Name;
    CString _Description;
    const void* _pTypeTag;
};
