#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCControlSurfacePlugin.h"

#include "kelcontrolsurface/plugins/MIDIMachineControl/src/MMCModule.h"
#include "kelcore/debug/DebugDatabase.h"
#include "kelcore/proplist/PropListText.h"
#include "kelcore/utility/UTF16String.h"
#include "korvasdk/suites/ControlSurfacePluginSuite.h"
#include "korvasdk/suites/ControlSurfaceSuites.h"
#include "tests/MIDIMachineControl/FakeDialog.h"
#include "tests/MIDIMachineControl/FakeMidi.h"
#include "tests/MIDIMachineControl/MockHost.h"
#include "tests/MIDIMachineControl/PlainHost.h"
#include "tests/support/HeapControl.h"

#include <cstring>
#include <map>

extern "C" KORVASDK_Result EntryPoint(const QXBasicSuite* basicSuite,
    void* reserved0,
    void* reserved1,
    std::uint32_t hostIdentifier,
    KORVASDK_ControlSurfacePluginFuncs* outFuncs);

namespace mmc::tests {

namespace {

using kelcore::debug::DebugDatabase;
using korva::tests::HeapControl;
using testing::_;
using testing::DoAll;
using testing::InSequence;
using testing::Mock;
using testing::Return;
using testing::SetArgPointee;

constexpr char kSwitch[] = "kelcontrolsurface.EnableMMC";
constexpr std::uint32_t kHostIdentifier = 0x4B4F5256;
constexpr KORVASDK_Result kHostsOwnError = 0x6F6F7073;

// What was in the table before the entry point saw it.
KORVASDK_Result Untouched()
{
    return kHostsOwnError;
}

/// A plug-in that no entry call has met yet, as far as that can be had within one process.
class PluginEntry : public testing::Test {
protected:
    PluginEntry()
    {
        DebugDatabase::Instance().SetEntry(kSwitch, "true");
        Enter(nullptr); // forgets the basic suite of the test before
        mFuncs.Startup = Untouched;
    }
    ~PluginEntry() override { DebugDatabase::Instance().RemoveEntry(kSwitch); }

    void SetSwitch(const char* text) { DebugDatabase::Instance().SetEntry(kSwitch, text); }

    KORVASDK_Result Enter(const QXBasicSuite* basicSuite)
    {
        return EntryPoint(basicSuite, nullptr, nullptr, kHostIdentifier, &mFuncs);
    }
    bool IsTableUntouched() const { return mFuncs.Startup == Untouched; }

    KORVASDK_ControlSurfacePluginFuncs mFuncs{};
    FakeMidi mMidi;
    StrictHost mHost;
};

/// Entered; start-up is the test's.
class PluginStartup : public PluginEntry {
protected:
    PluginStartup() { Enter(MockHost::BasicSuite()); }
    ~PluginStartup() override { module::Terminate(); }

    void ExpectStringSuite()
    {
        EXPECT_CALL(mHost, AcquireSuite("KORVASDK StringSuite", 1, _))
            .WillOnce(Gives(MockHost::StringSuite()));
    }
    void ExpectSuitesSuite()
    {
        EXPECT_CALL(mHost, AcquireSuite("QX Suites Suite", 2, _))
            .WillOnce(Gives(MockHost::SuitesSuite()));
    }
    void ExpectSuiteListAllocated()
    {
        EXPECT_CALL(mHost, AllocateSuiteList(nullptr, nullptr, _))
            .WillOnce(DoAll(SetArgPointee<2>(mHost.SuiteListRef()), Return(kSuccess)));
    }
    void ExpectAdded(const char* name, int version, QXSuiteList* suiteList)
    {
        EXPECT_CALL(mHost, AddSuite(suiteList, nullptr, name, version, version, testing::NotNull()))
            .WillOnce([this, name](auto*, auto*, auto&, int, int, const void* functions) {
                mTables[name] = functions;
                return kHostsOwnError; // ignored
            });
    }
    void ExpectSurfaceSuitesAdded(QXSuiteList* suiteList)
    {
        ExpectAdded("KORVASDK ControlSurface Suite", 1, suiteList);
        ExpectAdded("KORVASDK ControlSurface Suite", 2, suiteList);
        ExpectAdded("KORVASDK ControlSurface Transport Suite", 1, suiteList);
        ExpectAdded("KORVASDK ControlSurface SMPTE Suite", 1, suiteList);
    }
    void ExpectShutdown()
    {
        const InSequence inSequence;
        EXPECT_CALL(mHost, FreeSuiteList(mHost.SuiteListRef())).WillOnce(Return(kHostsOwnError));
        EXPECT_CALL(mHost, ReleaseSuite("KORVASDK StringSuite", 1))
            .WillOnce(Return(kHostsOwnError));
    }

