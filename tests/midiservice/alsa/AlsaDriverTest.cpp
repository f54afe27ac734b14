// The service on a real sequencer, with independent programs at the other end.

#include "mediaio/midiservice/src/alsa/AlsaDriver.h"
#include "mediaio/midiservice/src/alsa/Sequencer.h"
#include "tests/midiservice/alsa/Studio.h"

#include <algorithm>
#include <thread>

namespace midiservice::alsa {
namespace {

using std::chrono::milliseconds;

// The kernel's virtual card: what amidi writes to hw:0,2 comes from its third port.
const std::string kCardPort = "VirMIDI 0-2";
const std::string kCardDevice = "hw:0,2";

void WriteToCard(const Bytes& bytes)
{
    const File file(bytes);
    Shell("amidi -p " + kCardDevice + " -s " + file.Path());
}

class AlsaDriverTest : public SequencerTest {};

TEST_F(AlsaDriverTest, ShowsClientAndPortsToOtherPrograms)
{
    const Host host("Korva.ControlSurface.MMC");
    const std::string list = Output("aconnect -l");

    const std::size_t client = list.find("'Korva.ControlSurface.MMC' [type=user");
    ASSERT_NE(client, std::string::npos) << list;
    EXPECT_NE(list.find("'Input port", client), std::string::npos) << list;
    EXPECT_NE(list.find("'Output port", client), std::string::npos) << list;
    EXPECT_NE(Output("aconnect -o").find("'Input port"), std::string::npos);
    EXPECT_NE(Output("aconnect -i").find("'Output port"), std::string::npos);
}

TEST_F(AlsaDriverTest, LeavesNothingBehind)
{
    {
        const Host host("Korva.Gone");
    }

    EXPECT_EQ(Output("aconnect -l").find("Korva.Gone"), std::string::npos);
}

TEST_F(AlsaDriverTest, RemovesADisposedClientWhileTheServiceRuns)
{
    Host host;
    MIDIClientRef other = 0;
    MIDIPortRef port = 0;
    host.service.CreateClient("Korva.Dialog", nullptr, nullptr, other);
    host.service.CreateOutputPort(other, "Output port", port);
    ASSERT_NE(Output("aconnect -l").find("Korva.Dialog"), std::string::npos);

    host.service.DisposeClient(other);

    EXPECT_TRUE(
        Eventually([] { return Output("aconnect -l").find("Korva.Dialog") == std::string::npos; }));
}

TEST_F(AlsaDriverTest, DoesNotListThePrivatePortsOfAnotherProcess)
{
    Host first("Korva.First");
    Host second("Korva.Second");

    EXPECT_FALSE(first.Find(Direction::Source, "Korva.Second"));
    EXPECT_FALSE(first.Find(Direction::Destination, "Korva.Second"));
    EXPECT_FALSE(first.Find(Direction::Source, "Korva.First"));
}

TEST_F(AlsaDriverTest, ReceivesWhatAmidiWrites)
{
    Inbox inbox;
    Host host;
    ASSERT_TRUE(host.Connect(host.Expect(Direction::Source, kCardPort).ref, inbox));

    WriteToCard(kPlay);

    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{kPlay});
}

TEST_F(AlsaDriverTest, ReceivesNothingAfterDisconnecting)
{
    Inbox silent;
    Inbox inbox;
    Host host;
    const MIDIEndpointRef source = host.Expect(Direction::Source, kCardPort).ref;
    host.Connect(source, silent);
    host.service.DisconnectSource(host.input, source);
    WriteToCard(kPlay);
    host.Connect(source, inbox);

    WriteToCard(kStop);

    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{kStop});
    EXPECT_TRUE(silent.All().empty());
}

