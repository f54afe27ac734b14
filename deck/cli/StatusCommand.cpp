#include "deck/cli/StatusCommand.h"

#include "deck/cli/StatusSocket.h"
#include "deck/host/HostError.h"

#include <iostream>

namespace deck::cli {

int PrintStatus(const StatusOptions& options)
{
    const auto answer = AskStatus(StatusSocketPath(options.settings));
    if (!answer) {
        throw HostError("no deck runs with the settings file " + options.settings.string()
                + "; --settings names another one",
            kExitNotThereYet);
    }
    const std::size_t lineEnd = answer->find('\n') + 1; // one line of JSON, then lines for people
    std::cout << (options.json ? answer->substr(0, lineEnd) : answer->substr(lineEnd));
    return kExitDone;
}

} // namespace deck::cli
