#include "deck/host/SettingsFile.h"

#include "deck/host/HostError.h"
#include "deck/host/PortSettings.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace deck::host::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

class SettingsFileTest : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = (fs::temp_directory_path() / "deck-settings-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        mFolder = name;
    }
    void TearDown() override { fs::remove_all(mFolder); }

    fs::path Path() const { return mFolder / "sub" / "deck settings.json"; }

    void Write(const std::string& text) const
    {
        fs::create_directories(Path().parent_path());
        std::ofstream(Path(), std::ios::binary) << text;
    }
    static std::string Read(const fs::path& path)
    {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }
    std::string Load(SettingsFile& file)
    {
        return file.Load([this](const std::string& line) { mWarning = line; });
    }

    fs::path mFolder;
    std::string mWarning;
};

TEST_F(SettingsFileTest, IsEmptyWhereThereIsNone)
{
    SettingsFile file(Path());

    EXPECT_THAT(Load(file), IsEmpty());
    EXPECT_THAT(mWarning, IsEmpty());
    EXPECT_FALSE(fs::exists(Path()));
}

TEST_F(SettingsFileTest, ComesBackAsItWasSaved)
{
    {
        SettingsFile file(Path());
        file.Save(R"({"a":"b"})");
    }
    SettingsFile file(Path());

    EXPECT_EQ(Load(file), "{\"a\":\"b\"}\n");
    EXPECT_FALSE(fs::exists(Path().string() + ".new"));
}

TEST_F(SettingsFileTest, IsNotWrittenWhereNothingChanged)
{
    Write("{}\n");
    SettingsFile file(Path());
    Load(file);
    const auto before = fs::last_write_time(Path());
    fs::permissions(Path().parent_path(), fs::perms::owner_read | fs::perms::owner_exec);

    EXPECT_NO_THROW(file.Save("{}"));
    EXPECT_EQ(fs::last_write_time(Path()), before);
    fs::permissions(Path().parent_path(), fs::perms::owner_all);
}

TEST_F(SettingsFileTest, KeepsABrokenFileAsideAndNamesThePlace)
{
    Write("{\"a\":\n  nonsense}");
    SettingsFile file(Path());

    EXPECT_THAT(Load(file), IsEmpty());
    EXPECT_THAT(mWarning, HasSubstr("line 2, column "));
    EXPECT_THAT(mWarning, HasSubstr(Path().string() + ".broken-1"));
    EXPECT_EQ(Read(Path().string() + ".broken-1"), "{\"a\":\n  nonsense}");
    EXPECT_FALSE(fs::exists(Path()));
}

TEST_F(SettingsFileTest, NeverOverwritesAnEarlierBrokenFile)
{
    for (const std::string text : {"one", "two", "three"}) {
        Write(text);
        SettingsFile file(Path());
        Load(file);
    }

    EXPECT_EQ(Read(Path().string() + ".broken-1"), "one");
    EXPECT_EQ(Read(Path().string() + ".broken-2"), "two");
    EXPECT_EQ(Read(Path().string() + ".broken-3"), "three");
}

TEST_F(SettingsFileTest, TakesJSONThatIsNoSettingsAsBroken)
{
    Write(R"({"PortConfiguration":{"in":12}})");
    SettingsFile file(Path());

    EXPECT_THAT(Load(file), IsEmpty());
    EXPECT_THAT(mWarning, HasSubstr("line 1, column "));
}

TEST_F(SettingsFileTest, BelongsToOneDeckAtATime)
{
    const auto first = std::make_unique<SettingsFile>(Path());
    try {
        const SettingsFile second(Path());
        ADD_FAILURE() << "a second deck took the file";
    } catch (const HostError& error) {
        EXPECT_EQ(error.Status(), kExitBadInput);
        EXPECT_THAT(error.what(), HasSubstr("another korva-deck"));
        EXPECT_THAT(error.what(), HasSubstr("--settings"));
    }
}

TEST_F(SettingsFileTest, IsFreeAgainWhenADeckHasEnded)
{
    {
        const SettingsFile first(Path());
    }
    EXPECT_NO_THROW(SettingsFile{Path()});
}

TEST_F(SettingsFileTest, RefusesAFolderInItsPlace)
{
    fs::create_directories(Path());
    SettingsFile file(Path());

    EXPECT_THROW(Load(file), HostError);
    EXPECT_TRUE(fs::is_directory(Path()));
}

TEST_F(SettingsFileTest, RefusesAPlaceWhereNoFolderCanBe)
{
    Write("{}");

    EXPECT_THROW(SettingsFile{Path() / "below a file.json"}, HostError);
}

TEST_F(SettingsFileTest, WritesThroughALink)
{
    const fs::path real = mFolder / "real.json";
    fs::create_directories(Path().parent_path());
    std::ofstream(real) << "{}\n";
    fs::create_symlink(real, Path());
    SettingsFile file(Path());
    Load(file);
    file.Save(R"({"a":"b"})");

    EXPECT_TRUE(fs::is_symlink(Path()));
    EXPECT_EQ(Read(real), "{\"a\":\"b\"}\n");
}

TEST(SettingsFile, IsUnderTheUsersConfiguration)
{
    setenv("XDG_CONFIG_HOME", "/x/config", 1);
    EXPECT_EQ(SettingsFile::DefaultPath(), "/x/config/korva/deck-settings.json");
    unsetenv("XDG_CONFIG_HOME");
    setenv("HOME", "/home/x", 1);
    EXPECT_EQ(SettingsFile::DefaultPath(), "/home/x/.config/korva/deck-settings.json");
}

TEST(PortSettings, AreReadFromThePluginsString)
{
    const PortSettings ports = ReadPortSettings(
        R"({"PortConfiguration":{"in":"123","options":{"transmit_mtc":true},"out":"-456"}})");

    EXPECT_EQ(ports, (PortSettings{123, -456, true}));
}

TEST(PortSettings, AreNothingWhereNothingIsSaid)
{
    EXPECT_EQ(ReadPortSettings(""), PortSettings());
    EXPECT_EQ(ReadPortSettings(R"({"PortConfiguration":{"in":"","out":"x"}})"), PortSettings());
}

TEST(PortSettings, AreWrittenAsThePluginReadsThem)
{
    EXPECT_EQ(WithPortSettings("", {123, -456, true}),
        R"({"PortConfiguration":{"in":"123","options":{"transmit_mtc":true},"out":"-456"}})");
}

TEST(PortSettings, LeaveWhatTheyDoNotSayAsItWas)
{
    const std::string before
        = R"({"Other":"kept","PortConfiguration":{"in":"1","options":{"x":true},"out":"2"}})";

    EXPECT_EQ(WithPortSettings(before, {std::nullopt, std::nullopt, false}),
        R"({"Other":"kept","PortConfiguration":{"in":"1","options":{"transmit_mtc":false,"x":true},"out":"2"}})");
}

} // namespace
} // namespace deck::host::test
