#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCTrace.h"

#include "kelcore/debug/Trace.h"
#include "tests/MIDIMachineControl/FakeTrace.h"

#include <locale>

namespace mmc::tests {

namespace {

using testing::Return;
using testing::StrictMock;

class GroupingDigits : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

} // namespace

TEST(TraceSite, AsksOnceUntilTheChangeCountMoves)
{
    StrictMock<FakeTrace> trace;
    TraceSite site;

    EXPECT_CALL(trace, TraceEnabled("MMC, HandleMMCCommands", 5, true)).WillOnce(Return(true));
    EXPECT_TRUE(site.IsEnabled());
    EXPECT_TRUE(site.IsEnabled());
    testing::Mock::VerifyAndClearExpectations(&trace);

    trace.Change();
    EXPECT_CALL(trace, TraceEnabled("MMC, HandleMMCCommands", 5, true)).WillOnce(Return(false));
    EXPECT_FALSE(site.IsEnabled());
    EXPECT_FALSE(site.IsEnabled());
}

// A site has seen count FFFFFFFF before it ever asked.
TEST(TraceSite, IsOffAtTheCountThatItStartsWith)
{
    StrictMock<FakeTrace> trace;
    TraceSite site;
    trace.ChangeTo(0xFFFFFFFF);

    EXPECT_FALSE(site.IsEnabled());
}

TEST(TraceLine, CarriesThreadCategoryLevelAndText)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, Trace(TraceLine("PLAY")));

    WriteTraceLine("PLAY");
}

TEST(TraceLine, SpellsNumbersWithoutTheLocalesDigitGroups)
{
    StrictMock<FakeTrace> trace;
    const std::locale before = std::locale::global(std::locale(std::locale(), new GroupingDigits));
    EXPECT_CALL(trace, Trace(TraceLine("PLAY")));

    WriteTraceLine("PLAY");

    std::locale::global(before);
}

TEST(TraceLine, IsLostWithoutHarmWhereItCannotBeWritten)
{
    StrictMock<FakeTrace> trace;
    EXPECT_CALL(trace, Trace).WillOnce(testing::Throw(std::bad_alloc()));

    WriteTraceLine("PLAY");
}

} // namespace mmc::tests
