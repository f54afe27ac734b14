// Why the deck cannot go on: one line for the user, and the exit status that
// goes with it.

#pragma once

#include <stdexcept>
#include <string>

namespace deck {

enum ExitStatus : int {
    kExitDone = 0,
    kExitFailed = 1,     // the work was begun and not all of it happened
    kExitBadInput = 2,   // something given was wrong
    kExitNotThereYet = 3 // --no-wait, and there was something to wait for
};

class HostError : public std::runtime_error {
public:
    explicit HostError(const std::string& line, ExitStatus status = kExitBadInput)
        : std::runtime_error(line)
        , mStatus(status)
    {
    }

    ExitStatus Status() const noexcept { return mStatus; }

private:
    ExitStatus mStatus;
};

} // namespace deck
