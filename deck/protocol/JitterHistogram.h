// Counts deviations in fixed storage, so that a stream of ten hours costs no more
// than one of ten seconds.

#pragma once

#include <array>
#include <chrono>
#include <cstdint>

namespace deck {

/// Resolution 10 us up to 100 ms; what is longer counts as 100 ms, but Max() is exact.
class JitterHistogram {
public:
    void Add(std::chrono::nanoseconds deviation) noexcept;

    std::uint64_t Count() const noexcept { return mCount; }
    std::chrono::nanoseconds Max() const noexcept { return mMax; }
    /// The deviation that `share` of all (0 to 1) do not exceed; 0 when there is none.
    std::chrono::nanoseconds Quantile(double share) const noexcept;

private:
    static constexpr std::chrono::nanoseconds kBin{10'000};
    static constexpr std::size_t kBins = 10'000;

    std::array<std::uint32_t, kBins> mBins{};
    std::uint64_t mCount = 0;
    std::chrono::nanoseconds mMax{0};
};

} // namespace deck
