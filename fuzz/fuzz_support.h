#pragma once

// What every fuzz target shares: the log lines hostile input earns are dropped, so that a run spends its time in
// the parser and not in the log file.

#include "qor_core/filelogger.h"

namespace NFuzz
{
inline void DropLogLines()
{
    SetLogger( CQorScopedPtr<CLogger>( new CDroppingLogger ) );
}
} // namespace NFuzz
