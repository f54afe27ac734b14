// Carries requests from any thread to the one that serves them, without a lock.

#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace midiservice {

/// Holds up to `Capacity` requests that are not taken out of service yet; many threads push, one
/// pops. Requests of one thread stay in order.
template <typename Request, std::uint32_t Capacity> class RequestQueue {
public:
    RequestQueue() noexcept
    {
        for (Index index = 0; index < Capacity; ++index)
            mNodes[index].next.store(index + 1 < Capacity ? index + 1 : kNone);
    }

    /// Returns false where the queue is full. [any thread, real-time]
    bool push(const Request& request) noexcept
    {
        const Index index = TryTakeNode();
        if (index == kNone)
            return false;
        mNodes[index].request = request;
        // Needs no tag, unlike the free nodes: nobody takes a single node off this stack.
        Index newest = mNewest.load();
        do
            mNodes[index].next.store(newest);
        while (!mNewest.compare_exchange_weak(newest, index));
        return true;
    }

    /// Returns false where the queue is empty. [receive, real-time]
    bool pop(Request& request) noexcept
    {
        if (mOldest == kNone)
            TurnRound(mNewest.exchange(kNone));
        if (mOldest == kNone)
            return false;
        const Index index = mOldest;
        mOldest = mNodes[index].next.load();
        request = mNodes[index].request;
        GiveNode(index);
        return true;
    }

private:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;
    static_assert(Capacity > 0 && Capacity < kNone);
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

    struct Node {
        Request request{};
        std::atomic<Index> next{kNone};
    };

    void TurnRound(Index newest) noexcept
    {
        while (newest != kNone) {
            const Index older = mNodes[newest].next.load();
            mNodes[newest].next.store(mOldest);
            mOldest = newest;
            newest = older;
        }
    }

    Index TryTakeNode() noexcept
    {
        std::uint64_t head = mFree.load();
        while (IndexOf(head) != kNone) {
            const Index next = mNodes[IndexOf(head)].next.load();
            if (mFree.compare_exchange_weak(head, WithTag(next, head)))
                return IndexOf(head);
        }
        return kNone;
    }

    void GiveNode(Index index) noexcept
    {
        std::uint64_t head = mFree.load();
        do
            mNodes[index].next.store(IndexOf(head));
        while (!mFree.compare_exchange_weak(head, WithTag(index, head)));
    }

    static Index IndexOf(std::uint64_t head) noexcept { return static_cast<Index>(head); }

    // The upper half counts changes, so that a head that went and came back is not mistaken
    // for one that never moved.
    static std::uint64_t WithTag(Index index, std::uint64_t old) noexcept
    {
        return (((old >> 32) + 1) << 32) | index;
    }

    std::array<Node, Capacity> mNodes;
    std::atomic<std::uint64_t> mFree{0};
    std::atomic<Index> mNewest{kNone}; // what was pushed last, and so on back
    Index mOldest = kNone;             // the popping thread's own, in order
};

} // namespace midiservice
