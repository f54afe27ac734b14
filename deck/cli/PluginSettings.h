// The stored settings of the plug-in, in the hands of the plug-in itself.

#pragma once

#include "deck/host/DeckSession.h"
#include "deck/host/SettingsFile.h"

#include <filesystem>
#include <optional>

namespace deck::cli {

/// An instance that is not connected, with what the settings file holds. Throws HostError.
/// [host, may block]
class PluginSettings {
public:
    PluginSettings(
        const std::optional<std::filesystem::path>& bundle, const std::filesystem::path& settings);

    host::PluginInstance& Instance() noexcept { return mSession.Instance(); }

    /// Keeps what the instance has now.
    void Save();

private:
    host::SettingsFile mFile;
    host::DeckSession mSession;
};

} // namespace deck::cli
