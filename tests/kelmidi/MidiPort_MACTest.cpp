#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"

#include "BackEndTest.h"
#include "RecordingListener.h"

#include <future>
#include <limits>
#include <thread>

namespace kelmidi {
namespace {

using testing::_;
using testing::IsNull;
using testing::Pointee;
using testing::Return;
using tests::BackEndTest;
using tests::Bytes;
using tests::FirstPacketOf;
using tests::kInPort;
using tests::kOutPort;
using tests::kServiceError;
using tests::MakeMessage;
using tests::MakePlatformString;

constexpr MIDIEndpointRef kSource = 31;
constexpr MIDIEndpointRef kDestination = 41;

class CoreMidiInputPortTest : public BackEndTest {
protected:
    boost::intrusive_ptr<CoreMidiInputPort> MakePort()
    {
        ExpectProperties(kSource, u"Keys", 5);
        return new CoreMidiInputPort(kInPort, kSource, 7);
    }
};

class CoreMidiOutputPortTest : public BackEndTest {
protected:
    boost::intrusive_ptr<CoreMidiOutputPort> MakePort()
    {
        ExpectProperties(kDestination, u"Synth", -6);
        return new CoreMidiOutputPort(kOutPort, kDestination, 8);
    }
};

TEST_F(CoreMidiInputPortTest, AsksForNameAndIDInThisOrder)
{
    const testing::InSequence inOrder;
    EXPECT_CALL(mService, GetStringProperty(kSource, kMIDIPropertyDisplayName, Pointee(IsNull())))
        .WillOnce([](MIDIObjectRef, CFStringRef, CFStringRef* string) {
            *string = MakePlatformString(u"Keys \u266A");
            return 0;
        });
    EXPECT_CALL(mService, GetIntegerProperty(kSource, kMIDIPropertyUniqueID, Pointee(0)))
        .WillOnce(testing::DoAll(testing::SetArgPointee<2>(-123), Return(0)));

    const boost::intrusive_ptr<MidiInputPort> port = new CoreMidiInputPort(kInPort, kSource, 7);

    EXPECT_EQ(port->GetDisplayName(), u"Keys \u266A");
    EXPECT_EQ(port->GetUniqueID(), u"-123");
    EXPECT_EQ(port->GetPortTag(), 7U);
    EXPECT_TRUE(port->IsInput());
    EXPECT_FALSE(port->IsConnected());
}

TEST_F(CoreMidiInputPortTest, HasAnEmptyNameWhereTheServiceHasNone)
{
    EXPECT_CALL(mService, GetStringProperty(kSource, _, _)).WillOnce(Return(0));
    EXPECT_CALL(mService, GetIntegerProperty(kSource, _, _)).WillOnce(Return(0));

    const boost::intrusive_ptr<MidiInputPort> port = new CoreMidiInputPort(kInPort, kSource, 7);

    EXPECT_EQ(port->GetDisplayName(), u"");
}

TEST_F(CoreMidiInputPortTest, TakesANameThatCameWithAnErrorCode)
{
    EXPECT_CALL(mService, GetStringProperty(kSource, _, _))
        .WillOnce([](MIDIObjectRef, CFStringRef, CFStringRef* string) {
            *string = MakePlatformString(u"Keys");
            return kServiceError;
        });
    EXPECT_CALL(mService, GetIntegerProperty(kSource, _, _)).WillOnce(Return(0));

    const boost::intrusive_ptr<MidiInputPort> port = new CoreMidiInputPort(kInPort, kSource, 7);

    EXPECT_EQ(port->GetDisplayName(), u"Keys");
}

TEST_F(CoreMidiInputPortTest, HasTheIDZeroWhereItCannotBeRead)
{
    EXPECT_CALL(mService, GetStringProperty(kSource, _, _)).WillOnce(Return(kServiceError));
    EXPECT_CALL(mService, GetIntegerProperty(kSource, _, _)).WillOnce(Return(kServiceError));

    const boost::intrusive_ptr<MidiInputPort> port = new CoreMidiInputPort(kInPort, kSource, 7);

    EXPECT_EQ(port->GetUniqueID(), u"0");
}

TEST_F(CoreMidiInputPortTest, WritesTheSmallestAndTheGreatestIDWhole)
{
    ExpectProperties(kSource, u"", std::numeric_limits<SInt32>::min());
    ExpectProperties(kSource + 1, u"", std::numeric_limits<SInt32>::max());

    const boost::intrusive_ptr<MidiInputPort> least = new CoreMidiInputPort(kInPort, kSource, 0);
    const boost::intrusive_ptr<MidiInputPort> greatest
        = new CoreMidiInputPort(kInPort, kSource + 1, 0);

    EXPECT_EQ(least->GetUniqueID(), u"-2147483648");
    EXPECT_EQ(greatest->GetUniqueID(), u"2147483647");
}

TEST_F(CoreMidiInputPortTest, ConnectsItsSourceWithItselfAsContext)
{
    const auto port = MakePort();
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, static_cast<void*>(port.get())))
        .WillOnce(Return(0));

