// CoreMIDI's C functions, on the built-in service.

#include "tests/midiservice/Worlds.h"

#include "mediaio/midiservice/src/HandleTable.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <atomic>
#include <future>
#include <optional>
#include <set>

namespace midiservice::test {

namespace {

const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
constexpr OSStatus kBadParameter = -50;
constexpr HostTime kMillisecond = 1'000'000;

/// A read callback that waits until it is let go.
class Gate {
public:
    static void Read(const MIDIPacketList* /*packets*/, void* gate, void* /*context*/)
    {
        auto* self = static_cast<Gate*>(gate);
        self->mEntered.fetch_add(1);
        self->mEntered.notify_all();
        while (!self->mIsOpen.load())
            self->mIsOpen.wait(false);
        self->mLeft.fetch_add(1);
    }

    void WaitUntilEntered() const
    {
        while (mEntered.load() == 0)
            mEntered.wait(0);
    }

    void Open()
    {
        mIsOpen.store(true);
        mIsOpen.notify_all();
    }

    int Left() const { return mLeft.load(); }

private:
    std::atomic<int> mEntered{0};
    std::atomic<int> mLeft{0};
    std::atomic<bool> mIsOpen{false};
};

/// A read callback that does something once.
class Doer {
public:
    explicit Doer(std::function<void()> action)
        : mAction(std::move(action))
    {
    }

    static void Read(const MIDIPacketList* /*packets*/, void* doer, void* /*context*/)
    {
        auto* self = static_cast<Doer*>(doer);
        if (self->mCalls.fetch_add(1) == 0)
            self->mAction();
        self->mDone.store(true);
        self->mDone.notify_all();
    }

    void WaitUntilDone() const { mDone.wait(false); }
    int Calls() const { return mCalls.load(); }

private:
    std::function<void()> mAction;
    std::atomic<int> mCalls{0};
    std::atomic<bool> mDone{false};
};

class MIDIServices : public testing::Test {
protected:
    OSStatus SendTo(MIDIEndpointRef destination, const Bytes& bytes, HostTime time = 0)
    {
        return MIDISend(mClient->out, destination, Packets().Add(bytes, time));
    }

    static KorvaMIDIServiceCounters Counters()
    {
        KorvaMIDIServiceCounters counters{};
        KorvaMIDIServiceGetCounters(&counters);
        return counters;
    }

    // From now until the gate is opened nothing is delivered.
    void BlockDelivery(Gate& gate)
    {
        MIDIEndpointRef blocked = 0;
        ASSERT_EQ(
            MIDIDestinationCreate(mClient->client, CFSTR("gate"), &Gate::Read, &gate, &blocked), 0);
        ASSERT_EQ(SendTo(blocked, kPlay), 0);
        gate.WaitUntilEntered();
    }

    // When this has returned, everything sent before has been delivered.
    void Drain()
    {
        Inbox marker;
        const MIDIEndpointRef destination = mClient->MakeDestination("marker", marker);
        ASSERT_EQ(SendTo(destination, {0xFE}), 0);
        ASSERT_EQ(marker.WaitFor(1).size(), 1U);
        ASSERT_EQ(MIDIEndpointDispose(destination), 0);
    }

