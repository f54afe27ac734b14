// The half-received messages of every origin. Only origins that are in the middle of
// something need a place, so a fixed number of places serves any number of origins.

#pragma once

#include "mediaio/midiservice/src/MessageSplitter.h"
#include "mediaio/midiservice/src/SysExAssembler.h"

#include <array>
#include <cstdint>

namespace midiservice {

/// A stream of bytes that belongs together: where it comes from, and where it goes where
/// that makes a difference.
struct OriginKey {
    std::uint64_t from = 0;
    std::uint64_t to = 0;
    friend bool operator==(const OriginKey&, const OriginKey&) = default;
};

struct OriginState {
    OriginKey key;
    std::uint64_t lastUse = 0;
    SysExAssembler assembler;
    MessageSplitter splitter;

    bool IsIdle() const noexcept { return assembler.IsIdle() && splitter.IsIdle(); }
};

/// [receive, real-time]
class OriginStates {
public:
    static constexpr std::size_t kCapacity = 256;

    /// The state of this origin. When every place is taken, the one whose origin has been
    /// silent for longest gives way, and with it what it had of a message.
    OriginState& Open(const OriginKey& key) noexcept
    {
        for (std::size_t index = 0; index < mCount; ++index)
            if (mStates[index].key == key)
                return Touch(mStates[index]);
        OriginState& place = mCount < kCapacity ? mStates[mCount++] : Oldest();
        place = OriginState{};
        place.key = key;
        return Touch(place);
    }

    /// Gives the place back unless a message is under way in it.
    void Close(OriginState& state) noexcept
    {
        if (!state.IsIdle())
            return;
        OriginState& last = mStates[--mCount];
        if (&last != &state)
            state = last;
    }

private:
    OriginState& Touch(OriginState& state) noexcept
    {
        state.lastUse = ++mUses;
        return state;
    }

    OriginState& Oldest() noexcept
    {
        OriginState* oldest = &mStates[0];
        for (OriginState& state : mStates)
            if (state.lastUse < oldest->lastUse)
                oldest = &state;
        return *oldest;
    }

    std::array<OriginState, kCapacity> mStates{};
    std::size_t mCount = 0;
    std::uint64_t mUses = 0;
};

} // namespace midiservice
