#include "kelui/controls/UI_Checkbox.h"

#include <boost/intrusive_ptr.hpp>
#include <gtest/gtest.h>

#include <memory>

using kelui::controls::ControlGuard;
using kelui::controls::UI_Checkbox;

namespace {

struct UI_CheckboxTest : testing::Test {
    boost::intrusive_ptr<UI_Checkbox> checkbox{
        new UI_Checkbox(std::make_shared<ControlGuard>(), u"C")};
};

TEST_F(UI_CheckboxTest, StartsClear)
{
    EXPECT_EQ(checkbox->GetValue(), 0);
}

TEST_F(UI_CheckboxTest, IsSetByOneAndClearedByAnythingElse)
{
    checkbox->SetValue(1);
    EXPECT_EQ(checkbox->GetValue(), 1);

    checkbox->SetValue(2);
    EXPECT_EQ(checkbox->GetValue(), 0);
}

TEST_F(UI_CheckboxTest, TakesAMarkFromAWindowThatIsUpToDate)
{
    EXPECT_TRUE(checkbox->TryMark(1, checkbox->GetState().version));
    EXPECT_EQ(checkbox->GetValue(), 1);
}

TEST_F(UI_CheckboxTest, RefusesAMarkFromAWindowThatIsBehind)
{
    const auto version = checkbox->GetState().version;
    checkbox->SetValue(0);

    EXPECT_FALSE(checkbox->TryMark(1, version));
    EXPECT_EQ(checkbox->GetValue(), 0);
}

} // namespace
