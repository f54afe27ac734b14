#include "kelcore/debug/DebugDatabase.h"

#include "kelcore/debug/TraceSwitches.h"
#include "kelcore/utility/JsonErrorText.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace kelcore::debug {

namespace {

using Entries = std::map<std::string, std::string>;

// The environment variable's value; empty where it is not set.
std::string Environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// A base directory that is not absolute does not count, as the XDG specification says.
std::filesystem::path ConfigDirectory()
{
    std::filesystem::path xdg = Environment("XDG_CONFIG_HOME");
    if (xdg.is_absolute()) {
        return xdg;
    }
    const std::filesystem::path home = Environment("HOME");
    return home.empty() ? home : home / ".config";
}

// Empty where the environment names no place.
std::filesystem::path DatabasePath()
{
    const std::string path = Environment("KEL_DEBUG_DATABASE");
    if (!path.empty()) {
        return path;
    }
    const std::filesystem::path directory = ConfigDirectory();
    return directory.empty() ? directory : directory / "korva" / "debug.json";
}

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::system_error(errno, std::generic_category());
    }
    return {std::istreambuf_iterator<char>(file), {}}; // throws where reading fails
}

Entries ParseEntries(const std::string& text)
{
    const nlohmann::json database = nlohmann::json::parse(text);
    if (!database.is_object()) {
        throw std::runtime_error("expected an object of texts");
    }
    Entries entries;
    for (const auto& [key, value] : database.items()) {
        if (!value.is_string()) {
            throw std::runtime_error("expected a text at \"" + key + "\"");
        }
        entries.emplace(key, value.get<std::string>());
    }
    return entries;
}

bool IsMissing(const std::filesystem::path& path)
{
    std::error_code error; // whatever else is wrong, reading the file will say
    return std::filesystem::status(path, error).type() == std::filesystem::file_type::not_found;
}

Entries LoadEntries(const std::filesystem::path& path)
{
    if (path.empty() || IsMissing(path)) {
        return {};
    }
    try {
        return ParseEntries(ReadFile(path));
    } catch (const std::exception& problem) {
        const std::string reason = utility::JsonErrorText(problem.what());
        std::fprintf(stderr, "debug database %s is not used: %s\n", path.c_str(), reason.c_str());
        return {};
    }
}

} // namespace

DebugDatabase& DebugDatabase::Instance()
{
    // Never destroyed: others still ask while static objects are destroyed.
    static DebugDatabase& sInstance = *new DebugDatabase;
    return sInstance;
}

DebugDatabase::DebugDatabase()
    : mEntries(LoadEntries(DatabasePath()))
{
}

std::string DebugDatabase::GetEntry(const std::string& key, const std::string& defaultText) const
{
    const std::scoped_lock lock(mMutex);
    const auto entry = mEntries.find(key);
    return entry != mEntries.end() ? entry->second : defaultText;
}

template <> bool DebugDatabase::GetEntryAs<bool>(const std::string& key, bool defaultValue) const
{
    return GetEntry(key, defaultValue ? "true" : "false") == "true";
}

template <> int DebugDatabase::GetEntryAs<int>(const std::string& key, int defaultValue) const
{
    const std::string text = GetEntry(key, std::to_string(defaultValue));
    const char* const end = text.data() + text.size();
    int value = 0;
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end ? value : defaultValue;
}

template <>
std::string DebugDatabase::GetEntryAs<std::string>(const std::string& key,
    std::string defaultValue) const // NOLINT(performance-unnecessary-value-param): as every T
{
    return GetEntry(key, defaultValue);
}

bool DebugDatabase::HasEntry(const std::string& key) const
{
    const std::scoped_lock lock(mMutex);
    return mEntries.contains(key);
}

void DebugDatabase::SetEntry(const std::string& key, const std::string& text)
{
    const std::scoped_lock lock(mMutex);
    const auto entry = mEntries.find(key);
    if (entry != mEntries.end() && entry->second == text) {
        return;
    }
    mEntries.insert_or_assign(key, text);
    if (key.starts_with(kTraceKeyPrefix)) {
        MoveTraceChangeCount();
    }
}

void DebugDatabase::RemoveEntry(const std::string& key)
{
    const std::scoped_lock lock(mMutex);
    if (mEntries.erase(key) != 0 && key.starts_with(kTraceKeyPrefix)) {
        MoveTraceChangeCount();
    }
}

} // namespace kelcore::debug
