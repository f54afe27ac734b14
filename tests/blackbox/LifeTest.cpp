// Whole lives of the plug-in, from entry to unloading, with real MIDI in between.

#include "BlackBoxHost.h"
#include "VirtualDevice.h"
#include "tests/MIDIMachineControl/PlainHost.h"
#include "tests/support/HeapControl.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace blackbox {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using Log = std::vector<std::string>;

constexpr char kSwitch[] = "kelcontrolsurface.EnableMMC";

const Bytes kPlay{0xF0, 0x7F, 0x7F, 0x06, 0x02, 0xF7};
const Bytes kStop{0xF0, 0x7F, 0x7F, 0x06, 0x01, 0xF7};
const Bytes kRewind{0xF0, 0x7F, 0x7F, 0x06, 0x05, 0xF7};
const Bytes kLocate{0xF0, 0x7F, 0x7F, 0x06, 0x44, 0x06, 0x01, 0x21, 0x02, 0x03, 0x04, 0x00, 0xF7};

KORVASDK_Result Untouched()
{
    return kSuccess;
}

class Life : public testing::Test {
protected:
    Life() { SetDebugEntry(kSwitch, "true"); }

    KORVASDK_Result Enter(const QXBasicSuite* basicSuite)
    {
        return mBundle->EntryPoint()(basicSuite, nullptr, nullptr, 42, &mFuncs);
    }

    void StartUp()
    {
        ASSERT_EQ(Enter(Host::BasicSuite()), kSuccess);
        ASSERT_EQ(mFuncs.Startup(), kSuccess);
        mSuite = mHost.Registered<KORVASDK_ControlSurfacePluginSuite>(
            kKORVASDKControlSurfacePluginSuite);
    }

    std::u16string Settings(bool transmitMTC) const
    {
        return u"{\"PortConfiguration\":{\"in\":\"" + mDevice->SourceID()
            + u"\",\"options\":{\"transmit_mtc\":" + (transmitMTC ? u"true" : u"false")
            + u"},\"out\":\"" + mDevice->DestinationID() + u"\"}}";
    }

    KORVASDK_Result SetSettings(
        KORVASDK_ControlSurfacePlugin* plugin, const std::u16string& settings)
    {
        const KORVASDK_String string{settings};
        return mSuite.SetPluginSettings(plugin, &string);
    }

    /// A started plug-in with one connected instance on the virtual device.
    void Connect()
    {
        StartUp();
        ASSERT_EQ(mFuncs.CreatePluginInstance(&mPlugin), kSuccess);
        ASSERT_EQ(SetSettings(mPlugin, Settings(true)), kSuccess);
        ASSERT_EQ(mSuite.Connect(mPlugin, mHost.Ref(), &mSurface), kSuccess);
        mHost.TakeLog();
    }
    void End()
    {
        EXPECT_EQ(mSuite.Disconnect(mPlugin), kSuccess);
        EXPECT_EQ(mFuncs.DeletePluginInstance(mPlugin), kSuccess);
        EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
        EXPECT_TRUE(mBundle->Unload());
    }

    /// The result of a connection, and whether it got as far as the request.
    std::pair<KORVASDK_Result, bool> ConnectWithoutRequest(
        std::size_t number, mmc::tests::PlainHost& host)
    {
        mSurface = nullptr;
        korva::tests::HeapControl heap;
        heap.RefuseRequest(number);
        const KORVASDK_Result result = mSuite.Connect(mPlugin, host.HostRef(), &mSurface);
        return {result, heap.HasRefused()};
    }

    std::optional<VirtualDevice> mDevice{std::in_place};
    Host mHost;
    std::optional<Bundle> mBundle{std::in_place};
    KORVASDK_ControlSurfacePluginFuncs mFuncs{Untouched, nullptr, nullptr, nullptr, nullptr};
    KORVASDK_ControlSurfacePluginSuite mSuite{};
    KORVASDK_ControlSurfacePlugin* mPlugin = nullptr;
    KORVASDK_ControlSurface* mSurface = nullptr;
};

} // namespace

