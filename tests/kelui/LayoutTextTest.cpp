#include "kelorintal/LayoutText.h"

#include "kelui/controls/UI_Checkbox.h"
#include "kelui/controls/UI_Popup.h"
#include "tests/kelcore/TestFolder.h"
#include "tests/kelui/TestScreen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using kelorintal::LayoutText;
using kelorintal::MakeControls;
using kelorintal::ReadLayout;
using kelui::controls::UI_Checkbox;
using kelui::controls::UI_Popup;
using kelui::controls::UI_ViewHolder;

namespace {

template <typename T> T* Find(const UI_ViewHolder& holder, const char16_t* id)
{
    return dynamic_cast<T*>(holder.GetControlForID(id).get());
}

TEST(ReadLayout, TakesTheFirstNameThatTheResourcesHold)
{
    const kelcore::tests::TestFolder folder;
    folder.Write("second.ui", "two");
    folder.Write("third.ui", "three");
    const kelui::tests::FolderResources resources(folder.Path(""));

    EXPECT_EQ(ReadLayout(&resources, "first", "second").text, "two");
    EXPECT_EQ(ReadLayout(&resources, "third", "second").text, "three");
    EXPECT_EQ(ReadLayout(&resources, nullptr, "second").text, "two");
}

TEST(ReadLayout, SaysWhatIsMissing)
{
    const kelcore::tests::TestFolder folder;
    folder.Write("empty.ui", "");
    const kelui::tests::FolderResources resources(folder.Path(""));

    EXPECT_EQ(ReadLayout(&resources, "a", "b").whyNot, "the resources hold no layout a.ui or b.ui");
    EXPECT_EQ(ReadLayout(&resources, "a", "a").whyNot, "the resources hold no layout a.ui");
    EXPECT_EQ(ReadLayout(&resources, "empty", "a").whyNot, "layout empty.ui is empty");
    EXPECT_EQ(
        ReadLayout(nullptr, "a", "a").whyNot, "no layout is named, or no resources are at hand");
    EXPECT_EQ(ReadLayout(&resources, nullptr, nullptr).whyNot,
        "no layout is named, or no resources are at hand");
}

TEST(MakeControls, MakesPopupsAndCheckboxesAtAnyDepth)
{
    UI_ViewHolder holder;

    EXPECT_EQ(MakeControls("<ui><widget class='QDialog' name='D'><layout><item>"
                           "<widget class='QComboBox' name='P'/></item><item>"
                           "<widget class='QGroupBox' name='G'>"
                           "<widget class='QCheckBox' name='C'/></widget></item></layout>"
                           "<widget class='QLabel' name='L'/></widget></ui>",
                  holder),
        "");

    EXPECT_NE(Find<UI_Popup>(holder, u"P"), nullptr);
    EXPECT_NE(Find<UI_Checkbox>(holder, u"C"), nullptr);
    EXPECT_EQ(Find<UI_Popup>(holder, u"C"), nullptr);
    EXPECT_EQ(holder.GetControls().size(), 2U);
}

TEST(MakeControls, GivesEachControlTheStateOfTheLayout)
{
    UI_ViewHolder holder;

    ASSERT_EQ(MakeControls("<ui><widget class='QComboBox' name='P'>"
                           "<property name='currentIndex'><number>1</number></property>"
                           "<property name='toolTip'/>"
                           "<item><property name='text'><string>Gr\xC3\xBCn</string></property>"
                           "<property name='icon'><iconset>x</iconset></property></item>"
                           "<item><property name='text'><string>b</string></property></item>"
                           "</widget><widget class='QCheckBox' name='C'>"
                           "<property name='text'><string>true</string></property>"
                           "<property name='checked'><bool>true</bool></property></widget>"
                           "<widget class='QCheckBox' name='N'>"
                           "<property name='checked'><bool>false</bool></property></widget></ui>",
                  holder),
        "");

    const auto* popup = Find<UI_Popup>(holder, u"P");
    ASSERT_NE(popup, nullptr);
    EXPECT_EQ(popup->GetValue(), 1);
    const auto labels = popup->GetStateAfter(0).labels;
    ASSERT_EQ(labels.size(), 2U);
    EXPECT_EQ(labels[0], u"Gr\u00FCn");
    EXPECT_EQ(Find<UI_Checkbox>(holder, u"C")->GetValue(), 1);
    EXPECT_EQ(Find<UI_Checkbox>(holder, u"N")->GetValue(), 0);
}

TEST(MakeControls, SaysWhereTheLayoutIsBroken)
{
    for (const char* broken : {"<ui>\n<widget class='QComboBox' name='P'>\n<item></ui>",
             "<ui>\n\n<widget class='QCheckBox'><property name='checked'></ui>", "\n\nno layout"}) {
        UI_ViewHolder holder;
        EXPECT_THAT(MakeControls(broken, holder), testing::StartsWith("line 3 of the layout: "));
    }
}

} // namespace
