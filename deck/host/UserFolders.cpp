#include "deck/host/UserFolders.h"

#include <cstdlib>

namespace deck::host {

std::filesystem::path UserFolder(const char* name, const std::filesystem::path& fallback)
{
    const char* const folder = std::getenv(name);
    if (folder != nullptr && *folder != '\0') {
        return folder;
    }
    const char* const home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : "/") / fallback;
}

} // namespace deck::host
