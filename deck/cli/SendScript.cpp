#include "deck/cli/SendScript.h"

#include "deck/host/HostError.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iomanip>
#include <sstream>

namespace deck::cli {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::size_t kLongestMessage = 65535; // what a packet's length can say
constexpr double kLongestWaitSeconds = 86400;

std::string_view Trim(std::string_view text)
{
    const auto begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string Lower(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
        [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return lower;
}

/// What follows "wait"; nothing where the line is another command, MMC's own WAIT included.
std::optional<std::string_view> WaitTime(std::string_view line)
{
    constexpr std::size_t kWordLength = 4;
    if (line.size() <= kWordLength || Lower(line.substr(0, kWordLength)) != "wait"
        || kBlanks.find(line[kWordLength]) == std::string_view::npos) {
        return std::nullopt;
    }
    return Trim(line.substr(kWordLength));
}

Parsed<SendStep> ParseWait(std::string_view text)
{
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, value);
    const std::string unit(Trim({parsed, static_cast<std::size_t>(end - parsed)}));
    const double seconds = unit == "ms" ? value / 1000 : value;
    const bool isSound = error == std::errc() && (unit == "ms" || unit == "s") && seconds >= 0
        && seconds <= kLongestWaitSeconds;
    if (!isSound) {
        return {std::nullopt,
            '"' + std::string(text) + "\" is no time to wait; write wait 500ms or wait 2s"};
    }
    return {SendStep{{}, std::chrono::nanoseconds(static_cast<std::int64_t>(seconds * 1e9))}, {}};
}

std::string_view ArgumentsOf(const MMCCommand& command)
{
    switch (command.code) {
    case 0x00: // EXTENSION
        return "(as raw bytes only)";
    case kMMCLocate:
        return "TIMECODE, or FIELD 08";
    case kMMCStep:
        return "STEPS, -63 to 63";
    case kMMCShuttle:
    case 0x45: // VARIABLE PLAY
    case 0x46: // SEARCH
    case 0x54: // DEFERRED VARIABLE PLAY
    case 0x55: // RECORD STROBE VARIABLE
        return "SPEED, as -2.5";
    default:
        return command.hasCount ? "BYTES, as 4F 01" : "";
    }
}

std::string_view NameOf(MMCTreatment treatment)
{
    switch (treatment) {
    case MMCTreatment::kHostCall:
        return "host call";
    case MMCTreatment::kTracedOnly:
        return "traced only";
    case MMCTreatment::kIgnored:
        return "ignored";
    case MMCTreatment::kBlocks:
        return "deafens";
    }
    return {};
}

std::string Row(std::string_view code,
    std::string_view name,
    std::string_view arguments,
    std::string_view treatment,
    std::string_view effect)
{
    std::ostringstream row;
    row << std::left << std::setw(4) << code << std::setw(24) << name << std::setw(23) << arguments
        << std::setw(13) << treatment << effect << "\n";
    return row.str();
}

} // namespace

Parsed<SendStep> ParseSendLine(std::string_view line, const MMCSendOptions& options)
{
    const std::string_view command = Trim(line.substr(0, line.find('#')));
    if (command.empty()) {
        return {SendStep{}, {}};
    }
    if (const auto time = WaitTime(command)) {
        return ParseWait(*time);
    }
    Parsed<Bytes> bytes = EncodeMMCText(command, options);
    if (!bytes) {
        return {std::nullopt, bytes.error};
    }
    if (bytes->size() > kLongestMessage) {
        return {std::nullopt,
            "a line of " + std::to_string(bytes->size()) + " bytes; one message has at most "
                + std::to_string(kLongestMessage)};
    }
    return {SendStep{std::move(*bytes.value), {}}, {}};
}

std::vector<SendStep> ParseSendScript(
    std::string_view text, const std::string& name, const MMCSendOptions& options)
{
    std::vector<SendStep> steps;
    for (int number = 1; !text.empty(); ++number) {
        const auto end = std::min(text.find('\n'), text.size() - 1);
        Parsed<SendStep> step = ParseSendLine(text.substr(0, end + 1), options);
        if (!step) {
            throw HostError(name + ", line " + std::to_string(number) + ": " + step.error);
        }
        if (!step->IsNothing()) {
            steps.push_back(std::move(*step.value));
        }
        text.remove_prefix(end + 1);
    }
    return steps;
}

std::string SendListText()
{
    std::string text = Row("hex", "command", "followed by", "the plug-in", "in detail");
    for (const MMCCommand& command : MMCCommands()) {
        const std::string code = FormatBytes(ByteView(&command.code, 1));
        text += Row(
            code, command.name, ArgumentsOf(command), NameOf(command.treatment), command.effect);
    }
    return text + Row("41", "RECORD READY", "TRACK on, or off", "ignored", "a MASKED WRITE");
}

} // namespace deck::cli
