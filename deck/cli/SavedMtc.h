// Reads what the monitor saved as JSON lines back, to be judged.

#pragma once

#include "deck/protocol/MtcChecker.h"

#include <istream>
#include <optional>
#include <string>

namespace deck::cli {

/// Judges the one source of the lines that has quarter frames, or the one that `from` means (an ID,
/// or part of a name). `name` is the file's for errors. Throws HostError, whose line names the
/// file and the line that is wrong.
MtcReport CheckSavedMtc(std::istream& lines,
    const std::string& name,
    const std::optional<std::string>& from,
    const MtcCheckerOptions& options);

} // namespace deck::cli
