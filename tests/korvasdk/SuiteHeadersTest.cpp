#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/ControlSurfacePluginSuite.h"
#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "korvasdk/suites/SMPTETimeFormat.h"

#include <gtest/gtest.h>

extern "C" KORVASDK_Result SuiteHeadersTest_ResultInC(int which);

namespace korvasdk::tests {

namespace {

constexpr KORVASDK_Result FourCharacters(const char (&text)[5])
{
    return (text[0] << 24) | (text[1] << 16) | (text[2] << 8) | text[3];
}

} // namespace

TEST(SuiteHeaders, SpellErrorsAsFourCharactersTheFirstMostSignificant)
{
    EXPECT_EQ(kErrorBadParameter, FourCharacters("Parm"));
    EXPECT_EQ(kErrorBadParameter, 1348563565);
    EXPECT_EQ(kErrorNotImplemented, FourCharacters("!IMP"));
    EXPECT_EQ(kErrorNotImplemented, 558452048);
    EXPECT_EQ(kErrorStringBufferTooSmall, FourCharacters("sbts"));
    EXPECT_EQ(kErrorStringBufferTooSmall, 1935832179);
}

TEST(SuiteHeaders, MeanTheSameInC)
{
    EXPECT_EQ(SuiteHeadersTest_ResultInC(0), kSuccess);
    EXPECT_EQ(SuiteHeadersTest_ResultInC(1), kErrorBadParameter);
    EXPECT_EQ(SuiteHeadersTest_ResultInC(2), kErrorNotImplemented);
    EXPECT_EQ(SuiteHeadersTest_ResultInC(3), kErrorStringBufferTooSmall);
}

TEST(SuiteHeaders, NumberTheFrameRates)
{
    EXPECT_EQ(kSMPTETimeFormat24, 2);
    EXPECT_EQ(kSMPTETimeFormat25, 3);
    EXPECT_EQ(kSMPTETimeFormat30Drop, 4);
    EXPECT_EQ(kSMPTETimeFormat30NonDrop, 5);
}

TEST(SuiteHeaders, NameEverySuite)
{
    EXPECT_STREQ(kQXSuitesSuite, "QX Suites Suite");
    EXPECT_EQ(kQXSuitesSuiteVersion, 2);
    EXPECT_STREQ(kKORVASDKStringSuite, "KORVASDK StringSuite");
    EXPECT_STREQ(kKORVASDKControlSurfaceHostSuite, "KORVASDK ControlSurfaceHost Suite");
    EXPECT_STREQ(
        kKORVASDKControlSurfaceHostTransportSuite, "KORVASDK ControlSurfaceHost Transport Suite");
    EXPECT_STREQ(kKORVASDKControlSurfaceHostSMPTESuite, "KORVASDK ControlSurfaceHost SMPTE Suite");
    EXPECT_STREQ(
        kKORVASDKControlSurfaceHostInternalSuite, "KORVASDK ControlSurfaceHost Internal Suite");
    EXPECT_STREQ(kKORVASDKControlSurfacePluginSuite, "KORVASDK ControlSurfacePlugin Suite");
    EXPECT_STREQ(kKORVASDKControlSurfaceInternalSuite, "KORVASDK ControlSurface Internal Suite");
    EXPECT_STREQ(kKORVASDKEntryPointName, "EntryPoint");
}

} // namespace korvasdk::tests