// The ports of a client are its own ends of what it has chosen; endpoints are for others.
TEST_F(AlsaDriverTest, PaysNoHeedToAConnectionThatAPatchbayMakesToItsInputPort)
{
    Inbox silent;
    Inbox inbox;
    Host patched("Korva.Patched");
    ASSERT_TRUE(patched.Connect(patched.Expect(Direction::Source, "Midi Through").ref, silent));
    ASSERT_EQ(Output("aconnect 18:0 Korva.Patched:0"), ""); // the client of VirMIDI 0-2
    ASSERT_NE(Output("aconnect -l | grep -A 2 \"'VirMIDI 0-2\"").find("Connecting To: "),
        std::string::npos);
    Host host;
    host.Connect(host.Expect(Direction::Source, kCardPort).ref, inbox);

    WriteToCard(kPlay);
    ASSERT_TRUE(inbox.WaitFor(1));
    patched.Send(patched.Expect(Direction::Destination, "Midi Through").ref, kStop);

    ASSERT_TRUE(silent.WaitFor(1));
    EXPECT_EQ(silent.All(), std::vector<Bytes>{kStop});
}

TEST_F(AlsaDriverTest, RepeatsTheStatusByteOfEveryMessage)
{
    Inbox inbox;
    Host host;
    host.Connect(host.Expect(Direction::Source, kCardPort).ref, inbox);

    WriteToCard({0x90, 0x3C, 0x40, 0x3E, 0x41}); // running status

    ASSERT_TRUE(inbox.WaitFor(2));
    EXPECT_EQ(inbox.Joined(), (Bytes{0x90, 0x3C, 0x40, 0x90, 0x3E, 0x41}));
}

TEST_F(AlsaDriverTest, DeliversAShortSysExInOnePacket)
{
    Inbox inbox;
    Host host;
    host.Connect(host.Expect(Direction::Source, kCardPort).ref, inbox);

    WriteToCard(LongSysEx(256));

    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{LongSysEx(256)});
}

TEST_F(AlsaDriverTest, DeliversALongSysExInSeveralPacketsAndWhole)
{
    Inbox inbox;
    Host host;
    host.Connect(host.Expect(Direction::Source, kCardPort).ref, inbox);

    WriteToCard(LongSysEx(2000));
    WriteToCard(kPlay);

    ASSERT_TRUE(inbox.WaitFor(9));
    const std::vector<Bytes> packets = inbox.All();
    EXPECT_EQ(packets.back(), kPlay);
    for (const Bytes& packet : packets)
        EXPECT_LE(packet.size(), 256U);
    Bytes expected = LongSysEx(2000);
    expected.insert(expected.end(), kPlay.begin(), kPlay.end());
    EXPECT_EQ(inbox.Joined(), expected);
}

TEST_F(AlsaDriverTest, KeepsRealTimeBytesOutOfAShortSysEx)
{
    Inbox inbox;
    Host host;
    host.Connect(host.Expect(Direction::Source, kCardPort).ref, inbox);

    WriteToCard({0xF0, 0x7F, 0x7F, 0xF8, 0x06, 0x02, 0xFE, 0xF7});

    ASSERT_TRUE(inbox.WaitFor(3));
    EXPECT_EQ(inbox.All(), (std::vector<Bytes>{{0xF8}, {0xFE}, kPlay}));
}

TEST_F(AlsaDriverTest, SendsToAnotherProgram)
{
    Program reader("exec aseqdump");
    Host host;
    const MIDIEndpointRef destination = host.Expect(Direction::Destination, "aseqdump").ref;

    ASSERT_EQ(host.Send(destination, kPlay), kNoError);
    ASSERT_EQ(host.Send(destination, {0xF1, 0x35}), kNoError);

    EXPECT_TRUE(reader.HasWritten("F0 7F 7F 06 02 F7")) << reader.Written();
    EXPECT_TRUE(reader.HasWritten("MTC quarter frame")) << reader.Written();
}

TEST_F(AlsaDriverTest, SendsToTheHardware)
{
    Host host;
    const MIDIEndpointRef destination = host.Expect(Direction::Destination, kCardPort).ref;
    Program reader("exec amidi -d -p " + kCardDevice);
    // amidi tells nobody that it is ready; what it misses is sent again.
    EXPECT_TRUE(Eventually([&] {
        host.Send(destination, kStop);
        std::this_thread::sleep_for(milliseconds(50));
        return reader.HasDumped(kStop);
    }));
    const Bytes sent = LongSysEx(1000);

    host.Send(destination, sent);
    host.Send(destination, {0xF1, 0x77});

    EXPECT_TRUE(Eventually([&] { return reader.HasDumped({0xF1, 0x77}); })) << reader.Written();
    EXPECT_TRUE(reader.HasDumped(sent)) << reader.Written();
}

