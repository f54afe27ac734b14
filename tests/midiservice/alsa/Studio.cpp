#include "tests/midiservice/alsa/Studio.h"

#include "mediaio/midiservice/src/alsa/AlsaDriver.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace midiservice::alsa {

namespace {

std::string Quoted(const std::string& text)
{
    return "'" + text + "'";
}

void Gadget(const std::string& function, const std::string& arguments)
{
    Shell("source '" KORVA_SCRIPTS "/usb-midi-gadget' && gadget_" + function + " " + arguments);
}

// A packet list of one packet, of any length.
struct OneList {
    explicit OneList(const Bytes& bytes)
        : storage(sizeof(MIDIPacketList) + bytes.size())
    {
        auto* list = reinterpret_cast<MIDIPacketList*>(storage.data());
        list->numPackets = 1;
        list->packet[0].timeStamp = 0;
        list->packet[0].length = static_cast<UInt16>(bytes.size());
        std::memcpy(list->packet[0].data, bytes.data(), bytes.size());
    }
    const MIDIPacketList& Get() const
    {
        return *reinterpret_cast<const MIDIPacketList*>(storage.data());
    }
    std::vector<std::uint8_t> storage;
};

} // namespace

const char* WhyNoSequencer()
{
    return access("/dev/snd/seq", R_OK | W_OK) == 0
        ? nullptr
        : "this kernel has no ALSA sequencer; scripts/check-vm runs this under one that has";
}

const char* WhyNoPlugging()
{
    return access("/sys/kernel/config/usb_gadget", W_OK) == 0
        ? WhyNoSequencer()
        : "no USB interface can be plugged here; scripts/check-vm runs this where one can";
}

std::string Output(const std::string& command)
{
    Program program(command);
    program.Wait();
    return program.Written();
}

void Shell(const std::string& command)
{
    const std::string output = Output("set -e; " + command);
    if (!output.empty())
        std::fprintf(stderr, "%s\n%s", command.c_str(), output.c_str());
}

bool Eventually(const std::function<bool()>& isTrue)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// ------------------------------------------------------------------ Program

