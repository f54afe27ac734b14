// How long a command takes from the wire to the host's transport, through the built bundle on a
// real sequencer, beside a plain reader that hears the same messages at the same time.

#include "BlackBoxHost.h"

#include <CoreMIDI/CoreMIDI.h>
#include <alsa/asoundlib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace blackbox {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kMessages = 400;
constexpr std::chrono::seconds kDeadline{30};
// The second port of the kernel's virtual card: what is written there comes from client 17.
constexpr const char* kCardDevice = "hw:0,1";
constexpr unsigned char kCardClient = 17;
constexpr char16_t kCardPortName[] = u"VirMIDI 0-1";

/// LOCATE to a time that bears the number, at 25 frames a second.
std::vector<unsigned char> NumberedLocate(std::size_t number)
{
    return {0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, static_cast<unsigned char>(number / 60),
        static_cast<unsigned char>(number % 60), 0x00, 0x00, 0xF7};
}

/// When each numbered message came.
class Arrivals {
public:
    void Note(std::size_t number) { mTimes.at(number).store(Clock::now()); }
    bool WaitForAll() const
    {
        const auto end = Clock::now() + kDeadline;
        while (!HaveAll() && Clock::now() < end) {
            std::this_thread::sleep_for(milliseconds(5));
        }
        return HaveAll();
    }
    Clock::time_point At(std::size_t number) const { return mTimes.at(number).load(); }

private:
    bool HaveAll() const
    {
        return std::all_of(mTimes.begin(), mTimes.end(),
            [](const auto& time) { return time.load() != Clock::time_point(); });
    }

    std::vector<std::atomic<Clock::time_point>> mTimes
        = std::vector<std::atomic<Clock::time_point>>(kMessages);
};

/// What aseqdump does, without writing anything.
class PlainReader {
public:
    explicit PlainReader(Arrivals& arrivals)
        : mArrivals(arrivals)
    {
        snd_seq_open(&mSequencer, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK);
        const int port = snd_seq_create_simple_port(mSequencer, "In", SND_SEQ_PORT_CAP_WRITE, 0);
        snd_seq_connect_from(mSequencer, port, kCardClient, 0);
        mThread = std::thread([this] { Run(); });
    }
    PlainReader(const PlainReader&) = delete;
    PlainReader& operator=(const PlainReader&) = delete;
    ~PlainReader()
    {
        mStop = true;
        mThread.join();
        snd_seq_close(mSequencer);
    }

private:
    void Run()
    {
        pollfd descriptor{};
        snd_seq_poll_descriptors(mSequencer, &descriptor, 1, POLLIN);
        while (!mStop) {
            poll(&descriptor, 1, 100);
            snd_seq_event_t* event = nullptr;
            while (snd_seq_event_input(mSequencer, &event) >= 0) {
                if (event->type == SND_SEQ_EVENT_SYSEX) {
                    const auto* bytes = static_cast<const unsigned char*>(event->data.ext.ptr);
                    mArrivals.Note(bytes[8] * 60U + bytes[9]);
                }
            }
        }
    }

    Arrivals& mArrivals;
    snd_seq_t* mSequencer = nullptr;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

/// A process that keeps a processor busy.
class Load {
public:
    Load()
        : mProcess(fork())
    {
        if (mProcess == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::atomic<unsigned> turns{0};
            for (;;) {
                turns.fetch_add(1);
            }
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    ~Load()
    {
        kill(mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }

private:
    const pid_t mProcess;
};

std::u16string DisplayName(MIDIEndpointRef endpoint)
{
    CFStringRef string = nullptr;
    if (MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, &string) != 0) {
        return u"";
    }
    std::vector<UniChar> text(static_cast<std::size_t>(CFStringGetLength(string)));
    CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)), text.data());
    CFRelease(string);
    return {text.begin(), text.end()};
}

std::u16string PortID(MIDIEndpointRef endpoint)
{
    SInt32 id = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, &id);
    const std::string text = std::to_string(id);
    return {text.begin(), text.end()};
}

template <typename Count, typename Get> std::u16string FindCardPort(Count count, Get get)
{
    for (ItemCount index = 0; index < count(); ++index) {
        if (DisplayName(get(index)).find(kCardPortName) != std::u16string::npos) {
            return PortID(get(index));
        }
    }
    return u"";
}

Clock::duration Print(
    const char* who, const Arrivals& arrivals, const std::vector<Clock::time_point>& written)
{
    std::vector<Clock::duration> delays;
    for (std::size_t number = 0; number < kMessages; ++number) {
        delays.push_back(arrivals.At(number) - written[number]);
    }
    std::sort(delays.begin(), delays.end());
    const auto micros = [&](std::size_t thousandth) {
        const Clock::duration delay = delays[thousandth * (kMessages - 1) / 1000];
        return std::chrono::duration<double, std::micro>(delay).count();
    };
    std::printf("  %-14s p50 %8.0f us   p90 %8.0f us   p99 %8.0f us   max %8.0f us\n", who,
        micros(500), micros(900), micros(990), micros(1000));
    return delays[kMessages / 2];
}