TEST_F(AlsaDriverTest, PublishesAVirtualSource)
{
    Host host("Korva deck");
    MIDIEndpointRef source = 0;
    host.service.CreateVirtualSource(host.client, "Deck out", source);
    Program reader("exec aseqdump -p 'Korva deck:2'");
    ASSERT_TRUE(Eventually([] {
        const std::string list = Output("aconnect -l");
        return list.find("Connecting To: ", list.find("'Deck out")) != std::string::npos;
    }));

    ASSERT_EQ(host.SendFrom(source, {0x90, 0x3C, 0x40}), kNoError);

    EXPECT_TRUE(reader.HasWritten("Note on")) << reader.Written();
}

TEST_F(AlsaDriverTest, PublishesAVirtualDestination)
{
    Inbox inbox;
    Host host("Korva deck");
    MIDIEndpointRef destination = 0;
    host.service.CreateVirtualDestination(
        host.client, "Deck in", &Inbox::Receive, &inbox, destination);
    // A standard MIDI file: one note on, one note off.
    const File song({'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 96, //
        'M', 'T', 'r', 'k', 0, 0, 0, 12,                                //
        0, 0x90, 0x3C, 0x40, 1, 0x80, 0x3C, 0x00, 0, 0xFF, 0x2F, 0});

    Shell("aplaymidi -p 'Korva deck:2' " + song.Path());

    ASSERT_TRUE(inbox.WaitFor(2));
    const std::vector<Bytes> packets = inbox.All();
    EXPECT_EQ(packets[0], (Bytes{0x90, 0x3C, 0x40}));
    EXPECT_EQ(packets[1], (Bytes{0x80, 0x3C, 0x00}));
}

/// A program that sends events as they are, SysEx in parts included.
class RawSender {
public:
    explicit RawSender(const std::string& name)
        : mSequencer(Sequencer::Open(name, mError))
        , mPort(mSequencer->CreatePort("Out", SND_SEQ_PORT_CAP_READ, 0))
    {
    }

    int Send(const std::string& to, Bytes bytes)
    {
        snd_seq_addr_t address{};
        snd_seq_parse_address(mSequencer->Handle(), &address, to.c_str());
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        snd_seq_ev_set_direct(&event);
        snd_seq_ev_set_source(&event, static_cast<unsigned char>(mPort));
        snd_seq_ev_set_dest(&event, address.client, address.port);
        snd_seq_ev_set_sysex(&event, static_cast<unsigned>(bytes.size()), bytes.data());
        return mSequencer->TryWrite(event);
    }

private:
    int mError = 0;
    std::unique_ptr<Sequencer> mSequencer;
    int mPort;
};

TEST_F(AlsaDriverTest, DoesNotMixTheSysExOfTwoProgramsAtAVirtualDestination)
{
    Inbox inbox;
    Host host("Korva deck");
    MIDIEndpointRef destination = 0;
    host.service.CreateVirtualDestination(
        host.client, "Deck in", &Inbox::Receive, &inbox, destination);
    RawSender first("First");
    RawSender second("Second");

    ASSERT_EQ(first.Send("Korva deck:2", {0xF0, 0x11, 0x12}), 0);
    ASSERT_EQ(second.Send("Korva deck:2", {0xF0, 0x21, 0x22, 0xF7}), 0);
    ASSERT_EQ(first.Send("Korva deck:2", {0x13, 0xF7}), 0);

    ASSERT_TRUE(inbox.WaitFor(2));
    EXPECT_EQ(inbox.All(),
        (std::vector<Bytes>{{0xF0, 0x21, 0x22, 0xF7}, {0xF0, 0x11, 0x12, 0x13, 0xF7}}));
}

