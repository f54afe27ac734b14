#include "mediaio/midiservice/src/alsa/Sequencer.h"

#include "mediaio/midiservice/src/Driver.h"
#include "mediaio/midiservice/src/alsa/ClientPool.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace midiservice::alsa {

namespace {

constexpr std::size_t kLongestName = 63; // the kernel's 64 bytes with a terminator

// The most that the kernel grants. A reader that is late by so many events loses some.
constexpr std::size_t kPoolEvents = 2000;

// Holds the longest event that the pool can bring (28 bytes a cell): one that did not fit
// would stay in front of the queue for ever.
constexpr std::size_t kInputBufferBytes = 65536;

// Ports are numbered from 0, and the numbers above mean something else.
constexpr unsigned char kPortThatIsNotThere = 252;

struct SubscriptionDeleter {
    void operator()(snd_seq_port_subscribe_t* it) const { snd_seq_port_subscribe_free(it); }
};
using Subscription = std::unique_ptr<snd_seq_port_subscribe_t, SubscriptionDeleter>;

Subscription MakeSubscription(Address from, Address to)
{
    snd_seq_port_subscribe_t* raw = nullptr;
    if (snd_seq_port_subscribe_malloc(&raw) < 0)
        return nullptr;
    const snd_seq_addr_t sender{from.client, from.port};
    const snd_seq_addr_t receiver{to.client, to.port};
    snd_seq_port_subscribe_set_sender(raw, &sender);
    snd_seq_port_subscribe_set_dest(raw, &receiver);
    return Subscription(raw);
}

// The library would print a complaint of its own where there is no sequencer.
bool CanOpenDevice(int& error)
{
    const int descriptor = open("/dev/snd/seq", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    error = errno;
    if (descriptor >= 0)
        close(descriptor);
    return descriptor >= 0;
}

bool IsContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

} // namespace

std::string SequencerName(const std::string& name)
{
    if (name.size() <= kLongestName)
        return name;
    std::size_t end = kLongestName;
    while (end > 0 && IsContinuation(name[end]))
        --end;
    return name.substr(0, end);
}

std::unique_ptr<Sequencer> Sequencer::Open(const std::string& name, int& error)
{
    if (!CanOpenDevice(error))
        return nullptr;
    snd_seq_t* handle = nullptr;
    const int result = snd_seq_open(&handle, "hw", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK);
    if (result < 0) {
        error = -result;
        return nullptr;
    }
    std::unique_ptr<Sequencer> sequencer(new Sequencer(handle));
    snd_seq_set_client_name(handle, SequencerName(name).c_str());
    snd_seq_set_client_pool_input(handle, kPoolEvents);
    snd_seq_set_input_buffer_size(handle, kInputBufferBytes);
    sequencer->ReserveOutput();
    return sequencer;
}

// The library makes the buffer for events with data as large as the first of them needs, and
// allocates again for every later one that is longer than that buffer's count of whole events:
// so the first one is long enough for all pieces, and goes to a port that is not there.
void Sequencer::ReserveOutput()
{
    constexpr std::size_t kEnough
        = (kMaxPieceBytes + sizeof(snd_seq_event_t)) * sizeof(snd_seq_event_t);
    std::vector<std::uint8_t> bytes(kEnough);
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    snd_seq_ev_set_direct(&event);
    snd_seq_ev_set_dest(&event, mClient, kPortThatIsNotThere);
    snd_seq_ev_set_sysex(&event, static_cast<unsigned>(bytes.size()), bytes.data());
    TryWrite(event);
}

Sequencer::Sequencer(snd_seq_t* handle)
    : mHandle(handle)
    , mClient(static_cast<std::uint8_t>(snd_seq_client_id(handle)))
{
    pollfd descriptor{};
    snd_seq_poll_descriptors(handle, &descriptor, 1, POLLIN);
    mDescriptor = descriptor.fd;
}

Sequencer::~Sequencer()
{
    snd_seq_close(mHandle);
}

int Sequencer::CreatePort(const std::string& name, unsigned capabilities, unsigned type)
{
    return snd_seq_create_simple_port(mHandle, SequencerName(name).c_str(), capabilities, type);
}

void Sequencer::DeletePort(int port)
{
    snd_seq_delete_simple_port(mHandle, port);
}

bool Sequencer::Subscribe(Address from, Address to)
{
    const Subscription subscription = MakeSubscription(from, to);
    if (!subscription)
        return false;
    const int result = snd_seq_subscribe_port(mHandle, subscription.get());
    return result == 0 || result == -EBUSY;
}

void Sequencer::Unsubscribe(Address from, Address to)
{
    if (const Subscription subscription = MakeSubscription(from, to))
        snd_seq_unsubscribe_port(mHandle, subscription.get());
}

const snd_seq_event_t* Sequencer::TryRead(bool& lost) noexcept
{
    snd_seq_event_t* event = nullptr;
    const int result = snd_seq_event_input(mHandle, &event);
    lost = result == -ENOSPC;
    return result >= 0 ? event : nullptr;
}

bool Sequencer::HaveSubscribersRoom(int port, std::size_t bytes) const noexcept
{
    snd_seq_query_subscribe_t* query = nullptr;
    snd_seq_query_subscribe_alloca(&query);
    snd_seq_query_subscribe_set_client(query, mClient);
    snd_seq_query_subscribe_set_port(query, port);
    snd_seq_query_subscribe_set_type(query, SND_SEQ_QUERY_SUBS_READ);
    for (int index = 0;; ++index) {
        snd_seq_query_subscribe_set_index(query, index);
        if (snd_seq_query_port_subscribers(mHandle, query) < 0)
            return true;
        if (!HasRoom(mDescriptor, snd_seq_query_subscribe_get_addr(query)->client, bytes))
            return false;
    }
}

int Sequencer::TryWrite(snd_seq_event_t& event) noexcept
{
    const int result = snd_seq_event_output_direct(mHandle, &event);
    return result < 0 ? result : 0;
}

} // namespace midiservice::alsa
