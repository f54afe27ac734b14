#include "mediaio/midiservice/src/OriginStates.h"

#include "tests/midiservice/Pieces.h"

#include <memory>

namespace midiservice::test {

namespace {

class OriginStatesTest : public testing::Test {
protected:
    std::vector<PieceRecord> Feed(std::uint64_t origin, const Bytes& bytes)
    {
        PieceList pieces;
        OriginState& state = mStates->Open({origin, 0});
        state.assembler.Feed(0, bytes.data(), bytes.size(), pieces);
        mStates->Close(state);
        return pieces.records;
    }

    std::unique_ptr<OriginStates> mStates = std::make_unique<OriginStates>();
};

TEST_F(OriginStatesTest, KeepsOriginsApart)
{
    EXPECT_TRUE(Feed(1, {0xF0, 0x11}).empty());
    EXPECT_TRUE(Feed(2, {0xF0, 0x22}).empty());

    EXPECT_EQ(Feed(1, {0xF7})[0].bytes, (Bytes{0xF0, 0x11, 0xF7}));
    EXPECT_EQ(Feed(2, {0xF7})[0].bytes, (Bytes{0xF0, 0x22, 0xF7}));
}

TEST_F(OriginStatesTest, ServesAnyNumberOfOriginsThatAreNotInTheMiddleOfSomething)
{
    EXPECT_TRUE(Feed(0, {0xF0, 0x11}).empty());
    for (std::uint64_t origin = 1; origin < 10 * OriginStates::kCapacity; ++origin)
        EXPECT_EQ(Feed(origin, {0xF0, 0x22, 0xF7}).size(), 1U);

    EXPECT_EQ(Feed(0, {0xF7})[0].bytes, (Bytes{0xF0, 0x11, 0xF7}));
}

TEST_F(OriginStatesTest, ForgetsTheOriginThatWasSilentForLongestWhenAllPlacesAreTaken)
{
    for (std::uint64_t origin = 0; origin < OriginStates::kCapacity; ++origin)
        Feed(origin, {0xF0, 0x11});
    Feed(0, {0x12});

    Feed(9999, {0xF0, 0x22});

    EXPECT_EQ(Feed(0, {0xF7})[0].bytes, (Bytes{0xF0, 0x11, 0x12, 0xF7}));
    EXPECT_EQ(Feed(2, {0xF7})[0].bytes, (Bytes{0xF0, 0x11, 0xF7}));
    EXPECT_EQ(Feed(1, {0xF7})[0].bytes, (Bytes{0xF7})) << "its beginning was given up";
}

} // namespace

} // namespace midiservice::test
