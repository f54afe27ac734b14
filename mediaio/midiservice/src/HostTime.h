// The service's one clock: CLOCK_MONOTONIC in nanoseconds. 0 stands for "at once".

#pragma once

#include <cstdint>
#include <ctime>

namespace midiservice {

using HostTime = std::uint64_t;

constexpr HostTime kNanosPerSecond = 1'000'000'000;

/// [any thread, real-time]
inline HostTime Now() noexcept
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<HostTime>(time.tv_sec) * kNanosPerSecond
        + static_cast<HostTime>(time.tv_nsec);
}

} // namespace midiservice
