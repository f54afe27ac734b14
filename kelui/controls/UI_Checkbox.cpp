#include "kelui/controls/UI_Checkbox.h"

#include <utility>

namespace kelui::controls {

UI_Checkbox::UI_Checkbox(std::shared_ptr<ControlGuard> guard, kelcore::utility::UTF16String id)
    : UI_Control(std::move(guard), std::move(id))
{
}

UI_Checkbox::~UI_Checkbox() = default;

void UI_Checkbox::SetValue(std::int32_t value)
{
    const auto lock = Take();
    mValue = value == 1 ? 1 : 0;
    NoteChange();
}

std::int32_t UI_Checkbox::GetValue() const
{
    const auto lock = Take();
    return mValue;
}

UI_Checkbox::State UI_Checkbox::GetState() const
{
    const auto lock = Take();
    return {mValue, Version()};
}

bool UI_Checkbox::TryMark(std::int32_t value, std::uint64_t version)
{
    const auto lock = Take();
    if (Version() != version) {
        return false;
    }
    mValue = value == 1 ? 1 : 0;
    return true;
}

} // namespace kelui::controls
