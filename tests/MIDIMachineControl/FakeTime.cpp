#include "tests/MIDIMachineControl/FakeTime.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <atomic>
#include <chrono>

namespace {

std::atomic<bool> sFake{false};
std::atomic<std::uint64_t> sNow{0};
std::atomic<std::int64_t> sNanosPerUnit{1};

} // namespace

// Take the place of the library's own.
namespace kelcore::utility {

std::uint64_t HighPrecisionTime::GetCurrentTime() noexcept
{
    if (sFake) {
        return sNow;
    }
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::int64_t HighPrecisionTime::ConvertFromNanos(std::int64_t nanoseconds) noexcept
{
    return nanoseconds / sNanosPerUnit;
}

std::int64_t HighPrecisionTime::ConvertToNanos(std::int64_t hostTime) noexcept
{
    return hostTime * sNanosPerUnit;
}

} // namespace kelcore::utility

namespace mmc::tests {

FakeTime::FakeTime(std::uint64_t now, std::int64_t nanosPerUnit)
{
    sNow = now;
    sNanosPerUnit = nanosPerUnit;
    sFake = true;
}

FakeTime::~FakeTime()
{
    sFake = false;
    sNanosPerUnit = 1;
}

void FakeTime::SetNow(std::uint64_t now)
{
    sNow = now;
}

} // namespace mmc::tests
