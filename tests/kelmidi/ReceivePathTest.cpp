// What the receive thread does between the read callback and the executor, counted.

#include "BackEndTest.h"
#include "CallCounters.h"
#include "RecordingListener.h"
#include "Signal.h"

#include "kelcore/threads/AsyncExecutor.h"
#include "mediaio/kelmidi/src/DeferredMidiMessageHandler.h"
#include "mediaio/kelmidi/src/MidiMessageRing.h"
#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"

#include <boost/smart_ptr/make_shared.hpp>

#include <memory>
#include <mutex>
#include <vector>

#include <sys/resource.h>

namespace kelmidi {
namespace {

using tests::BackEndTest;
using tests::Bytes;
using tests::CallCounters;
using tests::kInPort;
using tests::PacketListBytes;
using tests::RecordingListener;

constexpr MIDIEndpointRef kSource = 31;

TEST(CallCounters, SeeAllocationsAndLocks)
{
    std::mutex mutex;
    const CallCounters counters;

    const auto block = std::make_unique<int>(1);
    const std::lock_guard<std::mutex> lock(mutex);

    EXPECT_EQ(counters.Allocations(), 1U);
    EXPECT_EQ(counters.Locks(), 1U);
}

// Notes what the poster had done on its way here.
class CountingExecutor : public kelcore::threads::AsyncExecutor {
public:
    void PostDelayed(const boost::function<void()>&, unsigned int) override
    {
        ++posts;
        allocationsBeforePost = counters->Allocations();
        locksBeforePost = counters->Locks();
    }

    const CallCounters* counters = nullptr;
    std::size_t posts = 0;
    std::size_t allocationsBeforePost = 0;
    std::size_t locksBeforePost = 0;
};

TEST(ReceivePath, PostsOnceABurstAndReachesTheExecutorWithoutAllocationOrLock)
{
    const auto executor = boost::make_shared<CountingExecutor>();
    DeferredMidiMessageHandler handler(0, executor);
    const MidiMessage message = tests::MakeMessage(Bytes(256, 0x42));

    const CallCounters counters;
    executor->counters = &counters;
    for (int i = 0; i < 100; ++i) {
        handler.QueueMessage(message);
    }

    EXPECT_EQ(counters.Allocations(), 0U);
    EXPECT_EQ(counters.Locks(), 0U);
    EXPECT_EQ(executor->posts, 1U);
    EXPECT_EQ(executor->allocationsBeforePost, 0U);
    EXPECT_EQ(executor->locksBeforePost, 0U);
}

class ReceivePathTest : public BackEndTest {
protected:
    // Stands in the first message's call, so that the ring fills behind it.
    ReceivePathTest()
        : mHost(MakeHost())
    {
        ExpectProperties(kSource, u"a source", 5);
        mPort = new CoreMidiInputPort(kInPort, kSource, 0);
        mListener.onMessage = [this](const MidiMessage&) {
            mInside.Set();
            mLeave.Wait();
        };
        mPort->AddListener(&mListener);
    }
    ~ReceivePathTest() override
    {
        mLeave.Set();
        mPort->RemoveListener(&mListener);
    }

    void Read(const PacketListBytes& list) { mReadProc(list.Get(), nullptr, mPort.get()); }

    tests::Signal mInside;
    tests::Signal mLeave;
    RecordingListener mListener;
    const boost::intrusive_ptr<MidiHost> mHost;
    boost::intrusive_ptr<CoreMidiInputPort> mPort;
};

TEST_F(ReceivePathTest, NeitherAllocatesNorLocksForAMessageFromTheReadCallbackOn)
{
    PacketListBytes one;
    one.Add(0, {0xF8});
    PacketListBytes hundred;
    for (int i = 0; i < 100; ++i) {
        hundred.Add(0, {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7});
    }
    Read(one);
    ASSERT_TRUE(mInside.Wait());
    const CallCounters posting;
    Read(one); // the ring was empty before this one: it posts
    EXPECT_GT(posting.Locks(), 0U) << "the counters do not see into the executor's library";

    const CallCounters counters;
    Read(hundred);
    const std::size_t allocations = counters.Allocations();
    const std::size_t locks = counters.Locks();

    EXPECT_EQ(allocations, 0U);
    EXPECT_EQ(locks, 0U);
    mLeave.Set();
    EXPECT_TRUE(mListener.WaitForCount(102));
}

// A surface lists ports under its lock, while MTC is dropped.
TEST(MidiMessageRingMemory, IsNotTouchedBeforeMessagesCome)
{
    constexpr int kRings = 64; // more than an allocator has at hand
    std::vector<std::unique_ptr<MidiMessageRing>> rings;
    const auto pageFaults = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_minflt;
    };
    const long before = pageFaults();
    for (int i = 0; i < kRings; ++i) {
        rings.push_back(std::make_unique<MidiMessageRing>());
    }

    const long pages = (pageFaults() - before) / kRings;
    EXPECT_LT(pages, 50) << "a ring's messages take some 270";
}

} // namespace
} // namespace kelmidi
