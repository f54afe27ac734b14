// What a deck that runs can take over from a configuration that has changed.

#pragma once

#include "deck/cli/CommandLine.h"

namespace deck::cli {

struct Changes {
    bool ports = false;             // or whether MTC is sent
    std::vector<std::string> done;  // "wind-speed", ..., the ports among them
    std::vector<std::string> later; // what holds only after a restart
};

Changes Compare(const PlayOptions& now, const PlayOptions& next);

/// One line for the user.
std::string Describe(const Changes& changes);

/// Makes `now` what `next` is, but for what holds only after a restart.
void TakeChanges(PlayOptions& now, const PlayOptions& next);

} // namespace deck::cli