TEST_F(Life, DoesNotBeginWhereTheSwitchIsNotOn)
{
    for (const char* text : {"", "True", "1", "false"}) {
        SetDebugEntry(kSwitch, text);

        EXPECT_EQ(Enter(Host::BasicSuite()), kErrorBadParameter) << text;
        EXPECT_EQ(mFuncs.Startup, Untouched) << text;
    }
}

TEST_F(Life, DoesNotBeginWithoutABasicSuite)
{
    EXPECT_EQ(Enter(nullptr), kErrorBadParameter);
    EXPECT_EQ(mFuncs.Startup, Untouched);
}

TEST_F(Life, GoesOnWhereTheSwitchGoesOffAfterTheEntry)
{
    ASSERT_EQ(Enter(Host::BasicSuite()), kSuccess);
    EXPECT_NE(mFuncs.Startup, Untouched);
    mFuncs.Startup = Untouched;
    SetDebugEntry(kSwitch, "false");

    EXPECT_EQ(Enter(Host::BasicSuite()), kSuccess);
    EXPECT_EQ(mFuncs.Startup, Untouched);
}

TEST_F(Life, LeavesNothingBehindInAnUnloadedBundle)
{
    ASSERT_EQ(Enter(Host::BasicSuite()), kSuccess);
    ASSERT_TRUE(mBundle->Unload());
    mBundle.emplace();
    SetDebugEntry(kSwitch, "false");

    EXPECT_EQ(Enter(Host::BasicSuite()), kErrorBadParameter); // knows of no earlier entry
}

/// The stages of a run, in their order.
class LifeInOrder : public Life {
protected:
    void StartUp()
    {
        ASSERT_EQ(mFuncs.Startup(), kSuccess);
        EXPECT_THAT(mHost.TakeLog(),
            ElementsAre("acquire KORVASDK StringSuite 1", "acquire QX Suites Suite 2",
                "allocate list null null",
                "add to list: null KORVASDK ControlSurfacePlugin Suite 1/1",
                "add to list: null KORVASDK ControlSurface Internal Suite 1/1",
                "add to list: null KORVASDK ControlSurface Suite 1/1",
                "add to list: null KORVASDK ControlSurface Suite 2/2",
                "add to list: null KORVASDK ControlSurface Transport Suite 1/1",
                "add to list: null KORVASDK ControlSurface SMPTE Suite 1/1"));
        EXPECT_EQ(mHost.RegisteredTable(kKORVASDKControlSurfaceSuite, 1),
            mHost.RegisteredTable(kKORVASDKControlSurfaceSuite, 2));
        QXSuiteList* suiteList = nullptr;
        EXPECT_EQ(mFuncs.GetSuiteList(&suiteList), kSuccess);
        EXPECT_NE(suiteList, nullptr);
    }

    void CreateInstance()
    {
        ASSERT_EQ(mFuncs.CreatePluginInstance(&mPlugin), kSuccess);
        EXPECT_EQ(Suite().GetPluginID(mPlugin, &mString), kSuccess);
        EXPECT_EQ(mString.text, u"Korva.ControlSurfacePlugIn.MMC");
        EXPECT_EQ(Suite().GetPluginDisplayString(mPlugin, &mString), kSuccess);
        EXPECT_EQ(mString.text, u"MIDI Machine Control");
        std::uint8_t hasDialog = 0;
        EXPECT_EQ(Suite().HasConfigurationDialog(mPlugin, &hasDialog), kSuccess);
        EXPECT_EQ(hasDialog, 1);
        EXPECT_EQ(Suite().Suspend(mPlugin), kErrorNotImplemented);
        EXPECT_EQ(Suite().Resume(mPlugin), kErrorNotImplemented);
        EXPECT_THAT(mHost.TakeLog(), IsEmpty());
    }

