#include "deck/protocol/MtcChecker.h"

#include "MtcStream.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace deck {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr FrameNumber kStart = 108000; // an even frame, an hour or so in

MtcReport Check(const MtcStream& stream)
{
    MtcChecker checker;
    for (const auto& message : stream.messages)
        checker.Feed(message.bytes, message.time);
    return checker.Report();
}

/// The names of the defects found, each once for every time that it was found.
std::vector<std::string> Defects(const MtcReport& report)
{
    std::vector<std::string> names;
    for (const auto& finding : report.findings)
        names.emplace_back(NameOf(finding.defect));
    return names;
}

std::vector<std::string> Defects(const MtcStream& stream)
{
    return Defects(Check(stream));
}

/// Full frame, then ten seconds or more.
MtcStream Sound(FrameRate rate, int cycles = 200)
{
    MtcStream stream(rate);
    stream.FullFrameAt(kStart).Pause(50ms).Run(kStart, cycles);
    return stream;
}

constexpr std::size_t Index(int cycle, int piece)
{
    return static_cast<std::size_t>(1 + cycle * kMtcPieces + piece);
}

void Erase(MtcStream& stream, std::size_t index, std::size_t count = 1)
{
    const auto at = stream.messages.begin() + static_cast<std::ptrdiff_t>(index);
    stream.messages.erase(at, at + static_cast<std::ptrdiff_t>(count));
}

/// Everything from message `index` on comes later.
void Delay(MtcStream& stream, std::size_t index, std::chrono::nanoseconds by)
{
    for (; index < stream.messages.size(); ++index)
        stream.messages[index].time += by;
}

class MtcCheckerAtEveryRate : public testing::TestWithParam<FrameRate> {};

INSTANTIATE_TEST_SUITE_P(Rates,
    MtcCheckerAtEveryRate,
    testing::ValuesIn(FrameRate::All().begin(), FrameRate::All().end()),
    [](const auto& rate) {
        std::string name(rate.param.Name());
        std::erase(name, '.');
        return name;
    });

TEST_P(MtcCheckerAtEveryRate, PassesASoundStream)
{
    const FrameRate rate = GetParam();
    const auto report = Check(Sound(rate));

    EXPECT_EQ(report.verdict, MtcVerdict::kSound) << FormatMtcReport(report);
    EXPECT_EQ(report.cycles, 200u);
    EXPECT_EQ(report.quarterFrames, 1600u);
    EXPECT_EQ(report.fullFrames, 1u);
    EXPECT_EQ(report.runs, 1u);
    EXPECT_EQ(report.first, MtcTimeOf(kStart, rate));
    EXPECT_EQ(report.last, MtcTimeOf(kStart + 398, rate));
    EXPECT_NEAR(*report.fps,
        static_cast<double>(rate.Numerator()) / static_cast<double>(rate.Denominator()), 0.0001);
    EXPECT_NEAR(report.speed, 1, 0.00001);
}

TEST_P(MtcCheckerAtEveryRate, PassesMidnightMinutesAndHours)
{
    const FrameRate rate = GetParam();
    MtcStream stream(rate);
    const FrameNumber start = rate.FramesPerDay() - 4000;
    stream.FullFrameAt(start).Run(start, 4000);
    EXPECT_THAT(Defects(stream), ElementsAre());
}

TEST_P(MtcCheckerAtEveryRate, PassesLocatesThatAFullFrameAnnounces)
{
    const FrameRate rate = GetParam();
    auto stream = Sound(rate, 50);
    Erase(stream, stream.messages.size() - 3, 3); // the locate comes in the middle of a cycle
    stream.FullFrameAt(500).Run(500, 50);
    stream.FullFrameAt(596).Pause(2s).FullFrameAt(80000).Pause(3s).Run(80002, 50);
    const auto report = Check(stream);
    EXPECT_THAT(Defects(report), ElementsAre()) << FormatMtcReport(report);
    EXPECT_EQ(report.runs, 3u);
}

TEST_P(MtcCheckerAtEveryRate, PassesReverseAndATurn)
{
    const FrameRate rate = GetParam();
    MtcStream stream(rate);
    stream.FullFrameAt(kStart).Run(kStart, 30).RunReverse(kStart + 58, 30).Run(kStart, 30);
    const auto report = Check(stream);
    EXPECT_THAT(Defects(report), ElementsAre()) << FormatMtcReport(report);
    EXPECT_GT(report.cycles, 80u);
}

