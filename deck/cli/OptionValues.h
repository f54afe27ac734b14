// What options take, read in one way by every command.

#pragma once

#include "deck/transport/Timecode.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace deck::cli {

/// The number that `option` was given. Throws HostError, whose line names the option and says
/// "it is WHAT from MIN to MAX".
double ParseNumber(const std::string& option,
    const std::string& text,
    double min,
    double max,
    const std::string& what);

/// The same for a number without a fraction.
std::int64_t ParseWhole(const std::string& option,
    const std::string& text,
    std::int64_t min,
    std::int64_t max,
    const std::string& what = "a whole number");

/// A time, from `min` to `max` milliseconds or seconds.
std::chrono::nanoseconds ParseMillis(
    const std::string& option, const std::string& text, double min, double max);
std::chrono::nanoseconds ParseSeconds(
    const std::string& option, const std::string& text, double min, double max);

/// Throws HostError where `port`, given by `option`, is empty.
void CheckPort(const std::string& option, const std::optional<std::string>& port);

/// Throws HostError.
FrameRate ParseRate(const std::string& text);

} // namespace deck::cli
