#include "mediaio/midiservice/src/alsa/Outlet.h"

#include <gtest/gtest.h>

#include <vector>

namespace midiservice::alsa {
namespace {

bool Always(EndpointKey /*key*/)
{
    return true;
}

bool Never(EndpointKey /*key*/)
{
    return false;
}

std::vector<EndpointKey> Fulfilled(Links& links)
{
    std::vector<EndpointKey> keys;
    links.Fulfil([&keys](EndpointKey key) { keys.push_back(key); });
    return keys;
}

TEST(Links, AsksOnceForADestination)
{
    Links links;

    EXPECT_FALSE(links.IsReady(7, Always));
    EXPECT_FALSE(links.IsReady(7, Always));
    EXPECT_EQ(Fulfilled(links), (std::vector<EndpointKey>{7}));
    EXPECT_TRUE(links.IsReady(7, Always));
    EXPECT_TRUE(Fulfilled(links).empty());
}

TEST(Links, AsksAgainForOneThatWasForgotten)
{
    Links links;
    links.IsReady(7, Always);
    Fulfilled(links);

    links.Forget(7);

    EXPECT_FALSE(links.IsReady(7, Always));
    EXPECT_EQ(Fulfilled(links), (std::vector<EndpointKey>{7}));
}

TEST(Links, GivesThePlacesOfThoseThatHaveGoneToOthers)
{
    Links links;
    for (EndpointKey key = 1; key <= 1000; ++key) {
        EXPECT_FALSE(links.IsReady(key, Never));
        EXPECT_EQ(Fulfilled(links), (std::vector<EndpointKey>{key}));
    }
}

TEST(Links, DoesNotTakeOneDestinationForAnotherThatTookItsPlaceMeanwhile)
{
    Links links;
    links.IsReady(7, Always);

    links.Fulfil([&links](EndpointKey /*key*/) { links.IsReady(8, Never); });

    EXPECT_FALSE(links.IsReady(8, Always));
    EXPECT_EQ(Fulfilled(links), (std::vector<EndpointKey>{8}));
}

} // namespace
} // namespace midiservice::alsa