    std::map<std::string, const void*> mTables;
};

/// Started up, with one instance that is not connected.
class PluginInstance : public PluginStartup {
protected:
    PluginInstance()
    {
        {
            const InSequence inSequence;
            ExpectStringSuite();
            ExpectSuitesSuite();
            ExpectSuiteListAllocated();
            ExpectAdded("KORVASDK ControlSurfacePlugin Suite", 1, mHost.SuiteListRef());
            ExpectAdded("KORVASDK ControlSurface Internal Suite", 1, mHost.SuiteListRef());
            ExpectSurfaceSuitesAdded(mHost.SuiteListRef());
            mFuncs.Startup();
        }
        Mock::VerifyAndClearExpectations(&mHost);
        mFuncs.CreatePluginInstance(&mPlugin);
    }
    ~PluginInstance() override
    {
        EXPECT_EQ(mFuncs.DeletePluginInstance(mPlugin), kSuccess);
        EXPECT_EQ(mMidi.LiveHosts(), 0);
        ExpectShutdown();
        EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
    }

    const KORVASDK_ControlSurfacePluginSuite& Suite()
    {
        return *static_cast<const KORVASDK_ControlSurfacePluginSuite*>(
            mTables.at("KORVASDK ControlSurfacePlugin Suite"));
    }
    const KORVASDK_ControlSurfaceInternalSuite& InternalSuite()
    {
        return *static_cast<const KORVASDK_ControlSurfaceInternalSuite*>(
            mTables.at("KORVASDK ControlSurface Internal Suite"));
    }

    KORVASDK_ControlSurface* Connect()
    {
        mHost.ExpectHostTaken();
        KORVASDK_ControlSurface* surface = nullptr;
        EXPECT_EQ(Suite().Connect(mPlugin, mHost.HostRef(), &surface), kSuccess);
        Mock::VerifyAndClearExpectations(&mHost);
        return surface;
    }

    /// The host's string holds `text`.
    KORVASDK_Result SetSettings(const std::u16string& text)
    {
        const auto length = static_cast<std::uint32_t>(text.size());
        const InSequence inSequence;
        EXPECT_CALL(mHost, CopyString(mHost.StringRef(), testing::NotNull(), testing::Pointee(0U)))
            .WillOnce([=](auto*, auto*, std::uint32_t* outLength) {
                *outLength = length;
                return length == 0 ? kSuccess : kErrorStringBufferTooSmall;
            });
        if (length > 0) {
            EXPECT_CALL(
                mHost, CopyString(mHost.StringRef(), testing::NotNull(), testing::Pointee(length)))
                .WillOnce([text](auto*, char16_t* buffer, std::uint32_t* outLength) {
                    std::copy(text.begin(), text.end(), buffer);
                    *outLength = static_cast<std::uint32_t>(text.size());
                    return kSuccess;
                });
        }
        const KORVASDK_Result result = Suite().SetPluginSettings(mPlugin, mHost.StringRef());
        Mock::VerifyAndClearExpectations(&mHost);
        return result;
    }
    std::u16string GetSettings()
    {
        std::u16string settings;
        EXPECT_CALL(mHost, MakeString(_, mHost.StringRef()))
            .WillOnce(DoAll(testing::SaveArg<0>(&settings), Return(kHostsOwnError)));
        EXPECT_EQ(Suite().GetPluginSettings(mPlugin, mHost.StringRef()),
            kHostsOwnError); // passed through
        Mock::VerifyAndClearExpectations(&mHost);
        return settings;
    }

