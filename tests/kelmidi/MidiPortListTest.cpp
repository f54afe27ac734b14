#include "mediaio/kelmidi/src/MidiPortList.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <gmock/gmock.h>

#include <type_traits>
#include <utility>

namespace kelmidi {
namespace {

using kelcore::utility::UTF16String;
using testing::ElementsAre;

struct StandIn {
    explicit StandIn(const UTF16String& uniqueID)
        : id(uniqueID)
    {
    }
    UTF16String GetUniqueID() const { return id; }

    UTF16String id;
};
using Port = boost::shared_ptr<StandIn>;
using List = MidiPortList<Port>;

Port MakePort(const UTF16String& id)
{
    return boost::make_shared<StandIn>(id);
}

// So that a vector of lists moves them.
static_assert(std::is_nothrow_move_constructible_v<List>);
static_assert(std::is_nothrow_move_assignable_v<List>);

List MakeList()
{
    List list;
    list.AddPort(MakePort(u"2"));
    list.AddPort(MakePort(u"1"));
    list.SetLabel(u"a label");
    return list;
}

TEST(MidiPortList, KeepsPortsInTheOrderOfAdding)
{
    List list;
    const Port later = MakePort(u"b");
    const Port earlier = MakePort(u"a");

    list.AddPort(later);
    list.AddPort(earlier);

    EXPECT_THAT(list.GetPorts(), ElementsAre(later, earlier));
    EXPECT_EQ(list.GetLabel(), u"");
}

TEST(MidiPortList, OrdersIDsByTheirCodeUnits)
{
    List list;
    list.AddPort(MakePort(u"\U0001D11E")); // its first unit, U+D834, is below U+FF01
    list.AddPort(MakePort(u"\uFF01"));
    list.AddPort(MakePort(u"-1"));
    list.AddPort(MakePort(u"1"));
    list.AddPort(MakePort(u"10"));

    std::vector<UTF16String> ids;
    for (const auto& [id, port] : list.GetPortsByID()) {
        EXPECT_EQ(port->id, id);
        ids.push_back(id);
    }
    EXPECT_THAT(ids, ElementsAre(u"-1", u"1", u"10", u"\U0001D11E", u"\uFF01"));
}

TEST(MidiPortList, IgnoresANullPort)
{
    List list;

    list.AddPort(Port());

    EXPECT_TRUE(list.GetPorts().empty());
    EXPECT_TRUE(list.GetPortsByID().empty());
}

TEST(MidiPortList, KeepsTheFirstOfTwoPortsWithOneID)
{
    List list;
    const Port first = MakePort(u"7");
    const Port between = MakePort(u"8");

    list.AddPort(first);
    list.AddPort(between);
    list.AddPort(MakePort(u"7"));

    EXPECT_THAT(list.GetPorts(), ElementsAre(first, between));
    EXPECT_EQ(list.GetPortsByID().at(u"7"), first);
}

TEST(MidiPortList, LeavesTheSourceOfAMoveEmpty)
{
    List source = MakeList();
    List target;
    target.AddPort(MakePort(u"old"));

    target = std::move(source);

    ASSERT_EQ(target.GetPorts().size(), 2U);
    EXPECT_EQ(target.GetPorts()[0]->id, u"2");
    EXPECT_EQ(target.GetPortsByID().size(), 2U);
    EXPECT_EQ(target.GetLabel(), u"a label");
    EXPECT_TRUE(source.GetPorts().empty()); // NOLINT(bugprone-use-after-move): the promise tested
    EXPECT_TRUE(source.GetPortsByID().empty());
    EXPECT_EQ(source.GetLabel(), u"");
}

TEST(MidiPortList, MovesIntoANewList)
{
    List source = MakeList();

    const List target(std::move(source));

    EXPECT_EQ(target.GetPorts().size(), 2U);
    EXPECT_TRUE(source.GetPorts().empty()); // NOLINT(bugprone-use-after-move): the promise tested
}

} // namespace
} // namespace kelmidi
