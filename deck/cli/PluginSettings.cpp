#include "deck/cli/PluginSettings.h"

#include "deck/host/BundleLoader.h"

#include <iostream>

namespace deck::cli {

PluginSettings::PluginSettings(
    const std::optional<std::filesystem::path>& bundle, const std::filesystem::path& settings)
    : mFile(settings)
    , mSession(bundle ? *bundle : host::FindBundle(), {})
{
    Instance().SetSettings(mFile.Load([](const std::string& line) {
        std::cerr << "korva-deck: warning: " << line << std::endl;
    }));
}

void PluginSettings::Save()
{
    mFile.Save(Instance().Settings());
}

} // namespace deck::cli
