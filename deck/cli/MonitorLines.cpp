#include "deck/cli/MonitorLines.h"

namespace deck::cli {

MonitorGroup GroupOf(const MidiEvent& event, const MidiAnnotation& annotation) noexcept
{
    switch (annotation.kind) {
    case MidiKind::kMMC:
        return MonitorGroup::MMC;
    case MidiKind::kQuarterFrame:
    case MidiKind::kFullFrame:
        return MonitorGroup::MTC;
    case MidiKind::kOther:
    case MidiKind::kBroken:
        break;
    }
    constexpr std::uint8_t kSysExStart = 0xF0;
    const bool isSysEx = !event.bytes.empty() && event.bytes.front() == kSysExStart;
    return isSysEx ? MonitorGroup::SysEx : MonitorGroup::Other;
}

MonitorLines::MonitorLines(
    std::uint8_t groups, bool revives, std::chrono::nanoseconds begin, Receiver receiver)
    : mGroups(groups)
    , mRevives(revives)
    , mLast(begin)
    , mReceiver(std::move(receiver))
{
}

void MonitorLines::Feed(const Source& source, ByteView bytes, std::chrono::nanoseconds time)
{
    Listening& listening = ListeningTo(source);
    listening.prediction = listening.plugin.Feed(bytes);
    listening.stream.Feed(bytes, time);
    listening.prediction.reset();
    if (mRevives && listening.plugin.IsDeaf()) {
        listening.plugin.Reset();
    }
}

void MonitorLines::Flush()
{
    for (const auto& [id, listening] : mListening) {
        listening->stream.Flush();
    }
}

MonitorLines::Listening& MonitorLines::ListeningTo(const Source& source)
{
    std::unique_ptr<Listening>& listening = mListening[source.id];
    if (listening == nullptr) {
        listening = std::make_unique<Listening>(
            [this, &listening](const MidiEvent& event) { Take(*listening, event); });
    }
    listening->source = source;
    return *listening;
}

void MonitorLines::Take(const Listening& listening, const MidiEvent& event)
{
    MonitorLine line{
        event, Annotate(event), event.time - mLast, {}, listening.source.name, listening.source.id};
    if ((mGroups & static_cast<std::uint8_t>(GroupOf(event, line.annotation))) == 0) {
        return;
    }
    if (event.problem.empty()) {
        line.prediction = listening.prediction;
    }
    mLast = event.time;
    mReceiver(line);
}

} // namespace deck::cli
