#include "tests/deck/cli/ParsedCommandLine.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

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

TEST(MonitorCommandLine, ShowsEverythingForEverUnlessToldOtherwise)
{
    const auto monitor = Parse<MonitorOptions>({"monitor"});

    EXPECT_FALSE(monitor.from || monitor.save || monitor.count || monitor.duration || monitor.json);
    EXPECT_EQ(monitor.groups, kAllMonitorGroups);
    EXPECT_TRUE(monitor.revive);
}

TEST(MonitorCommandLine, TakesEveryOption)
{
    const auto monitor = Parse<MonitorOptions>({"monitor", "--from", "desk", "--only", "mmc,sysex",
        "--json", "--save", "f", "--count", "3", "--for", "1.5", "--no-revive"});

    EXPECT_EQ(monitor.from, "desk");
    EXPECT_EQ(monitor.groups,
        static_cast<int>(MonitorGroup::MMC) | static_cast<int>(MonitorGroup::SysEx));
    EXPECT_EQ(monitor.save, "f");
    EXPECT_EQ(monitor.count, 3U);
    EXPECT_EQ(monitor.duration, 1500ms);
    EXPECT_TRUE(monitor.json);
    EXPECT_FALSE(monitor.revive);
}

TEST(MonitorCommandLine, RefusesWithWhatWouldBeRight)
{
    EXPECT_THAT(Refusal({"monitor", "--only", "mmc,cheese"}),
        AllOf(HasSubstr("--only cheese"), HasSubstr("mmc, mtc, sysex and other")));
    EXPECT_THAT(Refusal({"monitor", "--count", "0"}), HasSubstr("--count 0"));
    EXPECT_THAT(Refusal({"monitor", "--for", "soon"}), HasSubstr("number of seconds"));
    EXPECT_THAT(Refusal({"monitor", "--from", ""}), HasSubstr("korva-deck ports"));
}

TEST(CheckMtcCommandLine, TakesEveryOption)
{
    const auto check = Parse<CheckMtcOptions>(
        {"check-mtc", "--from", "desk", "--for", "10", "--jitter-limit", "2.5", "--json"});

    EXPECT_EQ(check.from, "desk");
    EXPECT_FALSE(check.file);
    EXPECT_EQ(check.duration, 10s);
    EXPECT_EQ(check.jitterLimit, 2500us);
    EXPECT_TRUE(check.json);
    EXPECT_EQ(Parse<CheckMtcOptions>({"check-mtc", "a.jsonl"}).file, "a.jsonl");
    EXPECT_EQ(Parse<CheckMtcOptions>({"check-mtc", "-"}).jitterLimit, 4ms);
}

TEST(CheckMtcCommandLine, RefusesWithWhatWouldBeRight)
{
    EXPECT_THAT(Refusal({"check-mtc"}), HasSubstr("--from PORT"));
    EXPECT_THAT(Refusal({"check-mtc", "f", "--for", "1"}), HasSubstr("does not go with a file"));
    EXPECT_THAT(
        Refusal({"check-mtc", "f", "--jitter-limit", "x"}), HasSubstr("number of milliseconds"));
}

TEST(DoctorCommandLine, ListensForTwoSecondsUnlessToldOtherwise)
{
    const auto doctor = Parse<DoctorOptions>({"doctor"});

    EXPECT_EQ(doctor.listen, 2s);
    EXPECT_FALSE(doctor.mustHear || doctor.json || doctor.rate || doctor.bundle);
    EXPECT_EQ(doctor.settings.filename(), "deck-settings.json");
}

TEST(DoctorCommandLine, TakesEveryOption)
{
    const auto doctor = Parse<DoctorOptions>({"doctor", "--listen", "10", "--rate", "24",
        "--settings", "/s", "--bundle", "/b", "--json"});

    EXPECT_EQ(doctor.listen, 10s);
    EXPECT_TRUE(doctor.mustHear && doctor.json);
    EXPECT_EQ(doctor.rate, FrameRate::k24);
    EXPECT_EQ(doctor.settings, "/s");
    EXPECT_EQ(doctor.bundle, "/b");
}

} // namespace
} // namespace deck::cli::test
