#pragma once

#include <cstdint>

namespace kelcore::threads {

/// A number that no other running thread of the process has. [any thread, real-time]
std::uint64_t GetCurrentThreadID() noexcept;

} // namespace kelcore::threads
