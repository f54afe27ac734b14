#include "deck/cli/ConfigFile.h"

#include "deck/cli/CommandLine.h"
#include "tests/deck/TemporaryFolder.h"
#include "tests/deck/cli/ParsedCommandLine.h"

#include <gmock/gmock.h>

namespace deck::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class ConfigFileTest : public testing::Test {
protected:
    template <typename Options> Options Parse(Arguments arguments) const
    {
        arguments.insert(arguments.end(), {"--config", File()});
        return std::get<Options>(ParseCommandLine(arguments));
    }
    RunOptions Run(const std::string& text, Arguments arguments = {}) const
    {
        folder.Write("deck.conf", text);
        arguments.insert(arguments.begin(), "run");
        return Parse<RunOptions>(arguments);
    }
    std::string Refusal(const std::string& text, const std::string& command = "run") const
    {
        folder.Write("deck.conf", text);
        return test::Refusal({command, "--config", File()});
    }
    std::string File() const { return (folder.Path() / "deck.conf").string(); }

    deck::test::TemporaryFolder folder;
};

TEST_F(ConfigFileTest, HasEveryOptionOfRun)
{
    const RunOptions run = Run(R"(# Machine room
in = Console
out = -456
mtc = false
mtc-pacing = on
mtc-offset = -2.5
rate = 29.97df
start = "01:00:00;02"
wind-speed = 5
locate-rate = deck
bundle = /b
settings = /s.json
takes = /t.jsonl
no-revive = true
no-wait = true
[run]
json = true
status-interval = 0.5
)");

    EXPECT_EQ(run.in, "Console");
    EXPECT_EQ(run.out, "-456");
    EXPECT_EQ(run.mtc, false);
    EXPECT_EQ(run.pacing.offset, std::chrono::microseconds(-2500));
    EXPECT_EQ(run.transport.rate, FrameRate::k2997Drop);
    EXPECT_EQ(run.transport.startFrame, 107894);
    EXPECT_EQ(run.transport.windSpeed, 5);
    EXPECT_EQ(run.transport.locateRate, LocateRate::Deck);
    EXPECT_EQ(run.bundle, "/b");
    EXPECT_EQ(run.settings, "/s.json");
    EXPECT_EQ(run.takes, "/t.jsonl");
    EXPECT_TRUE(!run.revive && run.noWait && run.json);
    EXPECT_EQ(run.statusInterval, 0.5);
    EXPECT_TRUE(run.portsMayCome) << "they stand in a file";
}

TEST_F(ConfigFileTest, HasEveryOptionOfPlay)
{
    folder.Write("deck.conf",
        "rate = 24\n[play]\naudio = true\nburn-in = true\nfull-screen = true\nrate = 25\n");

    const auto play = Parse<PlayOptions>({"play"});

    EXPECT_TRUE(play.audio && play.burnIn && play.fullScreen);
    EXPECT_EQ(play.run.transport.rate, FrameRate::k25)
        << "its own section goes before what is for both";
}

TEST_F(ConfigFileTest, GivesEachCommandWhatIsForIt)
{
    const std::string text = "wind-speed = 3\n[run]\nrate = 24\n[play]\nrate = 30\naudio = true\n";

    EXPECT_EQ(Run(text).transport.rate, FrameRate::k24);
    EXPECT_EQ(Parse<PlayOptions>({"play"}).run.transport.rate, FrameRate::k30NonDrop);
    EXPECT_EQ(Parse<PlayOptions>({"play"}).run.transport.windSpeed, 3);
}

TEST_F(ConfigFileTest, IsOverruledByTheCommandLine)
{
    const std::string text
        = "in = A\nout = B\nmtc = true\nrate = 24\nmtc-offset = 3\nwind-speed = 9\n";

    const RunOptions run = Run(
        text, {"--in", "C", "--no-mtc", "--rate=25", "--mtc-pacing", "off", "--wind-speed", "4"});

    EXPECT_EQ(run.in, "C");
    EXPECT_EQ(run.out, "B");
    EXPECT_EQ(run.mtc, false);
    EXPECT_EQ(run.transport.rate, FrameRate::k25);
    EXPECT_FALSE(run.pacing.enabled) << "an offset has no meaning then";
    EXPECT_EQ(run.transport.windSpeed, 4);
    EXPECT_FALSE(run.portsMayCome) << "one was named by hand";
}

TEST_F(ConfigFileTest, TakesAValueAsItStands)
{
    const RunOptions run = Run("in = Desk #2, left, \"A\"\r\nout=\"  Recorder [1] \"\n");

    EXPECT_EQ(run.in, "Desk #2, left, \"A\"");
    EXPECT_EQ(run.out, "  Recorder [1] ");
}

