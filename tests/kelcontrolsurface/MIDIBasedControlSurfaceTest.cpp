#include "kelcontrolsurface/plugins/common/midi/src/MIDIBasedControlSurface.h"

#include "FakeStudio.h"
#include "TestSurface.h"

#include "tests/kelmidi/Signal.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <memory>
#include <thread>

namespace kelcontrolsurface {
namespace {

using kelmidi::tests::Signal;
using korva::tests::VirtualSlot;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::Bytes;
using tests::FakeStudio;
using tests::MakeInfo;
using tests::SendByte;
using tests::TestSurface;

class MIDIBasedControlSurfaceTest : public testing::Test {
protected:
    MIDIBasedControlSurfaceTest()
    {
        mStudio.PlugInput(u"1");
        mStudio.PlugOutput(u"2");
    }
    ~MIDIBasedControlSurfaceTest() override
    {
        mStudio.onLog.clear(); // what it refers to is gone
        mStudio.onEnumerate.clear();
        mSurface.reset();
        EXPECT_EQ(mStudio.LivePorts(), 0U) << "a port was not released";
    }

    void Make() { mSurface = std::make_unique<TestSurface>(); }
    void MakeBound()
    {
        Make();
        mSurface->Connect(MakeInfo(u"1", u"2"));
        mStudio.TakeLog();
        mSurface->connects = 0;
        mSurface->disconnects = 0;
    }

    /// Whether a message leaves now, and by which port.
    std::vector<kelcore::utility::UTF16String> PortsThatSend()
    {
        SendByte(*mSurface, 0xF8);
        std::vector<kelcore::utility::UTF16String> ids;
        for (const FakeStudio::Sent& sent : mStudio.TakeSent()) {
            ids.push_back(sent.portID);
        }
        return ids;
    }

