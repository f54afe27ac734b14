#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"

#include "mediaio/kelmidi/src/mac/PlatformStrings_MAC.h"

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

namespace kelmidi {

using kelcore::utility::UTF16String;

namespace {

constexpr OSStatus kNoError = 0;

UTF16String GetDisplayNameProperty(MIDIEndpointRef endpoint)
{
    CFStringRef name = nullptr;
    MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, &name);
    const CFStringOwner owner(name);
    return owner ? MACtoKEL(owner.get()) : UTF16String();
}

UTF16String GetUniqueIDProperty(MIDIEndpointRef endpoint)
{
    SInt32 uniqueID = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, &uniqueID);
    char text[16]; // a 32-bit number takes 11 characters at most
    std::snprintf(text, sizeof(text), "%i", static_cast<int>(uniqueID));
    return kelcore::utility::AsciiToUTF16(text);
}

/// Whose a connection is. The service knows it by input port and source alone. A port that the
/// receive thread held last is destroyed there, late: it must not cut what another port of that
/// source has connected since.
class Connections {
public:
    static Connections& Get()
    {
        static Connections& sConnections = *new Connections; // ports may outlive statics
        return sConnections;
    }

    bool Connect(MIDIPortRef inPort, MIDIEndpointRef source, CoreMidiInputPort* port)
    {
        std::unique_lock lock(mMutex);
        Connection& connection = mConnections[{inPort, source}];
        bool isConnected = false;
        std::uint64_t cuts = 0;
        do {
            cuts = connection.cuts;
            lock.unlock();
            isConnected = MIDIPortConnectSource(inPort, source, port) == kNoError;
            lock.lock();
            connection.owner = isConnected ? port : connection.owner;
            mCut.wait(lock, [&] { return connection.cutting == 0; });
        } while (isConnected && connection.cuts != cuts);
        return isConnected;
    }

    void Disconnect(MIDIPortRef inPort, MIDIEndpointRef source, const CoreMidiInputPort* port)
    {
        std::unique_lock lock(mMutex);
        Connection& connection = mConnections[{inPort, source}];
        if (connection.owner != port) {
            return;
        }
        connection.owner = nullptr;
        ++connection.cutting;
        lock.unlock();
        MIDIPortDisconnectSource(inPort, source);
        lock.lock();
        --connection.cutting;
        ++connection.cuts;
        mCut.notify_all();
    }

private:
    struct Connection {
        const CoreMidiInputPort* owner = nullptr;
        int cutting = 0;        // threads that disconnect it just now
        std::uint64_t cuts = 0; // so far
    };

    std::mutex mMutex; // not held while the service is called
    std::condition_variable mCut;
    std::map<std::pair<MIDIPortRef, MIDIEndpointRef>, Connection> mConnections;
};

MIDIPacketList MakePacketList(const MidiData& data) noexcept
{
    MIDIPacketList list;
    list.numPackets = 1;
    list.packet[0].timeStamp = 0;
    list.packet[0].length = static_cast<UInt16>(data.length);
    std::memcpy(list.packet[0].data, data.bytes, data.length);
    return list;
}

} // namespace

CoreMidiInputPort::CoreMidiInputPort(
    MIDIPortRef inPort, MIDIEndpointRef source, std::uint32_t portTag)
    // Braces: the name is asked for before the ID.
    : MidiInputPort{GetDisplayNameProperty(source), GetUniqueIDProperty(source), portTag}
    , mInPort(inPort)
    , mSource(source)
{
}

CoreMidiInputPort::~CoreMidiInputPort()
{
    CoreMidiInputPort::Disconnect();
}

bool CoreMidiInputPort::Connect()
{
    const bool connected = Connections::Get().Connect(mInPort, mSource, this);
    mConnected = connected;
    return connected;
}

void CoreMidiInputPort::Disconnect()
{
    if (mConnected) {
        Connections::Get().Disconnect(mInPort, mSource, this);
        mConnected = false;
    }
}

CoreMidiOutputPort::CoreMidiOutputPort(
    MIDIPortRef outPort, MIDIEndpointRef destination, std::uint32_t portTag)
    : MidiOutputPort{GetDisplayNameProperty(destination), GetUniqueIDProperty(destination), portTag}
    , mOutPort(outPort)
    , mDestination(destination)
{
}

bool CoreMidiOutputPort::Connect()
{
    mConnected = true;
    return true;
}

void CoreMidiOutputPort::Disconnect()
{
    if (mConnected) {
        MIDIFlushOutput(mDestination);
        mConnected = false;
    }
}

bool CoreMidiOutputPort::SendMidiMessage(const MidiMessage& message)
{
    if (message.data.length > kMaxMidiDataLength) {
        return false;
    }
    const MIDIPacketList list = MakePacketList(message.data);
    return MIDISend(mOutPort, mDestination, &list) == kNoError;
}

} // namespace kelmidi
