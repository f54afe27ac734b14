// The part of the plug-in's settings string that the deck reads and writes.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

#include <optional>
#include <string>

namespace deck::host {

/// The ports that the plug-in binds, both or none, and its MTC option.
struct PortSettings {
    std::optional<MIDIUniqueID> in;
    std::optional<MIDIUniqueID> out;
    std::optional<bool> transmitMTC; // nothing where nobody has said; the plug-in takes it as off

    bool HasBoth() const noexcept { return in && out; }
    bool operator==(const PortSettings&) const = default;
};

/// Throws kelcore::proplist::utils::PropListSyntaxError.
PortSettings ReadPortSettings(const std::string& settings);

/// `settings` with what `ports` says in place of what was said there; all else stays.
std::string WithPortSettings(const std::string& settings, const PortSettings& ports);

} // namespace deck::host
