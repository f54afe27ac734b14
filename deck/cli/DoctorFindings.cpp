#include "deck/cli/DoctorFindings.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>

namespace deck::cli {
namespace {

using enum FindingLevel;
using host::MidiPort;
using Findings = std::vector<Finding>;

constexpr int kLevelWidth = 9;
constexpr int kCheckWidth = 13;
constexpr char kConnect[] = "choose both with `korva-deck connect --in PORT --out PORT`";

std::string Quoted(const std::string& text)
{
    return '"' + text + '"';
}

/// What is not the name of a service is taken as auto.
bool MayBeALSA(const SystemFacts& system)
{
    return system.wantedService != "jack" && system.wantedService != "builtin";
}

void CheckService(const DoctorFacts& facts, Findings& findings)
{
    static constexpr std::array<std::string_view, 5> kKnown{"", "auto", "alsa", "jack", "builtin"};
    const std::string& wanted = facts.system.wantedService;
    if (std::find(kKnown.begin(), kKnown.end(), wanted) == kKnown.end()) {
        findings.push_back({"service", Problem,
            "KEL_MIDI_SERVICE is " + Quoted(wanted) + ", which no service is called",
            "set it to auto, alsa, jack or builtin"});
    }
    if (!facts.service.IsRunning()) {
        findings.push_back({"service", Problem,
            "the MIDI service " + facts.service.name + " is not there: " + facts.service.waitsFor,
            facts.service.name == "jack"
                ? "start a JACK server (JACK_DEFAULT_SERVER names which one), or choose another "
                  "service with KEL_MIDI_SERVICE"
                : "start it, or choose another service with KEL_MIDI_SERVICE"});
    } else if (facts.service.name == "builtin") {
        const bool isAsked = wanted == "builtin";
        findings.push_back({"service", isAsked ? Note : Problem,
            "the built-in service reaches no other program and no device",
            isAsked ? "unset KEL_MIDI_SERVICE to reach them"
                    : "load ALSA's sequencer with `modprobe snd_seq`, or start a JACK server"});
    } else {
        findings.push_back({"service", Fine, facts.service.name + " is running", ""});
    }
}

void CheckSequencer(const DoctorFacts& facts, Findings& findings)
{
    if (!MayBeALSA(facts.system)) {
        return;
    }
    const FindingLevel level = facts.service.name == "jack" ? Note : Problem;
    switch (facts.system.sequencer) {
    case SequencerAccess::Open:
        findings.push_back({"permissions", Fine, "/dev/snd/seq can be opened", ""});
        break;
    case SequencerAccess::Missing:
        findings.push_back({"permissions", level, "ALSA's sequencer /dev/snd/seq is missing",
            "load it with `modprobe snd_seq`"});
        break;
    case SequencerAccess::Denied:
        findings.push_back({"permissions", level, "you may not open ALSA's sequencer /dev/snd/seq",
            "join its group with `adduser NAME audio`, then log in again"});
        break;
    }
}

void CheckRealTime(const DoctorFacts& facts, Findings& findings)
{
    if (facts.system.mayRunRealTime) {
        findings.push_back({"real-time", Fine, "real-time priority is allowed", ""});
        return;
    }
    findings.push_back({"real-time", facts.service.name == "jack" ? Problem : Note,
        "real-time priority is not allowed: MTC may leave late on a busy machine",
        "write \"@audio - rtprio 95\" and \"@audio - memlock unlimited\" into "
        "/etc/security/limits.d/audio.conf, join the group audio, then log in again"});
}

std::string CountOf(const std::vector<MidiPort>& ports, const std::string& what)
{
    return std::to_string(ports.size()) + " " + what + (ports.size() == 1 ? "" : "s");
}

void CheckPorts(const DoctorFacts& facts, Findings& findings)
{
    const std::string counts
        = CountOf(facts.sources, "source") + " and " + CountOf(facts.destinations, "destination");
    const bool isEnough = !facts.sources.empty() && !facts.destinations.empty();
    findings.push_back({"ports", isEnough ? Fine : Problem, counts,
        isEnough ? "" : "plug in or start what has some; the deck needs one of each"});
}

const MidiPort* Find(const std::vector<MidiPort>& ports, MIDIUniqueID id)
{
    const auto found = std::find_if(
        ports.begin(), ports.end(), [id](const MidiPort& port) { return port.id == id; });
    return found != ports.end() ? &*found : nullptr;
}

void CheckBound(const std::string& what,
    const std::vector<MidiPort>& ports,
    MIDIUniqueID id,
    Findings& findings)
{
    const MidiPort* const port = Find(ports, id);
    if (port == nullptr) {
        findings.push_back({"binding", Problem,
            "the port " + std::to_string(id) + " for " + what + " is not there",
            "plug it in or start its program, or choose another with `korva-deck connect`"});
    } else if (port->isAmbiguous) {
        findings.push_back({"binding", Problem,
            what + " is bound to " + Quoted(port->name) + ", which cannot be told from another",
            "give one of the two devices another socket, or one of the two programs another name"});
    } else {
        findings.push_back({"binding", Fine, what + " is bound to " + Quoted(port->name), ""});
    }
}

void CheckBinding(const DoctorFacts& facts, Findings& findings)
{
    const SettingsFacts& settings = facts.settings;
    if (!settings.fault.empty()) {
        findings.push_back({"binding", Problem,
            "the settings file " + settings.path + " is broken (" + settings.fault + ")",
            "choose the ports anew with `korva-deck connect`; the broken file is kept aside"});
    } else if (!settings.exists || (!settings.ports.in && !settings.ports.out)) {
        const bool hasOwnPorts = facts.service.name != "builtin";
        findings.push_back({"binding", hasOwnPorts ? Note : Problem, "no ports are chosen yet",
            kConnect
                + std::string(hasOwnPorts
                        ? ", or connect the deck's own \"MMC in\" and \"MTC out\" in a patchbay"
                        : "")});
    } else if (!settings.ports.HasBoth()) {
        findings.push_back({"binding", Problem,
            std::string("no port is chosen for ") + (settings.ports.in ? "MTC out" : "MMC in")
                + ", and the plug-in binds both or none",
            kConnect});
    } else if (facts.service.IsRunning()) {
        CheckBound("MMC in", facts.sources, *settings.ports.in, findings);
        CheckBound("MTC out", facts.destinations, *settings.ports.out, findings);
    }
}

/// Who reads what a port passes through is known where ALSA tells it.
Finding ThroughFinding(const std::string& name, std::optional<bool> hasReader)
{
    if (hasReader.value_or(false)) {
        return {"mtc", Fine, "MTC goes to " + Quoted(name) + ", and a program reads it there", ""};
    }
    return {"mtc", hasReader ? Problem : Note,
        "MTC goes to " + Quoted(name)
            + (hasReader ? ", and no program reads it there"
                         : ", where only a program that reads from it hears it"),
        "choose the machine's own port, or connect the chasing program to that one"};
}

void CheckReader(const DoctorFacts& facts, Findings& findings)
{
    const host::PortSettings& ports = facts.settings.ports;
    if (!ports.HasBoth()) {
        return;
    }
    if (!ports.transmitMTC.value_or(false)) {
        findings.push_back({"mtc", Note, "MTC is off", "switch it on with `korva-deck run --mtc`"});
        return;
    }
    const MidiPort* const out = Find(facts.destinations, *ports.out);
    if (out == nullptr && facts.service.IsRunning()) {
        findings.push_back({"mtc", Problem, "MTC is on and nothing reads it: its port is away",
            "bring the port back, or choose another with `korva-deck connect`"});
    } else if (out != nullptr && out->name.find("Midi Through") != std::string::npos) {
        findings.push_back(ThroughFinding(out->name, facts.throughHasReader));
    } else if (out != nullptr) {
        findings.push_back({"mtc", Fine, "MTC goes to " + Quoted(out->name), ""});
    }
}

void CheckPlugin(const DoctorFacts& facts, Findings& findings)
{
    const std::string& fault = facts.plugin.fault;
    if (fault.empty()) {
        findings.push_back({"plug-in", Fine, Quoted(facts.plugin.name) + " loads", ""});
        return;
    }
    const auto split = std::min(fault.find("; "), fault.size());
    findings.push_back({"plug-in", Problem, fault.substr(0, split),
        split < fault.size() ? fault.substr(split + 2) : "name another one with --bundle"});
}

std::string Seconds(std::chrono::nanoseconds time)
{
    std::ostringstream text;
    text << std::chrono::duration<double>(time).count() << " s";
    return text.str();
}

void CheckHeard(const DoctorFacts& facts, Findings& findings)
{
    if (!facts.heard) {
        return;
    }
    const HeardFacts& heard = *facts.heard;
    const FindingLevel silence = facts.mustHear ? Problem : Note;
    const std::string within = " within " + Seconds(facts.listened);
    if (heard.messages == 0) {
        findings.push_back({"sysex", silence, "nothing came from the source of MMC in" + within,
            "press play on the machine while `korva-deck doctor --listen 10` listens; see to its "
            "cable, its MIDI output and its MMC"});
    } else if (heard.sysEx == 0) {
        findings.push_back({"sysex", silence,
            std::to_string(heard.messages) + " messages came from the source of MMC in" + within
                + ", but no SysEx, and MMC is SysEx",
            "switch MMC on in the machine, and SysEx on in the bridges and filters between"});
    } else if (heard.mmc == 0) {
        findings.push_back({"sysex", silence, "SysEx came" + within + ", but no MMC",
            "switch MMC on in the machine"});
    } else {
        findings.push_back(
            {"sysex", Fine, std::to_string(heard.mmc) + " MMC messages came" + within, ""});
    }
    if (!heard.deafness.empty()) {
        findings.push_back({"sysex", Problem,
            "the sender makes the plug-in deaf: " + heard.deafness,
            "make it send one command a message; until then the deck connects the plug-in anew"});
    }
}

void CheckRates(const DoctorFacts& facts, Findings& findings)
{
    if (!facts.heard) {
        return;
    }
    const HeardFacts& heard = *facts.heard;
    const std::string deck(facts.rate ? facts.rate->Name() : "its rate");
    if (facts.rate && heard.mtcRate && *heard.mtcRate != facts.rate->MtcCode()) {
        findings.push_back({"rate", Problem,
            "MTC comes in at " + std::string(NameOfRateBits(*heard.mtcRate)) + ", the deck is to "
                + "run at " + deck,
            "set both machines to one rate"});
    }
    if (!heard.locateRate) {
        return;
    }
    const bool isOther = facts.rate && *heard.locateRate != facts.rate->MtcCode();
    const bool isImpossible
        = heard.highestFrame >= FrameRate::FromMtcCode(*heard.locateRate).NominalFps();
    if (isOther || isImpossible) {
        findings.push_back({"rate", Problem,
            "locates come with the rate bits of " + std::string(NameOfRateBits(*heard.locateRate))
                + " and frames up to " + std::to_string(heard.highestFrame)
                + (facts.rate ? ", the deck is to run at " + deck
                              : std::string(", which that rate does not have")),
            "set the sender to " + deck
                + "; where it cannot be set, `--locate-rate deck` takes "
                  "its frame numbers as the deck's"});
    }
}

nlohmann::ordered_json ToJson(const Finding& finding)
{
    return {{"check", finding.check}, {"level", NameOf(finding.level)}, {"text", finding.text},
        {"remedy", finding.remedy}};
}

} // namespace

std::string_view NameOf(FindingLevel level) noexcept
{
    static constexpr std::array<std::string_view, 3> kNames{"ok", "note", "problem"};
    return kNames[static_cast<std::size_t>(level)];
}

std::optional<bool> HasThroughReader(std::istream& clients)
{
    bool isThrough = false;
    bool isFound = false;
    for (std::string line; std::getline(clients, line);) {
        if (line.starts_with("Client ")) {
            isThrough = line.find("\"Midi Through\"") != std::string::npos;
            isFound |= isThrough;
        }
        if (isThrough && line.find("Connecting To:") != std::string::npos) {
            return true;
        }
    }
    return isFound ? std::optional(false) : std::nullopt;
}

void HeardFacts::Take(const MidiEvent& event)
{
    constexpr std::uint8_t kSysExStart = 0xF0;
    const MidiAnnotation annotation = Annotate(event);
    const std::optional<MMCMessage> message = DecodeMMC(event.bytes);
    ++messages;
    sysEx += !event.bytes.empty() && event.bytes.front() == kSysExStart;
    if (annotation.kind == MidiKind::kFullFrame || annotation.kind == MidiKind::kQuarterFrame) {
        mtcRate = annotation.rateBits ? annotation.rateBits : mtcRate;
    }
    if (!message) {
        return;
    }
    ++mmc;
    mPlugin.Feed(event.bytes);
    deafness = mPlugin.DeafReason();
    for (const MMCUnit& unit : message->units) {
        if (unit.locate) {
            locateRate = unit.locate->rateBits;
            highestFrame = std::max<int>(highestFrame, unit.locate->timecode.frames);
        }
    }
}

std::vector<Finding> Diagnose(const DoctorFacts& facts)
{
    Findings findings;
    CheckService(facts, findings);
    CheckSequencer(facts, findings);
    CheckRealTime(facts, findings);
    CheckPlugin(facts, findings);
    if (facts.service.IsRunning()) {
        CheckPorts(facts, findings);
    }
    CheckBinding(facts, findings);
    CheckReader(facts, findings);
    CheckHeard(facts, findings);
    CheckRates(facts, findings);
    return findings;
}

bool HasProblem(const std::vector<Finding>& findings) noexcept
{
    return std::any_of(findings.begin(), findings.end(),
        [](const Finding& finding) { return finding.level == Problem; });
}

std::string FindingsText(const std::vector<Finding>& findings)
{
    std::ostringstream text;
    for (const Finding& finding : findings) {
        text << std::left << std::setw(kLevelWidth) << NameOf(finding.level)
             << std::setw(kCheckWidth) << finding.check << finding.text
             << (finding.remedy.empty() ? "" : "; " + finding.remedy) << "\n";
    }
    return text.str();
}

std::string FindingsJSON(const std::vector<Finding>& findings)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings) {
        list.push_back(ToJson(finding));
    }
    const nlohmann::ordered_json json{{"fine", !HasProblem(findings)}, {"findings", list}};
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace deck::cli