    KORVASDK_ControlSurfacePlugin* mPlugin = nullptr;
};

constexpr char16_t kTwoPorts[]
    = uR"({"PortConfiguration":{"in":"1","options":{"transmit_mtc":true},"out":"2"}})";
constexpr char16_t kOtherPorts[]
    = uR"({"PortConfiguration":{"in":"3","options":{"transmit_mtc":false},"out":"4"}})";

// The tree that `text` stands for, however it is spaced.
kelcore::proplist::PropList Tree(const std::u16string& text)
{
    kelcore::proplist::PropList list;
    kelcore::proplist::utils::ReadPropList(list, kelcore::utility::UTF16to8(text));
    return list;
}

} // namespace

TEST_F(PluginEntry, IsOpenWhereTheSwitchReadsTrue)
{
    EXPECT_EQ(Enter(MockHost::BasicSuite()), kSuccess);

    EXPECT_FALSE(IsTableUntouched());
    EXPECT_NE(mFuncs.Startup, nullptr);
    EXPECT_NE(mFuncs.Shutdown, nullptr);
    EXPECT_NE(mFuncs.CreatePluginInstance, nullptr);
    EXPECT_NE(mFuncs.DeletePluginInstance, nullptr);
    EXPECT_NE(mFuncs.GetSuiteList, nullptr);
}

TEST_F(PluginEntry, IsClosedWhereTheSwitchIsAbsent)
{
    DebugDatabase::Instance().RemoveEntry(kSwitch);

    EXPECT_EQ(Enter(MockHost::BasicSuite()), kErrorBadParameter);
    EXPECT_TRUE(IsTableUntouched());
}

TEST_F(PluginEntry, IsClosedWhereTheSwitchReadsAnythingElse)
{
    for (const char* text :
        {"True", "TRUE", "1", "yes", "", "true ", " true", "false", "truetrue"}) {
        SetSwitch(text);

        EXPECT_EQ(Enter(MockHost::BasicSuite()), kErrorBadParameter) << text;
        EXPECT_TRUE(IsTableUntouched()) << text;
    }
}

TEST_F(PluginEntry, RefusesAHostWithoutABasicSuite)
{
    EXPECT_EQ(Enter(nullptr), kErrorBadParameter);
    EXPECT_TRUE(IsTableUntouched());
}

TEST_F(PluginEntry, AcceptsWithoutFillingWhereTheSwitchWentOffSinceAnEarlierEntry)
{
    Enter(MockHost::BasicSuite());
    mFuncs.Startup = Untouched;
    SetSwitch("false");

    EXPECT_EQ(Enter(nullptr), kSuccess);
    EXPECT_TRUE(IsTableUntouched());
}

TEST_F(PluginEntry, KeepsTheEarlierBasicSuiteWhereTheSwitchIsOff)
{
    Enter(MockHost::BasicSuite());
    SetSwitch("false");
    Enter(nullptr);

    EXPECT_CALL(mHost, AcquireSuite("KORVASDK StringSuite", 1, _)).WillOnce(Return(kHostsOwnError));
    mFuncs.Startup(); // asks the one it has
}

TEST_F(PluginStartup, RegistersEverySuiteInOrder)
{
    const InSequence inSequence;
    ExpectStringSuite();
    ExpectSuitesSuite();
    ExpectSuiteListAllocated();
    ExpectAdded("KORVASDK ControlSurfacePlugin Suite", 1, mHost.SuiteListRef());
    ExpectAdded("KORVASDK ControlSurface Internal Suite", 1, mHost.SuiteListRef());
    ExpectSurfaceSuitesAdded(mHost.SuiteListRef());

    EXPECT_EQ(mFuncs.Startup(), kSuccess);
    EXPECT_NE(module::GetResourceManager(), nullptr);

    QXSuiteList* suiteList = nullptr;
    EXPECT_EQ(mFuncs.GetSuiteList(&suiteList), kSuccess);
    EXPECT_EQ(suiteList, mHost.SuiteListRef());

    ExpectShutdown();
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
    EXPECT_EQ(module::GetResourceManager(), nullptr);
    EXPECT_EQ(mFuncs.GetSuiteList(&suiteList), kSuccess);
    EXPECT_EQ(suiteList, nullptr);
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess); // nothing is given back twice
}

