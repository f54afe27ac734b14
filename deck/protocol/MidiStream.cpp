#include "deck/protocol/MidiStream.h"

namespace deck {
namespace {

constexpr std::uint8_t kSysExStart = 0xF0;
constexpr std::uint8_t kSysExEnd = 0xF7;
constexpr std::uint8_t kFirstRealTime = 0xF8;

/// Length of the message that `status` begins; 0 for SysEx.
std::size_t LengthOf(std::uint8_t status)
{
    switch (status >> 4) {
    case 0xC:
    case 0xD:
        return 2;
    case 0xF:
        break;
    default:
        return 3;
    }
    switch (status) {
    case kSysExStart:
        return 0;
    case 0xF1:
    case 0xF3:
        return 2;
    case 0xF2:
        return 3;
    default:
        return 1;
    }
}

} // namespace

MidiStream::MidiStream(Receiver receiver)
    : mReceiver(std::move(receiver))
{
}

void MidiStream::Feed(ByteView bytes, std::chrono::nanoseconds time)
{
    for (const auto byte : bytes) {
        if (byte >= kFirstRealTime)
            TakeRealTime(byte, time);
        else if (byte >= 0x80)
            TakeStatus(byte, time);
        else
            TakeData(byte, time);
    }
}

void MidiStream::Flush()
{
    EmitIncomplete("the stream ended");
    mSkipping = false;
}

void MidiStream::TakeRealTime(std::uint8_t byte, std::chrono::nanoseconds time)
{
    mReceiver({{byte}, time, time, {}});
}

void MidiStream::TakeStatus(std::uint8_t byte, std::chrono::nanoseconds time)
{
    const bool endsSysEx
        = byte == kSysExEnd && !mEvent.bytes.empty() && mEvent.bytes.front() == kSysExStart;
    if (endsSysEx) {
        Append(byte, time);
        Emit({});
        return;
    }
    EmitIncomplete("cut short by the next message");
    const bool endsSkipped = byte == kSysExEnd && mSkipping;
    mSkipping = false;
    if (endsSkipped)
        return;
    mRunningStatus = byte < kSysExStart ? byte : std::uint8_t{0};
    Begin(byte, time);
    if (byte == kSysExEnd)
        Emit("an end of SysEx without a beginning");
    else if (mWanted == 1)
        Emit({});
}

void MidiStream::TakeData(std::uint8_t byte, std::chrono::nanoseconds time)
{
    if (mSkipping)
        return;
    if (mEvent.bytes.empty() && mRunningStatus != 0)
        Begin(mRunningStatus, time);
    if (mEvent.bytes.empty()) {
        Begin(byte, time);
        Emit("a data byte without a message");
        return;
    }
    Append(byte, time);
    if (mWanted != 0 && mEvent.bytes.size() == mWanted)
        Emit({});
    else if (mEvent.bytes.size() >= kMaxSysEx) {
        Emit("a SysEx longer than " + std::to_string(kMaxSysEx) + " bytes; its rest is skipped");
        mSkipping = true;
    }
}

void MidiStream::Begin(std::uint8_t byte, std::chrono::nanoseconds time)
{
    mEvent.bytes.assign(1, byte);
    mEvent.time = time;
    mEvent.end = time;
    mWanted = byte < 0x80 ? 1 : LengthOf(byte);
}

void MidiStream::Append(std::uint8_t byte, std::chrono::nanoseconds time)
{
    mEvent.bytes.push_back(byte);
    mEvent.end = time;
}

void MidiStream::Emit(std::string problem)
{
    mEvent.problem = std::move(problem);
    mReceiver(mEvent);
    mEvent.problem.clear();
    mEvent.bytes.clear(); // keeps the storage
}

void MidiStream::EmitIncomplete(std::string_view why)
{
    if (!mEvent.bytes.empty())
        Emit("not whole: " + std::string(why));
}

} // namespace deck
