#include "deck/cli/OptionValues.h"

#include "deck/host/HostError.h"

#include <charconv>
#include <cmath>

namespace deck::cli {
namespace {

std::string Plain(double number)
{
    return std::to_string(static_cast<std::int64_t>(number));
}

} // namespace

double ParseNumber(const std::string& option,
    const std::string& text,
    double min,
    double max,
    const std::string& what)
{
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || parsed != end || !(value >= min) || !(value <= max)) {
        throw HostError(
            option + " " + text + ": it is " + what + " from " + Plain(min) + " to " + Plain(max));
    }
    return value;
}

FrameRate ParseRate(const std::string& text)
{
    const Parsed<FrameRate> rate = FrameRate::Parse(text);
    if (!rate) {
        throw HostError("--rate " + text + ": " + rate.error);
    }
    return *rate;
}

} // namespace deck::cli
