// The worlds that drivers live in, and the programs at the other end in each of them: what
// the driver contract is tested with. A driver joins by adding its world to Worlds().

#pragma once

#include "tests/midiservice/Clients.h"
#include "tests/support/ScopedVariable.h"

#include <memory>
#include <string>
#include <vector>

namespace midiservice::test {

using korva::tests::ScopedVariable;

/// Another program with one source and one destination, called NAME_OUT and NAME_IN
/// somewhere in their display names.
class Peer {
public:
    virtual ~Peer() = default;

    /// Sends these from its source, each as one unit of its service (an event, a packet), as
    /// close together as it can.
    virtual void Send(const std::vector<Bytes>& units) = 0;

    /// What reaches its destination, one arrival a unit.
    virtual Inbox& Received() = 0;

    /// Hears a virtual source of the program under test, or sends to its virtual destination.
    virtual void ConnectFrom(const std::string& virtualSource) = 0;
    virtual void ConnectTo(const std::string& virtualDestination) = 0;
    /// Whether an endpoint of the program under test is out of sight, now or soon.
    virtual bool SeesNoMore(const std::string& virtualEndpoint) = 0;
};

/// While it exists, KEL_MIDI_SERVICE selects the driver and what the driver needs is running.
class World {
public:
    virtual ~World() = default;
    virtual std::unique_ptr<Peer> MakePeer(const std::string& name) = 0;
    /// False where services join running status and the like to whole messages.
    virtual bool KeepsRawBytes() const { return false; }
    /// How long before its time a scheduled message may reach a peer that works in cycles.
    virtual HostTime MostEarly() const { return 0; }
};

struct WorldFactory {
    const char* name;
    /// Null, with the reason, where this machine lacks what the world is made of.
    std::unique_ptr<World> (*make)(std::string& whyNot);
};

std::vector<WorldFactory> Worlds();

std::unique_ptr<World> MakeAlsaWorld(std::string& whyNot);
std::unique_ptr<World> MakeBuiltinWorld(std::string& whyNot);
std::unique_ptr<World> MakeJackWorld(std::string& whyNot);

/// The service that KEL_MIDI_SERVICE names, started by the first use and ended here.
class ScopedService {
public:
    explicit ScopedService(const std::string& driver);
    ~ScopedService();

private:
    ScopedVariable mVariable;
};

} // namespace midiservice::test
