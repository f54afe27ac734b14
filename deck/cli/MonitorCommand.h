// `korva-deck monitor`: every message that comes in, and what it means.

#pragma once

#include "deck/cli/StopSignals.h"
#include "deck/cli/ToolOptions.h"

namespace deck::cli {

/// Shows messages until a signal, or as many and as long as the options say. Returns the exit
/// status. Throws HostError. [host, may block]
int MonitorPorts(const MonitorOptions& options, const StopSignals& signals);

} // namespace deck::cli
