// `korva-deck status`: how a deck is that runs.

#pragma once

#include <filesystem>

namespace deck::cli {

struct StatusOptions {
    std::filesystem::path settings; // whose deck is meant
    bool json = false;
};

/// Returns the exit status: 3 where no deck runs. [host, may block]
int PrintStatus(const StatusOptions& options);

} // namespace deck::cli
