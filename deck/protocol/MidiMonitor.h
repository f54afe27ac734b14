// What the monitor shows of each message, as text and as JSON.

#pragma once

#include "deck/protocol/MMCDecoder.h"
#include "deck/protocol/MTC.h"
#include "deck/protocol/MidiStream.h"
#include "deck/protocol/PluginModel.h"

namespace deck {

enum class MidiKind : std::uint8_t { kMMC, kQuarterFrame, kFullFrame, kOther, kBroken };

/// "mmc", "mtc-quarter", "mtc-full", "other", "broken": for filters and programs.
std::string_view NameOf(MidiKind kind) noexcept;

struct MidiAnnotation {
    MidiKind kind = MidiKind::kOther;
    std::string text; // "LOCATE 01:02:03:04 (25)", "MTC piece 3: seconds, high 0", "note on 3C 40"
    std::optional<std::uint8_t> deviceId{};
    std::optional<std::uint8_t> rateBits{}; // of a locate, a full frame or piece 7
    std::vector<std::string> warnings;
};

MidiAnnotation Annotate(const MidiEvent& event);

/// One line of the monitor; `sinceLast` is from the line before, `prediction` what the plug-in
/// makes of it where it hears it, `source` is shown where there is one.
struct MonitorLine {
    MidiEvent event;
    MidiAnnotation annotation;
    std::chrono::nanoseconds sinceLast{0};
    std::optional<PluginPrediction> prediction{};
    std::string source{}; // its name
    std::optional<std::int32_t> sourceID{};
};

/// "+   1234 us  F0 7F 7F 06 02 F7  PLAY (all devices) -> Play", warnings behind "!", the source in
/// brackets before the bytes.
std::string FormatMonitorLine(const MonitorLine& line);
/// One JSON object without a line end; `time_ns` is the host time.
std::string FormatMonitorJson(const MonitorLine& line);

} // namespace deck
