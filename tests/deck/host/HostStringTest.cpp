#include "deck/host/HostString.h"

#include <gtest/gtest.h>

#include <array>

namespace deck::host::test {
namespace {

const KORVASDK_StringSuite& kSuite = StringSuiteTable();

TEST(HostString, ComesBackAsItWasMade)
{
    KORVASDK_String* made = nullptr;
    ASSERT_EQ(kSuite.MakeString(u"Tor \u2192 \U0001F3AC", &made), kSuccess);
    const HostString owned(made);

    EXPECT_EQ(HostStringText(*owned), "Tor \u2192 \U0001F3AC");
}

TEST(HostString, TellsTheLengthThatIsNeededAndThenCopies)
{
    const HostString string = MakeHostString("abc");
    std::array<char16_t, 3> buffer{};
    uint32_t length = 0;

    EXPECT_EQ(kSuite.CopyString(string.get(), buffer.data(), &length), kErrorStringBufferTooSmall);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(kSuite.CopyString(string.get(), buffer.data(), &length), kSuccess);
    EXPECT_EQ(std::u16string_view(buffer.data(), length), u"abc");
}

TEST(HostString, AnswersForABufferOneUnitTooSmall)
{
    const HostString string = MakeHostString("abc");
    std::array<char16_t, 3> buffer{u'x', u'x', u'x'};
    uint32_t length = 2;

    EXPECT_EQ(kSuite.CopyString(string.get(), buffer.data(), &length), kErrorStringBufferTooSmall);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(buffer[0], u'x') << "nothing is written into a buffer that is too small";
}

TEST(HostString, AnswersSuccessAtOnceForAnEmptyString)
{
    const HostString string = MakeHostString("");
    uint32_t length = 0;

    EXPECT_EQ(kSuite.CopyString(string.get(), nullptr, &length), kSuccess);
    EXPECT_EQ(length, 0U);
}

TEST(HostString, RefusesNull)
{
    KORVASDK_String* made = nullptr;
    uint32_t length = 0;

    EXPECT_EQ(kSuite.MakeString(nullptr, &made), kErrorBadParameter);
    EXPECT_EQ(kSuite.MakeString(u"a", nullptr), kErrorBadParameter);
    EXPECT_EQ(kSuite.CopyString(nullptr, nullptr, &length), kErrorBadParameter);
}

TEST(HostString, IsCountedWhileItLives)
{
    const long before = LiveHostStrings();
    {
        const HostString string = MakeHostString("a");
        EXPECT_EQ(LiveHostStrings(), before + 1);
    }
    EXPECT_EQ(LiveHostStrings(), before);
}

TEST(StringSuite, HasNothingInItsReservedSlots)
{
    EXPECT_EQ(kSuite.reserved0, nullptr);
    EXPECT_EQ(kSuite.reserved1, nullptr);
    EXPECT_EQ(kSuite.reserved2, nullptr);
}

} // namespace
} // namespace deck::host::test
