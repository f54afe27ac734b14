// `korva-deck config`: the options that hold, in the form of the configuration
// file.

#pragma once

#include "deck/cli/ConfigFile.h"

namespace deck::cli {

/// The options of the `config` command as `file` and the command line gave them; those that nobody
/// gave are comments. What comes out can be a configuration file itself.
std::string EffectiveConfig(const CLI::App& config, const std::optional<ConfigFile>& file);

} // namespace deck::cli
