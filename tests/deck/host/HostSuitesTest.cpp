#include "deck/host/HostSuites.h"

#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/StringSuite.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace deck::host::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HostSuitesTest : public testing::Test {
protected:
    const void* Acquire(const char* name, std::int32_t version)
    {
        const void* suite = nullptr;
        mSuites.BasicSuite().AcquireSuite(name, version, &suite);
        return suite;
    }

    const QXSuitesSuite& Registration()
    {
        return *static_cast<const QXSuitesSuite*>(Acquire(kQXSuitesSuite, kQXSuitesSuiteVersion));
    }

    HostSuites mSuites;
};

TEST_F(HostSuitesTest, OfferEverySuiteThatAControlSurfaceNeeds)
{
    EXPECT_NE(Acquire("QX Suites Suite", 2), nullptr);
    EXPECT_NE(Acquire("KORVASDK StringSuite", 1), nullptr);
    EXPECT_NE(Acquire("KORVASDK ControlSurfaceHost Suite", 1), nullptr);
    EXPECT_NE(Acquire("KORVASDK ControlSurfaceHost Transport Suite", 1), nullptr);
    EXPECT_NE(Acquire("KORVASDK ControlSurfaceHost SMPTE Suite", 1), nullptr);
    EXPECT_NE(Acquire("KORVASDK ControlSurfaceHost Internal Suite", 1), nullptr);
    EXPECT_EQ(mSuites.Registry().InUse().size(), 6U);
}

TEST_F(HostSuitesTest, RefuseWhatTheyDoNotHave)
{
    const void* suite = &mSuites;

    EXPECT_EQ(mSuites.BasicSuite().AcquireSuite("QX Suites Suite", 1, &suite), kErrorBadParameter);
    EXPECT_EQ(suite, nullptr);
    EXPECT_EQ(mSuites.BasicSuite().AcquireSuite(nullptr, 1, &suite), kErrorBadParameter);
    EXPECT_EQ(mSuites.BasicSuite().AcquireSuite("X", 1, nullptr), kErrorBadParameter);
    EXPECT_EQ(mSuites.BasicSuite().ReleaseSuite("X", 1), kErrorBadParameter);
    EXPECT_EQ(mSuites.BasicSuite().ReleaseSuite(nullptr, 1), kErrorBadParameter);
}

TEST_F(HostSuitesTest, CountWhatIsReleasedByNameAndVersion)
{
    Acquire("KORVASDK StringSuite", 1);

    EXPECT_EQ(mSuites.BasicSuite().ReleaseSuite("KORVASDK StringSuite", 1), kSuccess);
    EXPECT_THAT(mSuites.Registry().InUse(), IsEmpty());
}

TEST_F(HostSuitesTest, OfferWhatAPluginAddsUntilItFreesItsList)
{
    constexpr int kTable = 0;
    const QXSuitesSuite& registration = Registration();
    QXSuiteList* list = nullptr;
    QXSuite* added = nullptr;
    ASSERT_EQ(registration.AllocateSuiteList(nullptr, nullptr, &list), kSuccess);

    EXPECT_EQ(registration.AddSuite(list, nullptr, "Mine", 1, 1, &kTable, &added), kSuccess);
    EXPECT_EQ(registration.AddSuite(list, nullptr, "Mine", 2, 2, &kTable, &added), kSuccess);
    EXPECT_EQ(Acquire("Mine", 1), &kTable);
    EXPECT_EQ(Acquire("Mine", 2), &kTable);
    ASSERT_EQ(list->suites.size(), 2U);
    EXPECT_EQ(list->suites[1]->apiVersion, 2);
    EXPECT_EQ(list->suites[1]->internalVersion, 2);
    EXPECT_EQ(added, list->suites[1].get());

    EXPECT_EQ(registration.FreeSuiteList(list), kSuccess);
    EXPECT_EQ(Acquire("Mine", 1), nullptr);
    EXPECT_EQ(mSuites.LiveSuiteLists(), 0U);
}

TEST_F(HostSuitesTest, RefuseToAddToNoListOrTwice)
{
    constexpr int kTable = 0;
    const QXSuitesSuite& registration = Registration();
    QXSuiteList* list = nullptr;
    QXSuite* added = nullptr;
    registration.AllocateSuiteList(nullptr, nullptr, &list);

    EXPECT_EQ(
        registration.AddSuite(nullptr, nullptr, "A", 1, 1, &kTable, &added), kErrorBadParameter);
    EXPECT_EQ(
        registration.AddSuite(list, nullptr, nullptr, 1, 1, &kTable, &added), kErrorBadParameter);
    EXPECT_EQ(registration.AddSuite(list, nullptr, "A", 1, 1, nullptr, &added), kErrorBadParameter);
    EXPECT_EQ(registration.AddSuite(list, nullptr, "A", 1, 1, &kTable, nullptr), kSuccess);
    EXPECT_EQ(registration.AddSuite(list, nullptr, "A", 1, 1, &kTable, &added), kErrorBadParameter);
    EXPECT_EQ(list->suites.size(), 1U);
    EXPECT_EQ(registration.FreeSuiteList(nullptr), kErrorBadParameter);
    EXPECT_EQ(registration.AllocateSuiteList(nullptr, nullptr, nullptr), kErrorBadParameter);
}

TEST_F(HostSuitesTest, AreOneAProcess)
{
    EXPECT_THROW(HostSuites(), std::logic_error);
}

TEST(HostSuites, AnswerNobodyOnceTheyAreGone)
{
    const QXBasicSuite* basic = nullptr;
    {
        const HostSuites suites;
        basic = &suites.BasicSuite();
    }
    const void* suite = nullptr;

    EXPECT_EQ(basic->AcquireSuite("QX Suites Suite", 2, &suite), kErrorBadParameter);
}

} // namespace
} // namespace deck::host::test
