#pragma once

// Log categories and log file names. A category is a small integer with a name: every log call names one, a
// filter logger routes by it, the file logger asserts that it is registered, and the debugger channel shows
// its name. Each category is a global SLogCategory whose construction enters it into two process-wide tables,
// by id and by name; the tables are built on first use, so a unit may declare categories in any static
// initialiser. They are written during static initialisation only and read afterwards without a lock, and they
// keep their own copies of the names, so that a category can still be looked up while globals go away at exit.
//
// Log files live under "logs/", which MakeLogFileName creates when it is missing; once the virtual file
// system has a write directory, the file logger writes them there and makes the folder itself.

#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/qor_hash.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

// The library's categories.
enum ELogCategory : uint32
{
    LOG_CATEGORY_HALVORSUND_ERROR = 1,
    LOG_CATEGORY_HALVORSUND_DEBUG = 2,
    LOG_CATEGORY_SYSTEM_DEBUG = 3,
    LOG_CATEGORY_KERNEL_RELEASE = 4,
    LOG_CATEGORY_TEXT_WARNINGS = 5,
    LOG_CATEGORY_PROFILER_LOG = 6,
    LOG_CATEGORY_MESSAGING_DEBUG = 7,
    LOG_CATEGORY_EXECUTED_COMMANDS_DEBUG = 8,
    LOG_CATEGORY_HALVORSUND = 9,
    LOG_CATEGORY_HALVORSUND_GUI = 10,
    LOG_CATEGORY_HALVORSUND_GRAPHICS = 11,
    LOG_CATEGORY_HALVORSUND_ECS = 12,
};

struct SLogCategory
{
    // Enters the category into both tables. A taken id or a taken name asserts Success && "Trying to add
    // duplicate log category", and then the category enters neither table: the first one keeps both.
    SLogCategory( uint32 Id, const char* pName );

    uint32 _Id;
    CString _Name;
};

namespace NLogCategories
{
struct SNameHasher
{
    uint32 operator()( const CString& Name ) const { return HashBytes( 0, Name.GetData(), uint64( Name.GetSize() ) ); }
};
} // namespace NLogCategories

using CLogCategoriesById = NQorUnorderedMap::CQorUnorderedMap<uint32, CString>;
using CLogCategoriesByName = NQorUnorderedMap::CQorUnorderedMap<CString, uint32, NLogCategories::SNameHasher>;

// Id to name, and name to id, of every registered category.
const CLogCategoriesById& GetCategoriesById();
const CLogCategoriesByName& GetCategoriesByName();
// The category's name, or null when the id is not registered.
const CString* FindLogCategoryName( uint32 Id );

// Out becomes "logs/", the subdirectory with a '/' behind it, the option "logprefix", Name, the option
// "logpostfix", and the extension with a '.' in front unless it has one. The options are empty when absent,
// also in a program without a command line. The folder the file lands in is created when it is missing.
void MakeLogFileName( CString& Out, CQorStringView Name, CQorStringView Extension = ".log",
                      CQorStringView SubDir = CQorStringView() );
