// USB MIDI interfaces that are plugged and pulled while the service runs.

#include "mediaio/midiservice/src/alsa/CardFacts.h"
#include "tests/midiservice/alsa/Studio.h"

#include <thread>

namespace midiservice::alsa {
namespace {

class AlsaHotPlugTest : public PlugTest {};

TEST_F(AlsaHotPlugTest, ReadsTheFactsOfAPluggedInterface)
{
    Interface surface("g1", "Lab Surface", "SER1", 2);
    surface.Plug(0);
    Host host;
    host.Expect(Direction::Source, "Lab Surface MIDI 2");
    const std::string card = Output("for c in /sys/class/sound/card*; do"
                                    " [[ $(cat $c/id) == Surface* ]] && echo ${c##*card}; done");
    ASSERT_FALSE(card.empty());

    const CardFacts facts = CardWatch().Read(std::stoi(card));

    EXPECT_TRUE(facts.isComplete);
    EXPECT_EQ(facts.hardware.vendor, "1d6b");
    EXPECT_EQ(facts.hardware.product, "0104");
    EXPECT_EQ(facts.hardware.serial, "SER1");
    EXPECT_EQ(facts.hardware.interface, "00");
    EXPECT_EQ(facts.hardware.socket, "platform-dummy_hcd.0 usb 1");
    EXPECT_EQ(facts.hardware.card, "Lab Surface");
}

TEST_F(AlsaHotPlugTest, ListsAnInterfaceOnceUdevHasFinishedWithIt)
{
    Host host;
    Interface surface("g1", "Lab Surface", "SER1", 1);
    Shell("udevadm control --stop-exec-queue");
    surface.Plug(0);
    EXPECT_TRUE(Eventually(
        [] { return Output("aconnect -l").find("'Lab Surface'") != std::string::npos; }));
    // The driver has had the time to look, and still not half of what it waits at most.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_FALSE(host.Find(Direction::Source, "Lab Surface"));

    Shell("udevadm control --start-exec-queue");

    const auto found = host.Expect(Direction::Source, "Lab Surface");
    EXPECT_EQ(found.info.uniqueID, 1547365323);
}

TEST_F(AlsaHotPlugTest, ListsAnInterfaceThatUdevNeverFinishes)
{
    Host host;
    Interface surface("g1", "Lab Surface", "SER1", 1);
    Shell("udevadm control --stop-exec-queue");

    surface.Plug(0);

    EXPECT_EQ(host.Expect(Direction::Source, "Lab Surface").info.uniqueID, 1547365323);
    Shell("udevadm control --start-exec-queue");
}

TEST_F(AlsaHotPlugTest, MakesOneSetupChangeOfOnePlug)
{
    Host host;
    Interface surface("g1", "Lab Surface", "SER1", 8);
    std::vector<std::size_t> sizes;
    const std::size_t before = host.SetupChanges();

    surface.Plug(0);
    host.Expect(Direction::Source, "Lab Surface MIDI 8");

    // The interface and its far end are two cards.
    EXPECT_EQ(host.IDs(Direction::Source, "Lab Surface").size(), 8U);
    EXPECT_EQ(host.IDs(Direction::Destination, "Lab Surface").size(), 8U);
    EXPECT_TRUE(Eventually([&] { return host.IDs(Direction::Source, "f_midi").size() == 8; }));
    EXPECT_LE(host.SetupChanges(), before + 2);
}

TEST_F(AlsaHotPlugTest, FindsAnInterfaceWithASerialNumberInAnySocket)
{
    Host host;
    Interface surface("g1", "Lab Surface", "SER1", 2);
    surface.Plug(0);
    host.Expect(Direction::Source, "Lab Surface MIDI 2");
    const auto sources = host.IDs(Direction::Source, "Lab Surface");
    const auto destinations = host.IDs(Direction::Destination, "Lab Surface");
    surface.Pull();
    ASSERT_TRUE(host.WaitUntilGone(Direction::Source, "Lab Surface"));

    surface.Plug(1);

    host.Expect(Direction::Source, "Lab Surface MIDI 2");
    EXPECT_EQ(host.IDs(Direction::Source, "Lab Surface"), sources);
    EXPECT_EQ(host.IDs(Direction::Destination, "Lab Surface"), destinations);
    Host other("Korva other");
    EXPECT_EQ(other.IDs(Direction::Source, "Lab Surface"), sources);
}

TEST_F(AlsaHotPlugTest, TellsTwoOfAKindApartByTheirSerialNumbers)
{
    Inbox inbox;
    Host host;
    Interface first("g1", "Lab Surface", "SER1", 1);
    Interface second("g2", "Lab Surface", "SER2", 1);
    first.Plug(0);
    const MIDIUniqueID firstID = host.Expect(Direction::Source, "Lab Surface").info.uniqueID;
    second.Plug(1);
    ASSERT_TRUE(Eventually([&] { return host.IDs(Direction::Source, "Lab Surface").size() == 2; }));
    const auto both = host.IDs(Direction::Source, "Lab Surface");
    EXPECT_EQ(both.count(firstID), 1U);
    for (const auto& [id, isAmbiguous] : both)
        EXPECT_FALSE(isAmbiguous);
    first.Pull();
    second.Pull();
    ASSERT_TRUE(host.WaitUntilGone(Direction::Source, "Lab Surface"));

    second.Plug(0); // the other order, the other sockets
    first.Plug(1);

    ASSERT_TRUE(Eventually([&] { return host.IDs(Direction::Source, "Lab Surface").size() == 2; }));
    EXPECT_EQ(host.IDs(Direction::Source, "Lab Surface"), both);
    ASSERT_TRUE(host.Connect(host.service.FindEndpoint(firstID), inbox));
    second.Play(kStop);
    first.Play(kPlay);
    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{kPlay});
}

TEST_F(AlsaHotPlugTest, TellsTwoOfAKindApartByTheirSockets)
{
    Host host;
    Interface first("g1", "Lab Surface", "", 1);
    Interface second("g2", "Lab Surface", "", 1);
    first.Plug(0);
    second.Plug(1);
    ASSERT_TRUE(Eventually([&] { return host.IDs(Direction::Source, "Lab Surface").size() == 2; }));
    const auto both = host.IDs(Direction::Source, "Lab Surface");
    for (const auto& [id, isAmbiguous] : both)
        EXPECT_FALSE(isAmbiguous);
    first.Pull();
    second.Pull();
    ASSERT_TRUE(host.WaitUntilGone(Direction::Source, "Lab Surface"));

    second.Plug(1); // the other order
    first.Plug(0);

    ASSERT_TRUE(Eventually([&] { return host.IDs(Direction::Source, "Lab Surface").size() == 2; }));
    EXPECT_EQ(host.IDs(Direction::Source, "Lab Surface"), both);
}

TEST_F(AlsaHotPlugTest, CallsTwoWithTheSameSerialNumberAmbiguous)
{
    Inbox inbox;
    Interface first("g1", "Lab Surface", "0", 1);
    Interface second("g2", "Lab Surface", "0", 1);
    second.Plug(1);
    first.Plug(0);
    // A program that starts now; one that runs already keeps the ID of the first to come.
    ASSERT_TRUE(
        Eventually([] { return Output("aconnect -l | grep -c \"'Lab Surface'\"") == "2\n"; }));
    Host host;
    ASSERT_EQ(host.IDs(Direction::Source, "Lab Surface").size(), 2U);

    const auto both = host.IDs(Direction::Source, "Lab Surface");

    for (const auto& [id, isAmbiguous] : both)
        EXPECT_TRUE(isAmbiguous);
    // By socket, whichever came first.
    IdentityFacts facts
        = HardwareIdentity({"1d6b", "0104", "0", "00", "", "", ""}, Direction::Source, 0, "");
    ASSERT_TRUE(host.Connect(host.service.FindEndpoint(UniqueID(facts, 0)), inbox));
    second.Play(kStop);
    first.Play(kPlay);
    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{kPlay});
    Host other("Korva other");
    EXPECT_EQ(other.IDs(Direction::Source, "Lab Surface"), both);
}