TEST_F(ConfigFileTest, TakesAFlagThatIsFalseAsNotGiven)
{
    const RunOptions run = Run("no-revive = false\nno-wait = false\nmtc = true\n");

    EXPECT_TRUE(run.revive && !run.noWait);
    EXPECT_EQ(run.mtc, true);
}

TEST_F(ConfigFileTest, SaysWhichDeckIsMeantToTheOtherCommands)
{
    folder.Write("deck.conf", "in = A\nout = B\nsettings = /s.json\nrate = 24\n");

    EXPECT_EQ(Parse<TakesOptions>({"takes"}).settings, "/s.json");
    EXPECT_EQ(Parse<ConfigureOptions>({"configure"}).settings, "/s.json");
    const auto connect = Parse<ConnectOptions>({"connect", "--in", "C", "--out", "D"});
    EXPECT_EQ(connect.in + connect.out, "CD");
    EXPECT_EQ(connect.settings, "/s.json");
}

TEST_F(ConfigFileTest, NamesTheFileAndTheKeyThatIsUnknown)
{
    EXPECT_THAT(Refusal("in = A\nloud = true\n"),
        AllOf(StartsWith(File() + ": loud: "), HasSubstr("korva-deck run --help")));
    EXPECT_THAT(Refusal("[play]\njson = true\n"),
        AllOf(StartsWith(File() + ": [play] json: "), HasSubstr("korva-deck play --help")));
    EXPECT_THAT(Refusal("[tape]\nrate = 25\n"), HasSubstr("[tape] rate: there are the sections"));
    EXPECT_THAT(Refusal("config = x\n"), HasSubstr("config: there is no such option"));
    EXPECT_THAT(Refusal("help = true\n"), HasSubstr("help: there is no such option"));
    EXPECT_THAT(Refusal("some words\n"), HasSubstr("some words: there is no such option"));
}

TEST_F(ConfigFileTest, NamesTheFileAndTheKeyWhoseValueIsWrong)
{
    EXPECT_THAT(Refusal("rate = 26\n"), StartsWith(File() + ": rate 26: "));
    EXPECT_THAT(Refusal("start = 25:61:00:00\n"), StartsWith(File() + ": start 25:61:00:00: "));
    EXPECT_THAT(Refusal("wind-speed = fast\n"), StartsWith(File() + ": wind-speed fast: "));
    EXPECT_THAT(Refusal("mtc-pacing = maybe\n"), StartsWith(File() + ": mtc-pacing maybe: "));
    EXPECT_THAT(Refusal("in = Console\n"), StartsWith(File() + ": in alone binds nothing"));
    EXPECT_THAT(Refusal("no-wait = perhaps\n"),
        StartsWith(File() + ": no-wait: it is true or false, not \"perhaps\""));
    EXPECT_THAT(Refusal("rate = 24\nin = A\nrate = 25\n"), HasSubstr("rate: stands there twice"));
    EXPECT_THAT(
        Refusal("rate = 24\nrate = 25\n"), StartsWith(File() + ": rate: stands there twice"));
}

TEST_F(ConfigFileTest, LeavesTheCommandLineItsOwnMistakes)
{
    folder.Write("deck.conf", "wind-speed = 3\n");
    try {
        Parse<RunOptions>({"run", "--rate", "26"});
        ADD_FAILURE() << "accepted";
    } catch (const HostError& error) {
        EXPECT_THAT(error.what(), StartsWith("--rate 26: "));
    }
}

TEST_F(ConfigFileTest, IsNamedWhereItIsNotThere)
{
    EXPECT_THROW(Parse<RunOptions>({"run"}), HostError);
    try {
        Parse<RunOptions>({"run"});
    } catch (const HostError& error) {
        EXPECT_THAT(error.what(), HasSubstr("--config " + File() + ": there is no such file"));
    }
}

TEST_F(ConfigFileTest, DoesNotStandInTheWayOfHelp)
{
    folder.Write("deck.conf", "loud = true\n");
    EXPECT_THAT(Parse<PrintOptions>({"run", "--help"}).text, HasSubstr("--config"));
}

TEST_F(ConfigFileTest, IsPrintedAsItHolds)
{
    folder.Write("deck.conf", "in = Desk #2\nout = B\nmtc = false\n[play]\nburn-in = true\n");

    const std::string text = Parse<PrintOptions>({"config", "--rate", "24"}).text;

    EXPECT_THAT(text,
        AllOf(HasSubstr("\nin = Desk #2\n"), HasSubstr("\nno-mtc = true\n"),
            HasSubstr("# from the command line:\nrate = 24\n"),
            HasSubstr("\n#burn-in = true|false\n")));
    EXPECT_THAT(Parse<PrintOptions>({"config", "--play"}).text, HasSubstr("\nburn-in = true\n"));
    const RunOptions again = Run(text);
    EXPECT_EQ(again.in, "Desk #2");
    EXPECT_EQ(again.transport.rate, FrameRate::k24);
}

} // namespace
} // namespace deck::cli::test
