#include "mediaio/midiservice/src/foundation/Objects.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include <link.h>

namespace midiservice {

namespace {

namespace fs = std::filesystem;

int AddLoadedPath(dl_phdr_info* info, std::size_t /*size*/, void* paths)
{
    if (info->dlpi_name != nullptr && info->dlpi_name[0] != '\0')
        static_cast<std::vector<std::string>*>(paths)->emplace_back(info->dlpi_name);
    return 0;
}

/// The program itself, and every shared object that is loaded.
std::vector<std::string> LoadedBinaries()
{
    std::vector<std::string> paths;
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (!error)
        paths.push_back(program);
    dl_iterate_phdr(&AddLoadedPath, &paths);
    return paths;
}

/// X of X/Contents/{Linux,MacOS}/NAME.
std::optional<fs::path> BundleOf(const fs::path& binary)
{
    const fs::path platform = binary.parent_path();
    const fs::path contents = platform.parent_path();
    const bool isBundle = contents.filename() == "Contents"
        && (platform.filename() == "Linux" || platform.filename() == "MacOS");
    if (!isBundle)
        return std::nullopt;
    return contents.parent_path();
}

/// The string that follows the key in the list's dictionary.
std::string ReadIdentifier(const fs::path& propertyList)
{
    boost::property_tree::ptree tree;
    try {
        boost::property_tree::read_xml(propertyList.string(), tree,
            boost::property_tree::xml_parser::trim_whitespace
                | boost::property_tree::xml_parser::no_comments);
    } catch (const boost::property_tree::xml_parser_error&) {
        return "";
    }
    const auto dictionary = tree.get_child_optional("plist.dict");
    if (!dictionary)
        return "";
    bool isNext = false;
    for (const auto& [element, content] : *dictionary) {
        if (isNext)
            return element == "string" ? content.data() : "";
        isNext = element == "key" && content.data() == "CFBundleIdentifier";
    }
    return "";
}

CFBundleRef CachedBundle(const fs::path& path)
{
    static auto& sBundles = *new std::map<std::string, CFBundleRef>;
    CFBundleRef& bundle = sBundles[path.string()];
    if (bundle == nullptr)
        bundle = new __CFBundle(path.string());
    return bundle;
}

} // namespace

} // namespace midiservice

using namespace midiservice;

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef identifier)
{
    static std::mutex sMutex;
    if (identifier == nullptr)
        return nullptr;
    const std::string wanted = ToUTF8(identifier);
    const std::lock_guard lock(sMutex);
    for (const std::string& binary : LoadedBinaries()) {
        std::error_code error;
        const fs::path path = fs::canonical(binary, error);
        const auto bundle = error ? std::nullopt : BundleOf(path);
        if (bundle && ReadIdentifier(*bundle / "Contents" / "Info.plist") == wanted)
            return CachedBundle(*bundle);
    }
    return nullptr;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle)
{
    if (bundle == nullptr)
        return nullptr;
    return new __CFURL((fs::path(bundle->path) / "Contents" / "Resources").string());
}

Boolean CFURLGetFileSystemRepresentation(
    CFURLRef url, Boolean /*resolveAgainstBase*/, UInt8* buffer, CFIndex bufferLength)
{
    if (url == nullptr || buffer == nullptr
        || bufferLength <= static_cast<CFIndex>(url->path.size()))
        return 0;
    std::memcpy(buffer, url->path.c_str(), url->path.size() + 1);
    return 1;
}
