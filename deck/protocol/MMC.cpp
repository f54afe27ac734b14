#include "deck/protocol/MMC.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>

namespace deck {
namespace {

using enum MMCTreatment;

constexpr std::string_view kNoEffect = "consumed silently";
constexpr std::string_view kTraceOnly = "appears in the trace; the host is not called";

constexpr std::array kCommands{
    MMCCommand{0x00, "EXTENSION", false, kBlocks, "of unknown length: nothing after it is heard"},
    MMCCommand{0x01, "STOP", false, kHostCall, "ends a wind, then Stop"},
    MMCCommand{0x02, "PLAY", false, kHostCall, "ends a wind, then Play"},
    MMCCommand{0x03, "DEFERRED PLAY", false, kHostCall, "ends a wind, then Play at once"},
    MMCCommand{0x04, "FAST FORWARD", false, kHostCall, "ends a wind, then StartFastForward"},
    MMCCommand{0x05, "REWIND", false, kHostCall, "ends a wind, then StartRewind"},
    MMCCommand{0x06, "RECORD STROBE", false, kHostCall, "ends a wind, then Record"},
    MMCCommand{0x07, "RECORD EXIT", false, kHostCall, "Stop; a wind stays engaged"},
    MMCCommand{0x08, "RECORD PAUSE", false, kHostCall, "Pause; a wind stays engaged"},
    MMCCommand{0x09, "PAUSE", false, kHostCall, "ends a wind, then Pause"},
    MMCCommand{0x0A, "EJECT", false, kTracedOnly, kTraceOnly},
    MMCCommand{0x0B, "CHASE", false, kTracedOnly, kTraceOnly},
    MMCCommand{0x0C, "COMMAND ERROR RESET", false, kIgnored, kNoEffect},
    MMCCommand{0x0D, "MMC RESET", false, kHostCall, "ends a wind, nothing else"},
    MMCCommand{0x40, "WRITE", true, kTracedOnly, kTraceOnly},
    MMCCommand{0x41, "MASKED WRITE", true, kIgnored, kNoEffect},
    MMCCommand{0x42, "READ", true, kIgnored, kNoEffect},
    MMCCommand{0x43, "UPDATE", true, kIgnored, kNoEffect},
    MMCCommand{0x44, "LOCATE", true, kHostCall, "TARGET: LocateToSMPTETime; fields are ignored"},
    MMCCommand{0x45, "VARIABLE PLAY", true, kIgnored, kNoEffect},
    MMCCommand{0x46, "SEARCH", true, kIgnored, kNoEffect},
    MMCCommand{0x47, "SHUTTLE", true, kTracedOnly, kTraceOnly},
    MMCCommand{0x48, "STEP", true, kIgnored, kNoEffect},
    MMCCommand{0x49, "ASSIGN SYSTEM MASTER", true, kIgnored, kNoEffect},
    MMCCommand{0x4A, "GENERATOR COMMAND", true, kIgnored, kNoEffect},
    MMCCommand{0x4B, "MIDI TIME CODE COMMAND", true, kIgnored, kNoEffect},
    MMCCommand{0x4C, "MOVE", true, kIgnored, kNoEffect},
    MMCCommand{0x4D, "ADD", true, kIgnored, kNoEffect},
    MMCCommand{0x4E, "SUBTRACT", true, kIgnored, kNoEffect},
    MMCCommand{0x4F, "DROP FRAME ADJUST", true, kIgnored, kNoEffect},
    MMCCommand{0x50, "PROCEDURE", true, kIgnored, kNoEffect},
    MMCCommand{0x51, "EVENT", true, kIgnored, kNoEffect},
    MMCCommand{0x52, "GROUP", true, kIgnored, kNoEffect},
    MMCCommand{0x53, "COMMAND SEGMENT", true, kIgnored, kNoEffect},
    MMCCommand{0x54, "DEFERRED VARIABLE PLAY", true, kIgnored, kNoEffect},
    MMCCommand{0x55, "RECORD STROBE VARIABLE", true, kIgnored, kNoEffect},
    MMCCommand{0x7C, "WAIT", false, kIgnored, kNoEffect},
    MMCCommand{0x7F, "RESUME", false, kIgnored, kNoEffect},
};

/// Shorter names that people type.
struct Alias {
    std::string_view name;
    std::uint8_t code;
};

constexpr std::array kAliases{
    Alias{"record", kMMCRecordStrobe},
    Alias{"reset", kMMCReset},
    Alias{"goto", kMMCLocate},
};

constexpr std::uint8_t kLocateField = 0x00;
constexpr std::uint8_t kLocateTarget = 0x01;
constexpr std::uint8_t kTrackRecordReady = 0x4F;
constexpr int kFirstTrackBit = 5;
constexpr int kMaxTrack = 128 * 7 - kFirstTrackBit;
constexpr int kMaxSteps = 63;
constexpr double kMaxSpeed = 1023;

constexpr std::uint8_t Low7(int value)
{
    return static_cast<std::uint8_t>(value & 0x7F);
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Squeeze(std::string_view name)
{
    std::string squeezed;
    for (const char c : name) {
        if (c != ' ' && c != '-' && c != '_')
            squeezed += Lower(c);
    }
    return squeezed;
}

std::string Quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

Parsed<Bytes> Refused(std::string error)
{
    return {std::nullopt, std::move(error)};
}

std::vector<std::string_view> SplitBlanks(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string_view> words;
    for (auto at = text.find_first_not_of(kBlanks); at != text.npos;) {
        const auto end = std::min(text.find_first_of(kBlanks, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(kBlanks, end);
    }
    return words;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = Lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Appends the bytes of one word, which is an even number of digits or a single one.
bool AppendHexWord(std::string_view word, Bytes& bytes)
{
    if (word.starts_with("0x") || word.starts_with("0X"))
        word.remove_prefix(2);
    if (word.empty() || (word.size() % 2 != 0 && word.size() != 1))
        return false;
    if (!std::all_of(word.begin(), word.end(), [](char c) { return HexDigit(c) >= 0; }))
        return false;
    if (word.size() == 1)
        bytes.push_back(static_cast<std::uint8_t>(HexDigit(word[0])));
    for (std::size_t i = 0; i + 1 < word.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(HexDigit(word[i]) * 16 + HexDigit(word[i + 1])));
    return true;
}

std::string CommandNames()
{
    std::string names;
    for (const auto& command : kCommands) {
        if (command.code != 0)
            names += std::string(command.name) + ", ";
    }
    return names + "RECORD READY";
}

Parsed<double> ParseNumber(std::string_view word, double limit, std::string_view what)
{
    const std::string text(word);
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (!text.empty() && *end == '\0' && std::abs(value) <= limit)
        return {value, {}};
    const auto largest = std::to_string(static_cast<int>(limit));
    return {std::nullopt,
        Quoted(word) + " is not a " + std::string(what) + "; it goes from -" + largest + " to "
            + largest};
}

/// The three bytes of MMC's standard speed: sign, shift and 17 bits of magnitude.
std::array<std::uint8_t, 3> EncodeSpeed(double speed)
{
    const double magnitude = std::min(std::abs(speed), kMaxSpeed);
    int shift = 0;
    while (shift < 7 && std::lround(std::ldexp(magnitude, 14 - shift)) >= 1 << 17)
        ++shift;
    const auto value = static_cast<int>(std::lround(std::ldexp(magnitude, 14 - shift)));
    const int sign = std::signbit(speed) ? 0x40 : 0;
    return {Low7(sign | shift << 3 | value >> 14), Low7(value >> 7), Low7(value)};
}

using Words = std::span<const std::string_view>;

Parsed<Bytes> EncodeLocateText(Words words, const MMCSendOptions& options)
{
    if (words.size() == 2 && Squeeze(words[0]) == "field") {
        const auto field = ParseBytes(words[1]);
        if (field && field->size() == 1 && field->front() < 0x80)
            return {EncodeLocateField(options.deviceId, field->front()), {}};
        return Refused(Quoted(words[1]) + " is not an information field; write 08 for GP0");
    }
    if (words.size() != 1)
        return Refused("LOCATE takes a time code, as LOCATE 01:02:03:04, or a field, as "
                       "LOCATE FIELD 08");
    const auto timecode = ParseTimecode(words[0], options.rate);
    if (!timecode)
        return Refused(timecode.error);
    const auto rateBits = options.rateBits.value_or(options.rate.MtcCode());
    return {EncodeLocateTarget(options.deviceId, rateBits, *timecode, options.subframes), {}};
}

Parsed<Bytes> EncodeSpeedText(const MMCCommand& command, Words words, const MMCSendOptions& options)
{
    if (words.size() != 1)
        return Refused(
            std::string(command.name) + " takes a speed in multiples of play speed, as -2.5");
    const auto speed = ParseNumber(words[0], kMaxSpeed, "speed");
    if (!speed)
        return Refused(speed.error);
    return {EncodeMMC(options.deviceId, command.code, EncodeSpeed(*speed)), {}};
}

Parsed<Bytes> EncodeStepText(Words words, const MMCSendOptions& options)
{
    if (words.size() != 1)
        return Refused("STEP takes a number of steps, as -3");
    const auto steps = ParseNumber(words[0], kMaxSteps, "number of steps");
    if (!steps)
        return Refused(steps.error);
    if (*steps != std::trunc(*steps))
        return Refused(Quoted(words[0]) + " is not a whole number of steps");
    return {EncodeStep(options.deviceId, static_cast<int>(*steps)), {}};
}

Parsed<Bytes> EncodeRecordReadyText(Words words, const MMCSendOptions& options)
{
    const std::string usage = "RECORD READY takes a track from 1 to " + std::to_string(kMaxTrack)
        + " and on or off, as RECORD READY 2 on";
    if (words.size() != 2)
        return Refused(usage);
    const auto track = ParseNumber(words[0], kMaxTrack, "track");
    const std::string state = Squeeze(words[1]);
    if (!track || *track < 1 || *track != std::trunc(*track) || (state != "on" && state != "off"))
        return Refused(usage);
    return {EncodeRecordReady(options.deviceId, static_cast<int>(*track), state == "on"), {}};
}

Parsed<Bytes> EncodeDataText(const MMCCommand& command, Words words, const MMCSendOptions& options)
{
    Bytes data;
    for (const auto word : words) {
        if (!AppendHexWord(word, data))
            return Refused(Quoted(word) + " is not a data byte; " + std::string(command.name)
                + " takes hexadecimal bytes from 00 to 7F");
    }
    const auto status = std::find_if(data.begin(), data.end(), [](auto b) { return b > 0x7F; });
    if (status != data.end())
        return Refused(
            FormatBytes(ByteView(&*status, 1)) + " cannot be a data byte; they go from 00 to 7F");
    if (data.size() > 127)
        return Refused(std::string(command.name) + " takes at most 127 data bytes");
    return {EncodeMMC(options.deviceId, command.code, data), {}};
}

Parsed<Bytes> EncodeCommandText(
    const MMCCommand& command, Words words, const MMCSendOptions& options)
{
    switch (command.code) {
    case kMMCLocate:
        return EncodeLocateText(words, options);
    case kMMCStep:
        return EncodeStepText(words, options);
    case kMMCShuttle:
    case 0x45: // VARIABLE PLAY
    case 0x46: // SEARCH
    case 0x54: // DEFERRED VARIABLE PLAY
    case 0x55: // RECORD STROBE VARIABLE
        return EncodeSpeedText(command, words, options);
    default:
        break;
    }
    if (command.hasCount)
        return EncodeDataText(command, words, options);
    if (!words.empty())
        return Refused(
            std::string(command.name) + " takes nothing after it, not " + Quoted(words[0]));
    return {EncodeMMC(options.deviceId, command.code), {}};
}

/// The longest name at the beginning of the line wins: RECORD STROBE VARIABLE over RECORD STROBE.
Parsed<Bytes> EncodeNamed(Words words, const MMCSendOptions& options)
{
    for (std::size_t count = std::min<std::size_t>(words.size(), 4); count > 0; --count) {
        std::string name;
        for (const auto word : words.first(count))
            name += word;
        if (Squeeze(name) == "recordready")
            return EncodeRecordReadyText(words.subspan(count), options);
        const auto* command = FindMMCCommand(name);
        if (command != nullptr && command->code != 0)
            return EncodeCommandText(*command, words.subspan(count), options);
    }
    return Refused(Quoted(words[0])
        + " is neither a command nor hexadecimal bytes; the commands"
          " are "
        + CommandNames());
}

} // namespace

std::span<const MMCCommand> MMCCommands() noexcept
{
    return kCommands;
}

const MMCCommand* FindMMCCommand(std::uint8_t code) noexcept
{
    const auto* found = std::find_if(kCommands.begin(), kCommands.end(),
        [&](const MMCCommand& command) { return command.code == code; });
    return found == kCommands.end() ? nullptr : found;
}

const MMCCommand* FindMMCCommand(std::string_view name)
{
    const std::string wanted = Squeeze(name);
    for (const auto& alias : kAliases) {
        if (alias.name == wanted)
            return FindMMCCommand(alias.code);
    }
    const auto* found = std::find_if(kCommands.begin(), kCommands.end(),
        [&](const MMCCommand& command) { return Squeeze(command.name) == wanted; });
    return found == kCommands.end() ? nullptr : found;
}

Bytes EncodeMMC(std::uint8_t deviceId, std::uint8_t command, ByteView data)
{
    assert(deviceId < 0x80 && command < 0x80 && data.size() < 0x80);
    Bytes bytes{0xF0, 0x7F, deviceId, 0x06, command};
    if (command >= 0x40 && command < 0x78)
        bytes.push_back(static_cast<std::uint8_t>(data.size()));
    bytes.insert(bytes.end(), data.begin(), data.end());
    bytes.push_back(0xF7);
    return bytes;
}

Bytes EncodeLocateTarget(
    std::uint8_t deviceId, std::uint8_t rateBits, const Timecode& timecode, std::uint8_t subframes)
{
    const std::array<std::uint8_t, 6> data{kLocateTarget,
        Low7((rateBits & 3) << 5 | (timecode.hours & 0x1F)), Low7(timecode.minutes),
        Low7(timecode.seconds), Low7(timecode.frames), Low7(subframes)};
    return EncodeMMC(deviceId, kMMCLocate, data);
}

Bytes EncodeLocateField(std::uint8_t deviceId, std::uint8_t field)
{
    const std::array<std::uint8_t, 2> data{kLocateField, Low7(field)};
    return EncodeMMC(deviceId, kMMCLocate, data);
}

Bytes EncodeShuttle(std::uint8_t deviceId, double speed)
{
    return EncodeMMC(deviceId, kMMCShuttle, EncodeSpeed(speed));
}

Bytes EncodeStep(std::uint8_t deviceId, int steps)
{
    const int count = std::min(std::abs(steps), kMaxSteps);
    const std::array<std::uint8_t, 1> data{Low7(steps < 0 ? 0x40 | count : count)};
    return EncodeMMC(deviceId, kMMCStep, data);
}

Bytes EncodeRecordReady(std::uint8_t deviceId, int track, bool ready)
{
    assert(track >= 1 && track <= kMaxTrack);
    const int bit = track - 1 + kFirstTrackBit;
    const std::uint8_t mask = Low7(1 << bit % 7);
    const std::array<std::uint8_t, 4> data{
        kTrackRecordReady, Low7(bit / 7), mask, ready ? mask : std::uint8_t{0}};
    return EncodeMMC(deviceId, kMMCMaskedWrite, data);
}

double DecodeSpeed(std::uint8_t high, std::uint8_t middle, std::uint8_t low) noexcept
{
    const int value = (high & 7) << 14 | (middle & 0x7F) << 7 | (low & 0x7F);
    const double speed = std::ldexp(value, (high >> 3 & 7) - 14);
    return (high & 0x40) != 0 ? -speed : speed;
}

Parsed<Bytes> EncodeMMCText(std::string_view line, const MMCSendOptions& options)
{
    const auto words = SplitBlanks(line);
    if (words.empty())
        return Refused("an empty line; write a command, as PLAY, or bytes, as F0 7F 7F 06 02 F7");
    if (auto bytes = ParseBytes(line))
        return bytes;
    return EncodeNamed(words, options);
}

std::string FormatBytes(ByteView bytes)
{
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 3);
    for (const auto byte : bytes) {
        if (!text.empty())
            text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

Parsed<Bytes> ParseBytes(std::string_view text)
{
    std::string blanks(text);
    std::replace(blanks.begin(), blanks.end(), ',', ' ');
    Bytes bytes;
    for (const auto word : SplitBlanks(blanks)) {
        if (!AppendHexWord(word, bytes))
            return Refused(Quoted(word) + " is not a hexadecimal byte; write them as F0 7F 7F 06");
    }
    if (bytes.empty())
        return Refused("no bytes; write them as F0 7F 7F 06 02 F7");
    return {std::move(bytes), {}};
}

} // namespace deck
