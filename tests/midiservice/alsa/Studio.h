// A machine with a sequencer for the tests: other programs, virtual cards, USB MIDI interfaces
// that are plugged and pulled, and the service as a program uses it.

#pragma once

#include "mediaio/midiservice/src/Service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace midiservice::alsa {

using Bytes = std::vector<std::uint8_t>;

// Long enough for a slow emulated machine: it is waited out only when something is wrong.
constexpr std::chrono::seconds kDeadline{20};

/// Null when the machine has a sequencer, else why not.
const char* WhyNoSequencer();
/// Null when USB interfaces can be plugged on this machine, else why not.
const char* WhyNoPlugging();

/// Runs a command of the shell, and returns what it wrote.
std::string Output(const std::string& command);
void Shell(const std::string& command);

/// Waits until `isTrue` holds; asks every few milliseconds.
bool Eventually(const std::function<bool()>& isTrue);

/// Another program that runs until it is told to end.
class Program {
public:
    /// `command` is the shell's; what it writes can be waited for.
    explicit Program(const std::string& command);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    std::string Written();
    bool HasWritten(const std::string& text);
    /// For programs that write bytes as hexadecimal numbers, however they set them out.
    bool HasDumped(const Bytes& bytes);
    void Stop(); // it is there, but does nothing
    void Continue();
    /// Waits for it to end by itself.
    void Wait();

private:
    void Signal(int signal);

    int mProcess = -1;
    int mOutput = -1;
    std::string mWritten;
};

/// A file that is deleted at the end.
class File {
public:
    explicit File(const Bytes& bytes);
    ~File();
    const std::string& Path() const { return mPath; }

private:
    std::string mPath;
};

/// A USB MIDI interface that can be plugged into one of two sockets, 0 and 1.
class Interface {
public:
    Interface(std::string name, const std::string& product, const std::string& serial, int ports);
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    ~Interface();

    void Plug(int socket);
    void Pull();
    /// Pulls and plugs it as fast as it goes.
    void Replug(int times);
    /// The card at the far end of its cable, as "hw:N"; empty while it is not plugged.
    std::string FarEnd() const;
    /// Plays into it at the far end: the computer receives it.
    void Play(const Bytes& bytes) const;

private:
    std::string mName;
};

/// What a port or a virtual destination has received. To be made before the host that fills it.
class Inbox {
public:
    static void Receive(const MIDIPacketList* packets, void* inbox, void* connection);

    bool WaitFor(std::size_t count);
    std::vector<Bytes> All() const;
    Bytes Joined() const;
    void Clear();
    /// Called for each packet, on the receive thread.
    std::function<void(const Bytes&)> onPacket;

private:
    mutable std::mutex mMutex;
    std::condition_variable mArrived;
    std::vector<Bytes> mPackets;
};

/// The service as a program uses it, with the client and port names of the control surface.
class Host {
public:
    explicit Host(const std::string& client = "Korva.ControlSurface.MMC");
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    struct Endpoint {
        MIDIEndpointRef ref = 0;
        EndpointInfo info;
    };

    std::vector<Endpoint> List(Direction direction);
    /// The first endpoint whose display name contains this.
    std::optional<Endpoint> Find(Direction direction, const std::string& name);
    /// Waits for it.
    Endpoint Expect(Direction direction, const std::string& name);
    bool WaitUntilGone(Direction direction, const std::string& name);
    /// All with that name, in the order of their IDs.
    std::map<MIDIUniqueID, bool> IDs(Direction direction, const std::string& name);

    bool Connect(MIDIEndpointRef source, Inbox& inbox);
    OSStatus Send(MIDIEndpointRef destination, const Bytes& bytes);
    OSStatus SendFrom(MIDIEndpointRef virtualSource, const Bytes& bytes);

    std::size_t SetupChanges() const { return mSetupChanges.load(); }

    Service service;
    MIDIClientRef client = 0;
    MIDIPortRef input = 0;
    MIDIPortRef output = 0;

private:
    static void OnNotification(const MIDINotification* message, void* host);
    static void OnPackets(const MIDIPacketList* packets, void* context, void* connection);

    std::atomic<std::size_t> mSetupChanges{0};
};

/// Skips, saying why, where there is no sequencer.
class SequencerTest : public testing::Test {
protected:
    void SetUp() override;
};

/// Skips, saying why, where nothing can be plugged.
class PlugTest : public testing::Test {
protected:
    void SetUp() override;
};

inline const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
inline const Bytes kStop{0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7};

/// A SysEx of this length, F0 and F7 included, in which a lost byte is noticed.
Bytes LongSysEx(std::size_t length);

} // namespace midiservice::alsa
