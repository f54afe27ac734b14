// 32-bit handles that can be checked without a lock: a handle is good as long as its slot
// still holds exactly it. Slots are never freed, so a stale handle is only ever refused.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>

namespace midiservice {

enum class HandleKind : std::uint8_t {
    None = 0,
    Client = 1,
    InputPort = 2,
    OutputPort = 3,
    Source = 4,
    Destination = 5,
};

class HandleTable {
public:
    static constexpr std::uint32_t kIndexBits = 13;
    static constexpr std::uint32_t kKindBits = 3;
    static constexpr std::uint32_t kCapacity = 1U << kIndexBits;

    HandleTable()
    {
        for (std::uint32_t index = 0; index < kCapacity; ++index)
            mFree.push_back(index);
    }

    /// A new handle, or 0 when the table is full. Under the registry's lock.
    MIDIObjectRef Make(HandleKind kind)
    {
        if (mFree.empty())
            return 0;
        const std::uint32_t index = mFree.front();
        mFree.pop_front();
        Slot& slot = mSlots[index];
        slot.generation = slot.generation == kMaxGeneration ? 1 : slot.generation + 1;
        const MIDIObjectRef handle = (slot.generation << (kIndexBits + kKindBits))
            | (static_cast<std::uint32_t>(kind) << kIndexBits) | index;
        slot.handle.store(handle);
        return handle;
    }

    /// The oldest free slot is used first, which keeps a stale handle stale for longest.
    /// Under the registry's lock.
    void Free(MIDIObjectRef handle)
    {
        const std::uint32_t index = IndexOf(handle);
        if (mSlots[index].handle.load() != handle)
            return;
        mSlots[index].handle.store(0);
        mFree.push_back(index);
    }

    /// The handle is refused until it is resumed; its slot stays taken. Under the registry's
    /// lock.
    void Suspend(MIDIObjectRef handle) { mSlots[IndexOf(handle)].handle.store(0); }
    void Resume(MIDIObjectRef handle) { mSlots[IndexOf(handle)].handle.store(handle); }

    /// [any thread, real-time]
    bool IsValid(MIDIObjectRef handle, HandleKind kind) const noexcept
    {
        return KindOf(handle) == kind && mSlots[IndexOf(handle)].handle.load() == handle;
    }

    /// The kind a handle was made as, whether it is stale or not. [any thread, real-time]
    static HandleKind KindOf(MIDIObjectRef handle) noexcept
    {
        const std::uint32_t kind = (handle >> kIndexBits) & ((1U << kKindBits) - 1);
        if (handle >> (kIndexBits + kKindBits) == 0 || kind > 5)
            return HandleKind::None;
        return static_cast<HandleKind>(kind);
    }

    /// Moves when what is scheduled for this endpoint is to be dropped. [any thread, real-time]
    std::atomic<std::uint32_t>& FlushEpoch(MIDIObjectRef handle) noexcept
    {
        return mSlots[IndexOf(handle)].flushEpoch;
    }

private:
    static constexpr std::uint32_t kMaxGeneration = (1U << (32 - kIndexBits - kKindBits)) - 1;

    static std::uint32_t IndexOf(MIDIObjectRef handle) noexcept { return handle & (kCapacity - 1); }

    struct Slot {
        std::atomic<MIDIObjectRef> handle{0};
        std::atomic<std::uint32_t> flushEpoch{0};
        std::uint32_t generation = 0;
    };

    std::array<Slot, kCapacity> mSlots{};
    std::deque<std::uint32_t> mFree;
};

} // namespace midiservice
