#include "deck/cli/SharedOptions.h"

#include "deck/host/SettingsFile.h"

#include <CLI/CLI.hpp>

namespace deck::cli {
namespace {

void AddSettings(CLI::App& command, std::filesystem::path& settings, const std::string& about)
{
    settings = host::SettingsFile::DefaultPath();
    command.add_option("--settings", settings, about)->type_name("FILE");
}

} // namespace

void AddBundle(CLI::App& command, std::optional<std::filesystem::path>& bundle)
{
    command
        .add_option("--bundle", bundle, "The plug-in's bundle (default: the one beside korva-deck)")
        ->type_name("FOLDER");
}

void AddSettings(CLI::App& command, std::filesystem::path& settings)
{
    AddSettings(command, settings,
        "The file that keeps the ports (default " + host::SettingsFile::DefaultPath().string()
            + ")");
}

void AddSettingsOfADeck(CLI::App& command, std::filesystem::path& settings)
{
    AddSettings(command, settings, "The settings file of the deck that is meant");
}

} // namespace deck::cli
