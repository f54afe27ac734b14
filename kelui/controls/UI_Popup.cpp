#include "kelui/controls/UI_Popup.h"

#include <utility>

namespace kelui::controls {

UI_Popup::UI_Popup(std::shared_ptr<ControlGuard> guard, kelcore::utility::UTF16String id)
    : UI_Control(std::move(guard), std::move(id))
{
}

UI_Popup::~UI_Popup() = default;

void UI_Popup::DeleteAllItems()
{
    const auto lock = Take();
    mLabels.clear();
    mValue = kNothingSelected;
    NoteChange();
}

std::int32_t UI_Popup::AddItem(const kelcore::utility::UTF16String& label)
{
    const auto lock = Take();
    mLabels.push_back(label);
    if (mValue == kNothingSelected) {
        mValue = 0;
    }
    NoteChange();
    return static_cast<std::int32_t>(mLabels.size()) - 1;
}

void UI_Popup::SetValue(std::int32_t index)
{
    const auto lock = Take();
    if (HasItem(index)) {
        mValue = index;
        NoteChange();
    }
}

std::int32_t UI_Popup::GetValue() const
{
    const auto lock = Take();
    return mValue;
}

std::int32_t UI_Popup::GetItemCount() const
{
    const auto lock = Take();
    return static_cast<std::int32_t>(mLabels.size());
}

UI_Popup::State UI_Popup::GetStateAfter(std::uint64_t version) const
{
    const auto lock = Take();
    return Version() == version ? State{} : State{mLabels, mValue, Version()};
}

bool UI_Popup::TryPick(std::int32_t index, std::uint64_t version)
{
    const auto lock = Take();
    if (Version() != version || !HasItem(index)) {
        return false;
    }
    mValue = index;
    return true;
}

bool UI_Popup::HasItem(std::int32_t index) const
{
    return index >= 0 && static_cast<std::size_t>(index) < mLabels.size();
}

} // namespace kelui::controls
