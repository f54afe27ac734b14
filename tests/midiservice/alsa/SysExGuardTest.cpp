#include "mediaio/midiservice/src/alsa/SysExGuard.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace midiservice::alsa {
namespace {

class SysExGuardTest : public testing::Test {
protected:
    bool Accepts(std::vector<std::uint8_t> bytes, Address from = {20, 0})
    {
        return mGuard->Accept(from, bytes.data(), bytes.size());
    }

    std::unique_ptr<SysExGuard> mGuard = std::make_unique<SysExGuard>();
};

TEST_F(SysExGuardTest, LetsEverythingThroughWithoutALoss)
{
    EXPECT_TRUE(Accepts({0xF0, 1, 2}));
    EXPECT_TRUE(Accepts({3, 4}));
    EXPECT_TRUE(Accepts({5, 0xF7}));
    EXPECT_TRUE(Accepts({0x90, 1, 2}));
}

TEST_F(SysExGuardTest, DropsTheRestOfASysExAfterALoss)
{
    Accepts({0xF0, 1, 2});
    mGuard->OnLoss();

    EXPECT_FALSE(Accepts({3, 4}));
    EXPECT_TRUE(Accepts({0xF8}));
    EXPECT_FALSE(Accepts({5, 0xF7}));
    EXPECT_TRUE(Accepts({0xF0, 1, 0xF7}));
}

TEST_F(SysExGuardTest, TakesUpAgainWithTheNextMessage)
{
    Accepts({0xF0, 1, 2});
    mGuard->OnLoss();
    EXPECT_TRUE(Accepts({0xF0, 7, 7}));

    EXPECT_TRUE(Accepts({8, 0xF7}));
}

TEST_F(SysExGuardTest, LeavesOtherOriginsAlone)
{
    Accepts({0xF0, 1, 2}, {20, 0});
    Accepts({0xF0, 1, 0xF7}, {20, 1});
    mGuard->OnLoss();
    Accepts({0xF0, 1, 2}, {20, 2});

    EXPECT_FALSE(Accepts({3, 0xF7}, {20, 0}));
    EXPECT_TRUE(Accepts({3, 0xF7}, {20, 1}));
    EXPECT_TRUE(Accepts({3, 0xF7}, {20, 2}));
}

} // namespace
} // namespace midiservice::alsa
