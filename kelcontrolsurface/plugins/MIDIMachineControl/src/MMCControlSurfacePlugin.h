// One instance of the plug-in: its settings, and its surface while it is connected.

#pragma once

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"
#include "kelcore/proplist/PropList.h"
#include "korvasdk/suites/ControlSurfacePluginSuite.h"

#include <memory>
#include <string_view>

namespace mmc {

/// The host's `KORVASDK_ControlSurfacePlugin` is the address of one. Not safe for use by two
/// threads at once.
class ControlSurfacePlugin {
public:
    ControlSurfacePlugin() = default;
    /// An exception while disconnecting ends the process.
    ~ControlSurfacePlugin();
    ControlSurfacePlugin(const ControlSurfacePlugin&) = delete;
    ControlSurfacePlugin& operator=(const ControlSurfacePlugin&) = delete;

    /// Makes a surface for `host` and binds its ports. Where that throws, the instance is not
    /// connected and everything taken on the way is given back. [host, may block]
    KORVASDK_ControlSurface* Connect(unsigned int hostIdentifier,
        const QXBasicSuite* basicSuite,
        KORVASDK_ControlSurfaceHost* host);

    /// Destroys the surface, if there is one. [host, may block]
    void Disconnect() noexcept;

    /// The settings as text, UTF-8. [host]
    std::string GetConfigurationString() const;

    /// Replaces the settings and, while connected, binds the ports anew. Never throws: settings
    /// that do not parse are as good as none. [host, may block]
    void SetConfigurationString(std::u16string_view text) noexcept;

    /// Lets the user edit the port configuration; returns whether that has changed.
    /// [host, may block]
    bool RunConfigurationDialog(void* parentWindow);

private:
    kelcore::proplist::PropList& PortConfiguration();
    void ConnectPortsFromConfiguration();
    void ReconnectPorts();
    void GiveHostBack() noexcept;

    kelcore::proplist::PropList mSettings;
    std::unique_ptr<ControlSurface> mControlSurface; // null: not connected
};

} // namespace mmc
