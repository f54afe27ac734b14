#include "deck/host/MidiListener.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <poll.h>
#include <thread>

namespace deck::host::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kDeadline = 60s;
const Bytes kPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

class MidiListenerTest : public testing::Test {
protected:
    MidiListenerTest()
    {
        setenv("KEL_MIDI_SERVICE", "builtin", 1);
        mMachine.emplace("machine");
    }

    static void Say(MIDIEndpointRef source, const Bytes& bytes, MIDITimeStamp time = 0)
    {
        MIDIPacketList packets{};
        packets.numPackets = 1;
        packets.packet[0].timeStamp = time;
        packets.packet[0].length = static_cast<UInt16>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), packets.packet[0].data);
        MIDIReceived(source, &packets);
    }

    static std::optional<HeardBytes> WaitFor(MidiListener& listener)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        for (;;) {
            listener.Clear();
            const auto heard = listener.TryTake();
            if (heard || std::chrono::steady_clock::now() > end) {
                return heard;
            }
            pollfd polled{listener.Descriptor(), POLLIN, 0};
            poll(&polled, 1, 1000);
        }
    }

    static std::uint64_t Received()
    {
        KorvaMIDIServiceCounters counters{};
        KorvaMIDIServiceGetCounters(&counters);
        return counters.received;
    }

    static Bytes BytesOf(const HeardBytes& heard)
    {
        return {heard.View().begin(), heard.View().end()};
    }

    std::optional<MidiClient> mMachine;
};

TEST_F(MidiListenerTest, HearsEverySourceAndSaysWhichOne)
{
    const MIDIEndpointRef desk = mMachine->MakeSource("Desk");
    const MIDIEndpointRef console = mMachine->MakeSource("Console");
    MidiListener listener;
    EXPECT_EQ(listener.Update().size(), 2U);

    Say(console, kPlay);
    const auto first = WaitFor(listener);
    Say(desk, {0x90, 0x3C, 0x40});
    const auto second = WaitFor(listener);

    ASSERT_TRUE(first && second);
    EXPECT_EQ(BytesOf(*first), kPlay);
    EXPECT_EQ(listener.Source(first->source).name, "Console");
    EXPECT_GT(first->time, 0ns);
    EXPECT_EQ(listener.Source(second->source).name, "Desk");
}

TEST_F(MidiListenerTest, HearsTheOneThatItIsToHear)
{
    const MIDIEndpointRef desk = mMachine->MakeSource("Desk");
    const MIDIEndpointRef console = mMachine->MakeSource("Console");
    MidiListener listener(UniqueIDOf(console));
    listener.Update();

    Say(desk, {0x90, 0x3C, 0x40});
    Say(console, kPlay);

    EXPECT_EQ(BytesOf(WaitFor(listener).value()), kPlay);
}

TEST_F(MidiListenerTest, TellsWhatComesAndGoesAndHearsItAgain)
{
    MidiListener listener;
    EXPECT_TRUE(listener.Update().empty());
    MIDIEndpointRef desk = mMachine->MakeSource("Desk");
    auto changes = listener.Update();
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_TRUE(changes[0].isThere);

    MIDIEndpointDispose(desk);
    changes = listener.Update();
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_FALSE(changes[0].isThere);
    EXPECT_TRUE(listener.Update().empty());

    desk = mMachine->MakeSource("Desk");
    changes = listener.Update();
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_TRUE(changes[0].isThere);
    EXPECT_EQ(listener.Source(changes[0].source).name, "Desk");
    Say(desk, kPlay);
    EXPECT_EQ(BytesOf(WaitFor(listener).value()), kPlay);
}

TEST_F(MidiListenerTest, NeverLetsTheTimeOfASourceRunBackwards)
{
    const MIDIEndpointRef desk = mMachine->MakeSource("Desk");
    MidiListener listener;
    listener.Update();

    Say(desk, {0xF1, 0x01}, 2'000'000);
    Say(desk, {0xF1, 0x12}, 1'999'000);

    EXPECT_EQ(WaitFor(listener).value().time, 2ms);
    EXPECT_EQ(WaitFor(listener).value().time, 2ms);
}

TEST_F(MidiListenerTest, CountsWhatIsLostWhereNobodyTakesIt)
{
    const MIDIEndpointRef desk = mMachine->MakeSource("Desk");
    MidiListener listener;
    listener.Update();
    constexpr std::uint64_t kRoom = 8192;
    constexpr std::uint64_t kMore = 100;
    const std::uint64_t before = Received();

    // One after the other: the service has no more room than the listener
    for (std::uint64_t i = 1; i <= kRoom + kMore; ++i) {
        Say(desk, {0xF8});
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (Received() < before + i && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
    }

    std::uint64_t heard = 0;
    while (listener.TryTake()) {
        ++heard;
    }
    EXPECT_EQ(heard, kRoom);
    EXPECT_EQ(listener.Lost(), kMore);
}

} // namespace
} // namespace deck::host::test
