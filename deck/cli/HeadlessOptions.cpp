#include "deck/cli/HeadlessOptions.h"

#include "deck/cli/ConfigFile.h"
#include "deck/cli/SharedOptions.h"
#include "deck/host/HostError.h"

#include <CLI/CLI.hpp>

namespace deck::cli {

void AddTakes(CLI::App& app, TakesOptions& options)
{
    CLI::App* const takes = app.add_subcommand("takes", "List what was recorded, or export it");
    AddSettingsOfADeck(*takes, options.settings);
    ConfigFile::AddOption(*takes);
    takes->add_option("--takes", options.takes, "The take list (default: that of the settings)")
        ->type_name("FILE");
    takes->add_flag("--json", options.json, "As one JSON object");
    takes
        ->add_option("--export-edl", options.edl,
            "As a CMX 3600 edit list; - is standard output. More than 999 takes give FILE-2 too")
        ->type_name("FILE");
    takes->add_option("--export-csv", options.csv, "As comma-separated values; - as above")
        ->type_name("FILE");
    takes->add_flag("--clear", options.clear,
        "Begin a new list; the old one is kept beside it as FILE.cleared-N");
}

void AddStatus(CLI::App& app, StatusOptions& options)
{
    CLI::App* const status = app.add_subcommand("status", "Tell how a deck is that runs");
    AddSettingsOfADeck(*status, options.settings);
    ConfigFile::AddOption(*status);
    status->add_flag("--json", options.json, "As one JSON object");
}

void AddDocs(CLI::App& app, std::string& shell)
{
    app.add_subcommand("man", "Print the man page");
    app.add_subcommand("completion", "Print what a shell completes korva-deck's options with")
        ->add_option("SHELL", shell, "The shell")
        ->required()
        ->type_name("bash|zsh|fish");
}

void Check(const TakesOptions& options)
{
    if (options.edl == "-" && options.csv == "-") {
        throw HostError("--export-edl and --export-csv cannot both go to -; name a file for one");
    }
    if (options.json && (options.edl || options.csv || options.clear)) {
        throw HostError("--json lists the takes; it goes with neither an export nor --clear");
    }
}

} // namespace deck::cli
