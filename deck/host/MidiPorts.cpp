#include "deck/host/MidiPorts.h"

#include "deck/host/HostError.h"
#include "kelcore/utility/HighPrecisionTime.h"
#include "kelcore/utility/UTF16String.h"

#include <KorvaMIDIService/KorvaMIDIService.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <memory>

namespace deck::host {
namespace {

using kelcore::utility::HighPrecisionTime;

struct ReleaseString {
    void operator()(const struct __CFString* string) const { CFRelease(string); }
};
using OwnedString = std::unique_ptr<const struct __CFString, ReleaseString>;

OwnedString MakeCFString(const char* utf8)
{
    return OwnedString(CFStringCreateWithCString(kCFAllocatorDefault, utf8, kCFStringEncodingUTF8));
}

std::string TextOf(CFStringRef string)
{
    const CFIndex length = CFStringGetLength(string);
    std::vector<UniChar> units(static_cast<std::size_t>(length));
    CFStringGetCharacters(string, CFRangeMake(0, length), units.data());
    return kelcore::utility::UTF16to8(std::u16string(units.begin(), units.end()));
}

std::string DisplayNameOf(MIDIEndpointRef endpoint)
{
    CFStringRef name = nullptr;
    MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, &name);
    const OwnedString owned(name);
    return owned != nullptr ? TextOf(owned.get()) : std::string();
}

std::string Lower(std::string text)
{
    for (char& letter : text) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return text;
}

std::optional<MIDIUniqueID> ParseID(const std::string& text)
{
    MIDIUniqueID id = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, id);
    return error == std::errc() && parsed == end ? std::optional(id) : std::nullopt;
}

template <typename Matches>
std::vector<MidiPort> Select(const std::vector<MidiPort>& ports, Matches matches)
{
    std::vector<MidiPort> selected;
    std::copy_if(ports.begin(), ports.end(), std::back_inserter(selected), matches);
    return selected;
}

std::vector<MidiPort> Matching(const std::vector<MidiPort>& ports, const std::string& wanted)
{
    if (const auto id = ParseID(wanted)) {
        auto byID = Select(ports, [id](const MidiPort& port) { return port.id == *id; });
        if (!byID.empty()) {
            return byID;
        }
    }
    const std::string lower = Lower(wanted);
    auto whole = Select(ports, [&](const MidiPort& port) { return Lower(port.name) == lower; });
    if (!whole.empty()) {
        return whole;
    }
    return Select(ports,
        [&](const MidiPort& port) { return Lower(port.name).find(lower) != std::string::npos; });
}

std::string Candidates(const std::vector<MidiPort>& ports)
{
    std::string lines;
    for (const MidiPort& port : ports) {
        lines += "\n  " + std::to_string(port.id) + "  " + port.name;
    }
    return lines;
}

HostError NoSuchPort(
    const std::vector<MidiPort>& ports, std::string_view kind, const std::string& wanted)
{
    const std::string line = "there is no " + std::string(kind) + " \"" + wanted + "\"";
    if (ports.empty()) {
        return HostError(line + ": the MIDI service has none at all");
    }
    return HostError(line + "; there are:" + Candidates(ports));
}

void Check(OSStatus status, const std::string& what)
{
    if (status != 0) {
        throw HostError(
            "the MIDI service failed to " + what + " (error " + std::to_string(status) + ")",
            kExitFailed);
    }
}

void OnNotification(const MIDINotification* message, void* context)
{
    if (message != nullptr && message->messageID == kMIDIMsgSetupChanged) {
        (*static_cast<std::function<void()>*>(context))();
    }
}

} // namespace

std::string_view NameOf(PortDirection direction) noexcept
{
    return direction == PortDirection::Source ? "source" : "destination";
}

