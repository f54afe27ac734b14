// The user's choice of MIDI ports and options, and its place in a settings tree.

#pragma once

#include "kelcore/proplist/PropList.h"
#include "kelcore/utility/UTF16String.h"

namespace kelcontrolsurface {

/// A plain value: two port IDs (empty: none) and the options of the surface that owns it.
class MIDIDeviceInfo {
public:
    MIDIDeviceInfo() = default;
    MIDIDeviceInfo(const MIDIDeviceInfo& other) = default;
    /// Copies all or, where that fails, nothing.
    MIDIDeviceInfo& operator=(const MIDIDeviceInfo& other);
    ~MIDIDeviceInfo() = default;

    kelcore::utility::UTF16String GetInputPortID() const { return mInputPortID; }
    kelcore::utility::UTF16String GetOutputPortID() const { return mOutputPortID; }
    void SetInputPortID(const kelcore::utility::UTF16String& id) { mInputPortID = id; }
    void SetOutputPortID(const kelcore::utility::UTF16String& id) { mOutputPortID = id; }

    const kelcore::proplist::PropList& GetOptions() const { return mOptions; }
    kelcore::proplist::PropList& GetOptions() { return mOptions; }

private:
    kelcore::utility::UTF16String mInputPortID;
    kelcore::utility::UTF16String mOutputPortID;
    kelcore::proplist::PropList mOptions;
};

/// Sets "in" and "out" of `list`, and replaces its sub-list "options" as a whole. [host]
void SaveDeviceInfo(const MIDIDeviceInfo& info, kelcore::proplist::PropList& list);

/// Replaces `info` by what `list` holds; what is missing reads as empty. A failure leaves `info` as
/// it was. [host]
void LoadDeviceInfo(MIDIDeviceInfo& info, const kelcore::proplist::PropList& list);

} // namespace kelcontrolsurface
