#include "kelcore/proplist/PropListText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelcore::proplist::utils {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using utility::UTF16String;

constexpr const char* kSettings
    = R"({"PortConfiguration":{"in":"123","options":{"transmit_mtc":true},"out":"-456"}})";

PropList Settings()
{
    PropList list;
    PropList& ports = list.GetOrCreateList("PortConfiguration");
    ports.SetString("in", u"123");
    ports.SetString("out", u"-456");
    ports.GetOrCreateList("options").SetBool("transmit_mtc", true);
    return list;
}

PropList Read(std::string_view text)
{
    PropList list;
    ReadPropList(list, text);
    return list;
}

std::string ErrorOf(std::string_view text)
{
    PropList list = Settings();
    try {
        ReadPropList(list, text);
    } catch (const PropListSyntaxError& error) {
        EXPECT_EQ(list, Settings());
        return error.what();
    }
    ADD_FAILURE() << "accepted: " << text.substr(0, 100);
    return {};
}

std::string Nested(std::size_t depth)
{
    std::string text;
    for (std::size_t level = 1; level < depth; ++level) {
        text += R"({"a":)";
    }
    return text + "{}" + std::string(depth - 1, '}');
}

TEST(WritePropList, WritesJsonWithKeysInOrder)
{
    EXPECT_EQ(WritePropList(Settings()), kSettings);
    EXPECT_EQ(WritePropList(PropList()), "{}");
}

TEST(WritePropList, WritesUTF8)
{
    PropList list;
    list.SetString("name", u"Gr\u00FC\u00DFe \U0001F3B5 \"quoted\" \u0001");

    EXPECT_EQ(WritePropList(list),
        "{\"name\":\"Gr\xC3\xBC\xC3\x9F\x65 \xF0\x9F\x8E\xB5 \\\"quoted\\\" \\u0001\"}");
}

TEST(WritePropList, WritesAReplacementForWhatIsNoText)
{
    PropList list;
    list.SetString("k\xFF", UTF16String{u'a', char16_t{0xD800}, u'z'});

    EXPECT_EQ(WritePropList(list), "{\"k\xEF\xBF\xBD\":\"a\xEF\xBF\xBDz\"}");
}

TEST(ReadPropList, ReadsWhatWasWritten)
{
    EXPECT_EQ(Read(kSettings), Settings());
    EXPECT_EQ(Read("{}"), PropList());
    EXPECT_EQ(Read(WritePropList(Settings())), Settings());
}

TEST(ReadPropList, ReadsEscapesAndSpace)
{
    UTF16String text;

    const PropList list = Read(" {\r\n\t\"k\" : \"\\u00FC\\uD83C\\uDFB5\\n\\u0000\" }\n ");

    EXPECT_TRUE(list.GetString("k", text));
    EXPECT_EQ(text, UTF16String(u"\u00FC\U0001F3B5\n\0", 5));
}

TEST(ReadPropList, ReplacesWhatTheListHeld)
{
    PropList list;
    list.SetString("extra", u"goes");

    ReadPropList(list, kSettings);

    EXPECT_EQ(list, Settings());
}

TEST(ReadPropList, TakesAnEmptyTextForAnEmptyList)
{
    PropList list = Settings();

    ReadPropList(list, "");

    EXPECT_TRUE(list.IsEmpty());
}

// A host's string may come with the character that ends it.
TEST(ReadPropList, EndsAtANulCharacter)
{
    EXPECT_EQ(Read(kSettings + std::string("\0x", 2)), Settings());
    EXPECT_EQ(Read(std::string_view("\0", 1)), PropList());
}

TEST(ReadPropList, TakesTheLastOfTwoValuesWithOneKey)
{
    PropList expected;
    expected.GetOrCreateList("a").SetBool("y", true);

    EXPECT_EQ(Read(R"({"a":{"x":true},"a":{"y":true}})"), expected);
    EXPECT_EQ(Read(R"({"a":"1","a":{"y":true}})"), expected);
    EXPECT_EQ(Read(R"({"a":{"x":true},"a":{"y":false,"y":true}})"), expected);
}

TEST(ReadPropList, ReadsToTheGreatestDepth)
{
    EXPECT_EQ(WritePropList(Read(Nested(kMaxListDepth))), Nested(kMaxListDepth));
}

TEST(ReadPropList, RefusesWhatIsDeeper)
{
    EXPECT_THAT(ErrorOf(Nested(kMaxListDepth + 1)),
        AllOf(HasSubstr("line 1, column"), HasSubstr("at most 64")));
    ErrorOf(Nested(1'000'000));
}

TEST(ReadPropList, RefusesManyArraysInsideEachOther)
{
    ErrorOf(std::string(1'000'000, '['));
    ErrorOf(R"({"a":)" + std::string(1'000'000, '['));
}

TEST(ReadPropList, RefusesAnythingButAnObject)
{
    for (const char* const text : {"[]", "[{}]", "\"text\"", "true", "null", "12", "1.5"}) {
        EXPECT_THAT(
            ErrorOf(text), AllOf(HasSubstr("line 1, column"), HasSubstr("expected an object")))
            << text;
    }
}

TEST(ReadPropList, RefusesValuesOfOtherKindsAndSaysWhere)
{
    for (const char* const value : {"null", "12", "-12", "1.5", "[]", "[true]", "[{}]"}) {
        EXPECT_THAT(ErrorOf("{\"in\":\"1\",\n\"options\":{\"x\":" + std::string(value) + "}}"),
            AllOf(HasSubstr("line 2, column"),
                HasSubstr("expected a string, a boolean or an object at \"x\"")))
            << value;
    }
}

TEST(ReadPropList, NamesThePlaceAndWhatWasExpected)
{
    EXPECT_THAT(ErrorOf("{\n \"in\" \"1\"}"),
        AllOf(HasSubstr("line 2, column 9"), HasSubstr("expected ':'")));
    EXPECT_THAT(
        ErrorOf("{\"a\":[1]}"), AllOf(HasSubstr("line 1, column 6"), HasSubstr("an array")));
    EXPECT_THAT(ErrorOf("{\"a\":null}"), AllOf(HasSubstr("line 1, column 9"), HasSubstr("null")));
}

TEST(ReadPropList, RefusesBrokenText)
{
    for (const char* const text :
        {" ", "{", "}", "{\"a\"}", "{\"a\":}", "{\"a\":true,}", "{a:true}", "{\"a\":true}x",
            "{\"a\":true}{}", "{\"a\":\"\n\"}", "{\"a\":\"\\q\"}", "{\"a\":tru}",
            "{\"a\":\"\xFF\"}", "{\"a\":\"\xC3\"}", "{\"a\":\"\\uD800\"}", "{\"a\":1e999}",
            "{\"a\":true /* why */}", "{\"a\":{\"b\":true}", "{\"a\":\"unended"}) {
        EXPECT_THAT(ErrorOf(text), HasSubstr("line ")) << text;
    }
}

// Whatever piece of a text arrives, it is read or refused, and never read past its end.
TEST(ReadPropList, RefusesEveryBeginningOfAText)
{
    const std::string text = kSettings;
    for (std::size_t length = 1; length < text.size(); ++length) {
        const std::string beginning = text.substr(0, length);
        ErrorOf(std::string_view(beginning.data(), beginning.size()));
    }
}

} // namespace
} // namespace kelcore::proplist::utils