    EXPECT_TRUE(port->Connect());
    EXPECT_TRUE(port->IsConnected());

    EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource)).WillOnce(Return(0));
    port->Disconnect();
    EXPECT_FALSE(port->IsConnected());
    port->Disconnect(); // nothing more to say to the service
}

TEST_F(CoreMidiInputPortTest, AsksTheServiceAtEachConnect)
{
    const auto port = MakePort();
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, _)).Times(2);
    EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource));

    EXPECT_TRUE(port->Connect());
    EXPECT_TRUE(port->Connect());
    port->Disconnect();
}

TEST_F(CoreMidiInputPortTest, StaysDisconnectedWhereTheServiceRefuses)
{
    const auto port = MakePort();
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, _)).WillOnce(Return(kServiceError));

    EXPECT_FALSE(port->Connect());
    EXPECT_FALSE(port->IsConnected());
    port->Disconnect();
}

TEST_F(CoreMidiInputPortTest, DisconnectsWhenItGoes)
{
    auto port = MakePort();
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, _)).WillOnce(Return(0));
    port->Connect();

    EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource)).WillOnce(Return(0));
    port.reset();
    testing::Mock::VerifyAndClearExpectations(&mService);
}

TEST_F(CoreMidiInputPortTest, GoesQuietlyWhereItWasNotConnected)
{
    auto port = MakePort();

    port.reset();
}

TEST_F(CoreMidiOutputPortTest, SaysWhatItIs)
{
    const boost::intrusive_ptr<MidiOutputPort> port = MakePort();

    EXPECT_EQ(port->GetDisplayName(), u"Synth");
    EXPECT_EQ(port->GetUniqueID(), u"-6");
    EXPECT_EQ(port->GetPortTag(), 8U);
    EXPECT_FALSE(port->IsInput());
    EXPECT_FALSE(port->IsConnected());
    EXPECT_TRUE(port->CanUseTimeStamp());
    EXPECT_FALSE(port->IsSoftwareInstrument());
}

// A port that goes late, on the thread that held it last, leaves its successor connected.

TEST_F(CoreMidiInputPortTest, LeavesTheSourceToThePortThatConnectedSince)
{
    auto before = MakePort();
    const auto after = MakePort();
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, _)).Times(2);
    before->Connect();
    after->Connect();

    EXPECT_CALL(mService, PortDisconnectSource(_, _)).Times(0);
    before.reset();
    testing::Mock::VerifyAndClearExpectations(&mService);
    EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource));
}

TEST_F(CoreMidiInputPortTest, KeepsTheSourceWhereAnotherPortIsRefused)
{
    auto before = MakePort();
    const auto after = MakePort();
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, before.get()));
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, after.get()))
        .WillOnce(Return(kServiceError));
    before->Connect();
    after->Connect();

    EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource));
    before.reset();
}

