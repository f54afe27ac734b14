// What the debug database tells the trace facility.

#pragma once

#include <string_view>

namespace kelcore::debug {

/// Keys of trace switches begin with this.
inline constexpr std::string_view kTraceKeyPrefix = "trace.";

/// To be called after a trace switch has changed, by one thread at a time.
void MoveTraceChangeCount() noexcept;

} // namespace kelcore::debug