TEST_P(MtcCheckerAtEveryRate, PassesLittleJitterAndVarispeed)
{
    auto stream = Sound(GetParam());
    std::mt19937 random(7);
    for (auto& message : stream.messages) {
        message.time = message.time * 1015 / 1000;
        message.time += std::chrono::microseconds(random() % 1000);
    }
    const auto report = Check(stream);
    EXPECT_THAT(Defects(report), ElementsAre()) << FormatMtcReport(report);
    EXPECT_NEAR(report.speed, 1 / 1.015, 0.0015) << "24 and 23.976 are the same code";
    EXPECT_GT(report.jitterMax, 300us);
    EXPECT_LE(report.jitterMax, 1200us);
}

TEST_P(MtcCheckerAtEveryRate, FindsAMissingPiece)
{
    auto stream = Sound(GetParam());
    Erase(stream, Index(20, 3));
    EXPECT_THAT(Defects(stream), ElementsAre("missing-piece"));

    Erase(stream, Index(60, 6), 3);
    EXPECT_THAT(Defects(stream), ElementsAre("missing-piece", "missing-piece"));
}

TEST_P(MtcCheckerAtEveryRate, FindsARepeatedPiece)
{
    auto stream = Sound(GetParam());
    const auto at = stream.messages.begin() + static_cast<std::ptrdiff_t>(Index(20, 5));
    stream.messages.insert(at, *at);
    EXPECT_THAT(Defects(stream), ElementsAre("repeated-piece"));
}

TEST_P(MtcCheckerAtEveryRate, FindsPiecesOutOfOrder)
{
    auto stream = Sound(GetParam());
    std::swap(stream.messages[Index(20, 2)].bytes, stream.messages[Index(20, 3)].bytes);
    EXPECT_THAT(Defects(stream), ElementsAre("piece-order"));
}

TEST_P(MtcCheckerAtEveryRate, FindsARunThatBeginsInTheMiddle)
{
    auto stream = Sound(GetParam());
    Erase(stream, Index(0, 0), 3);
    EXPECT_THAT(Defects(stream), ElementsAre("piece-order"));
}

TEST_P(MtcCheckerAtEveryRate, FindsAnOddStart)
{
    const FrameRate rate = GetParam();
    MtcStream stream(rate);
    stream.FullFrameAt(kStart + 1).Run(kStart + 1, 100);
    if (rate.NominalFps() == 25)
        EXPECT_THAT(Defects(stream), ElementsAre());
    else
        EXPECT_THAT(Defects(stream), ElementsAre("odd-start"));
}

TEST_P(MtcCheckerAtEveryRate, FindsAChangeOfTheRateCode)
{
    const FrameRate rate = GetParam();
    auto stream = Sound(rate, 50);
    const auto other = rate.NominalFps() == 24 ? FrameRate::k25 : FrameRate::k24;
    const FrameNumber frame = *ToFrame(ToTimecode(48000, other), other);
    for (int cycle = 0; cycle < 50; ++cycle) {
        for (int piece = 0; piece < kMtcPieces; ++piece) {
            const auto bytes = EncodeQuarterFrame(MtcTimeOf(frame + 2 * cycle, other), piece);
            stream.messages.push_back({Bytes(bytes.begin(), bytes.end()),
                stream.now + stream.Quarters(cycle * kMtcPieces + piece)});
        }
    }
    EXPECT_THAT(Defects(stream), ElementsAre("rate-change"));
}

TEST_P(MtcCheckerAtEveryRate, FindsARateThatIsNotTheOneItRunsAt)
{
    const FrameRate rate = GetParam();
    auto stream = Sound(rate);
    const int fps = rate.NominalFps() == 25 ? 24 : 25;
    for (auto& message : stream.messages)
        message.time = message.time * rate.NominalFps() / fps;
    const auto report = Check(stream);
    ASSERT_THAT(Defects(report), ElementsAre("rate-mismatch"));
    EXPECT_EQ(report.findings[0].time, report.begin);
}