TEST_F(PluginStartup, ReturnsTheHostsErrorWhereTheStringSuiteIsRefused)
{
    EXPECT_CALL(mHost, AcquireSuite("KORVASDK StringSuite", 1, _)).WillOnce(Return(kHostsOwnError));

    EXPECT_EQ(mFuncs.Startup(), kHostsOwnError);
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
}

TEST_F(PluginStartup, EndsEarlyWhereThereIsNoStringSuite)
{
    EXPECT_CALL(mHost, AcquireSuite("KORVASDK StringSuite", 1, _)).WillOnce(Gives(nullptr));

    EXPECT_EQ(mFuncs.Startup(), kSuccess);
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
}

TEST_F(PluginStartup, ReturnsTheHostsErrorWhereTheSuitesSuiteIsRefused)
{
    ExpectStringSuite();
    EXPECT_CALL(mHost, AcquireSuite("QX Suites Suite", 2, _)).WillOnce(Return(kHostsOwnError));

    EXPECT_EQ(mFuncs.Startup(), kHostsOwnError);

    EXPECT_CALL(mHost, ReleaseSuite("KORVASDK StringSuite", 1));
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
}

TEST_F(PluginStartup, RegistersTheSurfaceSuitesAlsoWithoutAList)
{
    {
        const InSequence inSequence;
        ExpectStringSuite();
        ExpectSuitesSuite();
        EXPECT_CALL(mHost, AllocateSuiteList(nullptr, nullptr, _)).WillOnce(Return(kHostsOwnError));
        ExpectSurfaceSuitesAdded(nullptr);
    }
    EXPECT_EQ(mFuncs.Startup(), kSuccess);

    EXPECT_CALL(mHost, ReleaseSuite("KORVASDK StringSuite", 1)); // and frees no list
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
}

TEST_F(PluginStartup, RefusesWhereTheHostThrowsAtShutdown)
{
    ExpectStringSuite();
    ExpectSuitesSuite();
    ExpectSuiteListAllocated();
    ExpectAdded("KORVASDK ControlSurfacePlugin Suite", 1, mHost.SuiteListRef());
    ExpectAdded("KORVASDK ControlSurface Internal Suite", 1, mHost.SuiteListRef());
    ExpectSurfaceSuitesAdded(mHost.SuiteListRef());
    ASSERT_EQ(mFuncs.Startup(), kSuccess);
    EXPECT_CALL(mHost, FreeSuiteList).WillOnce(testing::Throw(std::runtime_error("host")));
    EXPECT_EQ(mFuncs.Shutdown(), kErrorBadParameter);
    Mock::VerifyAndClearExpectations(&mHost);

    ExpectShutdown(); // it can be asked again
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
}

TEST_F(PluginStartup, TakesANullListAsNone)
{
    const InSequence inSequence;
    ExpectStringSuite();
    ExpectSuitesSuite();
    EXPECT_CALL(mHost, AllocateSuiteList(nullptr, nullptr, _)).WillOnce(Return(kSuccess));
    ExpectSurfaceSuitesAdded(nullptr);
    EXPECT_EQ(mFuncs.Startup(), kSuccess);

    EXPECT_CALL(mHost, ReleaseSuite("KORVASDK StringSuite", 1));
    EXPECT_EQ(mFuncs.Shutdown(), kSuccess);
}

TEST_F(PluginStartup, DeletesNoInstanceWhereThereIsNone)
{
    EXPECT_EQ(mFuncs.DeletePluginInstance(nullptr), kSuccess);
}