    ScopedService mService{"builtin"};
    std::optional<TestClient> mClient{"Test"};
    Inbox mInbox;
};

// ------------------------------------------------------------------ refusals

TEST_F(MIDIServices, RefuseNullWhereAResultGoes)
{
    EXPECT_EQ(MIDIClientCreate(CFSTR("x"), nullptr, nullptr, nullptr), kBadParameter);
    EXPECT_EQ(MIDIInputPortCreate(mClient->client, CFSTR("x"), &Inbox::Read, nullptr, nullptr),
        kBadParameter);
    EXPECT_EQ(MIDIOutputPortCreate(mClient->client, CFSTR("x"), nullptr), kBadParameter);
    EXPECT_EQ(MIDISourceCreate(mClient->client, CFSTR("x"), nullptr), kBadParameter);
    EXPECT_EQ(MIDIDestinationCreate(mClient->client, CFSTR("x"), &Inbox::Read, nullptr, nullptr),
        kBadParameter);
    EXPECT_EQ(MIDISend(mClient->out, 0, nullptr), kBadParameter);
    EXPECT_EQ(MIDIReceived(0, nullptr), kBadParameter);
}

TEST_F(MIDIServices, RefuseAnInputWithoutACallback)
{
    MIDIObjectRef made = 0;

    EXPECT_EQ(
        MIDIInputPortCreate(mClient->client, CFSTR("x"), nullptr, nullptr, &made), kBadParameter);
    EXPECT_EQ(
        MIDIDestinationCreate(mClient->client, CFSTR("x"), nullptr, nullptr, &made), kBadParameter);
}

TEST_F(MIDIServices, RefuseHandlesThatAreStaleOrOfAnotherKind)
{
    const MIDIEndpointRef source = mClient->MakeSource("source");
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    const MIDIPortRef in = mClient->in;
    const MIDIPortRef out = mClient->out;
    const MIDIClientRef client = mClient->client;
    MIDIObjectRef made = 0;

    EXPECT_EQ(MIDIPortConnectSource(out, source, nullptr), kMIDIInvalidPort);
    EXPECT_EQ(MIDIPortConnectSource(in, destination, nullptr), kMIDIWrongEndpointType);
    EXPECT_EQ(MIDIPortDisconnectSource(in, source), kMIDINoConnection);
    EXPECT_EQ(MIDISend(in, destination, Packets{kPlay}), kMIDIInvalidPort);
    EXPECT_EQ(MIDISend(out, source, Packets{kPlay}), kMIDIWrongEndpointType);
    EXPECT_EQ(MIDIReceived(destination, Packets{kPlay}), kMIDIWrongEndpointType);
    EXPECT_EQ(MIDIFlushOutput(source), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIClientDispose(in), kMIDIInvalidClient);
    EXPECT_EQ(MIDIPortDispose(client), kMIDIInvalidPort);
    EXPECT_EQ(MIDIEndpointDispose(in), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIOutputPortCreate(in, CFSTR("x"), &made), kMIDIInvalidClient);

    mClient.reset();

    EXPECT_EQ(MIDIClientDispose(client), kMIDIInvalidClient);
    EXPECT_EQ(
        MIDIInputPortCreate(client, CFSTR("x"), &Inbox::Read, nullptr, &made), kMIDIInvalidClient);
    EXPECT_EQ(MIDIOutputPortCreate(client, CFSTR("x"), &made), kMIDIInvalidClient);
    EXPECT_EQ(MIDISourceCreate(client, CFSTR("x"), &made), kMIDIInvalidClient);
    EXPECT_EQ(MIDIDestinationCreate(client, CFSTR("x"), &Inbox::Read, nullptr, &made),
        kMIDIInvalidClient);
    EXPECT_EQ(MIDIPortDispose(in), kMIDIInvalidPort);
    EXPECT_EQ(MIDIPortConnectSource(in, source, nullptr), kMIDIInvalidPort);
    EXPECT_EQ(MIDIPortDisconnectSource(in, source), kMIDIInvalidPort);
    EXPECT_EQ(MIDISend(out, destination, Packets{kPlay}), kMIDIInvalidPort);
    EXPECT_EQ(MIDIReceived(source, Packets{kPlay}), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIFlushOutput(destination), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIEndpointDispose(source), kMIDIUnknownEndpoint);
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 0U);
}

TEST_F(MIDIServices, RefuseNumbersThatAreNoHandles)
{
    SInt32 value = 0;
    for (MIDIObjectRef number : {0U, 1U, 77U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_EQ(MIDIClientDispose(number), kMIDIInvalidClient);
        EXPECT_EQ(MIDIPortDispose(number), kMIDIInvalidPort);
        EXPECT_EQ(MIDIEndpointDispose(number), kMIDIUnknownEndpoint);
        EXPECT_EQ(MIDIReceived(number, Packets{kPlay}), kMIDIUnknownEndpoint);
        EXPECT_EQ(SendTo(number, kPlay), kMIDIUnknownEndpoint);
        EXPECT_EQ(MIDIPortConnectSource(mClient->in, number, nullptr), kMIDIUnknownEndpoint);
        EXPECT_EQ(MIDIObjectGetIntegerProperty(number, kMIDIPropertyUniqueID, &value),
            kMIDIObjectNotFound);
    }
}

TEST_F(MIDIServices, RefuseMoreObjectsThanThereIsRoomForAndRecover)
{
    std::vector<MIDIPortRef> ports;
    MIDIPortRef port = 0;
    OSStatus status = 0;
    while ((status = MIDIOutputPortCreate(mClient->client, CFSTR("x"), &port)) == 0)
        ports.push_back(port);

    EXPECT_EQ(status, -108);
    EXPECT_GT(ports.size(), 8000U);
    EXPECT_EQ(MIDIPortDispose(ports.back()), 0);
    EXPECT_EQ(MIDIOutputPortCreate(mClient->client, CFSTR("x"), &port), 0);
}

// ------------------------------------------------------------------ endpoints

TEST_F(MIDIServices, TellAnEndpointsProperties)
{
    const MIDIEndpointRef source = mClient->MakeSource("S\xC3\xBC\xC3\x9F \xF0\x9D\x84\x9E");
    SInt32 number = 0;
    CFStringRef text = nullptr;

    EXPECT_EQ(DisplayName(source), "S\xC3\xBC\xC3\x9F \xF0\x9D\x84\x9E");
    EXPECT_NE(IDOf(source), 0);
    EXPECT_EQ(
        MIDIObjectGetIntegerProperty(source, kMIDIPropertyName, &number), kMIDIWrongPropertyType);
    EXPECT_EQ(
        MIDIObjectGetStringProperty(source, kMIDIPropertyUniqueID, &text), kMIDIWrongPropertyType);
    EXPECT_EQ(MIDIObjectGetIntegerProperty(source, CFSTR("colour"), &number), kMIDIUnknownProperty);
    EXPECT_EQ(MIDIObjectGetStringProperty(source, CFSTR("colour"), &text), kMIDIUnknownProperty);
    EXPECT_EQ(text, nullptr);
}

TEST_F(MIDIServices, TellTheNamesOfClientsAndPorts)
{
    CFStringRef name = nullptr;
    SInt32 number = 0;

    ASSERT_EQ(MIDIObjectGetStringProperty(mClient->in, kMIDIPropertyName, &name), 0);
    EXPECT_EQ(ToUTF8(name), "Input port");
    CFRelease(name);
    ASSERT_EQ(MIDIObjectGetStringProperty(mClient->client, kMIDIPropertyName, &name), 0);
    EXPECT_EQ(ToUTF8(name), "Test");
    CFRelease(name);
    EXPECT_EQ(MIDIObjectGetIntegerProperty(mClient->client, kMIDIPropertyUniqueID, &number),
        kMIDIUnknownProperty);
}

TEST_F(MIDIServices, ListEndpointsByIndex)
{
    const MIDIEndpointRef first = mClient->MakeSource("first");
    const MIDIEndpointRef second = mClient->MakeSource("second");
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);

    EXPECT_EQ(MIDIGetNumberOfSources(), 2U);
    EXPECT_EQ(MIDIGetSource(0), first);
    EXPECT_EQ(MIDIGetSource(1), second);
    EXPECT_EQ(MIDIGetSource(2), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 1U);
    EXPECT_EQ(MIDIGetDestination(0), destination);
    EXPECT_EQ(MIDIGetDestination(~ItemCount{0}), 0U);
}

TEST_F(MIDIServices, FindNothingByAnIDThatNobodyHas)
{
    MIDIObjectRef object = 5;
    MIDIObjectType type = kMIDIObjectType_Other;

    EXPECT_EQ(MIDIObjectFindByUniqueID(0, &object, &type), kMIDIObjectNotFound);
    EXPECT_EQ(MIDIObjectFindByUniqueID(12345, &object, &type), kMIDIObjectNotFound);
    EXPECT_EQ(object, 5U);
    EXPECT_EQ(type, kMIDIObjectType_Other);
}

TEST_F(MIDIServices, GiveAnEndpointThatIsMadeAgainTheSameID)
{
    const MIDIEndpointRef first = mClient->MakeSource("source");
    const MIDIUniqueID id = IDOf(first);
    ASSERT_EQ(MIDIEndpointDispose(first), 0);

    const MIDIEndpointRef second = mClient->MakeSource("source");

    EXPECT_NE(second, first);
    EXPECT_EQ(IDOf(second), id);
    EXPECT_EQ(IDOf(first), 0);
    EXPECT_NE(IDOf(mClient->MakeDestination("source", mInbox)), id);
}

TEST_F(MIDIServices, TellEndpointsOfOneNameApartAndSayThatTheyAreAmbiguous)
{
    const MIDIEndpointRef first = mClient->MakeSource("twin");
    const MIDIUniqueID firstID = IDOf(first);
    EXPECT_FALSE(KorvaMIDIServiceIsAmbiguous(first));

    const MIDIEndpointRef second = mClient->MakeSource("twin");
    const MIDIUniqueID secondID = IDOf(second);
    EXPECT_EQ(IDOf(first), firstID);
    EXPECT_NE(secondID, firstID);
    EXPECT_TRUE(KorvaMIDIServiceIsAmbiguous(first));
    EXPECT_TRUE(KorvaMIDIServiceIsAmbiguous(second));

    ASSERT_EQ(MIDIEndpointDispose(first), 0);
    EXPECT_EQ(IDOf(second), secondID);
    EXPECT_TRUE(KorvaMIDIServiceIsAmbiguous(second)) << "the next program would call it first";
    EXPECT_EQ(IDOf(mClient->MakeSource("twin")), firstID);
    EXPECT_FALSE(KorvaMIDIServiceIsAmbiguous(mClient->MakeSource("other")));
}

TEST_F(MIDIServices, TellClientsOfEndpointsButNotOfWhatWasBeforeThem)
{
    const MIDIEndpointRef source = mClient->MakeSource("source");
    ASSERT_TRUE(mClient->WaitForChange([&] { return mClient->Changes() == 1; }));

    TestClient later("later");
    ASSERT_EQ(MIDIEndpointDispose(source), 0);

    ASSERT_TRUE(later.WaitForChange([&] { return later.Changes() == 1; }));
    ASSERT_TRUE(mClient->WaitForChange([&] { return mClient->Changes() == 2; }));
    EXPECT_EQ(later.Changes(), 1);
}

// ------------------------------------------------------------------ messages

TEST_F(MIDIServices, CallAllReadCallbacksOnOneThreadOfItsOwn)
{
    const MIDIEndpointRef source = mClient->MakeSource("source");
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, nullptr), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);
    ASSERT_EQ(SendTo(destination, kPlay), 0);

    const auto heard = mClient->inbox.WaitForArrivals(1);
    const auto sent = mInbox.WaitForArrivals(1);
    ASSERT_EQ(heard.size(), 1U);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(heard[0].thread, sent[0].thread);
    EXPECT_NE(heard[0].thread, std::this_thread::get_id());
}

