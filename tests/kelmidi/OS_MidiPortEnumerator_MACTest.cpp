#include "mediaio/kelmidi/src/mac/OS_MidiPortEnumerator_MAC.h"

#include "BackEndTest.h"
#include "RecordingListener.h"

namespace kelmidi {
namespace {

using testing::_;
using testing::DoAll;
using testing::Pointee;
using testing::Return;
using testing::SetArgPointee;
using tests::BackEndTest;
using tests::kInPort;
using tests::kOutPort;
using tests::kServiceError;

class OtherHost : public MidiHost {};

class OS_MidiPortEnumeratorTest : public BackEndTest {};
class MidiPortFactoryTest : public BackEndTest {};

TEST_F(OS_MidiPortEnumeratorTest, ListsSourcesInTheServicesOrderUnconnected)
{
    const auto enumerator = MidiPortEnumeratorCreate(MakeHost());
    EXPECT_CALL(mService, GetNumberOfSources()).WillOnce(Return(3));
    for (ItemCount i = 0; i < 3; ++i) {
        const auto endpoint = static_cast<MIDIEndpointRef>(50 - i);
        EXPECT_CALL(mService, GetSource(i)).WillOnce(Return(endpoint));
        ExpectProperties(endpoint, u"a source", static_cast<SInt32>(100 - i));
    }

    const MidiInputPortList list = enumerator->EnumInputPorts();

    ASSERT_EQ(list.GetPorts().size(), 3U);
    EXPECT_EQ(list.GetPorts()[0]->GetUniqueID(), u"100");
    EXPECT_EQ(list.GetPorts()[1]->GetUniqueID(), u"99");
    EXPECT_EQ(list.GetPorts()[2]->GetUniqueID(), u"98");
    EXPECT_EQ(list.GetPorts()[2]->GetPortTag(), 0U);
    EXPECT_FALSE(list.GetPorts()[2]->IsConnected());
    EXPECT_EQ(list.GetLabel(), u"");
}

TEST_F(OS_MidiPortEnumeratorTest, ListsDestinationsInTheServicesOrder)
{
    const auto enumerator = MidiPortEnumeratorCreate(MakeHost());
    EXPECT_CALL(mService, GetNumberOfDestinations()).WillOnce(Return(2));
    for (ItemCount i = 0; i < 2; ++i) {
        const auto endpoint = static_cast<MIDIEndpointRef>(60 - i);
        EXPECT_CALL(mService, GetDestination(i)).WillOnce(Return(endpoint));
        ExpectProperties(endpoint, u"a destination", static_cast<SInt32>(-100 + i));
    }

    const MidiOutputPortList list = enumerator->EnumOutputPorts();

    ASSERT_EQ(list.GetPorts().size(), 2U);
    EXPECT_EQ(list.GetPorts()[0]->GetUniqueID(), u"-100");
    EXPECT_EQ(list.GetPorts()[1]->GetUniqueID(), u"-99");
    EXPECT_FALSE(list.GetPorts()[0]->IsConnected());
}

TEST_F(OS_MidiPortEnumeratorTest, ListsOnlyTheFirstOfTwoEndpointsWithOneID)
{
    const auto enumerator = MidiPortEnumeratorCreate(MakeHost());
    EXPECT_CALL(mService, GetNumberOfSources()).WillOnce(Return(2));
    EXPECT_CALL(mService, GetSource(0)).WillOnce(Return(51));
    EXPECT_CALL(mService, GetSource(1)).WillOnce(Return(52));
    ExpectProperties(51, u"first", 7);
    ExpectProperties(52, u"second", 7);

    const MidiInputPortList list = enumerator->EnumInputPorts();

    ASSERT_EQ(list.GetPorts().size(), 1U);
    EXPECT_EQ(list.GetPorts()[0]->GetDisplayName(), u"first");
}

TEST_F(OS_MidiPortEnumeratorTest, ListsNothingWhereTheServiceHasNothing)
{
    const auto enumerator = MidiPortEnumeratorCreate(MakeHost());
    EXPECT_CALL(mService, GetNumberOfSources()).WillOnce(Return(0));
    EXPECT_CALL(mService, GetNumberOfDestinations()).WillOnce(Return(0));

    EXPECT_TRUE(enumerator->EnumInputPorts().GetPorts().empty());
    EXPECT_TRUE(enumerator->EnumOutputPorts().GetPorts().empty());
}

TEST_F(OS_MidiPortEnumeratorTest, ListsNothingOnAHostOfAnotherClassOrNone)
{
    for (const boost::intrusive_ptr<MidiHost>& host :
        {boost::intrusive_ptr<MidiHost>(new OtherHost), boost::intrusive_ptr<MidiHost>()}) {
        const auto enumerator = MidiPortEnumeratorCreate(host);

        ASSERT_TRUE(enumerator);
        EXPECT_TRUE(enumerator->EnumInputPorts().GetPorts().empty());
        EXPECT_TRUE(enumerator->EnumOutputPorts().GetPorts().empty());
    }
}

TEST_F(OS_MidiPortEnumeratorTest, KeepsItsHost)
{
    auto host = MakeHost();
    const auto enumerator = MidiPortEnumeratorCreate(host);

    host.reset(); // the host's end is expected after the last test line
    EXPECT_CALL(mService, GetNumberOfSources()).WillOnce(Return(0));
    enumerator->EnumInputPorts();
}

TEST_F(MidiPortFactoryTest, FindsASourceByItsID)
{
    const auto host = MakeHost();
    EXPECT_CALL(mService, FindByUniqueID(-5, Pointee(0U), Pointee(-1)))
        .WillOnce(DoAll(SetArgPointee<1>(51), SetArgPointee<2>(kMIDIObjectType_Source), Return(0)));
    ExpectProperties(51, u"Keys", -5);

    const auto port = MidiInputPortCreate(host, u"-5", 3);

    ASSERT_TRUE(port);
    EXPECT_EQ(port->GetUniqueID(), u"-5");
    EXPECT_EQ(port->GetPortTag(), 3U);
    EXPECT_FALSE(port->IsConnected());
    EXPECT_CALL(mService, PortConnectSource(kInPort, 51, _)).WillOnce(Return(kServiceError));
    port->Connect();
}

TEST_F(MidiPortFactoryTest, FindsADestinationByItsIDWhateverTheFlagSays)
{
    const auto host = MakeHost();
    for (bool flag : {true, false}) {
        EXPECT_CALL(mService, FindByUniqueID(6, Pointee(0U), Pointee(-1)))
            .WillOnce(DoAll(
                SetArgPointee<1>(61), SetArgPointee<2>(kMIDIObjectType_Destination), Return(0)));
        ExpectProperties(61, u"Synth", 6);

        const auto port = MidiOutputPortCreate(host, u"6", 4, flag);

        ASSERT_TRUE(port);
        EXPECT_EQ(port->GetPortTag(), 4U);
        EXPECT_CALL(mService, Send(kOutPort, 61, _)).WillOnce(Return(0));
        EXPECT_TRUE(port->SendMidiMessage(tests::MakeMessage({0xF8})));
    }
}

TEST_F(MidiPortFactoryTest, YieldsNothingForAnIDThatIsUnknown)
{
    const auto host = MakeHost();
    EXPECT_CALL(mService, FindByUniqueID(5, _, _))
        .Times(2)
        .WillRepeatedly(Return(kMIDIObjectNotFound));

    EXPECT_FALSE(MidiInputPortCreate(host, u"5", 0));
    EXPECT_FALSE(MidiOutputPortCreate(host, u"5", 0, true));
}

TEST_F(MidiPortFactoryTest, YieldsNothingWhereTheCallFailedWhateverItWrote)
{
    const auto host = MakeHost();
    EXPECT_CALL(mService, FindByUniqueID(5, _, _))
        .WillOnce(DoAll(
            SetArgPointee<1>(51), SetArgPointee<2>(kMIDIObjectType_Source), Return(kServiceError)));

    EXPECT_FALSE(MidiInputPortCreate(host, u"5", 0));
}

TEST_F(MidiPortFactoryTest, YieldsNothingForTheWrongDirectionOrAnotherKind)
{
    const auto host = MakeHost();
    for (MIDIObjectType kind : {kMIDIObjectType_Other + 0, kMIDIObjectType_Device + 0,
             kMIDIObjectType_Entity + 0, kMIDIObjectType_Destination + 0}) {
        ExpectEndpoint(5, 51, kind);
        EXPECT_FALSE(MidiInputPortCreate(host, u"5", 0)) << kind;
    }
    ExpectEndpoint(5, 51, kMIDIObjectType_Source);
    EXPECT_FALSE(MidiOutputPortCreate(host, u"5", 0, true));
}

TEST_F(MidiPortFactoryTest, AsksForTheIDZeroWhereThePortIDIsNoNumber)
{
    const auto host = MakeHost();
    EXPECT_CALL(mService, FindByUniqueID(0, _, _))
        .Times(3)
        .WillRepeatedly(Return(kMIDIObjectNotFound));

    EXPECT_FALSE(MidiInputPortCreate(host, u"", 0));
    EXPECT_FALSE(MidiInputPortCreate(host, u"0", 0));
    EXPECT_FALSE(MidiInputPortCreate(host, u"Keys", 0));
}

TEST_F(MidiPortFactoryTest, YieldsAPortWhereTheServiceHasAnObjectWithTheIDZero)
{
    const auto host = MakeHost();
    ExpectEndpoint(0, 51, kMIDIObjectType_Source);
    ExpectProperties(51, u"Zero", 0);

    const auto port = MidiInputPortCreate(host, u"", 0);

    ASSERT_TRUE(port);
    EXPECT_EQ(port->GetUniqueID(), u"0");
}

} // namespace
} // namespace kelmidi
