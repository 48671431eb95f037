#pragma once

// The serial path of database start-up, for databases that must initialise on the calling thread in an order
// that their own ready tests decide (a test may ask whether the databases it reads are up). Passes go over
// the records left: a record whose ready test passes (a record without one is always ready) has its init
// functions called and leaves the list. When a pass takes nobody out, the records left can't proceed: each
// is reported by name, "Failed to initialize database: <name>", and then "Failed to initialize some
// databases!" is asserted. An init function that fails keeps its record in the list, with no second call,
// so that it is reported with the databases that wait for it; the start-up always ends.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_hybrid_array.h"

#include <functional>

namespace NDatabase
{
struct SGameDatabaseRecord
{
    static constexpr int32 InlineInitFunctions = 2;

    // Null is reported as "<name>".
    const char* _pName = nullptr;
    // Whether the record can initialise now; empty: always.
    std::function<bool()> _IsReady;
    // Called in order; false fails the record, and the functions behind it aren't called.
    CQorHybridArray<std::function<bool()>, InlineInitFunctions> _InitFunctions;
};

// Initialises the records on this thread, as above; true when all of them initialised.
bool InitializeDatabases( const CQorArray<SGameDatabaseRecord>& Records );
} // namespace NDatabase