TEST_F(MIDIServices, DeliverASourceToEveryPortThatIsConnected)
{
    TestClient other("other");
    const MIDIEndpointRef source = mClient->MakeSource("source");
    int first = 0;
    int second = 0;
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, &first), 0);
    ASSERT_EQ(MIDIPortConnectSource(other.in, source, &second), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);

    EXPECT_EQ(mClient->inbox.WaitForArrivals(1).at(0).context, &first);
    EXPECT_EQ(other.inbox.WaitForArrivals(1).at(0).context, &second);
}

TEST_F(MIDIServices, ReplaceTheContextOfASourceThatIsConnectedTwice)
{
    const MIDIEndpointRef source = mClient->MakeSource("source");
    int first = 0;
    int second = 0;
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, &first), 0);
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, &second), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);
    Drain();

    const auto arrivals = mClient->inbox.WaitForArrivals(1);
    ASSERT_EQ(arrivals.size(), 1U);
    EXPECT_EQ(arrivals[0].context, &second);
    EXPECT_EQ(MIDIPortDisconnectSource(mClient->in, source), 0);
    EXPECT_EQ(MIDIPortDisconnectSource(mClient->in, source), kMIDINoConnection);
}

TEST_F(MIDIServices, PassEmptyPacketsAndListsOver)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);

    EXPECT_EQ(MIDISend(mClient->out, destination, Packets{}), 0);
    EXPECT_EQ(MIDISend(mClient->out, destination, Packets{{}, {}}), 0);
    EXPECT_EQ(MIDISend(mClient->out, destination, Packets{{}, kPlay, {}}), 0);
    Drain();

    EXPECT_EQ(mInbox.WaitFor(1), std::vector<Bytes>{kPlay});
}

