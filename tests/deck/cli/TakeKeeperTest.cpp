#include "deck/cli/TakeKeeper.h"

#include "deck/host/SettingsFile.h"
#include "tests/deck/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/resource.h>

namespace deck::cli::test {
namespace {

using deck::test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Listener final : public Display {
public:
    void Tell(const std::string& event, const std::string& text) override
    {
        told.push_back(event + ": " + text);
    }
    void Show(const DeckStatus&, bool) override {}

    std::vector<std::string> told;
};

/// Files cannot grow as long as it lives.
class NoRoom {
public:
    NoRoom()
        : mHandler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &mBefore);
        const rlimit none{0, mBefore.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~NoRoom()
    {
        setrlimit(RLIMIT_FSIZE, &mBefore);
        std::signal(SIGXFSZ, mHandler);
    }

private:
    rlimit mBefore{};
    void (*mHandler)(int);
};

Take Begun(FrameNumber in)
{
    return {1, in, 0, true};
}

Take Ended(FrameNumber in, FrameNumber out)
{
    return {1, in, out, false};
}

TEST(TakeKeeper, KeepsEachTakeWithItsReelAndItsDate)
{
    const TemporaryFolder folder;
    Listener listener;
    TakeKeeper keeper(folder.Path() / "new" / "takes.jsonl", "film.mov", listener);

    keeper.Keep(Begun(100), FrameRate::k25);
    keeper.Keep(Ended(100, 350), FrameRate::k25);

    const TakeList list(folder.Path() / "new" / "takes.jsonl", TakeList::Access::Look);
    ASSERT_EQ(list.Takes().size(), 1u);
    EXPECT_EQ(list.Takes()[0].Duration(), 250);
    EXPECT_EQ(list.Takes()[0].reel, "film.mov");
    EXPECT_THAT(list.Takes()[0].date, testing::MatchesRegex("20..-..-..T..:..:..Z"));
    EXPECT_THAT(listener.told, IsEmpty());
}

TEST(TakeKeeper, TellsOnceThatItCannotWriteAndGoesOn)
{
    const TemporaryFolder folder;
    Listener listener;
    TakeKeeper keeper(folder.Path() / "takes.jsonl", "", listener);
    const NoRoom noRoom;
    EXPECT_THAT(listener.told, IsEmpty());

    for (int take = 0; take < 3; ++take) {
        keeper.Keep(Begun(take * 100), FrameRate::k25);
        keeper.Keep(Ended(take * 100, take * 100 + 50), FrameRate::k25);
    }

    EXPECT_THAT(listener.told,
        ElementsAre(HasSubstr("File too large; the take is not kept; recording goes on")));
    EXPECT_EQ(keeper.Takes().size(), 3u);
}

TEST(TakeKeeper, TellsAtOnceThatThereIsNoPlace)
{
    const TemporaryFolder folder;
    const auto file = folder.Write("file", "");
    Listener listener;
    TakeKeeper keeper(file / "takes.jsonl", "", listener);

    EXPECT_THAT(listener.told, ElementsAre(HasSubstr("Not a directory; takes are not kept")));
    keeper.Keep(Begun(100), FrameRate::k25);
    EXPECT_EQ(listener.told.size(), 1u);
}

TEST(TakeKeeper, NamesATakeThatACrashInterrupted)
{
    const TemporaryFolder folder;
    Listener listener;
    TakeList(folder.Path() / "takes.jsonl").PunchIn(100, FrameRate::k25, "", "");

    const TakeKeeper keeper(folder.Path() / "takes.jsonl", "", listener);

    EXPECT_THAT(
        listener.told, ElementsAre(HasSubstr("note: take 1 from 00:00:04:00 was never ended")));
}

TEST(DefaultTakesPath, FollowsTheSettings)
{
    EXPECT_EQ(DefaultTakesPath("/x/b.json"), "/x/b.takes.jsonl");
    EXPECT_EQ(DefaultTakesPath(host::SettingsFile::DefaultPath()).filename(), "deck-takes.jsonl");
}

} // namespace
} // namespace deck::cli::test
