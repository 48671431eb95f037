// Console lines as a person types them: the first byte sets the restricted and network-game flags, the rest is
// the line. No assertion may fire, every result has a text, and a line that fails leaves every variable as it
// was; the ranged number never leaves its range. A line that splits runs the words it split into, which hold
// no quote, and the same words run as arguments give the same result.

#include "fuzz/fuzz_support.h"
#include "qor_core/console/consolecmdmanager.h"
#include "qor_core/console/tweakablevariable.h"
#include "qor_core/qor_assert.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
void Check( bool bCondition )
{
    if ( !bCondition )
    {
        std::abort();
    }
}

void AbortOnAssert( const char*, const char*, uint32, bool, bool*, bool* )
{
    std::abort();
}

struct SVariables
{
    int32 Number = 5;
    uint32 Count = 1;
    bool bFlag = false;
    float Ratio = 0.5f;
    CFixedPoint Fixed;
    CString Name = "name";

    bool operator==( const SVariables& Other ) const
    {
        return Number == Other.Number && Count == Other.Count && bFlag == Other.bFlag &&
               std::memcmp( &Ratio, &Other.Ratio, sizeof( Ratio ) ) == 0 && Fixed == Other.Fixed && Name == Other.Name;
    }
};

struct SConsole
{
    SConsole()
    {
        SetAssertHandler( &AbortOnAssert );
        NFuzz::DropLogLines();
        SConsoleCommand Echo;
        Echo._Name = "Echo";
        Echo._bRelease = true;
        Echo._NumArguments = 3;
        Echo._pAction = []( CConsoleArguments Arguments, SConsoleCmdResult& Result )
        {
            Result._bSuccess = true;
            Result._Text = "echo";
            for ( const CString& Argument : Arguments )
            {
                Result._Text += Argument;
            }
        };
        Manager.AddCommand( Echo );
        SConsoleCommand Dev = Echo;
        Dev._Name = "Dev";
        Dev._bRelease = false;
        Manager.AddCommand( Dev );
        SConsoleCommand Broken;
        Broken._Name = "Broken";
        Manager.AddCommand( Broken );
        CTweakable::RegisterWith<CTweakableMinMax<int32>>( Manager, &Variables.Number, "Number", "", -10, 10 );
        CTweakable::RegisterWith<CTweakableNumber<uint32>>( Manager, &Variables.Count, "Count", "" );
        CTweakable::RegisterWith<CTweakableBool>( Manager, &Variables.bFlag, "Flag", "" );
        CTweakable::RegisterWith<CTweakableNumber<float>>( Manager, &Variables.Ratio, "Ratio", "" );
        CTweakable::RegisterWith<CTweakableNumber<CFixedPoint>>( Manager, &Variables.Fixed, "Fixed", "" );
        CTweakable::RegisterWith<CTweakableString>( Manager, &Variables.Name, "Name", "" );
    }

    SVariables Variables;
    CConsoleCmdManager Manager;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static SConsole s_Console;
    if ( Size == 0 )
    {
        return 0;
    }
    s_Console.Manager.SetRestricted( ( pData[0] & 1 ) != 0 );
    s_Console.Manager.SetNetworkGame( ( pData[0] & 2 ) != 0 );
    const CQorStringView Line( reinterpret_cast<const char*>( pData + 1 ), int32( Size - 1 ), ENullTerminated::No );

    const SVariables Before = s_Console.Variables;
    const SConsoleCmdResult Result = s_Console.Manager.ExecuteLine( Line );
    Check( !Result._Text.IsEmpty() || Result._bSuccess );
    if ( !Result._bSuccess )
    {
        Check( s_Console.Variables == Before );
    }
    Check( s_Console.Variables.Number >= -10 && s_Console.Variables.Number <= 10 );

    CQorArray<CString> Words;
    CString Error;
    if ( CConsoleCmdManager::SplitLine( Line, Words, Error ) )
    {
        Check( !Words.IsEmpty() && Line.GetSize() <= CConsoleCmdManager::c_MaxLineLength );
        for ( const CString& Word : Words )
        {
            Check( Word.Find( '"' ) == CString::npos );
        }
        // Running the words again is running the line again: the variables are where the line left them.
        s_Console.Variables = Before;
        const SConsoleCmdResult Again = s_Console.Manager.Execute( Words );
        Check( Again._bSuccess == Result._bSuccess && Again._Text == Result._Text );
    }
    else
    {
        Check( !Result._bSuccess && Result._Text == Error );
    }
    return 0;
}
