// Takes messages from the receive thread, which may not wait, and offers them
// to an input port's listeners on a thread of the executor.

#pragma once

#include "mediaio/kelmidi/src/MidiDataTypes.h"

#include <boost/shared_ptr.hpp>

namespace kelcore::threads {
class AsyncExecutor;
class QueueOnlyOnce;
} // namespace kelcore::threads

namespace kelmidi {

class MidiListener;

/// One per input port. One thread at a time queues; passes never overlap. A burst that is written
/// before its pass begins costs that one pass; against a pass that keeps up with the sender, one is
/// asked for whenever the ring was empty, and at most one waits. A burst of more than 4096 messages
/// overwrites its own beginning: deliberate, since the newest messages are the ones that matter.
class DeferredMidiMessageHandler {
public:
    /// Delivers on the CPU-bound executor. `portTag` goes to every listener.
    explicit DeferredMidiMessageHandler(unsigned int portTag);
    /// Delivers on `executor`.
    DeferredMidiMessageHandler(
        unsigned int portTag, const boost::shared_ptr<kelcore::threads::AsyncExecutor>& executor);
    /// Neither locks nor waits. A pass that runs meanwhile offers no further message; one that is
    /// posted does nothing. [any thread]
    ~DeferredMidiMessageHandler();

    DeferredMidiMessageHandler(const DeferredMidiMessageHandler&) = delete;
    DeferredMidiMessageHandler& operator=(const DeferredMidiMessageHandler&) = delete;

    /// Where memory lacks for posting a pass, the next message asks for it.
    /// [receive, real-time; allocates only to post a pass]
    void QueueMessage(const MidiMessage& message);

    /// One pass: offers every message that waits, those that arrive meanwhile included. From inside
    /// a listener's call it does nothing, since the pass around it goes on. [delivery]
    void HandleMessages();

    /// Registers `listener` behind the others; one that is registered moves to the end.
    /// [any thread, may block for one pass]
    void AddListener(MidiListener* listener);

    /// After it returns, `listener` is not called any more (unless it removed itself from inside
    /// its own call, which then goes on). [any thread, may block for one pass]
    void RemoveListener(MidiListener* listener);

private:
    class Delivery;

    void AskForPass();

    boost::shared_ptr<Delivery> mDelivery; // shared with a running pass, which may outlive us
    boost::shared_ptr<kelcore::threads::QueueOnlyOnce> mTrigger;
    bool mOwesPass = false; // the one that queues only
};

} // namespace kelmidi
