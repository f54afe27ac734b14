#include "deck/protocol/MidiMonitor.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace deck {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

MidiAnnotation Of(std::string_view bytes)
{
    return Annotate({*ParseBytes(bytes), 0ns, 0ns, {}});
}

TEST(Annotate, NamesEveryKindOfMessage)
{
    EXPECT_EQ(Of("F0 7F 10 06 02 F7").text, "PLAY");
    EXPECT_EQ(Of("F0 7F 10 06 02 F7").deviceId, 0x10);
    EXPECT_EQ(Of("F0 7F 7F 06 44 06 01 21 02 03 04 00 F7").rateBits, 1);
    EXPECT_EQ(Of("F0 7F 7F 01 01 41 02 03 04 F7").text, "MTC full frame 01:02:03;04 (30 drop)");
    EXPECT_EQ(Of("F1 23").text, "MTC piece 2: seconds, low 3");
    EXPECT_EQ(Of("F1 75").text, "MTC piece 7: hours, high, and rate 5 (30 drop)");
    EXPECT_EQ(Of("F1 75").rateBits, 2);
    EXPECT_EQ(Of("90 3C 40").text, "note on, channel 1");
    EXPECT_EQ(Of("EF 00 40").text, "pitch bend, channel 16");
    EXPECT_EQ(Of("F8").text, "clock");
    EXPECT_EQ(Of("F0 43 10 4C 00 F7").text, "SysEx");
    EXPECT_EQ(Of("F0 43 10 4C 00 F7").kind, MidiKind::kOther);
}

TEST(Annotate, WarnsOfWhatIsOdd)
{
    EXPECT_THAT(Of("F0 7F 7F 01 01 01 02 03 1D F7").warnings,
        ElementsAre("01:02:03:29: frames go from 00 to 23 at 24"));
    EXPECT_THAT(
        Of("F0 7F 7F 07 01 F7").warnings, ElementsAre("a response (sub-ID 07), not a command"));
    const auto broken = Annotate({{0xF0, 0x7F}, 0ns, 0ns, "not whole: the stream ended"});
    EXPECT_EQ(broken.kind, MidiKind::kBroken);
    EXPECT_EQ(broken.text, "not whole: the stream ended");
}

TEST(MonitorLine, ShowsBytesMeaningEffectAndTime)
{
    PluginModel model;
    MonitorLine line{{*ParseBytes("F0 7F 7F 06 02 F7"), 5s, 5s, {}}, {}, 1234567ns, {}};
    line.annotation = Annotate(line.event);
    line.prediction = model.Feed(line.event.bytes);

    EXPECT_EQ(
        FormatMonitorLine(line), "+     1234 us  F0 7F 7F 06 02 F7  PLAY (all devices) -> Play");
    const auto json = nlohmann::json::parse(FormatMonitorJson(line));
    EXPECT_EQ(json["time_ns"], 5000000000);
    EXPECT_EQ(json["kind"], "mmc");
    EXPECT_EQ(json["device"], 127);
    EXPECT_EQ(json["fate"], "host call");
    EXPECT_EQ(json["effect"], "Play");
    EXPECT_FALSE(json.contains("warnings"));
}

TEST(MonitorLine, ShowsWarningsLast)
{
    MonitorLine line{{*ParseBytes("F0 7F 05 06 01 02 F7"), 0ns, 0ns, {}}, {}, 0ns, {}};
    line.annotation = Annotate(line.event);
    EXPECT_EQ(FormatMonitorLine(line),
        "+        0 us  F0 7F 05 06 01 02 F7  STOP, PLAY (device 05)"
        " ! 2 commands in one message: only the first will be carried out");
    EXPECT_EQ(nlohmann::json::parse(FormatMonitorJson(line))["warnings"].size(), 1u);
}

} // namespace
} // namespace deck
