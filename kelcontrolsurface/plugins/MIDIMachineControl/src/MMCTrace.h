// Trace lines of the MMC command interpreter.

#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace mmc {

/// One place that writes trace lines. It keeps the answer whether lines are wanted, and asks again
/// only where the trace change count has moved, so that an untraced command costs one comparison.
class TraceSite {
public:
    /// Off, until it is asked again, where memory lacks for the question.
    /// [delivery; real-time while the change count stands still]
    bool IsEnabled() noexcept;

private:
    void Ask(std::uint32_t changeCount) noexcept;

    static constexpr std::uint32_t kNeverAsked = 0xFFFFFFFF;

    // Several surfaces may deliver at the same time; either's answer serves both.
    std::atomic<std::uint32_t> mSeenChangeCount{kNeverAsked};
    std::atomic<bool> mEnabled{false};
};

/// Writes "<thread> <category> <level> text" as one line. A line for which memory lacks is not
/// written. [delivery, may block]
void WriteTraceLine(std::string_view text) noexcept;

} // namespace mmc
