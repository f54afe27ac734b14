#include "deck/cli/ConfigCommand.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace deck::cli {
namespace {

bool IsOfTheCommandItself(const std::string& key)
{
    return key == "help" || key == "config" || key == "play" || key.empty();
}

// Quoted only where blanks at an end would be lost.
std::string ValueText(const CLI::Option& option)
{
    if (option.get_expected_max() == 0) {
        return "true";
    }
    const std::string value = option.as<std::string>();
    const bool isBare = !value.empty() && value.front() != ' ' && value.back() != ' ';
    return isBare ? value : "\"" + value + "\"";
}

std::string KeyOf(const CLI::Option& option)
{
    if (option.get_positional()) {
        return "file";
    }
    return option.get_lnames().empty() ? "" : option.get_lnames().front();
}

std::string Entry(
    const CLI::Option& option, const std::string& key, const std::optional<ConfigFile>& file)
{
    const std::string type = option.get_expected_max() == 0 ? "true|false" : option.get_type_name();
    const std::string about = "# " + option.get_description() + "\n";
    if (option.count() == 0) {
        return about + "#" + key + " = " + type + "\n\n";
    }
    const std::string origin = file && file->Gave(key) ? "" : "# from the command line:\n";
    return about + origin + key + " = " + ValueText(option) + "\n\n";
}

} // namespace

std::string EffectiveConfig(const CLI::App& config, const std::optional<ConfigFile>& file)
{
    std::ostringstream text;
    text << "# Options of korva-deck "
         << (config.get_option("--play")->count() > 0 ? "play" : "run") << ". "
         << (file ? "Read from " + file->Path().string()
                  : "Its place is " + ConfigFile::DefaultPath().string())
         << "\n\n";
    for (const CLI::Option* const option : config.get_options()) {
        const std::string key = KeyOf(*option);
        if (!IsOfTheCommandItself(key)) {
            text << Entry(*option, key, file);
        }
    }
    return text.str();
}

} // namespace deck::cli
