#include "kelcontrolsurface/plugins/common/midi/src/MIDIDeviceInfo.h"

#include <utility>

namespace kelcontrolsurface {

using kelcore::proplist::PropList;
using kelcore::utility::UTF16String;

namespace {

constexpr char kInputKey[] = "in";
constexpr char kOutputKey[] = "out";
constexpr char kOptionsKey[] = "options";

} // namespace

MIDIDeviceInfo& MIDIDeviceInfo::operator=(const MIDIDeviceInfo& other)
{
    MIDIDeviceInfo copy(other);
    mInputPortID.swap(copy.mInputPortID);
    mOutputPortID.swap(copy.mOutputPortID);
    std::swap(mOptions, copy.mOptions);
    return *this;
}

void SaveDeviceInfo(const MIDIDeviceInfo& info, PropList& list)
{
    list.SetString(kInputKey, info.GetInputPortID());
    list.SetString(kOutputKey, info.GetOutputPortID());
    list.GetOrCreateList(kOptionsKey) = info.GetOptions();
}

void LoadDeviceInfo(MIDIDeviceInfo& info, const PropList& list)
{
    UTF16String inputID;
    UTF16String outputID;
    list.GetString(kInputKey, inputID);
    list.GetString(kOutputKey, outputID);

    MIDIDeviceInfo loaded;
    loaded.SetInputPortID(inputID);
    loaded.SetOutputPortID(outputID);
    if (const PropList* options = list.FindList(kOptionsKey)) {
        loaded.GetOptions() = *options;
    }
    info = loaded;
}

} // namespace kelcontrolsurface
