// `korva-deck send`: MMC commands and raw bytes to a MIDI destination.

#pragma once

#include "deck/cli/StopSignals.h"
#include "deck/cli/ToolOptions.h"

namespace deck::cli {

/// Returns the exit status. Throws HostError. [host, may block]
int SendCommands(const SendOptions& options, const StopSignals& signals);

} // namespace deck::cli
