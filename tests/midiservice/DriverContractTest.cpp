// What every driver does the same, tried against another program of its own world.

#include "tests/midiservice/Worlds.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <algorithm>
#include <optional>

namespace midiservice::test {

namespace {

const Bytes kStop{0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7};
const Bytes kLocate{0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x05, 0xF7};
const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
const Bytes kNote{0x90, 0x3C, 0x40};
constexpr HostTime kMillisecond = 1'000'000;

class DriverContract : public testing::TestWithParam<WorldFactory> {
protected:
    void SetUp() override
    {
        std::string whyNot;
        mWorld = GetParam().make(whyNot);
        if (!mWorld)
            GTEST_SKIP() << "driver " << GetParam().name << " not tested: " << whyNot;
        mClient.emplace("Contract");
        mPeer = mWorld->MakePeer("PEER");
        ASSERT_TRUE(mClient->WaitForChange(
            [] { return FindSource("PEER_OUT") && FindDestination("PEER_IN"); }));
        mSource = FindSource("PEER_OUT");
        mDestination = FindDestination("PEER_IN");
    }

    void TearDown() override
    {
        mPeer.reset();
        mClient.reset();
        mWorld.reset();
    }

    void Connect() { ASSERT_EQ(MIDIPortConnectSource(mClient->in, mSource, &mContext), 0); }

    void Send(const Bytes& bytes, HostTime time = 0)
    {
        ASSERT_EQ(MIDISend(mClient->out, mDestination, Packets().Add(bytes, time)), 0);
    }

    // A destination that is used for the first time may take a while to set up.
    void WarmUp()
    {
        Send(kNote);
        ASSERT_EQ(mPeer->Received().WaitFor(1).size(), 1U);
        mPeer->Received().Clear();
    }

