// The clock that MIDI time stamps are taken from: monotonic, in the unit of the
// MIDI service's packets (nanoseconds on Linux).

#pragma once

#include <cstdint>

namespace kelcore::utility {

class HighPrecisionTime {
public:
    /// Now, in host time units. [any thread, real-time]
    static std::uint64_t GetCurrentTime() noexcept;

    /// Nanoseconds in host time units; negative stays negative. [any thread, real-time]
    static std::int64_t ConvertFromNanos(std::int64_t nanoseconds) noexcept;

    /// Host time units in nanoseconds. [any thread, real-time]
    static std::int64_t ConvertToNanos(std::int64_t hostTime) noexcept;
};

} // namespace kelcore::utility
