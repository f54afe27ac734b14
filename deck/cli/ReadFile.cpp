#include "deck/cli/ReadFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace deck::cli {

Parsed<std::string> ReadFile(const std::filesystem::path& path)
{
    // A folder opens like a file and fails at the first byte only
    if (std::filesystem::is_directory(path)) {
        return {std::nullopt, std::strerror(EISDIR)};
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {std::nullopt, std::strerror(errno)};
    }
    std::ostringstream text;
    text << file.rdbuf();
    if (file.bad()) {
        return {std::nullopt, std::strerror(errno)};
    }
    return {text.str(), {}};
}

} // namespace deck::cli
