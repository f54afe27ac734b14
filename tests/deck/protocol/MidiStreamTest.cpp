#include "deck/protocol/MidiStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace deck {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct Recorder {
    std::vector<std::string> seen;
    MidiStream stream{[this](const MidiEvent& event) {
        std::string text = FormatBytes(event.bytes);
        seen.push_back(event.problem.empty() ? text : text + " (" + event.problem + ")");
    }};

    void Feed(std::string_view bytes) { stream.Feed(*ParseBytes(bytes), 0ns); }
};

TEST(MidiStream, CutsMessagesOfEveryLength)
{
    Recorder recorder;
    recorder.Feed("90 3C 40 C0 05 F1 23 F2 01 02 F6 F8 F0 7F 7F 06 02 F7 F3 01");
    EXPECT_THAT(recorder.seen,
        ElementsAre(
            "90 3C 40", "C0 05", "F1 23", "F2 01 02", "F6", "F8", "F0 7F 7F 06 02 F7", "F3 01"));
}

TEST(MidiStream, GivesTheSameMessagesForAnyChunking)
{
    const Bytes bytes = *ParseBytes("90 3C 40 3D F8 41 F0 7F FE 7F 06 02 F7 F1 10 C1 02 03 F7 55");
    Recorder whole;
    whole.stream.Feed(bytes, 0ns);
    std::mt19937 random(1);

    for (int round = 0; round < 200; ++round) {
        Recorder chopped;
        for (ByteView rest(bytes); !rest.empty();) {
            const std::size_t size = std::min<std::size_t>(1 + random() % 4, rest.size());
            chopped.stream.Feed(rest.first(size), 0ns);
            rest = rest.subspan(size);
        }
        ASSERT_EQ(chopped.seen, whole.seen);
    }
}

TEST(MidiStream, LetsRealTimeBytesThroughASysEx)
{
    Recorder recorder;
    recorder.Feed("F0 7F F8 7F 06 FE 02 F7");
    EXPECT_THAT(recorder.seen, ElementsAre("F8", "FE", "F0 7F 7F 06 02 F7"));
}

TEST(MidiStream, FillsInTheRunningStatus)
{
    Recorder recorder;
    recorder.Feed("91 3C 40 3D 41 F1 00 3E 42");
    EXPECT_THAT(recorder.seen,
        ElementsAre("91 3C 40", "91 3D 41", "F1 00", "3E (a data byte without a message)",
            "42 (a data byte without a message)"));
}

TEST(MidiStream, NamesWhatIsNotWhole)
{
    Recorder recorder;
    recorder.Feed("F0 7F 7F 90 3C F7 F0 01");
    recorder.stream.Flush();
    EXPECT_THAT(recorder.seen,
        ElementsAre("F0 7F 7F (not whole: cut short by the next message)",
            "90 3C (not whole: cut short by the next message)",
            "F7 (an end of SysEx without a beginning)", "F0 01 (not whole: the stream ended)"));
}

TEST(MidiStream, CutsASysExWithoutEndAndGoesOnBehindIt)
{
    std::vector<MidiEvent> events;
    MidiStream stream([&](const MidiEvent& event) { events.push_back(event); });
    stream.Feed(Bytes{0xF0}, 0ns);
    for (int i = 0; i < 3000; ++i)
        stream.Feed(Bytes(50, 0x11), 0ns);
    stream.Feed(Bytes{0xF7, 0xF1, 0x20}, 0ns);

    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].bytes.size(), MidiStream::kMaxSysEx);
    EXPECT_EQ(events[0].problem, "a SysEx longer than 65536 bytes; its rest is skipped");
    EXPECT_EQ(events[1].bytes, (Bytes{0xF1, 0x20}));
}

TEST(MidiStream, KeepsTheTimesOfFirstAndLastByte)
{
    std::vector<MidiEvent> events;
    MidiStream stream([&](const MidiEvent& event) { events.push_back(event); });
    stream.Feed(Bytes{0xF0, 0x01}, 10ns);
    stream.Feed(Bytes{0xF8}, 20ns);
    stream.Feed(Bytes{0xF7}, 30ns);

    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].time, 20ns);
    EXPECT_EQ(events[1].time, 10ns);
    EXPECT_EQ(events[1].end, 30ns);
}

} // namespace
} // namespace deck