    FakeStudio mStudio;
    std::unique_ptr<TestSurface> mSurface;
};

using Slots = MIDIBasedControlSurface;

TEST(MIDIBasedControlSurfaceSlots, StandInTheirBindingOrder)
{
    EXPECT_EQ(VirtualSlot(&Slots::HandleMidiMessage), 0U); // 1 and 2 are the destructor
    EXPECT_EQ(VirtualSlot(&Slots::Connect), 3U);
    EXPECT_EQ(VirtualSlot(&Slots::Disconnect), 4U);
    EXPECT_EQ(VirtualSlot(&Slots::Suspend), 5U);
    EXPECT_EQ(VirtualSlot(&Slots::Resume), 6U);
    EXPECT_EQ(VirtualSlot(&Slots::OnMidiSetupChanged), 7U);
}

TEST_F(MIDIBasedControlSurfaceTest, OpensAHostUnderItsNameAndIsNotConnected)
{
    Make();

    EXPECT_EQ(mStudio.clientName, u"Korva.ControlSurface.Test");
    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_THAT(PortsThatSend(), IsEmpty());
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, BindsBothPortsInOrder)
{
    Make();

    mSurface->Connect(MakeInfo(u"1", u"2"));

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(),
        ElementsAre("create input 1 tag 0", "create output 2 tag 0 true", "connect input 1",
            "connect output 2"));
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, IsConnectedOnlyAfterThePortsAre)
{
    Make();
    std::vector<bool> connectedAt;
    mStudio.onLog = [&](const std::string&) { connectedAt.push_back(mSurface->IsConnected()); };

    mSurface->Connect(MakeInfo(u"1", u"2"));

    EXPECT_THAT(connectedAt, ElementsAre(false, false, false, false));
}

TEST_F(MIDIBasedControlSurfaceTest, ListensToItsInputPort)
{
    MakeBound();

    mStudio.Receive({0xF0, 0x7F, 0xF7});

    ASSERT_TRUE(mSurface->WaitForReceived(1));
    EXPECT_THAT(mSurface->Received(), ElementsAre(Bytes{0xF0, 0x7F, 0xF7}));
    EXPECT_EQ(mSurface->lastPortTag, 0U);
}

TEST_F(MIDIBasedControlSurfaceTest, BindsWhereTheServiceRefusesTheInputToo)
{
    Make();
    mStudio.inputsConnect = false;

    mSurface->Connect(MakeInfo(u"1", u"2"));

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, BindsNothingWithoutAnInputID)
{
    Make();

    mSurface->Connect(MakeInfo(u"", u"2"));

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
    EXPECT_THAT(PortsThatSend(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, BindsNothingWithoutAnOutputID)
{
    Make();

    mSurface->Connect(MakeInfo(u"1", u""));

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("create input 1 tag 0"));
    EXPECT_THAT(PortsThatSend(), IsEmpty());
    EXPECT_EQ(mStudio.LivePorts(), 0U);
}

TEST_F(MIDIBasedControlSurfaceTest, BindsNothingWhereTheInputIsMissing)
{
    Make();

    mSurface->Connect(MakeInfo(u"9", u"2"));

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("create input 9 tag 0"));
    EXPECT_THAT(PortsThatSend(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, BindsNothingWhereTheOutputIsMissing)
{
    Make();

    mSurface->Connect(MakeInfo(u"1", u"9"));

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(
        mStudio.TakeLog(), ElementsAre("create input 1 tag 0", "create output 9 tag 0 true"));
    EXPECT_THAT(PortsThatSend(), IsEmpty());
    EXPECT_EQ(mStudio.LivePorts(), 0U);
}

TEST_F(MIDIBasedControlSurfaceTest, ReleasesTheFirstBindingBeforeItMakesTheSecond)
{
    mStudio.PlugInput(u"3");
    mStudio.PlugOutput(u"4");
    MakeBound();

    mSurface->Connect(MakeInfo(u"3", u"4"));

    EXPECT_THAT(mStudio.TakeLog(),
        ElementsAre("disconnect input 1", "disconnect output 2", "create input 3 tag 0",
            "create output 4 tag 0 true", "connect input 3", "connect output 4"));
    EXPECT_EQ(mSurface->disconnects, 1) << "not through the virtual table";
    EXPECT_EQ(mStudio.LivePorts(), 2U);
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"4"));
}

TEST_F(MIDIBasedControlSurfaceTest, DisconnectsInputFirstAndCountsAsConnectedUntilItIsDone)
{
    MakeBound();
    std::vector<bool> connectedAt;
    mStudio.onLog = [&](const std::string&) { connectedAt.push_back(mSurface->IsConnected()); };

    mSurface->Disconnect();

    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("disconnect input 1", "disconnect output 2"));
    EXPECT_THAT(connectedAt, ElementsAre(true, false));
    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_EQ(mStudio.LivePorts(), 0U);
    EXPECT_THAT(PortsThatSend(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, DoesNothingOnASecondDisconnect)
{
    MakeBound();
    mSurface->Disconnect();
    mStudio.TakeLog();

    mSurface->Disconnect();

    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, UnbindsWhenItGoes)
{
    MakeBound();

    mSurface.reset();

    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("disconnect input 1", "disconnect output 2"));
    EXPECT_EQ(mStudio.LivePorts(), 0U);
    mStudio.NotifySetupChanged(); // nobody is left to hear it
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, StaysUnconnectedWithoutAHost)
{
    mStudio.hasHost = false;
    Make();

    mSurface->Connect(MakeInfo(u"1", u"2"));

    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
    EXPECT_THAT(PortsThatSend(), IsEmpty());
    mSurface->EndSetupNotices();
}

TEST_F(MIDIBasedControlSurfaceTest, SendsBytesAndTimeStamp)
{
    MakeBound();
    const unsigned char bytes[]{0xF1, 0x04};

    mSurface->OutputMessage(bytes, 2);
    mSurface->OutputMessage(bytes, 1, 123456789012345);

    const std::vector<FakeStudio::Sent> sent = mStudio.TakeSent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].bytes, (Bytes{0xF1, 0x04}));
    EXPECT_EQ(sent[0].timeStamp, 0U);
    EXPECT_EQ(sent[1].bytes, (Bytes{0xF1}));
    EXPECT_EQ(sent[1].timeStamp, 123456789012345U);
}

