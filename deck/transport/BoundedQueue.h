// Carries values between threads of which none may wait.

#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace deck {

/// First in, first out, for any number of producers and consumers. Nobody waits for anybody: a
/// full queue refuses, and an empty one yields nothing.
template <typename T, std::size_t kCapacity> class BoundedQueue {
    static_assert((kCapacity & (kCapacity - 1)) == 0, "the capacity is a power of two");
    static_assert(std::is_trivially_copyable_v<T>);
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

public:
    BoundedQueue() noexcept
    {
        for (std::size_t i = 0; i < kCapacity; ++i) {
            mCells[i].turn.store(i, std::memory_order_relaxed); // no other thread knows us yet
        }
    }

    /// Accepts `value`, or returns false when the queue is full. [any thread, real-time]
    bool TryPush(const T& value) noexcept
    {
        std::uint64_t position = mPushed.load(std::memory_order_relaxed); // checked by the exchange
        for (;;) {
            Cell& cell = mCells[position % kCapacity];
            const std::uint64_t turn = cell.turn.load(std::memory_order_acquire);
            if (turn == position) {
                if (mPushed.compare_exchange_weak(position, position + 1)) {
                    cell.value = value;
                    cell.turn.store(position + 1, std::memory_order_release); // publishes value
                    return true;
                }
            } else if (turn < position) {
                return false;
            } else {
                position = mPushed.load(std::memory_order_relaxed);
            }
        }
    }

    /// The oldest value, if there is one. [any thread, real-time]
    std::optional<T> TryPop() noexcept
    {
        std::uint64_t position = mPopped.load(std::memory_order_relaxed); // checked by the exchange
        for (;;) {
            Cell& cell = mCells[position % kCapacity];
            const std::uint64_t turn = cell.turn.load(std::memory_order_acquire);
            if (turn == position + 1) {
                if (mPopped.compare_exchange_weak(position, position + 1)) {
                    const T value = cell.value;
                    cell.turn.store(position + kCapacity, std::memory_order_release); // frees it
                    return value;
                }
            } else if (turn < position + 1) {
                return std::nullopt;
            } else {
                position = mPopped.load(std::memory_order_relaxed);
            }
        }
    }

private:
    // Whose turn a cell is: at n it waits for the n-th push, at n + 1 for the n-th pop.
    struct Cell {
        std::atomic<std::uint64_t> turn{0};
        T value{};
    };

    std::array<Cell, kCapacity> mCells;
    alignas(64) std::atomic<std::uint64_t> mPushed{0}; // written by producers
    alignas(64) std::atomic<std::uint64_t> mPopped{0}; // written by consumers
};

} // namespace deck
