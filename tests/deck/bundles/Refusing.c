/* A plug-in that refuses whoever loads it. */
#include "korvasdk/suites/ControlSurfacePluginSuite.h"

KORVASDK_Result EntryPoint(const QXBasicSuite* basicSuite,
    void* reserved0,
    void* reserved1,
    uint32_t hostIdentifier,
    KORVASDK_ControlSurfacePluginFuncs* outFuncs);

KORVASDK_Result EntryPoint(const QXBasicSuite* basicSuite,
    void* reserved0,
    void* reserved1,
    uint32_t hostIdentifier,
    KORVASDK_ControlSurfacePluginFuncs* outFuncs)
{
    (void)basicSuite;
    (void)reserved0;
    (void)reserved1;
    (void)hostIdentifier;
    (void)outFuncs;
    return kErrorBadParameter;
}