TEST_F(PluginInstance, TellsWhoItIs)
{
    EXPECT_CALL(
        mHost, MakeString(std::u16string(u"Korva.ControlSurfacePlugIn.MMC"), mHost.StringRef()))
        .WillOnce(Return(kHostsOwnError));
    EXPECT_EQ(Suite().GetPluginID(mPlugin, mHost.StringRef()), kHostsOwnError);

    EXPECT_CALL(mHost, MakeString(std::u16string(u"MIDI Machine Control"), mHost.StringRef()))
        .WillOnce(Return(kSuccess));
    EXPECT_EQ(Suite().GetPluginDisplayString(mPlugin, mHost.StringRef()), kSuccess);
}

TEST_F(PluginInstance, HasADialogAndDoesNotSuspend)
{
    std::uint8_t hasDialog = 77;

    EXPECT_EQ(Suite().HasConfigurationDialog(mPlugin, &hasDialog), kSuccess);
    EXPECT_EQ(hasDialog, 1);
    EXPECT_EQ(Suite().Suspend(mPlugin), kErrorNotImplemented);
    EXPECT_EQ(Suite().Resume(mPlugin), kErrorNotImplemented);
}

TEST_F(PluginInstance, ConnectsAndHandsOutItsSurface)
{
    KORVASDK_ControlSurface* surface = Connect();

    auto* mmcSurface = dynamic_cast<ControlSurface*>(korvasdk::FromHandle(surface));
    ASSERT_NE(mmcSurface, nullptr);
    EXPECT_TRUE(mmcSurface->IsConnected());
    EXPECT_EQ(mMidi.LiveHosts(), 1);
    EXPECT_EQ(mMidi.ConnectedPorts(), 0);

    EXPECT_EQ(Suite().Disconnect(mPlugin), kSuccess); // and gives no suite back
    EXPECT_EQ(mMidi.LiveHosts(), 0);
    EXPECT_EQ(Suite().Disconnect(mPlugin), kSuccess);
}

TEST_F(PluginInstance, MakesAnotherSurfaceAtTheNextConnect)
{
    Connect();
    Suite().Disconnect(mPlugin);
    Connect();

    EXPECT_EQ(mMidi.LiveHosts(), 1); // and goes connected
}

TEST_F(PluginInstance, ReplacesASurfaceThatWasNotDisconnected)
{
    Connect();
    Connect();

    EXPECT_EQ(mMidi.LiveHosts(), 1);
}

TEST_F(PluginInstance, GivesTheSMPTEInterfaceOfItsSurface)
{
    KORVASDK_ControlSurface* surface = Connect();
    KORVASDK_ControlSurfaceSMPTE* smpte = nullptr;

    EXPECT_EQ(InternalSuite().GetSMPTERef(surface, &smpte), kSuccess);

    EXPECT_EQ(korvasdk::FromHandle(smpte),
        dynamic_cast<korvasdk::ControlSurfaceSMPTEBase*>(korvasdk::FromHandle(surface)));
}

TEST_F(PluginInstance, GivesNoSMPTEInterfaceOfAnotherSurface)
{
    class Foreign : public korvasdk::ControlSurfaceBase {};
    Foreign foreign;
    KORVASDK_ControlSurfaceSMPTE* smpte = nullptr;

    EXPECT_EQ(InternalSuite().GetSMPTERef(nullptr, &smpte), kErrorNotImplemented);
    EXPECT_EQ(
        InternalSuite().GetSMPTERef(korvasdk::ToHandle(&foreign), &smpte), kErrorNotImplemented);
    EXPECT_EQ(smpte, nullptr);
}

TEST_F(PluginInstance, KeepsItsSettings)
{
    EXPECT_EQ(SetSettings(kTwoPorts), kSuccess);

    EXPECT_EQ(Tree(GetSettings()), Tree(kTwoPorts));
}

TEST_F(PluginInstance, StartsWithEmptySettings)
{
    EXPECT_TRUE(Tree(GetSettings()).IsEmpty());
}

TEST_F(PluginInstance, TakesAnEmptyStringAsNoSettings)
{
    SetSettings(kTwoPorts);
    EXPECT_EQ(SetSettings(u""), kSuccess);
    EXPECT_TRUE(Tree(GetSettings()).IsEmpty());

    Connect();

    EXPECT_EQ(mMidi.ConnectedPorts(), 0);
    EXPECT_EQ(Tree(GetSettings()), Tree(uR"({"PortConfiguration":{}})"));
}

