// What options take, read in one way by every command.

#pragma once

#include "deck/transport/Timecode.h"

#include <cstdint>
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

/// Throws HostError.
FrameRate ParseRate(const std::string& text);

} // namespace deck::cli
