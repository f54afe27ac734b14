// Finds the plug-in's bundle, loads it and knocks at its entry point.

#pragma once

#include "korvasdk/suites/ControlSurfacePluginSuite.h"

#include <filesystem>
#include <string>

namespace deck::host {

/// What the deck tells the plug-in about itself at entry: 'KDek'.
inline constexpr std::uint32_t kHostIdentifier = 0x4B44656B;

/// The debug database's switch without which the plug-in refuses to load.
inline constexpr char kEnableSwitch[] = "kelcontrolsurface.EnableMMC";

/// Where the debug database's file is; it need not exist.
std::filesystem::path DebugDatabaseFile();

/// Turns the switch on in memory, unless the debug database's file says something about it.
void EnablePluginUnlessToldOtherwise();

/// The bundle beside the program, else the one of an installed system. Throws HostError.
std::filesystem::path FindBundle();

/// Loads the bundle and fills the plug-in's table. The code stays in the process for good, since
/// an executor's thread may still hold a piece of it after the plug-in has shut down.
/// Throws HostError, whose line says what is wrong and what to do. [host, may block]
KORVASDK_ControlSurfacePluginFuncs LoadBundle(
    const std::filesystem::path& bundle, const QXBasicSuite& basicSuite);

} // namespace deck::host
