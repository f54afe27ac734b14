// Keeps the plug-in's settings string in a file, so that nothing is lost: not by a
// crash while writing, not by a broken file, not by a second deck.

#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace deck::host {

class SettingsFile {
public:
    /// `$XDG_CONFIG_HOME/korva/deck-settings.json`, else under `~/.config`.
    static std::filesystem::path DefaultPath();

    /// Takes the file for this process until the object goes. Throws HostError where another
    /// process has it, or where its folder cannot be written. [host, may block]
    explicit SettingsFile(const std::filesystem::path& path);
    ~SettingsFile();
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    /// The settings string; empty where there is no file. A file that is not one is moved aside to
    /// FILE.broken-N and `warn` gets a line that names the place of the fault. Throws HostError
    /// where there is a file that cannot be read. [host, may block]
    std::string Load(const std::function<void(const std::string&)>& warn);

    /// Writes `settings` where it differs from what the file holds: wholly or not at all.
    /// Throws HostError. [host, may block]
    void Save(const std::string& settings);

    const std::filesystem::path& Path() const noexcept { return mPath; }

private:
    std::filesystem::path KeepAside() const;

    std::filesystem::path mPath;
    int mLock = -1;
    std::string mInFile;
};

} // namespace deck::host
