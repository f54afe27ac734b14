#include "deck/media/VideoPlayer.h"
#include "tests/deck/media/TestFilm.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <random>

namespace deck::test {
namespace {

using namespace std::chrono_literals;

std::chrono::nanoseconds Now()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

/// A screen: renders each new picture and reads the number in it.
class Screen {
public:
    explicit Screen(VideoPlayer& player)
        : mPlayer(player)
        , mPixels(static_cast<std::size_t>(4 * kFilmWidth * kFilmHeight))
    {
        mPlayer.SetPictureChanged([this] {
            const std::lock_guard lock(mMutex);
            mChanged = true;
            mCondition.notify_all();
        });
        mThread = std::thread([this] { Run(); });
    }
    ~Screen()
    {
        mPlayer.SetPictureChanged({});
        {
            const std::lock_guard lock(mMutex);
            mEnding = true;
        }
        mCondition.notify_all();
        mThread.join();
    }

    bool WaitFor(int number)
    {
        std::unique_lock lock(mMutex);
        return mCondition.wait_for(lock, 20s, [&] { return mNumber == number; });
    }
    int Number()
    {
        const std::lock_guard lock(mMutex);
        return mNumber;
    }
    /// Waits until `count` further pictures have appeared.
    bool WaitForPictures(std::size_t count)
    {
        std::unique_lock lock(mMutex);
        const std::size_t wanted = mSeen.size() + count;
        return mCondition.wait_for(lock, 20s, [&] { return mSeen.size() >= wanted; });
    }
    struct Seen {
        int number;
        std::chrono::nanoseconds hostTime;
    };
    std::vector<Seen> TakeSeen()
    {
        const std::lock_guard lock(mMutex);
        return std::exchange(mSeen, {});
    }

private:
    void Run()
    {
        std::unique_lock lock(mMutex);
        while (!mEnding) {
            mCondition.wait(lock, [&] { return mChanged || mEnding; });
            mChanged = false;
            lock.unlock();
            const bool drawn = mPlayer.Render(
                mPixels.data(), kFilmWidth, kFilmHeight, static_cast<std::size_t>(4 * kFilmWidth));
            lock.lock();
            if (const int number = ReadFrameNumber(mPixels); drawn && number != mNumber) {
                mNumber = number;
                mSeen.push_back({number, Now()});
            }
            mCondition.notify_all();
        }
    }

