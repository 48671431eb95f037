#include "qor_core/console/consolecmdvariable.h"

void CTweakable::Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments )
{
    if ( !CheckArgumentCount( Result, Arguments, 1 ) )
    {
        return;
    }
    if ( !Arguments.IsEmpty() && !FromString( Arguments[0] ) )
    {
        CString Value;
        ToString( Value );
        Result._bSuccess = false;
        Result._Text = CString( "Invalid value '" ) + Arguments[0] + "'. Value " + Value;
        return;
    }
    AnswerValue( Result );
}

void CTweakable::TakeBinding( CTweakable& Other )
{
    _pValue = Other._pValue;
    _Name = Other._Name;
    _Description = Other._Description;
}

bool CTweakable::CheckArgumentCount( SConsoleCmdResult& Result, CConsoleArguments Arguments, int32 nMaxArguments ) const
{
    if ( Arguments.GetSize() <= nMaxArguments )
    {
        return true;
    }
    Result._bSuccess = false;
    Result._Text = CConsoleCmdManager::ArgumentCountText( _Name, nMaxArguments, Arguments.GetSize() );
    return false;
}

void CTweakable::AnswerValue( SConsoleCmdResult& Result ) const
{
    CString Value;
    ToString( Value );
    Result._bSuccess = true;
    Result._Text = CString( "Value " ) + Value;
}