class HostCallLatency : public testing::Test {
protected:
    void SetUp() override
    {
        if (access("/dev/snd/seq", R_OK | W_OK) != 0) {
            GTEST_SKIP() << "this kernel has no ALSA sequencer; scripts/check-vm runs this under "
                            "one that has";
        }
        constexpr int kReplace = 1;
        setenv("KEL_MIDI_SERVICE", "alsa", kReplace);
        SetDebugEntry("kelcontrolsurface.EnableMMC", "true");
        ASSERT_EQ(
            mBundle.EntryPoint()(Host::BasicSuite(), nullptr, nullptr, 42, &mFuncs), kSuccess);
        ASSERT_EQ(mFuncs.Startup(), kSuccess);
        mSuite = mHost.Registered<KORVASDK_ControlSurfacePluginSuite>(
            kKORVASDKControlSurfacePluginSuite);
        ASSERT_EQ(mFuncs.CreatePluginInstance(&mPlugin), kSuccess);
        Configure();
        ASSERT_EQ(mSuite.Connect(mPlugin, mHost.Ref(), &mSurface), kSuccess);
    }

    void TearDown() override
    {
        if (mPlugin != nullptr) {
            EXPECT_EQ(mSuite.Disconnect(mPlugin), kSuccess);
            EXPECT_EQ(mFuncs.DeletePluginInstance(mPlugin), kSuccess);
            EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
        }
    }

    void Configure()
    {
        const std::u16string in = FindCardPort(&MIDIGetNumberOfSources, &MIDIGetSource);
        const std::u16string out = FindCardPort(&MIDIGetNumberOfDestinations, &MIDIGetDestination);
        ASSERT_NE(in, u"");
        ASSERT_NE(out, u"");
        const KORVASDK_String settings{u"{\"PortConfiguration\":{\"in\":\"" + in
            + u"\",\"options\":{\"transmit_mtc\":false},\"out\":\"" + out + u"\"}}"};
        EXPECT_EQ(mSuite.SetPluginSettings(mPlugin, &settings), kSuccess);
    }

    void Measure(const char* when)
    {
        Arrivals calls;
        Arrivals plain;
        mHost.onLog = [&calls](const std::string& entry) { NoteLocate(entry, calls); };
        const PlainReader reader(plain);

        const std::vector<Clock::time_point> written = Write();

        ASSERT_TRUE(calls.WaitForAll());
        ASSERT_TRUE(plain.WaitForAll());
        std::printf("from the write to the host's call, %s, %zu messages:\n", when, kMessages);
        const Clock::duration ours = Print("plug-in", calls, written);
        const Clock::duration theirs = Print("plain reader", plain, written);
        // A guard against a wait on the way, not a benchmark: emulated machines are slow.
        EXPECT_LT(ours, 3 * theirs + milliseconds(20));
    }

    static std::vector<Clock::time_point> Write()
    {
        std::vector<Clock::time_point> written;
        snd_rawmidi_t* port = nullptr;
        EXPECT_EQ(snd_rawmidi_open(nullptr, &port, kCardDevice, 0), 0);
        for (std::size_t number = 0; number < kMessages; ++number) {
            const std::vector<unsigned char> message = NumberedLocate(number);
            written.push_back(Clock::now());
            EXPECT_EQ(snd_rawmidi_write(port, message.data(), message.size()),
                static_cast<ssize_t>(message.size()));
            std::this_thread::sleep_for(milliseconds(3));
        }
        snd_rawmidi_close(port);
        return written;
    }

    // "locate smpte FORMAT HOURS MINUTES SECONDS ..."
    static void NoteLocate(const std::string& entry, Arrivals& calls)
    {
        std::istringstream words(entry);
        std::string word;
        std::size_t format = 0;
        std::size_t hours = 0;
        std::size_t minutes = 0;
        std::size_t seconds = 0;
        if (words >> word && word == "locate") {
            words >> word >> format >> hours >> minutes >> seconds;
            calls.Note(minutes * 60 + seconds);
        }
    }

    Host mHost;
    Bundle mBundle;
    KORVASDK_ControlSurfacePluginFuncs mFuncs{};
    KORVASDK_ControlSurfacePluginSuite mSuite{};
    KORVASDK_ControlSurfacePlugin* mPlugin = nullptr;
    KORVASDK_ControlSurface* mSurface = nullptr;
};

} // namespace

TEST_F(HostCallLatency, IsNearThatOfAPlainReaderOnAnIdleMachine)
{
    Measure("idle");
}

TEST_F(HostCallLatency, IsNearThatOfAPlainReaderUnderLoad)
{
    const Load first;
    const Load second;
    Measure("under load");
}

} // namespace blackbox
