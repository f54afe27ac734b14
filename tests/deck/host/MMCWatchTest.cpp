#include "deck/host/MMCWatch.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <future>

namespace deck::host::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> Split(const Bytes& stream)
{
    MMCSplitter splitter;
    std::vector<Bytes> messages;
    for (const std::uint8_t byte : stream) {
        if (splitter.Take(byte)) {
            const RawMMC& message = splitter.Message();
            messages.emplace_back(message.bytes.begin(), message.bytes.begin() + message.length);
        }
    }
    return messages;
}

const Bytes kPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

TEST(MMCSplitter, FindsCommandsAndResponses)
{
    EXPECT_THAT(Split(kPlay), ElementsAre(kPlay));
    EXPECT_THAT(Split({0xF0, 0x7F, 0x01, 0x07, 0x02, 0xF7}),
        ElementsAre(Bytes{0xF0, 0x7F, 0x01, 0x07, 0x02, 0xF7}));
}

TEST(MMCSplitter, PassesOverWhatIsNotMMC)
{
    EXPECT_THAT(Split({0x90, 0x40, 0x7F, 0xF8, 0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7, 0xF1, 0x02, 0xF0,
                    0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7, 0xF0, 0x7F, 0xF7}),
        IsEmpty());
}

TEST(MMCSplitter, LeavesOutRealTimeBytesInside)
{
    EXPECT_THAT(Split({0xF0, 0x7F, 0xF8, 0x7F, 0x06, 0xFE, 0x02, 0xF7}), ElementsAre(kPlay));
}

TEST(MMCSplitter, DropsWhatAnotherMessageBreaksOff)
{
    EXPECT_THAT(
        Split({0xF0, 0x7F, 0x7F, 0x06, 0x90, 0x02, 0xF7, 0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7}),
        ElementsAre(kPlay));
    EXPECT_THAT(Split({0xF0, 0x7F, 0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7}), ElementsAre(kPlay));
}

TEST(MMCSplitter, CutsALongMessageOffAndGoesOn)
{
    Bytes stream = {0xF0, 0x7F, 0x7F, 0x06, 0x40};
    stream.resize(10000, 0x01);
    stream.push_back(0xF7);
    stream.insert(stream.end(), kPlay.begin(), kPlay.end());

    const auto messages = Split(stream);

    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].size(), RawMMC::kMaxLength);
    EXPECT_EQ(messages[1], kPlay);
}

TEST(MMCWatch, FollowsASourceUntilItIsToldNotTo)
{
    setenv("KEL_MIDI_SERVICE", "builtin", 1);
    MidiClient client("test");
    const MIDIEndpointRef source = client.MakeSource("Controller");
    std::atomic<int> all{0};
    std::atomic<int> seen{0};
    const auto count = [](std::atomic<int>& number) {
        return [&number](const RawMMC&) {
            ++number;
            number.notify_all();
        };
    };
    MMCWatch watch(client, count(seen));
    MMCWatch other(client, count(all));
    MIDIPacketList packets{};
    packets.numPackets = 1;
    packets.packet[0].length = static_cast<UInt16>(kPlay.size());
    std::copy(kPlay.begin(), kPlay.end(), packets.packet[0].data);
    other.Follow(UniqueIDOf(source));
    watch.Follow(UniqueIDOf(source));

    MIDIReceived(source, &packets);
    seen.wait(0);
    all.wait(0);
    watch.Follow(0);
    MIDIReceived(source, &packets);
    all.wait(1);
    EXPECT_EQ(seen, 1) << "nobody followed";
    watch.Follow(UniqueIDOf(source));
    MIDIReceived(source, &packets);
    seen.wait(1);
    EXPECT_EQ(seen, 2);
}

} // namespace
} // namespace deck::host::test
