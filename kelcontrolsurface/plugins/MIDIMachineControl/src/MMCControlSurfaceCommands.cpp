// The MMC command interpreter of the control surface: command bytes in, host calls out.

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"
#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCTrace.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace mmc {

namespace {

constexpr unsigned char kCommandSubId = 0x06;
constexpr unsigned char kLocate = 0x44;

bool NeverHasALength(unsigned char command) noexcept
{
    return command == 0x00 || command >= 0x80;
}

} // namespace

/// One command at the head of the command buffer, and all bytes that are held from there on.
class ControlSurface::CommandUnit {
public:
    CommandUnit(const unsigned char* bytes, std::size_t held) noexcept
        : mBytes(bytes)
        , mHeld(held)
    {
    }

    /// Whether there is a command to look at.
    bool IsValid() const noexcept { return mHeld >= 2 && mBytes[0] == kCommandSubId; }
    unsigned char Code() const noexcept { return mBytes[1]; }

    /// In bytes; 0 where it is not known, or not known yet.
    std::size_t Length() const noexcept
    {
        if (NeverHasALength(Code())) {
            return 0;
        }
        if (Code() < 0x40 || Code() > 0x77) {
            return 2;
        }
        return mHeld > 2 ? mBytes[2] + std::size_t{3} : 0;
    }

    bool IsIncomplete() const noexcept { return Length() > mHeld; }

    bool Has(std::size_t offset) const noexcept { return offset < mHeld; }
    unsigned char At(std::size_t offset) const noexcept { return mBytes[offset]; }

private:
    const unsigned char* mBytes;
    std::size_t mHeld;
};

struct ControlSurface::Command {
    unsigned char code;
    const char* traceWord; // null: the command writes its own line
    void (ControlSurface::*action)(const CommandUnit&);
};

// DEFERRED PLAY plays at once; RECORD EXIT and RECORD PAUSE leave a wind alone; RESET only ends
// one: all deliberate.
constexpr ControlSurface::Command ControlSurface::kCommands[] = {
    {0x01, "STOP", &ControlSurface::Stop},
    {0x02, "PLAY", &ControlSurface::Play},
    {0x03, "DEFERREDPLAY", &ControlSurface::Play},
    {0x04, "FASTFORWARD", &ControlSurface::FastForward},
    {0x05, "REWIND", &ControlSurface::Rewind},
    {0x06, "RECORDSTROBE", &ControlSurface::RecordStrobe},
    {0x07, "RECORDEXIT", &ControlSurface::RecordExit},
    {0x08, "RECORDPAUSE", &ControlSurface::RecordPause},
    {0x09, "PAUSE", &ControlSurface::Pause},
    {0x0A, "EJECT", &ControlSurface::TraceOnly},
    {0x0B, "CHASE", &ControlSurface::TraceOnly},
    {0x0D, "MMCRESET", &ControlSurface::Reset},
    {0x40, "WRITE", &ControlSurface::TraceOnly},
    {kLocate, nullptr, &ControlSurface::Locate},
    {0x47, "SHUTTLE", &ControlSurface::TraceOnly},
};

namespace {

// The target time of a LOCATE.
struct LocateTarget {
    unsigned int rate; // MMC rate bits: 0 is 24, 1 is 25, 2 is 30 drop-frame, 3 is 30
    bool negative;
    std::uint8_t hours;
    std::uint8_t minutes;
    std::uint8_t seconds;
    std::uint8_t frames;
    std::uint8_t subframes;
};

constexpr std::size_t kSubCommandOffset = 3;
constexpr std::size_t kLastTimeOffset = 8;
constexpr unsigned char kTargetSubCommand = 0x01;

int FramesPerSecond(unsigned int rate)
{
    constexpr std::array kFramesPerSecond{24, 25, 30, 30};
    return kFramesPerSecond.at(rate);
}

unsigned int TimeFormat(unsigned int rate)
{
    constexpr std::array<unsigned int, 4> kFormats{
        kSMPTETimeFormat24, kSMPTETimeFormat25, kSMPTETimeFormat30Drop, kSMPTETimeFormat30NonDrop};
    return kFormats.at(rate);
}

void TraceLocate(const LocateTarget& target) noexcept
{
    const char separator = target.rate == 2 ? ';' : ':';
    std::array<char, 64> text{}; // 28 characters at most
    std::snprintf(text.data(), text.size(), "GOTO: %s%02d%c%02d%c%02d%c%02d, fps: %d",
        target.negative ? "-" : "", target.hours, separator, target.minutes, separator,
        target.seconds, separator, target.frames, FramesPerSecond(target.rate));
    WriteTraceLine(text.data());
}

} // namespace

void ControlSurface::HandleMMCMessages(
    unsigned char subId, const unsigned char* data, std::size_t length)
{
    mCommandBuffer.Reserve(mCommandBuffer.Size() + length + 1);
    mCommandBuffer.Append(subId);
    mCommandBuffer.Append(data, length);
    mCommandBuffer.EraseFront(CarryOutCommands());
    DropUnreachableCommands();
}