    void GiveSettings()
    {
        const std::u16string settings = Settings(true);
        mString.text = settings;
        EXPECT_EQ(Suite().SetPluginSettings(mPlugin, &mString), kSuccess);
        EXPECT_THAT(mHost.TakeLog(),
            ElementsAre(
                "copy string into 0", "copy string into " + std::to_string(settings.size())));
        EXPECT_EQ(Suite().GetPluginSettings(mPlugin, &mString), kSuccess);
        EXPECT_EQ(mString.text, settings);
    }

    void Connect()
    {
        ASSERT_EQ(Suite().Connect(mPlugin, mHost.Ref(), &mSurface), kSuccess);
        EXPECT_THAT(mHost.TakeLog(),
            ElementsAre("acquire KORVASDK ControlSurfaceHost Suite 1",
                "acquire KORVASDK StringSuite 1",
                "acquire KORVASDK ControlSurfaceHost Transport Suite 1", "transport of host",
                "acquire KORVASDK ControlSurfaceHost Internal Suite 1", "smpte of host",
                "acquire KORVASDK ControlSurfaceHost SMPTE Suite 1", "active smpte 1"));
    }

    void ObeyMMC()
    {
        mDevice->Send(kPlay);
        EXPECT_THAT(mHost.WaitForLog(1), ElementsAre("play transport"));
        mDevice->Send({kRewind, kStop, kLocate});
        EXPECT_THAT(mHost.WaitForLog(4),
            ElementsAre("start rewind transport", "stop rewind transport", "stop transport",
                "locate smpte 3 1 2 3 4 0"));
    }

    void TakeNotices()
    {
        const auto& surfaceSuite
            = mHost.Registered<KORVASDK_ControlSurfaceSuite>(kKORVASDKControlSurfaceSuite, 2);
        EXPECT_EQ(surfaceSuite.GetConfigIdentifier(mSurface, &mString), kSuccess);
        EXPECT_EQ(mString.text, u"KorvaMIDI");
        KORVASDK_ControlSurfaceTransport* transport = nullptr;
        ASSERT_EQ(surfaceSuite.GetTransportRef(mSurface, &transport), kSuccess);
        const auto& transportSuite = mHost.Registered<KORVASDK_ControlSurfaceTransportSuite>(
            kKORVASDKControlSurfaceTransportSuite);
        EXPECT_EQ(transportSuite.SetPlayState(transport, 1), kSuccess);
        EXPECT_EQ(transportSuite.SetStopState(transport, 1), kErrorNotImplemented);
    }

    void SendMTC()
    {
        const auto& internalSuite = mHost.Registered<KORVASDK_ControlSurfaceInternalSuite>(
            kKORVASDKControlSurfaceInternalSuite);
        KORVASDK_ControlSurfaceSMPTE* smpte = nullptr;
        ASSERT_EQ(internalSuite.GetSMPTERef(mSurface, &smpte), kSuccess);
        const auto& smpteSuite = mHost.Registered<KORVASDK_ControlSurfaceSMPTESuite>(
            kKORVASDKControlSurfaceSMPTESuite);
        EXPECT_EQ(smpteSuite.GotoSMPTETime(smpte, 3, 1, 2, 3, 4, 0), kSuccess);
        EXPECT_EQ(smpteSuite.TransmitFullFrame(smpte, 0, 1.0F, 25, 0, 1, 2, 3, 4), kSuccess);
        EXPECT_THAT(mDevice->WaitForPackets(5),
            ElementsAre(Bytes{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7},
                Bytes{0xF1, 0x04}, Bytes{0xF1, 0x10}, Bytes{0xF1, 0x23}, Bytes{0xF1, 0x30}));
        EXPECT_EQ(smpteSuite.GotoSMPTETime(nullptr, 3, 1, 2, 3, 4, 0), kErrorBadParameter);
        EXPECT_THAT(mHost.TakeLog(), IsEmpty());
    }

