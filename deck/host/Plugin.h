// A loaded plug-in, from its start-up to its shut-down, and its instances. All of
// it is reached through tables only.

#pragma once

#include "deck/host/ControlSurfaceHost.h"
#include "deck/host/HostSuites.h"
#include "deck/transport/TransportSink.h"
#include "korvasdk/suites/ControlSurfacePluginSuite.h"
#include "korvasdk/suites/ControlSurfaceSuites.h"

#include <optional>
#include <string>

namespace deck::host {

class Plugin {
public:
    /// Starts the plug-in up. `suites` outlives it. Throws HostError. [host, may block]
    Plugin(const KORVASDK_ControlSurfacePluginFuncs& functions, HostSuites& suites);
    /// Shuts it down. [host, may block]
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    const KORVASDK_ControlSurfacePluginFuncs& Functions() const noexcept { return mFunctions; }
    HostSuites& Suites() noexcept { return mSuites; }

private:
    KORVASDK_ControlSurfacePluginFuncs mFunctions;
    HostSuites& mSuites;
};

/// What the transport's thread needs of a connected surface; either pointer may be null.
struct SurfaceSMPTE {
    const KORVASDK_ControlSurfaceSMPTESuite* table = nullptr;
    KORVASDK_ControlSurfaceSMPTE* handle = nullptr;
};

/// One instance. Its methods are called by one thread at a time. Where the plug-in answers a call
/// with an error, they throw HostError.
class PluginInstance {
public:
    /// The surface's calls go to `commands`, which outlives the instance. [host, may block]
    PluginInstance(Plugin& plugin, TransportCommands& commands);
    /// Disconnects and deletes. [host, may block]
    ~PluginInstance();
    PluginInstance(const PluginInstance&) = delete;
    PluginInstance& operator=(const PluginInstance&) = delete;

    std::string ID() const;
    std::string DisplayName() const;

    /// The settings string, UTF-8. Setting it on a connected instance binds its ports anew.
    std::string Settings() const;
    void SetSettings(const std::string& settings);

    /// The plug-in's own dialog; true where the user changed something. [host, may block]
    bool RunConfigurationDialog();

    void Connect();
    void Disconnect();
    bool IsConnected() const noexcept { return mSurface != nullptr; }

    /// Of the connected surface; valid until Disconnect.
    SurfaceSMPTE SMPTE() const;
    /// Tells the surface what the transport does. A surface that does not care is none the worse.
    void Notify(TransportState state, bool isRecording);

private:
    using GetText = KORVASDK_Result (*)(KORVASDK_ControlSurfacePlugin*, KORVASDK_String*);

    std::string Text(GetText getText) const;

    Plugin& mPlugin;
    HeldSuite<KORVASDK_ControlSurfacePluginSuite> mPluginSuite;
    HeldSuite<KORVASDK_ControlSurfaceSuite> mSurfaceSuite;
    HeldSuite<KORVASDK_ControlSurfaceTransportSuite> mTransportSuite;
    HeldSuite<KORVASDK_ControlSurfaceSMPTESuite> mSMPTESuite;
    HeldSuite<KORVASDK_ControlSurfaceInternalSuite> mInternalSuite;
    KORVASDK_ControlSurfaceHost mHost;
    KORVASDK_ControlSurfacePlugin* mInstance = nullptr;
    KORVASDK_ControlSurface* mSurface = nullptr;
    KORVASDK_ControlSurfaceTransport* mTransport = nullptr;
};

} // namespace deck::host
