// Programs that are not ours at the other end of a real JACK server: a video player
// that follows the deck, a DAW that leads it or chases it.

#include "tests/acceptance/Ardour.h"
#include "tests/acceptance/JackStudio.h"
#include "tests/acceptance/Xjadeo.h"
#include "tests/deck/media/TestFilm.h"

#include "deck/protocol/MTC.h"
#include "deck/protocol/MtcChecker.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>
#include <numeric>
#include <set>

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

class PeersTest : public JackDeckTest {
protected:
    explicit PeersTest(int period = 1024)
        : JackDeckTest(period)
    {
    }

    void SetUp() override
    {
        JackDeckTest::SetUp();
        if (!IsSkipped()) {
            mServer->Start();
        }
    }

    /// A deck with its own ports only, which tells its status often.
    std::unique_ptr<Program> StartDeck(
        const std::string& rate, const std::vector<std::string>& options = {})
    {
        std::vector<std::string> arguments{
            "run", "--json", "--rate", rate, "--status-interval", "0.01"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        auto deck = Start(arguments);
        EXPECT_TRUE(deck->WaitForLine(kStatusLine)) << deck->Output();
        return deck;
    }

    void Send(const std::vector<std::string>& commands, const std::string& rate = "25")
    {
        std::vector<std::string> arguments{"send", "--to", "korva-deck:MMC in", "--rate", rate};
        arguments.insert(arguments.end(), commands.begin(), commands.end());
        EXPECT_EQ(Run(arguments), 0) << mOutput;
    }
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

    /// Whether a client was late for one, by the server's word.
    bool HasMissedCycles() const
    {
        return mServer->Output().find("was not finished") != std::string::npos;
    }

    /// Whether the player comes to where the deck is sent. A busy machine's deck or player may miss
    /// a cycle of the server and what came in it, so it is sent there again.
    bool Locate(Xjadeo& player, const Target& target, const std::string& rate)
    {
        for (int attempt = 0; attempt < 5; ++attempt) {
            Send({"locate " + std::string(target.timecode)}, rate);
            if (player.ComesTo(target.frame, std::chrono::seconds(3))) {
                return true;
            }
        }
        return false;
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
        EXPECT_TRUE(Locate(player, target, rate))
            << target.timecode << " at frame " << target.frame << ", not " << player.Picture();
    }

    Send({"locate 00:00:10:00", "play"}, rate);
    player.TellFrames();
    std::optional<int> lead;
    std::set<std::optional<int>> leads;
    for (int attempt = 0; lead != 1 && attempt < 6; ++attempt) {
        lead = MedianLead(player, *deck);
        leads.insert(lead);
    }
    if (lead != 1 && leads.size() > 1 && HasMissedCycles()) {
        GTEST_SKIP() << "the machine is too busy: MTC was lost on the way, which nobody can follow";
    }
    EXPECT_EQ(lead, 1) << deck->Output();

    Send({"stop"});
    ASSERT_TRUE(deck->WaitForLine(R"("call":"Stop")")) << deck->Output();
    const auto status = deck->WaitForLine(R"("event":"status","state":"stop")");
    ASSERT_TRUE(status) << deck->Output();
    const int stopped = json::parse(*status)["frame"];
    EXPECT_GT(stopped, 240);
    EXPECT_TRUE(player.ComesTo(stopped, std::chrono::seconds(20)) || HasMissedCycles())
        << stopped << ", not " << player.Picture();
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

// ------------------------------------------------------------------ a DAW that leads

struct LeadCase {
    const char* rate;
    double samplesInAFrame;
    const char* timecode; // with a frame number that the rate bits which the DAW sends cannot have
    int frame;
};

std::ostream& operator<<(std::ostream& out, const LeadCase& at)
{
    return out << at.rate;
}

class LeadingDawTest : public PeersTest, public testing::WithParamInterface<LeadCase> {
protected:
    void SetUp() override
    {
        if (!Ardour::IsInstalled()) {
            GTEST_SKIP() << "ardour is not installed: no DAW that sends MMC";
        }
        PeersTest::SetUp();
    }

    static bool ComesTo(Program& deck, const std::string& state, int frame)
    {
        return deck
            .WaitForLine([&](const std::string& line) {
                if (!line.starts_with(kStatusLine)) {
                    return false;
                }
                const json status = json::parse(line);
                return status["state"] == state && status["frame"] == frame;
            })
            .has_value();
    }

    static int FrameAt(std::int64_t sample)
    {
        return static_cast<int>(static_cast<double>(sample) / GetParam().samplesInAFrame);
    }
    static std::int64_t SampleAt(int frame)
    {
        return std::llround(frame * GetParam().samplesInAFrame);
    }
};

TEST_P(LeadingDawTest, IsObeyed)
{
    const auto& [rate, samples, timecode, frame] = GetParam();
    Ardour daw(mHome / "ardour", mEnvironment, false);
    const auto deck = StartBound({"--rate", rate, "--in", "ardour:MMC out", "--out",
        "ardour:MTC in", "--status-interval", "0.01"});
    daw.Do("rate " + std::string(rate));
    daw.Do("send_mmc");

    daw.Do("locate " + std::to_string(SampleAt(frame)));
    ASSERT_TRUE(ComesTo(*deck, "stop", frame)) << deck->Output();
    EXPECT_EQ(StatusOf(*deck)["timecode"], timecode);

    daw.Do("roll");
    ASSERT_TRUE(deck->WaitForLine(R"("call":"Play")")) << deck->Output();
    ASSERT_TRUE(ComesTo(*deck, "play", frame + 5)) << deck->Output();

    daw.Do("jump " + std::to_string(SampleAt(1000)));
    ASSERT_TRUE(ComesTo(*deck, "play", 1005)) << deck->Output();

    daw.Do("stop");
    ASSERT_TRUE(deck->WaitForLine(R"("call":"Stop")")) << deck->Output();
    const int stands = FrameAt(daw.Stand());
    EXPECT_GT(stands, 1000);
    EXPECT_TRUE(ComesTo(*deck, "stop", stands)) << stands << deck->Output();
}

INSTANTIATE_TEST_SUITE_P(Rates,
    LeadingDawTest,
    testing::Values(                              //
        LeadCase{"24", 2000, "00:00:10:23", 263}, //
        LeadCase{"29.97df", 1601.6, "00:01:05;29", 1977},
        LeadCase{"30", 1600, "00:00:10:29", 329}));

// ------------------------------------------------------------------ a DAW that chases

using std::chrono::nanoseconds;

/// What came in on a wire: whether a machine can lock to it, and when each cycle of quarter frames
/// began, by the frame that it told.
struct HeardMtc {
    MtcReport report;
    std::map<FrameNumber, nanoseconds> cycles;
};

HeardMtc Hear(JackPeer& listener, FrameRate rate)
{
    HeardMtc heard;
    MtcChecker checker;
    MtcDecoder decoder;
    nanoseconds begin{0};
    for (const auto& [bytes, time] : listener.Received()) {
        checker.Feed(bytes, time);
        if (bytes.size() == 2 && bytes[1] >> 4U == 0) {
            begin = time;
        }
        const auto reading = decoder.Feed(bytes);
        if (reading && !reading->isFullFrame) {
            heard.cycles[ToNearestFrame(reading->time.timecode, rate)] = begin;
        }
    }
    heard.report = checker.Report();
    return heard;
}

/// When it was at a frame; a DAW's cycles may be of the odd ones.
std::optional<nanoseconds> TimeOf(FrameNumber frame, const HeardMtc& heard)
{
    const auto after = heard.cycles.lower_bound(frame);
    if (after == heard.cycles.end() || (after->first != frame && after == heard.cycles.begin())) {
        return std::nullopt;
    }
    if (after->first == frame) {
        return after->second;
    }
    const auto before = std::prev(after);
    if (after->first - before->first != 2) {
        return std::nullopt;
    }
    return (before->second + after->second) / 2;
}

/// How a DAW followed the deck.
struct Chase {
    MtcReport report;          // of the MTC that the deck sent
    int stops = 0;             // while the deck rolled
    std::vector<double> ahead; // milliseconds, at each cycle of its own time code
    double Mean() const
    {
        return std::accumulate(ahead.begin(), ahead.end(), 0.0) / static_cast<double>(ahead.size());
    }
};

std::ostream& operator<<(std::ostream& out, const Chase& chase)
{
    if (chase.ahead.empty()) {
        return out << chase.stops << " stops, never together";
    }
    const auto [least, most] = std::minmax_element(chase.ahead.begin(), chase.ahead.end());
    return out << chase.stops << " stops, " << chase.Mean() << " ms ahead (" << *least << " to "
               << *most << ", " << chase.ahead.size() << " cycles)";
}

class ChasingDawTest : public PeersTest, public testing::WithParamInterface<const char*> {
protected:
    ChasingDawTest()
        : PeersTest(kPeriod)
    {
    }

    static constexpr int kPeriod = 512;
    // Ardour's own time code is a period of the server before what it follows: 2.8 ms at 128,
    // 10.8 ms at 512, 21.4 ms at 1024
    static constexpr double kOwnLead = 1000.0 * kPeriod / Ardour::kSampleRate;

    void SetUp() override
    {
        if (std::getenv("SOAK_MINUTES") == nullptr) {
            GTEST_SKIP() << "needs a machine with nothing else to do: ./check soak runs it";
        }
        if (!Ardour::IsInstalled()) {
            GTEST_SKIP() << "ardour is not installed: no DAW that chases MTC";
        }
        PeersTest::SetUp();
    }

    /// It is told to chase, the deck to play, for some seconds.
    Chase Follow(const std::vector<std::string>& options)
    {
        Ardour daw(mHome / "ardour", mEnvironment, true);
        const auto deck = StartDeck(GetParam(), options);
        JackPeer console(*mServer, "Console");
        JackPeer listener(*mServer, "Listener");
        EXPECT_TRUE(console.Wire("korva-deck:MMC in", "korva-deck:MTC out"));
        EXPECT_TRUE(console.Connect("korva-deck:MTC out", "ardour:MTC in"));
        EXPECT_TRUE(listener.Hear("ardour:MTC out"));
        daw.Do("chase");
        console.SendInOneCycle({EncodeLocateTarget(kMMCAllDevices, 0, {0, 0, 10, 0, false})});
        EXPECT_TRUE(deck->WaitForLine(R"("call":"LocateToSMPTETime")")) << deck->Output();
        console.SendInOneCycle({EncodeMMC(kMMCAllDevices, kMMCPlay)});

        Chase chase;
        chase.stops = std::stoi(daw.Do("count_stops 6"));
        const FrameRate rate = *FrameRate::Parse(GetParam());
        const HeardMtc heard = Hear(console, rate);
        chase.report = heard.report;
        chase.ahead = Compare(heard, Hear(listener, rate));
        deck->Signal(SIGTERM);
        EXPECT_EQ(deck->Wait(), 0);
        return chase;
    }

private:
    /// Without the second in which a DAW starts.
    static std::vector<double> Compare(const HeardMtc& deck, const HeardMtc& daw)
    {
        std::vector<double> ahead;
        for (const auto& [frame, time] : daw.cycles) {
            const auto same = TimeOf(frame, deck);
            if (same && time > daw.cycles.begin()->second + std::chrono::seconds(1)) {
                const std::chrono::duration<double, std::milli> early = *same - time;
                ahead.push_back(early.count() - kOwnLead);
            }
        }
        return ahead;
    }
};

TEST_P(ChasingDawTest, IsWhereTheDeckIs)
{
    Chase chase = Follow({});
    // Once more where the server missed cycles: what it lost, nobody can follow
    for (int more = 4; more > 0 && chase.report.verdict != MtcVerdict::kSound; --more) {
        chase = Follow({});
    }

    std::cout << GetParam() << ": " << chase << "\n";
    EXPECT_TRUE(chase.report.verdict == MtcVerdict::kSound) << FormatMtcReport(chase.report);
    EXPECT_EQ(chase.stops, 0);
    ASSERT_GE(chase.ahead.size(), 30U);
    EXPECT_LT(std::abs(chase.Mean()), 5);
}

TEST_P(ChasingDawTest, IsNotWhereTheDeckIsAfterBursts)
{
    const Chase chase = Follow({"--mtc-pacing", "off"});

    std::cout << GetParam() << " unpaced: " << chase << "\n";
    EXPECT_TRUE(chase.stops > 0 || std::abs(chase.Mean()) > 5);
}

INSTANTIATE_TEST_SUITE_P(Rates, ChasingDawTest, testing::Values("24", "25", "29.97df", "30"));

} // namespace
} // namespace deck::acceptance
