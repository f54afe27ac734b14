#include "deck/protocol/MidiMonitor.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>

namespace deck {
namespace {

std::string HexByte(std::uint8_t byte)
{
    const std::array<std::uint8_t, 1> bytes{byte};
    return FormatBytes(bytes);
}

std::string_view ChannelMessageName(std::uint8_t status)
{
    static constexpr std::array<std::string_view, 7> kNames{"note off", "note on", "key pressure",
        "controller", "program", "channel pressure", "pitch bend"};
    return kNames[static_cast<std::size_t>(status >> 4) - 8];
}

std::string_view SystemMessageName(std::uint8_t status)
{
    static constexpr std::array<std::string_view, 16> kNames{"SysEx", "MTC", "song position",
        "song select", "undefined", "undefined", "tune request", "end of SysEx", "clock",
        "undefined", "start", "continue", "stop", "undefined", "active sensing", "reset"};
    return kNames[status & 15];
}

MidiAnnotation AnnotateMMC(MMCMessage message)
{
    MidiAnnotation annotation{
        MidiKind::kMMC, std::move(message.text), message.deviceId, {}, std::move(message.warnings)};
    for (const auto& unit : message.units) {
        if (unit.locate)
            annotation.rateBits = unit.locate->rateBits;
    }
    return annotation;
}

MidiAnnotation AnnotateFullFrame(const MtcTime& time, std::uint8_t deviceId)
{
    MidiAnnotation annotation{MidiKind::kFullFrame,
        "MTC full frame " + FormatTimecode(time.timecode) + " ("
            + std::string(NameOfRateBits(time.rateCode)) + ")",
        deviceId, time.rateCode, {}};
    const FrameRate rate = FrameRate::FromMtcCode(time.rateCode);
    if (auto problem = DescribeProblem(time.timecode, rate); !problem.empty())
        annotation.warnings.push_back(std::move(problem));
    return annotation;
}

MidiAnnotation AnnotateQuarterFrame(std::uint8_t data)
{
    static constexpr std::array<std::string_view, kMtcPieces> kPieces{"frames, low", "frames, high",
        "seconds, low", "seconds, high", "minutes, low", "minutes, high", "hours, low",
        "hours, high, and rate"};
    const auto piece = static_cast<std::size_t>(data >> 4 & 7);
    MidiAnnotation annotation{MidiKind::kQuarterFrame,
        "MTC piece " + std::to_string(piece) + ": " + std::string(kPieces[piece]) + " "
            + std::to_string(data & 15),
        {}, {}, {}};
    if (piece == kMtcPieces - 1) {
        annotation.rateBits = static_cast<std::uint8_t>(data >> 1 & 3);
        annotation.text += " (" + std::string(NameOfRateBits(*annotation.rateBits)) + ")";
    }
    return annotation;
}

MidiAnnotation AnnotateOther(const Bytes& bytes)
{
    const std::uint8_t status = bytes.front();
    MidiAnnotation annotation;
    if (status >= 0xF0)
        annotation.text = SystemMessageName(status);
    else if (status >= 0x80)
        annotation.text = std::string(ChannelMessageName(status)) + ", channel "
            + std::to_string((status & 15) + 1);
    return annotation;
}

std::string DescribeDevice(const MidiAnnotation& annotation)
{
    if (!annotation.deviceId)
        return {};
    return *annotation.deviceId == kMMCAllDevices
        ? " (all devices)"
        : " (device " + HexByte(*annotation.deviceId) + ")";
}

} // namespace

std::string_view NameOf(MidiKind kind) noexcept
{
    static constexpr std::array<std::string_view, 5> kNames{
        "mmc", "mtc-quarter", "mtc-full", "other", "broken"};
    return kNames[static_cast<std::size_t>(kind)];
}

MidiAnnotation Annotate(const MidiEvent& event)
{
    if (event.bytes.empty())
        return {};
    if (!event.problem.empty())
        return {MidiKind::kBroken, event.problem, {}, {}, {}};
    if (auto mmc = DecodeMMC(event.bytes))
        return AnnotateMMC(std::move(*mmc));
    if (const auto time = DecodeFullFrame(event.bytes))
        return AnnotateFullFrame(*time, event.bytes[2]);
    if (event.bytes.size() == 2 && event.bytes[0] == kQuarterFrameStatus)
        return AnnotateQuarterFrame(event.bytes[1]);
    return AnnotateOther(event.bytes);
}

std::string FormatMonitorLine(const MonitorLine& line)
{
    std::array<char, 32> gap{};
    std::snprintf(gap.data(), gap.size(), "+%9lld us  ",
        static_cast<long long>(line.sinceLast.count() / 1000));
    std::string text = gap.data() + (line.source.empty() ? "" : "[" + line.source + "]  ")
        + FormatBytes(line.event.bytes) + "  " + line.annotation.text
        + DescribeDevice(line.annotation);
    if (line.prediction)
        text += " -> " + line.prediction->text;
    for (const auto& warning : line.annotation.warnings)
        text += " ! " + warning;
    return text;
}

std::string FormatMonitorJson(const MonitorLine& line)
{
    nlohmann::ordered_json json{{"time_ns", line.event.time.count()},
        {"since_last_ns", line.sinceLast.count()}, {"bytes", FormatBytes(line.event.bytes)},
        {"kind", NameOf(line.annotation.kind)}, {"text", line.annotation.text}};
    if (!line.source.empty())
        json["source"] = line.source;
    if (line.sourceID)
        json["source_id"] = *line.sourceID;
    if (line.annotation.deviceId)
        json["device"] = *line.annotation.deviceId;
    if (line.annotation.rateBits)
        json["rate"] = NameOfRateBits(*line.annotation.rateBits);
    if (line.prediction) {
        json["fate"] = NameOf(line.prediction->fate);
        json["effect"] = line.prediction->text;
    }
    if (!line.annotation.warnings.empty())
        json["warnings"] = line.annotation.warnings;
    // A source's name may be anything
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace deck
