#include "kelcore/proplist/PropList.h"

#include <gtest/gtest.h>

#include <utility>

namespace kelcore::proplist {
namespace {

using utility::UTF16String;

std::string LongKey()
{
    return "transmit_mtc_and_more_than_a_short_string_holds";
}

PropList Settings()
{
    PropList list;
    list.SetString("in", u"123");
    list.GetOrCreateList("options").SetBool("transmit_mtc", true);
    return list;
}

TEST(PropList, IsMadeEmpty)
{
    const PropList list;

    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.FindList("options"), nullptr);
}

TEST(PropList, GivesBackStringsAndBooleans)
{
    PropList list;
    list.SetString("in", u"\U0001F3B5");
    list.SetBool("on", true);
    list.SetBool("off", false);

    UTF16String text;
    bool on = false;
    bool off = true;
    EXPECT_TRUE(list.GetString("in", text));
    EXPECT_TRUE(list.GetBool("on", on));
    EXPECT_TRUE(list.GetBool("off", off));
    EXPECT_EQ(text, u"\U0001F3B5");
    EXPECT_TRUE(on);
    EXPECT_FALSE(off);
}

TEST(PropList, LeavesTheValueAloneWhereTheKeyIsAbsentOrOfAnotherKind)
{
    const PropList list = Settings();
    UTF16String text = u"as it was";
    bool value = true;

    EXPECT_FALSE(list.GetString("out", text));
    EXPECT_FALSE(list.GetString("options", text));
    EXPECT_FALSE(list.GetBool("out", value));
    EXPECT_FALSE(list.GetBool("in", value));
    EXPECT_EQ(list.FindList("in"), nullptr);
    EXPECT_EQ(text, u"as it was");
    EXPECT_TRUE(value);
}

TEST(PropList, ReplacesAValueOfAnyKind)
{
    PropList list = Settings();
    list.SetBool("in", true);
    list.SetString("options", u"none");

    bool in = false;
    UTF16String options;
    EXPECT_TRUE(list.GetBool("in", in));
    EXPECT_TRUE(list.GetString("options", options));
    EXPECT_EQ(options, u"none");
    EXPECT_EQ(list.GetEntries().size(), 2U);
}

TEST(PropList, FindsAndMakesSubLists)
{
    PropList list;

    PropList& made = list.GetOrCreateList("options");
    made.SetBool(LongKey(), true);

    EXPECT_EQ(&list.GetOrCreateList("options"), &made);
    EXPECT_EQ(list.FindList("options"), &made);
    EXPECT_EQ(std::as_const(list).FindList("options"), &made);
}

TEST(PropList, MakesASubListInPlaceOfAnotherValue)
{
    PropList list;
    list.SetBool("options", true);

    EXPECT_TRUE(list.GetOrCreateList("options").IsEmpty());

    EXPECT_NE(list.FindList("options"), nullptr);
}

TEST(PropList, CopiesEverythingBelowIt)
{
    PropList list = Settings();
    const PropList copy(list);

    list.SetString("in", u"changed");
    list.FindList("options")->SetBool("transmit_mtc", false);

    EXPECT_EQ(copy, Settings());
    EXPECT_NE(copy, list);
}

TEST(PropList, AssignsACopyInPlaceOfAllItHeld)
{
    PropList list;
    list.SetString("extra", u"goes");
    const PropList other = Settings();

    list = other;
    EXPECT_EQ(list, Settings());
    const PropList& itself = list;
    list = itself;

    EXPECT_EQ(list, Settings());
}

TEST(PropList, TakesOneOfItsOwnSubListsByAssignment)
{
    PropList copied = Settings();
    copied = *copied.FindList("options");
    PropList moved = Settings();
    moved = std::move(*moved.FindList("options"));

    EXPECT_EQ(copied, *Settings().FindList("options"));
    EXPECT_EQ(moved, *Settings().FindList("options"));
}

TEST(PropList, PutsACopyOfItselfBelowItself)
{
    PropList list = Settings();

    list.GetOrCreateList("copy") = list;

    ASSERT_NE(list.FindList("copy"), nullptr);
    EXPECT_NE(list.FindList("copy")->FindList("options"), nullptr);
}

TEST(PropList, HandsItsEntriesOverByMove)
{
    PropList list = Settings();
    PropList* const options = list.FindList("options");

    PropList moved(std::move(list));
    EXPECT_EQ(moved.FindList("options"), options);
    PropList assigned;
    assigned = std::move(moved);

    EXPECT_EQ(assigned, Settings());
}

TEST(PropList, ComparesKeysKindsAndValues)
{
    PropList list = Settings();
    EXPECT_EQ(list, Settings());

    list.FindList("options")->SetBool("transmit_mtc", false);
    EXPECT_NE(list, Settings());

    list = Settings();
    list.SetBool("in", true);
    EXPECT_NE(list, Settings());

    list = Settings();
    list.SetBool("more", true);
    EXPECT_NE(list, Settings());

    list.Clear();
    EXPECT_NE(list, Settings());
    EXPECT_EQ(list, PropList());
}

TEST(PropList, IsEmptyWhenCleared)
{
    PropList list = Settings();

    list.Clear();

    EXPECT_TRUE(list.IsEmpty());
}

} // namespace
} // namespace kelcore::proplist
