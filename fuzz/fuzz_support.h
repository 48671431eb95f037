#pragma once

// What every fuzz target shares: a logger that takes the log lines hostile input earns without writing them
// anywhere, so that a run spends its time in the parser and not in the log file.

#include "qor_core/log_deprecated.h"

namespace NFuzz
{
class CDroppingLogger : public CLogger
{
public:
    void Log( uint32, CQorStringView, uint32, const CString& ) override {}
    void Flush() override {}
    int GetLoggerType() const override { return LOGGER_TYPE_NULL; }
    void Clear() override {}
};

inline void DropLogLines()
{
    SetLogger( CQorScopedPtr<CLogger>( new CDroppingLogger ) );
}
} // namespace NFuzz
