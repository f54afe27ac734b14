#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurface.h"

#include "tests/MIDIMachineControl/SurfaceTest.h"
#include "tests/korvasdk/RecordingSuitesSuite.h"
#include "tests/support/VirtualSlot.h"

#include <future>

namespace mmc::tests {

namespace {

using korva::tests::VirtualSlot;
using testing::_;
using testing::DoAll;
using testing::InSequence;
using testing::Return;
using testing::SetArgPointee;

constexpr KORVASDK_Result kHostsOwnError = 0x6F6F7073;
constexpr char kHostSuite[] = "KORVASDK ControlSurfaceHost Suite";
constexpr char kStringSuite[] = "KORVASDK StringSuite";
constexpr char kTransportSuite[] = "KORVASDK ControlSurfaceHost Transport Suite";
constexpr char kInternalSuite[] = "KORVASDK ControlSurfaceHost Internal Suite";
constexpr char kSMPTESuite[] = "KORVASDK ControlSurfaceHost SMPTE Suite";

/// A surface that has not met the host yet.
class NewSurface : public testing::Test {
protected:
    void ExpectAcquire(const char* name, const void* table)
    {
        EXPECT_CALL(mHost, AcquireSuite(name, 1, _)).WillOnce(Gives(table));
    }
    void ExpectAcquireRefused(const char* name)
    {
        EXPECT_CALL(mHost, AcquireSuite(name, 1, _)).WillOnce(Return(kHostsOwnError));
    }
    void ExpectRelease(const char* name)
    {
        EXPECT_CALL(mHost, ReleaseSuite(name, 1)).WillOnce(Return(kHostsOwnError)); // ignored
    }
    void ExpectTransportRef()
    {
        EXPECT_CALL(mHost, GetTransportRef(mHost.HostRef(), _))
            .WillOnce(DoAll(SetArgPointee<1>(mHost.TransportRef()), Return(kSuccess)));
    }
    void ExpectSMPTERef()
    {
        EXPECT_CALL(mHost, GetSMPTERef(mHost.HostRef(), _))
            .WillOnce(DoAll(SetArgPointee<1>(mHost.SMPTERef()), Return(kSuccess)));
    }