TEST_F(AlsaHotPlugTest, GoesOnReceivingAfterAReplug)
{
    Inbox inbox;
    Host host;
    Interface surface("g1", "Lab Surface", "SER1", 1);
    surface.Plug(0);
    ASSERT_TRUE(host.Connect(host.Expect(Direction::Source, "Lab Surface").ref, inbox));
    surface.Play(kPlay);
    ASSERT_TRUE(inbox.WaitFor(1));
    inbox.Clear();

    surface.Pull();
    ASSERT_TRUE(host.WaitUntilGone(Direction::Source, "Lab Surface"));
    surface.Plug(1);
    host.Expect(Direction::Source, "Lab Surface");

    surface.Play(kStop);
    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.All(), std::vector<Bytes>{kStop});
}

TEST_F(AlsaHotPlugTest, GoesOnAfterPlugCyclesAtFullSpeed)
{
    Inbox inbox;
    const char* wanted = std::getenv("KORVA_PLUG_CYCLES");
    const int cycles = wanted != nullptr ? std::atoi(wanted) : 10;
    Host host;
    Interface surface("g1", "Lab Surface", "SER1", 1);
    surface.Plug(0);
    const Host::Endpoint source = host.Expect(Direction::Source, "Lab Surface");
    const Host::Endpoint destination = host.Expect(Direction::Destination, "Lab Surface");
    ASSERT_TRUE(host.Connect(source.ref, inbox));
    const std::size_t before = host.SetupChanges();

    surface.Replug(cycles);

    // Connected again by itself, without a new connection and in both directions.
    EXPECT_TRUE(Eventually([&] {
        surface.Play(kPlay);
        return !inbox.All().empty();
    }));
    EXPECT_EQ(host.service.FindEndpoint(source.info.uniqueID), source.ref);
    Program reader("exec amidi -d -p " + surface.FarEnd() + ",0,0");
    EXPECT_TRUE(Eventually([&] {
        host.Send(destination.ref, kStop);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return reader.HasDumped(kStop);
    }));
    EXPECT_EQ(host.IDs(Direction::Source, "Lab Surface").size(), 1U);
    std::printf("%d plug cycles, %zu setup changes\n", cycles, host.SetupChanges() - before);
}

} // namespace
} // namespace midiservice::alsa
