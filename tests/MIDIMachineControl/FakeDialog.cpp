#include "tests/MIDIMachineControl/FakeDialog.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfigDialog.h"

#include <utility>

namespace {

mmc::tests::FakeDialog::User sUser;

} // namespace

namespace mmc {

// Takes the place of the dialog's own.
bool ShowDeviceConfigDialog(void* parentWindow, kelcore::proplist::PropList& portConfiguration)
{
    return sUser && sUser(parentWindow, portConfiguration);
}

} // namespace mmc

namespace mmc::tests {

FakeDialog::FakeDialog(User user)
{
    sUser = std::move(user);
}

FakeDialog::~FakeDialog()
{
    sUser = nullptr;
}

} // namespace mmc::tests
