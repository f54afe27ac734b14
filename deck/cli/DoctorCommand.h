// `korva-deck doctor`: why nothing happens, and what to do about it.

#pragma once

#include "deck/cli/StopSignals.h"
#include "deck/cli/ToolOptions.h"

namespace deck::cli {

/// Looks at everything that a deck needs, listens for a while, and tells. Returns kExitDone where
/// all is well and kExitFailed where there are problems. Throws HostError. [host, may block]
int Examine(const DoctorOptions& options, const StopSignals& signals);

} // namespace deck::cli
