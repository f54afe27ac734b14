#include "kelui/utility/OS_ResourceManager.h"

#include <array>
#include <memory>
#include <system_error>
#include <type_traits>

namespace kelui::utility {

namespace {

struct ReleaseCF {
    void operator()(CFTypeRef object) const { CFRelease(object); }
};
using OwnedURL = std::unique_ptr<std::remove_pointer_t<CFURLRef>, ReleaseCF>;

std::filesystem::path ResourcesFolder(CFBundleRef bundle)
{
    if (bundle == nullptr) {
        return {};
    }
    const OwnedURL url(CFBundleCopyResourcesDirectoryURL(bundle));
    std::array<UInt8, 4096> path{};
    if (!url
        || CFURLGetFileSystemRepresentation(
               url.get(), 1, path.data(), static_cast<CFIndex>(path.size()))
            == 0) {
        return {};
    }
    return {reinterpret_cast<const char*>(path.data())};
}

} // namespace

OS_ResourceManager::OS_ResourceManager(CFBundleRef bundle)
    : mResourcesFolder(ResourcesFolder(bundle))
{
}

std::optional<std::filesystem::path> OS_ResourceManager::FindResource(
    const std::string& fileName) const
{
    if (mResourcesFolder.empty()) {
        return std::nullopt;
    }
    std::filesystem::path file = mResourcesFolder / fileName;
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
        return std::nullopt;
    }
    return file;
}

} // namespace kelui::utility
