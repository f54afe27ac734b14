#include "deck/cli/ToolsCommandLine.h"

#include "deck/cli/OptionValues.h"
#include "deck/cli/SharedOptions.h"
#include "deck/host/HostError.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>

namespace deck::cli {
namespace {

constexpr double kLongestDuration = 864'000; // ten days, in seconds
constexpr std::int64_t kLargestCount = 1'000'000'000'000'000;
constexpr double kLongestInterval = 86'400'000; // a day

std::uint8_t ParseDevice(const std::string& text)
{
    if (text == "all") {
        return kMMCAllDevices;
    }
    return static_cast<std::uint8_t>(
        ParseWhole("--device", text, 0, kMMCAllDevices, "all, or a whole number"));
}

std::uint8_t ParseRateBits(const std::string& text)
{
    static constexpr std::array<std::array<std::string_view, 2>, 4> kNames{
        {{"24", "0"}, {"25", "1"}, {"30df", "2"}, {"30", "3"}}};
    for (std::size_t bits = 0; bits < kNames.size(); ++bits) {
        if (text == kNames.at(bits)[0] || text == kNames.at(bits)[1]) {
            return static_cast<std::uint8_t>(bits);
        }
    }
    throw HostError(
        "--rate-bits " + text + ": it is 24, 25, 30df or 30, or the two bits as 0 to 3");
}

std::uint8_t ParseGroups(const std::vector<std::string>& names)
{
    static constexpr std::array<std::pair<std::string_view, MonitorGroup>, 4> kGroups{
        {{"mmc", MonitorGroup::MMC}, {"mtc", MonitorGroup::MTC}, {"sysex", MonitorGroup::SysEx},
            {"other", MonitorGroup::Other}}};
    std::uint8_t groups = 0;
    for (const std::string& name : names) {
        const auto* const found = std::find_if(kGroups.begin(), kGroups.end(),
            [&name](const auto& group) { return group.first == name; });
        if (found == kGroups.end()) {
            throw HostError("--only " + name + ": it is some of mmc, mtc, sysex and other");
        }
        groups |= static_cast<std::uint8_t>(found->second);
    }
    return groups;
}

std::uint64_t ParseCount(const std::string& text)
{
    return static_cast<std::uint64_t>(ParseWhole("--count", text, 1, kLargestCount));
}

/// Nothing where the option was not given.
std::optional<std::chrono::nanoseconds> ParseDuration(
    const std::string& option, const std::string& text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    return ParseSeconds(option, text, 0, kLongestDuration);
}

} // namespace

void ToolsCommandLine::AddSend(CLI::App& app)
{
    CLI::App* const send = app.add_subcommand("send", "Send MMC commands or bytes to a MIDI port");
    send->add_option("COMMAND", mSend.options.commands,
            "A command by name (play, \"locate 01:00:00:00\", \"shuttle -2.5\"), hexadecimal "
            "bytes, or "
            "\"wait 500ms\"; --list shows every command")
        ->type_name("");
    send->add_option("--to", mSend.options.to, "An ID, or part of a destination's name")
        ->type_name("PORT");
    send->add_option("--file", mSend.options.file,
            "Read the commands from here, one a line, # begins a comment; - is standard input, "
            "whose lines are sent as they come")
        ->type_name("FILE");
    send->add_option("--device", mSend.device, "MMC device ID, 0 to 127 or all (default)")
        ->type_name("ID");
    send->add_option("--rate", mSend.rate, "Frames a second of locates (default 25)")
        ->type_name("RATE");
    send->add_option("--rate-bits", mSend.rateBits,
            "Rate bits of locates where they shall not be those of --rate: 24, 25, 30df or 30")
        ->type_name("BITS");
    send->add_option("--interval", mSend.interval,
            "Milliseconds from one message to the next (default 0: at once)")
        ->type_name("MS");
    send->add_flag("--list", mSend.options.list,
        "List the commands with what the plug-in makes of each, and send nothing");
}

SendOptions ToolsCommandLine::FinishSend() const
{
    SendOptions options = mSend.options;
    options.mmc.deviceId = ParseDevice(mSend.device);
    options.mmc.rate = ParseRate(mSend.rate);
    if (!mSend.rateBits.empty()) {
        options.mmc.rateBits = ParseRateBits(mSend.rateBits);
    }
    options.interval = ParseMillis("--interval", mSend.interval, 0, kLongestInterval);
    if (options.list) {
        return options;
    }
    if (options.commands.empty() == !options.file) {
        throw HostError(options.file
                ? "send takes commands or --file, not both; put the commands into the file"
                : "say what to send: a command, as play, or --file FILE; `korva-deck send --list` "
                  "lists the commands");
    }
    if (options.to.empty()) {
        throw HostError("say where to send it with --to PORT; `korva-deck ports` lists the ports");
    }
    return options;
}

void ToolsCommandLine::AddMonitor(CLI::App& app)
{
    CLI::App* const monitor = app.add_subcommand(
        "monitor", "Show what comes in, and what the plug-in would make of it");
    monitor
        ->add_option("--from", mMonitor.options.from,
            "An ID, or part of a source's name (default: every source)")
        ->type_name("PORT");
    monitor->add_option("--only", mMonitor.only, "Some of mmc, mtc, sysex and other, with commas")
        ->type_name("WHAT")
        ->delimiter(',');
    monitor->add_flag("--json", mMonitor.options.json, "A JSON object a line instead of text");
    monitor->add_option("--save", mMonitor.options.save, "Keep the lines in this file, too")
        ->type_name("FILE");
    monitor->add_option("--count", mMonitor.count, "End after so many messages")->type_name("N");
    monitor->add_option("--for", mMonitor.duration, "End after so many seconds")
        ->type_name("SECONDS");
    monitor->add_flag("--no-revive", mMonitor.noRevive,
        "Take the plug-in to stay deaf once it is (a deck connects it anew)");
}

MonitorOptions ToolsCommandLine::FinishMonitor() const
{
    MonitorOptions options = mMonitor.options;
    options.groups = mMonitor.only.empty() ? kAllMonitorGroups : ParseGroups(mMonitor.only);
    if (!mMonitor.count.empty()) {
        options.count = ParseCount(mMonitor.count);
    }
    options.duration = ParseDuration("--for", mMonitor.duration);
    options.revive = !mMonitor.noRevive;
    CheckPort("--from", options.from);
    return options;
}

void ToolsCommandLine::AddCheckMtc(CLI::App& app)
{
    CLI::App* const check = app.add_subcommand(
        "check-mtc", "Judge anybody's MIDI Time Code: can a machine lock to it?");
    check->footer(
        "Exit status: 0 sound, 1 not sound, 2 something given was wrong, 3 nothing heard.");
    check
        ->add_option("FILE", mCheckMtc.options.file,
            "What `korva-deck monitor --json --save FILE` wrote; - is standard input")
        ->type_name("");
    check->add_option("--from", mCheckMtc.options.from, "An ID, or part of a source's name")
        ->type_name("PORT");
    check
        ->add_option(
            "--for", mCheckMtc.duration, "Listen for so many seconds (default: until Ctrl-C)")
        ->type_name("SECONDS");
    check
        ->add_option("--jitter-limit", mCheckMtc.jitterLimit,
            "Milliseconds that 99 of 100 quarter frames may be early or late (default 4)")
        ->type_name("MS");
    check->add_flag("--json", mCheckMtc.options.json, "The verdict as one JSON object");
}

CheckMtcOptions ToolsCommandLine::FinishCheckMtc() const
{
    CheckMtcOptions options = mCheckMtc.options;
    options.duration = ParseDuration("--for", mCheckMtc.duration);
    options.jitterLimit = ParseMillis("--jitter-limit", mCheckMtc.jitterLimit, 0, 1000);
    CheckPort("--from", options.from);
    if (!options.file && !options.from) {
        throw HostError("say what to check: --from PORT, or a file that `korva-deck monitor --json "
                        "--save FILE` wrote; `korva-deck ports` lists the ports");
    }
    if (options.file && options.duration) {
        throw HostError("--for is how long to listen; it does not go with a file");
    }
    return options;
}

void ToolsCommandLine::AddDoctor(CLI::App& app)
{
    CLI::App* const doctor
        = app.add_subcommand("doctor", "Say why nothing happens, and what to do about it");
    doctor->footer("Exit status: 0 fine, 1 problems found, 2 something given was wrong.");
    AddBundle(*doctor, mDoctor.options.bundle);
    AddSettings(*doctor, mDoctor.options.settings);
    doctor
        ->add_option(
            "--rate", mDoctor.rate, "Frames a second of the deck, to compare with what comes in")
        ->type_name("RATE");
    doctor
        ->add_option("--listen", mDoctor.listen,
            "Seconds to listen to the source of MMC in (default 2); silence is a problem then")
        ->type_name("SECONDS");
    doctor->add_flag("--json", mDoctor.options.json, "As one JSON object");
}

DoctorOptions ToolsCommandLine::FinishDoctor() const
{
    DoctorOptions options = mDoctor.options;
    if (!mDoctor.rate.empty()) {
        options.rate = ParseRate(mDoctor.rate);
    }
    const auto listen = ParseDuration("--listen", mDoctor.listen);
    options.listen = listen.value_or(options.listen);
    options.mustHear = listen.has_value();
    return options;
}

void ToolsCommandLine::AddTo(CLI::App& app)
{
    AddSend(app);
    AddMonitor(app);
    AddCheckMtc(app);
    AddDoctor(app);
}

std::optional<ToolCommand> ToolsCommandLine::Finish(const std::string& name) const
{
    if (name == "send") {
        return FinishSend();
    }
    if (name == "monitor") {
        return FinishMonitor();
    }
    if (name == "check-mtc") {
        return FinishCheckMtc();
    }
    if (name == "doctor") {
        return FinishDoctor();
    }
    return std::nullopt;
}

} // namespace deck::cli
