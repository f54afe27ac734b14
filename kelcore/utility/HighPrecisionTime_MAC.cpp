#include "kelcore/utility/HighPrecisionTime.h"

#include <mach/mach_time.h>

namespace kelcore::utility {

namespace {

// One host time unit is numer / denom nanoseconds; it does not change while the machine runs.
const mach_timebase_info_data_t& TimeBase() noexcept
{
    static const mach_timebase_info_data_t sTimeBase = [] {
        mach_timebase_info_data_t info{};
        mach_timebase_info(&info);
        return info;
    }();
    return sTimeBase;
}

// In two steps, because `value * factor` overflows after a few days of uptime.
std::int64_t Scale(std::int64_t value, std::int64_t factor, std::int64_t divisor) noexcept
{
    return value / divisor * factor + value % divisor * factor / divisor;
}

} // namespace

std::uint64_t HighPrecisionTime::GetCurrentTime() noexcept
{
    return mach_absolute_time();
}

std::int64_t HighPrecisionTime::ConvertFromNanos(std::int64_t nanoseconds) noexcept
{
    return Scale(nanoseconds, TimeBase().denom, TimeBase().numer);
}

std::int64_t HighPrecisionTime::ConvertToNanos(std::int64_t hostTime) noexcept
{
    return Scale(hostTime, TimeBase().numer, TimeBase().denom);
}

} // namespace kelcore::utility