TEST_F(PluginInstance, KeepsTheOldSettingsWhereTheNewOnesDoNotParse)
{
    SetSettings(kTwoPorts);

    EXPECT_EQ(SetSettings(u"{\"PortConfiguration\":"), kSuccess);
    EXPECT_EQ(SetSettings(u"\xD800"), kSuccess);

    EXPECT_EQ(Tree(GetSettings()), Tree(kTwoPorts));
}

TEST_F(PluginInstance, ReturnsTheHostsErrorWhereTheSettingsCannotBeAskedFor)
{
    EXPECT_CALL(mHost, CopyString).WillOnce(Return(kHostsOwnError));

    EXPECT_EQ(Suite().SetPluginSettings(mPlugin, mHost.StringRef()), kHostsOwnError);
    EXPECT_TRUE(Tree(GetSettings()).IsEmpty());
}

TEST_F(PluginInstance, ReturnsTheHostsErrorWhereTheSettingsCannotBeCopied)
{
    SetSettings(kTwoPorts);
    EXPECT_CALL(mHost, CopyString)
        .WillOnce(DoAll(SetArgPointee<2>(5U), Return(kErrorStringBufferTooSmall)))
        .WillOnce(Return(kHostsOwnError));

    EXPECT_EQ(Suite().SetPluginSettings(mPlugin, mHost.StringRef()), kHostsOwnError);
    EXPECT_EQ(Tree(GetSettings()), Tree(kTwoPorts));
}

TEST_F(PluginInstance, AsksOnlyTwiceForAStringThatGrows)
{
    EXPECT_CALL(mHost, CopyString)
        .WillOnce(DoAll(SetArgPointee<2>(5U), Return(kErrorStringBufferTooSmall)))
        .WillOnce(DoAll(SetArgPointee<2>(9U), Return(kErrorStringBufferTooSmall)));

    EXPECT_EQ(Suite().SetPluginSettings(mPlugin, mHost.StringRef()), kErrorStringBufferTooSmall);
}

TEST_F(PluginInstance, BelievesNoLengthBeyondItsBuffer)
{
    SetSettings(kTwoPorts);
    EXPECT_CALL(mHost, CopyString)
        .WillOnce(DoAll(SetArgPointee<2>(2U), Return(kErrorStringBufferTooSmall)))
        .WillOnce([](auto*, char16_t* buffer, std::uint32_t* length) {
            buffer[0] = u'{';
            buffer[1] = u'}';
            *length = 4000000000U;
            return kSuccess;
        });
    {
        const auto& suite = Suite();
        HeapControl heap;
        heap.RefuseFrom(HeapControl::kMegabyte);
        EXPECT_EQ(suite.SetPluginSettings(mPlugin, mHost.StringRef()), kSuccess);
    }
    EXPECT_TRUE(Tree(GetSettings()).IsEmpty());
}

TEST_F(PluginInstance, RefusesWhereThereIsNoMemoryForTheSettings)
{
    std::size_t refusals = 0;
    EXPECT_CALL(mHost, CopyString).WillRepeatedly([&](auto*, char16_t*, std::uint32_t* length) {
        *length = 4000000000U;
        ++refusals;
        return kErrorStringBufferTooSmall;
    });
    const auto& suite = Suite();
    HeapControl heap;
    heap.RefuseFrom(HeapControl::kMegabyte);

    EXPECT_EQ(suite.SetPluginSettings(mPlugin, mHost.StringRef()), kErrorBadParameter);
    EXPECT_EQ(refusals, 1U);
}

TEST_F(PluginInstance, BindsItsPortsWhereItConnects)
{
    mMidi.PlugIn(u"1", u"2");
    SetSettings(kTwoPorts);
    EXPECT_EQ(mMidi.ConnectedPorts(), 0); // the host has not asked for it yet

    Connect();

    EXPECT_EQ(mMidi.ConnectedPorts(), 2);
}

