#include "mediaio/kelmidi/src/MidiMessageRing.h"

#include "RecordingListener.h"
#include "Signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace kelmidi {
namespace {

using tests::Bytes;
using tests::Numbered;

void Push(MidiMessageRing& ring, const Bytes& bytes)
{
    ring.Fill(ring.Claim(), tests::MakeMessage(bytes));
}

Bytes Content(const MidiMessage* message)
{
    return {message->data.bytes, message->data.bytes + message->data.length};
}

TEST(MidiMessageRing, HasNothingAtFirst)
{
    MidiMessageRing ring;

    EXPECT_EQ(ring.Next(), nullptr);
    EXPECT_FALSE(ring.HoldsOne());
}

TEST(MidiMessageRing, GivesEachMessageOnceInOrder)
{
    MidiMessageRing ring;
    for (std::uint32_t i = 0; i < 3; ++i) {
        Push(ring, Numbered(i));
    }

    for (std::uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(Content(ring.Next()), Numbered(i));
    }
    EXPECT_EQ(ring.Next(), nullptr);
}

TEST(MidiMessageRing, HoldsOneOnlyWhereItWasEmptyBefore)
{
    MidiMessageRing ring;

    Push(ring, {1});
    EXPECT_TRUE(ring.HoldsOne());
    Push(ring, {2});
    EXPECT_FALSE(ring.HoldsOne());
    ring.Next();
    EXPECT_TRUE(ring.HoldsOne());
    ring.Next();
    EXPECT_FALSE(ring.HoldsOne());
}

TEST(MidiMessageRing, MovesItsCounterBeforeTheSlotIsFilled)
{
    MidiMessageRing ring;

    EXPECT_EQ(ring.Claim(), 1);
    EXPECT_TRUE(ring.HoldsOne());
    ring.Fill(1, tests::MakeMessage({1}));
    EXPECT_EQ(ring.Claim(), 2);
}

TEST(MidiMessageRing, MakesThePassWaitForAMessageThatIsClaimedAndNotFilled)
{
    MidiMessageRing ring;
    tests::Signal started;
    std::atomic<bool> filled{false};
    const std::int64_t number = ring.Claim();

    bool filledBeforeItWasGiven = false;
    Bytes given;
    std::thread pass([&] {
        started.Set();
        const MidiMessage* message = ring.Next();
        filledBeforeItWasGiven = filled;
        given = Content(message);
    });
    ASSERT_TRUE(started.Wait());
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield(); // give the pass a chance to go wrong
    }
    filled = true;
    ring.Fill(number, tests::MakeMessage({1, 2, 3}));
    pass.join();

    EXPECT_TRUE(filledBeforeItWasGiven);
    EXPECT_EQ(given, (Bytes{1, 2, 3}));
}

TEST(MidiMessageRing, GivesTheNewestMessageOfASlotAfterOneMessageTooMany)
{
    MidiMessageRing ring;
    for (std::uint32_t i = 1; i <= 4097; ++i) {
        Push(ring, Numbered(i));
    }

    EXPECT_EQ(Content(ring.Next()), Numbered(4097));
    for (std::uint32_t i = 2; i <= 4096; ++i) {
        ASSERT_EQ(Content(ring.Next()), Numbered(i));
    }
    EXPECT_EQ(Content(ring.Next()), Numbered(4097));
    EXPECT_EQ(ring.Next(), nullptr);
}

TEST(MidiMessageRing, StillCountsEveryMessageWhereItWasLappedSeveralTimes)
{
    MidiMessageRing ring;
    constexpr std::uint32_t kMessages = 3 * MidiMessageRing::kCapacity + 5;
    for (std::uint32_t i = 1; i <= kMessages; ++i) {
        Push(ring, Numbered(i));
    }

    std::uint32_t given = 0;
    while (ring.Next() != nullptr) {
        ++given;
    }

    EXPECT_EQ(given, kMessages);
}

TEST(MidiMessageRing, LeavesTheMessageInHandAloneWhileTheProducerLapsIt)
{
    MidiMessageRing ring;
    Push(ring, Numbered(1));
    const MidiMessage* inHand = ring.Next();
    Bytes before = Content(inHand);

    for (std::uint32_t i = 2; i <= 3 * MidiMessageRing::kCapacity; ++i) {
        Push(ring, Numbered(i));
        ASSERT_EQ(Content(inHand), before);
    }
}

TEST(MidiMessageRing, UsesAMessageAgainThatIsNoLongerInHand)
{
    MidiMessageRing ring;
    Push(ring, Numbered(1));
    const MidiMessage* first = ring.Next();
    ring.Unpin();

    bool usedAgain = false;
    for (std::uint32_t i = 2; i <= 3 * MidiMessageRing::kCapacity; ++i) {
        Push(ring, Numbered(i));
        usedAgain = usedAgain || Content(first) != Numbered(1);
    }

    EXPECT_TRUE(usedAgain);
}

// Every byte of a message is the same, so that a message of two halves shows.
bool IsWhole(const MidiMessage& message)
{
    const unsigned char* bytes = message.data.bytes;
    return message.data.length == 1 + message.timeStamp % kMaxMidiDataLength
        && std::all_of(bytes, bytes + message.data.length,
            [&](unsigned char byte) { return byte == (message.timeStamp & 0xFF); });
}

class LappedRing : public testing::TestWithParam<std::uint32_t> {};

// A small ring is lapped at every step of the pass.
INSTANTIATE_TEST_SUITE_P(Capacities, LappedRing, testing::Values(1, 2, 4096));

TEST_P(LappedRing, GivesOnlyWholeMessagesToASlowPass)
{
    MidiMessageRing ring(GetParam());
    constexpr std::uint64_t kMessages = 100000;
    std::atomic<bool> done{false};

    std::thread producer([&] {
        Bytes bytes(kMaxMidiDataLength);
        for (std::uint64_t i = 1; i <= kMessages; ++i) {
            std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>(i & 0xFF));
            const MidiMessage message(bytes.data(), 1 + i % kMaxMidiDataLength, i);
            ring.Fill(ring.Claim(), message);
        }
        done = true;
    });

    std::uint64_t given = 0;
    std::uint64_t broken = 0;
    std::uint64_t changedInHand = 0;
    while (given < kMessages) {
        const MidiMessage* message = ring.Next();
        if (message == nullptr) {
            std::this_thread::yield();
            continue;
        }
        ++given;
        const std::uint64_t stamp = message->timeStamp;
        broken += IsWhole(*message) ? 0 : 1;
        if (!done && given % 64 == 0) {
            std::this_thread::yield(); // slow: let the producer get far ahead
        }
        changedInHand += message->timeStamp == stamp && IsWhole(*message) ? 0 : 1;
    }
    producer.join();

    EXPECT_EQ(broken, 0U);
    EXPECT_EQ(changedInHand, 0U);
    EXPECT_EQ(ring.Next(), nullptr);
}

} // namespace
} // namespace kelmidi
