// A modal dialog made of a layout resource.

#pragma once

#include "kelcore/utility/RefCounted.h"
#include "kelui/controls/UI_ViewHolder.h"
#include "kelui/drawbot/SupplierInterface.h"
#include "kelui/utility/ResourceManager.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kelorintal {

/// Made, filled through its controls, run once and released by whoever holds the references.
/// Controls may be changed by any thread at any time; the window follows.
class UI_OptionalOrinDialog : public kelcore::utility::RefCountedObject {
public:
    static constexpr std::int32_t kResponseNotShown = 0;
    static constexpr std::int32_t kResponseOK = 1;
    static constexpr std::int32_t kResponseCancelled = 2;

    /// Reads the layout `layoutName` of the resources, or `layoutName2` where that is missing.
    /// Without a layout the dialog has no controls and is never shown, and the trace says why.
    /// `parentWindow` is a widget of the host's QApplication, an X11 window's ID, or null.
    /// The arguments need not outlive the call, but for the parent window. [host, may block]
    UI_OptionalOrinDialog(const kelui::drawbot::SupplierInterface* supplier,
        kelui::utility::ResourceManager* resources,
        const char* layoutName,
        const char* layoutName2,
        void* parentWindow);

    /// Whether the layout was found and read; otherwise there are no controls. [any thread]
    bool HasLayout() const { return !mLayout.empty(); }

    /// The control with that ID (UTF-8), or null where there is none or it is of another type.
    /// The dialog keeps it alive. [any thread]
    template <typename T> T* GetTypedControlForID(const char* id) const;

    /// The window is on the screen; it has gone again. [GUI]
    virtual void DialogOpened();
    virtual void DialogClosed();

    /// The user has used the control `name`, which now has `value`. Here "OK" and "Cancel" end the
    /// dialog. Not called for changes made by the program. [GUI]
    virtual void DialogActionCallback(const char* name, std::int32_t value);

    /// Closes the window; `RunModal` returns `response`. Without a running modal loop it does
    /// nothing, and of several calls the first one holds. [any thread]
    virtual void EndModal(std::int32_t response);
    /// Whether the modal loop runs. [any thread]
    virtual bool IsModal() const;

    /// Shows the window, on the process's GUI thread, and waits until it has closed: which thread
    /// that is, see GUIThread.h. Without a display nothing is shown and the trace says why.
    /// [host, may block]
    virtual std::int32_t RunModal();

protected:
    ~UI_OptionalOrinDialog() override;

private:
    void RunWindow();

    kelui::controls::UI_ViewHolder mViewHolder;
    std::string mLayout; // empty: there is none
    void* mParentWindow;
    bool mIsModal = false;                 // guarded by the holder's guard
    std::optional<std::int32_t> mResponse; // guarded by the holder's guard
};

template <typename T> T* UI_OptionalOrinDialog::GetTypedControlForID(const char* id) const
{
    const auto control = mViewHolder.GetControlForID(kelcore::utility::UTF8to16(id));
    return dynamic_cast<T*>(control.get());
}

} // namespace kelorintal
