// What the controls of one dialog share: the lock that their state lies under, and
// the way to tell an open window that it shows something old.

#pragma once

#include <functional>
#include <mutex>

namespace kelui::controls {

class ControlGuard {
public:
    using Lock = std::unique_lock<std::mutex>;

    Lock Take() const { return Lock(mMutex); }

    /// Wakes the open window, where there is one that has not been woken since it last looked.
    /// [any thread holding the lock]
    void NoteChange();

    /// From now on what has changed is known: the next change wakes the window again.
    /// [GUI, holding the lock]
    void BeginLook() { mWoken = false; }

    /// `wake` is called with the lock held and must not wait; an empty one says that the window
    /// closes. After that no call is running or will come. [GUI, may block]
    void SetWindow(std::function<void()> wake);

private:
    mutable std::mutex mMutex;
    std::function<void()> mWake; // guarded by mMutex
    bool mWoken = false;         // guarded by mMutex
};

} // namespace kelui::controls
