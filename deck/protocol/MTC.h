// MIDI Time Code: its two messages, written and read.

#pragma once

#include "deck/protocol/MMC.h"

#include <array>

namespace deck {

inline constexpr int kMtcPieces = 8;
inline constexpr std::uint8_t kQuarterFrameStatus = 0xF1;

/// A position as MTC tells it. `timecode.drop` goes with rate code 2.
struct MtcTime {
    Timecode timecode;
    std::uint8_t rateCode = 0; // 0 = 24, 1 = 25, 2 = 30 drop-frame, 3 = 30

    friend bool operator==(const MtcTime&, const MtcTime&) = default;
};

MtcTime MtcTimeOf(FrameNumber frame, FrameRate rate) noexcept;

using QuarterFrame = std::array<std::uint8_t, 2>;
using FullFrame = std::array<std::uint8_t, 10>;

/// F1 and piece 0 to 7 of `time`. [any thread, real-time]
QuarterFrame EncodeQuarterFrame(const MtcTime& time, int piece) noexcept;
/// F0 7F `deviceId` 01 01 hr mn sc fr F7. [any thread, real-time]
FullFrame EncodeFullFrame(const MtcTime& time, std::uint8_t deviceId = kMMCAllDevices) noexcept;
/// Nothing for any other bytes. Fields come as they are, unchecked. [any thread, real-time]
std::optional<MtcTime> DecodeFullFrame(ByteView bytes) noexcept;

/// The eight nibbles of a cycle as a position, unchecked. [any thread, real-time]
MtcTime JoinPieces(const std::array<std::uint8_t, kMtcPieces>& nibbles) noexcept;

enum class MtcDirection : std::uint8_t { kUnknown, kForward, kReverse };

/// What a message told. Forward, `time` is where the sender was when it sent piece 0: seven
/// quarter frames before the piece that completed it.
struct MtcReading {
    MtcTime time;
    MtcDirection direction = MtcDirection::kUnknown; // unknown for a full frame
    bool isFullFrame = false;
};

/// Follows a stream as a machine does that locks to it. Pieces out of order begin a new cycle.
/// [one thread at a time, real-time]
class MtcDecoder {
public:
    /// Takes one message; a reading when it is a full frame or completes eight pieces in order.
    std::optional<MtcReading> Feed(ByteView message) noexcept;
    MtcDirection Direction() const noexcept { return mDirection; }

private:
    std::optional<MtcReading> FeedPiece(int piece, std::uint8_t nibble) noexcept;

    std::array<std::uint8_t, kMtcPieces> mNibbles{};
    int mLastPiece = -1;
    int mInOrder = 0; // pieces in one direction, this one included
    MtcDirection mDirection = MtcDirection::kUnknown;
};

} // namespace deck
