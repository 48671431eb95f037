#pragma once

// The high-resolution clock of the library on Linux: std::chrono::steady_clock, read in nanoseconds. It is
// monotonic, so differences of two readings are never negative; its epoch means nothing across processes.

#include "qor_core/qor_types.h"

#include <chrono>

namespace NPlatform
{
inline uint64 GetHighResolutionTimeNs()
{
    return static_cast<uint64>(
        std::chrono::duration_cast<std::chrono::nanoseconds>( std::chrono::steady_clock::now().time_since_epoch() )
            .count() );
}
} // namespace NPlatform
