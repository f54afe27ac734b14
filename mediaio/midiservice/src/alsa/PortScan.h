// The sequencer's ports as they are at one moment.

#pragma once

#include "mediaio/midiservice/src/alsa/Sequencer.h"

#include <functional>
#include <string>
#include <vector>

namespace midiservice::alsa {

struct ScannedPort {
    Address address;
    int card = -1;          // the system's current number of the sound card, -1 for none
    std::string clientName; // UTF-8
    std::string portName;
    bool isSource = false;
    bool isDestination = false;
};

/// Bits that this service's own "Input port" and "Output port" bear: patchbays show them, but
/// they are no endpoints, in no process that uses the service.
constexpr unsigned kPrivatePortType = SND_SEQ_PORT_TYPE_SPECIFIC | SND_SEQ_PORT_TYPE_APPLICATION;
constexpr unsigned kVirtualPortType
    = SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_SOFTWARE | SND_SEQ_PORT_TYPE_APPLICATION;

constexpr unsigned kSourceCapabilities = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned kDestinationCapabilities = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;

/// All ports that others offer for MIDI, by address. `isOwn` tells the clients of this
/// process. [driver, may block]
std::vector<ScannedPort> ScanPorts(
    const Sequencer& observer, const std::function<bool(std::uint8_t client)>& isOwn);

/// "VirMIDI 0-3" of card 0 is "VirMIDI 3": card numbers do not last.
std::string WithoutCardNumber(const std::string& name, int card);

} // namespace midiservice::alsa
