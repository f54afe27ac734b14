#include "mediaio/midiservice/src/builtin/BuiltinDriver.h"

#include <map>

namespace midiservice {

namespace {

class BuiltinDriver final : public Driver {
public:
    const char* Name() const noexcept override { return "builtin"; }

    bool Start(DriverHost& host, const std::string& /*programName*/, bool /*mustRun*/) override
    {
        host.OnStateChanged(DriverState::Running, "endpoints of this program only");
        host.OnEndpointsChanged({});
        return true;
    }

    void Stop() override {}

    void AddClient(ClientKey client, const std::string& name) override
    {
        mClientNames[client] = name;
    }

    void RemoveClient(ClientKey client) override { mClientNames.erase(client); }

    bool ConnectSource(PortKey /*port*/, EndpointKey /*source*/) override { return false; }
    void DisconnectSource(PortKey /*port*/, EndpointKey /*source*/) override {}

    bool AddVirtual(EndpointKey /*key*/,
        ClientKey /*client*/,
        Direction /*direction*/,
        const std::string& /*name*/) override
    {
        return false;
    }

    void RemoveVirtual(EndpointKey /*key*/) override {}

    IdentityFacts VirtualIdentity(
        ClientKey client, Direction direction, const std::string& name) const override
    {
        const auto owner = mClientNames.find(client);
        return {Name(), direction, owner != mClientNames.end() ? owner->second : "", name, ""};
    }

    SendResult Send(const OutgoingMessage& /*message*/) noexcept override
    {
        return SendResult::Refused;
    }

    void Receive() noexcept override {}

private:
    std::map<ClientKey, std::string> mClientNames;
};

} // namespace

std::unique_ptr<Driver> MakeBuiltinDriver()
{
    return std::make_unique<BuiltinDriver>();
}

} // namespace midiservice
