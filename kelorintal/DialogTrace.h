// Why a dialog was not shown, for support.

#pragma once

#include <string>

namespace kelorintal {

/// Traces one line of the category "UI, Dialog" at level 1. [any thread, may block]
void TraceDialog(const std::string& text);

} // namespace kelorintal
