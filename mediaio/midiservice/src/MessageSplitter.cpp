#include "mediaio/midiservice/src/MessageSplitter.h"

namespace midiservice {

namespace {

// Status byte included; 1 for real-time, undefined and end-of-SysEx bytes.
std::size_t MessageLength(std::uint8_t status) noexcept
{
    switch (status & 0xF0) {
    case 0xC0:
    case 0xD0:
        return 2;
    case 0xF0:
        break;
    default:
        return 3;
    }
    if (status == 0xF2)
        return 3;
    return status == 0xF1 || status == 0xF3 ? 2 : 1;
}

} // namespace

void MessageSplitter::Feed(
    HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept
{
    for (std::size_t index = 0; index < length; ++index) {
        const std::uint8_t byte = bytes[index];
        if (byte >= kFirstRealTime)
            sink.OnPiece(Piece::Message, time, &byte, 1);
        else if (byte >= kFirstStatus)
            OnStatus(time, byte, sink);
        else
            OnData(time, byte, sink);
    }
}

void MessageSplitter::OnSysEx(HostTime time, PieceSink& sink) noexcept
{
    PassUnfinished(time, sink);
    mRunning = 0;
}

void MessageSplitter::OnStatus(HostTime time, std::uint8_t status, PieceSink& sink) noexcept
{
    PassUnfinished(time, sink);
    mRunning = status < kSysExStart ? status : 0;
    const std::size_t wanted = MessageLength(status);
    if (wanted == 1) {
        sink.OnPiece(status == kSysExEnd ? Piece::Loose : Piece::Message, time, &status, 1);
        return;
    }
    mBytes[0] = status;
    mCount = 1;
    mWanted = wanted;
}

void MessageSplitter::OnData(HostTime time, std::uint8_t data, PieceSink& sink) noexcept
{
    if (mCount == 0 && mRunning == 0) {
        sink.OnPiece(Piece::Loose, time, &data, 1);
        return;
    }
    if (mCount == 0) {
        mBytes[0] = mRunning;
        mCount = 1;
        mWanted = MessageLength(mRunning);
    }
    mBytes[mCount++] = data;
    if (mCount == mWanted) {
        sink.OnPiece(Piece::Message, time, mBytes.data(), mCount);
        mCount = 0;
    }
}

void MessageSplitter::PassUnfinished(HostTime time, PieceSink& sink) noexcept
{
    if (mCount > 0)
        sink.OnPiece(Piece::Loose, time, mBytes.data(), mCount);
    mCount = 0;
}

} // namespace midiservice
