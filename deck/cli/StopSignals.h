// SIGINT and SIGTERM as something to wait for, beside everything else.

#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>

namespace deck::cli {

/// Make it before any other thread starts: threads inherit that the two signals are blocked.
class StopSignals {
public:
    /// Throws std::system_error.
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    enum class Woken { BySignal, ByDescriptor, ByTime };

    /// Waits until a signal came, one of the descriptors is readable or the time is over. Once a
    /// signal came, every wait says so. [host, may block]
    Woken Wait(std::initializer_list<int> descriptors,
        std::optional<std::chrono::milliseconds> longest) const;

private:
    int mDescriptor = -1;
};

} // namespace deck::cli
