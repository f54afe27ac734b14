#include "deck/protocol/MMCDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace deck {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

MMCMessage Decode(std::string_view bytes)
{
    const auto message = DecodeMMC(*ParseBytes(bytes));
    EXPECT_TRUE(message) << bytes;
    return message.value_or(MMCMessage{});
}

std::vector<std::string> Warnings(std::string_view bytes)
{
    return Decode(bytes).warnings;
}

TEST(MMCDecoder, ReadsBackEveryCommandThatIsEncoded)
{
    const MMCSendOptions options{0x21, FrameRate::k25, std::nullopt, 0};
    for (const auto& command : MMCCommands()) {
        if (command.code == 0)
            continue;
        std::string line(command.name);
        if (command.hasCount)
            line += command.code == kMMCLocate ? " 10:20:30:12" : " 1";
        const auto message = DecodeMMC(*EncodeMMCText(line, options));

        ASSERT_TRUE(message);
        EXPECT_EQ(message->deviceId, 0x21);
        ASSERT_EQ(message->units.size(), 1u);
        EXPECT_EQ(message->units[0].code, command.code);
        EXPECT_TRUE(message->text.starts_with(command.name));
        EXPECT_THAT(message->warnings, IsEmpty()) << line;
    }
}

TEST(MMCDecoder, ReadsALocateWithItsRate)
{
    const auto message = Decode("F0 7F 7F 06 44 06 01 41 02 03 04 05 F7");
    ASSERT_TRUE(message.units.at(0).locate);
    EXPECT_EQ(message.units[0].locate->timecode, (Timecode{1, 2, 3, 4, true}));
    EXPECT_EQ(message.units[0].locate->rateBits, 2);
    EXPECT_EQ(message.text, "LOCATE 01:02:03;04.5 (30 drop)");
    EXPECT_EQ(Decode("F0 7F 7F 06 44 02 00 08 F7").text, "LOCATE to field 0x08");
}

TEST(MMCDecoder, ReadsHoursPastTheFourthBit)
{
    for (int hours = 0; hours < 24; ++hours) {
        for (std::uint8_t rate = 0; rate < 4; ++rate) {
            const Timecode timecode{static_cast<std::uint8_t>(hours), 0, 0, 0, rate == 2};
            const auto message = DecodeMMC(EncodeLocateTarget(0x7F, rate, timecode));
            ASSERT_EQ(message->units[0].locate->timecode, timecode);
            ASSERT_EQ(message->units[0].locate->rateBits, rate);
        }
    }
}

TEST(MMCDecoder, ShowsSpeedsAndSteps)
{
    EXPECT_EQ(Decode("F0 7F 7F 06 47 03 41 40 00 F7").text, "SHUTTLE -1.5");
    EXPECT_EQ(Decode("F0 7F 7F 06 48 01 43 F7").text, "STEP -3");
    EXPECT_EQ(Decode("F0 7F 7F 06 41 04 4F 00 20 20 F7").text, "MASKED WRITE 4F 00 20 20");
}

TEST(MMCDecoder, WarnsOfSeveralCommands)
{
    const auto message = Decode("F0 7F 7F 06 01 44 06 01 21 02 03 04 00 02 F7");
    EXPECT_EQ(message.text, "STOP, LOCATE 01:02:03:04 (25), PLAY");
    EXPECT_THAT(message.warnings,
        ElementsAre("3 commands in one message: only the first will be carried out"));
}

TEST(MMCDecoder, WarnsOfResponses)
{
    const auto message = Decode("F0 7F 7F 07 01 21 02 F7");
    EXPECT_TRUE(message.isResponse);
    EXPECT_THAT(message.units, IsEmpty());
    EXPECT_EQ(message.text, "response 01 21 02");
    EXPECT_THAT(message.warnings, ElementsAre("a response (sub-ID 07), not a command"));
}

TEST(MMCDecoder, WarnsOfLocatesThatAreTooShort)
{
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 06 01 21 02 03 04 F7"),
        ElementsAre("LOCATE promises 6 data bytes, but 5 are there",
            "LOCATE without the sub-frames byte: the sender's message is one byte short"));
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 06 01 21 F7"),
        ElementsAre(
            "LOCATE promises 6 data bytes, but 2 are there", "LOCATE without a whole time code"));
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 F7"),
        ElementsAre("LOCATE ends before its count byte", "LOCATE without a whole time code"));
}

TEST(MMCDecoder, WarnsOfTimesThatCannotBe)
{
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 06 01 01 02 03 1D 00 F7"),
        ElementsAre("frame 29 cannot be at 24: the rate bits are wrong"));
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 06 01 38 3C 03 04 00 F7"),
        ElementsAre("24:60:03:04: hours go from 00 to 23 and minutes go from 00 to 59"));
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 06 01 40 01 00 00 00 F7"),
        ElementsAre("00:01:00;00 does not exist in drop-frame; the next frame is 00:01:00;02"));
    EXPECT_THAT(Warnings("F0 7F 7F 06 44 06 01 21 02 03 44 00 F7"),
        ElementsAre("a negative time: its sign is not passed on"));
}

TEST(MMCDecoder, WarnsOfCommandsItDoesNotKnow)
{
    EXPECT_THAT(Warnings("F0 7F 7F 06 22 F7"), ElementsAre("command 0x22 is not defined"));
    EXPECT_THAT(Warnings("F0 7F 7F 06 00 01 F7"),
        ElementsAre("command 0x00 has no known length; what follows it is not read"));
}

TEST(MMCDecoder, LeavesOtherBytesAlone)
{
    for (const char* bytes : {"F0 7E 7F 06 01 F7", "F0 7F 7F 01 01 01 02 03 04 F7",
             "F0 7F 7F 06 01", "F0 7F 7F F7", "90 3C 40", "F7", "F0 F7"})
        EXPECT_FALSE(DecodeMMC(*ParseBytes(bytes))) << bytes;
    EXPECT_FALSE(DecodeMMC({}));
    EXPECT_THAT(Warnings("F0 7F 7F 06 F7"), ElementsAre("no command in the message"));
}

} // namespace
} // namespace deck
