// Carries received messages from the receive thread to the delivery pass: the
// receive thread never waits and never refuses, so a pass that falls behind
// loses the oldest messages.

#pragma once

#include "mediaio/kelmidi/src/MidiDataTypes.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace kelmidi {

/// 4096 slots; one producing thread, one consuming pass at a time. A producer that runs further
/// ahead overwrites the oldest slots, and the pass then meets the newest message of a slot, more
/// than once where it was lapped.
// Each side writes to a cache line of its own, hence the padding.
class MidiMessageRing { // NOLINT(clang-analyzer-optin.performance.Padding)
public:
    static constexpr std::uint32_t kCapacity = 4096;

    /// `capacity` is a power of two up to 4096.
    explicit MidiMessageRing(std::uint32_t capacity = kCapacity);
    MidiMessageRing(const MidiMessageRing&) = delete;
    MidiMessageRing& operator=(const MidiMessageRing&) = delete;

    /// Counts one more message and returns its number, from 1. From now on the pass expects it, and
    /// waits for it where it gets there first. [receive, real-time]
    std::int64_t Claim() noexcept;

    /// Puts a copy of `message` into the slot of the message just claimed. [receive, real-time]
    void Fill(std::int64_t number, const MidiMessage& message) noexcept;

    /// Whether exactly one message waits: the ring was empty before it. [receive, real-time]
    bool HoldsOne() const noexcept;

    /// The next message, or null where none waits. It stays as it is until the next call, whatever
    /// the producer does meanwhile. [delivery, may wait for a `Fill` that is under way]
    const MidiMessage* Next() noexcept;

    /// Gives back what `Next` returned last. [delivery]
    void Unpin() noexcept;

private:
    // A slot names a message of the pool and the number under which it was filled, in one word, so
    // that both change at once: number << 13 | index.
    using SlotWord = std::uint64_t;
    static_assert(std::atomic<SlotWord>::is_always_lock_free);
    static_assert(std::atomic<std::int64_t>::is_always_lock_free);

    static constexpr unsigned int kIndexBits = 13;
    // The pass pins one message at most, so of two spare messages one is always free.
    static constexpr std::uint32_t kSpares = 2;
    static constexpr std::uint32_t kNothingPinned = kCapacity + kSpares;
    static_assert(kNothingPinned < (1U << kIndexBits));

    static constexpr SlotWord MakeWord(std::int64_t number, std::uint32_t index)
    {
        return (static_cast<SlotWord>(number) << kIndexBits) | index;
    }
    static constexpr std::int64_t NumberOf(SlotWord word)
    {
        return static_cast<std::int64_t>(word >> kIndexBits);
    }
    static constexpr std::uint32_t IndexOf(SlotWord word)
    {
        return static_cast<std::uint32_t>(word & ((1U << kIndexBits) - 1));
    }

    std::uint32_t PinMessage(std::int64_t number) noexcept;
    static SlotWord WaitUntilFilled(
        const std::atomic<SlotWord>& slot, std::int64_t number) noexcept;
    std::atomic<SlotWord>& SlotOf(std::int64_t number) noexcept;

    struct FreePool {
        std::uint32_t size = 0;
        void operator()(MidiMessage* pool) const
        {
            std::allocator<MidiMessage>().deallocate(pool, size);
        }
    };

    const std::uint32_t mCapacity;
    // A megabyte that is not touched before messages come: most ports are only listed.
    std::unique_ptr<MidiMessage[], FreePool> mPool;
    std::unique_ptr<std::atomic<SlotWord>[]> mSlots; // written by the producer only

    alignas(64) std::atomic<std::int64_t> mReadCount{0}; // written by the pass only
    std::atomic<std::uint32_t> mPinned{kNothingPinned};  // written by the pass only

    alignas(64) std::atomic<std::int64_t> mWriteCount{0}; // written by the producer only
    std::uint32_t mSpares[kSpares];                       // the producer's own
};

} // namespace kelmidi
