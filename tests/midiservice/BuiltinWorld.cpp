// The built-in service: the other programs are further MIDI clients of this process.

#include "tests/midiservice/Worlds.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

namespace midiservice::test {

namespace {

class BuiltinPeer final : public Peer {
public:
    explicit BuiltinPeer(const std::string& name)
        : mClient(name)
        , mSource(mClient.MakeSource(name + "_OUT"))
    {
        mClient.MakeDestination(name + "_IN", mReceived);
    }

    void Send(const std::vector<Bytes>& units) override
    {
        Packets packets;
        for (const Bytes& unit : units)
            packets.Add(unit);
        EXPECT_EQ(MIDIReceived(mSource, packets), 0);
        for (MIDIEndpointRef destination : mDestinations)
            EXPECT_EQ(MIDISend(mClient.out, destination, packets), 0);
    }

    Inbox& Received() override { return mReceived; }

    void ConnectFrom(const std::string& virtualSource) override
    {
        EXPECT_EQ(MIDIPortConnectSource(mHearing, FindSource(virtualSource), nullptr), 0);
    }

    void ConnectTo(const std::string& virtualDestination) override
    {
        mDestinations.push_back(FindDestination(virtualDestination));
    }

    // There are no other programs; one in this process is to look past what is hidden.
    bool SeesNoMore(const std::string& virtualEndpoint) override
    {
        const MIDIEndpointRef source = FindSource(virtualEndpoint);
        return KorvaMIDIServiceIsHidden(source != 0 ? source : FindDestination(virtualEndpoint))
            != 0;
    }

private:
    MIDIPortRef MakeHearing()
    {
        MIDIPortRef port = 0;
        MIDIInputPortCreate(mClient.client, CFSTR("Hearing"), &Inbox::Read, &mReceived, &port);
        return port;
    }

    Inbox mReceived;
    TestClient mClient;
    MIDIEndpointRef mSource;
    MIDIPortRef mHearing = MakeHearing();
    std::vector<MIDIEndpointRef> mDestinations;
};

class BuiltinWorld final : public World {
public:
    std::unique_ptr<Peer> MakePeer(const std::string& name) override
    {
        return std::make_unique<BuiltinPeer>(name);
    }

    bool KeepsRawBytes() const override { return true; }

private:
    ScopedService mService{"builtin"};
};

} // namespace

std::unique_ptr<World> MakeBuiltinWorld(std::string& /*whyNot*/)
{
    return std::make_unique<BuiltinWorld>();
}

} // namespace midiservice::test
