#include "mediaio/midiservice/src/jack/JackOutbox.h"

#include "mediaio/midiservice/src/jack/JackClient.h"

#include "tests/midiservice/Clients.h"

#include <map>
#include <memory>

namespace midiservice::test {

namespace {

/// Port buffers of any size; frame n stands for the time 1000 + n.
class FakeCycle final : public JackCycle {
public:
    struct Event {
        std::uint32_t output;
        std::uint32_t frame;
        Bytes bytes;
        friend bool operator==(const Event&, const Event&) = default;
    };

    bool HasOutput(std::uint32_t output, std::uint32_t serial) noexcept override
    {
        return outputs.count(output) > 0 && outputs[output] == serial;
    }

    std::size_t Room(std::uint32_t output) noexcept override { return size - mUsed[output]; }
    bool IsUntouched(std::uint32_t output) noexcept override { return mUsed[output] == 0; }

    std::uint8_t* Reserve(
        std::uint32_t output, std::uint32_t frame, std::size_t length) noexcept override
    {
        EXPECT_LE(length, Room(output));
        EXPECT_GE(frame, mLastFrame[output]);
        mUsed[output] += length;
        mLastFrame[output] = frame;
        events.push_back({output, frame, Bytes(length)});
        return events.back().bytes.data();
    }

    std::uint64_t FrameAt(HostTime time) noexcept override
    {
        return time > start ? time - start : 0;
    }

    std::uint32_t Frames() noexcept override { return 100; }

    std::map<std::uint32_t, std::uint32_t> outputs{{0, 1}, {1, 1}};
    std::size_t size = 4096;
    HostTime start = 1000;
    std::vector<Event> events;

private:
    std::map<std::uint32_t, std::size_t> mUsed;
    std::map<std::uint32_t, std::uint32_t> mLastFrame;
};

using Events = std::vector<FakeCycle::Event>;

class JackOutboxTest : public testing::Test {
protected:
    SendResult Put(const Bytes& bytes,
        HostTime time = 0,
        Piece piece = Piece::Message,
        std::uint32_t output = 0,
        PortKey port = 1)
    {
        OutgoingMessage message;
        message.port = port;
        message.time = time;
        message.bytes = bytes.data();
        message.length = static_cast<std::uint16_t>(bytes.size());
        message.piece = piece;
        message.epoch = mEpoch.load();
        message.currentEpoch = &mEpoch;
        return mOutbox->Put(output, 1, message);
    }

    void PutLongSysEx(const Bytes& whole, PortKey port = 1)
    {
        for (std::size_t start = 0; start < whole.size(); start += kMaxPieceBytes) {
            const std::size_t end = std::min(start + kMaxPieceBytes, whole.size());
            const Piece piece = start == 0 ? Piece::SysExFirst
                : end == whole.size()      ? Piece::SysExLast
                                           : Piece::SysExMiddle;
            ASSERT_EQ(Put(Bytes(whole.begin() + static_cast<std::ptrdiff_t>(start),
                              whole.begin() + static_cast<std::ptrdiff_t>(end)),
                          0, piece, 0, port),
                SendResult::Taken);
        }
    }

    Events Write(std::size_t size = 4096, HostTime start = 1000)
    {
        FakeCycle cycle;
        cycle.size = size;
        cycle.start = start;
        mFlushed += mOutbox->Write(cycle);
        return cycle.events;
    }