TEST_F(AlsaDriverTest, IsHeardByAnotherProcessUnderTheSameID)
{
    Inbox inbox;
    Host publisher("Korva deck");
    Host other("Korva other");
    MIDIEndpointRef source = 0;
    publisher.service.CreateVirtualSource(publisher.client, "Deck out", source);

    const Host::Endpoint seen = other.Expect(Direction::Source, "Deck out");
    ASSERT_TRUE(other.Connect(seen.ref, inbox));
    publisher.SendFrom(source, LongSysEx(700));

    ASSERT_TRUE(inbox.WaitFor(3));
    EXPECT_EQ(inbox.Joined(), LongSysEx(700));
    EndpointInfo own;
    ASSERT_TRUE(publisher.service.GetEndpointInfo(source, own));
    EXPECT_EQ(own.uniqueID, seen.info.uniqueID);
    EXPECT_FALSE(seen.info.isAmbiguous);
}

TEST_F(AlsaDriverTest, KeepsLongNamesAndTheirIDs)
{
    const std::string name = std::string(61, 'n') + "\xC3\xA4\xC3\xB6";
    Host publisher(name);
    Host other("Korva other");
    MIDIEndpointRef source = 0;
    publisher.service.CreateVirtualSource(publisher.client, name, source);

    const Host::Endpoint seen = other.Expect(Direction::Source, name.substr(0, 63));

    EndpointInfo own;
    publisher.service.GetEndpointInfo(source, own);
    EXPECT_EQ(own.uniqueID, seen.info.uniqueID);
}

TEST_F(AlsaDriverTest, TellsOfProgramsThatComeAndGo)
{
    Host host;
    const std::size_t before = host.SetupChanges();
    {
        Program reader("exec aseqdump");
        host.Expect(Direction::Destination, "aseqdump");
        EXPECT_TRUE(Eventually([&] { return host.SetupChanges() > before; }));
    }

    EXPECT_TRUE(host.WaitUntilGone(Direction::Destination, "aseqdump"));
    EXPECT_TRUE(Eventually([&] { return host.SetupChanges() > before + 1; }));
}

TEST_F(AlsaDriverTest, GivesAProgramTheSameIDInItsNextRun)
{
    Host host;
    MIDIUniqueID first = 0;
    {
        Program reader("exec aseqdump");
        first = host.Expect(Direction::Destination, "aseqdump").info.uniqueID;
    }
    ASSERT_TRUE(host.WaitUntilGone(Direction::Destination, "aseqdump"));
    Program distraction("exec arecordmidi -p 14:0 /dev/null"); // takes the free client number
    Program reader("exec aseqdump");

    EXPECT_EQ(host.Expect(Direction::Destination, "aseqdump").info.uniqueID, first);
}

TEST_F(AlsaDriverTest, MarksProgramsOfTheSameNameAmbiguous)
{
    Host host;
    Program first("exec aseqdump");
    const MIDIUniqueID alone = host.Expect(Direction::Destination, "aseqdump").info.uniqueID;
    Program second("exec aseqdump");
    ASSERT_TRUE(
        Eventually([&] { return host.IDs(Direction::Destination, "aseqdump").size() == 2; }));
    const auto ids = host.IDs(Direction::Destination, "aseqdump");

    EXPECT_EQ(ids.count(alone), 1U);
    for (const auto& [id, isAmbiguous] : ids)
        EXPECT_TRUE(isAmbiguous);
    Host other("Korva other");
    EXPECT_EQ(other.IDs(Direction::Destination, "aseqdump"), ids);
}

TEST_F(AlsaDriverTest, GivesTheCardTheSameIDUnderAnotherNumber)
{
    Host host;
    const auto before = host.IDs(Direction::Source, "VirMIDI");
    ASSERT_EQ(before.size(), 4U);

    Shell("rmmod snd_virmidi && modprobe snd-virmidi index=7");
    host.Expect(Direction::Source, "VirMIDI 7-3");
    const auto after = host.IDs(Direction::Source, "VirMIDI");
    Shell("rmmod snd_virmidi && modprobe snd-virmidi");
    host.Expect(Direction::Source, "VirMIDI 0-3");

    EXPECT_EQ(before, after);
    EXPECT_EQ(before, host.IDs(Direction::Source, "VirMIDI"));
}

