#include "mediaio/midiservice/src/alsa/PortTable.h"

#include <gtest/gtest.h>

namespace midiservice::alsa {
namespace {

constexpr HostTime kStart = 1'000'000;

ScannedPort Port(std::uint8_t client, std::uint8_t port, const std::string& name, int card = -1)
{
    ScannedPort result;
    result.address = {client, port};
    result.card = card;
    result.clientName = "Program";
    result.portName = name;
    result.isSource = true;
    return result;
}

CardFacts Complete(int /*card*/)
{
    CardFacts facts;
    facts.isComplete = true;
    return facts;
}

CardFacts Incomplete(int /*card*/)
{
    return {};
}

TEST(PortTable, KeepsAKeyWhileThePortIsThere)
{
    PortTable table;
    const auto first = table.Update({Port(130, 0, "Out")}, Complete, kStart);
    const auto second = table.Update({Port(130, 0, "Out"), Port(131, 0, "Out")}, Complete, kStart);

    ASSERT_EQ(first.size(), 1U);
    ASSERT_EQ(second.size(), 2U);
    EXPECT_EQ(first[0].key, second[0].key);
    EXPECT_TRUE(table.IsPresent(first[0].key));
    EXPECT_EQ(table.KeyOfSource({130, 0}), first[0].key);
}

TEST(PortTable, GivesANewKeyToAPortThatWasAwayBetweenTwoScans)
{
    PortTable table;
    const auto before = table.Update({Port(130, 0, "Out")}, Complete, kStart);

    table.OnPortGone({130, 0});

    EXPECT_FALSE(table.IsPresent(before[0].key));
    EXPECT_EQ(table.KeyOfSource({130, 0}), 0U);
    const auto after = table.Update({Port(130, 0, "Out")}, Complete, kStart);
    ASSERT_EQ(after.size(), 1U);
    EXPECT_NE(before[0].key, after[0].key);
    EXPECT_FALSE(table.IsPresent(before[0].key));
}

TEST(PortTable, DropsEveryPortOfAClientThatLeaves)
{
    PortTable table;
    const auto before = table.Update(
        {Port(130, 0, "A"), Port(130, 255, "B"), Port(131, 0, "C")}, Complete, kStart);

    table.OnClientGone(130);

    EXPECT_FALSE(table.IsPresent(before[0].key));
    EXPECT_FALSE(table.IsPresent(before[1].key));
    EXPECT_TRUE(table.IsPresent(before[2].key));
}

TEST(PortTable, DropsThePortOfTheLastClientNumber)
{
    PortTable table;
    const auto before = table.Update({Port(255, 255, "A")}, Complete, kStart);

    table.OnClientGone(255);

    EXPECT_FALSE(table.IsPresent(before[0].key));
}

TEST(PortTable, TakesARenamedPortForAnother)
{
    PortTable table;
    const auto before = table.Update({Port(130, 0, "Client-130")}, Complete, kStart);
    const auto after = table.Update({Port(130, 0, "Out")}, Complete, kStart);

    EXPECT_NE(before[0].key, after[0].key);
}

TEST(PortTable, HoldsAPortBackUntilItsCardIsComplete)
{
    PortTable table;

    EXPECT_TRUE(table.Update({Port(24, 0, "In", 1)}, Incomplete, kStart).empty());
    EXPECT_EQ(table.Deadline(), kStart + PortTable::kLongestWait);
    EXPECT_EQ(table.KeyOfSource({24, 0}), 0U);
    EXPECT_EQ(table.Update({Port(24, 0, "In", 1)}, Complete, kStart + 1).size(), 1U);
    EXPECT_EQ(table.Deadline(), std::nullopt);
}

TEST(PortTable, HoldsAPortBackForALimitedTime)
{
    PortTable table;
    table.Update({Port(24, 0, "In", 1)}, Incomplete, kStart);
    const HostTime deadline = kStart + PortTable::kLongestWait;

    EXPECT_TRUE(table.Update({Port(24, 0, "In", 1)}, Incomplete, deadline - 1).empty());
    EXPECT_EQ(table.Update({Port(24, 0, "In", 1)}, Incomplete, deadline).size(), 1U);
}

TEST(PortTable, AsksForTheCardOfEachAppearanceOnce)
{
    PortTable table;
    int asked = 0;
    const auto count = [&asked](int card) {
        ++asked;
        return Complete(card);
    };

    table.Update({Port(24, 0, "In", 1)}, count, kStart);
    table.Update({Port(24, 0, "In", 1)}, count, kStart);
    EXPECT_EQ(asked, 1);

    table.OnPortGone({24, 0});
    table.Update({Port(24, 0, "In", 1)}, count, kStart);
    EXPECT_EQ(asked, 2);
}

TEST(PortTable, AdmitsThePortsOfACardTogether)
{
    PortTable table;
    int asked = 0;
    const auto completeAtSecondAsking
        = [&asked](int card) { return ++asked == 2 ? Complete(card) : Incomplete(card); };

    EXPECT_TRUE(
        table.Update({Port(24, 0, "A", 1), Port(24, 1, "B", 1)}, completeAtSecondAsking, kStart)
            .empty());
    EXPECT_EQ(
        table.Update({Port(24, 0, "A", 1), Port(24, 1, "B", 1)}, completeAtSecondAsking, kStart)
            .size(),
        2U);
}

TEST(PortTable, ListsAPortOfBothDirectionsTwice)
{
    PortTable table;
    ScannedPort port = Port(130, 0, "Both");
    port.isDestination = true;

    const auto present = table.Update({port}, Complete, kStart);

    ASSERT_EQ(present.size(), 2U);
    EXPECT_NE(present[0].key, present[1].key);
    EXPECT_EQ(PortTable::AddressOf(present[1].key), (Address{130, 0}));
    EXPECT_NE(present[0].identity.direction, present[1].identity.direction);
}

TEST(PortTable, KnowsAProgramByItsNamesAlone)
{
    const auto first = PortIdentity(Port(130, 0, "Out"), {}, Direction::Source);
    const auto later = PortIdentity(Port(142, 3, "Out"), {}, Direction::Source);
    const auto other = PortIdentity(Port(130, 0, "Out 2"), {}, Direction::Source);

    EXPECT_TRUE(SameIdentity(first, later));
    EXPECT_TRUE(ComesBefore(first, later));
    EXPECT_FALSE(SameIdentity(first, other));
}

TEST(PortTable, KnowsACardWithoutItsNumber)
{
    ScannedPort before = Port(16, 0, "VirMIDI 0-3", 0);
    ScannedPort after = Port(24, 0, "VirMIDI 5-3", 5);
    HardwareFacts facts;
    facts.device = WithoutCardNumber("Virtual Raw MIDI 0-3", 0);

    EXPECT_TRUE(SameIdentity(PortIdentity(before, facts, Direction::Source),
        PortIdentity(after, facts, Direction::Source)));
}

TEST(WithoutCardNumber, TakesOutTheNumberOfThisCardOnly)
{
    EXPECT_EQ(WithoutCardNumber("VirMIDI 5-3", 5), "VirMIDI 3");
    EXPECT_EQ(WithoutCardNumber("VirMIDI 5-3", 3), "VirMIDI 5-3");
    EXPECT_EQ(WithoutCardNumber("VirMIDI 15-3", 5), "VirMIDI 15-3");
    EXPECT_EQ(WithoutCardNumber("Model 5-Port", 5), "Model 5-Port");
    EXPECT_EQ(WithoutCardNumber("Model 5-", 5), "Model 5-");
    EXPECT_EQ(WithoutCardNumber("Program -1-3", -1), "Program -1-3");
    EXPECT_EQ(WithoutCardNumber("", 5), "");
}

TEST(DisplayName, SaysTheDeviceOnce)
{
    ScannedPort port = Port(24, 0, "Program MIDI 1");
    EXPECT_EQ(DisplayName(port), "Program MIDI 1");

    port.portName = "MIDI 1";
    EXPECT_EQ(DisplayName(port), "Program: MIDI 1");
}

TEST(SequencerName, CutsWholeCharacters)
{
    EXPECT_EQ(SequencerName("Short"), "Short");
    EXPECT_EQ(SequencerName(std::string(63, 'x')), std::string(63, 'x'));
    EXPECT_EQ(SequencerName(std::string(64, 'x')), std::string(63, 'x'));
    EXPECT_EQ(SequencerName(std::string(62, 'x') + "\xC3\xA4"), std::string(62, 'x'));
    EXPECT_EQ(SequencerName(std::string(61, 'x') + "\xC3\xA4"), std::string(61, 'x') + "\xC3\xA4");
}

} // namespace
} // namespace midiservice::alsa
