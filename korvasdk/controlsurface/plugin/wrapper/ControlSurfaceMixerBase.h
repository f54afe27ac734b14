// A mixer on a control surface, for surfaces that have one.

#pragma once

#include "korvasdk/suites/Result.h"

namespace korvasdk {

/// No suite serves it yet. The order of the virtual operations is binding; every default is
/// `kErrorNotImplemented`.
class ControlSurfaceMixerBase {
public:
    ControlSurfaceMixerBase() = default;
    ControlSurfaceMixerBase(const ControlSurfaceMixerBase&) = delete;
    ControlSurfaceMixerBase& operator=(const ControlSurfaceMixerBase&) = delete;

    virtual ~ControlSurfaceMixerBase();

    virtual KORVASDK_Result GetMaxChannelStripCount(unsigned int* out);
    virtual KORVASDK_Result ChannelConfigChanged(unsigned int, unsigned int);
    virtual KORVASDK_Result SelectionChanged();
    virtual KORVASDK_Result SetChannelState(unsigned int, unsigned int, bool);
    virtual KORVASDK_Result SetAutomationMode(unsigned int, unsigned int);
    virtual KORVASDK_Result SetChannelOffset(unsigned int offset);
    virtual KORVASDK_Result SetChannelCount(unsigned int count);
    virtual KORVASDK_Result SetRudeSoloState(bool state);
    virtual KORVASDK_Result SetComponentBypass(unsigned int, unsigned int, bool);
    virtual KORVASDK_Result SetComponentParameter(unsigned int, unsigned int, unsigned int, float);
    virtual KORVASDK_Result AddMasterFaderAsRegularChannel(bool* out);
};

} // namespace korvasdk
