// The options of the commands for a deck that is left alone.

#pragma once

#include "deck/cli/StatusCommand.h"
#include "deck/cli/TakesCommand.h"

namespace CLI {
class App;
}

namespace deck::cli {

void AddTakes(CLI::App& app, TakesOptions& options);
void AddStatus(CLI::App& app, StatusOptions& options);
/// The man page, and the completion for a `shell`.
void AddDocs(CLI::App& app, std::string& shell);

/// Throws HostError where `options` contradict each other.
void Check(const TakesOptions& options);

} // namespace deck::cli
