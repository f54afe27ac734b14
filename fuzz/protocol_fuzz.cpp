// Any bytes, chopped anyhow, through everything of the deck that reads MIDI or text.

#include "deck/protocol/MidiMonitor.h"
#include "deck/protocol/MtcChecker.h"
#include "deck/protocol/MtcPacer.h"

#include <cstdlib>

namespace {

using namespace deck;

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

class Sink : public MtcOutput {
public:
    void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept override
    {
        Require(!bytes.empty());
        Require(time == std::chrono::nanoseconds(0) || time >= mLast);
        mLast = std::max(time, mLast);
    }
    void Flush() noexcept override { mLast = std::chrono::nanoseconds(0); }

private:
    std::chrono::nanoseconds mLast{0};
};

std::vector<Bytes> Cut(ByteView bytes, std::size_t chunk)
{
    std::vector<Bytes> messages;
    MidiStream stream([&](const MidiEvent& event) {
        messages.push_back(event.bytes);
        messages.back().insert(messages.back().end(), event.problem.begin(), event.problem.end());
        MonitorLine line{event, Annotate(event), event.end - event.time, {}};
        Require(!FormatMonitorLine(line).empty());
        Require(!FormatMonitorJson(line).empty());
    });
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(chunk, bytes.size())))
        stream.Feed(bytes.first(std::min(chunk, bytes.size())), std::chrono::nanoseconds(0));
    stream.Flush();
    return messages;
}

/// Byte by byte, or in packets that end with an F7.
void Predict(ByteView bytes, bool byteByByte)
{
    PluginModel model;
    const auto feed = [&](ByteView packet) {
        const bool wasDeaf = model.IsDeaf();
        const auto prediction = model.Feed(packet);
        Require(!prediction.text.empty());
        Require(!wasDeaf || (model.IsDeaf() && prediction.calls.empty()));
        Require(prediction.calls.empty() || prediction.fate >= PluginFate::kHostCall);
    };
    while (!bytes.empty()) {
        const auto end = std::find(bytes.begin(), bytes.end(), 0xF7);
        const auto left = static_cast<std::size_t>(bytes.end() - end);
        const std::size_t size = byteByByte ? 1 : bytes.size() - (left == 0 ? 0 : left - 1);
        feed(bytes.first(size));
        bytes = bytes.subspan(size);
    }
}

void CheckMtc(ByteView bytes)
{
    MtcChecker checker;
    MtcDecoder decoder;
    std::chrono::nanoseconds now{0};
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        now += std::chrono::microseconds(bytes[i] * 100);
        const Bytes piece{0xF1, static_cast<std::uint8_t>(bytes[i + 1] & 0x7F)};
        checker.Feed(piece, now);
        decoder.Feed(piece);
    }
    checker.Feed(bytes, now);
    const auto report = checker.Report();
    Require((report.verdict == MtcVerdict::kDefective) == (report.findingCount > 0));
    Require(!FormatMtcReport(report).empty());
    Require(!FormatMtcReportJson(report).empty());
}

void Pace(ByteView bytes)
{
    Sink sink;
    MtcPacer pacer({}, sink);
    std::chrono::nanoseconds now{1'000'000'000};
    FrameNumber frame = 0;
    for (const auto byte : bytes) {
        now += std::chrono::milliseconds(byte >> 5);
        frame += byte % 3;
        const FrameRate rate = FrameRate::All()[byte % 7];
        if (byte == 0xFF)
            pacer.Restart();
        pacer.Report(frame, rate, now + std::chrono::milliseconds(byte % 64), now);
        if (byte == 0xF0)
            pacer.OnMessage(EncodeFullFrame(MtcTimeOf(frame, rate)), now);
        pacer.OnMessage(EncodeQuarterFrame(MtcTimeOf(frame, rate), byte % 8), now);
    }
}

void ReadText(std::string_view text)
{
    for (const FrameRate rate : FrameRate::All()) {
        const auto timecode = ParseTimecode(text, rate);
        Require(timecode || !timecode.error.empty());
        Require(!timecode || *ParseTimecode(FormatTimecode(*timecode), rate) == *timecode);
        const auto offset = ParseOffset(text, rate);
        Require(!offset || std::abs(*offset) < rate.FramesPerDay());
    }
    const auto rate = FrameRate::Parse(text);
    Require(!rate || *FrameRate::Parse(rate->Name()) == *rate);
    const auto bytes = EncodeMMCText(text, {});
    Require(bytes ? !bytes->empty() : !bytes.error.empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ByteView bytes(data, size);
    const auto whole = Cut(bytes, size + 1);
    Require(whole == Cut(bytes, 1));
    Require(whole == Cut(bytes, 7));
    Predict(bytes, false);
    Predict(bytes, true);
    CheckMtc(bytes);
    Pace(bytes);
    ReadText({reinterpret_cast<const char*>(data), size});
    return 0;
}
