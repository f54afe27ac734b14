#include "mediaio/midiservice/src/NotificationThread.h"

#include <algorithm>

#include <pthread.h>

namespace midiservice {

NotificationThread::NotificationThread()
    : mThread([this] { Run(); })
{
}

NotificationThread::~NotificationThread()
{
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mChanged.notify_all();
    mThread.join();
}

void NotificationThread::Add(MIDIClientRef client, MIDINotifyProc proc, void* context)
{
    const std::lock_guard lock(mMutex);
    if (proc != nullptr)
        mClients[client] = Client{proc, context, mChange};
}

void NotificationThread::Remove(MIDIClientRef client, bool mayWait)
{
    std::unique_lock lock(mMutex);
    mClients.erase(client);
    if (mayWait && std::this_thread::get_id() != mThread.get_id())
        mTold.wait(lock, [&] { return mTelling != client; });
}

void NotificationThread::NotifySetupChanged()
{
    {
        const std::lock_guard lock(mMutex);
        ++mChange;
    }
    mChanged.notify_all();
}

std::map<MIDIClientRef, NotificationThread::Client>::iterator NotificationThread::NextToTell()
{
    return std::find_if(mClients.begin(), mClients.end(),
        [this](const auto& client) { return client.second.seen != mChange; });
}

void NotificationThread::Run()
{
    pthread_setname_np(pthread_self(), "midi notify");
    std::unique_lock lock(mMutex);
    while (true) {
        mChanged.wait(lock, [this] { return mStop || NextToTell() != mClients.end(); });
        if (mStop)
            return;
        const auto next = NextToTell();
        next->second.seen = mChange;
        mTelling = next->first;
        const Client client = next->second;
        lock.unlock();
        const MIDINotification message{kMIDIMsgSetupChanged, sizeof(MIDINotification)};
        client.proc(&message, client.context);
        lock.lock();
        mTelling = 0;
        mTold.notify_all();
    }
}

} // namespace midiservice
