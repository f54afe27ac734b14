// `korva-deck demo`: the whole path with real messages, inside one process: a
// controller sends MMC, the plug-in calls the deck, MTC comes out.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/cli/StopSignals.h"

namespace deck::cli {

/// Returns kExitDone only where all of it happened. Throws HostError.
int RunDemo(const DemoOptions& options, const StopSignals& signals);

} // namespace deck::cli
