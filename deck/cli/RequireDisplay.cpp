#include "deck/cli/RequireDisplay.h"

#include "deck/host/HostError.h"

#include <cstdlib>

namespace deck::cli {

void RequireDisplay(const std::string& what, const std::string& instead)
{
    for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* const value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return;
        }
    }
    throw HostError("there is no display for " + what + "; " + instead);
}

} // namespace deck::cli
