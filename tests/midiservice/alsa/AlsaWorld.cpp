// ALSA: the kernel's own sequencer, and programs that use libasound directly.

#include "mediaio/midiservice/src/alsa/Sequencer.h"
#include "tests/midiservice/Worlds.h"

#include <optional>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace midiservice::test {

namespace {

using alsa::Address;
using alsa::Sequencer;

constexpr unsigned kOut = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned kIn = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr unsigned kType = SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION;

class AlsaPeer final : public Peer {
public:
    explicit AlsaPeer(const std::string& name)
    {
        int error = 0;
        mSequencer = Sequencer::Open(name, error);
        mOut = mSequencer->CreatePort(name + "_OUT", kOut, kType);
        mIn = mSequencer->CreatePort(name + "_IN", kIn, kType);
        mThread = std::thread([this] { Read(); });
    }

    ~AlsaPeer() override
    {
        const std::uint64_t one = 1;
        EXPECT_EQ(write(mEnd, &one, sizeof one), static_cast<ssize_t>(sizeof one));
        mThread.join();
        close(mEnd);
    }

    void Send(const std::vector<Bytes>& units) override
    {
        for (const Bytes& unit : units) {
            snd_seq_event_t event;
            snd_seq_ev_clear(&event);
            Encode(unit, event);
            snd_seq_ev_set_source(&event, static_cast<unsigned char>(mOut));
            snd_seq_ev_set_subs(&event);
            snd_seq_ev_set_direct(&event);
            EXPECT_EQ(mSequencer->TryWrite(event), 0);
        }
    }

    Inbox& Received() override { return mReceived; }

    void ConnectFrom(const std::string& virtualSource) override
    {
        EXPECT_TRUE(mSequencer->Subscribe(Find(virtualSource), Own(mIn)));
    }

    void ConnectTo(const std::string& virtualDestination) override
    {
        EXPECT_TRUE(mSequencer->Subscribe(Own(mOut), Find(virtualDestination)));
    }

    bool SeesNoMore(const std::string& virtualEndpoint) override
    {
        return !TryFind(virtualEndpoint);
    }

private:
    // By the library, which the driver uses too, but for short messages only: everything
    // else is the bytes as they are.
    static void Encode(const Bytes& bytes, snd_seq_event_t& event)
    {
        if (bytes[0] < 0x80 || bytes[0] == 0xF0 || bytes[0] == 0xF7) {
            snd_seq_ev_set_sysex(&event, static_cast<unsigned>(bytes.size()),
                const_cast<std::uint8_t*>(bytes.data()));
            return;
        }
        snd_midi_event_t* parser = nullptr;
        snd_midi_event_new(16, &parser);
        snd_midi_event_encode(parser, bytes.data(), static_cast<long>(bytes.size()), &event);
        snd_midi_event_free(parser);
    }

    Address Own(int port) const { return {mSequencer->Client(), static_cast<std::uint8_t>(port)}; }

    Address Find(const std::string& portName) const
    {
        const auto found = TryFind(portName);
        EXPECT_TRUE(found) << "no port " << portName;
        return found.value_or(Address{});
    }

    std::optional<Address> TryFind(const std::string& portName) const
    {
        snd_seq_client_info_t* client = nullptr;
        snd_seq_port_info_t* port = nullptr;
        snd_seq_client_info_alloca(&client);
        snd_seq_port_info_alloca(&port);
        snd_seq_client_info_set_client(client, -1);
        while (snd_seq_query_next_client(mSequencer->Handle(), client) == 0) {
            snd_seq_port_info_set_client(port, snd_seq_client_info_get_client(client));
            snd_seq_port_info_set_port(port, -1);
            while (snd_seq_query_next_port(mSequencer->Handle(), port) == 0)
                if (snd_seq_port_info_get_name(port) == portName)
                    return Address{static_cast<std::uint8_t>(snd_seq_port_info_get_client(port)),
                        static_cast<std::uint8_t>(snd_seq_port_info_get_port(port))};
        }
        return std::nullopt;
    }

    void Read()
    {
        snd_midi_event_t* parser = nullptr;
        snd_midi_event_new(16, &parser);
        snd_midi_event_no_status(parser, 1);
        std::array<pollfd, 2> descriptors{
            {{mEnd, POLLIN, 0}, {mSequencer->Descriptor(), POLLIN, 0}}};
        while (
            poll(descriptors.data(), descriptors.size(), -1) >= 0 && descriptors[0].revents == 0) {
            bool lost = false;
            while (const snd_seq_event_t* event = mSequencer->TryRead(lost))
                Take(*event, parser);
            EXPECT_FALSE(lost);
        }
        snd_midi_event_free(parser);
    }

    void Take(const snd_seq_event_t& event, snd_midi_event_t* parser)
    {
        Bytes bytes(16);
        if (event.type == SND_SEQ_EVENT_SYSEX) {
            const auto* data = static_cast<const std::uint8_t*>(event.data.ext.ptr);
            bytes.assign(data, data + event.data.ext.len);
        } else {
            const long length = snd_midi_event_decode(parser, bytes.data(), 16, &event);
            bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        }
        if (!bytes.empty())
            mReceived.Put({bytes, 0, Now(), nullptr, std::this_thread::get_id()});
    }

    std::unique_ptr<Sequencer> mSequencer;
    int mOut = -1;
    int mIn = -1;
    int mEnd = eventfd(0, EFD_CLOEXEC);
    Inbox mReceived;
    std::thread mThread;
};

// Its programs are clients of the test's own process, which the driver tells from its own
// clients by their numbers.
class AlsaWorld final : public World {
public:
    std::unique_ptr<Peer> MakePeer(const std::string& name) override
    {
        return std::make_unique<AlsaPeer>(name);
    }

private:
    ScopedService mService{"alsa"};
};

} // namespace

std::unique_ptr<World> MakeAlsaWorld(std::string& whyNot)
{
    if (access("/dev/snd/seq", R_OK | W_OK) == 0)
        return std::make_unique<AlsaWorld>();
    whyNot = "this kernel has no ALSA sequencer; scripts/check-vm runs this under one that has";
    return nullptr;
}

} // namespace midiservice::test
