#include "mediaio/midiservice/src/Service.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace midiservice::test {

namespace {

/// Does as it is told.
class ScriptedDriver final : public Driver {
public:
    const char* Name() const noexcept override { return "scripted"; }
    bool Start(DriverHost& driverHost, const std::string&, bool) override
    {
        host = &driverHost;
        return true;
    }
    void Stop() override {}
    bool ConnectSource(PortKey port, EndpointKey source) override
    {
        return connections.emplace(port, source).second;
    }
    void DisconnectSource(PortKey port, EndpointKey source) override
    {
        EXPECT_EQ(connections.erase({port, source}), 1U);
    }
    bool AddVirtual(EndpointKey, ClientKey, Direction, const std::string&) override
    {
        return false;
    }
    void RemoveVirtual(EndpointKey) override {}
    IdentityFacts VirtualIdentity(ClientKey, Direction, const std::string&) const override
    {
        return {};
    }
    SendResult Send(const OutgoingMessage&) noexcept override { return SendResult::Taken; }
    void Receive() noexcept override {}

    DriverHost* host = nullptr;
    std::set<std::pair<PortKey, EndpointKey>> connections;
};

EndpointFacts Endpoint(EndpointKey key, const std::string& name)
{
    return {key, name, name, {"scripted", Direction::Source, "Device", name, ""}};
}

void Ignore(const MIDIPacketList*, void*, void*) {}

class ServiceTest : public testing::Test {
protected:
    void Show(std::vector<EndpointFacts> present)
    {
        mDriver->host->OnEndpointsChanged(std::move(present));
    }

    ScriptedDriver* mDriver = new ScriptedDriver;
    Service mService{std::unique_ptr<Driver>(mDriver), "tests", true};
};

class ServiceStateTest : public ServiceTest {
protected:
    void Report(DriverState state, const std::string& reason)
    {
        mDriver->host->OnStateChanged(state, reason);
    }

    void ExpectState(DriverState state, const std::string& reason)
    {
        std::string shown;
        EXPECT_EQ(mService.State(shown), state);
        EXPECT_EQ(shown, reason);
    }
};

TEST_F(ServiceStateTest, IsRunningOnceTheEndpointsAreThere)
{
    Report(DriverState::Waiting, "no server");
    Report(DriverState::Running, "connected");
    ExpectState(DriverState::Waiting, "no server");

    Show({Endpoint(1, "A")});

    ExpectState(DriverState::Running, "connected");
}

TEST_F(ServiceStateTest, IsWaitingAtOnceWhenTheDriverIs)
{
    Report(DriverState::Running, "connected");
    Show({Endpoint(1, "A")});
    Report(DriverState::Waiting, "the server has stopped");
    ExpectState(DriverState::Waiting, "the server has stopped");

    Show({});

    ExpectState(DriverState::Waiting, "the server has stopped");
}

/// An endpoint that goes and comes back faster than clients are told: what becomes of its handle
/// and its connections.
class ServiceReplugTest : public ServiceTest {
protected:
    void SetUp() override
    {
        mService.CreateClient("Client", nullptr, nullptr, mClient);
        mService.CreateInputPort(mClient, "Input port", &Ignore, nullptr, mPort);
        Show({Endpoint(1, "A")});
        mSource = mService.GetEndpoint(Direction::Source, 0);
    }

    MIDIClientRef mClient = 0;
    MIDIPortRef mPort = 0;
    MIDIEndpointRef mSource = 0;
};

TEST_F(ServiceReplugTest, ConnectsAgainWhatWasConnected)
{
    mService.ConnectSource(mPort, mSource, nullptr);

    Show({});
    EXPECT_TRUE(mDriver->connections.empty());
    Show({Endpoint(2, "A")});

    EXPECT_EQ(mDriver->connections, (std::set<std::pair<PortKey, EndpointKey>>{{mPort, 2}}));
    EXPECT_EQ(mService.GetEndpoint(Direction::Source, 0), mSource);
}

TEST_F(ServiceReplugTest, ConnectsAgainWhatWentAndCameBetweenTwoReports)
{
    mService.ConnectSource(mPort, mSource, nullptr);

    Show({Endpoint(2, "A")});

    EXPECT_EQ(mDriver->connections, (std::set<std::pair<PortKey, EndpointKey>>{{mPort, 2}}));
}

TEST_F(ServiceReplugTest, DoesNotConnectWhatWasDisconnectedMeanwhile)
{
    mService.ConnectSource(mPort, mSource, nullptr);
    Show({});

    EXPECT_EQ(mService.DisconnectSource(mPort, mSource), kNoError);
    Show({Endpoint(2, "A")});

    EXPECT_TRUE(mDriver->connections.empty());
}

TEST_F(ServiceReplugTest, DoesNotConnectForAPortThatHasGone)
{
    mService.ConnectSource(mPort, mSource, nullptr);
    Show({});

    mService.DisposeClient(mClient);
    Show({Endpoint(2, "A")});

    EXPECT_TRUE(mDriver->connections.empty());
}

TEST_F(ServiceReplugTest, RefusesTheHandleWhileTheEndpointIsAway)
{
    Show({});

    EXPECT_EQ(mService.CountEndpoints(Direction::Source), 0U);
    EXPECT_EQ(mService.ConnectSource(mPort, mSource, nullptr), kMIDIUnknownEndpoint);
    EXPECT_EQ(mService.Received(mSource, MIDIPacketList{}, Timing::AtOnce), kMIDIUnknownEndpoint);
    EndpointInfo info;
    EXPECT_FALSE(mService.GetEndpointInfo(mSource, info));
}

TEST_F(ServiceReplugTest, GivesAnotherEndpointAnotherHandle)
{
    Show({});
    Show({Endpoint(2, "B")});

    EXPECT_NE(mService.GetEndpoint(Direction::Source, 0), mSource);
}

TEST_F(ServiceReplugTest, DoesNotKeepWhatHasGoneForEver)
{
    for (EndpointKey key = 2; key < 9000; ++key)
        Show({Endpoint(key, "Program " + std::to_string(key))});

    EXPECT_NE(mService.GetEndpoint(Direction::Source, 0), 0U);
}

} // namespace

} // namespace midiservice::test
