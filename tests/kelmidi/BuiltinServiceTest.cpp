// The back end on the real service, and delivery on the real executor.

#include "EchoDevice.h"
#include "RecordingListener.h"
#include "Signal.h"

#include "mediaio/kelmidi/src/MidiHost.h"
#include "mediaio/kelmidi/src/MidiPort.h"
#include "mediaio/kelmidi/src/MidiPortEnumerator.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace kelmidi {
namespace {

using testing::ElementsAre;
using tests::Bytes;
using tests::EchoDevice;
using tests::RecordingListener;

const bool sBuiltin = (tests::UseBuiltinService(), true);

const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};

class BuiltinServiceTest : public testing::Test {
protected:
    boost::intrusive_ptr<MidiHost> mHost = MidiHostCreate(u"Korva.ControlSurface.Test");
    EchoDevice mDevice{"Controller"};
};

TEST_F(BuiltinServiceTest, CarriesAMessageFromOneClientThroughAnotherToAListener)
{
    RecordingListener listener;
    const auto input = MidiInputPortCreate(mHost, mDevice.SourceID(), 5);
    const auto output = MidiOutputPortCreate(mHost, mDevice.DestinationID(), 6, true);
    ASSERT_TRUE(input);
    ASSERT_TRUE(output);
    EXPECT_TRUE(input->Connect());
    EXPECT_TRUE(output->Connect());
    input->AddListener(&listener);

    EXPECT_TRUE(output->SendMidiMessage(tests::MakeMessage(kPlay)));

    ASSERT_TRUE(listener.WaitForCount(1));
    EXPECT_THAT(listener.Messages(), ElementsAre(kPlay));
    EXPECT_EQ(listener.Records()[0].timeStamp, 0U);
    EXPECT_EQ(listener.Records()[0].portTag, 5U);
    input->Disconnect();
    input->RemoveListener(&listener);
    output->Disconnect();
}

TEST_F(BuiltinServiceTest, ListsTheEndpointsUnderTheIDsThatFindThem)
{
    const auto enumerator = MidiPortEnumeratorCreate(mHost);

    const MidiInputPortList inputs = enumerator->EnumInputPorts();
    const MidiOutputPortList outputs = enumerator->EnumOutputPorts();

    ASSERT_EQ(inputs.GetPortsByID().count(mDevice.SourceID()), 1U);
    ASSERT_EQ(outputs.GetPortsByID().count(mDevice.DestinationID()), 1U);
    EXPECT_NE(inputs.GetPortsByID().at(mDevice.SourceID())->GetDisplayName(), u"");
    EXPECT_FALSE(MidiInputPortCreate(mHost, mDevice.DestinationID(), 0));
    EXPECT_FALSE(MidiOutputPortCreate(mHost, mDevice.SourceID(), 0, true));
}

TEST_F(BuiltinServiceTest, ListsPortsThatReceiveAndSendOnceTheyAreConnected)
{
    RecordingListener listener;
    const auto enumerator = MidiPortEnumeratorCreate(mHost);
    const MidiInputPortList inputs = enumerator->EnumInputPorts();
    const MidiOutputPortList outputs = enumerator->EnumOutputPorts();
    const auto& input = inputs.GetPortsByID().at(mDevice.SourceID());
    const auto& output = outputs.GetPortsByID().at(mDevice.DestinationID());
    input->AddListener(&listener);

    ASSERT_TRUE(input->Connect());
    EXPECT_TRUE(output->SendMidiMessage(tests::MakeMessage(kPlay)));

    ASSERT_TRUE(listener.WaitForCount(1));
    EXPECT_THAT(listener.Messages(), ElementsAre(kPlay));
    EXPECT_EQ(listener.Records()[0].portTag, 0U);
    input->Disconnect();
    input->RemoveListener(&listener);
}

TEST_F(BuiltinServiceTest, DeliversEveryByteOfALongSysExInOrder)
{
    RecordingListener listener;
    const auto input = MidiInputPortCreate(mHost, mDevice.SourceID(), 0);
    ASSERT_TRUE(input);
    input->Connect();
    input->AddListener(&listener);
    Bytes sysEx(1000, 0x11);
    sysEx.front() = 0xF0;
    sysEx.back() = 0xF7;

    mDevice.Send(sysEx);
    mDevice.Send(kPlay);

    Bytes joined;
    for (std::size_t i = 0; joined.size() < sysEx.size() + kPlay.size(); ++i) {
        ASSERT_TRUE(listener.WaitForCount(i + 1));
        const Bytes piece = listener.Messages()[i];
        EXPECT_LE(piece.size(), 256U);
        joined.insert(joined.end(), piece.begin(), piece.end());
    }
    Bytes expected = sysEx;
    expected.insert(expected.end(), kPlay.begin(), kPlay.end());
    EXPECT_EQ(joined, expected);
    input->Disconnect();
    input->RemoveListener(&listener);
}

TEST_F(BuiltinServiceTest, HearsOfDevicesThatComeAndGo)
{
    tests::Signal came;
    tests::Signal went;
    std::atomic<bool> isThere{false};
    mHost->SetMidiSetupChangedFunction([&] {
        const auto inputs = MidiPortEnumeratorCreate(mHost)->EnumInputPorts();
        if (inputs.GetPorts().size() > 1) {
            isThere = true;
            came.Set();
        } else if (isThere) {
            went.Set();
        }
    });

    {
        const EchoDevice other("Another");
        EXPECT_TRUE(came.Wait());
    }

    EXPECT_TRUE(went.Wait());
    mHost->SetMidiSetupChangedFunction({});
}

TEST_F(BuiltinServiceTest, NeitherReceivesNorSendsAfterItsHostWent)
{
    RecordingListener listener;
    const auto input = MidiInputPortCreate(mHost, mDevice.SourceID(), 0);
    const auto output = MidiOutputPortCreate(mHost, mDevice.DestinationID(), 0, true);
    ASSERT_TRUE(input && output);
    input->Connect();
    input->AddListener(&listener);

    mHost.reset();

    EXPECT_FALSE(output->SendMidiMessage(tests::MakeMessage(kPlay)));
    EXPECT_FALSE(input->Connect());
    mDevice.Send(kPlay);
    input->RemoveListener(&listener);
    EXPECT_EQ(listener.Count(), 0U);
}

TEST_F(BuiltinServiceTest, LetsPortsGoWhileTheirSourceFloods)
{
    std::atomic<bool> stop{false};
    std::thread flood([&] {
        while (!stop) {
            mDevice.Send(kPlay);
            std::this_thread::yield();
        }
    });

    for (int round = 0; round < 50; ++round) {
        RecordingListener listener;
        auto input = MidiInputPortCreate(mHost, mDevice.SourceID(), 0);
        ASSERT_TRUE(input);
        EXPECT_TRUE(input->Connect());
        input->AddListener(&listener);
        EXPECT_TRUE(listener.WaitForCount(3));
        if (round % 2 == 0) {
            input->Disconnect(); // else its end does that
        }
        input->RemoveListener(&listener);
        input.reset();
        for (const Bytes& message : listener.Messages()) {
            ASSERT_EQ(message, kPlay);
        }
    }
    stop = true;
    flood.join();
}

} // namespace
} // namespace kelmidi
