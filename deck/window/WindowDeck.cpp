#include "deck/window/WindowDeck.h"

#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"
#include "deck/protocol/MMCDecoder.h"
#include "kelcore/utility/HighPrecisionTime.h"

#include <cstdio>
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

std::vector<PortChoice> Choices(host::PortDirection direction, const host::OwnPorts* own)
{
    std::vector<PortChoice> choices;
    for (const host::MidiPort& port : host::ListPorts(direction)) {
        if (own == nullptr || !own->Has(port.id)) {
            choices.push_back({port.id, port.name, port.isAmbiguous});
        }
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
    ShowPosition({mOptions.run.startFrame, HostTimeNanos(HighPrecisionTime::GetCurrentTime()), 0});
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
    state.inputs = Choices(host::PortDirection::Source, mRun->Session().Own());
    state.outputs = Choices(host::PortDirection::Destination, mRun->Session().Own());
    state.input = status.in.id;
    state.output = status.out.id;
    state.isBound = status.IsBound();
    state.transmitsMTC = status.mtc;
    if (mLastMMC) {
        state.sinceMMC = HostTimeNanos(HighPrecisionTime::GetCurrentTime()) - *mLastMMC;
    }
    if (mLastMTC) {
        state.sinceMTC = Clock::now() - *mLastMTC;
    }
    state.senderRate = status.senderRate;
    state.trouble = Trouble(status);
    return state;
}

std::string WindowDeck::Trouble(const cli::DeckStatus& status) const
{
    if (!status.waitsFor.empty()) {
        return status.service + ": " + status.waitsFor;
    }
    if (!status.in.id || !status.out.id) {
        return status.hasOwnPorts
            ? "No ports are chosen: pick both above, or connect the deck's own MMC in and MTC out."
            : "No ports are chosen: pick both above. The plug-in binds both or none.";
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
    const FrameRate rate = mOptions.run.rate;
    const Timecode timecode = ToTimecode(frame, rate);
    HostCall call;
    call.kind = HostCallKind::Locate;
    call.time = {
        rate.SMPTEFormat(), timecode.hours, timecode.minutes, timecode.seconds, timecode.frames, 0};
    mRun->Session().Commands().TryPost(call);
}

std::string WindowDeck::Locate(const std::string& text)
{
    const Parsed<Timecode> timecode = ParseTimecode(text, mOptions.run.rate);
    if (!timecode) {
        return timecode.error;
    }
    PostLocate(ToFrame(*timecode, mOptions.run.rate).value());
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
    if (event != "waiting") { // what it waits for, the status says as long as it does
        mTrouble = text;
    }
}

void WindowDeck::Show(const cli::DeckStatus&, bool) {}

void WindowDeck::ShowMMC(const host::RawMMC& message, const PluginPrediction& prediction)
{
    mLastMMC = HostTimeNanos(message.time);
    const ByteView bytes(message.bytes.data(), message.length);
    const auto decoded = DecodeMMC(bytes);
    mRows.push_back({TimeText(*mLastMMC), FormatBytes(bytes), decoded ? decoded->text : "",
        prediction.text.empty() ? std::string(NameOf(prediction.fate)) : prediction.text,
        prediction.fate == PluginFate::kDeaf || (decoded && !decoded->warnings.empty())});
}

void WindowDeck::ShowPosition(const Position& position)
{
    if (mVideo) {
        const FrameRate rate = mOptions.run.rate;
        mVideo->Follow({FrameStart(position.frame, rate) - FrameStart(mOptions.mediaStart, rate),
            position.time, position.speed == 1});
    }
}

} // namespace deck::window
