#include "deck/protocol/JitterHistogram.h"

#include <algorithm>
#include <cmath>

namespace deck {

void JitterHistogram::Add(std::chrono::nanoseconds deviation) noexcept
{
    const auto size = std::max(deviation, -deviation);
    const auto bin = std::min(static_cast<std::size_t>(size / kBin), kBins - 1);
    ++mBins[bin];
    ++mCount;
    mMax = std::max(mMax, size);
}

std::chrono::nanoseconds JitterHistogram::Quantile(double share) const noexcept
{
    const auto wanted = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(mCount)));
    std::uint64_t seen = 0;
    for (std::size_t bin = 0; bin < kBins && mCount != 0; ++bin) {
        seen += mBins[bin];
        if (seen >= std::max<std::uint64_t>(wanted, 1))
            return std::min(kBin * (static_cast<std::int64_t>(bin) + 1), mMax);
    }
    return std::chrono::nanoseconds(0);
}

} // namespace deck
