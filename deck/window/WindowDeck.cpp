#include "deck/window/WindowDeck.h"

#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"
#include "deck/protocol/MidiMonitor.h"
#include "kelcore/utility/HighPrecisionTime.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <utility>

namespace deck::window {
namespace {

using kelcore::utility::HighPrecisionTime;

std::chrono::nanoseconds HostTimeNanos(std::uint64_t hostTime)
{
    return std::chrono::nanoseconds(
        HighPrecisionTime::ConvertToNanos(static_cast<std::int64_t>(hostTime)));
}

std::string TimeText(std::chrono::nanoseconds time)
{
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%06lld", static_cast<long long>(micros / 1000000 % 1000),
        static_cast<long long>(micros % 1000000));
    return text;
}

std::vector<PortChoice> Choices(const std::vector<host::MidiPort>& ports)
{
    std::vector<PortChoice> choices;
    for (const host::MidiPort& port : ports) {
        choices.push_back({port.id, port.name, port.isAmbiguous});
    }
    return choices;
}

} // namespace

WindowDeck::WindowDeck(const cli::PlayOptions& options)
    : mOptions(options)
{
    if (options.file) {
        VideoPlayer::Options video;
        video.audio = options.audio;
        try {
            mVideo = std::make_unique<VideoPlayer>(options.file->string(), video);
        } catch (const MediaError& error) {
            throw HostError(error.what());
        }
    }
}

void WindowDeck::Attach(cli::DeckRun& run)
{
    mRun = &run;
    ShowPosition(
        {mOptions.run.transport.startFrame, HostTimeNanos(HighPrecisionTime::GetCurrentTime()), 0});
}

WindowState WindowDeck::Read()
{
    const cli::DeckStatus& status = mRun->Monitor().Status();
    LookAtMTC();
    WindowState state;
    state.title = mOptions.file ? mOptions.file->filename().string() : "";
    state.timecode = FormatFrame(status.frame, status.rate);
    state.state = NameOf(status.state);
    state.isRecording = status.isRecording;
    state.rate = status.rate;
    state.service = status.service;
    state.inputs = mInputs;
    state.outputs = mOutputs;
    state.input = status.in.id;
    state.output = status.out.id;
    state.isBound = status.IsBound();
    state.hasOwnPorts = status.hasOwnPorts;
    state.transmitsMTC = status.mtc;
    if (mLastMMC) {
        state.sinceMMC = HostTimeNanos(HighPrecisionTime::GetCurrentTime()) - *mLastMMC;
    }
    if (mLastMTC) {
        state.sinceMTC = Clock::now() - *mLastMTC;
    }
    state.senderRate = status.senderRate;
    state.clock = mRun->Session().Punctuality().Text();
    state.picture = mVideo ? cli::PictureText(mVideo->Status()) : "";
    state.trouble = Trouble(status);
    return state;
}

std::string WindowDeck::Trouble(const cli::DeckStatus& status) const
{
    if (!status.waitsFor.empty()) {
        return status.service + ": " + status.waitsFor;
    }
    if ((!status.in.id || !status.out.id) && !status.hasOwnPorts) {
        return "No ports are chosen: pick both above. The plug-in binds both or none.";
    }
    return mTrouble;
}

/// The lamp is lit by what was handed to the port, not by what should have been.
void WindowDeck::LookAtMTC()
{
    const std::uint64_t sent = mRun->Session().SentMTC();
    if (std::exchange(mMTCSent, sent) != sent) {
        mLastMTC = Clock::now();
    }
}

std::vector<MonitorRow> WindowDeck::TakeRows()
{
    return std::exchange(mRows, {});
}

void WindowDeck::Post(HostCallKind kind)
{
    HostCall call;
    call.kind = kind;
    mRun->Session().Commands().TryPost(call);
}

void WindowDeck::Press(Button button)
{
    switch (button) {
    case Button::Rewind:
        return Post(HostCallKind::StartRewind);
    case Button::Stop:
        return Post(HostCallKind::Stop);
    case Button::Play:
        return Post(HostCallKind::Play);
    case Button::Pause:
        return Post(HostCallKind::Pause);
    case Button::Forward:
        return Post(HostCallKind::StartFastForward);
    case Button::Record:
        return Post(HostCallKind::Record);
    }
}