TEST_F(PluginInstance, BindsItsPortsAnewWhereSettingsComeWhileConnected)
{
    mMidi.PlugIn(u"3", u"4");
    SetSettings(kTwoPorts);
    Connect();
    ASSERT_EQ(mMidi.ConnectedPorts(), 0);

    SetSettings(kOtherPorts);

    EXPECT_EQ(mMidi.ConnectedPorts(), 2);
}

TEST_F(PluginInstance, KeepsSettingsForLaterWhereItsDeviceWent)
{
    mMidi.PlugIn(u"1", u"2");
    SetSettings(kTwoPorts);
    Connect();
    mMidi.UnplugAll();
    mMidi.NotifySetupChanged(); // disconnects the surface
    mMidi.PlugIn(u"3", u"4");

    SetSettings(kOtherPorts);

    EXPECT_EQ(mMidi.ConnectedPorts(), 0);
    EXPECT_EQ(Tree(GetSettings()), Tree(kOtherPorts));
}

TEST_F(PluginInstance, LeavesASurfaceWithoutAMidiHostAlone)
{
    mMidi.PlugIn(u"1", u"2");
    mMidi.RefuseHosts();
    Connect();

    EXPECT_EQ(SetSettings(kTwoPorts), kSuccess);
    EXPECT_EQ(mMidi.LivePorts(), 0);
}

TEST_F(PluginInstance, GivesTheDialogItsPortConfiguration)
{
    int window = 0;
    SetSettings(kTwoPorts);
    const FakeDialog dialog([&](void* parentWindow, kelcore::proplist::PropList& ports) {
        kelcore::utility::UTF16String input;
        EXPECT_EQ(parentWindow, &window);
        EXPECT_TRUE(ports.GetString("in", input));
        EXPECT_EQ(input, u"1");
        return false;
    });
    std::uint8_t changed = 77;

    EXPECT_EQ(Suite().RunConfigurationDialog(mPlugin, &window, &changed), kSuccess);
    EXPECT_EQ(changed, 0);
}

TEST_F(PluginInstance, MakesAPortConfigurationForTheDialogAndKeepsWhatItSays)
{
    mMidi.PlugIn(u"1", u"2");
    const FakeDialog dialog([&](void*, kelcore::proplist::PropList& ports) {
        EXPECT_TRUE(ports.IsEmpty());
        ports = *Tree(kTwoPorts).FindList("PortConfiguration");
        return true;
    });
    std::uint8_t changed = 0;

    EXPECT_EQ(Suite().RunConfigurationDialog(mPlugin, nullptr, &changed), kSuccess);
    EXPECT_EQ(changed, 1);
    EXPECT_EQ(mMidi.ConnectedPorts(), 0); // not connected: the settings wait
    EXPECT_EQ(Tree(GetSettings()), Tree(kTwoPorts));

    Connect();
    EXPECT_EQ(mMidi.ConnectedPorts(), 2);
}

TEST_F(PluginInstance, BindsWhatTheDialogSaysAtOnceWhereItIsConnected)
{
    mMidi.PlugIn(u"1", u"2");
    Connect();
    const FakeDialog dialog([&](void*, kelcore::proplist::PropList& ports) {
        ports = *Tree(kTwoPorts).FindList("PortConfiguration");
        return true;
    });
    std::uint8_t changed = 0;

    Suite().RunConfigurationDialog(mPlugin, nullptr, &changed);

    EXPECT_EQ(mMidi.ConnectedPorts(), 2);
}

TEST_F(PluginInstance, BindsNothingWhereTheDialogIsCancelled)
{
    mMidi.PlugIn(u"1", u"2");
    Connect();
    SetSettings(kOtherPorts);
    const FakeDialog dialog([&](void*, kelcore::proplist::PropList& ports) {
        ports = *Tree(kTwoPorts).FindList("PortConfiguration"); // even so
        return false;
    });
    std::uint8_t changed = 1;

    EXPECT_EQ(Suite().RunConfigurationDialog(mPlugin, nullptr, &changed), kSuccess);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(mMidi.ConnectedPorts(), 0);
}

