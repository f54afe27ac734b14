#include "kelcore/utility/HighPrecisionTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace kelcore::utility {
namespace {

std::int64_t SteadyNanos()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::int64_t HostNanos()
{
    const auto now = static_cast<std::int64_t>(HighPrecisionTime::GetCurrentTime());
    return HighPrecisionTime::ConvertToNanos(now);
}

TEST(HighPrecisionTime, IsTheMonotonicClock)
{
    const std::int64_t before = SteadyNanos();
    const std::int64_t now = HostNanos();
    const std::int64_t after = SteadyNanos();

    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
}

TEST(HighPrecisionTime, NeverGoesBack)
{
    std::uint64_t last = HighPrecisionTime::GetCurrentTime();
    for (int i = 0; i < 1000; ++i) {
        const std::uint64_t now = HighPrecisionTime::GetCurrentTime();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(HighPrecisionTime, ConvertsThereAndBack)
{
    constexpr std::int64_t kDay = 86'400'000'000'000;
    for (const std::int64_t nanos : {std::int64_t{0}, std::int64_t{1'000'000}, 400 * kDay}) {
        const std::int64_t units = HighPrecisionTime::ConvertFromNanos(nanos);
        EXPECT_NEAR(static_cast<double>(HighPrecisionTime::ConvertToNanos(units)),
            static_cast<double>(nanos), 100.0);
    }
}

TEST(HighPrecisionTime, KeepsTheSignOfAnOffset)
{
    EXPECT_EQ(HighPrecisionTime::ConvertFromNanos(-1'000'000),
        -HighPrecisionTime::ConvertFromNanos(1'000'000));
    EXPECT_LT(HighPrecisionTime::ConvertFromNanos(-1'000'000), 0);
}

} // namespace
} // namespace kelcore::utility
