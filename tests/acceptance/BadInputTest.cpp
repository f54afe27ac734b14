#include "tests/acceptance/DeckTest.h"

#include <csignal>

namespace deck::acceptance {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class BadInputTest : public DeckTest {
protected:
    std::string Bundle(const std::string& library) const
    {
        const auto folder = mHome / "X.bundle" / "Contents" / "Linux";
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(library, folder / "X");
        return (mHome / "X.bundle").string();
    }
};

TEST_F(BadInputTest, NamesAMissingBundle)
{
    EXPECT_EQ(Run({"run", "--bundle", "/nowhere/X.bundle"}), 2);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("no bundle at /nowhere/X.bundle"), HasSubstr("--bundle")));
}

TEST_F(BadInputTest, NamesWhatIsNoBundle)
{
    EXPECT_EQ(Run({"run", "--bundle", mHome.string()}), 2);
    EXPECT_THAT(mOutput, HasSubstr("is not a bundle"));
}

TEST_F(BadInputTest, NamesABundleWhoseBinaryDoesNotLoad)
{
    Write(mHome / "X.bundle" / "Contents" / "Linux" / "X", "text");

    EXPECT_EQ(Run({"run", "--bundle", (mHome / "X.bundle").string()}), 2);
    EXPECT_THAT(mOutput, HasSubstr("cannot be loaded"));
}

TEST_F(BadInputTest, NamesABundleWithoutAnEntryPoint)
{
    EXPECT_EQ(Run({"run", "--bundle", Bundle(TEST_LIBRARY_NO_ENTRY_POINT)}), 2);
    EXPECT_THAT(mOutput, HasSubstr("has no function EntryPoint"));
}

TEST_F(BadInputTest, NamesTheSwitchThatIsOffAndItsFile)
{
    Write(mHome / "debug.json", R"({"kelcontrolsurface.EnableMMC":"1"})");

    EXPECT_EQ(Run({"run"}), 2);
    EXPECT_THAT(mOutput,
        AllOf(HasSubstr((mHome / "debug.json").string()), HasSubstr("kelcontrolsurface.EnableMMC"),
            HasSubstr("write \"true\"")));
}

TEST_F(BadInputTest, NamesAnUnknownPort)
{
    EXPECT_EQ(Run({"run", "--in", "organ", "--out", "organ"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("there is no source \"organ\""));
}

TEST_F(BadInputTest, NamesAPortWithoutTheOther)
{
    EXPECT_EQ(Run({"run", "--in", "organ"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("both ports or none"));
}

TEST_F(BadInputTest, NamesAWrongOptionRateOrTimecode)
{
    EXPECT_EQ(Run({"run", "--faster"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("--faster"));
    EXPECT_EQ(Run({"run", "--rate", "26"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("--rate 26"));
    EXPECT_EQ(Run({"run", "--start", "25:61:00:00"}), 2);
    EXPECT_THAT(mOutput, HasSubstr("--start 25:61:00:00"));
    EXPECT_EQ(Run({}), 2);
    EXPECT_THAT(mOutput, HasSubstr("ports, run, play, demo"));
}

TEST_F(BadInputTest, KeepsABrokenSettingsFileAndRuns)
{
    Write(SettingsPath(), "{\"PortConfiguration\":\n{,}}");
    const auto deck = Start({"run"});
    ASSERT_TRUE(deck->WaitForLine("STOP"));
    deck->Signal(SIGTERM);

    EXPECT_EQ(deck->Wait(), 0);
    EXPECT_THAT(deck->Output(),
        AllOf(HasSubstr("warning:"), HasSubstr(SettingsPath().string()), HasSubstr("line 2")));
    EXPECT_EQ(Read(SettingsPath().string() + ".broken-1"), "{\"PortConfiguration\":\n{,}}");
}

TEST_F(BadInputTest, NamesTheDeckThatHasTheSettingsAlready)
{
    const auto first = Start({"run"});
    ASSERT_TRUE(first->WaitForLine("STOP"));

    EXPECT_EQ(Run({"run"}), 2);
    EXPECT_THAT(mOutput, AllOf(HasSubstr("another korva-deck"), HasSubstr("--settings")));
    const auto second = Start({"run", "--settings", (mHome / "other.json").string()});
    EXPECT_TRUE(second->WaitForLine("STOP"));
    first->Signal(SIGTERM);
    second->Signal(SIGTERM);
    EXPECT_EQ(first->Wait(), 0);
    EXPECT_EQ(second->Wait(), 0);
}

TEST_F(BadInputTest, SaysThatTheServiceIsNotThere)
{
    mEnvironment["KEL_MIDI_SERVICE"] = "jack";
    mEnvironment["JACK_DEFAULT_SERVER"] = "korva-no-such-server";

    EXPECT_EQ(Run({"run", "--no-wait"}), 3);
    EXPECT_THAT(mOutput, HasSubstr("jack"));
    EXPECT_EQ(Run({"ports"}), 3);
    EXPECT_THAT(mOutput, HasSubstr("KEL_MIDI_SERVICE"));

    const auto deck = Start({"run"});
    EXPECT_TRUE(deck->WaitForLine("waiting: jack"));
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
}

TEST_F(BadInputTest, WaitsForPortsThatAreNotThereYet)
{
    Write(SettingsPath(), R"({"PortConfiguration":{"in":"123","out":"-456"}})");

    EXPECT_EQ(Run({"run", "--no-wait"}), 3);
    EXPECT_THAT(mOutput, HasSubstr("123"));
    const auto deck = Start({"run"});
    EXPECT_TRUE(deck->WaitForLine("waiting: the port 123"));
    EXPECT_TRUE(deck->WaitForLine("waiting: the port -456"));
    EXPECT_TRUE(deck->WaitForLine("in 123 (waiting for it)"));
    deck->Signal(SIGTERM);
    EXPECT_EQ(deck->Wait(), 0);
}

TEST_F(BadInputTest, EndsWellOnBothSignals)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto deck = Start({"run", "--json"});
        ASSERT_TRUE(deck->WaitForLine(R"("event":"status")"));
        deck->Signal(signal);
        EXPECT_EQ(deck->Wait(), 0) << deck->Output();
    }
}

TEST_F(BadInputTest, AnswersHelpAndVersion)
{
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_THAT(mOutput, HasSubstr("demo"));
    EXPECT_EQ(Run({"--version"}), 0);
    EXPECT_THAT(mOutput, HasSubstr("korva-deck "));
}

} // namespace
} // namespace deck::acceptance
