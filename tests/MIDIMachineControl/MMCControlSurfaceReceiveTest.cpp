// What the control surface makes of incoming bytes, up to the command.

#include "tests/MIDIMachineControl/PlainHost.h"
#include "tests/MIDIMachineControl/SurfaceTest.h"
#include "tests/support/HeapControl.h"

#include <future>

namespace mmc::tests {

namespace {

using korva::tests::HeapControl;

class SurfaceReceiving : public SurfaceTest {
protected:
    testing::Expectation ExpectPlay() { return EXPECT_CALL(mHost, Play(mHost.TransportRef())); }
    testing::Expectation ExpectStop() { return EXPECT_CALL(mHost, Stop(mHost.TransportRef())); }
    void ExpectNothingMore() { testing::Mock::VerifyAndClearExpectations(&mHost); }
};

} // namespace

TEST_F(SurfaceReceiving, DispatchesAMessageThatArrivesAtOnce)
{
    ExpectPlay();

    EXPECT_TRUE(Receive({0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7}));
}

TEST_F(SurfaceReceiving, DispatchesASplitMessageWithTheArrivalOfItsEndAndNotBefore)
{
    EXPECT_TRUE(Receive({0xF0, 0x7F}));
    EXPECT_TRUE(Receive({0x7F, 0x06, 0x02}));

    ExpectPlay();
    EXPECT_TRUE(Receive({0xF7}));
}

TEST_F(SurfaceReceiving, DispatchesAMessageSplitAnywhere)
{
    const std::vector<std::uint8_t> message{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
    for (auto cut = message.begin() + 1; cut != message.end(); ++cut) {
        Receive({message.begin(), cut});
        ExpectPlay();
        Receive({cut, message.end()});
        ExpectNothingMore();
    }
}

TEST_F(SurfaceReceiving, AcceptsEveryDeviceID)
{
    for (int device = 0; device < 0x80; ++device) {
        ExpectStop();
        Receive({0xF0, 0x7F, static_cast<std::uint8_t>(device), 0x06, 0x01, 0xF7});
        ExpectNothingMore();
    }
}

// Seen by what it does to the interpreter: a response blocks it.
TEST_F(SurfaceReceiving, DispatchesAResponseToo)
{
    Receive({0xF0, 0x7F, 0x7F, 0x07, 0x01, 0xF7});

    ReceiveCommand({0x02});
}

TEST_F(SurfaceReceiving, DropsAMessageWithoutACommand)
{
    Receive({0xF0, 0x7F, 0x7F, 0x06, 0xF7});

    ExpectPlay(); // at once: nothing is left in front of it
    ReceiveCommand({0x02});
}

TEST_F(SurfaceReceiving, DropsOtherExclusiveMessagesAndMakesWhatIsBehindThemWait)
{
    for (const std::vector<std::uint8_t>& foreign : {
             std::vector<std::uint8_t>{0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7}, // not real-time
             std::vector<std::uint8_t>{0xF0, 0x43, 0x10, 0x4C, 0x00, 0xF7}, // a maker's own
             std::vector<std::uint8_t>{0xF0, 0x7F, 0x7F, 0x05, 0x01, 0xF7}, // not MMC
             std::vector<std::uint8_t>{0xF0, 0x7F, 0x7F, 0x08, 0x01, 0xF7},
             std::vector<std::uint8_t>{0xF0, 0x7F, 0xF7},
             std::vector<std::uint8_t>{0xF0, 0xF7},
         }) {
        std::vector<std::uint8_t> both = foreign;
        both.insert(both.end(), {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7});
        Receive(both);

        ExpectPlay();
        Receive({0xFE});
        ExpectNothingMore();
    }
}

TEST_F(SurfaceReceiving, DispatchesAllMessagesOfOneArrival)
{
    const testing::InSequence inSequence;
    ExpectStop();
    ExpectPlay();

    Receive({0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7, 0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7});
}

TEST_F(SurfaceReceiving, LosesStrayBytesInFrontOfAMessage)
{
    ExpectStop();

    Receive({0x90, 0x3C, 0x40, 0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7});
}

TEST_F(SurfaceReceiving, SpendsAnArrivalOnAStrayEnd)
{
    Receive({0xF7, 0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7});

    ExpectStop();
    Receive({0xFE});
}

TEST_F(SurfaceReceiving, KeepsALoneEndUntilAMessageComes)
{
    Receive({0xF7});
    ReceiveCommand({0x01}); // spent on the stray end

    ExpectStop();
    Receive({0xFE});
}

TEST_F(SurfaceReceiving, DoesNotLookAtAStartThatIsTheLastByte)
{
    Receive({0xF7});
    Receive({0xF0}); // the stray end stays
    Receive({0x7F, 0x7F, 0x06, 0x01, 0xF7});

    ExpectStop();
    Receive({0xFE});
}

TEST_F(SurfaceReceiving, JudgesEverythingToTheNextEndAsOneMessage)
{
    Receive({0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01});
    Receive({0x90, 0x3C, 0x40});
    Receive({0xB0, 0x07, 0x64});

    // 44 06 01 90 3C 40 B0 07: the ordinary messages became its time.
    EXPECT_CALL(mHost, LocateToSMPTETime(mHost.SMPTERef(), 2, 16, 60, 0, 16, 7));
    ReceiveCommand({0x02}); // its F0 is data too, its F7 the end
}

TEST_F(SurfaceReceiving, IgnoresAnEmptyMessage)
{
    EXPECT_TRUE(Receive({}));
}

TEST_F(SurfaceReceiving, DropsAMessageWhileItIsNotConnected)
{
    mSurface.Disconnect();
    EXPECT_TRUE(Receive({0xF0, 0x7F, 0x7F, 0x06}));
    mSurface.Connect({});

    EXPECT_TRUE(Receive({0x02, 0xF7})); // a head was not kept

    ExpectPlay();
    Receive({0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7, 0xF7}); // and so spends its stray end here
    ReceiveCommand({0x01});
}

TEST_F(SurfaceReceiving, DropsAMessageWithoutAHost)
{
    ControlSurface surface(7, MockHost::BasicSuite());
    surface.Connect({});
    const unsigned char head[]{0xF0, 0x7F, 0x7F, 0x06};
    EXPECT_TRUE(surface.HandleMidiMessage(kelmidi::MidiMessage(head, sizeof(head)), 0));
    mHost.ExpectHostTaken();
    surface.SetControlSurfaceHost(mHost.HostRef());

    const unsigned char rest[]{0x02, 0xF7};
    EXPECT_TRUE(surface.HandleMidiMessage(kelmidi::MidiMessage(rest, sizeof(rest)), 0));
}

TEST_F(SurfaceReceiving, KeepsWhatItHasThroughReconnection)
{
    Receive({0xF0, 0x7F, 0x7F});
    mSurface.Disconnect();
    mSurface.Connect({});
    mSurface.Suspend();
    mSurface.Resume();

    ExpectPlay();
    Receive({0x06, 0x02, 0xF7});
}

TEST_F(SurfaceReceiving, HearsThePortItIsBoundTo)
{
    mMidi.PlugIn(u"1", u"2");
    mSurface.Connect(DeviceInfo(u"1", u"2", false));
    std::promise<void> played;
    EXPECT_CALL(mHost, Play(mHost.TransportRef())).WillOnce([&](auto*) {
        played.set_value();
        return kSuccess;
    });

    const unsigned char play[]{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
    mMidi.Receive(kelmidi::MidiMessage(play, sizeof(play)));

    EXPECT_EQ(played.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    mSurface.Disconnect(); // waits for the delivery
}

// Messages of every kind, whole, split and foreign, with floods between them.
TEST(SurfaceInSteadyState, TakesNothingFromTheHeap)
{
    const FakeMidi midi;
    PlainHost host;
    ControlSurface surface(0, host.BasicSuite());
    surface.SetControlSurfaceHost(host.HostRef());
    surface.Connect({});
    const auto receive = [&](std::initializer_list<unsigned char> bytes) {
        surface.HandleMidiMessage(
            kelmidi::MidiMessage(bytes.begin(), static_cast<unsigned long>(bytes.size())), 0);
    };
    const auto live = [&] {
        host.Calls().clear();
        for (int i = 0; i < 500; ++i) {
            receive({0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7});
            receive({0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02});
            receive({0x03, 0x04, 0x00, 0xF7});
            receive({0xF0, 0x43, 0x10, 0x4C, 0x00, 0xF7});
            receive({0xF0, 0x7F, 0x7F, 0x06, 0x05, 0x06, 0x04, 0xF7});
        }
        for (int i = 0; i < 20000; ++i) {
            receive({0xF8});
        }
    };
    live(); // the buffers grow to what this life needs
    live();

    const HeapControl heap;
    live();

    EXPECT_EQ(heap.Requests(), 0U);
    EXPECT_EQ(host.Calls().size(), 500U * 6);
}

} // namespace mmc::tests
