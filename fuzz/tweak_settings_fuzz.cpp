// A settings file of tweakables, on any bytes: read all or nothing into a variable of each kind. Whatever a file
// left in the variables must be saved and read back unchanged, and a file the reader found fault with must leave
// every variable as it was.

#include "fuzz/reader_fuzz_support.h"
#include "qor_core/blob.h"
#include "qor_core/console/consolecmdmanager.h"
#include "qor_core/persistence/qor_persistent_writer.h"
#include "qor_core/qor_tweakable_helper.h"

#include <cstdint>
#include <cstdlib>

namespace
{
struct SValues
{
    int32 Count = 7;
    uint32 Mask = 0xF0;
    float Speed = 0.25f;
    CFixedPoint Gravity = CFixedPoint::FromRaw( 981000 );
    bool bEnabled = true;
    CString Title = CString( "title" );
    int32 Level = 4;
    CTweakableColor::CColor Tint = CTweakableColor::CColor( 1.0f, 0.5f, 0.0f, 1.0f );

    bool operator==( const SValues& Other ) const
    {
        return Count == Other.Count && Mask == Other.Mask && Speed == Other.Speed &&
               Gravity.GetRaw() == Other.Gravity.GetRaw() && bEnabled == Other.bEnabled && Title == Other.Title &&
               Level == Other.Level && Tint[0] == Other.Tint[0] && Tint[1] == Other.Tint[1] &&
               Tint[2] == Other.Tint[2] && Tint[3] == Other.Tint[3];
    }
};

struct SSettings
{
    SSettings() : Helper( "Fuzz", &Manager )
    {
        Helper.Add<CTweakableNumber<int32>>( "Count", &Values.Count, "" );
        Helper.Add<CTweakableNumber<uint32>>( "Mask", &Values.Mask, "" );
        Helper.Add<CTweakableNumber<float>>( "Speed", &Values.Speed, "" );
        Helper.Add<CTweakableNumber<CFixedPoint>>( "Gravity", &Values.Gravity, "" );
        Helper.Add<CTweakableBool>( "Enabled", &Values.bEnabled, "" );
        Helper.Add<CTweakableString>( "Title", &Values.Title, "" );
        Helper.Add<CTweakableMinMax<int32>>( "Level", &Values.Level, "", -5, 5 );
        Helper.Add<CTweakableColor>( "Tint", &Values.Tint, "" );
    }

    // Reads the bytes as a settings file; whether the reader found nothing wrong.
    bool Read( const void* pData, int32 Size )
    {
        CReader::ResetSkipBlockDepth();
        CMemoryFile File( pData, Size, 1 );
        File.SetFileName( "fuzz.settings" );
        CReader Reader( new CTextLexer( &File, false ), true );
        Helper.Read( Reader );
        return Reader.IsOk();
    }

    CConsoleCmdManager Manager;
    SValues Values;
    CQorTweakVariablesHelper Helper;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = NReaderFuzz::Prepare();
    if ( !s_bReady || Size > ( 1u << 24 ) )
    {
        return 0;
    }
    static SSettings s_Settings;
    s_Settings.Values = SValues();
    const SValues Before = s_Settings.Values;
    if ( !s_Settings.Read( pData, int32( Size ) ) && !( s_Settings.Values == Before ) )
    {
        std::abort();
    }

    const SValues Read = s_Settings.Values;
    CBlob Saved;
    {
        CMemoryFile File( &Saved, 1, CFile::OPEN_WRITE, false );
        CWriter Writer( &File, false );
        Writer.Write( s_Settings.Helper );
    }
    s_Settings.Values = SValues();
    s_Settings.Values.Title = CString( "other" );
    if ( !s_Settings.Read( Saved.GetData(), Saved.GetSize() ) || !( s_Settings.Values == Read ) )
    {
        std::abort();
    }
    return 0;
}
