#include "deck/host/Plugin.h"

#include "deck/host/BundleLoader.h"
#include "deck/host/DeckSession.h"
#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <cstdlib>

namespace deck::host::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kDeadline = 30s;

/// Collects what the plug-in calls, on whichever thread.
class CollectedCommands final : public TransportCommands {
public:
    bool TryPost(const HostCall& call) noexcept override
    {
        const std::lock_guard lock(mMutex);
        mCalls.push_back(call);
        mChanged.notify_all();
        return true;
    }

    std::vector<HostCallKind> WaitFor(std::size_t count)
    {
        std::unique_lock lock(mMutex);
        mChanged.wait_for(lock, kDeadline, [&] { return mCalls.size() >= count; });
        std::vector<HostCallKind> kinds;
        for (const HostCall& call : mCalls) {
            kinds.push_back(call.kind);
        }
        return kinds;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<HostCall> mCalls;
};

void Ignore(const MIDIPacketList*, void*, void*) {}

class PluginTest : public testing::Test {
protected:
    static void SetUpTestSuite() { setenv("KEL_MIDI_SERVICE", "builtin", 1); }

    void SetUp() override { EnablePluginUnlessToldOtherwise(); }

    std::string PortsAsSettings() const
    {
        return WithPortSettings("", {UniqueIDOf(mSource), UniqueIDOf(mDestination), true});
    }

