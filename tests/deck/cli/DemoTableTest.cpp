#include "deck/cli/DemoTable.h"

#include "deck/cli/DemoScript.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace deck::cli::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::size_t Columns(const std::string& line)
{
    return static_cast<std::size_t>(std::count_if(line.begin(), line.end(),
        [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

TEST(DemoTable, WritesACellAsSoonAsItIsKnown)
{
    std::ostringstream out;
    DemoTable table(out, false);
    table.BeginStep("PLAY", "F0 7F 7F 06 02 F7");
    EXPECT_EQ(out.str(), "  PLAY           F0 7F 7F 06 02 F7");

    table.AddCall("Play");
    EXPECT_THAT(out.str(), testing::EndsWith("Play"));
    table.AddMTC("full 00:00:00:00");
    table.EndStep(true, "");
    const std::string written = out.str();
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1);
}

TEST(DemoTable, TakesANewLineForASecondCell)
{
    std::ostringstream out;
    DemoTable table(out, false);
    table.BeginStep("STOP", "F0");
    table.AddCall("StopRewind");
    table.AddCall("Stop");
    table.EndStep(false, "why");

    EXPECT_THAT(out.str(), HasSubstr("StopRewind\n"));
    EXPECT_THAT(out.str(), HasSubstr("✗\n"));
    EXPECT_THAT(out.str(), HasSubstr("why\n"));
}

TEST(DemoTable, FitsIntoAHundredColumns)
{
    std::ostringstream out;
    DemoTable table(out, false);
    table.Begin();
    for (const DemoStep& step : MakeDemoScript()) {
        table.BeginStep(step.name, FormatBytes(step.bytes));
        table.AddCall("LocateToSMPTETime");
        table.AddCall("  00:10:00;02 30");
        table.AddMTC("full 00:00:00:00");
        table.EndStep(true, "");
    }
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(Columns(line), 100U) << line;
    }
}

TEST(DemoTable, IsColouredOnlyOnRequest)
{
    std::ostringstream plain;
    DemoTable(plain, false).Begin();
    std::ostringstream coloured;
    DemoTable(coloured, true).Begin();

    EXPECT_THAT(plain.str(), Not(HasSubstr("\x1b")));
    EXPECT_THAT(coloured.str(), HasSubstr("\x1b[1m"));
}

} // namespace
} // namespace deck::cli::test
