// What shells and man make of the texts that korva-deck prints for them.

#include "tests/acceptance/CommandWords.h"
#include "tests/acceptance/DeckTest.h"
#include "tests/acceptance/JackServer.h"
#include "tests/deck/media/TestFilm.h"

#include <csignal>
#include <sstream>

namespace deck::acceptance {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

bool IsInstalled(const std::string& program)
{
    return std::filesystem::exists("/usr/bin/" + program);
}

class ShellTest : public DeckTest {
protected:
    /// Written to a file of that name.
    std::string Printed(const std::string& name, const std::vector<std::string>& arguments)
    {
        EXPECT_EQ(Run(arguments), 0) << mOutput;
        Write(mHome / name, mOutput);
        return (mHome / name).string();
    }
    /// What the program says to it; nothing where it likes it.
    std::string Complaint(const std::vector<std::string>& command) const
    {
        Program program(command, mEnvironment);
        const int status = program.Wait();
        return program.Output() + (status == 0 ? "" : "status " + std::to_string(status));
    }
    /// What a real bash offers for the last of `words`, which follow korva-deck.
    std::vector<std::string> Offered(const std::vector<std::string>& words)
    {
        const std::string script = Printed("completion.bash", {"completion", "bash"});
        std::vector<std::string> command = {"bash", "--norc", "-c",
            "source \"$1\"; shift; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _korva_deck; "
            "((${#COMPREPLY[@]})) && printf '%s\\n' \"${COMPREPLY[@]}\"",
            "bash", script, KORVA_DECK};
        command.insert(command.end(), words.begin(), words.end());
        Program bash(command, mEnvironment);
        bash.Wait();
        std::istringstream output(bash.Output());
        std::vector<std::string> lines;
        for (std::string line; std::getline(output, line);) {
            lines.push_back(line);
        }
        return lines;
    }
};

// ------------------------------------------------------------------ man

TEST_F(ShellTest, ItsManPageIsSoundToGroff)
{
    if (!IsInstalled("groff")) {
        GTEST_SKIP() << "groff is not installed: nothing to check the man page with";
    }
    const std::string page = Printed("korva-deck.1", {"man"});

    EXPECT_EQ(Complaint({"groff", "-ww", "-man", "-Tutf8", "-z", page}), "");
}

/// Files of the examples, where the test has them.
std::string Here(const std::string& argument)
{
    return argument == "film.mov" ? test::MakeFilm({"25", 50, "01:00:00:00"}).string() : argument;
}

TEST_F(ShellTest, EveryExampleOfTheManPageWorks)
{
    if (!JackServer::IsInstalled()) {
        GTEST_SKIP() << "jackd is not installed: no JACK server to test with";
    }
    JackServer server;
    server.Start();
    const JackPeer console(server, "Console");
    const JackPeer recorder(server, "Recorder");
    mEnvironment["KEL_MIDI_SERVICE"] = "jack";
    mEnvironment["JACK_DEFAULT_SERVER"] = server.Name();
    UseWindowsWithoutAScreen();
    ASSERT_EQ(Run({"man"}), 0);

    int tried = 0;
    for (const std::string& line : ManExamples(mOutput)) {
        std::vector<std::string> arguments = Words(line);
        ASSERT_EQ(arguments.front(), "korva-deck") << line;
        arguments.erase(arguments.begin());
        for (std::string& argument : arguments) {
            argument = Here(argument);
        }
        std::unique_ptr<Program> asked;
        if (arguments.front() == "status") {
            asked = Start({"run"});
            ASSERT_TRUE(asked->WaitForLine("in ")) << asked->Output();
        }
        const auto deck = Start(arguments);
        if (RunsUntilEnded(arguments)) {
            ASSERT_TRUE(deck->WaitForLine(arguments[0] == "play" ? "window:" : "bound"))
                << line << "\n"
                << deck->Output();
            deck->Signal(SIGINT);
        }
        EXPECT_EQ(deck->Wait(), 0) << line << "\n" << deck->Output();
        ++tried;
    }
    EXPECT_GE(tried, 10);
}

// ------------------------------------------------------------------ completion

TEST_F(ShellTest, BashOffersCommandsAndOptions)
{
    EXPECT_THAT(Offered({"st"}), ElementsAre("status"));
    EXPECT_THAT(Offered({""}), IsSupersetOf({"run", "play", "ports", "takes", "completion"}));
    EXPECT_THAT(Offered({"run", "--mtc-"}), ElementsAre("--mtc-pacing", "--mtc-offset"));
    EXPECT_THAT(Offered({"ports", "--w"}), ElementsAre("--watch"));
    EXPECT_THAT(Offered({"ports", "--in"}), IsEmpty());
}

TEST_F(ShellTest, BashOffersTheValuesOfAnOption)
{
    EXPECT_THAT(Offered({"run", "--mtc-pacing", ""}), ElementsAre("on", "off"));
    EXPECT_THAT(Offered({"run", "--rate", "29"}), ElementsAre("29.97df", "29.97"));
    EXPECT_THAT(Offered({"run", "--rate", "=", "29"}), ElementsAre("29.97df", "29.97"));
    EXPECT_THAT(Offered({"run", "--locate-rate", "="}), ElementsAre("sender", "deck", "auto"));
    EXPECT_THAT(Offered({"completion", "z"}), ElementsAre("zsh"));
    Write(mHome / "a film.mov", "");
    EXPECT_THAT(
        Offered({"play", (mHome / "a f").string()}), ElementsAre((mHome / "a film.mov").string()));
}

TEST_F(ShellTest, BashOffersThePortsThatAreThere)
{
    if (!JackServer::IsInstalled()) {
        GTEST_SKIP() << "jackd is not installed: no JACK server to test with";
    }
    JackServer server;
    server.Start();
    const JackPeer console(server, "Con sole");
    mEnvironment["KEL_MIDI_SERVICE"] = "jack";
    mEnvironment["JACK_DEFAULT_SERVER"] = server.Name();

    EXPECT_THAT(Offered({"run", "--in", "Con"}), ElementsAre("Con\\ sole:mmc_out"));
    EXPECT_THAT(Offered({"run", "--out", "\"Con s"}), ElementsAre("Con sole:mtc_in"));
    EXPECT_THAT(Offered({"run", "--in", "Con\\ sole", ":", "mm"}), ElementsAre("mmc_out"));
    EXPECT_THAT(Offered({"run", "--in", "Con\\ sole", ":"}), ElementsAre("mmc_out"));
    EXPECT_THAT(Offered({"run", "--in", "="}), Contains("Con\\ sole:mmc_out"));
    EXPECT_THAT(Offered({"run", "--in", "Desk"}), IsEmpty());
}

TEST_F(ShellTest, ZshTakesItsScript)
{
    if (!IsInstalled("zsh")) {
        GTEST_SKIP() << "zsh is not installed: nothing to read its script";
    }
    const std::string script = Printed("_korva-deck", {"completion", "zsh"});

    EXPECT_EQ(Complaint({"zsh", "-n", script}), "");
}

TEST_F(ShellTest, FishOffersOptions)
{
    if (!IsInstalled("fish")) {
        GTEST_SKIP() << "fish is not installed: nothing to read its script";
    }
    const std::string script = Printed("korva-deck.fish", {"completion", "fish"});

    Program fish({"fish", "--no-config", "-c",
                     "source " + script + "; complete -C 'korva-deck run --mtc-p'"},
        mEnvironment);
    fish.Wait();
    EXPECT_THAT(fish.Output(), testing::StartsWith("--mtc-pacing\t"));
}

} // namespace
} // namespace deck::acceptance
