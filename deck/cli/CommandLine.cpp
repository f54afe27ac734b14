#include "deck/cli/CommandLine.h"

#include "deck/host/HostError.h"
#include "deck/host/SettingsFile.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>

namespace deck::cli {
namespace {

constexpr char kAbout[] = "korva-deck: a deck that obeys MIDI Machine Control and sends MIDI Time "
                          "Code,\nby way of the MIDIMachineControl plug-in";
constexpr char kNotes[] = R"(
The MIDI service is chosen by KEL_MIDI_SERVICE: auto (default), alsa, jack or builtin.
Exit status: 0 done, 1 failed, 2 something given was wrong, 3 not there yet (--no-wait).)";
constexpr int kSlowestWind = 2;
constexpr int kFastestWind = 100;
constexpr double kLongestInterval = 86400;

// As CLI11 reads them: texts that have a meaning only together stay texts until all are known.
struct RawRun {
    RunOptions options;
    std::string rate = "25";
    std::string start;
    std::string windSpeed = "10";
    std::string statusInterval = "0";
    std::string pacing = "on";
    std::string mtcOffset = "0";
    bool mtc = false;
    bool noMTC = false;
};

void AddBundle(CLI::App& app, std::optional<std::filesystem::path>& bundle)
{
    app.add_option("--bundle", bundle, "The plug-in's bundle (default: the one beside korva-deck)")
        ->type_name("FOLDER");
}

void AddPorts(CLI::App& app, PortsOptions& options)
{
    CLI::App* const ports = app.add_subcommand("ports", "List the MIDI sources and destinations");
    ports->add_flag("--json", options.json, "As one JSON object");
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
    run.add_option("--mtc-pacing", raw.pacing,
           "on (default): each quarter frame leaves at its moment; off: four at a time")
        ->type_name("on|off");
    run.add_option("--mtc-offset", raw.mtcOffset,
           "Milliseconds that the quarter frames leave later, -1000 to 1000 (default 0)")
        ->type_name("MS");
}

void AddRun(CLI::App& app, RawRun& raw)
{
    CLI::App* const run = app.add_subcommand("run", "Be a deck, until Ctrl-C or SIGTERM");
    AddRunPorts(*run, raw);
    run->add_option("--rate", raw.rate,
           "Frames a second: 23.976, 24, 25 (default), 29.97df, 29.97, 30df or 30")
        ->type_name("RATE");
    run->add_option("--start", raw.start, "Where the deck stands at first (default 00:00:00:00)")
        ->type_name("TIMECODE");
    run->add_option("--wind-speed", raw.windSpeed, "Multiple of play speed, 2 to 100 (default 10)")
        ->type_name("N");
    AddBundle(*run, raw.options.bundle);
    run->add_option("--settings", raw.options.settings,
           "The file that keeps the ports (default " + host::SettingsFile::DefaultPath().string()
               + ")")
        ->type_name("FILE");
    run->add_flag("--json", raw.options.json, "A JSON object a line instead of text");
    run->add_option("--status-interval", raw.statusInterval,
           "Seconds between status lines, besides those at a change (default 0: none)")
        ->type_name("SECONDS");
    run->add_flag("--no-wait", raw.options.noWait,
        "End with status 3 where the service or a port is not there");
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
    int speed = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, speed);
    if (error != std::errc() || parsed != end || speed < kSlowestWind || speed > kFastestWind) {
        throw HostError("--wind-speed " + text + ": it is a whole number from 2 to 100");
    }
    return speed;
}

double ParseInterval(const std::string& text)
{
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc() || parsed != end || !(seconds >= 0) || seconds > kLongestInterval) {
        throw HostError(
            "--status-interval " + text + ": it is a number of seconds from 0 to 86400");
    }
    return seconds;
}

std::optional<MtcPacerOptions> ParsePacing(const std::string& pacing, const std::string& offset)
{
    double millis = 0;
    const char* const end = offset.data() + offset.size();
    const auto [parsed, error] = std::from_chars(offset.data(), end, millis);
    if (error != std::errc() || parsed != end || !(std::abs(millis) <= 1000)) {
        throw HostError(
            "--mtc-offset " + offset + ": it is a number of milliseconds from -1000 to 1000");
    }
    if (pacing != "on" && pacing != "off") {
        throw HostError("--mtc-pacing " + pacing + ": it is on or off");
    }
    if (pacing == "off") {
        if (millis != 0) {
            throw HostError("--mtc-offset shifts paced MTC; it goes with --mtc-pacing on");
        }
        return std::nullopt;
    }
    MtcPacerOptions options;
    options.offset = std::chrono::nanoseconds(std::llround(millis * 1e6));
    return options;
}

void CheckPorts(const RunOptions& options)
{
    if (options.in.has_value() != options.out.has_value()) {
        throw HostError(std::string(options.in ? "--in" : "--out")
            + " alone binds nothing: the plug-in binds both ports or none; give "
            + (options.in ? "--out" : "--in") + " too");
    }
    if ((options.in && options.in->empty()) || (options.out && options.out->empty())) {
        throw HostError("--in and --out take an ID or part of a port's name, not nothing; "
                        "`korva-deck ports` lists the ports");
    }
}

RunOptions Finish(const RawRun& raw)
{
    RunOptions options = raw.options;
    if (raw.mtc && raw.noMTC) {
        throw HostError("--mtc and --no-mtc contradict each other; give one of them");
    }
    if (raw.mtc || raw.noMTC) {
        options.mtc = raw.mtc;
    }
    const Parsed<FrameRate> rate = FrameRate::Parse(raw.rate);
    if (!rate) {
        throw HostError("--rate " + raw.rate + ": " + rate.error);
    }
    options.rate = *rate;
    if (!raw.start.empty()) {
        const Parsed<Timecode> start = ParseTimecode(raw.start, options.rate);
        if (!start) {
            throw HostError("--start " + raw.start + ": " + start.error);
        }
        options.startFrame = ToFrame(*start, options.rate).value();
    }
    options.windSpeed = ParseWindSpeed(raw.windSpeed);
    options.statusInterval = ParseInterval(raw.statusInterval);
    options.pacing = ParsePacing(raw.pacing, raw.mtcOffset);
    CheckPorts(options);
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

} // namespace

Command ParseCommandLine(const std::vector<std::string>& arguments)
{
    CLI::App app(kAbout, "korva-deck");
    app.footer(kNotes);
    app.set_version_flag("--version", "korva-deck " KORVA_VERSION);
    app.require_subcommand(0, 1); // none is answered below, after what is unknown
    PortsOptions ports;
    RawRun run;
    run.options.settings = host::SettingsFile::DefaultPath();
    DemoOptions demo;
    AddPorts(app, ports);
    AddRun(app, run);
    AddDemo(app, demo);
    try {
        // CLI11 takes the arguments last one first
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForVersion& version) {
        return PrintOptions{std::string(version.what()) + "\n"};
    } catch (const CLI::CallForHelp&) {
        return PrintOptions{app.help()};
    } catch (const CLI::ParseError& error) {
        throw Explain(app, error);
    }
    if (app.get_subcommands().empty()) {
        throw HostError("say what to do: ports, run or demo; `korva-deck --help` tells about them");
    }
    const std::string used = app.get_subcommands().front()->get_name();
    if (used == "ports") {
        return ports;
    }
    if (used == "run") {
        return Finish(run);
    }
    return demo;
}

} // namespace deck::cli
