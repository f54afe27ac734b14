#include "deck/cli/CommandDocs.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <sstream>

namespace deck::cli {
namespace {

struct Entry {
    const char* name;
    const char* about;
};

constexpr Entry kFiles[] = {
    {"~/.config/korva-deck/korva-deck.conf",
        "Options of run and play, \"key = value\" in a line; \"korva-deck config\" prints one to "
        "begin with. What stands under [run] or [play] is for that command only. Beneath "
        "$XDG_CONFIG_HOME where that is set."},
    {"~/.config/korva/deck-settings.json", "The ports that were chosen."},
    {"~/.local/share/korva/deck-takes.jsonl",
        "The takes, a line for each beginning and end. Beneath $XDG_DATA_HOME where that is set."},
    {"$XDG_RUNTIME_DIR/korva-deck/*.sock",
        "Where a deck that runs answers \"korva-deck status\"; /tmp/korva-deck-UID without "
        "XDG_RUNTIME_DIR."},
};

constexpr Entry kSignals[] = {
    {"SIGHUP",
        "A deck reads its configuration anew, says what has changed and what needs a restart. With "
        "a mistake in the file nothing changes. A deck that was started in a terminal ends with "
        "it."},
    {"SIGINT, SIGTERM", "The deck ends; a take that runs is ended, too."},
};

// A home of whoever made the page is not that of its reader.
std::string WithoutHome(std::string text)
{
    const char* const home = std::getenv("HOME");
    const std::string path = home != nullptr ? home : "";
    for (std::size_t at = 0; path.size() > 1 && (at = text.find(path, at)) != std::string::npos;) {
        text.replace(at, path.size(), "~");
    }
    return text;
}

/// A line of text as roff takes it for one.
std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : WithoutHome(text)) {
        if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-') {
            escaped += "\\-"; // else a hyphen, which cannot be copied into a shell
        } else {
            escaped += c;
        }
    }
    return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

std::string Term(const OptionDocs& option)
{
    std::string term;
    for (const std::string& name : option.names) {
        term += (term.empty() ? "\\fB" : ", \\fB") + Escaped(name) + "\\fR";
    }
    const bool hasValue = !option.value.empty() && !option.isPositional;
    return term + (hasValue ? " \\fI" + Escaped(option.value) + "\\fR" : "");
}

void WriteItem(std::ostream& page, const std::string& term, const std::string& about)
{
    page << ".TP\n" << term << "\n" << Escaped(about) << "\n";
}

void WriteCommand(std::ostream& page, const CommandDocs& command)
{
    page << ".SS " << Escaped(command.name) << "\n" << Escaped(command.about) << ".\n";
    for (const OptionDocs& option : command.options) {
        WriteItem(page, Term(option), option.about);
    }
}

template <typename Entries>
void WriteEntries(std::ostream& page, const std::string& title, const Entries& entries)
{
    page << ".SH " << title << "\n";
    for (const Entry& entry : entries) {
        WriteItem(page, "\\fB" + Escaped(entry.name) + "\\fR", entry.about);
    }
}

/// Lines that stay lines.
void WriteLines(std::ostream& page, const std::string& lines)
{
    std::istringstream text(lines);
    for (std::string line; std::getline(text, line);) {
        if (!line.empty()) {
            page << Escaped(line) << "\n.br\n";
        }
    }
}

void WriteExamples(std::ostream& page, const std::vector<CommandDocs>& commands)
{
    page << ".SH EXAMPLES\n.nf\n";
    for (const CommandDocs& command : commands) {
        for (const std::string& example : command.examples) {
            page << Escaped(example) << "\n";
        }
    }
    page << ".fi\n";
}

} // namespace

std::string ManPage(const CLI::App& app)
{
    const std::vector<CommandDocs> commands = DescribeCommands(app);
    std::ostringstream page;
    page << ".TH KORVA\\-DECK 1 \"\" \"korva\\-deck " << KORVA_VERSION << "\" \"User Commands\"\n"
         << ".nh\n.ad l\n.SH NAME\nkorva\\-deck \\- a deck that obeys MIDI Machine Control and "
            "sends MIDI Time "
            "Code\n"
         << ".SH SYNOPSIS\n.B korva\\-deck\n.I COMMAND\n[\\fIOPTIONS\\fR]\n"
         << ".SH DESCRIPTION\n";
    WriteLines(page, app.get_description());
    page << ".SH OPTIONS\n";
    for (const OptionDocs& option : commands.front().options) {
        WriteItem(page, Term(option), option.about);
    }
    page << ".SH COMMANDS\n";
    for (std::size_t i = 1; i < commands.size(); ++i) {
        WriteCommand(page, commands[i]);
    }
    WriteEntries(page, "FILES", kFiles);
    WriteEntries(page, "SIGNALS", kSignals);
    page << ".SH NOTES\n";
    WriteLines(page, app.get_footer());
    WriteExamples(page, commands);
    return page.str();
}

} // namespace deck::cli
