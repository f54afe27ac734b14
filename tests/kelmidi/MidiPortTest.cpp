#include "mediaio/kelmidi/src/MidiPort.h"

#include "RecordingListener.h"

#include "mediaio/kelmidi/src/MidiPortEnumerator.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <type_traits>

namespace kelmidi {
namespace {

using korva::tests::VirtualSlot;
using testing::ElementsAre;
using tests::Bytes;
using tests::RecordingListener;

class PlainInputPort : public MidiInputPort {
public:
    PlainInputPort()
        : MidiInputPort(u"In \u266A", u"-7", 42)
    {
    }
    bool Connect() override { return true; }
    void Disconnect() override {}
    bool IsConnected() const override { return false; }
};

class PlainOutputPort : public MidiOutputPort {
public:
    PlainOutputPort()
        : MidiOutputPort(u"Out", u"8", 43)
    {
    }
    bool Connect() override { return true; }
    void Disconnect() override {}
    bool IsConnected() const override { return false; }
    bool SendMidiMessage(const MidiMessage&) override { return true; }
};

template <typename Class>
constexpr bool kIsCopyable
    = std::is_copy_constructible_v<Class> || std::is_copy_assignable_v<Class>;
static_assert(!kIsCopyable<MidiHost> && !kIsCopyable<MidiPortEnumerator>);
static_assert(!kIsCopyable<PlainInputPort> && !kIsCopyable<PlainOutputPort>);
static_assert(
    std::is_base_of_v<kelcore::utility::RefCountedObject,
        MidiHost> && std::is_base_of_v<kelcore::utility::RefCountedObject, MidiPort> && std::is_base_of_v<kelcore::utility::RefCountedObject, MidiPortEnumerator>);

TEST(MidiPort, SaysWhatItWasMadeWith)
{
    const boost::intrusive_ptr<MidiPort> input = new PlainInputPort;
    const boost::intrusive_ptr<MidiPort> output = new PlainOutputPort;

    EXPECT_EQ(input->GetDisplayName(), u"In \u266A");
    EXPECT_EQ(input->GetUniqueID(), u"-7");
    EXPECT_EQ(input->GetPortTag(), 42U);
    EXPECT_TRUE(input->IsInput());
    EXPECT_EQ(output->GetDisplayName(), u"Out");
    EXPECT_EQ(output->GetUniqueID(), u"8");
    EXPECT_FALSE(output->IsInput());
}

TEST(MidiOutputPort, NeitherUsesTimeStampsNorIsASoftwareInstrumentByItself)
{
    const boost::intrusive_ptr<MidiOutputPort> output = new PlainOutputPort;

    EXPECT_FALSE(output->CanUseTimeStamp());
    EXPECT_FALSE(output->IsSoftwareInstrument());
}

TEST(MidiInputPort, DeliversToItsListenersWithItsTag)
{
    const boost::intrusive_ptr<MidiInputPort> input = new PlainInputPort;
    RecordingListener passing(false);
    RecordingListener last;
    input->AddListener(&passing);
    input->AddListener(&last);

    input->HandleMessage(tests::MakeMessage({0x90, 1, 2}));

    ASSERT_TRUE(last.WaitForCount(1));
    EXPECT_THAT(passing.Messages(), ElementsAre(Bytes{0x90, 1, 2}));
    EXPECT_EQ(last.Records()[0].portTag, 42U);
    input->RemoveListener(&passing);
    input->RemoveListener(&last);
}

TEST(MidiInputPort, CallsAListenerThatIsAddedTwiceOnceAndLast)
{
    const boost::intrusive_ptr<MidiInputPort> input = new PlainInputPort;
    RecordingListener first(true);
    RecordingListener second(false);
    input->AddListener(&first);
    input->AddListener(&second);
    input->AddListener(&first);

    input->HandleMessage(tests::MakeMessage({1}));

    ASSERT_TRUE(first.WaitForCount(1));
    input->RemoveListener(&first);
    input->RemoveListener(&second);
    EXPECT_EQ(first.Count(), 1U);
    EXPECT_EQ(second.Count(), 1U); // was offered it before `first` kept it
}

TEST(MidiInputPort, IgnoresTheRemovalOfAStranger)
{
    const boost::intrusive_ptr<MidiInputPort> input = new PlainInputPort;
    RecordingListener listener;
    RecordingListener stranger;
    input->AddListener(&listener);

    input->RemoveListener(&stranger);
    input->HandleMessage(tests::MakeMessage({1}));

    EXPECT_TRUE(listener.WaitForCount(1));
    input->RemoveListener(&listener);
}

TEST(MidiPortID, StandsForASignedNumber)
{
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"123"), 123);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"-456"), -456);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"2147483647"), 2147483647);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"-2147483648"), -2147483647 - 1);
}

TEST(MidiPortID, StandsForZeroWhereItIsEmptyOrNoNumber)
{
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"0"), 0);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u""), 0);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"a port"), 0);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"12x"), 0);
    EXPECT_EQ(GetUniqueIDFromMidiPortID(u"4294967297"), 0);
}

TEST(VirtualSlots, StandInTheirBindingOrder)
{
    EXPECT_EQ(VirtualSlot(&MidiPort::AddRefCount), 0U);
    EXPECT_EQ(VirtualSlot(&MidiPort::ReleaseRefCount), 1U); // 2 and 3 are the destructor
    EXPECT_EQ(VirtualSlot(&MidiPort::IsInput), 4U);
    EXPECT_EQ(VirtualSlot(&MidiPort::Connect), 5U);
    EXPECT_EQ(VirtualSlot(&MidiPort::Disconnect), 6U);
    EXPECT_EQ(VirtualSlot(&MidiPort::IsConnected), 7U);
    EXPECT_EQ(VirtualSlot(&MidiInputPort::HandleMessage), 8U);
    EXPECT_EQ(VirtualSlot(&MidiOutputPort::SendMidiMessage), 8U);
    EXPECT_EQ(VirtualSlot(&MidiOutputPort::CanUseTimeStamp), 9U);
    EXPECT_EQ(VirtualSlot(&MidiOutputPort::IsSoftwareInstrument), 10U);
    EXPECT_EQ(VirtualSlot(&MidiHost::AddRefCount), 0U);
    EXPECT_EQ(VirtualSlot(&MidiHost::ReleaseRefCount), 1U);
    EXPECT_EQ(VirtualSlot(&MidiPortEnumerator::AddRefCount), 0U);
    EXPECT_EQ(VirtualSlot(&MidiPortEnumerator::EnumInputPorts), 4U);
    EXPECT_EQ(VirtualSlot(&MidiPortEnumerator::EnumOutputPorts), 5U);
    EXPECT_EQ(VirtualSlot(&MidiListener::HandleMidiMessage), 0U);
}

} // namespace
} // namespace kelmidi
