// The least that a surface must do: it counts what it is asked and offered.

#pragma once

#include "kelcontrolsurface/plugins/common/midi/src/MIDIBasedControlSurface.h"

#include <boost/function.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace kelcontrolsurface::tests {

class TestSurface : public MIDIBasedControlSurface {
public:
    using Message = std::vector<unsigned char>;

    TestSurface()
        : MIDIBasedControlSurface(u"Korva.ControlSurface.Test")
    {
    }
    ~TestSurface() override
    {
        EndSetupNotices();
        Disconnect();
    }

    bool HandleMidiMessage(const kelmidi::MidiMessage& message, unsigned int portTag) override
    {
        {
            const unsigned char* bytes = message.data.bytes;
            const std::lock_guard<std::mutex> lock(mMutex);
            mReceived.emplace_back(bytes, bytes + message.data.length);
            lastPortTag = portTag;
            mChanged.notify_all();
        }
        if (onMessage) {
            onMessage();
        }
        return true;
    }
    void Connect(const MIDIDeviceInfo& info) override
    {
        ++connects;
        MIDIBasedControlSurface::Connect(info);
    }
    void Disconnect() override
    {
        ++disconnects;
        MIDIBasedControlSurface::Disconnect();
    }

    std::vector<Message> Received() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mReceived;
    }

    /// Returns false where fewer than `count` messages came before a generous deadline.
    bool WaitForReceived(std::size_t count) const
    {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(
            lock, std::chrono::seconds(30), [&] { return mReceived.size() >= count; });
    }

    boost::function<void()> onMessage; // set before the first message
    std::atomic<int> connects{0};
    std::atomic<int> disconnects{0};
    std::atomic<unsigned int> lastPortTag{99};

private:
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<Message> mReceived; // guarded by mMutex
};

inline MIDIDeviceInfo MakeInfo(
    const kelcore::utility::UTF16String& inputID, const kelcore::utility::UTF16String& outputID)
{
    MIDIDeviceInfo info;
    info.SetInputPortID(inputID);
    info.SetOutputPortID(outputID);
    return info;
}

/// Sends one byte that tells tests' messages apart.
inline void SendByte(MIDIBasedControlSurface& surface, unsigned char byte)
{
    surface.OutputMessage(&byte, 1);
}

} // namespace kelcontrolsurface::tests
