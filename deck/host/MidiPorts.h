// The MIDI service's sources and destinations as the deck lists, finds and opens
// them.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace deck::host {

enum class PortDirection : std::uint8_t { Source, Destination };

/// "source" or "destination".
std::string_view NameOf(PortDirection direction) noexcept;

struct MidiPort {
    MIDIUniqueID id = 0;
    std::string name; // UTF-8
    PortDirection direction = PortDirection::Source;
    bool isAmbiguous = false; // cannot be told from another one, now or the next time

    bool operator==(const MidiPort&) const = default;
};

/// The ports of one direction, in the service's order. [host, may block]
std::vector<MidiPort> ListPorts(PortDirection direction);

/// The endpoint of that ID, or nothing where there is none of that direction.
std::optional<MIDIEndpointRef> FindEndpoint(MIDIUniqueID id, PortDirection direction);

/// The ID of an endpoint; 0 where it has none.
MIDIUniqueID UniqueIDOf(MIDIEndpointRef endpoint);

/// From now on other programs do not see this virtual endpoint, and ListPorts leaves it out. Throws
/// HostError. [host, may block]
void HideEndpoint(MIDIEndpointRef endpoint);

/// One packet, cut off after 256 bytes, for the host time `time`; zero is at once. [real-time]
MIDIPacketList MakePacketList(
    std::span<const std::uint8_t> bytes, std::chrono::nanoseconds time) noexcept;

/// The one port that `wanted` means: an ID, or a part of a name in any case that one port alone
/// has; a whole name goes before a part of one. Throws HostError, whose lines list the candidates.
MidiPort ChoosePort(
    const std::vector<MidiPort>& ports, PortDirection direction, const std::string& wanted);

/// A client of the MIDI service, with what was made in it. Opening one starts the service.
class MidiClient {
public:
    /// `onSetupChanged` runs on the notification thread. Throws HostError. [host, may block]
    explicit MidiClient(const char* name, std::function<void()> onSetupChanged = {});
    /// On return no callback of the client is running or will run. [host, may block]
    ~MidiClient();
    MidiClient(const MidiClient&) = delete;
    MidiClient& operator=(const MidiClient&) = delete;

    MIDIClientRef Ref() const noexcept { return mClient; }

    MIDIPortRef MakeInputPort(const char* name, MIDIReadProc readProc, void* context);
    MIDIPortRef MakeOutputPort(const char* name);
    MIDIEndpointRef MakeSource(const char* name);
    MIDIEndpointRef MakeDestination(const char* name, MIDIReadProc readProc, void* context);

private:
    std::function<void()> mOnSetupChanged;
    MIDIClientRef mClient = 0;
};

} // namespace deck::host
