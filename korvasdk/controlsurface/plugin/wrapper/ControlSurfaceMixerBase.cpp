#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceMixerBase.h"

namespace korvasdk {

ControlSurfaceMixerBase::~ControlSurfaceMixerBase() = default;

KORVASDK_Result ControlSurfaceMixerBase::GetMaxChannelStripCount(unsigned int*)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::ChannelConfigChanged(unsigned int, unsigned int)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SelectionChanged()
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetChannelState(unsigned int, unsigned int, bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetAutomationMode(unsigned int, unsigned int)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetChannelOffset(unsigned int)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetChannelCount(unsigned int)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetRudeSoloState(bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetComponentBypass(unsigned int, unsigned int, bool)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::SetComponentParameter(
    unsigned int, unsigned int, unsigned int, float)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceMixerBase::AddMasterFaderAsRegularChannel(bool*)
{
    return kErrorNotImplemented;
}

} // namespace korvasdk