    void SendPlay() const
    {
        constexpr std::array<Byte, 6> kPlay = {0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
        MIDIPacketList packets{};
        packets.numPackets = 1;
        packets.packet[0].length = kPlay.size();
        std::copy(kPlay.begin(), kPlay.end(), packets.packet[0].data);
        MIDIReceived(mSource, &packets);
    }

    HostSuites mSuites;
    CollectedCommands mCommands;
    MidiClient mClient{"test"};
    MIDIEndpointRef mSource = mClient.MakeSource("Controller");
    MIDIEndpointRef mDestination = mClient.MakeDestination("Chaser", Ignore, nullptr);
};

TEST_F(PluginTest, TellsWhoItIs)
{
    Plugin plugin(LoadBundle(TEST_BUNDLE, mSuites.BasicSuite()), mSuites);
    const PluginInstance instance(plugin, mCommands);

    EXPECT_EQ(instance.ID(), "Korva.ControlSurfacePlugIn.MMC");
    EXPECT_EQ(instance.DisplayName(), "MIDI Machine Control");
}

TEST_F(PluginTest, KeepsTheSettingsThatItIsGiven)
{
    Plugin plugin(LoadBundle(TEST_BUNDLE, mSuites.BasicSuite()), mSuites);
    PluginInstance instance(plugin, mCommands);
    instance.SetSettings(R"({"Other":"→","PortConfiguration":{"in":"1","out":"2"}})");

    EXPECT_EQ(instance.Settings(), R"({"Other":"→","PortConfiguration":{"in":"1","out":"2"}})");
}

TEST_F(PluginTest, TurnsAPlayIntoACallOnTheHost)
{
    Plugin plugin(LoadBundle(TEST_BUNDLE, mSuites.BasicSuite()), mSuites);
    PluginInstance instance(plugin, mCommands);
    instance.SetSettings(PortsAsSettings());
    instance.Connect();
    SendPlay();

    EXPECT_THAT(
        mCommands.WaitFor(2), ElementsAre(HostCallKind::SetSMPTEActive, HostCallKind::Play));
}

TEST_F(PluginTest, IsDeafWhenDisconnectedAndHearsAgainWhenConnected)
{
    Plugin plugin(LoadBundle(TEST_BUNDLE, mSuites.BasicSuite()), mSuites);
    PluginInstance instance(plugin, mCommands);
    instance.SetSettings(PortsAsSettings());
    instance.Connect();
    instance.Disconnect();
    EXPECT_FALSE(instance.IsConnected());
    SendPlay();
    instance.Connect();
    SendPlay();

    EXPECT_THAT(mCommands.WaitFor(3),
        ElementsAre(
            HostCallKind::SetSMPTEActive, HostCallKind::SetSMPTEActive, HostCallKind::Play));
}

TEST_F(PluginTest, HandsOutASurfaceThatTakesPositions)
{
    Plugin plugin(LoadBundle(TEST_BUNDLE, mSuites.BasicSuite()), mSuites);
    PluginInstance instance(plugin, mCommands);
    EXPECT_EQ(instance.SMPTE().handle, nullptr) << "not connected";
    instance.Connect();
    const SurfaceSMPTE smpte = instance.SMPTE();

    ASSERT_NE(smpte.table, nullptr);
    ASSERT_NE(smpte.handle, nullptr);
    EXPECT_EQ(smpte.table->GotoSMPTETime(smpte.handle, 3, 1, 2, 3, 4, 0), kSuccess);
    instance.Notify(TransportState::Playing, true);
}

TEST_F(PluginTest, LeavesOnlyWhatItIsMeantToKeep)
{
    {
        Plugin plugin(LoadBundle(TEST_BUNDLE, mSuites.BasicSuite()), mSuites);
        PluginInstance instance(plugin, mCommands);
        instance.SetSettings(PortsAsSettings());
        instance.Connect();
    }

    // A surface does not give back what it acquired, and the suites suite is never released
    EXPECT_THAT(mSuites.Registry().InUse(),
        ElementsAre(SuiteUse{"KORVASDK ControlSurfaceHost Internal Suite", 1, 1},
            SuiteUse{"KORVASDK ControlSurfaceHost SMPTE Suite", 1, 1},
            SuiteUse{"KORVASDK ControlSurfaceHost Suite", 1, 1},
            SuiteUse{"KORVASDK ControlSurfaceHost Transport Suite", 1, 1},
            SuiteUse{"KORVASDK StringSuite", 1, 1}, SuiteUse{"QX Suites Suite", 2, 1}));
    EXPECT_EQ(mSuites.LiveSuiteLists(), 0U);
}

KORVASDK_Result StartupThatFails()
{
    return kErrorStringBufferTooSmall;
}
KORVASDK_Result Succeed()
{
    return kSuccess;
}

TEST_F(PluginTest, IsNotUsedWhenItCannotStartUp)
{
    const KORVASDK_ControlSurfacePluginFuncs functions{
        StartupThatFails, Succeed, nullptr, nullptr, nullptr};

    try {
        const Plugin plugin(functions, mSuites);
        ADD_FAILURE() << "it was taken for started";
    } catch (const HostError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("start up: string buffer too small ('sbts')"));
        EXPECT_EQ(error.Status(), kExitFailed);
    }
}

TEST_F(PluginTest, IsNotUsedWhenItRegistersNoPluginSuite)
{
    const KORVASDK_ControlSurfacePluginFuncs functions{Succeed, Succeed, nullptr, nullptr, nullptr};
    Plugin plugin(functions, mSuites);

    EXPECT_THROW(PluginInstance(plugin, mCommands), HostError);
}

TEST(DeckSession, PlaysWhenAControllerSaysSo)
{
    setenv("KEL_MIDI_SERVICE", "builtin", 1);
    DeckSession session(TEST_BUNDLE, {});
    MidiClient client("test");
    const MIDIEndpointRef source = client.MakeSource("Controller");
    const MIDIEndpointRef destination = client.MakeDestination("Chaser", Ignore, nullptr);
    session.Connect(WithPortSettings("", {UniqueIDOf(source), UniqueIDOf(destination), true}));
    session.Commands().TryPost(HostCall{HostCallKind::Play, {}, 0});

    const auto end = std::chrono::steady_clock::now() + kDeadline;
    bool hasMoved = false;
    while (!hasMoved && std::chrono::steady_clock::now() < end) {
        while (const auto event = session.Events().TryPop()) {
            const auto* const at = std::get_if<PositionEvent>(&event->what);
            hasMoved = hasMoved || (at != nullptr && at->position.frame >= 3);
        }
        std::this_thread::yield();
    }

    EXPECT_TRUE(hasMoved);
}

} // namespace
} // namespace deck::host::test
