// Streams of MTC as tests want them: sound ones, which a test then spoils.

#pragma once

#include "deck/protocol/MTC.h"

#include <algorithm>

namespace deck {

struct TimedBytes {
    Bytes bytes;
    std::chrono::nanoseconds time{0};
};

class MtcStream {
public:
    explicit MtcStream(FrameRate rate)
        : mRate(rate)
    {
    }

    /// A quarter of a frame of the rate, `count` times, exactly.
    std::chrono::nanoseconds Quarters(std::int64_t count) const
    {
        return std::chrono::nanoseconds(
            count * 1'000'000'000 / 4 * mRate.Denominator() / mRate.Numerator());
    }

    MtcStream& FullFrameAt(FrameNumber frame)
    {
        const auto bytes = EncodeFullFrame(MtcTimeOf(frame, mRate));
        messages.push_back({Bytes(bytes.begin(), bytes.end()), now});
        return *this;
    }

    /// `cycles` cycles of eight pieces from `frame` on, beginning now.
    MtcStream& Run(FrameNumber frame, int cycles)
    {
        const auto begin = now;
        for (int i = 0; i < cycles * kMtcPieces; ++i) {
            const auto time = MtcTimeOf(frame + i / kMtcPieces * 2, mRate);
            const auto bytes = EncodeQuarterFrame(time, i % kMtcPieces);
            messages.push_back({Bytes(bytes.begin(), bytes.end()), begin + Quarters(i)});
        }
        now = begin + Quarters(cycles * kMtcPieces);
        return *this;
    }

    MtcStream& RunReverse(FrameNumber frame, int cycles)
    {
        const auto begin = now;
        for (int i = 0; i < cycles * kMtcPieces; ++i) {
            const auto time = MtcTimeOf(frame - i / kMtcPieces * 2, mRate);
            const auto bytes = EncodeQuarterFrame(time, kMtcPieces - 1 - i % kMtcPieces);
            messages.push_back({Bytes(bytes.begin(), bytes.end()), begin + Quarters(i)});
        }
        now = begin + Quarters(cycles * kMtcPieces);
        return *this;
    }

    MtcStream& Pause(std::chrono::nanoseconds time)
    {
        now += time;
        return *this;
    }

    FrameRate Rate() const { return mRate; }

    std::vector<TimedBytes> messages;
    std::chrono::nanoseconds now{1'000'000'000};

private:
    FrameRate mRate;
};

} // namespace deck
