#include "deck/cli/PortsCommand.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace deck::cli::test {
namespace {

using host::MidiPort;
using host::PortDirection;

const std::vector<MidiPort> kPorts = {{-2147483648, "Desk \"A\"", PortDirection::Source, false},
    {12, "Chaser", PortDirection::Destination, true}};

TEST(PortsCommand, ListsIDsDirectionsAndNames)
{
    EXPECT_EQ(PortsText("jack", kPorts),
        "MIDI service: jack\n"
        "          ID  direction    name\n"
        " -2147483648  source       Desk \"A\"\n"
        "          12  destination  Chaser  (ambiguous: cannot be told from another)\n");
}

TEST(PortsCommand, SaysThatThereAreNone)
{
    EXPECT_THAT(PortsText("jack", {}), testing::HasSubstr("no ports"));
}

TEST(PortsCommand, ListsThemAsJSON)
{
    const auto json = nlohmann::json::parse(PortsJSON("jack", kPorts));

    EXPECT_EQ(json["service"], "jack");
    ASSERT_EQ(json["ports"].size(), 2U);
    EXPECT_EQ(json["ports"][0]["id"], -2147483648);
    EXPECT_EQ(json["ports"][0]["direction"], "source");
    EXPECT_EQ(json["ports"][0]["name"], "Desk \"A\"");
    EXPECT_EQ(json["ports"][0]["ambiguous"], false);
    EXPECT_EQ(json["ports"][1]["direction"], "destination");
    EXPECT_EQ(json["ports"][1]["ambiguous"], true);
}

TEST(PortsCommand, TellsWhatComesAndGoes)
{
    const std::vector<MidiPort> before{kPorts[0]};
    const std::vector<MidiPort> after{kPorts[1]};

    EXPECT_EQ(PortChanges(before, before, false), "");
    EXPECT_EQ(PortChanges(before, after, false),
        "- -2147483648  source       Desk \"A\"\n"
        "+          12  destination  Chaser  (ambiguous: cannot be told from another)\n");
    EXPECT_EQ(PortChanges({}, after, true),
        R"({"event":"added","id":12,"direction":"destination","name":"Chaser","ambiguous":true})"
        "\n");
}

} // namespace
} // namespace deck::cli::test
