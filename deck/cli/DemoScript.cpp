#include "deck/cli/DemoScript.h"

#include <array>

namespace deck::cli {
namespace {

using enum HostCallKind;

DemoStep Simple(
    std::uint8_t code, std::vector<HostCallKind> calls, TransportState state, MTCWanted mtc)
{
    const std::string name(FindMMCCommand(code)->name);
    return {name, EncodeMMC(kMMCAllDevices, code), std::move(calls), state, mtc, {}, {}, {}};
}

DemoStep TracedOnly(Bytes bytes, TransportState state, const std::string& trace)
{
    const std::string name(FindMMCCommand(bytes[4])->name);
    return {name, std::move(bytes), {}, state, MTCWanted::Nothing, {}, trace, "(traced only)"};
}

DemoStep LocateTo(const Timecode& asked,
    FrameRate senderRate,
    TransportState state,
    MTCWanted mtc,
    const Timecode& target)
{
    return {"LOCATE", EncodeLocateTarget(kMMCAllDevices, senderRate.MtcCode(), asked), {Locate},
        state, mtc, target, {}, {}};
}

// Play, jump, wind both ways, stop.
std::vector<DemoStep> MakeFirstAct()
{
    constexpr Timecode kScene{1, 2, 3, 4, false};
    return {
        Simple(kMMCPlay, {Play}, TransportState::Playing, MTCWanted::QuarterFrames),
        LocateTo(kScene, FrameRate::k25, TransportState::Playing, MTCWanted::FullThenQuarterFrames,
            kScene),
        Simple(kMMCRewind, {StartRewind}, TransportState::Rewinding, MTCWanted::FullFramesBack),
        Simple(kMMCFastForward, {StopRewind, StartFastForward}, TransportState::FastForwarding,
            MTCWanted::FullFramesForward),
        Simple(kMMCStop, {StopFastForward, Stop}, TransportState::Stopped, MTCWanted::FullFrame),
    };
}

// Pause and record.
std::vector<DemoStep> MakeSecondAct()
{
    return {
        Simple(kMMCDeferredPlay, {Play}, TransportState::Playing, MTCWanted::QuarterFrames),
        Simple(kMMCPause, {Pause}, TransportState::Paused, MTCWanted::FullFrame),
        Simple(kMMCRecordStrobe, {Record}, TransportState::Playing, MTCWanted::QuarterFrames),
        Simple(kMMCRecordExit, {Stop}, TransportState::Stopped, MTCWanted::FullFrame),
        Simple(kMMCRecordPause, {Pause}, TransportState::Paused, MTCWanted::Nothing),
    };
}

// Senders at other rates: the same moment, in the deck's own numbers.
std::vector<DemoStep> MakeThirdAct()
{
    // 17984 frames of 1001/30000 s are 15001.65 frames of 1/25 s
    constexpr Timecode kDropTenMinutes{0, 10, 0, 2, true};
    constexpr Timecode kTenMinutesAt25{0, 10, 0, 2, false};
    // 18 of 24 frames are 18.75 of 25
    constexpr Timecode kFilm{10, 0, 0, 18, false};
    constexpr Timecode kFilmAt25{10, 0, 0, 19, false};
    return {
        LocateTo(kDropTenMinutes, FrameRate::k2997Drop, TransportState::Paused,
            MTCWanted::FullFrame, kTenMinutesAt25),
        LocateTo(kFilm, FrameRate::k24, TransportState::Paused, MTCWanted::FullFrame, kFilmAt25),
        Simple(kMMCRewind, {StartRewind}, TransportState::Rewinding, MTCWanted::FullFramesBack),
        Simple(kMMCReset, {StopRewind}, TransportState::Stopped, MTCWanted::FullFrame),
    };
}

// What the plug-in knows of and leaves alone.
std::vector<DemoStep> MakeLastAct()
{
    constexpr double kShuttleSpeed = -2.0;
    constexpr std::uint8_t kGP0 = 0x08;
    constexpr std::array<std::uint8_t, 3> kRecordReady = {0x4F, 0x01, 0x20};
    const TransportState stopped = TransportState::Stopped;
    DemoStep field{"LOCATE field", EncodeLocateField(kMMCAllDevices, kGP0), {}, stopped,
        MTCWanted::Nothing, {}, {}, "(ignored)"};
    return {
        TracedOnly(EncodeMMC(kMMCAllDevices, kMMCEject), stopped, "EJECT"),
        TracedOnly(EncodeMMC(kMMCAllDevices, kMMCChase), stopped, "CHASE"),
        TracedOnly(EncodeMMC(kMMCAllDevices, kMMCWrite, kRecordReady), stopped, "WRITE"),
        TracedOnly(EncodeShuttle(kMMCAllDevices, kShuttleSpeed), stopped, "SHUTTLE"),
        std::move(field),
        Simple(kMMCPlay, {Play}, TransportState::Playing, MTCWanted::QuarterFrames),
        Simple(kMMCStop, {Stop}, stopped, MTCWanted::FullFrame),
    };
}

} // namespace

std::vector<DemoStep> MakeDemoScript()
{
    std::vector<DemoStep> script;
    for (auto act : {MakeFirstAct(), MakeSecondAct(), MakeThirdAct(), MakeLastAct()}) {
        script.insert(script.end(), act.begin(), act.end());
    }
    return script;
}

} // namespace deck::cli