TEST_F(MIDIBasedControlSurfaceTest, DropsAMessageWhileAnotherThreadHoldsTheBinding)
{
    MakeBound();
    const auto binding = mSurface->LockBinding();

    std::thread sender([&] { SendByte(*mSurface, 1); });
    sender.join(); // would hang here if the sender waited

    EXPECT_THAT(mStudio.TakeSent(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, SendsOnTheThreadThatHoldsTheBinding)
{
    MakeBound();
    const auto binding = mSurface->LockBinding();
    const auto again = mSurface->LockBinding();

    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, DropsAMessageWhileASetupChangeIsHandled)
{
    MakeBound();
    Signal handling;
    Signal goOn;
    mStudio.onEnumerate = [&] {
        handling.Set();
        EXPECT_TRUE(goOn.Wait());
    };

    std::thread notification([&] { mStudio.NotifySetupChanged(); });
    ASSERT_TRUE(handling.Wait());
    SendByte(*mSurface, 1);
    SendByte(*mSurface, 2);
    EXPECT_THAT(mStudio.TakeSent(), IsEmpty());
    goOn.Set();
    notification.join();
    mStudio.onEnumerate.clear();

    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, UnbindsBothWhenTheOutputGoesAndBindsBothWhenItIsBack)
{
    MakeBound();

    mStudio.PlugOutput(u"2", false);
    mStudio.NotifySetupChanged();

    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("disconnect input 1", "disconnect output 2"));
    EXPECT_EQ(mSurface->disconnects, 1) << "not through the virtual table";

    mStudio.PlugOutput(u"2");
    mStudio.NotifySetupChanged();

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_EQ(mSurface->connects, 1) << "not through the virtual table";
    EXPECT_THAT(mStudio.TakeLog(),
        ElementsAre("create input 1 tag 0", "create output 2 tag 0 true", "connect input 1",
            "connect output 2"));
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, UnbindsBothWhenTheInputGoes)
{
    MakeBound();

    mStudio.PlugInput(u"1", false);
    mStudio.NotifySetupChanged();

    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("disconnect input 1", "disconnect output 2"));
    EXPECT_THAT(PortsThatSend(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, KeepsItsBindingWhereOtherDevicesComeAndGo)
{
    MakeBound();

    mStudio.PlugInput(u"7");
    mStudio.PlugOutput(u"8");
    mStudio.NotifySetupChanged();
    mStudio.PlugInput(u"7", false);
    mStudio.NotifySetupChanged();

    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
    EXPECT_EQ(mSurface->connects, 0);
    EXPECT_EQ(mSurface->disconnects, 0);
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, BindsWhenItsPortsAppearForTheFirstTime)
{
    mStudio.PlugInput(u"1", false);
    mStudio.PlugOutput(u"2", false);
    Make();
    mSurface->Connect(MakeInfo(u"1", u"2"));
    EXPECT_THAT(PortsThatSend(), IsEmpty());

    mStudio.PlugInput(u"1");
    mStudio.PlugOutput(u"2");
    mStudio.NotifySetupChanged();

    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, TriesAgainWhereOnlyOneOfItsPortsIsThere)
{
    mStudio.PlugOutput(u"2", false);
    Make();
    mSurface->Connect(MakeInfo(u"1", u"2"));
    mStudio.TakeLog();

    mStudio.NotifySetupChanged();

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(
        mStudio.TakeLog(), ElementsAre("create input 1 tag 0", "create output 2 tag 0 true"));
    EXPECT_THAT(PortsThatSend(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, IsConnectedByASetupChangeAfterADisconnect)
{
    MakeBound();
    mSurface->Disconnect();
    mStudio.TakeLog();

    mStudio.NotifySetupChanged();

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, IgnoresASetupChangeWhereNothingIsConfigured)
{
    Make();

    mStudio.NotifySetupChanged();

    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, KeepsItsDeviceInfoOverAChange)
{
    Make();
    MIDIDeviceInfo info = MakeInfo(u"1", u"2");
    info.GetOptions().SetBool("transmit_mtc", true);
    mSurface->Connect(info);
    info.SetInputPortID(u"9"); // the surface has a copy

    mStudio.PlugOutput(u"2", false);
    mStudio.NotifySetupChanged();
    mStudio.PlugOutput(u"2");
    mStudio.NotifySetupChanged();

    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

TEST_F(MIDIBasedControlSurfaceTest, IgnoresSetupChangesWhileSuspended)
{
    MakeBound();

    mSurface->Suspend();
    mStudio.PlugOutput(u"2", false);
    mStudio.NotifySetupChanged();

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2")) << "suspending does not touch the ports";

    mSurface->Resume();
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty()) << "resuming does not touch the ports";
    mStudio.NotifySetupChanged();
    EXPECT_FALSE(mSurface->IsConnected());
}

// A notice comes on the MIDI service's thread, which can do nothing about what is thrown.
TEST_F(MIDIBasedControlSurfaceTest, TriesAgainAtTheNextSetupChangeWhereBindingFailed)
{
    for (const std::string failing : {"create input 1 tag 0", "create output 2 tag 0 true",
             "connect input 1", "connect output 2"}) {
        MakeBound();
        mStudio.PlugOutput(u"2", false);
        mStudio.NotifySetupChanged();
        mStudio.PlugOutput(u"2");
        mStudio.onLog = [&](const std::string& line) {
            if (line == failing) {
                throw std::bad_alloc();
            }
        };

        EXPECT_NO_THROW(mStudio.NotifySetupChanged()) << failing;
        mStudio.onLog.clear();
        EXPECT_FALSE(mSurface->IsConnected());
        EXPECT_EQ(mStudio.LivePorts(), 0U) << failing << ": both ports or none";

        mStudio.NotifySetupChanged();
        EXPECT_THAT(PortsThatSend(), ElementsAre(u"2")) << failing;
        mStudio.Receive({0xFA});
        EXPECT_TRUE(mSurface->WaitForReceived(1)) << failing;
        mSurface.reset();
    }
}

TEST_F(MIDIBasedControlSurfaceTest, KeepsItsBindingWhereItCannotListWhatIsThere)
{
    MakeBound();
    mStudio.onEnumerate = [] { throw std::bad_alloc(); };

    EXPECT_NO_THROW(mStudio.NotifySetupChanged());

    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
}

// Where the host connects, the host is told.
TEST_F(MIDIBasedControlSurfaceTest, BindsNeitherPortWhereConnectingThrows)
{
    Make();
    mStudio.onLog = [](const std::string& line) {
        if (line == "connect output 2") {
            throw std::bad_alloc();
        }
    };

    EXPECT_THROW(mSurface->Connect(MakeInfo(u"1", u"2")), std::bad_alloc);

    mStudio.onLog.clear();
    EXPECT_FALSE(mSurface->IsConnected());
    EXPECT_EQ(mStudio.LivePorts(), 0U);
}

TEST_F(MIDIBasedControlSurfaceTest, IgnoresASetupChangeWhereThereIsNoEnumerator)
{
    MakeBound();
    mStudio.hasEnumerator = false;
    mStudio.PlugOutput(u"2", false);

    mStudio.NotifySetupChanged();

    EXPECT_TRUE(mSurface->IsConnected());
    EXPECT_THAT(mStudio.TakeLog(), IsEmpty());
}

TEST_F(MIDIBasedControlSurfaceTest, EndsItsNoticesWhenTheRunningOneIsDone)
{
    MakeBound();
    Signal handling;
    Signal goOn;
    Signal ended;
    mStudio.onEnumerate = [&] {
        handling.Set();
        EXPECT_TRUE(goOn.Wait());
    };

    std::thread notification([&] { mStudio.NotifySetupChanged(); });
    ASSERT_TRUE(handling.Wait());
    std::thread ender([&] {
        mSurface->EndSetupNotices();
        ended.Set();
    });
    EXPECT_FALSE(ended.ComesTooEarly());
    goOn.Set();
    notification.join();
    ender.join();
    mStudio.onEnumerate = [] { ADD_FAILURE() << "a notice after the end"; };
    mStudio.NotifySetupChanged();
}

TEST_F(MIDIBasedControlSurfaceTest, DisconnectsOnlyWhenTheMessageInHandIsDone)
{
    Make();
    Signal inside;
    Signal leave;
    Signal disconnected;
    mSurface->onMessage = [&] {
        inside.Set();
        EXPECT_TRUE(leave.Wait());
    };
    mSurface->Connect(MakeInfo(u"1", u"2"));
    mStudio.Receive({1});
    ASSERT_TRUE(inside.Wait());

    std::thread host([&] {
        mSurface->Disconnect();
        disconnected.Set();
    });
    EXPECT_FALSE(disconnected.ComesTooEarly());
    leave.Set();
    host.join();
}

/// Leaves its end to its base.
class PlainSurface : public MIDIBasedControlSurface {
public:
    PlainSurface()
        : MIDIBasedControlSurface(u"Korva.ControlSurface.Plain")
    {
    }
    bool HandleMidiMessage(const kelmidi::MidiMessage&, unsigned int) override { return true; }
};

TEST_F(MIDIBasedControlSurfaceTest, EndsItsNoticesAndDisconnectsByItself)
{
    auto surface = std::make_unique<PlainSurface>();
    surface->Connect(MakeInfo(u"1", u"2"));
    mStudio.TakeLog();
    bool endedNotices = true;
    // Runs inside the destructor's disconnection, with the surface still whole.
    mStudio.onLog = [&](const std::string& line) {
        if (line == "disconnect input 1") {
            mStudio.onEnumerate = [&] { endedNotices = false; };
            mStudio.NotifySetupChanged();
            mStudio.onEnumerate.clear();
        }
    };

    surface.reset();

    EXPECT_THAT(mStudio.TakeLog(), ElementsAre("disconnect input 1", "disconnect output 2"));
    EXPECT_TRUE(endedNotices);
}

TEST_F(MIDIBasedControlSurfaceTest, OffersNoMessageAfterDisconnectReturned)
{
    MakeBound();
    for (int round = 0; round < 50; ++round) {
        for (unsigned char i = 0; i < 20; ++i) {
            mStudio.Receive({i});
        }
        mSurface->Disconnect();
        const std::size_t received = mSurface->Received().size();
        std::this_thread::yield();
        ASSERT_EQ(mSurface->Received().size(), received);
        mSurface->Connect(MakeInfo(u"1", u"2"));
    }
}

class Until {
public:
    explicit Until(int count)
        : mLeft(count)
    {
    }
    bool GoOn() { return mLeft > 0; }
    void Done() { --mLeft; }

private:
    std::atomic<int> mLeft;
};

TEST_F(MIDIBasedControlSurfaceTest, StaysConsistentUnderSetupChangesSendersInputAndReconnects)
{
    Make();
    constexpr int kRounds = 60;
    Until reconnects(kRounds);

    std::thread host([&] {
        while (reconnects.GoOn()) {
            const auto binding = mSurface->LockBinding();
            mSurface->Connect(MakeInfo(u"1", u"2"));
            mSurface->Suspend();
            mSurface->Resume();
            mSurface->Disconnect();
            reconnects.Done();
        }
    });
    std::thread notification([&] {
        for (bool present = false; reconnects.GoOn(); present = !present) {
            mStudio.PlugOutput(u"2", present);
            mStudio.NotifySetupChanged();
        }
        mStudio.PlugOutput(u"2");
    });
    std::thread sender([&] {
        while (reconnects.GoOn()) {
            SendByte(*mSurface, 0xF8);
            std::this_thread::yield();
        }
    });
    std::thread receive([&] {
        while (reconnects.GoOn()) {
            mStudio.Receive({0xF0, 0x7F, 0xF7});
            mSurface->IsConnected();
            std::this_thread::yield();
        }
    });
    host.join();
    notification.join();
    sender.join();
    receive.join();

    mStudio.TakeSent();
    mSurface->Connect(MakeInfo(u"1", u"2"));
    EXPECT_THAT(PortsThatSend(), ElementsAre(u"2"));
    EXPECT_EQ(mStudio.LivePorts(), 2U);
}

TEST_F(MIDIBasedControlSurfaceTest, GoesSafelyUnderAStormOfSetupChanges)
{
    for (int round = 0; round < 50; ++round) {
        Make();
        {
            const auto binding = mSurface->LockBinding();
            mSurface->Connect(MakeInfo(u"1", u"2"));
        }
        std::atomic<bool> stop{false};
        Signal noticed;
        std::thread notification([&] {
            for (bool present = false; !stop; present = !present) {
                mStudio.PlugOutput(u"2", present);
                mStudio.NotifySetupChanged();
                noticed.Set();
            }
        });
        EXPECT_TRUE(noticed.Wait());
        mSurface.reset();
        stop = true;
        notification.join();
        ASSERT_EQ(mStudio.LivePorts(), 0U);
    }
}

} // namespace
} // namespace kelcontrolsurface
