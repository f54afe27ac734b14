#include "tests/acceptance/DeckTest.h"

#include <csignal>
#include <sstream>

namespace deck::acceptance {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class DemoTest : public DeckTest {};

TEST_F(DemoTest, ShowsTheWholePathAndEndsWell)
{
    EXPECT_EQ(Run({"demo"}), 0) << mOutput;

    EXPECT_THAT(mOutput, ContainsRegex("PLAY +F0 7F 7F 06 02 F7 +Play"));
    EXPECT_THAT(mOutput, ContainsRegex("F0 7F 7F 06 44 06 01 21 02 03 04 00 F7 +LocateToSMPTE"));
    EXPECT_THAT(mOutput, HasSubstr("full 01:02:03:04"));
    EXPECT_THAT(mOutput, HasSubstr("8 qf 01:00:00:00"));
    EXPECT_THAT(mOutput, HasSubstr("All of it happened"));
    EXPECT_THAT(mOutput, Not(HasSubstr("✗")));
}

TEST_F(DemoTest, ChoosesTheBuiltInServiceByItself)
{
    mEnvironment["KEL_MIDI_SERVICE"] = "";
    mEnvironment.erase("KEL_MIDI_SERVICE");
    unsetenv("KEL_MIDI_SERVICE");

    EXPECT_EQ(Run({"demo"}), 0) << mOutput;
    EXPECT_THAT(mOutput, HasSubstr("MIDI service: builtin"));
}

TEST_F(DemoTest, FailsWhenACommandDoesNotArrive)
{
    EXPECT_EQ(Run({"demo", "--lose", "EJECT"}), 1);

    EXPECT_THAT(mOutput, HasSubstr("the bytes did not arrive"));
    EXPECT_THAT(mOutput, HasSubstr("did not do what they should"));
    EXPECT_THAT(mOutput, Not(HasSubstr("All of it happened")));
}

TEST_F(DemoTest, FailsWithoutABundle)
{
    EXPECT_EQ(Run({"demo", "--bundle", (mHome / "none.bundle").string()}), 2);
    EXPECT_THAT(mOutput, HasSubstr("no bundle at"));
}

TEST_F(DemoTest, IsPlainAndNarrowInAPipe)
{
    Run({"demo"});

    EXPECT_THAT(mOutput, Not(HasSubstr("\x1b")));
    std::istringstream lines(mOutput);
    for (std::string line; std::getline(lines, line);) {
        const auto columns = std::count_if(line.begin(), line.end(),
            [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; });
        EXPECT_LE(columns, 100) << line;
    }
}

TEST_F(DemoTest, SaysThatItWasBrokenOff)
{
    const auto demo = Start({"demo", "--lose", "PLAY"});
    ASSERT_TRUE(demo->WaitForLine("────"));
    demo->Signal(SIGINT);

    EXPECT_EQ(demo->Wait(), 1);
    EXPECT_THAT(demo->Output(), HasSubstr("ended by a signal"));
}

TEST_F(DemoTest, NeedsNoSettingsAndWritesNone)
{
    Run({"demo"});

    for (const auto& entry : std::filesystem::recursive_directory_iterator(mHome)) {
        EXPECT_EQ(entry.path(), mHome / "run") << "the empty folder that was there before";
    }
}

} // namespace
} // namespace deck::acceptance
