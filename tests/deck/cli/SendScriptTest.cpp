#include "deck/cli/SendScript.h"

#include "deck/host/HostError.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

const MMCSendOptions kOptions;
const Bytes kPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

SendStep Parse(const std::string& line)
{
    const auto step = ParseSendLine(line, kOptions);
    EXPECT_TRUE(step) << step.error;
    return step ? *step : SendStep{};
}

std::string Refusal(const std::string& line)
{
    const auto step = ParseSendLine(line, kOptions);
    EXPECT_FALSE(step) << line;
    EXPECT_EQ(step.error.find('\n'), std::string::npos) << "one line";
    return step.error;
}

TEST(SendLine, TakesACommandByNameOrAsBytes)
{
    EXPECT_EQ(Parse("  play\r").bytes, kPlay);
    EXPECT_EQ(Parse("F0 7F 7F 06 02 F7 # the same").bytes, kPlay);
    EXPECT_EQ(Parse("90 3C 40").bytes, (Bytes{0x90, 0x3C, 0x40}));
}

TEST(SendLine, TakesEveryCommandOfTheList)
{
    for (const MMCCommand& command : MMCCommands()) {
        if (command.code == 0) {
            continue; // EXTENSION has no known form
        }
        std::string line(command.name);
        line += command.code == kMMCLocate ? " 01:00:00:00" : command.hasCount ? " 01" : "";
        EXPECT_EQ(Parse(line).bytes.at(4), command.code) << line;
    }
}

TEST(SendLine, TellsAWaitFromTheCommandOfThatName)
{
    EXPECT_EQ(Parse("wait 500ms").wait, 500ms);
    EXPECT_EQ(Parse("WAIT 1.5 s").wait, 1500ms);
    EXPECT_EQ(Parse("wait").bytes.at(4), 0x7C);
}

TEST(SendLine, IsNothingWhereThereIsNothing)
{
    EXPECT_TRUE(Parse("").IsNothing());
    EXPECT_TRUE(Parse("  # play").IsNothing());
    EXPECT_TRUE(Parse("wait 0s").IsNothing());
}

TEST(SendLine, RefusesWithWhatWouldBeRight)
{
    EXPECT_THAT(Refusal("plya"), AllOf(HasSubstr("\"plya\""), HasSubstr("PLAY")));
    EXPECT_THAT(Refusal("wait 500"), AllOf(HasSubstr("\"500\""), HasSubstr("wait 500ms")));
    EXPECT_THAT(Refusal("wait -1s"), HasSubstr("wait 2s"));
    EXPECT_THAT(Refusal("locate 25:61:00:00"), HasSubstr("23"));
    EXPECT_THAT(Refusal("stop now"), HasSubstr("takes nothing after it"));
}

TEST(SendLine, RefusesMoreThanOneMessageCanHold)
{
    std::string line;
    for (int i = 0; i < 65536; ++i) {
        line += "00";
    }

    EXPECT_THAT(Refusal(line), HasSubstr("65535"));
}

TEST(SendScript, ReadsAFileLineByLine)
{
    const auto steps = ParseSendScript("# a take\nplay\n\nwait 2s\r\nstop", "take.txt", kOptions);

    ASSERT_EQ(steps.size(), 3U);
    EXPECT_EQ(steps[0].bytes, kPlay);
    EXPECT_EQ(steps[1].wait, 2s);
    EXPECT_EQ(steps[2].bytes.at(4), kMMCStop);
}

TEST(SendScript, NamesTheFileAndTheLineThatIsWrong)
{
    try {
        ParseSendScript("play\n# stop\nplya\n", "take.txt", kOptions);
        ADD_FAILURE() << "accepted";
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        EXPECT_THAT(error.what(), AllOf(HasSubstr("take.txt, line 3: \"plya\"")));
    }
}

TEST(SendList, NamesEveryCommandAndWhatThePluginMakesOfIt)
{
    const std::string list = SendListText();

    for (const MMCCommand& command : MMCCommands()) {
        EXPECT_THAT(list, HasSubstr(command.name));
    }
    EXPECT_THAT(list,
        AllOf(HasSubstr("host call"), HasSubstr("traced only"), HasSubstr("ignored"),
            HasSubstr("deafens"), HasSubstr("RECORD READY")));
}

} // namespace
} // namespace deck::cli::test
