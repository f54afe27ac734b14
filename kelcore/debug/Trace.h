// Trace lines for support, switched on by category while the program runs.

#pragma once

#include <cstdint>

namespace kelcore::debug {

/// Moves whenever a trace switch may have changed: a trace site keeps its answer of
/// `TraceEnabled` until this does. [any thread, real-time]
std::uint32_t TraceChangeCount() noexcept;

/// Whether lines of `category` at `level` are wanted. The debug database entry
/// "trace.<category>", else "trace.*", holds the highest level wanted as a decimal number, or
/// "true" for all of them. Without an entry nothing is wanted. The last argument is accepted and
/// not used. [any thread, may block]
bool TraceEnabled(const unsigned char* category, int level, bool);

/// Writes `text` as it is, whole lines never mixed with another thread's, to standard error or
/// appended to the file at `KEL_TRACE_FILE`. [any thread, may block]
void Trace(const unsigned char* text);

} // namespace kelcore::debug
