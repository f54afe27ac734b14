// Switches for developers and support: text values by key, read from a file and
// settable by the host while it runs.

#pragma once

#include <map>
#include <mutex>
#include <string>

namespace kelcore::debug {

/// Entries come from the flat JSON object of text values at `KEL_DEBUG_DATABASE`, else at
/// `$XDG_CONFIG_HOME/korva/debug.json` (or `~/.config/korva/debug.json`); a missing file is an
/// empty database, a broken one too, with one line on standard error.
class DebugDatabase {
public:
    /// The process's one database, read at the first call. [any thread, may block]
    static DebugDatabase& Instance();

    DebugDatabase(const DebugDatabase&) = delete;
    DebugDatabase& operator=(const DebugDatabase&) = delete;

    /// The text at `key`, or `defaultText`. [any thread, may block]
    std::string GetEntry(const std::string& key, const std::string& defaultText) const;

    /// The value at `key` read as a `T`: a `bool` is true exactly where the text is "true"; an
    /// `int` is `defaultValue` where the text is not a decimal number. [any thread, may block]
    template <typename T> T GetEntryAs(const std::string& key, T defaultValue) const;

    /// [any thread, may block]
    bool HasEntry(const std::string& key) const;

    /// Sets or replaces an entry in memory; the file is never written. Moves the trace change
    /// count where a trace switch changes. [host, may block]
    void SetEntry(const std::string& key, const std::string& text);

    /// Forgets the entry, wherever it came from. [host, may block]
    void RemoveEntry(const std::string& key);

private:
    DebugDatabase();

    mutable std::mutex mMutex;
    std::map<std::string, std::string> mEntries; // guarded by mMutex
};

template <> bool DebugDatabase::GetEntryAs<bool>(const std::string& key, bool defaultValue) const;
template <> int DebugDatabase::GetEntryAs<int>(const std::string& key, int defaultValue) const;
template <>
std::string DebugDatabase::GetEntryAs<std::string>(
    const std::string& key, std::string defaultValue) const;

} // namespace kelcore::debug