TEST_P(MtcCheckerAtEveryRate, FindsAGap)
{
    auto stalled = Sound(GetParam());
    Delay(stalled, Index(20, 3), 120ms);
    EXPECT_THAT(Defects(stalled), ElementsAre("gap"));

    auto lost = Sound(GetParam());
    Erase(lost, Index(20, 3), 11);
    EXPECT_THAT(Defects(lost), ElementsAre("gap"));

    auto cycleLost = Sound(GetParam());
    Erase(cycleLost, Index(20, 0), 8);
    EXPECT_THAT(Defects(cycleLost), ElementsAre("gap"));
}

TEST_P(MtcCheckerAtEveryRate, FindsAJump)
{
    auto stream = Sound(GetParam(), 50);
    stream.Run(kStart + 1000, 50);
    const auto report = Check(stream);
    ASSERT_THAT(Defects(report), ElementsAre("jump"));
    EXPECT_EQ(report.findings[0].time, stream.messages[Index(50, 0)].time);
}

TEST_P(MtcCheckerAtEveryRate, FindsALocateWithoutAFullFrame)
{
    auto stream = Sound(GetParam(), 50);
    stream.Pause(2s).Run(5000, 50);
    EXPECT_THAT(Defects(stream), ElementsAre("no-full-frame"));

    MtcStream wrong(GetParam());
    wrong.FullFrameAt(0).Run(kStart, 50);
    EXPECT_THAT(Defects(wrong), ElementsAre("no-full-frame"));

    auto resumed = Sound(GetParam(), 50);
    resumed.Pause(2s).Run(kStart + 100, 50);
    EXPECT_THAT(Defects(resumed), ElementsAre()) << "it goes on where it stopped";
}

TEST_P(MtcCheckerAtEveryRate, FindsFullFramesInARunningStream)
{
    for (const int piece : {0, 1, 4, 7}) {
        auto stream = Sound(GetParam());
        const auto at = stream.messages.begin() + static_cast<std::ptrdiff_t>(Index(20, piece));
        const auto bytes = EncodeFullFrame(MtcTimeOf(kStart + 40, GetParam()));
        stream.messages.insert(at, {Bytes(bytes.begin(), bytes.end()), at->time});
        EXPECT_THAT(Defects(stream), ElementsAre("full-frame-while-running")) << piece;
    }
}

TEST_P(MtcCheckerAtEveryRate, FindsTimesThatCannotBe)
{
    auto stream = Sound(GetParam());
    stream.messages[Index(20, 3)].bytes[1] = 0x3F; // seconds of 240 and more
    EXPECT_THAT(Defects(stream), ElementsAre("impossible-time"));

    auto fullFrame = Sound(GetParam());
    fullFrame.messages[0].bytes[8] = 30;
    EXPECT_THAT(Defects(fullFrame), ElementsAre("impossible-time"));
}

TEST_P(MtcCheckerAtEveryRate, FindsBursts)
{
    auto stream = Sound(GetParam());
    for (std::size_t i = 1; i < stream.messages.size(); ++i)
        stream.messages[i].time = stream.messages[1 + (i - 1) / 4 * 4].time;
    const auto report = Check(stream);
    ASSERT_THAT(Defects(report), ElementsAre("jitter"));
    EXPECT_THAT(report.findings[0].text, HasSubstr("they come in bursts"));
}

TEST_P(MtcCheckerAtEveryRate, FindsJitter)
{
    auto stream = Sound(GetParam());
    for (std::size_t i = 1; i < stream.messages.size(); i += 20)
        stream.messages[i].time += 5ms;
    const auto report = Check(stream);
    ASSERT_THAT(Defects(report), ElementsAre("jitter"));
    EXPECT_LT(report.jitterP50, 50us);
    EXPECT_NEAR(static_cast<double>(report.jitterP99.count()), 5e6, 0.05e6);
}

TEST(MtcChecker, FindsUnlatchedPiecesWhereASecondTurns)
{
    // Each piece tells the frame that is now, not the one of piece 0
    MtcStream stream(FrameRate::k25);
    stream.FullFrameAt(1451);
    const auto begin = stream.now;
    for (int i = 0; i < 400; ++i) {
        const auto bytes = EncodeQuarterFrame(MtcTimeOf(1451 + i / 4, FrameRate::k25), i % 8);
        stream.messages.push_back({Bytes(bytes.begin(), bytes.end()), begin + stream.Quarters(i)});
    }
    const auto report = Check(stream);
    ASSERT_THAT(Defects(report), ElementsAre("unlatched"));
    EXPECT_THAT(report.findings[0].text, HasSubstr("00:01:59:24 came where 00:00:59:24 was due"));
}

