#include "deck/cli/CommandLine.h"

#include "deck/cli/CommandDocs.h"
#include "deck/cli/ConfigCommand.h"
#include "deck/cli/ConfigFile.h"
#include "deck/cli/HeadlessOptions.h"
#include "deck/cli/OptionValues.h"
#include "deck/cli/SharedOptions.h"
#include "deck/cli/TakeKeeper.h"
#include "deck/cli/ToolsCommandLine.h"
#include "deck/host/HostError.h"
#include "deck/media/MediaInfo.h"

#include <CLI/CLI.hpp>

namespace deck::cli {
namespace {

constexpr char kAbout[] = "korva-deck: a deck that obeys MIDI Machine Control and sends MIDI Time "
                          "Code,\nby way of the MIDIMachineControl plug-in";
constexpr char kNotes[] = R"(
The MIDI service is chosen by KEL_MIDI_SERVICE: auto (default), alsa, jack or builtin.
Exit status: 0 done, 1 failed, 2 something given was wrong, 3 not there yet (--no-wait).)";
constexpr int kSlowestWind = 2;
constexpr int kFastestWind = 100;
constexpr int kMostScreens = 100;
constexpr double kLongestInterval = 86400;

// As CLI11 reads them: texts that have a meaning only together stay texts until all are known.
struct RawRun {
    RunOptions options;
    std::string rate;
    std::string start;
    std::string locateRate = "auto";
    bool noRevive = false;
    std::string windSpeed = "10";
    std::string statusInterval = "0";
    std::string pacing = "on";
    std::string mtcOffset = "0";
    bool mtc = false;
    bool noMTC = false;
    bool noOwnPorts = false;
};

struct RawPlay {
    RawRun run;
    PlayOptions options;
    std::string offset;
    std::string screen;
    std::string pictureDelay = "0";
    std::string outside = "hold";
    bool isMeant = false; // by the config command, rather than run
};

void AddPorts(CLI::App& app, PortsOptions& options)
{
    CLI::App* const ports = app.add_subcommand("ports", "List the MIDI sources and destinations");
    ports->add_flag("--json", options.json, "As one JSON object, or a line a port with --watch");
    ports->add_flag("--watch", options.watch, "Then show those that come and go, until Ctrl-C");
    ports->add_option("--names", options.names, "Only the names of these, one in a line")
        ->type_name("source|destination");
}

void AddRunPorts(CLI::App& run, RawRun& raw)
{
    run.add_option("--in", raw.options.in, "MMC comes in here: an ID, or part of a source's name")
        ->type_name("PORT");
    run.add_option(
           "--out", raw.options.out, "MTC goes out here: an ID, or part of a destination's name")
        ->type_name("PORT");
    run.add_flag("--mtc", raw.mtc, "Send MTC (default, once --out was given)");
    run.add_flag("--no-mtc", raw.noMTC, "Send no MTC");
}

void AddPacing(CLI::App& run, RawRun& raw)
{
    run.add_option("--mtc-pacing", raw.pacing,
           "on (default): each quarter frame leaves at its moment; off: four at a time")
        ->type_name("on|off");
    run.add_option("--mtc-offset", raw.mtcOffset,
           "Milliseconds that the quarter frames leave later, -1000 to 1000 (default 0)")
        ->type_name("MS");
}

void AddTransport(CLI::App& run, RawRun& raw)
{
    run.add_option("--rate", raw.rate,
           "Frames a second: 23.976, 24, 25, 29.97df, 29.97, 30df or 30 (default 25, or the "
           "file's)")
        ->type_name("RATE");
    run.add_option("--start", raw.start,
           "Where the deck stands at first (default 00:00:00:00, or the file's start)")
        ->type_name("TIMECODE");
    run.add_option("--wind-speed", raw.windSpeed, "Multiple of play speed, 2 to 100 (default 10)")
        ->type_name("N");
    run.add_option("--locate-rate", raw.locateRate,
           "Whose frame numbers count in a locate: sender, deck, or auto (default): the deck's, "
           "unless it has no such frame")
        ->type_name("sender|deck|auto");
}

void AddRunOptions(CLI::App& run, RawRun& raw)
{
    AddRunPorts(run, raw);
    AddPacing(run, raw);
    AddTransport(run, raw);
    AddBundle(run, raw.options.bundle);
    AddSettings(run, raw.options.settings);
    run.add_option("--takes", raw.options.takes,
           "The list of what is recorded (default: with the user's data, or beside --settings)")
        ->type_name("FILE");
    run.add_flag("--no-revive", raw.noRevive,
        "Leave a plug-in that obeys nothing any more as it is (after several commands in one "
        "message, or a response)");
    run.add_flag("--no-own-ports", raw.noOwnPorts,
        "Do not offer the ports \"MMC in\" and \"MTC out\", which a patchbay can connect");
    run.add_flag("--no-wait", raw.options.noWait,
        "End with status 3 where the service or a port is not there");
    ConfigFile::AddOption(run);
}

void AddReports(CLI::App& run, RawRun& raw)
{
    run.add_flag("--json", raw.options.json, "A JSON object a line instead of text");
    run.add_option("--status-interval", raw.statusInterval,
           "Seconds between status lines, besides those at a change (default 0: none)")
        ->type_name("SECONDS");
}

void AddRun(CLI::App& app, RawRun& raw)
{
    CLI::App* const run = app.add_subcommand("run", "Be a deck, until Ctrl-C or SIGTERM");
    AddRunOptions(*run, raw);
    AddReports(*run, raw);
}

void AddPicture(CLI::App& play, RawPlay& raw)
{
    play.add_option("FILE", raw.options.file, "The video; without one, a time code deck");
    play.add_option("--offset", raw.offset,
            "Moves the video against its own start time code, as -01:00:00:00 or 12f")
        ->type_name("TIMECODE");
    play.add_flag("--audio", raw.options.audio, "Play the video's sound");
    play.add_flag("--burn-in", raw.options.burnIn, "Time code over the picture");
    play.add_option("--picture-delay", raw.pictureDelay,
            "Milliseconds that the screen takes to show a picture, 0 to 1000 (default 0): what "
            "plays is drawn so much earlier")
        ->type_name("MS");
    play.add_option("--outside", raw.outside,
            "Before the film's first picture and after its last: hold it (default), or black")
        ->type_name("hold|black");
    play.add_flag("--full-screen", raw.options.fullScreen,
        "The picture alone on the whole screen (F11 changes it)");
    play.add_option("--screen", raw.screen, "The screen to open on, 1 for the first")
        ->type_name("N");
}

void AddPlay(CLI::App& app, RawPlay& raw)
{
    CLI::App* const play
        = app.add_subcommand("play", "Be a deck in a window, with a video that follows");
    AddRunOptions(*play, raw.run);
    AddPicture(*play, raw);
}

/// Every option of both: what is asked is which of them hold.
void AddConfig(CLI::App& app, RawPlay& raw)
{
    CLI::App* const config
        = app.add_subcommand("config", "Print the options that hold, as a configuration file");
    AddRunOptions(*config, raw.run);
    AddReports(*config, raw.run);
    AddPicture(*config, raw);
    config->add_flag("--play", raw.isMeant, "Those of play, instead of those of run");
}

void AddConnect(CLI::App& app, RawRun& raw)
{
    CLI::App* const connect
        = app.add_subcommand("connect", "Choose the ports for the next time a deck runs");
    AddRunPorts(*connect, raw);
    AddBundle(*connect, raw.options.bundle);
    AddSettings(*connect, raw.options.settings);
    ConfigFile::AddOption(*connect);
}

void AddConfigure(CLI::App& app, ConfigureOptions& options)
{
    CLI::App* const configure = app.add_subcommand(
        "configure", "Open the plug-in's dialog: its ports, and MTC on or off");
    AddBundle(*configure, options.bundle);
    AddSettings(*configure, options.settings);
    ConfigFile::AddOption(*configure);
}

void AddDemo(CLI::App& app, DemoOptions& options)
{
    CLI::App* const demo = app.add_subcommand("demo", "Show the whole path with real messages");
    AddBundle(*demo, options.bundle);
    demo->add_option("--lose", options.lost)
        ->group(""); // for tests: a demo that cannot fail is none
}

int ParseWindSpeed(const std::string& text)
{
    return static_cast<int>(ParseWhole("--wind-speed", text, kSlowestWind, kFastestWind));
}

int ParseScreen(const std::string& text)
{
    return static_cast<int>(ParseWhole("--screen", text, 1, kMostScreens));
}

double ParseInterval(const std::string& text)
{
    return ParseNumber("--status-interval", text, 0, kLongestInterval, "a number of seconds");
}

MtcPacerOptions ParsePacing(const std::string& pacing, const std::string& offset)
{
    const std::chrono::nanoseconds shift = ParseMillis("--mtc-offset", offset, -1000, 1000);
    if (pacing != "on" && pacing != "off") {
        throw HostError("--mtc-pacing " + pacing + ": it is on or off");
    }
    MtcPacerOptions options;
    options.enabled = pacing == "on";
    if (!options.enabled && shift.count() != 0) {
        throw HostError("--mtc-offset shifts paced MTC; it goes with --mtc-pacing on");
    }
    options.offset = shift;
    return options;
}

void CheckPorts(const RunOptions& options)
{
    if (options.in.has_value() != options.out.has_value()) {
        throw HostError(std::string(options.in ? "--in" : "--out")
            + " alone binds nothing: the plug-in binds both ports or none; give "
            + (options.in ? "--out" : "--in") + " too");
    }
    CheckPort("--in", options.in);
    CheckPort("--out", options.out);
}

FrameNumber ParseStart(const std::string& text, FrameRate rate)
{
    const Parsed<Timecode> start = ParseTimecode(text, rate);
    if (!start) {
        throw HostError("--start " + text + ": " + start.error);
    }
    return ToFrame(*start, rate).value();
}

LocateRate ParseLocateRate(const std::string& text)
{
    if (text == "sender") {
        return LocateRate::Sender;
    }
    if (text == "deck") {
        return LocateRate::Deck;
    }
    if (text != "auto") {
        throw HostError("--locate-rate " + text + ": it is sender, deck or auto");
    }
    return LocateRate::Auto;
}

std::optional<bool> ParseMTC(const RawRun& raw)
{
    if (raw.mtc && raw.noMTC) {
        throw HostError("--mtc and --no-mtc contradict each other; give one of them");
    }
    return raw.mtc || raw.noMTC ? std::optional(raw.mtc) : std::nullopt;
}

void Check(const PortsOptions& options)
{
    if (!options.names.empty() && options.names != "source" && options.names != "destination") {
        throw HostError("--names " + options.names + ": it is source or destination");
    }
    if (!options.names.empty() && (options.json || options.watch)) {
        throw HostError("--names goes with neither --json nor --watch");
    }
}

RunOptions Finish(const RawRun& raw)
{
    RunOptions options = raw.options;
    options.mtc = ParseMTC(raw);
    if (!raw.rate.empty()) {
        options.transport.rate = ParseRate(raw.rate);
    }
    if (!raw.start.empty()) {
        options.transport.startFrame = ParseStart(raw.start, options.transport.rate);
    }
    options.transport.windSpeed = ParseWindSpeed(raw.windSpeed);
    options.statusInterval = ParseInterval(raw.statusInterval);
    options.pacing = ParsePacing(raw.pacing, raw.mtcOffset);
    options.transport.locateRate = ParseLocateRate(raw.locateRate);
    options.revive = !raw.noRevive;
    options.ownPorts = !raw.noOwnPorts;
    if (options.takes.empty()) {
        options.takes = DefaultTakesPath(options.settings);
    }
    CheckPorts(options);
    return options;
}

ConnectOptions FinishConnect(const RawRun& raw)
{
    if (!raw.options.in && !raw.options.out) {
        throw HostError("connect needs --in and --out; `korva-deck ports` lists the ports");
    }
    CheckPorts(raw.options);
    return {
        *raw.options.in, *raw.options.out, ParseMTC(raw), raw.options.bundle, raw.options.settings};
}

// Rate, start and end as the file has them, unless the command line says otherwise.
void TakeOverMedia(RawPlay& raw, const MediaInfo& info)
{
    if (raw.run.rate.empty()) {
        const auto rate = info.Rate();
        if (!rate) {
            throw HostError(raw.options.file->string() + ": it runs at "
                + std::to_string(info.fpsNumerator) + "/" + std::to_string(info.fpsDenominator)
                + " frames a second, which is no time code rate; give --rate");
        }
        raw.run.options.transport.rate = *rate;
    } else {
        raw.run.options.transport.rate = ParseRate(raw.run.rate);
    }
    const FrameRate rate = raw.run.options.transport.rate;
    FrameNumber start = 0;
    if (info.startTimecode) {
        const Parsed<Timecode> timecode = ParseTimecode(*info.startTimecode, rate);
        start = timecode ? ToNearestFrame(*timecode, rate) : 0;
    }
    if (!raw.offset.empty()) {
        const Parsed<FrameNumber> offset = ParseOffset(raw.offset, rate);
        if (!offset) {
            throw HostError("--offset " + raw.offset + ": " + offset.error);
        }
        start += *offset;
    }
    raw.options.mediaStart = WrapToDay(start, rate);
}

void TakeOverPicture(RawPlay& raw)
{
    raw.options.pictureDelay = ParseMillis("--picture-delay", raw.pictureDelay, 0, 1000);
    if (raw.outside != "hold" && raw.outside != "black") {
        throw HostError("--outside " + raw.outside + ": it is hold or black");
    }
    raw.options.blackOutside = raw.outside == "black";
    if (!raw.screen.empty()) {
        raw.options.screen = ParseScreen(raw.screen);
    }
}

PlayOptions Finish(RawPlay& raw)
{
    TakeOverPicture(raw);
    if (raw.options.file) {
        try {
            TakeOverMedia(raw, ReadMediaInfo(raw.options.file->string()));
        } catch (const MediaError& error) {
            throw HostError(error.what());
        }
    } else if (!raw.offset.empty()) {
        throw HostError("--offset moves a video; name its file");
    }
    PlayOptions options = raw.options;
    raw.run.options.transport.startFrame = raw.options.mediaStart;
    raw.run.options.reel = raw.options.file ? raw.options.file->filename().string() : "";
    options.run = Finish(raw.run);
    options.run.command = "play";
    return options;
}

std::string OneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// What CLI11 says, and where the right words are.
HostError Explain(const CLI::App& app, const CLI::ParseError& error)
{
    std::string help = "korva-deck";
    for (const CLI::App* const used : app.get_subcommands()) {
        help += " " + used->get_name();
    }
    return HostError(OneLine(error.what()) + "; `" + help + " --help` tells what is right");
}

void ParseArguments(CLI::App& app, const std::vector<std::string>& arguments)
{
    // CLI11 takes the arguments last one first
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
}

/// Takes in the configuration file, if the command that was given has one.
void TakeInConfig(
    CLI::App& app, const std::vector<std::string>& arguments, std::optional<ConfigFile>& config)
{
    if (app.get_subcommands().empty()) {
        return;
    }
    const CLI::App& used = *app.get_subcommands().front();
    config = ConfigFile::Of(used);
    if (config) {
        ParseArguments(app, config->LaidUnder(arguments, app, used));
    }
}

Command Parse(const std::vector<std::string>& arguments, std::optional<ConfigFile>& config)
{
    CLI::App app(kAbout, "korva-deck");
    app.footer(kNotes);
    app.set_version_flag("--version", "korva-deck " KORVA_VERSION);
    app.require_subcommand(0, 1); // none is answered below, after what is unknown
    PortsOptions ports;
    RawRun run;
    RawPlay play;
    RawRun connect;
    ConfigureOptions configure;
    DemoOptions demo;
    TakesOptions takes;
    StatusOptions status;
    std::string shell;
    RawPlay effective;
    AddPorts(app, ports);
    AddConnect(app, connect);
    AddConfigure(app, configure);
    AddRun(app, run);
    AddPlay(app, play);
    AddTakes(app, takes);
    AddStatus(app, status);
    AddConfig(app, effective);
    AddDemo(app, demo);
    ToolsCommandLine tools;
    tools.AddTo(app);
    AddDocs(app, shell);
    AddExamples(app);
    try {
        ParseArguments(app, arguments);
        TakeInConfig(app, arguments, config);
    } catch (const CLI::CallForVersion& version) {
        return PrintOptions{std::string(version.what()) + "\n"};
    } catch (const CLI::CallForHelp&) {
        return PrintOptions{app.help()};
    } catch (const CLI::ParseError& error) {
        throw Explain(app, error);
    }
    if (app.get_subcommands().empty()) {
        throw HostError(
            "say what to do: ports, run, play, demo or another; `korva-deck --help` lists them");
    }
    const std::string used = app.get_subcommands().front()->get_name();
    if (used == "ports") {
        Check(ports);
        return ports;
    }
    if (used == "run") {
        return Finish(run);
    }
    if (used == "connect") {
        return FinishConnect(connect);
    }
    if (used == "configure") {
        return configure;
    }
    if (used == "play") {
        return Finish(play);
    }
    if (const auto tool = tools.Finish(used)) {
        return std::visit([](const auto& options) -> Command { return options; }, *tool);
    }
    if (used == "config") {
        Finish(effective.run);
        return PrintOptions{EffectiveConfig(*app.get_subcommand("config"), config)};
    }
    if (used == "man" || used == "completion") {
        return PrintOptions{used == "man" ? ManPage(app) : CompletionScript(app, shell)};
    }
    if (used == "status") {
        return status;
    }
    if (used == "takes") {
        Check(takes);
        return takes;
    }
    return demo;
}

/// Null for a command that is no deck.
RunOptions* DeckOf(Command& command)
{
    if (auto* const play = std::get_if<PlayOptions>(&command)) {
        return &play->run;
    }
    return std::get_if<RunOptions>(&command);
}

} // namespace

PlayOptions WithoutAWindow(RunOptions options)
{
    PlayOptions deck;
    deck.run = std::move(options);
    return deck;
}

PlayOptions ParseDeck(const std::vector<std::string>& arguments)
{
    Command command = ParseCommandLine(arguments);
    if (auto* const run = std::get_if<RunOptions>(&command)) {
        return WithoutAWindow(std::move(*run));
    }
    return std::get<PlayOptions>(std::move(command));
}

Command ParseCommandLine(const std::vector<std::string>& arguments)
{
    std::optional<ConfigFile> config;
    try {
        Command command = Parse(arguments, config);
        if (RunOptions* const deck = DeckOf(command)) {
            deck->arguments = arguments;
            deck->portsMayCome = config && config->Gave("in") && config->Gave("out");
        }
        return command;
    } catch (const HostError& error) {
        throw config ? config->Explain(error) : error;
    }
}

} // namespace deck::cli
