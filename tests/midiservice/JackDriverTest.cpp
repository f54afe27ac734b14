#include "tests/midiservice/JackPeer.h"

#include "mediaio/midiservice/src/UniqueID.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <gmock/gmock.h>
#include <jack/jack.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

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
    explicit JackDriverTest(JackServer::Mode mode = JackServer::Mode::Synchronous)
        : mServer(128, mode)
    {
    }

    void SetUp() override
    {
        if (!JackServer::IsInstalled())
            GTEST_SKIP() << "jackd is not installed";
    }

    static bool IsRunning()
    {
        return KorvaMIDIServiceState(nullptr, 0) == kKorvaMIDIServiceRunning;
    }

    static bool WaitUntilRunning()
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (!IsRunning() && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return IsRunning();
    }

    /// Again and again: an asynchronous server drops messages when the machine is busy, and a
    /// connection may be on its way.
    static void SendUntilHeard(Inbox& inbox, const std::function<void()>& send)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (inbox.Count() == 0 && std::chrono::steady_clock::now() < end) {
            send();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ASSERT_GT(inbox.Count(), 0U);
        EXPECT_EQ(inbox.WaitFor(1).front(), kPlay);
    }

    JackServer mServer;
    ScopedService mService{"jack"};
};

/// With a client that sends back what it receives.
class JackLoopTest : public JackDriverTest {
protected:
    JackLoopTest()
        : JackDriverTest(JackServer::Mode::Asynchronous)
    {
    }

    static bool WaitForLoop(TestClient& client)
    {
        return client.WaitForChange(
            [] { return FindSource("LOOP_OUT") != 0 && FindDestination("LOOP_IN") != 0; });
    }

    static void SendAndHear(TestClient& client)
    {
        const MIDIEndpointRef destination = FindDestination("LOOP_IN");
        client.inbox.Clear();
        ASSERT_EQ(MIDIPortConnectSource(client.in, FindSource("LOOP_OUT"), nullptr), 0);
        SendUntilHeard(
            client.inbox, [&] { ASSERT_EQ(MIDISend(client.out, destination, Packets{kPlay}), 0); });
    }
};

TEST_F(JackDriverTest, WaitsForAServerAndSaysSo)
{
    TestClient client;

    EXPECT_FALSE(IsRunning());
    EXPECT_THAT(Reason(), testing::HasSubstr("no JACK server is running"));
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
}

/// Stands where a server's socket is, and hangs up on everybody who calls.
class RefusingServer {
public:
    explicit RefusingServer(const std::string& name)
        : mPath("/dev/shm/jack_" + name + "_" + std::to_string(getuid()) + "_0")
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        mPath.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(mSocket, 5), 0);
        mThread = std::thread([this] {
            for (int caller = 0; (caller = accept(mSocket, nullptr, nullptr)) >= 0;)
                close(caller);
        });
    }
    RefusingServer(const RefusingServer&) = delete;
    RefusingServer& operator=(const RefusingServer&) = delete;
    ~RefusingServer()
    {
        unlink(mPath.c_str());
        shutdown(mSocket, SHUT_RDWR);
        mThread.join();
        close(mSocket);
    }

private:
    std::string mPath;
    int mSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread mThread;
};

TEST_F(JackDriverTest, TriesAgainWhereTheServerRefusesItAndSaysSo)
{
    {
        const RefusingServer refusing(mServer.Name());
        EXPECT_FALSE(IsRunning());
        EXPECT_THAT(Reason(), testing::HasSubstr("the JACK server refuses a client"));
    }
    mServer.Start();

    EXPECT_TRUE(WaitUntilRunning());
}

TEST_F(JackLoopTest, FindsAServerThatStartsLate)
{
    TestClient client;
    mServer.Start();
    const JackLoop loop("LOOP");

    ASSERT_TRUE(WaitForLoop(client));
    EXPECT_TRUE(IsRunning());
    SendAndHear(client);
}

TEST_F(JackDriverTest, ShowsAVirtualEndpointThatWasMadeBeforeTheServerStarted)
{
    TestClient client;
    const MIDIEndpointRef source = client.MakeSource("Early");
    EXPECT_EQ(MIDIReceived(source, Packets{kPlay}), 0) << "nobody hears it, which is no error";
    mServer.Start();
    ASSERT_TRUE(WaitUntilRunning());
    JackPeer peer("LATE");

    peer.ConnectFrom("Early");
    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);

    EXPECT_EQ(peer.Received().WaitFor(1), std::vector<Bytes>{kPlay});
}

/// How a server ends.
class JackServerEnds : public JackLoopTest, public testing::WithParamInterface<bool> {
protected:
    void EndServer() { GetParam() ? mServer.Kill() : mServer.Stop(); }
};

