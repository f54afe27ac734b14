#include "kelcore/utility/SmallBlockAllocator.h"

#include "tests/support/HeapControl.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kelcore::utility {
namespace {

using korva::tests::HeapControl;

constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

// Takes a block and gives it back, so that the next request of its size finds it.
void Warm(std::size_t bytes)
{
    FreeSmallBlock(AllocateSmallBlock(bytes), bytes);
}

TEST(SmallBlockSize, IsNeverLessThanTheRequestAndNeverShrinks)
{
    std::size_t last = 0;
    for (std::size_t bytes = 0; bytes <= 200'000; ++bytes) {
        const std::size_t size = SmallBlockSize(bytes);
        ASSERT_GE(size, bytes);
        ASSERT_GE(size, last);
        last = size;
    }
}

TEST(SmallBlockSize, IsABlockSizeItself)
{
    for (std::size_t bytes = 0; bytes <= 200'000; ++bytes) {
        ASSERT_EQ(SmallBlockSize(SmallBlockSize(bytes)), SmallBlockSize(bytes)) << bytes;
    }
}

TEST(SmallBlockSize, WastesAtMostAQuarterAboveTheSmallest)
{
    for (std::size_t bytes = 64; bytes <= 200'000; ++bytes) {
        ASSERT_LE(SmallBlockSize(bytes) - bytes, bytes / 4) << bytes;
    }
}

TEST(SmallBlockSize, ChangesALogarithmicNumberOfTimes)
{
    int changes = 0;
    for (std::size_t bytes = 1; bytes <= kMebibyte; ++bytes) {
        changes += SmallBlockSize(bytes) != SmallBlockSize(bytes - 1) ? 1 : 0;
    }

    EXPECT_LE(changes, 4 * 20); // four sizes a doubling
}

TEST(SmallBlockSize, OfWhatCannotExistIsNotLess)
{
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();

    for (const std::size_t bytes : {kMost, kMost - 1, kMost / 2 + 1, kMost / 8 * 7 + 1}) {
        EXPECT_GE(SmallBlockSize(bytes), bytes);
    }
}

TEST(SmallBlock, HoldsItsBytesAndIsAligned)
{
    for (const std::size_t bytes : {0U, 1U, 16U, 17U, 100U, 4096U, 65536U, 65537U, 1000000U}) {
        void* const block = AllocateSmallBlock(bytes);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        std::memset(block, 0xA5, SmallBlockSize(bytes));
        FreeSmallBlock(block, bytes);
    }
}

TEST(SmallBlock, ServesTheNextRequestOfItsSizeOnceFreed)
{
    void* const first = AllocateSmallBlock(100);
    FreeSmallBlock(first, 100);

    void* const second = AllocateSmallBlock(SmallBlockSize(100));

    EXPECT_EQ(second, first);
    FreeSmallBlock(second, SmallBlockSize(100));
}

TEST(SmallBlock, LeavesTheHeapAloneInSteadyState)
{
    for (std::size_t bytes = 1; bytes <= 65536; bytes *= 2) {
        Warm(bytes);
    }
    const HeapControl heap;

    for (int round = 0; round < 100; ++round) {
        for (std::size_t bytes = 1; bytes <= 65536; bytes *= 2) {
            Warm(bytes);
        }
    }

    EXPECT_EQ(heap.Requests(), 0U);
    EXPECT_EQ(heap.GivenBack(), 0U);
}

TEST(SmallBlock, GoesStraightToTheHeapWhenLarge)
{
    const HeapControl heap;

    Warm(65537);

    EXPECT_EQ(heap.Requests(), 1U);
    EXPECT_EQ(heap.GivenBack(), 1U);
}

TEST(SmallBlock, GoesBackToTheHeapWhenEnoughOfItsSizeAreKept)
{
    constexpr std::size_t kBytes = 8192;
    constexpr std::size_t kBlocks = 1000;
    std::vector<void*> blocks(kBlocks);
    for (void*& block : blocks) {
        block = AllocateSmallBlock(kBytes);
    }
    const HeapControl heap;

    for (void* const block : blocks) {
        FreeSmallBlock(block, kBytes);
    }

    EXPECT_GE(heap.GivenBack(), kBlocks - 16); // 128 KiB stay
    EXPECT_LT(heap.GivenBack(), kBlocks);
}

TEST(SmallBlock, IsRefusedWhereItCannotExist)
{
    EXPECT_THROW(AllocateSmallBlock(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_THROW(
        AllocateSmallBlock(std::numeric_limits<std::size_t>::max() / 2 + 1), std::bad_alloc);
}

TEST(SmallBlock, IsRefusedWhereTheHeapHasNone)
{
    HeapControl heap;
    heap.RefuseFrom(65537);

    EXPECT_THROW(AllocateSmallBlock(65537), std::bad_alloc);
}

TEST(SmallBlock, MayBeNullWhenFreed)
{
    FreeSmallBlock(nullptr, 0);
    FreeSmallBlock(nullptr, 100);
}

// Each thread marks its blocks and finds its own marks in them.
TEST(SmallBlock, BelongsToOneThreadAtATime)
{
    const auto work = [](unsigned char mark, int& spoiled) {
        for (int round = 0; round < 2000; ++round) {
            const std::size_t bytes = 1 + static_cast<std::size_t>(round) * 7 % 500;
            auto* const block = static_cast<unsigned char*>(AllocateSmallBlock(bytes));
            std::memset(block, mark, bytes);
            std::this_thread::yield();
            spoiled += block[0] != mark || block[bytes - 1] != mark ? 1 : 0;
            FreeSmallBlock(block, bytes);
        }
    };
    std::vector<int> spoiled(4, 0);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < spoiled.size(); ++i) {
        threads.emplace_back(work, static_cast<unsigned char>(i + 1), std::ref(spoiled[i]));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(spoiled, std::vector<int>(4, 0));
}

TEST(SmallBlockAllocator, ServesContainers)
{
    std::vector<int, SmallBlockAllocator<int>> numbers;
    for (int i = 0; i < 1000; ++i) {
        numbers.push_back(i);
    }

    EXPECT_EQ(numbers.size(), 1000U);
    EXPECT_EQ(numbers.back(), 999);
    EXPECT_TRUE(SmallBlockAllocator<int>() == SmallBlockAllocator<char>());
}

TEST(SmallBlockAllocator, RefusesACountThatNoMemoryHolds)
{
    SmallBlockAllocator<std::uint64_t> allocator;

    EXPECT_THROW(static_cast<void>(allocator.allocate(std::numeric_limits<std::size_t>::max() / 4)),
        std::bad_array_new_length);
}

struct UsesBlocksWhenItGoes {
    ~UsesBlocksWhenItGoes()
    {
        for (std::size_t bytes = 1; bytes <= 65536; bytes *= 2) {
            Warm(bytes);
        }
        std::fputs("served", stderr);
    }
};

TEST(SmallBlockDeathTest, IsServedWhileStaticObjectsGo)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static const UsesBlocksWhenItGoes sLate;
            Warm(100);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "served");
}

} // namespace
} // namespace kelcore::utility