    /// Whether a PLAY that arrives reaches the host.
    void ReceivePlay()
    {
        mSurface.Connect({});
        const unsigned char play[]{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
        EXPECT_TRUE(mSurface.HandleMidiMessage(kelmidi::MidiMessage(play, sizeof(play)), 0));
    }

    InSequence mInSequence;
    FakeMidi mMidi;
    StrictHost mHost;
    ControlSurface mSurface{7, MockHost::BasicSuite()};
};

} // namespace

TEST_F(NewSurface, OpensItsMidiHostUnderItsName)
{
    EXPECT_EQ(mMidi.LastClientName(), u"Korva.ControlSurface.MMC");
    EXPECT_FALSE(mSurface.IsConnected());
}

TEST_F(NewSurface, TakesNothingFromTheHostByItself)
{
    mSurface.SetControlSurfaceHost(nullptr); // and has nothing to give back
}

TEST_F(NewSurface, TakesTheHostsSuitesInOrder)
{
    mHost.ExpectHostTaken();

    mSurface.SetControlSurfaceHost(mHost.HostRef());
}

TEST_F(NewSurface, GivesEverySuiteBackButTheInternalOne)
{
    mHost.ExpectHostTaken();
    mSurface.SetControlSurfaceHost(mHost.HostRef());

    ExpectRelease(kStringSuite);
    ExpectRelease(kTransportSuite);
    ExpectRelease(kSMPTESuite);
    ExpectRelease(kHostSuite);
    mSurface.SetControlSurfaceHost(nullptr);

    ReceivePlay(); // meets no host
}

TEST_F(NewSurface, DropsTheOldHostBeforeItTakesANewOne)
{
    mHost.ExpectHostTaken();
    mSurface.SetControlSurfaceHost(mHost.HostRef());

    ExpectRelease(kStringSuite);
    ExpectRelease(kTransportSuite);
    ExpectRelease(kSMPTESuite);
    ExpectRelease(kHostSuite);
    mHost.ExpectHostTaken();
    mSurface.SetControlSurfaceHost(mHost.HostRef());
}

TEST_F(NewSurface, WithoutTheHostSuiteAsksForNothingMore)
{
    ExpectAcquireRefused(kHostSuite);

    mSurface.SetControlSurfaceHost(mHost.HostRef());

    ReceivePlay();
}

TEST_F(NewSurface, TakesSuccessWithoutATableAsNotAvailable)
{
    ExpectAcquire(kHostSuite, nullptr);

    mSurface.SetControlSurfaceHost(mHost.HostRef());

    mSurface.SetControlSurfaceHost(nullptr); // nothing to release
}

TEST_F(NewSurface, StaysDeafWithoutTheTransportSuite)
{
    ExpectAcquire(kHostSuite, MockHost::HostSuite());
    ExpectAcquire(kStringSuite, MockHost::StringSuite());
    ExpectAcquireRefused(kTransportSuite);
    ExpectAcquire(kInternalSuite, MockHost::InternalSuite());
    ExpectSMPTERef();
    ExpectAcquire(kSMPTESuite, MockHost::SMPTESuite());
    EXPECT_CALL(mHost, SetSMPTEActive(mHost.SMPTERef(), 1)).WillOnce(Return(kSuccess));

    mSurface.SetControlSurfaceHost(mHost.HostRef());

    ReceivePlay();
}

TEST_F(NewSurface, LosesTheTransportSuiteWhereTheHostGivesNoReference)
{
    ExpectAcquire(kHostSuite, MockHost::HostSuite());
    ExpectAcquireRefused(kStringSuite);
    ExpectAcquire(kTransportSuite, MockHost::TransportSuite());
    EXPECT_CALL(mHost, GetTransportRef(mHost.HostRef(), _)).WillOnce(Return(kHostsOwnError));
    ExpectRelease(kTransportSuite);
    ExpectAcquireRefused(kInternalSuite);
    ExpectAcquireRefused(kSMPTESuite);

    mSurface.SetControlSurfaceHost(mHost.HostRef());

    ReceivePlay();
    ExpectRelease(kHostSuite); // the transport suite is not given back twice
    mSurface.SetControlSurfaceHost(nullptr);
}

TEST_F(NewSurface, GivesTheInternalSuiteBackWhereItHasNoReference)
{
    ExpectAcquire(kHostSuite, MockHost::HostSuite());
    ExpectAcquire(kStringSuite, nullptr);
    ExpectAcquire(kTransportSuite, nullptr);
    ExpectAcquire(kInternalSuite, MockHost::InternalSuite());
    EXPECT_CALL(mHost, GetSMPTERef(mHost.HostRef(), _)).WillOnce(Return(kHostsOwnError));
    ExpectRelease(kInternalSuite);
    ExpectAcquire(kSMPTESuite, MockHost::SMPTESuite()); // and nobody is made active

    mSurface.SetControlSurfaceHost(mHost.HostRef());
}

TEST_F(NewSurface, DoesNotAskTheInternalSuiteThatDoesNotCome)
{
    ExpectAcquire(kHostSuite, MockHost::HostSuite());
    ExpectAcquire(kStringSuite, MockHost::StringSuite());
    ExpectAcquire(kTransportSuite, MockHost::TransportSuite());
    ExpectTransportRef();
    ExpectAcquire(kInternalSuite, nullptr);
    ExpectAcquire(kSMPTESuite, MockHost::SMPTESuite());

    mSurface.SetControlSurfaceHost(mHost.HostRef());

    EXPECT_CALL(mHost, Play(mHost.TransportRef()));
    ReceivePlay();
}

TEST_F(NewSurface, ForgetsTheReferencesOfAHostThatItDropped)
{
    mHost.ExpectHostTaken();
    mSurface.SetControlSurfaceHost(mHost.HostRef());
    EXPECT_CALL(mHost, ReleaseSuite).Times(4);
    ExpectAcquire(kHostSuite, MockHost::HostSuite());
    ExpectAcquireRefused(kStringSuite);
    ExpectAcquire(kTransportSuite, MockHost::TransportSuite());
    EXPECT_CALL(mHost, GetTransportRef).WillOnce(Return(kSuccess)); // and writes none
    ExpectAcquireRefused(kInternalSuite);
    ExpectAcquire(kSMPTESuite, MockHost::SMPTESuite()); // and nobody is made active
    mSurface.SetControlSurfaceHost(mHost.HostRef());

    EXPECT_CALL(mHost, Play(nullptr));
    ReceivePlay();
}

TEST_F(NewSurface, HearsMIDIOnceItHasTheTransport)
{
    mHost.ExpectHostTaken();
    mSurface.SetControlSurfaceHost(mHost.HostRef());

    EXPECT_CALL(mHost, Play(mHost.TransportRef())).WillOnce(Return(kHostsOwnError)); // ignored
    ReceivePlay();
}

TEST_F(SurfaceTest, KeepsTheHostsSuitesWhenItGoes)
{
    // The strict host has seen no release when the fixture is gone.
}

TEST_F(SurfaceTest, NamesItsConfiguration)
{
    EXPECT_CALL(mHost, MakeString(std::u16string(u"KorvaMIDI"), mHost.StringRef()))
        .WillOnce(Return(kHostsOwnError));

    EXPECT_EQ(mSurface.GetConfigIdentifier(mHost.StringRef()), kHostsOwnError);
}

TEST_F(SurfaceTest, AcceptsFiveNoticesAndRefusesThree)
{
    EXPECT_EQ(mSurface.SetPlayState(true), kSuccess);
    EXPECT_EQ(mSurface.SetRecordState(true), kSuccess);
    EXPECT_EQ(mSurface.SetRewindState(true), kSuccess);
    EXPECT_EQ(mSurface.SetForwardState(true), kSuccess);
    EXPECT_EQ(mSurface.SetCycleState(true), kSuccess);
    EXPECT_EQ(mSurface.SetStopState(true), kErrorNotImplemented);
    EXPECT_EQ(mSurface.SetPauseState(true), kErrorNotImplemented);
    EXPECT_EQ(mSurface.SetTimeDisplay(3, nullptr), kErrorNotImplemented);
    EXPECT_EQ(mSurface.Update(), kSuccess);
}

TEST_F(SurfaceTest, HandsOutTheInterfaceThatEachSuiteIsServedBy)
{
    KORVASDK_ControlSurfaceTransport* transport = nullptr;
    KORVASDK_ControlSurfaceSMPTE* smpte = nullptr;
    KORVASDK_ControlSurfaceMixer* mixer = nullptr;
    unsigned int flags = 1;

    EXPECT_EQ(mSurface.GetTransportRef(&transport), kSuccess);
    EXPECT_EQ(mSurface.GetSMPTERef(&smpte), kSuccess);
    EXPECT_EQ(mSurface.GetMixerRef(&mixer), kSuccess);
    EXPECT_EQ(mSurface.GetControlSurfaceFlags(&flags), kSuccess);

    EXPECT_EQ(korvasdk::FromHandle(transport),
        static_cast<korvasdk::ControlSurfaceTransportBase*>(&mSurface));
    EXPECT_EQ(
        korvasdk::FromHandle(smpte), static_cast<korvasdk::ControlSurfaceSMPTEBase*>(&mSurface));
    EXPECT_EQ(korvasdk::FromHandle(mSurface.GetControlSurfaceRef()),
        static_cast<korvasdk::ControlSurfaceBase*>(&mSurface));
    EXPECT_EQ(mixer, nullptr);
    EXPECT_EQ(flags, 0U);
}

TEST_F(SurfaceTest, RegistersItsSuitesInOrder)
{
    korvasdk::tests::RecordingSuitesSuite suites;

    ControlSurface::RegisterSuites(suites.Suite(), suites.List());

    std::vector<std::string> names;
    for (const auto& registration : suites.Registrations()) {
        names.push_back(registration.name + " " + std::to_string(registration.apiVersion));
        EXPECT_EQ(registration.suiteList, suites.List());
    }
    EXPECT_THAT(names,
        testing::ElementsAre("KORVASDK ControlSurface Suite 1", "KORVASDK ControlSurface Suite 2",
            "KORVASDK ControlSurface Transport Suite 1", "KORVASDK ControlSurface SMPTE Suite 1"));
}

TEST_F(SurfaceTest, KeepsItsPortsThroughASetupChangeWhileSuspended)
{
    mMidi.PlugIn(u"1", u"2");
    mSurface.Connect(DeviceInfo(u"1", u"2", false));
    ASSERT_EQ(mMidi.ConnectedPorts(), 2);

    mSurface.Suspend();
    mMidi.UnplugAll();
    mMidi.NotifySetupChanged();
    EXPECT_EQ(mMidi.ConnectedPorts(), 2);

    mSurface.Resume();
    mMidi.NotifySetupChanged();
    EXPECT_EQ(mMidi.ConnectedPorts(), 0);
}

TEST_F(SurfaceTest, WaitsForASetupChangeToSuspendAndToResume)
{
    auto binding = mSurface.LockBinding(); // as a setup change holds it
    std::promise<void> started;
    auto suspended = std::async(std::launch::async, [&] {
        started.set_value();
        mSurface.Suspend();
        mSurface.Resume();
    });
    started.get_future().wait();
    EXPECT_EQ(suspended.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);

    binding.unlock();

    suspended.get();
}

TEST_F(SurfaceTest, CallsUpdateWhenItResumes)
{
    class Counting : public ControlSurface {
    public:
        using ControlSurface::ControlSurface;
        KORVASDK_Result Update() override
        {
            ++updates;
            return kSuccess;
        }
        int updates = 0;
    };
    Counting surface(7, MockHost::BasicSuite());

    surface.Suspend();
    EXPECT_EQ(surface.updates, 0);
    surface.Resume();

    EXPECT_EQ(surface.updates, 1);
}

TEST_F(SurfaceTest, UnbindsItsPortsAndClosesItsHostWhenItGoes)
{
    mMidi.PlugIn(u"1", u"2");
    {
        ControlSurface surface(7, MockHost::BasicSuite());
        surface.Connect(DeviceInfo(u"1", u"2", false));
        ASSERT_EQ(mMidi.ConnectedPorts(), 2);
        ASSERT_EQ(mMidi.LiveHosts(), 2);
    }

    EXPECT_EQ(mMidi.ConnectedPorts(), 0);
    EXPECT_EQ(mMidi.LivePorts(), 0);
    EXPECT_EQ(mMidi.LiveHosts(), 1);
}

// A port that goes is a setup change of its own on some services.
TEST(ControlSurface, IsNotToldOfSetupChangesAnyMoreWhileItGoes)
{
    FakeMidi midi;
    midi.PlugIn(u"1", u"2");
    auto surface = std::make_unique<ControlSurface>(7, nullptr);
    surface->Connect(DeviceInfo(u"1", u"2", true));
    midi.NotifySetupChanged();
    ASSERT_EQ(midi.Enumerations(), 2);
    midi.OnDisconnect([&] { midi.NotifySetupChanged(); });

    surface.reset();

    EXPECT_EQ(midi.Enumerations(), 2);
    EXPECT_EQ(midi.LivePorts(), 0);
}

// A surface that a setup change finds going must neither be called nor rebound.
TEST(ControlSurface, GoesWhileTheSetupChanges)
{
    FakeMidi midi;
    midi.PlugIn(u"1", u"2");
    for (int i = 0; i < 50; ++i) {
        auto surface = std::make_unique<ControlSurface>(7, nullptr);
        surface->Connect(DeviceInfo(u"1", u"2", true));
        boost::intrusive_ptr<kelmidi::MidiHost> keeps = midi.AnyHost();
        std::promise<void> started;
        auto changes = std::async(std::launch::async, [&] {
            started.set_value();
            for (int change = 0; change < 20; ++change) {
                keeps->NotifyMidiSetupChanged();
            }
        });
        started.get_future().wait();
        surface.reset();
        changes.get();
        EXPECT_EQ(midi.ConnectedPorts(), 0);
    }
}

TEST(ControlSurface, KeepsItsOperationsInTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&ControlSurface::HandleMidiMessage), 0U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::Connect), 3U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::Disconnect), 4U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::Suspend), 5U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::Resume), 6U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::OnMidiSetupChanged), 7U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::GetConfigIdentifier), 8U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::GetTransportRef), 9U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::Update), 10U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::GetSMPTERef), 11U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::SetPlayState), 12U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::SetRecordState), 13U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::SetRewindState), 14U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::SetForwardState), 15U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::SetCycleState), 16U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::GotoSMPTETime), 17U);
    EXPECT_EQ(VirtualSlot(&ControlSurface::TransmitFullFrame), 18U);
}

} // namespace mmc::tests