    VideoPlayer& mPlayer;
    std::vector<std::uint8_t> mPixels;
    std::mutex mMutex;
    std::condition_variable mCondition;
    std::vector<Seen> mSeen;
    int mNumber = -1;
    bool mChanged = true;
    bool mEnding = false;
    std::thread mThread;
};

PlayHead Standing(FrameNumber frame, const MediaInfo& info)
{
    return {FrameStart(frame, *info.Rate()), 0ns, false};
}

template <typename Condition> bool WaitUntil(Condition isSo)
{
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

class VideoPlayerAtRate : public testing::TestWithParam<const char*> {};

TEST_P(VideoPlayerAtRate, ShowsExactlyTheFrameAskedFor)
{
    VideoPlayer player(MakeFilm({GetParam(), 250, ""}), {});
    Screen screen(player);
    std::mt19937 random(7);
    std::vector<int> frames{0, 1, 2, 249, 248, 0, 49, 50, 51};
    for (int count = 0; count < 20; ++count) {
        frames.push_back(static_cast<int>(random() % 250));
    }

    for (const int frame : frames) {
        player.Follow(Standing(frame, player.Info()));

        ASSERT_TRUE(screen.WaitFor(frame)) << "frame " << frame << ", shown " << screen.Number();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rates, VideoPlayerAtRate, testing::Values("24000/1001", "24", "25", "30000/1001", "30"));

TEST(VideoPlayer, LandsOnTheLastOfManyLocates)
{
    VideoPlayer player(MakeFilm({}), {});
    Screen screen(player);

    for (int frame = 0; frame < 200; ++frame) {
        player.Follow(Standing(frame, player.Info()));
    }

    EXPECT_TRUE(screen.WaitFor(199));
    EXPECT_LT(player.Status().locates, 150u) << "later locates replace those under way";
}

TEST(VideoPlayer, HoldsTheFirstAndLastPictureOutsideTheFilm)
{
    VideoPlayer player(MakeFilm({}), {});
    Screen screen(player);

    player.Follow({100s, 0ns, false});
    EXPECT_TRUE(screen.WaitFor(249));
    player.Follow({-5s, 0ns, false});
    EXPECT_TRUE(screen.WaitFor(0));
}

TEST(VideoPlayer, PlaysInStepWithTheDecksClock)
{
    VideoPlayer player(MakeFilm({"25", 500, ""}), {});
    Screen screen(player);
    player.Follow(Standing(25, player.Info()));
    ASSERT_TRUE(screen.WaitFor(25));

    const auto begin = Now();
    player.Follow({1s, begin, true});
    ASSERT_TRUE(screen.WaitForPictures(50)); // locks on
    screen.TakeSeen();
    ASSERT_TRUE(screen.WaitForPictures(50));

    double sum = 0;
    const auto seen = screen.TakeSeen();
    for (const auto& picture : seen) {
        sum += std::chrono::duration<double>(picture.hostTime - begin + 1s).count() * 25
            - picture.number;
    }
    EXPECT_NEAR(sum / static_cast<double>(seen.size()), 0, 0.5) << "frames behind, on average";
    const auto drift = player.Status().drift;
    ASSERT_TRUE(drift);
    EXPECT_NEAR(-sum / static_cast<double>(seen.size()) * 40, drift->mean, 20)
        << "what it says of itself is what the screen shows, in milliseconds";
}

TEST(VideoPlayer, SaysWhereItStandsAndForgetsItWhenItPlays)
{
    VideoPlayer player(MakeFilm({}), {});
    Screen screen(player);
    EXPECT_EQ(player.Status().shownFrame, 0);
    EXPECT_FALSE(player.Status().drift);

    player.Follow(Standing(77, player.Info()));
    ASSERT_TRUE(screen.WaitFor(77));
    ASSERT_TRUE(WaitUntil([&] { return player.Status().shownFrame == 77; }));

    player.Follow({77 * 40ms, Now(), true});
    EXPECT_TRUE(WaitUntil([&] { return player.Status().drift.has_value(); }));
    EXPECT_FALSE(player.Status().shownFrame);

    player.Follow(Standing(10, player.Info()));
    EXPECT_TRUE(WaitUntil([&] { return player.Status().shownFrame == 10; }));
    EXPECT_FALSE(player.Status().drift) << "a picture that stands does not drift";
    EXPECT_EQ(player.Status().jumps, 0U);
}

TEST(VideoPlayer, CountsAJumpIntoAFilmThatPlays)
{
    VideoPlayer player(MakeFilm({"25", 500, ""}), {});
    Screen screen(player);
    player.Follow({1s, Now(), true});
    ASSERT_TRUE(WaitUntil([&] { return player.Status().drift.has_value(); }));
    const auto before = player.Status().jumps;

    player.Follow({10s, Now(), true});

    EXPECT_TRUE(WaitUntil([&] { return player.Status().jumps == before + 1; }));
    EXPECT_TRUE(WaitUntil([&] { return player.Status().drift.has_value(); })) << "locked on again";
}

/// Milliseconds that what appears is ahead of a deck that plays from `begin`.
double MeanLead(const std::vector<Screen::Seen>& seen, std::chrono::nanoseconds begin)
{
    double sum = 0;
    for (const auto& picture : seen) {
        sum += picture.number * 40.0
            - std::chrono::duration<double, std::milli>(picture.hostTime - begin).count();
    }
    return sum / static_cast<double>(seen.size());
}

TEST(VideoPlayer, ShowsWhatPlaysEarlierByTheScreensDelay)
{
    VideoPlayer::Options options;
    options.delay = 120ms;
    VideoPlayer player(MakeFilm({"25", 500, ""}), options);
    Screen screen(player);

    const auto begin = Now();
    player.Follow({0s, begin, true});
    ASSERT_TRUE(WaitUntil([&] { return player.Status().drift.has_value(); }));
    screen.TakeSeen();
    ASSERT_TRUE(screen.WaitForPictures(50));

    EXPECT_NEAR(MeanLead(screen.TakeSeen(), begin), 120, 20);
    player.Follow(Standing(77, player.Info()));
    EXPECT_TRUE(screen.WaitFor(77)) << "what stands is not early";
}

TEST(VideoPlayer, IsBlackOutsideTheFilmWhereToldSo)
{
    VideoPlayer::Options options;
    options.blackOutside = true;
    VideoPlayer player(MakeFilm({}), options);
    Screen screen(player);
    player.Follow(Standing(100, player.Info()));
    ASSERT_TRUE(screen.WaitFor(100));

    player.Follow({100s, 0ns, false});
    EXPECT_TRUE(screen.WaitFor(0)) << "no bar is white";
    player.Follow(Standing(249, player.Info()));
    EXPECT_TRUE(screen.WaitFor(249)) << "the last picture is inside";
    player.Follow({9900ms, Now(), true});
    EXPECT_TRUE(screen.WaitFor(0)) << "it has played beyond the end";
    player.Follow({4s, Now(), true});
    EXPECT_TRUE(WaitUntil([&] { return screen.Number() > 100; })) << "it plays again";
}

TEST(VideoPlayer, StandsOnTheFrameOfTheStop)
{
    VideoPlayer player(MakeFilm({}), {});
    Screen screen(player);
    player.Follow({1s, Now(), true});
    ASSERT_TRUE(screen.WaitForPictures(10));

    player.Follow(Standing(77, player.Info()));

    EXPECT_TRUE(screen.WaitFor(77));
}

TEST(VideoPlayer, SaysThatNoDeviceTakesTheSound)
{
    setenv("JACK_DEFAULT_SERVER", "korva-no-such-server", 1);
    setenv("JACK_NO_START_SERVER", "1", 1);
    VideoPlayer::Options options;
    options.audio = true;
    options.audioOutput = "jack";

    VideoPlayer player(MakeFilm({"25", 50, "", true}), options);

    EXPECT_TRUE(WaitUntil([&] { return player.Status().isMute; }));
    EXPECT_FALSE(player.PlaysSound());
}

TEST(VideoPlayer, PlaysTheSoundWhenAsked)
{
    VideoPlayer::Options options;
    options.audioOutput = "null";
    VideoPlayer player(MakeFilm({"25", 500, "", true}), options);
    Screen screen(player);
    EXPECT_TRUE(player.Info().hasAudio);

    player.PlaySound(true);
    player.Follow({0s, Now(), true});

    ASSERT_TRUE(WaitUntil([&] { return player.Status().drift.has_value(); }));
    EXPECT_TRUE(player.PlaysSound());
    EXPECT_FALSE(player.Status().isMute);
    player.PlaySound(false);
    EXPECT_TRUE(screen.WaitForPictures(25));
    EXPECT_FALSE(player.Status().isMute) << "nobody asked for it";
}

TEST(VideoPlayer, RefusesAFileWithoutPictures)
{
    EXPECT_THROW(VideoPlayer("/nowhere/film.mov", {}), MediaError);
}

} // namespace
} // namespace deck::test
