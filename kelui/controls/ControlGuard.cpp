#include "kelui/controls/ControlGuard.h"

#include <utility>

namespace kelui::controls {

void ControlGuard::NoteChange()
{
    if (mWake && !mWoken) {
        mWoken = true;
        mWake();
    }
}

void ControlGuard::SetWindow(std::function<void()> wake)
{
    const Lock lock = Take();
    mWake = std::move(wake);
    mWoken = false;
}

} // namespace kelui::controls
