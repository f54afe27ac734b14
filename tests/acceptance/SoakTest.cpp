// What only a machine with nothing else to do can show: MTC and pictures that keep
// their time. scripts/soak runs these.

#include "tests/acceptance/JackStudio.h"
#include "tests/deck/media/TestFilm.h"

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

TEST_F(SoakTest, MTCStaysWithTheClock)
{
    const auto deck = StartWired({"--rate", "25"});
    Send(kMMCPlay);
    for (int second = 0; second < 60 * mMinutes; ++second) {
        ASSERT_TRUE(WaitForQuarterFrames(100)) << "after " << second << " seconds";
    }

    std::vector<std::chrono::nanoseconds> times; // of the quarter frames
    for (const JackPeer::Arrival& arrival : mRecorder->Received()) {
        if (arrival.bytes.size() == 2) {
            times.push_back(arrival.time);
        }
    }
    const auto took = times.back() - times.front();
    const auto ideal = std::chrono::milliseconds(10) * static_cast<int>(times.size() - 1);
    std::cout << times.size() << " quarter frames, "
              << std::chrono::duration<double, std::milli>(took - ideal).count() << " ms off\n";
    EXPECT_LT(std::chrono::abs(took - ideal), std::chrono::milliseconds(20)) << "half a frame";
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
