// Time as the transport's thread sees it: a deadline to sleep to, and a way to be
// woken before it. Tests bring a clock of their own.

#pragma once

#include <chrono>
#include <memory>
#include <optional>

namespace deck {

class Clock {
public:
    virtual ~Clock() = default;

    /// [any thread, real-time]
    virtual std::chrono::nanoseconds Now() const noexcept = 0;
    /// Returns at `deadline` (never, where there is none), or earlier when `Wake` was called
    /// since the last return. Only the clock's one thread calls it. [transport, may block]
    virtual void WaitUntil(std::optional<std::chrono::nanoseconds> deadline) = 0;
    /// [any thread, real-time]
    virtual void Wake() noexcept = 0;
};

/// The host time of the MIDI service: CLOCK_MONOTONIC.
std::unique_ptr<Clock> MakeMonotonicClock();

} // namespace deck
