// A QApplication of the toolkit's own, for hosts that are no Qt programs.

#pragma once

#include <functional>
#include <string>

namespace kelorintal {

/// Makes a QApplication, runs `function` and destroys the QApplication, all on the calling thread.
/// An empty text, or why there is no display; then `function` was not run. Where a display is
/// named but does not answer, Qt would end the process: see the source.
/// [GUI, may block]
std::string RunInApplication(const std::function<void()>& function);

} // namespace kelorintal
