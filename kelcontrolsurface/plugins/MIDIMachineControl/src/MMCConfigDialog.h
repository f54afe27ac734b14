// The dialog in which the user chooses the MIDI ports and whether time code is sent.

#pragma once

namespace kelcore::proplist {
class PropList;
}

namespace mmc {

/// Runs the dialog, modal to `parentWindow` (see `UI_OptionalOrinDialog`, or null), on the port
/// configuration, and returns whether the user answered OK. Only then `portConfiguration` changes.
/// Where the dialog cannot be shown, or its layout lacks a control, the trace says why.
/// [host, may block]
bool ShowDeviceConfigDialog(void* parentWindow, kelcore::proplist::PropList& portConfiguration);

} // namespace mmc
