// The configuration file: options of `run` and `play` that hold where the command
// line is silent.

#pragma once

#include "deck/host/HostError.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace deck::cli {

/// `key = value` in a line, the key being a long option without its dashes; flags are true or
/// false. What stands before the first section is for both commands, `[run]` and `[play]` are for
/// one and go before it. Comments are lines of their own, with # before them.
class ConfigFile {
public:
    /// `$XDG_CONFIG_HOME/korva-deck/korva-deck.conf`, else under `~/.config`.
    static std::filesystem::path DefaultPath();
    /// Adds --config.
    static void AddOption(CLI::App& command);
    /// The file that `command` uses, after parsing: the one that --config names, else the default
    /// one where it exists. Throws HostError. [host, may block]
    static std::optional<ConfigFile> Of(const CLI::App& command);

    /// `arguments`, which `app` has parsed, with what the file adds to them for its `command`.
    /// Throws HostError that names the file and the key.
    std::vector<std::string> LaidUnder(
        const std::vector<std::string>& arguments, const CLI::App& app, const CLI::App& command);

    /// `error` with the name of the file, where it is about a key that LaidUnder added.
    HostError Explain(const HostError& error) const;

    const std::filesystem::path& Path() const noexcept { return mPath; }
    /// Whether LaidUnder added it.
    bool Gave(const std::string& key) const;

private:
    struct Entry {
        std::string section;
        std::string key;
        std::string value;
    };

    explicit ConfigFile(std::filesystem::path path);
    void CheckKeys(const CLI::App& app) const;
    std::string AsArgument(const Entry& entry, const CLI::App& command) const;
    HostError Wrong(const Entry& entry, const std::string& what) const;

    std::filesystem::path mPath;
    std::vector<Entry> mEntries;
    std::vector<std::string> mGiven; // keys
};

} // namespace deck::cli