TEST_F(MIDIServices, DeliverWhatASourceSendsAtOnceAndKeepItsStamp)
{
    const MIDIEndpointRef source = mClient->MakeSource("source");
    ASSERT_EQ(MIDIPortConnectSource(mClient->in, source, nullptr), 0);
    const HostTime future = Now() + 3600 * kNanosPerSecond;

    ASSERT_EQ(MIDIReceived(source, Packets().Add(kPlay, future).Add(kPlay, 1).Add(kPlay)), 0);

    const auto arrivals = mClient->inbox.WaitForArrivals(3);
    ASSERT_EQ(arrivals.size(), 3U);
    EXPECT_EQ(arrivals[0].stamp, future);
    EXPECT_EQ(arrivals[1].stamp, 1U);
    EXPECT_LE(arrivals[2].stamp, arrivals[2].time);
    EXPECT_GT(arrivals[2].stamp, 1U);
}

TEST_F(MIDIServices, SendAtTheTimeAskedForAndNotBefore)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    const HostTime due = Now() + 30 * kMillisecond;

    ASSERT_EQ(SendTo(destination, kPlay, due), 0);

    const auto arrivals = mInbox.WaitForArrivals(1);
    ASSERT_EQ(arrivals.size(), 1U);
    EXPECT_GE(arrivals[0].time, due);
    EXPECT_EQ(arrivals[0].stamp, due);
}