// Returns how many bytes were used up. Deliberate: what does not begin with 06, and a unit whose
// length cannot be known, stay at the head for good and block everything behind them.
std::size_t ControlSurface::CarryOutCommands()
{
    const std::size_t size = mCommandBuffer.Size();
    std::size_t used = 0;
    for (;;) {
        const CommandUnit unit(mCommandBuffer.Data() + used, size - used);
        if (!unit.IsValid() || unit.IsIncomplete()) {
            return used;
        }
        CarryOut(unit);
        if (unit.Length() == 0) {
            return used;
        }
        used += unit.Length();
    }
}

void ControlSurface::CarryOut(const CommandUnit& unit) noexcept
{
    static std::array<TraceSite, std::size(kCommands)> sTraceSites; // one a command
    const auto* command = std::find_if(std::begin(kCommands), std::end(kCommands),
        [&](const Command& candidate) { return candidate.code == unit.Code(); });
    if (command == std::end(kCommands)) {
        return;
    }
    if (command->traceWord != nullptr
        && sTraceSites.at(static_cast<std::size_t>(command - kCommands)).IsEnabled()) {
        WriteTraceLine(command->traceWord);
    }
    try {
        (this->*command->action)(unit);
    } catch (...) {
        // Only the host's own functions throw here. What they answer is ignored, and so is this:
        // the command is done with.
    }
}

// A command that waits for its data needs 258 bytes at most: more are held only behind a head that
// can never be carried out, where nothing is reached any more. A sender that goes on for hours must
// not fill the memory with them.
void ControlSurface::DropUnreachableCommands() noexcept
{
    constexpr std::size_t kMostUnreachableBytes = 4096;
    if (mCommandBuffer.Size() > kMostUnreachableBytes) {
        const std::array<unsigned char, 2> head{mCommandBuffer[0], mCommandBuffer[1]};
        mCommandBuffer.Clear();
        mCommandBuffer.Append(head.data(), head.size()); // there is room: nothing is allocated
    }
}

void ControlSurface::ReleaseWind()
{
    if (mRewindEngaged) {
        mHostTransportSuite->StopRewind(mHostTransportRef);
        mRewindEngaged = false;
    }
    if (mFastForwardEngaged) {
        mHostTransportSuite->StopFastForward(mHostTransportRef);
        mFastForwardEngaged = false;
    }
}

void ControlSurface::Stop(const CommandUnit&)
{
    ReleaseWind();
    mHostTransportSuite->Stop(mHostTransportRef);
}

void ControlSurface::Play(const CommandUnit&)
{
    ReleaseWind();
    mHostTransportSuite->Play(mHostTransportRef);
}

void ControlSurface::FastForward(const CommandUnit&)
{
    ReleaseWind();
    mHostTransportSuite->StartFastForward(mHostTransportRef);
    mFastForwardEngaged = true;
}

void ControlSurface::Rewind(const CommandUnit&)
{
    ReleaseWind();
    mHostTransportSuite->StartRewind(mHostTransportRef);
    mRewindEngaged = true;
}

void ControlSurface::RecordStrobe(const CommandUnit&)
{
    ReleaseWind();
    mHostTransportSuite->Record(mHostTransportRef);
}

void ControlSurface::RecordExit(const CommandUnit&)
{
    mHostTransportSuite->Stop(mHostTransportRef);
}

void ControlSurface::RecordPause(const CommandUnit&)
{
    mHostTransportSuite->Pause(mHostTransportRef);
}

void ControlSurface::Pause(const CommandUnit&)
{
    ReleaseWind();
    mHostTransportSuite->Pause(mHostTransportRef);
}

void ControlSurface::Reset(const CommandUnit&)
{
    ReleaseWind();
}

void ControlSurface::TraceOnly(const CommandUnit&) {}

// The count byte is not looked at: the fields stand at fixed places. Where the unit's bytes are not
// all there, there is no target.
void ControlSurface::Locate(const CommandUnit& unit)
{
    static TraceSite sTraceSite;
    if (!unit.Has(kLastTimeOffset) || unit.At(kSubCommandOffset) != kTargetSubCommand) {
        return;
    }
    const auto field = [&](std::size_t offset, unsigned int mask) {
        return static_cast<std::uint8_t>(unit.At(offset) & mask);
    };
    const LocateTarget target{(unit.At(4) >> 5U) & 3U, (unit.At(7) & 0x40U) != 0, field(4, 0x1F),
        field(5, 0x3F), field(6, 0x3F), field(7, 0x1F), unit.At(8)};
    if (sTraceSite.IsEnabled()) {
        TraceLocate(target);
    }
    if (mHostSMPTESuite != nullptr) {
        mHostSMPTESuite->LocateToSMPTETime(mHostSMPTERef, TimeFormat(target.rate), target.hours,
            target.minutes, target.seconds, target.frames, target.subframes);
    }
}

} // namespace mmc
