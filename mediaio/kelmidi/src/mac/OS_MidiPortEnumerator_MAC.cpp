#include "mediaio/kelmidi/src/mac/OS_MidiPortEnumerator_MAC.h"

#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"

#include <cassert>

namespace kelmidi {

using kelcore::utility::UTF16String;

namespace {

constexpr std::uint32_t kEnumeratedPortTag = 0;

/// The endpoint of this kind that has the unique ID, or false.
bool FindEndpoint(const UTF16String& portID, MIDIObjectType kind, MIDIObjectRef& endpoint)
{
    MIDIObjectType foundKind = kMIDIObjectType_Other;
    endpoint = 0;
    const MIDIUniqueID uniqueID = GetUniqueIDFromMidiPortID(portID);
    return MIDIObjectFindByUniqueID(uniqueID, &endpoint, &foundKind) == 0 && foundKind == kind;
}

const OS_MidiHost& AsOSHost(const boost::intrusive_ptr<MidiHost>& host)
{
    assert(host);
    return static_cast<const OS_MidiHost&>(*host);
}

} // namespace

OS_MidiPortEnumerator::OS_MidiPortEnumerator(const boost::intrusive_ptr<MidiHost>& host)
    : MidiPortEnumerator(host)
    , mOSHost(dynamic_cast<OS_MidiHost*>(host.get()))
{
}

MidiInputPortList OS_MidiPortEnumerator::EnumInputPorts() const
{
    MidiInputPortList ports;
    const ItemCount count = mOSHost ? MIDIGetNumberOfSources() : 0;
    for (ItemCount i = 0; i < count; ++i) {
        ports.AddPort(
            new CoreMidiInputPort(mOSHost->GetInPort(), MIDIGetSource(i), kEnumeratedPortTag));
    }
    return ports;
}

MidiOutputPortList OS_MidiPortEnumerator::EnumOutputPorts() const
{
    MidiOutputPortList ports;
    const ItemCount count = mOSHost ? MIDIGetNumberOfDestinations() : 0;
    for (ItemCount i = 0; i < count; ++i) {
        ports.AddPort(new CoreMidiOutputPort(
            mOSHost->GetOutPort(), MIDIGetDestination(i), kEnumeratedPortTag));
    }
    return ports;
}

boost::intrusive_ptr<MidiHost> MidiHostCreate(const UTF16String& clientName)
{
    return new OS_MidiHost(clientName);
}

boost::intrusive_ptr<MidiInputPort> MidiInputPortCreate(
    const boost::intrusive_ptr<MidiHost>& host, const UTF16String& portID, std::uint32_t portTag)
{
    MIDIObjectRef source = 0;
    if (!FindEndpoint(portID, kMIDIObjectType_Source, source)) {
        return nullptr;
    }
    return new CoreMidiInputPort(AsOSHost(host).GetInPort(), source, portTag);
}

boost::intrusive_ptr<MidiOutputPort> MidiOutputPortCreate(
    const boost::intrusive_ptr<MidiHost>& host,
    const UTF16String& portID,
    std::uint32_t portTag,
    bool)
{
    MIDIObjectRef destination = 0;
    if (!FindEndpoint(portID, kMIDIObjectType_Destination, destination)) {
        return nullptr;
    }
    return new CoreMidiOutputPort(AsOSHost(host).GetOutPort(), destination, portTag);
}

boost::intrusive_ptr<MidiPortEnumerator> MidiPortEnumeratorCreate(
    const boost::intrusive_ptr<MidiHost>& host)
{
    return new OS_MidiPortEnumerator(host);
}

} // namespace kelmidi
