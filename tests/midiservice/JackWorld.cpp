// JACK: a server of our own, and programs that use libjack directly.

#include "tests/midiservice/JackPeer.h"

namespace midiservice::test {

namespace {

class JackWorld final : public World {
public:
    JackWorld() { mServer.Start(); }

    std::unique_ptr<Peer> MakePeer(const std::string& name) override
    {
        return std::make_unique<JackPeer>(name);
    }

    // The cycle in which it is due, by an estimate that wanders on a busy machine.
    HostTime MostEarly() const override { return 20'000'000; }

private:
    JackServer mServer{128, JackServer::Mode::Synchronous};
    ScopedService mService{"jack"};
};

} // namespace

std::unique_ptr<World> MakeJackWorld(std::string& whyNot)
{
    if (JackServer::IsInstalled())
        return std::make_unique<JackWorld>();
    whyNot = "jackd is not installed";
    return nullptr;
}

} // namespace midiservice::test
