#include "tests/deck/cli/ParsedCommandLine.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace deck::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// As their help tells them, which is where users find them.
std::vector<std::string> Commands()
{
    const std::string help = Printed({"--help"});
    return Matches(help.substr(help.find("Subcommands:")), "\n  ([a-z-]+) ");
}

/// The lines of `text` from the first that has `begin` up to the next that has `end`.
std::string Part(const std::string& text, const std::string& begin, const std::string& end)
{
    const std::size_t from = text.find(begin);
    if (from == std::string::npos) {
        return "";
    }
    return text.substr(from, text.find(end, from + begin.size()) - from);
}

std::string InRoff(const std::string& text)
{
    return std::regex_replace(text, std::regex("-"), "\\-");
}

TEST(CommandDocs, KnowTheCommandsThatHelpTells)
{
    const auto commands = Commands();

    EXPECT_THAT(commands,
        testing::IsSupersetOf({"run", "play", "ports", "connect", "configure", "takes", "status",
            "config", "demo", "man", "completion"}));
    EXPECT_THAT(OptionsOf("run"),
        testing::IsSupersetOf({"--help", "--in", "--mtc-offset", "--config", "--status-interval"}));
}

TEST(CommandDocs, HaveEveryOptionInTheManPage)
{
    const std::string man = Printed({"man"});

    for (const std::string& command : Commands()) {
        const std::string part = Part(man, ".SS " + InRoff(command) + "\n", "\n.S");
        for (const std::string& option : OptionsOf(command)) {
            EXPECT_THAT(part, HasSubstr("\\fB" + InRoff(option) + "\\fR")) << command;
        }
    }
}

TEST(CommandDocs, HaveEveryOptionInTheCompletionOfBash)
{
    const std::string script = Printed({"completion", "bash"});

    for (const std::string& command : Commands()) {
        const std::string part = Part(script, "'" + command + "') words='", ";;") + " ";
        for (const std::string& option : OptionsOf(command)) {
            EXPECT_TRUE(std::regex_search(part, std::regex("[ ']" + option + "[ ']")))
                << command << " " << option;
        }
    }
}

TEST(CommandDocs, HaveEveryOptionInTheCompletionOfZsh)
{
    const std::string script = Printed({"completion", "zsh"});

    for (const std::string& command : Commands()) {
        const std::string part = Part(script, " " + command + ") _arguments", ";;");
        for (const std::string& option : OptionsOf(command)) {
            EXPECT_TRUE(std::regex_search(part, std::regex("'" + option + "=?\\[")))
                << command << " " << option;
        }
    }
}

TEST(CommandDocs, HaveEveryOptionInTheCompletionOfFish)
{
    const std::string script = Printed({"completion", "fish"});

    for (const std::string& command : Commands()) {
        const auto lines
            = Matches(script, "\n(complete .*__fish_seen_subcommand_from " + command + "'.*)");
        for (const std::string& option : OptionsOf(command)) {
            const std::regex wanted(" -l " + option.substr(2) + "( |$)");
            EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                [&](const std::string& line) { return std::regex_search(line, wanted); }))
                << command << " " << option;
        }
    }
}

TEST(CommandDocs, OfferWhatAnOptionTakes)
{
    const std::string bash = Printed({"completion", "bash"});

    EXPECT_THAT(bash, HasSubstr("'run --in') _korva_deck_ports source"));
    EXPECT_THAT(bash, HasSubstr("'connect --out') _korva_deck_ports destination"));
    EXPECT_THAT(bash,
        HasSubstr("'run --locate-rate') mapfile -t COMPREPLY < <(compgen -W 'sender "
                  "deck auto'"));
    EXPECT_THAT(bash, HasSubstr("-W '23.976 24 25 29.97df 29.97 30df 30'"));
    EXPECT_THAT(bash, Not(HasSubstr("--lose"))) << "hidden";
}

TEST(CommandDocs, ShowExamplesInTheHelpAndInTheManPage)
{
    const std::string example = "korva-deck run --in Console --out Recorder";

    EXPECT_THAT(
        Printed({"run", "--help"}), AllOf(HasSubstr(example), HasSubstr("KEL_MIDI_SERVICE")));
    EXPECT_THAT(Printed({"man"}), HasSubstr("\n" + InRoff(example) + "\n"));
}

TEST(CommandDocs, NameAShellThatHasNone)
{
    try {
        ParseCommandLine({"completion", "csh"});
        ADD_FAILURE() << "accepted";
    } catch (const HostError& error) {
        EXPECT_STREQ(error.what(), "completion csh: it is bash, zsh or fish");
    }
    EXPECT_THROW(ParseCommandLine({"completion"}), HostError);
}

} // namespace
} // namespace deck::cli::test