TEST_F(PluginInstance, RefusesWhereTheDialogFails)
{
    const FakeDialog dialog(
        [](void*, kelcore::proplist::PropList&) -> bool { throw std::runtime_error("no screen"); });
    std::uint8_t changed = 77;

    EXPECT_EQ(Suite().RunConfigurationDialog(mPlugin, nullptr, &changed), kErrorBadParameter);
    EXPECT_EQ(changed, 77);
}

// Every request for memory on the way fails once: the instance is then not connected, everything is
// given back, and the next try succeeds.
TEST_F(PluginInstance, GivesEverythingBackWhereMemoryLacksWhileItConnects)
{
    PlainHost host;
    mMidi.PlugIn(u"1", u"2");
    ControlSurfacePlugin plugin;
    plugin.SetConfigurationString(kTwoPorts);
    auto* handle = reinterpret_cast<KORVASDK_ControlSurfacePlugin*>(&plugin);
    Enter(host.BasicSuite());
    const auto& suite = Suite();
    int dummy = 0;
    auto* const nobody = reinterpret_cast<KORVASDK_ControlSurface*>(&dummy);

    std::size_t refused = 0;
    for (bool wasRefused = true; wasRefused; ++refused) {
        HeapControl heap;
        heap.RefuseRequest(refused + 1);
        KORVASDK_ControlSurface* surface = nobody;
        const KORVASDK_Result result = suite.Connect(handle, host.HostRef(), &surface);
        wasRefused = heap.HasRefused();
        if (wasRefused) {
            ASSERT_EQ(result, kErrorBadParameter) << "request " << refused;
            ASSERT_EQ(surface, nobody);
            ASSERT_EQ(mMidi.LiveHosts(), 0);
            ASSERT_EQ(mMidi.LivePorts(), 0);
            ASSERT_EQ(host.Uses("KORVASDK ControlSurfaceHost Suite"), 0);
            ASSERT_EQ(host.Uses("KORVASDK StringSuite"), 0);
            ASSERT_EQ(host.Uses("KORVASDK ControlSurfaceHost Transport Suite"), 0);
            ASSERT_EQ(host.Uses("KORVASDK ControlSurfaceHost SMPTE Suite"), 0);
            ASSERT_EQ(suite.Disconnect(handle), kSuccess); // nothing there
        } else {
            EXPECT_EQ(result, kSuccess);
            EXPECT_NE(surface, nobody);
        }
    }
    EXPECT_GT(refused, 10U); // each of those that there are
    EXPECT_EQ(mMidi.ConnectedPorts(), 2);
    suite.Disconnect(handle);
    Enter(MockHost::BasicSuite());
}

TEST_F(PluginInstance, KeepsNothingOfAConnectionThatFailed)
{
    PlainHost host;
    mMidi.PlugIn(u"1", u"2");
    ControlSurfacePlugin plugin;
    plugin.SetConfigurationString(kTwoPorts);
    const auto connect = [&](std::size_t refusedRequest) {
        HeapControl heap;
        heap.RefuseRequest(refusedRequest);
        try {
            plugin.Connect(0, host.BasicSuite(), host.HostRef());
        } catch (const std::bad_alloc&) {
        }
        plugin.Disconnect();
        return heap.HasRefused();
    };
    connect(10000); // fills what is kept for the next time: block lists, the executor
    for (std::size_t number = 1; connect(number); ++number) {
    }

    const HeapControl heap;
    for (std::size_t number = 1; connect(number); ++number) {
    }

    EXPECT_EQ(heap.Outstanding(), 0);
}

TEST_F(PluginInstance, SwallowsALackOfMemoryWhileItTakesSettings)
{
    ControlSurfacePlugin plugin;
    for (std::size_t number = 1;; ++number) {
        HeapControl heap;
        heap.RefuseRequest(number);
        plugin.SetConfigurationString(kTwoPorts);
        if (!heap.HasRefused()) {
            break;
        }
    }

    EXPECT_EQ(Tree(kTwoPorts),
        Tree(std::u16string(kelcore::utility::UTF8to16(plugin.GetConfigurationString()).c_str())));
}

} // namespace mmc::tests
