// The window that shows a layout dialog's controls while its modal loop runs.

#pragma once

#include "kelui/controls/UI_ViewHolder.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kelorintal {

/// Made, run once and destroyed on the GUI thread.
class LayoutWindow {
public:
    /// What the window tells its dialog, on the GUI thread.
    struct Listener {
        std::function<void()> opened;
        std::function<void(const char* name, std::int32_t value)> used;
        /// Whether the dialog wants the window closed.
        std::function<bool()> isOver;
    };

    /// `holder` outlives the window. Throws `std::runtime_error` where `layout` is no layout.
    LayoutWindow(const std::string& layout,
        void* parentWindow,
        kelui::controls::UI_ViewHolder& holder,
        Listener listener);
    ~LayoutWindow();
    LayoutWindow(const LayoutWindow&) = delete;
    LayoutWindow& operator=(const LayoutWindow&) = delete;

    /// Shows the window and returns when it has closed.
    void Run();

private:
    class Implementation;
    std::unique_ptr<Implementation> mImplementation;
};

} // namespace kelorintal