std::vector<MidiPort> ListPorts(PortDirection direction)
{
    const bool isSource = direction == PortDirection::Source;
    const ItemCount count = isSource ? MIDIGetNumberOfSources() : MIDIGetNumberOfDestinations();
    std::vector<MidiPort> ports;
    for (ItemCount i = 0; i < count; ++i) {
        const MIDIEndpointRef endpoint = isSource ? MIDIGetSource(i) : MIDIGetDestination(i);
        // A port that went away since it was counted is 0
        if (endpoint != 0 && KorvaMIDIServiceIsHidden(endpoint) == 0) {
            ports.push_back({UniqueIDOf(endpoint), DisplayNameOf(endpoint), direction,
                KorvaMIDIServiceIsAmbiguous(endpoint) != 0});
        }
    }
    return ports;
}

std::optional<MIDIEndpointRef> FindEndpoint(MIDIUniqueID id, PortDirection direction)
{
    MIDIObjectRef object = 0;
    MIDIObjectType type = kMIDIObjectType_Other;
    const MIDIObjectType wanted
        = direction == PortDirection::Source ? kMIDIObjectType_Source : kMIDIObjectType_Destination;
    if (MIDIObjectFindByUniqueID(id, &object, &type) != 0 || type != wanted) {
        return std::nullopt;
    }
    return object;
}

MIDIUniqueID UniqueIDOf(MIDIEndpointRef endpoint)
{
    SInt32 id = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, &id);
    return id;
}

void HideEndpoint(MIDIEndpointRef endpoint)
{
    Check(KorvaMIDIServiceHide(endpoint), "hide an endpoint");
}

MIDIPacketList MakePacketList(
    std::span<const std::uint8_t> bytes, std::chrono::nanoseconds time) noexcept
{
    MIDIPacketList packets;
    packets.numPackets = 1;
    MIDIPacket& packet = packets.packet[0];
    packet.timeStamp
        = static_cast<MIDITimeStamp>(HighPrecisionTime::ConvertFromNanos(time.count()));
    packet.length = static_cast<UInt16>(std::min(bytes.size(), sizeof packet.data));
    std::copy_n(bytes.begin(), packet.length, packet.data);
    return packets;
}

MidiPort ChoosePort(
    const std::vector<MidiPort>& ports, PortDirection direction, const std::string& wanted)
{
    const std::string_view kind = NameOf(direction);
    const std::vector<MidiPort> matching = wanted.empty() ? ports : Matching(ports, wanted);
    if (matching.empty()) {
        throw NoSuchPort(ports, kind, wanted);
    }
    if (matching.size() > 1) {
        throw HostError("\"" + wanted + "\" means more than one " + std::string(kind)
            + "; give the ID of one of these:" + Candidates(matching));
    }
    return matching.front();
}

MidiClient::MidiClient(const char* name, std::function<void()> onSetupChanged)
    : mOnSetupChanged(std::move(onSetupChanged))
{
    const bool isTold = static_cast<bool>(mOnSetupChanged);
    Check(MIDIClientCreate(MakeCFString(name).get(), isTold ? OnNotification : nullptr,
              &mOnSetupChanged, &mClient),
        "open a client");
}

MidiClient::~MidiClient()
{
    MIDIClientDispose(mClient);
}

MIDIPortRef MidiClient::MakeInputPort(const char* name, MIDIReadProc readProc, void* context)
{
    MIDIPortRef port = 0;
    Check(MIDIInputPortCreate(mClient, MakeCFString(name).get(), readProc, context, &port),
        "make an input port");
    return port;
}

MIDIPortRef MidiClient::MakeOutputPort(const char* name)
{
    MIDIPortRef port = 0;
    Check(MIDIOutputPortCreate(mClient, MakeCFString(name).get(), &port),
        std::string("make the output port \"") + name + '"');
    return port;
}

MIDIEndpointRef MidiClient::MakeSource(const char* name)
{
    MIDIEndpointRef source = 0;
    Check(MIDISourceCreate(mClient, MakeCFString(name).get(), &source), "make a source");
    return source;
}

MIDIEndpointRef MidiClient::MakeDestination(const char* name, MIDIReadProc readProc, void* context)
{
    MIDIEndpointRef destination = 0;
    Check(MIDIDestinationCreate(mClient, MakeCFString(name).get(), readProc, context, &destination),
        "make a destination");
    return destination;
}

} // namespace deck::host
