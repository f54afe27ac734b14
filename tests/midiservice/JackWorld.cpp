// JACK: a server of our own, and programs that use libjack directly.

#include "tests/midiservice/JackServer.h"

namespace midiservice::test {

namespace {

class JackWorld final : public World {
public:
    JackWorld() { mServer.Start(); }

    std::unique_ptr<Peer> MakePeer(const std::string& name) override
    {
        return std::make_unique<JackPeer>(name);
    }

private:
    JackServer mServer;
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
