// Where a user's files belong, by the XDG base directory specification.

#pragma once

#include <filesystem>

namespace deck::host {

/// What the environment variable `name` says, else `fallback` under
/// the user's home.
std::filesystem::path UserFolder(const char* name, const std::filesystem::path& fallback);

} // namespace deck::host