TEST_F(MIDIServices, FlushOneDestinationAndNoOther)
{
    Inbox otherInbox;
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    const MIDIEndpointRef other = mClient->MakeDestination("other", otherInbox);
    const HostTime due = Now() + 30 * kMillisecond;
    ASSERT_EQ(SendTo(destination, kPlay, due), 0);
    ASSERT_EQ(SendTo(other, kPlay, due), 0);

    ASSERT_EQ(MIDIFlushOutput(destination), 0);

    EXPECT_EQ(otherInbox.WaitFor(1).size(), 1U);
    EXPECT_EQ(mInbox.Count(), 0U);
    EXPECT_EQ(Counters().flushed, 1U);
}

TEST_F(MIDIServices, CutALongPacketBetweenItsMessages)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    Bytes notes{0xFA};
    for (std::uint8_t note = 0; note < 120; ++note)
        notes.insert(notes.end(), {0x90, note, 0x40});

    ASSERT_EQ(SendTo(destination, notes), 0);

    EXPECT_EQ(mInbox.WaitForBytes(notes.size()), notes);
    for (const Bytes& packet : mInbox.WaitFor(1)) {
        EXPECT_LE(packet.size(), 256U);
        EXPECT_GE(packet.front(), 0x80);
    }
}

TEST_F(MIDIServices, TakeAPacketOf65535Bytes)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);

    ASSERT_EQ(SendTo(destination, SysEx(65'535)), 0);

    EXPECT_TRUE(mInbox.WaitForBytes(65'535) == SysEx(65'535));
    EXPECT_EQ(Counters().sysExSplit, 1U);
}

TEST_F(MIDIServices, KeepTheSysExOfPortsAndSourcesApart)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    MIDIPortRef other = 0;
    ASSERT_EQ(MIDIOutputPortCreate(mClient->client, CFSTR("other"), &other), 0);

    ASSERT_EQ(SendTo(destination, {0xF0, 0x11}), 0);
    ASSERT_EQ(MIDISend(other, destination, Packets{{0xF0, 0x21}, {0x22, 0xF7}}), 0);
    ASSERT_EQ(SendTo(destination, {0x12, 0xF7}), 0);

    EXPECT_EQ(mInbox.WaitFor(2),
        (std::vector<Bytes>{{0xF0, 0x21, 0x22, 0xF7}, {0xF0, 0x11, 0x12, 0xF7}}));
}

TEST_F(MIDIServices, RefuseToSendWhenTheQueueIsFullAndLoseNothingThatWasTaken)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    Gate gate;
    BlockDelivery(gate);

    std::size_t taken = 0;
    OSStatus status = 0;
    while ((status = SendTo(destination, kPlay)) == 0)
        ++taken;
    EXPECT_EQ(status, kMIDIMessageSendErr);
    EXPECT_EQ(Counters().dropped, 1U);
    EXPECT_GT(taken, 4000U);
    gate.Open();

    EXPECT_EQ(mInbox.WaitFor(taken).size(), taken);
    Drain();
    EXPECT_EQ(mInbox.Count(), taken);
}

TEST_F(MIDIServices, TakeAllPacketsOfACallOrNone)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    Gate gate;
    BlockDelivery(gate);

    std::size_t taken = 0;
    while (
        MIDISend(mClient->out, destination, Packets{{0x01}, {0x02}, {0x03}, {0x04}, {0x05}}) == 0)
        taken += 5;
    gate.Open();

    EXPECT_EQ(mInbox.WaitForBytes(taken).size(), taken);
    Drain();
    EXPECT_EQ(mInbox.WaitForBytes(taken).size(), taken);
}