Program::Program(const std::string& command)
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    mProcess = fork();
    if (mProcess == 0) {
        setpgid(0, 0);
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        execl("/bin/bash", "bash", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    setpgid(mProcess, mProcess);
    close(ends[1]);
    mOutput = ends[0];
    fcntl(mOutput, F_SETFL, O_NONBLOCK);
}

Program::~Program()
{
    if (mProcess > 0) {
        Continue();
        Signal(SIGTERM);
        waitpid(mProcess, nullptr, 0);
    }
    close(mOutput);
}

void Program::Signal(int signal)
{
    if (mProcess > 0)
        kill(-mProcess, signal);
}

void Program::Stop()
{
    Signal(SIGSTOP);
}
void Program::Continue()
{
    Signal(SIGCONT);
}

std::string Program::Written()
{
    char buffer[4096];
    ssize_t got = 0;
    while ((got = read(mOutput, buffer, sizeof buffer)) > 0)
        mWritten.append(buffer, static_cast<std::size_t>(got));
    return mWritten;
}

bool Program::HasWritten(const std::string& text)
{
    return Eventually([&] { return Written().find(text) != std::string::npos; });
}

bool Program::HasDumped(const Bytes& bytes)
{
    std::string expected;
    std::array<char, 3> text{};
    for (const std::uint8_t byte : bytes) {
        std::snprintf(text.data(), text.size(), "%02X", byte);
        expected += text.data();
    }
    std::string found = Written();
    found.erase(std::remove_if(found.begin(), found.end(),
                    [](char character) { return character == ' ' || character == '\n'; }),
        found.end());
    return found.find(expected) != std::string::npos;
}

void Program::Wait()
{
    pollfd descriptor{mOutput, POLLIN, 0};
    while (poll(&descriptor, 1, -1) > 0 && (descriptor.revents & POLLIN) != 0)
        Written();
    waitpid(mProcess, nullptr, 0);
    mProcess = -1;
}

// ------------------------------------------------------------------ File

File::File(const Bytes& bytes)
{
    char path[] = "/tmp/midi.XXXXXX";
    close(mkstemp(path));
    mPath = path;
    std::ofstream(mPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

File::~File()
{
    unlink(mPath.c_str());
}

// ------------------------------------------------------------------ Interface

Interface::Interface(
    std::string name, const std::string& product, const std::string& serial, int ports)
    : mName(std::move(name))
{
    Gadget("make",
        mName + " " + Quoted(product) + " 1d6b 0104 " + Quoted(serial) + " "
            + std::to_string(ports));
}

Interface::~Interface()
{
    if (!FarEnd().empty())
        Pull();
    Gadget("remove", mName);
}

void Interface::Plug(int socket)
{
    Gadget("plug", mName + " dummy_udc." + std::to_string(socket));
}

void Interface::Pull()
{
    Gadget("pull", mName);
}

void Interface::Replug(int times)
{
    const std::string udc = "/sys/kernel/config/usb_gadget/" + mName + "/UDC";
    Shell("udc=" + udc + "; socket=$(cat $udc); for ((i = 0; i < " + std::to_string(times)
        + "; i++)); do echo > $udc; echo $socket > $udc; done");
}

std::string Interface::FarEnd() const
{
    const std::string card = Output("cd /sys/kernel/config/usb_gadget/" + mName
        + " && socket=$(cat UDC) && [[ $socket ]] && cd /sys/class/udc/$socket/device/gadget*/sound"
          " 2>/dev/null && echo card*");
    return card.compare(0, 4, "card") == 0 ? "hw:" + card.substr(4, card.find('\n') - 4) : "";
}

void Interface::Play(const Bytes& bytes) const
{
    const File file(bytes);
    Shell("amidi -p " + FarEnd() + ",0,0 -s " + file.Path());
}

// ------------------------------------------------------------------ Inbox

void Inbox::Receive(const MIDIPacketList* packets, void* inbox, void* /*connection*/)
{
    auto& self = *static_cast<Inbox*>(inbox);
    const MIDIPacket* packet = packets->packet;
    for (UInt32 index = 0; index < packets->numPackets; ++index) {
        const Bytes bytes(packet->data, packet->data + packet->length);
        if (self.onPacket)
            self.onPacket(bytes);
        const std::lock_guard lock(self.mMutex);
        self.mPackets.push_back(bytes);
        self.mArrived.notify_all();
        packet = MIDIPacketNext(packet);
    }
}

bool Inbox::WaitFor(std::size_t count)
{
    std::unique_lock lock(mMutex);
    return mArrived.wait_for(lock, kDeadline, [&] { return mPackets.size() >= count; });
}

std::vector<Bytes> Inbox::All() const
{
    const std::lock_guard lock(mMutex);
    return mPackets;
}

Bytes Inbox::Joined() const
{
    Bytes joined;
    for (const Bytes& packet : All())
        joined.insert(joined.end(), packet.begin(), packet.end());
    return joined;
}

void Inbox::Clear()
{
    const std::lock_guard lock(mMutex);
    mPackets.clear();
}

// ------------------------------------------------------------------ Host

Host::Host(const std::string& name)
    : service(MakeAlsaDriver(), "midiservice-tests", true)
{
    service.CreateClient(name, &Host::OnNotification, this, client);
    service.CreateInputPort(client, "Input port", &Host::OnPackets, this, input);
    service.CreateOutputPort(client, "Output port", output);
}

Host::~Host()
{
    service.DisposeClient(client);
}

void Host::OnNotification(const MIDINotification* message, void* host)
{
    if (message->messageID == kMIDIMsgSetupChanged)
        ++static_cast<Host*>(host)->mSetupChanges;
}

void Host::OnPackets(const MIDIPacketList* packets, void* /*context*/, void* connection)
{
    Inbox::Receive(packets, connection, nullptr);
}

std::vector<Host::Endpoint> Host::List(Direction direction)
{
    std::vector<Endpoint> list;
    for (std::size_t index = 0; index < service.CountEndpoints(direction); ++index) {
        Endpoint endpoint;
        endpoint.ref = service.GetEndpoint(direction, index);
        if (service.GetEndpointInfo(endpoint.ref, endpoint.info))
            list.push_back(endpoint);
    }
    return list;
}

std::optional<Host::Endpoint> Host::Find(Direction direction, const std::string& name)
{
    for (const Endpoint& endpoint : List(direction))
        if (endpoint.info.displayName.find(name) != std::string::npos)
            return endpoint;
    return std::nullopt;
}

Host::Endpoint Host::Expect(Direction direction, const std::string& name)
{
    EXPECT_TRUE(Eventually([&] { return Find(direction, name).has_value(); })) << name;
    return Find(direction, name).value_or(Endpoint{});
}

bool Host::WaitUntilGone(Direction direction, const std::string& name)
{
    return Eventually([&] { return !Find(direction, name).has_value(); });
}

std::map<MIDIUniqueID, bool> Host::IDs(Direction direction, const std::string& name)
{
    std::map<MIDIUniqueID, bool> ids;
    for (const Endpoint& endpoint : List(direction))
        if (endpoint.info.displayName.find(name) != std::string::npos)
            ids[endpoint.info.uniqueID] = endpoint.info.isAmbiguous;
    return ids;
}

bool Host::Connect(MIDIEndpointRef source, Inbox& inbox)
{
    return service.ConnectSource(input, source, &inbox) == kNoError;
}

OSStatus Host::Send(MIDIEndpointRef destination, const Bytes& bytes)
{
    return service.Send(output, destination, OneList(bytes).Get());
}

OSStatus Host::SendFrom(MIDIEndpointRef virtualSource, const Bytes& bytes)
{
    return service.Received(virtualSource, OneList(bytes).Get(), Timing::AtOnce);
}

// ------------------------------------------------------------------ fixtures

void SequencerTest::SetUp()
{
    if (const char* reason = WhyNoSequencer())
        GTEST_SKIP() << reason;
}

void PlugTest::SetUp()
{
    if (const char* reason = WhyNoPlugging())
        GTEST_SKIP() << reason;
    // The computer notices a moment later that the last test has pulled its interfaces.
    EXPECT_TRUE(Eventually(
        [] { return Output("aconnect -l").find("'Lab Surface'") == std::string::npos; }));
}

Bytes LongSysEx(std::size_t length)
{
    Bytes bytes{0xF0};
    while (bytes.size() + 1 < length)
        bytes.push_back(static_cast<std::uint8_t>((bytes.size() * 7 + bytes.size() / 128) & 0x7F));
    bytes.push_back(0xF7);
    return bytes;
}

} // namespace midiservice::alsa
