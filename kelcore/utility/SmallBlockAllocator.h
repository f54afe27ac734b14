// Storage in blocks of a few fixed sizes, for the many short-lived strings and
// byte sequences of the MIDI path: a freed block serves the next request of its
// size, so that in steady state the general heap is not touched.

#pragma once

#include <cstddef>
#include <new>

namespace kelcore::utility {

/// The size of the block that a request for `bytes` bytes gets: at least `bytes`, and growing
/// geometrically, so that a sequence of ever larger requests changes its block a logarithmic
/// number of times. [any thread]
std::size_t SmallBlockSize(std::size_t bytes) noexcept;

/// A block of at least `bytes` bytes, aligned for any fundamental type. Throws `std::bad_alloc`.
/// [any thread, may block]
void* AllocateSmallBlock(std::size_t bytes);

/// Gives back a block; `bytes` is what it was asked for. [any thread, may block]
void FreeSmallBlock(void* block, std::size_t bytes) noexcept;

/// The standard-library face of the block functions.
template <typename T> class SmallBlockAllocator {
public:
    using value_type = T;

    SmallBlockAllocator() noexcept = default;
    template <typename U> SmallBlockAllocator(const SmallBlockAllocator<U>&) noexcept {}

    // NOLINTBEGIN(bugprone-sizeof-expression): T may well be a pointer
    T* allocate(std::size_t count)
    {
        if (count > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(AllocateSmallBlock(count * sizeof(T)));
    }
    void deallocate(T* block, std::size_t count) noexcept
    {
        FreeSmallBlock(block, count * sizeof(T));
    }
    // NOLINTEND(bugprone-sizeof-expression)

    template <typename U> bool operator==(const SmallBlockAllocator<U>&) const noexcept
    {
        return true;
    }
};

} // namespace kelcore::utility
