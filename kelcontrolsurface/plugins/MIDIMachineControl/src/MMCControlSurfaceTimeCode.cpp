// The MIDI Time Code that the control surface sends.

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"
#include "mediaio/kelmidi/src/MidiDataTypes.h"

namespace mmc {

struct ControlSurface::TimePosition {
    unsigned char hours;
    unsigned char minutes;
    unsigned char seconds;
    unsigned char frames;
};

namespace {

// The rate field "rr" of the standard's hours byte.
enum RateBits : unsigned char { kRate24 = 0, kRate25 = 1, kRate30Drop = 2, kRate30NonDrop = 3 };

unsigned char RateBitsOfCode(unsigned int rateCode) noexcept
{
    switch (rateCode) {
    case kSMPTETimeFormat25:
        return kRate25;
    case kSMPTETimeFormat30Drop:
        return kRate30Drop;
    case kSMPTETimeFormat30NonDrop:
        return kRate30NonDrop;
    default:
        return kRate24;
    }
}

unsigned char RateBitsOfRate(int framesPerSecond, bool dropFrame) noexcept
{
    switch (framesPerSecond) {
    case 25:
        return kRate25;
    case 30:
        return dropFrame ? kRate30Drop : kRate30NonDrop;
    default:
        return kRate24;
    }
}

unsigned char Piece(unsigned int number, unsigned int nibble) noexcept
{
    return static_cast<unsigned char>((number << 4U) | nibble);
}

int QuarterFrameInterval(int framesPerSecond) noexcept
{
    // In nanoseconds, and positive, so that this rounds as it should.
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return static_cast<int>(1e9 / (framesPerSecond * 4.0) + 0.5);
}

} // namespace

KORVASDK_Result ControlSurface::GotoSMPTETime(unsigned int rateCode,
    unsigned char hours,
    unsigned char minutes,
    unsigned char seconds,
    unsigned char frames,
    unsigned char)
{
    mQuarterFramePhase = 0;
    if (mTransmitMTC) {
        SendFullFrame(RateBitsOfCode(rateCode), {hours, minutes, seconds, frames});
    }
    return kSuccess;
}

KORVASDK_Result ControlSurface::TransmitFullFrame(unsigned long long offsetNanos,
    float speed,
    int framesPerSecond,
    bool dropFrame,
    unsigned char hours,
    unsigned char minutes,
    unsigned char seconds,
    unsigned char frames)
{
    if (!mTransmitMTC) {
        return kSuccess;
    }
    const unsigned char rateBits = RateBitsOfRate(framesPerSecond, dropFrame);
    const TimePosition position{hours, minutes, seconds, frames};
    if (speed != 1.0F) { // also true for NaN
        mQuarterFramePhase = 0;
        SendFullFrame(rateBits, position);
        return kSuccess;
    }
    if (framesPerSecond <= 0) { // no spacing: refused
        return kSuccess;
    }
    std::uint8_t phase = mQuarterFramePhase;
    if (phase == 0) {
        StartQuarterFrameCycle(offsetNanos, rateBits, position);
    }
    SendQuarterFrames(phase, QuarterFrameInterval(framesPerSecond));
    // A Connect in between has set the phase to 0, which then stays.
    mQuarterFramePhase.compare_exchange_strong(phase, phase == 0 ? 1 : 0);
    return kSuccess;
}

void ControlSurface::SendFullFrame(unsigned char rateBits, const TimePosition& position)
{
    const auto hours = static_cast<unsigned char>((position.hours & 0x1FU) | (rateBits << 5U));
    const std::array<unsigned char, 10> message{0xF0, 0x7F, 0x7F, 0x01, 0x01, hours,
        position.minutes, position.seconds, position.frames, 0xF7};
    OutputMessage(message.data(), static_cast<unsigned int>(message.size()));
}

// The eight pieces tell the position at which piece 0 is sent: the second half of the cycle repeats
// what the first half saw.
void ControlSurface::StartQuarterFrameCycle(
    unsigned long long offsetNanos, unsigned char rateBits, const TimePosition& position)
{
    mNextQuarterFrameTime = kelmidi::AddNanoSeconds(
        kelmidi::GetCurrentHostTime(), static_cast<long long>(offsetNanos));
    const unsigned int topHour = (position.hours >> 4U) & 1U;
    mQuarterFrames = {
        Piece(0, position.frames & 0x0FU),
        Piece(1, position.frames >> 4U),
        Piece(2, position.seconds & 0x0FU),
        Piece(3, position.seconds >> 4U),
        Piece(4, position.minutes & 0x0FU),
        Piece(5, position.minutes >> 4U),
        Piece(6, position.hours & 0x0FU),
        Piece(7, topHour | (static_cast<unsigned int>(rateBits) << 1U)),
    };
}

void ControlSurface::SendQuarterFrames(std::uint8_t phase, int interval)
{
    const std::size_t first = phase == 0 ? 0 : 4;
    // Deliberate: nanoseconds are added here without conversion into host time units.
    unsigned long long time
        = mNextQuarterFrameTime + first * static_cast<unsigned long long>(interval);
    for (std::size_t piece = first; piece < first + 4; ++piece) {
        const std::array<unsigned char, 2> message{0xF1, mQuarterFrames.at(piece)};
        OutputMessage(message.data(), static_cast<unsigned int>(message.size()), time);
        time = kelmidi::AddNanoSeconds(time, interval);
    }
}

} // namespace mmc