    std::unique_ptr<World> mWorld;
    std::optional<TestClient> mClient;
    std::unique_ptr<Peer> mPeer;
    MIDIEndpointRef mSource = 0;
    MIDIEndpointRef mDestination = 0;
    int mContext = 0;
};

TEST_P(DriverContract, SaysWhichDriverItIsAndThatItRuns)
{
    char reason[200];

    EXPECT_STREQ(KorvaMIDIServiceName(), GetParam().name);
    EXPECT_EQ(KorvaMIDIServiceState(reason, sizeof reason), kKorvaMIDIServiceRunning);
    EXPECT_GT(std::strlen(reason), 0U);
}

TEST_P(DriverContract, FindsAnEndpointByItsUniqueID)
{
    for (MIDIEndpointRef endpoint : {mSource, mDestination}) {
        MIDIObjectRef found = 0;
        MIDIObjectType type = kMIDIObjectType_Other;
        const MIDIUniqueID id = IDOf(endpoint);

        EXPECT_NE(id, 0);
        EXPECT_EQ(MIDIObjectFindByUniqueID(id, &found, &type), 0);
        EXPECT_EQ(found, endpoint);
        EXPECT_EQ(type, endpoint == mSource ? kMIDIObjectType_Source : kMIDIObjectType_Destination);
    }
}

TEST_P(DriverContract, HandsWhatThePeerSendsToTheReadCallback)
{
    Connect();

    mPeer->Send({kPlay});

    const auto arrivals = mClient->inbox.WaitForArrivals(1);
    ASSERT_EQ(arrivals.size(), 1U);
    EXPECT_EQ(arrivals[0].bytes, kPlay);
    EXPECT_EQ(arrivals[0].context, &mContext);
    EXPECT_LE(arrivals[0].stamp, arrivals[0].time);
    EXPECT_GT(arrivals[0].stamp + 10 * kNanosPerSecond, arrivals[0].time);
}

TEST_P(DriverContract, HandsSeveralMessagesOfOneMomentOverInOrder)
{
    Connect();

    mPeer->Send({kStop, kLocate});

    EXPECT_EQ(mClient->inbox.WaitForBytes(kStop.size() + kLocate.size()), Join({kStop, kLocate}));
}

TEST_P(DriverContract, SendsToThePeer)
{
    Send(kPlay);

    EXPECT_EQ(mPeer->Received().WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_P(DriverContract, LosesNothingThatIsSentWhileADestinationIsSetUp)
{
    std::vector<Bytes> sent;
    for (std::uint8_t note = 0; note < 100; ++note) {
        sent.push_back({0x90, note, 0x40});
        Send(sent.back());
    }

    EXPECT_EQ(mPeer->Received().WaitFor(sent.size()), sent);
}

TEST_P(DriverContract, SendsSeveralMessagesOfOneCallInOrder)
{
    ASSERT_EQ(MIDISend(mClient->out, mDestination, Packets{kStop, {}, kLocate}), 0);

    EXPECT_EQ(mPeer->Received().WaitFor(2), (std::vector<Bytes>{kStop, kLocate}));
}

TEST_P(DriverContract, LetsThePeerHearAVirtualSource)
{
    const MIDIEndpointRef source = mClient->MakeSource("Own Source");
    mPeer->ConnectFrom("Own Source");

    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);

    EXPECT_EQ(mPeer->Received().WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_P(DriverContract, SendsFromAVirtualSourceAtItsTime)
{
    const MIDIEndpointRef source = mClient->MakeSource("Own Source");
    mPeer->ConnectFrom("Own Source");
    const HostTime due = Now() + 100 * kMillisecond;

    ASSERT_EQ(KorvaMIDIServiceSendFrom(source, Packets().Add(kLocate, due)), 0);
    ASSERT_EQ(KorvaMIDIServiceSendFrom(source, Packets{kStop}), 0);

    const auto arrivals = mPeer->Received().WaitForArrivals(2);
    ASSERT_EQ(arrivals.size(), 2U);
    EXPECT_EQ(arrivals[0].bytes, kStop);
    EXPECT_EQ(arrivals[1].bytes, kLocate);
    EXPECT_GE(arrivals[1].time, due - mWorld->MostEarly());
}

TEST_P(DriverContract, DropsWhatAVirtualSourceHasScheduledWhenItIsFlushed)
{
    const MIDIEndpointRef source = mClient->MakeSource("Own Source");
    const MIDIEndpointRef other = mClient->MakeSource("Other Source");
    mPeer->ConnectFrom("Own Source");
    const HostTime due = Now() + 60 * kMillisecond;

    ASSERT_EQ(KorvaMIDIServiceSendFrom(source, Packets().Add(kLocate, due)), 0);
    ASSERT_EQ(KorvaMIDIServiceFlushSource(source), 0);
    ASSERT_EQ(KorvaMIDIServiceSendFrom(source, Packets().Add(kPlay, due)), 0);
    ASSERT_EQ(KorvaMIDIServiceFlushSource(other), 0);

    EXPECT_EQ(mPeer->Received().WaitFor(1), std::vector<Bytes>{kPlay});
    EXPECT_EQ(KorvaMIDIServiceFlushSource(mDestination), kMIDIUnknownEndpoint);
}

TEST_P(DriverContract, KeepsAHiddenEndpointForItsOwnProcess)
{
    Inbox inbox;
    const MIDIEndpointRef source = mClient->MakeSource("Own Source");
    const MIDIEndpointRef destination = mClient->MakeDestination("Own Destination", inbox);
    ASSERT_EQ(KorvaMIDIServiceHide(source), 0);
    ASSERT_EQ(KorvaMIDIServiceHide(destination), 0);
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, nullptr), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{kStop}), 0);
    ASSERT_EQ(MIDISend(mClient->out, destination, Packets{kPlay}), 0);

    EXPECT_EQ(mClient->inbox.WaitFor(1), std::vector<Bytes>{kStop});
    EXPECT_EQ(inbox.WaitFor(1), std::vector<Bytes>{kPlay});
    EXPECT_NE(KorvaMIDIServiceIsHidden(source), 0);
    EXPECT_EQ(KorvaMIDIServiceIsHidden(mSource), 0);
    EXPECT_EQ(KorvaMIDIServiceHide(0), kMIDIUnknownEndpoint);
    EXPECT_EQ(FindDestination("Own Destination"), destination);
    EXPECT_TRUE(mPeer->SeesNoMore("Own Source"));
    EXPECT_TRUE(mPeer->SeesNoMore("Own Destination"));
}

TEST_P(DriverContract, LetsThePeerSendToAVirtualDestination)
{
    Inbox inbox;
    mClient->MakeDestination("Own Destination", inbox);
    mPeer->ConnectTo("Own Destination");

    mPeer->Send({kPlay});

    EXPECT_EQ(inbox.WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_P(DriverContract, ConnectsItsOwnVirtualEndpointsWithinTheProcess)
{
    Inbox inbox;
    const MIDIEndpointRef source = mClient->MakeSource("Own Source");
    const MIDIEndpointRef destination = mClient->MakeDestination("Own Destination", inbox);
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, nullptr), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{kStop}), 0);
    ASSERT_EQ(MIDISend(mClient->out, destination, Packets{kPlay}), 0);

