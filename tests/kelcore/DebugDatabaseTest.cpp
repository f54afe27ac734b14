#include "kelcore/debug/DebugDatabase.h"

#include "TestFolder.h"

#include "kelcore/debug/Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace kelcore::debug {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ExitedWithCode;
using testing::HasSubstr;
using tests::RemoveEnvironment;
using tests::SetEnvironment;
using tests::TestFolder;

// No test depends on what the user's own database holds.
const struct NoDatabase {
    NoDatabase() { SetEnvironment("KEL_DEBUG_DATABASE", "/nonexistent/debug.json"); }
} sNoDatabase;

// In a child process, because the database is read once a process.
class DebugDatabaseDeathTest : public testing::Test {
protected:
    DebugDatabaseDeathTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        RemoveEnvironment("KEL_DEBUG_DATABASE");
        SetEnvironment("XDG_CONFIG_HOME", mFolder.Path("xdg"));
        SetEnvironment("HOME", mFolder.Path("home"));
    }
    ~DebugDatabaseDeathTest() override
    {
        SetEnvironment("KEL_DEBUG_DATABASE", "/nonexistent/debug.json");
    }

    // Shows the entry "place" and ends the process as a program does.
    [[noreturn]] static void ShowPlace()
    {
        const std::string place = DebugDatabase::Instance().GetEntry("place", "none");
        std::fprintf(stderr, "place=%s;", place.c_str());
        std::exit(0);
    }

    // NOLINTNEXTLINE(readability-identifier-naming): a member as in any class
    const TestFolder mFolder;
};

TEST_F(DebugDatabaseDeathTest, IsReadFromTheNamedFile)
{
    const auto path = mFolder.Write("mine.json", R"({"place":"named","other":"x"})");
    mFolder.Write("xdg/korva/debug.json", R"({"place":"xdg"})");
    SetEnvironment("KEL_DEBUG_DATABASE", path);

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0), "^place=named;$");
}

TEST_F(DebugDatabaseDeathTest, IsReadFromTheConfigDirectory)
{
    mFolder.Write("xdg/korva/debug.json", R"({"place":"xdg"})");
    mFolder.Write("home/.config/korva/debug.json", R"({"place":"home"})");

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0), "^place=xdg;$");
}

TEST_F(DebugDatabaseDeathTest, IsReadFromTheHomeDirectoryWithoutAConfigDirectory)
{
    mFolder.Write("home/.config/korva/debug.json", R"({"place":"home"})");
    RemoveEnvironment("XDG_CONFIG_HOME");

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0), "^place=home;$");
}

TEST_F(DebugDatabaseDeathTest, IgnoresAnEmptyNameAndARelativeConfigDirectory)
{
    mFolder.Write("home/.config/korva/debug.json", R"({"place":"home"})");
    SetEnvironment("KEL_DEBUG_DATABASE", "");
    SetEnvironment("XDG_CONFIG_HOME", "xdg");

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0), "^place=home;$");
}

TEST_F(DebugDatabaseDeathTest, IsEmptyWithoutAFileAndSaysNothing)
{
    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0), "^place=none;$");
}

TEST_F(DebugDatabaseDeathTest, IsEmptyWithoutAnyDirectory)
{
    RemoveEnvironment("XDG_CONFIG_HOME");
    RemoveEnvironment("HOME");

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0), "^place=none;$");
}

TEST_F(DebugDatabaseDeathTest, IsEmptyAndSaysWhereWhenTheFileIsBroken)
{
    SetEnvironment(
        "KEL_DEBUG_DATABASE", mFolder.Write("broken.json", "{\"place\":\"broken\",\n  \"x\" 1}"));

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0),
        AllOf(ContainsRegex(
                  "^debug database [^\n]*broken.json is not used: parse error[^\n]*\nplace=none;$"),
            HasSubstr("line 2, column 7")));
}

TEST_F(DebugDatabaseDeathTest, IsEmptyAndSaysWhichWhenAValueIsNoText)
{
    SetEnvironment("KEL_DEBUG_DATABASE",
        mFolder.Write("broken.json", R"({"place":"broken","kelcontrolsurface.EnableMMC":true})"));

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0),
        ContainsRegex("^debug database [^\n]*broken.json is not used: "
                      "[^\n]*\"kelcontrolsurface.EnableMMC\"\nplace=none;$"));
}

TEST_F(DebugDatabaseDeathTest, IsEmptyAndSaysSoWhenTheFileIsNoObject)
{
    for (const std::string& text :
        {std::string("[]"), std::string(), std::string(1'000'000, '[')}) {
        SetEnvironment("KEL_DEBUG_DATABASE", mFolder.Write("broken.json", text));

        EXPECT_EXIT(ShowPlace(), ExitedWithCode(0),
            ContainsRegex("^debug database [^\n]*broken.json is not used: [^\n]*\nplace=none;$"));
    }
}

