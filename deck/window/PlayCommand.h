// `korva-deck play`: a deck in a window.

#pragma once

#include "deck/cli/CommandLine.h"
#include "deck/cli/StopSignals.h"

namespace deck::window {

/// Until the window is closed or a signal comes. Returns the exit status. Throws HostError.
/// [host, may block]
int PlayInWindow(const cli::PlayOptions& options, const cli::StopSignals& signals);

} // namespace deck::window
