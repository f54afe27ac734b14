#include "mediaio/kelmidi/src/MidiPort.h"

#include "kelcore/utility/StringToNumber.h"
#include "mediaio/kelmidi/src/DeferredMidiMessageHandler.h"

namespace kelmidi {

using kelcore::utility::UTF16String;

MidiPort::MidiPort(
    const UTF16String& displayName, const UTF16String& uniqueID, std::uint32_t portTag)
    : mDisplayName(displayName)
    , mUniqueID(uniqueID)
    , mPortTag(portTag)
{
}

MidiInputPort::MidiInputPort(
    const UTF16String& displayName, const UTF16String& uniqueID, std::uint32_t portTag)
    : MidiPort(displayName, uniqueID, portTag)
    , mHandler(new DeferredMidiMessageHandler(portTag))
{
}

MidiInputPort::~MidiInputPort() = default;

void MidiInputPort::HandleMessage(const MidiMessage& message)
{
    mHandler->QueueMessage(message);
}

void MidiInputPort::AddListener(MidiListener* listener)
{
    mHandler->AddListener(listener);
}

void MidiInputPort::RemoveListener(MidiListener* listener)
{
    mHandler->RemoveListener(listener);
}

MidiOutputPort::MidiOutputPort(
    const UTF16String& displayName, const UTF16String& uniqueID, std::uint32_t portTag)
    : MidiPort(displayName, uniqueID, portTag)
{
}

std::int32_t GetUniqueIDFromMidiPortID(const UTF16String& portID)
{
    constexpr unsigned int kFlags = 1;
    std::int32_t uniqueID = 0;
    kelcore::utility::StringToNumber(portID, uniqueID, kFlags);
    return uniqueID;
}

} // namespace kelmidi
