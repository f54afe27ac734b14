#include "kelui/controls/UI_ViewHolder.h"

#include <algorithm>
#include <utility>

namespace kelui::controls {

boost::intrusive_ptr<UI_Control> UI_ViewHolder::GetControlForID(
    const kelcore::utility::UTF16String& id) const
{
    const auto found = std::find_if(mControls.begin(), mControls.end(),
        [&id](const auto& control) { return control->GetID() == id; });
    return found == mControls.end() ? nullptr : *found;
}

void UI_ViewHolder::AddControl(boost::intrusive_ptr<UI_Control> control)
{
    mControls.push_back(std::move(control));
}

} // namespace kelui::controls
