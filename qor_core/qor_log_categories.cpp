#include "qor_core/qor_log_categories.h"

#include "qor_core/qor_commandline.h"
#include "qor_core/virtualfilesystem.h"

#include <filesystem>
#include <system_error>

namespace
{
// Never destroyed, as the routes of the loggers: a message may still be logged while other statics go away.
CLogCategoriesById& AccessCategoriesById()
{
    static CLogCategoriesById* s_pCategoriesById = new CLogCategoriesById;
    return *s_pCategoriesById;
}

CLogCategoriesByName& AccessCategoriesByName()
{
    static CLogCategoriesByName* s_pCategoriesByName = new CLogCategoriesByName;
    return *s_pCategoriesByName;
}

const SLogCategory g_HalvorsundError( LOG_CATEGORY_HALVORSUND_ERROR, "Halvorsund Error" );
const SLogCategory g_HalvorsundDebug( LOG_CATEGORY_HALVORSUND_DEBUG, "Halvorsund Debug" );
const SLogCategory g_SystemDebug( LOG_CATEGORY_SYSTEM_DEBUG, "System Debug" );
const SLogCategory g_KernelRelease( LOG_CATEGORY_KERNEL_RELEASE, "Kernel Release" );
const SLogCategory g_TextWarnings( LOG_CATEGORY_TEXT_WARNINGS, "Text Warnings" );
const SLogCategory g_ProfilerLog( LOG_CATEGORY_PROFILER_LOG, "Profiler Log" );
const SLogCategory g_MessagingDebug( LOG_CATEGORY_MESSAGING_DEBUG, "Messaging debug" );
const SLogCategory g_ExecutedCommandsDebug( LOG_CATEGORY_EXECUTED_COMMANDS_DEBUG, "Executed commands debug" );
const SLogCategory g_Halvorsund( LOG_CATEGORY_HALVORSUND, "halvorsund" );
const SLogCategory g_HalvorsundGui( LOG_CATEGORY_HALVORSUND_GUI, "halvorsund_gui" );
const SLogCategory g_HalvorsundGraphics( LOG_CATEGORY_HALVORSUND_GRAPHICS, "halvorsund_graphics" );
const SLogCategory g_HalvorsundEcs( LOG_CATEGORY_HALVORSUND_ECS, "halvorsund_ecs" );

// Parts of the log file names, asked by name.
[[maybe_unused]] const bool g_bLogNameOptionsRegistered =
    ( CQorCommandLine::RegisterArgumentName( "logprefix" ), CQorCommandLine::RegisterArgumentName( "logpostfix" ),
      true );

void AppendOption( CString& Out, const CQorCommandLine* pCommandLine, const char* pName )
{
    CString Value;
    if ( pCommandLine && pCommandLine->GetArgument( pName, Value ) )
    {
        Out += Value;
    }
}
} // namespace

SLogCategory::SLogCategory( uint32 Id, const char* pName ) : _Id( Id ), _Name( pName )
{
    bool Success = AccessCategoriesById().Insert( _Id, _Name ).second;
    if ( Success )
    {
        Success = AccessCategoriesByName().Insert( _Name, _Id ).second;
        if ( !Success )
        {
            AccessCategoriesById().Remove( _Id );
        }
    }
    QOR_ASSERT( Success && "Trying to add duplicate log category" );
}

const CLogCategoriesById& GetCategoriesById()
{
    return AccessCategoriesById();
}

const CLogCategoriesByName& GetCategoriesByName()
{
    return AccessCategoriesByName();
}

const CString* FindLogCategoryName( uint32 Id )
{
    return AccessCategoriesById().FindValue( Id );
}

void MakeLogFileName( CString& Out, CQorStringView Name, CQorStringView Extension, CQorStringView SubDir )
{
    const CQorCommandLine* pCommandLine = CQorCommandLine::Find();
    Out = "logs/";
    if ( !SubDir.IsEmpty() )
    {
        Out += SubDir;
    }
    if ( !CQorStringView( Out ).EndsWith( "/" ) && !CQorStringView( Out ).EndsWith( "\\" ) )
    {
        Out += '/';
    }
    AppendOption( Out, pCommandLine, "logprefix" );
    if ( !Name.IsEmpty() )
    {
        Out += Name;
    }
    AppendOption( Out, pCommandLine, "logpostfix" );
    if ( !Extension.IsEmpty() && !Extension.StartsWith( "." ) )
    {
        Out += '.';
    }
    if ( !Extension.IsEmpty() )
    {
        Out += Extension;
    }
    // A folder that can't be made shows when the file logger fails to open the file. Under the file system's
    // write directory, opening the file makes its folders there.
    if ( VFSGetWriteDir().IsEmpty() )
    {
        std::error_code Error;
        std::filesystem::create_directories( std::filesystem::path( Out.GetStdString() ).parent_path(), Error );
    }
}