void WindowDeck::PostLocate(FrameNumber frame)
{
    const FrameRate rate = mOptions.run.transport.rate;
    const Timecode timecode = ToTimecode(frame, rate);
    HostCall call;
    call.kind = HostCallKind::Locate;
    call.time = {
        rate.SMPTEFormat(), timecode.hours, timecode.minutes, timecode.seconds, timecode.frames, 0};
    mRun->Session().Commands().TryPost(call);
}

std::string WindowDeck::Locate(const std::string& text)
{
    const Parsed<Timecode> timecode = ParseTimecode(text, mOptions.run.transport.rate);
    if (!timecode) {
        return timecode.error;
    }
    PostLocate(ToFrame(*timecode, mOptions.run.transport.rate).value());
    return {};
}

void WindowDeck::Step(FrameNumber frames)
{
    PostLocate(mRun->Monitor().Status().frame + frames);
}

void WindowDeck::ChoosePorts(
    std::optional<std::int32_t> input, std::optional<std::int32_t> output, bool transmitMTC)
{
    try {
        mRun->ChoosePorts({input, output, transmitMTC});
        mTrouble.clear();
    } catch (const HostError& error) {
        mTrouble = error.what();
    }
}

void WindowDeck::Tell(const std::string& event, const std::string& text)
{
    if (event == "reloaded") {
        mTrouble.clear();
        std::cout << "reloaded: " << text << std::endl;
    } else if (event != "waiting") { // what it waits for, the status says as long as it does
        mTrouble = text;
    }
}

void WindowDeck::Show(const cli::DeckStatus&, bool) {}

void WindowDeck::ShowPorts(const cli::PortLists& ports)
{
    mInputs = Choices(ports.sources);
    mOutputs = Choices(ports.destinations);
}

void WindowDeck::ShowMMC(const host::RawMMC& message, const PluginPrediction& prediction)
{
    mLastMMC = HostTimeNanos(message.time);
    AddRow(MonitorKind::MMC, {message.bytes.data(), message.length}, *mLastMMC, prediction);
}

void WindowDeck::ShowMTC(const host::MTCEvent& event)
{
    const auto now = HostTimeNanos(HighPrecisionTime::GetCurrentTime());
    AddRow(MonitorKind::MTC, {event.bytes.data(), event.length}, std::max(event.due, now), {});
}

void WindowDeck::AddRow(MonitorKind kind,
    ByteView bytes,
    std::chrono::nanoseconds time,
    const std::optional<PluginPrediction>& prediction)
{
    MonitorLine line;
    line.event = {Bytes(bytes.begin(), bytes.end()), time, time, {}};
    line.annotation = Annotate(line.event);
    line.prediction = prediction;
    auto& last = mLastRow.at(static_cast<std::size_t>(kind));
    line.sinceLast = time - last.value_or(time);
    last = time;
    MonitorRow row;
    row.kind = kind;
    row.time = TimeText(time);
    row.since = std::to_string(line.sinceLast / std::chrono::microseconds(1));
    row.bytes = FormatBytes(bytes);
    row.meaning = line.annotation.text;
    if (prediction) {
        row.effect = prediction->text.empty() ? NameOf(prediction->fate) : prediction->text;
    }
    row.isTrouble = !line.annotation.warnings.empty()
        || (prediction && prediction->fate == PluginFate::kDeaf);
    row.json = FormatMonitorJson(line);
    mRows.push_back(std::move(row));
}

void WindowDeck::ShowPosition(const Position& position)
{
    if (mVideo) {
        const FrameRate rate = mOptions.run.transport.rate;
        mVideo->Follow({FrameStart(position.frame, rate) - FrameStart(mOptions.mediaStart, rate),
            position.time, position.speed == 1});
    }
}

std::optional<VideoStatus> WindowDeck::Picture() const
{
    return mVideo ? std::optional(mVideo->Status()) : std::nullopt;
}

} // namespace deck::window
