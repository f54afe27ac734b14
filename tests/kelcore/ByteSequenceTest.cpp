#include "kelcore/utility/ByteSequence.h"

#include "kelcore/utility/SmallBlockAllocator.h"
#include "tests/support/HeapControl.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <random>
#include <utility>
#include <vector>

namespace kelcore::utility {
namespace {

using korva::tests::HeapControl;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kLarge = 100'000; // beyond what the allocator keeps: needs the heap

Bytes Content(const ByteSequence& sequence)
{
    return Bytes(sequence.Data(), sequence.Data() + sequence.Size());
}

void AppendAll(ByteSequence& sequence, const Bytes& bytes)
{
    sequence.Append(bytes.data(), bytes.size());
}

ByteSequence SequenceOf(const Bytes& bytes)
{
    ByteSequence sequence;
    AppendAll(sequence, bytes);
    return sequence;
}

// How often the bytes moved while `step` ran `count` times. Moves to the front and to another
// block both show as a place other than the expected one.
class MoveCounter {
public:
    explicit MoveCounter(const ByteSequence& sequence)
        : mSequence(sequence)
        , mExpected(sequence.Data())
    {
    }
    void Look(std::size_t erased)
    {
        if (mSequence.Data() != mExpected + erased) {
            ++mMoves;
        }
        mExpected = mSequence.Data();
    }
    int Moves() const { return mMoves; }

private:
    const ByteSequence& mSequence;
    const unsigned char* mExpected;
    int mMoves = 0;
};

TEST(ByteSequence, StartsEmptyWithoutTouchingTheHeap)
{
    const HeapControl heap;
    const ByteSequence sequence;

    EXPECT_EQ(sequence.Size(), 0U);
    EXPECT_EQ(sequence.Capacity(), 0U);
    EXPECT_TRUE(sequence.IsEmpty());
    EXPECT_EQ(heap.Requests(), 0U);
}

TEST(ByteSequence, AppendsInOrder)
{
    ByteSequence sequence;

    AppendAll(sequence, {0xF0, 0x7F});
    sequence.Append(0x06);
    sequence.Append(nullptr, 0);

    EXPECT_EQ(Content(sequence), (Bytes{0xF0, 0x7F, 0x06}));
    EXPECT_EQ(sequence[2], 0x06);
    sequence[2] = 0x07;
    EXPECT_EQ(std::as_const(sequence)[2], 0x07);
}

TEST(ByteSequence, ReservesExactly)
{
    ByteSequence sequence;

    sequence.Reserve(5);
    EXPECT_EQ(sequence.Capacity(), 5U);
    sequence.Reserve(6);
    EXPECT_EQ(sequence.Capacity(), 6U);
    sequence.Reserve(3);
    EXPECT_EQ(sequence.Capacity(), 6U);
}

TEST(ByteSequence, AppendsWithExactlyTheRoomItNeeds)
{
    ByteSequence sequence = SequenceOf(Bytes(10));
    EXPECT_EQ(sequence.Capacity(), 10U);

    sequence.Append(1);
    EXPECT_EQ(sequence.Capacity(), 11U);
}

TEST(ByteSequence, KeepsItsBlockWhileTheBlockSizeStays)
{
    ByteSequence sequence = SequenceOf(Bytes(65));
    const unsigned char* const place = sequence.Data();
    ASSERT_EQ(SmallBlockSize(80), SmallBlockSize(65));

    sequence.Reserve(80);
    EXPECT_EQ(sequence.Data(), place);

    sequence.Reserve(81);
    EXPECT_NE(sequence.Data(), place);
}

TEST(ByteSequence, ErasesAtTheFrontWithoutMoving)
{
    ByteSequence sequence = SequenceOf({1, 2, 3, 4, 5});
    const unsigned char* const place = sequence.Data();

    sequence.EraseFront(2);

    EXPECT_EQ(Content(sequence), (Bytes{3, 4, 5}));
    EXPECT_EQ(sequence.Data(), place + 2);
    EXPECT_EQ(sequence.Capacity(), 5U);
}

TEST(ByteSequence, IsEmptyWhenAllIsErasedOrCleared)
{
    ByteSequence sequence = SequenceOf({1, 2, 3});
    const unsigned char* const place = sequence.Data();

    sequence.EraseFront(3);
    EXPECT_TRUE(sequence.IsEmpty());
    AppendAll(sequence, {4, 5, 6});
    EXPECT_EQ(sequence.Data(), place);
    sequence.Clear();

    EXPECT_TRUE(sequence.IsEmpty());
    EXPECT_EQ(sequence.Capacity(), 3U);
}

TEST(ByteSequence, StaysInOnePieceWhenItReservesBehindErasedBytes)
{
    ByteSequence sequence = SequenceOf({1, 2, 3, 4, 5, 6, 7, 8});
    sequence.EraseFront(5);

    sequence.Reserve(30);
    AppendAll(sequence, Bytes(27, 9));

    Bytes expected{6, 7, 8};
    expected.insert(expected.end(), 27, 9);
    EXPECT_EQ(Content(sequence), expected);
    EXPECT_EQ(sequence.Capacity(), 30U);
}

TEST(ByteSequence, BehavesAsAVectorWhateverTheOrderOfCalls)
{
    std::mt19937 random(1);
    const auto upTo = [&random](std::size_t most) { return random() % (most + 1); };
    ByteSequence sequence;
    Bytes expected;
    std::size_t capacity = 0;

    for (int step = 0; step < 20'000; ++step) {
        const Bytes bytes(upTo(40), static_cast<unsigned char>(step));
        const std::size_t erased = upTo(expected.size() + bytes.size());
        if (upTo(3) == 0) {
            const std::size_t wanted = upTo(300);
            sequence.Reserve(wanted);
            capacity = std::max(capacity, wanted);
        }
        AppendAll(sequence, bytes);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
        capacity = std::max(capacity, expected.size());
        if (upTo(1) == 0) {
            sequence.EraseFront(erased);
            expected.erase(
                expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(erased));
        }
        ASSERT_EQ(Content(sequence), expected);
        ASSERT_EQ(sequence.Capacity(), capacity);
    }
}

TEST(ByteSequence, MovesALogarithmicNumberOfTimesWhileItGrowsByAByte)
{
    ByteSequence sequence;
    MoveCounter counter(sequence);

    for (int i = 0; i < 1'000'000; ++i) {
        sequence.Reserve(sequence.Size() + 1);
        sequence.Append(0xF8);
        counter.Look(0);
    }

    EXPECT_LE(counter.Moves(), 80);
}

// The costly cases are those with few bytes erased before many.
TEST(ByteSequence, MovesRarelyWhileBytesComeAndGo)
{
    for (const std::size_t held : {1U, 2U, 31U, 32U, 33U, 1000U, 4096U}) {
        constexpr std::size_t kSteps = 100'000;
        ByteSequence sequence = SequenceOf(Bytes(held));
        MoveCounter counter(sequence);

        for (std::size_t i = 0; i < kSteps; ++i) {
            sequence.EraseFront(1);
            counter.Look(sequence.IsEmpty() ? 0 : 1);
            sequence.Reserve(sequence.Size() + 1);
            sequence.Append(static_cast<unsigned char>(i));
            counter.Look(0);
        }

        // Each move of `held` bytes is paid for by about as many erased ones.
        EXPECT_LE(counter.Moves(), static_cast<int>(kSteps / held + 3)) << held;
        EXPECT_EQ(sequence[sequence.Size() - 1], static_cast<unsigned char>(kSteps - 1));
    }
}

// However many bytes stay behind those that come and go.
TEST(ByteSequence, LeavesTheHeapAloneWhileBytesComeAndGo)
{
    constexpr unsigned char kMessage[]{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
    for (const std::size_t held : {std::size_t{0}, std::size_t{7}, kLarge}) {
        ByteSequence sequence = SequenceOf(Bytes(held));
        const HeapControl heap;

        for (int i = 0; i < 100'000; ++i) {
            sequence.Reserve(sequence.Size() + sizeof kMessage);
            sequence.Append(kMessage, sizeof kMessage);
            sequence.EraseFront(sizeof kMessage);
        }

        EXPECT_LE(heap.Requests(), 2U) << held; // the blocks of the steady state, once
    }
}

TEST(ByteSequence, CopiesItsBytesOnly)
{
    ByteSequence sequence = SequenceOf({1, 2, 3, 4});
    sequence.Reserve(100);
    sequence.EraseFront(1);

    const ByteSequence copy(sequence);
    sequence[0] = 9;

    EXPECT_EQ(Content(copy), (Bytes{2, 3, 4}));
    EXPECT_EQ(copy.Capacity(), 3U);
}

TEST(ByteSequence, AssignsACopyToOthersAndItself)
{
    ByteSequence sequence = SequenceOf({1, 2});
    const ByteSequence other = SequenceOf({3});

    sequence = other;
    EXPECT_EQ(Content(sequence), Bytes{3});
    const ByteSequence& itself = sequence;
    sequence = itself;

    EXPECT_EQ(Content(sequence), Bytes{3});
}

TEST(ByteSequence, MovesByHandingOverItsBlock)
{
    ByteSequence sequence = SequenceOf({1, 2, 3});
    const unsigned char* const place = sequence.Data();

    ByteSequence moved(std::move(sequence));
    EXPECT_EQ(moved.Data(), place);
    EXPECT_EQ(Content(moved), (Bytes{1, 2, 3}));
    ByteSequence assigned = SequenceOf({4});
    assigned = std::move(moved);

    EXPECT_EQ(Content(assigned), (Bytes{1, 2, 3}));
}

TEST(ByteSequence, IsEmptyAndUsableAfterItWasMoved)
{
    ByteSequence sequence = SequenceOf({1, 2, 3});
    const ByteSequence moved(std::move(sequence));

    // What is left of a moved sequence is defined, so asking it is what this test is for.
    EXPECT_EQ(sequence.Size(), 0U);     // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(sequence.Capacity(), 0U); // NOLINT(bugprone-use-after-move)
    sequence.Append(7);

    EXPECT_EQ(Content(sequence), Bytes{7});
}

TEST(ByteSequence, StaysAsItWasWhenMemoryLacks)
{
    ByteSequence sequence = SequenceOf({1, 2, 3, 4});
    sequence.EraseFront(1);
    const Bytes more(kLarge);
    HeapControl heap;
    heap.RefuseFrom(kLarge);

    EXPECT_THROW(sequence.Reserve(kLarge), std::bad_alloc);
    EXPECT_THROW(AppendAll(sequence, more), std::bad_alloc);

    EXPECT_EQ(Content(sequence), (Bytes{2, 3, 4}));
    EXPECT_EQ(sequence.Capacity(), 4U);
}

TEST(ByteSequence, NeedsNoMemoryWithinItsCapacityOnceCleared)
{
    ByteSequence sequence = SequenceOf(Bytes(kLarge));
    const Bytes bytes(kLarge, 7);
    sequence.EraseFront(5);
    HeapControl heap;
    heap.RefuseFrom(0);

    sequence.Clear();
    AppendAll(sequence, bytes);

    EXPECT_EQ(sequence.Size(), kLarge);
    EXPECT_EQ(sequence[kLarge - 1], 7);
}

TEST(ByteSequence, NeedsNoMemoryForWhatItHasReservedBehindErasedBytes)
{
    ByteSequence sequence = SequenceOf(Bytes(kLarge));
    const Bytes bytes(kLarge / 4, 7);
    sequence.EraseFront(bytes.size());
    sequence.Reserve(kLarge);
    HeapControl heap;
    heap.RefuseFrom(0);

    AppendAll(sequence, bytes);

    EXPECT_EQ(sequence.Size(), kLarge);
    EXPECT_EQ(sequence[kLarge - 1], 7);
}

TEST(ByteSequence, StaysAsItWasWhenACopyToItFails)
{
    const ByteSequence large = SequenceOf(Bytes(kLarge));
    ByteSequence sequence = SequenceOf({1, 2});
    HeapControl heap;
    heap.RefuseFrom(kLarge);

    EXPECT_THROW(sequence = large, std::bad_alloc);

    EXPECT_EQ(Content(sequence), (Bytes{1, 2}));
}

TEST(ByteSequence, RefusesWhatNoMemoryHolds)
{
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    ByteSequence sequence = SequenceOf({1, 2});
    const unsigned char byte = 0;

    EXPECT_THROW(sequence.Reserve(kMost), std::bad_alloc);
    EXPECT_THROW(sequence.Reserve(kMost / 2), std::bad_alloc);
    EXPECT_THROW(sequence.Append(&byte, kMost), std::bad_alloc);
    sequence.EraseFront(1);
    for (const std::size_t most : {kMost, kMost / 2 + 2, kMost / 4 + 1}) {
        EXPECT_THROW(sequence.Reserve(most), std::bad_alloc);
    }

    EXPECT_EQ(Content(sequence), Bytes{2});
}

} // namespace
} // namespace kelcore::utility
