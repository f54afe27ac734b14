#include "mediaio/midiservice/src/alsa/ClientPool.h"

#include <sound/asequencer.h>
#include <sys/ioctl.h>

namespace midiservice::alsa {

bool HasRoom(int sequencer, std::uint8_t client, std::size_t bytes) noexcept
{
    constexpr std::size_t kCellBytes = sizeof(snd_seq_event); // data takes cells after the first
    snd_seq_client_pool pool{};
    pool.client = client;
    const bool isKnown = ioctl(sequencer, SNDRV_SEQ_IOCTL_GET_CLIENT_POOL, &pool) == 0;
    const auto wanted = static_cast<int>(1 + (bytes + kCellBytes - 1) / kCellBytes);
    // Hardware has no pool.
    return !isKnown || pool.input_pool == 0 || pool.input_free >= wanted;
}

} // namespace midiservice::alsa
