#include "deck/cli/MonitorLines.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

const Bytes kPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
const Bytes kStopAndPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0x02, 0xF7};
const Bytes kFullFrame = {0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7};

class MonitorLinesTest : public testing::Test {
protected:
    void Make(std::uint8_t groups = kAllMonitorGroups, bool revives = true)
    {
        mLines.emplace(
            groups, revives, 1s, [this](const MonitorLine& line) { mGot.push_back(line); });
    }

    static std::uint8_t Of(MonitorGroup group) { return static_cast<std::uint8_t>(group); }

    const MonitorLines::Source mDesk{1, "Desk"};
    const MonitorLines::Source mConsole{2, "Console"};
    std::optional<MonitorLines> mLines;
    std::vector<MonitorLine> mGot;
};

TEST_F(MonitorLinesTest, TellsSourceTimeAndFate)
{
    Make();

    mLines->Feed(mDesk, kPlay, 1200ms);
    mLines->Feed(mConsole, kFullFrame, 1201ms);

    ASSERT_EQ(mGot.size(), 2U);
    EXPECT_EQ(mGot[0].source, "Desk");
    EXPECT_EQ(mGot[0].sourceID, 1);
    EXPECT_EQ(mGot[0].sinceLast, 200ms) << "the first counts from the beginning";
    EXPECT_EQ(mGot[0].prediction->fate, PluginFate::kHostCall);
    EXPECT_EQ(mGot[1].source, "Console");
    EXPECT_EQ(mGot[1].sinceLast, 1ms);
    EXPECT_EQ(mGot[1].prediction->fate, PluginFate::kDropped);
}

TEST_F(MonitorLinesTest, KeepsTheSourcesApart)
{
    Make();

    mLines->Feed(mDesk, Bytes(kPlay.begin(), kPlay.begin() + 3), 1s);
    mLines->Feed(mConsole, kPlay, 1s);
    mLines->Feed(mDesk, Bytes(kPlay.begin() + 3, kPlay.end()), 1s);

    ASSERT_EQ(mGot.size(), 2U);
    EXPECT_EQ(mGot[0].source, "Console");
    EXPECT_EQ(mGot[1].source, "Desk");
    EXPECT_EQ(mGot[1].event.bytes, kPlay);
}

TEST_F(MonitorLinesTest, ShowsTheGroupsAskedFor)
{
    const Bytes foreign = {0xF0, 0x43, 0x10, 0xF7};
    const std::vector<std::pair<MonitorGroup, Bytes>> groups = {{MonitorGroup::MMC, kPlay},
        {MonitorGroup::MTC, kFullFrame}, {MonitorGroup::MTC, {0xF1, 0x02}},
        {MonitorGroup::SysEx, foreign}, {MonitorGroup::Other, {0x90, 0x3C, 0x40}}};
    for (const auto& [group, bytes] : groups) {
        Make(Of(group));
        mGot.clear();
        for (const auto& [other, message] : groups) {
            mLines->Feed(mDesk, message, 1s);
        }

        EXPECT_THAT(mGot,
            testing::Contains(
                testing::Field(&MonitorLine::event, testing::Field(&MidiEvent::bytes, bytes))));
        EXPECT_EQ(mGot.size(), group == MonitorGroup::MTC ? 2U : 1U);
    }
}

TEST_F(MonitorLinesTest, CountsTheTimeFromTheLineThatWasShown)
{
    Make(Of(MonitorGroup::MMC));

    mLines->Feed(mDesk, kPlay, 2s);
    mLines->Feed(mDesk, Bytes{0xF1, 0x02}, 3s);
    mLines->Feed(mDesk, kPlay, 4s);

    ASSERT_EQ(mGot.size(), 2U);
    EXPECT_EQ(mGot[1].sinceLast, 2s);
}

TEST_F(MonitorLinesTest, TakesADeafPluginToHearAgainAsTheDeckMakesIt)
{
    Make();
    mLines->Feed(mDesk, kStopAndPlay, 1s);
    mLines->Feed(mDesk, kPlay, 1s);

    EXPECT_EQ(mGot.at(0).prediction->fate, PluginFate::kDeaf);
    EXPECT_EQ(mGot.at(1).prediction->fate, PluginFate::kHostCall);
}

TEST_F(MonitorLinesTest, LeavesADeafPluginDeafWhereToldSo)
{
    Make(kAllMonitorGroups, false);
    mLines->Feed(mDesk, kStopAndPlay, 1s);
    mLines->Feed(mDesk, kPlay, 1s);

    EXPECT_EQ(mGot.at(1).prediction->fate, PluginFate::kDeaf);
}

TEST_F(MonitorLinesTest, ShowsWhatWasBegunAndNeverEnded)
{
    Make();
    mLines->Feed(mDesk, Bytes{0xF0, 0x7F, 0x7F}, 1s);
    EXPECT_TRUE(mGot.empty());

    mLines->Flush();

    ASSERT_EQ(mGot.size(), 1U);
    EXPECT_FALSE(mGot[0].event.problem.empty());
}

TEST_F(MonitorLinesTest, FormatsTheSource)
{
    Make();
    mLines->Feed(mDesk, kPlay, 1s);

    EXPECT_THAT(FormatMonitorLine(mGot.at(0)), HasSubstr("[Desk]  F0 7F 7F 06 02 F7  PLAY"));
    EXPECT_THAT(FormatMonitorJson(mGot.at(0)), HasSubstr(R"("source":"Desk","source_id":1)"));
}

} // namespace
} // namespace deck::cli::test
