// What the control surface does on the delivery thread where something inside it fails: nothing
// that is thrown may end that thread, and no command may be made up.

#include "kelcore/utility/SmallBlockAllocator.h"
#include "tests/MIDIMachineControl/FakeTrace.h"
#include "tests/MIDIMachineControl/PlainHost.h"
#include "tests/MIDIMachineControl/SurfaceTest.h"
#include "tests/support/HeapControl.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace mmc::tests {

namespace {

using korva::tests::HeapControl;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NiceMock;
using testing::Return;
using testing::Throw;

using Bytes = std::vector<unsigned char>;

const Bytes kLargestArrival(256, 0x00);
const Bytes kEnd{0xF7};

// More than the small-block allocator keeps for itself, so that growing asks the heap.
constexpr std::size_t kMoreThanKept = 70000;

const Bytes kPlayMessage{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

class SurfaceThatFails : public testing::Test {
protected:
    SurfaceThatFails()
    {
        mSurface.SetControlSurfaceHost(mHost.HostRef());
        mSurface.Connect({});
    }

    bool Receive(const Bytes& bytes)
    {
        return mSurface.HandleMidiMessage(
            kelmidi::MidiMessage(bytes.data(), static_cast<unsigned long>(bytes.size())), 0);
    }

    /// The message up to its end, in arrivals of the largest size.
    void ReceiveOpenMessage(unsigned char command, std::size_t length)
    {
        Receive({0xF0, 0x7F, 0x7F, 0x06, command});
        for (std::size_t received = 0; received < length; received += kLargestArrival.size()) {
            Receive(kLargestArrival);
        }
    }

    FakeMidi mMidi;
    PlainHost mHost;
    ControlSurface mSurface{0, mHost.BasicSuite()};
};

// Whether `part` is `whole` with calls left out.
bool IsPartOf(const std::vector<HostCall>& part, const std::vector<HostCall>& whole)
{
    auto next = whole.begin();
    return std::all_of(part.begin(), part.end(), [&](HostCall call) {
        next = std::find(next, whole.end(), call);
        return next != whole.end() && next++ != whole.end();
    });
}

// While it lives, the small-block allocator has no freed blocks of the sizes that small buffers
// take, so that they ask the heap.
class NoFreedBlocks {
public:
    NoFreedBlocks()
    {
        for (std::size_t size = 16; size <= 512; size += 16) {
            while (!TakeBlock(size)) {
            }
        }
    }
    ~NoFreedBlocks()
    {
        for (const auto& [block, size] : mBlocks) {
            kelcore::utility::FreeSmallBlock(block, size);
        }
    }
    NoFreedBlocks(const NoFreedBlocks&) = delete;
    NoFreedBlocks& operator=(const NoFreedBlocks&) = delete;

private:
    // Whether it came from the heap.
    bool TakeBlock(std::size_t size)
    {
        const HeapControl heap;
        void* const block = kelcore::utility::AllocateSmallBlock(size);
        const bool fromHeap = heap.Requests() > 0;
        mBlocks.emplace_back(block, size);
        return fromHeap;
    }

    std::vector<std::pair<void*, std::size_t>> mBlocks;
};

// Commands of every length, alone, split and several to an arrival, and what stays at the head of
// the command buffer while it waits for its data.
const std::vector<Bytes> kLife{
    kPlayMessage,
    {0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21},
    {0x02, 0x03, 0x04, 0x00, 0xF7, 0xF0, 0x7F, 0x7F, 0x06, 0x05, 0xF7},
    // a unit that is used up, and behind it one that waits for its 16 bytes
    {0xF0, 0x7F, 0x7F, 0x06, 0x40, 0x04, 1, 2, 3, 4, 0x06, 0x40, 0x10, 5, 6, 7, 8, 9, 0xF7},
    {0xF0, 0x7F, 0x7F, 0x06, 0x40, 0x40, 0x40, 0x40, 0x40, 0x40, 0xF7},
    {0xF0, 0x7F, 0x7F, 0x06, 0x40, 0x40, 0x40, 0xF7},
    {0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7},
};

} // namespace

TEST_F(SurfaceThatFails, ForgetsAMessageThatItHasNoMemoryFor)
{
    ReceiveOpenMessage(0x01, kMoreThanKept);
    bool wasRefused = false;
    for (int i = 0; i < 1000 && !wasRefused; ++i) { // until the block it has is full
        HeapControl heap;
        heap.RefuseRequest(1);
        EXPECT_TRUE(Receive(kLargestArrival));
        wasRefused = heap.HasRefused();
    }
    ASSERT_TRUE(wasRefused);

    Receive(kEnd); // of the forgotten message
    EXPECT_THAT(mHost.Calls(), IsEmpty());
    Receive(kPlayMessage);
    Receive(kPlayMessage);

    EXPECT_THAT(mHost.Calls(), ElementsAre(kPlay, kPlay));
}

TEST_F(SurfaceThatFails, CarriesACommandOutWithTheNextArrivalWhereItHadNoMemoryForIt)
{
    ReceiveOpenMessage(0x01, kMoreThanKept);
    {
        HeapControl heap;
        heap.RefuseRequest(1); // the command buffer's: the receive buffer's block has room
        EXPECT_TRUE(Receive(kEnd));
        ASSERT_TRUE(heap.HasRefused());
    }
    EXPECT_THAT(mHost.Calls(), IsEmpty());

    Receive({0xF8});

    EXPECT_THAT(mHost.Calls(), ElementsAre(kStop));
}

TEST_F(SurfaceThatFails, MakesNoCommandUpWhicheverRequestIsRefused)
{
    const auto live = [&](std::size_t refusedRequest) {
        ControlSurface surface(0, mHost.BasicSuite());
        surface.SetControlSurfaceHost(mHost.HostRef());
        surface.Connect({});
        mHost.Calls().clear();
        const NoFreedBlocks noFreedBlocks;
        HeapControl heap;
        heap.RefuseRequest(refusedRequest);
        for (const Bytes& arrival : kLife) {
            surface.HandleMidiMessage(
                kelmidi::MidiMessage(arrival.data(), static_cast<unsigned long>(arrival.size())),
                0);
        }
        return heap.HasRefused();
    };
    live(1000000);
    const std::vector<HostCall> whole = mHost.Calls();
    ASSERT_EQ(whole.size(), 5U);

    std::size_t request = 1;
    for (; live(request); ++request) {
        EXPECT_TRUE(IsPartOf(mHost.Calls(), whole)) << request;
    }

    EXPECT_GT(request, 3U); // the two buffers, and growing one of them
}

TEST_F(SurfaceThatFails, CarriesACommandOutWhereItCannotAskWhetherToTraceIt)
{
    NiceMock<FakeTrace> trace;
    EXPECT_CALL(trace, TraceEnabled)
        .WillOnce(Throw(std::bad_alloc()))
        .WillOnce(Return(true)); // asked again: nobody has answered yet
    EXPECT_CALL(trace, Trace(TraceLine("PLAY")));

    EXPECT_TRUE(Receive(kPlayMessage));
    EXPECT_TRUE(Receive(kPlayMessage));

    EXPECT_THAT(mHost.Calls(), ElementsAre(kPlay, kPlay));
}

TEST_F(SurfaceThatFails, CarriesACommandOutWhereItCannotBeTraced)
{
    NiceMock<FakeTrace> trace;
    ON_CALL(trace, TraceEnabled).WillByDefault(Return(true));
    const Bytes locate{
        0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00, 0xF7};
    const HostCall located = LocateCall(kSMPTETimeFormat25, {1, 2, 3, 4, 0});
    Receive(locate); // its site knows that it is on, and the buffers have their size

    for (const std::size_t request : {1U, 2U, 3U}) {
        mHost.Calls().clear();
        HeapControl heap;
        heap.RefuseRequest(request);
        EXPECT_TRUE(Receive(locate));
        EXPECT_TRUE(heap.HasRefused());
        EXPECT_THAT(mHost.Calls(), ElementsAre(located)) << request;
    }
}

// C functions do not throw; a host's may all the same be made of other stuff.
TEST(SurfaceWithAHostThatThrows, IsDoneWithTheCommandAndHearsTheNext)
{
    const FakeMidi midi;
    StrictHost host;
    host.ExpectHostTaken();
    ControlSurface surface(0, MockHost::BasicSuite());
    surface.SetControlSurfaceHost(host.HostRef());
    surface.Connect({});
    const auto play = [&] {
        return surface.HandleMidiMessage(kelmidi::MidiMessage(kPlayMessage.data(),
                                             static_cast<unsigned long>(kPlayMessage.size())),
            0);
    };

    EXPECT_CALL(host, Play(host.TransportRef())).WillOnce(Throw(std::runtime_error("host")));
    EXPECT_TRUE(play());
    testing::Mock::VerifyAndClearExpectations(&host);

    EXPECT_CALL(host, Play(host.TransportRef()));
    EXPECT_TRUE(play());
}

} // namespace mmc::tests
