#include "mediaio/midiservice/src/jack/JackOutbox.h"

#include <algorithm>
#include <bitset>
#include <cstring>

namespace midiservice {

JackOutbox::JackOutbox()
{
    for (SlotIndex slot = 0; slot < kSlots; ++slot)
        mFree.push(slot);
}

bool JackOutbox::IsLater(const Item& a, const Item& b) noexcept
{
    return a.time != b.time ? a.time > b.time : a.arrival > b.arrival;
}

// ------------------------------------------------------------------ the receive thread

SendResult JackOutbox::Put(
    std::uint32_t output, std::uint32_t serial, const OutgoingMessage& message) noexcept
{
    SlotIndex index = kNoSlot;
    if (!mFree.pop(index))
        return SendResult::Later;
    mTaken.fetch_add(1);
    Slot& slot = mSlots[index];
    slot.next = kNoSlot;
    slot.length = message.length;
    std::memcpy(slot.bytes.data(), message.bytes, message.length);

    Join& join = mJoins[output];
    const bool isStale = join.isOpen && join.item.serial != serial;
    if (isStale) {
        Post(join.item); // the process callback drops it, its output being gone
        join.isOpen = false;
    }
    if (ContinueJoin(join, index, message))
        return SendResult::Taken;

    Item item;
    item.time = message.time;
    item.first = index;
    item.length = message.length;
    item.output = output;
    item.serial = serial;
    item.epoch = message.epoch;
    item.currentEpoch = message.currentEpoch;
    if (message.piece == Piece::SysExFirst && !join.isOpen)
        join = Join{item, index, 1, message.port, true};
    else
        Post(item);
    return SendResult::Taken;
}

bool JackOutbox::ContinueJoin(Join& join, SlotIndex slot, const OutgoingMessage& message) noexcept
{
    const bool isPart = message.piece == Piece::SysExMiddle || message.piece == Piece::SysExLast;
    if (!isPart || !join.isOpen || join.port != message.port)
        return false;
    if (join.last != kNoSlot)
        mSlots[join.last].next = slot;
    else
        join.item.first = slot;
    join.last = slot;
    join.item.length += message.length;
    ++join.slots;
    const bool isLast = message.piece == Piece::SysExLast;
    if (isLast || join.slots == kMaxJoinedSlots) {
        Post(join.item);
        join.item.first = kNoSlot;
        join.item.length = 0;
        join.last = kNoSlot;
        join.slots = 0;
    }
    join.isOpen = !isLast;
    return true;
}

// Never full: there are no more items than slots.
void JackOutbox::Post(Item item) noexcept
{
    if (item.first != kNoSlot)
        mPosted.push(item);
}

// ------------------------------------------------------------------ the process callback

std::size_t JackOutbox::Write(JackCycle& cycle) noexcept
{
    mLeft.store(mGiven); // a new cycle: what the one before wrote has reached its readers
    const auto begin = mWaiting.begin();
    for (Item item; mPosted.pop(item);) {
        item.arrival = mArrivals++;
        mWaiting[mWaitingCount++] = item;
        std::push_heap(begin, begin + static_cast<std::ptrdiff_t>(mWaitingCount), IsLater);
    }

    std::size_t flushed = 0;
    std::size_t putBack = 0;
    std::bitset<kMaxJackOutputs> full;
    while (mWaitingCount > 0 && cycle.FrameAt(mWaiting[0].time) < cycle.Frames()) {
        std::pop_heap(begin, begin + static_cast<std::ptrdiff_t>(mWaitingCount), IsLater);
        Item& item = mWaiting[--mWaitingCount];
        const bool isFlushed = item.time != 0 && item.currentEpoch->load() != item.epoch;
        if (isFlushed || !cycle.HasOutput(item.output, item.serial)) {
            flushed += isFlushed ? 1 : 0;
            GiveSlots(item.first);
        } else if (full[item.output] || !WriteItem(cycle, item)) {
            full.set(item.output);
            mPutBack[putBack++] = item;
        }
    }
    for (std::size_t index = 0; index < putBack; ++index) {
        mWaiting[mWaitingCount++] = mPutBack[index];
        std::push_heap(begin, begin + static_cast<std::ptrdiff_t>(mWaitingCount), IsLater);
    }
    return flushed;
}

// True when nothing of it is left.
bool JackOutbox::WriteItem(JackCycle& cycle, Item& item) noexcept
{
    const auto frame = static_cast<std::uint32_t>(cycle.FrameAt(item.time));
    if (item.length <= cycle.Room(item.output)) {
        std::uint8_t* to = cycle.Reserve(item.output, frame, item.length);
        if (to == nullptr)
            return false;
        CopyOut(item, to, item.length);
        return true;
    }
    // One that no cycle takes whole goes out in parts.
    return cycle.IsUntouched(item.output) && WritePart(cycle, item, frame);
}

bool JackOutbox::WritePart(JackCycle& cycle, Item& item, std::uint32_t frame) noexcept
{
    std::size_t length = 0;
    for (SlotIndex slot = item.first; slot != kNoSlot; slot = mSlots[slot].next) {
        if (length + mSlots[slot].length > cycle.Room(item.output))
            break;
        length += mSlots[slot].length;
    }
    std::uint8_t* to = length > 0 ? cycle.Reserve(item.output, frame, length) : nullptr;
    if (to != nullptr)
        CopyOut(item, to, length);
    return item.first == kNoSlot;
}

/// Copies whole slots and gives them back.
void JackOutbox::CopyOut(Item& item, std::uint8_t* to, std::size_t length) noexcept
{
    while (length > 0) {
        const SlotIndex index = item.first;
        const Slot& slot = mSlots[index];
        std::memcpy(to, slot.bytes.data(), slot.length);
        to += slot.length;
        length -= slot.length;
        item.length -= slot.length;
        item.first = slot.next;
        mFree.push(index);
        ++mGiven;
    }
}

void JackOutbox::GiveSlots(SlotIndex first) noexcept
{
    while (first != kNoSlot) {
        const SlotIndex next = mSlots[first].next;
        mFree.push(first);
        ++mGiven;
        first = next;
    }
}

} // namespace midiservice
