#include "deck/cli/DeckStatus.h"

#include "deck/protocol/MMCDecoder.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <cstdio>

namespace deck::cli {
namespace {

using Json = nlohmann::ordered_json;

std::string Dump(const Json& json)
{
    // A port's name may be anything
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string_view NameOf(CallOutcome outcome) noexcept
{
    static constexpr std::array<std::string_view, 4> kNames
        = {"done", "no effect", "superseded", "no such time"};
    return kNames[static_cast<std::size_t>(outcome)];
}

std::string StateText(const DeckStatus& status)
{
    static constexpr std::array<std::string_view, 5> kNames
        = {"STOP", "PLAY", "PAUSE", "REWIND", "FORWARD"};
    const std::string_view name
        = status.isRecording ? "RECORD" : kNames[static_cast<std::size_t>(status.state)];
    std::string text(name);
    text.resize(8, ' ');
    return text;
}

std::string PortText(std::string_view label, const PortStatus& port, const DeckStatus& status)
{
    std::string text = "  " + std::string(label) + " ";
    if (!port.id) {
        return text + (status.hasOwnPorts ? "own port" : "none");
    }
    text += port.name.empty() ? std::to_string(*port.id) : port.name;
    if (!port.isThere) {
        return text + " (waiting for it)";
    }
    return text + (status.IsBound() ? " (bound)" : " (there)");
}

Json PortJSON(const PortStatus& port)
{
    if (!port.id) {
        return nullptr;
    }
    return {{"id", *port.id}, {"name", port.name}, {"present", port.isThere}};
}

// Cuts at the start of a character, never inside one.
std::string Cut(const std::string& text, std::size_t width)
{
    std::size_t columns = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool startsCharacter = (static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U;
        if (startsCharacter && columns++ == width) {
            return text.substr(0, i);
        }
    }
    return text;
}

Json TimeJSON(const SenderTime& time)
{
    return {{"format", time.timeFormat}, {"hours", time.hours}, {"minutes", time.minutes},
        {"seconds", time.seconds}, {"frames", time.frames}, {"subframes", time.subframes}};
}

/// To microseconds.
double Rounded(double millis)
{
    return std::round(millis * 1000) / 1000;
}

Json TextOrNull(const std::string& text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

Json ClockJSON(const Punctuality& clock)
{
    const auto millis = [](std::chrono::nanoseconds time) {
        return Rounded(std::chrono::duration<double, std::milli>(time).count());
    };
    Json json = {{"late_ms", nullptr}, {"worst_late_ms", nullptr}};
    if (clock.frames > 0) {
        json["late_ms"] = millis(clock.sum / static_cast<std::int64_t>(clock.frames));
        json["worst_late_ms"] = millis(clock.worst);
    }
    return json;
}

Json PictureJSON(const VideoStatus& picture)
{
    Json json
        = {{"frame", nullptr}, {"drift_ms", nullptr}, {"worst_drift_ms", nullptr}, {"compared", 0},
            {"jumps", picture.jumps}, {"dropped", picture.dropped}, {"mute", picture.isMute}};
    if (picture.shownFrame) {
        json["frame"] = *picture.shownFrame;
    }
    if (picture.drift) {
        json["drift_ms"] = Rounded(picture.drift->mean);
        json["worst_drift_ms"] = Rounded(picture.drift->worst);
        json["compared"] = picture.drift->pictures;
    }
    return json;
}

} // namespace

bool IsChange(const DeckStatus& before, const DeckStatus& after)
{
    DeckStatus comparable = before;
    comparable.clock = after.clock;
    comparable.picture = after.picture;
    if (after.speed != 0) {
        comparable.frame = after.frame;
    }
    if (before.lost != 0) { // what loses goes on losing
        comparable.lost = after.lost;
    }
    return !(comparable == after);
}

std::string StatusText(const DeckStatus& status, std::size_t width)
{
    std::string text = StateText(status) + FormatFrame(status.frame, status.rate) + "  "
        + std::string(status.rate.Name()) + " fps";
    if (!status.waitsFor.empty()) {
        text += "  " + status.service + ": " + status.waitsFor;
    }
    text += PortText("in", status.in, status);
    text += PortText("out", status.out, status);
    text += "  MMC " + std::to_string(status.mmc) + "  calls " + std::to_string(status.calls);
    text += status.mtc ? "  MTC on" : "  MTC off";
    if (status.picture) {
        text += "  picture " + PictureText(*status.picture);
    }
    if (status.takes > 0) {
        text += "  takes " + std::to_string(status.takes);
    }
    if (status.lost > 0) {
        text += "  LOST " + std::to_string(status.lost);
    }
    return Cut(text, width);
}

std::string PictureText(const VideoStatus& picture)
{
    std::string text = "not there yet";
    if (picture.drift) {
        char drift[64];
        std::snprintf(drift, sizeof drift, "%+.0f ms, at most %+.0f ms", picture.drift->mean,
            picture.drift->worst);
        text = drift;
    } else if (picture.shownFrame) {
        text = "frame " + std::to_string(*picture.shownFrame);
    }
    return picture.dropped > 0 ? text + ", " + std::to_string(picture.dropped) + " dropped" : text;
}

std::string StatusJSON(const DeckStatus& status)
{
    Json json = {{"event", "status"}, {"state", deck::NameOf(status.state)},
        {"recording", status.isRecording}, {"timecode", FormatFrame(status.frame, status.rate)},
        {"frame", status.frame}, {"speed", status.speed}, {"rate", status.rate.Name()},
        {"service", status.service}, {"in", PortJSON(status.in)}, {"out", PortJSON(status.out)},
        {"bound", status.IsBound()}, {"own_ports", status.hasOwnPorts}, {"mtc", status.mtc},
        {"mmc", status.mmc}, {"calls", status.calls}, {"lost", status.lost},
        {"takes", status.takes}};
    json["sender_rate"] = TextOrNull(status.senderRate);
    json["deaf"] = TextOrNull(status.deaf);
    json["clock"] = ClockJSON(status.clock);
    if (status.picture) {
        json["picture"] = PictureJSON(*status.picture);
    }
    if (!status.waitsFor.empty()) {
        json["waiting"] = status.waitsFor;
    }
    return Dump(json);
}

std::string CallJSON(const HostCall& call, CallOutcome outcome)
{
    Json json
        = {{"event", "call"}, {"call", deck::NameOf(call.kind)}, {"outcome", NameOf(outcome)}};
    if (call.kind == HostCallKind::Locate) {
        json["time"] = TimeJSON(call.time);
    }
    return Dump(json);
}

std::string MMCJSON(const host::RawMMC& message, const PluginPrediction& prediction)
{
    const ByteView bytes(message.bytes.data(), message.length);
    const auto decoded = DecodeMMC(bytes);
    return Dump({{"event", "mmc"}, {"bytes", FormatBytes(bytes)},
        {"text", decoded ? decoded->text : std::string()}, {"fate", NameOf(prediction.fate)},
        {"effect", prediction.text}});
}

std::string TakeJSON(const Take& take, FrameRate rate)
{
    Json json = {{"event", "take"}, {"take", take.number}, {"in", FormatFrame(take.inFrame, rate)},
        {"out", nullptr}};
    if (!take.isOpen) {
        json["out"] = FormatFrame(take.outFrame, rate);
    }
    return Dump(json);
}

std::string MessageJSON(const std::string& event, const std::string& text)
{
    return Dump({{"event", event}, {"text", text}});
}

} // namespace deck::cli
