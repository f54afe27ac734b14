#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurfacePlugin.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCConfigDialog.h"
#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCModule.h"
#include "kelcore/debug/DebugDatabase.h"
#include "kelcore/proplist/PropListText.h"
#include "kelcore/utility/UTF16String.h"
#include "korvasdk/controlsurface/plugin/wrapper/SuiteGuard.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace mmc {

namespace {

const std::string kPortConfigurationKey("PortConfiguration");

} // namespace

ControlSurfacePlugin::~ControlSurfacePlugin()
{
    Disconnect();
}

KORVASDK_ControlSurface* ControlSurfacePlugin::Connect(
    unsigned int hostIdentifier, const QXBasicSuite* basicSuite, KORVASDK_ControlSurfaceHost* host)
{
    mControlSurface = std::make_unique<ControlSurface>(hostIdentifier, basicSuite);
    try {
        mControlSurface->SetControlSurfaceHost(host);
        ConnectPortsFromConfiguration();
    } catch (...) {
        GiveHostBack();
        throw;
    }
    return mControlSurface->GetControlSurfaceRef();
}

void ControlSurfacePlugin::Disconnect() noexcept
{
    if (!mControlSurface) {
        return;
    }
    {
        const auto lock = mControlSurface->LockBinding();
        mControlSurface->Disconnect();
    }
    mControlSurface.reset(); // not under the lock, for which a setup notice may be waiting
}

// The ports go first: messages must not meet a surface whose suites are gone.
void ControlSurfacePlugin::GiveHostBack() noexcept
{
    mControlSurface->EndSetupNotices();
    {
        const auto lock = mControlSurface->LockBinding();
        mControlSurface->Disconnect();
    }
    mControlSurface->SetControlSurfaceHost(nullptr);
    mControlSurface.reset();
}

std::string ControlSurfacePlugin::GetConfigurationString() const
{
    return kelcore::proplist::utils::WritePropList(mSettings);
}

void ControlSurfacePlugin::SetConfigurationString(std::u16string_view text) noexcept
{
    try {
        kelcore::proplist::utils::ReadPropList(mSettings, kelcore::utility::UTF16to8(text));
        ReconnectPorts();
    } catch (...) {
        // The host offers settings and does not ask whether they are any good.
    }
}

bool ControlSurfacePlugin::RunConfigurationDialog(void* parentWindow)
{
    const bool changed = ShowDeviceConfigDialog(parentWindow, PortConfiguration());
    if (changed) {
        ReconnectPorts();
    }
    return changed;
}

kelcore::proplist::PropList& ControlSurfacePlugin::PortConfiguration()
{
    return mSettings.GetOrCreateList(kPortConfigurationKey);
}

void ControlSurfacePlugin::ConnectPortsFromConfiguration()
{
    kelcontrolsurface::MIDIDeviceInfo info;
    kelcontrolsurface::LoadDeviceInfo(info, PortConfiguration());
    const auto lock = mControlSurface->LockBinding();
    mControlSurface->Connect(info);
}

// Settings never make a connection that the host has not asked for.
void ControlSurfacePlugin::ReconnectPorts()
{
    if (mControlSurface && mControlSurface->IsConnected()) {
        ConnectPortsFromConfiguration();
    }
}

