// The plug-in's module as a test makes it up.

#pragma once

#include "kelui/utility/ResourceManager.h"

#include <memory>

namespace kelui::tests {

/// What `mmc::module::GetResourceManager` answers; null to begin with.
extern std::unique_ptr<kelui::utility::ResourceManager> sModuleResources;

} // namespace kelui::tests
