#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceInfo.h"

#include "tests/support/HeapControl.h"

#include <gtest/gtest.h>

#include <new>
#include <type_traits>

namespace kelcontrolsurface {
namespace {

using kelcore::proplist::PropList;
using kelcore::utility::UTF16String;
using korva::tests::HeapControl;

static_assert(!std::is_polymorphic_v<MIDIDeviceInfo>);
static_assert(std::is_copy_constructible_v<MIDIDeviceInfo>);

MIDIDeviceInfo MakeRecord()
{
    MIDIDeviceInfo info;
    info.SetInputPortID(u"A");
    info.SetOutputPortID(u"B");
    info.GetOptions().SetBool("transmit_mtc", true);
    return info;
}

void ExpectSame(const MIDIDeviceInfo& info, const MIDIDeviceInfo& expected)
{
    EXPECT_EQ(info.GetInputPortID(), expected.GetInputPortID());
    EXPECT_EQ(info.GetOutputPortID(), expected.GetOutputPortID());
    EXPECT_TRUE(info.GetOptions() == expected.GetOptions());
}

UTF16String StringAt(const PropList& list, const char* key)
{
    UTF16String value = u"(none)";
    list.GetString(key, value);
    return value;
}

TEST(MIDIDeviceInfo, IsEmptyByDefault)
{
    const MIDIDeviceInfo info;

    EXPECT_EQ(info.GetInputPortID(), u"");
    EXPECT_EQ(info.GetOutputPortID(), u"");
    EXPECT_TRUE(info.GetOptions().IsEmpty());
}

TEST(MIDIDeviceInfo, CopiesAllThreeFields)
{
    const MIDIDeviceInfo record = MakeRecord();
    MIDIDeviceInfo assigned;
    assigned.GetOptions().SetString("old", u"option");

    assigned = record;
    const MIDIDeviceInfo constructed(record);

    ExpectSame(assigned, record);
    ExpectSame(constructed, record);
}

TEST(MIDIDeviceInfo, SharesNothingWithItsCopies)
{
    const MIDIDeviceInfo record = MakeRecord();
    MIDIDeviceInfo copy(record);

    copy.SetInputPortID(u"C");
    copy.GetOptions().SetBool("transmit_mtc", false);

    ExpectSame(record, MakeRecord());
}

TEST(MIDIDeviceInfo, MayBeAssignedToItself)
{
    MIDIDeviceInfo info = MakeRecord();
    const MIDIDeviceInfo& same = info;

    info = same;

    ExpectSame(info, MakeRecord());
}

TEST(MIDIDeviceInfo, StaysAsItIsWhereACopyCannotBeMade)
{
    MIDIDeviceInfo target = MakeRecord();
    MIDIDeviceInfo source;
    source.SetInputPortID(u"C");
    source.GetOptions().SetString("a key that is too long to be stored in place", u"and its value");

    // Each allocation in turn fails, until there are enough.
    int failures = 0;
    for (std::size_t number = 1; number < 100; ++number) {
        try {
            HeapControl heap;
            heap.RefuseRequest(number);
            target = source;
            break;
        } catch (const std::bad_alloc&) {
            ++failures;
            ExpectSame(target, MakeRecord());
        }
    }

    EXPECT_GT(failures, 0);
    ExpectSame(target, source);
}

TEST(MIDIDeviceInfo, ComesBackAsItWasSaved)
{
    PropList list;
    MIDIDeviceInfo loaded;

    SaveDeviceInfo(MakeRecord(), list);
    LoadDeviceInfo(loaded, list);

    ExpectSame(loaded, MakeRecord());
}

TEST(SaveDeviceInfo, WritesItsThreeKeysAndNoOther)
{
    PropList list;

    SaveDeviceInfo(MakeRecord(), list);

    EXPECT_EQ(StringAt(list, "in"), u"A");
    EXPECT_EQ(StringAt(list, "out"), u"B");
    ASSERT_NE(list.FindList("options"), nullptr);
    bool transmit = false;
    EXPECT_TRUE(list.FindList("options")->GetBool("transmit_mtc", transmit));
    EXPECT_TRUE(transmit);
    EXPECT_EQ(list.GetEntries().size(), 3U);
}

TEST(SaveDeviceInfo, ReplacesEarlierIDsAndTheWholeOptionList)
{
    PropList list;
    list.SetString("in", u"old");
    list.SetBool("out", true);
    list.SetString("kept", u"not ours");
    list.GetOrCreateList("options").SetString("extra", u"old");

    SaveDeviceInfo(MakeRecord(), list);

    EXPECT_EQ(StringAt(list, "in"), u"A");
    EXPECT_EQ(StringAt(list, "out"), u"B");
    EXPECT_EQ(StringAt(list, "kept"), u"not ours");
    EXPECT_TRUE(*list.FindList("options") == MakeRecord().GetOptions());
}

TEST(SaveDeviceInfo, WritesEmptyIDsAndOptions)
{
    PropList list;

    SaveDeviceInfo(MIDIDeviceInfo(), list);

    EXPECT_EQ(StringAt(list, "in"), u"");
    EXPECT_EQ(StringAt(list, "out"), u"");
    ASSERT_NE(list.FindList("options"), nullptr);
    EXPECT_TRUE(list.FindList("options")->IsEmpty());
}

TEST(LoadDeviceInfo, ReadsWhatIsMissingAsEmpty)
{
    MIDIDeviceInfo info = MakeRecord();

    LoadDeviceInfo(info, PropList());

    ExpectSame(info, MIDIDeviceInfo());
}

TEST(LoadDeviceInfo, HasNoOptionsFromAListWithoutThem)
{
    PropList list;
    list.SetString("in", u"1");
    list.SetString("out", u"2");
    MIDIDeviceInfo info = MakeRecord();

    LoadDeviceInfo(info, list);

    EXPECT_EQ(info.GetInputPortID(), u"1");
    EXPECT_EQ(info.GetOutputPortID(), u"2");
    EXPECT_TRUE(info.GetOptions().IsEmpty());
}

TEST(LoadDeviceInfo, ReadsValuesOfAnotherKindAsMissing)
{
    PropList list;
    list.SetBool("in", true);
    list.GetOrCreateList("out");
    list.SetString("options", u"text");
    MIDIDeviceInfo info = MakeRecord();

    LoadDeviceInfo(info, list);

    ExpectSame(info, MIDIDeviceInfo());
}

TEST(LoadDeviceInfo, LeavesTheRecordAsItWasWhereMemoryRunsOut)
{
    PropList list;
    list.SetString("in", u"C");
    list.GetOrCreateList("options").SetString(
        "a key that is too long to be stored in place", u"and its value");
    MIDIDeviceInfo info = MakeRecord();

    int failures = 0;
    for (std::size_t number = 1; number < 100; ++number) {
        try {
            HeapControl heap;
            heap.RefuseRequest(number);
            LoadDeviceInfo(info, list);
            break;
        } catch (const std::bad_alloc&) {
            ++failures;
            ExpectSame(info, MakeRecord());
        }
    }

    EXPECT_GT(failures, 0);
    EXPECT_EQ(info.GetInputPortID(), u"C");
}

} // namespace
} // namespace kelcontrolsurface
