#include "kelui/controls/UI_ViewHolder.h"

#include "kelui/controls/UI_Checkbox.h"

#include <gtest/gtest.h>

using kelui::controls::UI_Checkbox;
using kelui::controls::UI_ViewHolder;

namespace {

TEST(UI_ViewHolder, FindsAControlByItsID)
{
    UI_ViewHolder holder;
    const boost::intrusive_ptr<UI_Checkbox> second(new UI_Checkbox(holder.GetGuard(), u"second"));
    holder.AddControl(new UI_Checkbox(holder.GetGuard(), u"first"));
    holder.AddControl(second);

    EXPECT_EQ(holder.GetControlForID(u"second"), second);
    EXPECT_EQ(holder.GetControlForID(u"Second"), nullptr);
    EXPECT_EQ(holder.GetControlForID(u""), nullptr);
}

} // namespace
