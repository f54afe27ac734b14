#include "deck/protocol/PluginModel.h"

#include <algorithm>
#include <array>

namespace deck {
namespace {

constexpr std::uint8_t kSysExStart = 0xF0;
constexpr std::uint8_t kSysExEnd = 0xF7;
constexpr std::uint8_t kCommandSubId = 0x06;
constexpr std::size_t kTargetUnitSize = 9; // 06 44 count 01 hr mn sc fr sf

// Far more than any message needs: what lies behind is not remembered, only where it ends
constexpr std::size_t kMaxReceived = 65536;

/// Length of the unit at the head of `bytes`, which is at least 2 long; 0 where it is unknown.
std::size_t UnitLength(ByteView bytes)
{
    const std::uint8_t code = bytes[1];
    if (code == 0 || code >= 0x80)
        return 0;
    if (code < 0x40 || code >= 0x78)
        return 2;
    return bytes.size() > 2 ? bytes[2] + std::size_t{3} : 0;
}

std::string_view SlotName(HostCallKind kind)
{
    switch (kind) {
    case HostCallKind::StartRewind:
        return "StartRewind";
    case HostCallKind::StopRewind:
        return "StopRewind";
    case HostCallKind::StartFastForward:
        return "StartFastForward";
    case HostCallKind::StopFastForward:
        return "StopFastForward";
    case HostCallKind::Stop:
        return "Stop";
    case HostCallKind::Play:
        return "Play";
    case HostCallKind::Record:
        return "Record";
    case HostCallKind::Pause:
        return "Pause";
    case HostCallKind::Locate:
        return "LocateToSMPTETime";
    case HostCallKind::SetSMPTEActive:
        return "SetSMPTEActive";
    }
    return {};
}

void Raise(PluginPrediction& out, PluginFate fate)
{
    out.fate = std::max(out.fate, fate);
}

void Say(PluginPrediction& out, std::string_view text)
{
    if (!out.text.empty())
        out.text += ", ";
    out.text += text;
}

void Call(PluginPrediction& out, const HostCall& call)
{
    Raise(out, PluginFate::kHostCall);
    out.calls.push_back(call);
    Say(out, SlotName(call.kind));
}

std::string NameOrCode(std::uint8_t code)
{
    const auto* command = FindMMCCommand(code);
    const std::array<std::uint8_t, 1> byte{code};
    return command != nullptr ? std::string(command->name) : "command 0x" + FormatBytes(byte);
}

void SayUncalled(PluginPrediction& out, std::uint8_t code, PluginFate fate)
{
    Raise(out, fate);
    Say(out, NameOrCode(code) + ": " + std::string(NameOf(fate)));
}

std::string ReasonFor(ByteView head, bool fromOlderMessage)
{
    if (head[0] == 0x07)
        return "an MMC response (sub-ID 07) blocks the plug-in's command buffer";
    if (head[0] != kCommandSubId && fromOlderMessage)
        return "an MMC message that was too short swallowed the beginning of the next one, and "
               "the rest blocks the plug-in's command buffer";
    if (head[0] != kCommandSubId)
        return "a message with several commands: the plug-in carries out the first, and the rest "
               "blocks its command buffer";
    return NameOrCode(head[1]) + " has no known length and blocks the plug-in's command buffer";
}

} // namespace

std::string_view NameOf(PluginFate fate) noexcept
{
    static constexpr std::array<std::string_view, 6> kNames{
        "dropped", "waiting", "ignored", "traced only", "host call", "deaf"};
    return kNames[static_cast<std::size_t>(fate)];
}

PluginPrediction PluginModel::Feed(ByteView packet)
{
    PluginPrediction out;
    Receive(packet);
    ProcessReceived(out);
    DropStrayBytes();
    if (out.text.empty())
        DescribeKept(packet, out);
    return out;
}

void PluginModel::DescribeKept(ByteView packet, PluginPrediction& out) const
{
    const auto end = mReceived.end();
    const bool hasStart = std::find(mReceived.begin(), end, kSysExStart) != end;
    const bool hasEnd
        = std::find(mReceived.begin() + static_cast<std::ptrdiff_t>(mSearched), end, kSysExEnd)
        != end;
    const bool endsSomething = std::find(packet.begin(), packet.end(), kSysExEnd) != packet.end();
    if (!hasStart && !endsSomething)
        return Say(out, "not MMC: dropped");
    if (mReceived.empty())
        return Say(out, "not an MMC command: dropped");
    Raise(out, PluginFate::kWaiting);
    if (!hasEnd)
        return Say(out, "kept: waiting for the end of the message");
    Say(out, "kept: what follows a foreign message is heard one packet late");
}

void PluginModel::Reset()
{
    *this = PluginModel();
}

void PluginModel::Receive(ByteView packet)
{
    if (mReceived.size() >= kMaxReceived)
        packet = {std::find(packet.begin(), packet.end(), kSysExEnd), packet.end()};
    mReceived.insert(mReceived.end(), packet.begin(), packet.end());
}

void PluginModel::ProcessReceived(PluginPrediction& out)
{
    while (TryCutMessage(out)) {
    }
}

/// One pass over the receive buffer. True when a message was dispatched: only then does the
/// plug-in look at what lies behind it before the next packet.
bool PluginModel::TryCutMessage(PluginPrediction& out)
{
    const auto from = mReceived.begin() + static_cast<std::ptrdiff_t>(mSearched);
    const auto end = std::find(from, mReceived.end(), kSysExEnd);
    mSearched = static_cast<std::size_t>(end - mReceived.begin());
    if (end == mReceived.end())
        return false;
    const auto start = std::find(mReceived.begin(), mReceived.end(), kSysExStart);
    if (start == mReceived.end() || start + 1 == mReceived.end())
        return false;
    const bool isMMC = end - start > 4 && start[1] == 0x7F && (start[3] & 0xFE) == kCommandSubId;
    if (isMMC)
        Interpret(start[3], ByteView(&start[4], static_cast<std::size_t>(end - start) - 4), out);
    mReceived.erase(mReceived.begin(), end + 1);
    mSearched = 0;
    return isMMC;
}

/// What lies before the first F0 cannot matter, except each F7, which costs a pass.
void PluginModel::DropStrayBytes()
{
    const auto start = std::find(mReceived.begin(), mReceived.end(), kSysExStart);
    const auto kept = std::remove_if(
        mReceived.begin(), start, [](std::uint8_t byte) { return byte != kSysExEnd; });
    mReceived.erase(kept, start);
    mSearched = std::min(mSearched, mReceived.size());
    if (mReceived.empty() || mReceived.front() == kSysExEnd)
        mSearched = 0;
}

void PluginModel::Interpret(std::uint8_t subId, ByteView data, PluginPrediction& out)
{
    if (IsDeaf()) {
        Raise(out, PluginFate::kDeaf);
        Say(out, "not heard: " + mReason);
        return;
    }
    const std::size_t oldSize = mCommands.size();
    mCommands.push_back(subId);
    mCommands.insert(mCommands.end(), data.begin(), data.end());
    const std::size_t consumed = Walk(out);
    mCommands.erase(mCommands.begin(), mCommands.begin() + static_cast<std::ptrdiff_t>(consumed));
    JudgeHead(oldSize, consumed, out);
}

/// Carries out the units from the head on; returns how many bytes they were.
std::size_t PluginModel::Walk(PluginPrediction& out)
{
    ByteView rest(mCommands);
    while (rest.size() >= 2 && rest[0] == kCommandSubId) {
        const std::size_t length = UnitLength(rest);
        if (length > rest.size())
            break;
        CarryOut(rest, out);
        if (length == 0)
            break;
        rest = rest.subspan(length);
    }
    return mCommands.size() - rest.size();
}

/// `unit` reaches to the end of the buffer: LOCATE reads at fixed places, whatever its count says.
void PluginModel::CarryOut(ByteView unit, PluginPrediction& out)
{
    const auto* command = FindMMCCommand(unit[1]);
    if (command != nullptr && command->treatment == MMCTreatment::kHostCall)
        command->code == kMMCLocate ? Locate(unit, out) : CallHost(command->code, out);
    else if (command != nullptr && command->treatment == MMCTreatment::kTracedOnly)
        SayUncalled(out, unit[1], PluginFate::kTracedOnly);
    else if (UnitLength(unit) != 0)
        SayUncalled(out, unit[1], PluginFate::kIgnored);
}

void PluginModel::CallHost(std::uint8_t code, PluginPrediction& out)
{
    if (code != kMMCRecordExit && code != kMMCRecordPause)
        Release(out);
    switch (code) {
    case kMMCStop:
    case kMMCRecordExit:
        return Call(out, {HostCallKind::Stop});
    case kMMCPlay:
    case kMMCDeferredPlay:
        return Call(out, {HostCallKind::Play});
    case kMMCRecordStrobe:
        return Call(out, {HostCallKind::Record});
    case kMMCRecordPause:
    case kMMCPause:
        return Call(out, {HostCallKind::Pause});
    case kMMCFastForward:
        mFastForward = true;
        return Call(out, {HostCallKind::StartFastForward});
    case kMMCRewind:
        mRewind = true;
        return Call(out, {HostCallKind::StartRewind});
    default: // MMC RESET: the release was all
        if (out.calls.empty())
            SayUncalled(out, code, PluginFate::kTracedOnly);
    }
}

void PluginModel::Locate(ByteView unit, PluginPrediction& out)
{
    if (UnitLength(unit) == 0)
        return;
    if (unit.size() < kTargetUnitSize || unit[3] != 0x01)
        return SayUncalled(out, kMMCLocate, PluginFate::kIgnored);
    const std::uint32_t rateBits = unit[4] >> 5 & 3;
    const auto masked
        = [&](std::size_t i, int mask) { return static_cast<std::uint8_t>(unit[i] & mask); };
    const SenderTime time{
        rateBits + 2, masked(4, 0x1F), masked(5, 0x3F), masked(6, 0x3F), masked(7, 0x1F), unit[8]};
    Call(out, {HostCallKind::Locate, time});
    const Timecode timecode{time.hours, time.minutes, time.seconds, time.frames, rateBits == 2};
    out.text += " " + FormatTimecode(timecode);
}

void PluginModel::Release(PluginPrediction& out)
{
    if (mRewind)
        Call(out, {HostCallKind::StopRewind});
    if (mFastForward)
        Call(out, {HostCallKind::StopFastForward});
    mRewind = false;
    mFastForward = false;
}

/// Looks at what stayed at the head of the command buffer: can anything ever get past it?
void PluginModel::JudgeHead(std::size_t oldSize, std::size_t consumed, PluginPrediction& out)
{
    if (mCommands.empty())
        return;
    const bool isBlocked = mCommands[0] != kCommandSubId
        || (mCommands.size() >= 2 && (mCommands[1] == 0 || mCommands[1] >= 0x80));
    if (isBlocked) {
        mReason = ReasonFor(mCommands, oldSize != 0 && consumed != 0);
        Raise(out, PluginFate::kDeaf);
        Say(out, "deaf from here on: " + mReason);
        mCommands.clear();
        return;
    }
    Raise(out, PluginFate::kWaiting);
    Say(out, "waiting: a command is not complete and will swallow the next one");
}

} // namespace deck
