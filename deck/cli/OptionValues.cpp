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

std::chrono::nanoseconds ParseMillis(
    const std::string& option, const std::string& text, double min, double max)
{
    return std::chrono::round<std::chrono::nanoseconds>(std::chrono::duration<double, std::milli>(
        ParseNumber(option, text, min, max, "a number of milliseconds")));
}

std::chrono::nanoseconds ParseSeconds(
    const std::string& option, const std::string& text, double min, double max)
{
    return std::chrono::round<std::chrono::nanoseconds>(
        std::chrono::duration<double>(ParseNumber(option, text, min, max, "a number of seconds")));
}

void CheckPort(const std::string& option, const std::optional<std::string>& port)
{
    if (port && port->empty()) {
        throw HostError(option
            + " takes an ID or part of a port's name, not nothing; `korva-deck ports` lists the "
              "ports");
    }
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
