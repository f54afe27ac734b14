#include "mediaio/midiservice/src/Stalled.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace midiservice::test {

namespace {

class StalledTest : public testing::Test {
protected:
    using Offers = std::vector<std::pair<EndpointKey, PacketIndex>>;

    Offers Retry(std::size_t room)
    {
        Offers accepted;
        mStalled->Retry(*mPool, [&](EndpointKey endpoint, PacketIndex packet) {
            if (accepted.size() == room)
                return false;
            accepted.emplace_back(endpoint, packet);
            return true;
        });
        return accepted;
    }

    std::unique_ptr<PacketPool> mPool = std::make_unique<PacketPool>();
    std::unique_ptr<Stalled> mStalled = std::make_unique<Stalled>();
};

TEST_F(StalledTest, OffersAgainInOrderWhatWasNotAccepted)
{
    for (PacketIndex packet = 0; packet < 3; ++packet)
        ASSERT_TRUE(mStalled->Add(*mPool, 7, packet));

    EXPECT_TRUE(Retry(0).empty());
    EXPECT_EQ(Retry(1), (Offers{{7, 0}}));
    EXPECT_TRUE(mStalled->Has(7));
    EXPECT_EQ(Retry(9), (Offers{{7, 1}, {7, 2}}));
    EXPECT_FALSE(mStalled->Has(7));
    EXPECT_TRUE(mStalled->IsEmpty());
}

TEST_F(StalledTest, KeepsEndpointsApart)
{
    mStalled->Add(*mPool, 7, 1);
    mStalled->Add(*mPool, 8, 2);
    mStalled->Add(*mPool, 7, 3);
    Offers accepted;

    mStalled->Retry(*mPool, [&](EndpointKey endpoint, PacketIndex packet) {
        if (endpoint == 8)
            return false;
        accepted.emplace_back(endpoint, packet);
        return true;
    });

    EXPECT_EQ(accepted, (Offers{{7, 1}, {7, 3}}));
    EXPECT_TRUE(mStalled->Has(8));
    EXPECT_EQ(Retry(9), (Offers{{8, 2}}));
}

} // namespace

} // namespace midiservice::test