TEST_F(CoreMidiInputPortTest, ConnectsOnceMoreWhereItsPredecessorCutItMeanwhile)
{
    auto before = MakePort();
    const auto after = MakePort();
    std::promise<void> cutBegins;
    std::promise<void> connected;
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, before.get()));
    EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, after.get()))
        .WillOnce([&](auto...) {
            connected.set_value();
            return 0;
        })
        .WillOnce(Return(0));
    EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource))
        .WillOnce([&](auto...) {
            cutBegins.set_value();
            connected.get_future().wait();
            return 0;
        })
        .WillOnce(Return(0)); // in the end, by the successor
    before->Connect();
    std::thread receiveThread([&] { before.reset(); });
    cutBegins.get_future().wait();

    EXPECT_TRUE(after->Connect());
    receiveThread.join();
}

TEST_F(CoreMidiOutputPortTest, ConnectsWithoutTheServiceAndFlushesOnDisconnect)
{
    const auto port = MakePort();

    EXPECT_TRUE(port->Connect());
    EXPECT_TRUE(port->IsConnected());

    EXPECT_CALL(mService, FlushOutput(kDestination)).WillOnce(Return(kServiceError));
    port->Disconnect();
    EXPECT_FALSE(port->IsConnected());
    port->Disconnect();
}

TEST_F(CoreMidiOutputPortTest, DoesNotFlushWhereItWasNeverConnected)
{
    const auto port = MakePort();

    port->Disconnect();
}

TEST_F(CoreMidiOutputPortTest, DoesNotFlushWhenItGoes)
{
    auto port = MakePort();
    port->Connect();

    port.reset();
}

TEST_F(CoreMidiOutputPortTest, SendsOnePacketAtOnceWhateverTheTimeStampAndUnconnected)
{
    const auto port = MakePort();
    EXPECT_CALL(mService, Send(kOutPort, kDestination, _))
        .WillOnce([](MIDIPortRef, MIDIEndpointRef, const MIDIPacketList* list) {
            EXPECT_EQ(UInt32{list->numPackets}, 1U);
            EXPECT_EQ(MIDITimeStamp{list->packet[0].timeStamp}, 0U);
            EXPECT_EQ(FirstPacketOf(*list), (Bytes{0xF1, 0x04}));
            return 0;
        });

    EXPECT_TRUE(port->SendMidiMessage(MakeMessage({0xF1, 0x04}, 999)));
}

TEST_F(CoreMidiOutputPortTest, Sends256Bytes)
{
    const auto port = MakePort();
    Bytes bytes(256);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i);
    }
    EXPECT_CALL(mService, Send(kOutPort, kDestination, _))
        .WillOnce([&](MIDIPortRef, MIDIEndpointRef, const MIDIPacketList* list) {
            EXPECT_EQ(FirstPacketOf(*list), bytes);
            return 0;
        });

    EXPECT_TRUE(port->SendMidiMessage(MakeMessage(bytes)));
}

TEST_F(CoreMidiOutputPortTest, RefusesAMessageThatClaims257Bytes)
{
    const auto port = MakePort();
    MidiMessage message = MakeMessage(Bytes(256, 1));
    message.data.length = 257;

    EXPECT_FALSE(port->SendMidiMessage(message));
}

TEST_F(CoreMidiOutputPortTest, SendsAnEmptyMessageAsAnEmptyPacket)
{
    const auto port = MakePort();
    EXPECT_CALL(mService, Send(kOutPort, kDestination, _))
        .WillOnce([](MIDIPortRef, MIDIEndpointRef, const MIDIPacketList* list) {
            EXPECT_EQ(UInt16{list->packet[0].length}, 0U);
            return 0;
        });

    EXPECT_TRUE(port->SendMidiMessage(MidiMessage()));
}

TEST_F(CoreMidiOutputPortTest, SaysThatTheServiceRefused)
{
    const auto port = MakePort();
    EXPECT_CALL(mService, Send(kOutPort, kDestination, _)).WillOnce(Return(kServiceError));

    EXPECT_FALSE(port->SendMidiMessage(MakeMessage({0xF8})));
}

} // namespace
} // namespace kelmidi
