#include "kelui/controls/UI_Popup.h"

#include <boost/intrusive_ptr.hpp>
#include <gtest/gtest.h>

#include <memory>

using kelui::controls::ControlGuard;
using kelui::controls::UI_Popup;

namespace {

struct UI_PopupTest : testing::Test {
    std::shared_ptr<ControlGuard> guard = std::make_shared<ControlGuard>();
    boost::intrusive_ptr<UI_Popup> popup{new UI_Popup(guard, u"P")};
};

TEST_F(UI_PopupTest, StartsEmptyWithNothingSelected)
{
    EXPECT_EQ(popup->GetItemCount(), 0);
    EXPECT_EQ(popup->GetValue(), UI_Popup::kNothingSelected);
}

TEST_F(UI_PopupTest, AnswersTheIndexOfEachNewItem)
{
    EXPECT_EQ(popup->AddItem(u"one"), 0);
    EXPECT_EQ(popup->AddItem(u"one"), 1);
    EXPECT_EQ(popup->GetItemCount(), 2);
}

TEST_F(UI_PopupTest, SelectsItsFirstItemByItself)
{
    popup->AddItem(u"one");
    popup->AddItem(u"two");

    EXPECT_EQ(popup->GetValue(), 0);
}

TEST_F(UI_PopupTest, SelectsOnlyItemsThatItHas)
{
    popup->AddItem(u"one");
    popup->AddItem(u"two");

    popup->SetValue(1);
    popup->SetValue(2);
    popup->SetValue(-1);

    EXPECT_EQ(popup->GetValue(), 1);
}

TEST_F(UI_PopupTest, ForgetsItemsAndSelectionTogether)
{
    popup->AddItem(u"one");

    popup->DeleteAllItems();

    EXPECT_EQ(popup->GetItemCount(), 0);
    EXPECT_EQ(popup->GetValue(), UI_Popup::kNothingSelected);
}

TEST_F(UI_PopupTest, ShowsItsStateOnlyToAWindowThatIsBehind)
{
    popup->AddItem(u"one");
    const UI_Popup::State state = popup->GetStateAfter(0);
    ASSERT_EQ(state.labels.size(), 1U);
    EXPECT_EQ(state.labels[0], u"one");
    EXPECT_EQ(state.value, 0);

    EXPECT_EQ(popup->GetStateAfter(state.version).version, 0U);

    popup->SetValue(0);
    EXPECT_NE(popup->GetStateAfter(state.version).version, 0U);
}

TEST_F(UI_PopupTest, TakesAPickFromAWindowThatIsUpToDate)
{
    popup->AddItem(u"one");
    popup->AddItem(u"two");

    EXPECT_TRUE(popup->TryPick(1, popup->GetStateAfter(0).version));
    EXPECT_EQ(popup->GetValue(), 1);
}

TEST_F(UI_PopupTest, RefusesAPickOfAnItemThatMayHaveMoved)
{
    popup->AddItem(u"one");
    popup->AddItem(u"two");
    const auto version = popup->GetStateAfter(0).version;
    popup->AddItem(u"three");

    EXPECT_FALSE(popup->TryPick(1, version));
    EXPECT_FALSE(popup->TryPick(3, popup->GetStateAfter(0).version));
    EXPECT_EQ(popup->GetValue(), 0);
}

TEST_F(UI_PopupTest, WakesTheWindowOnceUntilItHasLooked)
{
    int wakes = 0;
    guard->SetWindow([&wakes] { ++wakes; });

    popup->AddItem(u"one");
    popup->AddItem(u"two");
    EXPECT_EQ(wakes, 1);

    {
        const auto lock = guard->Take();
        guard->BeginLook();
    }
    popup->SetValue(1);
    EXPECT_EQ(wakes, 2);
}

TEST_F(UI_PopupTest, WakesNoWindowThatHasClosed)
{
    int wakes = 0;
    guard->SetWindow([&wakes] { ++wakes; });
    guard->SetWindow({});

    popup->AddItem(u"one");

    EXPECT_EQ(wakes, 0);
}

} // namespace
