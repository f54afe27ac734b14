#include "mediaio/midiservice/src/SysExAssembler.h"

#include <algorithm>

namespace midiservice {

namespace {

bool StartsMessage(std::uint8_t byte) noexcept
{
    return byte >= kFirstStatus && byte < kFirstRealTime && byte != kSysExEnd;
}

} // namespace

std::size_t PieceLength(const std::uint8_t* bytes, std::size_t length) noexcept
{
    if (length <= kMaxPieceBytes)
        return length;
    for (std::size_t cut = kMaxPieceBytes; cut > 0; --cut)
        if (StartsMessage(bytes[cut]))
            return cut;
    return kMaxPieceBytes;
}

void SysExAssembler::Feed(
    HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept
{
    while (length > 0) {
        const std::size_t eaten = mIsInside ? FeedInside(time, bytes, length, sink)
                                            : FeedOutside(time, bytes, length, sink);
        bytes += eaten;
        length -= eaten;
    }
}

std::size_t SysExAssembler::FeedOutside(
    HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept
{
    if (*bytes != kSysExStart) {
        const auto* start = std::find(bytes, bytes + length, kSysExStart);
        const std::size_t run = PieceLength(bytes, static_cast<std::size_t>(start - bytes));
        sink.OnPiece(Piece::Loose, time, bytes, run);
        return run;
    }
    mIsInside = true;
    mIsLong = false;
    mTime = time;
    mBytes[0] = kSysExStart;
    mCount = 1;
    return 1;
}

std::size_t SysExAssembler::FeedInside(
    HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept
{
    for (std::size_t index = 0; index < length; ++index) {
        const std::uint8_t byte = bytes[index];
        if (byte >= kFirstRealTime) {
            sink.OnPiece(Piece::Message, time, &byte, 1);
        } else if (byte < kFirstStatus) {
            Append(byte, sink);
        } else if (byte == kSysExEnd) {
            Append(byte, sink);
            Finish(true, sink);
            return index + 1;
        } else {
            Finish(false, sink);
            return index;
        }
    }
    return length;
}

void SysExAssembler::Append(std::uint8_t byte, PieceSink& sink) noexcept
{
    if (mCount == mBytes.size()) {
        sink.OnPiece(
            mIsLong ? Piece::SysExMiddle : Piece::SysExFirst, mTime, mBytes.data(), mCount);
        mIsLong = true;
        mCount = 0;
    }
    mBytes[mCount++] = byte;
}

void SysExAssembler::Finish(bool isComplete, PieceSink& sink) noexcept
{
    const Piece whole = isComplete ? Piece::Message : Piece::Loose;
    sink.OnPiece(mIsLong ? Piece::SysExLast : whole, mTime, mBytes.data(), mCount);
    mIsInside = false;
    mCount = 0;
}

} // namespace midiservice