TEST_F(AlsaDriverTest, NeverWaitsForAReaderThatHasStopped)
{
    Inbox inbox;
    Program stopped("exec aseqdump");
    Host host;
    const MIDIEndpointRef deaf = host.Expect(Direction::Destination, "aseqdump").ref;
    const MIDIEndpointRef alive = host.Expect(Direction::Destination, "Midi Through").ref;
    host.Connect(host.Expect(Direction::Source, "Midi Through").ref, inbox);
    stopped.Stop();

    HostTime longest = 0;
    for (int count = 0; count < 3000; ++count) {
        const HostTime begun = Now();
        host.Send(deaf, kPlay);
        longest = std::max(longest, Now() - begun);
        if (count % 100 == 0)
            std::this_thread::sleep_for(milliseconds(1));
    }
    ASSERT_TRUE(Eventually([&] { return host.Send(alive, kStop) == kNoError; }));

    EXPECT_TRUE(inbox.WaitFor(1));
    EXPECT_TRUE(Eventually([&] {
        const Counters& counters = host.service.GetCounters();
        return counters.refused.load() + counters.dropped.load() > 0;
    }));
    // Scheduling on a loaded emulated machine, not a wait for the reader.
    EXPECT_LT(longest, kNanosPerSecond / 2);
    stopped.Continue();
}

TEST_F(AlsaDriverTest, CountsWhatAStalledReceiverLosesAndGoesOn)
{
    Inbox inbox;
    std::mutex stall;
    Host publisher("Korva deck");
    MIDIEndpointRef source = 0;
    publisher.service.CreateVirtualSource(publisher.client, "Deck out", source);
    Host host;
    inbox.onPacket = [&stall](const Bytes&) { const std::lock_guard lock(stall); };
    ASSERT_TRUE(host.Connect(host.Expect(Direction::Source, "Deck out").ref, inbox));
    {
        const std::lock_guard lock(stall);
        // More than the sequencer keeps for a client.
        for (int count = 0; count < 4000; ++count) {
            publisher.SendFrom(source, {0x90, 0x3C, 0x40});
            if (count % 100 == 0)
                std::this_thread::sleep_for(milliseconds(2));
        }
        std::this_thread::sleep_for(milliseconds(200));
    }
    ASSERT_TRUE(Eventually([&] { return host.service.GetCounters().dropped.load() > 0; }));

    inbox.Clear();
    EXPECT_TRUE(Eventually([&] {
        publisher.SendFrom(source, kPlay);
        std::this_thread::sleep_for(milliseconds(20));
        const auto all = inbox.All();
        return !all.empty() && all.back() == kPlay;
    }));
}

TEST_F(AlsaDriverTest, SendsAtTheGivenTime)
{
    Inbox inbox;
    std::atomic<HostTime> arrived{0};
    Host host;
    inbox.onPacket = [&arrived](const Bytes&) { arrived.store(Now()); };
    host.Connect(host.Expect(Direction::Source, "Midi Through").ref, inbox);
    MIDIPacketList list{};
    list.numPackets = 1;
    list.packet[0].length = 1;
    list.packet[0].data[0] = 0xFA;
    const HostTime due = Now() + 300'000'000;
    list.packet[0].timeStamp = due;

    host.service.Send(host.output, host.Expect(Direction::Destination, "Midi Through").ref, list);

    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_GE(arrived.load(), due);
    std::printf(
        "scheduled message: %.3f ms late\n", static_cast<double>(arrived.load() - due) / 1e6);
}

TEST_F(AlsaDriverTest, DropsWhatIsFlushedBeforeItsTime)
{
    Inbox inbox;
    Host host;
    host.Connect(host.Expect(Direction::Source, "Midi Through").ref, inbox);
    const MIDIEndpointRef destination = host.Expect(Direction::Destination, "Midi Through").ref;
    MIDIPacketList list{};
    list.numPackets = 1;
    list.packet[0].length = 1;
    list.packet[0].data[0] = 0xFA;
    list.packet[0].timeStamp = Now() + 200'000'000;
    host.service.Send(host.output, destination, list);

    host.service.Flush(destination);

    list.packet[0].data[0] = 0xFC;
    list.packet[0].timeStamp = Now() + 400'000'000;
    host.service.Send(host.output, destination, list);
    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{{0xFC}});
}

