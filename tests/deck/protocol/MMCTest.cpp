#include "deck/protocol/MMC.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>

namespace deck {
namespace {

Bytes Text(std::string_view line, const MMCSendOptions& options = {})
{
    auto bytes = EncodeMMCText(line, options);
    EXPECT_TRUE(bytes) << line << ": " << bytes.error;
    return bytes.value.value_or(Bytes{});
}

std::string Refusal(std::string_view line, const MMCSendOptions& options = {})
{
    const auto bytes = EncodeMMCText(line, options);
    EXPECT_FALSE(bytes) << line;
    return bytes.error;
}

TEST(MMCCommands, HoldsEachCodeAndNameOnceInOrder)
{
    std::set<std::string_view> names;
    int last = -1;
    for (const auto& command : MMCCommands()) {
        EXPECT_GT(command.code, last);
        EXPECT_TRUE(names.insert(command.name).second) << command.name;
        EXPECT_EQ(command.hasCount, command.code >= 0x40 && command.code < 0x78) << command.name;
        EXPECT_EQ(FindMMCCommand(command.code), &command);
        EXPECT_EQ(FindMMCCommand(command.name), &command);
        last = command.code;
    }
    EXPECT_EQ(names.size(), 38u);
}

TEST(MMCCommands, AreFoundInAnySpelling)
{
    for (const char* name : {"DEFERRED PLAY", "deferred-play", "Deferred_Play", "deferredplay"}) {
        ASSERT_NE(FindMMCCommand(name), nullptr) << name;
        EXPECT_EQ(FindMMCCommand(name)->code, kMMCDeferredPlay);
    }
    EXPECT_EQ(FindMMCCommand("record")->code, kMMCRecordStrobe);
    EXPECT_EQ(FindMMCCommand("nonsense"), nullptr);
    EXPECT_EQ(FindMMCCommand(std::uint8_t{0x22}), nullptr);
}

TEST(EncodeMMC, FramesACommandWithoutAndWithACount)
{
    EXPECT_EQ(FormatBytes(EncodeMMC(0x7F, kMMCPlay)), "F0 7F 7F 06 02 F7");
    EXPECT_EQ(FormatBytes(EncodeMMC(0x10, 0x7F)), "F0 7F 10 06 7F F7");
    const Bytes data{1, 2};
    EXPECT_EQ(FormatBytes(EncodeMMC(0, kMMCWrite, data)), "F0 7F 00 06 40 02 01 02 F7");
    EXPECT_EQ(FormatBytes(EncodeMMC(0, kMMCWrite)), "F0 7F 00 06 40 00 F7");
}

TEST(EncodeMMC, PutsTheRateBitsOverTheHours)
{
    const Timecode timecode{1, 2, 3, 4, false};
    EXPECT_EQ(FormatBytes(EncodeLocateTarget(0x7F, 0, timecode)),
        "F0 7F 7F 06 44 06 01 01 02 03 04 00 F7");
    EXPECT_EQ(FormatBytes(EncodeLocateTarget(0x7F, 1, timecode, 99)),
        "F0 7F 7F 06 44 06 01 21 02 03 04 63 F7");
    EXPECT_EQ(EncodeLocateTarget(0x7F, 2, timecode)[7], 0x41);
    EXPECT_EQ(EncodeLocateTarget(0x7F, 3, {23, 0, 0, 0, false})[7], 0x77);
    EXPECT_EQ(FormatBytes(EncodeLocateField(0x7F, 8)), "F0 7F 7F 06 44 02 00 08 F7");
}

TEST(EncodeMMC, WritesTheStandardSpeed)
{
    EXPECT_EQ(FormatBytes(EncodeShuttle(0x7F, 1)), "F0 7F 7F 06 47 03 01 00 00 F7");
    EXPECT_EQ(FormatBytes(EncodeShuttle(0x7F, -1.5)), "F0 7F 7F 06 47 03 41 40 00 F7");
    EXPECT_EQ(FormatBytes(EncodeShuttle(0x7F, 8)), "F0 7F 7F 06 47 03 0C 00 00 F7");
    EXPECT_EQ(FormatBytes(EncodeShuttle(0x7F, -0.0)), "F0 7F 7F 06 47 03 40 00 00 F7");
}

TEST(EncodeMMC, KeepsEverySpeedToAThousandth)
{
    for (double speed = -1023; speed <= 1023; speed += 0.37) {
        const Bytes bytes = EncodeShuttle(0x7F, speed);
        for (std::size_t i = 6; i < 9; ++i)
            ASSERT_LT(bytes[i], 0x80);
        const double read = DecodeSpeed(bytes[6], bytes[7], bytes[8]);
        ASSERT_NEAR(read, speed, std::max(0.0001, std::abs(speed) / 1000));
    }
    const Bytes fine = EncodeShuttle(0x7F, 0.0001);
    EXPECT_NEAR(DecodeSpeed(fine[6], fine[7], fine[8]), 0.0001, 1.0 / 16384);
}

TEST(EncodeMMC, WritesStepsAndRecordReady)
{
    EXPECT_EQ(FormatBytes(EncodeStep(0x7F, 3)), "F0 7F 7F 06 48 01 03 F7");
    EXPECT_EQ(FormatBytes(EncodeStep(0x7F, -63)), "F0 7F 7F 06 48 01 7F F7");
    EXPECT_EQ(FormatBytes(EncodeRecordReady(0x7F, 1, true)), "F0 7F 7F 06 41 04 4F 00 20 20 F7");
    EXPECT_EQ(FormatBytes(EncodeRecordReady(0x7F, 2, false)), "F0 7F 7F 06 41 04 4F 00 40 00 F7");
    EXPECT_EQ(FormatBytes(EncodeRecordReady(0x7F, 3, true)), "F0 7F 7F 06 41 04 4F 01 01 01 F7");
    EXPECT_EQ(FormatBytes(EncodeRecordReady(0x7F, 891, true)), "F0 7F 7F 06 41 04 4F 7F 40 40 F7");
}

TEST(EncodeMMCText, TakesEveryCommandByItsName)
{
    for (const auto& command : MMCCommands()) {
        if (command.code == 0 || command.hasCount)
            continue;
        EXPECT_EQ(Text(command.name), EncodeMMC(0x7F, command.code));
    }
    EXPECT_EQ(Text("record-strobe"), EncodeMMC(0x7F, kMMCRecordStrobe));
    EXPECT_EQ(Text("  mmc   reset "), EncodeMMC(0x7F, kMMCReset));
}

TEST(EncodeMMCText, TakesTheArgumentsOfEveryCommandWithACount)
{
    for (const auto& command : MMCCommands()) {
        if (!command.hasCount)
            continue;
        const bool isLocate = command.code == kMMCLocate;
        const Bytes bytes = Text(std::string(command.name) + (isLocate ? " 1:0:0:0" : " 1"));
        ASSERT_GT(bytes.size(), 6u);
        EXPECT_EQ(bytes[4], command.code);
        EXPECT_EQ(bytes.size(), 7u + bytes[5]) << command.name;
    }
    EXPECT_EQ(Text("locate field 08"), EncodeLocateField(0x7F, 8));
    EXPECT_EQ(Text("SHUTTLE -2.5"), EncodeShuttle(0x7F, -2.5));
    EXPECT_EQ(Text("step -3"), EncodeStep(0x7F, -3));
    EXPECT_EQ(Text("record-ready 2 ON"), EncodeRecordReady(0x7F, 2, true));
    EXPECT_EQ(Text("record strobe variable 0.5")[4], 0x55);
    EXPECT_EQ(FormatBytes(Text("write 4F 01 20")), "F0 7F 7F 06 40 03 4F 01 20 F7");
    EXPECT_EQ(FormatBytes(Text("ADD 1 2 3")), "F0 7F 7F 06 4D 03 01 02 03 F7");
}

TEST(EncodeMMCText, UsesTheRateAndTheDevice)
{
    MMCSendOptions options{0x10, FrameRate::k2997Drop, std::nullopt, 5};
    EXPECT_EQ(
        FormatBytes(Text("LOCATE 01:02:03;29", options)), "F0 7F 10 06 44 06 01 41 02 03 1D 05 F7");
    options.rateBits = 0;
    EXPECT_EQ(Text("LOCATE 01:02:03;29", options)[7], 0x01);
}

TEST(EncodeMMCText, TakesBytesAsTheyAre)
{
    EXPECT_EQ(FormatBytes(Text("F0 7F 7F 06 02 F7")), "F0 7F 7F 06 02 F7");
    EXPECT_EQ(FormatBytes(Text("f07f7f0602f7")), "F0 7F 7F 06 02 F7");
    EXPECT_EQ(FormatBytes(Text("0xF1, 0x4")), "F1 04");
}

TEST(EncodeMMCText, SaysWhatWouldBeRight)
{
    EXPECT_EQ(Refusal("PLAY 1"), "PLAY takes nothing after it, not \"1\"");
    EXPECT_EQ(Refusal("LOCATE 25:61:00:00"),
        "25:61:00:00: hours go from 00 to 23 and minutes go from 00 to 59");
    EXPECT_EQ(Refusal("LOCATE 00:01:00;00", {.rate = FrameRate::k2997Drop}),
        "00:01:00;00 does not exist in drop-frame; the next frame is 00:01:00;02");
    EXPECT_EQ(Refusal("LOCATE"),
        "LOCATE takes a time code, as LOCATE 01:02:03:04, or a field, as LOCATE FIELD 08");
    EXPECT_EQ(Refusal("LOCATE FIELD 80"), "\"80\" is not an information field; write 08 for GP0");
    EXPECT_EQ(Refusal("SHUTTLE fast"), "\"fast\" is not a speed; it goes from -1023 to 1023");
    EXPECT_EQ(Refusal("SHUTTLE nan"), "\"nan\" is not a speed; it goes from -1023 to 1023");
    EXPECT_EQ(Refusal("STEP 64"), "\"64\" is not a number of steps; it goes from -63 to 63");
    EXPECT_EQ(Refusal("STEP 1.5"), "\"1.5\" is not a whole number of steps");
    EXPECT_EQ(Refusal("RECORD READY 0 on"),
        "RECORD READY takes a track from 1 to 891 and on or off, as RECORD READY 2 on");
    EXPECT_EQ(Refusal("WRITE 4F 80"), "80 cannot be a data byte; they go from 00 to 7F");
    EXPECT_EQ(Refusal("WRITE xx"),
        "\"xx\" is not a data byte; WRITE takes hexadecimal bytes from 00 to 7F");
    EXPECT_EQ(
        Refusal(" "), "an empty line; write a command, as PLAY, or bytes, as F0 7F 7F 06 02 F7");
    EXPECT_TRUE(Refusal("jump").starts_with(
        "\"jump\" is neither a command nor hexadecimal bytes; the commands are STOP, PLAY,"));
}

TEST(EncodeMMCText, KeepsACountWithinOneByte)
{
    std::string line = "WRITE";
    for (int i = 0; i < 127; ++i)
        line += " 01";
    EXPECT_EQ(Text(line)[5], 127);
    EXPECT_EQ(Refusal(line + " 01"), "WRITE takes at most 127 data bytes");
}

TEST(ParseBytes, RefusesWhatIsNoByte)
{
    EXPECT_EQ(
        ParseBytes("F0 7G").error, "\"7G\" is not a hexadecimal byte; write them as F0 7F 7F 06");
    EXPECT_FALSE(ParseBytes("F0 123"));
    EXPECT_FALSE(ParseBytes("0x"));
    EXPECT_FALSE(ParseBytes(""));
}

} // namespace
} // namespace deck
