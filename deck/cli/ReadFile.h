// A whole file as text.

#pragma once

#include "deck/transport/Timecode.h"

#include <filesystem>
#include <string>

namespace deck::cli {

/// What the file holds; where it cannot be read, the system's reason. [host, may block]
Parsed<std::string> ReadFile(const std::filesystem::path& path);

} // namespace deck::cli
