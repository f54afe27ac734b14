#include "deck/window/WindowDeck.h"

#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"
#include "deck/protocol/MidiMonitor.h"
#include "kelcore/utility/HighPrecisionTime.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
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

double Millis(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

double HalfFrame(FrameRate rate)
{
    return Millis(FrameStart(1, rate)) / 2;
}

/// "10:31:05", as the clock on the wall.
std::string ClockTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[16];
    std::strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

std::vector<PortChoice> Choices(const std::vector<host::MidiPort>& ports)
{
    std::vector<PortChoice> choices;
    choices.reserve(ports.size());
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
        video.delay = options.pictureDelay;
        video.blackOutside = options.blackOutside;
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
    const cli::DeckStatus& status = mRun->Status();
    LookAtMTC();
    WindowState state;
    state.isReady = mRun->IsStarted();
    state.title = mOptions.file ? mOptions.file->filename().string() : "";
    state.timecode = FormatFrame(status.frame, status.rate);
    state.state = NameOf(status.state);
    state.isRecording = status.isRecording;
    state.take = mTake;
    state.service = status.service;
    ReadPorts(state, status);
    ReadRates(state, status);
    state.notices = Notices(status);
    return state;
}

void WindowDeck::ReadPorts(WindowState& state, const cli::DeckStatus& status) const
{
    state.inputs = mInputs;
    state.outputs = mOutputs;
    state.input = status.in.id;
    state.output = status.out.id;
    state.inputName = status.in.name;
    state.outputName = status.out.name;
    state.isBound = status.IsBound();
    state.hasOwnPorts = status.hasOwnPorts;
    state.transmitsMTC = status.mtc;
    if (mLastMMC) {
        state.sinceMMC = HostTimeNanos(HighPrecisionTime::GetCurrentTime()) - *mLastMMC;
    }
    if (mLastMTC) {
        state.sinceMTC = Clock::now() - *mLastMTC;
    }
}

void WindowDeck::ReadRates(WindowState& state, const cli::DeckStatus& status) const
{
    state.rate = status.rate;
    state.senderRate = status.senderRate;
    state.isSenderAtFault = status.isSenderAtFault;
    const Punctuality punctuality = mRun->Session().Punctuality();
    state.clock = punctuality.Text();
    state.isClockLate = Millis(punctuality.worst) > HalfFrame(status.rate);
    if (mVideo) {
        ReadFilm(state, status);
    }
}

void WindowDeck::ReadFilm(WindowState& state, const cli::DeckStatus& status) const
{
    const MediaInfo& film = mVideo->Info();
    const auto rate = film.Rate();
    state.film = (rate ? std::string(rate->Name()) : "unknown") + " fps, "
        + FormatFrame(mOptions.mediaStart, status.rate) + " to "
        + FormatFrame(FilmEnd(), status.rate);
    state.hasSound = film.hasAudio ? std::optional(mVideo->PlaysSound()) : std::nullopt;
    const VideoStatus picture = mVideo->Status();
    state.picture = cli::PictureText(picture);
    state.isPictureOff = picture.dropped > 0
        || (picture.drift && std::abs(picture.drift->mean) > HalfFrame(status.rate));
}

/// The deck's frame after the last picture, whatever the rates of both.
FrameNumber WindowDeck::FilmEnd() const
{
    const FrameRate rate = mRun->Status().rate;
    const MediaInfo& film = mVideo->Info();
    const std::int64_t deckFrames = film.frameCount * film.fpsDenominator * rate.Numerator();
    const std::int64_t perFilmFrame = film.fpsNumerator * rate.Denominator();
    return mOptions.mediaStart + (deckFrames + perFilmFrame - 1) / perFilmFrame;
}

std::vector<Notice> WindowDeck::Notices(const cli::DeckStatus& status) const
{
    std::vector<Notice> notices;
    if (!status.waitsFor.empty()) {
        notices.push_back({Severity::Note,
            "Waiting for the MIDI service " + status.service + ": " + status.waitsFor});
    } else if (const auto ports = PortNotice(status); ports && mRun->IsStarted()) {
        notices.push_back({Severity::Note, *ports});
    }
    if (!status.deaf.empty()) {
        notices.push_back({Severity::Warning,
            "The plug-in obeys nothing any more (" + status.deaf
                + "); choose a port again to connect it anew."});
    }
    if (status.lost > 0) {
        notices.push_back({Severity::Warning,
            "LOST " + std::to_string(status.lost) + ": messages or calls for which was no room"});
    }
    if (mVideo && mVideo->Status().isMute) {
        notices.push_back({Severity::Note, "No sound: no device takes it."});
    }
    if (const auto film = FilmNotice(status)) {
        notices.push_back({Severity::Note, *film});
    }
    const bool isSaid
        = mTold && !status.deaf.empty() && mTold->text.find(status.deaf) != std::string::npos;
    if (mTold && !isSaid) {
        notices.push_back(*mTold);
    }
    std::stable_partition(notices.begin(), notices.end(),
        [](const Notice& notice) { return notice.severity == Severity::Warning; });
    return notices;
}

std::optional<std::string> WindowDeck::PortNotice(const cli::DeckStatus& status) const
{
    if (mRun->WaitsForPorts()) {
        return "Waiting: " + mWaiting;
    }
    if (!status.in.id && !status.out.id) {
        return status.hasOwnPorts ? std::nullopt
                                  : std::optional("No ports are chosen: choose both above.");
    }
    if (!status.in.id || !status.out.id) {
        return "Only one port is chosen, so neither is used: choose both above.";
    }
    for (const cli::PortStatus* const port : {&status.in, &status.out}) {
        if (!port->isThere) {
            return (port->name.empty() ? "Port " + std::to_string(*port->id) : port->name)
                + " is not there, so neither port is used; both are taken when it comes.";
        }
    }
    const auto isAmbiguous = [](const std::vector<PortChoice>& ports, std::int32_t id) {
        return std::any_of(ports.begin(), ports.end(),
            [id](const PortChoice& port) { return port.id == id && port.isAmbiguous; });
    };
    for (const auto& [ports, port] : {std::pair(&mInputs, &status.in), {&mOutputs, &status.out}}) {
        if (isAmbiguous(*ports, *port->id)) {
            return port->name
                + " cannot be told from another port: after the next start it may be the other.";
        }
    }
    return std::nullopt;
}

/// Why the picture stands although the deck rolls.
std::optional<std::string> WindowDeck::FilmNotice(const cli::DeckStatus& status) const
{
    if (mVideo && status.frame < mOptions.mediaStart) {
        return "The film begins at " + FormatFrame(mOptions.mediaStart, status.rate) + ".";
    }
    if (mVideo && status.frame >= FilmEnd()) {
        return "The film ended at " + FormatFrame(FilmEnd(), status.rate) + ".";
    }
    return std::nullopt;
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
    call.surface = host::kNoSurface;
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
    call.surface = host::kNoSurface;
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
    PostLocate(mRun->Status().frame + frames);
}

void WindowDeck::StepSeconds(int seconds)
{
    Step(FrameNumber{seconds} * mRun->Status().rate.NominalFps());
}

void WindowDeck::GoTo(Edge edge)
{
    if (edge == Edge::Start) {
        PostLocate(mOptions.run.transport.startFrame);
    } else if (mVideo) {
        PostLocate(FilmEnd() - 1);
    }
}

void WindowDeck::PlaySound(bool isPlayed)
{
    if (mVideo) {
        mVideo->PlaySound(isPlayed);
    }
}

void WindowDeck::ChoosePorts(
    std::optional<std::int32_t> input, std::optional<std::int32_t> output, bool transmitMTC)
{
    try {
        mRun->ChoosePorts({input, output, transmitMTC});
        mTold.reset();
    } catch (const HostError& error) {
        mTold = Notice{Severity::Warning, ClockTime() + "  " + error.what()};
    }
}

void WindowDeck::Tell(const std::string& event, const std::string& text)
{
    if (event == "reloaded") {
        std::cout << "reloaded: " << text << std::endl;
    }
    if (event == "waiting") { // shown as long as the status says that it waits
        mWaiting = text;
    } else if (event != "note" || (mRun != nullptr && mRun->IsStarted())) {
        // A note from before says which ports are missing: the status does so too
        mTold = Notice{
            event == "warning" ? Severity::Warning : Severity::Note, ClockTime() + "  " + text};
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
