// Endless MIDI of the unpleasant kind: pieces of messages, floods and noise in any order.

#pragma once

#include "tests/MIDIMachineControl/NaiveReceiver.h"

#include <algorithm>
#include <array>
#include <random>

namespace mmc::tests {

class HostileMidi {
public:
    explicit HostileMidi(unsigned int seed)
        : mRandom(seed)
    {
    }

    /// The next arrival: 1 to `most` bytes, cut anywhere.
    Bytes NextArrival(std::size_t most)
    {
        const std::size_t length = 1 + Below(most);
        while (mPending.size() < length) {
            AppendPiece();
        }
        const auto end = mPending.begin() + static_cast<std::ptrdiff_t>(length);
        Bytes arrival(mPending.begin(), end);
        mPending.erase(mPending.begin(), end);
        return arrival;
    }

    std::size_t Below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(mRandom);
    }

private:
    void AppendPiece()
    {
        static const std::array<Bytes, 24> kPieces{{
            {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7},
            {0xF0, 0x7F, 0x10, 0x06, 0x04, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x05, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x09, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x0D, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x61, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x44, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x47, 0x03, 0x40, 0x00, 0x00, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0x06, 0x05, 0x06, 0x02, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06, 0xF7},
            {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7},
            {0xF0, 0x43, 0x10, 0x4C, 0x00, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7},
            {0xF0, 0x7F, 0x7F, 0x06},
            {0xF0, 0x43},
            {0xF0},
            {0xF7},
            {0x06, 0x02},
            {0x90, 0x3C, 0x40},
            {0xF8},
            {0xFE},
            {0x7F},
        }};
        const std::size_t kind = Below(100);
        if (kind < 70) {
            Append(kPieces.at(Below(kPieces.size())));
        } else if (kind < 80) {
            Append({0xF0, 0x7F, 0x7F, static_cast<std::uint8_t>(Below(8)), AnyByte(), 0xF7});
        } else if (kind < 90) {
            mPending.push_back(AnyByte());
        } else if (kind < 97) {
            mPending.insert(mPending.end(), Below(40), AnyByte());
        } else {
            Append({0xF0, 0x7F, 0x7F, 0x06, AnyByte(), AnyByte(), AnyByte(), AnyByte(), 0xF7});
        }
    }

    void Append(const Bytes& piece) { mPending.insert(mPending.end(), piece.begin(), piece.end()); }
    std::uint8_t AnyByte() { return static_cast<std::uint8_t>(Below(256)); }

    std::mt19937 mRandom;
    Bytes mPending;
};

} // namespace mmc::tests
