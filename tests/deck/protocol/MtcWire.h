// What stands on both sides of an MtcPacer: the plug-in that sends, and the wire.

#pragma once

#include "MtcStream.h"
#include "deck/protocol/MtcPacer.h"

namespace deck {

/// Takes packets as a server does that runs once a period: a packet leaves at its time, but not
/// before the next period begins.
class Wire : public MtcOutput {
public:
    explicit Wire(std::chrono::nanoseconds period)
        : mPeriod(period)
    {
    }

    void Send(ByteView bytes, std::chrono::nanoseconds time) noexcept override
    {
        const auto next = (now + mPeriod - std::chrono::nanoseconds(1)) / mPeriod * mPeriod;
        messages.push_back({Bytes(bytes.begin(), bytes.end()), std::max(time, next)});
    }

    void Flush() noexcept override
    {
        dropped += std::erase_if(
            messages, [&](const TimedBytes& message) { return message.time > now; });
        ++flushes;
    }

    std::chrono::nanoseconds now{0};
    int flushes = 0;
    std::size_t dropped = 0; // by them
    std::vector<TimedBytes> messages;

private:
    std::chrono::nanoseconds mPeriod;
};

/// The plug-in's side: four quarter frames a call, eight of one position in two calls.
class Sender {
public:
    std::array<QuarterFrame, 4> Play(const MtcTime& time)
    {
        if (mPhase == 0)
            mTime = time;
        std::array<QuarterFrame, 4> messages{};
        for (int i = 0; i < 4; ++i)
            messages[static_cast<std::size_t>(i)] = EncodeQuarterFrame(mTime, 4 * mPhase + i);
        mPhase = 1 - mPhase;
        return messages;
    }

    Bytes Locate(const MtcTime& time)
    {
        mPhase = 0;
        const auto bytes = EncodeFullFrame(time);
        return {bytes.begin(), bytes.end()};
    }

private:
    int mPhase = 0;
    MtcTime mTime;
};

} // namespace deck