namespace {

using korvasdk::Guarded;

constexpr char kEnableKey[] = "kelcontrolsurface.EnableMMC";
constexpr char16_t kPluginID[] = u"Korva.ControlSurfacePlugIn.MMC";
constexpr char16_t kPluginDisplayString[] = u"MIDI Machine Control";

// Written by entry, start-up and shut-down only.
std::uint32_t sHostIdentifier = 0;
const QXBasicSuite* sQXBasicSuite = nullptr;
const KORVASDK_StringSuite* sStringSuite = nullptr;
const QXSuitesSuite* sQXSuitesSuite = nullptr;
QXSuiteList* sSuiteList = nullptr;

ControlSurfacePlugin* FromHandle(KORVASDK_ControlSurfacePlugin* plugin) noexcept
{
    return reinterpret_cast<ControlSurfacePlugin*>(plugin);
}

template <typename Suite>
KORVASDK_Result AcquireSuite(const char* name, int version, const Suite*& suite)
{
    const void* table = nullptr;
    const KORVASDK_Result result = sQXBasicSuite->AcquireSuite(name, version, &table);
    if (result == kSuccess) {
        suite = static_cast<const Suite*>(table);
    }
    return result;
}

KORVASDK_Result ControlSurfacePlugin_Connect(KORVASDK_ControlSurfacePlugin* plugin,
    KORVASDK_ControlSurfaceHost* host,
    KORVASDK_ControlSurface** outSurface)
{
    return Guarded([&] {
        *outSurface = FromHandle(plugin)->Connect(sHostIdentifier, sQXBasicSuite, host);
        return kSuccess;
    });
}

KORVASDK_Result ControlSurfacePlugin_Disconnect(KORVASDK_ControlSurfacePlugin* plugin) noexcept
{
    FromHandle(plugin)->Disconnect();
    return kSuccess;
}

KORVASDK_Result ControlSurfacePlugin_GetPluginID(
    KORVASDK_ControlSurfacePlugin*, KORVASDK_String* outID)
{
    return Guarded([&] { return sStringSuite->MakeString(kPluginID, outID); });
}

KORVASDK_Result ControlSurfacePlugin_GetPluginDisplayString(
    KORVASDK_ControlSurfacePlugin*, KORVASDK_String* outText)
{
    return Guarded([&] { return sStringSuite->MakeString(kPluginDisplayString, outText); });
}

KORVASDK_Result ControlSurfacePlugin_GetPluginSettings(
    KORVASDK_ControlSurfacePlugin* plugin, KORVASDK_String* outSettings)
{
    return Guarded([&] {
        const auto text = kelcore::utility::UTF8to16(FromHandle(plugin)->GetConfigurationString());
        return sStringSuite->MakeString(text.c_str(), outSettings);
    });
}

// Asks for the length, then for the text. The length is the host's word: more than was asked for
// is not believed.
KORVASDK_Result CopyText(const KORVASDK_String* string, kelcore::utility::UTF16String& text)
{
    std::uint32_t length = 0;
    char16_t none = 0;
    KORVASDK_Result result = sStringSuite->CopyString(string, &none, &length);
    if (result == kErrorStringBufferTooSmall) {
        text.resize(length);
        result = sStringSuite->CopyString(string, text.data(), &length);
        text.resize(std::min<std::size_t>(length, text.size()));
    }
    return result;
}

KORVASDK_Result ControlSurfacePlugin_SetPluginSettings(
    KORVASDK_ControlSurfacePlugin* plugin, const KORVASDK_String* settings)
{
    return Guarded([&] {
        kelcore::utility::UTF16String text;
        const KORVASDK_Result result = CopyText(settings, text);
        if (result == kSuccess) {
            FromHandle(plugin)->SetConfigurationString(text);
        }
        return result;
    });
}

KORVASDK_Result ControlSurfacePlugin_HasConfigurationDialog(
    KORVASDK_ControlSurfacePlugin*, std::uint8_t* outHasDialog)
{
    *outHasDialog = 1;
    return kSuccess;
}

KORVASDK_Result ControlSurfacePlugin_RunConfigurationDialog(
    KORVASDK_ControlSurfacePlugin* plugin, void* parentWindow, std::uint8_t* outChanged)
{
    return Guarded([&] {
        const bool changed = FromHandle(plugin)->RunConfigurationDialog(parentWindow);
        *outChanged = changed ? 1 : 0;
        return kSuccess;
    });
}

// Suspending is the surface's own business.
KORVASDK_Result ControlSurfacePlugin_Suspend(KORVASDK_ControlSurfacePlugin*)
{
    return kErrorNotImplemented;
}

KORVASDK_Result ControlSurfacePlugin_Resume(KORVASDK_ControlSurfacePlugin*)
{
    return kErrorNotImplemented;
}

constexpr KORVASDK_ControlSurfacePluginSuite sPluginSuite = {
    ControlSurfacePlugin_Connect,
    ControlSurfacePlugin_Disconnect,
    ControlSurfacePlugin_GetPluginID,
    ControlSurfacePlugin_GetPluginDisplayString,
    ControlSurfacePlugin_GetPluginSettings,
    ControlSurfacePlugin_SetPluginSettings,
    ControlSurfacePlugin_HasConfigurationDialog,
    ControlSurfacePlugin_RunConfigurationDialog,
    ControlSurfacePlugin_Suspend,
    ControlSurfacePlugin_Resume,
};

KORVASDK_Result ControlSurfaceInternal_GetSMPTERef(
    KORVASDK_ControlSurface* surface, KORVASDK_ControlSurfaceSMPTE** outSMPTE)
{
    return Guarded([&] {
        auto* mmcSurface = dynamic_cast<ControlSurface*>(korvasdk::FromHandle(surface));
        return mmcSurface == nullptr ? kErrorNotImplemented : mmcSurface->GetSMPTERef(outSMPTE);
    });
}

constexpr KORVASDK_ControlSurfaceInternalSuite sInternalSuite = {
    ControlSurfaceInternal_GetSMPTERef,
};

void AllocateSuiteList()
{
    QXSuiteList* suiteList = nullptr;
    if (sQXSuitesSuite->AllocateSuiteList(nullptr, nullptr, &suiteList) != kSuccess
        || suiteList == nullptr) {
        return;
    }
    sSuiteList = suiteList;
    QXSuite* ignored = nullptr;
    sQXSuitesSuite->AddSuite(sSuiteList, nullptr, kKORVASDKControlSurfacePluginSuite,
        kKORVASDKControlSurfacePluginSuiteVersion, kKORVASDKControlSurfacePluginSuiteVersion,
        &sPluginSuite, &ignored);
    sQXSuitesSuite->AddSuite(sSuiteList, nullptr, kKORVASDKControlSurfaceInternalSuite,
        kKORVASDKControlSurfaceInternalSuiteVersion, kKORVASDKControlSurfaceInternalSuiteVersion,
        &sInternalSuite, &ignored);
}

KORVASDK_Result ControlSurfacePlugin_Startup()
{
    return Guarded([] {
        module::Initialize();  // 1
        KORVASDK_Result result // 2
            = AcquireSuite(kKORVASDKStringSuite, kKORVASDKStringSuiteVersion, sStringSuite);
        if (result != kSuccess || sStringSuite == nullptr) {
            return result;
        }
        result = AcquireSuite(kQXSuitesSuite, kQXSuitesSuiteVersion, sQXSuitesSuite); // 3
        if (result != kSuccess) {
            return result;
        }
        AllocateSuiteList();                                        // 4
        ControlSurface::RegisterSuites(sQXSuitesSuite, sSuiteList); // 5: also without a list
        return KORVASDK_Result{kSuccess};
    });
}

// Deliberate: the suites suite is not given back, and the basic suite is kept.
KORVASDK_Result ControlSurfacePlugin_Shutdown()
{
    return Guarded([] {
        if (sSuiteList != nullptr) {
            sQXSuitesSuite->FreeSuiteList(sSuiteList);
            sSuiteList = nullptr;
        }
        if (sStringSuite != nullptr) {
            sQXBasicSuite->ReleaseSuite(kKORVASDKStringSuite, kKORVASDKStringSuiteVersion);
            sStringSuite = nullptr;
        }
        module::Terminate();
        return KORVASDK_Result{kSuccess};
    });
}

KORVASDK_Result ControlSurfacePlugin_CreatePluginInstance(KORVASDK_ControlSurfacePlugin** outPlugin)
{
    return Guarded([&] {
        *outPlugin = reinterpret_cast<KORVASDK_ControlSurfacePlugin*>(new ControlSurfacePlugin);
        return kSuccess;
    });
}

KORVASDK_Result ControlSurfacePlugin_DeletePluginInstance(
    KORVASDK_ControlSurfacePlugin* plugin) noexcept
{
    delete FromHandle(plugin);
    return kSuccess;
}

KORVASDK_Result ControlSurfacePlugin_GetSuiteList(QXSuiteList** outSuiteList)
{
    *outSuiteList = sSuiteList;
    return kSuccess;
}

constexpr KORVASDK_ControlSurfacePluginFuncs sControlSurfacePluginFuncs = {
    ControlSurfacePlugin_Startup,
    ControlSurfacePlugin_Shutdown,
    ControlSurfacePlugin_CreatePluginInstance,
    ControlSurfacePlugin_DeletePluginInstance,
    ControlSurfacePlugin_GetSuiteList,
};

KORVASDK_Result Enter(const QXBasicSuite* basicSuite,
    std::uint32_t hostIdentifier,
    KORVASDK_ControlSurfacePluginFuncs* outFuncs)
{
    // Deliberate: the plug-in stays out where nobody has switched it on.
    if (!kelcore::debug::DebugDatabase::Instance().GetEntryAs<bool>(kEnableKey, false)) {
        return sQXBasicSuite != nullptr ? kSuccess : kErrorBadParameter;
    }
    sHostIdentifier = hostIdentifier;
    sQXBasicSuite = basicSuite;
    if (basicSuite == nullptr) {
        return kErrorBadParameter;
    }
    *outFuncs = sControlSurfacePluginFuncs;
    return kSuccess;
}

} // namespace

} // namespace mmc

extern "C" __attribute__((visibility("default"))) KORVASDK_Result EntryPoint(
    const QXBasicSuite* basicSuite,
    void*,
    void*,
    std::uint32_t hostIdentifier,
    KORVASDK_ControlSurfacePluginFuncs* outFuncs)
{
    return korvasdk::Guarded([&] { return mmc::Enter(basicSuite, hostIdentifier, outFuncs); });
}
