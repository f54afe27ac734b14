#include "deck/cli/CommandLine.h"

#include "deck/host/HostError.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

template <typename Options> Options Parse(const Arguments& arguments)
{
    return std::get<Options>(ParseCommandLine(arguments));
}

std::string Refusal(const Arguments& arguments)
{
    try {
        ParseCommandLine(arguments);
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << "one line";
        return error.what();
    }
    ADD_FAILURE() << "accepted";
    return "";
}

TEST(SendCommandLine, SendsToEveryDeviceAt25UnlessToldOtherwise)
{
    const auto send = Parse<SendOptions>({"send", "--to", "desk", "play", "locate 01:00:00:00"});

    EXPECT_EQ(send.to, "desk");
    EXPECT_THAT(send.commands, ElementsAre("play", "locate 01:00:00:00"));
    EXPECT_EQ(send.mmc.deviceId, kMMCAllDevices);
    EXPECT_EQ(send.mmc.rate, FrameRate::k25);
    EXPECT_FALSE(send.mmc.rateBits || send.file || send.list);
    EXPECT_EQ(send.interval, 0ns);
}

TEST(SendCommandLine, TakesEveryOption)
{
    const auto send = Parse<SendOptions>({"send", "--to=-12", "--file", "-", "--device", "5",
        "--rate", "29.97df", "--rate-bits", "24", "--interval", "0.5"});

    EXPECT_EQ(send.to, "-12");
    EXPECT_EQ(send.file, "-");
    EXPECT_EQ(send.mmc.deviceId, 5);
    EXPECT_EQ(send.mmc.rate, FrameRate::k2997Drop);
    EXPECT_EQ(send.mmc.rateBits, 0);
    EXPECT_EQ(send.interval, 500us);
    EXPECT_TRUE(Parse<SendOptions>({"send", "--list"}).list);
}

TEST(SendCommandLine, RefusesWithWhatWouldBeRight)
{
    EXPECT_THAT(Refusal({"send", "play"}), HasSubstr("--to PORT"));
    EXPECT_THAT(Refusal({"send", "--to", "x"}), HasSubstr("--list"));
    EXPECT_THAT(Refusal({"send", "--to", "x", "--file", "f", "play"}), HasSubstr("not both"));
    EXPECT_THAT(
        Refusal({"send", "--to", "x", "--device", "128", "play"}), HasSubstr("from 0 to 127"));
    EXPECT_THAT(
        Refusal({"send", "--to", "x", "--device", "1.5", "play"}), HasSubstr("whole number"));
    EXPECT_THAT(Refusal({"send", "--to", "x", "--rate", "26", "play"}), HasSubstr("--rate 26"));
    EXPECT_THAT(Refusal({"send", "--to", "x", "--rate-bits", "26", "play"}), HasSubstr("30df"));
    EXPECT_THAT(Refusal({"send", "--to", "x", "--interval", "-1", "play"}),
        AllOf(HasSubstr("--interval -1"), HasSubstr("milliseconds")));
}

} // namespace
} // namespace deck::cli::test
