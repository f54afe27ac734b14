#include "deck/host/BundleLoader.h"

#include "deck/host/HostError.h"
#include "deck/host/HostSuites.h"
#include "kelcore/debug/DebugDatabase.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

namespace deck::host::test {
namespace {

namespace fs = std::filesystem;
using kelcore::debug::DebugDatabase;
using testing::AllOf;
using testing::HasSubstr;

class BundleLoaderTest : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = (fs::temp_directory_path() / "deck-bundles-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        mFolder = name;
        EnablePluginUnlessToldOtherwise();
    }
    void TearDown() override
    {
        DebugDatabase::Instance().RemoveEntry(kEnableSwitch);
        fs::remove_all(mFolder);
    }

    // A bundle whose binary is a copy of `library`.
    fs::path Bundle(const std::string& library) const
    {
        const fs::path bundle = mFolder / "Some Plug-in.bundle";
        fs::create_directories(bundle / "Contents" / "Linux");
        fs::copy_file(library, bundle / "Contents" / "Linux" / "Some Plug-in");
        return bundle;
    }

    std::string Refusal(const fs::path& bundle)
    {
        try {
            LoadBundle(bundle, mSuites.BasicSuite());
        } catch (const HostError& error) {
            EXPECT_EQ(error.Status(), kExitBadInput);
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << "one line";
            return error.what();
        }
        return "";
    }

    fs::path mFolder;
    HostSuites mSuites;
};

TEST_F(BundleLoaderTest, SaysThatThereIsNone)
{
    EXPECT_THAT(Refusal(mFolder / "none.bundle"),
        AllOf(HasSubstr("no bundle at " + (mFolder / "none.bundle").string()),
            HasSubstr("--bundle")));
}

TEST_F(BundleLoaderTest, SaysThatAFileIsNoBundle)
{
    std::ofstream(mFolder / "file.bundle") << "text";

    EXPECT_THAT(Refusal(mFolder / "file.bundle"), HasSubstr("is not a bundle"));
}

TEST_F(BundleLoaderTest, SaysThatAFolderIsNoBundle)
{
    EXPECT_THAT(Refusal(mFolder), AllOf(HasSubstr("is not a bundle"), HasSubstr("Contents/Linux")));
}

TEST_F(BundleLoaderTest, SaysWhyTheBinaryCannotBeLoaded)
{
    const fs::path text = mFolder / "text";
    std::ofstream(text) << "no library";

    EXPECT_THAT(Refusal(Bundle(text.string())),
        AllOf(HasSubstr("cannot be loaded"), HasSubstr("Some Plug-in")));
}

TEST_F(BundleLoaderTest, SaysThatThereIsNoEntryPoint)
{
    EXPECT_THAT(
        Refusal(Bundle(TEST_LIBRARY_NO_ENTRY_POINT)), HasSubstr("has no function EntryPoint"));
}

TEST_F(BundleLoaderTest, SaysWhichSwitchIsOffAndInWhichFile)
{
    DebugDatabase::Instance().SetEntry(kEnableSwitch, "True");

    EXPECT_THAT(Refusal(Bundle(TEST_LIBRARY_REFUSING)),
        AllOf(HasSubstr(DebugDatabaseFile().string()),
            HasSubstr(R"("kelcontrolsurface.EnableMMC": "True")"), HasSubstr("write \"true\"")));
}

TEST_F(BundleLoaderTest, SaysThatTheEntryPointRefusesForAnotherReason)
{
    EXPECT_THAT(Refusal(Bundle(TEST_LIBRARY_REFUSING)), HasSubstr("refused with result"));
}

TEST_F(BundleLoaderTest, TakesAFolderWithASlashBehindIt)
{
    EXPECT_THAT(Refusal(Bundle(TEST_LIBRARY_REFUSING).string() + "/"), HasSubstr("refused"));
}

TEST_F(BundleLoaderTest, LoadsThePlugin)
{
    const auto functions = LoadBundle(TEST_BUNDLE, mSuites.BasicSuite());

    EXPECT_NE(functions.Startup, nullptr);
    EXPECT_NE(functions.Shutdown, nullptr);
    EXPECT_NE(functions.CreatePluginInstance, nullptr);
    EXPECT_NE(functions.DeletePluginInstance, nullptr);
    EXPECT_NE(functions.GetSuiteList, nullptr);
}

TEST(EnablePlugin, LeavesWhatTheUserWrote)
{
    auto& database = DebugDatabase::Instance();
    database.SetEntry(kEnableSwitch, "false");
    EnablePluginUnlessToldOtherwise();
    EXPECT_EQ(database.GetEntry(kEnableSwitch, ""), "false");

    database.RemoveEntry(kEnableSwitch);
    EnablePluginUnlessToldOtherwise();
    EXPECT_EQ(database.GetEntry(kEnableSwitch, ""), "true");
    database.RemoveEntry(kEnableSwitch);
}

TEST(DebugDatabaseFile, IsWhereTheEnvironmentSays)
{
    setenv("KEL_DEBUG_DATABASE", "/x/debug.json", 1);
    EXPECT_EQ(DebugDatabaseFile(), "/x/debug.json");
    unsetenv("KEL_DEBUG_DATABASE");
    setenv("XDG_CONFIG_HOME", "/x/config", 1);
    EXPECT_EQ(DebugDatabaseFile(), "/x/config/korva/debug.json");
    unsetenv("XDG_CONFIG_HOME");
    setenv("HOME", "/home/x", 1);
    EXPECT_EQ(DebugDatabaseFile(), "/home/x/.config/korva/debug.json");
}

} // namespace
} // namespace deck::host::test
