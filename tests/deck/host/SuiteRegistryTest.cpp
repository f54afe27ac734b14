#include "deck/host/SuiteRegistry.h"

#include <gmock/gmock.h>

namespace deck::host::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kTable = 1;
constexpr int kOtherTable = 2;

TEST(SuiteRegistry, CountsUsesPerNameAndVersion)
{
    SuiteRegistry registry;
    registry.Add("A", 1, &kTable);
    registry.Add("A", 2, &kOtherTable);

    EXPECT_EQ(registry.Acquire("A", 1), &kTable);
    EXPECT_EQ(registry.Acquire("A", 1), &kTable);
    EXPECT_EQ(registry.Acquire("A", 2), &kOtherTable);

    EXPECT_THAT(registry.InUse(), ElementsAre(SuiteUse{"A", 1, 2}, SuiteUse{"A", 2, 1}));
}

TEST(SuiteRegistry, HasNothingInUseOnceAllIsReleased)
{
    SuiteRegistry registry;
    registry.Add("A", 1, &kTable);
    registry.Acquire("A", 1);

    EXPECT_TRUE(registry.Release("A", 1));
    EXPECT_THAT(registry.InUse(), IsEmpty());
    EXPECT_FALSE(registry.Release("A", 1)) << "one release too many";
}

TEST(SuiteRegistry, YieldsNullForWhatNobodyOffers)
{
    SuiteRegistry registry;
    registry.Add("A", 1, &kTable);

    EXPECT_EQ(registry.Acquire("A", 3), nullptr);
    EXPECT_EQ(registry.Acquire("B", 1), nullptr);
    EXPECT_THAT(registry.InUse(), IsEmpty());
    EXPECT_FALSE(registry.Release("B", 1));
}

TEST(SuiteRegistry, KeepsTheFirstTableOfAName)
{
    SuiteRegistry registry;

    EXPECT_TRUE(registry.Add("A", 1, &kTable));
    EXPECT_FALSE(registry.Add("A", 1, &kOtherTable));
    EXPECT_EQ(registry.Acquire("A", 1), &kTable);
}

TEST(SuiteRegistry, StillReportsUsesOfASuiteThatWasWithdrawn)
{
    SuiteRegistry registry;
    registry.Add("A", 1, &kTable);
    registry.Acquire("A", 1);
    registry.Remove("A", 1);

    EXPECT_EQ(registry.Acquire("A", 1), nullptr);
    EXPECT_THAT(registry.InUse(), ElementsAre(SuiteUse{"A", 1, 1}));
    EXPECT_TRUE(registry.Release("A", 1));
    EXPECT_THAT(registry.InUse(), IsEmpty());
}

TEST(HeldSuite, GivesItsUseBack)
{
    SuiteRegistry registry;
    registry.Add("A", 1, &kTable);
    {
        const HeldSuite<int> held(registry, "A", 1);
        EXPECT_EQ(held.Get(), &kTable);
        EXPECT_THAT(registry.InUse(), ElementsAre(SuiteUse{"A", 1, 1}));
        const HeldSuite<int> missing(registry, "B", 1);
        EXPECT_EQ(missing.Get(), nullptr);
    }

    EXPECT_THAT(registry.InUse(), IsEmpty());
}

} // namespace
} // namespace deck::host::test
