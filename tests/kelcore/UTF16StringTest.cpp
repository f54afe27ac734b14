#include "kelcore/utility/UTF16String.h"

#include <gtest/gtest.h>

namespace kelcore::utility {
namespace {

TEST(UTF8to16, ConvertsEveryLength)
{
    EXPECT_EQ(UTF8to16(""), u"");
    EXPECT_EQ(UTF8to16("A\x7F"), u"A\u007F");
    EXPECT_EQ(UTF8to16("\xC2\x80\xDF\xBF"), u"\u0080\u07FF");
    EXPECT_EQ(UTF8to16("\xE0\xA0\x80\xEF\xBF\xBF"), u"\u0800\uFFFF");
    EXPECT_EQ(UTF8to16("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), u"\U00010000\U0010FFFF");
}

TEST(UTF8to16, KeepsNulCharacters)
{
    EXPECT_EQ(UTF8to16(std::string_view("a\0b", 3)), UTF16String(u"a\0b", 3));
}

TEST(UTF8to16, ReplacesEachStrayTrailByte)
{
    EXPECT_EQ(UTF8to16("a\x80z"), u"a\uFFFDz");
    EXPECT_EQ(UTF8to16("a\x80\xBFz"), u"a\uFFFD\uFFFDz");
}

TEST(UTF8to16, ReplacesEachByteThatUTF8NeverHolds)
{
    EXPECT_EQ(UTF8to16("\xFF\xFE"), u"\uFFFD\uFFFD");
    EXPECT_EQ(UTF8to16("\xF8\x88\x80"), u"\uFFFD\uFFFD\uFFFD");
}

TEST(UTF8to16, ReplacesABrokenOffSequenceOnce)
{
    EXPECT_EQ(UTF8to16("\xE2\x82z"), u"\uFFFDz");
    EXPECT_EQ(UTF8to16("\xF0\x9F\x8Ez"), u"\uFFFDz");
    EXPECT_EQ(UTF8to16("\xC3\xC3\xA9"), u"\uFFFD\u00E9");
}

TEST(UTF8to16, ReplacesASequenceThatTheTextEndsInOnce)
{
    EXPECT_EQ(UTF8to16("z\xC3"), u"z\uFFFD");
    EXPECT_EQ(UTF8to16("z\xE2\x82"), u"z\uFFFD");
    EXPECT_EQ(UTF8to16("z\xF0\x9F\x8E"), u"z\uFFFD");
}

TEST(UTF8to16, ReplacesAnOverlongSequenceOnce)
{
    EXPECT_EQ(UTF8to16("\xC0\x80z"), u"\uFFFDz");
    EXPECT_EQ(UTF8to16("\xE0\x80\x80z"), u"\uFFFDz");
}

TEST(UTF8to16, ReplacesASurrogateAndWhatLiesBeyondUnicodeOnce)
{
    EXPECT_EQ(UTF8to16("\xED\xA0\x80z"), u"\uFFFDz");
    EXPECT_EQ(UTF8to16("\xF4\x90\x80\x80z"), u"\uFFFDz");
}

TEST(UTF16to8, ConvertsEveryLength)
{
    EXPECT_EQ(UTF16to8(u""), "");
    EXPECT_EQ(UTF16to8(u"A\u007F"), "A\x7F");
    EXPECT_EQ(UTF16to8(u"\u0080\u07FF"), "\xC2\x80\xDF\xBF");
    EXPECT_EQ(
        UTF16to8(u"\u0800\uD7FF\uE000\uFFFF"), "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF");
    EXPECT_EQ(UTF16to8(u"\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(UTF16to8, ReplacesEachUnpairedSurrogate)
{
    const std::string replacement = "\xEF\xBF\xBD";
    const char16_t high = 0xD83C;
    const char16_t low = 0xDFB5;

    EXPECT_EQ(UTF16to8(UTF16String{high}), replacement);
    EXPECT_EQ(UTF16to8(UTF16String{low}), replacement);
    EXPECT_EQ(UTF16to8(UTF16String{high, u'z'}), replacement + "z");
    EXPECT_EQ(UTF16to8(UTF16String{low, high}), replacement + replacement);
    EXPECT_EQ(UTF16to8(UTF16String{high, high, low}), replacement + "\xF0\x9F\x8E\xB5");
}

TEST(UTF16to8, TakesBackWhatUTF8to16Gave)
{
    const std::string text = "Gr\xC3\xBC\xC3\x9F\x65 \xE2\x82\xAC \xF0\x9F\x8E\xB5";

    EXPECT_EQ(UTF16to8(UTF8to16(text)), text);
}

TEST(AsciiToUTF16, WidensEachByte)
{
    EXPECT_EQ(AsciiToUTF16("-456"), u"-456");
    EXPECT_EQ(AsciiToUTF16(std::string_view("\0\x7F", 2)), UTF16String(u"\0\u007F", 2));
}

TEST(AsciiToUTF16, ReplacesWhatIsNotASCII)
{
    EXPECT_EQ(AsciiToUTF16("a\x80\xFFz"), u"a\uFFFD\uFFFDz");
}

} // namespace
} // namespace kelcore::utility
