// The dialog in which the user picks the MIDI ports of a surface.

#pragma once

#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceInfo.h"
#include "kelorintal/UI_OptionalOrinDialog.h"
#include "kelui/controls/UI_Popup.h"
#include "mediaio/kelmidi/src/MidiHost.h"
#include "mediaio/kelmidi/src/MidiPortEnumerator.h"

#include <boost/intrusive_ptr.hpp>

#include <mutex>

namespace kelcontrolsurface {

/// Lists the ports that are present, also while they come and go, and selects those of the device
/// info. The lists hold nothing else, so there is no way to pick "none".
class MIDIDeviceConfigDialog : public kelorintal::UI_OptionalOrinDialog {
public:
    static constexpr char kInputPopupID[] = "InputDevicePopup";
    static constexpr char kOutputPopupID[] = "OutputDevicePopup";

    /// `info` is the caller's and outlives the dialog. The other arguments are the toolkit's.
    /// [host, may block]
    MIDIDeviceConfigDialog(const kelui::drawbot::SupplierInterface* supplier,
        kelui::utility::ResourceManager* resources,
        const char* layoutName,
        const char* layoutName2,
        void* parentWindow,
        MIDIDeviceInfo& info);

    /// Writes the IDs of the selected ports and returns true. Otherwise, where a popup has no
    /// selection, `output` is empty, and `input` too unless an input is selected.
    /// [host, may block]
    bool GetPortIDs(
        kelcore::utility::UTF16String& input, kelcore::utility::UTF16String& output) const;

    void DialogOpened() override;
    void DialogClosed() override;
    void DialogActionCallback(const char* name, std::int32_t value) override;

    /// Writes the selected ports into the device info where the user answers OK.
    /// [host, may block]
    std::int32_t RunModal() override;

    /// Lists the ports anew. Deliberate: the selection returns to the ports of the device info,
    /// whatever the user had picked. [notification, may block]
    virtual void OnMidiSetupChanged();

protected:
    ~MIDIDeviceConfigDialog() override;

private:
    void FindPopups();
    void EnumPorts();
    void PopulatePopups();
    void DeliverSetupNotice();
    void EndSetupNotices();

    MIDIDeviceInfo& mDeviceInfo;
    boost::intrusive_ptr<kelmidi::MidiHost> mMidiHost;
    boost::intrusive_ptr<kelmidi::MidiPortEnumerator> mPortEnumerator;
    kelmidi::MidiInputPortList mInputPorts;   // guarded by mMutex
    kelmidi::MidiOutputPortList mOutputPorts; // guarded by mMutex
    kelui::controls::UI_Popup* mInputPopup = nullptr;
    kelui::controls::UI_Popup* mOutputPopup = nullptr;
    // Notices and the host's thread meet at the lists, and at the IDs of the device info.
    mutable std::recursive_mutex mMutex;
    bool mIsOpen = false; // guarded by mMutex
};

} // namespace kelcontrolsurface
