#include "mediaio/midiservice/src/HandleTable.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

namespace midiservice::test {

namespace {

class HandleTableTest : public testing::Test {
protected:
    std::unique_ptr<HandleTable> mTable = std::make_unique<HandleTable>();
};

TEST_F(HandleTableTest, MakesHandlesOfAKind)
{
    const MIDIObjectRef handle = mTable->Make(HandleKind::Source);

    EXPECT_NE(handle, 0U);
    EXPECT_TRUE(mTable->IsValid(handle, HandleKind::Source));
    EXPECT_FALSE(mTable->IsValid(handle, HandleKind::Destination));
    EXPECT_EQ(HandleTable::KindOf(handle), HandleKind::Source);
}

TEST_F(HandleTableTest, RefusesAStaleHandleAfterItsPlaceIsUsedAgain)
{
    std::set<MIDIObjectRef> stale;
    for (std::uint32_t round = 0; round < 3 * HandleTable::kCapacity; ++round) {
        const MIDIObjectRef handle = mTable->Make(HandleKind::Client);
        EXPECT_TRUE(stale.insert(handle).second) << "no handle comes twice";
        mTable->Free(handle);
    }

    const MIDIObjectRef current = mTable->Make(HandleKind::Client);
    EXPECT_TRUE(mTable->IsValid(current, HandleKind::Client));
    for (MIDIObjectRef handle : stale)
        EXPECT_FALSE(mTable->IsValid(handle, HandleKind::Client));
}

TEST_F(HandleTableTest, RefusesWhatNeverWasAHandle)
{
    mTable->Make(HandleKind::Client);

    for (MIDIObjectRef handle : {0U, 1U, 0x1FFFU, 0xFFFFFFFFU, 0x00012001U})
        for (int kind = 1; kind <= 5; ++kind)
            EXPECT_FALSE(mTable->IsValid(handle, static_cast<HandleKind>(kind))) << handle;
    EXPECT_EQ(HandleTable::KindOf(0), HandleKind::None);
    EXPECT_EQ(HandleTable::KindOf(0xFFFFFFFF), HandleKind::None);
}

TEST_F(HandleTableTest, SaysNoWhenItIsFull)
{
    for (std::uint32_t made = 0; made < HandleTable::kCapacity; ++made)
        ASSERT_NE(mTable->Make(HandleKind::Client), 0U);

    EXPECT_EQ(mTable->Make(HandleKind::Client), 0U);
}

TEST_F(HandleTableTest, FreesAHandleOnce)
{
    const MIDIObjectRef handle = mTable->Make(HandleKind::Client);
    mTable->Free(handle);
    mTable->Free(handle);

    for (std::uint32_t made = 0; made < HandleTable::kCapacity; ++made)
        ASSERT_NE(mTable->Make(HandleKind::Client), 0U);
    EXPECT_EQ(mTable->Make(HandleKind::Client), 0U);
}

} // namespace

} // namespace midiservice::test
