#include "deck/host/MidiPorts.h"

#include "deck/host/HostError.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace deck::host::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using enum PortDirection;

const std::vector<MidiPort> kPorts = {{11, "Desk One", Source}, {12, "Desk Two", Source},
    {-13, "Synchroniser", Source}, {14, "Desk", Source}, {15, "12", Source}};

std::string Refusal(const std::vector<MidiPort>& ports, const std::string& wanted)
{
    try {
        ChoosePort(ports, Source, wanted);
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        return error.what();
    }
    return "";
}

TEST(ChoosePort, TakesAnID)
{
    EXPECT_EQ(ChoosePort(kPorts, Source, "-13").name, "Synchroniser");
}

TEST(ChoosePort, TakesAPartOfANameInAnyCase)
{
    EXPECT_EQ(ChoosePort(kPorts, Source, "SYNCH").id, -13);
    EXPECT_EQ(ChoosePort(kPorts, Source, "two").id, 12);
}

TEST(ChoosePort, PrefersAWholeNameToAPartAndAnIDToAName)
{
    EXPECT_EQ(ChoosePort(kPorts, Source, "desk").id, 14);
    EXPECT_EQ(ChoosePort(kPorts, Source, "12").id, 12);
    EXPECT_EQ(ChoosePort(kPorts, Source, "15").name, "12");
}

TEST(ChoosePort, ListsTheCandidatesOfAnAmbiguousName)
{
    const std::string refusal = Refusal(kPorts, "desk ");

    EXPECT_THAT(refusal, HasSubstr("more than one source"));
    EXPECT_THAT(refusal, HasSubstr("11  Desk One"));
    EXPECT_THAT(refusal, HasSubstr("12  Desk Two"));
    EXPECT_THAT(refusal, Not(HasSubstr("Synchroniser")));
}

TEST(ChoosePort, ListsEveryPortForAnUnknownName)
{
    const std::string refusal = Refusal(kPorts, "organ");

    EXPECT_THAT(refusal, HasSubstr("no source \"organ\""));
    EXPECT_THAT(refusal, HasSubstr("11  Desk One"));
    EXPECT_THAT(refusal, HasSubstr("-13  Synchroniser"));
}

TEST(ChoosePort, SaysWhereThereIsNothingToChoose)
{
    EXPECT_THAT(Refusal({}, "organ"), HasSubstr("has none at all"));
}

class MidiPortsTest : public testing::Test {
protected:
    static void SetUpTestSuite() { setenv("KEL_MIDI_SERVICE", "builtin", 1); }
};

void Ignore(const MIDIPacketList*, void*, void*) {}

TEST_F(MidiPortsTest, AreListedWithIDDirectionAndName)
{
    MidiClient client("test");
    const MIDIEndpointRef source = client.MakeSource("Ein Pült");
    const MIDIEndpointRef destination = client.MakeDestination("Chaser", Ignore, nullptr);

    EXPECT_THAT(ListPorts(Source), Contains(MidiPort{UniqueIDOf(source), "Ein Pült", Source}));
    EXPECT_THAT(
        ListPorts(Destination), Contains(MidiPort{UniqueIDOf(destination), "Chaser", Destination}));
    EXPECT_EQ(FindEndpoint(UniqueIDOf(source), Source), source);
    EXPECT_EQ(FindEndpoint(UniqueIDOf(source), Destination), std::nullopt);
}

TEST_F(MidiPortsTest, AreNotListedWhenTheyAreHidden)
{
    MidiClient client("test");
    const MIDIEndpointRef source = client.MakeSource("Inside");
    HideEndpoint(source);

    EXPECT_THAT(ListPorts(Source), Not(Contains(testing::Field(&MidiPort::name, "Inside"))));
    EXPECT_EQ(FindEndpoint(UniqueIDOf(source), Source), source);
    EXPECT_THROW(HideEndpoint(0), HostError);
}

TEST_F(MidiPortsTest, CarryOnePacketWithItsTime)
{
    const MIDIPacketList packets
        = MakePacketList(std::vector<std::uint8_t>(300, 0x40), std::chrono::nanoseconds(5));

    EXPECT_EQ(packets.numPackets, 1U);
    EXPECT_EQ(MIDITimeStamp{packets.packet[0].timeStamp}, 5U); // the packet is packed
    EXPECT_EQ(UInt16{packets.packet[0].length}, 256);
    EXPECT_EQ(packets.packet[0].data[255], 0x40);
}

} // namespace
} // namespace deck::host::test
