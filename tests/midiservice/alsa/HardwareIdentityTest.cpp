#include "mediaio/midiservice/src/HardwareIdentity.h"

#include <gtest/gtest.h>

namespace midiservice {
namespace {

HardwareFacts Surface()
{
    HardwareFacts facts;
    facts.vendor = "1d6b";
    facts.product = "0104";
    facts.serial = "SER1";
    facts.interface = "00";
    facts.socket = "pci-0000:00:14.0 usb 1.4";
    facts.card = "Lab Surface";
    facts.device = "Lab Surface";
    return facts;
}

std::int32_t IDOf(const HardwareFacts& facts,
    Direction direction = Direction::Source,
    unsigned port = 0,
    const std::string& name = "Lab Surface MIDI 1")
{
    return UniqueID(HardwareIdentity(facts, direction, port, name));
}

TEST(HardwareIdentity, IsTheSameInEverySocketWithASerialNumber)
{
    HardwareFacts moved = Surface();
    moved.socket = "pci-0000:00:1a.0 usb 2";

    EXPECT_EQ(IDOf(Surface()), IDOf(moved));
}

TEST(HardwareIdentity, IsTheSameUnderOtherNamesWithASerialNumber)
{
    HardwareFacts renamed = Surface();
    renamed.card = "Surface (firmware 2)";
    renamed.device = "Surface";

    EXPECT_EQ(IDOf(Surface()), IDOf(renamed, Direction::Source, 0, "Surface Port A"));
}

TEST(HardwareIdentity, TellsSerialNumbersApart)
{
    HardwareFacts other = Surface();
    other.serial = "SER2";

    EXPECT_NE(IDOf(Surface()), IDOf(other));
}

TEST(HardwareIdentity, TellsModelsOfEqualSerialNumberApart)
{
    HardwareFacts other = Surface();
    other.product = "0105";

    EXPECT_NE(IDOf(Surface()), IDOf(other));
}

TEST(HardwareIdentity, FollowsTheSocketWithoutASerialNumber)
{
    HardwareFacts first = Surface();
    first.serial.clear();
    HardwareFacts second = first;
    second.socket = "pci-0000:00:14.0 usb 2";
    HardwareFacts renamed = first;
    renamed.card = "Other";

    EXPECT_NE(IDOf(first), IDOf(second));
    EXPECT_EQ(IDOf(first), IDOf(renamed));
}

TEST(HardwareIdentity, FallsBackToTheNames)
{
    HardwareFacts first;
    first.card = "Sound Card";
    first.device = "Sound Card MPU-401";
    HardwareFacts moved = first;
    moved.socket = "pci-0000:03:00.0";
    HardwareFacts other = first;
    other.card = "Other Card";

    EXPECT_EQ(IDOf(first), IDOf(moved));
    EXPECT_NE(IDOf(first), IDOf(other));
    EXPECT_NE(IDOf(first), IDOf(first, Direction::Source, 0, "Other Port"));
}

TEST(HardwareIdentity, TellsPortsAndDirectionsApart)
{
    EXPECT_NE(IDOf(Surface(), Direction::Source, 0), IDOf(Surface(), Direction::Source, 1));
    EXPECT_NE(IDOf(Surface(), Direction::Source, 0), IDOf(Surface(), Direction::Destination, 0));
}

TEST(HardwareIdentity, OrdersTwinsBySocket)
{
    HardwareFacts second = Surface();
    second.socket = "pci-0000:00:1a.0 usb 1.4";
    const IdentityFacts a = HardwareIdentity(Surface(), Direction::Source, 0, "A");
    const IdentityFacts b = HardwareIdentity(second, Direction::Source, 0, "A");

    EXPECT_TRUE(SameIdentity(a, b));
    EXPECT_TRUE(ComesBefore(a, b));
    EXPECT_FALSE(ComesBefore(b, a));
}

// Stored in users' settings: these numbers can never change.
TEST(HardwareIdentity, GivesTheIDsThatSettingsHold)
{
    HardwareFacts noSerial = Surface();
    noSerial.serial.clear();
    HardwareFacts namesOnly;
    namesOnly.card = "Sound Card";
    namesOnly.device = "MPU-401";

    EXPECT_EQ(IDOf(Surface()), 1547365323);
    EXPECT_EQ(IDOf(noSerial), 858431388);
    EXPECT_EQ(IDOf(namesOnly), -1542725501);
}

} // namespace
} // namespace midiservice
