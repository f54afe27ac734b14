// Keeps what it is offered.

#pragma once

#include "mediaio/kelmidi/src/MidiListener.h"

#include <boost/function.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace kelmidi::tests {

using Bytes = std::vector<unsigned char>;

class RecordingListener : public MidiListener {
public:
    struct Record {
        Bytes bytes;
        std::uint64_t timeStamp;
        unsigned int portTag;
        const MidiMessage* address;
    };

    explicit RecordingListener(bool consumes = true)
        : mConsumes(consumes)
    {
    }

    bool HandleMidiMessage(const MidiMessage& message, unsigned int portTag) override
    {
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mRecords.push_back({Bytes(message.data.bytes, message.data.bytes + message.data.length),
                message.timeStamp, portTag, &message});
            mChanged.notify_all();
        }
        if (onMessage) {
            onMessage(message);
        }
        return mConsumes;
    }

    std::vector<Record> Records() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mRecords;
    }

    std::size_t Count() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mRecords.size();
    }

    std::vector<Bytes> Messages() const
    {
        std::vector<Bytes> messages;
        for (const Record& record : Records()) {
            messages.push_back(record.bytes);
        }
        return messages;
    }

    /// Returns false where fewer than `count` messages came before the deadline.
    bool WaitForCount(
        std::size_t count, std::chrono::seconds deadline = std::chrono::seconds(30)) const
    {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, deadline, [&] { return mRecords.size() >= count; });
    }

    boost::function<void(const MidiMessage&)> onMessage; // set before the first message

private:
    const bool mConsumes;
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<Record> mRecords; // guarded by mMutex
};

inline MidiMessage MakeMessage(const Bytes& bytes, unsigned long long timeStamp = 0)
{
    return MidiMessage(bytes.data(), bytes.size(), timeStamp);
}

/// Six bytes that tell the messages of a test apart.
inline Bytes Numbered(std::uint32_t number)
{
    return {0xF0, static_cast<unsigned char>((number >> 21) & 0x7F),
        static_cast<unsigned char>((number >> 14) & 0x7F),
        static_cast<unsigned char>((number >> 7) & 0x7F), static_cast<unsigned char>(number & 0x7F),
        0xF7};
}

} // namespace kelmidi::tests
