#include "deck/cli/ConfigFile.h"

#include "deck/host/UserFolders.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace deck::cli {
namespace {

namespace fs = std::filesystem;

constexpr char kConfig[] = "--config";

/// One line, one value: a port's name may hold a comma, a blank or a #.
class LineParser final : public CLI::ConfigBase {
public:
    LineParser()
    {
        comment('\0');
        arrayBounds('\x01', '\x02');
    }
};

std::vector<CLI::ConfigItem> Parse(const fs::path& path)
{
    if (!fs::is_regular_file(path)) {
        throw HostError("--config " + path.string()
            + ": there is no such file; `korva-deck config` prints one to begin with");
    }
    try {
        return LineParser().from_file(path.string());
    } catch (const CLI::Error& error) {
        throw HostError("--config " + path.string() + ": " + error.what());
    }
}

const CLI::Option* OptionOf(const CLI::App& command, const std::string& key)
{
    const CLI::Option* const option = command.get_option_no_throw("--" + key);
    if (option == nullptr && key == "file") {
        return command.get_option_no_throw("FILE");
    }
    const bool isOfFiles = key != "help" && "--" + key != kConfig;
    return isOfFiles ? option : nullptr;
}

bool IsGiven(const CLI::App& command, const std::string& key)
{
    const CLI::Option* const option = OptionOf(command, key);
    return option != nullptr && option->count() > 0;
}

bool Says(const CLI::App& command, const std::string& key, const std::string& value)
{
    return IsGiven(command, key) && OptionOf(command, key)->as<std::string>() == value;
}

// What the command line says goes before the file, also where it says it in other words.
bool IsOverruled(const CLI::App& command, const std::string& key)
{
    if (key == "mtc" || key == "no-mtc") {
        return IsGiven(command, "mtc") || IsGiven(command, "no-mtc");
    }
    if (key == "mtc-offset" && Says(command, "mtc-pacing", "off")) {
        return true;
    }
    return IsGiven(command, key);
}

// Tools of a deck take only what says which deck is meant.
bool IsFor(const CLI::App& command, const std::string& key)
{
    static const std::vector<std::string> kDecks = {"run", "play", "config"};
    static const std::vector<std::string> kIdentity = {"settings", "takes", "bundle"};
    const auto has = [](const auto& list, const std::string& what) {
        return std::find(list.begin(), list.end(), what) != list.end();
    };
    return OptionOf(command, key) != nullptr
        && (has(kDecks, command.get_name()) || has(kIdentity, key));
}

std::string SectionOf(const CLI::App& command)
{
    const CLI::Option* const play = command.get_option_no_throw("--play");
    const bool isPlay = command.get_name() == "play" || (play != nullptr && play->count() > 0);
    return isPlay ? "play" : "run";
}

} // namespace

fs::path ConfigFile::DefaultPath()
{
    return host::UserFolder("XDG_CONFIG_HOME", ".config") / "korva-deck" / "korva-deck.conf";
}

void ConfigFile::AddOption(CLI::App& command)
{
    command
        .add_option_function<std::string>(
            kConfig, [](const std::string&) {}, // it is asked for after parsing
            "Options from a file; the command line wins (default " + DefaultPath().string()
                + ", if it exists)")
        ->type_name("FILE");
}

std::optional<ConfigFile> ConfigFile::Of(const CLI::App& command)
{
    const CLI::Option* const option = command.get_option_no_throw(kConfig);
    if (option == nullptr) {
        return std::nullopt;
    }
    if (option->count() > 0) {
        return ConfigFile(option->as<std::string>());
    }
    const fs::path usual = DefaultPath();
    std::error_code unknown;
    return fs::exists(usual, unknown) ? std::optional(ConfigFile(usual)) : std::nullopt;
}

