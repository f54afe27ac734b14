// What only a machine with nothing else to do can show: MTC and pictures that keep
// their time. scripts/soak runs these.

#include "tests/acceptance/JackStudio.h"
#include "tests/deck/media/TestFilm.h"

#include "deck/protocol/MTC.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <iostream>

namespace deck::acceptance {
namespace {

/// A server without hardware on a busy machine misses cycles, which no sender can make good.
class SoakTest : public JackStudio {
protected:
    SoakTest()
        : JackStudio(kExactPeriod)
    {
    }

    void SetUp() override
    {
        const char* const minutes = std::getenv("SOAK_MINUTES");
        if (minutes == nullptr) {
            GTEST_SKIP() << "needs a machine with nothing else to do: ./check soak runs it";
        }
        mMinutes = std::stoi(minutes);
        JackStudio::SetUp();
    }

    int mMinutes = 0;
};

class SoakAtRate : public SoakTest, public testing::WithParamInterface<const char*> {};

TEST_P(SoakAtRate, LeadsWithMTCThatAMachineCanLockTo)
{
    const auto deck = StartWired({"--rate", GetParam(), "--start", "01:00:00:00"});
    Send(kMMCPlay);

    const MtcReport report = JudgeMTC();

    EXPECT_EQ(report.verdict, MtcVerdict::kSound) << FormatMtcReport(report);
    EXPECT_EQ(Run({"check-mtc", "--from", "to Recorder", "--for", "2"}), 0) << mOutput;
}

/// What quarter frames told, with the time of the last of the eight. Those that a server has lost
/// are missing.
std::vector<std::pair<FrameNumber, std::chrono::nanoseconds>> PositionsOf(
    const std::vector<JackPeer::Arrival>& arrivals)
{
    std::vector<std::pair<FrameNumber, std::chrono::nanoseconds>> positions;
    MtcDecoder decoder;
    for (const JackPeer::Arrival& arrival : arrivals) {
        const auto reading = decoder.Feed(arrival.bytes);
        if (reading && !reading->isFullFrame) {
            positions.emplace_back(
                ToNearestFrame(reading->time.timecode, FrameRate::k25), arrival.time);
        }
    }
    return positions;
}

TEST_F(SoakTest, MTCStaysWithTheClock)
{
    const auto deck = StartWired({"--rate", "25"});
    Send(kMMCPlay);
    for (int second = 0; second < 60 * mMinutes; ++second) {
        ASSERT_TRUE(WaitForQuarterFrames(100)) << "after " << second << " seconds";
    }

    const auto positions = PositionsOf(mRecorder->Received());
    ASSERT_GT(positions.size(), 2U);
    const auto& [firstFrame, begin] = positions.front();
    const auto& [lastFrame, end] = positions.back();
    const auto off = end - begin - FrameStart(lastFrame - firstFrame, FrameRate::k25);
    std::cout << lastFrame - firstFrame << " frames, "
              << std::chrono::duration<double, std::milli>(off).count() << " ms off\n";
    EXPECT_LT(std::chrono::abs(off), std::chrono::milliseconds(20)) << "half a frame";
}

TEST_F(SoakTest, ThePictureStaysWithTheClock)
{
    UseWindowsWithoutAScreen();
    const test::FilmSpec film{"25", 60 * 25 * (mMinutes + 1), ""};
    const auto deck = Start({"play", test::MakeFilm(film), "--in", "Console", "--out", "Recorder"});
    ASSERT_TRUE(deck->WaitForLine("window:")) << deck->Output();
    Send(kMMCPlay);

    nlohmann::json picture;
    for (int second = 0; second < 60 * mMinutes; ++second) {
        ASSERT_TRUE(WaitForQuarterFrames(100)) << "after " << second << " seconds";
        ASSERT_EQ(Run({"status", "--json"}), 0) << mOutput;
        picture = nlohmann::json::parse(mOutput)["picture"];
        EXPECT_LT(std::abs(picture["drift_ms"].get<double>()), 20) << "half a frame: " << picture;
    }
    std::cout << "picture: " << picture << "\n";
}

INSTANTIATE_TEST_SUITE_P(
    Rates, SoakAtRate, testing::Values("23.976", "24", "25", "29.97df", "29.97", "30df", "30"));

} // namespace
} // namespace deck::acceptance
