#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfigDialog.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfig.h"
#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCModule.h"
#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceConfigDialog.h"
#include "kelcore/proplist/PropList.h"
#include "kelorintal/DialogTrace.h"
#include "kelui/controls/UI_Checkbox.h"
#include "kelui/drawbot/SupplierInterface.h"
#include "kelui/utility/ResourceManager.h"

#include <boost/intrusive_ptr.hpp>

#include <string>

namespace mmc {

namespace {

using kelcontrolsurface::MIDIDeviceConfigDialog;
using kelcontrolsurface::MIDIDeviceInfo;
using kelui::controls::UI_Checkbox;
using kelui::controls::UI_Popup;

constexpr char kLayoutName[] = "MMCMIDIConfig";
constexpr char kTransmitMTCID[] = "TransmitMTC";

class MMCMIDIDeviceConfigDialog : public MIDIDeviceConfigDialog {
public:
    MMCMIDIDeviceConfigDialog(void* parentWindow, MIDIDeviceInfo& info)
        : MIDIDeviceConfigDialog(module::GetDrawSupplier(),
            module::GetResourceManager(),
            kLayoutName,
            kLayoutName,
            parentWindow,
            info)
        , mDeviceInfo(&info)
        , mTransmitMTC(GetTypedControlForID<UI_Checkbox>(kTransmitMTCID))
    {
    }

    // Deliberate: OK stores the time code option only. The ports keep the IDs that the device info
    // had when the dialog opened, so the generic dialog's RunModal is passed over.
    std::int32_t RunModal() override
    {
        // NOLINTNEXTLINE(bugprone-parent-virtual-call)
        const std::int32_t response = UI_OptionalOrinDialog::RunModal();
        if (response == kResponseOK && mTransmitMTC) {
            SetTransmitMTCOption(*mDeviceInfo, mTransmitMTC->GetValue() == 1);
        }
        return response;
    }

protected:
    ~MMCMIDIDeviceConfigDialog() override = default;

private:
    MIDIDeviceInfo* mDeviceInfo;
    boost::intrusive_ptr<UI_Checkbox> mTransmitMTC;
};

// The first control that the layout lacks, or null.
const char* MissingControl(const MIDIDeviceConfigDialog& dialog)
{
    for (const char* id :
        {MIDIDeviceConfigDialog::kInputPopupID, MIDIDeviceConfigDialog::kOutputPopupID}) {
        if (dialog.GetTypedControlForID<UI_Popup>(id) == nullptr) {
            return id;
        }
    }
    return dialog.GetTypedControlForID<UI_Checkbox>(kTransmitMTCID) == nullptr ? kTransmitMTCID
                                                                               : nullptr;
}

bool IsComplete(const MIDIDeviceConfigDialog& dialog)
{
    const char* missing = MissingControl(dialog);
    if (missing != nullptr && dialog.HasLayout()) {
        kelorintal::TraceDialog(
            std::string("the dialog is not shown: its layout lacks the control ") + missing);
    }
    return missing == nullptr;
}

} // namespace

bool ShowDeviceConfigDialog(void* parentWindow, kelcore::proplist::PropList& portConfiguration)
{
    MIDIDeviceInfo info; // outlives the dialog
    LoadDeviceInfo(info, portConfiguration);
    const boost::intrusive_ptr<MIDIDeviceConfigDialog> dialog(
        new MMCMIDIDeviceConfigDialog(parentWindow, info));
    if (!IsComplete(*dialog)) {
        return false;
    }
    dialog->GetTypedControlForID<UI_Checkbox>(kTransmitMTCID)
        ->SetValue(GetTransmitMTCOption(info) ? 1 : 0);
    if (dialog->RunModal() != MIDIDeviceConfigDialog::kResponseOK) {
        return false;
    }
    SaveDeviceInfo(info, portConfiguration);
    return true;
}

} // namespace mmc
