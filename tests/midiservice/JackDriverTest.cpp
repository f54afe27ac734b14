#include "tests/midiservice/JackServer.h"

#include "mediaio/midiservice/src/UniqueID.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <gmock/gmock.h>

#include <optional>

namespace midiservice::test {

namespace {

const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
constexpr HostTime kMillisecond = 1'000'000;

std::string Reason()
{
    char reason[200];
    KorvaMIDIServiceState(reason, sizeof reason);
    return reason;
}

class JackDriverTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!JackServer::IsInstalled())
            GTEST_SKIP() << "jackd is not installed";
    }

    static bool IsRunning()
    {
        return KorvaMIDIServiceState(nullptr, 0) == kKorvaMIDIServiceRunning;
    }

    JackServer mServer;
    ScopedService mService{"jack"};
};

TEST_F(JackDriverTest, WaitsForAServerAndSaysSo)
{
    TestClient client;

    EXPECT_FALSE(IsRunning());
    EXPECT_THAT(Reason(), testing::HasSubstr("no JACK server is running"));
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
}

TEST_F(JackDriverTest, FindsAServerThatStartsLate)
{
    TestClient client;
    mServer.Start();

    JackPeer peer("LATE");
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("LATE_OUT") != 0; }));
    ASSERT_EQ(MIDIPortConnectSource(client.in, FindSource("LATE_OUT"), nullptr), 0);
    peer.Send({kPlay});

    EXPECT_TRUE(IsRunning());
    EXPECT_EQ(client.inbox.WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_F(JackDriverTest, ShowsAVirtualEndpointThatWasMadeBeforeTheServerStarted)
{
    TestClient client;
    const MIDIEndpointRef source = client.MakeSource("Early");
    EXPECT_EQ(MIDIReceived(source, Packets{kPlay}), 0) << "nobody hears it, which is no error";
    mServer.Start();
    JackPeer peer("LATE");
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("LATE_OUT") != 0; }));

    peer.ConnectFrom("Early");
    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);

    EXPECT_EQ(peer.Received().WaitFor(1), std::vector<Bytes>{kPlay});
}

/// How a server ends.
class JackServerEnds : public JackDriverTest, public testing::WithParamInterface<bool> {
protected:
    void EndServer() { GetParam() ? mServer.Kill() : mServer.Stop(); }
};

TEST_P(JackServerEnds, SurvivesAndReconnectsWhenItComesBack)
{
    mServer.Start();
    auto peer = std::make_unique<JackPeer>("PEER");
    TestClient client;
    const MIDIEndpointRef source = FindSource("PEER_OUT");
    const MIDIEndpointRef destination = FindDestination("PEER_IN");
    const MIDIUniqueID id = IDOf(source);
    ASSERT_EQ(MIDIPortConnectSource(client.in, source, nullptr), 0);
    ASSERT_EQ(MIDISend(client.out, destination, Packets{kPlay}), 0);
    ASSERT_EQ(peer->Received().WaitFor(1).size(), 1U);
    const MIDIEndpointRef own = client.MakeSource("Own");

    EndServer();
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("PEER_OUT") == 0; }));
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(MIDISend(client.out, destination, Packets{kPlay}), kMIDIUnknownEndpoint);
    EXPECT_EQ(FindSource("Own"), own) << "what is our own stays";
    peer.reset();

    mServer.Start();
    peer = std::make_unique<JackPeer>("PEER");
    ASSERT_TRUE(
        client.WaitForChange([] { return FindSource("PEER_OUT") && FindDestination("PEER_IN"); }));
    EXPECT_TRUE(IsRunning());
    EXPECT_EQ(IDOf(FindSource("PEER_OUT")), id);
    MIDIPortConnectSource(client.in, FindSource("PEER_OUT"), nullptr);
    peer->Send({kPlay});
    EXPECT_EQ(client.inbox.WaitFor(1), std::vector<Bytes>{kPlay});
    ASSERT_EQ(MIDISend(client.out, FindDestination("PEER_IN"), Packets{kPlay}), 0);
    EXPECT_EQ(peer->Received().WaitFor(1), std::vector<Bytes>{kPlay});
    peer->ConnectFrom("Own");
    ASSERT_EQ(MIDIReceived(own, Packets{kPlay}), 0);
    EXPECT_EQ(peer->Received().WaitFor(2).size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Ways, JackServerEnds, testing::Bool(), [](const auto& isKilled) {
    return isKilled.param ? "Killed" : "Stopped";
});

