// A MIDI back end without a service, linked into the program in place of the real one.

#pragma once

#include "kelcore/utility/UTF16String.h"
#include "mediaio/kelmidi/src/MidiDataTypes.h"
#include "mediaio/kelmidi/src/MidiHost.h"

#include <functional>
#include <string>

namespace mmc::tests {

/// What is plugged in, and what came of it. One at a time; the state goes with it.
class FakeMidi {
public:
    FakeMidi();
    ~FakeMidi();
    FakeMidi(const FakeMidi&) = delete;
    FakeMidi& operator=(const FakeMidi&) = delete;

    void PlugIn(const std::u16string& inputID, const std::u16string& outputID);
    void UnplugAll();
    /// Tells every host that the setup changed.
    void NotifySetupChanged();
    /// A message arrives at every connected input port.
    void Receive(const kelmidi::MidiMessage& message);
    /// Called for each message that leaves; the default forgets it.
    void OnSend(std::function<void(const kelmidi::MidiMessage&)> function);

    /// Called when an input port is disconnected.
    void OnDisconnect(std::function<void()> function);

    /// From now on no host can be made.
    void RefuseHosts();

    /// The host made last of those that live.
    boost::intrusive_ptr<kelmidi::MidiHost> AnyHost() const;
    std::u16string LastClientName() const;
    int LiveHosts() const;
    /// Lists of ports that were asked for.
    int Enumerations() const;
    int LivePorts() const;
    /// Ports connected now, both directions.
    int ConnectedPorts() const;
};

} // namespace mmc::tests
