// What a surface makes of incoming bytes, written down as plainly as it can be told: nothing is
// remembered between searches and nothing is thrown away early. The measure for the real one.

#pragma once

#include "tests/MIDIMachineControl/PlainHost.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace mmc::tests {

using Bytes = std::vector<std::uint8_t>;

/// An MMC message as it is handed to the interpreter: the sub-ID, then the command bytes.
using Dispatches = std::vector<Bytes>;

/// Cuts messages out of the stream.
class NaiveBuffer {
public:
    /// The MMC messages that this arrival completes.
    Dispatches Arrive(const Bytes& bytes)
    {
        mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
        Dispatches dispatches;
        while (TakeOne(dispatches)) {
        }
        return dispatches;
    }

private:
    bool TakeOne(Dispatches& dispatches)
    {
        const auto begin = mBytes.begin();
        const auto start = std::find(begin, mBytes.end(), 0xF0);
        const auto end = std::find(begin, mBytes.end(), 0xF7);
        if (end == mBytes.end() || start == mBytes.end() || start + 1 == mBytes.end()) {
            return false;
        }
        const bool isMMC
            = end - start > 4 && start[1] == 0x7F && (start[3] == 0x06 || start[3] == 0x07);
        if (isMMC) {
            dispatches.emplace_back(start + 3, end);
        }
        mBytes.erase(begin, end + 1);
        return isMMC;
    }

    Bytes mBytes;
};

/// Carries out commands.
class NaiveInterpreter {
public:
    void Handle(const Bytes& subIdAndData, std::vector<HostCall>& calls)
    {
        mBytes.insert(mBytes.end(), subIdAndData.begin(), subIdAndData.end());
        std::size_t position = 0;
        while (mBytes.size() - position >= 2 && mBytes[position] == 0x06) {
            const Bytes unit(mBytes.begin() + static_cast<std::ptrdiff_t>(position), mBytes.end());
            const std::size_t length = Length(unit);
            if (length > unit.size()) {
                break;
            }
            CarryOut(unit, calls);
            if (length == 0) {
                break;
            }
            position += length;
        }
        mBytes.erase(mBytes.begin(), mBytes.begin() + static_cast<std::ptrdiff_t>(position));
    }

private:
    static std::size_t Length(const Bytes& unit)
    {
        const std::uint8_t command = unit[1];
        if ((command >= 0x01 && command <= 0x3F) || (command >= 0x78 && command <= 0x7F)) {
            return 2;
        }
        if (command >= 0x40 && command <= 0x77 && unit.size() > 2) {
            return std::size_t{unit[2]} + 3;
        }
        return 0;
    }

    void CarryOut(const Bytes& unit, std::vector<HostCall>& calls)
    {
        switch (unit[1]) {
        case 0x01:
            Release(calls);
            calls.push_back(kStop);
            return;
        case 0x02:
        case 0x03:
            Release(calls);
            calls.push_back(kPlay);
            return;
        case 0x04:
            Release(calls);
            calls.push_back(kStartFastForward);
            mFastForward = true;
            return;
        case 0x05:
            Release(calls);
            calls.push_back(kStartRewind);
            mRewind = true;
            return;
        case 0x06:
            Release(calls);
            calls.push_back(kRecord);
            return;
        case 0x07:
            calls.push_back(kStop);
            return;
        case 0x08:
            calls.push_back(kPause);
            return;
        case 0x09:
            Release(calls);
            calls.push_back(kPause);
            return;
        case 0x0D:
            Release(calls);
            return;
        case 0x44:
            Locate(unit, calls);
            return;
        default:
            return;
        }
    }

    static void Locate(const Bytes& unit, std::vector<HostCall>& calls)
    {
        if (unit.size() < 9 || unit[3] != 0x01) {
            return;
        }
        const std::uint32_t format = ((unit[4] >> 5U) & 3U) + 2;
        const auto masked = [&](std::size_t offset, unsigned int mask) {
            return static_cast<std::uint8_t>(unit[offset] & mask);
        };
        calls.push_back(LocateCall(
            format, {masked(4, 0x1F), masked(5, 0x3F), masked(6, 0x3F), masked(7, 0x1F), unit[8]}));
    }

    void Release(std::vector<HostCall>& calls)
    {
        if (mRewind) {
            calls.push_back(kStopRewind);
        }
        if (mFastForward) {
            calls.push_back(kStopFastForward);
        }
        mRewind = false;
        mFastForward = false;
    }

    Bytes mBytes;
    bool mRewind = false;
    bool mFastForward = false;
};

/// Both, from bytes to host calls.
class NaiveReceiver {
public:
    void Arrive(const Bytes& bytes)
    {
        for (const Bytes& message : mBuffer.Arrive(bytes)) {
            mInterpreter.Handle(message, mCalls);
        }
    }
    const std::vector<HostCall>& Calls() const { return mCalls; }

private:
    NaiveBuffer mBuffer;
    NaiveInterpreter mInterpreter;
    std::vector<HostCall> mCalls;
};

} // namespace mmc::tests
