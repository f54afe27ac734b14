#include "mediaio/kelmidi/src/mac/OS_MidiHost_MAC.h"

#include "BackEndTest.h"
#include "RecordingListener.h"

#include "mediaio/kelmidi/src/MidiPort.h"
#include "mediaio/kelmidi/src/mac/MidiPort_MAC.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>

namespace kelmidi {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsNull;
using testing::NotNull;
using testing::Pointee;
using testing::Return;
using tests::BackEndTest;
using tests::Bytes;
using tests::kClient;
using tests::kInPort;
using tests::kOutPort;
using tests::kServiceError;
using tests::PacketListBytes;
using tests::RecordingListener;

constexpr MIDIEndpointRef kSource = 31;

class OS_MidiHostTest : public BackEndTest {};

TEST_F(OS_MidiHostTest, OpensAClientWithTwoPortsAndClosesThemInReverse)
{
    using testing::DoAll;
    using testing::SaveArg;
    using testing::SetArgPointee;
    const InSequence inOrder;
    void* context = nullptr;
    EXPECT_CALL(
        mService, ClientCreate(std::u16string(u"Korva \u266A"), NotNull(), NotNull(), Pointee(0U)))
        .WillOnce(DoAll(SaveArg<2>(&context), SetArgPointee<3>(kClient), Return(0)));
    EXPECT_CALL(mService,
        InputPortCreate(kClient, std::u16string(u"Input port"), NotNull(), IsNull(), Pointee(0U)))
        .WillOnce(DoAll(SetArgPointee<4>(kInPort), Return(0)));
    EXPECT_CALL(mService, OutputPortCreate(kClient, std::u16string(u"Output port"), Pointee(0U)))
        .WillOnce(DoAll(SetArgPointee<2>(kOutPort), Return(0)));
    EXPECT_CALL(mService, PortDispose(kOutPort));
    EXPECT_CALL(mService, PortDispose(kInPort));
    EXPECT_CALL(mService, ClientDispose(kClient));

    boost::intrusive_ptr<MidiHost> host = MidiHostCreate(u"Korva \u266A");

    const auto& osHost = dynamic_cast<const OS_MidiHost&>(*host);
    EXPECT_EQ(context, static_cast<const void*>(&osHost));
    EXPECT_EQ(osHost.GetInPort(), kInPort);
    EXPECT_EQ(osHost.GetOutPort(), kOutPort);
    host.reset();
}

TEST_F(OS_MidiHostTest, KeepsItsSetupChangedFunctionUntilTheServiceIsClosed)
{
    auto token = boost::make_shared<int>(0);
    const boost::weak_ptr<int> watch = token;
    EXPECT_CALL(mService, ClientCreate(_, _, _, _));
    EXPECT_CALL(mService, InputPortCreate(_, _, _, _, _));
    EXPECT_CALL(mService, OutputPortCreate(_, _, _));
    boost::intrusive_ptr<MidiHost> host = MidiHostCreate(u"a client");
    host->SetMidiSetupChangedFunction([token] {});
    token.reset();
    EXPECT_CALL(mService, PortDispose(_)).Times(2);
    EXPECT_CALL(mService, ClientDispose(_)).WillOnce([&watch](MIDIClientRef) {
        EXPECT_FALSE(watch.expired()) << "a notice may still be on its way";
        return 0;
    });

    host.reset();

    EXPECT_TRUE(watch.expired());
}

TEST_F(OS_MidiHostTest, CarriesOnWithHandlesOfZeroWhereTheServiceRefuses)
{
    const InSequence inOrder;
    EXPECT_CALL(mService, ClientCreate(_, _, _, _)).WillOnce(Return(kServiceError));
    EXPECT_CALL(mService, InputPortCreate(0U, _, _, _, _)).WillOnce(Return(kServiceError));
    EXPECT_CALL(mService, OutputPortCreate(0U, _, _)).WillOnce(Return(kServiceError));
    EXPECT_CALL(mService, PortDispose(0U)).Times(2);
    EXPECT_CALL(mService, ClientDispose(0U));

    boost::intrusive_ptr<MidiHost> host = MidiHostCreate(u"a client");

    const auto& osHost = dynamic_cast<const OS_MidiHost&>(*host);
    EXPECT_EQ(osHost.GetInPort(), 0U);
    EXPECT_EQ(osHost.GetOutPort(), 0U);
    host.reset();
}

TEST_F(OS_MidiHostTest, PassesOnSetupNoticesAndNothingElse)
{
    const auto host = MakeHost();
    int calls = 0;
    host->SetMidiSetupChangedFunction([&] { ++calls; });

    for (MIDINotificationMessageID id : {0, 2, 3, 4, 5, 6, 7, -1}) {
        const MIDINotification notification{id, sizeof(MIDINotification)};
        mNotifyProc(&notification, mNotifyContext);
    }
    mNotifyProc(nullptr, mNotifyContext);
    EXPECT_EQ(calls, 0);

    const MIDINotification setupChanged{kMIDIMsgSetupChanged, sizeof(MIDINotification)};
    mNotifyProc(&setupChanged, mNotifyContext);
    EXPECT_EQ(calls, 1);
}

TEST_F(OS_MidiHostTest, IgnoresASetupNoticeThatNobodyAskedFor)
{
    const auto host = MakeHost();
    const MIDINotification setupChanged{kMIDIMsgSetupChanged, sizeof(MIDINotification)};

    EXPECT_NO_THROW(mNotifyProc(&setupChanged, mNotifyContext));
}

class ReadCallbackTest : public OS_MidiHostTest {
protected:
    ReadCallbackTest()
        : mHost(MakeHost())
    {
        ExpectProperties(kSource, u"a source", 5);
        mPort = new CoreMidiInputPort(kInPort, kSource, 9);
        mPort->AddListener(&mListener);
    }
    ~ReadCallbackTest() override { mPort->RemoveListener(&mListener); }

