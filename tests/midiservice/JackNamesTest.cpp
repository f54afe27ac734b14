#include "mediaio/midiservice/src/jack/JackNames.h"

#include <gtest/gtest.h>

namespace midiservice::test {

namespace {

JackPortNames Physical(const std::string& name, const std::string& alias)
{
    return {name, {alias}, true};
}

JackPortNames Program(const std::string& name)
{
    return {name, {}, false};
}

std::int32_t ID(const JackPortNames& names)
{
    return UniqueID(JackIdentity(Direction::Source, names));
}

TEST(JackIdentity, IsAProgramsClientAndPort)
{
    const IdentityFacts facts = JackIdentity(Direction::Destination, Program("Ardour:MTC: in"));

    EXPECT_EQ(facts.driver, "jack");
    EXPECT_EQ(facts.direction, Direction::Destination);
    EXPECT_EQ(facts.owner, "Ardour");
    EXPECT_EQ(facts.port, "MTC: in");
}

TEST(JackIdentity, DoesNotDependOnTheNumberThatTheServerGivesAHardwarePort)
{
    EXPECT_EQ(ID(Physical("system:midi_capture_1", "alsa_pcm:Keys/midi_capture_1")),
        ID(Physical("system:midi_capture_7", "alsa_pcm:Keys/midi_capture_1")));
    EXPECT_NE(ID(Physical("system:midi_capture_1", "alsa_pcm:Keys/midi_capture_1")),
        ID(Physical("system:midi_capture_1", "alsa_pcm:Pads/midi_capture_1")));
}

TEST(JackIdentity, DoesNotDependOnTheCardsNumber)
{
    EXPECT_EQ(ID(Physical("system:midi_capture_1", "in-hw-1-0-0-Keys")),
        ID(Physical("system:midi_capture_1", "in-hw-12-0-0-Keys")));
    EXPECT_NE(ID(Physical("system:midi_capture_1", "in-hw-1-0-0-Keys")),
        ID(Physical("system:midi_capture_1", "in-hw-1-0-1-Keys")));
}

TEST(JackIdentity, DoesNotDependOnABridgesSequencerNumber)
{
    EXPECT_EQ(ID(Program("a2j:Keys [20] (capture): Keys MIDI 1")),
        ID(Program("a2j:Keys [24] (capture): Keys MIDI 1")));
    EXPECT_NE(ID(Program("a2j:Keys [20] (capture): Keys MIDI 1")),
        ID(Program("a2j:Keys [20] (capture): Keys MIDI 2")));
    EXPECT_NE(ID(Program("tool:Track [20] (left)")), ID(Program("tool:Track [x] (left)")));
}

TEST(JackIdentity, IgnoresAProgramsAliases)
{
    EXPECT_EQ(ID({"Ardour:out", {"some alias"}, false}), ID(Program("Ardour:out")));
}

TEST(JackDisplayName, NamesTheDeviceWhereThereIsOne)
{
    EXPECT_EQ(JackDisplayName(Physical("system:midi_capture_1", "alsa_pcm:Keys/midi_capture_1")),
        "Keys/midi_capture_1");
    EXPECT_EQ(JackDisplayName({"system:midi_capture_1", {}, true}), "system:midi_capture_1");
    EXPECT_EQ(JackDisplayName(Program("Ardour:MTC out")), "Ardour:MTC out");
}

TEST(JackFullName, HasOneColonAndNeverNothing)
{
    EXPECT_EQ(JackFullName("a:b", "c:d"), "a.b:c.d");
    EXPECT_EQ(JackFullName("", ""), "MIDI:MIDI");
}

TEST(JackFullName, IsCutBetweenCharacters)
{
    std::string umlauts;
    for (int count = 0; count < 400; ++count)
        umlauts += "\xC3\xA4";

    EXPECT_EQ(AcceptableClientName(umlauts).size(), 62U);
    EXPECT_LE(JackFullName(umlauts, umlauts).size(), 301U);
    EXPECT_EQ(AcceptableClientName("a" + umlauts).size(), 63U);
}

} // namespace

} // namespace midiservice::test
