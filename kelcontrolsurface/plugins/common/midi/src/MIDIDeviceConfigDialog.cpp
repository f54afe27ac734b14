#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceConfigDialog.h"

#include <boost/bind/bind.hpp>

#include <cstddef>
#include <utility>

namespace kelcontrolsurface {

namespace {

using kelcore::utility::UTF16String;
using kelui::controls::UI_Popup;

constexpr char kMidiClientName[] = "Quillion.ControlSurface.MIDIDeviceConfig";

// A later port with the configured ID wins; without one the popup selects for itself.
template <typename PortList>
void Populate(UI_Popup* popup, const PortList& list, const UTF16String& configuredID)
{
    if (popup == nullptr) {
        return;
    }
    popup->DeleteAllItems();
    std::int32_t configured = UI_Popup::kNothingSelected;
    for (const auto& port : list.GetPorts()) {
        const std::int32_t index = popup->AddItem(port->GetDisplayName());
        if (port->GetUniqueID() == configuredID) {
            configured = index;
        }
    }
    if (configured != UI_Popup::kNothingSelected) {
        popup->SetValue(configured);
    }
}

template <typename PortList>
bool GetSelectedID(const UI_Popup* popup, const PortList& list, UTF16String& id)
{
    const std::int32_t index = popup == nullptr ? UI_Popup::kNothingSelected : popup->GetValue();
    if (index < 0 || static_cast<std::size_t>(index) >= list.GetPorts().size()) {
        return false;
    }
    id = list.GetPorts()[static_cast<std::size_t>(index)]->GetUniqueID();
    return true;
}

} // namespace

MIDIDeviceConfigDialog::MIDIDeviceConfigDialog(const kelui::drawbot::SupplierInterface* supplier,
    kelui::utility::ResourceManager* resources,
    const char* layoutName,
    const char* layoutName2,
    void* parentWindow,
    MIDIDeviceInfo& info)
    : UI_OptionalOrinDialog(supplier, resources, layoutName, layoutName2, parentWindow)
    , mDeviceInfo(info)
    , mMidiHost(kelmidi::MidiHostCreate(kelcore::utility::AsciiToUTF16(kMidiClientName)))
    , mPortEnumerator(mMidiHost ? kelmidi::MidiPortEnumeratorCreate(mMidiHost) : nullptr)
{
    if (mMidiHost) {
        mMidiHost->SetMidiSetupChangedFunction(
            boost::bind(&MIDIDeviceConfigDialog::DeliverSetupNotice, this));
    }
    try {
        const std::lock_guard lock(mMutex);
        FindPopups();
        EnumPorts();
        PopulatePopups();
    } catch (...) {
        EndSetupNotices(); // one that runs uses the fields
        throw;
    }
}

MIDIDeviceConfigDialog::~MIDIDeviceConfigDialog()
{
    EndSetupNotices();
}

bool MIDIDeviceConfigDialog::GetPortIDs(UTF16String& input, UTF16String& output) const
{
    const std::lock_guard lock(mMutex);
    input.clear();
    output.clear();
    return GetSelectedID(mInputPopup, mInputPorts, input)
        && GetSelectedID(mOutputPopup, mOutputPorts, output);
}

void MIDIDeviceConfigDialog::DialogOpened()
{
    const std::lock_guard lock(mMutex);
    mIsOpen = true;
}

void MIDIDeviceConfigDialog::DialogClosed()
{
    const std::lock_guard lock(mMutex);
    mIsOpen = false;
}

void MIDIDeviceConfigDialog::DialogActionCallback(const char* name, std::int32_t value)
{
    UI_OptionalOrinDialog::DialogActionCallback(name, value);
}

std::int32_t MIDIDeviceConfigDialog::RunModal()
{
    const std::int32_t response = UI_OptionalOrinDialog::RunModal();
    const std::lock_guard lock(mMutex);
    UTF16String input;
    UTF16String output;
    if (response == kResponseOK && GetPortIDs(input, output)) {
        mDeviceInfo.SetInputPortID(input);
        mDeviceInfo.SetOutputPortID(output);
    }
    return response;
}

void MIDIDeviceConfigDialog::OnMidiSetupChanged()
{
    const std::lock_guard lock(mMutex);
    EnumPorts();
    PopulatePopups();
}

void MIDIDeviceConfigDialog::FindPopups()
{
    mInputPopup = GetTypedControlForID<UI_Popup>(kInputPopupID);
    mOutputPopup = GetTypedControlForID<UI_Popup>(kOutputPopupID);
}

void MIDIDeviceConfigDialog::EnumPorts()
{
    if (mPortEnumerator) {
        kelmidi::MidiInputPortList inputs = mPortEnumerator->EnumInputPorts();
        kelmidi::MidiOutputPortList outputs = mPortEnumerator->EnumOutputPorts();
        mInputPorts = std::move(inputs);
        mOutputPorts = std::move(outputs);
    }
}

void MIDIDeviceConfigDialog::PopulatePopups()
{
    Populate(mInputPopup, mInputPorts, mDeviceInfo.GetInputPortID());
    Populate(mOutputPopup, mOutputPorts, mDeviceInfo.GetOutputPortID());
}

void MIDIDeviceConfigDialog::DeliverSetupNotice()
{
    const std::lock_guard lock(mMutex);
    try {
        if (mIsOpen) {
            OnMidiSetupChanged();
        } else {
            // Before and after the modal loop a derived class may be half made or half destroyed.
            MIDIDeviceConfigDialog::OnMidiSetupChanged();
        }
    } catch (...) {
        // The MIDI service, whose thread this is, has nobody to tell; the next change lists anew.
    }
}

void MIDIDeviceConfigDialog::EndSetupNotices()
{
    if (mMidiHost) {
        mMidiHost->SetMidiSetupChangedFunction({}); // waits for a notice that runs
    }
}

} // namespace kelcontrolsurface
