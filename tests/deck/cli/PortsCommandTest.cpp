#include "deck/cli/PortsCommand.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace deck::cli::test {
namespace {

using host::MidiPort;
using host::PortDirection;

const std::vector<MidiPort> kPorts = {
    {-2147483648, "Desk \"A\"", PortDirection::Source}, {12, "Chaser", PortDirection::Destination}};

TEST(PortsCommand, ListsIDsDirectionsAndNames)
{
    EXPECT_EQ(PortsText("jack", kPorts),
        "MIDI service: jack\n"
        "          ID  direction    name\n"
        " -2147483648  source       Desk \"A\"\n"
        "          12  destination  Chaser\n");
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
    EXPECT_EQ(json["ports"][1]["direction"], "destination");
}

} // namespace
} // namespace deck::cli::test
