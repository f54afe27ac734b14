#include "deck/host/BundleLoader.h"

#include "deck/host/HostError.h"
#include "kelcore/debug/DebugDatabase.h"

#include <cstdlib>
#include <dlfcn.h>

namespace deck::host {
namespace {

namespace fs = std::filesystem;

constexpr char kBundleName[] = "MIDIMachineControl.bundle";

std::string Environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The loader's own text without the path that the line names already.
std::string LoaderError()
{
    const char* const text = dlerror();
    return text != nullptr ? text : "the system's loader gave no reason";
}

fs::path BinaryOf(const fs::path& bundle)
{
    const fs::path absolute = fs::absolute(bundle).lexically_normal();
    const fs::path named = absolute.has_filename() ? absolute : absolute.parent_path();
    return named / "Contents" / "Linux" / named.stem();
}

void CheckIsBundle(const fs::path& bundle)
{
    std::error_code error;
    const fs::file_status status = fs::status(bundle, error);
    if (!fs::exists(status)) {
        throw HostError("no bundle at " + bundle.string()
            + "; build the target MIDIMachineControl, or name its bundle with --bundle");
    }
    if (!fs::is_directory(status) || !fs::is_regular_file(BinaryOf(bundle), error)) {
        throw HostError(bundle.string() + " is not a bundle: there is no file "
            + BinaryOf(bundle).string() + "; name a plug-in's .bundle folder with --bundle");
    }
}

KORVASDK_EntryPoint LoadEntryPoint(const fs::path& binary)
{
    void* const library = dlopen(binary.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        throw HostError("the bundle's binary cannot be loaded (" + LoaderError()
            + "); build it anew, or name another bundle with --bundle");
    }
    void* const symbol = dlsym(library, kKORVASDKEntryPointName);
    if (symbol == nullptr) {
        dlclose(library);
        throw HostError(binary.string() + " has no function " + kKORVASDKEntryPointName
            + ": it is not a control-surface plug-in; name another bundle with --bundle");
    }
    return reinterpret_cast<KORVASDK_EntryPoint>(symbol);
}

std::string RefusalLine(KORVASDK_Result result)
{
    const std::string text = kelcore::debug::DebugDatabase::Instance().GetEntry(kEnableSwitch, "");
    if (text != "true") {
        return "the plug-in refuses to load, since " + DebugDatabaseFile().string() + " has \""
            + kEnableSwitch + "\": \"" + text + "\"; write \"true\" there, or take the line out";
    }
    return "the plug-in's entry point refused with result " + std::to_string(result)
        + "; is the bundle of another version than the deck?";
}

} // namespace

fs::path DebugDatabaseFile()
{
    if (const std::string named = Environment("KEL_DEBUG_DATABASE"); !named.empty()) {
        return named;
    }
    if (const std::string config = Environment("XDG_CONFIG_HOME"); !config.empty()) {
        return fs::path(config) / "korva" / "debug.json";
    }
    return fs::path(Environment("HOME")) / ".config" / "korva" / "debug.json";
}

void EnablePluginUnlessToldOtherwise()
{
    auto& database = kelcore::debug::DebugDatabase::Instance();
    if (!database.HasEntry(kEnableSwitch)) {
        database.SetEntry(kEnableSwitch, "true");
    }
}

fs::path FindBundle()
{
    const fs::path program = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path beside = program / kBundleName;
    const fs::path installed = program.parent_path() / "lib" / "korva" / kBundleName;
    std::error_code error;
    if (fs::exists(beside, error)) {
        return beside;
    }
    if (fs::exists(installed, error)) {
        return installed;
    }
    throw HostError("no bundle at " + beside.string() + " nor at " + installed.string()
        + "; build the target MIDIMachineControl, or name its bundle with --bundle");
}

KORVASDK_ControlSurfacePluginFuncs LoadBundle(
    const fs::path& bundle, const QXBasicSuite& basicSuite)
{
    CheckIsBundle(bundle);
    const KORVASDK_EntryPoint entryPoint = LoadEntryPoint(BinaryOf(bundle));
    KORVASDK_ControlSurfacePluginFuncs functions{};
    const KORVASDK_Result result
        = entryPoint(&basicSuite, nullptr, nullptr, kHostIdentifier, &functions);
    if (result != kSuccess || functions.Startup == nullptr) {
        throw HostError(RefusalLine(result));
    }
    return functions;
}

} // namespace deck::host