    // What the surface took stays taken, and so does the suites suite.
    void End()
    {
        EXPECT_EQ(Suite().Disconnect(mPlugin), kSuccess);
        mDevice->Send(kPlay); // heard by nobody
        EXPECT_EQ(mFuncs.DeletePluginInstance(mPlugin), kSuccess);
        EXPECT_EQ(mFuncs.DeletePluginInstance(nullptr), kSuccess);
        EXPECT_THAT(mHost.TakeLog(), IsEmpty());
        EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
        EXPECT_THAT(mHost.TakeLog(), ElementsAre("free list", "release KORVASDK StringSuite 1"));
        EXPECT_THAT(mHost.AllUses(),
            UnorderedElementsAre(Pair("QX Suites Suite", 1), Pair("KORVASDK StringSuite", 1),
                Pair("KORVASDK ControlSurfaceHost Suite", 1),
                Pair("KORVASDK ControlSurfaceHost Transport Suite", 1),
                Pair("KORVASDK ControlSurfaceHost SMPTE Suite", 1),
                Pair("KORVASDK ControlSurfaceHost Internal Suite", 1)));
    }

private:
    const KORVASDK_ControlSurfacePluginSuite& Suite()
    {
        return mHost.Registered<KORVASDK_ControlSurfacePluginSuite>(
            kKORVASDKControlSurfacePluginSuite);
    }

    KORVASDK_String mString;
};

TEST_F(LifeInOrder, GoesFromEntryToUnloading)
{
    ASSERT_EQ(Enter(Host::BasicSuite()), kSuccess);
    EXPECT_THAT(mHost.TakeLog(), IsEmpty());
    ASSERT_NO_FATAL_FAILURE(StartUp());
    ASSERT_NO_FATAL_FAILURE(CreateInstance());
    ASSERT_NO_FATAL_FAILURE(GiveSettings());
    ASSERT_NO_FATAL_FAILURE(Connect());
    ASSERT_NO_FATAL_FAILURE(ObeyMMC());
    ASSERT_NO_FATAL_FAILURE(TakeNotices());
    ASSERT_NO_FATAL_FAILURE(SendMTC());
    ASSERT_NO_FATAL_FAILURE(End());
    EXPECT_TRUE(mBundle->Unload());
}

TEST_F(Life, PassesTheHostsStringErrorsOn)
{
    constexpr KORVASDK_Result kHostsOwnError = 0x6F6F7073;
    StartUp();
    ASSERT_EQ(mFuncs.CreatePluginInstance(&mPlugin), kSuccess);

    mHost.RefuseNextCopy(kHostsOwnError);

    EXPECT_EQ(SetSettings(mPlugin, Settings(true)), kHostsOwnError);
    KORVASDK_String string;
    EXPECT_EQ(mSuite.GetPluginSettings(mPlugin, &string), kSuccess);
    EXPECT_EQ(string.text, u"{}");
    mFuncs.DeletePluginInstance(mPlugin);
    mFuncs.Shutdown();
}

TEST_F(Life, SendsNothingWhereTimeCodeIsSwitchedOff)
{
    Connect();
    KORVASDK_ControlSurfaceSMPTE* smpte = nullptr;
    mHost.Registered<KORVASDK_ControlSurfaceInternalSuite>(kKORVASDKControlSurfaceInternalSuite)
        .GetSMPTERef(mSurface, &smpte);
    const auto& smpteSuite
        = mHost.Registered<KORVASDK_ControlSurfaceSMPTESuite>(kKORVASDKControlSurfaceSMPTESuite);
    SetSettings(mPlugin, Settings(false));
    smpteSuite.GotoSMPTETime(smpte, 3, 9, 9, 9, 9, 0);
    SetSettings(mPlugin, Settings(true));
    smpteSuite.GotoSMPTETime(smpte, 3, 1, 2, 3, 4, 0);

    EXPECT_THAT(mDevice->WaitForPackets(1),
        ElementsAre(Bytes{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7}));
    End();
}

