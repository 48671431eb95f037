#include "qor_core/console/tweakablevariable.h"

#include "qor_core/qor_assert.h"
#include "qor_core/qorfilewatcher.h"
#include "qor_core/thread/qor_task_scheduler.h"
#include "qor_core/virtualfilesystem.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

void CTweakableBool::Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments )
{
    if ( !CheckArgumentCount( Result, Arguments, 1 ) )
    {
        return;
    }
    if ( Arguments.IsEmpty() )
    {
        Set( !Get() );
    }
    else
    {
        FromString( Arguments[0] );
    }
    Result._bSuccess = true;
    Result._Text = Get() ? "Enabled" : "Disabled";
}

void CTweakableCallback::Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments )
{
    if ( _Callback )
    {
        _Callback( Arguments );
    }
    Result._bSuccess = true;
    Result._Text = CString( "Called " ) + _Label;
}

void CTweakableCallback::TakeBinding( CTweakable& Other )
{
    CTweakable::TakeBinding( Other );
    CTweakableCallback& OtherCallback = static_cast<CTweakableCallback&>( Other );
    _Label = OtherCallback._Label;
    _Callback = std::move( OtherCallback._Callback );
}

void CTweakableColor::ToString( CString& Out ) const
{
    const CColor Value = Get();
    char Buffer[64];
    char* pText = Buffer;
    for ( int32 nChannel = 0; nChannel < 4; ++nChannel )
    {
        if ( nChannel > 0 )
        {
            *pText++ = ' ';
        }
        pText = std::to_chars( pText, Buffer + sizeof( Buffer ), Value[nChannel] ).ptr;
    }
    Out = CString( std::string( Buffer, pText ) );
}

bool CTweakableColor::FromString( CQorStringView Text )
{
    CColor Value;
    if ( !ParseColor( Text, Value ) )
    {
        return false;
    }
    Set( Value );
    return true;
}

void CTweakableColor::Execute( SConsoleCmdResult& Result, CConsoleArguments Arguments )
{
    if ( !CheckArgumentCount( Result, Arguments, 4 ) )
    {
        return;
    }
    CString Text;
    for ( const CString& Argument : Arguments )
    {
        Text += Text.IsEmpty() ? "" : " ";
        Text += Argument;
    }
    if ( !Arguments.IsEmpty() && !FromString( Text ) )
    {
        CString Value;
        ToString( Value );
        Result._bSuccess = false;
        Result._Text = CString( "Invalid value '" ) + Text + "'. Value " + Value;
        return;
    }
    AnswerValue( Result );
}

void CTweakableColor::Set( const CColor& Value )
{
    if ( _pValue == nullptr )
    {
        return;
    }
    CColor& Stored = *static_cast<CColor*>( _pValue );
    bool bDiffers = false;
    for ( int32 nChannel = 0; nChannel < 4; ++nChannel )
    {
        bDiffers = bDiffers || !( Stored[nChannel] == Value[nChannel] );
    }
    if ( bDiffers )
    {
        Stored = Value;
        NotifyChanged();
    }
}

bool CTweakableColor::ParseColor( CQorStringView Text, CColor& Value )
{
    const std::string Whole( Text.begin(), Text.end() );
    if ( Whole.size() > 2 && Whole[0] == '0' && ( Whole[1] == 'x' || Whole[1] == 'X' ) )
    {
        uint32 Packed = 0;
        const char* const pEnd = Whole.data() + Whole.size();
        const std::from_chars_result Result = std::from_chars( Whole.data() + 2, pEnd, Packed, 16 );
        if ( Result.ec != std::errc{} || Result.ptr != pEnd )
        {
            return false;
        }
        Value = CColor( float( ( Packed >> 16 ) & 0xFF ) / 255.0f, float( ( Packed >> 8 ) & 0xFF ) / 255.0f,
                        float( Packed & 0xFF ) / 255.0f, float( Packed >> 24 ) / 255.0f );
        return true;
    }
    float Channels[4] = { 0.0f, 0.0f, 0.0f, 1.0f };
    int32 nChannels = 0;
    size_t Position = 0;
    for ( ;; )
    {
        Position = Whole.find_first_not_of( " \t,", Position );
        if ( Position == std::string::npos )
        {
            break;
        }
        const size_t End = std::min( Whole.find_first_of( " \t,", Position ), Whole.size() );
        float Channel = 0.0f;
        const std::from_chars_result Result = std::from_chars( Whole.data() + Position, Whole.data() + End, Channel );
        if ( nChannels == 4 || Result.ec != std::errc{} || Result.ptr != Whole.data() + End || !std::isfinite( Channel ) )
        {
            return false;
        }
        // Above 1, a channel is on the 0 to 255 scale.
        Channels[nChannels++] = Channel > 1.0f ? Channel / 255.0f : Channel;
        Position = End;
    }
    if ( nChannels < 3 )
    {
        return false;
    }
    Value = CColor( Channels[0], Channels[1], Channels[2], Channels[3] );
    return true;
}

namespace
{
// The library's own tweakables.
CTweakableBool* const g_pLogOnly = CTweakable::Register<CTweakableBool>(
    &g_bLogOnly, "Asserts.ToggleLogOnly", "Send non-fatal assertions to the log only, without the dialog" );
CTweakableBool* const g_pEnableTaskThreads =
    CTweakable::Register<CTweakableBool>( &g_bEnableTaskThreads, "Threading.EnableTaskThreads",
                                          "Run tasks on the worker threads, or inline on their creator" );
CTweakableNumber<int32>* const g_pFileWatcherNotificationDelay = CTweakable::Register<CTweakableNumber<int32>>(
    &g_FileWatcherNotificationDelayMs, "CFilewatcher.NotificationDelay",
    "Milliseconds a changed file must stay quiet before it is reported" );
CTweakableMinMax<float>* const g_pReadLimit = CTweakable::Register<CTweakableMinMax<float>>(
    &g_VFSReadLimit, "ReadLimit", "Megabytes per second the file system reads at most; 0 or below is no limit",
    std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max() );
CTweakableMinMax<float>* const g_pWriteLimit = CTweakable::Register<CTweakableMinMax<float>>(
    &g_VFSWriteLimit, "WriteLimit", "Megabytes per second the file system writes at most; 0 or below is no limit",
    std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max() );
} // namespace
