#include "qor_core/console/tweakablevariable.h"

#include "qor_core/qor_assert.h"
#include "qor_core/qorfilewatcher.h"
#include "qor_core/thread/qor_task_scheduler.h"
#include "qor_core/virtualfilesystem.h"

#include <limits>

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
