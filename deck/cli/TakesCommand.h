// `korva-deck takes`: what was recorded, as a table, as JSON, and for whoever
// cuts it.

#pragma once

#include "deck/protocol/TakeList.h"

#include <optional>
#include <string>

namespace deck::cli {

struct TakesOptions {
    std::filesystem::path settings;
    std::optional<std::filesystem::path> takes; // else the one of `settings`
    bool json = false;
    std::optional<std::string> edl; // a file's name, or "-" for standard output
    std::optional<std::string> csv;
    bool clear = false;
};

/// Lists the takes, or exports them, then clears the list where that is asked for. Returns the exit
/// status. Throws HostError. [host, may block]
int ShowTakes(const TakesOptions& options);

/// The table that users read.
std::string TakesText(const std::vector<RecordedTake>& takes);
/// {"takes":[{"take":1,"in":"..",...}]}
std::string TakesJSON(const std::vector<RecordedTake>& takes);
/// Where the lists of an edit list of more than 999 events go: cut.edl, cut-2.edl and so on.
std::filesystem::path NumberedFile(const std::filesystem::path& file, std::size_t number);

} // namespace deck::cli