    std::unique_ptr<JackOutbox> mOutbox = std::make_unique<JackOutbox>();
    std::atomic<std::uint32_t> mEpoch{0};
    std::size_t mFlushed = 0;
};

TEST(JackCycleLength, IsThatOfTheSamplesWhereTheServerExpectsTheEndBeforeTheBeginning)
{
    EXPECT_EQ(JackCycleLength(1'000'000, 3'666'667, 128, 48000), 2'666'667U);
    EXPECT_EQ(JackCycleLength(1'000'000, 999'000, 480, 48000), 10'000'000U);
    EXPECT_EQ(JackCycleLength(1'000'000, 1'000'000, 480, 48000), 10'000'000U);
    EXPECT_EQ(JackCycleLength(1'000'000, 1'000'000, 1, 0), 1'000'000'000U);
}

TEST_F(JackOutboxTest, WritesEachMessageAtItsFrame)
{
    Put({3}, 1050);
    Put({4}, 1099);
    Put({1});
    Put({2}, 1000);
    Put({5}, 1100);

    EXPECT_EQ(Write(), (Events{{0, 0, {1}}, {0, 0, {2}}, {0, 50, {3}}, {0, 99, {4}}}));
    EXPECT_EQ(Write(4096, 1100), (Events{{0, 0, {5}}}));
    EXPECT_TRUE(Write(4096, 1200).empty());
}

TEST_F(JackOutboxTest, WritesWhatIsPastAtOnce)
{
    Put({1}, 500);

    EXPECT_EQ(Write(), (Events{{0, 0, {1}}}));
}

TEST_F(JackOutboxTest, HasLeftOnlyWhenTheCycleThatWroteTheLastIsOver)
{
    EXPECT_FALSE(mOutbox->HasUnsent());
    Put({1});
    Put({2}, 1150);
    Write();
    Write(4096, 1100);

    EXPECT_TRUE(mOutbox->HasUnsent()) << "its readers may not have seen it yet";
    Write(4096, 1200);
    EXPECT_FALSE(mOutbox->HasUnsent());
}

TEST_F(JackOutboxTest, HasNothingToSendWhereItWasFlushed)
{
    Put({1}, 1050);
    ++mEpoch;
    Write();
    Write(4096, 1100);

    EXPECT_FALSE(mOutbox->HasUnsent());
}

TEST_F(JackOutboxTest, KeepsTheOrderOfEqualTimes)
{
    Events expected;
    for (std::uint8_t number = 0; number < 100; ++number) {
        Put({number}, 1010);
        expected.push_back({0, 10, {number}});
    }

    EXPECT_EQ(Write(), expected);
}

TEST_F(JackOutboxTest, KeepsInOrderWhatFindsNoRoomForTheNextCycle)
{
    for (std::uint8_t number = 0; number < 5; ++number)
        Put({number, 0, 0});
    Put({9}, 0, Piece::Message, 1);

    EXPECT_EQ(Write(7), (Events{{0, 0, {0, 0, 0}}, {0, 0, {1, 0, 0}}, {1, 0, {9}}}));
    Put({7});
    EXPECT_EQ(Write(7), (Events{{0, 0, {2, 0, 0}}, {0, 0, {3, 0, 0}}}));
    EXPECT_EQ(Write(7), (Events{{0, 0, {4, 0, 0}}, {0, 0, {7}}}));
}

TEST_F(JackOutboxTest, DropsScheduledMessagesThatWereFlushed)
{
    Put({1}, 1050);
    Put({2});
    mEpoch.store(1);
    Put({3}, 1060);

    EXPECT_EQ(Write(), (Events{{0, 0, {2}}, {0, 60, {3}}}));
    EXPECT_EQ(mFlushed, 1U);
}

TEST_F(JackOutboxTest, DropsWhatItsOutputHasGoneFor)
{
    Put({1}, 0, Piece::Message, 2);

    EXPECT_TRUE(Write().empty());
    EXPECT_EQ(mFlushed, 0U);
}

TEST_F(JackOutboxTest, JoinsALongSysExToOneEvent)
{
    PutLongSysEx(SysEx(2000));

    EXPECT_EQ(Write(), (Events{{0, 0, SysEx(2000)}}));
}

TEST_F(JackOutboxTest, KeepsBackALongSysExUntilItsEndAndLetsOthersPass)
{
    Put(Bytes(256, 1), 0, Piece::SysExFirst);
    Put({0xF8});
    EXPECT_EQ(Write(), (Events{{0, 0, {0xF8}}}));

    Put({0xF7}, 0, Piece::SysExLast);

    EXPECT_EQ(Write(), (Events{{0, 0, Join({Bytes(256, 1), {0xF7}})}}));
}

TEST_F(JackOutboxTest, SpreadsASysExOverCyclesWhoseBuffersAreTooSmall)
{
    PutLongSysEx(SysEx(2000));
    Put({9});
    Bytes written;

    for (int cycle = 0; cycle < 20; ++cycle)
        for (const FakeCycle::Event& event : Write(600))
            written.insert(written.end(), event.bytes.begin(), event.bytes.end());

    EXPECT_EQ(written, Join({SysEx(2000), {9}}));
}

TEST_F(JackOutboxTest, JoinsTheSysExOfTheFirstSenderOnlyWhereTwoOverlap)
{
    Put(Bytes(256, 1), 0, Piece::SysExFirst, 0, 1);
    Put(Bytes(256, 2), 0, Piece::SysExFirst, 0, 2);
    Put({3}, 0, Piece::SysExLast, 0, 1);
    Put({4}, 0, Piece::SysExLast, 0, 2);

    EXPECT_EQ(
        Write(), (Events{{0, 0, Bytes(256, 2)}, {0, 0, Join({Bytes(256, 1), {3}})}, {0, 0, {4}}}));
}

TEST_F(JackOutboxTest, AsksForPatienceWhenItIsFullAndRecovers)
{
    int taken = 0;
    while (Put({1}) == SendResult::Taken)
        ++taken;
    EXPECT_EQ(taken, 4096);
    EXPECT_EQ(Put({1}), SendResult::Later);

    EXPECT_EQ(Write(100'000).size(), 4096U);

    EXPECT_EQ(Put({1}), SendResult::Taken);
}

TEST_F(JackOutboxTest, LosesNoPlaceToAnOutputThatWentInTheMiddleOfASysEx)
{
    for (std::uint32_t round = 0; round < 3; ++round) {
        for (int count = 0; count < 4000; ++count)
            Put({1}, 0, Piece::SysExFirst, 2 + static_cast<std::uint32_t>(count) % 200);
        Write();
    }
    // At most one open SysEx an output still holds its place.
    int taken = 0;
    while (Put({1}) == SendResult::Taken)
        ++taken;
    EXPECT_GE(taken, 4096 - 200);
}

} // namespace

} // namespace midiservice::test
