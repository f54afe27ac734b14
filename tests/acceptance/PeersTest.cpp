// Programs that are not ours at the other end of a real JACK server: a video player
// that follows the deck.

#include "tests/acceptance/DeckTest.h"
#include "tests/acceptance/JackServer.h"
#include "tests/acceptance/Xjadeo.h"
#include "tests/deck/media/TestFilm.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>

namespace deck::acceptance {
namespace {

using nlohmann::json;

constexpr char kStatusLine[] = R"({"event":"status")";

/// The newest of a deck's status lines.
json StatusOf(const Program& deck)
{
    const std::string output = deck.Output();
    const std::size_t begin = output.rfind(kStatusLine);
    return json::parse(output.substr(begin, output.find('\n', begin) - begin));
}

class PeersTest : public DeckTest {
protected:
    void SetUp() override
    {
        if (!JackServer::IsInstalled()) {
            GTEST_SKIP() << "jackd is not installed: no JACK server to test with";
        }
        mServer.Start();
        mEnvironment["KEL_MIDI_SERVICE"] = "jack";
        mEnvironment["JACK_DEFAULT_SERVER"] = mServer.Name();
    }

    /// A deck with its own ports only, which tells its status often.
    std::unique_ptr<Program> StartDeck(const std::string& rate)
    {
        auto deck = Start({"run", "--json", "--rate", rate, "--status-interval", "0.01"});
        EXPECT_TRUE(deck->WaitForLine(kStatusLine)) << deck->Output();
        return deck;
    }

    void Send(const std::vector<std::string>& commands, const std::string& rate = "25")
    {
        std::vector<std::string> arguments{"send", "--to", "korva-deck:MMC in", "--rate", rate};
        arguments.insert(arguments.end(), commands.begin(), commands.end());
        EXPECT_EQ(Run(arguments), 0) << mOutput;
    }

    JackServer mServer{1024};
};

// ------------------------------------------------------------------ a player that follows

struct Target {
    const char* timecode;
    int frame;
};

struct FollowCase {
    const char* rate;
    const char* filmRate;
    std::vector<Target> targets;
};

std::ostream& operator<<(std::ostream& out, const FollowCase& at)
{
    return out << at.rate;
}

class FollowingPlayerTest : public PeersTest, public testing::WithParamInterface<FollowCase> {
protected:
    void SetUp() override
    {
        if (!Xjadeo::IsInstalled()) {
            GTEST_SKIP() << "xjadeo, Xvfb or import is not installed: no player that follows MTC";
        }
        PeersTest::SetUp();
    }

    /// How many frames the player is ahead each time that it shows another one.
    static std::optional<int> MedianLead(Xjadeo& player, const Program& deck)
    {
        constexpr int kSamples = 25;
        std::vector<int> leads;
        for (int i = 0; i < kSamples; ++i) {
            const auto frame = player.NextFrame();
            if (!frame) {
                return std::nullopt;
            }
            leads.push_back(*frame - StatusOf(deck)["frame"].get<int>());
        }
        std::nth_element(leads.begin(), leads.begin() + kSamples / 2, leads.end());
        return leads[kSamples / 2];
    }
};

// A player takes a full frame as it is. While it rolls it rounds a position in quarter frames to
// the nearest frame, so it comes to each frame when half of the one before has passed: one ahead,
// where MTC is less than half a frame off. On a busy machine some seconds may differ.
TEST_P(FollowingPlayerTest, ShowsTheDecksFrame)
{
    const auto& [rate, filmRate, targets] = GetParam();
    const auto deck = StartDeck(rate);
    Xjadeo player(test::MakeFilm({filmRate, 2000, ""}), "korva-deck:MTC out", mHome, mEnvironment);

    for (const Target& target : targets) {
        Send({"locate " + std::string(target.timecode)}, rate);
        EXPECT_TRUE(player.ComesTo(target.frame))
            << target.timecode << " at frame " << target.frame << ", not " << player.Picture();
    }

    Send({"locate 00:00:10:00", "play"}, rate);
    player.TellFrames();
    std::optional<int> lead;
    for (int attempt = 0; lead != 1 && attempt < 10; ++attempt) {
        lead = MedianLead(player, *deck);
    }
    EXPECT_EQ(lead, 1) << deck->Output();

    Send({"stop"});
    ASSERT_TRUE(deck->WaitForLine(R"("call":"Stop")")) << deck->Output();
    const auto status = deck->WaitForLine(R"("event":"status","state":"stop")");
    ASSERT_TRUE(status) << deck->Output();
    const int stopped = json::parse(*status)["frame"];
    EXPECT_GT(stopped, 240);
    EXPECT_TRUE(player.ComesTo(stopped)) << stopped << ", not " << player.Picture();
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Rates,
    FollowingPlayerTest,
    testing::Values( //
        FollowCase{"24", "24",
            {{"00:00:19:23", 479}, {"00:00:05:13", 133}, {"00:00:05:12", 132},
                {"00:01:00:00", 1440}, {"00:00:00:01", 1}}},
        FollowCase{"25", "25",
            {{"00:00:19:24", 499}, {"00:00:05:13", 138}, {"00:00:05:12", 137},
                {"00:01:00:00", 1500}, {"00:00:00:01", 1}}},
        FollowCase{"29.97df", "30000/1001",
            {{"00:00:59;29", 1799}, {"00:01:00;02", 1800}, {"00:01:05;13", 1961},
                {"00:00:05;12", 162}, {"00:00:00;01", 1}}},
        FollowCase{"29.97", "30000/1001",
            {{"00:00:59:29", 1799}, {"00:01:00:00", 1800}, {"00:01:05:13", 1963},
                {"00:00:05:12", 162}, {"00:00:00:01", 1}}},
        FollowCase{"30", "30",
            {{"00:00:59:29", 1799}, {"00:01:00:00", 1800}, {"00:01:05:13", 1963},
                {"00:00:05:12", 162}, {"00:00:00:01", 1}}}));

} // namespace
} // namespace deck::acceptance