    EXPECT_EQ(mClient->inbox.WaitFor(1), std::vector<Bytes>{kStop});
    EXPECT_EQ(inbox.WaitFor(1), std::vector<Bytes>{kPlay});
    EXPECT_EQ(FindSource("Own Source"), source);
    EXPECT_EQ(FindDestination("Own Destination"), destination);
}

TEST_P(DriverContract, HandsAShortSysExOverInOnePacketHoweverItWasCutUp)
{
    Connect();
    for (const std::size_t length : {6U, 255U, 256U}) {
        for (const std::size_t chunk : {1U, 5U, 100U, 256U}) {
            mClient->inbox.Clear();
            const Bytes whole = SysEx(length);
            std::vector<Bytes> chunks;
            for (std::size_t start = 0; start < length; start += chunk)
                chunks.emplace_back(whole.begin() + static_cast<std::ptrdiff_t>(start),
                    whole.begin() + static_cast<std::ptrdiff_t>(std::min(start + chunk, length)));

            mPeer->Send(chunks);

            ASSERT_EQ(mClient->inbox.WaitFor(1), std::vector<Bytes>{whole})
                << length << " bytes in chunks of " << chunk;
        }
    }
}

TEST_P(DriverContract, HandsALongSysExOverInSeveralPacketsAndLosesNothing)
{
    Connect();
    for (const std::size_t length : {257U, 512U, 513U, 5000U}) {
        mClient->inbox.Clear();

        mPeer->Send({SysEx(length)});

        EXPECT_EQ(mClient->inbox.WaitForBytes(length), SysEx(length));
        for (const Bytes& packet : mClient->inbox.WaitFor(1))
            EXPECT_LE(packet.size(), 256U);
    }
}

TEST_P(DriverContract, HandsARealTimeByteWithinASysExOverAheadOfIt)
{
    Connect();

    mPeer->Send({{0xF0, 0x7F, 0x7F}, {0xF8}, {0x06, 0x02, 0xF7}});

    EXPECT_EQ(mClient->inbox.WaitFor(2), (std::vector<Bytes>{{0xF8}, kPlay}));
}

TEST_P(DriverContract, EndsASysExAtAnotherMessage)
{
    Connect();

    mPeer->Send({{0xF0, 0x01, 0x02}, kNote, kPlay});

    EXPECT_EQ(mClient->inbox.WaitFor(3), (std::vector<Bytes>{{0xF0, 0x01, 0x02}, kNote, kPlay}));
}

TEST_P(DriverContract, DoesNotMixTheSysExOfTwoSenders)
{
    const auto other = mWorld->MakePeer("OTHER");
    ASSERT_TRUE(mClient->WaitForChange([] { return FindSource("OTHER_OUT") != 0; }));
    Connect();
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, FindSource("OTHER_OUT"), nullptr), 0);

    mPeer->Send({{0xF0, 0x11, 0x12}});
    other->Send({{0xF0, 0x21, 0x22, 0x23, 0xF7}});
    ASSERT_EQ(mClient->inbox.WaitFor(1), (std::vector<Bytes>{{0xF0, 0x21, 0x22, 0x23, 0xF7}}));
    mPeer->Send({{0x13, 0xF7}});

    EXPECT_EQ(mClient->inbox.WaitFor(2)[1], (Bytes{0xF0, 0x11, 0x12, 0x13, 0xF7}));
}