TEST_F(AlsaDriverTest, OutlivesTheAttemptToTakeItsModulesAway)
{
    Inbox inbox;
    Host host;
    const Host::Endpoint before = host.Expect(Direction::Source, kCardPort);
    ASSERT_TRUE(host.Connect(before.ref, inbox));

    // The kernel refuses both while somebody is connected.
    EXPECT_NE(Output("rmmod snd_virmidi"), "");
    EXPECT_NE(Output("rmmod snd_seq"), "");

    WriteToCard(kPlay);
    EXPECT_TRUE(inbox.WaitFor(1));
}

TEST_F(AlsaDriverTest, FollowsACardWhoseModuleGoesAndComesBack)
{
    Inbox inbox;
    Host host;
    const Host::Endpoint before = host.Expect(Direction::Source, kCardPort);
    Shell("rmmod snd_virmidi");
    ASSERT_TRUE(host.WaitUntilGone(Direction::Source, kCardPort));
    EXPECT_EQ(host.service.FindEndpoint(before.info.uniqueID), 0U);
    EXPECT_FALSE(host.Connect(before.ref, inbox));

    Shell("modprobe snd-virmidi");

    const Host::Endpoint after = host.Expect(Direction::Source, kCardPort);
    EXPECT_EQ(before.info.uniqueID, after.info.uniqueID);
    ASSERT_TRUE(host.Connect(after.ref, inbox));
    WriteToCard(kPlay);
    EXPECT_TRUE(inbox.WaitFor(1));
}

class WithoutSequencer : public SequencerTest {
protected:
    void SetUp() override
    {
        SequencerTest::SetUp();
        if (IsSkipped())
            return;
        Shell("rmmod snd_virmidi snd_seq_virmidi snd_seq_dummy snd_seq_midi snd_seq_midi_event "
              "snd_seq"
              " 2>/dev/null; rm -f /dev/snd/seq");
        if (access("/dev/snd/seq", F_OK) == 0)
            GTEST_SKIP() << "this kernel's sequencer cannot be taken away";
    }

    void TearDown() override
    {
        if (!IsSkipped())
            BringBack();
    }

    static void BringBack()
    {
        Shell("modprobe snd-seq && modprobe snd-seq-dummy && modprobe snd-seq-midi"
              " && modprobe snd-virmidi");
    }
};

TEST_F(WithoutSequencer, RefusesToStartSoThatAnotherServiceIsTaken)
{
    EXPECT_THROW(Service(MakeAlsaDriver(), "midiservice-tests", true), DriverNotRunning);
}

TEST_F(WithoutSequencer, SaysWhatIsMissingAndWaitsForIt)
{
    Service service(MakeAlsaDriver(), "midiservice-tests", false);
    std::string reason;
    EXPECT_EQ(service.State(reason), DriverState::Waiting);
    EXPECT_NE(reason.find("/dev/snd/seq"), std::string::npos) << reason;
    EXPECT_NE(reason.find("snd-seq"), std::string::npos) << reason;
    MIDIClientRef client = 0;
    MIDIPortRef port = 0;
    MIDIEndpointRef source = 0;
    service.CreateClient("Korva.Early", nullptr, nullptr, client);
    service.CreateOutputPort(client, "Output port", port);
    service.CreateVirtualSource(client, "Early out", source);

    BringBack();

    EXPECT_TRUE(Eventually([&] { return service.State(reason) == DriverState::Running; }));
    EXPECT_TRUE(Eventually([] {
        const std::string list = Output("aconnect -l");
        return list.find("Korva.Early") != std::string::npos
            && list.find("'Output port") != std::string::npos
            && list.find("'Early out") != std::string::npos;
    }));
    EXPECT_TRUE(Eventually([&] { return service.CountEndpoints(Direction::Destination) >= 5; }));
}

} // namespace
} // namespace midiservice::alsa
