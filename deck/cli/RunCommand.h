// `korva-deck run`: a deck without a window, until somebody ends it.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/cli/StopSignals.h"

namespace deck::cli {

/// Returns the exit status. Throws HostError.
int RunDeck(const RunOptions& options, const StopSignals& signals);

} // namespace deck::cli
