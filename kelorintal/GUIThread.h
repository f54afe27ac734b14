// Which thread shows windows. Qt has one GUI thread a process, and the host may call
// from any thread.

#pragma once

#include <functional>
#include <string>

namespace kelorintal {

/// Runs `function` on the process's GUI thread and waits for it; its exception comes back to the
/// caller. An empty text, or why it was not run.
///
/// Where the host runs a QApplication, that one serves: called on its thread, `function` runs at
/// once; called on another, the host's event loop must be running, so the host must not wait on
/// its GUI thread for the caller.
///
/// Elsewhere a thread of the toolkit serves, which lives as long as the process, whichever threads
/// the host calls from: Qt stays on the thread that used it first, and parts of it do not work on
/// another one later. So a host that is a Qt program makes its QApplication before its first
/// dialog. The toolkit's own lives for one `function` only: an idle one would hold a connection to
/// the display, and end the process when that breaks. Callers are served one after the other.
/// [host, may block]
std::string RunOnGUIThread(const std::function<void()>& function);

} // namespace kelorintal
