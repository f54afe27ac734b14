#include "kelcore/utility/SmallBlockAllocator.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <mutex>

namespace kelcore::utility {

namespace {

// Blocks are multiples of 16 bytes; from 64 bytes on four sizes share a power of two:
// 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 ...
constexpr std::size_t kGrain = 16;
constexpr std::size_t kSizesPerDoubling = 4;
constexpr std::size_t kLargestKeptSize = std::size_t{64} * 1024;
// What one size keeps of freed blocks; more goes back to the heap.
constexpr std::size_t kKeptBytesPerSize = std::size_t{128} * 1024;

static_assert(kGrain >= alignof(std::max_align_t));

constexpr std::size_t StepAt(std::size_t bytes) noexcept
{
    return std::max(kGrain, std::bit_floor(bytes) / kSizesPerDoubling);
}

constexpr std::size_t RoundToBlock(std::size_t bytes) noexcept
{
    if (bytes <= kGrain) {
        return kGrain;
    }
    const std::size_t step = StepAt(bytes - 1);
    if (bytes > std::numeric_limits<std::size_t>::max() - step) {
        return bytes; // no such block can exist
    }
    return (bytes + step - 1) / step * step;
}

// The position of a block size among all block sizes.
constexpr std::size_t IndexOf(std::size_t blockSize) noexcept
{
    const std::size_t step = StepAt(blockSize - 1);
    const auto doublings = static_cast<std::size_t>(std::countr_zero(step / kGrain));
    return doublings * kSizesPerDoubling + blockSize / step - 1;
}

constexpr std::size_t kSizeCount = IndexOf(kLargestKeptSize) + 1;

struct FreeBlock {
    FreeBlock* next;
};

// The freed blocks of one size.
struct alignas(64) FreeList {
    std::mutex mutex;
    FreeBlock* first = nullptr; // guarded by mutex
    std::size_t keptBytes = 0;  // guarded by mutex
};

// Never destroyed: blocks come and go until the last static object is gone.
union FreeLists {
    constexpr FreeLists()
        : bySize{}
    {
    }
    ~FreeLists() {} // NOLINT(modernize-use-equals-default): must not destroy bySize

    std::array<FreeList, kSizeCount> bySize;
};

constinit FreeLists sFreeLists;

FreeList& ListOf(std::size_t blockSize) noexcept
{
    return sFreeLists.bySize[IndexOf(blockSize)];
}

void* TryTake(FreeList& list, std::size_t blockSize) noexcept
{
    const std::scoped_lock lock(list.mutex);
    FreeBlock* const block = list.first;
    if (block != nullptr) {
        list.first = block->next;
        list.keptBytes -= blockSize;
    }
    return block;
}

bool TryKeep(FreeList& list, void* block, std::size_t blockSize) noexcept
{
    const std::scoped_lock lock(list.mutex);
    if (list.keptBytes + blockSize > kKeptBytesPerSize) {
        return false;
    }
    list.first = new (block) FreeBlock{list.first};
    list.keptBytes += blockSize;
    return true;
}

} // namespace

std::size_t SmallBlockSize(std::size_t bytes) noexcept
{
    return RoundToBlock(bytes);
}

void* AllocateSmallBlock(std::size_t bytes)
{
    if (bytes > static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max())) {
        throw std::bad_alloc();
    }
    const std::size_t blockSize = RoundToBlock(bytes);
    if (blockSize <= kLargestKeptSize) {
        if (void* const block = TryTake(ListOf(blockSize), blockSize)) {
            return block;
        }
    }
    return ::operator new(blockSize);
}

void FreeSmallBlock(void* block, std::size_t bytes) noexcept
{
    if (block == nullptr) {
        return;
    }
    const std::size_t blockSize = RoundToBlock(bytes);
    if (blockSize > kLargestKeptSize || !TryKeep(ListOf(blockSize), block, blockSize)) {
        ::operator delete(block);
    }
}

} // namespace kelcore::utility
