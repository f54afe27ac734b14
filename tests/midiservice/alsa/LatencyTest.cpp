// How long a message takes from the wire to the read callback, beside a plain reader that
// hears the same messages at the same time.

#include "mediaio/midiservice/src/alsa/Sequencer.h"
#include "tests/midiservice/alsa/Studio.h"

#include <algorithm>
#include <thread>

#include <poll.h>

namespace midiservice::alsa {
namespace {

constexpr const char* kCardDevice = "hw:0,1";
constexpr Address kCardPort{17, 0};
const std::string kCardPortName = "VirMIDI 0-1";
constexpr std::size_t kMessages = 400;

/// When each numbered message came.
class Arrivals {
public:
    void Note(std::size_t number) noexcept { mTimes.at(number).store(Now()); }
    bool HaveAll() const
    {
        return std::all_of(mTimes.begin(), mTimes.end(),
            [](const std::atomic<HostTime>& time) { return time.load() != 0; });
    }
    HostTime At(std::size_t number) const { return mTimes.at(number).load(); }

private:
    std::vector<std::atomic<HostTime>> mTimes = std::vector<std::atomic<HostTime>>(kMessages);
};

std::size_t NumberIn(const std::uint8_t* bytes)
{
    return bytes[4] * 128U + bytes[5];
}

/// What aseqdump does, without writing anything.
class PlainReader {
public:
    explicit PlainReader(Arrivals& arrivals)
        : mArrivals(arrivals)
    {
        int error = 0;
        mSequencer = Sequencer::Open("Plain reader", error);
        const int port = mSequencer->CreatePort("In", SND_SEQ_PORT_CAP_WRITE, 0);
        mSequencer->Subscribe(kCardPort, {mSequencer->Client(), static_cast<std::uint8_t>(port)});
        mThread = std::thread([this] { Run(); });
    }
    PlainReader(const PlainReader&) = delete;
    PlainReader& operator=(const PlainReader&) = delete;
    ~PlainReader()
    {
        mStop.store(true);
        mThread.join();
    }

private:
    void Run()
    {
        pollfd descriptor{mSequencer->Descriptor(), POLLIN, 0};
        while (!mStop.load()) {
            poll(&descriptor, 1, 100);
            bool lost = false;
            while (const snd_seq_event_t* event = mSequencer->TryRead(lost))
                if (event->type == SND_SEQ_EVENT_SYSEX)
                    mArrivals.Note(NumberIn(static_cast<const std::uint8_t*>(event->data.ext.ptr)));
        }
    }

    Arrivals& mArrivals;
    std::unique_ptr<Sequencer> mSequencer;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

HostTime Print(const char* who, const Arrivals& arrivals, const std::vector<HostTime>& written)
{
    std::vector<HostTime> delays;
    for (std::size_t number = 0; number < kMessages; ++number)
        delays.push_back(arrivals.At(number) - written[number]);
    std::sort(delays.begin(), delays.end());
    const auto micros = [&](double part) {
        return static_cast<double>(
                   delays[static_cast<std::size_t>(part * static_cast<double>(kMessages - 1))])
            / 1000;
    };
    std::printf("  %-14s p50 %8.0f us   p90 %8.0f us   p99 %8.0f us   max %8.0f us\n", who,
        micros(0.5), micros(0.9), micros(0.99), micros(1));
    return delays[kMessages / 2];
}

class LatencyTest : public SequencerTest {
protected:
    void Measure(const char* when)
    {
        Arrivals mine;
        Arrivals plain;
        Inbox inbox;
        Host host;
        inbox.onPacket = [&mine](const Bytes& bytes) { mine.Note(NumberIn(bytes.data())); };
        ASSERT_TRUE(host.Connect(host.Expect(Direction::Source, kCardPortName).ref, inbox));
        const PlainReader reader(plain);

        const std::vector<HostTime> written = Write();

        ASSERT_TRUE(Eventually([&] { return mine.HaveAll() && plain.HaveAll(); }));
        std::printf("from the write to the callback, %s, %zu messages:\n", when, kMessages);
        const HostTime myMedian = Print("midiservice", mine, written);
        const HostTime plainMedian = Print("plain reader", plain, written);
        // A guard against a polling loop or a hand-over to another thread, not a benchmark.
        EXPECT_LT(myMedian, 3 * plainMedian + 5'000'000);
    }

    static std::vector<HostTime> Write()
    {
        std::vector<HostTime> written;
        snd_rawmidi_t* port = nullptr;
        EXPECT_EQ(snd_rawmidi_open(nullptr, &port, kCardDevice, 0), 0);
        for (std::size_t number = 0; number < kMessages; ++number) {
            const Bytes message{0xF0, 0x7D, 0x01, 0x02, static_cast<std::uint8_t>(number / 128),
                static_cast<std::uint8_t>(number % 128), 0xF7};
            written.push_back(Now());
            EXPECT_EQ(snd_rawmidi_write(port, message.data(), message.size()), 7);
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
        snd_rawmidi_close(port);
        return written;
    }
};

TEST_F(LatencyTest, IsThatOfAPlainReaderOnAnIdleMachine)
{
    Measure("idle");
}

TEST_F(LatencyTest, IsThatOfAPlainReaderUnderLoad)
{
    const Program first("while :; do :; done");
    const Program second("while :; do :; done");
    Measure("under load");
}

} // namespace
} // namespace midiservice::alsa
