// MIDI endpoints as the surfaces and dialogs see them.

#pragma once

#include "kelcore/utility/RefCounted.h"
#include "kelcore/utility/UTF16String.h"
#include "mediaio/kelmidi/src/MidiDataTypes.h"
#include "mediaio/kelmidi/src/MidiListener.h"

#include <boost/intrusive_ptr.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace kelmidi {

class DeferredMidiMessageHandler;
class MidiHost;

/// One endpoint. Created disconnected. Does not keep its `MidiHost`: when that goes, the port
/// neither receives nor sends any more.
class MidiPort : public kelcore::utility::RefCountedObject {
public:
    /// [any thread, real-time]
    virtual bool IsInput() const = 0;
    /// Returns whether the port is connected now. [host, may block]
    virtual bool Connect() = 0;
    /// Does nothing on a port that is not connected. [host, may block]
    virtual void Disconnect() = 0;
    /// [any thread, real-time]
    virtual bool IsConnected() const = 0;

    /// The name to show to the user; may be empty. [any thread]
    kelcore::utility::UTF16String GetDisplayName() const { return mDisplayName; }
    /// The service's unique ID of the endpoint in decimal. [any thread]
    kelcore::utility::UTF16String GetUniqueID() const { return mUniqueID; }
    /// [any thread, real-time]
    std::uint32_t GetPortTag() const noexcept { return mPortTag; }

protected:
    MidiPort(const kelcore::utility::UTF16String& displayName,
        const kelcore::utility::UTF16String& uniqueID,
        std::uint32_t portTag);
    ~MidiPort() override = default;

private:
    const kelcore::utility::UTF16String mDisplayName;
    const kelcore::utility::UTF16String mUniqueID;
    const std::uint32_t mPortTag;
};

/// Where messages arrive. Its listeners are called on the CPU-bound executor.
class MidiInputPort : public MidiPort {
public:
    bool IsInput() const override { return true; }

    /// Queues `message` for the listeners. One thread at a time. [receive, real-time; allocates
    /// only to post a delivery pass]
    virtual void HandleMessage(const MidiMessage& message);

    /// Registers `listener` behind the others; one that is registered moves to the end.
    /// [any thread, may block for one delivery pass]
    void AddListener(MidiListener* listener);

    /// After it returns, `listener` is not called any more. An unknown one is ignored.
    /// [any thread, may block for one delivery pass]
    void RemoveListener(MidiListener* listener);

protected:
    MidiInputPort(const kelcore::utility::UTF16String& displayName,
        const kelcore::utility::UTF16String& uniqueID,
        std::uint32_t portTag);
    ~MidiInputPort() override;

private:
    const boost::shared_ptr<DeferredMidiMessageHandler> mHandler;
};

/// Where messages leave.
class MidiOutputPort : public MidiPort {
public:
    bool IsInput() const override { return false; }

    /// Returns whether the service accepted `message`. [any thread]
    virtual bool SendMidiMessage(const MidiMessage& message) = 0;
    /// [any thread, real-time]
    virtual bool CanUseTimeStamp() const { return false; }
    /// [any thread, real-time]
    virtual bool IsSoftwareInstrument() const { return false; }

protected:
    MidiOutputPort(const kelcore::utility::UTF16String& displayName,
        const kelcore::utility::UTF16String& uniqueID,
        std::uint32_t portTag);
    ~MidiOutputPort() override = default;
};

/// The number that a port ID stands for; 0 where it is not a number. [any thread]
std::int32_t GetUniqueIDFromMidiPortID(const kelcore::utility::UTF16String& portID);

/// The source whose unique ID is `portID`, or null where there is none. [host, may block]
boost::intrusive_ptr<MidiInputPort> MidiInputPortCreate(const boost::intrusive_ptr<MidiHost>& host,
    const kelcore::utility::UTF16String& portID,
    std::uint32_t portTag);

/// The destination whose unique ID is `portID`, or null where there is none. The last argument has
/// no meaning. [host, may block]
boost::intrusive_ptr<MidiOutputPort> MidiOutputPortCreate(
    const boost::intrusive_ptr<MidiHost>& host,
    const kelcore::utility::UTF16String& portID,
    std::uint32_t portTag,
    bool);

} // namespace kelmidi
