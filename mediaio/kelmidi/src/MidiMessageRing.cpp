#include "mediaio/kelmidi/src/MidiMessageRing.h"

#include <bit>
#include <cassert>
#include <thread>
#include <utility>

namespace kelmidi {

// Every access to a shared word keeps the default, sequentially consistent order: the two counters
// must not be seen out of step, or a message could wait with no pass to come; and the pin must be
// seen before the slot is read again, or a pinned message could be overwritten.

MidiMessageRing::MidiMessageRing(std::uint32_t capacity)
    : mCapacity(capacity)
    , mPool(std::allocator<MidiMessage>().allocate(capacity + kSpares), {capacity + kSpares})
    , mSlots(new std::atomic<SlotWord>[capacity])
    , mSpares{capacity, capacity + 1}
{
    assert(std::has_single_bit(capacity) && capacity <= kCapacity);
    for (std::uint32_t index = 0; index < capacity; ++index) {
        mSlots[index].store(MakeWord(0, index));
    }
}

std::int64_t MidiMessageRing::Claim() noexcept
{
    return mWriteCount.fetch_add(1) + 1;
}

void MidiMessageRing::Fill(std::int64_t number, const MidiMessage& message) noexcept
{
    // A spare stands in no slot, so that the pass cannot pin it from now on; it may have before.
    if (mSpares[0] == mPinned.load()) {
        std::swap(mSpares[0], mSpares[1]);
    }
    std::construct_at(&mPool[mSpares[0]], message); // what was there needs no end
    const SlotWord before = SlotOf(number).exchange(MakeWord(number, mSpares[0]));
    mSpares[0] = IndexOf(before);
}

bool MidiMessageRing::HoldsOne() const noexcept
{
    const std::int64_t written = mWriteCount.load();
    return written - mReadCount.load() == 1;
}

const MidiMessage* MidiMessageRing::Next() noexcept
{
    const std::int64_t read = mReadCount.load();
    if (read == mWriteCount.load()) {
        return nullptr;
    }
    return &mPool[PinMessage(mReadCount.fetch_add(1) + 1)];
}

void MidiMessageRing::Unpin() noexcept
{
    mPinned.store(kNothingPinned);
}

std::uint32_t MidiMessageRing::PinMessage(std::int64_t number) noexcept
{
    const std::atomic<SlotWord>& slot = SlotOf(number);
    for (;;) {
        const SlotWord word = WaitUntilFilled(slot, number);
        mPinned.store(IndexOf(word));
        // Unchanged: the producer has not taken the message out, and will find it pinned when it
        // does.
        if (slot.load() == word) {
            return IndexOf(word);
        }
    }
}

MidiMessageRing::SlotWord MidiMessageRing::WaitUntilFilled(
    const std::atomic<SlotWord>& slot, std::int64_t number) noexcept
{
    // A producer that runs is done in less time than a yield costs on a busy machine; one that does
    // not run needs the processor that the yield gives away.
    constexpr int kLooksBetweenYields = 1000;
    for (int looks = 1;; ++looks) {
        const SlotWord word = slot.load();
        if (NumberOf(word) >= number) {
            return word;
        }
        if (looks % kLooksBetweenYields == 0) {
            std::this_thread::yield();
        }
    }
}

std::atomic<MidiMessageRing::SlotWord>& MidiMessageRing::SlotOf(std::int64_t number) noexcept
{
    return mSlots[static_cast<std::uint64_t>(number - 1) & (mCapacity - 1)];
}

} // namespace kelmidi
