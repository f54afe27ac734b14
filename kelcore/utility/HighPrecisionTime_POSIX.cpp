#include "kelcore/utility/HighPrecisionTime.h"

#include <ctime>

namespace kelcore::utility {

// Host time is CLOCK_MONOTONIC in nanoseconds.

std::uint64_t HighPrecisionTime::GetCurrentTime() noexcept
{
    constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * kNanosPerSecond
        + static_cast<std::uint64_t>(now.tv_nsec);
}

std::int64_t HighPrecisionTime::ConvertFromNanos(std::int64_t nanoseconds) noexcept
{
    return nanoseconds;
}

std::int64_t HighPrecisionTime::ConvertToNanos(std::int64_t hostTime) noexcept
{
    return hostTime;
}

} // namespace kelcore::utility
