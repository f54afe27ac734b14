// Where a dialog finds the files it is made of.

#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace kelui::utility {

class ResourceManager {
public:
    virtual ~ResourceManager() = default;

    /// The place of the regular file `fileName`, or nothing where there is no such file.
    /// `fileName` is UTF-8, relative to the resources. [any thread, may block]
    virtual std::optional<std::filesystem::path> FindResource(
        const std::string& fileName) const = 0;
};

} // namespace kelui::utility
