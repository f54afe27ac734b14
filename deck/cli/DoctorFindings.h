// What the doctor makes of what it found: no port is opened here, so that every
// finding can be tried.

#pragma once

#include "deck/cli/ServiceStatus.h"
#include "deck/host/MidiPorts.h"
#include "deck/host/PortSettings.h"
#include "deck/protocol/MidiMonitor.h"

#include <chrono>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace deck::cli {

enum class SequencerAccess : std::uint8_t { Open, Missing, Denied };

/// What a user may do on this machine.
struct SystemFacts {
    std::string wantedService; // KEL_MIDI_SERVICE, empty where it is not set
    SequencerAccess sequencer = SequencerAccess::Open;
    bool mayRunRealTime = true;
};

struct SettingsFacts {
    std::string path;
    bool exists = false;
    std::string fault; // why it cannot be read, one line; empty where it can
    host::PortSettings ports;
};

struct PluginFacts {
    std::string name;  // as the plug-in calls itself
    std::string fault; // one line: what is wrong, "; ", what to do; empty where it loads
};

/// What came from the bound source while the doctor listened.
class HeardFacts {
public:
    void Take(const MidiEvent& event);

    std::uint64_t messages = 0;
    std::uint64_t sysEx = 0;
    std::uint64_t mmc = 0;
    std::optional<std::uint8_t> mtcRate;    // rate bits
    std::optional<std::uint8_t> locateRate; // of the last locate
    int highestFrame = 0;                   // of all locates
    std::string deafness;                   // why the plug-in would hear nothing any more

private:
    PluginModel mPlugin;
};

/// Whether anything reads from ALSA's Midi Through, by the kernel's list of the sequencer's
/// clients; nothing where it is not in the list.
std::optional<bool> HasThroughReader(std::istream& clients);

struct DoctorFacts {
    SystemFacts system;
    ServiceStatus service;
    std::vector<host::MidiPort> sources;
    std::vector<host::MidiPort> destinations;
    SettingsFacts settings;
    PluginFacts plugin;
    std::optional<bool> throughHasReader; // of ALSA's Midi Through, where it is known
    std::optional<HeardFacts> heard;      // nothing where there was no source to listen to
    std::chrono::nanoseconds listened{0};
    bool mustHear = false;         // silence is a finding
    std::optional<FrameRate> rate; // that the deck is to run at
};

enum class FindingLevel : std::uint8_t { Fine, Note, Problem };

/// "ok", "note", "problem".
std::string_view NameOf(FindingLevel level) noexcept;

struct Finding {
    std::string check; // "service", "permissions", "ports": stable, for programs
    FindingLevel level = FindingLevel::Fine;
    std::string text;
    std::string remedy; // empty where nothing is to be done
};

std::vector<Finding> Diagnose(const DoctorFacts& facts);
bool HasProblem(const std::vector<Finding>& findings) noexcept;

/// A line each.
std::string FindingsText(const std::vector<Finding>& findings);
/// {"fine":false,"findings":[{"check":..,"level":..,"text":..,"remedy":..}]}
std::string FindingsJSON(const std::vector<Finding>& findings);

} // namespace deck::cli
