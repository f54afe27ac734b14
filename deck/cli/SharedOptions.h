// Options that several commands have.

#pragma once

#include <filesystem>
#include <optional>

namespace CLI {
class App;
}

namespace deck::cli {

/// --bundle.
void AddBundle(CLI::App& command, std::optional<std::filesystem::path>& bundle);

/// --settings, for a command that uses the file. `settings` becomes the default.
void AddSettings(CLI::App& command, std::filesystem::path& settings);

/// --settings, for a command that means a deck by it. `settings` becomes the default.
void AddSettingsOfADeck(CLI::App& command, std::filesystem::path& settings);

} // namespace deck::cli
