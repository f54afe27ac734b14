// `korva-deck connect` and `korva-deck configure`: which ports and options the
// plug-in has the next time a deck runs.

#pragma once

#include "deck/cli/CommandLine.h"

namespace deck::cli {

/// Writes the ports into the plug-in's settings. Returns the exit status. Throws HostError.
int ConnectPorts(const ConnectOptions& options);

/// Runs the plug-in's own dialog. Returns the exit status. Throws HostError.
int Configure(const ConfigureOptions& options);

} // namespace deck::cli
