// A MIDI device made of the service's virtual endpoints, for tests with the real service.

#pragma once

#include "kelcore/utility/UTF16String.h"

#include <CoreMIDI/CoreMIDI.h>

#include <vector>

namespace kelmidi::tests {

/// A client with one source, and one destination whatever arrives at which leaves the source again.
class EchoDevice {
public:
    explicit EchoDevice(const char* name);
    ~EchoDevice();
    EchoDevice(const EchoDevice&) = delete;
    EchoDevice& operator=(const EchoDevice&) = delete;

    /// Sends one packet, or several where there are more than 256 bytes, from the source.
    void Send(const std::vector<unsigned char>& bytes) const;

    kelcore::utility::UTF16String SourceID() const { return mSourceID; }
    kelcore::utility::UTF16String DestinationID() const { return mDestinationID; }

private:
    static void Echo(const MIDIPacketList* packets, void* device, void*);

    MIDIClientRef mClient = 0;
    MIDIEndpointRef mSource = 0;
    MIDIEndpointRef mDestination = 0;
    kelcore::utility::UTF16String mSourceID;
    kelcore::utility::UTF16String mDestinationID;
};

/// Chooses the built-in service for the whole program. Before anything uses it.
void UseBuiltinService();

} // namespace kelmidi::tests
