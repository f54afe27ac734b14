#include "deck/cli/CommandLine.h"
#include "deck/host/HostError.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;

PlayOptions Parse(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "play");
    return std::get<PlayOptions>(ParseCommandLine(arguments));
}

std::string Refusal(const std::vector<std::string>& arguments)
{
    try {
        Parse(arguments);
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        return error.what();
    }
    ADD_FAILURE() << "accepted";
    return "";
}

TEST(PlayOptions, ShowThePictureAtItsMomentAndWhereItIs)
{
    const PlayOptions play = Parse({});

    EXPECT_EQ(play.pictureDelay, 0ns);
    EXPECT_FALSE(play.blackOutside || play.fullScreen || play.burnIn || play.audio);
    EXPECT_FALSE(play.screen);
}

TEST(PlayOptions, AreTakenAsTheyAreGiven)
{
    const PlayOptions play = Parse({"--picture-delay", "41.7", "--outside", "black", "--screen",
        "2", "--full-screen", "--burn-in", "--audio"});

    EXPECT_EQ(play.pictureDelay, 41'700us);
    EXPECT_TRUE(play.blackOutside && play.fullScreen && play.burnIn && play.audio);
    EXPECT_EQ(play.screen, 2);
    EXPECT_FALSE(Parse({"--outside", "hold"}).blackOutside);
}

TEST(PlayOptions, AreRefusedWithWhatWouldBeRight)
{
    using testing::HasSubstr;

    EXPECT_THAT(Refusal({"--picture-delay", "-1"}), HasSubstr("from 0 to 1000"));
    EXPECT_THAT(Refusal({"--picture-delay", "1001"}), HasSubstr("--picture-delay 1001"));
    EXPECT_THAT(Refusal({"--outside", "white"}), HasSubstr("it is hold or black"));
    for (const char* const screen : {"0", "-1", "two", "1.5", "99999999999"}) {
        EXPECT_THAT(Refusal({"--screen", screen}), HasSubstr("a whole number from 1"));
    }
}

} // namespace
} // namespace deck::cli::test
