#include "deck/host/MidiListener.h"

#include "deck/host/MidiPackets.h"

#include "kelcore/utility/HighPrecisionTime.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace deck::host {
namespace {

using kelcore::utility::HighPrecisionTime;

std::chrono::nanoseconds TimeOf(const MIDIPacket& packet) noexcept
{
    const auto time = packet.timeStamp != 0
        ? static_cast<std::int64_t>(packet.timeStamp)
        : static_cast<std::int64_t>(HighPrecisionTime::GetCurrentTime());
    return std::chrono::nanoseconds(HighPrecisionTime::ConvertToNanos(time));
}

} // namespace

MidiListener::Event::Event()
    : descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

MidiListener::Event::~Event()
{
    close(descriptor);
}

MidiListener::MidiListener(std::optional<MIDIUniqueID> only)
    : mOnly(only)
    , mClient("korva-deck listener", [this] { Wake(); })
    , mPort(mClient.MakeInputPort("in", &MidiListener::OnPackets, this))
{
}

std::vector<MidiListener::Change> MidiListener::Update()
{
    std::vector<Change> changes;
    const auto follow = [&changes](Known& source) {
        if (source.connection.Follow(source.port.id)) {
            changes.push_back({source.number, source.connection.IsThere()});
        }
    };
    std::for_each(mSources.begin(), mSources.end(), follow);
    for (const MidiPort& port : ListPorts(PortDirection::Source)) {
        if (!mOnly || port.id == *mOnly) {
            follow(Know(port));
        }
    }
    return changes;
}

MidiListener::Known& MidiListener::Know(const MidiPort& port)
{
    const auto known = std::find_if(mSources.begin(), mSources.end(),
        [&port](const Known& source) { return source.port.id == port.id; });
    if (known == mSources.end()) {
        return mSources.emplace_back(static_cast<std::uint32_t>(mSources.size()), port, mPort);
    }
    known->port = port;
    return *known;
}

std::optional<HeardBytes> MidiListener::TryTake() noexcept
{
    std::optional<HeardBytes> heard = mQueue->TryPop();
    if (heard) {
        // A JACK server estimates its time anew each cycle, sometimes a little earlier
        std::chrono::nanoseconds& last = mSources[heard->source].last;
        last = heard->time = std::max(heard->time, last);
    }
    return heard;
}

void MidiListener::Clear() noexcept
{
    eventfd_t count = 0;
    eventfd_read(mEvent.descriptor, &count);
    // Only now: a wake that comes from here on writes again
    mIsWoken.store(false);
}

void MidiListener::Wake() noexcept
{
    if (!mIsWoken.exchange(true)) {
        eventfd_write(mEvent.descriptor, 1); // does not wait: the descriptor is non-blocking
    }
}

void MidiListener::OnPackets(const MIDIPacketList* packets, void* self, void* known)
{
    auto& listener = *static_cast<MidiListener*>(self);
    ForEachPacket(*packets, [&](const MIDIPacket& packet) {
        listener.Queue(packet, static_cast<const Known*>(known)->number);
    });
    listener.Wake();
}

void MidiListener::Queue(const MIDIPacket& packet, std::uint32_t source) noexcept
{
    HeardBytes heard;
    heard.time = TimeOf(packet);
    heard.source = source;
    const std::uint8_t* bytes = packet.data;
    for (std::size_t left = packet.length; left > 0;) {
        heard.length = static_cast<std::uint16_t>(std::min(left, heard.bytes.size()));
        std::memcpy(heard.bytes.data(), bytes, heard.length);
        bytes += heard.length;
        left -= heard.length;
        if (!mQueue->TryPush(heard)) {
            mLost.fetch_add(1);
        }
    }
}

} // namespace deck::host