TEST_F(DebugDatabaseDeathTest, IsEmptyAndSaysSoWhenTheFileCannotBeRead)
{
    std::filesystem::create_directories(mFolder.Path("directory.json"));
    SetEnvironment("KEL_DEBUG_DATABASE", mFolder.Path("directory.json"));

    EXPECT_EXIT(ShowPlace(), ExitedWithCode(0),
        ContainsRegex("^debug database [^\n]*directory.json is not used: [^\n]*\nplace=none;$"));
}

TEST_F(DebugDatabaseDeathTest, IsReadOnce)
{
    SetEnvironment("KEL_DEBUG_DATABASE", mFolder.Write("mine.json", R"({"place":"first"})"));

    EXPECT_EXIT(
        {
            DebugDatabase::Instance();
            mFolder.Write("mine.json", R"({"place":"second"})");
            ShowPlace();
        },
        ExitedWithCode(0), "^place=first;$");
}

TEST_F(DebugDatabaseDeathTest, LeavesTheFileAlone)
{
    SetEnvironment("KEL_DEBUG_DATABASE", mFolder.Write("mine.json", R"({"place":"file"})"));

    EXPECT_EXIT(
        {
            DebugDatabase::Instance().SetEntry("place", "memory");
            DebugDatabase::Instance().RemoveEntry("other");
            ShowPlace();
        },
        ExitedWithCode(0), "^place=memory;$");
    EXPECT_EQ(mFolder.Read("mine.json"), R"({"place":"file"})");
}

TEST_F(DebugDatabaseDeathTest, ForgetsAnEntryOfTheFile)
{
    SetEnvironment("KEL_DEBUG_DATABASE", mFolder.Write("mine.json", R"({"place":"file"})"));

    EXPECT_EXIT(
        {
            DebugDatabase::Instance().RemoveEntry("place");
            ShowPlace();
        },
        ExitedWithCode(0), "^place=none;$");
}

class DebugDatabaseTest : public testing::Test {
protected:
    ~DebugDatabaseTest() override { mDatabase.RemoveEntry(kKey); }

    bool ReadsTrue(const std::string& text, bool defaultValue)
    {
        mDatabase.SetEntry(kKey, text);
        return mDatabase.GetEntryAs<bool>(kKey, defaultValue);
    }

    static constexpr const char* kKey = "tests.Switch";
    DebugDatabase& mDatabase = DebugDatabase::Instance(); // NOLINT(readability-identifier-naming)
};

TEST_F(DebugDatabaseTest, IsOneForAll)
{
    EXPECT_EQ(&DebugDatabase::Instance(), &mDatabase);
}

TEST_F(DebugDatabaseTest, GivesTheDefaultTextWithoutAnEntry)
{
    EXPECT_EQ(mDatabase.GetEntry(kKey, "default"), "default");
    EXPECT_FALSE(mDatabase.HasEntry(kKey));
}

TEST_F(DebugDatabaseTest, GivesTheTextThatWasSet)
{
    mDatabase.SetEntry(kKey, "first");
    mDatabase.SetEntry(kKey, "second");

    EXPECT_EQ(mDatabase.GetEntry(kKey, "default"), "second");
    EXPECT_TRUE(mDatabase.HasEntry(kKey));
    mDatabase.RemoveEntry(kKey);
    EXPECT_FALSE(mDatabase.HasEntry(kKey));
}

TEST_F(DebugDatabaseTest, ReadsABooleanAsTrueOnlyWhereTheTextIsTrue)
{
    EXPECT_TRUE(ReadsTrue("true", false));
    for (const char* const text :
        {"True", "TRUE", "1", "yes", " true", "true ", "truely", "", "false"}) {
        EXPECT_FALSE(ReadsTrue(text, true)) << text;
    }
}

TEST_F(DebugDatabaseTest, ReadsABooleanAsTheDefaultWithoutAnEntry)
{
    EXPECT_TRUE(mDatabase.GetEntryAs<bool>(kKey, true));
    EXPECT_FALSE(mDatabase.GetEntryAs<bool>(kKey, false));
}

TEST_F(DebugDatabaseTest, ReadsADecimalNumber)
{
    EXPECT_EQ(mDatabase.GetEntryAs<int>(kKey, 5), 5);
    mDatabase.SetEntry(kKey, "-12");
    EXPECT_EQ(mDatabase.GetEntryAs<int>(kKey, 5), -12);
    for (const char* const text : {"", "x", "12x", " 12", "1.5", "99999999999"}) {
        mDatabase.SetEntry(kKey, text);
        EXPECT_EQ(mDatabase.GetEntryAs<int>(kKey, 5), 5) << text;
    }
}

TEST_F(DebugDatabaseTest, ReadsAText)
{
    EXPECT_EQ(mDatabase.GetEntryAs<std::string>(kKey, "default"), "default");
    mDatabase.SetEntry(kKey, "text");
    EXPECT_EQ(mDatabase.GetEntryAs<std::string>(kKey, "default"), "text");
}

TEST_F(DebugDatabaseTest, ServesAllThreads)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < 500; ++i) {
                mDatabase.SetEntry(kKey, std::to_string(i));
                EXPECT_NE(mDatabase.GetEntry(kKey, "none"), "none");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace kelcore::debug
