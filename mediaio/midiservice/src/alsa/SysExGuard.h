// Keeps the rest of a SysEx from being taken for a whole one after the kernel has dropped
// events in its middle.

#pragma once

#include "mediaio/midiservice/src/SysExAssembler.h"
#include "mediaio/midiservice/src/alsa/Sequencer.h"

#include <bitset>

namespace midiservice::alsa {

/// [receive, real-time]
class SysExGuard {
public:
    /// Events were lost: what is under way anywhere can no longer be completed.
    void OnLoss() noexcept { mBroken |= mOpen; }

    /// False for the rest of a broken SysEx. `bytes` are one event's.
    bool Accept(Address from, const std::uint8_t* bytes, std::size_t length) noexcept
    {
        const std::size_t origin = from.Packed();
        if (bytes[0] >= kFirstRealTime)
            return true;
        const bool isRest = bytes[0] < kFirstStatus || bytes[0] == kSysExEnd;
        if (isRest && mBroken[origin])
            return false;
        mBroken[origin] = false;
        mOpen[origin] = (isRest || bytes[0] == kSysExStart) && bytes[length - 1] != kSysExEnd;
        return true;
    }

private:
    std::bitset<65536> mOpen;
    std::bitset<65536> mBroken;
};

} // namespace midiservice::alsa
