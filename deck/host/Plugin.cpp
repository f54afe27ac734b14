#include "deck/host/Plugin.h"

#include "deck/host/HostError.h"
#include "deck/host/HostString.h"

namespace deck::host {
namespace {

std::string Describe(KORVASDK_Result result)
{
    switch (result) {
    case kErrorBadParameter:
        return "bad parameter ('Parm')";
    case kErrorNotImplemented:
        return "not implemented ('!IMP')";
    case kErrorStringBufferTooSmall:
        return "string buffer too small ('sbts')";
    default:
        return std::to_string(result);
    }
}

void Check(KORVASDK_Result result, const char* what)
{
    if (result != kSuccess) {
        throw HostError(
            std::string("the plug-in failed to ") + what + ": " + Describe(result), kExitFailed);
    }
}

} // namespace

Plugin::Plugin(const KORVASDK_ControlSurfacePluginFuncs& functions, HostSuites& suites)
    : mFunctions(functions)
    , mSuites(suites)
{
    Check(mFunctions.Startup(), "start up");
}

Plugin::~Plugin()
{
    mFunctions.Shutdown();
}

PluginInstance::PluginInstance(Plugin& plugin, TransportCommands& commands)
    : mPlugin(plugin)
    , mPluginSuite(plugin.Suites().Registry(),
          kKORVASDKControlSurfacePluginSuite,
          kKORVASDKControlSurfacePluginSuiteVersion)
    , mSurfaceSuite(plugin.Suites().Registry(),
          kKORVASDKControlSurfaceSuite,
          kKORVASDKControlSurfaceSuiteVersion2)
    , mTransportSuite(plugin.Suites().Registry(),
          kKORVASDKControlSurfaceTransportSuite,
          kKORVASDKControlSurfaceTransportSuiteVersion)
    , mSMPTESuite(plugin.Suites().Registry(),
          kKORVASDKControlSurfaceSMPTESuite,
          kKORVASDKControlSurfaceSMPTESuiteVersion)
    , mInternalSuite(plugin.Suites().Registry(),
          kKORVASDKControlSurfaceInternalSuite,
          kKORVASDKControlSurfaceInternalSuiteVersion)
    , mHost(commands)
{
    if (mPluginSuite.Get() == nullptr) {
        throw HostError(std::string("the plug-in registered no ")
            + kKORVASDKControlSurfacePluginSuite + "; name another bundle with --bundle");
    }
    Check(mPlugin.Functions().CreatePluginInstance(&mInstance), "make an instance");
}

PluginInstance::~PluginInstance()
{
    if (mSurface != nullptr) {
        mPluginSuite->Disconnect(mInstance);
    }
    mPlugin.Functions().DeletePluginInstance(mInstance);
}

std::string PluginInstance::Text(GetText getText) const
{
    HostString text;
    Check(getText(mInstance, &text), "give a text");
    return HostStringText(text);
}

std::string PluginInstance::ID() const
{
    return Text(mPluginSuite->GetPluginID);
}

std::string PluginInstance::DisplayName() const
{
    return Text(mPluginSuite->GetPluginDisplayString);
}

std::string PluginInstance::Settings() const
{
    return Text(mPluginSuite->GetPluginSettings);
}

void PluginInstance::SetSettings(const std::string& settings)
{
    const HostString text = MakeHostString(settings);
    Check(mPluginSuite->SetPluginSettings(mInstance, &text), "take its settings");
}

bool PluginInstance::RunConfigurationDialog()
{
    std::uint8_t changed = 0;
    Check(mPluginSuite->RunConfigurationDialog(mInstance, nullptr, &changed), "run its dialog");
    return changed != 0;
}

void PluginInstance::Connect()
{
    Disconnect();
    KORVASDK_ControlSurface* surface = nullptr;
    Check(mPluginSuite->Connect(mInstance, &mHost, &surface), "connect");
    mSurface = surface;
    if (mSurfaceSuite.Get() != nullptr && mTransportSuite.Get() != nullptr) {
        mSurfaceSuite->GetTransportRef(mSurface, &mTransport);
    }
}

void PluginInstance::Disconnect()
{
    if (mSurface == nullptr) {
        return;
    }
    mSurface = nullptr;
    mTransport = nullptr;
    Check(mPluginSuite->Disconnect(mInstance), "disconnect");
}

SurfaceSMPTE PluginInstance::SMPTE() const
{
    SurfaceSMPTE smpte{mSMPTESuite.Get(), nullptr};
    if (mSurface != nullptr && mInternalSuite.Get() != nullptr) {
        mInternalSuite->GetSMPTERef(mSurface, &smpte.handle);
    }
    return smpte;
}

void PluginInstance::Notify(TransportState state, bool isRecording)
{
    if (mTransport == nullptr) {
        return;
    }
    const auto is = [state](TransportState asked) { return uint8_t{state == asked}; };
    mTransportSuite->SetStopState(mTransport, is(TransportState::Stopped));
    mTransportSuite->SetPlayState(mTransport, is(TransportState::Playing));
    mTransportSuite->SetRecordState(mTransport, uint8_t{isRecording});
    mTransportSuite->SetRewindState(mTransport, is(TransportState::Rewinding));
    mTransportSuite->SetForwardState(mTransport, is(TransportState::FastForwarding));
    mTransportSuite->SetPauseState(mTransport, is(TransportState::Paused));
}

} // namespace deck::host
