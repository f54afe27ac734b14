// How much room a client of the sequencer has for events that come to it. Apart, because the
// kernel's own header and the library's do not go together.

#pragma once

#include <cstddef>
#include <cstdint>

namespace midiservice::alsa {

/// Whether the client's pool takes an event with so many bytes of data. To write without
/// asking is to destroy: the kernel throws away all that waits in a pool that overflows.
/// `sequencer` is the descriptor of any open client. [receive, real-time]
bool HasRoom(int sequencer, std::uint8_t client, std::size_t bytes) noexcept;

} // namespace midiservice::alsa