TEST_P(DriverContract, SendsAShortSysExInOnePieceHoweverItWasHandedIn)
{
    MIDIPortRef otherPort = 0;
    ASSERT_EQ(MIDIOutputPortCreate(mClient->client, CFSTR("Other"), &otherPort), 0);

    ASSERT_EQ(MIDISend(mClient->out, mDestination, Packets{{0xF0, 0x7F}, {0x7F}}), 0);
    ASSERT_EQ(MIDISend(otherPort, mDestination, Packets{{0xF0, 0x55}}), 0);
    ASSERT_EQ(MIDISend(otherPort, mDestination, Packets{kNote, kStop}), 0);
    ASSERT_EQ(MIDISend(mClient->out, mDestination, Packets{{0x06, 0x02}, {0xF7}}), 0);

    const auto received = mPeer->Received().WaitFor(4);
    EXPECT_EQ(received, (std::vector<Bytes>{{0xF0, 0x55}, kNote, kStop, kPlay}));
}

TEST_P(DriverContract, SendsALongSysExWithoutLoss)
{
    // More than a port buffer or a pool holds, so it takes several cycles.
    const Bytes whole = SysEx(100'000);
    for (std::size_t start = 0; start < whole.size(); start += 50'000)
        Send(Bytes(whole.begin() + static_cast<std::ptrdiff_t>(start),
            whole.begin() + static_cast<std::ptrdiff_t>(start + 50'000)));

    const Bytes received = mPeer->Received().WaitForBytes(whole.size());

    EXPECT_EQ(received.size(), whole.size());
    EXPECT_TRUE(received == whole);
}

TEST_P(DriverContract, PassesRunningStatusOnWithoutLoss)
{
    Send({0x90, 0x3C, 0x40, 0x3E, 0x41});

    const Bytes expected = mWorld->KeepsRawBytes() ? Bytes{0x90, 0x3C, 0x40, 0x3E, 0x41}
                                                   : Bytes{0x90, 0x3C, 0x40, 0x90, 0x3E, 0x41};
    EXPECT_EQ(mPeer->Received().WaitForBytes(expected.size()), expected);
}

TEST_P(DriverContract, SendsAScheduledMessageAtItsTimeAndALaterOneBeforeItAtOnce)
{
    WarmUp();
    const HostTime due = Now() + 100 * kMillisecond;

    Send(kLocate, due);
    Send(kStop);

    const auto arrivals = mPeer->Received().WaitForArrivals(2);
    ASSERT_EQ(arrivals.size(), 2U);
    EXPECT_EQ(arrivals[0].bytes, kStop);
    EXPECT_EQ(arrivals[1].bytes, kLocate);
    EXPECT_GE(arrivals[1].time, due - mWorld->MostEarly());
}

TEST_P(DriverContract, SendsAMessageWhoseTimeIsPastAtOnce)
{
    WarmUp();

    Send(kPlay, Now() - kNanosPerSecond);
    Send(kStop, 1);

    EXPECT_EQ(mPeer->Received().WaitFor(2), (std::vector<Bytes>{kPlay, kStop}));
}

TEST_P(DriverContract, KeepsTheOrderOfMessagesThatAreDueAtTheSameTime)
{
    WarmUp();
    std::vector<Bytes> notes;
    for (std::uint8_t note = 0; note < 50; ++note)
        notes.push_back({0x90, note, 0x40});
    std::vector<Bytes> expected = notes;
    expected.push_back(kStop);

    // On a machine that is too busy to send them all before their time, what is late goes at once.
    bool isInTime = false;
    for (HostTime margin = 50 * kMillisecond; !isInTime; margin *= 2) {
        mPeer->Received().WaitFor(margin > 50 * kMillisecond ? expected.size() : 0);
        mPeer->Received().Clear();
        const HostTime due = Now() + margin;
        Send(kStop, due + 1);
        for (const Bytes& note : notes)
            Send(note, due);
        isInTime = Now() + margin / 2 < due;
    }

    EXPECT_EQ(mPeer->Received().WaitFor(expected.size()), expected);
}

TEST_P(DriverContract, DropsWhatIsScheduledWhenTheDestinationIsFlushed)
{
    WarmUp();
    KorvaMIDIServiceCounters before{};
    KorvaMIDIServiceGetCounters(&before);
    const HostTime due = Now() + 300 * kMillisecond;

    Send(kLocate, due);
    Send(kStop);
    ASSERT_EQ(MIDIFlushOutput(mDestination), 0);
    Send(kPlay, due);

    // What is due at the same time as the dropped one, and was sent after it, has arrived.
    EXPECT_EQ(mPeer->Received().WaitFor(2), (std::vector<Bytes>{kStop, kPlay}));
    KorvaMIDIServiceCounters after{};
    KorvaMIDIServiceGetCounters(&after);
    EXPECT_EQ(after.flushed - before.flushed, 1U);
}

TEST_P(DriverContract, DropsWhatIsScheduledForAnyDestinationWhenAllAreFlushed)
{
    WarmUp();
    const HostTime due = Now() + 300 * kMillisecond;

    Send(kLocate, due);
    ASSERT_EQ(MIDIFlushOutput(0), 0);
    Send(kPlay, due);

    EXPECT_EQ(mPeer->Received().WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_P(DriverContract, IsSilentAfterASourceIsDisconnected)
{
    Inbox other;
    MIDIPortRef otherPort = 0;
    ASSERT_EQ(
        MIDIInputPortCreate(mClient->client, CFSTR("Other"), &Inbox::Read, &other, &otherPort), 0);
    Connect();
    ASSERT_EQ(MIDIPortConnectSource(otherPort, mSource, nullptr), 0);
    mPeer->Send({kStop});
    ASSERT_EQ(mClient->inbox.WaitFor(1).size(), 1U);
    ASSERT_EQ(other.WaitFor(1).size(), 1U);

    ASSERT_EQ(MIDIPortDisconnectSource(mClient->in, mSource), 0);
    mPeer->Send({kPlay});

    EXPECT_EQ(other.WaitFor(2).size(), 2U);
    EXPECT_EQ(mClient->inbox.Count(), 1U);
}

TEST_P(DriverContract, TellsOfAPeerThatGoesAndGivesItTheSameIDWhenItComesBack)
{
    const MIDIUniqueID sourceID = IDOf(mSource);
    const MIDIUniqueID destinationID = IDOf(mDestination);

    mPeer.reset();
    ASSERT_TRUE(mClient->WaitForChange(
        [] { return !FindSource("PEER_OUT") && !FindDestination("PEER_IN"); }));
    EXPECT_EQ(MIDISend(mClient->out, mDestination, Packets{kPlay}), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIPortConnectSource(mClient->in, mSource, nullptr), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIObjectFindByUniqueID(sourceID, nullptr, nullptr), kMIDIObjectNotFound);
    EXPECT_EQ(IDOf(mSource), 0);

    mPeer = mWorld->MakePeer("PEER");
    ASSERT_TRUE(mClient->WaitForChange(
        [] { return FindSource("PEER_OUT") && FindDestination("PEER_IN"); }));
    EXPECT_EQ(IDOf(FindSource("PEER_OUT")), sourceID);
    EXPECT_EQ(IDOf(FindDestination("PEER_IN")), destinationID);
}

TEST_P(DriverContract, HearsAPeerThatCameBack)
{
    Connect();
    mPeer.reset();
    ASSERT_TRUE(mClient->WaitForChange([] { return !FindSource("PEER_OUT"); }));
    mPeer = mWorld->MakePeer("PEER");
    ASSERT_TRUE(mClient->WaitForChange(
        [] { return FindSource("PEER_OUT") && FindDestination("PEER_IN"); }));
    MIDIPortConnectSource(mClient->in, FindSource("PEER_OUT"), nullptr);

    mPeer->Send({kPlay});
    mDestination = FindDestination("PEER_IN");
    Send(kStop);

    EXPECT_EQ(mClient->inbox.WaitFor(1), std::vector<Bytes>{kPlay});
    EXPECT_EQ(mPeer->Received().WaitFor(1), std::vector<Bytes>{kStop});
}

INSTANTIATE_TEST_SUITE_P(
    Drivers, DriverContract, testing::ValuesIn(Worlds()), [](const auto& world) {
        return std::string(world.param.name);
    });

} // namespace

} // namespace midiservice::test
