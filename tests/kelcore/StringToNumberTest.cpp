#include "kelcore/utility/StringToNumber.h"

#include <gtest/gtest.h>

#include <optional>

namespace kelcore::utility {
namespace {

constexpr std::int32_t kUntouched = 77;

std::optional<std::int32_t> Parse(const UTF16String& text)
{
    std::int32_t value = kUntouched;
    if (StringToNumber(text, value, 1)) {
        return value;
    }
    EXPECT_EQ(value, kUntouched);
    return std::nullopt;
}

TEST(StringToNumber, ReadsDigits)
{
    EXPECT_EQ(Parse(u"0"), 0);
    EXPECT_EQ(Parse(u"123"), 123);
    EXPECT_EQ(Parse(u"0000000000000000000123"), 123);
}

TEST(StringToNumber, ReadsASign)
{
    EXPECT_EQ(Parse(u"-456"), -456);
    EXPECT_EQ(Parse(u"+456"), 456);
    EXPECT_EQ(Parse(u"-0"), 0);
}

TEST(StringToNumber, ReadsTheWholeRange)
{
    EXPECT_EQ(Parse(u"2147483647"), 2147483647);
    EXPECT_EQ(Parse(u"-2147483648"), -2147483647 - 1);
}

TEST(StringToNumber, RefusesWhatIsOutsideTheRange)
{
    EXPECT_EQ(Parse(u"2147483648"), std::nullopt);
    EXPECT_EQ(Parse(u"-2147483649"), std::nullopt);
    EXPECT_EQ(Parse(u"4294967297"), std::nullopt);
    EXPECT_EQ(Parse(UTF16String(100, u'9')), std::nullopt);
}

TEST(StringToNumber, RefusesWhatIsNoNumber)
{
    for (const auto* text : {u"", u"-", u"+", u"abc", u"12x", u"x12", u" 12", u"12 ", u"--1",
             u"+-1", u"-+1", u"1.0", u"0x10", u"1e3", u"\u0661", u"\uFF11"}) {
        EXPECT_EQ(Parse(text), std::nullopt);
    }
    EXPECT_EQ(Parse(UTF16String(u"1\0", 2)), std::nullopt);
}

} // namespace
} // namespace kelcore::utility
