#include "mediaio/midiservice/src/UniqueID.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace midiservice::test {

namespace {

const IdentityFacts kFacts{"jack", Direction::Source, "Ardour", "MTC out", "Ardour:MTC out"};

TEST(UniqueID, NeverChanges)
{
    // Users' settings hold these: a rule that yields others loses their ports.
    EXPECT_EQ(UniqueID(kFacts), -1091463144);
    EXPECT_EQ(UniqueID(kFacts, 1), -332767766);
}

TEST(UniqueID, DependsOnEveryFactThatCounts)
{
    std::vector<IdentityFacts> others(4, kFacts);
    others[0].driver = "alsa";
    others[1].direction = Direction::Destination;
    others[2].owner = "Ardou";
    others[3].port = "MTC ou";
    std::set<std::int32_t> ids{UniqueID(kFacts)};

    for (const IdentityFacts& other : others) {
        EXPECT_TRUE(ids.insert(UniqueID(other)).second);
        EXPECT_FALSE(SameIdentity(kFacts, other));
    }
}

TEST(UniqueID, DoesNotRunFactsTogether)
{
    IdentityFacts a = kFacts;
    IdentityFacts b = kFacts;
    a.owner = "ab";
    a.port = "c";
    b.owner = "a";
    b.port = "bc";

    EXPECT_NE(UniqueID(a), UniqueID(b));
}

TEST(UniqueID, DoesNotDependOnWhatOnlyOrders)
{
    IdentityFacts other = kFacts;
    other.order = "zzz";

    EXPECT_EQ(UniqueID(other), UniqueID(kFacts));
    EXPECT_TRUE(SameIdentity(other, kFacts));
    EXPECT_TRUE(ComesBefore(kFacts, other));
    EXPECT_FALSE(ComesBefore(other, kFacts));
}

TEST(UniqueID, IsNeverZeroAndSpreads)
{
    std::set<std::int32_t> ids;
    IdentityFacts facts = kFacts;
    for (int number = 0; number < 20'000; ++number) {
        facts.port = std::to_string(number);
        ids.insert(UniqueID(facts));
    }

    EXPECT_EQ(ids.count(0), 0U);
    // Two of 20 000 may meet by chance among 2^32.
    EXPECT_GE(ids.size(), 19'998U);
}

} // namespace

} // namespace midiservice::test
