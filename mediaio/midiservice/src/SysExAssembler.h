// Joins the bytes of a SysEx again, however they were cut up on the way (MIDI 1.0, "System
// Exclusive"), so that a receiver gets a short one in one piece.

#pragma once

#include "mediaio/midiservice/src/Driver.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace midiservice {

constexpr std::uint8_t kSysExStart = 0xF0;
constexpr std::uint8_t kSysExEnd = 0xF7;
constexpr std::uint8_t kFirstRealTime = 0xF8;
constexpr std::uint8_t kFirstStatus = 0x80;

/// How many of these bytes, at most kMaxPieceBytes, go into one piece so that no message is
/// cut in two, where there is a message to respect. [any thread, real-time]
std::size_t PieceLength(const std::uint8_t* bytes, std::size_t length) noexcept;

/// Receives the pieces, in order.
class PieceSink {
public:
    virtual void OnPiece(
        Piece piece, HostTime time, const std::uint8_t* bytes, std::size_t length) noexcept = 0;

protected:
    ~PieceSink() = default;
};

/// The state of one origin's byte stream. [receive, real-time]
///
/// Passed on as they are, as Loose: all bytes outside a SysEx. A SysEx of up to
/// kMaxPieceBytes becomes one Message, a longer one SysExFirst, SysExMiddle..., SysExLast.
/// A real-time byte within a SysEx becomes a Message of its own ahead of it; any other
/// status byte ends the SysEx, which is passed on without its F7.
class SysExAssembler {
public:
    void Feed(
        HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept;

    /// Nothing is kept: this object may serve another origin.
    bool IsIdle() const noexcept { return !mIsInside; }

private:
    std::size_t FeedInside(
        HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept;
    std::size_t FeedOutside(
        HostTime time, const std::uint8_t* bytes, std::size_t length, PieceSink& sink) noexcept;
    void Append(std::uint8_t byte, PieceSink& sink) noexcept;
    void Finish(bool isComplete, PieceSink& sink) noexcept;

    std::array<std::uint8_t, kMaxPieceBytes> mBytes{};
    std::size_t mCount = 0;
    HostTime mTime = 0; // when the SysEx began
    bool mIsInside = false;
    bool mIsLong = false; // a part of it has been passed on
};

} // namespace midiservice
