// The one rule by which an endpoint gets its unique ID. Whoever stores an ID (a port chosen
// in a settings file) finds the same endpoint by it in the next run and in another program.

#pragma once

#include <cstdint>
#include <string>

namespace midiservice {

enum class Direction : std::uint8_t { Source, Destination };

/// What is known of an endpoint and does not change between runs, replugs and programs:
/// never a number that the system hands out, such as a client, card or port number.
struct IdentityFacts {
    std::string driver; // "builtin", "jack", ...
    Direction direction = Direction::Source;
    std::string owner; // the program, or the piece of hardware
    std::string port;  // the port on it
    /// Decides who comes first among endpoints of equal facts; no part of the ID.
    std::string order;
};

/// Whether the two differ in nothing that counts.
bool SameIdentity(const IdentityFacts& a, const IdentityFacts& b);

/// A fixed order for endpoints that share an ID.
bool ComesBefore(const IdentityFacts& a, const IdentityFacts& b);

/// The ID of the `ordinal`th endpoint with these facts, counted from 0. Never 0.
std::int32_t UniqueID(const IdentityFacts& facts, std::uint32_t ordinal = 0);

} // namespace midiservice
