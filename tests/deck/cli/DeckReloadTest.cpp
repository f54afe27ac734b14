#include "deck/cli/DeckReload.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DeckReload, SaysThatNothingHasChanged)
{
    const Changes changes = Compare({}, {});

    EXPECT_FALSE(changes.ports);
    EXPECT_EQ(Describe(changes), "nothing has changed");
}

TEST(DeckReload, TellsWhatIsDoneFromWhatNeedsARestart)
{
    RunOptions next;
    next.in = "A";
    next.out = "B";
    next.mtc = true;
    next.windSpeed = 3;
    next.locateRate = LocateRate::Deck;
    next.revive = false;
    next.statusInterval = 1;
    next.rate = FrameRate::k24;
    next.startFrame = 5;
    next.pacing.enabled = false;
    next.ownPorts = false;
    next.bundle = "/b";
    next.settings = "/s";
    next.takes = "/t";
    next.json = true;
    next.noWait = true;

    const Changes changes = Compare({}, next);

    EXPECT_TRUE(changes.ports);
    EXPECT_THAT(changes.done,
        ElementsAre(
            "in", "out", "mtc", "wind-speed", "locate-rate", "no-revive", "status-interval"));
    EXPECT_THAT(changes.later,
        ElementsAre("rate", "start", "mtc-pacing and mtc-offset", "no-own-ports", "bundle",
            "settings", "takes", "json", "no-wait"));
    EXPECT_EQ(Describe({true, {"in", "out"}, {"rate"}}), "changed: in, out; needs a restart: rate");
}

TEST(DeckReload, KeepsWhatNeedsARestartSoThatItIsToldAgain)
{
    RunOptions now;
    RunOptions next;
    next.windSpeed = 3;
    next.rate = FrameRate::k24;
    next.pacing.offset = std::chrono::milliseconds(1);

    TakeChanges(now, next);

    const Changes left = Compare(now, next);
    EXPECT_THAT(left.done, IsEmpty());
    EXPECT_THAT(left.later, ElementsAre("rate", "mtc-pacing and mtc-offset"));
}

} // namespace
} // namespace deck::cli::test