TEST_F(MIDIServices, DropWhatIsOnItsWayToADestinationThatGoes)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    ASSERT_EQ(SendTo(destination, kPlay, Now() + 20 * kMillisecond), 0);
    Inbox later;
    const MIDIEndpointRef other = mClient->MakeDestination("later", later);
    ASSERT_EQ(SendTo(other, kPlay, Now() + 30 * kMillisecond), 0);

    ASSERT_EQ(MIDIEndpointDispose(destination), 0);

    EXPECT_EQ(later.WaitFor(1).size(), 1U);
    EXPECT_EQ(mInbox.Count(), 0U);
    EXPECT_EQ(Counters().refused, 1U);
}

// ------------------------------------------------------------------ the end of a callback

/// The four ways in which a callback may lose what it is called for.
struct Ending {
    const char* name;
    OSStatus (*end)(MIDIClientRef client, MIDIPortRef port, MIDIEndpointRef source);
};

class MIDIServicesEnd : public MIDIServices, public testing::WithParamInterface<Ending> {
protected:
    template <typename Reader> void Listen(Reader& reader)
    {
        ASSERT_EQ(MIDIClientCreate(CFSTR("reader"), nullptr, nullptr, &mReader), 0);
        ASSERT_EQ(MIDIInputPortCreate(mReader, CFSTR("port"), &Reader::Read, &reader, &mPort), 0);
        ASSERT_EQ(MIDISourceCreate(mReader, CFSTR("source"), &mSource), 0);
        ASSERT_EQ(MIDIPortConnectSource(mPort, mSource, nullptr), 0);
    }

    OSStatus End() const { return GetParam().end(mReader, mPort, mSource); }

    MIDIClientRef mReader = 0;
    MIDIPortRef mPort = 0;
    MIDIEndpointRef mSource = 0;
};

