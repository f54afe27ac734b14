// One control of a layout dialog: its state, wherever the widget that shows it is.

#pragma once

#include "kelcore/utility/RefCounted.h"
#include "kelcore/utility/UTF16String.h"
#include "kelui/controls/ControlGuard.h"

#include <cstdint>
#include <memory>

namespace kelui::controls {

/// Holds no widget: any thread may ask and change a control at any time, before, while and after
/// a window shows it, and the window follows on its own thread.
class UI_Control : public kelcore::utility::RefCountedObject {
public:
    const kelcore::utility::UTF16String& GetID() const { return mID; }

protected:
    UI_Control(std::shared_ptr<ControlGuard> guard, kelcore::utility::UTF16String id);
    ~UI_Control() override;

    ControlGuard::Lock Take() const { return mGuard->Take(); }
    /// The lock is held.
    void NoteChange();
    std::uint64_t Version() const { return mVersion; }

private:
    const std::shared_ptr<ControlGuard> mGuard;
    const kelcore::utility::UTF16String mID;
    std::uint64_t mVersion = 1; // guarded by mGuard; a window that shows nothing yet is at 0
};

} // namespace kelui::controls
