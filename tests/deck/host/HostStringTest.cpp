#include "deck/host/HostString.h"

#include <gtest/gtest.h>

#include <array>

namespace deck::host::test {
namespace {

const KORVASDK_StringSuite& kSuite = StringSuiteTable();

TEST(HostString, ComesBackAsItWasMade)
{
    HostString string = MakeHostString("what it held before");
    ASSERT_EQ(kSuite.MakeString(u"Tor \u2192 \U0001F3AC", &string), kSuccess);

    EXPECT_EQ(HostStringText(string), "Tor \u2192 \U0001F3AC");
}

TEST(HostString, TellsTheLengthThatIsNeededAndThenCopies)
{
    const HostString string = MakeHostString("abc");
    std::array<char16_t, 3> buffer{};
    uint32_t length = 0;

    EXPECT_EQ(kSuite.CopyString(&string, buffer.data(), &length), kErrorStringBufferTooSmall);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(kSuite.CopyString(&string, buffer.data(), &length), kSuccess);
    EXPECT_EQ(std::u16string_view(buffer.data(), length), u"abc");
}

TEST(HostString, AnswersForABufferOneUnitTooSmall)
{
    const HostString string = MakeHostString("abc");
    std::array<char16_t, 3> buffer{u'x', u'x', u'x'};
    uint32_t length = 2;

    EXPECT_EQ(kSuite.CopyString(&string, buffer.data(), &length), kErrorStringBufferTooSmall);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(buffer[0], u'x') << "nothing is written into a buffer that is too small";
}

TEST(HostString, AnswersSuccessAtOnceForAnEmptyString)
{
    const HostString string = MakeHostString("");
    uint32_t length = 0;

    EXPECT_EQ(kSuite.CopyString(&string, nullptr, &length), kSuccess);
    EXPECT_EQ(length, 0U);
}

TEST(HostString, RefusesNull)
{
    HostString string;
    uint32_t length = 0;

    EXPECT_EQ(kSuite.MakeString(nullptr, &string), kErrorBadParameter);
    EXPECT_EQ(kSuite.MakeString(u"a", nullptr), kErrorBadParameter);
    EXPECT_EQ(kSuite.CopyString(nullptr, nullptr, &length), kErrorBadParameter);
}

TEST(StringSuite, HasNothingInItsReservedSlots)
{
    EXPECT_EQ(kSuite.reserved0, nullptr);
    EXPECT_EQ(kSuite.reserved1, nullptr);
    EXPECT_EQ(kSuite.reserved2, nullptr);
}

} // namespace
} // namespace deck::host::test