TEST_P(MIDIServicesEnd, WaitsForACallbackUnderWay)
{
    Gate gate;
    Listen(gate);
    ASSERT_EQ(MIDIReceived(mSource, Packets{kPlay}), 0);
    gate.WaitUntilEntered();

    auto leftAtReturn = std::async(std::launch::async, [&] {
        EXPECT_EQ(End(), 0);
        return gate.Left();
    });
    EXPECT_EQ(leftAtReturn.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    gate.Open();

    EXPECT_EQ(leftAtReturn.get(), 1);
}

TEST_P(MIDIServicesEnd, IsNoDeadlockFromWithinTheCallbackAndSilentAfterwards)
{
    std::optional<OSStatus> status;
    Doer doer([&] { status = End(); });
    Listen(doer);

    ASSERT_EQ(MIDIReceived(mSource, Packets{kPlay, kPlay, kPlay}), 0);
    doer.WaitUntilDone();
    Drain();

    EXPECT_EQ(status, 0);
    EXPECT_EQ(doer.Calls(), 1);
}

INSTANTIATE_TEST_SUITE_P(Ways,
    MIDIServicesEnd,
    testing::Values(Ending{"DisconnectSource",
                        [](MIDIClientRef, MIDIPortRef port, MIDIEndpointRef source) {
                            return MIDIPortDisconnectSource(port, source);
                        }},
        Ending{"PortDispose",
            [](MIDIClientRef, MIDIPortRef port, MIDIEndpointRef) { return MIDIPortDispose(port); }},
        Ending{"EndpointDispose",
            [](MIDIClientRef, MIDIPortRef, MIDIEndpointRef source) {
                return MIDIEndpointDispose(source);
            }},
        Ending{"ClientDispose",
            [](MIDIClientRef client, MIDIPortRef, MIDIEndpointRef) {
                return MIDIClientDispose(client);
            }}),
    [](const auto& ending) { return std::string(ending.param.name); });

TEST_F(MIDIServices, WaitForAVirtualDestinationsCallbackWhenItIsDisposedOf)
{
    Gate gate;
    MIDIEndpointRef destination = 0;
    ASSERT_EQ(
        MIDIDestinationCreate(mClient->client, CFSTR("gate"), &Gate::Read, &gate, &destination), 0);
    ASSERT_EQ(SendTo(destination, kPlay), 0);
    gate.WaitUntilEntered();

    auto leftAtReturn = std::async(std::launch::async, [&] {
        EXPECT_EQ(MIDIEndpointDispose(destination), 0);
        return gate.Left();
    });
    EXPECT_EQ(leftAtReturn.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    gate.Open();

    EXPECT_EQ(leftAtReturn.get(), 1);
}

TEST_F(MIDIServices, SilenceOtherConnectionsThatACallbackEnds)
{
    Inbox inbox;
    const MIDIEndpointRef source = mClient->MakeSource("source");
    MIDIPortRef first = 0;
    MIDIPortRef second = 0;
    Doer doer([&] { MIDIPortDispose(second); });
    ASSERT_EQ(MIDIInputPortCreate(mClient->client, CFSTR("first"), &Doer::Read, &doer, &first), 0);
    ASSERT_EQ(
        MIDIInputPortCreate(mClient->client, CFSTR("second"), &Inbox::Read, &inbox, &second), 0);
    ASSERT_EQ(MIDIPortConnectSource(first, source, nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(second, source, nullptr), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{kPlay}), 0);
    doer.WaitUntilDone();
    Drain();

    EXPECT_EQ(inbox.Count(), 0U);
}

TEST_F(MIDIServices, LetACallbackSend)
{
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    const MIDIEndpointRef source = mClient->MakeSource("source");
    MIDIPortRef port = 0;
    Doer doer([&] { EXPECT_EQ(SendTo(destination, kPlay), 0); });
    ASSERT_EQ(MIDIInputPortCreate(mClient->client, CFSTR("port"), &Doer::Read, &doer, &port), 0);
    ASSERT_EQ(MIDIPortConnectSource(port, source, nullptr), 0);

    ASSERT_EQ(MIDIReceived(source, Packets{{0xFE}}), 0);

    EXPECT_EQ(mInbox.WaitFor(1), std::vector<Bytes>{kPlay});
}

// ------------------------------------------------------------------ many threads

TEST_F(MIDIServices, KeepTheOrderOfEachOfManySenders)
{
    constexpr std::uint8_t kSenders = 4;
    constexpr int kRounds = 2000;
    const MIDIEndpointRef destination = mClient->MakeDestination("destination", mInbox);
    std::vector<std::thread> threads;
    for (std::uint8_t sender = 0; sender < kSenders; ++sender)
        threads.emplace_back([&, sender] {
            MIDIPortRef port = 0;
            MIDIOutputPortCreate(mClient->client, CFSTR("sender"), &port);
            for (int round = 0; round < kRounds; ++round) {
                const auto high = static_cast<std::uint8_t>(round / 128);
                const auto low = static_cast<std::uint8_t>(round % 128);
                // In two calls, so that an unfair receiver would mix the senders' bytes.
                while (MIDISend(port, destination, Packets{{0xF0, sender}}) != 0)
                    std::this_thread::yield();
                while (MIDISend(port, destination, Packets{{high, low, 0xF7}}) != 0)
                    std::this_thread::yield();
            }
        });
    const auto received = mInbox.WaitFor(kSenders * kRounds);
    for (std::thread& thread : threads)
        thread.join();

    ASSERT_EQ(received.size(), static_cast<std::size_t>(kSenders * kRounds));
    std::array<int, kSenders> next{};
    for (const Bytes& message : received) {
        ASSERT_EQ(message.size(), 5U);
        const int round = message[2] * 128 + message[3];
        EXPECT_EQ(round, next.at(message[1])++);
    }
}

TEST_F(MIDIServices, SurviveClientsThatComeAndGoWhileMessagesAndChangesFlow)
{
    const MIDIEndpointRef source = mClient->MakeSource("source");
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        while (!isOver.load()) {
            MIDIReceived(source, Packets{kPlay});
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number)
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                TestClient client("guest");
                EXPECT_EQ(MIDIPortConnectSource(client.in, source, nullptr), 0);
                const MIDIEndpointRef own = client.MakeSource("own");
                MIDIReceived(own, Packets{kPlay});
                MIDISend(client.out, own, Packets{kPlay});
                if (round % 2 == 0) {
                    EXPECT_EQ(MIDIPortDisconnectSource(client.in, source), 0);
                }
                if (round % 3 == 0) {
                    EXPECT_EQ(MIDIEndpointDispose(own), 0);
                }
                MIDIGetNumberOfSources();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    isOver.store(true);
    sender.join();

    EXPECT_EQ(MIDIGetNumberOfSources(), 1U);
}

} // namespace

} // namespace midiservice::test
