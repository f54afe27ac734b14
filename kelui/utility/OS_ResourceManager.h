// The resources that a bundle carries beside its binary.

#pragma once

#include "kelui/utility/ResourceManager.h"

#include <CoreFoundation/CoreFoundation.h>

namespace kelui::utility {

/// Asks the bundle once, at construction: the bundle need not live longer.
class OS_ResourceManager : public ResourceManager {
public:
    /// A null `bundle`, or one without a resources folder, holds no resource.
    /// [host, may block]
    explicit OS_ResourceManager(CFBundleRef bundle);

    std::optional<std::filesystem::path> FindResource(const std::string& fileName) const override;

private:
    std::filesystem::path mResourcesFolder; // empty: none
};

} // namespace kelui::utility
