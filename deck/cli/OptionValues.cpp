#include "deck/cli/OptionValues.h"

#include "deck/host/HostError.h"

#include <charconv>

namespace deck::cli {
namespace {

template <typename Number>
Number Parse(const std::string& option,
    const std::string& text,
    Number min,
    Number max,
    const std::string& what)
{
    Number value = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || parsed != end || !(value >= min) || !(value <= max)) {
        const auto plain = [](Number number) { return std::to_string(std::int64_t(number)); };
        throw HostError(
            option + " " + text + ": it is " + what + " from " + plain(min) + " to " + plain(max));
    }
    return value;
}

} // namespace

double ParseNumber(const std::string& option,
    const std::string& text,
    double min,
    double max,
    const std::string& what)
{
    return Parse(option, text, min, max, what);
}

std::int64_t ParseWhole(const std::string& option,
    const std::string& text,
    std::int64_t min,
    std::int64_t max,
    const std::string& what)
{
    return Parse(option, text, min, max, what);
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
