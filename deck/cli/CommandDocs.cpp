#include "deck/cli/CommandDocs.h"

#include "deck/transport/Timecode.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>

namespace deck::cli {
namespace {

constexpr char kExampleStart[] = "  korva-deck ";

struct Example {
    const char* command;
    const char* lines;
};

constexpr Example kExamples[] = {
    {"ports", "  korva-deck ports\n  korva-deck ports --json\n"},
    {"connect", "  korva-deck connect --in Console --out Recorder\n"},
    {"run",
        "  korva-deck run --in Console --out Recorder\n"
        "  korva-deck run --rate 29.97df --start \"10:00:00;00\" --locate-rate deck --json\n"},
    {"play", "  korva-deck play film.mov --burn-in\n"},
    {"config", "  korva-deck config --in Console --out Recorder --rate 24\n"},
    {"status", "  korva-deck status\n  korva-deck status --json\n"},
    {"takes", "  korva-deck takes\n  korva-deck takes --export-edl -\n"},
    {"demo", "  korva-deck demo\n"},
    {"man", "  korva-deck man\n"},
    {"completion", "  korva-deck completion bash\n"},
};

std::vector<std::string> Split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

std::vector<std::string> RateNames()
{
    std::vector<std::string> names;
    for (const FrameRate rate : FrameRate::All()) {
        names.emplace_back(rate.Name());
    }
    return names;
}

void TakeKind(OptionDocs& docs)
{
    const std::string& name = docs.names.front();
    if (docs.value.empty()) {
        docs.kind = ValueKind::None;
    } else if (docs.value.find('|') != std::string::npos) {
        docs.kind = ValueKind::Words;
        docs.words = Split(docs.value, '|');
    } else if (docs.value == "RATE") {
        docs.kind = ValueKind::Words;
        docs.words = RateNames();
    } else if (docs.value == "PORT") {
        docs.kind = name == "--in" ? ValueKind::Source : ValueKind::Destination;
    } else if (docs.value == "FILE" || docs.value == "FOLDER") {
        docs.kind = docs.value == "FILE" ? ValueKind::File : ValueKind::Folder;
    } else {
        docs.kind = ValueKind::Any;
    }
}

OptionDocs Describe(const CLI::Option& option)
{
    OptionDocs docs;
    docs.about = option.get_description();
    docs.isPositional = option.get_positional();
    for (const std::string& name : option.get_snames()) {
        docs.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        docs.names.push_back("--" + name);
    }
    if (docs.isPositional) {
        docs.names = {option.get_name(true)};
    }
    if (option.get_expected_max() > 0) {
        docs.value = option.get_type_name();
        // A positional without a type of its own is named after what it takes
        if (docs.isPositional && docs.value == "TEXT") {
            docs.value = docs.names.front();
        }
    }
    TakeKind(docs);
    return docs;
}

CommandDocs Describe(const CLI::App& command, const std::string& name)
{
    CommandDocs docs{name, command.get_description(), {}, {}};
    for (const CLI::Option* const option : command.get_options()) {
        if (!option->get_group().empty()) {
            docs.options.push_back(Describe(*option));
        }
    }
    for (const std::string& line : Split(command.get_footer(), '\n')) {
        if (line.starts_with(kExampleStart)) {
            docs.examples.push_back(line.substr(2));
        }
    }
    return docs;
}

std::vector<const CLI::App*> Commands(const CLI::App& app)
{
    return app.get_subcommands(
        [](const CLI::App* command) { return !command->get_group().empty(); });
}

} // namespace

std::vector<CommandDocs> DescribeCommands(const CLI::App& app)
{
    std::vector<CommandDocs> docs{Describe(app, "")};
    for (const CLI::App* const command : Commands(app)) {
        docs.push_back(Describe(*command, command->get_name()));
    }
    return docs;
}

void AddExamples(CLI::App& app)
{
    for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; })) {
        for (const Example& example : kExamples) {
            if (command->get_name() == example.command) {
                command->footer(std::string("\nExamples:\n") + example.lines + app.get_footer());
            }
        }
    }
}

} // namespace deck::cli