ConfigFile::ConfigFile(fs::path path)
    : mPath(std::move(path))
{
    for (const CLI::ConfigItem& item : Parse(mPath)) {
        if (item.name == "++" || item.name == "--") {
            continue; // where a section begins and ends
        }
        const Entry entry{CLI::detail::join(item.parents, "."), item.name,
            item.inputs.empty() ? "" : item.inputs.front()};
        const bool isThereBefore
            = std::any_of(mEntries.begin(), mEntries.end(), [&](const Entry& before) {
                  return before.section == entry.section && before.key == entry.key;
              });
        // Where one follows the other the parser takes both values as one item's
        if (isThereBefore || item.inputs.size() > 1) {
            throw Wrong(entry, "stands there twice; leave one");
        }
        mEntries.push_back(entry);
    }
}

std::vector<std::string> ConfigFile::LaidUnder(
    const std::vector<std::string>& arguments, const CLI::App& app, const CLI::App& command)
{
    CheckKeys(app);
    std::vector<std::string> added;
    // The command's own section goes before what is for both
    for (const std::string& section : {SectionOf(command), std::string()}) {
        for (const Entry& entry : mEntries) {
            if (entry.section == section && IsFor(command, entry.key)
                && !IsOverruled(command, entry.key) && !Gave(entry.key)) {
                added.push_back(AsArgument(entry, command));
                mGiven.push_back(entry.key);
            }
        }
    }
    std::vector<std::string> all = arguments;
    const auto name = std::find(all.begin(), all.end(), command.get_name());
    std::erase(added, "");
    all.insert(name == all.end() ? name : name + 1, added.begin(), added.end());
    return all;
}

/// All of them, not only those of this command: a mistake in the file should not wait.
void ConfigFile::CheckKeys(const CLI::App& app) const
{
    const CLI::App& run = *app.get_subcommand("run");
    const CLI::App& play = *app.get_subcommand("play");
    for (const Entry& entry : mEntries) {
        if (!entry.section.empty() && entry.section != "run" && entry.section != "play") {
            throw Wrong(entry, "there are the sections [run] and [play], and no others");
        }
        const bool isKnown = (entry.section != "play" && OptionOf(run, entry.key) != nullptr)
            || (entry.section != "run" && OptionOf(play, entry.key) != nullptr);
        if (!isKnown) {
            const std::string command = entry.section.empty() ? "run" : entry.section;
            throw Wrong(
                entry, "there is no such option; `korva-deck " + command + " --help` tells them");
        }
    }
}

/// Empty for a flag that is off.
std::string ConfigFile::AsArgument(const Entry& entry, const CLI::App& command) const
{
    const CLI::Option& option = *OptionOf(command, entry.key);
    if (option.get_positional()) {
        return entry.value;
    }
    const bool isFlag = option.get_expected_max() == 0;
    if (!isFlag) {
        return "--" + entry.key + "=" + entry.value;
    }
    if (entry.value != "true" && entry.value != "false") {
        throw Wrong(entry, "it is true or false, not \"" + entry.value + "\"");
    }
    if (entry.key == "mtc" && entry.value == "false") {
        return "--no-mtc"; // off is something else than not said
    }
    return entry.value == "true" ? "--" + entry.key : "";
}

bool ConfigFile::Gave(const std::string& key) const
{
    return std::find(mGiven.begin(), mGiven.end(), key) != mGiven.end();
}

HostError ConfigFile::Explain(const HostError& error) const
{
    const std::string line = error.what();
    for (const std::string& key : mGiven) {
        const std::string start = "--" + key;
        const bool isAbout = line.starts_with(start + " ") || line.starts_with(start + ":");
        if (isAbout) {
            return HostError(mPath.string() + ": " + line.substr(2), error.Status());
        }
    }
    return error;
}

HostError ConfigFile::Wrong(const Entry& entry, const std::string& what) const
{
    const std::string section = entry.section.empty() ? "" : "[" + entry.section + "] ";
    return HostError(mPath.string() + ": " + section + entry.key + ": " + what);
}

} // namespace deck::cli
