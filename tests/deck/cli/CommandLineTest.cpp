#include "tests/deck/cli/ParsedCommandLine.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(CommandLine, RunsWithSensibleDefaults)
{
    const auto run = Parse<RunOptions>({"run"});

    EXPECT_FALSE(run.in || run.out || run.mtc || run.bundle);
    EXPECT_EQ(run.transport.rate, FrameRate::k25);
    EXPECT_EQ(run.transport.startFrame, 0);
    EXPECT_EQ(run.transport.windSpeed, 10);
    EXPECT_EQ(run.settings.filename(), "deck-settings.json");
    EXPECT_FALSE(run.json || run.noWait);
    EXPECT_EQ(run.statusInterval, 0);
}

TEST(CommandLine, TakesEveryOptionOfRun)
{
    const auto run = Parse<RunOptions>({"run", "--in", "desk", "--out=-456", "--no-mtc", "--rate",
        "29.97df", "--start", "01:00:00;02", "--wind-speed", "5", "--bundle", "/b", "--settings",
        "/s.json", "--json", "--status-interval", "0.5", "--no-wait"});

    EXPECT_EQ(run.in, "desk");
    EXPECT_EQ(run.out, "-456");
    EXPECT_EQ(run.mtc, false);
    EXPECT_EQ(run.transport.rate, FrameRate::k2997Drop);
    EXPECT_EQ(run.transport.startFrame, 107894);
    EXPECT_EQ(run.transport.windSpeed, 5);
    EXPECT_EQ(run.bundle, "/b");
    EXPECT_EQ(run.settings, "/s.json");
    EXPECT_TRUE(run.json && run.noWait);
    EXPECT_EQ(run.statusInterval, 0.5);
}

TEST(CommandLine, TakesANegativeIDBehindABlank)
{
    const auto run = Parse<RunOptions>({"run", "--in", "-123", "--out", "-456"});

    EXPECT_EQ(run.in, "-123");
    EXPECT_EQ(run.out, "-456");
}

TEST(CommandLine, TakesEveryRate)
{
    for (const FrameRate rate : FrameRate::All()) {
        const auto run = Parse<RunOptions>({"run", "--rate", std::string(rate.Name())});
        EXPECT_EQ(run.transport.rate, rate) << rate.Name();
    }
}

TEST(CommandLine, KnowsTheOtherCommands)
{
    EXPECT_FALSE(Parse<PortsOptions>({"ports"}).json);
    EXPECT_TRUE(Parse<PortsOptions>({"ports", "--json"}).json);
    EXPECT_EQ(Parse<DemoOptions>({"demo", "--bundle", "/b"}).bundle, "/b");
}

TEST(CommandLine, PrintsItsVersionAndItsHelp)
{
    EXPECT_THAT(Parse<PrintOptions>({"--version"}).text, HasSubstr("korva-deck "));
    EXPECT_THAT(Parse<PrintOptions>({"--help"}).text,
        AllOf(HasSubstr("ports"), HasSubstr("run"), HasSubstr("demo"),
            HasSubstr("KEL_MIDI_SERVICE"), HasSubstr("Exit status")));
    EXPECT_THAT(Parse<PrintOptions>({"run", "--help"}).text,
        AllOf(HasSubstr("--wind-speed"), HasSubstr("--status-interval")));
}

TEST(CommandLine, RefusesWhatItDoesNotKnow)
{
    EXPECT_THAT(Refusal({}), AllOf(HasSubstr("ports, run, play, demo"), HasSubstr("--help")));
    EXPECT_THAT(Refusal({"dance"}), AllOf(HasSubstr("dance"), HasSubstr("--help")));
    EXPECT_THAT(
        Refusal({"run", "--loud"}), AllOf(HasSubstr("--loud"), HasSubstr("korva-deck run --help")));
    EXPECT_THAT(Refusal({"run", "--rate"}), HasSubstr("--rate"));
}

TEST(CommandLine, RefusesOnePortWithoutTheOther)
{
    EXPECT_THAT(Refusal({"run", "--in", "x"}),
        AllOf(HasSubstr("both ports or none"), HasSubstr("give --out too")));
    EXPECT_THAT(Refusal({"run", "--out", "x"}), HasSubstr("give --in too"));
    EXPECT_THAT(Refusal({"run", "--in", "", "--out", "x"}), HasSubstr("korva-deck ports"));
}

TEST(CommandLine, RefusesRatesAndTimecodesThatDoNotExist)
{
    EXPECT_THAT(
        Refusal({"run", "--rate", "26"}), AllOf(HasSubstr("--rate 26"), HasSubstr("29.97")));
    EXPECT_THAT(Refusal({"run", "--start", "25:61:00:00"}), HasSubstr("--start 25:61:00:00"));
    EXPECT_THAT(Refusal({"run", "--rate", "29.97df", "--start", "00:01:00;00"}),
        AllOf(HasSubstr("00:01:00;00"), HasSubstr("00:01:00;02")));
}

TEST(CommandLine, RefusesNumbersOutOfRange)
{
    for (const std::string speed : {"1", "101", "-5", "2.5", "fast", ""}) {
        EXPECT_THAT(Refusal({"run", "--wind-speed=" + speed}), HasSubstr("wind-speed")) << speed;
    }
    for (const std::string interval : {"-1", "nan", "inf", "x", "90000"}) {
        EXPECT_THAT(
            Refusal({"run", "--status-interval=" + interval}), HasSubstr("--status-interval"))
            << interval;
    }
}

TEST(CommandLine, RefusesAContradiction)
{
    EXPECT_THAT(Refusal({"run", "--mtc", "--no-mtc"}), HasSubstr("contradict"));
}

} // namespace
} // namespace deck::cli::test
