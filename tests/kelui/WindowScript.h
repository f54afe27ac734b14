// Plays the user of a modal window, wherever the toolkit shows it.

#pragma once

#include <QtWidgets/QDialog>

#include <functional>

namespace kelui::tests {

/// While it lives, every dialog window that comes on the screen is handed to `script`, on the GUI
/// thread and inside its modal loop. Works with the toolkit's own QApplication and with a host's.
/// One at a time. A script that leaves its window open is reported as a failure, and the window is
/// closed.
class WindowScript {
public:
    explicit WindowScript(std::function<void(QDialog&)> script);
    /// Fails the test where no window came.
    ~WindowScript();
    WindowScript(const WindowScript&) = delete;
    WindowScript& operator=(const WindowScript&) = delete;
};

/// Lets the modal loop run until `isTrue`, or fails the test after a long while. [GUI]
bool RunUntil(const std::function<bool()>& isTrue);

} // namespace kelui::tests