TEST(MtcChecker, FindsMessagesThatWereCut)
{
    auto stream = Sound(FrameRate::k25, 50);
    stream.messages[0].bytes.pop_back();
    EXPECT_THAT(Defects(stream), ElementsAre("not-whole"));
}

TEST(MtcChecker, ReadsThroughOtherTrafficInAnyChunks)
{
    MtcChecker checker;
    for (const auto& message : Sound(FrameRate::k2997Drop, 50).messages) {
        for (const auto byte : message.bytes) {
            checker.Feed(Bytes{0xF8}, message.time);
            checker.Feed(Bytes{byte}, message.time);
        }
        checker.Feed(Bytes{0x90, 0x3C, 0x40}, message.time);
    }
    const auto report = checker.Report();
    EXPECT_EQ(report.verdict, MtcVerdict::kSound) << FormatMtcReport(report);
    EXPECT_EQ(report.quarterFrames, 400u);
    EXPECT_EQ(report.otherMessages, 400u + 1 + 810);
}

TEST(MtcChecker, HasNothingToSayOfSilenceOrFullFramesAlone)
{
    EXPECT_EQ(MtcChecker().Report().verdict, MtcVerdict::kNothing);
    MtcStream stream(FrameRate::k25);
    stream.FullFrameAt(0).Pause(1s).FullFrameAt(2);
    EXPECT_EQ(Check(stream).verdict, MtcVerdict::kNothing);
}

TEST(MtcChecker, CountsEveryFindingButKeepsTheFirst)
{
    auto stream = Sound(FrameRate::k25, 1000);
    for (int cycle = 990; cycle > 0; --cycle)
        Erase(stream, Index(cycle, 3));
    const auto report = Check(stream);
    EXPECT_EQ(report.findings.size(), 200u);
    EXPECT_EQ(report.findingCount, 990u);
    EXPECT_EQ(report.defects[0], 990u);
    EXPECT_THAT(FormatMtcReport(report), HasSubstr("and 790 more"));
}

TEST(MtcChecker, TellsPeopleAndPrograms)
{
    auto stream = Sound(FrameRate::k25);
    Erase(stream, Index(20, 3));
    const auto report = Check(stream);

    const std::string text = FormatMtcReport(report);
    EXPECT_THAT(text, HasSubstr("defective: 01:12:00:00 to 01:12:15:23 at 25, forward"));
    EXPECT_THAT(text, HasSubstr("1599 quarter frames, 1 full frames"));
    EXPECT_THAT(text, HasSubstr("1.690 s  missing-piece: piece 3 is missing"));
    EXPECT_THAT(text, HasSubstr("missing-piece (1): the position is not complete"));

    const auto json = nlohmann::json::parse(FormatMtcReportJson(report));
    EXPECT_EQ(json["verdict"], "defective");
    EXPECT_EQ(json["findings"][0]["defect"], "missing-piece");
    EXPECT_NEAR(json["findings"][0]["time"], 1.69, 0.0001);
    EXPECT_EQ(json["rate"], "25");
    EXPECT_NEAR(json["fps"], 25.0, 0.001);
    EXPECT_TRUE(nlohmann::json::parse(FormatMtcReportJson(MtcReport{}))["fps"].is_null());
}

TEST(JitterHistogram, GivesQuantilesWithinItsResolution)
{
    JitterHistogram histogram;
    EXPECT_EQ(histogram.Quantile(0.5), 0ns);
    for (int i = 1; i <= 1000; ++i)
        histogram.Add(std::chrono::microseconds(i % 2 == 0 ? i : -i));
    histogram.Add(3s);

    EXPECT_EQ(histogram.Max(), 3s);
    EXPECT_NEAR(static_cast<double>(histogram.Quantile(0.5).count()), 500e3, 10e3);
    EXPECT_NEAR(static_cast<double>(histogram.Quantile(0.99).count()), 990e3, 10e3);
    EXPECT_EQ(histogram.Quantile(1), 100ms);
}

} // namespace
} // namespace deck
