// A deck that is told of another configuration while it plays: what it says that it
// takes over, it does.

#include "deck/protocol/MTC.h"
#include "tests/acceptance/JackStudio.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>

namespace deck::acceptance {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::nanoseconds;

constexpr FrameRate kRate = FrameRate::k25;

double Millis(Time time)
{
    return static_cast<double>(time.count()) / 1e6;
}

class ReloadTest : public JackStudio {
protected:
    using JackStudio::JackStudio;

    void StartWith(const std::string& options)
    {
        Write(ConfigPath(), kPorts + options);
        mDeck = StartBound({});
    }
    /// Until the deck says that it has done what is in `told`.
    void ReloadWith(const std::string& options, const std::string& told)
    {
        Write(ConfigPath(), kPorts + options);
        mDeck->Signal(SIGHUP);
        ASSERT_TRUE(mDeck->WaitForLine("\"changed: " + told + "\"")) << mDeck->Output();
    }

    /// By a console that thinks it runs at 24 frames a second.
    void LocateAt24(std::uint8_t seconds, std::uint8_t frames)
    {
        mConsole->SendInOneCycle(
            {EncodeLocateTarget(kMMCAllDevices, 0, {0, 0, seconds, frames, false})});
    }
    bool WaitForFullFrame(FrameNumber frame)
    {
        const auto bytes = EncodeFullFrame(MtcTimeOf(frame, kRate));
        return mRecorder->WaitFor(Bytes(bytes.begin(), bytes.end())).has_value();
    }

    const std::string kPorts = "in = Console\nout = Recorder\n";
    std::unique_ptr<Program> mDeck;
};

TEST_F(ReloadTest, LocatesAndWindsAsItIsTold)
{
    constexpr FrameNumber kStart = 10 * 25 + 18;
    StartWith("locate-rate = sender\nwind-speed = 7\n");
    LocateAt24(10, 18);
    ASSERT_TRUE(WaitForFullFrame(kStart + 1)) << "18/24 of a second; " << mDeck->Output();

    ReloadWith("locate-rate = deck\nwind-speed = 50\n", "wind-speed, locate-rate");

    LocateAt24(10, 18);
    ASSERT_TRUE(WaitForFullFrame(kStart));
    Send(kMMCFastForward);
    const auto wound = mRecorder->WaitFor([](const Bytes& bytes) {
        const auto time = DecodeFullFrame(bytes);
        return time && *ToFrame(time->timecode, kRate) > kStart;
    });
    ASSERT_TRUE(wound);
    // A busy machine leaves frames out; at 7 the first of these would be the 50th
    const FrameNumber first = *ToFrame(DecodeFullFrame(*wound)->timecode, kRate);
    EXPECT_EQ((first - kStart) % 50, 0) << first;
}

class PacingReloadTest : public ReloadTest {
protected:
    PacingReloadTest()
        : ReloadTest(kExactPeriod)
    {
    }

    struct Reading {
        FrameNumber frame;
        Time time; // when its last piece came
    };

    /// Rolls on until so many positions more have come; those.
    std::vector<Reading> Roll(int count)
    {
        std::vector<Reading> readings;
        while (static_cast<int>(readings.size()) < count) {
            if (!mRecorder->WaitFor([](const Bytes&) { return true; })) {
                ADD_FAILURE() << "no MTC: " << mDeck->Output();
                break;
            }
            const auto received = mRecorder->Received();
            for (; mRead < received.size(); ++mRead) {
                Take(received[mRead], readings);
            }
        }
        return readings;
    }

    /// The deck's moment of frame 0, as a machine that follows takes it: the middle one of what
    /// `readings` say.
    static Time Origin(const std::vector<Reading>& readings)
    {
        std::vector<Time> origins;
        for (const Reading& reading : readings) {
            origins.push_back(reading.time - FrameStart(reading.frame, kRate));
        }
        std::sort(origins.begin(), origins.end());
        return origins.at(origins.size() / 2);
    }

    /// The middle one of the distances between quarter frames since the last full frame.
    Time Distance()
    {
        const auto received = mRecorder->Received();
        std::vector<Time> distances;
        for (std::size_t i = received.size() - 1; i > 0 && received[i - 1].bytes.size() == 2; --i) {
            distances.push_back(received[i].time - received[i - 1].time);
        }
        std::sort(distances.begin(), distances.end());
        return distances.at(distances.size() / 2);
    }

private:
    void Take(const JackPeer::Arrival& arrival, std::vector<Reading>& readings)
    {
        const auto reading = mDecoder.Feed(arrival.bytes);
        if (reading && !reading->isFullFrame) {
            readings.push_back({*ToFrame(reading->time.timecode, kRate), arrival.time});
        }
    }

    MtcDecoder mDecoder;
    std::size_t mRead = 0;
};

TEST_F(PacingReloadTest, ShiftsAndPacesTheMTCThatIsRunning)
{
    StartWith("");
    Send(kMMCPlay);
    const Time before = Origin(Roll(15));

    ReloadWith("mtc-offset = 500\n", "mtc-offset");
    Roll(20); // the last ones of before among them
    EXPECT_NEAR(Millis(Origin(Roll(15)) - before), 500, 50);
    EXPECT_NEAR(Millis(Distance()), 10, 3);

    ReloadWith("mtc-pacing = off\n", "mtc-pacing, mtc-offset");
    Roll(20);
    Roll(15);
    EXPECT_LT(Millis(Distance()), 3) << "four at a time";

    const auto received = mRecorder->Received();
    EXPECT_GE(std::count_if(received.begin(), received.end(),
                  [](const auto& arrival) { return DecodeFullFrame(arrival.bytes).has_value(); }),
        3)
        << "one at the beginning, and one for each change";
}

// ------------------------------------------------------------------ the window

class WindowReloadTest : public DeckTest {
protected:
    void SetUp() override { UseWindowsWithoutAScreen(); }

    std::string Notice()
    {
        EXPECT_EQ(Run({"status", "--json"}), 0) << mOutput;
        return nlohmann::json::parse(mOutput)["notice"].dump();
    }
};

TEST_F(WindowReloadTest, ReadsItsConfigurationAsOftenAsItIsTold)
{
    const auto deck = Start({"play"});
    ASSERT_TRUE(deck->WaitForLine("window: ")) << deck->Output();
    for (const int speed : {3, 4}) {
        Write(ConfigPath(), "[play]\nburn-in = true\nwind-speed = " + std::to_string(speed) + "\n");
        deck->Signal(SIGHUP);
        EXPECT_TRUE(deck->WaitForLine("reloaded: changed: wind-speed; needs a restart: burn-in"))
            << deck->Output();
    }

    Write(ConfigPath(), "wind-speed = fast\n");
    deck->Signal(SIGHUP);
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (Notice().find("not reloaded") == std::string::npos
        && std::chrono::steady_clock::now() < deadline) {
    }
    EXPECT_THAT(Notice(), testing::HasSubstr("wind-speed fast: it is a whole number"));

    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0) << deck->Output();
}

} // namespace
} // namespace deck::acceptance
