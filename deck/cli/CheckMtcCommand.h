// `korva-deck check-mtc`: can a machine lock to this MTC, and if not, why?

#pragma once

#include "deck/cli/StopSignals.h"
#include "deck/cli/ToolOptions.h"

namespace deck::cli {

/// The exit status besides kExitDone (sound), kExitFailed (not sound) and kExitBadInput: nothing
/// came that can be judged.
inline constexpr int kExitNothingHeard = 3;

/// Listens to a source until a signal or a time, or reads what the monitor saved, and judges it.
/// Returns the exit status. Throws HostError. [host, may block]
int CheckMtc(const CheckMtcOptions& options, const StopSignals& signals);

} // namespace deck::cli
