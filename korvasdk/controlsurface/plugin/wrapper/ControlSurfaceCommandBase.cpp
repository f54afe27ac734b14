#include "korvasdk/controlsurface/plugin/wrapper/ControlSurfaceCommandBase.h"

namespace korvasdk {

ControlSurfaceCommandBase::~ControlSurfaceCommandBase() = default;

KORVASDK_Result ControlSurfaceCommandBase::GetUserButtonCount(unsigned int*) const
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceCommandBase::GetUserButtonIDAtIndex(
    unsigned int, KORVASDK_String*) const
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceCommandBase::GetUserButtonDisplayName(
    const KORVASDK_String*, KORVASDK_String*) const
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceCommandBase::SetUserButtonCommandID(
    const KORVASDK_String*, const KORVASDK_String*, const KORVASDK_String*)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfaceCommandBase::GetUserButtonCommandID(
    const KORVASDK_String*, KORVASDK_String*, KORVASDK_String*) const
{
    return kErrorNotImplemented;
}

} // namespace korvasdk
