#include "deck/cli/DeckReload.h"

#include "tests/deck/cli/ParsedCommandLine.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace deck::cli::test {
namespace {

enum class Holds { WithThePorts, AtOnce, AfterARestart };

/// An option, given so that something changes.
struct Case {
    Arguments arguments;
    std::string told; // its name in what the user is told
    Holds holds;
};

const std::vector<Case> kCases{
    {{"--in=A", "--out=B"}, "in, out", Holds::WithThePorts},
    {{"--out=B", "--in=A"}, "in, out", Holds::WithThePorts},
    {{"--mtc"}, "mtc", Holds::WithThePorts},
    {{"--no-mtc"}, "mtc", Holds::WithThePorts},
    {{"--mtc-pacing=off"}, "mtc-pacing", Holds::AtOnce},
    {{"--mtc-offset=1"}, "mtc-offset", Holds::AtOnce},
    {{"--wind-speed=3"}, "wind-speed", Holds::AtOnce},
    {{"--locate-rate=deck"}, "locate-rate", Holds::AtOnce},
    {{"--no-revive"}, "no-revive", Holds::AtOnce},
    {{"--status-interval=1"}, "status-interval", Holds::AtOnce},
    {{"--rate=24"}, "rate", Holds::AfterARestart},
    {{"--start=01:00:00:00"}, "start", Holds::AfterARestart},
    {{"--no-own-ports"}, "no-own-ports", Holds::AfterARestart},
    {{"--bundle=/b"}, "bundle", Holds::AfterARestart},
    {{"--settings=/s"}, "settings, takes", Holds::AfterARestart},
    {{"--takes=/t"}, "takes", Holds::AfterARestart},
    {{"--json"}, "json", Holds::AfterARestart},
    {{"--no-wait"}, "no-wait", Holds::AfterARestart},
    {{"--audio"}, "audio", Holds::AfterARestart},
    {{"--burn-in"}, "burn-in", Holds::AfterARestart},
    {{"--full-screen"}, "full-screen", Holds::AfterARestart},
    {{"--screen=2"}, "screen", Holds::AfterARestart},
    {{"--picture-delay=5"}, "picture-delay", Holds::AfterARestart},
    {{"--outside=black"}, "outside", Holds::AfterARestart},
};

std::string OptionOf(const Case& one)
{
    const std::string& argument = one.arguments.front();
    return argument.substr(0, argument.find('='));
}

std::vector<Case> CasesOf(const std::string& command)
{
    const auto options = OptionsOf(command);
    std::vector<Case> cases;
    std::copy_if(kCases.begin(), kCases.end(), std::back_inserter(cases), [&](const Case& one) {
        return std::find(options.begin(), options.end(), OptionOf(one)) != options.end();
    });
    return cases;
}

PlayOptions With(const std::string& command, const Arguments& arguments)
{
    Arguments all{command};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return ParseDeck(all);
}

class DeckReload : public testing::TestWithParam<std::string> {};

INSTANTIATE_TEST_SUITE_P(Commands, DeckReload, testing::Values("run", "play"));

TEST_P(DeckReload, KnowsEveryOption)
{
    for (const std::string& option : OptionsOf(GetParam())) {
        const bool isOfTheCommandItself = option == "--help" || option == "--config";
        const bool isKnown = std::any_of(
            kCases.begin(), kCases.end(), [&](const Case& one) { return OptionOf(one) == option; });
        EXPECT_TRUE(isOfTheCommandItself || isKnown || option == "--offset") << option;
    }
}

TEST_P(DeckReload, TellsWhatIsDoneFromWhatNeedsARestart)
{
    for (const Case& one : CasesOf(GetParam())) {
        const Changes changes = Compare(With(GetParam(), {}), With(GetParam(), one.arguments));

        const bool isLater = one.holds == Holds::AfterARestart;
        EXPECT_EQ(Describe(changes), (isLater ? "needs a restart: " : "changed: ") + one.told);
        EXPECT_EQ(changes.ports, one.holds == Holds::WithThePorts) << one.told;
    }
}

TEST_P(DeckReload, KeepsWhatNeedsARestartSoThatItIsToldAgain)
{
    for (const Case& one : CasesOf(GetParam())) {
        PlayOptions now = With(GetParam(), {});
        const PlayOptions next = With(GetParam(), one.arguments);

        TakeChanges(now, next);

        const bool isLater = one.holds == Holds::AfterARestart;
        EXPECT_EQ(Describe(Compare(now, next)),
            isLater ? "needs a restart: " + one.told : "nothing has changed");
    }
}

// --offset moves a video, so it is not given without one
TEST(DeckReloads, LeaveTheVideoAsItIs)
{
    PlayOptions now;
    PlayOptions next;
    next.file = "film.mov";
    next.mediaStart = 5;

    EXPECT_EQ(Describe(Compare(now, next)), "needs a restart: file, offset");
    TakeChanges(now, next);
    EXPECT_EQ(Describe(Compare(now, next)), "needs a restart: file, offset");
}

TEST(DeckReloads, AreToldInOneLine)
{
    EXPECT_EQ(Describe({true, {"in", "out"}, {"rate"}}), "changed: in, out; needs a restart: rate");
    EXPECT_EQ(Describe({}), "nothing has changed");
}

} // namespace
} // namespace deck::cli::test
