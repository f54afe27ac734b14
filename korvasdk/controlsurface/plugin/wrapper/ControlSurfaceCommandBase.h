// Freely assigned buttons on a control surface, for surfaces that have them.

#pragma once

#include "korvasdk/suites/Result.h"
#include "korvasdk/suites/StringSuite.h"

namespace korvasdk {

/// No suite serves it yet. The order of the virtual operations is binding; every default is
/// `kErrorNotImplemented`.
class ControlSurfaceCommandBase {
public:
    ControlSurfaceCommandBase() = default;
    ControlSurfaceCommandBase(const ControlSurfaceCommandBase&) = delete;
    ControlSurfaceCommandBase& operator=(const ControlSurfaceCommandBase&) = delete;

    virtual ~ControlSurfaceCommandBase();

    virtual KORVASDK_Result GetUserButtonCount(unsigned int* out) const;
    virtual KORVASDK_Result GetUserButtonIDAtIndex(unsigned int index, KORVASDK_String* out) const;
    virtual KORVASDK_Result GetUserButtonDisplayName(
        const KORVASDK_String*, KORVASDK_String* out) const;
    virtual KORVASDK_Result SetUserButtonCommandID(
        const KORVASDK_String*, const KORVASDK_String*, const KORVASDK_String*);
    virtual KORVASDK_Result GetUserButtonCommandID(
        const KORVASDK_String*, KORVASDK_String*, KORVASDK_String*) const;
};

} // namespace korvasdk
