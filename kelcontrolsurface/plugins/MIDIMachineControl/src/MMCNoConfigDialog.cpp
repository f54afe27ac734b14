// The dialog of a build without one: nobody is asked, so nothing changes.

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfigDialog.h"

namespace mmc {

bool ShowDeviceConfigDialog(void*, kelcore::proplist::PropList&)
{
    return false;
}

} // namespace mmc
