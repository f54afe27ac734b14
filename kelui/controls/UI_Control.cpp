#include "kelui/controls/UI_Control.h"

#include <utility>

namespace kelui::controls {

UI_Control::UI_Control(std::shared_ptr<ControlGuard> guard, kelcore::utility::UTF16String id)
    : mGuard(std::move(guard))
    , mID(std::move(id))
{
}

UI_Control::~UI_Control() = default;

void UI_Control::NoteChange()
{
    ++mVersion;
    mGuard->NoteChange();
}

} // namespace kelui::controls
