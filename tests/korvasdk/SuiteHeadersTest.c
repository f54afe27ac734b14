/* The suite headers serve a host that is written in C. */

#include "korvasdk/suites/BasicSuite.h"
#include "korvasdk/suites/ControlSurfaceHostSuites.h"
#include "korvasdk/suites/ControlSurfacePluginSuite.h"
#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "korvasdk/suites/SMPTETimeFormat.h"
#include "korvasdk/suites/StringSuite.h"
#include "korvasdk/suites/SuitesSuite.h"

KORVASDK_Result SuiteHeadersTest_ResultInC(int which);

KORVASDK_Result SuiteHeadersTest_ResultInC(int which)
{
    const KORVASDK_Result results[]
        = {kSuccess, kErrorBadParameter, kErrorNotImplemented, kErrorStringBufferTooSmall};
    return results[which];
}