TEST_F(JackDriverTest, EndsWhileItsServerIsThereAndWhenItIsGone)
{
    mServer.Start();
    {
        const ScopedService another{"jack"};
        TestClient client;
        EXPECT_TRUE(IsRunning());
    }
    {
        const ScopedService another{"jack"};
        TestClient client;
        mServer.Kill();
    }
}

TEST_F(JackDriverTest, TakesAClientThatClosedAndOpenedAgainAtOnceForANewOne)
{
    mServer.Start();
    auto peer = std::make_unique<JackPeer>("PEER");
    TestClient client;
    ASSERT_EQ(MIDIPortConnectSource(client.in, FindSource("PEER_OUT"), nullptr), 0);

    peer.reset();
    peer = std::make_unique<JackPeer>("PEER");
    const int changes = client.Changes();
    client.WaitForChange([&] { return client.Changes() > changes || changes > 0; });
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("PEER_OUT") != 0; }));
    MIDIPortConnectSource(client.in, FindSource("PEER_OUT"), nullptr);
    peer->Send({kPlay});

    EXPECT_EQ(client.inbox.WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_F(JackDriverTest, SendsScheduledMessagesToTheSample)
{
    mServer.Start();
    JackPeer peer("PEER");
    TestClient client;
    const MIDIEndpointRef destination = FindDestination("PEER_IN");
    ASSERT_EQ(MIDISend(client.out, destination, Packets{kPlay}), 0);
    ASSERT_EQ(peer.Received().WaitFor(1).size(), 1U);
    const HostTime start = Now() + 100 * kMillisecond;

    for (std::uint8_t piece = 0; piece < 20; ++piece)
        ASSERT_EQ(MIDISend(client.out, destination,
                      Packets().Add({0xF1, piece}, start + piece * 10 * kMillisecond)),
            0);
    ASSERT_EQ(peer.Received().WaitFor(21).size(), 21U);

    const auto frames = peer.Frames();
    // Every 480 frames at 48 kHz; JACK's own estimate of the cycle's time wanders by a few.
    for (std::size_t piece = 1; piece + 1 < frames.size(); ++piece)
        EXPECT_NEAR(static_cast<double>(frames[piece + 1] - frames[piece]), 480.0, 24.0);
    EXPECT_NEAR(static_cast<double>(frames[1]), peer.FrameOf(start), 128.0);
}

TEST_F(JackDriverTest, IsOneClientOfTheServerNamedAfterTheFirstMIDIClient)
{
    mServer.Start();
    TestClient first("First: client");
    TestClient second("Second");
    second.MakeSource("Of the second");
    JackPeer peer("PEER");

    peer.ConnectFrom("First. client:Of the second");
    ASSERT_EQ(MIDIReceived(FindSource("Of the second"), Packets{kPlay}), 0);

    EXPECT_EQ(peer.Received().WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_F(JackDriverTest, GivesAVirtualEndpointTheIDThatOtherProgramsKnowItBy)
{
    TestClient client("Deck");
    const MIDIEndpointRef source = client.MakeSource("MTC");

    EXPECT_EQ(IDOf(source), UniqueID({"jack", Direction::Source, "Deck", "MTC", ""}));
}

TEST_F(JackDriverTest, DoesNotListItsOwnPorts)
{
    mServer.Start();
    JackPeer peer("PEER");
    TestClient client;
    client.MakeSource("Own");

    ASSERT_EQ(MIDIPortConnectSource(client.in, FindSource("PEER_OUT"), nullptr), 0);
    MIDISend(client.out, FindDestination("PEER_IN"), Packets{kPlay});
    ASSERT_EQ(peer.Received().WaitFor(1).size(), 1U);
    JackPeer another("ANOTHER");
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("ANOTHER_OUT") != 0; }));

    EXPECT_EQ(MIDIGetNumberOfSources(), 3U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 2U);
}

} // namespace

} // namespace midiservice::test