    void Read(const PacketListBytes& list) { mReadProc(list.Get(), nullptr, mPort.get()); }

    RecordingListener mListener;
    const boost::intrusive_ptr<MidiHost> mHost;
    boost::intrusive_ptr<CoreMidiInputPort> mPort;
};

TEST_F(ReadCallbackTest, MakesThreePacketsThreeMessagesWithoutTimeStamp)
{
    PacketListBytes list;
    list.Add(111, {0xF8});
    list.Add(222, {0x90, 0x40, 0x7F});
    list.Add(333, {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7});

    Read(list);

    ASSERT_TRUE(mListener.WaitForCount(3));
    EXPECT_THAT(mListener.Messages(),
        ElementsAre(
            Bytes{0xF8}, Bytes{0x90, 0x40, 0x7F}, Bytes{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7}));
    for (const RecordingListener::Record& record : mListener.Records()) {
        EXPECT_EQ(record.timeStamp, 0U);
        EXPECT_EQ(record.portTag, 9U);
    }
}

TEST_F(ReadCallbackTest, KeepsSeveralMidiMessagesOfOnePacketTogether)
{
    PacketListBytes list;
    list.Add(0, {0x90, 0x40, 0x7F, 0x80, 0x40, 0x00});

    Read(list);

    ASSERT_TRUE(mListener.WaitForCount(1));
    EXPECT_THAT(mListener.Messages(), ElementsAre(Bytes{0x90, 0x40, 0x7F, 0x80, 0x40, 0x00}));
}

TEST_F(ReadCallbackTest, MakesAPacketOf300BytesAnEmptyMessageAndFindsTheNextOne)
{
    PacketListBytes list;
    list.Add(0, Bytes(300, 0x42));
    list.Add(0, Bytes(256, 0x43));
    list.Add(0, {});
    list.Add(0, {0xFE});

    Read(list);

    ASSERT_TRUE(mListener.WaitForCount(4));
    EXPECT_THAT(mListener.Messages(), ElementsAre(Bytes{}, Bytes(256, 0x43), Bytes{}, Bytes{0xFE}));
}

TEST_F(ReadCallbackTest, MakesNothingOfAListWithoutPackets)
{
    const PacketListBytes none;
    PacketListBytes one;
    one.Add(0, {0xF8});

    Read(none);
    Read(one);

    ASSERT_TRUE(mListener.WaitForCount(1));
    EXPECT_EQ(mListener.Count(), 1U);
}

TEST_F(ReadCallbackTest, ReturnsWhereNoPortBelongsToTheConnection)
{
    PacketListBytes list;
    list.Add(0, {0xF8});

    mReadProc(list.Get(), nullptr, nullptr);
}

class ReadCallbackReferenceTest : public ReadCallbackTest {
protected:
    void SetUp() override
    {
        mList.Add(0, {0xF8});
        ExpectProperties(kSource, u"a source", 5);
        EXPECT_CALL(mService, PortConnectSource(kInPort, kSource, _)).WillOnce(Return(0));
        EXPECT_CALL(mService, PortDisconnectSource(kInPort, kSource)).WillOnce([this](auto, auto) {
            mIsDestroyed = true;
            return 0;
        });
    }

    PacketListBytes mList;
    bool mIsDestroyed = false; // the connected port
};

TEST_F(ReadCallbackReferenceTest, TakesAReferenceOfItsOwn)
{
    auto* port = new CoreMidiInputPort(kInPort, kSource, 0); // nobody holds it yet
    port->Connect();

    mReadProc(mList.Get(), nullptr, port);

    EXPECT_TRUE(mIsDestroyed) << "the callback's own reference was not the last one";
}

TEST_F(ReadCallbackReferenceTest, GivesItsReferenceBack)
{
    boost::intrusive_ptr<CoreMidiInputPort> port = new CoreMidiInputPort(kInPort, kSource, 0);
    port->Connect();

    mReadProc(mList.Get(), nullptr, port.get());
    EXPECT_FALSE(mIsDestroyed);
    port.reset();

    EXPECT_TRUE(mIsDestroyed);
}

} // namespace
} // namespace kelmidi
