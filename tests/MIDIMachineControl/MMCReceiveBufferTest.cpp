#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCReceiveBuffer.h"

#include "tests/MIDIMachineControl/HostileMidi.h"
#include "tests/MIDIMachineControl/NaiveReceiver.h"
#include "tests/support/HeapControl.h"

#include <gmock/gmock.h>

namespace mmc::tests {

namespace {

using korva::tests::HeapControl;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

kelcore::utility::ByteSequence SequenceOf(const Bytes& bytes)
{
    kelcore::utility::ByteSequence sequence;
    sequence.Append(bytes.data(), bytes.size());
    return sequence;
}

Dispatches Arrive(ReceiveBuffer& buffer, const Bytes& bytes)
{
    EXPECT_TRUE(buffer.TryAppend(bytes.data(), bytes.size()));
    Dispatches dispatches;
    buffer.TakeMessages([&](const MMCMessage& message) {
        Bytes dispatch{message.subId};
        dispatch.insert(dispatch.end(), message.data, message.data + message.length);
        dispatches.push_back(dispatch);
    });
    return dispatches;
}

Bytes Repeated(std::size_t count, std::uint8_t byte)
{
    return Bytes(count, byte);
}

// Both are given the same arrivals, and must hand out the same messages after each.
void ExpectLikeNaive(
    std::size_t mostIdleBytes, std::size_t mostAtOnce, std::size_t arrivals, unsigned int seed)
{
    HostileMidi midi(seed);
    ReceiveBuffer buffer(mostIdleBytes);
    NaiveBuffer naive;
    for (std::size_t i = 0; i < arrivals; ++i) {
        const Bytes arrival = midi.NextArrival(mostAtOnce);
        ASSERT_EQ(Arrive(buffer, arrival), naive.Arrive(arrival))
            << "seed " << seed << ", arrival " << i;
    }
}

const Bytes kPlayMessage{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
const Bytes kPlayDispatch{0x06, 0x02};

} // namespace

TEST(FirstByteSearch, FindsTheFirstOfSeveral)
{
    FirstByteSearch search(0xF0);
    const auto bytes = SequenceOf({1, 0xF0, 2, 0xF0});

    EXPECT_THAT(search.Find(bytes), Optional(1U));
    EXPECT_THAT(search.Find(bytes), Optional(1U));
}

TEST(FirstByteSearch, GoesOnWhereItStopped)
{
    FirstByteSearch search(0xF0);
    auto bytes = SequenceOf({1, 2, 3});
    ASSERT_EQ(search.Find(bytes), std::nullopt);

    bytes[0] = 0xF0; // a search from the beginning would see it
    bytes.Append(0xF0);

    EXPECT_THAT(search.Find(bytes), Optional(3U));
}

TEST(FirstByteSearch, FollowsBytesThatAreErasedBeforeTheFoundOne)
{
    FirstByteSearch search(0xF0);
    auto bytes = SequenceOf({1, 2, 0xF0});
    ASSERT_TRUE(search.Find(bytes));

    bytes.EraseFront(2);
    search.EraseFront(2);

    EXPECT_THAT(search.Find(bytes), Optional(0U));
}

TEST(FirstByteSearch, SearchesAnewBehindAnErasedFind)
{
    FirstByteSearch search(0xF0);
    auto bytes = SequenceOf({1, 0xF0, 2, 0xF0});
    ASSERT_TRUE(search.Find(bytes));

    bytes.EraseFront(2);
    search.EraseFront(2);

    EXPECT_THAT(search.Find(bytes), Optional(1U));
}

TEST(ReceiveBuffer, HandsOutAMessageAndIsEmptyThen)
{
    ReceiveBuffer buffer;

    EXPECT_THAT(Arrive(buffer, kPlayMessage), ElementsAre(kPlayDispatch));
    EXPECT_EQ(buffer.Size(), 0U);
}

TEST(ReceiveBuffer, KeepsStrayBytesAsLongAsTheyAreFew)
{
    ReceiveBuffer buffer;

    EXPECT_THAT(Arrive(buffer, Repeated(ReceiveBuffer::kMostIdleBytes, 0xF8)), IsEmpty());

    EXPECT_EQ(buffer.Size(), ReceiveBuffer::kMostIdleBytes);
}

TEST(ReceiveBuffer, LetsAFloodOfStrayBytesGo)
{
    ReceiveBuffer buffer;
    std::size_t most = 0;
    for (int i = 0; i < 1000; ++i) {
        Arrive(buffer, Repeated(100, 0xF8));
        most = std::max(most, buffer.Size());
    }

    EXPECT_LE(most, ReceiveBuffer::kMostIdleBytes + 100);
    EXPECT_THAT(Arrive(buffer, kPlayMessage), ElementsAre(kPlayDispatch));
}

TEST(ReceiveBuffer, RemembersEveryStrayEndOfAFlood)
{
    ReceiveBuffer buffer;
    for (int i = 0; i < 3; ++i) {
        Arrive(buffer, Repeated(ReceiveBuffer::kMostIdleBytes, 0xFE));
        Arrive(buffer, {0xF7});
    }

    EXPECT_THAT(Arrive(buffer, kPlayMessage), IsEmpty()); // one F7 an arrival
    EXPECT_THAT(Arrive(buffer, {0xF8}), IsEmpty());
    EXPECT_THAT(Arrive(buffer, {0xF8}), IsEmpty());
    EXPECT_THAT(Arrive(buffer, {0xF8}), ElementsAre(kPlayDispatch));
}

TEST(ReceiveBuffer, LetsTheDataOfAForeignMessageGo)
{
    for (const Bytes& head : {Bytes{0xF0, 0x43, 0x10, 0x4C}, Bytes{0xF0, 0x7F, 0x7F, 0x01}}) {
        ReceiveBuffer buffer;
        Arrive(buffer, head);
        for (int i = 0; i < 1000; ++i) {
            Arrive(buffer, Repeated(100, 0x06));
            ASSERT_LE(buffer.Size(), ReceiveBuffer::kMostIdleBytes + 100);
        }

        EXPECT_THAT(Arrive(buffer, {0xF7}), IsEmpty());
        EXPECT_EQ(buffer.Size(), 0U);
        EXPECT_THAT(Arrive(buffer, kPlayMessage), ElementsAre(kPlayDispatch));
    }
}

TEST(ReceiveBuffer, KeepsEveryByteOfAnMMCMessage)
{
    ReceiveBuffer buffer;
    Arrive(buffer, {0xF0, 0x7F, 0x7F, 0x06});
    for (int i = 0; i < 100; ++i) {
        Arrive(buffer, Repeated(250, static_cast<std::uint8_t>(i)));
    }

    const Dispatches dispatches = Arrive(buffer, {0xF7});

    ASSERT_EQ(dispatches.size(), 1U);
    ASSERT_EQ(dispatches[0].size(), 25001U);
    for (std::size_t i = 0; i < 25000; ++i) {
        ASSERT_EQ(dispatches[0][i + 1], i / 250);
    }
}

TEST(ReceiveBuffer, ForgetsNothingOfWhatStandsBehindAnOpenMMCMessage)
{
    ReceiveBuffer buffer(16);
    NaiveBuffer naive;
    for (const Bytes& arrival : {Repeated(40, 0xF7), Bytes{0xF8, 0xF0}, Bytes{0x7F, 0x01},
             Bytes{0x06, 0x44}, Repeated(40, 0xF0), Bytes{0xF7, 0xF0}, kPlayMessage}) {
        ASSERT_EQ(Arrive(buffer, arrival), naive.Arrive(arrival));
    }
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(Arrive(buffer, {0xF8}), naive.Arrive({0xF8}));
    }
}

TEST(ReceiveBuffer, IsEmptyWhereMemoryLacks)
{
    ReceiveBuffer buffer;
    Arrive(buffer, {0xF0, 0x7F, 0x7F, 0x06});
    const Bytes many = Repeated(100000, 0x02);
    {
        HeapControl heap;
        heap.RefuseRequest(1);
        EXPECT_FALSE(buffer.TryAppend(many.data(), many.size()));
    }

    EXPECT_EQ(buffer.Size(), 0U);
    EXPECT_THAT(Arrive(buffer, {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7}), ElementsAre(kPlayDispatch));
}

// Every byte of the stream in an arrival of its own, two by two, and so on: each beginning of the
// stream is compared.
TEST(ReceiveBuffer, HandsOutWhatANaiveOneDoesAtAnyChunking)
{
    for (unsigned int seed = 0; seed < 60; ++seed) {
        for (const std::size_t mostAtOnce : {std::size_t{1}, std::size_t{3}, std::size_t{30}}) {
            ExpectLikeNaive(ReceiveBuffer::kMostIdleBytes, mostAtOnce, 2000, seed);
        }
    }
}

TEST(ReceiveBuffer, HandsOutWhatANaiveOneDoesHoweverEarlyItLetsGo)
{
    for (unsigned int seed = 1000; seed < 1150; ++seed) {
        for (const std::size_t mostIdleBytes : {std::size_t{4}, std::size_t{7}, std::size_t{50}}) {
            ExpectLikeNaive(mostIdleBytes, 1 + seed % 17, 2000, seed);
        }
    }
}

} // namespace mmc::tests
