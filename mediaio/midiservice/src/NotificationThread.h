// Tells MIDI clients, on one thread of its own, that the set of endpoints has changed.

#pragma once

#include <CoreMIDI/CoreMIDI.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

namespace midiservice {

class NotificationThread {
public:
    NotificationThread();
    NotificationThread(const NotificationThread&) = delete;
    NotificationThread& operator=(const NotificationThread&) = delete;
    ~NotificationThread();

    /// The client hears of changes from now on, not of earlier ones. [host]
    void Add(MIDIClientRef client, MIDINotifyProc proc, void* context);

    /// On return the client's callback is not running and will not run; called from inside a
    /// callback, it returns without waiting for that one. [host, may block]
    /// `mayWait` is false on a thread that must not wait.
    void Remove(MIDIClientRef client, bool mayWait);

    /// Changes that follow each other faster than clients are told become one. [any thread]
    void NotifySetupChanged();

private:
    struct Client {
        MIDINotifyProc proc = nullptr;
        void* context = nullptr;
        std::uint64_t seen = 0; // the last change it was told of, or that was before it
    };

    void Run();
    std::map<MIDIClientRef, Client>::iterator NextToTell();

    std::mutex mMutex;
    std::condition_variable mChanged; // something to tell, or the end
    std::condition_variable mTold;    // a callback has returned
    std::map<MIDIClientRef, Client> mClients;
    std::uint64_t mChange = 0;
    MIDIClientRef mTelling = 0; // whose callback is running
    bool mStop = false;
    std::thread mThread;
};

} // namespace midiservice
