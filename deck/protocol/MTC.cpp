#include "deck/protocol/MTC.h"

#include <algorithm>

namespace deck {
namespace {

constexpr std::uint8_t Byte(int value) noexcept
{
    return static_cast<std::uint8_t>(value);
}

} // namespace

MtcTime MtcTimeOf(FrameNumber frame, FrameRate rate) noexcept
{
    return {ToTimecode(frame, rate), rate.MtcCode()};
}

QuarterFrame EncodeQuarterFrame(const MtcTime& time, int piece) noexcept
{
    const std::array<std::uint8_t, 4> fields{time.timecode.frames, time.timecode.seconds,
        time.timecode.minutes, Byte((time.timecode.hours & 0x1F) | (time.rateCode & 3) << 5)};
    const int field = fields[static_cast<std::size_t>(piece / 2)];
    const int nibble = piece % 2 == 0 ? field & 15 : field >> 4 & 15;
    return {kQuarterFrameStatus, Byte(piece << 4 | nibble)};
}

FullFrame EncodeFullFrame(const MtcTime& time, std::uint8_t deviceId) noexcept
{
    const auto& timecode = time.timecode;
    return {0xF0, 0x7F, deviceId, 0x01, 0x01,
        Byte((timecode.hours & 0x1F) | (time.rateCode & 3) << 5), Byte(timecode.minutes & 0x7F),
        Byte(timecode.seconds & 0x7F), Byte(timecode.frames & 0x7F), 0xF7};
}

std::optional<MtcTime> DecodeFullFrame(ByteView bytes) noexcept
{
    const bool isFullFrame = bytes.size() == 10 && bytes[0] == 0xF0 && bytes[1] == 0x7F
        && bytes[3] == 0x01 && bytes[4] == 0x01 && bytes[9] == 0xF7;
    if (!isFullFrame)
        return std::nullopt;
    const std::uint8_t rateCode = bytes[5] >> 5 & 3;
    return MtcTime{{Byte(bytes[5] & 0x1F), bytes[6], bytes[7], bytes[8], rateCode == 2}, rateCode};
}

MtcTime JoinPieces(const std::array<std::uint8_t, kMtcPieces>& nibbles) noexcept
{
    const auto field
        = [&](std::size_t i, int mask) { return Byte((nibbles[i] | nibbles[i + 1] << 4) & mask); };
    const std::uint8_t rateCode = nibbles[7] >> 1 & 3;
    return {
        {field(6, 0x1F), field(4, 0xFF), field(2, 0xFF), field(0, 0xFF), rateCode == 2}, rateCode};
}

std::optional<MtcReading> MtcDecoder::Feed(ByteView message) noexcept
{
    if (const auto time = DecodeFullFrame(message)) {
        mInOrder = 0;
        mLastPiece = -1;
        return MtcReading{*time, MtcDirection::kUnknown, true};
    }
    if (message.size() != 2 || message[0] != kQuarterFrameStatus || message[1] >= 0x80)
        return std::nullopt;
    return FeedPiece(message[1] >> 4, message[1] & 15);
}

std::optional<MtcReading> MtcDecoder::FeedPiece(int piece, std::uint8_t nibble) noexcept
{
    MtcDirection step = MtcDirection::kUnknown;
    if (mLastPiece >= 0 && piece == (mLastPiece + 1) % kMtcPieces)
        step = MtcDirection::kForward;
    else if (mLastPiece >= 0 && mLastPiece == (piece + 1) % kMtcPieces)
        step = MtcDirection::kReverse;
    // The first step gives the direction to the piece before it
    if (step == MtcDirection::kUnknown)
        mInOrder = 1;
    else
        mInOrder = step == mDirection || mInOrder == 1 ? mInOrder + 1 : 2;
    mDirection = step == MtcDirection::kUnknown ? mDirection : step;
    mLastPiece = piece;
    mNibbles[static_cast<std::size_t>(piece)] = nibble;
    const int lastOfCycle = mDirection == MtcDirection::kReverse ? 0 : kMtcPieces - 1;
    if (mInOrder < kMtcPieces || piece != lastOfCycle)
        return std::nullopt;
    return MtcReading{JoinPieces(mNibbles), mDirection, false};
}

} // namespace deck