TEST_P(JackServerEnds, SurvivesAndReconnectsWhenItComesBack)
{
    mServer.Start();
    auto loop = std::make_unique<JackLoop>("LOOP");
    TestClient client;
    const MIDIEndpointRef own = client.MakeSource("Own");
    ASSERT_TRUE(WaitForLoop(client));
    const MIDIEndpointRef destination = FindDestination("LOOP_IN");
    const MIDIUniqueID id = IDOf(FindSource("LOOP_OUT"));
    SendAndHear(client);

    EndServer();
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("LOOP_OUT") == 0; }));
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(MIDISend(client.out, destination, Packets{kPlay}), kMIDIUnknownEndpoint);
    EXPECT_EQ(FindSource("Own"), own) << "what is our own stays";
    loop.reset();

    mServer.Start();
    loop = std::make_unique<JackLoop>("LOOP");
    ASSERT_TRUE(WaitForLoop(client));
    EXPECT_TRUE(IsRunning());
    EXPECT_EQ(IDOf(FindSource("LOOP_OUT")), id);
    SendAndHear(client);
    JackPeer peer("PEER");
    peer.ConnectFrom("Own");
    SendUntilHeard(peer.Received(), [&] { ASSERT_EQ(MIDIReceived(own, Packets{kPlay}), 0); });
}

TEST_P(JackServerEnds, IsToldWhereNoEndpointGoesOrComesWithIt)
{
    mServer.Start();
    TestClient client;
    ASSERT_TRUE(client.WaitForChange([] { return IsRunning(); }));

    EndServer();
    EXPECT_TRUE(client.WaitForChange([] { return !IsRunning(); }));

    mServer.Start();
    EXPECT_TRUE(client.WaitForChange([] { return IsRunning(); }));
}

TEST_P(JackServerEnds, SurvivesWhileMessagesFlow)
{
    mServer.Start();
    const JackLoop loop("LOOP");
    TestClient client;
    ASSERT_TRUE(WaitForLoop(client));
    SendAndHear(client);
    const MIDIEndpointRef destination = FindDestination("LOOP_IN");
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        while (MIDISend(client.out, destination, Packets{kPlay}) != kMIDIUnknownEndpoint
            && !isOver.load())
            std::this_thread::yield();
    });

    EndServer();
    EXPECT_TRUE(client.WaitForChange([] { return FindSource("LOOP_OUT") == 0; }));
    isOver.store(true);
    sender.join();

    EXPECT_FALSE(IsRunning());
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
    ASSERT_TRUE(client.WaitForChange([] { return FindSource("PEER_OUT") != 0; }));
    MIDIPortConnectSource(client.in, FindSource("PEER_OUT"), nullptr);

    SendUntilHeard(client.inbox, [&] { peer->Send({kPlay}); });
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

    // One sample is 20.8 microseconds, JACK's clock counts whole ones, and is in step with ours.
    const auto offset = static_cast<std::int64_t>(Now() - jack_get_time() * 1000);
    const auto arrivals = peer.Received().WaitForArrivals(21);
    int exact = 0;
    for (std::size_t piece = 0; piece < 20; ++piece) {
        const auto due = static_cast<std::int64_t>(start + piece * 10 * kMillisecond);
        const auto sample = static_cast<std::int64_t>(arrivals[piece + 1].stamp) + offset;
        EXPECT_GE(sample, due - 30'000) << "never early";
        exact += std::abs(sample - due) <= 30'000 ? 1 : 0;
    }
    // On a busy machine JACK leaves cycles out, and what was due in them comes late.
    EXPECT_GE(exact, 12);
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

// A server takes a name once for each client, whichever way the port goes.
TEST_F(JackDriverTest, KnowsEndpointsOfOneNameByTheNamesThatTheServerGivesThem)
{
    TestClient client("Deck");
    const MIDIEndpointRef first = client.MakeSource("Twin");
    Inbox inbox;
    const MIDIEndpointRef second = client.MakeDestination("Twin", inbox);
    mServer.Start();
    ASSERT_TRUE(WaitUntilRunning());
    const MIDIEndpointRef third = client.MakeSource("Twin");

    EXPECT_EQ(IDOf(first), UniqueID({"jack", Direction::Source, "Deck", "Twin", ""}));
    EXPECT_EQ(IDOf(second), UniqueID({"jack", Direction::Destination, "Deck", "Twin 2", ""}));
    EXPECT_EQ(IDOf(third), UniqueID({"jack", Direction::Source, "Deck", "Twin 3", ""}));
    EXPECT_FALSE(KorvaMIDIServiceIsAmbiguous(third));
    JackPeer peer("PEER");
    peer.ConnectFrom("Deck:Twin 3");
    ASSERT_EQ(MIDIReceived(third, Packets{kPlay}), 0);
    EXPECT_EQ(peer.Received().WaitFor(1), std::vector<Bytes>{kPlay});
    peer.ConnectTo("Deck:Twin 2");
    peer.Send({kPlay});
    EXPECT_EQ(inbox.WaitFor(1), std::vector<Bytes>{kPlay});
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
