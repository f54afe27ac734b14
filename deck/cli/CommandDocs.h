// What the command line knows about itself, for the texts that are made of it: the
// man page and the completions of the shells.

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace deck::cli {

/// What a value is, so that a shell can offer some.
enum class ValueKind {
    None, // a flag
    Any,
    Words, // one of a few
    File,
    Folder,
    Source, // a port's name or ID
    Destination
};

struct OptionDocs {
    std::vector<std::string> names; // "--in"; for a positional "FILE"
    std::string value;              // "PORT"; empty for a flag
    std::string about;
    bool isPositional = false;
    ValueKind kind = ValueKind::None;
    std::vector<std::string> words; // of kind Words
};

struct CommandDocs {
    std::string name; // empty for korva-deck itself
    std::string about;
    std::vector<OptionDocs> options;
    std::vector<std::string> examples; // whole command lines
};

/// korva-deck itself, then its commands; what is hidden is left out.
std::vector<CommandDocs> DescribeCommands(const CLI::App& app);

/// Gives the commands that `app` has their examples, which their help then shows.
void AddExamples(CLI::App& app);

/// As man(7) has it. `app` has its commands.
std::string ManPage(const CLI::App& app);

/// A script for `shell`: bash, zsh or fish. Throws HostError for another one.
std::string CompletionScript(const CLI::App& app, const std::string& shell);

} // namespace deck::cli
