// Host time under the test's control, in place of the clock of the host library.

#pragma once

#include <cstdint>

namespace mmc::tests {

/// While one lives, time stands still at `now`, and a host time unit is `nanosPerUnit` nanoseconds
/// long.
class FakeTime {
public:
    explicit FakeTime(std::uint64_t now, std::int64_t nanosPerUnit = 1);
    ~FakeTime();
    FakeTime(const FakeTime&) = delete;
    FakeTime& operator=(const FakeTime&) = delete;

    void SetNow(std::uint64_t now);
};

} // namespace mmc::tests
