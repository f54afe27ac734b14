/* The plug-in itself, as the host sees it: the entry point, the table that it
 * fills, and the suite that works on the plug-in's instances. */

#ifndef KORVASDK_SUITES_CONTROLSURFACEPLUGINSUITE_H
#define KORVASDK_SUITES_CONTROLSURFACEPLUGINSUITE_H

#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/ControlSurfaceHandles.h"
#include "korvasdk/suites/Result.h"
#include "korvasdk/suites/StringSuite.h"
#include "korvasdk/suites/SuitesSuite.h"

/* Filled by the entry point. */
typedef struct KORVASDK_ControlSurfacePluginFuncs {
    KORVASDK_Result (*Startup)(void);
    KORVASDK_Result (*Shutdown)(void);
    KORVASDK_Result (*CreatePluginInstance)(KORVASDK_ControlSurfacePlugin** outPlugin);
    KORVASDK_Result (*DeletePluginInstance)(KORVASDK_ControlSurfacePlugin* plugin);
    KORVASDK_Result (*GetSuiteList)(QXSuiteList** outSuiteList);
} KORVASDK_ControlSurfacePluginFuncs;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginFuncs, Startup, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginFuncs, Shutdown, 1);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginFuncs, CreatePluginInstance, 2);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginFuncs, DeletePluginInstance, 3);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginFuncs, GetSuiteList, 4);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfacePluginFuncs, 5);

/* The bundle's one exported function, by this name. The two reserved arguments
 * are not read. Refusal is kErrorBadParameter and leaves `outFuncs` alone. */
#define kKORVASDKEntryPointName "EntryPoint"
typedef KORVASDK_Result (*KORVASDK_EntryPoint)(const QXBasicSuite* basicSuite,
    void* reserved0,
    void* reserved1,
    uint32_t hostIdentifier,
    KORVASDK_ControlSurfacePluginFuncs* outFuncs);

#define kKORVASDKControlSurfacePluginSuite "KORVASDK ControlSurfacePlugin Suite"
#define kKORVASDKControlSurfacePluginSuiteVersion 1

typedef struct KORVASDK_ControlSurfacePluginSuite {
    KORVASDK_Result (*Connect)(KORVASDK_ControlSurfacePlugin* plugin,
        KORVASDK_ControlSurfaceHost* host,
        KORVASDK_ControlSurface** outSurface);
    KORVASDK_Result (*Disconnect)(KORVASDK_ControlSurfacePlugin* plugin);
    KORVASDK_Result (*GetPluginID)(KORVASDK_ControlSurfacePlugin* plugin, KORVASDK_String* outID);
    KORVASDK_Result (*GetPluginDisplayString)(
        KORVASDK_ControlSurfacePlugin* plugin, KORVASDK_String* outText);
    KORVASDK_Result (*GetPluginSettings)(
        KORVASDK_ControlSurfacePlugin* plugin, KORVASDK_String* outSettings);
    KORVASDK_Result (*SetPluginSettings)(
        KORVASDK_ControlSurfacePlugin* plugin, const KORVASDK_String* settings);
    KORVASDK_Result (*HasConfigurationDialog)(
        KORVASDK_ControlSurfacePlugin* plugin, uint8_t* outHasDialog);
    KORVASDK_Result (*RunConfigurationDialog)(
        KORVASDK_ControlSurfacePlugin* plugin, void* parentWindow, uint8_t* outChanged);
    KORVASDK_Result (*Suspend)(KORVASDK_ControlSurfacePlugin* plugin);
    KORVASDK_Result (*Resume)(KORVASDK_ControlSurfacePlugin* plugin);
} KORVASDK_ControlSurfacePluginSuite;

KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, Connect, 0);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, Disconnect, 1);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, GetPluginID, 2);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, GetPluginDisplayString, 3);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, GetPluginSettings, 4);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, SetPluginSettings, 5);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, HasConfigurationDialog, 6);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, RunConfigurationDialog, 7);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, Suspend, 8);
KORVASDK_ASSERT_SLOT(KORVASDK_ControlSurfacePluginSuite, Resume, 9);
KORVASDK_ASSERT_SLOT_COUNT(KORVASDK_ControlSurfacePluginSuite, 10);

#endif
