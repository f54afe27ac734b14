#include "mediaio/kelmidi/src/DeferredMidiMessageHandler.h"

#include "kelcore/threads/AsyncExecutor.h"
#include "kelcore/threads/QueueOnlyOnce.h"
#include "kelcore/threads/RecursiveMutex.h"
#include "kelcore/utility/SmallBlockAllocator.h"
#include "mediaio/kelmidi/src/MidiListener.h"
#include "mediaio/kelmidi/src/MidiMessageRing.h"

#include <boost/bind/bind.hpp>

#include <algorithm>
#include <atomic>
#include <new>
#include <vector>

namespace kelmidi {

using kelcore::threads::QueueOnlyOnce;
using kelcore::threads::ScopedRecursiveLock;

namespace {

constexpr char kHandleMessagesLabel[]
    = "void kelmidi::DeferredMidiMessageHandler::HandleMessages()";
constexpr char kAddListenerLabel[]
    = "void kelmidi::DeferredMidiMessageHandler::AddListener(kelmidi::MidiListener *)";
constexpr char kRemoveListenerLabel[]
    = "void kelmidi::DeferredMidiMessageHandler::RemoveListener(kelmidi::MidiListener *)";

} // namespace

// What a pass works on: it lives as long as the handler or a pass does. Padded by the ring.
class DeferredMidiMessageHandler::Delivery { // NOLINT(clang-analyzer-optin.performance.Padding)
public:
    explicit Delivery(unsigned int portTag)
        : mPortTag(portTag)
    {
    }

    bool Queue(const MidiMessage& message) noexcept;
    void HandleMessages();
    void AddListener(MidiListener* listener);
    void RemoveListener(MidiListener* listener);
    void Close() noexcept { mClosed = true; }

private:
    class Pass;

    void Drain();
    void Offer(const MidiMessage& message);

    std::vector<MidiListener*, kelcore::utility::SmallBlockAllocator<MidiListener*>>
        mListeners;                          // guarded by mMutex
    kelcore::threads::RecursiveMutex mMutex; // held while listeners are called
    MidiMessageRing mRing;
    const unsigned int mPortTag;
    bool mPassRuns = false;           // guarded by mMutex
    std::atomic<bool> mClosed{false}; // the handler is gone
};

// Marks a pass, and ends it whatever a listener throws.
class DeferredMidiMessageHandler::Delivery::Pass {
public:
    explicit Pass(Delivery& delivery)
        : mDelivery(delivery)
    {
        mDelivery.mPassRuns = true;
    }
    ~Pass()
    {
        mDelivery.mRing.Unpin();
        mDelivery.mPassRuns = false;
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

private:
    Delivery& mDelivery;
};

// Returns whether a pass must be asked for: else one is pending or running and will come to it.
// What is written before its pass begins shares that pass. A pass that keeps up with the sender
// empties the ring between two messages, and then each of them asks: deliberate, since a pass that
// has just found the ring empty will not look again.
bool DeferredMidiMessageHandler::Delivery::Queue(const MidiMessage& message) noexcept
{
    mRing.Fill(mRing.Claim(), message);
    return mRing.HoldsOne();
}

void DeferredMidiMessageHandler::Delivery::HandleMessages()
{
    const ScopedRecursiveLock lock(mMutex, kHandleMessagesLabel);
    if (!mPassRuns) {
        const Pass pass(*this);
        Drain();
    }
}

void DeferredMidiMessageHandler::Delivery::Drain()
{
    while (!mClosed) {
        const MidiMessage* message = mRing.Next();
        if (message == nullptr) {
            return;
        }
        Offer(*message);
    }
}

void DeferredMidiMessageHandler::Delivery::Offer(const MidiMessage& message)
{
    // By index: a listener may add or remove listeners meanwhile.
    for (std::size_t i = 0; i < mListeners.size() && !mClosed; ++i) {
        if (mListeners[i]->HandleMidiMessage(message, mPortTag)) {
            return;
        }
    }
}

void DeferredMidiMessageHandler::Delivery::AddListener(MidiListener* listener)
{
    const ScopedRecursiveLock lock(mMutex, kAddListenerLabel);
    RemoveListener(listener);
    mListeners.push_back(listener);
}

void DeferredMidiMessageHandler::Delivery::RemoveListener(MidiListener* listener)
{
    const ScopedRecursiveLock lock(mMutex, kRemoveListenerLabel);
    const auto found = std::find(mListeners.begin(), mListeners.end(), listener);
    if (found != mListeners.end()) {
        mListeners.erase(found);
    }
}

DeferredMidiMessageHandler::DeferredMidiMessageHandler(unsigned int portTag)
    : DeferredMidiMessageHandler(portTag, kelcore::threads::GetCPUBoundExecutor())
{
}

DeferredMidiMessageHandler::DeferredMidiMessageHandler(
    unsigned int portTag, const boost::shared_ptr<kelcore::threads::AsyncExecutor>& executor)
    : mDelivery(new Delivery(portTag))
    , mTrigger(
          QueueOnlyOnce::Create(boost::bind(&Delivery::HandleMessages, mDelivery), executor, 0, 0))
{
}

DeferredMidiMessageHandler::~DeferredMidiMessageHandler()
{
    mDelivery->Close();
}

void DeferredMidiMessageHandler::QueueMessage(const MidiMessage& message)
{
    if (mDelivery->Queue(message) || mOwesPass) {
        AskForPass();
    }
}

// Where no pass can be posted, the ring is not empty any more, so that no later message would ask.
void DeferredMidiMessageHandler::AskForPass()
{
    try {
        mTrigger->Queue();
        mOwesPass = false;
    } catch (const std::bad_alloc&) {
        mOwesPass = true;
    }
}

void DeferredMidiMessageHandler::HandleMessages()
{
    mDelivery->HandleMessages();
}

void DeferredMidiMessageHandler::AddListener(MidiListener* listener)
{
    mDelivery->AddListener(listener);
}

void DeferredMidiMessageHandler::RemoveListener(MidiListener* listener)
{
    mDelivery->RemoveListener(listener);
}

} // namespace kelmidi