TEST_F(Life, LeavesTwoInstancesToThemselves)
{
    Connect();
    KORVASDK_ControlSurfacePlugin* other = nullptr;
    KORVASDK_ControlSurface* otherSurface = nullptr;
    ASSERT_EQ(mFuncs.CreatePluginInstance(&other), kSuccess);
    SetSettings(other, Settings(false));
    ASSERT_EQ(mSuite.Connect(other, mHost.Ref(), &otherSurface), kSuccess);
    mHost.TakeLog();

    mDevice->Send(kPlay); // both hear it
    EXPECT_THAT(mHost.WaitForLog(2), ElementsAre("play transport", "play transport"));
    mSuite.Disconnect(other);
    mDevice->Send(kStop);
    EXPECT_THAT(mHost.WaitForLog(1), ElementsAre("stop transport"));

    mFuncs.DeletePluginInstance(other);
    End();
}

TEST_F(Life, HearsADeviceThatGoesAndComesBack)
{
    Connect();
    SetupWatcher watcher;
    const std::u16string id = mDevice->SourceID();
    mDevice.reset();
    watcher.WaitUntilOthersAreTold();
    mDevice.emplace();
    ASSERT_EQ(mDevice->SourceID(), id);
    watcher.WaitUntilOthersAreTold();

    mDevice->Send(kPlay);

    EXPECT_THAT(mHost.WaitForLog(1), ElementsAre("play transport"));
    End();
}

// Every request for memory on the host's thread fails once while an instance connects. What fails
// inside the MIDI service leaves a surface without a service, or without ports.
TEST_F(Life, GoesOnAfterAConnectionThatFailed)
{
    StartUp();
    ASSERT_EQ(mFuncs.CreatePluginInstance(&mPlugin), kSuccess);
    ASSERT_EQ(SetSettings(mPlugin, Settings(true)), kSuccess);
    mmc::tests::PlainHost frugalHost; // asks for no memory itself
    ASSERT_EQ(Enter(frugalHost.BasicSuite()), kSuccess);

    int failures = 0;
    int connections = 0; // each leaves its suites acquired
    for (std::size_t number = 1;; ++number) {
        const auto [result, wasRefused] = ConnectWithoutRequest(number, frugalHost);
        (result == kSuccess ? connections : failures) += 1;
        ASSERT_EQ(mSurface != nullptr, result == kSuccess);
        ASSERT_EQ(frugalHost.Uses("KORVASDK ControlSurfaceHost Suite"), connections);
        ASSERT_EQ(frugalHost.Uses("KORVASDK ControlSurfaceHost Transport Suite"), connections);
        ASSERT_EQ(frugalHost.Uses("KORVASDK ControlSurfaceHost SMPTE Suite"), connections);
        ASSERT_EQ(frugalHost.Uses("KORVASDK StringSuite"), connections);
        if (!wasRefused) {
            break;
        }
        ASSERT_EQ(mSuite.Disconnect(mPlugin), kSuccess);
    }
    EXPECT_GT(failures, 10);
    EXPECT_GT(connections, 0);

    mSuite.Disconnect(mPlugin);
    ASSERT_EQ(Enter(Host::BasicSuite()), kSuccess);
    ASSERT_EQ(mSuite.Connect(mPlugin, mHost.Ref(), &mSurface), kSuccess);
    mHost.TakeLog();
    mDevice->Send(kPlay);
    EXPECT_THAT(mHost.WaitForLog(1), ElementsAre("play transport"));
    End();
}

TEST_F(Life, EndsWithMessagesOnTheirWay)
{
    for (int i = 0; i < 30; ++i) {
        mBundle.emplace();
        Connect();
        std::atomic<bool> done{false};
        std::thread controller([&] {
            while (!done) {
                mDevice->Flood({kPlay, kLocate, kStop});
            }
        });
        mHost.WaitForLog(3);
        End();
        done = true;
        controller.join();
    }
}

} // namespace blackbox

int main(int argc, char** argv)
{
    // Before anybody asks for the service or for a switch.
    setenv("KEL_MIDI_SERVICE", "builtin", 1);
    setenv("KEL_DEBUG_DATABASE", "/nonexistent/debug.json", 1);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
